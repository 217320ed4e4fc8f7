// The vector kernels against their plain scalar references and against slow double-precision
// evaluations, on random data of awkward lengths and at unaligned addresses.
#include <gtest/gtest.h>

#include "kernels/VectorKernels.h"
#include "support/TestUtil.h"

#include <cfloat>
#include <cmath>
#include <cstring>
#include <limits>
#include <vector>

using namespace Kivo;
namespace k = Kivo::kernels;

namespace {

const int kLengths[] = {0, 1, 7, 33, 1000, 4097};

// Each maker returns n + 1 values: room for an unaligned start.
std::vector<float> RandomFloats(int n, unsigned seed, float lo = -100.0f, float hi = 100.0f) {
    return ombrel_test::RandomUniform(n + 1, seed, lo, hi);
}
std::vector<double> RandomDoubles(int n, unsigned seed) {
    return ombrel_test::RandomUniform(n + 1, seed, -100.0, 100.0);
}
std::vector<Cplx32> RandomCplx32(int n, unsigned seed) {
    return ombrel_test::RandomComplex<Cplx32>(n + 1, seed, -100.0f, 100.0f);
}
std::vector<Cplx64> RandomCplx64(int n, unsigned seed) {
    return ombrel_test::RandomComplex<Cplx64>(n + 1, seed, -100.0, 100.0);
}

template <typename T>
bool BitsEqual(const T* a, const T* b, int n) {
    return n <= 0 || std::memcmp(a, b, static_cast<size_t>(n) * sizeof(T)) == 0;
}

}  // namespace

// Each element-wise kernel is bit-identical to its reference, at aligned and unaligned starts.
TEST(VectorKernels, RealBinaryKernelsMatchReferenceBitForBit) {
    for (int n : kLengths) {
        for (int offset : {0, 1}) {
            auto a = RandomFloats(n, 1 + n), b = RandomFloats(n, 2 + n);
            if (n > 0) b[static_cast<size_t>(offset)] = 0.0f;  // a zero divisor in range
            struct Case {
                const char* name;
                void (*opt)(const float*, float*, int);
                void (*ref)(const float*, float*, int);
            } cases[] = {{"Add", k::AddInPlace, k::ref::AddInPlace},
                         {"Sub", k::SubInPlace, k::ref::SubInPlace},
                         {"Mul", k::MulInPlace, k::ref::MulInPlace}};
            for (const auto& c : cases) {
                auto x = a, y = a;
                c.opt(b.data() + offset, x.data() + offset, n);
                c.ref(b.data() + offset, y.data() + offset, n);
                EXPECT_TRUE(BitsEqual(x.data(), y.data(), n + 1)) << c.name << " n=" << n;
            }
            auto x = a, y = a;
            const bool zx = k::DivInPlace(b.data() + offset, x.data() + offset, n);
            const bool zy = k::ref::DivInPlace(b.data() + offset, y.data() + offset, n);
            EXPECT_EQ(zx, zy);
            EXPECT_EQ(zx, n > 0);
            EXPECT_TRUE(BitsEqual(x.data(), y.data(), n + 1)) << "Div n=" << n;
        }
    }
}

TEST(VectorKernels, RealConstantKernelsMatchReference) {
    for (int n : kLengths) {
        auto a = RandomFloats(n, 10 + n);
        const float c = 3.3f;
        auto x = a, y = a;
        k::AddCInPlace(c, x.data(), n);
        k::ref::AddCInPlace(c, y.data(), n);
        EXPECT_TRUE(BitsEqual(x.data(), y.data(), n));
        k::SubCInPlace(c, x.data(), n);
        k::ref::SubCInPlace(c, y.data(), n);
        EXPECT_TRUE(BitsEqual(x.data(), y.data(), n));
        k::MulCInPlace(c, x.data(), n);
        k::ref::MulCInPlace(c, y.data(), n);
        EXPECT_TRUE(BitsEqual(x.data(), y.data(), n));
        EXPECT_TRUE(k::DivCInPlace(c, x.data(), n));
        EXPECT_TRUE(k::ref::DivCInPlace(c, y.data(), n));
        EXPECT_TRUE(BitsEqual(x.data(), y.data(), n));
        // Double-precision constant scaling (used by VecCplx64 *= double).
        auto d = RandomDoubles(n, 11 + n);
        auto dx = d, dy = d;
        k::MulCInPlace(0.7, dx.data(), n);
        k::ref::MulCInPlace(0.7, dy.data(), n);
        EXPECT_TRUE(BitsEqual(dx.data(), dy.data(), n));
    }
}

