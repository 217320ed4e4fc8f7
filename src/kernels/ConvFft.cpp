// Overlap-save convolution on the shared FFTW plan cache, and the direct/FFT crossover.
#define KIVO_SOURCE_UNIT "src/kernels/ConvFft"

#include "kernels/ConvFft.h"

#include <ombrel/math/MathUtils.h>
#include <ombrel/math/Memory.h>

#include "kernels/Allocator.h"
#include "kernels/Error.h"
#include "kernels/FftPlan.h"
#include "kernels/VectorKernels.h"

#include <algorithm>
#include <cmath>
#include <memory>
#include <type_traits>

namespace Kivo::kernels {

namespace {

// Cost model, in nanoseconds, fitted to measurements on the build machine (AMD EPYC, 2 shared
// cores, AVX2, Release; `dsputils_bench --benchmark_filter=ConvPath`, CPU time, 1M samples):
//
//   taps                    8     16     32     64     96    128    256
//   direct float   [ms]  0.55   0.88   1.56   2.79   4.24   6.02   11.1
//   FFT, float I/O [ms]  8.06   4.47   5.76   5.70   4.99   5.22   5.12
//   direct double  [ms]  1.16   2.04   2.90   5.61   8.03   10.3   20.2
//   FFT, double    [ms]  9.18   6.00   7.13   6.91   6.43   6.57   6.43
//
// and for complex data over 256K samples (taps 4, 8, 16, 32, 64): direct 1.73, 3.33, 6.64,
// 13.1, 26.2 ms; FFT 2.15, 2.08, 1.60, 1.63, 1.84 ms. So the crossover on long signals lies near
// 110 taps for float, 75 for double and 6 for complex data. Direct summation costs about
// 0.043 ns per float multiply-add, 0.076 per double and 1.56 per complex one (double
// accumulation); overlap-save about 0.42 ns (real) or 0.6 ns (complex) per unit of
// blocks * nfft * (log2(nfft) + 1), plus a fixed cost per call for scratch and plan look-up.
constexpr double kDirectFloatNs = 0.043;
constexpr double kDirectDoubleNs = 0.076;
constexpr double kDirectComplexNs = 1.56;
constexpr double kFftRealNs = 0.42;
constexpr double kFftComplexNs = 0.6;
constexpr double kFftFixedNs = 20000.0;
constexpr int kMaxFftLength = 1 << 20;

// The smallest power of two >= n, held to [1, 2^30].
int NextPow2(long long n) {
    return MathUtils::NextPowOf2(static_cast<int>(std::clamp(n, 1LL, 1LL << 30)));
}

double Log2(double n) {
    return std::log2(n);
}

// Total transform work for a filter of L taps over an output of Ny points with blocks of nfft.
double OverlapSaveWork(int L, long long outLen, int nfft) {
    const long long step = nfft - L + 1;
    const long long blocks = (outLen + step - 1) / step;
    return static_cast<double>(blocks) * nfft * (Log2(nfft) + 1.0);
}

struct FreeScratch {
    void operator()(void* p) const { AlignedFree(p); }
};

template <typename T>
std::unique_ptr<T, FreeScratch> Scratch(long long count) {
    auto* p = static_cast<T*>(AlignedAlloc(count, sizeof(T)));
    if (!p) {
        DumpKivoMemoryAllocError(static_cast<int>(std::min<long long>(
                                     count * static_cast<long long>(sizeof(T)), 0x7fffffff)),
                                 "Failed convolution scratch");
        KIVO_THROW(KIVO_MEMORY_ALLOC_ERROR);
    }
    return std::unique_ptr<T, FreeScratch>(p);
}

template <typename T>
void OverlapSaveReal(const T* h, int L, const T* x, int N, T* dst) {
    const long long outLen = static_cast<long long>(N) + L - 1;
    const int nfft = ConvFftLength(L, N);
    const int bins = nfft / 2 + 1;
    const long long step = nfft - L + 1;
    // Estimate plans: a one-off convolution should not pay for measuring, and the few
    // power-of-two lengths used here are planned once per process.
    const auto forward = FftPlan::Get({FftPrecision::Double, FftKind::RealToComplex, nfft,
                                       FftDirection::Forward, FftEffort::Estimate});
    const auto inverse = FftPlan::Get({FftPrecision::Double, FftKind::ComplexToReal, nfft,
                                       FftDirection::Inverse, FftEffort::Estimate});
    auto seg = Scratch<double>(nfft);
    auto res = Scratch<double>(nfft);
    auto filt = Scratch<Cplx64>(bins);
    auto spectrum = Scratch<Cplx64>(bins);

    // Filter spectrum, with the inverse transform's 1/nfft folded in.
    double* s = seg.get();
    for (int i = 0; i < L; ++i)
        s[i] = static_cast<double>(h[i]);
    std::fill(s + L, s + nfft, 0.0);
    forward->Execute(s, filt.get());
    Cplx64* H = filt.get();
    MulCInPlace(1.0 / nfft, reinterpret_cast<double*>(H), 2 * bins);

    Cplx64* X = spectrum.get();
    for (long long start = 0; start < outLen; start += step) {
        // seg[j] = x[start - (L - 1) + j], zero outside the signal.
        const long long from = start - (L - 1);
        for (int j = 0; j < nfft; ++j) {
            const long long i = from + j;
            s[j] = (i >= 0 && i < N) ? static_cast<double>(x[i]) : 0.0;
        }
        forward->Execute(s, X);
        MulInPlace(H, X, bins);  // X = X·H
        inverse->Execute(X, res.get());
        const long long count = std::min(step, outLen - start);
        const double* r = res.get() + (L - 1);
        for (long long j = 0; j < count; ++j)
            dst[start + j] = static_cast<T>(r[j]);
    }
}

void OverlapSaveComplex(const Cplx32* h, int L, const Cplx32* x, int N, Cplx32* dst) {
    const long long outLen = static_cast<long long>(N) + L - 1;
    const int nfft = ConvFftLength(L, N);
    const long long step = nfft - L + 1;
    const auto forward = FftPlan::Get(
        {FftPrecision::Double, FftKind::Complex, nfft, FftDirection::Forward, FftEffort::Estimate});
    const auto inverse = FftPlan::Get(
        {FftPrecision::Double, FftKind::Complex, nfft, FftDirection::Inverse, FftEffort::Estimate});
    auto seg = Scratch<Cplx64>(nfft);
    auto res = Scratch<Cplx64>(nfft);
    auto filt = Scratch<Cplx64>(nfft);
    auto spectrum = Scratch<Cplx64>(nfft);

    Cplx64* s = seg.get();
    for (int i = 0; i < L; ++i)
        s[i] = {h[i].re, h[i].im};
    std::fill(s + L, s + nfft, Cplx64{0.0, 0.0});
    forward->Execute(s, filt.get());
    Cplx64* H = filt.get();
    MulCInPlace(1.0 / nfft, reinterpret_cast<double*>(H), 2 * nfft);
    Cplx64* X = spectrum.get();
    for (long long start = 0; start < outLen; start += step) {
        const long long from = start - (L - 1);
        for (int j = 0; j < nfft; ++j) {
            const long long i = from + j;
            s[j] = (i >= 0 && i < N) ? Cplx64{x[i].re, x[i].im} : Cplx64{0.0, 0.0};
        }
        forward->Execute(s, X);
        MulInPlace(H, X, nfft);  // X = X·H
        inverse->Execute(X, res.get());
        const long long count = std::min(step, outLen - start);
        const Cplx64* r = res.get() + (L - 1);
        for (long long j = 0; j < count; ++j)
            dst[start + j] = {static_cast<float>(r[j].re), static_cast<float>(r[j].im)};
    }
}

bool PrefersFft(int la, int lb, double directNs, double fftNs) {
    const int L = std::min(la, lb);
    const int N = std::max(la, lb);
    if (L <= 1) return false;
    const long long outLen = static_cast<long long>(N) + L - 1;
    const double direct = directNs * L * static_cast<double>(N);
    const double fft = kFftFixedNs + fftNs * OverlapSaveWork(L, outLen, ConvFftLength(L, N));
    return fft < direct;
}

}  // namespace

int ConvFftLength(int shorter, int longer) {
    const int L = std::max(1, shorter);
    const long long outLen = static_cast<long long>(longer) + L - 1;
    // One block covering everything is the upper end; beyond it, longer blocks only add work.
    const int whole = NextPow2(outLen + L - 1);
    int best = NextPow2(2LL * L);
    if (best >= whole) return best;
    double bestWork = OverlapSaveWork(L, outLen, best);
    for (long long n = 2LL * best; n <= std::min(whole, kMaxFftLength); n *= 2) {
        const double work = OverlapSaveWork(L, outLen, static_cast<int>(n));
        if (work < bestWork) {
            bestWork = work;
            best = static_cast<int>(n);
        }
    }
    return best;
}

template <>
bool ConvPrefersFft<float>(int la, int lb) {
    return PrefersFft(la, lb, kDirectFloatNs, kFftRealNs);
}
template <>
bool ConvPrefersFft<double>(int la, int lb) {
    return PrefersFft(la, lb, kDirectDoubleNs, kFftRealNs);
}
template <>
bool ConvPrefersFft<Cplx32>(int la, int lb) {
    return PrefersFft(la, lb, kDirectComplexNs, kFftComplexNs);
}

void ConvFft(const float* a, int la, const float* b, int lb, float* dst) {
    if (la <= 0 || lb <= 0) return;
    if (la <= lb)
        OverlapSaveReal(a, la, b, lb, dst);
    else
        OverlapSaveReal(b, lb, a, la, dst);
}

void ConvFft(const double* a, int la, const double* b, int lb, double* dst) {
    if (la <= 0 || lb <= 0) return;
    if (la <= lb)
        OverlapSaveReal(a, la, b, lb, dst);
    else
        OverlapSaveReal(b, lb, a, la, dst);
}

void ConvFft(const Cplx32* a, int la, const Cplx32* b, int lb, Cplx32* dst) {
    if (la <= 0 || lb <= 0) return;
    if (la <= lb)
        OverlapSaveComplex(a, la, b, lb, dst);
    else
        OverlapSaveComplex(b, lb, a, la, dst);
}

}  // namespace Kivo::kernels
