// Signal kernels against slow direct evaluations in double / long double and scipy golden taps.
#include "kernels/SignalKernels.h"
#include "support/TestUtil.h"

#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <cstdint>
#include <cstring>
#include <fstream>
#include <limits>
#include <random>
#include <sstream>
#include <string>
#include <type_traits>
#include <vector>

using namespace Kivo;
using namespace Kivo::kernels;

namespace {

constexpr double kPi = 3.14159265358979323846;

std::vector<float> RandomFloats(int n, std::uint32_t seed, float lo = -1.0f, float hi = 1.0f) {
    return ombrel_test::RandomUniform(n, seed, lo, hi);
}
std::vector<double> RandomDoubles(int n, std::uint32_t seed) {
    return ombrel_test::RandomUniform(n, seed, -1.0, 1.0);
}
std::vector<Cplx32> RandomCplx(int n, std::uint32_t seed, float scale = 1.0f) {
    return ombrel_test::RandomComplex<Cplx32>(n, seed, -scale, scale);
}

// Allowed difference for a float result whose exact value is `ref`: one unit in the last place
// plus a floor for results near zero.
double FloatTol(double ref, double floor = 1e-30) {
    return std::max(std::abs(ref) * 1.2e-7, floor);
}

}  // namespace

// ---------------------------------------------------------------------------------------------
// Detectors

TEST(SignalKernels, DetectorsMatchDirectEvaluation) {
    for (int factor : {1, 2, 3, 7, 8, 9, 15, 16, 17, 33, 100}) {
        for (int buckets : {1, 2, 5, 31}) {
            const int n = factor * buckets;
            auto in = RandomFloats(n + 3, 1000 + factor * 7 + buckets, -5.0f, 5.0f);
            std::vector<float> mx(buckets), mn(buckets), mm(2 * buckets + 1, 42.0f), ave(buckets),
                rms(buckets);
            DetectMax(in.data(), buckets, factor, mx.data());
            DetectMin(in.data(), buckets, factor, mn.data());
            DetectMaxMin(in.data(), buckets, factor, mm.data());
            DetectAve(in.data(), buckets, factor, ave.data());
            DetectRms(in.data(), buckets, factor, rms.data());
            for (int k = 0; k < buckets; ++k) {
                float rmax = in[k * factor], rmin = in[k * factor];
                long double sum = 0, sq = 0;
                for (int j = 0; j < factor; ++j) {
                    const float v = in[k * factor + j];
                    rmax = std::max(rmax, v);
                    rmin = std::min(rmin, v);
                    sum += v;
                    sq += static_cast<long double>(v) * v;
                }
                EXPECT_EQ(mx[k], rmax) << factor << " " << k;
                EXPECT_EQ(mn[k], rmin) << factor << " " << k;
                EXPECT_EQ(mm[2 * k], rmax);
                EXPECT_EQ(mm[2 * k + 1], rmin);
                const double mean = static_cast<double>(sum / factor);
                EXPECT_NEAR(ave[k], mean, FloatTol(5.0)) << factor;
                // Accumulated in double and rounded once: the correctly rounded mean.
                EXPECT_EQ(ave[k], static_cast<float>(mean)) << factor << " " << k;
                const double r = std::sqrt(static_cast<double>(sq / factor));
                EXPECT_EQ(rms[k], static_cast<float>(r)) << factor << " " << k;
            }
            EXPECT_EQ(mm[2 * buckets], 42.0f) << "wrote past the last pair";
        }
    }
}

TEST(SignalKernels, RmsOfEqualValuesIsTheMagnitude) {
    for (float a : {3.0f, -3.0f, 0.1f, -7.25f, 1e-20f, 123456.7f}) {
        for (int factor : {2, 3, 5, 8, 1000}) {
            std::vector<float> in(factor, a);
            float out = 0;
            DetectRms(in.data(), 1, factor, &out);
            EXPECT_EQ(out, std::abs(a)) << a << " " << factor;
        }
    }
}

TEST(SignalKernels, MaxMinIgnoreNaNUnlessFirst) {
    std::vector<float> v = {1, 2, std::nanf(""), 5, 0, 3, 4, 2, 1, -1};
    EXPECT_EQ(MaxOf(v.data(), 10), 5.0f);
    EXPECT_EQ(MinOf(v.data(), 10), -1.0f);
    v[0] = std::nanf("");
    EXPECT_TRUE(std::isnan(MaxOf(v.data(), 10)));
}

