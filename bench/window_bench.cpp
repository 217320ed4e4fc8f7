// Window application on a block of complex samples against a plain multiply loop with the same
// runtime ISA dispatch, over the same data.
#include <benchmark/benchmark.h>

#include <ombrel/dsp/Window.h>

#include <cstdlib>
#include <vector>

namespace {

// The reference: what a user would write without the library, one pass of out = in * w over
// the interleaved floats, cloned per ISA and chosen at load time like the library's kernels.
#if defined(__x86_64__) && !defined(__clang__)
__attribute__((target_clones("avx512f", "avx2", "default")))
#endif
void PlainMul(float* __restrict out, const float* __restrict in, const float* __restrict w,
              int n) {
    for (int i = 0; i < n; ++i)
        out[i] = in[i] * w[i];
}

void Fill(Kivo::VecCplx32& x) {
    for (int i = 0; i < x.GetSize(); ++i)
        x[i] = Kivo::Cplx32{0.001f * static_cast<float>(i % 1000), -0.5f};
}

void BM_WindowApply(benchmark::State& state) {
    const int n = static_cast<int>(state.range(0));
    Kivo::HannWindow w(n);
    Kivo::VecCplx32 in(n), out;
    Fill(in);
    w.Apply(out, in);
    for (auto _ : state) {
        w.Apply(out, in);
        benchmark::DoNotOptimize(&out[0]);
        benchmark::ClobberMemory();
    }
    // read in and coefficients, write out: three streams of 2N floats
    state.SetBytesProcessed(state.iterations() * 3LL * 2 * n * 4);
}

void BM_PlainDispatchedMul(benchmark::State& state) {
    const int n = static_cast<int>(state.range(0));
    Kivo::HannWindow w(n);
    Kivo::VecCplx32 in(n);
    Fill(in);
    // The same 2N coefficients, taken from the window through a unit-amplitude block.
    Kivo::VecCplx32 ones(n), coeffs;
    for (int i = 0; i < n; ++i)
        ones[i] = Kivo::Cplx32{1.0f, 1.0f};
    w.Apply(coeffs, ones);
    auto* a = static_cast<float*>(std::aligned_alloc(64, 8 * static_cast<std::size_t>(n)));
    auto* c = static_cast<float*>(std::aligned_alloc(64, 8 * static_cast<std::size_t>(n)));
    auto* o = static_cast<float*>(std::aligned_alloc(64, 8 * static_cast<std::size_t>(n)));
    for (int i = 0; i < n; ++i) {
        a[2 * i] = in[i].re;
        a[2 * i + 1] = in[i].im;
        c[2 * i] = coeffs[i].re;
        c[2 * i + 1] = coeffs[i].im;
    }
    for (auto _ : state) {
        PlainMul(o, a, c, 2 * n);
        benchmark::DoNotOptimize(o);
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(state.iterations() * 3LL * 2 * n * 4);
    std::free(a);
    std::free(c);
    std::free(o);
}

}  // namespace

BENCHMARK(BM_WindowApply)->Arg(65536)->MinTime(0.5);
BENCHMARK(BM_PlainDispatchedMul)->Arg(65536)->MinTime(0.5);
BENCHMARK_MAIN();
