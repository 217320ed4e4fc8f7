// Functions of one complex sample: the documented values, special values, and random inputs
// against long double references (single precision must be the correctly rounded result).
#include <ombrel/infra/UnitTestRecorder.h>
#include <ombrel/math/Complex.h>

#include <gtest/gtest.h>

#include <cfloat>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <limits>
#include <numbers>
#include <random>
#include <string>
#include <type_traits>

#include "support/TestUtil.h"

using namespace Kivo;

namespace {

using ombrel_test::UlpDistance;

// Random values of both signs whose binary exponents span [-emax, emax], with a few zeros, so
// that sums of squares mix very different magnitudes.
template <typename T>
class Sampler {
  public:
    Sampler(unsigned seed, int emax) : rng(seed), expo(-emax, emax), mant(0.5, 1.0), pick(0, 63) {}
    T operator()() {
        const int p = pick(rng);
        if (p == 0) return T(0);
        const T v = static_cast<T>(std::ldexp(mant(rng), expo(rng)));
        return (p & 1) ? -v : v;
    }

  private:
    std::mt19937_64 rng;
    std::uniform_int_distribution<int> expo;
    std::uniform_real_distribution<double> mant;
    std::uniform_int_distribution<int> pick;
};

constexpr int kSamples = 200000;

// Counts results that differ from a reference and keeps the largest distance in ulps.
struct Tally {
    long long mismatches = 0;
    long long worst = 0;
    template <typename T>
    void Add(T ours, T ref) {
        const long long d = UlpDistance(ours, ref);
        if (d != 0) ++mismatches;
        if (d > worst) worst = d;
    }
};

}  // namespace

// --- documented values --------------------------------------------------------------------------

TEST(Complex, MulConjOfOneTwoAndThreeFourIsElevenTwo) {
    const Cplx32 f = Complex::MulConj(Complex::Cplx(1.0f, 2.0f), Complex::Cplx(3.0f, 4.0f));
    const Cplx64 d = Complex::MulConj(Complex::Cplx(1.0, 2.0), Complex::Cplx(3.0, 4.0));
    EXPECT_EQ(f.re, 11.0f);
    EXPECT_EQ(f.im, 2.0f);
    EXPECT_EQ(d.re, 11.0);
    EXPECT_EQ(d.im, 2.0);
}

TEST(Complex, RecipOfZeroTwoIsZeroMinusHalf) {
    const Cplx32 f = Complex::Recip(Complex::Cplx(0.0f, 2.0f));
    const Cplx64 d = Complex::Recip(Complex::Cplx(0.0, 2.0));
    EXPECT_EQ(f.re, 0.0f);
    EXPECT_EQ(f.im, -0.5f);
    EXPECT_EQ(d.re, 0.0);
    EXPECT_EQ(d.im, -0.5);
}

TEST(Complex, PhaseOnTheNegativeAxes) {
    EXPECT_EQ(Complex::Phase(Complex::Cplx(-1.0, 0.0)), std::numbers::pi);
    EXPECT_EQ(Complex::Phase(Complex::Cplx(0.0, -1.0)), -std::numbers::pi / 2);
    EXPECT_EQ(Complex::Phase(Complex::Cplx(-1.0f, 0.0f)), std::numbers::pi_v<float>);
    EXPECT_EQ(Complex::Phase(Complex::Cplx(0.0f, -1.0f)), -std::numbers::pi_v<float> / 2);
    // The sign of a zero imaginary part picks the side of the cut.
    EXPECT_EQ(Complex::Phase(Complex::Cplx(-1.0, -0.0)), -std::numbers::pi);
    EXPECT_EQ(Complex::Phase(Complex::Cplx(-1.0f, -0.0f)), -std::numbers::pi_v<float>);
}

TEST(Complex, PhaseOfZeroIsZero) {
    EXPECT_EQ(Complex::Phase(Complex::Cplx(0.0, 0.0)), 0.0);
    EXPECT_EQ(Complex::Phase(Complex::Cplx(0.0f, 0.0f)), 0.0f);
}

TEST(Complex, MagAndMagSqrOfThreeFour) {
    EXPECT_EQ(Complex::Mag(Complex::Cplx(3.0f, 4.0f)), 5.0f);
    EXPECT_EQ(Complex::MagSqr(Complex::Cplx(3.0f, 4.0f)), 25.0f);
    EXPECT_EQ(Complex::Mag(Complex::Cplx(3.0, 4.0)), 5.0);
    EXPECT_EQ(Complex::MagSqr(Complex::Cplx(3.0, 4.0)), 25.0);
    EXPECT_EQ(Complex::Mag(Complex::Cplx(-3.0, -4.0)), 5.0);
}

