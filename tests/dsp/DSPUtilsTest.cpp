// DSPUtils: the documented edge cases, argument errors, aliasing and allocation behaviour, and
// every method against a slow direct evaluation in double / long double on random inputs.
#include <ombrel/dsp/DSPUtils.h>
#include <ombrel/infra/UnitTestRecorder.h>
#include <ombrel/math/IntVector.h>
#include <ombrel/math/KivoException.h>
#include <ombrel/math/Vector.h>

#include "kernels/Allocator.h"
#include "kernels/ConvFft.h"
#include "support/TestUtil.h"

#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <cstdint>
#include <cstring>
#include <limits>
#include <vector>

using namespace Kivo;

namespace {

constexpr double kPi = 3.14159265358979323846;
const float kTwoPiF = static_cast<float>(2 * kPi);

VecReal32 R32(const std::vector<float>& v) {
    VecReal32 out;
    out.Import(v.data(), static_cast<int>(v.size()));
    return out;
}

VecReal64 R64(const std::vector<double>& v) {
    VecReal64 out;
    out.Import(v.data(), static_cast<int>(v.size()));
    return out;
}

VecCplx32 C32(const std::vector<Cplx32>& v) {
    VecCplx32 out;
    out.Import(v.data(), static_cast<int>(v.size()));
    return out;
}

VecCplx64 C64(const std::vector<Cplx64>& v) {
    VecCplx64 out;
    out.Import(v.data(), static_cast<int>(v.size()));
    return out;
}

template <class V>
auto Values(const V& v) {
    std::vector<decltype(v[0])> out(v.GetSize());
    for (int i = 0; i < v.GetSize(); ++i)
        out[i] = v[i];
    return out;
}

std::vector<float> RandF(int n, std::uint32_t seed, float lo = -1.0f, float hi = 1.0f) {
    return ombrel_test::RandomUniform(n, seed, lo, hi);
}
std::vector<double> RandD(int n, std::uint32_t seed) {
    return ombrel_test::RandomUniform(n, seed, -1.0, 1.0);
}
std::vector<Cplx32> RandC(int n, std::uint32_t seed) {
    return ombrel_test::RandomComplex<Cplx32>(n, seed, -1.0f, 1.0f);
}
std::vector<Cplx64> RandZ(int n, std::uint32_t seed) {
    return ombrel_test::RandomComplex<Cplx64>(n, seed, -1.0, 1.0);
}

using ombrel_test::CodeOf;

const DetectorType kAllTypes[] = {DETECTOR_AVE,    DETECTOR_MAX, DETECTOR_MIN,
                                  DETECTOR_MAXMIN, DETECTOR_RMS, DETECTOR_SAMPLE};

}  // namespace

// ---------------------------------------------------------------------------------------------
// Detect

TEST(DSPUtilsDetect, TenPointsByThree) {
    const VecReal32 in = R32({1, 5, 3, -2, 0, 4, 7, 6, 9, 100});
    VecReal32 out;
    DSPUtils::Detect(out, in, 3, DETECTOR_AVE);
    ASSERT_EQ(out.GetSize(), 3);  // the 10th point is ignored
    EXPECT_EQ(out[0], 3.0f);
    EXPECT_EQ(out[1], static_cast<float>(2.0 / 3.0));
    EXPECT_EQ(out[2], static_cast<float>(22.0 / 3.0));
    DSPUtils::Detect(out, in, 3, DETECTOR_MAXMIN);
    EXPECT_EQ(Values(out), (std::vector<float>{5, 1, 4, -2, 9, 6}));
    DSPUtils::Detect(out, in, 3, DETECTOR_SAMPLE);
    EXPECT_EQ(Values(out), (std::vector<float>{1, -2, 7}));
    DSPUtils::Detect(out, in, 3, DETECTOR_MAX);
    EXPECT_EQ(Values(out), (std::vector<float>{5, 4, 9}));
    DSPUtils::Detect(out, in, 3, DETECTOR_MIN);
    EXPECT_EQ(Values(out), (std::vector<float>{1, -2, 6}));
    DSPUtils::Detect(out, in, 3, DETECTOR_RMS);
    ASSERT_EQ(out.GetSize(), 3);
    EXPECT_EQ(out[0], static_cast<float>(std::sqrt(35.0 / 3.0)));
}

TEST(DSPUtilsDetect, FactorAboveLengthGivesEmptyAndFactorOneACopy) {
    const VecReal32 in = R32({1, 2, 3, 4, 5});
    for (DetectorType t : kAllTypes) {
        VecReal32 out = R32({9, 9});
        DSPUtils::Detect(out, in, 6, t);
        EXPECT_EQ(out.GetSize(), 0) << t;
        DSPUtils::Detect(out, in, 1, t);
        EXPECT_EQ(Values(out), Values(in)) << t;
        VecReal32 none;
        DSPUtils::Detect(out, none, 1, t);  // empty input: N < factor
        EXPECT_EQ(out.GetSize(), 0);
    }
}

TEST(DSPUtilsDetect, RmsOfEqualValues) {
    for (float a : {2.5f, -2.5f, 3.0f, 1e-3f}) {
        VecReal32 in(12);
        for (int i = 0; i < 12; ++i)
            in[i] = a;
        VecReal32 out;
        DSPUtils::Detect(out, in, 4, DETECTOR_RMS);
        ASSERT_EQ(out.GetSize(), 3);
        for (int k = 0; k < 3; ++k)
            EXPECT_EQ(out[k], std::abs(a));
    }
}

TEST(DSPUtilsDetect, UnknownTypeLeavesOutputUnchanged) {
    VecReal32 out = R32({7, 8});
    DSPUtils::Detect(out, R32({1, 2, 3, 4}), 2, static_cast<DetectorType>(42));
    EXPECT_EQ(Values(out), (std::vector<float>{7, 8}));
}

TEST(DSPUtilsDetect, BadFactorThrows) {
    VecReal32 out;
    EXPECT_EQ(CodeOf([&] {
                  DSPUtils::Detect(out, R32({1, 2}), 0, DETECTOR_MAX);
              }),
              KIVO_INVALID_INPUT_PARAMETER);
    EXPECT_EQ(CodeOf([&] {
                  DSPUtils::Detect(out, R32({1, 2}), -3, DETECTOR_MAX);
              }),
              KIVO_INVALID_INPUT_PARAMETER);
}