TEST(VectorKernels, DivisionByZeroConstantDividesNothing) {
    auto a = RandomFloats(33, 5);
    auto x = a;
    EXPECT_FALSE(k::DivCInPlace(0.0f, x.data(), 33));
    EXPECT_FALSE(k::DivCInPlace(-0.0f, x.data(), 33));
    EXPECT_TRUE(BitsEqual(x.data(), a.data(), 33));
    auto c = RandomCplx32(7, 6);
    auto cx = c;
    EXPECT_FALSE(k::DivCInPlace(Cplx32{0.0f, 0.0f}, cx.data(), 7));
    EXPECT_TRUE(BitsEqual(cx.data(), c.data(), 7));
    auto d = RandomCplx64(7, 6);
    auto dx = d;
    EXPECT_FALSE(k::DivCInPlace(Cplx64{0.0, 0.0}, dx.data(), 7));
    EXPECT_TRUE(BitsEqual(dx.data(), d.data(), 7));
    // One zero part is not a zero divisor.
    EXPECT_TRUE(k::DivCInPlace(Cplx32{0.0f, 2.0f}, cx.data(), 7));
}

TEST(VectorKernels, RealDivisionSpecialValuesFollowTheDividendSign) {
    float x[3] = {2.0f, -3.0f, 0.0f};
    const float d[3] = {0.0f, 0.0f, 0.0f};
    EXPECT_TRUE(k::DivInPlace(d, x, 3));
    EXPECT_EQ(x[0], std::numeric_limits<float>::infinity());
    EXPECT_EQ(x[1], -std::numeric_limits<float>::infinity());
    EXPECT_TRUE(std::isnan(x[2]));
}

TEST(VectorKernels, ComplexKernelsMatchReferenceBitForBit) {
    for (int n : kLengths) {
        for (int offset : {0, 1}) {
            auto a = RandomCplx32(n, 20 + n), b = RandomCplx32(n, 30 + n);
            if (n > 0) b[static_cast<size_t>(offset)] = Cplx32{0.0f, 0.0f};
            {
                auto x = a, y = a;
                k::MulInPlace(b.data() + offset, x.data() + offset, n);
                k::ref::MulInPlace(b.data() + offset, y.data() + offset, n);
                EXPECT_TRUE(BitsEqual(x.data(), y.data(), n + 1)) << "Mul n=" << n;
            }
            {
                std::vector<Cplx32> x(static_cast<size_t>(n) + 1), y(static_cast<size_t>(n) + 1);
                k::Mul(a.data() + offset, b.data(), x.data() + offset, n);
                k::ref::Mul(a.data() + offset, b.data(), y.data() + offset, n);
                EXPECT_TRUE(BitsEqual(x.data(), y.data(), n + 1)) << "Mul3 n=" << n;
            }
            {
                auto x = a, y = a;
                k::AddInPlace(b.data() + offset, x.data() + offset, n);
                k::ref::AddInPlace(b.data() + offset, y.data() + offset, n);
                EXPECT_TRUE(BitsEqual(x.data(), y.data(), n + 1));
                k::SubInPlace(b.data() + offset, x.data() + offset, n);
                k::ref::SubInPlace(b.data() + offset, y.data() + offset, n);
                EXPECT_TRUE(BitsEqual(x.data(), y.data(), n + 1));
            }
            {
                auto x = a, y = a;
                const bool zx = k::DivInPlace(b.data() + offset, x.data() + offset, n);
                const bool zy = k::ref::DivInPlace(b.data() + offset, y.data() + offset, n);
                EXPECT_EQ(zx, zy);
                EXPECT_EQ(zx, n > 0);
                // NaN bit patterns of 0/0 may differ in sign only; compare as values.
                for (int i = 0; i <= n; ++i) {
                    if (std::isnan(x[i].re)) {
                        EXPECT_TRUE(std::isnan(y[i].re));
                    } else {
                        EXPECT_EQ(x[i].re, y[i].re);
                    }
                    if (std::isnan(x[i].im)) {
                        EXPECT_TRUE(std::isnan(y[i].im));
                    } else {
                        EXPECT_EQ(x[i].im, y[i].im);
                    }
                }
            }
            {
                const Cplx32 c{1.25f, -0.75f};
                auto x = a, y = a;
                k::MulCInPlace(c, x.data(), n);
                k::ref::MulCInPlace(c, y.data(), n);
                EXPECT_TRUE(BitsEqual(x.data(), y.data(), n));
                k::AddCInPlace(c, x.data(), n);
                k::ref::AddCInPlace(c, y.data(), n);
                EXPECT_TRUE(BitsEqual(x.data(), y.data(), n));
                k::SubCInPlace(c, x.data(), n);
                k::ref::SubCInPlace(c, y.data(), n);
                EXPECT_TRUE(BitsEqual(x.data(), y.data(), n));
                EXPECT_TRUE(k::DivCInPlace(c, x.data(), n));
                EXPECT_TRUE(k::ref::DivCInPlace(c, y.data(), n));
                EXPECT_TRUE(BitsEqual(x.data(), y.data(), n));
            }
            {
                std::vector<float> x(static_cast<size_t>(n) + 1), y(static_cast<size_t>(n) + 1);
                k::MagSqr(a.data() + offset, x.data() + offset, n);
                k::ref::MagSqr(a.data() + offset, y.data() + offset, n);
                EXPECT_TRUE(BitsEqual(x.data(), y.data(), n + 1)) << "MagSqr n=" << n;
            }
        }
    }
}