TEST(Complex, UnitPhasorOfZeroIsOneZero) {
    const auto i = Complex::Cplx(0);
    static_assert(std::is_same_v<decltype(i), const Cplx64>);
    EXPECT_EQ(i.re, 1.0);
    EXPECT_EQ(i.im, 0.0);
    const Cplx32 f = Complex::Cplx(0.0f);
    EXPECT_EQ(f.re, 1.0f);
    EXPECT_EQ(f.im, 0.0f);
    const Cplx64 d = Complex::Cplx(0.0);
    EXPECT_EQ(d.re, 1.0);
    EXPECT_EQ(d.im, 0.0);
}

TEST(Complex, RecordsAndConjugates) {
    const auto n = Complex::Cplx(1, -2);  // integers take the double form
    static_assert(std::is_same_v<decltype(n), const Cplx64>);
    EXPECT_EQ(n.re, 1.0);
    EXPECT_EQ(n.im, -2.0);
    const Cplx32 c = Complex::Conj(Complex::Cplx(1.5f, -2.5f));
    EXPECT_EQ(c.re, 1.5f);
    EXPECT_EQ(c.im, 2.5f);
    const Cplx64 z = Complex::Conj(Complex::Cplx(0.0, 0.0));
    EXPECT_TRUE(std::signbit(z.im));
    const Cplx64 q = Complex::Conj(Complex::Cplx(-7.0, 1e300));
    EXPECT_EQ(q.re, -7.0);
    EXPECT_EQ(q.im, -1e300);
}

// --- special values -----------------------------------------------------------------------------

TEST(Complex, RecipOfZeroIsTheIeeeQuotientAndDoesNotThrow) {
    Cplx32 f{};
    Cplx64 d{};
    EXPECT_NO_THROW(f = Complex::Recip(Complex::Cplx(0.0f, 0.0f)));
    EXPECT_NO_THROW(d = Complex::Recip(Complex::Cplx(0.0, 0.0)));
    EXPECT_TRUE(std::isnan(f.re));
    EXPECT_TRUE(std::isnan(f.im));
    EXPECT_TRUE(std::isnan(d.re));
    EXPECT_TRUE(std::isnan(d.im));
}

TEST(Complex, SinglePrecisionIsEvaluatedWiderThanFloat) {
    // Squares of 1e30f overflow float but not double.
    EXPECT_FLOAT_EQ(Complex::Mag(Complex::Cplx(1e30f, 1e30f)), 1.41421356e30f);
    EXPECT_EQ(Complex::MagSqr(Complex::Cplx(1e30f, 1e30f)), std::numeric_limits<float>::infinity());
    // Squares of 1e-30f underflow float but not double.
    const Cplx32 r = Complex::Recip(Complex::Cplx(1e-30f, 1e-30f));
    EXPECT_FLOAT_EQ(r.re, 5e29f);
    EXPECT_FLOAT_EQ(r.im, -5e29f);
    EXPECT_FLOAT_EQ(Complex::Mag(Complex::Cplx(3e-30f, 4e-30f)), 5e-30f);
    // The largest floats: the magnitude itself exceeds FLT_MAX.
    EXPECT_EQ(Complex::Mag(Complex::Cplx(FLT_MAX, FLT_MAX)),
              std::numeric_limits<float>::infinity());
    EXPECT_EQ(Complex::Mag(Complex::Cplx(FLT_MAX, 0.0f)), FLT_MAX);
    // Products of float parts are exact in double: x * x - 1 keeps the 2^-24 that a float
    // product would round away.
    const float x = 1.0f + 0x1p-12f;
    const Cplx32 p = Complex::MulConj(Complex::Cplx(x, 1.0f), Complex::Cplx(x, -1.0f));
    EXPECT_EQ(p.re, 0x1p-11f + 0x1p-24f);
    EXPECT_EQ(p.im, 2.0f * x);
}

TEST(Complex, DoublePrecisionMagnitudeIsNotRescaled) {
    // The sum of squares is formed directly: it overflows above about 1.3e154.
    EXPECT_EQ(Complex::Mag(Complex::Cplx(1e200, 1e200)), std::numeric_limits<double>::infinity());
    EXPECT_EQ(Complex::Mag(Complex::Cplx(1e150, 0.0)), 1e150);
}