TEST(DSPUtilsDetect, RandomTracesAgainstDirectReduction) {
    // 8, 24, 64: the multiples of eight take the vector path (a division for 24, a product by
    // the exact inverse for the powers of two), with bucket counts that leave a remainder.
    for (int factor : {2, 5, 8, 13, 24, 64}) {
        const int n = 1000 + factor / 2;
        const auto v = RandF(n, 300 + factor, 0.0f, 10.0f);
        const VecReal32 in = R32(v);
        const int m = n / factor;
        for (DetectorType t : kAllTypes) {
            VecReal32 out;
            DSPUtils::Detect(out, in, factor, t);
            ASSERT_EQ(out.GetSize(), t == DETECTOR_MAXMIN ? 2 * m : m);
            for (int k = 0; k < m; ++k) {
                long double sum = 0, sq = 0;
                float mx = v[k * factor], mn = mx;
                for (int j = 0; j < factor; ++j) {
                    const float x = v[k * factor + j];
                    sum += x;
                    sq += static_cast<long double>(x) * x;
                    mx = std::max(mx, x);
                    mn = std::min(mn, x);
                }
                switch (t) {
                    case DETECTOR_AVE:
                        EXPECT_EQ(out[k], static_cast<float>(static_cast<double>(sum / factor)));
                        break;
                    case DETECTOR_MAX:
                        EXPECT_EQ(out[k], mx);
                        break;
                    case DETECTOR_MIN:
                        EXPECT_EQ(out[k], mn);
                        break;
                    case DETECTOR_MAXMIN:
                        EXPECT_EQ(out[2 * k], mx);
                        EXPECT_EQ(out[2 * k + 1], mn);
                        break;
                    case DETECTOR_RMS:
                        EXPECT_EQ(out[k],
                                  static_cast<float>(std::sqrt(static_cast<double>(sq / factor))));
                        break;
                    case DETECTOR_SAMPLE:
                        EXPECT_EQ(out[k], v[k * factor]);
                        break;
                }
            }
        }
    }
}

TEST(DSPUtilsDetect, InPlaceAndNoAllocationOnceSized) {
    const auto v = RandF(4096, 5);
    for (DetectorType t : kAllTypes) {
        VecReal32 ref;
        DSPUtils::Detect(ref, R32(v), 8, t);
        VecReal32 self = R32(v);
        DSPUtils::Detect(self, self, 8, t);
        EXPECT_EQ(Values(self), Values(ref)) << t;
    }
    const VecReal32 in = R32(v);
    VecReal32 out;
    DSPUtils::Detect(out, in, 4, DETECTOR_MAXMIN);  // sizes out for the largest result
    const long long before = kernels::AllocationCount();
    for (DetectorType t : kAllTypes)
        DSPUtils::Detect(out, in, 4, t);
    EXPECT_EQ(kernels::AllocationCount(), before);
}

// ---------------------------------------------------------------------------------------------
// MovingAverage, statistics

TEST(DSPUtilsStats, MovingAverageWidthThree) {
    const auto v = RandF(50, 9);
    VecReal32 out;
    DSPUtils::MovingAverage(out, R32(v), 3);
    ASSERT_EQ(out.GetSize(), 50);
    EXPECT_EQ(out[0], v[0]);
    EXPECT_EQ(out[49], v[49]);
    for (int i = 1; i < 49; ++i) {
        const double m = (static_cast<double>(v[i - 1]) + v[i] + v[i + 1]) / 3.0;
        EXPECT_EQ(out[i], static_cast<float>(m)) << i;
    }
}

TEST(DSPUtilsStats, MovingAverageEvenWidthAndDoubleAgainstDirectMeans) {
    const auto d = RandD(200, 10);
    for (int width : {1, 2, 4, 5, 8, 199, 200, 201, 500}) {
        VecReal64 out;
        DSPUtils::MovingAverage(out, R64(d), width);
        ASSERT_EQ(out.GetSize(), 200);
        const int first = width % 2 ? (width - 1) / 2 : width / 2;
        const int last = width % 2 ? 200 - (width - 1) / 2 - 1 : 200 - width / 2;
        for (int i = 0; i < 200; ++i) {
            if (i < first || i > last) {
                EXPECT_EQ(out[i], d[i]) << width << " " << i;
                continue;
            }
            long double s = 0;
            for (int j = i - first; j < i - first + width; ++j)
                s += d[j];
            EXPECT_NEAR(out[i], static_cast<double>(s / width), 1e-15) << width << " " << i;
        }
    }
    VecReal32 e;
    DSPUtils::MovingAverage(e, VecReal32(), 3);
    EXPECT_EQ(e.GetSize(), 0);
    EXPECT_EQ(CodeOf([&] {
                  DSPUtils::MovingAverage(e, R32({1, 2}), 0);
              }),
              KIVO_INVALID_INPUT_PARAMETER);
    VecReal32 self = R32({1, 2, 3, 4});
    DSPUtils::MovingAverage(self, self, 3);
    EXPECT_EQ(Values(self), (std::vector<float>{1, 2, 3, 4}));
}

TEST(DSPUtilsStats, PeakToAveAndNorms) {
    const auto v = RandF(999, 11, 0.5f, 2.0f);
    double mx = 0, sum = 0;
    long double sq = 0;
    for (float x : v)
        mx = std::max(mx, static_cast<double>(x)), sum += x, sq += x * x;
    EXPECT_NEAR(DSPUtils::PeakToAve(R32(v)), mx / (sum / 999), 1e-6);
    EXPECT_NEAR(DSPUtils::Norm(R32(v)), std::sqrt(static_cast<double>(sq)), 1e-5);
    EXPECT_EQ(CodeOf([] { DSPUtils::PeakToAve(VecReal32()); }), KIVO_DIVIDE_BY_ZERO_ERROR);
    EXPECT_EQ(CodeOf([] { DSPUtils::PeakToAve(R32({1, -1})); }), KIVO_DIVIDE_BY_ZERO_ERROR);
    EXPECT_EQ(DSPUtils::Norm(VecReal32()), 0.0f);
    const auto c = RandC(500, 12);
    const auto z = RandZ(500, 13);
    long double qc = 0, qz = 0;
    for (auto x : c)
        qc += static_cast<long double>(x.re) * x.re + static_cast<long double>(x.im) * x.im;
    for (auto x : z)
        qz += static_cast<long double>(x.re) * x.re + static_cast<long double>(x.im) * x.im;
    EXPECT_NEAR(DSPUtils::Norm(C32(c)), std::sqrt(static_cast<double>(qc)), 1e-13);
    EXPECT_NEAR(DSPUtils::Norm(C64(z)), std::sqrt(static_cast<double>(qz)), 1e-13);
    EXPECT_EQ(DSPUtils::Norm(VecCplx64()), 0.0);
    EXPECT_EQ(DSPUtils::Norm(R32({3, 4})), 5.0f);
}

TEST(DSPUtilsStats, LinearLeastSquareFit) {
    // An exact line is recovered.
    std::vector<double> x(50), y(50);
    for (int i = 0; i < 50; ++i)
        x[i] = 0.1 * i - 1, y[i] = 2.5 * x[i] - 0.75;
    double s = 0, c = 0;
    DSPUtils::LinearLeastSquareFit(s, c, R64(x), R64(y));
    EXPECT_NEAR(s, 2.5, 1e-12);
    EXPECT_NEAR(c, -0.75, 1e-12);
    // Noisy data against the normal equations solved in long double.
    const auto nx = RandD(300, 14), noise = RandD(300, 15);
    std::vector<double> ny(300);
    for (int i = 0; i < 300; ++i)
        ny[i] = -1.3 * nx[i] + 0.2 + 0.1 * noise[i];
    long double sx = 0, sxx = 0, sy = 0, sxy = 0;
    for (int i = 0; i < 300; ++i)
        sx += nx[i], sxx += static_cast<long double>(nx[i]) * nx[i], sy += ny[i],
            sxy += static_cast<long double>(nx[i]) * ny[i];
    const long double det = 300 * sxx - sx * sx;
    const double slope = static_cast<double>((300 * sxy - sx * sy) / det);
    const double icpt = static_cast<double>((sy * sxx - sx * sxy) / det);
    VecReal64 fitted;
    DSPUtils::LinearLeastSquareFit(s, c, fitted, R64(nx), R64(ny));
    EXPECT_NEAR(s, slope, 1e-12);
    EXPECT_NEAR(c, icpt, 1e-12);
    ASSERT_EQ(fitted.GetSize(), 300);
    for (int i = 0; i < 300; ++i)
        EXPECT_NEAR(fitted[i], slope * nx[i] + icpt, 1e-12);
    float fs = 0, fc = 0;
    std::vector<float> fx(nx.begin(), nx.end()), fy(ny.begin(), ny.end());
    DSPUtils::LinearLeastSquareFit(fs, fc, R32(fx), R32(fy));
    EXPECT_NEAR(fs, slope, 1e-5);
    EXPECT_NEAR(fc, icpt, 1e-5);
    // No guard: all x equal gives a non-finite result; a short y is refused.
    DSPUtils::LinearLeastSquareFit(s, c, R64({1, 1, 1}), R64({1, 2, 3}));
    EXPECT_FALSE(std::isfinite(s));
    EXPECT_EQ(CodeOf([&] {
                  DSPUtils::LinearLeastSquareFit(s, c, R64({1, 2}), R64({1}));
              }),
              KIVO_INVALID_INPUT_PARAMETER);
}

