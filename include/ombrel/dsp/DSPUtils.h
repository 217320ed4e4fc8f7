// Signal utilities of the spectrum analyser: detectors, magnitude and phase helpers, phase
// unwrapping, integer resampling, convolution and correlation, FIR tap design, test signals.
#pragma once

#include <ombrel/Export.h>
#include <ombrel/math/Types.h>
#include <ombrel/math/Vector.h>

namespace Kivo {

class UnitTestRecorder;
class VecInt32;

/// How `DSPUtils::Detect` reduces each bucket of a trace.
enum DetectorType {
    DETECTOR_AVE = 0,     ///< arithmetic mean
    DETECTOR_MAX = 1,     ///< maximum
    DETECTOR_MIN = 2,     ///< minimum
    DETECTOR_MAXMIN = 3,  ///< maximum and minimum: two output points per bucket, maximum first
    DETECTOR_RMS = 4,     ///< root mean square
    DETECTOR_SAMPLE = 5   ///< the first sample of the bucket
};

/// Static collection of signal utilities (no state, no instances).
///
/// Common rules:
/// - The destination comes first and is resized by the callee with the vector's own resize
///   rule (kept buffer when the new length fits the capacity), so repeated calls of one size
///   allocate nothing. An empty result releases the destination's buffer instead (a vector
///   of length 0 could not release it any more). A destination may be the same object as a
///   source.
/// - Sources are read over their own length; where a second source must be at least as long as
///   the first (`Mag(out, re, im)`, `PolarToCart`, `LinearLeastSquareFit`), a shorter one throws
///   8005 "invalid input parameter" instead of being read past its end.
/// - Arguments outside their documented range (factor <= 0, width <= 0, a period <= 0, ...)
///   throw 8005; a failed allocation throws 8000 "memory allocation error".
/// - Frequencies are normalised to the sample rate (cycles per sample); angles are radians.
class OMBREL_API DSPUtils {
  public:
    DSPUtils() = delete;

    // ---- Detectors and statistics -----------------------------------------------------------

    /// Reduces `in` (N points) by `factor` with the chosen detector:
    /// - N < factor: `out` becomes empty, whatever the type; factor == 1: `out` becomes a copy
    ///   of `in` (vector assignment), whatever the type;
    /// - otherwise the first M = N / factor buckets of exactly `factor` consecutive points are
    ///   reduced (the N - M*factor trailing points are ignored). `out` gets M points (2M for
    ///   DETECTOR_MAXMIN: max then min of each bucket). Means and RMS accumulate in double and
    ///   round once; RMS is sqrt(mean of squares), so a bucket of equal values a gives |a|.
    ///   DETECTOR_SAMPLE takes in[0], in[factor], ... (M points).
    /// - A type outside the enumeration leaves `out` unchanged (after the two rules above).
    /// Values are reduced as given: pass linear power for power averaging, dB for log
    /// averaging. factor <= 0 throws 8005.
    static void Detect(VecReal32& out, const VecReal32& in, int factor, DetectorType type);

    /// Centred moving mean of `width` points. `out` starts as a copy of `in`; for odd width
    /// the points i in [(w-1)/2, N-1-(w-1)/2] become the mean of in[i-(w-1)/2 .. i+(w-1)/2];
    /// for even width the points i in [w/2, N-w/2] become the mean of in[i-w/2 .. i+w/2-1]
    /// (one point more to the left). The other points keep their input values; a width
    /// larger than N changes nothing. Means accumulate in double. width <= 0 throws 8005.
    static void MovingAverage(VecReal32& out, const VecReal32& in, int width);
    static void MovingAverage(VecReal64& out, const VecReal64& in, int width);

    /// Maximum of v divided by the mean of v (linear ratio). 8001 "divide-by-zero error"
    /// when the mean is 0 (which includes an empty vector).
    static float PeakToAve(const VecReal32& v);

    /// Euclidean norm sqrt(sum |v[i]|^2), accumulated in double; 0 for an empty vector.
    static float Norm(const VecReal32& v);
    static double Norm(const VecCplx32& v);
    static double Norm(const VecCplx64& v);