TEST(VectorKernels, DoubleComplexKernelsMatchReference) {
    for (int n : kLengths) {
        auto a = RandomCplx64(n, 40 + n), b = RandomCplx64(n, 50 + n);
        auto x = a, y = a;
        k::MulInPlace(b.data(), x.data(), n);
        k::ref::MulInPlace(b.data(), y.data(), n);
        EXPECT_TRUE(BitsEqual(x.data(), y.data(), n));
        k::DivInPlace(b.data(), x.data(), n);
        k::ref::DivInPlace(b.data(), y.data(), n);
        EXPECT_TRUE(BitsEqual(x.data(), y.data(), n));
        k::AddInPlace(b.data(), x.data(), n);
        k::ref::AddInPlace(b.data(), y.data(), n);
        EXPECT_TRUE(BitsEqual(x.data(), y.data(), n));
        k::SubInPlace(b.data(), x.data(), n);
        k::ref::SubInPlace(b.data(), y.data(), n);
        EXPECT_TRUE(BitsEqual(x.data(), y.data(), n));
        k::MulCInPlace(Cplx64{0.5, 2.0}, x.data(), n);
        k::ref::MulCInPlace(Cplx64{0.5, 2.0}, y.data(), n);
        EXPECT_TRUE(BitsEqual(x.data(), y.data(), n));
        std::vector<double> m(static_cast<size_t>(n) + 1), r(static_cast<size_t>(n) + 1);
        k::MagSqr(a.data(), m.data(), n);
        k::ref::MagSqr(a.data(), r.data(), n);
        EXPECT_TRUE(BitsEqual(m.data(), r.data(), n));
        // Double-precision real kernels against the obvious loops.
        auto p = RandomDoubles(n, 60 + n), q = RandomDoubles(n, 61 + n);
        auto s = p;
        k::AddInPlace(q.data(), s.data(), n);
        for (int i = 0; i < n; ++i)
            EXPECT_EQ(s[i], p[i] + q[i]);
        s = p;
        k::MulInPlace(q.data(), s.data(), n);
        for (int i = 0; i < n; ++i)
            EXPECT_EQ(s[i], p[i] * q[i]);
        s = p;
        EXPECT_FALSE(k::DivInPlace(q.data(), s.data(), n));
        for (int i = 0; i < n; ++i)
            EXPECT_EQ(s[i], p[i] / q[i]);
    }
}

// The complex product against a long double evaluation: one rounding per product and sum means
// each part is within a couple of ulp of the exact value.
TEST(VectorKernels, ComplexProductAgainstLongDouble) {
    const int n = 4097;
    auto a = RandomCplx32(n, 70), b = RandomCplx32(n, 71);
    auto x = a;
    k::MulInPlace(b.data(), x.data(), n);
    for (int i = 0; i < n; ++i) {
        const long double re = static_cast<long double>(a[i].re) * b[i].re -
                               static_cast<long double>(a[i].im) * b[i].im;
        const long double im = static_cast<long double>(a[i].re) * b[i].im +
                               static_cast<long double>(a[i].im) * b[i].re;
        const long double scale = std::fabs(static_cast<long double>(a[i].re) * b[i].re) +
                                  std::fabs(static_cast<long double>(a[i].im) * b[i].im) +
                                  std::fabs(static_cast<long double>(a[i].re) * b[i].im) +
                                  std::fabs(static_cast<long double>(a[i].im) * b[i].re);
        EXPECT_LE(std::fabs(x[i].re - re), scale * 2 * FLT_EPSILON);
        EXPECT_LE(std::fabs(x[i].im - im), scale * 2 * FLT_EPSILON);
    }
}

