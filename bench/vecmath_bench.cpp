// Element-wise math on 1M floats (logarithms also on one 4096-point block): MathUtils (1-ulp
// kernels behind the run-time ISA choice: SLEEF, except single-precision ln and log10 on AVX2,
// which have their own table kernel) against SLEEF's widest 1-ulp function for this
// processor called directly in a loop, and against a plain loop over the C library's scalar
// function.
#include <benchmark/benchmark.h>
#include <immintrin.h>
#include <ombrel/math/MathUtils.h>

#include <cmath>
#include <random>
#include <vector>

extern "C" {
__m256 Sleef_logf8_u10avx2(__m256);
__m512 Sleef_logf16_u10avx512f(__m512);
__m256 Sleef_log10f8_u10avx2(__m256);
__m256 Sleef_sinf8_u10avx2(__m256);
__m256 Sleef_expf8_u10avx2(__m256);
__m512 Sleef_log10f16_u10avx512f(__m512);
__m512 Sleef_sinf16_u10avx512f(__m512);
__m512 Sleef_expf16_u10avx512f(__m512);
}

namespace {

enum class Fn { Ln, Log10, Sin, Exp };

std::vector<float> Input(Fn f, int n) {
    std::mt19937 rng(7);
    const bool log = f == Fn::Ln || f == Fn::Log10;
    std::uniform_real_distribution<float> d(log            ? 1e-3f
                                            : f == Fn::Sin ? -100.0f
                                                           : -80.0f,
                                            log            ? 1e3f
                                            : f == Fn::Sin ? 100.0f
                                                           : 80.0f);
    std::vector<float> x(n);
    for (auto& v : x)
        v = d(rng);
    return x;
}

void Ours(benchmark::State& state, Fn f) {
    const int n = static_cast<int>(state.range(0));
    const auto x = Input(f, n);
    Kivo::VecReal32 in(n), out(n);
    for (int i = 0; i < n; ++i)
        in[i] = x[i];
    for (auto _ : state) {
        switch (f) {
            case Fn::Ln:
                Kivo::MathUtils::Ln(out, in);
                break;
            case Fn::Log10:
                Kivo::MathUtils::Log10(out, in);
                break;
            case Fn::Sin:
                Kivo::MathUtils::Sin(out, in);
                break;
            case Fn::Exp:
                Kivo::MathUtils::Exp(out, in);
                break;
        }
        benchmark::DoNotOptimize(&out[0]);
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * n);
}

__attribute__((target("avx2,fma"))) void SleefAvx2(Fn f, const float* s, float* d, int n) {
    int i = 0;
    for (; i + 8 <= n; i += 8) {
        const __m256 v = _mm256_loadu_ps(s + i);
        const __m256 r = f == Fn::Ln      ? Sleef_logf8_u10avx2(v)
                         : f == Fn::Log10 ? Sleef_log10f8_u10avx2(v)
                         : f == Fn::Sin   ? Sleef_sinf8_u10avx2(v)
                                          : Sleef_expf8_u10avx2(v);
        _mm256_storeu_ps(d + i, r);
    }
}

__attribute__((target("avx512f"))) void SleefAvx512(Fn f, const float* s, float* d, int n) {
    int i = 0;
    for (; i + 16 <= n; i += 16) {
        const __m512 v = _mm512_loadu_ps(s + i);
        const __m512 r = f == Fn::Ln      ? Sleef_logf16_u10avx512f(v)
                         : f == Fn::Log10 ? Sleef_log10f16_u10avx512f(v)
                         : f == Fn::Sin   ? Sleef_sinf16_u10avx512f(v)
                                          : Sleef_expf16_u10avx512f(v);
        _mm512_storeu_ps(d + i, r);
    }
}

// SLEEF's widest 1-ulp function this processor runs, called directly (length a multiple of 16).
void Sleef(benchmark::State& state, Fn f) {
    const int n = static_cast<int>(state.range(0));
    const auto x = Input(f, n);
    std::vector<float> out(n);
    const bool avx512 = __builtin_cpu_supports("avx512f");
    if (!avx512 && !(__builtin_cpu_supports("avx2") && __builtin_cpu_supports("fma"))) {
        state.SkipWithError("no AVX2/AVX-512 on this processor");
        return;
    }
    state.SetLabel(avx512 ? "avx512f" : "avx2");
    for (auto _ : state) {
        if (avx512) {
            SleefAvx512(f, x.data(), out.data(), n);
        } else {
            SleefAvx2(f, x.data(), out.data(), n);
        }
        benchmark::DoNotOptimize(out.data());
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * n);
}

// What a user writes without a vector library: the C library's scalar function in a loop.
void Glibc(benchmark::State& state, Fn f) {
    const int n = static_cast<int>(state.range(0));
    const auto x = Input(f, n);
    std::vector<float> out(n);
    for (auto _ : state) {
        for (int i = 0; i < n; ++i) {
            out[i] = f == Fn::Ln      ? std::log(x[i])
                     : f == Fn::Log10 ? std::log10(x[i])
                     : f == Fn::Sin   ? std::sin(x[i])
                                      : std::exp(x[i]);
        }
        benchmark::DoNotOptimize(out.data());
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * n);
}

void BM_MathUtilsLn(benchmark::State& s) {
    Ours(s, Fn::Ln);
}
void BM_SleefLn(benchmark::State& s) {
    Sleef(s, Fn::Ln);
}
void BM_MathUtilsLog10(benchmark::State& s) {
    Ours(s, Fn::Log10);
}
void BM_MathUtilsSin(benchmark::State& s) {
    Ours(s, Fn::Sin);
}
void BM_MathUtilsExp(benchmark::State& s) {
    Ours(s, Fn::Exp);
}
void BM_SleefLog10(benchmark::State& s) {
    Sleef(s, Fn::Log10);
}
void BM_SleefSin(benchmark::State& s) {
    Sleef(s, Fn::Sin);
}
void BM_SleefExp(benchmark::State& s) {
    Sleef(s, Fn::Exp);
}
void BM_GlibcLog10(benchmark::State& s) {
    Glibc(s, Fn::Log10);
}
void BM_GlibcSin(benchmark::State& s) {
    Glibc(s, Fn::Sin);
}
void BM_GlibcExp(benchmark::State& s) {
    Glibc(s, Fn::Exp);
}

constexpr int kN = 1 << 20;
// 4096: one spectrum block, the analyser's hot loop (in cache); 1M: streaming from memory.
BENCHMARK(BM_MathUtilsLog10)->Arg(4096)->Arg(kN)->MinTime(0.3);
BENCHMARK(BM_SleefLog10)->Arg(4096)->Arg(kN)->MinTime(0.3);
BENCHMARK(BM_GlibcLog10)->Arg(kN)->MinTime(0.3);
BENCHMARK(BM_MathUtilsLn)->Arg(4096)->Arg(kN)->MinTime(0.3);
BENCHMARK(BM_SleefLn)->Arg(4096)->Arg(kN)->MinTime(0.3);
BENCHMARK(BM_MathUtilsSin)->Arg(kN)->MinTime(0.3);
BENCHMARK(BM_SleefSin)->Arg(kN)->MinTime(0.3);
BENCHMARK(BM_GlibcSin)->Arg(kN)->MinTime(0.3);
BENCHMARK(BM_MathUtilsExp)->Arg(kN)->MinTime(0.3);
BENCHMARK(BM_SleefExp)->Arg(kN)->MinTime(0.3);
BENCHMARK(BM_GlibcExp)->Arg(kN)->MinTime(0.3);

}  // namespace

BENCHMARK_MAIN();