    /// Least-squares straight line y ~ slope*x + intercept over n = x's length points
    /// (y must hold at least n): with sums Sx, Sxx, Sy, Sxy in double and d = 1/(n Sxx - Sx^2),
    /// slope = (n Sxy - Sy Sx) d and intercept = (Sy Sxx - Sxy Sx) d. No guard: all x equal or
    /// n < 2 give infinite or NaN results.
    static void LinearLeastSquareFit(float& slope, float& intercept, const VecReal32& x,
                                     const VecReal32& y);
    static void LinearLeastSquareFit(double& slope, double& intercept, const VecReal64& x,
                                     const VecReal64& y);
    /// The same fit; `fitted` receives the line at the given abscissae,
    /// fitted[i] = slope*x[i] + intercept (n points).
    static void LinearLeastSquareFit(double& slope, double& intercept, VecReal64& fitted,
                                     const VecReal64& x, const VecReal64& y);

    // ---- Magnitude, power and phase ---------------------------------------------------------

    /// sqrt(re^2 + im^2) per element (no overflow-avoiding scaling).
    static void Mag(VecReal32& out, const VecCplx32& in);
    static void Mag(VecReal64& out, const VecCplx64& in);
    /// The same from separate parts; out takes re's length, im must be at least as long.
    static void Mag(VecReal32& out, const VecReal32& re, const VecReal32& im);
    /// Power re^2 + im^2 per element, each operation rounded once.
    static void MagSqr(VecReal32& out, const VecCplx32& in);
    static void MagSqr(VecReal64& out, const VecCplx64& in);
    /// 10*log10(re^2 + im^2): MagSqr, the in-place MathUtils::Log10, then times 10. No floor:
    /// a zero sample gives -infinity.
    static void MagdB(VecReal32& out, const VecCplx32& in);
    static void MagdB(VecReal64& out, const VecCplx64& in);
    /// atan2(im, re) in [-pi, pi]; 0 + 0j gives 0.
    static void Phase(VecReal32& out, const VecCplx32& in);
    static void Phase(VecReal64& out, const VecCplx64& in);
    /// Magnitude and phase at once (both take in's length).
    static void CartToPolar(VecReal32& mag, VecReal32& phase, const VecCplx32& in);
    /// (mag cos phase, mag sin phase); out takes mag's length, phase must be at least as long.
    static void PolarToCart(VecCplx32& out, const VecReal32& mag, const VecReal32& phase);

    /// In place, every value into (-pi, pi]: x > 0 loses 2*pi0*floor(x/(2*pi0)), x < 0 gains
    /// 2*pi0*floor(-x/(2*pi0)) (pi0 = 3.14159265358979), then x >= pi loses 2*pi and x <= -pi
    /// gains 2*pi (pi = 3.1415927f widened). Both +pi and -pi come out as +pi.
    static void MapPhase(VecReal32& v);
    static void MapPhase(VecReal64& v);

    /// In-place unwrapping around the reference point v[refIndex]. Walking forward from
    /// refIndex (and backward from refIndex-1), with `previous` starting at refValue, each
    /// difference d = v[i] - previous between *uncorrected* neighbours is folded into
    /// [-period/2, period/2] by whole periods (strict comparisons: a jump of exactly half a
    /// period stays), the folds accumulate into an offset, and v[i] += offset. Any jump is
    /// folded completely; the point at refIndex itself moves when refValue differs from it by
    /// more than half a period. Jumps of 64 periods or more are folded in one step (infinite
    /// and NaN differences are left alone). 8005 for refIndex outside [0, N) (unless v is
    /// empty) or a period that is not finite and > 0.
    static void Unwrap(VecReal32& v, int refIndex, float refValue, float period);
    /// Whole-vector unwrapping into out: out[0] = in[0]; for each later point, a difference to
    /// the previous input point larger than period/2 in magnitude changes the running offset by
    /// exactly one period (down for a positive jump, up otherwise), so a jump of more than one
    /// and a half periods is only partly removed. Deliberately different from the form above.
    /// 8005 for an empty input or a period that is not finite and > 0.
    static void Unwrap(VecReal32& out, const VecReal32& in, float period);
    static void Unwrap(VecReal64& out, const VecReal64& in, double period);

    /// v *= cos(angle) + j sin(angle) (the vector's multiply-assign by a complex scalar whose
    /// parts are the float-rounded cosine and sine).
    static void RotatePhase(VecCplx32& v, float angle);