TEST(SignalKernels, SumsAndNormsInDouble) {
    auto f = RandomFloats(1001, 7);
    auto d = RandomDoubles(1001, 8);
    auto c = RandomCplx(999, 9);
    long double sf = 0, sd = 0, qf = 0, qc = 0;
    for (float x : f)
        sf += x, qf += static_cast<long double>(x) * x;
    for (double x : d)
        sd += x;
    for (auto z : c)
        qc += static_cast<long double>(z.re) * z.re + static_cast<long double>(z.im) * z.im;
    EXPECT_NEAR(SumAccurate(f.data(), 1001), static_cast<double>(sf), 1e-12);
    EXPECT_NEAR(MeanAccurate(f.data(), 1001), static_cast<double>(sf / 1001), 1e-15);
    EXPECT_NEAR(SumAccurate(d.data(), 1001), static_cast<double>(sd), 1e-12);
    EXPECT_NEAR(MeanAccurate(d.data(), 1001), static_cast<double>(sd / 1001), 1e-15);
    EXPECT_NEAR(SumSquares(f.data(), 1001), static_cast<double>(qf), 1e-11);
    EXPECT_NEAR(SumSquares(c.data(), 999), static_cast<double>(qc), 1e-11);
    EXPECT_EQ(MeanAccurate(f.data(), 0), 0.0);
}

// ---------------------------------------------------------------------------------------------
// Magnitude, power, phase

TEST(SignalKernels, PowerAndMagnitudeOfComplexFloats) {
    for (int n : {0, 1, 7, 8, 31, 1000, 1027}) {
        auto in = RandomCplx(n, 100 + n, 10.0f);
        std::vector<float> p(n + 1, -1.0f), m(n), m2(n);
        PowerSpectr(in.data(), p.data(), n);
        Magnitude(in.data(), m.data(), n);
        std::vector<float> re(n), im(n);
        for (int i = 0; i < n; ++i)
            re[i] = in[i].re, im[i] = in[i].im;
        Magnitude(re.data(), im.data(), m2.data(), n);
        for (int i = 0; i < n; ++i) {
            const double a = in[i].re, b = in[i].im;
            // One rounding per operation: exactly the float expression.
            volatile float rr = in[i].re * in[i].re;
            volatile float ii = in[i].im * in[i].im;
            EXPECT_EQ(p[i], rr + ii);
            EXPECT_NEAR(p[i], a * a + b * b, 2 * FloatTol(a * a + b * b));
            EXPECT_NEAR(m[i], std::hypot(a, b), 2 * FloatTol(std::hypot(a, b)));
            EXPECT_EQ(m[i], m2[i]);
        }
        EXPECT_EQ(p[n], -1.0f);
    }
}

TEST(SignalKernels, PowerMagnitudePhaseOfComplexDoubles) {
    auto d = RandomDoubles(2 * 513, 5);
    std::vector<Cplx64> in(513);
    for (int i = 0; i < 513; ++i)
        in[i] = {d[2 * i], d[2 * i + 1]};
    std::vector<double> p(513), m(513), ph(513);
    PowerSpectr(in.data(), p.data(), 513);
    Magnitude(in.data(), m.data(), 513);
    Phase(in.data(), ph.data(), 513);
    for (int i = 0; i < 513; ++i) {
        const std::complex<long double> z(in[i].re, in[i].im);
        EXPECT_NEAR(p[i], static_cast<double>(std::norm(z)), 1e-15);
        EXPECT_NEAR(m[i], static_cast<double>(std::abs(z)), 1e-15);
        EXPECT_NEAR(ph[i], static_cast<double>(std::arg(z)), 1e-15);
    }
}

