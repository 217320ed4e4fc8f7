// Transforms against their floors: FT::Forward against the same FFTW plan executed directly,
// ChirpZ::Apply against a minimal Bluestein on FFTW, and the planning cost of each effort.
#include <benchmark/benchmark.h>

#include <ombrel/dsp/ChirpZ.h>
#include <ombrel/dsp/FFT.h>
#include <ombrel/math/Vector.h>

#include "kernels/Allocator.h"
#include "kernels/FftPlan.h"

#include <fftw3.h>

#include <cmath>
#include <complex>
#include <cstdlib>
#include <vector>

namespace {

using namespace Kivo;

void Fill(VecCplx32& v, int n) {
    v.Resize(n);
    std::srand(1);
    for (int i = 0; i < n; ++i)
        v[i] = Cplx32{std::rand() / float(RAND_MAX) - 0.5f, std::rand() / float(RAND_MAX) - 0.5f};
}

// FT::Forward, complex float, default flag (forward unscaled).
void BM_FTForward(benchmark::State& state) {
    const int n = static_cast<int>(state.range(0));
    VecCplx32 in, out;
    Fill(in, n);
    FT ft;
    ft.Forward(out, in);  // plans once
    for (auto _ : state) {
        ft.Forward(out, in);
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * n);
}

// The plan FT uses (same key, so the same FFTW plan object), executed by FFTW directly on the
// same kind of 64-byte aligned buffers.
void BM_FftwForward(benchmark::State& state) {
    const int n = static_cast<int>(state.range(0));
    VecCplx32 in, out(n);
    Fill(in, n);
    auto plan = kernels::FftPlan::Get({kernels::FftPrecision::Single, kernels::FftKind::Complex, n,
                                       kernels::FftDirection::Forward, kernels::kDefaultFftEffort});
    auto p = static_cast<fftwf_plan>(plan->Handle());
    auto* i = reinterpret_cast<fftwf_complex*>(&in[0]);
    auto* o = reinterpret_cast<fftwf_complex*>(&out[0]);
    for (auto _ : state) {
        fftwf_execute_dft(p, i, o);
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * n);
}

constexpr int kSizes[] = {1024, 4096, 65536, 1000, 4800, 12289};

void FftSizes(benchmark::internal::Benchmark* b) {
    for (int n : kSizes)
        b->Arg(n);
    b->MinTime(0.3);
}
BENCHMARK(BM_FTForward)->Apply(FftSizes);
BENCHMARK(BM_FftwForward)->Apply(FftSizes);

// The chirp-Z case of the analyser's zoom: N inputs, M outputs over part of the band.
constexpr double kRate = 1.0e6, kStart = -2.0e5, kStep = 400.0;

void BM_ChirpZApply(benchmark::State& state) {
    const int n = static_cast<int>(state.range(0)), m = static_cast<int>(state.range(1));
    ChirpZ cz(n, kRate, m, kStart, kStep, false);
    VecCplx32 in, out;
    Fill(in, n);
    cz.Apply(out, in);
    for (auto _ : state) {
        cz.Apply(out, in);
        benchmark::ClobberMemory();
    }
}

// The floor: a minimal Bluestein written straight on FFTW with the same planning effort and
// time limit, the 1/L of the inverse folded into the kernel's spectrum, no checks, no vectors.
class MinimalBluestein {
  public:
    MinimalBluestein(int n, int m, double w0, double dw) : n_(n), m_(m) {
        l_ = 1;
        while (l_ < n + m - 1)
            l_ <<= 1;
        a_ = Alloc(n);
        w_ = Alloc(m);
        h_ = Alloc(l_);
        y_ = Alloc(l_);
        z_ = Alloc(l_);
        const unsigned flags = kernels::kDefaultFftEffort == kernels::FftEffort::Measure
                                   ? FFTW_MEASURE
                                   : FFTW_ESTIMATE;
        fftwf_set_timelimit(kernels::kDefaultFftPlanTimeLimit);
        fwd_ = fftwf_plan_dft_1d(l_, y_, z_, FFTW_FORWARD, flags);
        inv_ = fftwf_plan_dft_1d(l_, z_, y_, FFTW_BACKWARD, flags);
        auto chirp = [dw](long long k, int sign) {
            const double ph = std::fmod(0.5 * dw * static_cast<double>(k * k), 2 * M_PI);
            return std::complex<double>(std::cos(ph), sign * std::sin(ph));
        };
        for (int k = 0; k < n; ++k) {
            const auto c = chirp(k, -1) * std::polar(1.0, -w0 * k);
            a_[k][0] = static_cast<float>(c.real());
            a_[k][1] = static_cast<float>(c.imag());
        }
        for (int k = 0; k < m; ++k) {
            const auto c = chirp(k, -1);
            w_[k][0] = static_cast<float>(c.real());
            w_[k][1] = static_cast<float>(c.imag());
        }
        for (int i = 0; i < l_; ++i)
            y_[i][0] = y_[i][1] = 0;
        for (int i = 0; i < l_; ++i) {
            const long long k = i < m ? i : (i > l_ - n ? i - l_ : 0);
            if (i >= m && i <= l_ - n) continue;
            const auto c = chirp(k, +1) / static_cast<double>(l_);
            y_[i][0] = static_cast<float>(c.real());
            y_[i][1] = static_cast<float>(c.imag());
        }
        fftwf_execute_dft(fwd_, y_, h_);
    }
    ~MinimalBluestein() {
        fftwf_destroy_plan(fwd_);
        fftwf_destroy_plan(inv_);
        for (fftwf_complex* p : {a_, w_, h_, y_, z_})
            fftwf_free(p);
    }
    void Run(const fftwf_complex* x, fftwf_complex* out) {
        for (int k = 0; k < n_; ++k) {
            y_[k][0] = x[k][0] * a_[k][0] - x[k][1] * a_[k][1];
            y_[k][1] = x[k][0] * a_[k][1] + x[k][1] * a_[k][0];
        }
        for (int k = n_; k < l_; ++k)
            y_[k][0] = y_[k][1] = 0;
        fftwf_execute_dft(fwd_, y_, z_);
        for (int k = 0; k < l_; ++k) {
            const float re = z_[k][0] * h_[k][0] - z_[k][1] * h_[k][1];
            const float im = z_[k][0] * h_[k][1] + z_[k][1] * h_[k][0];
            z_[k][0] = re;
            z_[k][1] = im;
        }
        fftwf_execute_dft(inv_, z_, y_);
        for (int k = 0; k < m_; ++k) {
            out[k][0] = y_[k][0] * w_[k][0] - y_[k][1] * w_[k][1];
            out[k][1] = y_[k][0] * w_[k][1] + y_[k][1] * w_[k][0];
        }
    }

