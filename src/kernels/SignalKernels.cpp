// Raw-pointer kernels of the signal utilities.
#include "kernels/SignalKernels.h"

#include <algorithm>
#include <cmath>
#if defined(__x86_64__) && defined(__GNUC__)
#include <immintrin.h>
#endif
#include <cstring>
#include <limits>
#include <type_traits>

// Hot kernels are cloned per instruction set and picked at load time; the rest are plain loops
// that g++ vectorises at -O3 for the baseline target.
#if defined(__x86_64__) && defined(__GNUC__) && !defined(__clang__)
#define KIVO_HOT_CLONES __attribute__((target_clones("avx512f", "avx2", "default")))
#else
#define KIVO_HOT_CLONES
#endif
#define KIVO_INLINE inline __attribute__((always_inline))

namespace Kivo::kernels {

namespace {

constexpr int kLanes = 8;

// Max / min with independent lanes so the loop becomes packed compares; every lane starts at
// src[0], so a NaN only wins when it is the first value (the rule of `x > m ? x : m`).
KIVO_INLINE float MaxLanes(const float* p, int n) {
    float m = p[0];
    int i = 0;
    if (n >= kLanes) {
        float lane[kLanes];
        for (int j = 0; j < kLanes; ++j)
            lane[j] = p[0];
        for (; i + kLanes <= n; i += kLanes)
            for (int j = 0; j < kLanes; ++j)
                lane[j] = p[i + j] > lane[j] ? p[i + j] : lane[j];
        for (int j = 0; j < kLanes; ++j)
            m = lane[j] > m ? lane[j] : m;
    }
    for (; i < n; ++i)
        m = p[i] > m ? p[i] : m;
    return m;
}

KIVO_INLINE float MinLanes(const float* p, int n) {
    float m = p[0];
    int i = 0;
    if (n >= kLanes) {
        float lane[kLanes];
        for (int j = 0; j < kLanes; ++j)
            lane[j] = p[0];
        for (; i + kLanes <= n; i += kLanes)
            for (int j = 0; j < kLanes; ++j)
                lane[j] = p[i + j] < lane[j] ? p[i + j] : lane[j];
        for (int j = 0; j < kLanes; ++j)
            m = lane[j] < m ? lane[j] : m;
    }
    for (; i < n; ++i)
        m = p[i] < m ? p[i] : m;
    return m;
}

// Double accumulation in independent lanes (vectorisable without reassociating a single
// running sum); the lanes are combined pairwise at the end.
template <typename T>
KIVO_INLINE double SumLanes(const T* p, int n) {
    double lane[kLanes] = {};
    int i = 0;
    for (; i + kLanes <= n; i += kLanes)
        for (int j = 0; j < kLanes; ++j)
            lane[j] += static_cast<double>(p[i + j]);
    double s =
        ((lane[0] + lane[4]) + (lane[1] + lane[5])) + ((lane[2] + lane[6]) + (lane[3] + lane[7]));
    for (; i < n; ++i)
        s += static_cast<double>(p[i]);
    return s;
}

template <typename T>
KIVO_INLINE double SquareLanes(const T* p, int n) {
    double lane[kLanes] = {};
    int i = 0;
    for (; i + kLanes <= n; i += kLanes)
        for (int j = 0; j < kLanes; ++j) {
            const double v = static_cast<double>(p[i + j]);
            lane[j] += v * v;
        }
    double s =
        ((lane[0] + lane[4]) + (lane[1] + lane[5])) + ((lane[2] + lane[6]) + (lane[3] + lane[7]));
    for (; i < n; ++i) {
        const double v = static_cast<double>(p[i]);
        s += v * v;
    }
    return s;
}

// Detectors for factors that are multiples of 8: each bucket is first folded vertically into
// one 8-float vector, then 8 buckets are reduced together by a shuffle tree (a transposition),
// so the horizontal work is shared instead of paid per bucket. With a factor of 8 this is what
// keeps the detectors at memory speed. GCC's generic vectors map to AVX/AVX-512 registers in
// the cloned targets and to pairs of SSE registers in the default one.
// The helpers are always inlined, so no 32-byte vector ever crosses a call boundary and the
// psABI note about passing them without AVX does not apply (GCC reports it for the default
// clone at the end of the file, hence for the rest of the file).
#pragma GCC diagnostic ignored "-Wpsabi"
typedef float V8f __attribute__((vector_size(32)));
typedef double V4d __attribute__((vector_size(32)));
typedef float V4f __attribute__((vector_size(16)));

KIVO_INLINE V4f Load4(const float* p) {
    V4f v;
    std::memcpy(&v, p, sizeof v);
    return v;
}

KIVO_INLINE V8f Load8(const float* p) {
    V8f v;
    std::memcpy(&v, p, sizeof v);
    return v;
}

struct MaxOp {
    static KIVO_INLINE V8f Apply(V8f a, V8f b) { return a > b ? a : b; }
};
struct MinOp {
    static KIVO_INLINE V8f Apply(V8f a, V8f b) { return a < b ? a : b; }
};

template <class Op>
KIVO_INLINE V8f FoldBucket(const float* p, int factor) {
    V8f acc = Load8(p);
    for (int i = 8; i < factor; i += 8)
        acc = Op::Apply(acc, Load8(p + i));
    return acc;
}

// Pairwise step of the tree: [x01 x23 y01 y23 | x45 x67 y45 y67] from x and y.
template <class Op>
KIVO_INLINE V8f PairStep(V8f x, V8f y) {
    return Op::Apply(__builtin_shufflevector(x, y, 0, 2, 8, 10, 4, 6, 12, 14),
                     __builtin_shufflevector(x, y, 1, 3, 9, 11, 5, 7, 13, 15));
}

// The reductions of 8 consecutive buckets as one vector, bucket order kept.
template <class Op>
KIVO_INLINE V8f ReduceEight(const float* p, int factor) {
    const V8f r01 = PairStep<Op>(FoldBucket<Op>(p, factor), FoldBucket<Op>(p + factor, factor));
    const V8f r23 = PairStep<Op>(FoldBucket<Op>(p + 2 * factor, factor),
                                 FoldBucket<Op>(p + 3 * factor, factor));
    const V8f r45 = PairStep<Op>(FoldBucket<Op>(p + 4 * factor, factor),
                                 FoldBucket<Op>(p + 5 * factor, factor));
    const V8f r67 = PairStep<Op>(FoldBucket<Op>(p + 6 * factor, factor),
                                 FoldBucket<Op>(p + 7 * factor, factor));
    const V8f s03 = PairStep<Op>(r01, r23);  // [b0 b1 b2 b3 (low halves) | (high halves)]
    const V8f s47 = PairStep<Op>(r45, r67);
    return Op::Apply(__builtin_shufflevector(s03, s47, 0, 1, 2, 3, 8, 9, 10, 11),
                     __builtin_shufflevector(s03, s47, 4, 5, 6, 7, 12, 13, 14, 15));
}

// Sums of 4 consecutive buckets in double, bucket order kept.
KIVO_INLINE V4d SumFour(const float* p, int factor) {
    V4d s[4];
    for (int b = 0; b < 4; ++b) {
        const float* q = p + b * factor;
        // Widening straight from memory, four floats at a time; the first block initialises the
        // accumulator (adding it to 0.0 would cost an addition that cannot be folded away).
        V4d acc =
            __builtin_convertvector(Load4(q), V4d) + __builtin_convertvector(Load4(q + 4), V4d);
        for (int i = 8; i < factor; i += 8)
            acc += __builtin_convertvector(Load4(q + i), V4d) +
                   __builtin_convertvector(Load4(q + i + 4), V4d);
        s[b] = acc;
    }
    const V4d t01 = __builtin_shufflevector(s[0], s[1], 0, 4, 2, 6) +
                    __builtin_shufflevector(s[0], s[1], 1, 5, 3, 7);
    const V4d t23 = __builtin_shufflevector(s[2], s[3], 0, 4, 2, 6) +
                    __builtin_shufflevector(s[2], s[3], 1, 5, 3, 7);
    return __builtin_shufflevector(t01, t23, 0, 1, 4, 5) +
           __builtin_shufflevector(t01, t23, 2, 3, 6, 7);
}

template <class Op>
KIVO_INLINE int DetectBlocksOfEight(const float* src, int buckets, int factor, float* dst) {
    if (factor % 8 != 0) return 0;
    int k = 0;
    for (; k + 8 <= buckets; k += 8) {
        const V8f r = ReduceEight<Op>(src + static_cast<long>(k) * factor, factor);
        std::memcpy(dst + k, &r, sizeof r);
    }
    return k;
}

}  // namespace

// ---------------------------------------------------------------------------------------------
// Reductions and detectors

float MaxOf(const float* src, int n) {
    return MaxLanes(src, n);
}
float MinOf(const float* src, int n) {
    return MinLanes(src, n);
}
double SumAccurate(const float* src, int n) {
    return n > 0 ? SumLanes(src, n) : 0.0;
}
double SumAccurate(const double* src, int n) {
    return n > 0 ? SumLanes(src, n) : 0.0;
}
double MeanAccurate(const float* src, int n) {
    return n > 0 ? SumLanes(src, n) / n : 0.0;
}
double MeanAccurate(const double* src, int n) {
    return n > 0 ? SumLanes(src, n) / n : 0.0;
}
double SumSquares(const float* src, int n) {
    return n > 0 ? SquareLanes(src, n) : 0.0;
}
double SumSquares(const Cplx32* src, int n) {
    return n > 0 ? SquareLanes(reinterpret_cast<const float*>(src), 2 * n) : 0.0;
}
double SumSquares(const Cplx64* src, int n) {
    return n > 0 ? SquareLanes(reinterpret_cast<const double*>(src), 2 * n) : 0.0;
}

KIVO_HOT_CLONES void DetectMax(const float* src, int buckets, int factor, float* dst) {
    for (int k = DetectBlocksOfEight<MaxOp>(src, buckets, factor, dst); k < buckets; ++k)
        dst[k] = MaxLanes(src + static_cast<long>(k) * factor, factor);
}

KIVO_HOT_CLONES void DetectMin(const float* src, int buckets, int factor, float* dst) {
    for (int k = DetectBlocksOfEight<MinOp>(src, buckets, factor, dst); k < buckets; ++k)
        dst[k] = MinLanes(src + static_cast<long>(k) * factor, factor);
}

void DetectMaxMin(const float* src, int buckets, int factor, float* dst) {
    for (int k = 0; k < buckets; ++k) {
        const float* p = src + static_cast<long>(k) * factor;
        dst[2 * k] = MaxLanes(p, factor);
        dst[2 * k + 1] = MinLanes(p, factor);
    }
}

#if defined(__x86_64__) && defined(__GNUC__)
// The AVE detector for factors that are multiples of 8, four buckets at a time with AVX2
// intrinsics: the same additions in the same order as SumFour, so the same results, but g++ 12
// compiles SumFour's generic vectors into 128-bit conversions, stack spills and reloads, which
// made the detector compute-bound (about half the read bandwidth the MAX detector reaches).
// Returns the number of buckets done.
// One bucket's sum in four double lanes: acc = (q0..3 + q4..7), then acc += (next 4 + next 4).
__attribute__((target("avx2"), always_inline)) inline __m256d BucketSumAvx2(const float* q,
                                                                            int factor) {
    __m256d acc =
        _mm256_add_pd(_mm256_cvtps_pd(_mm_loadu_ps(q)), _mm256_cvtps_pd(_mm_loadu_ps(q + 4)));
    for (int i = 8; i < factor; i += 8)
        acc = _mm256_add_pd(acc, _mm256_add_pd(_mm256_cvtps_pd(_mm_loadu_ps(q + i)),
                                               _mm256_cvtps_pd(_mm_loadu_ps(q + i + 4))));
    return acc;
}

__attribute__((target("avx2"))) int DetectAveAvx2(const float* src, int buckets, int factor,
                                                  float* dst) {
    const bool powerOfTwo = (factor & (factor - 1)) == 0;
    const __m256d divisor = _mm256_set1_pd(factor);
    const __m256d inverse = _mm256_set1_pd(1.0 / factor);
    int k = 0;
    for (; k + 4 <= buckets; k += 4) {
        const float* p = src + static_cast<long>(k) * factor;
        // Written out per bucket so that the four accumulators stay in registers.
        const __m256d s[4] = {BucketSumAvx2(p, factor), BucketSumAvx2(p + factor, factor),
                              BucketSumAvx2(p + 2L * factor, factor),
                              BucketSumAvx2(p + 3L * factor, factor)};
        // [s0[0]+s0[1], s1[0]+s1[1], s0[2]+s0[3], s1[2]+s1[3]], likewise for s2, s3; then the
        // low halves plus the high halves: the bucket sums in order.
        const __m256d t01 = _mm256_hadd_pd(s[0], s[1]);
        const __m256d t23 = _mm256_hadd_pd(s[2], s[3]);
        const __m256d sums = _mm256_add_pd(_mm256_permute2f128_pd(t01, t23, 0x20),
                                           _mm256_permute2f128_pd(t01, t23, 0x31));
        const __m256d means =
            powerOfTwo ? _mm256_mul_pd(sums, inverse) : _mm256_div_pd(sums, divisor);
        _mm_storeu_ps(dst + k, _mm256_cvtpd_ps(means));
    }
    return k;
}
#endif

KIVO_HOT_CLONES void DetectAve(const float* src, int buckets, int factor, float* dst) {
    const double n = factor;
    int k = 0;
#if defined(__x86_64__) && defined(__GNUC__)
    if (factor % 8 == 0 && __builtin_cpu_supports("avx2"))
        k = DetectAveAvx2(src, buckets, factor, dst);
#endif
    if (k == 0 && factor % 8 == 0) {
        // Four divisions per instruction (scalar divisions alone would cost more than reading
        // the trace); for a power-of-two factor a multiplication by 1/factor, which is exact
        // and therefore gives the same quotient.
        const bool powerOfTwo = (factor & (factor - 1)) == 0;
        const V4d divisor = {n, n, n, n};
        const V4d inverse = {1.0 / n, 1.0 / n, 1.0 / n, 1.0 / n};
        for (; k + 4 <= buckets; k += 4) {
            const V4d sums = SumFour(src + static_cast<long>(k) * factor, factor);
            const V4d means = powerOfTwo ? sums * inverse : sums / divisor;
            const V4f narrow = __builtin_convertvector(means, V4f);
            std::memcpy(dst + k, &narrow, sizeof narrow);
        }
    }
    for (; k < buckets; ++k)
        dst[k] = static_cast<float>(SumLanes(src + static_cast<long>(k) * factor, factor) / n);
}

void DetectRms(const float* src, int buckets, int factor, float* dst) {
    const double root = std::sqrt(static_cast<double>(factor));
    for (int k = 0; k < buckets; ++k)
        dst[k] = static_cast<float>(
            std::sqrt(SquareLanes(src + static_cast<long>(k) * factor, factor)) / root);
}

// ---------------------------------------------------------------------------------------------
// Magnitude, power and phase

KIVO_HOT_CLONES void PowerSpectr(const Cplx32* src, float* dst, int n) {
    for (int i = 0; i < n; ++i)
        dst[i] = src[i].re * src[i].re + src[i].im * src[i].im;
}

void PowerSpectr(const Cplx64* src, double* dst, int n) {
    for (int i = 0; i < n; ++i)
        dst[i] = src[i].re * src[i].re + src[i].im * src[i].im;
}

KIVO_HOT_CLONES void Magnitude(const Cplx32* src, float* dst, int n) {
    for (int i = 0; i < n; ++i)
        dst[i] = std::sqrt(src[i].re * src[i].re + src[i].im * src[i].im);
}

KIVO_HOT_CLONES void Magnitude(const Cplx64* src, double* dst, int n) {
    for (int i = 0; i < n; ++i)
        dst[i] = std::sqrt(src[i].re * src[i].re + src[i].im * src[i].im);
}

void Magnitude(const float* re, const float* im, float* dst, int n) {
    for (int i = 0; i < n; ++i)
        dst[i] = std::sqrt(re[i] * re[i] + im[i] * im[i]);
}

void Phase(const Cplx32* src, float* dst, int n) {
    for (int i = 0; i < n; ++i)
        dst[i] = std::atan2(src[i].im, src[i].re);
}

void Phase(const Cplx64* src, double* dst, int n) {
    for (int i = 0; i < n; ++i)
        dst[i] = std::atan2(src[i].im, src[i].re);
}

void CartToPolar(const Cplx32* src, float* mag, float* phase, int n) {
    for (int i = 0; i < n; ++i) {
        const float re = src[i].re;
        const float im = src[i].im;
        mag[i] = std::sqrt(re * re + im * im);
        phase[i] = std::atan2(im, re);
    }
}

void PolarToCart(const float* mag, const float* phase, Cplx32* dst, int n) {
    for (int i = 0; i < n; ++i) {
        const double t = phase[i];
        const double m = mag[i];
        dst[i].re = static_cast<float>(m * std::cos(t));
        dst[i].im = static_cast<float>(m * std::sin(t));
    }
}

namespace {

// The reduction constants are deliberately two different values of pi: the coarse reduction
// uses the double 3.14159265358979, the final fold compares with the single-precision pi
// widened to double. Both ends of the range therefore come out as +pi.
KIVO_INLINE double MapPhaseOne(double x) {
    constexpr double kPiReduce = 3.14159265358979;
    constexpr double kPi = static_cast<double>(3.1415927f);
    constexpr double kTwoPi = 2.0 * kPi;
    if (x > 0) x = x - 2.0 * kPiReduce * std::floor(x * 0.5 / kPiReduce);
    if (x < 0) x = x + 2.0 * kPiReduce * std::floor(-x * 0.5 / kPiReduce);
    if (x >= kPi) x = x - kTwoPi;
    if (x <= -kPi) x = x + kTwoPi;
    return x;
}

// Jumps of this many periods or more are folded in one step: repeated subtraction of a period
// would never end for an infinite or huge jump, and a real phase trace never gets there.
constexpr int kMaxWrapSteps = 64;

// Folds the difference d of two neighbours into [-half, half] by whole periods and adds the
// same correction to offset, exactly as repeated subtraction would for ordinary jumps.
template <typename T>
KIVO_INLINE void FoldJump(T d, T half, T period, T& offset) {
    if (!std::isfinite(d)) return;
    int steps = 0;
    while (d > half && steps < kMaxWrapSteps) {
        d -= period;
        offset -= period;
        ++steps;
    }
    while (d < -half && steps < kMaxWrapSteps) {
        d += period;
        offset += period;
        ++steps;
    }
    if (steps == kMaxWrapSteps && (d > half || d < -half)) {
        const double k = std::round(static_cast<double>(d) / static_cast<double>(period));
        offset = static_cast<T>(static_cast<double>(offset) - k * static_cast<double>(period));
    }
}

}  // namespace

void MapPhase(float* v, int n) {
    for (int i = 0; i < n; ++i)
        v[i] = static_cast<float>(MapPhaseOne(v[i]));
}

void MapPhase(double* v, int n) {
    for (int i = 0; i < n; ++i)
        v[i] = MapPhaseOne(v[i]);
}

void UnwrapAroundReference(float* v, int n, int refIndex, float refValue, float period) {
    const float half = period / 2.0f;
    float offset = 0.0f;
    float previous = refValue;
    for (int i = refIndex; i < n; ++i) {
        FoldJump(v[i] - previous, half, period, offset);
        previous = v[i];
        v[i] = v[i] + offset;
    }
    offset = 0.0f;
    previous = refValue;
    for (int i = refIndex - 1; i >= 0; --i) {
        FoldJump(v[i] - previous, half, period, offset);
        previous = v[i];
        v[i] = v[i] + offset;
    }
}

namespace {
template <typename T>
void UnwrapWholeImpl(const T* src, T* dst, int n, T period) {
    if (n <= 0) return;
    const T half = period / 2;
    dst[0] = src[0];
    T offset = 0;
    T previous = src[0];
    for (int i = 1; i < n; ++i) {
        const T d = src[i] - previous;
        // One period at most per step: a jump of more than one and a half periods is only
        // partly removed (unlike the reference-point form, which folds it completely).
        if (std::abs(d) > half) offset += d <= 0 ? period : -period;
        previous = src[i];
        dst[i] = src[i] + offset;
    }
}
}  // namespace

void UnwrapWhole(const float* src, float* dst, int n, float period) {
    UnwrapWholeImpl(src, dst, n, period);
}
void UnwrapWhole(const double* src, double* dst, int n, double period) {
    UnwrapWholeImpl(src, dst, n, period);
}

// ---------------------------------------------------------------------------------------------
// Resampling and rearrangement

template <typename T>
int SampleDown(const T* src, int srcLen, T* dst, int factor, int phase) {
    if (srcLen <= 0 || factor <= 0 || phase < 0 || phase >= factor) return 0;
    const int count = static_cast<int>((static_cast<long>(srcLen) + factor - 1 - phase) / factor);
    for (int k = 0; k < count; ++k)
        dst[k] = src[phase + static_cast<long>(k) * factor];
    return count;
}

template <typename T>
void SampleUp(const void* src, int srcLen, void* dst, int factor, int phase) {
    if (srcLen <= 0 || factor <= 0 || phase < 0 || phase >= factor) return;
    constexpr std::size_t kSize = sizeof(T);
    auto* out = static_cast<unsigned char*>(dst);
    const auto* in = static_cast<const unsigned char*>(src);
    std::memset(out, 0, static_cast<std::size_t>(srcLen) * factor * kSize);
    for (long i = 0; i < srcLen; ++i)
        std::memcpy(out + (i * factor + phase) * kSize, in + i * kSize, kSize);
}

template <typename T>
void Duplicate(const T* src, int n, T* dst, int count) {
    if (count <= 0) return;
    for (long i = 0; i < n; ++i)
        for (int k = 0; k < count; ++k)
            dst[i * count + k] = src[i];
}

template <typename T>
void FftShift(const T* src, int n, T* dst) {
    if (n <= 0) return;
    const int h = (n + 1) / 2;
    std::copy(src + h, src + n, dst);
    std::copy(src, src + h, dst + (n - h));
}

template <typename T>
void Difference(const T* src, int n, T* dst) {
    for (int i = 0; i + 1 < n; ++i) {
        if constexpr (std::is_same_v<T, Cplx32> || std::is_same_v<T, Cplx64>) {
            dst[i].re = src[i + 1].re - src[i].re;
            dst[i].im = src[i + 1].im - src[i].im;
        } else {
            dst[i] = src[i + 1] - src[i];
        }
    }
}

void CumSum(const float* src, int n, float* dst) {
    double s = 0.0;
    for (int i = 0; i < n; ++i) {
        s += src[i];
        dst[i] = static_cast<float>(s);
    }
}

void CumSum(const double* src, int n, double* dst) {
    double s = 0.0;
    for (int i = 0; i < n; ++i) {
        s += src[i];
        dst[i] = s;
    }
}

template <typename T>
void FlipInPlace(T* v, int n) {
    if (n > 1) std::reverse(v, v + n);
}

void ConjFlip(const Cplx32* src, Cplx32* dst, int n) {
    for (int i = 0; i < n; ++i) {
        dst[i].re = src[n - 1 - i].re;
        dst[i].im = -src[n - 1 - i].im;
    }
}

#define KIVO_INSTANTIATE_MOVES(T)                                 \
    template int SampleDown<T>(const T*, int, T*, int, int);      \
    template void SampleUp<T>(const void*, int, void*, int, int); \
    template void Duplicate<T>(const T*, int, T*, int);           \
    template void Difference<T>(const T*, int, T*);               \
    template void FftShift<T>(const T*, int, T*);                 \
    template void FlipInPlace<T>(T*, int);
KIVO_INSTANTIATE_MOVES(float)
KIVO_INSTANTIATE_MOVES(double)
KIVO_INSTANTIATE_MOVES(Cplx32)
KIVO_INSTANTIATE_MOVES(Cplx64)
template void FftShift<int>(const int*, int, int*);
#undef KIVO_INSTANTIATE_MOVES

// ---------------------------------------------------------------------------------------------
// Direct convolution

namespace {

// Outputs per register tile: 8 AVX2 vectors of float (4 of AVX-512); with the tile held in
// registers across the whole tap loop, each tap costs one load per vector of outputs.
template <typename T>
constexpr int kConvTile = 64 / sizeof(T) * 4;

// y[n] for n in [first, last): the taps run over k in [max(0, n-N+1), min(L-1, n)].
template <typename T>
KIVO_INLINE void ConvEdge(const T* h, int L, const T* x, int N, T* y, long first, long last) {
    for (long n = first; n < last; ++n) {
        const long k0 = std::max<long>(0, n - N + 1);
        const long k1 = std::min<long>(L - 1, n);
        T acc = 0;
        for (long k = k0; k <= k1; ++k)
            acc += h[k] * x[n - k];
        y[n] = acc;
    }
}

// h is the shorter operand (L <= N). Every output sums its products in ascending tap order,
// starting from zero, on each of the three paths (head, tiled middle, tail), so the result
// does not depend on where a tile boundary falls.
template <typename T>
KIVO_INLINE void ConvDirectImpl(const T* h, int L, const T* x, int N, T* y) {
    constexpr int W = kConvTile<T>;
    ConvEdge(h, L, x, N, y, 0, L - 1);
    long n = L - 1;
    for (; n + W <= N; n += W) {
        T acc[W];
        for (int j = 0; j < W; ++j)
            acc[j] = 0;
        const T* xs = x + n;
        for (int k = 0; k < L; ++k) {
            const T hk = h[k];
            const T* xk = xs - k;
            for (int j = 0; j < W; ++j)
                acc[j] += hk * xk[j];
        }
        for (int j = 0; j < W; ++j)
            y[n + j] = acc[j];
    }
    ConvEdge(h, L, x, N, y, n, static_cast<long>(N) + L - 1);
}

}  // namespace

KIVO_HOT_CLONES void ConvDirect(const float* a, int la, const float* b, int lb, float* dst) {
    if (la <= 0 || lb <= 0) return;
    if (la <= lb)
        ConvDirectImpl(a, la, b, lb, dst);
    else
        ConvDirectImpl(b, lb, a, la, dst);
}

KIVO_HOT_CLONES void ConvDirect(const double* a, int la, const double* b, int lb, double* dst) {
    if (la <= 0 || lb <= 0) return;
    if (la <= lb)
        ConvDirectImpl(a, la, b, lb, dst);
    else
        ConvDirectImpl(b, lb, a, la, dst);
}

void ConvDirect(const Cplx32* a, int la, const Cplx32* b, int lb, Cplx32* dst) {
    if (la <= 0 || lb <= 0) return;
    const long len = static_cast<long>(la) + lb - 1;
    for (long n = 0; n < len; ++n) {
        const long i0 = std::max<long>(0, n - lb + 1);
        const long i1 = std::min<long>(la - 1, n);
        double re = 0.0;
        double im = 0.0;
        for (long i = i0; i <= i1; ++i) {
            const double ar = a[i].re;
            const double ai = a[i].im;
            const double br = b[n - i].re;
            const double bi = b[n - i].im;
            re += ar * br - ai * bi;
            im += ar * bi + ai * br;
        }
        dst[n].re = static_cast<float>(re);
        dst[n].im = static_cast<float>(im);
    }
}

void CrossCorrDirect(const Cplx32* a, int la, const Cplx32* b, int lb, Cplx32* dst, int dstLen,
                     int lowLag) {
    for (int n = 0; n < dstLen; ++n) {
        const long lag = static_cast<long>(n) + lowLag;
        const long i0 = std::max<long>(0, -lag);
        const long i1 = std::min<long>(la, lb - lag);  // exclusive
        double re = 0.0;
        double im = 0.0;
        for (long i = i0; i < i1; ++i) {
            const double ar = a[i].re;
            const double ai = -static_cast<double>(a[i].im);
            const double br = b[i + lag].re;
            const double bi = b[i + lag].im;
            re += ar * br - ai * bi;
            im += ar * bi + ai * br;
        }
        dst[n].re = static_cast<float>(re);
        dst[n].im = static_cast<float>(im);
    }
}

// ---------------------------------------------------------------------------------------------
// FIR tap design

namespace {

constexpr double kPiD = 3.14159265358979323846;

// Ideal low-pass response sin(2 pi fc m) / (pi m) at m = n - M, with its limit 2 fc at m = 0.
double IdealLowpass(double fc, double m) {
    return m == 0.0 ? 2.0 * fc : std::sin(2.0 * kPiD * fc * m) / (kPiD * m);
}

double Hamming(int n, int count) {
    if (count == 1) return 1.0;
    return 0.54 - 0.46 * std::cos(2.0 * kPiD * n / (count - 1));
}

// Scales the taps so that the zero-phase response sum h[n] cos(2 pi f0 (n - M)) is 1. For a
// symmetric filter its magnitude is the gain at f0; unlike the plain sum of h[n] e^{-j...}
// it keeps the sign of the pass band when M is odd.
void NormaliseAt(double f0, double* taps, int count) {
    const double centre = (count - 1) / 2.0;
    double gain = 0.0;
    for (int n = 0; n < count; ++n)
        gain += taps[n] * std::cos(2.0 * kPiD * f0 * (n - centre));
    if (gain != 0.0)
        for (int n = 0; n < count; ++n)
            taps[n] /= gain;
}

}  // namespace

namespace {

// Evaluates ideal(m) * window for the first half and mirrors it, so the taps are exactly
// symmetric (linear phase) whatever the rounding of the two halves would have been.
template <typename Ideal>
void DesignSymmetric(double* taps, int count, Ideal ideal) {
    const double centre = (count - 1) / 2.0;
    for (int n = 0; n <= (count - 1) / 2; ++n) {
        taps[n] = ideal(n - centre) * Hamming(n, count);
        taps[count - 1 - n] = taps[n];
    }
}

}  // namespace

void FirGenLowpass(double cutoff, double* taps, int count) {
    DesignSymmetric(taps, count, [=](double m) { return IdealLowpass(cutoff, m); });
    NormaliseAt(0.0, taps, count);
}

void FirGenHighpass(double cutoff, double* taps, int count) {
    DesignSymmetric(taps, count,
                    [=](double m) { return (m == 0.0 ? 1.0 : 0.0) - IdealLowpass(cutoff, m); });
    NormaliseAt(0.5, taps, count);
}

void FirGenBandpass(double low, double high, double* taps, int count) {
    DesignSymmetric(taps, count,
                    [=](double m) { return IdealLowpass(high, m) - IdealLowpass(low, m); });
    NormaliseAt(0.5 * (low + high), taps, count);
}

// ---------------------------------------------------------------------------------------------
// Generators

void ToneMultiply(const Cplx32* src, Cplx32* dst, int n, double freq, double phase,
                  bool conjugate) {
    constexpr int kBlock = 64;
    const double f = freq - std::floor(freq);  // the same samples as freq, in [0, 1)
    const double sign = conjugate ? -1.0 : 1.0;
    const double stepRe = std::cos(2.0 * kPiD * f);
    const double stepIm = sign * std::sin(2.0 * kPiD * f);
    for (int i0 = 0; i0 < n; i0 += kBlock) {
        // Fractional cycles f * i0 without losing the low bits of the product: the rounding
        // error of f * i0 is recovered exactly with a fused multiply-add.
        const double p = f * i0;
        const double err = std::fma(f, static_cast<double>(i0), -p);
        const double cycles = (p - std::floor(p)) + err;
        const double theta = phase + 2.0 * kPiD * cycles;
        double tRe = std::cos(theta);
        double tIm = sign * std::sin(theta);
        const int end = std::min(n, i0 + kBlock);
        for (int i = i0; i < end; ++i) {
            const double a = src[i].re;
            const double b = src[i].im;
            dst[i].re = static_cast<float>(a * tRe - b * tIm);
            dst[i].im = static_cast<float>(a * tIm + b * tRe);
            const double nRe = tRe * stepRe - tIm * stepIm;
            tIm = tRe * stepIm + tIm * stepRe;
            tRe = nRe;
        }
    }
}

void Ramp(float* dst, int n, double offset, double slope) {
    for (int i = 0; i < n; ++i)
        dst[i] = static_cast<float>(offset + slope * i);
}

void Ramp(double* dst, int n, double offset, double slope) {
    for (int i = 0; i < n; ++i)
        dst[i] = offset + slope * i;
}

void RandUniform(float* dst, int n, float low, float high, std::uint64_t& state) {
    const double lo = low;
    const double width = static_cast<double>(high) - lo;
    for (int i = 0; i < n; ++i) {
        state += 0x9E3779B97F4A7C15ull;
        std::uint64_t z = state;
        z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ull;
        z = (z ^ (z >> 27)) * 0x94D049BB133111EBull;
        z ^= z >> 31;
        const double u = static_cast<double>(z >> 40) * 0x1.0p-24;  // [0, 1), 24 bits
        float v = static_cast<float>(lo + width * u);
        // Rounding to float may land on the excluded end point; step back inside.
        if (v == high && high != low) v = std::nextafter(high, low);
        dst[i] = v;
    }
}

}  // namespace Kivo::kernels