TEST(SignalKernels, PhaseAndPolarConversions) {
    const int n = 777;
    auto in = RandomCplx(n, 55, 3.0f);
    in[0] = {0.0f, 0.0f};
    in[1] = {-1.0f, 0.0f};
    in[2] = {0.0f, -2.0f};
    std::vector<float> ph(n), mag(n), ph2(n), m1(n);
    Phase(in.data(), ph.data(), n);
    CartToPolar(in.data(), mag.data(), ph2.data(), n);
    Magnitude(in.data(), m1.data(), n);
    EXPECT_EQ(ph[0], 0.0f);
    EXPECT_NEAR(ph[1], kPi, 1e-6);
    EXPECT_NEAR(ph[2], -kPi / 2, 1e-6);
    for (int i = 0; i < n; ++i) {
        const double ref = std::atan2(static_cast<double>(in[i].im), static_cast<double>(in[i].re));
        EXPECT_NEAR(ph[i], ref, 2.5e-7) << i;
        EXPECT_EQ(ph2[i], ph[i]);
        EXPECT_EQ(mag[i], m1[i]);
    }
    std::vector<Cplx32> back(n);
    PolarToCart(mag.data(), ph.data(), back.data(), n);
    for (int i = 0; i < n; ++i) {
        const double m = mag[i], t = ph[i];
        EXPECT_EQ(back[i].re, static_cast<float>(m * std::cos(t)));
        EXPECT_EQ(back[i].im, static_cast<float>(m * std::sin(t)));
        EXPECT_NEAR(back[i].re, in[i].re, 1e-6);
        EXPECT_NEAR(back[i].im, in[i].im, 1e-6);
    }
}

// ---------------------------------------------------------------------------------------------
// Phase mapping and unwrapping

TEST(SignalKernels, MapPhaseEdgeValues) {
    const float pif = 3.1415927f;
    std::vector<float> v = {static_cast<float>(1.5 * kPi),
                            static_cast<float>(-1.5 * kPi),
                            pif,
                            -pif,
                            0.0f,
                            2 * pif,
                            1.0f,
                            -1.0f};
    MapPhase(v.data(), static_cast<int>(v.size()));
    EXPECT_NEAR(v[0], -kPi / 2, 1e-6);
    EXPECT_NEAR(v[1], kPi / 2, 1e-6);
    EXPECT_EQ(v[2], pif);  // +pi stays +pi
    EXPECT_EQ(v[3], pif);  // -pi comes out as +pi
    EXPECT_EQ(v[4], 0.0f);
    EXPECT_NEAR(v[5], 0.0, 1e-6);
    EXPECT_EQ(v[6], 1.0f);
    EXPECT_EQ(v[7], -1.0f);
}

TEST(SignalKernels, MapPhaseKeepsTheAngleModuloTwoPi) {
    auto f = RandomFloats(5000, 77, -200.0f, 200.0f);
    auto d = RandomDoubles(5000, 78);
    for (auto& x : d)
        x *= 1000.0;
    auto g = f;
    auto e = d;
    MapPhase(g.data(), 5000);
    MapPhase(e.data(), 5000);
    const double piWide = static_cast<double>(3.1415927f);
    for (int i = 0; i < 5000; ++i) {
        EXPECT_GT(g[i], -piWide);
        EXPECT_LE(g[i], piWide);
        const double turns = (static_cast<double>(f[i]) - g[i]) / (2 * kPi);
        EXPECT_NEAR(turns, std::round(turns), 1e-5) << f[i] << " -> " << g[i];
        EXPECT_GT(e[i], -piWide);
        EXPECT_LE(e[i], piWide);
        const double t2 = (d[i] - e[i]) / (2 * kPi);
        EXPECT_NEAR(t2, std::round(t2), 1e-6);
    }
}

