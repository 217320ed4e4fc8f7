// Single-precision natural and decimal logarithms for AVX2+FMA, and the amplitude-in-dB pass of
// the spectrum built on them. Included only by VecMathAvx2.cpp (whose whole unit is compiled for
// AVX2 and FMA). Like VecMathLoops.h it pulls in no standard-library header and defines
// everything with internal linkage.
//
// Why not SLEEF here: the log10 of a whole magnitude trace is the analyser's hot loop, and
// SLEEF's 1-ulp logf/log10f spend most of their time in two-float arithmetic over the whole
// polynomial. Here only the few terms that need it carry a second float:
//
//   x = 2^e * z, z in [0.7083, 1.4167) split with integer operations on the float bits (positive
//       subnormals are first scaled by 2^23, exactly); the top three bits of the offset mantissa
//       pick one of eight subintervals, and with it invc, a number of at most five significant
//       bits near 1/c for the subinterval's midpoint c (invc = 1 on the subinterval around 1);
//   r = fma(z, invc, -1) is exact: z has 24 significant bits, invc five, and |r| < 2^-4 leaves
//       at most 24 bits of z * invc - 1 (make_log_tables.py chose invc so that |r| < 2^-4);
//   log_b x = e log_b 2 + T + log_b(1 + r), T = -log_b(invc) from the table,
//           = A + L r + [L r^2 q(r) + the low parts], L = log_b(e):
//       A = e * L2hi + Thi is exact (L2hi and Thi are multiples of 2^-17 and |e| <= 150);
//       L r is a float pair (rounded product plus its FMA error; for ln, L = 1 and L r = r);
//       q is a degree-4 polynomial (relative error below 2^-24 over |r| <= 2^-4);
//   A + L r is summed exactly (|A| >= |L r| whenever A != 0, so Fast2Sum applies), and the
//   result is hi + (err + small), rounded once.
//
// The terms never cancel: off the central subinterval z and 1/invc lie on the same side of 1,
// and for e != 0 |e log_b 2| >= 2 |log_b z|. Measured over all 2,139,095,039 positive floats
// (make_log_tables.py made the constants; the test suite checks a sample of all floats, or all
// of them with OMBREL_VECMATH_EXHAUSTIVE=1): at most 0.554 ulp for ln and 0.557 ulp for log10;
// in a sample of every 17th float about one result in 32,000 is not correctly rounded. Exact
// cases stay exact: log 1 = +0, and log10(10^k) for k = 0..10 gives the integer k.
//
// A table in registers costs one vpermps per constant; gathers are slower on every AVX2
// processor, and eight subintervals keep the polynomial at degree 4. Measured on AMD Zen (4096
// floats in the first-level cache, best of 20,000 runs): 1.3 to 1.7 time-stamp ticks per float,
// against 2.3 to 2.4 for the same reduction done in double precision with a division.
#pragma once

#include <immintrin.h>

