// ChirpZ: against direct evaluation of its defining sum, the documented edge cases, the
// narrowed output view, failures, copies and allocation-free Apply.
#include "kernels/Allocator.h"
#include "kernels/ChirpZAccess.h"
#include "kernels/FftPlan.h"
#include "support/AllocCounter.h"
#include "support/ReferenceDft.h"

#include <ombrel/dsp/ChirpZ.h>
#include <ombrel/dsp/FFT.h>
#include <ombrel/infra/UnitTestRecorder.h>
#include <ombrel/math/KivoException.h>
#include <ombrel/math/Vector.h>

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <functional>
#include <memory>
#include <vector>

namespace {

using namespace Kivo;
using ombrel_test::CLD;

int CodeOf(const std::function<void()>& f) {
    try {
        f();
    } catch (const KivoException& e) {
        return e.code;
    }
    return 0;
}

struct Config {
    int n;
    double fs;
    int m;
    double f0;
    double df;
};

// X[k] = sum_n x[n] e^(-j (w0 n + dw n k)), straight from the definition, in long double with
// the same single-precision 2 pi; the phase is reduced before the sine and cosine.
OMBREL_TEST_OPTIMIZE std::vector<CLD> Direct(const Config& c, const std::vector<CLD>& x) {
    const long double twoPi = 6.2831855f;
    const long double w0 = twoPi * c.f0 / c.fs, dw = twoPi * c.df / c.fs;
    const long double exactTwoPi = 6.283185307179586476925286766559L;
    std::vector<CLD> out(c.m);
    for (int k = 0; k < c.m; ++k) {
        long double re = 0, im = 0;
        for (int n = 0; n < c.n; ++n) {
            long double ph = w0 * n + dw * static_cast<long double>(n) * k;
            ph -= exactTwoPi * std::nearbyint(ph / exactTwoPi);
            const long double cr = std::cos(ph), ci = -std::sin(ph);
            re += x[n].real() * cr - x[n].imag() * ci;
            im += x[n].real() * ci + x[n].imag() * cr;
        }
        out[k] = CLD(re, im);
    }
    return out;
}

template <typename V, typename E>
V Input(int n, unsigned seed, std::vector<CLD>& exact) {
    const std::vector<float> v = ombrel_test::RandomFloats(2 * n, seed);
    V x(n);
    exact.resize(n);
    for (int i = 0; i < n; ++i) {
        x[i] = E{v[2 * i], v[2 * i + 1]};
        exact[i] = CLD(v[2 * i], v[2 * i + 1]);
    }
    return x;
}

template <typename V>
double Err(const std::vector<CLD>& ref, const V& y) {
    return ombrel_test::RelativeRms(ref, [&](std::size_t i) {
        return CLD(y[static_cast<int>(i)].re, y[static_cast<int>(i)].im);
    });
}

const Config kConfigs[] = {
    {64, 1.0, 64, 0.0, 1.0 / 64},             // the plain DFT
    {4096, 1.0e6, 1001, -2.0e5, 400.0},       // a zoom across the band centre
    {1000, 48000.0, 257, 1000.0, 3.3},        // narrow zoom, non-power-of-two N
    {5, 1.0, 4, 0.0, 0.1},                    // L = 8, K = 9
    {1, 10.0, 1, 2.0, 1.0},                   // smallest
    {3, 1.0, 1000, -0.5, 0.001},              // more outputs than inputs
    {777, 2.5e6, 5, 1.2e6, 17.0},             // near the top of the band
    {2048, 1.0, 2048, 0.25, 1.0 / 2048 / 3},  // fine steps
};

// Bluestein carries the rounding of the chirp tables and of two L-point FFTs. Measured
// relative RMS errors over the configurations above: 1.1e-7 ... 2.6e-7 in single and
// 1.8e-16 ... 6.1e-16 in double precision; the bounds leave a factor of 2.8 or more.
double Tolerance(bool isDouble, int l) {
    return (isDouble ? 2e-16 : 1e-7) * ombrel_test::Log2Factor(l);
}

TEST(ChirpZ, MatchesDirectEvaluationSingle) {
    for (const Config& c : kConfigs) {
        ChirpZ cz(c.n, c.fs, c.m, c.f0, c.df, false);
        std::vector<CLD> x;
        VecCplx32 in = Input<VecCplx32, Cplx32>(c.n, 10 + c.n, x), out;
        cz.Apply(out, in);
        ASSERT_EQ(out.GetSize(), c.m);
        const double err = Err(Direct(c, x), out);
        EXPECT_LE(err, Tolerance(false, kernels::ChirpZAccess::L(cz))) << c.n << " " << c.m;
    }
}

TEST(ChirpZ, MatchesDirectEvaluationDouble) {
    for (const Config& c : kConfigs) {
        ChirpZ cz(c.n, c.fs, c.m, c.f0, c.df, true);
        std::vector<CLD> x;
        VecCplx64 in = Input<VecCplx64, Cplx64>(c.n, 20 + c.n, x), out;
        cz.Apply(out, in);
        ASSERT_EQ(out.GetSize(), c.m);
        const double err = Err(Direct(c, x), out);
        EXPECT_LE(err, Tolerance(true, kernels::ChirpZAccess::L(cz))) << c.n << " " << c.m;
    }
}

TEST(ChirpZ, FullGridEqualsTheForwardDft) {
    for (int n : {7, 16, 64}) {
        const double fs = 3.0e4;
        ChirpZ cz(n, fs, n, 0.0, fs / n, true);
        std::vector<CLD> x;
        VecCplx64 in = Input<VecCplx64, Cplx64>(n, 30 + n, x), out, dft;
        cz.Apply(out, in);
        FT ft;
        ft.Forward(dft, in);
        ASSERT_EQ(out.GetSize(), n);
        // The grid is built with 2 pi = 6.2831855f, 2.8e-8 relative above the exact value, so
        // term n of bin k is rotated by up to 2 pi 2.8e-8 n k / N < 2 pi 2.8e-8 N rad.
        const double drift = 6.283185307179586 * 2.8e-8 * n;
        double sumAbs = 0;
        for (const CLD& v : x)
            sumAbs += static_cast<double>(std::abs(v));
        EXPECT_LE(Err(ombrel_test::Reference(x, -1), out), drift) << n;
        for (int k = 0; k < n; ++k) {
            EXPECT_NEAR(out[k].re, dft[k].re, drift * sumAbs) << n << " " << k;
            EXPECT_NEAR(out[k].im, dft[k].im, drift * sumAbs) << n << " " << k;
        }
    }
}

TEST(ChirpZ, ImpulseGivesMOnes) {
    for (bool isDouble : {false, true}) {
        ChirpZ cz(50, 1.0e3, 13, -321.0, 17.25, isDouble);
        if (isDouble) {
            VecCplx64 x(50), y;
            x.SetZero();
            x[0] = Cplx64{1, 0};
            cz.Apply(y, x);
            ASSERT_EQ(y.GetSize(), 13);
            for (int k = 0; k < 13; ++k) {
                EXPECT_NEAR(y[k].re, 1.0, 1e-14);
                EXPECT_NEAR(y[k].im, 0.0, 1e-14);
            }
        } else {
            VecCplx32 x(50), y;
            x.SetZero();
            x[0] = Cplx32{1, 0};
            cz.Apply(y, x);
            ASSERT_EQ(y.GetSize(), 13);
            for (int k = 0; k < 13; ++k) {
                EXPECT_NEAR(y[k].re, 1.0f, 1e-6);
                EXPECT_NEAR(y[k].im, 0.0f, 1e-6);
            }
        }
    }
}

TEST(ChirpZ, ToneAtThirdStepPeaksThere) {
    const int n = 500, m = 11;
    const double fs = 1.0e6, f0 = -1.5e4, df = 500.0;
    ChirpZ cz(n, fs, m, f0, df, false);
    VecCplx32 x(n), y;
    const double w = static_cast<double>(6.2831855f) * (f0 + 3 * df) / fs;
    for (int i = 0; i < n; ++i)
        x[i] = Cplx32{static_cast<float>(std::cos(w * i)), static_cast<float>(std::sin(w * i))};
    cz.Apply(y, x);
    ASSERT_EQ(y.GetSize(), m);
    int best = 0;
    for (int k = 1; k < m; ++k)
        if (std::hypot(y[k].re, y[k].im) > std::hypot(y[best].re, y[best].im)) best = k;
    EXPECT_EQ(best, 3);
    EXPECT_NEAR(std::hypot(y[3].re, y[3].im), n, 1e-3 * n);
}

TEST(ChirpZ, SizesOfTheTables) {
    ChirpZ small(5, 1.0, 4, 0.0, 0.1, false);
    EXPECT_EQ(kernels::ChirpZAccess::L(small), 8);
    EXPECT_EQ(kernels::ChirpZAccess::K(small), 9);
    ChirpZ wide(3, 1.0, 1000, 0.0, 0.1, true);
    EXPECT_EQ(kernels::ChirpZAccess::L(wide), 1024);
    EXPECT_EQ(kernels::ChirpZAccess::K(wide), 1002);
    ChirpZ exact(4096, 1.0, 1, 0.0, 0.1, false);
    EXPECT_EQ(kernels::ChirpZAccess::L(exact), 4096);
    EXPECT_EQ(kernels::ChirpZAccess::K(exact), 8191);
}

TEST(ChirpZ, OutputIsNarrowedInPlace) {
    const int n = 100, m = 30;
    ChirpZ cz(n, 1.0, m, 0.1, 0.001, false);
    const int l = kernels::ChirpZAccess::L(cz);
    VecCplx32 x(n), y;
    x.SetZero();
    cz.Apply(y, x);
    EXPECT_EQ(y.GetSize(), m);
    EXPECT_EQ(y.GetCapacity(), l);
    // The view starts N - 1 elements into the buffer: resizing to the capacity shows it.
    const Cplx32* view = &y[0];
    y.Resize(l);
    EXPECT_EQ(view, &y[0] + (n - 1));
    // A reused output vector gives the same result.
    std::vector<CLD> ex;
    VecCplx32 in = Input<VecCplx32, Cplx32>(n, 5, ex), a, b;
    cz.Apply(a, in);
    cz.Apply(b, in);
    cz.Apply(b, in);
    ASSERT_EQ(b.GetSize(), m);
    EXPECT_EQ(std::memcmp(&a[0], &b[0], m * sizeof(Cplx32)), 0);
}

TEST(ChirpZ, ApplyAllocatesNothingOnceTheOutputHasRoom) {
    for (bool isDouble : {false, true}) {
        const int n = 4096, m = 1001;
        const long long plans = kernels::FftPlansCreated();
        ChirpZ cz(n, 1.0e6, m, -2.0e5, 400.0, isDouble);
        const int l = kernels::ChirpZAccess::L(cz);
        VecCplx32 in32(n), out32(l);
        VecCplx64 in64(n), out64(l);
        in32.SetZero();
        in64.SetZero();
        const long long aligned = kernels::AllocationCount();
        const long long news = ombrel_test::NewCount();
        const long long plansAfterBuild = kernels::FftPlansCreated();
        for (int i = 0; i < 3; ++i) {
            if (isDouble)
                cz.Apply(out64, in64);
            else
                cz.Apply(out32, in32);
        }
        EXPECT_EQ(kernels::AllocationCount(), aligned);
        EXPECT_EQ(ombrel_test::NewCount(), news);
        EXPECT_EQ(kernels::FftPlansCreated(), plansAfterBuild);  // both plans made at build
        EXPECT_GE(plansAfterBuild, plans);
    }
}

TEST(ChirpZ, WrongInputLengthOrPrecisionIsRefused) {
    ChirpZ single(16, 1.0, 8, 0.0, 0.01, false);
    ChirpZ dbl(16, 1.0, 8, 0.0, 0.01, true);
    VecCplx32 x15(15), x16(16), y(3);
    VecCplx64 d16(16), d17(17), dy(3);
    x15.SetZero();
    x16.SetZero();
    d16.SetZero();
    d17.SetZero();
    EXPECT_EQ(CodeOf([&] { single.Apply(y, x15); }), KIVO_INVALID_INPUT_PARAMETER);
    EXPECT_EQ(CodeOf([&] { single.Apply(dy, d16); }), KIVO_INVALID_INPUT_PARAMETER);
    EXPECT_EQ(CodeOf([&] { dbl.Apply(dy, d17); }), KIVO_INVALID_INPUT_PARAMETER);
    EXPECT_EQ(CodeOf([&] { dbl.Apply(y, x16); }), KIVO_INVALID_INPUT_PARAMETER);
    EXPECT_EQ(y.GetSize(), 3);
    EXPECT_EQ(dy.GetSize(), 3);
    EXPECT_EQ(CodeOf([&] { single.Apply(y, x16); }), 0);
    EXPECT_EQ(CodeOf([&] { dbl.Apply(dy, d16); }), 0);
}

TEST(ChirpZ, InvalidParametersThrow8005) {
    const double inf = INFINITY, nan = NAN;
    auto code = [](int n, double fs, int m, double f0, double df) {
        return CodeOf([&] { ChirpZ cz(n, fs, m, f0, df, false); });
    };
    EXPECT_EQ(code(0, 1, 4, 0, 0.1), KIVO_INVALID_INPUT_PARAMETER);
    EXPECT_EQ(code(-5, 1, 4, 0, 0.1), KIVO_INVALID_INPUT_PARAMETER);
    EXPECT_EQ(code(5, 1, 0, 0, 0.1), KIVO_INVALID_INPUT_PARAMETER);
    EXPECT_EQ(code(5, 0, 4, 0, 0.1), KIVO_INVALID_INPUT_PARAMETER);
    EXPECT_EQ(code(5, -1, 4, 0, 0.1), KIVO_INVALID_INPUT_PARAMETER);
    EXPECT_EQ(code(5, nan, 4, 0, 0.1), KIVO_INVALID_INPUT_PARAMETER);
    EXPECT_EQ(code(5, inf, 4, 0, 0.1), KIVO_INVALID_INPUT_PARAMETER);
    EXPECT_EQ(code(5, 1, 4, nan, 0.1), KIVO_INVALID_INPUT_PARAMETER);
    EXPECT_EQ(code(5, 1, 4, 0, inf), KIVO_INVALID_INPUT_PARAMETER);
    EXPECT_EQ(code(1 << 29, 1, (1 << 29) + 2, 0, 0.1), KIVO_INVALID_INPUT_PARAMETER);
    // A zero or negative step is a valid (degenerate or reversed) grid.
    EXPECT_EQ(code(5, 1, 4, 0, 0), 0);
    EXPECT_EQ(code(5, 1, 4, 0.3, -0.1), 0);
}

TEST(ChirpZ, CopiesComputeTheSameAndOutliveTheOriginal) {
    const int n = 300, m = 77;
    std::vector<CLD> ex;
    VecCplx32 in = Input<VecCplx32, Cplx32>(n, 9, ex), a, b, c;
    auto original = std::make_unique<ChirpZ>(n, 1.0, m, 0.2, 0.0005, false);
    original->Apply(a, in);
    ChirpZ copy(*original);
    ChirpZ assigned(5, 1.0, 4, 0.0, 0.1, true);
    assigned = *original;
    assigned = assigned;
    original.reset();
    copy.Apply(b, in);
    assigned.Apply(c, in);
    ASSERT_EQ(b.GetSize(), m);
    ASSERT_EQ(c.GetSize(), m);
    EXPECT_EQ(std::memcmp(&a[0], &b[0], m * sizeof(Cplx32)), 0);
    EXPECT_EQ(std::memcmp(&a[0], &c[0], m * sizeof(Cplx32)), 0);
}

TEST(SelfTests, ChirpZPasses) {
    UnitTestRecorder r;
    EXPECT_TRUE(ChirpZ::UnitTest(r));
}

}  // namespace
