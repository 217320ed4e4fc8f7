// Raw-pointer kernels behind the signal utilities: detectors, magnitude and phase, resampling,
// direct convolution and correlation, FIR tap design, tone, ramp and random generators.
//
// Argument order follows the primitive families they replace: sources, then destination, then
// lengths. Lengths <= 0 are harmless no-ops. Nothing here allocates or throws; argument checks
// that need an exception are done by the callers (src/dsp/DSPUtils.cpp).
#pragma once

#include <ombrel/math/Types.h>

#include <cstddef>
#include <cstdint>

namespace Kivo::kernels {

// ---------------------------------------------------------------------------------------------
// Reductions and detectors. A detector reduces `buckets` consecutive buckets of `factor`
// contiguous points each (src holds at least buckets * factor points).

/// Largest / smallest of n > 0 values (a NaN is skipped unless it is the first value).
float MaxOf(const float* src, int n);
float MinOf(const float* src, int n);
/// Sum and mean accumulated in double (the "accurate" statistics); mean of n <= 0 is 0.
double SumAccurate(const float* src, int n);
double SumAccurate(const double* src, int n);
double MeanAccurate(const float* src, int n);
double MeanAccurate(const double* src, int n);
/// Sum of squares accumulated in double.
double SumSquares(const float* src, int n);
double SumSquares(const Cplx32* src, int n);
double SumSquares(const Cplx64* src, int n);

/// dst[k] = maximum of bucket k.
void DetectMax(const float* src, int buckets, int factor, float* dst);
/// dst[k] = minimum of bucket k.
void DetectMin(const float* src, int buckets, int factor, float* dst);
/// dst[2k] = maximum, dst[2k + 1] = minimum of bucket k.
void DetectMaxMin(const float* src, int buckets, int factor, float* dst);
/// dst[k] = arithmetic mean of bucket k, accumulated in double and rounded once.
void DetectAve(const float* src, int buckets, int factor, float* dst);
/// dst[k] = sqrt(mean of squares of bucket k): the L2 norm divided by sqrt(factor), all in
/// double and rounded once, so a bucket of equal values a gives exactly |a|.
void DetectRms(const float* src, int buckets, int factor, float* dst);

// ---------------------------------------------------------------------------------------------
// Magnitude, power and phase (element-wise).

/// dst[i] = re^2 + im^2, each operation rounded once (no fused multiply-add).
void PowerSpectr(const Cplx32* src, float* dst, int n);
void PowerSpectr(const Cplx64* src, double* dst, int n);
/// dst[i] = sqrt(re^2 + im^2), no hypot-style scaling.
void Magnitude(const Cplx32* src, float* dst, int n);
void Magnitude(const Cplx64* src, double* dst, int n);
void Magnitude(const float* re, const float* im, float* dst, int n);
/// dst[i] = atan2(im, re) in [-pi, pi]; 0 + 0j gives 0.
void Phase(const Cplx32* src, float* dst, int n);
void Phase(const Cplx64* src, double* dst, int n);
void CartToPolar(const Cplx32* src, float* mag, float* phase, int n);
/// dst[i] = (m cos t, m sin t), evaluated in double and rounded once per part.
void PolarToCart(const float* mag, const float* phase, Cplx32* dst, int n);

/// Each value into (-pi, pi] by the library's reduction (see DSPUtils::MapPhase).
void MapPhase(float* v, int n);
void MapPhase(double* v, int n);

/// In-place unwrapping around v[refIndex] (0 <= refIndex < n, period > 0 and finite).
void UnwrapAroundReference(float* v, int n, int refIndex, float refValue, float period);
/// Whole-vector unwrapping, at most one period of correction per step (n >= 1).
void UnwrapWhole(const float* src, float* dst, int n, float period);
void UnwrapWhole(const double* src, double* dst, int n, double period);

// ---------------------------------------------------------------------------------------------
// Resampling and rearrangement. Templates are instantiated for float, double, Cplx32, Cplx64
// (and int where noted) in SignalKernels.cpp.

/// dst[k] = src[phase + k * factor] for every such index < srcLen; returns that count
/// (srcLen + factor - 1 - phase) / factor. factor > 0, 0 <= phase < factor.
template <typename T>
int SampleDown(const T* src, int srcLen, T* dst, int factor, int phase);
/// dst has srcLen * factor elements: dst[i * factor + phase] = src[i], zero elsewhere. Works on
/// raw elements of sizeof(T) bytes through memcpy, so it may be pointed at buffers of another
/// element type of the same or larger size (the documented Cplx64 binding relies on that).
template <typename T>
void SampleUp(const void* src, int srcLen, void* dst, int factor, int phase);
/// dst[i * count + k] = src[i] for 0 <= k < count.
template <typename T>
void Duplicate(const T* src, int n, T* dst, int count);
/// dst = src[h .. n-1] followed by src[0 .. h-1] with h = (n + 1) / 2.
template <typename T>
void FftShift(const T* src, int n, T* dst);
/// dst[i] = src[i + 1] - src[i] for i < n - 1.
template <typename T>
void Difference(const T* src, int n, T* dst);
/// Running sum accumulated in double.
void CumSum(const float* src, int n, float* dst);
void CumSum(const double* src, int n, double* dst);
/// In-place reversal; dst[i] = conj(src[n-1-i]) (no overlap).
template <typename T>
void FlipInPlace(T* v, int n);
void ConjFlip(const Cplx32* src, Cplx32* dst, int n);

// ---------------------------------------------------------------------------------------------
// Convolution and correlation (direct summation).

/// Full linear convolution dst[n] = sum_k a[k] * b[n - k], n = 0 .. la + lb - 2. Each output is
/// summed in ascending index of the shorter operand. dst must not overlap a or b.
void ConvDirect(const float* a, int la, const float* b, int lb, float* dst);
void ConvDirect(const double* a, int la, const double* b, int lb, double* dst);
/// The complex form, accumulated in double and rounded once per output.
void ConvDirect(const Cplx32* a, int la, const Cplx32* b, int lb, Cplx32* dst);
/// dst[n] = sum_i conj(a[i]) * b[i + n + lowLag], n = 0 .. dstLen - 1, with b taken as 0
/// outside [0, lb): the complex correlation with the first operand conjugated.
void CrossCorrDirect(const Cplx32* a, int la, const Cplx32* b, int lb, Cplx32* dst, int dstLen,
                     int lowLag);

// ---------------------------------------------------------------------------------------------
// FIR tap design by the window method with a Hamming window, in double. Frequencies are
// normalised to the sample rate and lie in (0, 0.5); count >= 1 (high-pass: odd count). The
// taps are scaled to unit gain at the centre of the pass band (DC, Nyquist, (low+high)/2),
// measured on the zero-phase response so the sign of the main lobe is kept.
void FirGenLowpass(double cutoff, double* taps, int count);
void FirGenHighpass(double cutoff, double* taps, int count);
void FirGenBandpass(double low, double high, double* taps, int count);

// ---------------------------------------------------------------------------------------------
// Generators.

/// dst[i] = src[i] * exp(+-j (phase + 2 pi freq i)) (minus when conjugate). The tone's phase is
/// computed from i directly (exact at every 64th sample, a double-precision rotation in
/// between), so long tones do not drift. src may equal dst.
void ToneMultiply(const Cplx32* src, Cplx32* dst, int n, double freq, double phase, bool conjugate);
/// dst[i] = offset + slope * i evaluated in double, rounded once.
void Ramp(float* dst, int n, double offset, double slope);
void Ramp(double* dst, int n, double offset, double slope);
/// Uniform values from low (included) towards high (excluded): [low, high), or (high, low] when
/// high < low, all equal to low when low == high. The generator is splitmix64 on the 64-bit
/// `state`, which is read and advanced so consecutive calls continue one stream.
void RandUniform(float* dst, int n, float low, float high, std::uint64_t& state);

}  // namespace Kivo::kernels
