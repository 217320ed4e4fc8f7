// Single-precision natural and decimal logarithms for AVX2+FMA, included only by
// VecMathAvx2.cpp (whose whole unit is compiled for AVX2 and FMA). Like VecMathLoops.h it pulls
// in no standard-library header and defines everything with internal linkage.
//
// Why not SLEEF here: SLEEF's 1-ulp logf/log10f stay in single precision and need two-float
// arithmetic to reach 1 ulp. The log10 of a whole power spectrum is the analyser's hot loop, so
// these two get a shorter path: the work is done in double precision, where a short polynomial
// is far more accurate than single precision needs, and the result is rounded to float once.
//
//   x = 2^e * m with m in [sqrt(1/2), sqrt(2)), split with integer operations on the float bits
//       (subnormals are first scaled by 2^23, exactly); f = m - 1 is exact in single precision;
//   s = f / (f + 2) = (m - 1) / (m + 1), |s| <= 0.1716, in double (f + 2 is exact there, the
//       quotient rounds once);
//   ln m = 2 atanh s = 2s + s^3 R(s^2), R a degree-3 polynomial fitted for the smallest relative
//       error of ln m over the interval (4.8e-12, i.e. 2^-37.6; the Taylor series of the same
//       degree gives 2e-9);
//   result = e * log_b(2) + ln(m) / ln(b) for b = e or 10, the last step one FMA, then rounded
//       to float.
//
// |ln m| <= ln(2)/2, so for e != 0 the two terms never cancel and the relative error of the
// double result stays below about 2^-37 everywhere. Rounding that to float adds at most half an
// ulp, so the result is within 0.5 + 2^-13 ulp (faithful, almost always correctly rounded). Exact
// cases stay exact: ln 1 = log10 1 = +0 (s = 0, e = 0), and log10(10^k) for k = 0..10 lies within
// 2^-37 relative of the integer k, which float rounding returns exactly.
//
// A division rather than a table of 1/c and log c: AVX2 gathers are slow, and a table held in
// registers needs several permutes, blends and conversions per lookup, more work than the two
// divisions per eight floats (measured: replacing them by multiplications saves about a tenth).
// What remains is mostly the float/double conversions (six per eight floats) and the polynomial.
#pragma once

#include <immintrin.h>

