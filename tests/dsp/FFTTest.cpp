// FFT, DFT and FT: accuracy against a long-double DFT, normalisation, real spectra, the plan
// cache, copies, views and aliasing, failures, allocation-free reuse and wisdom files.
#include "kernels/Allocator.h"
#include "kernels/FftAccess.h"
#include "kernels/FftPlan.h"
#include "support/AllocCounter.h"
#include "support/ReferenceDft.h"
#include "support/TestUtil.h"

#include <ombrel/dsp/FFT.h>
#include <ombrel/infra/UnitTestRecorder.h>
#include <ombrel/math/KivoException.h>
#include <ombrel/math/Vector.h>

#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

namespace {

using namespace Kivo;
using ombrel_test::CLD;

using ombrel_test::CodeOf;

template <typename Real>
double Tolerance(int n) {
    return (std::is_same_v<Real, float> ? 1e-6 : 1e-14) * ombrel_test::Log2Factor(n);
}

// Vector types by precision.
template <typename Real>
struct Vecs;
template <>
struct Vecs<float> {
    using C = VecCplx32;
    using R = VecReal32;
    using E = Cplx32;
};
template <>
struct Vecs<double> {
    using C = VecCplx64;
    using R = VecReal64;
    using E = Cplx64;
};

template <typename Real>
typename Vecs<Real>::C ComplexInput(int n, unsigned seed, std::vector<CLD>& exact) {
    const std::vector<float> v = ombrel_test::RandomFloats(2 * n, seed);
    typename Vecs<Real>::C x(n);
    exact.resize(n);
    for (int i = 0; i < n; ++i) {
        x[i] = typename Vecs<Real>::E{v[2 * i], v[2 * i + 1]};
        exact[i] = CLD(v[2 * i], v[2 * i + 1]);
    }
    return x;
}

template <typename V>
double ErrC(const std::vector<CLD>& ref, const V& y, long double scale = 1) {
    std::vector<CLD> scaled(ref.size());
    for (std::size_t i = 0; i < ref.size(); ++i)
        scaled[i] = ref[i] * scale;
    return ombrel_test::RelativeRms(scaled, [&](std::size_t i) {
        return CLD(y[static_cast<int>(i)].re, y[static_cast<int>(i)].im);
    });
}

// All four transforms of FT at length n with the default flag, against the reference.
template <typename Real>
void CheckFtAccuracy(FT& ft, int n) {
    using VC = typename Vecs<Real>::C;
    using VR = typename Vecs<Real>::R;
    const double tol = Tolerance<Real>(n);
    {
        std::vector<CLD> x;
        VC in = ComplexInput<Real>(n, 11 + n, x);
        VC out;
        ft.Forward(out, in);
        ASSERT_EQ(out.GetSize(), n);
        EXPECT_LE(ErrC(ombrel_test::Reference(x, -1), out), tol) << "complex forward n=" << n;
        ft.Inverse(out, in);
        ASSERT_EQ(out.GetSize(), n);
        EXPECT_LE(ErrC(ombrel_test::Reference(x, +1), out, 1.0L / n), tol)
            << "complex inverse n=" << n;
    }
    {
        const std::vector<float> v = ombrel_test::RandomFloats(n, 22 + n);
        VR in(n);
        std::vector<CLD> x(n);
        for (int i = 0; i < n; ++i) {
            in[i] = v[i];
            x[i] = CLD(v[i], 0);
        }
        VC out;
        ft.Forward(out, in);
        ASSERT_EQ(out.GetSize(), n);
        EXPECT_LE(ErrC(ombrel_test::Reference(x, -1), out), tol) << "real forward n=" << n;
    }
    {
        // A Hermitian spectrum in bins 0 ... N/2; the upper bins hold unrelated values, which
        // the real inverse must ignore.
        const std::vector<float> v = ombrel_test::RandomFloats(2 * n, 33 + n);
        VC in(n);
        std::vector<CLD> spectrum(n);
        for (int k = 0; k <= n / 2; ++k) {
            const float im = (k == 0 || 2 * k == n) ? 0.0f : v[2 * k + 1];
            in[k] = typename Vecs<Real>::E{v[2 * k], im};
            spectrum[k] = CLD(v[2 * k], im);
            if (k > 0) spectrum[n - k] = CLD(v[2 * k], -im);
        }
        for (int k = n / 2 + 1; k < n; ++k)
            in[k] = typename Vecs<Real>::E{7.0f, -3.0f};
        VR out;
        ft.Inverse(out, in);
        ASSERT_EQ(out.GetSize(), n);
        const auto& ref = ombrel_test::Reference(spectrum, +1);
        std::vector<CLD> scaled(n);
        for (int i = 0; i < n; ++i)
            scaled[i] = CLD(ref[i].real() / n, 0);
        EXPECT_LE(ombrel_test::RelativeRms(
                      scaled, [&](std::size_t i) { return CLD(out[static_cast<int>(i)], 0); }),
                  tol)
            << "real inverse n=" << n;
    }
}

TEST(FT, MatchesLongDoubleDftForEveryLengthUpTo64) {
    FT ft;
    for (int n = 1; n <= 64; ++n) {
        CheckFtAccuracy<float>(ft, n);
        CheckFtAccuracy<double>(ft, n);
    }
}

TEST(FT, MatchesLongDoubleDftForLongLengths) {
    FT ft;
    for (int n : {1000, 1024, 4096, 12289, 65536}) {
        CheckFtAccuracy<float>(ft, n);
        CheckFtAccuracy<double>(ft, n);
    }
}

// Forward then inverse with the default flag returns the input, at lengths of every kind.
template <typename Real>
void CheckRoundTrip(int n) {
    using VC = typename Vecs<Real>::C;
    using VR = typename Vecs<Real>::R;
    const double tol = std::is_same_v<Real, float> ? 2e-6 * ombrel_test::Log2Factor(n)
                                                   : 4e-15 * ombrel_test::Log2Factor(n);
    FT ft;
    std::vector<CLD> x;
    VC in = ComplexInput<Real>(n, 44 + n, x), spectrum, back;
    ft.Forward(spectrum, in);
    ft.Inverse(back, spectrum);
    EXPECT_LE(ErrC(x, back), tol) << "complex n=" << n;
    VR r(n), rback;
    std::vector<CLD> rx(n);
    for (int i = 0; i < n; ++i) {
        r[i] = static_cast<Real>(x[i].real());
        rx[i] = CLD(x[i].real(), 0);
    }
    ft.Forward(spectrum, r);
    ft.Inverse(rback, spectrum);
    EXPECT_LE(ombrel_test::RelativeRms(
                  rx, [&](std::size_t i) { return CLD(rback[static_cast<int>(i)], 0); }),
              tol)
        << "real n=" << n;
}

TEST(FT, ForwardThenInverseReproducesTheInput) {
    for (int n :
         {1, 2, 3, 5, 7, 8, 11, 13, 16, 17, 31, 32, 60, 64, 97, 100, 127, 243, 1000, 1024, 4096}) {
        CheckRoundTrip<float>(n);
        CheckRoundTrip<double>(n);
    }
}

TEST(FT, NormalisationFlagsScaleExactlyAsDocumented) {
    const int n = 48;
    std::vector<CLD> x;
    VecCplx64 in = ComplexInput<double>(n, 5, x);
    const auto& fwd = ombrel_test::Reference(x, -1);
    const auto& inv = ombrel_test::Reference(x, +1);
    struct Case {
        int flag;
        long double sF, sI;
    };
    const long double N = n, r = 1 / std::sqrt(N);
    for (const Case& c : {Case{1, 1 / N, 1}, Case{2, 1, 1 / N}, Case{4, r, r}, Case{8, 1, 1}}) {
        FT ft(c.flag, KIVO_ALG_HINT_NONE);
        VecCplx64 out;
        ft.Forward(out, in);
        EXPECT_LE(ErrC(fwd, out, c.sF), 1e-14 * ombrel_test::Log2Factor(n)) << c.flag;
        ft.Inverse(out, in);
        EXPECT_LE(ErrC(inv, out, c.sI), 1e-14 * ombrel_test::Log2Factor(n)) << c.flag;
        // Real transforms follow the same flag.
        VecReal64 re(n), rback;
        std::vector<CLD> rx(n);
        for (int i = 0; i < n; ++i) {
            re[i] = static_cast<double>(x[i].real());
            rx[i] = CLD(x[i].real(), 0);
        }
        VecCplx64 spectrum;
        ft.Forward(spectrum, re);
        EXPECT_LE(ErrC(ombrel_test::Reference(rx, -1), spectrum, c.sF), 1e-14 * 6) << c.flag;
        ft.Inverse(rback, spectrum);
        // Inverse(Forward(x)) = sF * sI * N * x.
        const long double g = c.sF * c.sI * N;
        for (int i = 0; i < n; ++i)
            EXPECT_NEAR(rback[i], static_cast<double>(g * rx[i].real()), 1e-13) << c.flag;
    }
}

TEST(FT, RealForwardGivesConjugateSymmetricSpectrum) {
    FT ft;
    for (int n : {1, 2, 9, 16, 33, 1000, 1025}) {
        VecReal32 in(n);
        const std::vector<float> v = ombrel_test::RandomFloats(n, 66 + n);
        for (int i = 0; i < n; ++i)
            in[i] = v[i];
        VecCplx32 out;
        ft.Forward(out, in);
        ASSERT_EQ(out.GetSize(), n);
        EXPECT_EQ(out[0].im, 0.0f);
        if (n % 2 == 0) {
            EXPECT_EQ(out[n / 2].im, 0.0f);
        }
        for (int k = 1; k < n; ++k) {
            EXPECT_EQ(out[n - k].re, out[k].re) << n << " " << k;
            EXPECT_EQ(out[n - k].im, -out[k].im) << n << " " << k;
        }
    }
}

TEST(FT, RealInverseIgnoresBinsAboveHalfAndImaginaryPartsOfDcAndNyquist) {
    FT ft;
    for (int n : {8, 9}) {
        VecCplx32 a(n), b(n);
        const std::vector<float> v = ombrel_test::RandomFloats(4 * n, 77 + n);
        for (int k = 0; k < n; ++k) {
            a[k] = Cplx32{v[2 * k], v[2 * k + 1]};
            b[k] = Cplx32{v[2 * n + 2 * k], v[2 * n + 2 * k + 1]};  // unrelated everywhere
        }
        for (int k = 0; k <= n / 2; ++k)
            b[k] = a[k];
        b[0].im = 123.0f;
        a[0].im = 0.0f;
        if (n % 2 == 0) {
            b[n / 2].im = -55.0f;
            a[n / 2].im = 0.0f;
        }
        VecReal32 ra, rb;
        ft.Inverse(ra, a);
        ft.Inverse(rb, b);
        ASSERT_EQ(rb.GetSize(), n);
        for (int i = 0; i < n; ++i)
            EXPECT_EQ(ra[i], rb[i]) << n << " " << i;
    }
}

TEST(FT, CacheKeepsOneEntryPerLengthAndKind) {
    FT ft;
    VecCplx32 x8(8), x12(12), y;
    x8.SetZero();
    x12.SetZero();
    ft.Forward(y, x8);
    ft.Forward(y, x12);
    const long long plansBefore = kernels::FftPlansCreated();
    ft.Forward(y, x8);
    EXPECT_EQ(kernels::FftPlansCreated(), plansBefore);
    EXPECT_EQ(kernels::FTAccess::CacheEntries(ft), 2);
    FTType kind{};
    int length = 0;
    // Newest first, and the third call did not reorder.
    ASSERT_TRUE(kernels::FTAccess::Entry(ft, 0, kind, length));
    EXPECT_EQ(length, 12);
    EXPECT_EQ(kind, FT_TYPE_C_32FC);
    ASSERT_TRUE(kernels::FTAccess::Entry(ft, 1, kind, length));
    EXPECT_EQ(length, 8);
    EXPECT_FALSE(kernels::FTAccess::Entry(ft, 2, kind, length));
    // Another kind at a known length is a new entry; the inverse shares the forward's entry.
    ft.Inverse(y, x8);
    EXPECT_EQ(kernels::FTAccess::CacheEntries(ft), 2);
    VecReal32 r8(8);
    r8.SetZero();
    ft.Forward(y, r8);
    EXPECT_EQ(kernels::FTAccess::CacheEntries(ft), 3);
    ASSERT_TRUE(kernels::FTAccess::Entry(ft, 0, kind, length));
    EXPECT_EQ(kind, FT_TYPE_R_32F);
    VecCplx64 d8(8), dy;
    d8.SetZero();
    ft.Forward(dy, d8);
    ASSERT_TRUE(kernels::FTAccess::Entry(ft, 0, kind, length));
    EXPECT_EQ(kind, FT_TYPE_C_64FC);
    VecReal64 rd8(8);
    rd8.SetZero();
    ft.Forward(dy, rd8);
    ASSERT_TRUE(kernels::FTAccess::Entry(ft, 0, kind, length));
    EXPECT_EQ(kind, FT_TYPE_R_64F);
    EXPECT_EQ(kernels::FTAccess::CacheEntries(ft), 5);
}

TEST(FT, EnumerationValuesAreFixed) {
    EXPECT_EQ(FT_TYPE_R_16S, 0);
    EXPECT_EQ(FT_TYPE_C_16SC, 1);
    EXPECT_EQ(FT_TYPE_R_32F, 2);
    EXPECT_EQ(FT_TYPE_C_32FC, 3);
    EXPECT_EQ(FT_TYPE_R_64F, 4);
    EXPECT_EQ(FT_TYPE_C_64FC, 5);
    EXPECT_EQ(KIVO_ALG_HINT_NONE, 0);
    EXPECT_EQ(KIVO_ALG_HINT_FAST, 1);
    EXPECT_EQ(KIVO_ALG_HINT_ACCURATE, 2);
}

TEST(FT, SameOutputOnEveryCallWhateverTheBufferPlacement) {
    const int n = 1000;
    std::vector<CLD> x;
    VecCplx32 in = ComplexInput<float>(n, 99, x);
    FT ft;
    VecCplx32 first, again;
    ft.Forward(first, in);
    ft.Forward(again, in);
    ASSERT_EQ(std::memcmp(&first[0], &again[0], n * sizeof(Cplx32)), 0);
    // Input and output views one element into their buffers (misaligned for FFTW).
    VecCplx32 shifted(n + 1), out(n + 1);
    for (int i = 0; i < n; ++i)
        shifted[i + 1] = in[i];
    shifted.ShiftLeft(1);
    ft.Forward(again, shifted);
    EXPECT_EQ(std::memcmp(&first[0], &again[0], n * sizeof(Cplx32)), 0);
    // An output narrowed to a view inside its buffer: resizing restarts the view.
    out.ShiftLeft(1);
    out.Truncate(0, n);
    ft.Forward(out, in);
    EXPECT_EQ(std::memcmp(&first[0], &out[0], n * sizeof(Cplx32)), 0);
    // In place: input and output are the same vector.
    VecCplx32 inplace(in);
    ft.Forward(inplace, inplace);
    EXPECT_EQ(std::memcmp(&first[0], &inplace[0], n * sizeof(Cplx32)), 0);
    // Real transforms from a misaligned view.
    VecReal64 r(n + 1), rs;
    for (int i = 0; i <= n; ++i)
        r[i] = i % 7 - 3.0;
    VecReal64 rcopy(n);
    for (int i = 0; i < n; ++i)
        rcopy[i] = r[i + 1];
    r.ShiftLeft(1);
    VecCplx64 s1, s2;
    ft.Forward(s1, r);
    ft.Forward(s2, rcopy);
    EXPECT_EQ(std::memcmp(&s1[0], &s2[0], n * sizeof(Cplx64)), 0);
    VecReal64 b1(n + 1), b2;
    b1.ShiftLeft(1);
    b1.Truncate(0, n);
    ft.Inverse(b1, s1);
    ft.Inverse(b2, s2);
    EXPECT_EQ(std::memcmp(&b1[0], &b2[0], n * sizeof(double)), 0);
}

TEST(FT, EmptyInputGivesEmptyOutput) {
    FT ft;
    VecCplx32 in, out(5);
    ft.Forward(out, in);
    EXPECT_EQ(out.GetSize(), 0);
    VecReal64 rin, rout(3);
    VecCplx64 cout(4);
    ft.Forward(cout, rin);
    EXPECT_EQ(cout.GetSize(), 0);
    ft.Inverse(rout, cout);
    EXPECT_EQ(rout.GetSize(), 0);
    EXPECT_EQ(kernels::FTAccess::CacheEntries(ft), 0);
    out.Resize(5);  // the vector keeps its buffer unreleased at length 0
    rout.Resize(3);
    cout.Resize(4);
}

TEST(FT, InvalidFlagOrHintThrows8005OnUse) {
    VecCplx32 in(4), out;
    in.SetZero();
    for (int flag : {0, 3, 5, 16, -1}) {
        FT ft(flag, KIVO_ALG_HINT_ACCURATE);
        EXPECT_EQ(CodeOf([&] { ft.Forward(out, in); }), KIVO_INVALID_INPUT_PARAMETER) << flag;
        EXPECT_EQ(kernels::FTAccess::CacheEntries(ft), 0);
    }
    FT badHint(2, static_cast<KivoAlgorithm>(3));
    EXPECT_EQ(CodeOf([&] { badHint.Forward(out, in); }), KIVO_INVALID_INPUT_PARAMETER);
    // Valid flags and hints all work.
    for (int flag : {1, 2, 4, 8})
        for (KivoAlgorithm hint :
             {KIVO_ALG_HINT_NONE, KIVO_ALG_HINT_FAST, KIVO_ALG_HINT_ACCURATE}) {
            FT ft(flag, hint);
            EXPECT_EQ(CodeOf([&] { ft.Forward(out, in); }), 0);
        }
}

TEST(FT, CopiesShareImmutablePlansAndComputeTheSame) {
    const int n = 300;
    std::vector<CLD> x;
    VecCplx32 in = ComplexInput<float>(n, 123, x), a, b, c;
    auto original = std::make_unique<FT>(4, KIVO_ALG_HINT_ACCURATE);
    original->Forward(a, in);
    FT copy(*original);
    EXPECT_EQ(kernels::FTAccess::CacheEntries(copy), 1);
    EXPECT_TRUE(kernels::FTAccess::SharesPlans(copy, *original, 0));
    FT assigned;
    assigned = *original;
    assigned = assigned;  // self-assignment keeps everything
    EXPECT_EQ(kernels::FTAccess::CacheEntries(assigned), 1);
    original.reset();  // the copies must not depend on the original's lifetime
    copy.Forward(b, in);
    assigned.Forward(c, in);
    EXPECT_EQ(std::memcmp(&a[0], &b[0], n * sizeof(Cplx32)), 0);
    EXPECT_EQ(std::memcmp(&a[0], &c[0], n * sizeof(Cplx32)), 0);
}

TEST(FT, NoAllocationAfterFirstCallOfASize) {
    FT ft;
    const int n = 4096;
    std::vector<CLD> x;
    VecCplx32 in = ComplexInput<float>(n, 7, x), out;
    VecReal32 rin(n), rout;
    for (int i = 0; i < n; ++i)
        rin[i] = in[i].re;
    VecCplx32 misaligned(n + 1);
    misaligned.ShiftLeft(1);
    for (int i = 0; i < n; ++i)
        misaligned[i] = in[i];
    auto all = [&] {
        ft.Forward(out, in);
        ft.Inverse(out, in);
        ft.Forward(out, rin);
        ft.Inverse(rout, out);
        ft.Forward(out, misaligned);
        ft.Forward(out, out);
    };
    all();
    const long long aligned = kernels::AllocationCount();
    const long long news = ombrel_test::NewCount();
    for (int i = 0; i < 3; ++i)
        all();
    EXPECT_EQ(kernels::AllocationCount(), aligned);
    EXPECT_EQ(ombrel_test::NewCount(), news);
}

TEST(FT, AllocationFailureWhileStagingThrows8000) {
    FT ft;
    VecCplx32 in(64), out(64);
    in.SetZero();
    ft.Forward(out, in);  // plans exist; only the staging buffer remains to be allocated
    kernels::ScopedAllocFailure fail(0);
    EXPECT_EQ(CodeOf([&] { ft.Forward(in, in); }), KIVO_MEMORY_ALLOC_ERROR);
}

TEST(FT, TwoObjectsInTwoThreads) {
    auto work = [](unsigned seed) {
        FT ft;
        for (int n = 100 + static_cast<int>(seed); n < 400; n += 37) {
            std::vector<CLD> x;
            VecCplx32 in = ComplexInput<float>(n, seed + n, x), spectrum, back;
            ft.Forward(spectrum, in);
            ft.Inverse(back, spectrum);
            EXPECT_LE(ErrC(x, back), 2e-6 * ombrel_test::Log2Factor(n));
        }
    };
    std::thread t1(work, 1u), t2(work, 2u);
    t1.join();
    t2.join();
}

// ---------------------------------------------------------------------------------------------

TEST(FFT, ImpulseGivesOnesAndOnesGiveImpulse) {
    FFT fft(4);
    VecCplx32 x(16), y, z;
    x.SetZero();
    x[0] = Cplx32{1, 0};
    fft.Forward(y, x);
    ASSERT_EQ(y.GetSize(), 16);
    for (int i = 0; i < 16; ++i) {
        EXPECT_EQ(y[i].re, 1.0f);
        EXPECT_EQ(y[i].im, 0.0f);
    }
    fft.Inverse(z, y);
    ASSERT_EQ(z.GetSize(), 16);
    for (int i = 0; i < 16; ++i) {
        EXPECT_NEAR(z[i].re, i == 0 ? 1.0f : 0.0f, 1e-7);
        EXPECT_NEAR(z[i].im, 0.0f, 1e-7);
    }
}

TEST(FFT, MatchesReferenceForEveryOrderUpTo16) {
    for (int order = 0; order <= 16; ++order) {
        const int n = 1 << order;
        FFT fft(order);
        std::vector<CLD> x;
        VecCplx32 in = ComplexInput<float>(n, 300 + order, x), out;
        fft.Forward(out, in);
        EXPECT_LE(ErrC(ombrel_test::Reference(x, -1), out), Tolerance<float>(n)) << order;
        fft.Inverse(out, in);
        EXPECT_LE(ErrC(ombrel_test::Reference(x, +1), out, 1.0L / n), Tolerance<float>(n)) << order;
    }
}

TEST(FFT, InvalidOrderConstructsButRefusesToTransform) {
    VecCplx32 x(16), y(3);
    x.SetZero();
    for (int order : {-1, -30, 31, 64, 1000}) {
        FFT fft(order);
        EXPECT_FALSE(kernels::FTAccess::Prepared(fft));
        EXPECT_EQ(CodeOf([&] { fft.Forward(y, x); }), KIVO_INVALID_INPUT_PARAMETER);
        EXPECT_EQ(CodeOf([&] { fft.Inverse(y, x); }), KIVO_INVALID_INPUT_PARAMETER);
        EXPECT_EQ(y.GetSize(), 3);
        FFT copy(fft);  // copying an unprepared object is harmless too
        EXPECT_FALSE(kernels::FTAccess::Prepared(copy));
    }
}

TEST(FFT, AnotherLengthIsRefusedWithoutTouchingTheOutput) {
    FFT fft(5);
    VecCplx32 y(2);
    y[0] = Cplx32{9, 9};
    for (int n : {0, 1, 31, 33, 64}) {
        VecCplx32 x(n);
        x.SetZero();
        EXPECT_EQ(CodeOf([&] { fft.Forward(y, x); }), KIVO_INVALID_INPUT_PARAMETER) << n;
        EXPECT_EQ(CodeOf([&] { fft.Inverse(y, x); }), KIVO_INVALID_INPUT_PARAMETER) << n;
    }
    EXPECT_EQ(y.GetSize(), 2);
    EXPECT_EQ(y[0].re, 9.0f);
}

TEST(FFT, CopiesAreIndependentAndSafe) {
    std::vector<CLD> x;
    VecCplx32 in = ComplexInput<float>(256, 1, x), a, b, c;
    auto original = std::make_unique<FFT>(8);
    original->Forward(a, in);
    FFT copy(*original);
    FFT assigned(2);
    assigned = *original;
    assigned = assigned;
    original.reset();
    copy.Forward(b, in);
    assigned.Forward(c, in);
    EXPECT_EQ(std::memcmp(&a[0], &b[0], 256 * sizeof(Cplx32)), 0);
    EXPECT_EQ(std::memcmp(&a[0], &c[0], 256 * sizeof(Cplx32)), 0);
    FFT bad(-3);
    assigned = bad;
    EXPECT_EQ(CodeOf([&] { assigned.Forward(b, in); }), KIVO_INVALID_INPUT_PARAMETER);
}

TEST(FFT, InPlaceAndNoAllocationPerCall) {
    FFT fft(10);
    std::vector<CLD> x;
    VecCplx32 in = ComplexInput<float>(1024, 2, x), out, inplace(in);
    fft.Forward(out, in);
    fft.Forward(inplace, inplace);
    EXPECT_EQ(std::memcmp(&out[0], &inplace[0], 1024 * sizeof(Cplx32)), 0);
    const long long aligned = kernels::AllocationCount();
    const long long news = ombrel_test::NewCount();
    for (int i = 0; i < 3; ++i) {
        fft.Forward(out, in);
        fft.Inverse(out, in);
        fft.Forward(inplace, inplace);
    }
    EXPECT_EQ(kernels::AllocationCount(), aligned);
    EXPECT_EQ(ombrel_test::NewCount(), news);
}

TEST(DFT, MatchesReferenceAtArbitraryLengths) {
    for (int n : {1, 2, 3, 12, 97, 1000, 4800}) {
        DFT dft(n);
        std::vector<CLD> x;
        VecCplx32 in = ComplexInput<float>(n, 500 + n, x), out;
        dft.Forward(out, in);
        EXPECT_LE(ErrC(ombrel_test::Reference(x, -1), out), Tolerance<float>(n)) << n;
        dft.Inverse(out, in);
        EXPECT_LE(ErrC(ombrel_test::Reference(x, +1), out, 1.0L / n), Tolerance<float>(n)) << n;
    }
}

TEST(DFT, InvalidLengthConstructsButRefusesToTransform) {
    VecCplx32 x(4), y;
    x.SetZero();
    for (int n : {0, -1, -1000}) {
        DFT dft(n);
        EXPECT_FALSE(kernels::FTAccess::Prepared(dft));
        EXPECT_EQ(CodeOf([&] { dft.Forward(y, x); }), KIVO_INVALID_INPUT_PARAMETER);
        DFT copy(dft);
        copy = dft;
    }
    DFT dft(5);
    EXPECT_EQ(CodeOf([&] { dft.Forward(y, x); }), KIVO_INVALID_INPUT_PARAMETER);
    DFT copy(dft);
    VecCplx32 five(5);
    five.SetZero();
    EXPECT_EQ(CodeOf([&] { copy.Inverse(y, five); }), 0);
}

// ---------------------------------------------------------------------------------------------

TEST(FFTWisdom, ExportAndImportThroughAFile) {
    FT ft;
    VecCplx32 x(360), y;
    x.SetZero();
    ft.Forward(y, x);
    const std::string path = "wisdom.txt";
    KivoExportFFTWisdom(path.c_str());
    std::FILE* f = std::fopen(path.c_str(), "rb");
    ASSERT_NE(f, nullptr);
    char head[64] = {};
    EXPECT_GT(std::fread(head, 1, sizeof head - 1, f), 0u);
    std::fclose(f);
    EXPECT_NE(std::string(head).find("fftw"), std::string::npos);
    EXPECT_EQ(CodeOf([&] { KivoImportFFTWisdom(path.c_str()); }), 0);
}

TEST(FFTWisdom, FailuresAreReported) {
    EXPECT_EQ(CodeOf([] { KivoImportFFTWisdom("no-such-file.txt"); }), KIVO_FILE_OPEN_ERROR);
    EXPECT_EQ(CodeOf([] { KivoImportFFTWisdom(nullptr); }), KIVO_FILE_OPEN_ERROR);
    EXPECT_EQ(CodeOf([] { KivoExportFFTWisdom("no-such-dir/wisdom.txt"); }), KIVO_FILE_OPEN_ERROR);
    std::FILE* f = std::fopen("junk.txt", "wb");
    ASSERT_NE(f, nullptr);
    std::fputs("this is not wisdom", f);
    std::fclose(f);
    EXPECT_EQ(CodeOf([] { KivoImportFFTWisdom("junk.txt"); }), KIVO_FILE_TYPE_ERROR);
    // A directory opens but cannot be read.
    EXPECT_NE(CodeOf([] { KivoImportFFTWisdom("."); }), 0);
}

TEST(SelfTests, FFTDFTAndFTPass) {
    UnitTestRecorder r;
    EXPECT_TRUE(FFT::UnitTest(r));
    EXPECT_TRUE(DFT::UnitTest(r));
    EXPECT_TRUE(FT::UnitTest(r));
}

}  // namespace