TEST(SignalKernels, UnwrapAroundReferenceFoldsEveryJump) {
    // The documented example: the jump 3.2 exceeds pi and starts an offset of -2 pi; the jump
    // -9.2 is folded by one period (-9.2 + 2 pi = -2.92 is within half a period), which cancels
    // that offset again.
    const float twoPi = static_cast<float>(2 * kPi);
    std::vector<float> v = {0.0f, 3.0f, 6.2f, -3.0f};
    UnwrapAroundReference(v.data(), 4, 0, 0.0f, twoPi);
    EXPECT_EQ(v[0], 0.0f);
    EXPECT_EQ(v[1], 3.0f);
    EXPECT_EQ(v[2], 6.2f + (0.0f - twoPi));
    EXPECT_EQ(v[3], -3.0f);

    // A jump of more than one and a half periods is folded completely.
    std::vector<float> w = {0.0f, 10.0f};
    UnwrapAroundReference(w.data(), 2, 0, 0.0f, twoPi);
    EXPECT_EQ(w[1], 10.0f + (0.0f - twoPi - twoPi));

    // Exactly half a period is left as it is; the reference value moves the reference point.
    std::vector<float> h = {0.0f, 1.0f, 0.0f};
    UnwrapAroundReference(h.data(), 3, 1, 1.0f, 2.0f);
    EXPECT_EQ(h[0], 0.0f);
    EXPECT_EQ(h[1], 1.0f);
    EXPECT_EQ(h[2], 0.0f);
    std::vector<float> r = {0.5f, 0.5f};
    UnwrapAroundReference(r.data(), 2, 1, 4.0f, 2.0f);  // 0.5 - 4 = -3.5: two periods up
    EXPECT_EQ(r[1], 4.5f);
    EXPECT_EQ(r[0], 4.5f);  // backward pass from the same reference value
}

TEST(SignalKernels, UnwrapAroundReferenceRecoversARandomWalk) {
    std::mt19937 gen(3);
    std::uniform_real_distribution<double> step(-2.5, 2.5);
    const int n = 4000;
    std::vector<double> truth(n);
    truth[0] = 0.3;
    for (int i = 1; i < n; ++i)
        truth[i] = truth[i - 1] + step(gen);
    for (int ref : {0, 1234, n - 1}) {
        std::vector<float> v(n);
        for (int i = 0; i < n; ++i)
            v[i] = static_cast<float>(std::remainder(truth[i], 2 * kPi));
        UnwrapAroundReference(v.data(), n, ref, v[ref], static_cast<float>(2 * kPi));
        // Same walk up to one constant multiple of 2 pi (the wrap of the reference point).
        const double shift = truth[ref] - v[ref];
        for (int i = 0; i < n; i += 17)
            EXPECT_NEAR(v[i] + shift, truth[i], 2e-3 + 2e-6 * std::abs(truth[i])) << i;
    }
}

TEST(SignalKernels, UnwrapNeverLoopsForeverOnHugeOrInfiniteJumps) {
    std::vector<float> v = {0.0f, std::numeric_limits<float>::infinity(), 1e30f, 1.0f,
                            std::nanf("")};
    UnwrapAroundReference(v.data(), 5, 0, 0.0f, 1.0f);
    EXPECT_TRUE(std::isinf(v[1]));
    EXPECT_TRUE(std::isnan(v[4]));
}

TEST(SignalKernels, UnwrapWholeCorrectsOnePeriodPerStep) {
    const double twoPi = 2 * kPi;
    std::vector<double> in = {0.0, 3.5, 7.0}, out(3);
    UnwrapWhole(in.data(), out.data(), 3, twoPi);
    EXPECT_EQ(out[0], 0.0);
    EXPECT_NEAR(out[1], 3.5 - twoPi, 1e-15);
    EXPECT_NEAR(out[2], 7.0 - 2 * twoPi, 1e-15);
    std::vector<float> a = {0.0f, 10.0f}, b(2);
    UnwrapWhole(a.data(), b.data(), 2, static_cast<float>(twoPi));
    EXPECT_EQ(b[1], 10.0f + (0.0f - static_cast<float>(twoPi)));  // only one period removed
    // Against a direct double reference on random data with jumps below 1.5 periods.
    auto f = RandomFloats(3000, 91, -9.0f, 9.0f);
    std::vector<float> g(3000);
    UnwrapWhole(f.data(), g.data(), 3000, 6.0f);
    float offset = 0;
    for (int i = 1; i < 3000; ++i) {
        const float d = f[i] - f[i - 1];
        if (std::abs(d) > 3.0f) offset += d <= 0 ? 6.0f : -6.0f;
        ASSERT_EQ(g[i], f[i] + offset) << i;
    }
}

// ---------------------------------------------------------------------------------------------
// Resampling and rearrangement

template <typename T>
T Val(int i) {
    if constexpr (std::is_same_v<T, Cplx32>)
        return T{static_cast<float>(i), static_cast<float>(-i)};
    else if constexpr (std::is_same_v<T, Cplx64>)
        return T{static_cast<double>(i), 0.5 * i};
    else
        return static_cast<T>(i);
}