  private:
    static fftwf_complex* Alloc(int n) { return fftwf_alloc_complex(static_cast<size_t>(n)); }
    int n_, m_, l_;
    fftwf_complex *a_, *w_, *h_, *y_, *z_;
    fftwf_plan fwd_, inv_;
};

void BM_BluesteinFloor(benchmark::State& state) {
    const int n = static_cast<int>(state.range(0)), m = static_cast<int>(state.range(1));
    const double twoPi = 6.2831855f;
    MinimalBluestein b(n, m, twoPi * kStart / kRate, twoPi * kStep / kRate);
    VecCplx32 in;
    Fill(in, n);
    std::vector<fftwf_complex> out(m);
    auto* x = reinterpret_cast<const fftwf_complex*>(&in[0]);
    for (auto _ : state) {
        b.Run(x, out.data());
        benchmark::ClobberMemory();
    }
}

BENCHMARK(BM_ChirpZApply)->Args({4096, 1001})->MinTime(0.3);
BENCHMARK(BM_BluesteinFloor)->Args({4096, 1001})->MinTime(0.3);

// Planning cost of one single-precision complex plan from no wisdom, per effort (the first
// plan of a size in a process). MEASURE runs under the library's planning time limit.
void BM_Plan(benchmark::State& state, unsigned flags) {
    const int n = static_cast<int>(state.range(0));
    auto* in = fftwf_alloc_complex(static_cast<size_t>(n));
    auto* out = fftwf_alloc_complex(static_cast<size_t>(n));
    fftwf_set_timelimit(kernels::kDefaultFftPlanTimeLimit);
    for (auto _ : state) {
        fftwf_forget_wisdom();
        fftwf_plan p = fftwf_plan_dft_1d(n, in, out, FFTW_FORWARD, flags);
        state.PauseTiming();
        fftwf_destroy_plan(p);
        state.ResumeTiming();
    }
    fftwf_free(in);
    fftwf_free(out);
}
void BM_PlanEstimate(benchmark::State& state) {
    BM_Plan(state, FFTW_ESTIMATE);
}
void BM_PlanMeasure(benchmark::State& state) {
    BM_Plan(state, FFTW_MEASURE);
}
BENCHMARK(BM_PlanEstimate)->Apply(FftSizes)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_PlanMeasure)
    ->Arg(1024)
    ->Arg(4096)
    ->Arg(65536)
    ->Arg(1000)
    ->Arg(4800)
    ->Arg(12289)
    ->Iterations(1)
    ->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