namespace Kivo::kernels::vecmath {
namespace {

// Bits of the float just below 0.70833: with it the subinterval around 1 runs from 1 - 1/24 to
// 1 + 1/24 (two thirds of its bit patterns lie below 1, where they are twice as dense).
inline constexpr int kLogOffset = 0x3f355556;
inline constexpr float kInvC[8] = {0x1.6p+0f, 0x1.4p+0f, 0x1.2p+0f, 0x1.1p+0f,
                                   1.0f,      0x1.dp-1f, 0x1.ap-1f, 0x1.8p-1f};

struct NaturalLog {
    static constexpr bool kUnitScale = true;  // L = 1: L r is r itself
    static constexpr float kL2Hi = 0x1.62e4p-1f;
    static constexpr float kL2Lo = 0x1.7f7d1cp-20f;
    static constexpr float kLHi = 1.0f;
    static constexpr float kLLo = 0.0f;
    static constexpr float kC[5] = {-0x1p-1f, 0x1.555528p-2f, -0x1.ffff2ep-3f, 0x1.9b093ap-3f,
                                    -0x1.571816p-3f};
    static constexpr float kTHi[8] = {-0x1.4618p-2f, -0x1.c9p-3f,  -0x1.e27p-4f, -0x1.f0ap-5f,
                                      0.0f,          0x1.9338p-4f, 0x1.a94p-3f,  0x1.2696p-2f};
    static constexpr float kTLo[8] = {
        -0x1.78438cp-19f, 0x1.070cacp-20f,  -0x1.db8abcp-22f, -0x1.86008cp-20f, 0.0f,
        -0x1.0d1536p-19f, -0x1.2c3752p-19f, 0x1.089a6ep-21f};
};

struct DecimalLog {
    static constexpr bool kUnitScale = false;
    static constexpr float kL2Hi = 0x1.3442p-2f;
    static constexpr float kL2Lo = -0x1.95ec1p-19f;
    static constexpr float kLHi = 0x1.bcb7b2p-2f;
    static constexpr float kLLo = -0x1.5b235ep-27f;
    static constexpr float kC[5] = {-0x1.bcb7b2p-3f, 0x1.287a4ep-3f, -0x1.bcb6fap-4f,
                                    0x1.650578p-4f, -0x1.2a01fap-4f};
    static constexpr float kTHi[8] = {-0x1.1b4p-3f, -0x1.8cfp-4f, -0x1.a31p-5f, -0x1.af6p-6f,
                                      0.0f,         0x1.5e4p-5f,  0x1.716p-4f,  0x1.ffcp-4f};
    static constexpr float kTLo[8] = {
        0x1.8e136cp-19f,  -0x1.838864p-20f, 0x1.58a7d8p-19f, 0x1.b53fc6p-24f, 0.0f,
        -0x1.a65206p-19f, -0x1.798e4cp-19f, -0x1.ea21c4p-23f};
};

// Lanes that are not positive normal floats (zero, subnormal, negative, infinite, NaN): x + 2^23
// as an integer lies in [2^24, 2^31) exactly for the positive normal floats; everything else
// lands below 2^24 or wraps to a negative integer.
__attribute__((target("avx2,fma"), always_inline)) inline __m256i NotNormalF8(__m256i ix) {
    return _mm256_cmpgt_epi32(_mm256_set1_epi32(0x01000000),
                              _mm256_add_epi32(ix, _mm256_set1_epi32(0x00800000)));
}

// Eight floats. Lanes that are not positive normal floats are rare, so they are detected with one
// test per register and handled off the main path; a caller that has already checked a whole run
// of arguments passes kCheck = false.
template <class B, bool kCheck = true>
__attribute__((target("avx2,fma"), always_inline)) inline __m256 LogF8(__m256 x) {
    __m256i ix = _mm256_castps_si256(x);
    const __m256i minNormal = _mm256_set1_epi32(0x00800000);
    bool rare = false;
    if constexpr (kCheck) {
        const __m256i notNormal = NotNormalF8(ix);
        rare = !_mm256_testz_si256(notNormal, notNormal);
    }
    __m256i bias = _mm256_setzero_si256();
    if (rare) {
        // Positive subnormals times 2^23 are normal and exact; their exponent is corrected below.
        const __m256i sub = _mm256_andnot_si256(_mm256_cmpgt_epi32(_mm256_set1_epi32(1), ix),
                                                _mm256_cmpgt_epi32(minNormal, ix));
        const __m256i scaled = _mm256_castps_si256(_mm256_mul_ps(x, _mm256_set1_ps(0x1p23f)));
        ix = _mm256_blendv_epi8(ix, scaled, sub);
        bias = _mm256_and_si256(sub, _mm256_set1_epi32(23));
    }
    const __m256i t = _mm256_sub_epi32(ix, _mm256_set1_epi32(kLogOffset));
    // vpermps reads only the low three bits of each index.
    const __m256i idx = _mm256_srli_epi32(t, 20);
    __m256 ef = _mm256_cvtepi32_ps(_mm256_srai_epi32(t, 23));
    if (rare) ef = _mm256_sub_ps(ef, _mm256_cvtepi32_ps(bias));
    const __m256 z = _mm256_castsi256_ps(_mm256_sub_epi32(
        ix, _mm256_and_si256(t, _mm256_set1_epi32(static_cast<int>(0xff800000u)))));
    const __m256 invc = _mm256_permutevar8x32_ps(_mm256_loadu_ps(kInvC), idx);
    const __m256 tHi = _mm256_permutevar8x32_ps(_mm256_loadu_ps(B::kTHi), idx);
    const __m256 tLo = _mm256_permutevar8x32_ps(_mm256_loadu_ps(B::kTLo), idx);

    // Exact: invc has at most five significant bits, so z * invc - 1 fits in 24.
    const __m256 r = _mm256_fmsub_ps(z, invc, _mm256_set1_ps(1.0f));
    const __m256 a = _mm256_fmadd_ps(ef, _mm256_set1_ps(B::kL2Hi), tHi);
    __m256 q = _mm256_fmadd_ps(_mm256_set1_ps(B::kC[4]), r, _mm256_set1_ps(B::kC[3]));
    q = _mm256_fmadd_ps(q, r, _mm256_set1_ps(B::kC[2]));
    q = _mm256_fmadd_ps(q, r, _mm256_set1_ps(B::kC[1]));
    q = _mm256_fmadd_ps(q, r, _mm256_set1_ps(B::kC[0]));
    // r (r q + Llo): the polynomial's part and the low part of L r in one product.
    const __m256 w = _mm256_mul_ps(r, _mm256_fmadd_ps(r, q, _mm256_set1_ps(B::kLLo)));
    __m256 small = _mm256_fmadd_ps(ef, _mm256_set1_ps(B::kL2Lo), tLo);
    __m256 lr;
    if constexpr (B::kUnitScale) {
        lr = r;
    } else {
        lr = _mm256_mul_ps(r, _mm256_set1_ps(B::kLHi));
        small = _mm256_add_ps(small, _mm256_fmsub_ps(r, _mm256_set1_ps(B::kLHi), lr));
    }
    small = _mm256_add_ps(small, w);
    const __m256 hi = _mm256_add_ps(a, lr);
    const __m256 err = _mm256_sub_ps(lr, _mm256_sub_ps(hi, a));
    __m256 res = _mm256_add_ps(hi, _mm256_add_ps(err, small));

    if (rare) {
        const __m256 zero = _mm256_setzero_ps();
        const __m256 inf = _mm256_set1_ps(__builtin_huge_valf());
        res = _mm256_blendv_ps(res, _mm256_sub_ps(zero, inf), _mm256_cmp_ps(x, zero, _CMP_EQ_OQ));
        res = _mm256_blendv_ps(res, _mm256_set1_ps(__builtin_nanf("")),
                               _mm256_cmp_ps(x, zero, _CMP_LT_OQ));
        res = _mm256_blendv_ps(res, inf, _mm256_cmp_ps(x, inf, _CMP_EQ_OQ));
        res = _mm256_blendv_ps(res, _mm256_add_ps(x, x), _mm256_cmp_ps(x, x, _CMP_UNORD_Q));
    }
    return res;
}

// Magnitude and magnitude + floor of eight complex values (sixteen interleaved floats), each
// rounded exactly as the separate passes round it: re*re and im*im rounded, their sum rounded,
// the correctly rounded square root, one rounded addition. Returns the lanes whose sum is not a
// positive normal float, for the logarithm that follows.
__attribute__((target("avx2,fma"), always_inline)) inline __m256i MagnitudeF8(const float* c,
                                                                              float* mag,
                                                                              float* lin,
                                                                              __m256 floor) {
    const __m256 v0 = _mm256_loadu_ps(c);
    const __m256 v1 = _mm256_loadu_ps(c + 8);
    const __m256 s0 = _mm256_mul_ps(v0, v0);
    const __m256 s1 = _mm256_mul_ps(v1, v1);
    // Lanes come out as values 0 1 4 5 | 2 3 6 7; the 64-bit permute puts them in order.
    const __m256 re2 = _mm256_shuffle_ps(s0, s1, 0x88);
    const __m256 im2 = _mm256_shuffle_ps(s0, s1, 0xdd);
    const __m256 sum =
        _mm256_castpd_ps(_mm256_permute4x64_pd(_mm256_castps_pd(_mm256_add_ps(re2, im2)), 0xd8));
    const __m256 m = _mm256_sqrt_ps(sum);
    _mm256_storeu_ps(mag, m);
    const __m256 l = _mm256_add_ps(m, floor);
    _mm256_storeu_ps(lin, l);
    return NotNormalF8(_mm256_castps_si256(l));
}

// 20 log10 of eight floats: the logarithm, then one rounded product.
template <bool kCheck>
__attribute__((target("avx2,fma"), always_inline)) inline void DbF8(const float* lin, float* db) {
    _mm256_storeu_ps(
        db, _mm256_mul_ps(LogF8<DecimalLog, kCheck>(_mm256_loadu_ps(lin)), _mm256_set1_ps(20.0f)));
}

// Two passes over each run of 256 values rather than one loop doing everything: behind the
// square root, the logarithm's long dependency chain leaves too few independent iterations in
// flight for the out-of-order core when both share one loop body (measured for 4096 values:
// 5.0 us in one loop, 3.4 us in runs). The second pass reads `lin` back from the first-level
// cache, and the first pass tells whether any of the run's logarithms needs the special-value
// path, so that the second runs without the per-register test when none does (the usual case).
void AmplitudeDbAvx2(const float* c, float* mag, float* lin, float* db, float floor, int len) {
    constexpr int kRun = 256;
    const __m256 vfloor = _mm256_set1_ps(floor);
    const int whole = len > 0 ? len - len % 8 : 0;
    for (int start = 0; start < whole; start += kRun) {
        const int end = whole - start < kRun ? whole : start + kRun;
        __m256i special = _mm256_setzero_si256();
        for (int i = start; i < end; i += 8)
            special = _mm256_or_si256(special, MagnitudeF8(c + 2 * i, mag + i, lin + i, vfloor));
        if (_mm256_testz_si256(special, special)) {
            for (int i = start; i < end; i += 8)
                DbF8<false>(lin + i, db + i);
        } else {
            for (int i = start; i < end; i += 8)
                DbF8<true>(lin + i, db + i);
        }
    }
    const int rest = len - whole;
    if (rest > 0) {
        // The tail through the same code, in stack blocks padded with zeros.
        alignas(32) float in[16];
        alignas(32) float out[3][8];
        for (int k = 0; k < 16; ++k)
            in[k] = k < 2 * rest ? c[2 * whole + k] : 0.0f;
        MagnitudeF8(in, out[0], out[1], vfloor);
        DbF8<true>(out[1], out[2]);
        for (int k = 0; k < rest; ++k) {
            mag[whole + k] = out[0][k];
            lin[whole + k] = out[1][k];
            db[whole + k] = out[2][k];
        }
    }
}

}  // namespace
}  // namespace Kivo::kernels::vecmath