// ---------------------------------------------------------------------------------------------
// Magnitude, power, phase

TEST(DSPUtilsMag, MagnitudePowerAndDecibels) {
    auto c = RandC(1001, 20);
    c[3] = {0.0f, 0.0f};
    const VecCplx32 in = C32(c);
    VecReal32 mag, pow, db, mag2, re, im;
    DSPUtils::Mag(mag, in);
    DSPUtils::MagSqr(pow, in);
    DSPUtils::MagdB(db, in);
    in.GetReal(re);
    in.GetImag(im);
    DSPUtils::Mag(mag2, re, im);
    ASSERT_EQ(mag.GetSize(), 1001);
    ASSERT_EQ(db.GetSize(), 1001);
    for (int i = 0; i < 1001; ++i) {
        const double p =
            static_cast<double>(c[i].re) * c[i].re + static_cast<double>(c[i].im) * c[i].im;
        EXPECT_NEAR(pow[i], p, 2.4e-7 * p + 1e-45);
        EXPECT_NEAR(mag[i], std::sqrt(p), 2.4e-7 * std::sqrt(p) + 1e-45);
        EXPECT_EQ(mag2[i], mag[i]);
        if (i == 3) {
            EXPECT_TRUE(std::isinf(db[i]) && db[i] < 0);  // no floor
        } else {
            EXPECT_NEAR(db[i], 10 * std::log10(p),
                        1e-5 * std::max(1.0, std::abs(10 * std::log10(p))));
        }
    }
    const auto z = RandZ(300, 21);
    VecReal64 m64, p64, d64;
    DSPUtils::Mag(m64, C64(z));
    DSPUtils::MagSqr(p64, C64(z));
    DSPUtils::MagdB(d64, C64(z));
    for (int i = 0; i < 300; ++i) {
        const std::complex<long double> w(z[i].re, z[i].im);
        EXPECT_NEAR(m64[i], static_cast<double>(std::abs(w)), 1e-15);
        EXPECT_NEAR(p64[i], static_cast<double>(std::norm(w)), 1e-15);
        EXPECT_NEAR(d64[i], static_cast<double>(10 * std::log10(std::norm(w))), 1e-12);
    }
    VecReal32 e = R32({1});
    DSPUtils::MagSqr(e, VecCplx32());
    EXPECT_EQ(e.GetSize(), 0);
    EXPECT_EQ(CodeOf([&] {
                  DSPUtils::Mag(e, R32({1, 2}), R32({1}));
              }),
              KIVO_INVALID_INPUT_PARAMETER);
}

TEST(DSPUtilsMag, MagSqrAllocatesNothingOnceSized) {
    const VecCplx32 in = C32(RandC(4096, 22));
    VecReal32 out;
    DSPUtils::MagSqr(out, in);
    const long long before = kernels::AllocationCount();
    for (int i = 0; i < 10; ++i)
        DSPUtils::MagSqr(out, in);
    EXPECT_EQ(kernels::AllocationCount(), before);
}

TEST(DSPUtilsMag, PhaseAndPolarRoundTrip) {
    auto c = RandC(700, 23);
    c[0] = {0.0f, 0.0f};
    VecReal32 ph, mag, ph2;
    DSPUtils::Phase(ph, C32(c));
    DSPUtils::CartToPolar(mag, ph2, C32(c));
    EXPECT_EQ(ph[0], 0.0f);
    for (int i = 0; i < 700; ++i) {
        EXPECT_NEAR(ph[i], std::atan2(static_cast<double>(c[i].im), static_cast<double>(c[i].re)),
                    2.5e-7);
        EXPECT_EQ(ph2[i], ph[i]);
    }
    VecCplx32 back;
    DSPUtils::PolarToCart(back, mag, ph);
    ASSERT_EQ(back.GetSize(), 700);
    for (int i = 0; i < 700; ++i) {
        EXPECT_NEAR(back[i].re, c[i].re, 3e-7);
        EXPECT_NEAR(back[i].im, c[i].im, 3e-7);
    }
    const auto z = RandZ(100, 24);
    VecReal64 p64;
    DSPUtils::Phase(p64, C64(z));
    for (int i = 0; i < 100; ++i)
        EXPECT_NEAR(p64[i], std::atan2(z[i].im, z[i].re), 1e-15);
    EXPECT_EQ(CodeOf([&] {
                  DSPUtils::PolarToCart(back, R32({1, 2}), R32({1}));
              }),
              KIVO_INVALID_INPUT_PARAMETER);
}

// ---------------------------------------------------------------------------------------------
// Phase mapping, unwrapping, rotation, frequency shift

TEST(DSPUtilsPhase, MapPhaseExamples) {
    VecReal32 v = R32(
        {static_cast<float>(1.5 * kPi), static_cast<float>(-1.5 * kPi), 3.1415927f, -3.1415927f});
    DSPUtils::MapPhase(v);
    EXPECT_NEAR(v[0], -kPi / 2, 1e-6);
    EXPECT_NEAR(v[1], kPi / 2, 1e-6);
    EXPECT_EQ(v[2], 3.1415927f);
    EXPECT_EQ(v[3], 3.1415927f);
    // The final fold uses the single-precision pi widened to double, the coarse reduction the
    // double 3.14159265358979: the results carry exactly those constants.
    const double piF = static_cast<double>(3.1415927f), piR = 3.14159265358979;
    VecReal64 d = R64({1.5 * kPi, -1.5 * kPi, 100.0, -100.0});
    DSPUtils::MapPhase(d);
    EXPECT_EQ(d[0], 1.5 * kPi - 2 * piF);
    EXPECT_EQ(d[1], -1.5 * kPi + 2 * piF);
    EXPECT_EQ(d[2], (100.0 - 2 * piR * 15) - 2 * piF);
    EXPECT_EQ(d[3], (-100.0 + 2 * piR * 15) + 2 * piF);
    EXPECT_NEAR(d[2], std::remainder(100.0, 2 * kPi), 1e-6);
    VecReal32 e;
    DSPUtils::MapPhase(e);
    EXPECT_EQ(e.GetSize(), 0);
}