namespace Kivo::kernels::vecmath {
namespace {

// ln m = 2s + s^3 (c0 + c1 z + c2 z^2 + c3 z^3), z = s^2, for z in [0, ((sqrt2-1)/(sqrt2+1))^2]
// (least-maximum relative error of ln m, made by fit_log_poly.py; the Taylor coefficients would
// be 2/3, 2/5, 2/7, 2/9).
inline constexpr double kLnC0 = 0x1.555554fd9a4dcp-1;
inline constexpr double kLnC1 = 0x1.999a7a8f72cb7p-2;
inline constexpr double kLnC2 = 0x1.2438d66373d8bp-2;
inline constexpr double kLnC3 = 0x1.e2f693b862ac1p-3;

struct NaturalLog {
    static constexpr double kScale = 1.0;
    static constexpr double kLog2 = 0.693147180559945309417232121458176568;  // ln 2
};
struct DecimalLog {
    static constexpr double kScale = 0.434294481903251827651128918916605082;  // 1/ln 10
    static constexpr double kLog2 = 0.301029995663981195213738894724493027;   // log10 2
};

// e * log_b(2) + log_b(1 + f) for four doubles, 1 + f in [sqrt(1/2), sqrt(2)) (f and e exact).
template <class B>
__attribute__((target("avx2,fma"), always_inline)) inline __m256d LogCoreD4(__m256d f, __m256d e) {
    // 2 + f = m + 1 is exact in double; the quotient rounds once.
    const __m256d s = _mm256_div_pd(f, _mm256_add_pd(f, _mm256_set1_pd(2.0)));
    const __m256d z = _mm256_mul_pd(s, s);
    __m256d p =
        _mm256_fmadd_pd(_mm256_set1_pd(kLnC3 * B::kScale), z, _mm256_set1_pd(kLnC2 * B::kScale));
    p = _mm256_fmadd_pd(p, z, _mm256_set1_pd(kLnC1 * B::kScale));
    p = _mm256_fmadd_pd(p, z, _mm256_set1_pd(kLnC0 * B::kScale));
    // log_b m = s * (2/ln b + z p(z)): |z p| < 0.02 * 2/ln b, so the sum loses nothing, and the
    // final FMA rounds s * y + e log_b 2 once.
    const __m256d y = _mm256_fmadd_pd(z, p, _mm256_set1_pd(2.0 * B::kScale));
    return _mm256_fmadd_pd(s, y, _mm256_mul_pd(e, _mm256_set1_pd(B::kLog2)));
}

// Eight floats. Lanes that are not positive normal floats (zero, subnormal, negative, infinite,
// NaN) are rare, so they are detected with one test per register and handled off the main path.
template <class B>
__attribute__((target("avx2,fma"), always_inline)) inline __m256 LogF8(__m256 x) {
    __m256i ix = _mm256_castps_si256(x);
    const __m256i minNormal = _mm256_set1_epi32(0x00800000);
    const __m256i notNormal = _mm256_or_si256(
        _mm256_cmpgt_epi32(minNormal, ix), _mm256_cmpgt_epi32(ix, _mm256_set1_epi32(0x7f7fffff)));
    const bool rare = !_mm256_testz_si256(notNormal, notNormal);
    __m256i bias = _mm256_setzero_si256();
    if (rare) {
        // Positive subnormals times 2^23 are normal and exact; their exponent is corrected below.
        const __m256i sub = _mm256_andnot_si256(_mm256_cmpgt_epi32(_mm256_set1_epi32(1), ix),
                                                _mm256_cmpgt_epi32(minNormal, ix));
        const __m256i scaled = _mm256_castps_si256(_mm256_mul_ps(x, _mm256_set1_ps(0x1p23f)));
        ix = _mm256_blendv_epi8(ix, scaled, sub);
        bias = _mm256_and_si256(sub, _mm256_set1_epi32(23));
    }
    // Offsetting by the bits of sqrt(1/2) moves the exponent boundary to the mantissa sqrt(2):
    // mantissas at or above it get the next exponent and are halved.
    const __m256i offset = _mm256_set1_epi32(0x3f3504f3);
    const __m256i t = _mm256_sub_epi32(ix, offset);
    const __m256i e = _mm256_sub_epi32(_mm256_srai_epi32(t, 23), bias);
    const __m256 m = _mm256_castsi256_ps(
        _mm256_add_epi32(_mm256_and_si256(t, _mm256_set1_epi32(0x007fffff)), offset));
    // m - 1 is exact in single precision (m is within a factor 2 of 1).
    const __m256 f = _mm256_sub_ps(m, _mm256_set1_ps(1.0f));

    const __m256d lo = LogCoreD4<B>(_mm256_cvtps_pd(_mm256_castps256_ps128(f)),
                                    _mm256_cvtepi32_pd(_mm256_castsi256_si128(e)));
    const __m256d hi = LogCoreD4<B>(_mm256_cvtps_pd(_mm256_extractf128_ps(f, 1)),
                                    _mm256_cvtepi32_pd(_mm256_extracti128_si256(e, 1)));
    __m256 r = _mm256_set_m128(_mm256_cvtpd_ps(hi), _mm256_cvtpd_ps(lo));

    if (rare) {
        const __m256 zero = _mm256_setzero_ps();
        const __m256 inf = _mm256_set1_ps(__builtin_huge_valf());
        r = _mm256_blendv_ps(r, _mm256_sub_ps(zero, inf), _mm256_cmp_ps(x, zero, _CMP_EQ_OQ));
        r = _mm256_blendv_ps(r, _mm256_set1_ps(__builtin_nanf("")),
                             _mm256_cmp_ps(x, zero, _CMP_LT_OQ));
        r = _mm256_blendv_ps(r, inf, _mm256_cmp_ps(x, inf, _CMP_EQ_OQ));
        r = _mm256_blendv_ps(r, _mm256_add_ps(x, x), _mm256_cmp_ps(x, x, _CMP_UNORD_Q));
    }
    return r;
}

}  // namespace
}  // namespace Kivo::kernels::vecmath