template <typename T>
bool Same(const T& a, const T& b) {
    if constexpr (std::is_same_v<T, Cplx32> || std::is_same_v<T, Cplx64>)
        return a.re == b.re && a.im == b.im;
    else
        return a == b;
}

template <typename T>
void CheckMoves() {
    for (int n : {1, 2, 5, 10, 11, 64}) {
        std::vector<T> src(n);
        for (int i = 0; i < n; ++i)
            src[i] = Val<T>(i + 1);
        for (int factor : {1, 2, 3, 7, 20}) {
            for (int phase = 0; phase < factor; phase += 2) {
                std::vector<T> dn(n + 2, Val<T>(-99));
                const int count = SampleDown(src.data(), n, dn.data(), factor, phase);
                int expect = 0;
                for (int i = phase; i < n; i += factor) {
                    ASSERT_TRUE(Same(dn[expect], src[i]));
                    ++expect;
                }
                EXPECT_EQ(count, expect);
                EXPECT_TRUE(Same(dn[count], Val<T>(-99)));

                std::vector<T> up(n * factor + 1, Val<T>(-99));
                SampleUp<T>(src.data(), n, up.data(), factor, phase);
                for (int i = 0; i < n * factor; ++i) {
                    const T want = (i % factor == phase) ? src[i / factor] : Val<T>(0);
                    ASSERT_TRUE(Same(up[i], want)) << i;
                }
                EXPECT_TRUE(Same(up[n * factor], Val<T>(-99)));
            }
            std::vector<T> dup(n * factor);
            Duplicate(src.data(), n, dup.data(), factor);
            for (int i = 0; i < n * factor; ++i)
                ASSERT_TRUE(Same(dup[i], src[i / factor]));
        }
        std::vector<T> sh(n), df(n);
        FftShift(src.data(), n, sh.data());
        for (int i = 0; i < n; ++i) {
            // The zero-frequency element src[0] lands at index n / 2.
            ASSERT_TRUE(Same(sh[(i + n / 2) % n], src[i])) << n << " " << i;
        }
        Difference(src.data(), n, df.data());
        for (int i = 0; i + 1 < n; ++i)
            ASSERT_TRUE(Same(df[i], Val<T>(1)));
        auto rev = src;
        FlipInPlace(rev.data(), n);
        for (int i = 0; i < n; ++i)
            ASSERT_TRUE(Same(rev[i], src[n - 1 - i]));
    }
}

TEST(SignalKernels, ResamplingAndRearrangement) {
    CheckMoves<float>();
    CheckMoves<double>();
    CheckMoves<Cplx32>();
    CheckMoves<Cplx64>();
}

TEST(SignalKernels, FftShiftExamples) {
    int a[5] = {0, 1, 2, 3, 4}, b[5];
    FftShift(a, 5, b);
    EXPECT_EQ(std::vector<int>(b, b + 5), (std::vector<int>{3, 4, 0, 1, 2}));
    float c[4] = {0, 1, 2, 3}, d[4];
    FftShift(c, 4, d);
    EXPECT_EQ(std::vector<float>(d, d + 4), (std::vector<float>{2, 3, 0, 1}));
}

TEST(SignalKernels, SampleRejectsBadFactorOrPhaseWithoutWriting) {
    float src[4] = {1, 2, 3, 4};
    float dst[8] = {9, 9, 9, 9, 9, 9, 9, 9};
    EXPECT_EQ(SampleDown(src, 4, dst, 0, 0), 0);
    EXPECT_EQ(SampleDown(src, 4, dst, 2, 2), 0);
    EXPECT_EQ(SampleDown(src, 0, dst, 2, 0), 0);
    SampleUp<float>(src, 4, dst, 2, -1);
    SampleUp<float>(src, 4, dst, 0, 0);
    for (float v : dst)
        EXPECT_EQ(v, 9.0f);
}