TEST(DSPUtilsPhase, UnwrapAroundReferenceExample) {
    // The jump 3.2 exceeds pi and starts an offset of -2 pi; the jump -9.2 is folded by one
    // period (-9.2 + 2 pi = -2.92 already lies within half a period), which cancels it.
    VecReal32 v = R32({0.0f, 3.0f, 6.2f, -3.0f});
    DSPUtils::Unwrap(v, 0, 0.0f, kTwoPiF);
    EXPECT_EQ(v[0], 0.0f);
    EXPECT_EQ(v[1], 3.0f);
    EXPECT_EQ(v[2], 6.2f + (0.0f - kTwoPiF));
    EXPECT_EQ(v[3], -3.0f);
}

TEST(DSPUtilsPhase, UnwrapAroundReferenceFromTheMiddle) {
    // A wrapped ramp, unwrapped around index 5 whose reference value is its own.
    std::vector<float> w(40);
    std::vector<double> truth(40);
    for (int i = 0; i < 40; ++i) {
        truth[i] = 0.9 * i - 10.0;
        w[i] = static_cast<float>(std::remainder(truth[i], 2 * kPi));
    }
    VecReal32 v = R32(w);
    DSPUtils::Unwrap(v, 5, w[5], kTwoPiF);
    EXPECT_EQ(v[5], w[5]);
    for (int i = 0; i < 40; ++i)
        EXPECT_NEAR(v[i] - v[5], truth[i] - truth[5], 1e-4) << i;
    // A reference value half a period away or more moves the reference point itself.
    VecReal32 r = R32({0.0f, 0.1f});
    DSPUtils::Unwrap(r, 0, 4.0f, kTwoPiF);
    EXPECT_NEAR(r[0], kTwoPiF, 1e-6);
    EXPECT_NEAR(r[1], 0.1 + kTwoPiF, 1e-6);
    // Errors and the empty vector.
    VecReal32 e;
    DSPUtils::Unwrap(e, 0, 0.0f, kTwoPiF);
    EXPECT_EQ(CodeOf([&] { DSPUtils::Unwrap(v, 40, 0.0f, kTwoPiF); }),
              KIVO_INVALID_INPUT_PARAMETER);
    EXPECT_EQ(CodeOf([&] { DSPUtils::Unwrap(v, -1, 0.0f, kTwoPiF); }),
              KIVO_INVALID_INPUT_PARAMETER);
    EXPECT_EQ(CodeOf([&] { DSPUtils::Unwrap(v, 0, 0.0f, 0.0f); }), KIVO_INVALID_INPUT_PARAMETER);
    EXPECT_EQ(CodeOf([&] { DSPUtils::Unwrap(v, 0, 0.0f, -1.0f); }), KIVO_INVALID_INPUT_PARAMETER);
    EXPECT_EQ(CodeOf([&] { DSPUtils::Unwrap(v, 0, 0.0f, std::nanf("")); }),
              KIVO_INVALID_INPUT_PARAMETER);
}

TEST(DSPUtilsPhase, UnwrapWholeVectorExamples) {
    VecReal32 out;
    DSPUtils::Unwrap(out, R32({0.0f, 3.5f, 7.0f}), kTwoPiF);
    ASSERT_EQ(out.GetSize(), 3);
    EXPECT_EQ(out[0], 0.0f);
    EXPECT_NEAR(out[1], 3.5 - 2 * kPi, 1e-6);
    EXPECT_NEAR(out[2], 7.0 - 4 * kPi, 1e-6);
    DSPUtils::Unwrap(out, R32({0.0f, 10.0f}), kTwoPiF);
    EXPECT_NEAR(out[1], 10.0 - 2 * kPi, 1e-6);  // only one period removed
    VecReal64 d;
    DSPUtils::Unwrap(d, R64({0.0, 3.5, 7.0}), 2 * kPi);
    EXPECT_NEAR(d[1], 3.5 - 2 * kPi, 1e-15);
    EXPECT_NEAR(d[2], 7.0 - 4 * kPi, 1e-14);
    // Against a direct reference on random data; in place gives the same.
    const auto v = RandF(500, 25, -4.0f, 4.0f);
    DSPUtils::Unwrap(out, R32(v), 5.0f);
    VecReal32 self = R32(v);
    DSPUtils::Unwrap(self, self, 5.0f);
    float offset = 0;
    for (int i = 1; i < 500; ++i) {
        const float dlt = v[i] - v[i - 1];
        if (std::abs(dlt) > 2.5f) offset += dlt <= 0 ? 5.0f : -5.0f;
        ASSERT_EQ(out[i], v[i] + offset);
        ASSERT_EQ(self[i], out[i]);
    }
    EXPECT_EQ(CodeOf([&] { DSPUtils::Unwrap(out, VecReal32(), kTwoPiF); }),
              KIVO_INVALID_INPUT_PARAMETER);
    EXPECT_EQ(CodeOf([&] { DSPUtils::Unwrap(d, R64({1.0}), 0.0); }), KIVO_INVALID_INPUT_PARAMETER);
}

TEST(DSPUtilsPhase, RotatePhaseIsAScalarMultiply) {
    const auto c = RandC(300, 26);
    VecCplx32 v = C32(c);
    DSPUtils::RotatePhase(v, 0.7f);
    const float cr = static_cast<float>(std::cos(0.7f)), ci = static_cast<float>(std::sin(0.7f));
    for (int i = 0; i < 300; ++i) {
        const float a = c[i].re, b = c[i].im;
        EXPECT_EQ(v[i].re, a * cr - b * ci);
        EXPECT_EQ(v[i].im, a * ci + b * cr);
    }
    VecCplx32 e;
    DSPUtils::RotatePhase(e, 1.0f);
    EXPECT_EQ(e.GetSize(), 0);
}

TEST(DSPUtilsPhase, ShiftFreqAgainstDirectTone) {
    const int n = 5000;
    const auto c = RandC(n, 27);
    const VecCplx32 in = C32(c);
    for (float f : {0.01f, 0.25f, -0.1f, 0.9f, 3.3f}) {
        VecCplx32 out, down = in;
        DSPUtils::ShiftFreq(out, in, f, 0.5f);
        DSPUtils::ShiftFreq(down, f, 0.5f, true);
        ASSERT_EQ(out.GetSize(), n);
        for (int i = 0; i < n; i += 7) {
            const long double th = 0.5L + 2 * 3.141592653589793238462643L * f * i;
            const std::complex<long double> x(c[i].re, c[i].im);
            const auto up = x * std::polar(1.0L, th);
            const auto dn = x * std::polar(1.0L, -th);
            ASSERT_NEAR(out[i].re, static_cast<double>(up.real()), 4e-7) << f << " " << i;
            ASSERT_NEAR(out[i].im, static_cast<double>(up.imag()), 4e-7) << f << " " << i;
            ASSERT_NEAR(down[i].re, static_cast<double>(dn.real()), 4e-7) << f << " " << i;
            ASSERT_NEAR(down[i].im, static_cast<double>(dn.imag()), 4e-7) << f << " " << i;
        }
    }
    // In place without shifting down equals the out-of-place form.
    VecCplx32 a, b = in;
    DSPUtils::ShiftFreq(a, in, 0.123f, 1.0f);
    DSPUtils::ShiftFreq(b, 0.123f, 1.0f, false);
    for (int i = 0; i < n; ++i)
        ASSERT_TRUE(a[i].re == b[i].re && a[i].im == b[i].im);
    // Phase continuity: shifting the second half with phase + 2 pi f n0 continues the tone.
    const float f = 0.0371f;
    VecCplx32 tail = in;
    tail.ShiftLeft(2500);
    VecCplx32 t2;
    const double next = 0.5 + 2 * kPi * (static_cast<double>(f) * 2500 - std::floor(f * 2500.0));
    DSPUtils::ShiftFreq(t2, tail, f, static_cast<float>(next));
    DSPUtils::ShiftFreq(a, in, f, 0.5f);
    for (int i = 0; i < 2500; i += 11) {
        ASSERT_NEAR(t2[i].re, a[2500 + i].re, 1e-6);
        ASSERT_NEAR(t2[i].im, a[2500 + i].im, 1e-6);
    }
    EXPECT_EQ(CodeOf([&] { DSPUtils::ShiftFreq(a, in, std::nanf(""), 0.0f); }),
              KIVO_INVALID_INPUT_PARAMETER);
    EXPECT_EQ(CodeOf([&] { DSPUtils::ShiftFreq(b, 0.1f, INFINITY, false); }),
              KIVO_INVALID_INPUT_PARAMETER);
}

