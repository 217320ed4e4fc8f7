// Integer and byte kernels: the dispatched kernels against their plain scalar references, in
// cache (4096 elements) and out of cache (16M elements).
#include "kernels/IntKernels.h"

#include <benchmark/benchmark.h>

#include <vector>

namespace {

template <void (*Kernel)(const short*, short*, int)>
void AddSat16s(benchmark::State& state) {
    const int n = static_cast<int>(state.range(0));
    std::vector<short> a(n), b(n);
    for (int i = 0; i < n; ++i) {
        a[i] = static_cast<short>(i * 37);
        b[i] = static_cast<short>(i * 11);
    }
    for (auto _ : state) {
        Kernel(a.data(), b.data(), n);
        benchmark::DoNotOptimize(b.data());
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(static_cast<long long>(state.iterations()) * 3 * n * 2);
}

template <void (*Kernel)(const unsigned char*, unsigned char*, int)>
void XorBits(benchmark::State& state) {
    const int n = static_cast<int>(state.range(0));
    std::vector<unsigned char> a(n, 1), b(n, 0);
    for (auto _ : state) {
        Kernel(a.data(), b.data(), n);
        benchmark::DoNotOptimize(b.data());
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(static_cast<long long>(state.iterations()) * 3 * n);
}

template <void (*Kernel)(const short*, int, short*, int)>
void Sum16s(benchmark::State& state) {
    const int n = static_cast<int>(state.range(0));
    std::vector<short> a(n);
    for (int i = 0; i < n; ++i)
        a[i] = static_cast<short>(i * 37);
    short s = 0;
    for (auto _ : state) {
        Kernel(a.data(), n, &s, 0);
        benchmark::DoNotOptimize(s);
    }
    state.SetBytesProcessed(static_cast<long long>(state.iterations()) * n * 2);
}

void BM_AddSat16s(benchmark::State& s) {
    AddSat16s<Kivo::kernels::AddInPlace16s>(s);
}
void BM_AddSat16sScalar(benchmark::State& s) {
    AddSat16s<Kivo::kernels::reference::AddInPlace16s>(s);
}
void BM_XorBits(benchmark::State& s) {
    XorBits<Kivo::kernels::XorInPlace8u>(s);
}
void BM_XorBitsScalar(benchmark::State& s) {
    XorBits<Kivo::kernels::reference::XorInPlace8u>(s);
}
void BM_Sum16s(benchmark::State& s) {
    Sum16s<Kivo::kernels::SumSfs16s>(s);
}
void BM_Sum16sScalar(benchmark::State& s) {
    Sum16s<Kivo::kernels::reference::SumSfs16s>(s);
}

}  // namespace

BENCHMARK(BM_AddSat16s)->Arg(4096)->Arg(1 << 24)->MinTime(0.3);
BENCHMARK(BM_AddSat16sScalar)->Arg(4096)->Arg(1 << 24)->MinTime(0.3);
BENCHMARK(BM_XorBits)->Arg(4096)->Arg(1 << 24)->MinTime(0.3);
BENCHMARK(BM_XorBitsScalar)->Arg(4096)->Arg(1 << 24)->MinTime(0.3);
BENCHMARK(BM_Sum16s)->Arg(4096)->Arg(1 << 24)->MinTime(0.3);
BENCHMARK(BM_Sum16sScalar)->Arg(4096)->Arg(1 << 24)->MinTime(0.3);
BENCHMARK_MAIN();