TEST(SignalKernels, SampleUpOfEightByteElementsOnDoubleComplexBuffers) {
    // The raw-element form used for the Cplx64 binding: the first n*8 bytes of the source are
    // read as n elements, the first n*factor*8 bytes of the destination are written.
    std::vector<Cplx64> src = {{1.0, 2.0}, {3.0, 4.0}};
    std::vector<Cplx64> dst(6, Cplx64{-1.0, -1.0});
    SampleUp<Cplx32>(src.data(), 2, dst.data(), 3, 1);
    const auto* words = reinterpret_cast<const unsigned char*>(dst.data());
    const auto* in = reinterpret_cast<const unsigned char*>(src.data());
    const unsigned char zero[8] = {};
    for (int i = 0; i < 6; ++i) {
        const unsigned char* expect = (i % 3 == 1) ? in + (i / 3) * 8 : zero;
        EXPECT_EQ(std::memcmp(words + i * 8, expect, 8), 0) << i;
    }
    EXPECT_EQ(dst[3].re, -1.0);  // second half of the bytes untouched
    EXPECT_EQ(dst[5].im, -1.0);
}

TEST(SignalKernels, CumSumInDouble) {
    auto f = RandomFloats(2001, 13);
    std::vector<float> g(2001);
    CumSum(f.data(), 2001, g.data());
    auto d = RandomDoubles(2001, 14);
    std::vector<double> e(2001);
    CumSum(d.data(), 2001, e.data());
    long double s = 0, t = 0;
    for (int i = 0; i < 2001; ++i) {
        s += f[i];
        t += d[i];
        EXPECT_EQ(g[i], static_cast<float>(static_cast<double>(s))) << i;
        EXPECT_NEAR(e[i], static_cast<double>(t), 1e-12);
    }
}

// ---------------------------------------------------------------------------------------------
// Convolution and correlation

template <typename T>
void CheckConv(int la, int lb, std::uint32_t seed) {
    std::vector<T> a(la), b(lb);
    {
        auto fa = RandomDoubles(la, seed), fb = RandomDoubles(lb, seed + 1);
        for (int i = 0; i < la; ++i)
            a[i] = static_cast<T>(fa[i]);
        for (int i = 0; i < lb; ++i)
            b[i] = static_cast<T>(fb[i]);
    }
    const int n = la + lb - 1;
    std::vector<T> y(n + 1, T(77));
    ConvDirect(a.data(), la, b.data(), lb, y.data());
    const double eps = std::is_same_v<T, float> ? 1.2e-7 : 2.3e-16;
    for (int k = 0; k < n; ++k) {
        long double acc = 0, mag = 0;
        for (int i = std::max(0, k - lb + 1); i <= std::min(la - 1, k); ++i) {
            acc += static_cast<long double>(a[i]) * b[k - i];
            mag += std::abs(static_cast<long double>(a[i]) * b[k - i]);
        }
        const double tol = 2 * eps * static_cast<double>(mag) * std::min(la, lb) + 1e-300;
        ASSERT_NEAR(y[k], static_cast<double>(acc), tol) << la << "x" << lb << " @" << k;
    }
    EXPECT_EQ(y[n], T(77)) << "wrote past the end";
}

TEST(SignalKernels, DirectConvolutionAgainstLongDouble) {
    for (auto [la, lb] : {std::pair{1, 1},
                          {1, 9},
                          {9, 1},
                          {3, 5},
                          {27, 1000},
                          {1000, 27},
                          {64, 64},
                          {65, 200},
                          {300, 301},
                          {7, 129}}) {
        CheckConv<float>(la, lb, 17 + la);
        CheckConv<double>(la, lb, 19 + lb);
    }
}

TEST(SignalKernels, DirectConvolutionDoesNotDependOnTiling) {
    // Same taps, output index shifted by one tile boundary: every output is the same sum.
    auto h = RandomFloats(27, 5);
    auto x = RandomFloats(2000, 6);
    std::vector<float> y1(2026), y2(2026 - 100);
    ConvDirect(h.data(), 27, x.data(), 2000, y1.data());
    ConvDirect(h.data(), 27, x.data() + 100, 1900, y2.data());
    for (int k = 26; k < 1900; ++k)
        ASSERT_EQ(y2[k], y1[k + 100]) << k;
}