// ---------------------------------------------------------------------------------------------
// Resampling and rearrangement

TEST(DSPUtilsResample, DownsampleLengthsAndPhases) {
    const auto v = RandF(10, 30);
    VecReal32 out;
    DSPUtils::Downsample(out, R32(v), 3);
    EXPECT_EQ(Values(out), (std::vector<float>{v[0], v[3], v[6], v[9]}));
    DSPUtils::Downsample(out, R32(v), 3, 2);  // grid 2, 5, 8: the fourth slot is zeroed
    EXPECT_EQ(Values(out), (std::vector<float>{v[2], v[5], v[8], 0.0f}));
    DSPUtils::Downsample(out, R32(v), 20);  // factor larger than the length
    EXPECT_EQ(Values(out), (std::vector<float>{v[0]}));
    DSPUtils::Downsample(out, R32(v), 20, 15);
    EXPECT_EQ(Values(out), (std::vector<float>{0.0f}));
    DSPUtils::Downsample(out, VecReal32(), 4);
    EXPECT_EQ(out.GetSize(), 0);
    const auto d = RandD(100, 31);
    VecReal64 od;
    DSPUtils::Downsample(od, R64(d), 7, 3);
    ASSERT_EQ(od.GetSize(), 15);
    for (int k = 0; k < 14; ++k)
        EXPECT_EQ(od[k], d[3 + 7 * k]);
    EXPECT_EQ(od[14], 0.0);
    const auto c = RandC(33, 32);
    VecCplx32 oc;
    DSPUtils::Downsample(oc, C32(c), 4, 1);
    ASSERT_EQ(oc.GetSize(), 9);
    for (int k = 0; k < 8; ++k)
        EXPECT_EQ(oc[k].im, c[1 + 4 * k].im);
    const auto z = RandZ(33, 33);
    VecCplx64 oz;
    DSPUtils::Downsample(oz, C64(z), 4);
    ASSERT_EQ(oz.GetSize(), 9);
    for (int k = 0; k < 9; ++k)
        EXPECT_EQ(oz[k].re, z[4 * k].re);
    VecReal32 self = R32(v);
    DSPUtils::Downsample(self, self, 2);
    EXPECT_EQ(Values(self), (std::vector<float>{v[0], v[2], v[4], v[6], v[8]}));
    EXPECT_EQ(CodeOf([&] { DSPUtils::Downsample(out, R32(v), 0); }), KIVO_INVALID_INPUT_PARAMETER);
    EXPECT_EQ(CodeOf([&] { DSPUtils::Downsample(out, R32(v), 3, 3); }),
              KIVO_INVALID_INPUT_PARAMETER);
    EXPECT_EQ(CodeOf([&] { DSPUtils::Downsample(out, R32(v), 3, -1); }),
              KIVO_INVALID_INPUT_PARAMETER);
}

TEST(DSPUtilsResample, UpsampleAllTypes) {
    const auto v = RandF(5, 34);
    VecReal32 out;
    DSPUtils::Upsample(out, R32(v), 3, 1);
    ASSERT_EQ(out.GetSize(), 15);
    for (int i = 0; i < 15; ++i)
        EXPECT_EQ(out[i], i % 3 == 1 ? v[i / 3] : 0.0f);
    DSPUtils::Upsample(out, R32(v), 2);
    for (int i = 0; i < 10; ++i)
        EXPECT_EQ(out[i], i % 2 == 0 ? v[i / 2] : 0.0f);
    const auto d = RandD(4, 35);
    VecReal64 od;
    DSPUtils::Upsample(od, R64(d), 4, 3);
    ASSERT_EQ(od.GetSize(), 16);
    for (int i = 0; i < 16; ++i)
        EXPECT_EQ(od[i], i % 4 == 3 ? d[i / 4] : 0.0);
    const auto c = RandC(4, 36);
    VecCplx32 oc;
    DSPUtils::Upsample(oc, C32(c), 2, 1);
    for (int i = 0; i < 8; ++i)
        EXPECT_EQ(oc[i].re, i % 2 == 1 ? c[i / 2].re : 0.0f);
    VecReal32 self = R32(v);
    DSPUtils::Upsample(self, self, 2);  // grows its own source
    for (int i = 0; i < 10; ++i)
        EXPECT_EQ(self[i], i % 2 == 0 ? v[i / 2] : 0.0f);
    DSPUtils::Upsample(out, VecReal32(), 3);
    EXPECT_EQ(out.GetSize(), 0);
    EXPECT_EQ(CodeOf([&] { DSPUtils::Upsample(out, R32(v), 0); }), KIVO_INVALID_INPUT_PARAMETER);
    EXPECT_EQ(CodeOf([&] { DSPUtils::Upsample(out, R32(v), 2, 2); }), KIVO_INVALID_INPUT_PARAMETER);
    VecReal32 big(1 << 20);
    EXPECT_EQ(CodeOf([&] { DSPUtils::Upsample(out, big, 1 << 12); }), KIVO_INVALID_INPUT_PARAMETER);
}

TEST(DSPUtilsResample, UpsampleOfDoubleComplexKeepsItsEightByteBinding) {
    const std::vector<Cplx64> z = {{1.5, -2.0}, {3.25, 4.0}, {-5.0, 0.125}};
    VecCplx64 out(6);  // reused capacity: the second half must keep its contents
    for (int i = 0; i < 6; ++i)
        out[i] = {100.0 + i, 200.0 + i};
    DSPUtils::Upsample(out, C64(z), 2, 1);
    ASSERT_EQ(out.GetSize(), 6);
    // The first 3*2*8 bytes hold 8-byte elements: element 2k+1 is the k-th 8-byte word of the
    // source (the first half of its bytes), the others are zero.
    unsigned char src[48], dst[96];
    std::memcpy(src, &z[0], 48);
    for (int i = 0; i < 6; ++i)
        std::memcpy(dst + 16 * i, &out[i], 16);
    const unsigned char zero[8] = {};
    for (int k = 0; k < 6; ++k) {
        const unsigned char* want = (k % 2 == 1) ? src + 8 * (k / 2) : zero;
        EXPECT_EQ(std::memcmp(dst + 8 * k, want, 8), 0) << k;
    }
    for (int i = 3; i < 6; ++i) {
        EXPECT_EQ(out[i].re, 100.0 + i);
        EXPECT_EQ(out[i].im, 200.0 + i);
    }
    VecCplx64 fresh;
    DSPUtils::Upsample(fresh, C64(z), 3);
    EXPECT_EQ(fresh.GetSize(), 9);
    EXPECT_EQ(std::memcmp(&fresh[0], &z[0], 8), 0);
}