TEST(VectorKernels, ConvertSaturatesAndMatchesReference) {
    for (int n : kLengths) {
        auto d = RandomDoubles(n, 80 + n);
        for (int i = 0; i < n; i += 3)
            d[static_cast<size_t>(i)] *= 1e37;  // some beyond FLT_MAX
        std::vector<float> x(static_cast<size_t>(n) + 1), y(static_cast<size_t>(n) + 1);
        k::Convert(d.data(), x.data(), n);
        k::ref::Convert(d.data(), y.data(), n);
        EXPECT_TRUE(BitsEqual(x.data(), y.data(), n));
    }
    const double inf = std::numeric_limits<double>::infinity();
    const double special[7] = {inf, -inf, std::nan(""), 1e39, -1e39, 1e-50, 0.1};
    float out[7];
    k::Convert(special, out, 7);
    EXPECT_EQ(out[0], FLT_MAX);
    EXPECT_EQ(out[1], -FLT_MAX);
    EXPECT_TRUE(std::isnan(out[2]));
    EXPECT_EQ(out[3], FLT_MAX);
    EXPECT_EQ(out[4], -FLT_MAX);
    EXPECT_EQ(out[5], 0.0f);
    EXPECT_EQ(out[6], 0.1f);
    const float f[2] = {0.1f, -3.5f};
    double w[2];
    k::Convert(f, w, 2);
    EXPECT_EQ(w[0], static_cast<double>(0.1f));
    EXPECT_EQ(w[1], -3.5);
}

TEST(VectorKernels, PackingAndSplitting) {
    for (int n : kLengths) {
        auto re = RandomFloats(n, 90 + n), im = RandomFloats(n, 91 + n);
        std::vector<Cplx32> x(static_cast<size_t>(n) + 1), y(static_cast<size_t>(n) + 1);
        k::RealToCplx(re.data(), im.data(), x.data(), n);
        k::ref::RealToCplx(re.data(), im.data(), y.data(), n);
        EXPECT_TRUE(BitsEqual(x.data(), y.data(), n));
        k::RealToCplx(re.data(), static_cast<const float*>(nullptr), x.data(), n);
        for (int i = 0; i < n; ++i)
            EXPECT_EQ(x[i].im, 0.0f);
        k::RealToCplx(re.data(), im.data(), x.data(), n);
        std::vector<float> r1(static_cast<size_t>(n) + 1), i1(static_cast<size_t>(n) + 1),
            r2(static_cast<size_t>(n) + 1), i2(static_cast<size_t>(n) + 1);
        k::CplxToReal(x.data(), r1.data(), i1.data(), n);
        k::ref::CplxToReal(x.data(), r2.data(), i2.data(), n);
        EXPECT_TRUE(BitsEqual(r1.data(), r2.data(), n));
        EXPECT_TRUE(BitsEqual(i1.data(), i2.data(), n));
        EXPECT_TRUE(BitsEqual(r1.data(), re.data(), n));
        EXPECT_TRUE(BitsEqual(i1.data(), im.data(), n));
    }
}

