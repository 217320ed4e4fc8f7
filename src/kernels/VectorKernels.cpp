#include "kernels/VectorKernels.h"

#include <cfloat>
#include <cmath>

namespace Kivo::kernels {

namespace {

#if defined(__GNUC__) || defined(__clang__)
#define KIVO_INLINE __attribute__((always_inline)) inline
#else
#define KIVO_INLINE inline
#endif

// Bodies shared by the per-type entry points. They are force-inlined so that each clone of an
// entry point compiles them for its own instruction set.

template <typename T>
KIVO_INLINE void AddBody(const T* src, T* srcDst, int n) {
    for (int k = 0; k < n; ++k)
        srcDst[k] = srcDst[k] + src[k];
}
template <typename T>
KIVO_INLINE void SubBody(const T* src, T* srcDst, int n) {
    for (int k = 0; k < n; ++k)
        srcDst[k] = srcDst[k] - src[k];
}
template <typename T>
KIVO_INLINE void MulBody(const T* src, T* srcDst, int n) {
    for (int k = 0; k < n; ++k)
        srcDst[k] = srcDst[k] * src[k];
}
// IEEE division by -0 gives an infinity of the opposite sign; the division of the vectors makes
// a zero divisor's infinity follow the dividend's sign alone. Rare path: only when a zero
// divisor was seen.
template <typename T>
void FollowDividendSign(const T* src, T* quotient, int n) {
    for (int k = 0; k < n; ++k)
        if (src[k] == T(0) && std::signbit(src[k]) && std::isinf(quotient[k]))
            quotient[k] = -quotient[k];
}
template <typename T>
KIVO_INLINE bool DivBody(const T* src, T* srcDst, int n) {
    int zero = 0;
    for (int k = 0; k < n; ++k) {
        zero |= src[k] == T(0);
        srcDst[k] = srcDst[k] / src[k];
    }
    if (zero) FollowDividendSign(src, srcDst, n);
    return zero != 0;
}
template <typename T>
KIVO_INLINE void AddCBody(T value, T* srcDst, int n) {
    for (int k = 0; k < n; ++k)
        srcDst[k] = srcDst[k] + value;
}
template <typename T>
KIVO_INLINE void SubCBody(T value, T* srcDst, int n) {
    for (int k = 0; k < n; ++k)
        srcDst[k] = srcDst[k] - value;
}
template <typename T>
KIVO_INLINE void MulCBody(T value, T* srcDst, int n) {
    for (int k = 0; k < n; ++k)
        srcDst[k] = srcDst[k] * value;
}

// Complex elements are handled as interleaved scalars: (a + jb)(c + jd) = (ac - bd) + j(ad + bc)
// with every product and sum rounded once.
template <typename R>
KIVO_INLINE void CMulBody(const R* a, const R* b, R* dst, int n) {
    for (int k = 0; k < 2 * n; k += 2) {
        const R ar = a[k], ai = a[k + 1], br = b[k], bi = b[k + 1];
        dst[k] = ar * br - ai * bi;
        dst[k + 1] = ar * bi + ai * br;
    }
}
// Textbook quotient ((ac + bd) + j(bc - ad)) / (c² + d²), without Smith's scaling: a divisor of
// 0+0j yields the formula's Inf/NaN parts.
template <typename R>
KIVO_INLINE int CDivBody(const R* b, R* a, int n) {
    int zero = 0;
    for (int k = 0; k < 2 * n; k += 2) {
        const R ar = a[k], ai = a[k + 1], c = b[k], d = b[k + 1];
        zero |= (c == R(0)) & (d == R(0));
        const R den = c * c + d * d;
        a[k] = (ar * c + ai * d) / den;
        a[k + 1] = (ai * c - ar * d) / den;
    }
    return zero;
}
template <typename R>
KIVO_INLINE void CDivCBody(R c, R d, R* a, int n) {
    const R den = c * c + d * d;
    for (int k = 0; k < 2 * n; k += 2) {
        const R ar = a[k], ai = a[k + 1];
        a[k] = (ar * c + ai * d) / den;
        a[k + 1] = (ai * c - ar * d) / den;
    }
}
template <typename R>
KIVO_INLINE void CMulCBody(R c, R d, R* a, int n) {
    for (int k = 0; k < 2 * n; k += 2) {
        const R ar = a[k], ai = a[k + 1];
        a[k] = ar * c - ai * d;
        a[k + 1] = ar * d + ai * c;
    }
}
template <typename R>
KIVO_INLINE void CAddCBody(R c, R d, R* a, int n) {
    for (int k = 0; k < 2 * n; k += 2) {
        a[k] = a[k] + c;
        a[k + 1] = a[k + 1] + d;
    }
}
template <typename R>
KIVO_INLINE void MagSqrBody(const R* src, R* dst, int n) {
    for (int k = 0; k < n; ++k) {
        const R re = src[2 * k], im = src[2 * k + 1];
        dst[k] = re * re + im * im;
    }
}

// Sum in double over eight independent lanes (so the loop vectorises without reassociating
// anything the compiler is not allowed to); `stride` 2 keeps the real and imaginary parts of
// interleaved complex data in separate lanes.
template <typename T>
KIVO_INLINE void SumLanes(const T* x, int count, double (&acc)[8]) {
    for (int j = 0; j < 8; ++j)
        acc[j] = 0.0;
    int k = 0;
    for (; k + 8 <= count; k += 8)
        for (int j = 0; j < 8; ++j)
            acc[j] += static_cast<double>(x[k + j]);
    for (int j = 0; k < count; ++k, ++j)
        acc[j] += static_cast<double>(x[k]);
}
template <typename T>
KIVO_INLINE double SumBody(const T* x, int n) {
    double acc[8];
    SumLanes(x, n, acc);
    return ((acc[0] + acc[1]) + (acc[2] + acc[3])) + ((acc[4] + acc[5]) + (acc[6] + acc[7]));
}
template <typename T>
KIVO_INLINE double StdDevBody(const T* x, int n) {
    if (n < 2) return 0.0;
    const double mean = SumBody(x, n) / n;
    double acc[8] = {0, 0, 0, 0, 0, 0, 0, 0};
    int k = 0;
    for (; k + 8 <= n; k += 8)
        for (int j = 0; j < 8; ++j) {
            const double d = static_cast<double>(x[k + j]) - mean;
            acc[j] += d * d;
        }
    for (int j = 0; k < n; ++k, ++j) {
        const double d = static_cast<double>(x[k]) - mean;
        acc[j] += d * d;
    }
    const double ss =
        ((acc[0] + acc[1]) + (acc[2] + acc[3])) + ((acc[4] + acc[5]) + (acc[6] + acc[7]));
    return std::sqrt(ss / (n - 1));
}
template <typename R>
KIVO_INLINE void CSumBody(const R* x, int n, double& re, double& im) {
    double acc[8];
    SumLanes(x, 2 * n, acc);
    re = (acc[0] + acc[2]) + (acc[4] + acc[6]);
    im = (acc[1] + acc[3]) + (acc[5] + acc[7]);
}

template <typename T>
int MaxIndexT(const T* x, int n) {
    if (n < 1) return -1;
    int best = 0;
    for (int k = 1; k < n; ++k)
        if (x[k] > x[best]) best = k;
    return best;
}
template <typename T>
int MinIndexT(const T* x, int n) {
    if (n < 1) return -1;
    int best = 0;
    for (int k = 1; k < n; ++k)
        if (x[k] < x[best]) best = k;
    return best;
}
template <typename C, typename R>
int MaxMagIndexT(const C* x, int n) {
    if (n < 1) return -1;
    R best = 0;
    int index = 0;
    for (int k = 0; k < n; ++k) {
        const R m = x[k].re * x[k].re + x[k].im * x[k].im;
        if (m > best) {
            best = m;
            index = k;
        }
    }
    return index;
}
template <typename C, typename R>
int MinMagIndexT(const C* x, int n) {
    if (n < 1) return -1;
    R best = x[0].re * x[0].re + x[0].im * x[0].im;
    int index = 0;
    for (int k = 1; k < n; ++k) {
        const R m = x[k].re * x[k].re + x[k].im * x[k].im;
        if (m < best) {
            best = m;
            index = k;
        }
    }
    return index;
}

inline float SaturateToFloat(double x) {
    // NaN fails both comparisons and converts to NaN.
    if (x > static_cast<double>(FLT_MAX)) return FLT_MAX;
    if (x < -static_cast<double>(FLT_MAX)) return -FLT_MAX;
    return static_cast<float>(x);
}

inline float* F(Cplx32* p) {
    return reinterpret_cast<float*>(p);
}
inline const float* F(const Cplx32* p) {
    return reinterpret_cast<const float*>(p);
}
inline double* F(Cplx64* p) {
    return reinterpret_cast<double*>(p);
}
inline const double* F(const Cplx64* p) {
    return reinterpret_cast<const double*>(p);
}

}  // namespace

// ---- copy, fill, conversion ---------------------------------------------------------------

KIVO_VECTOR_CLONES void Convert(const double* src, float* dst, int n) {
    for (int k = 0; k < n; ++k) {
        const double x = src[k];
        const double c = x > FLT_MAX ? static_cast<double>(FLT_MAX)
                                     : (x < -FLT_MAX ? -static_cast<double>(FLT_MAX) : x);
        dst[k] = static_cast<float>(c);
    }
}

void Convert(const float* src, double* dst, int n) {
    for (int k = 0; k < n; ++k)
        dst[k] = src[k];
}

// ---- complex packing ----------------------------------------------------------------------

void RealToCplx(const float* re, const float* im, Cplx32* dst, int n) {
    for (int k = 0; k < n; ++k)
        dst[k] = Cplx32{re ? re[k] : 0.0f, im ? im[k] : 0.0f};
}
void RealToCplx(const double* re, const double* im, Cplx64* dst, int n) {
    for (int k = 0; k < n; ++k)
        dst[k] = Cplx64{re ? re[k] : 0.0, im ? im[k] : 0.0};
}
void RealToCplx(const double* re, const double* im, Cplx32* dst, int n) {
    for (int k = 0; k < n; ++k)
        dst[k] = Cplx32{re ? SaturateToFloat(re[k]) : 0.0f, im ? SaturateToFloat(im[k]) : 0.0f};
}
void RealToCplx(const float* re, const float* im, Cplx64* dst, int n) {
    for (int k = 0; k < n; ++k)
        dst[k] =
            Cplx64{re ? static_cast<double>(re[k]) : 0.0, im ? static_cast<double>(im[k]) : 0.0};
}
void CplxToReal(const Cplx32* src, float* re, float* im, int n) {
    if (re)
        for (int k = 0; k < n; ++k)
            re[k] = src[k].re;
    if (im)
        for (int k = 0; k < n; ++k)
            im[k] = src[k].im;
}
void CplxToReal(const Cplx64* src, double* re, double* im, int n) {
    if (re)
        for (int k = 0; k < n; ++k)
            re[k] = src[k].re;
    if (im)
        for (int k = 0; k < n; ++k)
            im[k] = src[k].im;
}
void CplxToReal(const Cplx32* src, double* re, double* im, int n) {
    if (re)
        for (int k = 0; k < n; ++k)
            re[k] = src[k].re;
    if (im)
        for (int k = 0; k < n; ++k)
            im[k] = src[k].im;
}
void CplxToReal(const Cplx64* src, float* re, float* im, int n) {
    if (re)
        for (int k = 0; k < n; ++k)
            re[k] = SaturateToFloat(src[k].re);
    if (im)
        for (int k = 0; k < n; ++k)
            im[k] = SaturateToFloat(src[k].im);
}

// ---- in-place arithmetic --------------------------------------------------------------------

KIVO_VECTOR_CLONES void AddInPlace(const float* src, float* srcDst, int n) {
    AddBody(src, srcDst, n);
}
KIVO_VECTOR_CLONES void AddInPlace(const double* src, double* srcDst, int n) {
    AddBody(src, srcDst, n);
}
void AddInPlace(const Cplx32* src, Cplx32* srcDst, int n) {
    if (n > 0) AddInPlace(F(src), F(srcDst), 2 * n);
}
void AddInPlace(const Cplx64* src, Cplx64* srcDst, int n) {
    if (n > 0) AddInPlace(F(src), F(srcDst), 2 * n);
}
KIVO_VECTOR_CLONES void SubInPlace(const float* src, float* srcDst, int n) {
    SubBody(src, srcDst, n);
}
KIVO_VECTOR_CLONES void SubInPlace(const double* src, double* srcDst, int n) {
    SubBody(src, srcDst, n);
}
void SubInPlace(const Cplx32* src, Cplx32* srcDst, int n) {
    if (n > 0) SubInPlace(F(src), F(srcDst), 2 * n);
}
void SubInPlace(const Cplx64* src, Cplx64* srcDst, int n) {
    if (n > 0) SubInPlace(F(src), F(srcDst), 2 * n);
}
KIVO_VECTOR_CLONES void MulInPlace(const float* src, float* srcDst, int n) {
    MulBody(src, srcDst, n);
}
KIVO_VECTOR_CLONES void MulInPlace(const double* src, double* srcDst, int n) {
    MulBody(src, srcDst, n);
}
KIVO_VECTOR_CLONES void MulInPlace(const Cplx32* src, Cplx32* srcDst, int n) {
    CMulBody(F(srcDst), F(src), F(srcDst), n);
}
KIVO_VECTOR_CLONES void MulInPlace(const Cplx64* src, Cplx64* srcDst, int n) {
    CMulBody(F(srcDst), F(src), F(srcDst), n);
}
KIVO_VECTOR_CLONES bool DivInPlace(const float* src, float* srcDst, int n) {
    return DivBody(src, srcDst, n);
}
KIVO_VECTOR_CLONES bool DivInPlace(const double* src, double* srcDst, int n) {
    return DivBody(src, srcDst, n);
}
KIVO_VECTOR_CLONES bool DivInPlace(const Cplx32* src, Cplx32* srcDst, int n) {
    return CDivBody(F(src), F(srcDst), n) != 0;
}
KIVO_VECTOR_CLONES bool DivInPlace(const Cplx64* src, Cplx64* srcDst, int n) {
    return CDivBody(F(src), F(srcDst), n) != 0;
}

KIVO_VECTOR_CLONES void AddCInPlace(float value, float* srcDst, int n) {
    AddCBody(value, srcDst, n);
}
KIVO_VECTOR_CLONES void AddCInPlace(double value, double* srcDst, int n) {
    AddCBody(value, srcDst, n);
}
void AddCInPlace(Cplx32 value, Cplx32* srcDst, int n) {
    CAddCBody(value.re, value.im, F(srcDst), n);
}
void AddCInPlace(Cplx64 value, Cplx64* srcDst, int n) {
    CAddCBody(value.re, value.im, F(srcDst), n);
}
KIVO_VECTOR_CLONES void SubCInPlace(float value, float* srcDst, int n) {
    SubCBody(value, srcDst, n);
}
KIVO_VECTOR_CLONES void SubCInPlace(double value, double* srcDst, int n) {
    SubCBody(value, srcDst, n);
}
// x - c is computed as a subtraction (not as the addition of -c) to round exactly as the
// reference does for every input, signed zeros included.
void SubCInPlace(Cplx32 value, Cplx32* srcDst, int n) {
    float* a = F(srcDst);
    for (int k = 0; k < 2 * n; k += 2) {
        a[k] = a[k] - value.re;
        a[k + 1] = a[k + 1] - value.im;
    }
}
void SubCInPlace(Cplx64 value, Cplx64* srcDst, int n) {
    double* a = F(srcDst);
    for (int k = 0; k < 2 * n; k += 2) {
        a[k] = a[k] - value.re;
        a[k + 1] = a[k + 1] - value.im;
    }
}
KIVO_VECTOR_CLONES void MulCInPlace(float value, float* srcDst, int n) {
    MulCBody(value, srcDst, n);
}
KIVO_VECTOR_CLONES void MulCInPlace(double value, double* srcDst, int n) {
    MulCBody(value, srcDst, n);
}
KIVO_VECTOR_CLONES void MulCInPlace(Cplx32 value, Cplx32* srcDst, int n) {
    CMulCBody(value.re, value.im, F(srcDst), n);
}
KIVO_VECTOR_CLONES void MulCInPlace(Cplx64 value, Cplx64* srcDst, int n) {
    CMulCBody(value.re, value.im, F(srcDst), n);
}
KIVO_VECTOR_CLONES bool DivCInPlace(float value, float* srcDst, int n) {
    if (value == 0.0f) return false;
    for (int k = 0; k < n; ++k)
        srcDst[k] = srcDst[k] / value;
    return true;
}
KIVO_VECTOR_CLONES bool DivCInPlace(double value, double* srcDst, int n) {
    if (value == 0.0) return false;
    for (int k = 0; k < n; ++k)
        srcDst[k] = srcDst[k] / value;
    return true;
}
bool DivCInPlace(Cplx32 value, Cplx32* srcDst, int n) {
    if (value.re == 0.0f && value.im == 0.0f) return false;
    CDivCBody(value.re, value.im, F(srcDst), n);
    return true;
}
bool DivCInPlace(Cplx64 value, Cplx64* srcDst, int n) {
    if (value.re == 0.0 && value.im == 0.0) return false;
    CDivCBody(value.re, value.im, F(srcDst), n);
    return true;
}

KIVO_VECTOR_CLONES void Mul(const float* __restrict a, const float* __restrict b,
                            float* __restrict dst, int n) {
    for (int k = 0; k < n; ++k)
        dst[k] = a[k] * b[k];
}
KIVO_VECTOR_CLONES void Mul(const Cplx32* a, const Cplx32* b, Cplx32* dst, int n) {
    CMulBody(F(a), F(b), F(dst), n);
}
KIVO_VECTOR_CLONES void Mul(const Cplx64* a, const Cplx64* b, Cplx64* dst, int n) {
    CMulBody(F(a), F(b), F(dst), n);
}
KIVO_VECTOR_CLONES void MagSqr(const Cplx32* src, float* dst, int n) {
    MagSqrBody(F(src), dst, n);
}
KIVO_VECTOR_CLONES void MagSqr(const Cplx64* src, double* dst, int n) {
    MagSqrBody(F(src), dst, n);
}

// ---- statistics -----------------------------------------------------------------------------

KIVO_VECTOR_CLONES double Sum(const float* x, int n) {
    return SumBody(x, n);
}
KIVO_VECTOR_CLONES double Sum(const double* x, int n) {
    return SumBody(x, n);
}
KIVO_VECTOR_CLONES Cplx64 Sum(const Cplx32* x, int n) {
    double re = 0.0, im = 0.0;
    if (n > 0) CSumBody(F(x), n, re, im);
    return Cplx64{re, im};
}
KIVO_VECTOR_CLONES Cplx64 Sum(const Cplx64* x, int n) {
    double re = 0.0, im = 0.0;
    if (n > 0) CSumBody(F(x), n, re, im);
    return Cplx64{re, im};
}
KIVO_VECTOR_CLONES double StdDev(const float* x, int n) {
    return StdDevBody(x, n);
}
KIVO_VECTOR_CLONES double StdDev(const double* x, int n) {
    return StdDevBody(x, n);
}

int MaxIndex(const float* x, int n) {
    return MaxIndexT(x, n);
}
int MaxIndex(const double* x, int n) {
    return MaxIndexT(x, n);
}
int MinIndex(const float* x, int n) {
    return MinIndexT(x, n);
}
int MinIndex(const double* x, int n) {
    return MinIndexT(x, n);
}
int MaxMagIndex(const Cplx32* x, int n) {
    return MaxMagIndexT<Cplx32, float>(x, n);
}
int MaxMagIndex(const Cplx64* x, int n) {
    return MaxMagIndexT<Cplx64, double>(x, n);
}
int MinMagIndex(const Cplx32* x, int n) {
    return MinMagIndexT<Cplx32, float>(x, n);
}
int MinMagIndex(const Cplx64* x, int n) {
    return MinMagIndexT<Cplx64, double>(x, n);
}

// ---- references -------------------------------------------------------------------------------
// Written as the definitions read, one element at a time, with no attention to speed. Kept out
// of auto-vectorisation so that they stay an independent check of the code above.

namespace ref {

#if defined(__GNUC__) && !defined(__clang__)
#define KIVO_SCALAR __attribute__((optimize("no-tree-vectorize")))
#else
#define KIVO_SCALAR
#endif

KIVO_SCALAR void Convert(const double* src, float* dst, int n) {
    for (int k = 0; k < n; ++k) {
        if (std::isnan(src[k]))
            dst[k] = static_cast<float>(src[k]);
        else if (src[k] >= static_cast<double>(FLT_MAX))
            dst[k] = FLT_MAX;
        else if (src[k] <= -static_cast<double>(FLT_MAX))
            dst[k] = -FLT_MAX;
        else
            dst[k] = static_cast<float>(src[k]);
    }
}

#define KIVO_REF_BINARY(Name, T, op)                        \
    KIVO_SCALAR void Name(const T* src, T* srcDst, int n) { \
        for (int k = 0; k < n; ++k)                         \
            srcDst[k] = srcDst[k] op src[k];                \
    }
KIVO_REF_BINARY(AddInPlace, float, +)
KIVO_REF_BINARY(AddInPlace, double, +)
KIVO_REF_BINARY(SubInPlace, float, -)
KIVO_REF_BINARY(SubInPlace, double, -)
KIVO_REF_BINARY(MulInPlace, float, *)
KIVO_REF_BINARY(MulInPlace, double, *)
#undef KIVO_REF_BINARY

template <typename C>
KIVO_SCALAR void CAdd(const C* src, C* srcDst, int n, int sign) {
    for (int k = 0; k < n; ++k) {
        if (sign > 0) {
            srcDst[k].re = srcDst[k].re + src[k].re;
            srcDst[k].im = srcDst[k].im + src[k].im;
        } else {
            srcDst[k].re = srcDst[k].re - src[k].re;
            srcDst[k].im = srcDst[k].im - src[k].im;
        }
    }
}
void AddInPlace(const Cplx32* src, Cplx32* srcDst, int n) {
    CAdd(src, srcDst, n, 1);
}
void AddInPlace(const Cplx64* src, Cplx64* srcDst, int n) {
    CAdd(src, srcDst, n, 1);
}
void SubInPlace(const Cplx32* src, Cplx32* srcDst, int n) {
    CAdd(src, srcDst, n, -1);
}
void SubInPlace(const Cplx64* src, Cplx64* srcDst, int n) {
    CAdd(src, srcDst, n, -1);
}

template <typename C>
KIVO_SCALAR C CMul(C x, C y) {
    C r;
    r.re = x.re * y.re - x.im * y.im;
    r.im = x.re * y.im + x.im * y.re;
    return r;
}
template <typename C>
KIVO_SCALAR C CDiv(C x, C y) {
    const auto den = y.re * y.re + y.im * y.im;
    C r;
    r.re = (x.re * y.re + x.im * y.im) / den;
    r.im = (x.im * y.re - x.re * y.im) / den;
    return r;
}
KIVO_SCALAR void MulInPlace(const Cplx32* src, Cplx32* srcDst, int n) {
    for (int k = 0; k < n; ++k)
        srcDst[k] = CMul(srcDst[k], src[k]);
}
KIVO_SCALAR void MulInPlace(const Cplx64* src, Cplx64* srcDst, int n) {
    for (int k = 0; k < n; ++k)
        srcDst[k] = CMul(srcDst[k], src[k]);
}
template <typename T>
KIVO_SCALAR bool RDiv(const T* src, T* srcDst, int n) {
    bool zero = false;
    for (int k = 0; k < n; ++k) {
        srcDst[k] = srcDst[k] / src[k];
        if (src[k] == 0) {
            zero = true;
            // x / ±0 is an infinity of x's sign, whatever the sign of the zero.
            if (std::signbit(src[k]) && std::isinf(srcDst[k])) srcDst[k] = -srcDst[k];
        }
    }
    return zero;
}
bool DivInPlace(const float* src, float* srcDst, int n) {
    return RDiv(src, srcDst, n);
}
bool DivInPlace(const double* src, double* srcDst, int n) {
    return RDiv(src, srcDst, n);
}
template <typename C>
KIVO_SCALAR bool CDivV(const C* src, C* srcDst, int n) {
    bool zero = false;
    for (int k = 0; k < n; ++k) {
        if (src[k].re == 0 && src[k].im == 0) zero = true;
        srcDst[k] = CDiv(srcDst[k], src[k]);
    }
    return zero;
}
bool DivInPlace(const Cplx32* src, Cplx32* srcDst, int n) {
    return CDivV(src, srcDst, n);
}
bool DivInPlace(const Cplx64* src, Cplx64* srcDst, int n) {
    return CDivV(src, srcDst, n);
}

KIVO_SCALAR void AddCInPlace(float value, float* srcDst, int n) {
    for (int k = 0; k < n; ++k)
        srcDst[k] = srcDst[k] + value;
}
KIVO_SCALAR void AddCInPlace(Cplx32 value, Cplx32* srcDst, int n) {
    for (int k = 0; k < n; ++k) {
        srcDst[k].re = srcDst[k].re + value.re;
        srcDst[k].im = srcDst[k].im + value.im;
    }
}
KIVO_SCALAR void SubCInPlace(float value, float* srcDst, int n) {
    for (int k = 0; k < n; ++k)
        srcDst[k] = srcDst[k] - value;
}
KIVO_SCALAR void SubCInPlace(Cplx32 value, Cplx32* srcDst, int n) {
    for (int k = 0; k < n; ++k) {
        srcDst[k].re = srcDst[k].re - value.re;
        srcDst[k].im = srcDst[k].im - value.im;
    }
}
KIVO_SCALAR void MulCInPlace(float value, float* srcDst, int n) {
    for (int k = 0; k < n; ++k)
        srcDst[k] = srcDst[k] * value;
}
KIVO_SCALAR void MulCInPlace(double value, double* srcDst, int n) {
    for (int k = 0; k < n; ++k)
        srcDst[k] = srcDst[k] * value;
}
KIVO_SCALAR void MulCInPlace(Cplx32 value, Cplx32* srcDst, int n) {
    for (int k = 0; k < n; ++k)
        srcDst[k] = CMul(srcDst[k], value);
}
KIVO_SCALAR void MulCInPlace(Cplx64 value, Cplx64* srcDst, int n) {
    for (int k = 0; k < n; ++k)
        srcDst[k] = CMul(srcDst[k], value);
}
KIVO_SCALAR bool DivCInPlace(float value, float* srcDst, int n) {
    if (value == 0.0f) return false;
    for (int k = 0; k < n; ++k)
        srcDst[k] = srcDst[k] / value;
    return true;
}
KIVO_SCALAR bool DivCInPlace(Cplx32 value, Cplx32* srcDst, int n) {
    if (value.re == 0.0f && value.im == 0.0f) return false;
    for (int k = 0; k < n; ++k)
        srcDst[k] = CDiv(srcDst[k], value);
    return true;
}
KIVO_SCALAR void Mul(const Cplx32* a, const Cplx32* b, Cplx32* dst, int n) {
    for (int k = 0; k < n; ++k)
        dst[k] = CMul(a[k], b[k]);
}
KIVO_SCALAR void MagSqr(const Cplx32* src, float* dst, int n) {
    for (int k = 0; k < n; ++k)
        dst[k] = src[k].re * src[k].re + src[k].im * src[k].im;
}
KIVO_SCALAR void MagSqr(const Cplx64* src, double* dst, int n) {
    for (int k = 0; k < n; ++k)
        dst[k] = src[k].re * src[k].re + src[k].im * src[k].im;
}
KIVO_SCALAR void RealToCplx(const float* re, const float* im, Cplx32* dst, int n) {
    for (int k = 0; k < n; ++k) {
        dst[k].re = re ? re[k] : 0.0f;
        dst[k].im = im ? im[k] : 0.0f;
    }
}
KIVO_SCALAR void CplxToReal(const Cplx32* src, float* re, float* im, int n) {
    for (int k = 0; k < n; ++k) {
        if (re) re[k] = src[k].re;
        if (im) im[k] = src[k].im;
    }
}
KIVO_SCALAR double Sum(const float* x, int n) {
    double s = 0.0;
    for (int k = 0; k < n; ++k)
        s += x[k];
    return s;
}
KIVO_SCALAR double StdDev(const float* x, int n) {
    if (n < 2) return 0.0;
    const double mean = Sum(x, n) / n;
    double ss = 0.0;
    for (int k = 0; k < n; ++k)
        ss += (x[k] - mean) * (x[k] - mean);
    return std::sqrt(ss / (n - 1));
}
KIVO_SCALAR int MaxIndex(const float* x, int n) {
    int best = -1;
    for (int k = 0; k < n; ++k)
        if (best < 0 || x[k] > x[best]) best = k;
    return best;
}
KIVO_SCALAR int MinIndex(const float* x, int n) {
    int best = -1;
    for (int k = 0; k < n; ++k)
        if (best < 0 || x[k] < x[best]) best = k;
    return best;
}
KIVO_SCALAR int MaxMagIndex(const Cplx32* x, int n) {
    if (n < 1) return -1;
    float best = 0.0f;
    int index = 0;
    for (int k = 0; k < n; ++k) {
        const float m = x[k].re * x[k].re + x[k].im * x[k].im;
        if (m > best) {
            best = m;
            index = k;
        }
    }
    return index;
}
KIVO_SCALAR int MinMagIndex(const Cplx32* x, int n) {
    if (n < 1) return -1;
    int index = 0;
    for (int k = 1; k < n; ++k) {
        const float m = x[k].re * x[k].re + x[k].im * x[k].im;
        const float b = x[index].re * x[index].re + x[index].im * x[index].im;
        if (m < b) index = k;
    }
    return index;
}

}  // namespace ref

}  // namespace Kivo::kernels
