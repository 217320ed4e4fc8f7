// Chirp-Z transform by Bluestein's convolution, every table made at construction.
#define KIVO_SOURCE_UNIT "src/dsp/ChirpZ"

#include <ombrel/dsp/ChirpZ.h>

#include <ombrel/infra/UnitTestRecorder.h>
#include <ombrel/math/KivoException.h>

#include "kernels/Error.h"
#include "kernels/SelfTest.h"
#include "kernels/VectorAccess.h"
#include "kernels/VectorKernels.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <memory>

namespace Kivo {

namespace {

template <class V>
auto* DataOf(const V& v) {
    return kernels::VectorAccess::Data(v);
}

// The smallest power of two >= n, for 1 <= n <= 2^30.
int NextPowerOfTwo(int n) {
    int p = 1;
    while (p < n)
        p <<= 1;
    return p;
}

constexpr long double kTwoPiL = 6.283185307179586476925286766559L;

// e^(j sign phase) with the phase reduced to [-pi, pi] in long double first: phases here are
// n^2 dw / 2 and grow quadratically, so they are formed from exact integer squares and reduced
// before the trigonometric functions see them.
template <typename C>
C Rotor(long double phase, int sign) {
    const long double reduced = phase - kTwoPiL * std::nearbyint(phase / kTwoPiL);
    using Real = decltype(C{}.re);
    return C{static_cast<Real>(std::cos(reduced)), static_cast<Real>(sign * std::sin(reduced))};
}

// Fills a (N), h (L), w (K), H = FT(h), and sizes the work vectors y, Y (L); the inverse
// transform is run once on H so that both FFT plans exist before the first Apply.
template <typename V>
void BuildTables(int N, int L, int K, long double w0, long double dw, FT& ft, V& a, V& h, V& H,
                 V& w, V& y, V& Y) {
    using C = std::remove_pointer_t<decltype(DataOf(a))>;
    a.Resize(N);
    h.Resize(L);
    w.Resize(K);
    y.Resize(L);
    Y.Resize(L);
    const long double halfDw = dw / 2;
    for (int i = 0, end = std::max(L, K); i < end; ++i) {
        const long double n = static_cast<long double>(i) - N + 1;
        const long double phi = n * n * halfDw;
        if (i < K) w[i] = Rotor<C>(phi, -1);
        if (i < L) h[i] = Rotor<C>(phi, +1);
    }
    ft.Forward(H, h);
    for (int i = 0; i < N; ++i) {
        const long double n = i;
        a[i] = Rotor<C>(n * n * halfDw + n * w0, -1);
    }
    ft.Inverse(y, H);
}

template <typename V>
void RunChirpZ(int N, int M, int L, FT& ft, const V& a, const V& H, const V& w, V& y, V& Y, V& out,
               const V& in) {
    using C = std::remove_pointer_t<decltype(DataOf(a))>;
    C* py = DataOf(y);
    kernels::Mul(DataOf(in), DataOf(a), py, N);
    std::memset(static_cast<void*>(py + N), 0, static_cast<std::size_t>(L - N) * sizeof(C));
    ft.Forward(Y, y);
    kernels::MulInPlace(DataOf(H), DataOf(Y), L);
    ft.Inverse(out, Y);
    kernels::MulInPlace(DataOf(w) + (N - 1), DataOf(out) + (N - 1), M);
    out.Truncate(N - 1, M);
}

}  // namespace

ChirpZ::ChirpZ(int N_, double sampleRate, int M_, double fStart, double fStep, bool doublePrecision)
    : N(N_), M(M_), L(0), K(0), ft(nullptr), isDouble(doublePrecision) {
    if (N < 1 || M < 1 || !std::isfinite(sampleRate) || !(sampleRate > 0) ||
        !std::isfinite(fStart) || !std::isfinite(fStep) ||
        static_cast<long long>(N) + M - 1 > (1LL << 30))
        KIVO_THROW(KIVO_INVALID_INPUT_PARAMETER);
    L = NextPowerOfTwo(N + M - 1);
    K = N + std::max(M, N) - 1;
    // 2 pi as the single-precision constant, the frequencies in long double.
    const long double twoPi = 6.2831855f;
    const long double w0 = twoPi * fStart / sampleRate;
    const long double dw = twoPi * fStep / sampleRate;
    std::unique_ptr<FT> transform(new FT(2, KIVO_ALG_HINT_ACCURATE));
    if (isDouble)
        BuildTables(N, L, K, w0, dw, *transform, a64, h64, H64, w64, y64, Y64);
    else
        BuildTables(N, L, K, w0, dw, *transform, a32, h32, H32, w32, y32, Y32);
    ft = transform.release();
}

ChirpZ::ChirpZ(const ChirpZ& other)
    : a32(other.a32),
      h32(other.h32),
      H32(other.H32),
      w32(other.w32),
      y32(other.y32),
      Y32(other.Y32),
      a64(other.a64),
      h64(other.h64),
      H64(other.H64),
      w64(other.w64),
      y64(other.y64),
      Y64(other.Y64),
      N(other.N),
      M(other.M),
      L(other.L),
      K(other.K),
      ft(new FT(*other.ft)),
      isDouble(other.isDouble) {}

ChirpZ& ChirpZ::operator=(const ChirpZ& other) {
    if (this == &other) return *this;
    std::unique_ptr<FT> transform(new FT(*other.ft));
    a32 = other.a32;
    h32 = other.h32;
    H32 = other.H32;
    w32 = other.w32;
    y32 = other.y32;
    Y32 = other.Y32;
    a64 = other.a64;
    h64 = other.h64;
    H64 = other.H64;
    w64 = other.w64;
    y64 = other.y64;
    Y64 = other.Y64;
    N = other.N;
    M = other.M;
    L = other.L;
    K = other.K;
    isDouble = other.isDouble;
    delete ft;
    ft = transform.release();
    return *this;
}

ChirpZ::~ChirpZ() {
    delete ft;
}

void ChirpZ::Apply(VecCplx32& out, const VecCplx32& in) {
    // A short input would be read past its end, and the other precision has no tables.
    if (isDouble || in.GetSize() != N) KIVO_THROW(KIVO_INVALID_INPUT_PARAMETER);
    RunChirpZ(N, M, L, *ft, a32, H32, w32, y32, Y32, out, in);
}

void ChirpZ::Apply(VecCplx64& out, const VecCplx64& in) {
    if (!isDouble || in.GetSize() != N) KIVO_THROW(KIVO_INVALID_INPUT_PARAMETER);
    RunChirpZ(N, M, L, *ft, a64, H64, w64, y64, Y64, out, in);
}

bool ChirpZ::UnitTest(UnitTestRecorder& recorder) {
    bool ok = true;
    const char* cls = "ChirpZ";
    {
        ChirpZ cz(5, 1.0, 4, 0.0, 0.1, false);
        kernels::Record(recorder, ok, cls, "N=5, M=4 gives L=8, K=9", cz.L == 8 && cz.K == 9);
    }
    {
        // An impulse at index 0 has the flat spectrum 1 at every frequency.
        ChirpZ cz(20, 1000.0, 7, -130.0, 11.5, false);
        VecCplx32 x(20), y;
        x.SetZero();
        x[0] = Cplx32{1, 0};
        cz.Apply(y, x);
        bool ones = y.GetSize() == 7;
        for (int k = 0; ones && k < 7; ++k)
            ones = std::fabs(y[k].re - 1) < 1e-5 && std::fabs(y[k].im) < 1e-5;
        kernels::Record(recorder, ok, cls, "impulse gives M ones", ones);
    }
    {
        // A tone at fStart + 3 fStep peaks at k = 3 with amplitude N.
        const int n = 64;
        const double fs = 1.0e6, f0 = 1.0e5, df = 2.0e3;
        ChirpZ cz(n, fs, 9, f0, df, true);
        VecCplx64 x(n), y;
        const double twoPi = static_cast<double>(6.2831855f);
        for (int i = 0; i < n; ++i) {
            const double ph = twoPi * (f0 + 3 * df) / fs * i;
            x[i] = Cplx64{std::cos(ph), std::sin(ph)};
        }
        cz.Apply(y, x);
        int best = -1;
        double bestMag = -1;
        for (int k = 0; k < y.GetSize(); ++k) {
            const double m = std::hypot(y[k].re, y[k].im);
            if (m > bestMag) bestMag = m, best = k;
        }
        kernels::Record(recorder, ok, cls, "tone peaks at k = 3",
                        best == 3 && std::fabs(bestMag - n) < 1e-9 * n);
    }
    return ok;
}

}  // namespace Kivo
