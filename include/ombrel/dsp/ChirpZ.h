// Chirp-Z (Bluestein) transform: the spectrum of N complex samples at M equally spaced
// frequencies anywhere within the sample rate.
#pragma once

#include <ombrel/Export.h>
#include <ombrel/dsp/FFT.h>
#include <ombrel/math/Vector.h>

namespace Kivo {

class UnitTestRecorder;

namespace kernels {
struct ChirpZAccess;
}

/// X[k] = sum_{n=0}^{N-1} in[n] e^(-j w0 n) e^(-j dw n k), k = 0 ... M-1, with
/// w0 = 2 pi fStart / sampleRate and dw = 2 pi fStep / sampleRate (2 pi taken as the
/// single-precision constant 6.2831855): the spectrum at fStart + k fStep, unscaled (not divided
/// by N). With M = N, fStart = 0 and fStep = sampleRate / N it is the N-point forward DFT.
///
/// Computed as a pre-multiplication by a chirp, one circular convolution of length L (the
/// smallest power of two >= N + M - 1) by forward and inverse FFTs, and a post-multiplication.
/// Every table (chirps, the convolution kernel and its transform) and both FFT plans are made
/// at construction; Apply allocates nothing once its output vector has room for L values.
///
/// One object serves one thread at a time (Apply uses member work vectors).
class OMBREL_API ChirpZ {
  public:
    /// Tables in single precision (for Apply on VecCplx32) when `doublePrecision` is false, in
    /// double precision (for Apply on VecCplx64) when true. Throws 8005 "invalid input
    /// parameter" for N < 1, M < 1, a sample rate that is not finite and > 0, a start or step
    /// that is not finite, or N + M - 1 above 2^30; 8000 when memory runs out.
    ChirpZ(int N, double sampleRate, int M, double fStart, double fStep, bool doublePrecision);
    /// Deep copy of the tables; the copy's transform shares the (immutable) FFT plans.
    ChirpZ(const ChirpZ& other);
    ChirpZ& operator=(const ChirpZ& other);
    ~ChirpZ();

    /// The M-point result. `out` is first sized to L values (reallocated only when its
    /// capacity is below L), then narrowed in place to the M results: its view starts N - 1
    /// elements into its buffer. `in` must hold exactly N samples, and the object must have
    /// been built in single precision; otherwise 8005 and `out` is untouched.
    void Apply(VecCplx32& out, const VecCplx32& in);
    /// The same for an object built in double precision.
    void Apply(VecCplx64& out, const VecCplx64& in);

    static bool UnitTest(UnitTestRecorder& recorder);

  private:
    friend struct kernels::ChirpZAccess;

    VecCplx32 a32, h32, H32, w32, y32, Y32;
    VecCplx64 a64, h64, H64, w64, y64, Y64;
    int N, M, L, K;
    FT* ft;
    bool isDouble;
};

}  // namespace Kivo
