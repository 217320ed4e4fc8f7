// DSPUtils hot paths against their references: detectors vs memory bandwidth, convolution vs a
// hand-written -march=native loop and vs direct summation, MagSqr vs VOLK. The BM_ConvPath*
// cases measure both convolution methods over tap counts (the crossover in ConvFft.cpp).
#include <ombrel/dsp/DSPUtils.h>
#include <ombrel/math/Vector.h>

#include "conv_reference.h"
#include "kernels/ConvFft.h"
#include "kernels/SignalKernels.h"

#include <benchmark/benchmark.h>

#include <cstdint>
#include <random>
#include <type_traits>
#include <vector>

#ifdef OMBREL_BENCH_HAVE_VOLK
#include <volk/volk.h>
#endif

using namespace Kivo;

namespace {

constexpr double kMinTime = 0.5;

VecReal32 RandomReal(int n, std::uint32_t seed) {
    std::mt19937 gen(seed);
    std::uniform_real_distribution<float> d(-1.0f, 1.0f);
    VecReal32 v(n);
    for (int i = 0; i < n; ++i)
        v[i] = d(gen);
    return v;
}

VecCplx32 RandomCplx(int n, std::uint32_t seed) {
    std::mt19937 gen(seed);
    std::uniform_real_distribution<float> d(-1.0f, 1.0f);
    VecCplx32 v(n);
    for (int i = 0; i < n; ++i)
        v[i] = {d(gen), d(gen)};
    return v;
}

std::vector<float> RandomFloats(int n, std::uint32_t seed) {
    std::mt19937 gen(seed);
    std::uniform_real_distribution<float> d(-1.0f, 1.0f);
    std::vector<float> v(n);
    for (auto& x : v)
        x = d(gen);
    return v;
}

// ---- Detectors on a 4M-point trace, factor 8: bytes read plus bytes written per call --------

void Detect(benchmark::State& state, DetectorType type) {
    const int n = static_cast<int>(state.range(0));
    const int factor = 8;
    const VecReal32 in = RandomReal(n, 1);
    VecReal32 out;
    DSPUtils::Detect(out, in, factor, type);
    for (auto _ : state) {
        DSPUtils::Detect(out, in, factor, type);
        benchmark::DoNotOptimize(out[0]);
        benchmark::ClobberMemory();
    }
    const long long bytes = 4LL * n + 4LL * out.GetSize();
    state.SetBytesProcessed(static_cast<long long>(state.iterations()) * bytes);
}

void BM_DetectMax(benchmark::State& state) {
    Detect(state, DETECTOR_MAX);
}
void BM_DetectAve(benchmark::State& state) {
    Detect(state, DETECTOR_AVE);
}
BENCHMARK(BM_DetectMax)->Arg(1 << 22)->MinTime(kMinTime);
BENCHMARK(BM_DetectAve)->Arg(1 << 22)->MinTime(kMinTime);

// ---- Convolution: 27 taps over 1M samples vs the -march=native blocked loop -----------------

void BM_Conv(benchmark::State& state) {
    const int taps = static_cast<int>(state.range(0));
    const int n = static_cast<int>(state.range(1));
    const VecReal32 h = RandomReal(taps, 2);
    const VecReal32 x = RandomReal(n, 3);
    VecReal32 y;
    DSPUtils::Conv(y, h, x);
    for (auto _ : state) {
        DSPUtils::Conv(y, h, x);
        benchmark::DoNotOptimize(y[0]);
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(static_cast<long long>(state.iterations()) * n);
    state.SetLabel(kernels::ConvPrefersFft<float>(taps, n) ? "fft" : "direct");
}
BENCHMARK(BM_Conv)
    ->Args({27, 1 << 20})
    ->Args({4096, 1 << 20})
    ->MinTime(kMinTime)
    ->Unit(benchmark::kMillisecond);

void BM_ConvReferenceNative(benchmark::State& state) {
    const int taps = static_cast<int>(state.range(0));
    const int n = static_cast<int>(state.range(1));
    const auto h = RandomFloats(taps, 2);
    const auto x = RandomFloats(n, 3);
    std::vector<float> y(taps + n - 1);
    for (auto _ : state) {
        ReferenceBlockedConv(h.data(), taps, x.data(), n, y.data());
        benchmark::DoNotOptimize(y.data());
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(static_cast<long long>(state.iterations()) * n);
}
BENCHMARK(BM_ConvReferenceNative)
    ->Args({27, 1 << 20})
    ->MinTime(kMinTime)
    ->Unit(benchmark::kMillisecond);

// Direct summation at any tap count (the library's own direct kernel with ISA dispatch).
void BM_ConvDirectSum(benchmark::State& state) {
    const int taps = static_cast<int>(state.range(0));
    const int n = static_cast<int>(state.range(1));
    const auto h = RandomFloats(taps, 2);
    const auto x = RandomFloats(n, 3);
    std::vector<float> y(taps + n - 1);
    for (auto _ : state) {
        kernels::ConvDirect(h.data(), taps, x.data(), n, y.data());
        benchmark::DoNotOptimize(y.data());
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(static_cast<long long>(state.iterations()) * n);
}
BENCHMARK(BM_ConvDirectSum)
    ->Args({4096, 1 << 20})
    ->MinTime(kMinTime)
    ->Unit(benchmark::kMillisecond);

// ---- Crossover: both methods over tap counts, 1M samples ------------------------------------

template <typename T>
void ConvPath(benchmark::State& state, bool fft) {
    const int taps = static_cast<int>(state.range(0));
    const int n = static_cast<int>(state.range(1));
    std::vector<T> h(taps), x(n), y(taps + n - 1);
    std::mt19937 gen(4);
    std::uniform_real_distribution<double> d(-1.0, 1.0);
    auto draw = [&]() {
        if constexpr (std::is_same_v<T, Cplx32>)
            return Cplx32{static_cast<float>(d(gen)), static_cast<float>(d(gen))};
        else
            return static_cast<T>(d(gen));
    };
    for (auto& v : h)
        v = draw();
    for (auto& v : x)
        v = draw();
    for (auto _ : state) {
        if (fft)
            kernels::ConvFft(h.data(), taps, x.data(), n, y.data());
        else
            kernels::ConvDirect(h.data(), taps, x.data(), n, y.data());
        benchmark::DoNotOptimize(y.data());
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(static_cast<long long>(state.iterations()) * n * taps);
}

void BM_ConvPathDirectFloat(benchmark::State& s) {
    ConvPath<float>(s, false);
}
void BM_ConvPathFftFloat(benchmark::State& s) {
    ConvPath<float>(s, true);
}
void BM_ConvPathDirectDouble(benchmark::State& s) {
    ConvPath<double>(s, false);
}
void BM_ConvPathFftDouble(benchmark::State& s) {
    ConvPath<double>(s, true);
}
void BM_ConvPathDirectCplx(benchmark::State& s) {
    ConvPath<Cplx32>(s, false);
}
void BM_ConvPathFftCplx(benchmark::State& s) {
    ConvPath<Cplx32>(s, true);
}

void CrossoverArgs(benchmark::internal::Benchmark* b) {
    for (int taps : {8, 16, 32, 48, 64, 96, 128, 256})
        b->Args({taps, 1 << 20});
    for (int taps : {64, 256, 1024})
        b->Args({taps, 4096});
    b->MinTime(0.2)->Unit(benchmark::kMillisecond);
}
BENCHMARK(BM_ConvPathDirectFloat)->Apply(CrossoverArgs);
BENCHMARK(BM_ConvPathFftFloat)->Apply(CrossoverArgs);
BENCHMARK(BM_ConvPathDirectDouble)->Apply(CrossoverArgs);
BENCHMARK(BM_ConvPathFftDouble)->Apply(CrossoverArgs);

void CrossoverArgsComplex(benchmark::internal::Benchmark* b) {
    for (int taps : {4, 8, 16, 32, 64})
        b->Args({taps, 1 << 18});
    b->MinTime(0.2)->Unit(benchmark::kMillisecond);
}
BENCHMARK(BM_ConvPathDirectCplx)->Apply(CrossoverArgsComplex);
BENCHMARK(BM_ConvPathFftCplx)->Apply(CrossoverArgsComplex);

// ---- MagSqr of 1M complex floats vs VOLK ----------------------------------------------------

void BM_MagSqr(benchmark::State& state) {
    const int n = static_cast<int>(state.range(0));
    const VecCplx32 in = RandomCplx(n, 5);
    VecReal32 out;
    DSPUtils::MagSqr(out, in);
    for (auto _ : state) {
        DSPUtils::MagSqr(out, in);
        benchmark::DoNotOptimize(out[0]);
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(static_cast<long long>(state.iterations()) * 12LL * n);
}
BENCHMARK(BM_MagSqr)->Arg(1 << 20)->MinTime(kMinTime);

#ifdef OMBREL_BENCH_HAVE_VOLK
void BM_VolkMagSqr(benchmark::State& state) {
    const int n = static_cast<int>(state.range(0));
    const VecCplx32 in = RandomCplx(n, 5);
    VecReal32 out(n);
    const auto* src = reinterpret_cast<const lv_32fc_t*>(&const_cast<VecCplx32&>(in)[0]);
    for (auto _ : state) {
        volk_32fc_magnitude_squared_32f(&out[0], src, static_cast<unsigned>(n));
        benchmark::DoNotOptimize(out[0]);
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(static_cast<long long>(state.iterations()) * 12LL * n);
}
BENCHMARK(BM_VolkMagSqr)->Arg(1 << 20)->MinTime(kMinTime);
#endif

}  // namespace

BENCHMARK_MAIN();
