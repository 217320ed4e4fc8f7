// Element-wise kernels of the float vectors: copy, fill, conversion, complex packing, in-place
// arithmetic, statistics and extremes.
//
// Conventions (those of the vector primitives the library was first built on):
// - sources first, destination last, then the length; an in-place binary kernel computes
//   srcDst[k] = srcDst[k] op src[k], so `src` is always the right-hand operand;
// - a length of 0 or less does nothing (reductions return their neutral value);
// - each element-wise result rounds once (complex products as (ac - bd, ad + bc), never fused),
//   so every optimised kernel agrees bit for bit with its reference in namespace `ref`;
// - reductions accumulate in double and agree with their references to rounding only.
//
// The hot kernels are compiled for several instruction sets and picked at load time.
#pragma once

#include <ombrel/math/Types.h>

#include <cstring>

#if defined(__x86_64__) && (defined(__GNUC__) || defined(__clang__)) && \
    !defined(KIVO_NO_TARGET_CLONES)
#define KIVO_VECTOR_CLONES __attribute__((target_clones("avx512f", "avx2", "default")))
#else
#define KIVO_VECTOR_CLONES
#endif

namespace Kivo::kernels {

// ---- copy, fill, conversion ---------------------------------------------------------------

/// Overlapping ranges are allowed (an Import from the vector's own buffer moves data down).
template <typename T>
inline void Copy(const T* src, T* dst, int n) {
    if (n > 0) std::memmove(static_cast<void*>(dst), src, static_cast<size_t>(n) * sizeof(T));
}

template <typename T>
inline void Set(T value, T* dst, int n) {
    for (int k = 0; k < n; ++k)
        dst[k] = value;
}

template <typename T>
inline void Zero(T* dst, int n) {
    if (n > 0) std::memset(static_cast<void*>(dst), 0, static_cast<size_t>(n) * sizeof(T));
}

/// Rounds to nearest; magnitudes beyond FLT_MAX (including infinities) saturate to ±FLT_MAX,
/// NaN stays NaN.
void Convert(const double* src, float* dst, int n);
/// Exact widening.
void Convert(const float* src, double* dst, int n);

// ---- complex packing ----------------------------------------------------------------------

/// dst[k] = (re[k], im[k]); a null `re` or `im` gives zeros for that part.
void RealToCplx(const float* re, const float* im, Cplx32* dst, int n);
void RealToCplx(const double* re, const double* im, Cplx64* dst, int n);
/// As above from double parts rounded to single precision (saturating).
void RealToCplx(const double* re, const double* im, Cplx32* dst, int n);
/// As above from single parts widened to double.
void RealToCplx(const float* re, const float* im, Cplx64* dst, int n);
/// Real / imaginary parts; a null destination is skipped.
void CplxToReal(const Cplx32* src, float* re, float* im, int n);
void CplxToReal(const Cplx64* src, double* re, double* im, int n);
void CplxToReal(const Cplx32* src, double* re, double* im, int n);
void CplxToReal(const Cplx64* src, float* re, float* im, int n);

// ---- in-place arithmetic --------------------------------------------------------------------

void AddInPlace(const float* src, float* srcDst, int n);
void AddInPlace(const double* src, double* srcDst, int n);
void AddInPlace(const Cplx32* src, Cplx32* srcDst, int n);
void AddInPlace(const Cplx64* src, Cplx64* srcDst, int n);
void SubInPlace(const float* src, float* srcDst, int n);
void SubInPlace(const double* src, double* srcDst, int n);
void SubInPlace(const Cplx32* src, Cplx32* srcDst, int n);
void SubInPlace(const Cplx64* src, Cplx64* srcDst, int n);
void MulInPlace(const float* src, float* srcDst, int n);
void MulInPlace(const double* src, double* srcDst, int n);
void MulInPlace(const Cplx32* src, Cplx32* srcDst, int n);
void MulInPlace(const Cplx64* src, Cplx64* srcDst, int n);
/// Every quotient is stored (x/0 = ±Inf by the dividend's sign, 0/0 = NaN; complex by the
/// textbook formula); returns true when some divisor was zero (complex: 0+0j).
bool DivInPlace(const float* src, float* srcDst, int n);
bool DivInPlace(const double* src, double* srcDst, int n);
bool DivInPlace(const Cplx32* src, Cplx32* srcDst, int n);
bool DivInPlace(const Cplx64* src, Cplx64* srcDst, int n);

void AddCInPlace(float value, float* srcDst, int n);
void AddCInPlace(double value, double* srcDst, int n);
void AddCInPlace(Cplx32 value, Cplx32* srcDst, int n);
void AddCInPlace(Cplx64 value, Cplx64* srcDst, int n);
void SubCInPlace(float value, float* srcDst, int n);
void SubCInPlace(double value, double* srcDst, int n);
void SubCInPlace(Cplx32 value, Cplx32* srcDst, int n);
void SubCInPlace(Cplx64 value, Cplx64* srcDst, int n);
void MulCInPlace(float value, float* srcDst, int n);
void MulCInPlace(double value, double* srcDst, int n);
void MulCInPlace(Cplx32 value, Cplx32* srcDst, int n);
void MulCInPlace(Cplx64 value, Cplx64* srcDst, int n);
/// Returns false, dividing nothing, when the constant is zero (complex: 0+0j).
bool DivCInPlace(float value, float* srcDst, int n);
bool DivCInPlace(double value, double* srcDst, int n);
bool DivCInPlace(Cplx32 value, Cplx32* srcDst, int n);
bool DivCInPlace(Cplx64 value, Cplx64* srcDst, int n);

/// dst[k] = a[k] * b[k], one rounding each; dst must not overlap a or b (a copy and an in-place
/// multiply in one pass: the windows' hot path on interleaved complex samples).
void Mul(const float* a, const float* b, float* dst, int n);
/// dst[k] = a[k] * b[k] (complex, (ac - bd, ad + bc)); dst may be a or b.
void Mul(const Cplx32* a, const Cplx32* b, Cplx32* dst, int n);
void Mul(const Cplx64* a, const Cplx64* b, Cplx64* dst, int n);
/// dst[k] = re² + im² (the power spectrum of a block).
void MagSqr(const Cplx32* src, float* dst, int n);
void MagSqr(const Cplx64* src, double* dst, int n);

// ---- statistics -----------------------------------------------------------------------------

/// Sums in double (the "accurate" flavour); 0 for n < 1.
double Sum(const float* x, int n);
double Sum(const double* x, int n);
Cplx64 Sum(const Cplx32* x, int n);
Cplx64 Sum(const Cplx64* x, int n);
/// Sample standard deviation sqrt(sum (x - mean)² / (n - 1)), mean and sum in double; 0 for
/// n < 2.
double StdDev(const float* x, int n);
double StdDev(const double* x, int n);

/// Index of the first largest / smallest value; -1 for n < 1. NaN elements are never taken
/// (unless element 0 is NaN, which then stays).
int MaxIndex(const float* x, int n);
int MaxIndex(const double* x, int n);
int MinIndex(const float* x, int n);
int MinIndex(const double* x, int n);
/// Complex extremes by squared magnitude re² + im² in the element's precision. Max starts from
/// magnitude 0 at index 0 and takes strictly greater ones; Min starts from element 0 and takes
/// strictly smaller ones: ties keep the first, an all-zero vector gives 0. -1 for n < 1.
int MaxMagIndex(const Cplx32* x, int n);
int MaxMagIndex(const Cplx64* x, int n);
int MinMagIndex(const Cplx32* x, int n);
int MinMagIndex(const Cplx64* x, int n);

// ---- plain scalar references (the tests hold the kernels above against them) ----------------

namespace ref {
void Convert(const double* src, float* dst, int n);
void AddInPlace(const float* src, float* srcDst, int n);
void AddInPlace(const double* src, double* srcDst, int n);
void AddInPlace(const Cplx32* src, Cplx32* srcDst, int n);
void AddInPlace(const Cplx64* src, Cplx64* srcDst, int n);
void SubInPlace(const float* src, float* srcDst, int n);
void SubInPlace(const double* src, double* srcDst, int n);
void SubInPlace(const Cplx32* src, Cplx32* srcDst, int n);
void SubInPlace(const Cplx64* src, Cplx64* srcDst, int n);
void MulInPlace(const float* src, float* srcDst, int n);
void MulInPlace(const double* src, double* srcDst, int n);
void MulInPlace(const Cplx32* src, Cplx32* srcDst, int n);
void MulInPlace(const Cplx64* src, Cplx64* srcDst, int n);
bool DivInPlace(const float* src, float* srcDst, int n);
bool DivInPlace(const double* src, double* srcDst, int n);
bool DivInPlace(const Cplx32* src, Cplx32* srcDst, int n);
bool DivInPlace(const Cplx64* src, Cplx64* srcDst, int n);
void AddCInPlace(float value, float* srcDst, int n);
void AddCInPlace(Cplx32 value, Cplx32* srcDst, int n);
void SubCInPlace(float value, float* srcDst, int n);
void SubCInPlace(Cplx32 value, Cplx32* srcDst, int n);
void MulCInPlace(float value, float* srcDst, int n);
void MulCInPlace(double value, double* srcDst, int n);
void MulCInPlace(Cplx32 value, Cplx32* srcDst, int n);
void MulCInPlace(Cplx64 value, Cplx64* srcDst, int n);
bool DivCInPlace(float value, float* srcDst, int n);
bool DivCInPlace(Cplx32 value, Cplx32* srcDst, int n);
void Mul(const Cplx32* a, const Cplx32* b, Cplx32* dst, int n);
void MagSqr(const Cplx32* src, float* dst, int n);
void MagSqr(const Cplx64* src, double* dst, int n);
void RealToCplx(const float* re, const float* im, Cplx32* dst, int n);
void CplxToReal(const Cplx32* src, float* re, float* im, int n);
double Sum(const float* x, int n);
double StdDev(const float* x, int n);
int MaxIndex(const float* x, int n);
int MinIndex(const float* x, int n);
int MaxMagIndex(const Cplx32* x, int n);
int MinMagIndex(const Cplx32* x, int n);
}  // namespace ref

}  // namespace Kivo::kernels
