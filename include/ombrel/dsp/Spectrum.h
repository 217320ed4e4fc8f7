// One block of samples to one magnitude trace: window, forward transform, magnitude, shift of
// zero frequency to the centre, optional conversion to dB.
#pragma once

#include <ombrel/Export.h>
#include <ombrel/dsp/Window.h>
#include <ombrel/dsp/WindowFactory.h>
#include <ombrel/math/Vector.h>

#include <memory>

namespace Kivo {

class FT;
class UnitTestRecorder;

/// Output unit of the spectrum classes, stored as a plain integer. For Spectrum only 0 versus
/// anything else matters: 0 is amplitude in dB, every other value linear magnitude. (The
/// stepped spectrum reads 1 as dB plus 10 dB.)
enum PowerUnit : int {
    POWER_UNIT_DB = 0,
    POWER_UNIT_DB_PLUS_10 = 1,
    POWER_UNIT_LINEAR = 2,
};

/// Turns one block of N time samples into a trace of N bins running from the most negative to
/// the most positive frequency (bin 0 at index N/2).
///
/// The window is normalised to unit sum and nothing else is scaled, so a complex tone of
/// amplitude A exactly on a bin reads A (linear) or 20·log10(A) dB. The dB trace is
/// 20·log10(|X[k]| + 1e-40f): an amplitude, and a zero bin stays finite (about -800 dB).
///
/// The window, the transform and the work vectors are kept between calls: after the first call
/// on blocks of N samples, Apply allocates nothing. A block of another length is reported by
/// the window (KivoException 8005). A copy shares the source's window (shared ownership, released
/// with the last copy) and has its own transform object over the same FFTW plans: it computes
/// exactly what the source computes, and the source and its copies may run in different threads
/// at the same time (one object must not be used by two threads at once).
class OMBREL_API Spectrum {
  public:
    /// N points; the window made by WindowFactory::MakeWindow(type, N, param), which keeps the
    /// default shape of Gauss and Kaiser windows; unit 0 (dB).
    Spectrum(int size, WindowType type, float param);
    Spectrum(const Spectrum& other);
    Spectrum& operator=(const Spectrum& other);
    virtual ~Spectrum();

    /// Takes effect on the next Apply.
    void SetUnit(PowerUnit unit);
    int GetSize() const { return size; }

    /// Real block of N samples: real window, real-to-complex transform (full N bins),
    /// DSPUtils::Mag, FFTShift, optional dB.
    void Apply(VecReal32& trace, const VecReal32& samples);
    /// Complex block of N samples: window, transform, MathUtils::Abs, FFTShift, optional dB.
    void Apply(VecReal32& trace, const VecCplx32& samples);

    static bool UnitTest(UnitTestRecorder& recorder);

  private:
    void Finish(VecReal32& trace);

    int size;
    std::shared_ptr<Window> window;
    float windowParam;
    std::shared_ptr<FT> transform;
    int unit;
    VecCplx32 windowedCplx;
    VecReal32 windowedReal;
    VecCplx32 spectrumCplx;
    VecReal32 magnitude;
    VecReal32 shifted;
    WindowFactory windowFactory;
};

}  // namespace Kivo
