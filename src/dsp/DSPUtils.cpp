// Signal utilities: argument rules, resizing and aliasing on the vectors, the work itself in
// kernels/SignalKernels and kernels/ConvFft.
#define KIVO_SOURCE_UNIT "src/dsp/DSPUtils"

#include <ombrel/dsp/DSPUtils.h>
#include <ombrel/infra/UnitTestRecorder.h>
#include <ombrel/math/IntVector.h>
#include <ombrel/math/MathUtils.h>

#include "kernels/ConvFft.h"
#include "kernels/Error.h"
#include "kernels/SelfTest.h"
#include "kernels/SignalKernels.h"

#include <cmath>
#include <cstdint>
#include <initializer_list>
#include <limits>
#include <type_traits>

namespace Kivo {

namespace {

// Raw access to a vector's view. The storage pointer is protected in BaseVector; naming it
// through a derived class yields a pointer to member that can be applied to any vector.
template <typename T>
struct Storage : BaseVector<T> {
    static T* Ptr(const BaseVector<T>& v) { return v.*(&Storage::data); }
};

template <typename T>
T* Ptr(const BaseVector<T>& v) {
    return Storage<T>::Ptr(v);
}

template <typename T>
bool SameObject(const BaseVector<T>& a, const BaseVector<T>& b) {
    return &a == &b;
}

// Sets a destination's length by the resize rule (the buffer is kept when it is large enough),
// except that an empty result gives the buffer back: the storage releases only non-empty views,
// so a vector left at length 0 with its block would leak it when destroyed.
template <class V>
void SetLength(V& v, int n) {
    if (n > 0)
        v.Resize(n);
    else if (v.GetSize() > 0)
        v = V();
    else
        v.Resize(0);
}

void Require(bool condition) {
    if (!condition) KIVO_THROW(KIVO_INVALID_INPUT_PARAMETER);
}

// Lengths computed in 64 bits must still fit the vectors' 32-bit sizes.
int CheckedLength(long long n) {
    Require(n >= 0 && n <= std::numeric_limits<int>::max());
    return static_cast<int>(n);
}

void RequirePeriod(double period) {
    Require(std::isfinite(period) && period > 0.0);
}

// Runs `op(tmp)` into a fresh vector and assigns it when the destination is also a source that
// the operation would overwrite (or free, when it grows) while still reading it.
template <class V, class Op>
void ThroughTemporary(V& out, Op op) {
    V tmp;
    op(tmp);
    out = tmp;
}

template <class V>
void DownsampleImpl(V& out, const V& in, int factor, int phase) {
    Require(factor > 0 && phase >= 0 && phase < factor);
    const int n = in.GetSize();
    const auto* src = Ptr(in);
    const int length = n / factor + (n % factor != 0 ? 1 : 0);
    SetLength(out, length);  // never longer than in: safe when out is in (reads stay ahead)
    auto* dst = Ptr(out);
    const int written = kernels::SampleDown(src, n, dst, factor, phase);
    // A grid with phase > 0 can hold one sample fewer than the length; that slot must not be
    // left holding stale memory.
    for (int k = written; k < length; ++k)
        dst[k] = {};
}

template <typename Elem, class V>
void UpsampleImpl(V& out, const V& in, int factor, int phase) {
    Require(factor > 0 && phase >= 0 && phase < factor);
    if (SameObject(out, in)) {
        ThroughTemporary(out, [&](V& tmp) { UpsampleImpl<Elem>(tmp, in, factor, phase); });
        return;
    }
    const int n = in.GetSize();
    SetLength(out, CheckedLength(static_cast<long long>(n) * factor));
    kernels::SampleUp<Elem>(Ptr(in), n, Ptr(out), factor, phase);
}

template <class V>
void DuplicateImpl(V& out, const V& in, int count) {
    Require(count >= 0);
    if (SameObject(out, in)) {
        ThroughTemporary(out, [&](V& tmp) { DuplicateImpl(tmp, in, count); });
        return;
    }
    const int n = in.GetSize();
    SetLength(out, CheckedLength(static_cast<long long>(n) * count));
    kernels::Duplicate(Ptr(in), n, Ptr(out), count);
}

template <class V>
void FftShiftImpl(V& out, const V& in) {
    if (SameObject(out, in)) {
        ThroughTemporary(out, [&](V& tmp) { FftShiftImpl(tmp, in); });
        return;
    }
    const int n = in.GetSize();
    SetLength(out, n);
    kernels::FftShift(Ptr(in), n, Ptr(out));
}

template <class V>
void DerivativeImpl(V& out, const V& in) {
    const int n = in.GetSize();
    const auto* src = Ptr(in);
    SetLength(out, n > 1 ? n - 1 : 0);  // forward difference: safe in place
    kernels::Difference(src, n, Ptr(out));
}

template <class V>
void CumSumImpl(V& out, const V& in) {
    const int n = in.GetSize();
    const auto* src = Ptr(in);
    SetLength(out, n);
    kernels::CumSum(src, n, Ptr(out));
}

template <class V>
void MovingAverageImpl(V& out, const V& in, int width) {
    Require(width > 0);
    if (SameObject(out, in)) {
        ThroughTemporary(out, [&](V& tmp) { MovingAverageImpl(tmp, in, width); });
        return;
    }
    out = in;  // points near the ends keep their input values
    const long n = in.GetSize();
    const long half = width / 2;
    const long first = (width % 2) ? (width - 1) / 2 : half;
    const long last = (width % 2) ? n - (width - 1) / 2 - 1 : n - half;
    const auto* src = Ptr(in);
    auto* dst = Ptr(out);
    using T = std::remove_pointer_t<decltype(dst)>;
    for (long i = first; i <= last; ++i)
        dst[i] = static_cast<T>(kernels::MeanAccurate(src + (i - first), width));
}

template <class V>
void UnwrapWholeImpl(V& out, const V& in, double period) {
    RequirePeriod(period);
    Require(in.GetSize() > 0);
    const int n = in.GetSize();
    const auto* src = Ptr(in);
    SetLength(out, n);  // reads each input point before writing it: safe in place
    using T = std::remove_const_t<std::remove_pointer_t<decltype(src)>>;
    kernels::UnwrapWhole(src, Ptr(out), n, static_cast<T>(period));
}

template <class V, typename T>
void FitImpl(T& slope, T& intercept, const V& x, const V& y) {
    const int n = x.GetSize();
    Require(y.GetSize() >= n);
    const auto* px = Ptr(x);
    const auto* py = Ptr(y);
    double sx = 0, sxx = 0, sy = 0, sxy = 0;
    for (int i = 0; i < n; ++i) {
        const double xi = px[i];
        const double yi = py[i];
        sx += xi;
        sxx += xi * xi;
        sy += yi;
        sxy += xi * yi;
    }
    const double d = 1.0 / (n * sxx - sx * sx);
    slope = static_cast<T>((n * sxy - sy * sx) * d);
    intercept = static_cast<T>((sy * sxx - sxy * sx) * d);
}

// Convolution of real vectors: direct summation while the shorter operand is short, FFT
// overlap-save beyond. See kernels/ConvFft.h for the measured crossover.
template <class V>
void ConvImpl(V& out, const V& a, const V& b) {
    if (SameObject(out, a) || SameObject(out, b)) {
        ThroughTemporary(out, [&](V& tmp) { ConvImpl(tmp, a, b); });
        return;
    }
    const int la = a.GetSize();
    const int lb = b.GetSize();
    if (la == 0 || lb == 0) {
        SetLength(out, 0);
        return;
    }
    SetLength(out, CheckedLength(static_cast<long long>(la) + lb - 1));
    using T = std::remove_pointer_t<decltype(Ptr(out))>;
    if (kernels::ConvPrefersFft<T>(la, lb))
        kernels::ConvFft(Ptr(a), la, Ptr(b), lb, Ptr(out));
    else
        kernels::ConvDirect(Ptr(a), la, Ptr(b), lb, Ptr(out));
}

// Full complex correlation sum_i conj(a[i]) b[i + L] over L = -(la-1) .. lb-1, computed as the
// convolution of conj-reversed a with b.
void ComplexCorrelate(VecCplx32& out, const VecCplx32& a, const VecCplx32& b, bool asConvolution) {
    if (SameObject(out, a) || SameObject(out, b)) {
        ThroughTemporary(out, [&](VecCplx32& tmp) { ComplexCorrelate(tmp, a, b, asConvolution); });
        return;
    }
    const int la = a.GetSize();
    const int lb = b.GetSize();
    if (la == 0 || lb == 0) {
        SetLength(out, 0);
        return;
    }
    const int len = CheckedLength(static_cast<long long>(la) + lb - 1);
    SetLength(out, len);
    // With the reversal (CrossCorr), the correlation's conjugation and the conjugated reversed
    // copy cancel: the result is the convolution of a and b. Without it (CrossCorr2) the
    // correlation is the convolution of conj(reverse(a)) and b.
    VecCplx32 reversed;
    const Cplx32* first = Ptr(a);
    if (!asConvolution) {
        SetLength(reversed, la);
        kernels::ConjFlip(Ptr(a), Ptr(reversed), la);
        first = Ptr(reversed);
    }
    if (kernels::ConvPrefersFft<Cplx32>(la, lb))
        kernels::ConvFft(first, la, Ptr(b), lb, Ptr(out));
    else
        kernels::ConvDirect(first, la, Ptr(b), lb, Ptr(out));
}

void CheckDesign(double f1, double f2, int count, bool needsOddCount) {
    Require(count >= 5);
    Require(!needsOddCount || count % 2 == 1);
    Require(f1 > 0.0 && f1 < 0.5 && f2 > 0.0 && f2 < 0.5 && f1 <= f2);
}

template <class V>
void StoreTaps(V& taps, const double* designed, int count) {
    SetLength(taps, count);
    auto* dst = Ptr(taps);
    using T = std::remove_pointer_t<decltype(dst)>;
    for (int i = 0; i < count; ++i)
        dst[i] = static_cast<T>(designed[i]);
}

// Designs into a double vector, then narrows into a float vector when the caller wants one.
template <class V, class Design>
void DesignTaps(V& taps, int count, Design design) {
    if constexpr (std::is_same_v<V, VecReal64>) {
        SetLength(taps, count);
        design(Ptr(taps));
    } else {
        VecReal64 wide(count);
        design(Ptr(wide));
        StoreTaps(taps, Ptr(wide), count);
    }
}

std::uint64_t& RandomState() {
    thread_local std::uint64_t state = 0x0B5E11C0FFEE5EEDull;
    return state;
}

}  // namespace

// ---------------------------------------------------------------------------------------------
// Detectors and statistics

void DSPUtils::Detect(VecReal32& out, const VecReal32& in, int factor, DetectorType type) {
    Require(factor > 0);
    const int n = in.GetSize();
    if (n < factor) {
        SetLength(out, 0);
        return;
    }
    if (factor == 1) {
        out = in;
        return;
    }
    const int buckets = n / factor;
    const float* src = Ptr(in);
    // Every reduction writes bucket k after reading it and never reaches a later bucket, so
    // out may be in itself.
    switch (type) {
        case DETECTOR_AVE:
            SetLength(out, buckets);
            kernels::DetectAve(src, buckets, factor, Ptr(out));
            break;
        case DETECTOR_MAX:
            SetLength(out, buckets);
            kernels::DetectMax(src, buckets, factor, Ptr(out));
            break;
        case DETECTOR_MIN:
            SetLength(out, buckets);
            kernels::DetectMin(src, buckets, factor, Ptr(out));
            break;
        case DETECTOR_MAXMIN:
            SetLength(out, 2 * buckets);
            kernels::DetectMaxMin(src, buckets, factor, Ptr(out));
            break;
        case DETECTOR_RMS:
            SetLength(out, buckets);
            kernels::DetectRms(src, buckets, factor, Ptr(out));
            break;
        case DETECTOR_SAMPLE:
            // Downsampling yields one point more when N is not a multiple of factor; the
            // partial bucket is dropped again.
            Downsample(out, in, factor);
            SetLength(out, buckets);
            break;
        default:
            break;
    }
}

void DSPUtils::MovingAverage(VecReal32& out, const VecReal32& in, int width) {
    MovingAverageImpl(out, in, width);
}
void DSPUtils::MovingAverage(VecReal64& out, const VecReal64& in, int width) {
    MovingAverageImpl(out, in, width);
}

float DSPUtils::PeakToAve(const VecReal32& v) {
    const float mean = v.Mean();
    if (mean == 0.0f) KIVO_THROW(KIVO_DIVIDE_BY_ZERO_ERROR);
    return v.Max() / mean;
}

float DSPUtils::Norm(const VecReal32& v) {
    return static_cast<float>(std::sqrt(kernels::SumSquares(Ptr(v), v.GetSize())));
}
double DSPUtils::Norm(const VecCplx32& v) {
    return std::sqrt(kernels::SumSquares(Ptr(v), v.GetSize()));
}
double DSPUtils::Norm(const VecCplx64& v) {
    return std::sqrt(kernels::SumSquares(Ptr(v), v.GetSize()));
}

void DSPUtils::LinearLeastSquareFit(float& slope, float& intercept, const VecReal32& x,
                                    const VecReal32& y) {
    FitImpl(slope, intercept, x, y);
}
void DSPUtils::LinearLeastSquareFit(double& slope, double& intercept, const VecReal64& x,
                                    const VecReal64& y) {
    FitImpl(slope, intercept, x, y);
}
void DSPUtils::LinearLeastSquareFit(double& slope, double& intercept, VecReal64& fitted,
                                    const VecReal64& x, const VecReal64& y) {
    double s = 0, c = 0;
    FitImpl(s, c, x, y);
    const int n = x.GetSize();
    const double* px = Ptr(x);
    SetLength(fitted, n);  // x (even if it is fitted itself) is read before each point is written
    double* f = Ptr(fitted);
    for (int i = 0; i < n; ++i)
        f[i] = s * px[i] + c;
    slope = s;
    intercept = c;
}

// ---------------------------------------------------------------------------------------------
// Magnitude, power and phase

void DSPUtils::Mag(VecReal32& out, const VecCplx32& in) {
    SetLength(out, in.GetSize());
    kernels::Magnitude(Ptr(in), Ptr(out), in.GetSize());
}
void DSPUtils::Mag(VecReal64& out, const VecCplx64& in) {
    SetLength(out, in.GetSize());
    kernels::Magnitude(Ptr(in), Ptr(out), in.GetSize());
}
void DSPUtils::Mag(VecReal32& out, const VecReal32& re, const VecReal32& im) {
    const int n = re.GetSize();
    Require(im.GetSize() >= n);
    const float* r = Ptr(re);
    const float* i = Ptr(im);
    SetLength(out, n);  // element-wise: out may be re or im
    kernels::Magnitude(r, i, Ptr(out), n);
}

void DSPUtils::MagSqr(VecReal32& out, const VecCplx32& in) {
    SetLength(out, in.GetSize());
    kernels::PowerSpectr(Ptr(in), Ptr(out), in.GetSize());
}
void DSPUtils::MagSqr(VecReal64& out, const VecCplx64& in) {
    SetLength(out, in.GetSize());
    kernels::PowerSpectr(Ptr(in), Ptr(out), in.GetSize());
}

void DSPUtils::MagdB(VecReal32& out, const VecCplx32& in) {
    MagSqr(out, in);
    MathUtils::Log10(out);
    out *= 10.0f;
}
void DSPUtils::MagdB(VecReal64& out, const VecCplx64& in) {
    MagSqr(out, in);
    MathUtils::Log10(out);
    out *= 10.0;
}

void DSPUtils::Phase(VecReal32& out, const VecCplx32& in) {
    SetLength(out, in.GetSize());
    kernels::Phase(Ptr(in), Ptr(out), in.GetSize());
}
void DSPUtils::Phase(VecReal64& out, const VecCplx64& in) {
    SetLength(out, in.GetSize());
    kernels::Phase(Ptr(in), Ptr(out), in.GetSize());
}

void DSPUtils::CartToPolar(VecReal32& mag, VecReal32& phase, const VecCplx32& in) {
    const int n = in.GetSize();
    SetLength(mag, n);
    SetLength(phase, n);
    if (SameObject(mag, phase)) {
        kernels::Phase(Ptr(in), Ptr(phase), n);  // the later result is the one that stays
        return;
    }
    kernels::CartToPolar(Ptr(in), Ptr(mag), Ptr(phase), n);
}

void DSPUtils::PolarToCart(VecCplx32& out, const VecReal32& mag, const VecReal32& phase) {
    const int n = mag.GetSize();
    Require(phase.GetSize() >= n);
    SetLength(out, n);
    kernels::PolarToCart(Ptr(mag), Ptr(phase), Ptr(out), n);
}

void DSPUtils::MapPhase(VecReal32& v) {
    kernels::MapPhase(Ptr(v), v.GetSize());
}
void DSPUtils::MapPhase(VecReal64& v) {
    kernels::MapPhase(Ptr(v), v.GetSize());
}

void DSPUtils::Unwrap(VecReal32& v, int refIndex, float refValue, float period) {
    RequirePeriod(period);
    const int n = v.GetSize();
    if (n == 0) return;
    Require(refIndex >= 0 && refIndex < n);
    kernels::UnwrapAroundReference(Ptr(v), n, refIndex, refValue, period);
}
void DSPUtils::Unwrap(VecReal32& out, const VecReal32& in, float period) {
    UnwrapWholeImpl(out, in, period);
}
void DSPUtils::Unwrap(VecReal64& out, const VecReal64& in, double period) {
    UnwrapWholeImpl(out, in, period);
}

void DSPUtils::RotatePhase(VecCplx32& v, float angle) {
    const double a = angle;
    const Cplx32 turn{static_cast<float>(std::cos(a)), static_cast<float>(std::sin(a))};
    v *= turn;
}

void DSPUtils::ShiftFreq(VecCplx32& out, const VecCplx32& in, float freq, float phase) {
    Require(std::isfinite(freq) && std::isfinite(phase));
    const int n = in.GetSize();
    const Cplx32* src = Ptr(in);
    SetLength(out, n);  // element-wise and forward: out may be in
    kernels::ToneMultiply(src, Ptr(out), n, freq, phase, false);
}
void DSPUtils::ShiftFreq(VecCplx32& v, float freq, float phase, bool shiftDown) {
    Require(std::isfinite(freq) && std::isfinite(phase));
    kernels::ToneMultiply(Ptr(v), Ptr(v), v.GetSize(), freq, phase, shiftDown);
}

// ---------------------------------------------------------------------------------------------
// Resampling and rearrangement

void DSPUtils::Downsample(VecReal32& out, const VecReal32& in, int factor, int phase) {
    DownsampleImpl(out, in, factor, phase);
}
void DSPUtils::Downsample(VecReal64& out, const VecReal64& in, int factor, int phase) {
    DownsampleImpl(out, in, factor, phase);
}
void DSPUtils::Downsample(VecCplx32& out, const VecCplx32& in, int factor, int phase) {
    DownsampleImpl(out, in, factor, phase);
}
void DSPUtils::Downsample(VecCplx64& out, const VecCplx64& in, int factor, int phase) {
    DownsampleImpl(out, in, factor, phase);
}
void DSPUtils::Downsample(VecReal32& out, const VecReal32& in, int factor) {
    DownsampleImpl(out, in, factor, 0);
}
void DSPUtils::Downsample(VecReal64& out, const VecReal64& in, int factor) {
    DownsampleImpl(out, in, factor, 0);
}
void DSPUtils::Downsample(VecCplx32& out, const VecCplx32& in, int factor) {
    DownsampleImpl(out, in, factor, 0);
}
void DSPUtils::Downsample(VecCplx64& out, const VecCplx64& in, int factor) {
    DownsampleImpl(out, in, factor, 0);
}

void DSPUtils::Upsample(VecReal32& out, const VecReal32& in, int factor, int phase) {
    UpsampleImpl<float>(out, in, factor, phase);
}
void DSPUtils::Upsample(VecReal64& out, const VecReal64& in, int factor, int phase) {
    UpsampleImpl<double>(out, in, factor, phase);
}
void DSPUtils::Upsample(VecCplx32& out, const VecCplx32& in, int factor, int phase) {
    UpsampleImpl<Cplx32>(out, in, factor, phase);
}
void DSPUtils::Upsample(VecCplx64& out, const VecCplx64& in, int factor, int phase) {
    // 8-byte elements on 16-byte buffers: see the header.
    UpsampleImpl<Cplx32>(out, in, factor, phase);
}
void DSPUtils::Upsample(VecReal32& out, const VecReal32& in, int factor) {
    UpsampleImpl<float>(out, in, factor, 0);
}
void DSPUtils::Upsample(VecReal64& out, const VecReal64& in, int factor) {
    UpsampleImpl<double>(out, in, factor, 0);
}
void DSPUtils::Upsample(VecCplx32& out, const VecCplx32& in, int factor) {
    UpsampleImpl<Cplx32>(out, in, factor, 0);
}
void DSPUtils::Upsample(VecCplx64& out, const VecCplx64& in, int factor) {
    UpsampleImpl<Cplx32>(out, in, factor, 0);
}

void DSPUtils::Duplicate(VecReal32& out, const VecReal32& in, int count) {
    DuplicateImpl(out, in, count);
}
void DSPUtils::Duplicate(VecReal64& out, const VecReal64& in, int count) {
    DuplicateImpl(out, in, count);
}
void DSPUtils::Duplicate(VecCplx32& out, const VecCplx32& in, int count) {
    DuplicateImpl(out, in, count);
}
void DSPUtils::Duplicate(VecCplx64& out, const VecCplx64& in, int count) {
    DuplicateImpl(out, in, count);
}

void DSPUtils::FFTShift(VecReal32& out, const VecReal32& in) {
    FftShiftImpl(out, in);
}
void DSPUtils::FFTShift(VecReal64& out, const VecReal64& in) {
    FftShiftImpl(out, in);
}
void DSPUtils::FFTShift(VecInt32& out, const VecInt32& in) {
    FftShiftImpl(out, in);
}

void DSPUtils::CumSum(VecReal32& out, const VecReal32& in) {
    CumSumImpl(out, in);
}
void DSPUtils::CumSum(VecReal64& out, const VecReal64& in) {
    CumSumImpl(out, in);
}

void DSPUtils::Derivative(VecReal32& out, const VecReal32& in) {
    DerivativeImpl(out, in);
}
void DSPUtils::Derivative(VecReal64& out, const VecReal64& in) {
    DerivativeImpl(out, in);
}
void DSPUtils::Derivative(VecCplx32& out, const VecCplx32& in) {
    DerivativeImpl(out, in);
}
void DSPUtils::Derivative(VecCplx64& out, const VecCplx64& in) {
    DerivativeImpl(out, in);
}

// ---------------------------------------------------------------------------------------------
// Convolution and correlation

void DSPUtils::Conv(VecReal32& out, const VecReal32& a, const VecReal32& b) {
    ConvImpl(out, a, b);
}
void DSPUtils::Conv(VecReal64& out, const VecReal64& a, const VecReal64& b) {
    ConvImpl(out, a, b);
}

void DSPUtils::CrossCorr(VecReal32& out, const VecReal32& a, const VecReal32& b) {
    // Correlating b with the reversed a pairs a[la-1-i] with b[i + n - (la-1)], which is
    // sum_k a[k] b[n-k]: the convolution, computed by the same exact method.
    ConvImpl(out, a, b);
}
void DSPUtils::CrossCorr(VecCplx32& out, const VecCplx32& a, const VecCplx32& b) {
    ComplexCorrelate(out, a, b, true);
}
void DSPUtils::CrossCorr2(VecCplx32& out, const VecCplx32& a, const VecCplx32& b) {
    ComplexCorrelate(out, a, b, false);
}

void DSPUtils::LowPass(VecReal32& taps, float cutoff, int count) {
    CheckDesign(cutoff, cutoff, count, false);
    DesignTaps(taps, count, [&](double* t) { kernels::FirGenLowpass(cutoff, t, count); });
}
void DSPUtils::LowPass(VecReal64& taps, double cutoff, int count) {
    CheckDesign(cutoff, cutoff, count, false);
    DesignTaps(taps, count, [&](double* t) { kernels::FirGenLowpass(cutoff, t, count); });
}
void DSPUtils::HighPass(VecReal32& taps, float cutoff, int count) {
    CheckDesign(cutoff, cutoff, count, true);
    DesignTaps(taps, count, [&](double* t) { kernels::FirGenHighpass(cutoff, t, count); });
}
void DSPUtils::HighPass(VecReal64& taps, double cutoff, int count) {
    CheckDesign(cutoff, cutoff, count, true);
    DesignTaps(taps, count, [&](double* t) { kernels::FirGenHighpass(cutoff, t, count); });
}
void DSPUtils::BandPass(VecReal32& taps, float low, float high, int count) {
    CheckDesign(low, high, count, false);
    Require(low < high);
    DesignTaps(taps, count, [&](double* t) { kernels::FirGenBandpass(low, high, t, count); });
}
void DSPUtils::BandPass(VecReal64& taps, double low, double high, int count) {
    CheckDesign(low, high, count, false);
    Require(low < high);
    DesignTaps(taps, count, [&](double* t) { kernels::FirGenBandpass(low, high, t, count); });
}

// ---------------------------------------------------------------------------------------------
// Generators and gain

void DSPUtils::Rand(VecReal32& v, int length, float low, float high) {
    Require(length >= 0 && std::isfinite(low) && std::isfinite(high));
    SetLength(v, length);
    kernels::RandUniform(Ptr(v), length, low, high, RandomState());
}

void DSPUtils::Ramp(VecReal32& v, int length, float offset, float slope) {
    Require(length >= 0);
    SetLength(v, length);
    kernels::Ramp(Ptr(v), length, offset, slope);
}
void DSPUtils::Ramp(VecReal64& v, int length, double offset, double slope) {
    Require(length >= 0);
    SetLength(v, length);
    kernels::Ramp(Ptr(v), length, offset, slope);
}

void DSPUtils::GetFPGAGain(VecReal32& out, float& gain, const VecReal32& taps) {
    GetFPGAGain(out, gain, taps, 1.0f);
}

void DSPUtils::GetFPGAGain(VecReal32& out, float& gain, const VecReal32& taps, float peak) {
    Require(taps.GetSize() > 0 && std::isfinite(peak) && peak > 0.0f);
    const float largest = taps.Max();
    if (largest == 0.0f) KIVO_THROW(KIVO_DIVIDE_BY_ZERO_ERROR);
    out = taps;
    out /= largest;
    if (peak != 1.0f) out *= peak;
    const float sum = out.Sum();
    // ceil(sum) must be a positive int for the power-of-two search (which never ends for a
    // negative argument and wraps above 2^30).
    Require(std::isfinite(sum) && sum > 0.0f && sum <= static_cast<float>(1 << 30));
    const int p = MathUtils::NextPowOf2(static_cast<int>(std::ceil(sum)));
    if (sum == static_cast<float>(p)) {
        gain = static_cast<float>(p);
        return;
    }
    gain = static_cast<float>(p) * 0.5f;
    out *= gain / sum;
}

// ---------------------------------------------------------------------------------------------
// Self-test

namespace {

bool Equal(const VecReal32& v, std::initializer_list<float> want, float tol = 0.0f) {
    if (v.GetSize() != static_cast<int>(want.size())) return false;
    int i = 0;
    for (float w : want) {
        if (!(std::fabs(v[i] - w) <= tol)) return false;
        ++i;
    }
    return true;
}

VecReal32 Make(std::initializer_list<float> values) {
    VecReal32 v;
    v.Import(values.begin(), static_cast<int>(values.size()));
    return v;
}

}  // namespace

bool DSPUtils::UnitTest(UnitTestRecorder& recorder) {
    bool ok = true;
    const char* cls = "DSPUtils";
    auto record = [&](const char* name, bool passed) {
        kernels::Record(recorder, ok, cls, name, passed);
    };
    try {
        const VecReal32 ten = Make({1, 5, 3, -2, 0, 4, 7, 6, 9, 100});
        VecReal32 out;
        Detect(out, ten, 3, DETECTOR_AVE);
        record("Detect AVE 10 by 3", Equal(out, {3.0f, 2.0f / 3.0f, 22.0f / 3.0f}, 1e-6f));
        Detect(out, ten, 3, DETECTOR_MAXMIN);
        record("Detect MAXMIN 10 by 3", Equal(out, {5, 1, 4, -2, 9, 6}));
        Detect(out, ten, 3, DETECTOR_SAMPLE);
        record("Detect SAMPLE 10 by 3", Equal(out, {1, -2, 7}));
        bool edges = true;
        for (int t = DETECTOR_AVE; t <= DETECTOR_SAMPLE; ++t) {
            Detect(out, ten, 11, static_cast<DetectorType>(t));
            edges = edges && out.GetSize() == 0;
            Detect(out, ten, 1, static_cast<DetectorType>(t));
            edges = edges && Equal(out, {1, 5, 3, -2, 0, 4, 7, 6, 9, 100});
        }
        record("Detect factor above length and factor 1", edges);
        Detect(out, Make({-3, -3, -3, -3, 0.5f, 0.5f, 0.5f, 0.5f}), 4, DETECTOR_RMS);
        record("Detect RMS of equal values", Equal(out, {3.0f, 0.5f}));

        VecReal32 wrapped = Make({0.0f, 3.0f, 6.2f, -3.0f});
        const float twoPi = 6.2831855f;
        Unwrap(wrapped, 0, 0.0f, twoPi);
        record("Unwrap around a reference point",
               Equal(wrapped, {0.0f, 3.0f, 6.2f - twoPi, -3.0f}, 1e-6f));
        Unwrap(out, Make({0.0f, 3.5f, 7.0f}), twoPi);
        record("Unwrap whole vector", Equal(out, {0.0f, 3.5f - twoPi, 7.0f - 2 * twoPi}, 1e-5f));
        Unwrap(out, Make({0.0f, 10.0f}), twoPi);
        record("Unwrap whole vector removes one period", Equal(out, {0.0f, 10.0f - twoPi}, 1e-5f));

        VecReal32 phases = Make({4.712389f, -4.712389f});
        MapPhase(phases);
        record("MapPhase", Equal(phases, {-1.5707964f, 1.5707964f}, 1e-6f));

        MovingAverage(out, Make({1, 2, 6, 1, 8}), 3);
        record("MovingAverage width 3", Equal(out, {1, 3, 3, 5, 8}, 1e-6f));

        FFTShift(out, Make({0, 1, 2, 3, 4}));
        const bool odd = Equal(out, {3, 4, 0, 1, 2});
        FFTShift(out, Make({0, 1, 2, 3}));
        record("FFTShift", odd && Equal(out, {2, 3, 0, 1}));

        float gain = 0;
        GetFPGAGain(out, gain, Make({2, 2, 2}));
        const bool three = gain == 2.0f && Equal(out, {2.0f / 3, 2.0f / 3, 2.0f / 3}, 1e-6f);
        GetFPGAGain(out, gain, Make({1, 1, 1, 1}));
        record("GetFPGAGain", three && gain == 4.0f && Equal(out, {1, 1, 1, 1}));

        Conv(out, Make({1, 2, 3}), Make({1, 1}));
        record("Conv", Equal(out, {1, 3, 5, 3}));

        VecReal64 taps;
        LowPass(taps, 0.1, 31);
        double dc = 0;
        for (int i = 0; i < taps.GetSize(); ++i)
            dc += taps[i];
        record("LowPass unit gain at DC", std::fabs(dc - 1.0) < 1e-12);
    } catch (const KivoException&) {
        record("no exception", false);
    }
    return ok;
}

}  // namespace Kivo