TEST(Complex, NotANumberPropagates) {
    const float nanf = std::numeric_limits<float>::quiet_NaN();
    const double nand = std::numeric_limits<double>::quiet_NaN();
    EXPECT_TRUE(std::isnan(Complex::Mag(Complex::Cplx(nanf, 1.0f))));
    EXPECT_TRUE(std::isnan(Complex::Phase(Complex::Cplx(1.0, nand))));
    EXPECT_TRUE(std::isnan(Complex::MulConj(Complex::Cplx(nand, 0.0), Complex::Cplx(1.0, 0.0)).re));
}

// --- single precision: the double result rounded once, on random inputs -----------------------
//
// Each float function evaluates its formula in double and rounds the result once to float.
// First check: the result is exactly the float rounding of the formula evaluated in double
// (written here independently, operation by operation). Second check, against the exact value
// (a long double evaluation in which products of floats are again exact): products of two
// floats are exact in double and every other double operation has relative error 2^-53, so
// the double value is within a few 2^-53 of the exact one and its rounding to float is at most
// one ulp from the correctly rounded float. It differs from it only when the exact value lies
// that close to a point halfway between two floats, e.g. when a square is itself such a
// midpoint and a much smaller term is absorbed in double: rare, so at most 1 in 10^4 samples.

namespace {

struct SingleCheck {
    Tally viaDouble;  // against the float rounding of the double evaluation
    Tally exact;      // against the correctly rounded float
    void Add(float ours, double doubleValue, long double exactValue) {
        viaDouble.Add(ours, static_cast<float>(doubleValue));
        exact.Add(ours, static_cast<float>(exactValue));
    }
    void Expect(const char* what) const {
        EXPECT_EQ(viaDouble.mismatches, 0) << what << ": worst " << viaDouble.worst << " ulp";
        EXPECT_LE(exact.worst, 1) << what;
        EXPECT_LE(exact.mismatches * 10000, kSamples) << what;
    }
};

}  // namespace

TEST(Complex, SinglePrecisionMagSqrAndMagAreTheDoubleResultRoundedOnce) {
    Sampler<float> s(11, 60);
    SingleCheck magSqr;
    SingleCheck mag;
    for (int k = 0; k < kSamples; ++k) {
        const Cplx32 z{s(), s()};
        const double dr = z.re, di = z.im;
        const double dsum = dr * dr + di * di;
        const long double re = z.re, im = z.im;
        const long double sum = re * re + im * im;
        magSqr.Add(Complex::MagSqr(z), dsum, sum);
        mag.Add(Complex::Mag(z), std::sqrt(dsum), std::sqrt(sum));
    }
    magSqr.Expect("MagSqr");
    mag.Expect("Mag");
    std::printf("MagSqr: %lld, Mag: %lld of %d samples differ from the correctly rounded float\n",
                magSqr.exact.mismatches, mag.exact.mismatches, kSamples);
}

TEST(Complex, SinglePrecisionMulConjIsTheDoubleResultRoundedOnce) {
    Sampler<float> s(12, 30);
    SingleCheck re;
    SingleCheck im;
    for (int k = 0; k < kSamples; ++k) {
        const Cplx32 a{s(), s()};
        Cplx32 b{s(), s()};
        if (k % 8 == 0) b = Cplx32{a.im, -a.re * 1.0000001f};  // near-cancelling real part
        const double dar = a.re, dai = a.im, dbr = b.re, dbi = b.im;
        const long double ar = a.re, ai = a.im, br = b.re, bi = b.im;
        const Cplx32 p = Complex::MulConj(a, b);
        re.Add(p.re, dar * dbr + dai * dbi, ar * br + ai * bi);
        im.Add(p.im, dai * dbr - dar * dbi, ai * br - ar * bi);
    }
    re.Expect("MulConj re");
    im.Expect("MulConj im");
}

TEST(Complex, SinglePrecisionRecipIsTheDoubleResultRoundedOnce) {
    Sampler<float> s(13, 60);
    SingleCheck re;
    SingleCheck im;
    for (int k = 0; k < kSamples; ++k) {
        const Cplx32 z{s(), s()};
        if (z.re == 0.0f && z.im == 0.0f) continue;
        const double dr = z.re, di = z.im;
        const double dd = dr * dr + di * di;
        const long double zr = z.re, zi = z.im;
        const long double d = zr * zr + zi * zi;
        const Cplx32 r = Complex::Recip(z);
        re.Add(r.re, dr / dd, zr / d);
        im.Add(r.im, -di / dd, -zi / d);
    }
    re.Expect("Recip re");
    im.Expect("Recip im");
}

