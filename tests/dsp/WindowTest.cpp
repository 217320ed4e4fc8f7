// Window shapes and Kaiser kernels against closed forms evaluated here in long double.
#include <gtest/gtest.h>

#include <cfloat>
#include <cmath>
#include <vector>

#include "kernels/WindowKernels.h"

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
        Kivo::kernels::Mul(out.data(), a.data(), b.data(), n);
        for (int i = 0; i < n; ++i)
            ASSERT_EQ(out[i], a[i] * b[i]);
        EXPECT_EQ(out[n], -1.0f);
        Kivo::kernels::MulInPlace(a.data(), b.data(), n);
        for (int i = 0; i < n; ++i)
            ASSERT_EQ(a[i], out[i]);
        Kivo::kernels::DuplicateBy2(dup.data(), b.data(), n);
        for (int i = 0; i < n; ++i)
            ASSERT_TRUE(dup[2 * i] == b[i] && dup[2 * i + 1] == b[i]);
        EXPECT_EQ(dup[2 * n], -1.0f);
        Kivo::kernels::MulStride2(out.data(), a.data(), dup.data(), n);
        for (int i = 0; i < n; ++i)
            ASSERT_EQ(out[i], a[i] * b[i]);
        std::vector<float> c = b;
        Kivo::kernels::DivC(c.data(), 3.0f, n);
        for (int i = 0; i < n; ++i)
            ASSERT_EQ(c[i], b[i] / 3.0f);
        double s = 0.0;
        for (int i = 0; i < n; ++i)
            s += b[i];
        EXPECT_EQ(Kivo::kernels::SumAccurate(b.data(), n), static_cast<float>(s));
    }
    std::vector<float> flat(10, 0.25f);
    EXPECT_FLOAT_EQ(Kivo::kernels::NormalisedEnergyTimesCount(flat.data(), 10), 1.0f);
    EXPECT_EQ(Kivo::kernels::NormalisedEnergyTimesCount(flat.data(), 0), 0.0f);
}

}  // namespace