    /// Frequency shift by a complex tone: out[i] = in[i] * exp(j(phase + 2 pi freq i)).
    /// `freq` is the shift in cycles per sample (shift in Hz divided by the sample rate); any
    /// real value is accepted and only its fractional part matters (-0.1 and 0.9 are the same
    /// tone). `phase` is the tone's phase at in[0], radians. The tone's phase is computed from
    /// i for every block of samples (no accumulating recurrence), so a shift stays phase
    /// continuous over any length: the block after n samples continues with
    /// phase + 2 pi freq n. 8005 if freq or phase is not finite.
    static void ShiftFreq(VecCplx32& out, const VecCplx32& in, float freq, float phase);
    /// In-place form. `shiftDown` false multiplies by the tone above; true multiplies by its
    /// conjugate exp(-j(phase + 2 pi freq i)), i.e. moves the component at +freq to 0 (the
    /// down-conversion of a zoom).
    static void ShiftFreq(VecCplx32& v, float freq, float phase, bool shiftDown);

    // ---- Resampling and rearrangement -------------------------------------------------------

    /// out gets ceil(N / factor) elements: in[phase], in[phase + factor], ... When phase > 0
    /// the grid can hold one index fewer than that length; the last element is then set to 0.
    /// 8005 for factor <= 0 or phase outside [0, factor).
    static void Downsample(VecReal32& out, const VecReal32& in, int factor, int phase);
    static void Downsample(VecReal64& out, const VecReal64& in, int factor, int phase);
    static void Downsample(VecCplx32& out, const VecCplx32& in, int factor, int phase);
    static void Downsample(VecCplx64& out, const VecCplx64& in, int factor, int phase);
    static void Downsample(VecReal32& out, const VecReal32& in, int factor);
    static void Downsample(VecReal64& out, const VecReal64& in, int factor);
    static void Downsample(VecCplx32& out, const VecCplx32& in, int factor);
    static void Downsample(VecCplx64& out, const VecCplx64& in, int factor);

    /// out gets factor*N elements: in[i] at i*factor + phase, zeros elsewhere. 8005 for
    /// factor <= 0, phase outside [0, factor) or a length beyond the int range.
    static void Upsample(VecReal32& out, const VecReal32& in, int factor, int phase);
    static void Upsample(VecReal64& out, const VecReal64& in, int factor, int phase);
    static void Upsample(VecCplx32& out, const VecCplx32& in, int factor, int phase);
    /// Deliberately kept binding of the double-complex form: out is sized for factor*N Cplx64
    /// elements, then the 8-byte-element (single-precision complex) upsampler runs on the raw
    /// buffers. It reads the first N*8 bytes of in (the first half of its bytes) as N 8-byte
    /// elements and writes factor*N 8-byte elements over the first half of out's bytes; the
    /// second half of out keeps whatever it held.
    static void Upsample(VecCplx64& out, const VecCplx64& in, int factor, int phase);
    static void Upsample(VecReal32& out, const VecReal32& in, int factor);
    static void Upsample(VecReal64& out, const VecReal64& in, int factor);
    static void Upsample(VecCplx32& out, const VecCplx32& in, int factor);
    static void Upsample(VecCplx64& out, const VecCplx64& in, int factor);

    /// Sample-and-hold: out has count*N elements, out[i*count + k] = in[i] for k < count.
    /// 8005 for count < 0 or a length beyond the int range.
    static void Duplicate(VecReal32& out, const VecReal32& in, int count);
    static void Duplicate(VecReal64& out, const VecReal64& in, int count);
    static void Duplicate(VecCplx32& out, const VecCplx32& in, int count);
    static void Duplicate(VecCplx64& out, const VecCplx64& in, int count);

    /// Swaps the halves so that the zero-frequency bin lands at index N/2: with h = (N+1)/2,
    /// out = in[h .. N-1] followed by in[0 .. h-1]. {0,1,2,3,4} gives {3,4,0,1,2}.
    static void FFTShift(VecReal32& out, const VecReal32& in);
    static void FFTShift(VecReal64& out, const VecReal64& in);
    static void FFTShift(VecInt32& out, const VecInt32& in);

    /// Running sum out[i] = in[0] + ... + in[i], accumulated in double.
    static void CumSum(VecReal32& out, const VecReal32& in);
    static void CumSum(VecReal64& out, const VecReal64& in);

