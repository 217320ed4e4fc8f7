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

/// The power sums of some blocks of one trace, moved out of a TraceComputer so that parts of a
/// trace computed apart can be added up in a fixed order.
struct PowerSums {
    std::vector<double> power;  ///< sum of |X[k]|^2, in transform (unshifted) bin order
    long long blocks = 0;
};

/// One trace from blocks of N samples: window, forward transform, |X|^2 added to double sums;
/// the conversion (shift to centred bin order, average, detector, dB) happens once per trace.
/// After the first block, accumulating allocates nothing. One object serves one thread.
class TraceComputer {
  public:
    explicit TraceComputer(const TraceSettings& s);
    /// Same settings as `sameWindow`, whose window coefficients are shared rather than made
    /// again.
    TraceComputer(const TraceSettings& s, const TraceComputer& sameWindow);
    ~TraceComputer();
    TraceComputer(const TraceComputer&) = delete;
    TraceComputer& operator=(const TraceComputer&) = delete;

    /// Adds the power |X[k]|^2 of each of `count` consecutive blocks of N samples.
    void Accumulate(const Kivo::Cplx32* blocks, long long count = 1);
    /// Blocks of N interleaved int16 I/Q samples, each value scaled by `scale` first.
    void AccumulateCs16(const short* blocks, long long count, float scale);
    /// Blocks taken through each step together; a caller reading a file reads as many at once.
    int BatchBlocks() const { return static_cast<int>(windowed_.size()); }

    /// Makes the transform's plan now rather than at the first block; nothing to do once a
    /// block has been added.
    void PrepareTransform();

    /// Moves the sums since the last Finish into `out` and starts afresh.
    void TakeSums(PowerSums& out);
    /// Adds sums taken from another computer of the same settings.
    void AddSums(const PowerSums& part);

    /// The trace of the blocks accumulated since the last Finish: the power average over them,
    /// reduced by the detector when `points` is set, then converted (20·log10 of the averaged
    /// magnitude + 1e-40, as Spectrum does, or the linear magnitude).
    Trace Finish();
    /// The linear mean power per bin of the last Finish, zero-centred bin order (before
    /// detection); for analysis.
    const std::vector<double>& MeanPower() const { return meanPower_; }

    /// Equivalent noise bandwidth of the window in bins, and the RBW it gives in Hz.
    double EnbwBins() const { return enbw_; }
    double RbwHz() const { return enbw_ * settings_.rate / settings_.size; }
    /// Offset in bins from the centre frequency of each trace index (before detection).
    const std::vector<int>& BinOffsets() const { return binOffsets_; }

  private:
    void TransformAndAdd(int count);

    TraceSettings settings_;
    std::shared_ptr<const std::vector<float>> window_;  // each coefficient twice (I and Q)
    Kivo::FT transform_;
    // A batch of blocks goes through each step together: its samples come from one read, and its
    // power is added to the sums in one pass over them.
    std::vector<Kivo::VecCplx32> windowed_;
    std::vector<Kivo::VecCplx32> spectrum_;
    Kivo::VecReal32 averaged_;
    Kivo::VecReal32 detected_;
    std::vector<double> powerSum_;
    std::vector<double> meanPower_;
    std::vector<int> binOffsets_;
    long long blocks_;
    bool lastBlockHere_;  // spectrum_[0] holds the only block of the sums
    double enbw_;
};

/// Text made by appending, whose storage is kept by Clear (and never zero-filled).
class TextBuffer {
  public:
    /// Room for `more` bytes after the text; write there, then Commit the new end.
    char* Reserve(size_t more);
    void Commit(const char* end) { size_ = static_cast<size_t>(end - data_.get()); }
    void Append(const std::string& text);
    const char* Data() const { return data_.get(); }
    size_t Size() const { return size_; }
    void Clear() { size_ = 0; }

  private:
    std::unique_ptr<char[]> data_;
    size_t size_ = 0;
    size_t capacity_ = 0;
};

/// CSV text of traces: "frequency_hz,level" rows, or "trace,frequency_hz,level" when the output
/// holds several traces. The frequency column is formatted once per distinct axis.
class CsvFormatter {
  public:
    CsvFormatter(bool linear, bool several) : linear_(linear), several_(several) {}
    std::string Header() const;
    /// Appends the rows of `trace`, numbered `index` when there are several.
    void Append(TextBuffer& out, const Trace& trace, long long index);

  private:
    bool linear_;
    bool several_;
    std::vector<double> axisFrequencies_;
    std::string axis_;
    std::vector<size_t> axisEnd_;
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
