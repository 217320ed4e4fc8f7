// STREAM-style memory bandwidth of this machine: the physical limit that element-wise kernels
// are held against. Arrays of 64 MiB each are far larger than any cache level.
#include <benchmark/benchmark.h>

#include <cstddef>
#include <cstdlib>
#include <cstring>

namespace {

constexpr std::size_t kBytes = 64u << 20;
constexpr std::size_t kCount = kBytes / sizeof(float);

float* Make(float value) {
    auto* p = static_cast<float*>(std::aligned_alloc(64, kBytes));
    for (std::size_t i = 0; i < kCount; ++i)
        p[i] = value;
    return p;
}

// Copy: one read stream, one write stream.
void BM_StreamCopy(benchmark::State& state) {
    float* a = Make(1.0f);
    float* c = Make(0.0f);
    for (auto _ : state) {
        for (std::size_t i = 0; i < kCount; ++i)
            c[i] = a[i];
        benchmark::DoNotOptimize(c);
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(static_cast<long long>(state.iterations()) * 2 * kBytes);
    std::free(a);
    std::free(c);
}

// Triad: two read streams, one write stream.
void BM_StreamTriad(benchmark::State& state) {
    float* a = Make(0.0f);
    float* b = Make(1.0f);
    float* c = Make(2.0f);
    const float s = 3.0f;
    for (auto _ : state) {
        for (std::size_t i = 0; i < kCount; ++i)
            a[i] = b[i] + s * c[i];
        benchmark::DoNotOptimize(a);
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(static_cast<long long>(state.iterations()) * 3 * kBytes);
    std::free(a);
    std::free(b);
    std::free(c);
}

// In-place update (read and write the same stream): the access pattern of the vectors' in-place
// arithmetic, e.g. x[i] *= k.
void BM_StreamScaleInPlace(benchmark::State& state) {
    float* a = Make(1.0f);
    for (auto _ : state) {
        for (std::size_t i = 0; i < kCount; ++i)
            a[i] = a[i] * 1.0000001f;
        benchmark::DoNotOptimize(a);
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(static_cast<long long>(state.iterations()) * 2 * kBytes);
    std::free(a);
}

}  // namespace

BENCHMARK(BM_StreamCopy)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_StreamTriad)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_StreamScaleInPlace)->Unit(benchmark::kMillisecond);
BENCHMARK_MAIN();