TEST(DSPUtilsResample, DuplicateAllTypes) {
    const auto v = RandF(6, 37);
    VecReal32 out;
    DSPUtils::Duplicate(out, R32(v), 3);
    ASSERT_EQ(out.GetSize(), 18);
    for (int i = 0; i < 18; ++i)
        EXPECT_EQ(out[i], v[i / 3]);
    DSPUtils::Duplicate(out, R32(v), 0);
    EXPECT_EQ(out.GetSize(), 0);
    const auto d = RandD(3, 38);
    VecReal64 od;
    DSPUtils::Duplicate(od, R64(d), 2);
    EXPECT_EQ(Values(od), (std::vector<double>{d[0], d[0], d[1], d[1], d[2], d[2]}));
    VecCplx32 oc;
    DSPUtils::Duplicate(oc, C32(RandC(2, 39)), 4);
    EXPECT_EQ(oc.GetSize(), 8);
    EXPECT_EQ(oc[3].im, oc[0].im);
    VecCplx64 oz;
    const auto z = RandZ(2, 40);
    DSPUtils::Duplicate(oz, C64(z), 2);
    EXPECT_EQ(oz[3].re, z[1].re);
    VecReal32 self = R32(v);
    DSPUtils::Duplicate(self, self, 2);
    for (int i = 0; i < 12; ++i)
        EXPECT_EQ(self[i], v[i / 2]);
    EXPECT_EQ(CodeOf([&] { DSPUtils::Duplicate(out, R32(v), -1); }), KIVO_INVALID_INPUT_PARAMETER);
}

TEST(DSPUtilsResample, FFTShiftExamplesAllTypes) {
    VecReal32 out;
    DSPUtils::FFTShift(out, R32({0, 1, 2, 3, 4}));
    EXPECT_EQ(Values(out), (std::vector<float>{3, 4, 0, 1, 2}));
    DSPUtils::FFTShift(out, R32({0, 1, 2, 3}));
    EXPECT_EQ(Values(out), (std::vector<float>{2, 3, 0, 1}));
    VecReal64 d;
    DSPUtils::FFTShift(d, R64({0, 1, 2, 3, 4}));
    EXPECT_EQ(Values(d), (std::vector<double>{3, 4, 0, 1, 2}));
    VecInt32 in(4), io;
    for (int i = 0; i < 4; ++i)
        in[i] = i;
    DSPUtils::FFTShift(io, in);
    ASSERT_EQ(io.GetSize(), 4);
    EXPECT_EQ(io[0], 2);
    EXPECT_EQ(io[1], 3);
    EXPECT_EQ(io[2], 0);
    EXPECT_EQ(io[3], 1);
    VecInt32 odd(5), oo;
    for (int i = 0; i < 5; ++i)
        odd[i] = i;
    DSPUtils::FFTShift(oo, odd);
    EXPECT_EQ(oo[0], 3);
    EXPECT_EQ(oo[2], 0);
    VecReal32 self = R32({0, 1, 2, 3, 4, 5, 6});
    DSPUtils::FFTShift(self, self);
    EXPECT_EQ(Values(self), (std::vector<float>{4, 5, 6, 0, 1, 2, 3}));
    DSPUtils::FFTShift(out, VecReal32());
    EXPECT_EQ(out.GetSize(), 0);
}

TEST(DSPUtilsResample, CumSumAndDerivative) {
    const auto v = RandF(300, 41);
    VecReal32 cs, dv;
    DSPUtils::CumSum(cs, R32(v));
    DSPUtils::Derivative(dv, R32(v));
    ASSERT_EQ(cs.GetSize(), 300);
    ASSERT_EQ(dv.GetSize(), 299);
    long double s = 0;
    for (int i = 0; i < 300; ++i) {
        s += v[i];
        EXPECT_NEAR(cs[i], static_cast<double>(s), 1e-6);
        if (i < 299) {
            EXPECT_EQ(dv[i], v[i + 1] - v[i]);
        }
    }
    const auto d = RandD(100, 42);
    VecReal64 cd, dd;
    DSPUtils::CumSum(cd, R64(d));
    DSPUtils::Derivative(dd, R64(d));
    s = 0;
    for (int i = 0; i < 100; ++i) {
        s += d[i];
        EXPECT_NEAR(cd[i], static_cast<double>(s), 1e-14);
        if (i < 99) {
            EXPECT_EQ(dd[i], d[i + 1] - d[i]);
        }
    }
    const auto c = RandC(50, 43);
    VecCplx32 dc;
    DSPUtils::Derivative(dc, C32(c));
    ASSERT_EQ(dc.GetSize(), 49);
    for (int i = 0; i < 49; ++i)
        EXPECT_EQ(dc[i].im, c[i + 1].im - c[i].im);
    const auto z = RandZ(50, 44);
    VecCplx64 dz;
    DSPUtils::Derivative(dz, C64(z));
    for (int i = 0; i < 49; ++i)
        EXPECT_EQ(dz[i].re, z[i + 1].re - z[i].re);
    DSPUtils::Derivative(dv, R32({5}));
    EXPECT_EQ(dv.GetSize(), 0);
    DSPUtils::Derivative(dv, VecReal32());
    EXPECT_EQ(dv.GetSize(), 0);
    DSPUtils::CumSum(cs, VecReal32());
    EXPECT_EQ(cs.GetSize(), 0);
    VecReal32 self = R32({1, 2, 3});
    DSPUtils::CumSum(self, self);
    EXPECT_EQ(Values(self), (std::vector<float>{1, 3, 6}));
    DSPUtils::Derivative(self, self);
    EXPECT_EQ(Values(self), (std::vector<float>{2, 3}));
}

// ---------------------------------------------------------------------------------------------
// Convolution and correlation

namespace {

template <typename T>
void ExpectConvolution(const std::vector<T>& a, const std::vector<T>& b, const std::vector<T>& y,
                       double eps) {
    const int la = static_cast<int>(a.size()), lb = static_cast<int>(b.size());
    ASSERT_EQ(static_cast<int>(y.size()), la + lb - 1);
    for (int n = 0; n < la + lb - 1; ++n) {
        long double acc = 0, mag = 0;
        for (int i = std::max(0, n - lb + 1); i <= std::min(la - 1, n); ++i) {
            acc += static_cast<long double>(a[i]) * b[n - i];
            mag += std::abs(static_cast<long double>(a[i]) * b[n - i]);
        }
        // Rounding of the float direct sum (ascending taps) or of the double FFT path.
        const double tol = eps * (2 * std::min(la, lb) * static_cast<double>(mag)) + 1e-30;
        ASSERT_NEAR(y[n], static_cast<double>(acc), tol) << la << "x" << lb << " at " << n;
    }
}

}  // namespace

