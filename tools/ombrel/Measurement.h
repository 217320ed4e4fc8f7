// The measurement pipeline shared by `ombrel spectrum` and `ombrel demo`: Spectrum per block,
// power average over K blocks, optional detector reduction, conversion to dB once at the end.
#pragma once

#include <ombrel/Ombrel.h>

#include <memory>
#include <string>
#include <vector>

namespace ombrel_tool {

struct TraceSettings {
    int size = 4096;  ///< block and transform length N
    Kivo::WindowType window = Kivo::WT_FLAT_TOP;
    bool linear = false;                               ///< linear magnitude instead of dB
    int points = 0;                                    ///< 0: all N bins
    Kivo::DetectorType detector = Kivo::DETECTOR_AVE;  ///< reduction to about `points` points
    double rate = 0.0;                                 ///< sample rate, Hz
    double center = 0.0;                               ///< centre frequency, Hz
};

struct Trace {
    std::vector<double> frequencyHz;  ///< absolute frequency of each point
    std::vector<float> level;         ///< dB re full-scale amplitude, or linear magnitude
};

/// "uniform", "blackman-harris", "flat-top", "hann", "gauss", "kaiser".
Kivo::WindowType ParseWindowName(const std::string& name);
const char* WindowName(Kivo::WindowType type);
/// "ave", "max", "min", "maxmin", "rms", "sample".
Kivo::DetectorType ParseDetectorName(const std::string& name);

class TraceComputer {
  public:
    explicit TraceComputer(const TraceSettings& s);
    ~TraceComputer();
    TraceComputer(const TraceComputer&) = delete;
    TraceComputer& operator=(const TraceComputer&) = delete;

    /// Adds the power |X[k]|^2 of one block of N samples (zero-centred bin order).
    void Accumulate(const Kivo::VecCplx32& block);
    /// The trace of the blocks accumulated since the last Finish: the power average over them,
    /// reduced by the detector when `points` is set, then converted (20·log10 of the averaged
    /// magnitude + 1e-40, as Spectrum does, or the linear magnitude).
    Trace Finish();
    /// The linear mean power per bin since the last Finish (before detection); for analysis.
    const std::vector<double>& MeanPower() const { return meanPower_; }

    /// Equivalent noise bandwidth of the window in bins, and the RBW it gives in Hz.
    double EnbwBins() const { return enbw_; }
    double RbwHz() const { return enbw_ * settings_.rate / settings_.size; }
    /// Offset in bins from the centre frequency of each trace index (before detection).
    const std::vector<int>& BinOffsets() const { return binOffsets_; }

  private:
    TraceSettings settings_;
    Kivo::Spectrum spectrum_;
    Kivo::VecReal32 magnitude_;
    Kivo::VecReal32 averaged_;
    Kivo::VecReal32 detected_;
    std::vector<double> powerSum_;
    std::vector<double> meanPower_;
    std::vector<int> binOffsets_;
    int blocks_;
    double enbw_;
};

/// Writes "frequency_hz,level" rows (or "trace,frequency_hz,level" for several traces).
void WriteCsv(FILE* f, const std::vector<Trace>& traces, bool linear);

struct PlotLabels {
    double centerHz;
    double spanHz;
    double rbwHz;
    std::string window;
    bool linear;
};

/// Draws the trace with gnuplot into a PNG (written atomically). Throws InputError when gnuplot
/// is missing or fails.
void PlotTrace(const std::string& pngPath, const Trace& trace, const PlotLabels& labels);

}  // namespace ombrel_tool