TEST(SignalKernels, ComplexCorrelationConjugatesTheFirstOperand) {
    auto a = RandomCplx(13, 21), b = RandomCplx(40, 22);
    const int len = 13 + 40 - 1;
    std::vector<Cplx32> r(len + 4);
    CrossCorrDirect(a.data(), 13, b.data(), 40, r.data(), len + 4, -12);
    for (int n = 0; n < len + 4; ++n) {
        const int lag = n - 12;
        std::complex<long double> acc = 0;
        for (int i = 0; i < 13; ++i) {
            const int j = i + lag;
            if (j < 0 || j >= 40) continue;
            acc += std::conj(std::complex<long double>(a[i].re, a[i].im)) *
                   std::complex<long double>(b[j].re, b[j].im);
        }
        EXPECT_NEAR(r[n].re, static_cast<double>(acc.real()), 1e-6) << n;
        EXPECT_NEAR(r[n].im, static_cast<double>(acc.imag()), 1e-6) << n;
    }
    // Lags beyond the overlap give 0.
    EXPECT_EQ(r[len + 3].re, 0.0f);
    // Correlation with the conjugated reversal is the linear convolution.
    std::vector<Cplx32> fa(13), conv(len);
    ConjFlip(a.data(), fa.data(), 13);
    CrossCorrDirect(fa.data(), 13, b.data(), 40, conv.data(), len, -12);
    for (int n = 0; n < len; ++n) {
        std::complex<long double> acc = 0;
        for (int i = 0; i < 13; ++i)
            if (n - i >= 0 && n - i < 40)
                acc += std::complex<long double>(a[i].re, a[i].im) *
                       std::complex<long double>(b[n - i].re, b[n - i].im);
        EXPECT_NEAR(conv[n].re, static_cast<double>(acc.real()), 1e-6);
        EXPECT_NEAR(conv[n].im, static_cast<double>(acc.imag()), 1e-6);
    }
}

// ---------------------------------------------------------------------------------------------
// FIR design against scipy.signal.firwin (tests/data/make_dsputils_fir.py)

TEST(SignalKernels, FirDesignMatchesScipyGoldenTaps) {
    std::ifstream file(std::string(OMBREL_TEST_DATA_DIR) + "/dsputils_fir.txt");
    ASSERT_TRUE(file.is_open());
    std::string line;
    int cases = 0;
    while (std::getline(file, line)) {
        std::istringstream is(line);
        std::string kind;
        int count = 0;
        double f1 = 0, f2 = 0;
        is >> kind >> count >> f1 >> f2;
        std::vector<double> want(count);
        for (auto& w : want)
            is >> w;
        ASSERT_FALSE(is.fail()) << line.substr(0, 40);
        std::vector<double> taps(count);
        if (kind == "low") FirGenLowpass(f1, taps.data(), count);
        if (kind == "high") FirGenHighpass(f1, taps.data(), count);
        if (kind == "band") FirGenBandpass(f1, f2, taps.data(), count);
        for (int i = 0; i < count; ++i)
            EXPECT_NEAR(taps[i], want[i], 1e-14) << kind << " " << count << " tap " << i;
        ++cases;
    }
    EXPECT_EQ(cases, 12);
}

TEST(SignalKernels, FirDesignHasUnitGainAtTheBandCentre) {
    auto gain = [](const std::vector<double>& h, double f) {
        std::complex<double> s = 0;
        for (size_t n = 0; n < h.size(); ++n)
            s += h[n] * std::polar(1.0, -2 * kPi * f * n);
        return std::abs(s);
    };
    for (int count : {5, 6, 31, 64, 255}) {
        std::vector<double> h(count);
        FirGenLowpass(0.13, h.data(), count);
        EXPECT_NEAR(gain(h, 0.0), 1.0, 1e-12);
        EXPECT_LT(gain(h, 0.4), 0.05 + (count < 20 ? 0.5 : 0.0));
        for (int i = 0; i < count; ++i)
            EXPECT_EQ(h[i], h[count - 1 - i]);
        FirGenBandpass(0.1, 0.3, h.data(), count);
        EXPECT_NEAR(gain(h, 0.2), 1.0, 1e-12);
        if (count % 2) {
            FirGenHighpass(0.2, h.data(), count);
            EXPECT_NEAR(gain(h, 0.5), 1.0, 1e-12);
            EXPECT_GT(h[count / 2], 0.0);  // the main tap keeps its sign
        }
    }
}

