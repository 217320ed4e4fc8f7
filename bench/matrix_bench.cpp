// Element-wise matrix addition: the library's dispatched kernel against the plain loop a user
// would write, in cache and far beyond it.
#include <ombrel/math/Matrix.h>

#include <benchmark/benchmark.h>

#include <cstddef>
#include <cstdlib>

namespace {

// a += b over n x n single-precision matrices.
void BM_MatAdd(benchmark::State& state) {
    const int n = static_cast<int>(state.range(0));
    Kivo::MatReal32 a(n, n);
    Kivo::MatReal32 b(n, n);
    a.SetZero();
    b.SetZero();
    b += 1.0f;
    for (auto _ : state) {
        a += b;
        benchmark::DoNotOptimize(a[0]);
        benchmark::ClobberMemory();
    }
    // Two read streams and one write stream.
    state.SetBytesProcessed(static_cast<long long>(state.iterations()) * 3 * n * n * 4);
}

// The same on plain aligned arrays, compiled for the baseline instruction set.
void BM_PlainAdd(benchmark::State& state) {
    const std::size_t count = static_cast<std::size_t>(state.range(0)) * state.range(0);
    const std::size_t bytes = (count * sizeof(float) + 63) / 64 * 64;
    auto* a = static_cast<float*>(std::aligned_alloc(64, bytes));
    auto* b = static_cast<float*>(std::aligned_alloc(64, bytes));
    for (std::size_t i = 0; i < count; ++i) {
        a[i] = 0.0f;
        b[i] = 1.0f;
    }
    for (auto _ : state) {
        for (std::size_t i = 0; i < count; ++i)
            a[i] = a[i] + b[i];
        benchmark::DoNotOptimize(a);
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(static_cast<long long>(state.iterations()) * 3 *
                            static_cast<long long>(count) * 4);
    std::free(a);
    std::free(b);
}

BENCHMARK(BM_MatAdd)->Arg(64)->Arg(256)->Arg(4096)->MinTime(0.3);
BENCHMARK(BM_PlainAdd)->Arg(64)->Arg(256)->Arg(4096)->MinTime(0.3);

}  // namespace

BENCHMARK_MAIN();