TEST(DSPUtilsConv, BothSidesOfTheCrossoverMatchADoubleReference) {
    // Pairs chosen so that each path runs; the choice itself is asserted.
    struct Case {
        int la, lb;
        bool fft;
    };
    const Case cases[] = {{27, 20000, false}, {8, 100000, false}, {300, 20000, true},
                          {1000, 6000, true}, {20000, 513, true}, {3, 5, false}};
    for (const Case& c : cases) {
        ASSERT_EQ(kernels::ConvPrefersFft<float>(c.la, c.lb), c.fft) << c.la << "x" << c.lb;
        const auto a = RandF(c.la, 50 + c.la), b = RandF(c.lb, 51 + c.lb);
        VecReal32 y;
        DSPUtils::Conv(y, R32(a), R32(b));
        ExpectConvolution(a, b, Values(y), 1.2e-7);
        const auto ad = RandD(c.la, 52), bd = RandD(c.lb, 53);
        VecReal64 yd;
        DSPUtils::Conv(yd, R64(ad), R64(bd));
        ExpectConvolution(ad, bd, Values(yd), 2.3e-16);
    }
}

TEST(DSPUtilsConv, FftPathKeepsSmallOutputsAccurate) {
    // A long filter whose ends are 1e-6 of its centre: outputs near the edges are tiny, yet
    // each must still match to float rounding, not to the energy of the whole signal.
    const int L = 2001, N = 30000;
    std::vector<float> h(L), x = RandF(N, 54);
    for (int i = 0; i < L; ++i)
        h[i] = static_cast<float>(std::exp(-0.5 * std::pow((i - 1000) / 190.0, 2)));
    ASSERT_TRUE(kernels::ConvPrefersFft<float>(L, N));
    VecReal32 y;
    DSPUtils::Conv(y, R32(h), R32(x));
    ExpectConvolution(h, x, Values(y), 1.2e-7);
}

TEST(DSPUtilsConv, EmptyAliasedAndCommutative) {
    VecReal32 y = R32({1, 2});
    DSPUtils::Conv(y, VecReal32(), R32({1, 2, 3}));
    EXPECT_EQ(y.GetSize(), 0);
    DSPUtils::Conv(y, R32({1, 2, 3}), VecReal32());
    EXPECT_EQ(y.GetSize(), 0);
    DSPUtils::Conv(y, R32({1, 2, 3}), R32({1, 1}));
    EXPECT_EQ(Values(y), (std::vector<float>{1, 3, 5, 3}));
    VecReal32 a = R32({1, 2, 3});
    DSPUtils::Conv(a, a, R32({0, 1}));  // destination is a source
    EXPECT_EQ(Values(a), (std::vector<float>{0, 1, 2, 3}));
    const auto p = RandF(400, 55), q = RandF(3000, 56);
    VecReal32 pq, qp;
    DSPUtils::Conv(pq, R32(p), R32(q));
    DSPUtils::Conv(qp, R32(q), R32(p));
    EXPECT_EQ(Values(pq), Values(qp));
}

TEST(DSPUtilsConv, RealCrossCorrIsTheCorrelationWithTheReversedCopy) {
    const auto a = RandF(9, 57), b = RandF(40, 58);
    VecReal32 r, c;
    DSPUtils::CrossCorr(r, R32(a), R32(b));
    DSPUtils::Conv(c, R32(a), R32(b));
    ASSERT_EQ(r.GetSize(), 48);
    EXPECT_EQ(Values(r), Values(c));
    // Direct form: out[n] = sum_i a[la-1-i] b[i + n - (la-1)].
    for (int n = 0; n < 48; ++n) {
        double acc = 0;
        for (int i = 0; i < 9; ++i) {
            const int j = i + n - 8;
            if (j >= 0 && j < 40) acc += static_cast<double>(a[8 - i]) * b[j];
        }
        EXPECT_NEAR(r[n], acc, 1e-5);
    }
}

TEST(DSPUtilsConv, ComplexCorrelationsAgainstDirectSums) {
    for (auto [la, lb] : {std::pair{7, 30}, {30, 7}, {1, 1}, {600, 5000}}) {
        const auto a = RandC(la, 60 + la), b = RandC(lb, 61 + lb);
        VecCplx32 conv, corr;
        DSPUtils::CrossCorr(conv, C32(a), C32(b));
        DSPUtils::CrossCorr2(corr, C32(a), C32(b));
        const int len = la + lb - 1;
        ASSERT_EQ(conv.GetSize(), len);
        ASSERT_EQ(corr.GetSize(), len);
        for (int n = 0; n < len; n += (len > 1000 ? 37 : 1)) {
            std::complex<long double> cv = 0, cr = 0;
            long double mag = 0;
            for (int i = 0; i < la; ++i) {
                const std::complex<long double> ai(a[i].re, a[i].im);
                if (n - i >= 0 && n - i < lb)
                    cv += ai * std::complex<long double>(b[n - i].re, b[n - i].im);
                const int j = i + n - (la - 1);  // lag n - (la - 1)
                if (j >= 0 && j < lb)
                    cr += std::conj(ai) * std::complex<long double>(b[j].re, b[j].im);
                mag += std::abs(ai);
            }
            const double tol = 1e-6 * (1.0 + static_cast<double>(mag) * 1e-2);
            ASSERT_NEAR(conv[n].re, static_cast<double>(cv.real()), tol) << la << " " << n;
            ASSERT_NEAR(conv[n].im, static_cast<double>(cv.imag()), tol) << la << " " << n;
            ASSERT_NEAR(corr[n].re, static_cast<double>(cr.real()), tol) << la << " " << n;
            ASSERT_NEAR(corr[n].im, static_cast<double>(cr.imag()), tol) << la << " " << n;
        }
    }
    VecCplx32 e = C32({{1, 1}});
    DSPUtils::CrossCorr2(e, VecCplx32(), C32({{1, 1}}));
    EXPECT_EQ(e.GetSize(), 0);
}

// ---------------------------------------------------------------------------------------------
// FIR tap design

TEST(DSPUtilsFir, FloatFormsNarrowTheDoubleDesign) {
    VecReal32 f;
    VecReal64 d;
    DSPUtils::LowPass(f, 0.2f, 31);
    DSPUtils::LowPass(d, static_cast<double>(0.2f), 31);
    ASSERT_EQ(f.GetSize(), 31);
    for (int i = 0; i < 31; ++i)
        EXPECT_EQ(f[i], static_cast<float>(d[i]));
    DSPUtils::HighPass(f, 0.3f, 21);
    DSPUtils::HighPass(d, static_cast<double>(0.3f), 21);
    for (int i = 0; i < 21; ++i)
        EXPECT_EQ(f[i], static_cast<float>(d[i]));
    DSPUtils::BandPass(f, 0.1f, 0.2f, 40);
    DSPUtils::BandPass(d, static_cast<double>(0.1f), static_cast<double>(0.2f), 40);
    for (int i = 0; i < 40; ++i)
        EXPECT_EQ(f[i], static_cast<float>(d[i]));
}

