// Spectrum::Apply on one block, beside the FFTW plan it uses executed alone on the same data.
#include <ombrel/Ombrel.h>

#include "kernels/FftPlan.h"
#include "kernels/VecMath.h"

#include <benchmark/benchmark.h>

#include <cmath>
#include <random>

namespace {

Kivo::VecCplx32 Block(int n) {
    std::mt19937 rng(1);
    std::normal_distribution<float> g(0.0f, 0.3f);
    Kivo::VecCplx32 v(n);
    for (int i = 0; i < n; ++i)
        v[i] = Kivo::Cplx32{g(rng), g(rng)};
    return v;
}

void SpectrumApply(benchmark::State& state, int unit) {
    const int n = static_cast<int>(state.range(0));
    const Kivo::VecCplx32 x = Block(n);
    Kivo::Spectrum s(n, Kivo::WT_FLAT_TOP, 0.0f);
    s.SetUnit(static_cast<Kivo::PowerUnit>(unit));
    Kivo::VecReal32 trace;
    s.Apply(trace, x);  // plans and sizes
    for (auto _ : state) {
        s.Apply(trace, x);
        benchmark::DoNotOptimize(&trace[0]);
    }
    state.SetItemsProcessed(state.iterations() * n);
}

void BM_SpectrumApplyDb(benchmark::State& state) {
    SpectrumApply(state, 0);
}
void BM_SpectrumApplyLinear(benchmark::State& state) {
    SpectrumApply(state, 2);
}

// The transform alone: the same cached FFTW plan the library's FT uses, on the same buffers.
void BM_FftwSamePlan(benchmark::State& state) {
    const int n = static_cast<int>(state.range(0));
    Kivo::VecCplx32 x = Block(n);
    Kivo::VecCplx32 y(n);
    using namespace Kivo::kernels;
    const auto plan = FftPlan::Get(
        {FftPrecision::Single, FftKind::Complex, n, FftDirection::Forward, kDefaultFftEffort});
    for (auto _ : state) {
        plan->Execute(&x[0], &y[0]);
        benchmark::DoNotOptimize(&y[0]);
    }
    state.SetItemsProcessed(state.iterations() * n);
}

// The steps of Apply one by one, to see where the time goes.
void BM_StepWindow(benchmark::State& state) {
    const int n = static_cast<int>(state.range(0));
    Kivo::VecCplx32 x = Block(n), y(n);
    Kivo::WindowFactory f;
    Kivo::Window* w = f.MakeWindow(Kivo::WT_FLAT_TOP, n, 0.0f);
    for (auto _ : state) {
        w->Apply(y, x);
        benchmark::DoNotOptimize(&y[0]);
    }
    delete w;
}
void BM_StepAbs(benchmark::State& state) {
    const int n = static_cast<int>(state.range(0));
    Kivo::VecCplx32 x = Block(n);
    Kivo::VecReal32 m(n);
    for (auto _ : state) {
        Kivo::MathUtils::Abs(m, x);
        benchmark::DoNotOptimize(&m[0]);
    }
}
void BM_StepShift(benchmark::State& state) {
    const int n = static_cast<int>(state.range(0));
    Kivo::VecReal32 a(n), b(n);
    for (int i = 0; i < n; ++i)
        a[i] = 1.0f + i;
    for (auto _ : state) {
        Kivo::DSPUtils::FFTShift(b, a);
        benchmark::DoNotOptimize(&b[0]);
    }
}
void BM_StepLog10(benchmark::State& state) {
    const int n = static_cast<int>(state.range(0));
    Kivo::VecReal32 a(n), b(n);
    for (int i = 0; i < n; ++i)
        a[i] = 0.001f + i;
    for (auto _ : state) {
        Kivo::MathUtils::Log10(b, a);
        benchmark::DoNotOptimize(&b[0]);
    }
}

// Magnitude, floor, log10 and the factor 20 in the one pass the dB trace uses.
void BM_StepAmplitudeDb(benchmark::State& state) {
    const int n = static_cast<int>(state.range(0));
    Kivo::VecCplx32 x = Block(n);
    Kivo::VecReal32 mag(n), lin(n), db(n);
    for (auto _ : state) {
        Kivo::kernels::VecAmplitudeDb(reinterpret_cast<const float*>(&x[0]), &mag[0], &lin[0],
                                      &db[0], 1e-40f, n);
        benchmark::DoNotOptimize(&db[0]);
    }
}

}  // namespace

BENCHMARK(BM_StepWindow)->Arg(4096);
BENCHMARK(BM_StepAbs)->Arg(4096);
BENCHMARK(BM_StepShift)->Arg(4096);
BENCHMARK(BM_StepLog10)->Arg(4096);
BENCHMARK(BM_StepAmplitudeDb)->Arg(4096);
BENCHMARK(BM_SpectrumApplyDb)->Arg(4096)->MinTime(0.3);
BENCHMARK(BM_SpectrumApplyLinear)->Arg(4096)->MinTime(0.3);
BENCHMARK(BM_FftwSamePlan)->Arg(4096)->MinTime(0.3);
BENCHMARK_MAIN();
