// The FFTW plan cache: accuracy of every plan kind against a long-double DFT, the cache's
// lookup rules, buffer checks, wisdom and concurrent use.
#include "kernels/Allocator.h"
#include "kernels/FftPlan.h"
#include "support/ReferenceDft.h"
#include "support/TestUtil.h"

#include <ombrel/math/KivoException.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <thread>
#include <vector>

namespace {

using namespace Kivo;
using namespace Kivo::kernels;
using ombrel_test::CLD;

template <typename T>
struct Buffer {
    explicit Buffer(long long n) : p(static_cast<T*>(AlignedAlloc(n, sizeof(T)))) {}
    ~Buffer() { AlignedFree(p); }
    Buffer(const Buffer&) = delete;
    Buffer& operator=(const Buffer&) = delete;
    T* p;
};

template <typename Real>
using CplxOf = std::conditional_t<std::is_same_v<Real, float>, Cplx32, Cplx64>;

template <typename Real>
constexpr FftPrecision PrecisionOf =
    std::is_same_v<Real, float> ? FftPrecision::Single : FftPrecision::Double;

template <typename Real>
double Tolerance(int n) {
    return (std::is_same_v<Real, float> ? 1e-6 : 1e-14) * ombrel_test::Log2Factor(n);
}

// Complex plan in either direction against the direct sum, unscaled.
template <typename Real>
void CheckComplex(int n, FftDirection dir, FftEffort effort) {
    using C = CplxOf<Real>;
    const std::vector<float> v = ombrel_test::RandomFloats(2 * n, 1000 + n);
    Buffer<C> in(n), out(n);
    std::vector<CLD> x(n);
    for (int i = 0; i < n; ++i) {
        in.p[i] = C{v[2 * i], v[2 * i + 1]};
        x[i] = CLD(v[2 * i], v[2 * i + 1]);
    }
    auto plan = FftPlan::Get({PrecisionOf<Real>, FftKind::Complex, n, dir, effort});
    plan->Execute(in.p, out.p);
    const auto ref = ombrel_test::Reference(x, dir == FftDirection::Forward ? -1 : 1);
    const double err =
        ombrel_test::RelativeRms(ref, [&](std::size_t i) { return CLD(out.p[i].re, out.p[i].im); });
    EXPECT_LE(err, Tolerance<Real>(n)) << "complex n=" << n;
    // The input is left intact.
    for (int i = 0; i < n; ++i)
        ASSERT_EQ(in.p[i].re, static_cast<Real>(v[2 * i]));
}

template <typename Real>
void CheckRealForward(int n, FftEffort effort) {
    using C = CplxOf<Real>;
    const std::vector<float> v = ombrel_test::RandomFloats(n, 2000 + n);
    Buffer<Real> in(n);
    Buffer<C> out(n / 2 + 1);
    std::vector<CLD> x(n);
    for (int i = 0; i < n; ++i) {
        in.p[i] = v[i];
        x[i] = CLD(v[i], 0);
    }
    auto plan =
        FftPlan::Get({PrecisionOf<Real>, FftKind::RealToComplex, n, FftDirection::Forward, effort});
    plan->Execute(in.p, out.p);
    // Only bins 0 ... N/2 are produced.
    const auto& full = ombrel_test::Reference(x, -1);
    const std::vector<CLD> ref(full.begin(), full.begin() + (n / 2 + 1));
    const double err =
        ombrel_test::RelativeRms(ref, [&](std::size_t i) { return CLD(out.p[i].re, out.p[i].im); });
    EXPECT_LE(err, Tolerance<Real>(n)) << "r2c n=" << n;
}

template <typename Real>
void CheckRealInverse(int n, FftEffort effort) {
    using C = CplxOf<Real>;
    const int h = n / 2 + 1;
    const std::vector<float> v = ombrel_test::RandomFloats(2 * h, 3000 + n);
    Buffer<C> in(h);
    Buffer<Real> out(n);
    std::vector<CLD> spectrum(n);
    for (int k = 0; k < h; ++k) {
        Real re = v[2 * k], im = v[2 * k + 1];
        if (k == 0 || 2 * k == n) im = 0;  // a Hermitian spectrum has real DC and Nyquist bins
        in.p[k] = C{re, im};
        spectrum[k] = CLD(re, im);
        if (k > 0) spectrum[n - k] = CLD(re, -im);
    }
    auto plan =
        FftPlan::Get({PrecisionOf<Real>, FftKind::ComplexToReal, n, FftDirection::Inverse, effort});
    plan->Execute(in.p, out.p);
    const auto ref = ombrel_test::Reference(spectrum, 1);
    const double err =
        ombrel_test::RelativeRms(ref, [&](std::size_t i) { return CLD(out.p[i], 0); });
    EXPECT_LE(err, Tolerance<Real>(n)) << "c2r n=" << n;
}

template <typename Real>
void CheckAllKinds(int n, FftEffort effort) {
    CheckComplex<Real>(n, FftDirection::Forward, effort);
    CheckComplex<Real>(n, FftDirection::Inverse, effort);
    CheckRealForward<Real>(n, effort);
    CheckRealInverse<Real>(n, effort);
}

TEST(FftPlan, EveryKindMatchesLongDoubleDftForSmallLengths) {
    for (int n = 1; n <= 64; ++n) {
        CheckAllKinds<float>(n, kDefaultFftEffort);
        CheckAllKinds<double>(n, kDefaultFftEffort);
    }
}

TEST(FftPlan, EveryKindMatchesLongDoubleDftForLongLengths) {
    for (int n : {1000, 1024, 4096, 65536}) {
        CheckAllKinds<float>(n, kDefaultFftEffort);
        CheckAllKinds<double>(n, kDefaultFftEffort);
    }
}

TEST(FftPlan, EstimatePlansAreAccurateToo) {
    for (int n : {1, 2, 3, 16, 17, 60, 1000, 4096}) {
        CheckAllKinds<float>(n, FftEffort::Estimate);
        CheckAllKinds<double>(n, FftEffort::Estimate);
    }
}

TEST(FftPlan, KnownKeyDoesNotPlanAgain) {
    const FftPlanKey key{FftPrecision::Single, FftKind::Complex, 4800, FftDirection::Forward,
                         FftEffort::Estimate};
    auto first = FftPlan::Get(key);
    const long long made = FftPlansCreated();
    auto again = FftPlan::Get(key);
    EXPECT_EQ(first.get(), again.get());
    EXPECT_EQ(FftPlansCreated(), made);
    EXPECT_EQ(FftPlan::Find(key).get(), first.get());
    // Every field of the key matters.
    FftPlanKey other = key;
    other.direction = FftDirection::Inverse;
    EXPECT_NE(FftPlan::Get(other).get(), first.get());
    other = key;
    other.precision = FftPrecision::Double;
    EXPECT_NE(FftPlan::Get(other).get(), first.get());
    other = key;
    other.effort = FftEffort::Measure;
    EXPECT_NE(FftPlan::Get(other).get(), first.get());
    other = key;
    other.length = 4801;
    EXPECT_NE(FftPlan::Get(other).get(), first.get());
    EXPECT_EQ(first->Length(), 4800);
    EXPECT_FALSE(first->Describe().empty());
}

TEST(FftPlan, FindNeverPlans) {
    const FftPlanKey key{FftPrecision::Double, FftKind::Complex, 7777, FftDirection::Inverse,
                         FftEffort::Estimate};
    const long long made = FftPlansCreated();
    EXPECT_EQ(FftPlan::Find(key), nullptr);
    EXPECT_EQ(FftPlansCreated(), made);
}

using ombrel_test::CodeOf;

TEST(FftPlan, InvalidKeysAreRejected) {
    EXPECT_EQ(CodeOf([] {
                  FftPlan::Get({FftPrecision::Single, FftKind::Complex, 0, FftDirection::Forward,
                                FftEffort::Estimate});
              }),
              KIVO_INVALID_INPUT_PARAMETER);
    EXPECT_EQ(CodeOf([] {
                  FftPlan::Get({FftPrecision::Double, FftKind::Complex, -4, FftDirection::Forward,
                                FftEffort::Estimate});
              }),
              KIVO_INVALID_INPUT_PARAMETER);
    EXPECT_EQ(CodeOf([] {
                  FftPlan::Get({FftPrecision::Single, FftKind::RealToComplex, 8,
                                FftDirection::Inverse, FftEffort::Estimate});
              }),
              KIVO_INVALID_INPUT_PARAMETER);
    EXPECT_EQ(CodeOf([] {
                  FftPlan::Get({FftPrecision::Single, FftKind::ComplexToReal, 8,
                                FftDirection::Forward, FftEffort::Estimate});
              }),
              KIVO_INVALID_INPUT_PARAMETER);
}

TEST(FftPlan, PlanningScratchFailureThrows8000AndCachesNothing) {
    const FftPlanKey key{FftPrecision::Single, FftKind::Complex, 9973, FftDirection::Forward,
                         FftEffort::Estimate};
    {
        ScopedAllocFailure fail(0);
        EXPECT_EQ(CodeOf([&] { FftPlan::Get(key); }), KIVO_MEMORY_ALLOC_ERROR);
    }
    EXPECT_EQ(FftPlan::Find(key), nullptr);
    EXPECT_NE(FftPlan::Get(key), nullptr);
}

TEST(FftPlan, BuffersThatDoNotFitThePlanAreRefused) {
    auto plan = FftPlan::Get(
        {FftPrecision::Single, FftKind::Complex, 16, FftDirection::Forward, FftEffort::Estimate});
    Buffer<Cplx32> a(18), b(18);
    std::memset(static_cast<void*>(a.p), 0, 18 * sizeof(Cplx32));
    // Misaligned by one complex float (8 bytes): FFTW's SIMD code would fault or mis-read.
    EXPECT_EQ(CodeOf([&] { plan->Execute(a.p + 1, b.p); }), KIVO_UNEXPECTED_SOFTWARE_ERROR);
    EXPECT_EQ(CodeOf([&] { plan->Execute(a.p, b.p + 1); }), KIVO_UNEXPECTED_SOFTWARE_ERROR);
    // Out-of-place plans cannot run in place.
    EXPECT_EQ(CodeOf([&] { plan->Execute(a.p, a.p); }), KIVO_UNEXPECTED_SOFTWARE_ERROR);
    // Wrong element type for the plan.
    Buffer<Cplx64> d(16), e(16);
    EXPECT_EQ(CodeOf([&] { plan->Execute(d.p, e.p); }), KIVO_UNEXPECTED_SOFTWARE_ERROR);
    Buffer<float> r(16);
    EXPECT_EQ(CodeOf([&] { plan->Execute(r.p, b.p); }), KIVO_UNEXPECTED_SOFTWARE_ERROR);
    // Two complex floats (16 bytes) keep FFTW's alignment: accepted.
    EXPECT_EQ(CodeOf([&] { plan->Execute(a.p + 2, b.p); }), 0);
}

TEST(FftPlan, ReleaseUnusedPlansKeepsPlansInUse) {
    const FftPlanKey used{FftPrecision::Single, FftKind::Complex, 3001, FftDirection::Forward,
                          FftEffort::Estimate};
    const FftPlanKey unused{FftPrecision::Single, FftKind::Complex, 3003, FftDirection::Forward,
                            FftEffort::Estimate};
    auto keep = FftPlan::Get(used);
    FftPlan::Get(unused);
    FftReleaseUnusedPlans();
    EXPECT_EQ(FftPlan::Find(used).get(), keep.get());
    EXPECT_EQ(FftPlan::Find(unused), nullptr);
    // A released key is planned again on request and still computes correctly.
    CheckComplex<float>(3003, FftDirection::Forward, FftEffort::Estimate);
}

std::vector<std::string> SortedLines(const std::string& text) {
    std::vector<std::string> lines;
    std::size_t start = 0;
    while (start < text.size()) {
        std::size_t end = text.find('\n', start);
        if (end == std::string::npos) end = text.size();
        lines.push_back(text.substr(start, end - start));
        start = end + 1;
    }
    std::sort(lines.begin(), lines.end());
    return lines;
}

TEST(FftPlan, WisdomRoundTrip) {
    FftPlan::Get(
        {FftPrecision::Single, FftKind::Complex, 240, FftDirection::Forward, FftEffort::Measure});
    FftPlan::Get(
        {FftPrecision::Double, FftKind::Complex, 240, FftDirection::Forward, FftEffort::Measure});
    const std::string wisdom = FftExportWisdom();
    EXPECT_NE(wisdom.find("fftw_wisdom"), std::string::npos);
    EXPECT_NE(wisdom.find("fftwf_wisdom"), std::string::npos);
    FftForgetWisdom();
    EXPECT_TRUE(FftImportWisdom(wisdom));
    // The same records come back (FFTW's hash order may differ).
    EXPECT_EQ(SortedLines(FftExportWisdom()), SortedLines(wisdom));
    EXPECT_FALSE(FftImportWisdom("not wisdom"));
    EXPECT_FALSE(FftImportWisdom("(unbalanced"));
    EXPECT_FALSE(FftImportWisdom(""));
}

TEST(FftPlan, TimeLimitSetting) {
    const double before = FftPlanTimeLimit();
    EXPECT_EQ(before, kDefaultFftPlanTimeLimit);
    SetFftPlanTimeLimit(0.25);
    EXPECT_EQ(FftPlanTimeLimit(), 0.25);
    SetFftPlanTimeLimit(-1);
    EXPECT_LT(FftPlanTimeLimit(), 0);
    SetFftPlanTimeLimit(before);
    // A plan made under a tight limit is still a valid plan (FFTW keeps its estimate).
    SetFftPlanTimeLimit(0.0);
    CheckComplex<float>(6144, FftDirection::Forward, FftEffort::Measure);
    SetFftPlanTimeLimit(before);
}

TEST(FftPlan, ThreadsPlanAndExecuteConcurrently) {
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([t] {
            for (int n = 200 + t; n < 260; n += 4) {
                CheckComplex<float>(n, FftDirection::Forward, FftEffort::Estimate);
                CheckRealForward<double>(n, FftEffort::Estimate);
            }
            // The same plan from all threads at once.
            CheckComplex<double>(512, FftDirection::Inverse, FftEffort::Estimate);
        });
    }
    for (auto& th : threads)
        th.join();
}

}  // namespace
