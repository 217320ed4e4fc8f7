#include <ombrel/dsp/DSPUtils.h>
#include <ombrel/dsp/FFT.h>
#include <ombrel/dsp/Spectrum.h>
#include <ombrel/infra/UnitTestRecorder.h>
#include <ombrel/math/MathUtils.h>

#include "kernels/SelfTest.h"
#include "kernels/VecMath.h"
#include "kernels/VectorAccess.h"

#include <cmath>

namespace Kivo {

Spectrum::Spectrum(int n, WindowType type, float param)
    : size(n),
      window(),
      windowParam(param),
      transform(std::make_shared<FT>()),
      unit(POWER_UNIT_DB),
      windowedCplx(n),
      windowedReal(),
      spectrumCplx(n),
      magnitude(n),
      shifted(),
      windowFactory() {
    window.reset(windowFactory.MakeWindow(type, n, param));
}

// The window is shared: it is never changed after construction, and the last owner releases it.
// The transform is copied: an FT keeps a cache of plans and a scratch buffer that every call may
// change, so two copies sharing one could not be used from two threads at once. The copy shares
// the source's (immutable, thread-safe) FFTW plans, so it computes exactly what the source
// computes, and copying does no planning.
Spectrum::Spectrum(const Spectrum& other)
    : size(other.size),
      window(other.window),
      windowParam(other.windowParam),
      transform(std::make_shared<FT>(*other.transform)),
      unit(other.unit),
      windowedCplx(other.windowedCplx),
      windowedReal(other.windowedReal),
      spectrumCplx(other.spectrumCplx),
      magnitude(other.magnitude),
      shifted(other.shifted),
      windowFactory(other.windowFactory) {}

Spectrum& Spectrum::operator=(const Spectrum& other) {
    if (this == &other) return *this;
    // The new transform is made first: if that allocation fails, *this is unchanged.
    std::shared_ptr<FT> t = std::make_shared<FT>(*other.transform);
    windowedCplx = other.windowedCplx;
    windowedReal = other.windowedReal;
    spectrumCplx = other.spectrumCplx;
    magnitude = other.magnitude;
    shifted = other.shifted;
    windowFactory = other.windowFactory;
    size = other.size;
    window = other.window;
    windowParam = other.windowParam;
    transform = std::move(t);
    unit = other.unit;
    return *this;
}
Spectrum::~Spectrum() = default;

void Spectrum::SetUnit(PowerUnit u) {
    unit = u;
}

namespace {

// The single-precision 1e-40 is the subnormal 9.99994610111476e-41; it only keeps the logarithm
// of a zero bin finite.
constexpr float kFloor = 1e-40f;

// Magnitude, shift, floor, log10 and the factor 20 in one pass over the transform: the dB trace
// is the analyser's hot path, and separate passes would each stream the whole block through the
// cache again. Every element goes through exactly the operations (and roundings) of the separate
// steps, and the member vectors end up holding what those steps leave in them: `magnitude` in
// bin order, `shifted` with zero frequency in the middle plus the floor. The shift moves bin j
// to (j + N/2) mod N, so the two halves of the transform are each one contiguous run.
void AmplitudeDbShifted(const VecCplx32& spectrum, VecReal32& magnitude, VecReal32& shifted,
                        VecReal32& trace, int n) {
    shifted.Resize(n);
    trace.Resize(n);
    using kernels::VectorAccess;
    const float* c = reinterpret_cast<const float*>(VectorAccess::Data(spectrum));
    float* mag = VectorAccess::Data(magnitude);
    float* lin = VectorAccess::Data(shifted);
    float* db = VectorAccess::Data(trace);
    const int h = n / 2;
    kernels::VecAmplitudeDb(c, mag, lin + h, db + h, kFloor, n - h);
    kernels::VecAmplitudeDb(c + 2 * (n - h), mag + (n - h), lin, db, kFloor, h);
}

}  // namespace

void Spectrum::Apply(VecReal32& trace, const VecCplx32& samples) {
    window->Apply(windowedCplx, samples);
    transform->Forward(spectrumCplx, windowedCplx);
    if (unit == POWER_UNIT_DB) {
        AmplitudeDbShifted(spectrumCplx, magnitude, shifted, trace, size);
        return;
    }
    MathUtils::Abs(magnitude, spectrumCplx);
    Finish(trace);
}

void Spectrum::Apply(VecReal32& trace, const VecReal32& samples) {
    window->Apply(windowedReal, samples);
    transform->Forward(spectrumCplx, windowedReal);
    // The real path takes its magnitude from the signal utilities, the complex path from the
    // math utilities; both compute sqrt(re² + im²) with the same roundings, which is also what
    // the one-pass dB step computes.
    if (unit == POWER_UNIT_DB) {
        AmplitudeDbShifted(spectrumCplx, magnitude, shifted, trace, size);
        return;
    }
    DSPUtils::Mag(magnitude, spectrumCplx);
    Finish(trace);
}

// The linear trace: shift, then a copy (the dB trace is made in one pass by AmplitudeDbShifted).
void Spectrum::Finish(VecReal32& trace) {
    DSPUtils::FFTShift(shifted, magnitude);
    // A copy of the linear trace. Import keeps trace's buffer when it is large enough, where
    // assignment would reallocate on every block.
    trace.Import(&shifted[0], size);
}

bool Spectrum::UnitTest(UnitTestRecorder& recorder) {
    bool ok = true;
    const char* cls = "Spectrum";
    const int n = 64;
    VecCplx32 tone(n);
    for (int i = 0; i < n; ++i) {
        const double ph = 2.0 * 3.14159265358979323846 * 5.0 * i / n;
        tone[i] =
            Cplx32{static_cast<float>(0.5 * std::cos(ph)), static_cast<float>(0.5 * std::sin(ph))};
    }
    Spectrum s(n, WT_FLAT_TOP, 0.0f);
    VecReal32 trace;
    s.Apply(trace, tone);
    kernels::Record(
        recorder, ok, cls, "tone on a bin reads 20 log10(A)",
        trace.GetSize() == n && std::fabs(trace[n / 2 + 5] - 20.0f * std::log10(0.5f)) < 0.01f);
    s.SetUnit(POWER_UNIT_LINEAR);
    s.Apply(trace, tone);
    kernels::Record(recorder, ok, cls, "linear unit", std::fabs(trace[n / 2 + 5] - 0.5f) < 1e-3f);
    VecCplx32 zeros(n);
    zeros.SetZero();
    s.SetUnit(POWER_UNIT_DB);
    s.Apply(trace, zeros);
    const float floorDb = 20.0f * std::log10(1e-40f);
    kernels::Record(recorder, ok, cls, "zero block stays finite",
                    std::isfinite(trace[0]) && std::fabs(trace[0] - floorDb) < 0.01f);
    Spectrum copy(s);
    VecReal32 other;
    copy.Apply(other, tone);
    s.Apply(trace, tone);
    kernels::Record(recorder, ok, cls, "copy computes the same", trace.IsEqual(other, 0.0f));
    return ok;
}

}  // namespace Kivo