TEST(Complex, SinglePrecisionPhaseAndPhasorAreTheDoubleResultRoundedOnce) {
    Sampler<float> s(14, 20);
    SingleCheck phase;
    SingleCheck cosine;
    SingleCheck sine;
    for (int k = 0; k < kSamples; ++k) {
        const Cplx32 z{s(), s()};
        const long double zr = z.re, zi = z.im;
        phase.Add(Complex::Phase(z),
                  std::atan2(static_cast<double>(z.im), static_cast<double>(z.re)),
                  std::atan2(zi, zr));
        const float phi = s();
        const long double lphi = phi;
        const Cplx32 u = Complex::Cplx(phi);
        cosine.Add(u.re, std::cos(static_cast<double>(phi)), std::cos(lphi));
        sine.Add(u.im, std::sin(static_cast<double>(phi)), std::sin(lphi));
    }
    phase.Expect("Phase");
    cosine.Expect("cos");
    sine.Expect("sin");
}

// --- double precision: within a few ulps of a long double reference
// -------------------------------

TEST(Complex, DoublePrecisionAgainstLongDouble) {
    Sampler<double> s(15, 200);
    Tally magSqr;
    Tally mag;
    Tally recipRe;
    Tally recipIm;
    Tally phase;
    for (int k = 0; k < kSamples; ++k) {
        const Cplx64 z{s(), s()};
        const long double zr = z.re, zi = z.im;
        const long double sum = zr * zr + zi * zi;
        // Two rounded squares and a rounded sum of two positive terms: at most 3 half-ulps.
        magSqr.Add(Complex::MagSqr(z), static_cast<double>(sum));
        // The square root halves the relative error of its argument and adds half an ulp.
        mag.Add(Complex::Mag(z), static_cast<double>(std::sqrt(sum)));
        if (sum != 0) {
            // d as above, then one more rounded division and the reference's own rounding.
            const Cplx64 r = Complex::Recip(z);
            recipRe.Add(r.re, static_cast<double>(zr / sum));
            recipIm.Add(r.im, static_cast<double>(-zi / sum));
        }
        phase.Add(Complex::Phase(z), static_cast<double>(std::atan2(zi, zr)));
    }
    EXPECT_LE(magSqr.worst, 2);
    EXPECT_LE(mag.worst, 2);
    EXPECT_LE(recipRe.worst, 3);
    EXPECT_LE(recipIm.worst, 3);
    EXPECT_LE(phase.worst, 1);
}

TEST(Complex, DoublePrecisionMulConjWithinTheRoundingOfItsProducts) {
    // Cancellation makes a relative bound meaningless; each part is the sum of two products,
    // each rounded once, plus the rounding of the sum: |error| <= 2^-52 (|p1| + |p2|).
    Sampler<double> s(16, 100);
    for (int k = 0; k < kSamples; ++k) {
        const Cplx64 a{s(), s()};
        const Cplx64 b{s(), s()};
        const long double ar = a.re, ai = a.im, br = b.re, bi = b.im;
        const Cplx64 p = Complex::MulConj(a, b);
        const long double boundRe = std::ldexp(std::fabs(ar * br) + std::fabs(ai * bi), -52);
        const long double boundIm = std::ldexp(std::fabs(ai * br) + std::fabs(ar * bi), -52);
        ASSERT_LE(std::fabs(p.re - (ar * br + ai * bi)), boundRe) << k;
        ASSERT_LE(std::fabs(p.im - (ai * br - ar * bi)), boundIm) << k;
    }
}

TEST(Complex, DoublePrecisionPhasorWithinOneUlp) {
    std::mt19937_64 rng(17);
    std::uniform_real_distribution<double> angle(-1e4, 1e4);
    Tally cosine;
    Tally sine;
    for (int k = 0; k < kSamples; ++k) {
        const double phi = k % 4 == 0 ? angle(rng) * 1e-4 : angle(rng);
        const Cplx64 u = Complex::Cplx(phi);
        cosine.Add(u.re, static_cast<double>(std::cos(static_cast<long double>(phi))));
        sine.Add(u.im, static_cast<double>(std::sin(static_cast<long double>(phi))));
    }
    EXPECT_LE(cosine.worst, 1);
    EXPECT_LE(sine.worst, 1);
}

TEST(Complex, SelfTestPasses) {
    UnitTestRecorder recorder;
    testing::internal::CaptureStdout();
    const bool ok = Complex::UnitTest(recorder);
    const std::string out = testing::internal::GetCapturedStdout();
    EXPECT_TRUE(ok) << out;
    EXPECT_EQ(out.find("FAIL"), std::string::npos) << out;
}