    /// First difference out[i] = in[i+1] - in[i] (N-1 elements; empty for N <= 1), no
    /// division by a step.
    static void Derivative(VecReal32& out, const VecReal32& in);
    static void Derivative(VecReal64& out, const VecReal64& in);
    static void Derivative(VecCplx32& out, const VecCplx32& in);
    static void Derivative(VecCplx64& out, const VecCplx64& in);

    // ---- Convolution and correlation --------------------------------------------------------

    /// Linear convolution out[n] = sum_k a[k] b[n-k], a + b - 1 points (empty if either input
    /// is empty). Exact method choice: direct summation for a short operand, FFT overlap-save
    /// in double precision for a long one; both agree with the exact sum to float rounding.
    static void Conv(VecReal32& out, const VecReal32& a, const VecReal32& b);
    static void Conv(VecReal64& out, const VecReal64& a, const VecReal64& b);

    /// Correlation of b with the reversed copy of a over all a + b - 1 lags:
    /// out[n] = sum_i a[la-1-i] b[i + n - (la-1)], which is the linear convolution of a and b
    /// (the output of the matched filter whose impulse response is a).
    static void CrossCorr(VecReal32& out, const VecReal32& a, const VecReal32& b);
    /// The complex form with the conjugated reversed copy of a; the correlation conjugates its
    /// first operand again, so this too is the linear convolution of a and b.
    static void CrossCorr(VecCplx32& out, const VecCplx32& a, const VecCplx32& b);
    /// Complex cross-correlation without the reversal, over all a + b - 1 lags L = -(la-1) ..
    /// lb-1: out[L + la - 1] = sum_i conj(a[i]) b[i + L].
    static void CrossCorr2(VecCplx32& out, const VecCplx32& a, const VecCplx32& b);

    /// FIR tap design by the window method: the ideal response centred at (count-1)/2 times a
    /// symmetric Hamming window 0.54 - 0.46 cos(2 pi n/(count-1)), computed in double (the
    /// Real32 forms narrow the result), then scaled to unit gain at the centre of the pass
    /// band: DC for low-pass, Nyquist for high-pass, (low + high)/2 for band-pass. The taps are
    /// exactly symmetric (linear phase). Cut-offs are normalised to the sample rate and must lie
    /// in (0, 0.5), low < high; count >= 5, and odd for high-pass (an even-length symmetric
    /// filter has a zero at Nyquist). Violations throw 8005.
    static void LowPass(VecReal32& taps, float cutoff, int count);
    static void LowPass(VecReal64& taps, double cutoff, int count);
    static void HighPass(VecReal32& taps, float cutoff, int count);
    static void HighPass(VecReal64& taps, double cutoff, int count);
    static void BandPass(VecReal32& taps, float low, float high, int count);
    static void BandPass(VecReal64& taps, double low, double high, int count);

    // ---- Generators and gain ----------------------------------------------------------------

    /// v becomes `length` uniform random values from low (included) towards high (excluded).
    /// Each thread has its own generator stream (splitmix64, fixed seed at thread start);
    /// consecutive calls continue it. 8005 for length < 0 or non-finite bounds.
    static void Rand(VecReal32& v, int length, float low, float high);

    /// v becomes `length` values offset + slope*i, evaluated in double and rounded once.
    /// 8005 for length < 0.
    static void Ramp(VecReal32& v, int length, float offset, float slope);
    static void Ramp(VecReal64& v, int length, double offset, double slope);

    /// Scales filter taps for the acquisition hardware: out = taps / max(taps) (largest
    /// coefficient 1); with s = sum(out) and p = NextPowOf2(ceil(s)), if s == p then gain = p,
    /// else gain = p/2 and out is scaled by (p/2)/s so that it sums to the power of two below
    /// s. {2,2,2} gives out {2/3,2/3,2/3} and gain 2. 8005 for empty taps or a non-positive sum;
    /// 8001 when the largest tap is 0.
    static void GetFPGAGain(VecReal32& out, float& gain, const VecReal32& taps);
    /// The same with the largest coefficient scaled to `peak` instead of 1 (the hardware's
    /// full-scale coefficient); the three-argument form is peak = 1. 8005 unless peak is finite
    /// and > 0.
    static void GetFPGAGain(VecReal32& out, float& gain, const VecReal32& taps, float peak);

    static bool UnitTest(UnitTestRecorder& recorder);
};

}  // namespace Kivo