// Sums and standard deviations against the serial references (same double accumulation, other
// order) and against a long double evaluation.
TEST(VectorKernels, StatisticsAgainstReferences) {
    for (int n : kLengths) {
        auto x = RandomFloats(n, 100 + n, -1000.0f, 1000.0f);
        long double exact = 0, absSum = 0;
        for (int i = 0; i < n; ++i) {
            exact += x[i];
            absSum += std::fabs(x[i]);
        }
        const double s = k::Sum(x.data(), n);
        EXPECT_NEAR(s, k::ref::Sum(x.data(), n), 1e-12 * static_cast<double>(absSum) + 1e-300);
        EXPECT_NEAR(s, static_cast<double>(exact), 1e-13 * static_cast<double>(absSum) + 1e-300);
        const double sd = k::StdDev(x.data(), n);
        if (n < 2) {
            EXPECT_EQ(sd, 0.0);
        } else {
            const long double mean = exact / n;
            long double ss = 0;
            for (int i = 0; i < n; ++i)
                ss += (x[i] - mean) * (x[i] - mean);
            const double want = std::sqrt(static_cast<double>(ss / (n - 1)));
            EXPECT_NEAR(sd, want, 1e-12 * want);
            EXPECT_NEAR(sd, k::ref::StdDev(x.data(), n), 1e-12 * want);
        }
        auto c = RandomCplx32(n, 110 + n);
        long double re = 0, im = 0;
        for (int i = 0; i < n; ++i) {
            re += c[i].re;
            im += c[i].im;
        }
        const Cplx64 cs = k::Sum(c.data(), n);
        EXPECT_NEAR(cs.re, static_cast<double>(re), 1e-9);
        EXPECT_NEAR(cs.im, static_cast<double>(im), 1e-9);
        auto d = RandomDoubles(n, 120 + n);
        long double ds = 0;
        for (int i = 0; i < n; ++i)
            ds += d[i];
        EXPECT_NEAR(k::Sum(d.data(), n), static_cast<double>(ds), 1e-9);
    }
}

// Accumulating in double keeps what a float running sum loses: 2^24 + 1 + 1 + ... .
TEST(VectorKernels, SumAccumulatesInDouble) {
    std::vector<float> x(1001, 1.0f);
    x[0] = 16777216.0f;
    EXPECT_EQ(k::Sum(x.data(), 1001), 16777216.0 + 1000.0);
}

TEST(VectorKernels, ExtremesTakeTheFirstOnTies) {
    for (int n : kLengths) {
        auto x = RandomFloats(n, 130 + n);
        EXPECT_EQ(k::MaxIndex(x.data(), n), k::ref::MaxIndex(x.data(), n));
        EXPECT_EQ(k::MinIndex(x.data(), n), k::ref::MinIndex(x.data(), n));
        auto c = RandomCplx32(n, 140 + n);
        EXPECT_EQ(k::MaxMagIndex(c.data(), n), k::ref::MaxMagIndex(c.data(), n));
        EXPECT_EQ(k::MinMagIndex(c.data(), n), k::ref::MinMagIndex(c.data(), n));
    }
    const float t[6] = {1, 5, 2, 5, -3, -3};
    EXPECT_EQ(k::MaxIndex(t, 6), 1);
    EXPECT_EQ(k::MinIndex(t, 6), 4);
    const double td[4] = {-1, -1, 7, 7};
    EXPECT_EQ(k::MaxIndex(td, 4), 2);
    EXPECT_EQ(k::MinIndex(td, 4), 0);
    EXPECT_EQ(k::MaxIndex(t, 0), -1);
    EXPECT_EQ(k::MinIndex(t, 0), -1);
    const Cplx32 z[4] = {{0, 0}, {3, 4}, {4, 3}, {0, -5}};
    EXPECT_EQ(k::MaxMagIndex(z, 4), 1);
    EXPECT_EQ(k::MinMagIndex(z, 4), 0);
    const Cplx32 zeros[3] = {{0, 0}, {0, 0}, {0, 0}};
    EXPECT_EQ(k::MaxMagIndex(zeros, 3), 0);
    const Cplx64 w[3] = {{1, 1}, {-1, 1}, {0.5, 0}};
    EXPECT_EQ(k::MaxMagIndex(w, 3), 0);
    EXPECT_EQ(k::MinMagIndex(w, 3), 2);
    EXPECT_EQ(k::MaxMagIndex(w, 0), -1);
}

TEST(VectorKernels, CopySetZero) {
    float buf[8] = {1, 2, 3, 4, 5, 6, 7, 8};
    k::Copy(buf + 2, buf, 5);  // overlapping move
    const float want[8] = {3, 4, 5, 6, 7, 6, 7, 8};
    EXPECT_TRUE(BitsEqual(buf, want, 8));
    k::Set(Cplx32{1.0f, -1.0f}, reinterpret_cast<Cplx32*>(buf), 2);
    EXPECT_EQ(buf[0], 1.0f);
    EXPECT_EQ(buf[3], -1.0f);
    k::Zero(buf, 8);
    for (float v : buf)
        EXPECT_EQ(v, 0.0f);
    k::Copy(buf, buf, 0);
    k::Zero(buf, 0);
}
