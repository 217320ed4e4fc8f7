// Window shapes and Kaiser kernels against closed forms evaluated here in long double.
#include <gtest/gtest.h>

#include <ombrel/dsp/Window.h>
#include <ombrel/dsp/WindowFactory.h>
#include <ombrel/infra/UnitTestRecorder.h>
#include <ombrel/math/KivoException.h>

#include <cfloat>
#include <cmath>
#include <functional>
#include <memory>
#include <typeinfo>
#include <vector>

#include "kernels/Allocator.h"
#include "kernels/SignalKernels.h"
#include "kernels/VectorKernels.h"
#include "kernels/WindowKernels.h"
#include "support/AllocCounter.h"

namespace {

using Kivo::kernels::SymmetricShape;

// ---------------------------------------------------------------------------------------------
// Independent references.

long double RefCosineShape(SymmetricShape shape, int i, int n) {
    const long double x = 2.0L * 3.1415927f * i / (n - 1);
    switch (shape) {
        case SymmetricShape::Hann:
            return 0.5L - 0.5L * cosl(x);
        case SymmetricShape::BlackmanHarris:
            return 0.35875L - 0.48829L * cosl(x) + 0.14128L * cosl(2 * x) - 0.01168L * cosl(3 * x);
        case SymmetricShape::FlatTop:
            return 0.213283237831627L - 0.414006058783449L * cosl(x) +
                   0.279055911943775L * cosl(2 * x) - 0.0861666667911267L * cosl(3 * x) +
                   0.00748812465002295L * cosl(4 * x);
        default:
            return NAN;
    }
}

long double RefGauss(float alpha, int i, int n) {
    const float c = -2.0f * alpha * alpha;
    const long double t = (i - (n - 1) / 2.0L) / n;
    return powl(2.7182817f, c * t * t);
}

long double RefI0(long double x) {
    // Direct summation of the series with each term formed from scratch in long double.
    long double sum = 0.0L;
    for (int k = 0; k < 20000; ++k) {
        const long double term = expl(2.0L * (k * logl(x / 2.0L) - lgammal(k + 1.0L)));
        sum += (k == 0) ? 1.0L : term;
        if (k > x && term < sum * 1e-21L) break;
    }
    return sum;
}

long double RefKaiser(long double beta, int n, int len) {
    const long double r = 2.0L * n / (len - 1) - 1.0L;
    return RefI0(beta * sqrtl(1.0L - r * r)) / RefI0(beta);
}

std::vector<float> Shape(SymmetricShape s, int n, float param = 0.0f) {
    std::vector<float> v(n + 2, -123.0f);  // guards after the end
    Kivo::kernels::SymmetricWindow(v.data(), n, s, param);
    return v;
}

// ---------------------------------------------------------------------------------------------
// Kernels

TEST(WindowKernels, CosineShapesMatchClosedForms) {
    for (auto s : {SymmetricShape::Hann, SymmetricShape::BlackmanHarris, SymmetricShape::FlatTop}) {
        for (int n : {2, 3, 8, 9, 1024, 1025}) {
            auto v = Shape(s, n);
            for (int i = 0; i < n; ++i) {
                const long double ref = RefCosineShape(s, i < (n + 1) / 2 ? i : n - 1 - i, n);
                ASSERT_EQ(v[i], static_cast<float>(ref))
                    << "shape " << int(s) << " n " << n << " i " << i;
                // and the mirrored half is the closed form at i itself, within float rounding
                EXPECT_NEAR(v[i], RefCosineShape(s, i, n), 2e-7) << n << " " << i;
            }
            EXPECT_EQ(v[n], -123.0f);
            EXPECT_EQ(v[n + 1], -123.0f);
        }
    }
}

TEST(WindowKernels, GaussMatchesClosedForm) {
    for (float alpha : {3.5f, 2.0f, 0.5f}) {
        for (int n : {1, 2, 8, 9, 1024, 1025}) {
            auto v = Shape(SymmetricShape::Gauss, n, alpha);
            for (int i = 0; i < n; ++i) {
                EXPECT_NEAR(v[i], RefGauss(alpha, i, n), 1.2e-7L * RefGauss(alpha, i, n))
                    << alpha << " " << n << " " << i;
                EXPECT_EQ(v[i], v[n - 1 - i]);
            }
            EXPECT_EQ(v[n], -123.0f);
        }
    }
}

TEST(WindowKernels, HannOfFiveAndSymmetry) {
    auto v = Shape(SymmetricShape::Hann, 5);
    EXPECT_FLOAT_EQ(v[0], 0.0f);
    EXPECT_FLOAT_EQ(v[1], 0.5f);
    EXPECT_FLOAT_EQ(v[2], 1.0f);
    EXPECT_FLOAT_EQ(v[3], 0.5f);
    EXPECT_FLOAT_EQ(v[4], 0.0f);
}

TEST(WindowKernels, FlatTopEndsAreSlightlyNegativeAndCentreIsOne) {
    auto v = Shape(SymmetricShape::FlatTop, 1025);
    EXPECT_NEAR(v[0], -0.00035f, 0.00001f);
    EXPECT_LT(v[0], 0.0f);
    EXPECT_NEAR(v[512], 1.0f, 1e-6f);
}

TEST(WindowKernels, DegenerateSizesWriteNothingOrNaN) {
    auto empty = Shape(SymmetricShape::Hann, 0);
    EXPECT_EQ(empty[0], -123.0f);
    Kivo::kernels::SymmetricWindow(nullptr, -5, SymmetricShape::FlatTop, 0.0f);  // no write
    auto one = Shape(SymmetricShape::Hann, 1);
    EXPECT_TRUE(std::isnan(one[0]));  // 0/0 in the cosine argument
    EXPECT_EQ(one[1], -123.0f);
}

TEST(WindowKernels, BesselI0MatchesSeriesReference) {
    for (double x : {0.0, 1e-3, 0.5, 1.0, 5.0, 16.71, 50.0, 91.0, 200.0, 700.0}) {
        const long double ref = RefI0(x);
        EXPECT_NEAR(Kivo::kernels::BesselI0(x) / ref, 1.0L, 1e-13L) << x;
        EXPECT_NEAR(Kivo::kernels::LogBesselI0(x), logl(ref), 1e-12L * (1 + logl(ref))) << x;
    }
    EXPECT_EQ(Kivo::kernels::BesselI0(-5.0), Kivo::kernels::BesselI0(5.0));
    EXPECT_TRUE(std::isinf(Kivo::kernels::BesselI0(800.0)));
    // Past the series' range the log form continues smoothly.
    for (double x : {701.0, 1000.0, 5000.0}) {
        EXPECT_NEAR(Kivo::kernels::LogBesselI0(x), logl(RefI0(x)), 1e-12 * x) << x;
    }
}

TEST(WindowKernels, KaiserFloatMatchesClosedForm) {
    for (float beta : {0.5f, 5.0f, 14.6f, 16.71f, 40.0f}) {
        for (int len : {2, 8, 9, 256, 1025}) {
            std::vector<float> v(len + 1, 1.0f);
            v[len] = -7.0f;
            const float a = 2.0f * beta / static_cast<float>(len - 1);
            ASSERT_EQ(Kivo::kernels::WinKaiserInPlace(v.data(), len, a), 0);
            // The kernel's beta is a times (len-1)/2, rounded through float.
            const long double b = static_cast<long double>(a) * (len - 1) / 2.0L;
            for (int n = 0; n < len; ++n) {
                const long double ref = RefKaiser(b, n, len);
                EXPECT_NEAR(v[n], ref, 2e-7L * ref + 1e-30L) << beta << " " << len << " " << n;
                EXPECT_EQ(v[n], v[len - 1 - n]);
            }
            EXPECT_EQ(v[len], -7.0f);
        }
    }
}

TEST(WindowKernels, KaiserFloatReportsOverflowAndWritesNothing) {
    const int len = 64;
    for (float beta : {92.5f, 100.0f, 1000.0f, INFINITY}) {
        std::vector<float> v(len, 1.0f);
        EXPECT_EQ(Kivo::kernels::WinKaiserInPlace(v.data(), len, 2.0f * beta / (len - 1)),
                  Kivo::kernels::kWinStsHugeWinErr)
            << beta;
        for (float x : v)
            EXPECT_EQ(x, 1.0f);
    }
    // Just inside the single-precision range it still succeeds.
    std::vector<float> v(len, 1.0f);
    EXPECT_EQ(Kivo::kernels::WinKaiserInPlace(v.data(), len, 2.0f * 90.0f / (len - 1)), 0);
}

TEST(WindowKernels, KaiserDoubleCoversLargeBeta) {
    const int len = 65;
    for (double beta : {100.0, 300.0, 699.0, 710.0, 1000.0, 3000.0}) {
        std::vector<double> v(len, 1.0);
        const double a = static_cast<double>(2.0f * static_cast<float>(beta) / (len - 1));
        ASSERT_EQ(Kivo::kernels::WinKaiserInPlace(v.data(), len, a), 0);
        const long double b = static_cast<long double>(a) * (len - 1) / 2.0L;
        for (int n = 0; n < len; ++n) {
            ASSERT_TRUE(std::isfinite(v[n])) << beta << " " << n;
            const long double ref = RefKaiser(b, n, len);
            // The reference's own series carries ~1e-16 * beta of error at these arguments.
            EXPECT_NEAR(v[n], ref, 1e-11L * ref + 1e-300L) << beta << " " << n;
        }
        EXPECT_DOUBLE_EQ(v[len / 2], 1.0);
    }
}

TEST(WindowKernels, KaiserSizeRules) {
    float f = 3.0f;
    double d = 3.0;
    EXPECT_EQ(Kivo::kernels::WinKaiserInPlace(&f, 0, 1.0f), Kivo::kernels::kWinStsSizeErr);
    EXPECT_EQ(Kivo::kernels::WinKaiserInPlace(&d, -1, 1.0), Kivo::kernels::kWinStsSizeErr);
    // One point: alpha = 2 beta / 0 is infinite, the window is still 1.
    EXPECT_EQ(Kivo::kernels::WinKaiserInPlace(&f, 1, INFINITY), 0);
    EXPECT_EQ(f, 3.0f);
    EXPECT_EQ(Kivo::kernels::WinKaiserInPlace(&d, 1, INFINITY), 0);
    EXPECT_EQ(d, 3.0);
}

TEST(WindowKernels, ElementWiseHelpers) {
    for (int n : {0, 1, 7, 32, 1023, 4099}) {
        std::vector<float> a(n + 1), b(n + 1), out(n + 1, -1.0f), dup(2 * n + 1, -1.0f);
        for (int i = 0; i < n; ++i) {
            a[i] = 0.37f * i - 5.0f;
            b[i] = 1.0f / (i + 3.0f);
        }
        Kivo::kernels::Mul(a.data(), b.data(), out.data(), n);
        for (int i = 0; i < n; ++i)
            ASSERT_EQ(out[i], a[i] * b[i]);
        EXPECT_EQ(out[n], -1.0f);
        Kivo::kernels::MulInPlace(b.data(), a.data(), n);
        for (int i = 0; i < n; ++i)
            ASSERT_EQ(a[i], out[i]);
        Kivo::kernels::Duplicate(b.data(), n, dup.data(), 2);
        for (int i = 0; i < n; ++i)
            ASSERT_TRUE(dup[2 * i] == b[i] && dup[2 * i + 1] == b[i]);
        EXPECT_EQ(dup[2 * n], -1.0f);
        Kivo::kernels::MulStride2(out.data(), a.data(), dup.data(), n);
        for (int i = 0; i < n; ++i)
            ASSERT_EQ(out[i], a[i] * b[i]);
        std::vector<float> c = b;
        Kivo::kernels::DivCInPlace(3.0f, c.data(), n);
        for (int i = 0; i < n; ++i)
            ASSERT_EQ(c[i], b[i] / 3.0f);
        double s = 0.0;
        for (int i = 0; i < n; ++i)
            s += b[i];
        EXPECT_FLOAT_EQ(static_cast<float>(Kivo::kernels::Sum(b.data(), n)), static_cast<float>(s));
    }
    std::vector<float> flat(10, 0.25f);
    EXPECT_FLOAT_EQ(Kivo::kernels::NormalisedEnergyTimesCount(flat.data(), 10), 1.0f);
    EXPECT_EQ(Kivo::kernels::NormalisedEnergyTimesCount(flat.data(), 0), 0.0f);
}

// ---------------------------------------------------------------------------------------------
// Window classes

using namespace Kivo;

std::vector<float> Coeffs(const Window& w) {
    VecReal32 c;
    w.GetCoefficients(c);
    std::vector<float> v(c.GetSize());
    for (int i = 0; i < c.GetSize(); ++i)
        v[i] = c[i];
    return v;
}

// The raw closed form of each shape for N points, as a function of i.
using RawShape = std::function<long double(int i, int n)>;

struct ShapeCase {
    const char* name;
    std::function<Window*(int n)> make;
    RawShape raw;
    float rbw;
};

std::vector<ShapeCase> AllShapes() {
    return {
        {"uniform", [](int n) { return new Window(n); }, [](int, int) { return 1.0L; }, 0.89f},
        {"Hann", [](int n) { return new HannWindow(n); },
         [](int i, int n) { return RefCosineShape(SymmetricShape::Hann, i, n); }, 1.44f},
        {"Blackman-Harris", [](int n) { return new BlackmanHarrisWindow(n); },
         [](int i, int n) { return RefCosineShape(SymmetricShape::BlackmanHarris, i, n); }, 1.9f},
        {"flat top", [](int n) { return new FlatTopWindow(n); },
         [](int i, int n) { return RefCosineShape(SymmetricShape::FlatTop, i, n); }, 3.77f},
        {"Gauss", [](int n) { return new GaussWindow(n); },
         [](int i, int n) { return RefGauss(3.5f, i, n); }, 1.86f},
        {"Kaiser", [](int n) { return new KaiserWindow(n); },
         [](int i, int n) {
             const float a = 2.0f * 16.71f / static_cast<float>(n - 1);
             return RefKaiser(static_cast<long double>(a) * (n - 1) / 2.0L, i, n);
         },
         2.2292f},
    };
}

TEST(Window, EveryShapeIsItsNormalisedClosedFormSymmetricWithUnitSum) {
    for (const auto& sc : AllShapes()) {
        for (int n : {8, 9, 1024, 1025}) {
            std::unique_ptr<Window> w(sc.make(n));
            ASSERT_EQ(w->GetSize(), n);
            auto c = Coeffs(*w);
            ASSERT_EQ(static_cast<int>(c.size()), n);
            long double refSum = 0.0L, sum = 0.0L;
            // The first half is the closed form; the second half is its mirror image (with the
            // single-precision pi the raw closed form is not exactly symmetric by itself).
            auto raw = [&](int i) { return sc.raw(i < (n + 1) / 2 ? i : n - 1 - i, n); };
            for (int i = 0; i < n; ++i)
                refSum += raw(i);
            for (int i = 0; i < n; ++i) {
                sum += c[i];
                EXPECT_EQ(c[i], c[n - 1 - i]) << sc.name << " n " << n << " i " << i;
                const long double ref = raw(i) / refSum;
                // float rounding of the raw value, of the sum and of the division
                EXPECT_NEAR(c[i], ref, 4e-7L * fabsl(ref) + 1e-12L / n)
                    << sc.name << " n " << n << " i " << i;
            }
            EXPECT_NEAR(sum, 1.0L, 2e-6L) << sc.name << " n " << n;
            EXPECT_EQ(w->GetEffectiveRBWScaling(), sc.rbw) << sc.name;
        }
    }
}

TEST(Window, StoresEachValueTwiceForInterleavedSamples) {
    for (const auto& sc : AllShapes()) {
        std::unique_ptr<Window> w(sc.make(9));
        auto c = Coeffs(*w);
        VecCplx32 ones(9), out;
        for (int i = 0; i < 9; ++i)
            ones[i] = Cplx32{1.0f, 1.0f};
        w->Apply(out, ones);
        for (int i = 0; i < 9; ++i) {
            EXPECT_EQ(out[i].re, c[i]) << sc.name;
            EXPECT_EQ(out[i].im, c[i]) << sc.name;
        }
    }
}

TEST(Window, NoiseFiguresFollowTheCoefficients) {
    for (const auto& sc : AllShapes()) {
        for (int n : {8, 1025, 65536}) {
            std::unique_ptr<Window> w(sc.make(n));
            auto c = Coeffs(*w);
            long double s = 0.0L, s2 = 0.0L;
            for (float x : c) {
                s += x;
                s2 += static_cast<long double>(x) * x;
            }
            const long double enbw = n * s2 / (s * s);
            EXPECT_NEAR(w->GetENBW(), enbw, 2e-6L * enbw) << sc.name << " " << n;
            EXPECT_NEAR(w->GetPowerAdjustIndB(), 10.0L * log10l(enbw), 2e-5L) << sc.name;
        }
    }
    // Textbook figures of the shapes at large N.
    EXPECT_NEAR(HannWindow(65536).GetENBW(), 1.5f, 1e-4f);
    EXPECT_NEAR(BlackmanHarrisWindow(65536).GetENBW(), 2.0044f, 1e-3f);
    EXPECT_NEAR(Window(65536).GetENBW(), 1.0f, 1e-5f);
}

TEST(Window, RbwScalingIsAClassConstantNotRecomputed) {
    GaussWindow g(64);
    g.SetParameters(64, 1.0f);
    EXPECT_EQ(g.GetEffectiveRBWScaling(), 1.86f);
    KaiserWindow k(64);
    k.SetParameters(64, 30.0f);
    EXPECT_EQ(k.GetEffectiveRBWScaling(), 2.2292f);
    KaiserWindow n(64, KAISER_MODE_NARROW);
    EXPECT_EQ(n.GetEffectiveRBWScaling(), 2.0859f);
    n.SetParameters(64, 3.0f);
    EXPECT_EQ(n.GetEffectiveRBWScaling(), 2.0859f);
    EXPECT_EQ(n.GetMode(), KAISER_MODE_NARROW);
    EXPECT_EQ(Window().GetEffectiveRBWScaling(), 0.89f);
    EXPECT_EQ(HannWindow().GetEffectiveRBWScaling(), 1.44f);
    EXPECT_EQ(BlackmanHarrisWindow().GetEffectiveRBWScaling(), 1.9f);
    EXPECT_EQ(FlatTopWindow().GetEffectiveRBWScaling(), 3.77f);
    EXPECT_EQ(GaussWindow().GetEffectiveRBWScaling(), 1.86f);
    EXPECT_EQ(KaiserWindow(KAISER_MODE_STANDARD).GetEffectiveRBWScaling(), 2.2292f);
    EXPECT_EQ(KaiserWindow(KAISER_MODE_NARROW).GetEffectiveRBWScaling(), 2.0859f);
    // Any other mode value counts as standard.
    EXPECT_EQ(KaiserWindow(8, static_cast<KaiserWindowModeTag>(7)).GetEffectiveRBWScaling(),
              2.2292f);
}

TEST(Window, UniformOfFour) {
    Window w(4);
    auto c = Coeffs(w);
    ASSERT_EQ(c.size(), 4u);
    for (float x : c)
        EXPECT_EQ(x, 0.25f);
    EXPECT_FLOAT_EQ(w.GetENBW(), 1.0f);
    EXPECT_NEAR(w.GetPowerAdjustIndB(), 0.0f, 1e-6f);
    // 1.0f / N exactly, also where 1/N is not representable.
    for (float x : Coeffs(Window(3)))
        EXPECT_EQ(x, 1.0f / 3.0f);
    // The parameter of the two-argument forms is stored or ignored, never used.
    Window p(6, 7.0f);
    for (float x : Coeffs(p))
        EXPECT_EQ(x, 1.0f / 6.0f);
    p.SetParameters(5, 2.0f);
    for (float x : Coeffs(p))
        EXPECT_EQ(x, 0.2f);
}

TEST(Window, HannOfFiveIsQuarterHalfQuarter) {
    HannWindow w(5);
    auto c = Coeffs(w);
    ASSERT_EQ(c.size(), 5u);
    const float expect[5] = {0.0f, 0.25f, 0.5f, 0.25f, 0.0f};
    for (int i = 0; i < 5; ++i)
        EXPECT_NEAR(c[i], expect[i], 1e-7f) << i;
}

TEST(Window, ParameterlessShapesIgnoreTheParameter) {
    HannWindow h(33), h2(33);
    h2.SetParameters(33, 5.0f);
    EXPECT_EQ(Coeffs(h), Coeffs(h2));
    BlackmanHarrisWindow b(33), b2(33);
    b2.SetParameters(33, 5.0f);
    EXPECT_EQ(Coeffs(b), Coeffs(b2));
    FlatTopWindow f(33), f2(33);
    f2.SetParameters(33, 5.0f);
    EXPECT_EQ(Coeffs(f), Coeffs(f2));
}

TEST(Window, GaussParameterAndDefault) {
    GaussWindow g(64);
    g.SetParameters(64, 2.0f);
    auto c = Coeffs(g);
    long double s = 0.0L;
    for (int i = 0; i < 64; ++i)
        s += RefGauss(2.0f, i, 64);
    for (int i = 0; i < 64; ++i)
        EXPECT_NEAR(c[i], RefGauss(2.0f, i, 64) / s, 4e-7L * c[i]);
    g.SetParameters(64);  // back to alpha 3.5
    EXPECT_EQ(Coeffs(g), Coeffs(GaussWindow(64)));
    GaussWindow empty;
    EXPECT_EQ(empty.GetSize(), 0);
    empty.SetParameters(64);
    EXPECT_EQ(Coeffs(empty), Coeffs(GaussWindow(64)));
}

TEST(Window, FactoryGaussKeepsDefaultAlphaButStoresTheParameter) {
    WindowFactory f;
    std::unique_ptr<Window> w(f.MakeWindow(WT_GAUSS, 64, 2.0f));
    ASSERT_NE(dynamic_cast<GaussWindow*>(w.get()), nullptr);
    EXPECT_EQ(f.GetPara(), 2.0f);
    EXPECT_EQ(f.GetSize(), 64);
    EXPECT_EQ(f.GetType(), WT_GAUSS);
    EXPECT_EQ(Coeffs(*w), Coeffs(GaussWindow(64)));  // alpha 3.5
    GaussWindow alpha2(64);
    alpha2.SetParameters(64, 2.0f);
    EXPECT_NE(Coeffs(*w), Coeffs(alpha2));
    // The caller applies the stored parameter explicitly.
    f.SetParameters(w.get(), 64, 2.0f);
    EXPECT_EQ(Coeffs(*w), Coeffs(alpha2));
}

TEST(Window, KaiserModesAndBeta) {
    KaiserWindow narrow(256, KAISER_MODE_NARROW);
    KaiserWindow beta(256, 14.6f);
    EXPECT_EQ(narrow.GetEffectiveRBWScaling(), 2.0859f);
    EXPECT_EQ(beta.GetEffectiveRBWScaling(), 0.89f);
    EXPECT_EQ(narrow.GetMode(), KAISER_MODE_NARROW);
    EXPECT_EQ(beta.GetMode(), KAISER_MODE_STANDARD);
    EXPECT_EQ(Coeffs(narrow), Coeffs(beta));
    // and that is the beta = 14.6 closed form
    auto c = Coeffs(narrow);
    const float a = 2.0f * 14.6f / 255.0f;
    const long double b = static_cast<long double>(a) * 255.0L / 2.0L;
    long double s = 0.0L;
    for (int i = 0; i < 256; ++i)
        s += RefKaiser(b, i, 256);
    for (int i = 0; i < 256; ++i)
        EXPECT_NEAR(c[i], RefKaiser(b, i, 256) / s, 4e-7L * c[i]) << i;

    KaiserWindow standard(256, KAISER_MODE_STANDARD);
    EXPECT_EQ(Coeffs(standard), Coeffs(KaiserWindow(256)));
    EXPECT_EQ(Coeffs(standard), Coeffs(KaiserWindow(256, 16.71f)));
    EXPECT_NE(Coeffs(standard), Coeffs(narrow));

    // SetParameters(size) returns to the standard mode; SetParameters(size, mode) switches.
    narrow.SetParameters(256);
    EXPECT_EQ(narrow.GetMode(), KAISER_MODE_STANDARD);
    EXPECT_EQ(narrow.GetEffectiveRBWScaling(), 2.2292f);
    EXPECT_EQ(Coeffs(narrow), Coeffs(standard));
    narrow.SetParameters(256, KAISER_MODE_NARROW);
    EXPECT_EQ(Coeffs(narrow), Coeffs(beta));
    EXPECT_EQ(narrow.GetEffectiveRBWScaling(), 2.0859f);

    // The mode constructor computes nothing.
    KaiserWindow m(KAISER_MODE_NARROW);
    EXPECT_EQ(m.GetSize(), 0);
    EXPECT_TRUE(Coeffs(m).empty());
}

TEST(Window, KaiserBeyondSinglePrecisionUsesDouble) {
    for (float beta : {95.0f, 200.0f, 800.0f}) {
        const int n = 64;
        // The single-precision routine indeed refuses this beta...
        std::vector<float> ones(n, 1.0f);
        ASSERT_NE(kernels::WinKaiserInPlace(ones.data(), n, 2.0f * beta / (n - 1)), 0);
        // ...and the window still comes out finite, normalised and right.
        KaiserWindow k(n, beta);
        auto c = Coeffs(k);
        ASSERT_EQ(static_cast<int>(c.size()), n);
        const float a = 2.0f * beta / static_cast<float>(n - 1);
        const long double b = static_cast<long double>(a) * (n - 1) / 2.0L;
        long double s = 0.0L, sum = 0.0L;
        for (int i = 0; i < n; ++i)
            s += RefKaiser(b, i, n);
        for (int i = 0; i < n; ++i) {
            ASSERT_TRUE(std::isfinite(c[i])) << beta << " " << i;
            sum += c[i];
            const long double ref = RefKaiser(b, i, n) / s;
            EXPECT_NEAR(c[i], ref, 4e-7L * ref + 1e-44L) << beta << " " << i;
            EXPECT_EQ(c[i], c[n - 1 - i]);
        }
        EXPECT_NEAR(sum, 1.0L, 2e-6L);
        EXPECT_TRUE(std::isfinite(k.GetENBW()));
    }
}

TEST(Window, OnePointAndEmptyWindowsStayInBounds) {
    // One point: the cosine shapes divide 0 by 0; the others are [1]. Either way the window
    // holds exactly one value (two stored coefficients) and applies to one sample.
    for (const auto& sc : AllShapes()) {
        std::unique_ptr<Window> w(sc.make(1));
        EXPECT_EQ(w->GetSize(), 1) << sc.name;
        auto c = Coeffs(*w);
        ASSERT_EQ(c.size(), 1u) << sc.name;
        VecCplx32 x(1), y;
        x[0] = Cplx32{2.0f, 3.0f};
        w->Apply(y, x);
        ASSERT_EQ(y.GetSize(), 1);
        (void)w->GetENBW();
        (void)w->GetPowerAdjustIndB();
    }
    EXPECT_EQ(Coeffs(Window(1))[0], 1.0f);
    EXPECT_EQ(Coeffs(GaussWindow(1))[0], 1.0f);
    EXPECT_EQ(Coeffs(KaiserWindow(1))[0], 1.0f);
    EXPECT_TRUE(std::isnan(Coeffs(HannWindow(1))[0]));

    // Zero and negative sizes make an empty window that accepts only empty blocks.
    for (int n : {0, -1, -1000}) {
        for (const auto& sc : AllShapes()) {
            std::unique_ptr<Window> w(sc.make(64));
            w->SetParameters(n);
            EXPECT_EQ(w->GetSize(), 0) << sc.name;
            EXPECT_TRUE(Coeffs(*w).empty());
            EXPECT_EQ(w->GetENBW(), 0.0f);
            VecCplx32 empty, out(3);
            w->Apply(out, empty);
            EXPECT_EQ(out.GetSize(), 0);
            w->Apply(empty);
            w->SetParameters(n, 2.0f);
            EXPECT_EQ(w->GetSize(), 0) << sc.name;
        }
    }
}

TEST(Window, ApplyMultipliesComplexAndRealBlocks) {
    const int n = 1031;
    BlackmanHarrisWindow w(n);
    auto c = Coeffs(w);
    VecCplx32 x(n);
    VecReal32 r(n);
    for (int i = 0; i < n; ++i) {
        x[i] = Cplx32{std::sin(0.1f * i), std::cos(0.37f * i) - 0.5f};
        r[i] = 3.0f - 0.01f * i;
    }
    VecCplx32 y;
    w.Apply(y, x);
    ASSERT_EQ(y.GetSize(), n);
    for (int i = 0; i < n; ++i) {
        ASSERT_EQ(y[i].re, x[i].re * c[i]);
        ASSERT_EQ(y[i].im, x[i].im * c[i]);
    }
    VecCplx32 z(x);
    w.Apply(z);
    for (int i = 0; i < n; ++i)
        ASSERT_TRUE(z[i].re == y[i].re && z[i].im == y[i].im);
    VecReal32 q;
    w.Apply(q, r);
    ASSERT_EQ(q.GetSize(), n);
    for (int i = 0; i < n; ++i)
        ASSERT_EQ(q[i], r[i] * c[i]);
    w.Apply(r, r);  // in place through the two-argument form
    for (int i = 0; i < n; ++i)
        ASSERT_EQ(r[i], q[i]);
}

TEST(Window, ApplyRejectsABlockOfAnotherLength) {
    HannWindow w(16);
    for (int len : {0, 15, 17}) {
        VecCplx32 x(len), y;
        VecReal32 r(len), q;
        for (auto f : {std::function<void()>([&] { w.Apply(y, x); }),
                       std::function<void()>([&] { w.Apply(x); }),
                       std::function<void()>([&] { w.Apply(q, r); })}) {
            try {
                f();
                ADD_FAILURE() << "no exception for length " << len;
            } catch (const KivoException& e) {
                EXPECT_EQ(e.code, KIVO_INVALID_INPUT_PARAMETER);
                EXPECT_STREQ(e.message, "invalid input parameter");
                EXPECT_STREQ(e.file, "src/dsp/Window");
            }
        }
    }
}

TEST(Window, ApplyAllocatesNothingAfterTheFirstCall) {
    const int n = 4096;
    KaiserWindow w(n);
    VecCplx32 x(n), y;
    VecReal32 r(n), q;
    for (int i = 0; i < n; ++i) {
        x[i] = Cplx32{1.0f * i, -1.0f};
        r[i] = 0.5f;
    }
    w.Apply(y, x);
    w.Apply(q, r);
    const long long buffers = kernels::AllocationCount();
    const long long news = ombrel_test::NewCount();
    for (int k = 0; k < 10; ++k) {
        w.Apply(y, x);
        w.Apply(x);
        w.Apply(q, r);
        (void)w.GetENBW();
        (void)w.GetPowerAdjustIndB();
    }
    EXPECT_EQ(kernels::AllocationCount(), buffers);
    EXPECT_EQ(ombrel_test::NewCount(), news);
    // A bigger output keeps its buffer too.
    VecCplx32 big(2 * n);
    const long long before = kernels::AllocationCount();
    w.Apply(big, x);
    EXPECT_EQ(big.GetSize(), n);
    EXPECT_EQ(kernels::AllocationCount(), before);
}

TEST(Window, SetParametersKeepsStorageWhenItFits) {
    HannWindow w(1024);
    VecCplx32 x(512), y;
    w.SetParameters(512);
    const long long before = kernels::AllocationCount();
    w.Apply(y, x);  // the only buffer made here is y's
    EXPECT_EQ(kernels::AllocationCount(), before + 1);
    w.SetParameters(1000);
    w.SetParameters(512);
    // Recomputing needs one temporary of N values per call, but never regrows the coefficients.
    EXPECT_EQ(kernels::AllocationCount(), before + 3);
}

TEST(Window, CopiesAreDeep) {
    GaussWindow a(128);
    a.SetParameters(128, 2.5f);
    GaussWindow b(a);
    Window c;
    c = a;
    EXPECT_EQ(Coeffs(b), Coeffs(a));
    EXPECT_EQ(Coeffs(c), Coeffs(a));
    EXPECT_EQ(c.GetEffectiveRBWScaling(), 1.86f);
    auto before = Coeffs(b);
    a.SetParameters(16);
    EXPECT_EQ(Coeffs(b), before);
    EXPECT_EQ(b.GetSize(), 128);
    c = c;  // self-assignment leaves it unchanged
    EXPECT_EQ(Coeffs(c), before);
}

TEST(WindowFactory, MakesEveryTypeAndRemembersTheLast) {
    WindowFactory f;
    EXPECT_EQ(f.GetType(), WT_UNIFORM);
    EXPECT_EQ(f.GetSize(), 0);
    EXPECT_EQ(f.GetPara(), 0.0f);
    // Out of range before any window: null.
    EXPECT_EQ(f.MakeWindow(static_cast<WindowType>(6)), nullptr);
    EXPECT_EQ(f.MakeWindow(static_cast<WindowType>(-1), 8, 1.0f), nullptr);

    std::vector<std::unique_ptr<Window>> made;
    for (int t = 0; t <= 5; ++t) {
        made.emplace_back(f.MakeWindow(static_cast<WindowType>(t), 32, 9.0f));
        ASSERT_NE(made.back(), nullptr);
        EXPECT_EQ(made.back()->GetSize(), 32);
        EXPECT_EQ(f.GetType(), t);
    }
    EXPECT_EQ(typeid(*made[0]), typeid(Window));
    EXPECT_EQ(typeid(*made[1]), typeid(BlackmanHarrisWindow));
    EXPECT_EQ(typeid(*made[2]), typeid(FlatTopWindow));
    EXPECT_EQ(typeid(*made[3]), typeid(HannWindow));
    EXPECT_EQ(typeid(*made[4]), typeid(GaussWindow));
    EXPECT_EQ(typeid(*made[5]), typeid(KaiserWindow));
    EXPECT_EQ(Coeffs(*made[0]), Coeffs(Window(32)));
    EXPECT_EQ(Coeffs(*made[1]), Coeffs(BlackmanHarrisWindow(32)));
    EXPECT_EQ(Coeffs(*made[2]), Coeffs(FlatTopWindow(32)));
    EXPECT_EQ(Coeffs(*made[3]), Coeffs(HannWindow(32)));
    EXPECT_EQ(Coeffs(*made[4]), Coeffs(GaussWindow(32)));
    // Kaiser made here keeps beta 16.71 whatever the parameter.
    EXPECT_EQ(Coeffs(*made[5]), Coeffs(KaiserWindow(32, 16.71f)));
    EXPECT_EQ(made[5]->GetEffectiveRBWScaling(), 2.2292f);

    // Out of range after a success: the window last made, with the type stored.
    EXPECT_EQ(f.MakeWindow(static_cast<WindowType>(17)), made[5].get());
    EXPECT_EQ(f.GetType(), 17);
    EXPECT_EQ(f.MakeWindow(static_cast<WindowType>(-3), 4, 1.0f), made[5].get());
    EXPECT_EQ(f.GetSize(), 4);
}

TEST(WindowFactory, DefaultConstructedWindowsComputeOnSetParameters) {
    WindowFactory f;
    for (int t = 0; t <= 5; ++t) {
        std::unique_ptr<Window> w(f.MakeWindow(static_cast<WindowType>(t)));
        ASSERT_NE(w, nullptr);
        EXPECT_EQ(w->GetSize(), 0);
        EXPECT_TRUE(Coeffs(*w).empty());
        f.SetParameters(w.get(), 40);
        EXPECT_EQ(f.GetSize(), 40);
        EXPECT_EQ(w->GetSize(), 40);
        std::unique_ptr<Window> ref(f.MakeWindow(static_cast<WindowType>(t), 40, 0.0f));
        EXPECT_EQ(Coeffs(*w), Coeffs(*ref)) << t;
    }
    std::unique_ptr<Window> k(f.MakeWindow(WT_KAISER));
    EXPECT_EQ(k->GetEffectiveRBWScaling(), 2.2292f);
    f.SetParameters(k.get(), 40, 14.6f);
    EXPECT_EQ(f.GetPara(), 14.6f);
    EXPECT_EQ(Coeffs(*k), Coeffs(KaiserWindow(40, KAISER_MODE_NARROW)));
}

TEST(WindowFactory, SetParametersOnlyActsForAValidStoredType) {
    WindowFactory f;
    std::unique_ptr<Window> h(f.MakeWindow(WT_HANN, 16, 0.0f));
    EXPECT_EQ(f.MakeWindow(static_cast<WindowType>(8)), h.get());
    f.SetParameters(h.get(), 64, 3.0f);  // stored type invalid: only stores
    EXPECT_EQ(h->GetSize(), 16);
    EXPECT_EQ(f.GetSize(), 64);
    EXPECT_EQ(f.GetPara(), 3.0f);
    f.SetParameters(h.get(), 32);
    EXPECT_EQ(h->GetSize(), 16);
    EXPECT_EQ(f.GetSize(), 32);
    f.SetParameters(nullptr, 32);  // nothing to do, nothing dereferenced

    std::unique_ptr<Window> g(f.MakeWindow(WT_GAUSS, 16, 0.0f));
    try {
        f.SetParameters(nullptr, 32, 1.0f);
        ADD_FAILURE() << "null window accepted";
    } catch (const KivoException& e) {
        EXPECT_EQ(e.code, KIVO_INVALID_INPUT_PARAMETER);
        EXPECT_STREQ(e.file, "src/dsp/WindowFactory");
    }
    EXPECT_THROW(f.SetParameters(nullptr, 32), KivoException);
    // A window of another class than the stored type is recomputed by its own class.
    f.SetParameters(h.get(), 8, 1.0f);
    EXPECT_EQ(Coeffs(*h), Coeffs(HannWindow(8)));
}

TEST(Window, SelfTestsPass) {
    UnitTestRecorder r;
    EXPECT_TRUE(Window::UnitTest(r));
    EXPECT_TRUE(HannWindow::UnitTest(r));
    EXPECT_TRUE(BlackmanHarrisWindow::UnitTest(r));
    EXPECT_TRUE(FlatTopWindow::UnitTest(r));
    EXPECT_TRUE(GaussWindow::UnitTest(r));
    EXPECT_TRUE(KaiserWindow::UnitTest(r));
    EXPECT_TRUE(WindowFactory::UnitTest(r));
}

}  // namespace
