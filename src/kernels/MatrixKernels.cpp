// Element-wise matrix kernels: plain loops that g++ vectorises, cloned per instruction set and
// chosen at load time.
#include "kernels/MatrixKernels.h"

#include <limits>

#if defined(__x86_64__) && defined(__GNUC__) && !defined(__clang__)
#define OMBREL_MATRIX_CLONES __attribute__((target_clones("avx512f", "avx2", "default")))
#else
#define OMBREL_MATRIX_CLONES
#endif

namespace Kivo::kernels::matrix {

namespace {

// The loop bodies are written once and inlined into each cloned entry point, so every clone is
// compiled for its own instruction set. No __restrict: m.Add(m) passes the same block twice,
// which the element-by-element loops handle but a no-alias promise would not allow.
template <typename T>
[[gnu::always_inline]] inline void Add(T* d, const T* s, int n) {
    for (int k = 0; k < n; ++k)
        d[k] = d[k] + s[k];
}
template <typename T>
[[gnu::always_inline]] inline void Sub(T* d, const T* s, int n) {
    for (int k = 0; k < n; ++k)
        d[k] = d[k] - s[k];
}
template <typename T>
[[gnu::always_inline]] inline void Mul(T* d, const T* s, int n) {
    for (int k = 0; k < n; ++k)
        d[k] = d[k] * s[k];
}
// A zero divisor yields an infinity signed like the dividend (NaN for 0/0), whatever the sign
// of the zero: the division primitives the library was first built on behave so.
template <typename T>
[[gnu::always_inline]] inline bool Div(T* d, const T* s, int n) {
    constexpr T inf = std::numeric_limits<T>::infinity();
    constexpr T nan = std::numeric_limits<T>::quiet_NaN();
    int zeros = 0;
    for (int k = 0; k < n; ++k) {
        const T a = d[k];
        const T b = s[k];
        const bool zero = b == T(0);
        const T special = a > T(0) ? inf : (a < T(0) ? -inf : nan);
        d[k] = zero ? special : a / b;
        zeros += zero ? 1 : 0;
    }
    return zeros != 0;
}
template <typename T>
[[gnu::always_inline]] inline void AddC(T v, T* d, int n) {
    for (int k = 0; k < n; ++k)
        d[k] = d[k] + v;
}
template <typename T>
[[gnu::always_inline]] inline void SubC(T v, T* d, int n) {
    for (int k = 0; k < n; ++k)
        d[k] = d[k] - v;
}
template <typename T>
[[gnu::always_inline]] inline void MulC(T v, T* d, int n) {
    for (int k = 0; k < n; ++k)
        d[k] = d[k] * v;
}
template <typename T>
[[gnu::always_inline]] inline void DivC(T v, T* d, int n) {
    for (int k = 0; k < n; ++k)
        d[k] = d[k] / v;
}

}  // namespace

OMBREL_MATRIX_CLONES void AddInPlace(float* dst, const float* src, int n) {
    Add(dst, src, n);
}
OMBREL_MATRIX_CLONES void AddInPlace(double* dst, const double* src, int n) {
    Add(dst, src, n);
}
OMBREL_MATRIX_CLONES void SubInPlace(float* dst, const float* src, int n) {
    Sub(dst, src, n);
}
OMBREL_MATRIX_CLONES void SubInPlace(double* dst, const double* src, int n) {
    Sub(dst, src, n);
}
OMBREL_MATRIX_CLONES void MulInPlace(float* dst, const float* src, int n) {
    Mul(dst, src, n);
}
OMBREL_MATRIX_CLONES void MulInPlace(double* dst, const double* src, int n) {
    Mul(dst, src, n);
}
OMBREL_MATRIX_CLONES bool DivInPlace(float* dst, const float* src, int n) {
    return Div(dst, src, n);
}
OMBREL_MATRIX_CLONES bool DivInPlace(double* dst, const double* src, int n) {
    return Div(dst, src, n);
}

OMBREL_MATRIX_CLONES void AddConstInPlace(float value, float* dst, int n) {
    AddC(value, dst, n);
}
OMBREL_MATRIX_CLONES void AddConstInPlace(double value, double* dst, int n) {
    AddC(value, dst, n);
}
OMBREL_MATRIX_CLONES void SubConstInPlace(float value, float* dst, int n) {
    SubC(value, dst, n);
}
OMBREL_MATRIX_CLONES void SubConstInPlace(double value, double* dst, int n) {
    SubC(value, dst, n);
}
OMBREL_MATRIX_CLONES void MulConstInPlace(float value, float* dst, int n) {
    MulC(value, dst, n);
}
OMBREL_MATRIX_CLONES void MulConstInPlace(double value, double* dst, int n) {
    MulC(value, dst, n);
}
OMBREL_MATRIX_CLONES void DivConstInPlace(float value, float* dst, int n) {
    DivC(value, dst, n);
}
OMBREL_MATRIX_CLONES void DivConstInPlace(double value, double* dst, int n) {
    DivC(value, dst, n);
}

}  // namespace Kivo::kernels::matrix