// ---------------------------------------------------------------------------------------------
// Generators

TEST(SignalKernels, ToneMultiplyIsPhaseExact) {
    const int n = 100000;
    auto in = RandomCplx(n, 31);
    std::vector<Cplx32> out(n);
    for (double f : {0.0, 0.125, 0.3183, -0.21, 1.37, 0.4999999}) {
        for (bool conj : {false, true}) {
            const double phase = 1.234;
            ToneMultiply(in.data(), out.data(), n, f, phase, conj);
            for (int i = 0; i < n; i += 37) {
                long double cyc = static_cast<long double>(f) * i;
                cyc -= std::floor(cyc);
                const long double th = phase + 2 * 3.141592653589793238462643L * cyc;
                const long double s = conj ? -1 : 1;
                const std::complex<long double> t(std::cos(th), s * std::sin(th));
                const auto want = std::complex<long double>(in[i].re, in[i].im) * t;
                ASSERT_NEAR(out[i].re, static_cast<double>(want.real()), 3e-7) << f << " " << i;
                ASSERT_NEAR(out[i].im, static_cast<double>(want.imag()), 3e-7) << f << " " << i;
            }
        }
    }
    // In place gives the same as out of place.
    auto copy = in;
    ToneMultiply(in.data(), out.data(), n, 0.01, 0.5, false);
    ToneMultiply(copy.data(), copy.data(), n, 0.01, 0.5, false);
    for (int i = 0; i < n; ++i)
        ASSERT_EQ(copy[i].re, out[i].re);
}

TEST(SignalKernels, RampRoundsOnce) {
    std::vector<float> f(1000);
    std::vector<double> d(1000);
    Ramp(f.data(), 1000, 0.1f, 0.3f);
    Ramp(d.data(), 1000, -2.5, 1e-3);
    for (int i = 0; i < 1000; ++i) {
        EXPECT_EQ(f[i],
                  static_cast<float>(static_cast<double>(0.1f) + static_cast<double>(0.3f) * i));
        EXPECT_NEAR(d[i], -2.5 + 1e-3 * i, 1e-15);
    }
}

TEST(SignalKernels, RandUniformRangeMomentsAndStream) {
    const int n = 200000;
    std::vector<float> v(n);
    std::uint64_t state = 12345;
    RandUniform(v.data(), n, -2.0f, 6.0f, state);
    double sum = 0, sq = 0;
    int low = 0;
    for (float x : v) {
        ASSERT_GE(x, -2.0f);
        ASSERT_LT(x, 6.0f);
        sum += x;
        sq += (x - 2.0) * (x - 2.0);
        low += x < 0.0f;
    }
    EXPECT_NEAR(sum / n, 2.0, 0.03);         // mean of U(-2, 6)
    EXPECT_NEAR(sq / n, 64.0 / 12.0, 0.05);  // variance (b-a)^2/12
    EXPECT_NEAR(static_cast<double>(low) / n, 0.25, 0.005);
    // The state continues the stream; the same state repeats it.
    std::vector<float> a(10), b(10), c(10);
    std::uint64_t s1 = 99, s2 = 99;
    RandUniform(a.data(), 10, 0.0f, 1.0f, s1);
    RandUniform(b.data(), 10, 0.0f, 1.0f, s2);
    RandUniform(c.data(), 10, 0.0f, 1.0f, s1);
    EXPECT_EQ(a, b);
    EXPECT_NE(a, c);
    // Reversed bounds and a degenerate interval.
    RandUniform(a.data(), 10, 1.0f, 0.0f, s1);
    for (float x : a)
        EXPECT_TRUE(x > 0.0f && x <= 1.0f);
    RandUniform(a.data(), 10, 3.0f, 3.0f, s1);
    for (float x : a)
        EXPECT_EQ(x, 3.0f);
    // An interval narrower than one float step never yields the excluded end.
    const float lo = 1.0f, hi = std::nextafter(1.0f, 2.0f);
    RandUniform(v.data(), 1000, lo, hi, s1);
    for (int i = 0; i < 1000; ++i)
        ASSERT_EQ(v[i], lo);
}