TEST(DSPUtilsFir, UnitGainAtTheCentreOfThePassBand) {
    auto response = [](const VecReal64& h, double f) {
        std::complex<double> s = 0;
        for (int n = 0; n < h.GetSize(); ++n)
            s += h[n] * std::polar(1.0, -2 * kPi * f * n);
        return std::abs(s);
    };
    VecReal64 h;
    DSPUtils::LowPass(h, 0.1, 101);
    EXPECT_NEAR(response(h, 0.0), 1.0, 1e-12);
    EXPECT_LT(response(h, 0.2), 1e-2);  // Hamming: about -53 dB stop band
    DSPUtils::HighPass(h, 0.1, 101);
    EXPECT_NEAR(response(h, 0.5), 1.0, 1e-12);
    EXPECT_LT(response(h, 0.02), 1e-2);
    DSPUtils::BandPass(h, 0.2, 0.3, 101);
    EXPECT_NEAR(response(h, 0.25), 1.0, 1e-12);
    EXPECT_LT(response(h, 0.05), 1e-2);
    EXPECT_LT(response(h, 0.45), 1e-2);
}

TEST(DSPUtilsFir, InvalidDesignsThrow) {
    VecReal32 f;
    VecReal64 d;
    const int bad = KIVO_INVALID_INPUT_PARAMETER;
    EXPECT_EQ(CodeOf([&] { DSPUtils::LowPass(f, 0.2f, 4); }), bad);
    EXPECT_EQ(CodeOf([&] { DSPUtils::LowPass(f, 0.0f, 11); }), bad);
    EXPECT_EQ(CodeOf([&] { DSPUtils::LowPass(d, 0.5, 11); }), bad);
    EXPECT_EQ(CodeOf([&] { DSPUtils::HighPass(f, 0.2f, 10); }), bad);
    EXPECT_EQ(CodeOf([&] { DSPUtils::HighPass(d, -0.1, 11); }), bad);
    EXPECT_EQ(CodeOf([&] { DSPUtils::BandPass(f, 0.3f, 0.2f, 11); }), bad);
    EXPECT_EQ(CodeOf([&] { DSPUtils::BandPass(d, 0.2, 0.2, 11); }), bad);
    EXPECT_EQ(CodeOf([&] { DSPUtils::BandPass(d, 0.2, 0.6, 11); }), bad);
    EXPECT_EQ(CodeOf([&] { DSPUtils::LowPass(d, std::nan(""), 11); }), bad);
    DSPUtils::HighPass(f, 0.2f, 5);
    EXPECT_EQ(f.GetSize(), 5);
}

// ---------------------------------------------------------------------------------------------
// Generators and gain

TEST(DSPUtilsGen, RandRampAndErrors) {
    VecReal32 v;
    DSPUtils::Rand(v, 100000, 1.0f, 3.0f);
    ASSERT_EQ(v.GetSize(), 100000);
    double sum = 0;
    for (int i = 0; i < 100000; ++i) {
        ASSERT_GE(v[i], 1.0f);
        ASSERT_LT(v[i], 3.0f);
        sum += v[i];
    }
    EXPECT_NEAR(sum / 100000, 2.0, 0.01);
    VecReal32 w;
    DSPUtils::Rand(w, 100, 1.0f, 3.0f);  // the stream continues: not a repeat
    bool differs = false;
    for (int i = 0; i < 100; ++i)
        differs |= w[i] != v[i];
    EXPECT_TRUE(differs);
    DSPUtils::Rand(v, 0, 0.0f, 1.0f);
    EXPECT_EQ(v.GetSize(), 0);
    EXPECT_EQ(CodeOf([&] { DSPUtils::Rand(v, -1, 0.0f, 1.0f); }), KIVO_INVALID_INPUT_PARAMETER);
    EXPECT_EQ(CodeOf([&] { DSPUtils::Rand(v, 3, 0.0f, INFINITY); }), KIVO_INVALID_INPUT_PARAMETER);

    DSPUtils::Ramp(v, 1000, 0.5f, -0.01f);
    ASSERT_EQ(v.GetSize(), 1000);
    for (int i = 0; i < 1000; ++i)
        EXPECT_EQ(v[i],
                  static_cast<float>(static_cast<double>(0.5f) + static_cast<double>(-0.01f) * i));
    VecReal64 r;
    DSPUtils::Ramp(r, 10, 1.0, 0.25);
    EXPECT_EQ(Values(r), (std::vector<double>{1, 1.25, 1.5, 1.75, 2, 2.25, 2.5, 2.75, 3, 3.25}));
    EXPECT_EQ(CodeOf([&] { DSPUtils::Ramp(r, -2, 0.0, 1.0); }), KIVO_INVALID_INPUT_PARAMETER);
}

TEST(DSPUtilsGen, GetFPGAGainExamples) {
    VecReal32 out;
    float gain = 0;
    DSPUtils::GetFPGAGain(out, gain, R32({2, 2, 2}));
    EXPECT_EQ(gain, 2.0f);
    ASSERT_EQ(out.GetSize(), 3);
    for (int i = 0; i < 3; ++i)
        EXPECT_NEAR(out[i], 2.0 / 3.0, 1e-7);
    DSPUtils::GetFPGAGain(out, gain, R32({1, 1, 1, 1}));
    EXPECT_EQ(gain, 4.0f);
    EXPECT_EQ(Values(out), (std::vector<float>{1, 1, 1, 1}));
}

TEST(DSPUtilsGen, GetFPGAGainAgainstDirectRule) {
    VecReal64 taps64;
    DSPUtils::LowPass(taps64, 0.05, 63);
    VecReal32 taps(taps64);
    for (float peak : {1.0f, 1000.0f, 32767.0f}) {
        VecReal32 out;
        float gain = 0;
        DSPUtils::GetFPGAGain(out, gain, taps, peak);
        double mx = -1e30;
        for (int i = 0; i < 63; ++i)
            mx = std::max(mx, static_cast<double>(taps[i]));
        double s = 0;
        for (int i = 0; i < 63; ++i)
            s += taps[i] / mx * peak;
        const double p = std::exp2(std::ceil(std::log2(std::ceil(s))));
        EXPECT_EQ(gain, static_cast<float>(p / 2)) << peak;
        double sum = 0;
        for (int i = 0; i < 63; ++i)
            sum += out[i];
        EXPECT_NEAR(sum, gain, 1e-5 * gain) << peak;  // sums to the power of two below s
        int top = 0;
        for (int i = 0; i < 63; ++i)
            if (taps[i] > taps[top]) top = i;
        EXPECT_NEAR(out[top], peak * gain / s, 1e-5 * peak);
    }
    VecReal32 out;
    float gain = 0;
    EXPECT_EQ(CodeOf([&] { DSPUtils::GetFPGAGain(out, gain, VecReal32()); }),
              KIVO_INVALID_INPUT_PARAMETER);
    EXPECT_EQ(CodeOf([&] {
                  DSPUtils::GetFPGAGain(out, gain, R32({0, 0}));
              }),
              KIVO_DIVIDE_BY_ZERO_ERROR);
    EXPECT_EQ(CodeOf([&] {
                  DSPUtils::GetFPGAGain(out, gain, R32({1, -3}));
              }),
              KIVO_INVALID_INPUT_PARAMETER);  // sum of the scaled taps is not positive
    EXPECT_EQ(CodeOf([&] {
                  DSPUtils::GetFPGAGain(out, gain, R32({1, 2}), 0.0f);
              }),
              KIVO_INVALID_INPUT_PARAMETER);
}

// ---------------------------------------------------------------------------------------------

TEST(DSPUtilsSelfTest, UnitTestPasses) {
    UnitTestRecorder recorder;
    EXPECT_TRUE(DSPUtils::UnitTest(recorder));
}
