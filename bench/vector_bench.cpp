// Float vectors: in-place arithmetic and a squared-magnitude pass over 64 MiB vectors (held
// against STREAM copy bandwidth), the in-place complex multiply at 4096 points (against VOLK),
// the double-accumulating statistics (against a plain float sum loop), and the ISA-dispatched
// kernels against the same loops compiled for the x86-64 baseline only.
#include <benchmark/benchmark.h>

#include <ombrel/math/Vector.h>

#include "kernels/VectorKernels.h"

#include <cmath>
#include <cstddef>
#include <random>
#include <vector>

#if defined(OMBREL_HAVE_VOLK)
#include <volk/volk.h>
#endif

using namespace Kivo;

namespace {

constexpr int kBig = (64 << 20) / 4;      // 64 MiB of floats
constexpr int kBigCplx = (64 << 20) / 8;  // 64 MiB of complex floats

void FillReal(VecReal32& v, float base) {
    for (int k = 0; k < v.GetSize(); ++k)
        v[k] = base + static_cast<float>(k % 17) * 1e-3f;
}

// Points on the unit circle, so that repeated in-place products neither overflow nor decay into
// subnormals.
void FillUnit(Cplx32* z, int n, unsigned seed) {
    std::mt19937 gen(seed);
    std::uniform_real_distribution<float> phase(0.0f, 6.2831853f);
    for (int k = 0; k < n; ++k) {
        const float p = phase(gen);
        z[k] = Cplx32{std::cos(p), std::sin(p)};
    }
}

// ---- bandwidth-bound passes (bytes counted as read + write traffic) ----------------------------

void BM_VecReal32AddInPlace(benchmark::State& state) {
    const int n = static_cast<int>(state.range(0));
    VecReal32 a(n), b(n);
    FillReal(a, 1.0f);
    FillReal(b, 0.0f);
    b *= 0.0f;  // adding zeros keeps the values stable across iterations
    for (auto _ : state) {
        a += b;
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(state.iterations() * 3LL * n * 4);  // read a, read b, write a
}

void BM_VecReal32MulInPlace(benchmark::State& state) {
    const int n = static_cast<int>(state.range(0));
    VecReal32 a(n), b(n);
    FillReal(a, 1.0f);
    b.SetZero();
    b += 1.0f;
    for (auto _ : state) {
        a *= b;
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(state.iterations() * 3LL * n * 4);
}

void BM_MagSqrCplx32(benchmark::State& state) {
    const int n = static_cast<int>(state.range(0));
    VecCplx32 z(n);
    FillUnit(&z[0], n, 1);
    VecReal32 p(n);
    for (auto _ : state) {
        kernels::MagSqr(&z[0], &p[0], n);
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(state.iterations() * (8LL + 4LL) * n);  // read z, write p
}

// ---- complex multiply at 4096 points ------------------------------------------------------------

void BM_VecCplx32MulInPlace(benchmark::State& state) {
    const int n = static_cast<int>(state.range(0));
    VecCplx32 a(n), b(n);
    FillUnit(&a[0], n, 2);
    FillUnit(&b[0], n, 3);
    for (auto _ : state) {
        a *= b;
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * n);
}

#if defined(OMBREL_HAVE_VOLK)
void BM_VolkMultiply32fc(benchmark::State& state) {
    const int n = static_cast<int>(state.range(0));
    VecCplx32 a(n), b(n);
    FillUnit(&a[0], n, 2);
    FillUnit(&b[0], n, 3);
    auto* pa = reinterpret_cast<lv_32fc_t*>(&a[0]);
    auto* pb = reinterpret_cast<lv_32fc_t*>(&b[0]);
    for (auto _ : state) {
        volk_32fc_x2_multiply_32fc(pa, pa, pb, static_cast<unsigned>(n));
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * n);
}
#endif

// The same loops as the kernels, compiled here for the x86-64 baseline (SSE2) only: what the
// kernels would run without runtime dispatch.
__attribute__((noinline)) void BaselineCplxMul(const Cplx32* src, Cplx32* srcDst, int n) {
    float* a = reinterpret_cast<float*>(srcDst);
    const float* b = reinterpret_cast<const float*>(src);
    for (int k = 0; k < 2 * n; k += 2) {
        const float ar = a[k], ai = a[k + 1], br = b[k], bi = b[k + 1];
        a[k] = ar * br - ai * bi;
        a[k + 1] = ar * bi + ai * br;
    }
}
__attribute__((noinline)) void BaselineAdd(const float* src, float* srcDst, int n) {
    for (int k = 0; k < n; ++k)
        srcDst[k] = srcDst[k] + src[k];
}
__attribute__((noinline)) void BaselineMagSqr(const Cplx32* src, float* dst, int n) {
    const float* s = reinterpret_cast<const float*>(src);
    for (int k = 0; k < n; ++k)
        dst[k] = s[2 * k] * s[2 * k] + s[2 * k + 1] * s[2 * k + 1];
}

void BM_BaselineCplx32Mul(benchmark::State& state) {
    const int n = static_cast<int>(state.range(0));
    std::vector<Cplx32> a(static_cast<size_t>(n)), b(static_cast<size_t>(n));
    FillUnit(a.data(), n, 2);
    FillUnit(b.data(), n, 3);
    for (auto _ : state) {
        BaselineCplxMul(b.data(), a.data(), n);
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * n);
}
void BM_KernelAddInPlace(benchmark::State& state) {
    const int n = static_cast<int>(state.range(0));
    std::vector<float> a(static_cast<size_t>(n), 1.0f), b(static_cast<size_t>(n), 0.0f);
    for (auto _ : state) {
        kernels::AddInPlace(b.data(), a.data(), n);
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * n);
}
void BM_BaselineAddInPlace(benchmark::State& state) {
    const int n = static_cast<int>(state.range(0));
    std::vector<float> a(static_cast<size_t>(n), 1.0f), b(static_cast<size_t>(n), 0.0f);
    for (auto _ : state) {
        BaselineAdd(b.data(), a.data(), n);
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * n);
}
void BM_KernelMagSqr(benchmark::State& state) {
    const int n = static_cast<int>(state.range(0));
    std::vector<Cplx32> z(static_cast<size_t>(n));
    std::vector<float> p(static_cast<size_t>(n));
    FillUnit(z.data(), n, 4);
    for (auto _ : state) {
        kernels::MagSqr(z.data(), p.data(), n);
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * n);
}
void BM_BaselineMagSqr(benchmark::State& state) {
    const int n = static_cast<int>(state.range(0));
    std::vector<Cplx32> z(static_cast<size_t>(n));
    std::vector<float> p(static_cast<size_t>(n));
    FillUnit(z.data(), n, 4);
    for (auto _ : state) {
        BaselineMagSqr(z.data(), p.data(), n);
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * n);
}

// ---- statistics on 1M floats --------------------------------------------------------------------

VecReal32 StatsInput(int n) {
    VecReal32 v(n);
    std::mt19937 gen(5);
    std::uniform_real_distribution<float> d(-1.0f, 1.0f);
    for (int k = 0; k < n; ++k)
        v[k] = d(gen);
    return v;
}

void BM_VecReal32Sum(benchmark::State& state) {
    VecReal32 v = StatsInput(static_cast<int>(state.range(0)));
    for (auto _ : state)
        benchmark::DoNotOptimize(v.Sum());
    state.SetItemsProcessed(state.iterations() * state.range(0));
}
void BM_VecReal32Mean(benchmark::State& state) {
    VecReal32 v = StatsInput(static_cast<int>(state.range(0)));
    for (auto _ : state)
        benchmark::DoNotOptimize(v.Mean());
    state.SetItemsProcessed(state.iterations() * state.range(0));
}
void BM_VecReal32StdDev(benchmark::State& state) {
    VecReal32 v = StatsInput(static_cast<int>(state.range(0)));
    for (auto _ : state)
        benchmark::DoNotOptimize(v.StdDev());
    state.SetItemsProcessed(state.iterations() * state.range(0));
}
// What a user writes without a library: one float accumulator.
__attribute__((noinline)) float PlainFloatSum(const float* x, int n) {
    float s = 0.0f;
    for (int k = 0; k < n; ++k)
        s += x[k];
    return s;
}
void BM_PlainFloatSum(benchmark::State& state) {
    VecReal32 v = StatsInput(static_cast<int>(state.range(0)));
    const int n = v.GetSize();
    for (auto _ : state)
        benchmark::DoNotOptimize(PlainFloatSum(&v[0], n));
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

}  // namespace

BENCHMARK(BM_VecReal32AddInPlace)->Arg(kBig)->Unit(benchmark::kMillisecond)->MinTime(0.5);
BENCHMARK(BM_VecReal32MulInPlace)->Arg(kBig)->Unit(benchmark::kMillisecond)->MinTime(0.5);
BENCHMARK(BM_MagSqrCplx32)->Arg(kBigCplx)->Unit(benchmark::kMillisecond)->MinTime(0.5);
BENCHMARK(BM_VecCplx32MulInPlace)->Arg(4096)->MinTime(0.3);
#if defined(OMBREL_HAVE_VOLK)
BENCHMARK(BM_VolkMultiply32fc)->Arg(4096)->MinTime(0.3);
#endif
BENCHMARK(BM_BaselineCplx32Mul)->Arg(4096)->MinTime(0.3);
BENCHMARK(BM_KernelAddInPlace)->Arg(4096)->MinTime(0.3);
BENCHMARK(BM_BaselineAddInPlace)->Arg(4096)->MinTime(0.3);
BENCHMARK(BM_KernelMagSqr)->Arg(4096)->MinTime(0.3);
BENCHMARK(BM_BaselineMagSqr)->Arg(4096)->MinTime(0.3);
BENCHMARK(BM_VecReal32Sum)->Arg(1 << 20)->MinTime(0.3);
BENCHMARK(BM_VecReal32Mean)->Arg(1 << 20)->MinTime(0.3);
BENCHMARK(BM_VecReal32StdDev)->Arg(1 << 20)->MinTime(0.3);
BENCHMARK(BM_PlainFloatSum)->Arg(1 << 20)->MinTime(0.3);
BENCHMARK_MAIN();
