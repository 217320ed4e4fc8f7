#include "Measurement.h"

#include "CsvNumber.h"
#include "Options.h"

#include <signal.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <stdexcept>

namespace ombrel_tool {

namespace {
struct Named {
    const char* name;
    int value;
};
constexpr Named kWindows[] = {
    {"uniform", Kivo::WT_UNIFORM},   {"blackman-harris", Kivo::WT_BLACKMAN_HARRIS},
    {"flat-top", Kivo::WT_FLAT_TOP}, {"hann", Kivo::WT_HANN},
    {"gauss", Kivo::WT_GAUSS},       {"kaiser", Kivo::WT_KAISER}};
constexpr Named kDetectors[] = {{"ave", Kivo::DETECTOR_AVE}, {"max", Kivo::DETECTOR_MAX},
                                {"min", Kivo::DETECTOR_MIN}, {"maxmin", Kivo::DETECTOR_MAXMIN},
                                {"rms", Kivo::DETECTOR_RMS}, {"sample", Kivo::DETECTOR_SAMPLE}};

std::string NameList(const Named* list, int n) {
    std::string s;
    for (int i = 0; i < n; ++i)
        s += (i ? ", " : "") + std::string(list[i].name);
    return s;
}

// Amplitude in dB with the same three vector steps as the library's Spectrum: + 1e-40f (keeps a
// zero bin finite), log10, * 20.
void ToDb(Kivo::VecReal32& v) {
    v.Add(1e-40f);
    Kivo::MathUtils::Log10(v);
    v.Mul(20.0f);
}
}  // namespace

Kivo::WindowType ParseWindowName(const std::string& name) {
    for (const Named& w : kWindows)
        if (name == w.name) return static_cast<Kivo::WindowType>(w.value);
    throw UsageError("unknown window '" + name + "' (use one of: " + NameList(kWindows, 6) + ")");
}

const char* WindowName(Kivo::WindowType type) {
    for (const Named& w : kWindows)
        if (w.value == type) return w.name;
    return "unknown";
}

Kivo::DetectorType ParseDetectorName(const std::string& name) {
    for (const Named& d : kDetectors)
        if (name == d.name) return static_cast<Kivo::DetectorType>(d.value);
    throw UsageError("unknown detector '" + name + "' (use one of: " + NameList(kDetectors, 6) +
                     ")");
}

namespace {
// The element-wise steps of a block, built for the widest vector unit the processor has.
// Contraction is off project-wide, so every clone rounds exactly like the scalar loop.
#if defined(__x86_64__) && defined(__GNUC__) && !defined(__clang__)
#define OMBREL_TOOL_CLONES __attribute__((target_clones("avx512f", "avx2", "default")))
#else
#define OMBREL_TOOL_CLONES
#endif

// out = in * w over 2N interleaved floats: one rounding per product, as Window::Apply.
// Window::Apply itself takes vectors, and the blocks here are raw memory (the read buffer, or an
// in-memory capture), so the tool keeps the window's 2N coefficients and multiplies them itself.
OMBREL_TOOL_CLONES void WindowFloats(const float* __restrict in, const float* __restrict w,
                                     float* __restrict out, int n) {
    for (int i = 0; i < n; ++i)
        out[i] = in[i] * w[i];
}

// The cs16 conversion (value * scale, rounded to float) followed by the window product.
OMBREL_TOOL_CLONES void WindowShorts(const short* __restrict in, float scale,
                                     const float* __restrict w, float* __restrict out, int n) {
    for (int i = 0; i < n; ++i)
        out[i] = (static_cast<float>(in[i]) * scale) * w[i];
}

// sum[k] += re^2 + im^2: the power of each bin as the library computes it in single precision
// (the square of its magnitude before the root), added up in double.
OMBREL_TOOL_CLONES void AddPower(const float* __restrict x, double* __restrict sum, int n) {
    for (int k = 0; k < n; ++k) {
        const float re = x[2 * k];
        const float im = x[2 * k + 1];
        sum[k] += static_cast<double>(re * re + im * im);
    }
}

// The power of several spectra added to the sums, block after block for each bin as one at a
// time would, but a slice of the sums at a time so that it stays in the first-level cache
// while every spectrum is added to it.
void AddPowers(std::vector<Kivo::VecCplx32>& spectra, int count, double* sum, int n) {
    constexpr int kSlice = 512;
    for (int k0 = 0; k0 < n; k0 += kSlice) {
        const int m = std::min(kSlice, n - k0);
        for (int g = 0; g < count; ++g)
            AddPower(reinterpret_cast<const float*>(&spectra[g][k0]), sum + k0, m);
    }
}

// Blocks per batch: the batch's windowed blocks and spectra stay within the second-level cache.
int BlocksPerBatch(int n) {
    constexpr long long kBatchBytes = 1 << 18;
    return static_cast<int>(std::clamp<long long>(kBatchBytes / (16LL * n), 1, 16));
}
}  // namespace

TraceComputer::TraceComputer(const TraceSettings& s)
    : settings_(s),
      window_(),
      transform_(),
      windowed_(static_cast<size_t>(BlocksPerBatch(s.size)), Kivo::VecCplx32(s.size)),
      spectrum_(static_cast<size_t>(BlocksPerBatch(s.size)), Kivo::VecCplx32(s.size)),
      powerSum_(static_cast<size_t>(s.size), 0.0),
      meanPower_(static_cast<size_t>(s.size), 0.0),
      binOffsets_(static_cast<size_t>(s.size)),
      blocks_(0),
      lastBlockHere_(false),
      enbw_(0.0) {
    Kivo::WindowFactory factory;
    std::unique_ptr<Kivo::Window> w(factory.MakeWindow(s.window, s.size, 0.0f));
    enbw_ = w->GetENBW();
    Kivo::VecReal32 c;
    w->GetCoefficients(c);
    auto twice = std::make_shared<std::vector<float>>(2 * static_cast<size_t>(s.size));
    for (int i = 0; i < s.size; ++i)
        (*twice)[2 * i] = (*twice)[2 * i + 1] = c[i];
    window_ = std::move(twice);
    // Zero frequency is shown at index N/2, as Spectrum's shift puts it.
    for (int i = 0; i < s.size; ++i)
        binOffsets_[i] = i - s.size / 2;
}

TraceComputer::TraceComputer(const TraceSettings& s, const TraceComputer& sameWindow)
    : settings_(s),
      window_(sameWindow.window_),
      transform_(),
      windowed_(static_cast<size_t>(BlocksPerBatch(s.size)), Kivo::VecCplx32(s.size)),
      spectrum_(static_cast<size_t>(BlocksPerBatch(s.size)), Kivo::VecCplx32(s.size)),
      powerSum_(static_cast<size_t>(s.size), 0.0),
      meanPower_(static_cast<size_t>(s.size), 0.0),
      binOffsets_(sameWindow.binOffsets_),
      blocks_(0),
      lastBlockHere_(false),
      enbw_(sameWindow.enbw_) {}

TraceComputer::~TraceComputer() = default;

void TraceComputer::Accumulate(const Kivo::Cplx32* blocks, long long count) {
    const int n = settings_.size;
    const int batch = BatchBlocks();
    for (long long done = 0; done < count; done += batch) {
        const int m = static_cast<int>(std::min<long long>(batch, count - done));
        for (int g = 0; g < m; ++g)
            WindowFloats(reinterpret_cast<const float*>(blocks + (done + g) * n), window_->data(),
                         reinterpret_cast<float*>(&windowed_[g][0]), 2 * n);
        TransformAndAdd(m);
    }
}

void TraceComputer::AccumulateCs16(const short* blocks, long long count, float scale) {
    const int n = settings_.size;
    const int batch = BatchBlocks();
    for (long long done = 0; done < count; done += batch) {
        const int m = static_cast<int>(std::min<long long>(batch, count - done));
        for (int g = 0; g < m; ++g)
            WindowShorts(blocks + 2 * (done + g) * n, scale, window_->data(),
                         reinterpret_cast<float*>(&windowed_[g][0]), 2 * n);
        TransformAndAdd(m);
    }
}

void TraceComputer::TransformAndAdd(int count) {
    for (int g = 0; g < count; ++g)
        transform_.Forward(spectrum_[g], windowed_[g]);
    AddPowers(spectrum_, count, powerSum_.data(), settings_.size);
    lastBlockHere_ = blocks_ == 0 && count == 1;
    blocks_ += count;
}

void TraceComputer::PrepareTransform() {
    if (blocks_ != 0) return;  // planned already, and spectrum_[0] may be the block to keep
    windowed_[0].SetZero();
    transform_.Forward(spectrum_[0], windowed_[0]);
}

void TraceComputer::TakeSums(PowerSums& out) {
    out.power.resize(powerSum_.size());
    out.power.swap(powerSum_);
    std::fill(powerSum_.begin(), powerSum_.end(), 0.0);
    out.blocks = blocks_;
    blocks_ = 0;
    lastBlockHere_ = false;
}

void TraceComputer::AddSums(const PowerSums& part) {
    if (part.blocks == 0) return;
    if (part.power.size() != powerSum_.size())
        throw std::invalid_argument("power sums of another transform length");
    for (size_t k = 0; k < powerSum_.size(); ++k)
        powerSum_[k] += part.power[k];
    blocks_ += part.blocks;
    lastBlockHere_ = false;
}

Trace TraceComputer::Finish() {
    const int n = settings_.size;
    averaged_.Resize(n);
    // A single block gives its magnitude itself, computed in float as Spectrum does, not a
    // rounded square root of its square.
    const bool single = blocks_ == 1 && lastBlockHere_;
    const float* x = reinterpret_cast<const float*>(&spectrum_[0][0]);
    const int half = n / 2;
    for (int i = 0; i < n; ++i) {
        const int k = i < half ? i + n - half : i - half;  // centred index i holds bin k
        meanPower_[i] = blocks_ ? powerSum_[k] / static_cast<double>(blocks_) : 0.0;
        averaged_[i] = single ? std::sqrt(x[2 * k] * x[2 * k] + x[2 * k + 1] * x[2 * k + 1])
                              : static_cast<float>(std::sqrt(meanPower_[i]));
    }
    std::fill(powerSum_.begin(), powerSum_.end(), 0.0);
    blocks_ = 0;
    lastBlockHere_ = false;

    const double binHz = settings_.rate / n;
    Trace t;
    if (settings_.points <= 0 || settings_.points >= n) {
        if (!settings_.linear) ToDb(averaged_);
        t.frequencyHz.resize(n);
        t.level.resize(n);
        for (int k = 0; k < n; ++k) {
            t.frequencyHz[k] = settings_.center + binOffsets_[k] * binHz;
            t.level[k] = averaged_[k];
        }
        return t;
    }
    const int factor = n / settings_.points;
    Kivo::DSPUtils::Detect(detected_, averaged_, factor, settings_.detector);
    if (!settings_.linear) ToDb(detected_);
    const int m = detected_.GetSize();
    const bool pairs = settings_.detector == Kivo::DETECTOR_MAXMIN;
    t.frequencyHz.resize(m);
    t.level.resize(m);
    for (int j = 0; j < m; ++j) {
        const int bucket = pairs ? j / 2 : j;
        // The sample detector keeps each bucket's first point; the others describe the bucket,
        // whose centre is half a bucket minus half a bin from its first point.
        const double first = settings_.center + binOffsets_[bucket * factor] * binHz;
        t.frequencyHz[j] = settings_.detector == Kivo::DETECTOR_SAMPLE
                               ? first
                               : first + 0.5 * (factor - 1) * binHz;
        t.level[j] = detected_[j];
    }
    return t;
}

std::string CsvFormatter::Header() const {
    return std::string(several_ ? "trace,frequency_hz," : "frequency_hz,") +
           (linear_ ? "magnitude\n" : "level_db\n");
}

char* TextBuffer::Reserve(size_t more) {
    if (capacity_ - size_ < more) {
        const size_t capacity = std::max(size_ + more, 2 * capacity_);
        std::unique_ptr<char[]> bigger(new char[capacity]);
        if (size_) std::memcpy(bigger.get(), data_.get(), size_);
        data_ = std::move(bigger);
        capacity_ = capacity;
    }
    return data_.get() + size_;
}

void TextBuffer::Append(const std::string& text) {
    char* p = Reserve(text.size());
    std::memcpy(p, text.data(), text.size());
    Commit(p + text.size());
}

void CsvFormatter::Append(TextBuffer& out, const Trace& tr, long long index) {
    // Traces share one frequency axis: its text is made once.
    if (axisEnd_.empty() || tr.frequencyHz != axisFrequencies_) {
        axisFrequencies_ = tr.frequencyHz;
        axis_.clear();
        axisEnd_.clear();
        char num[64];
        for (double f : tr.frequencyHz) {
            char* e = std::to_chars(num, num + sizeof num, f, std::chars_format::fixed, 3).ptr;
            axis_.append(num, e);
            axis_.push_back(',');
            axisEnd_.push_back(axis_.size());
        }
    }
    char prefix[32];
    size_t prefixLength = 0;
    if (several_) {
        char* e = std::to_chars(prefix, prefix + sizeof prefix, index).ptr;
        *e++ = ',';
        prefixLength = static_cast<size_t>(e - prefix);
    }
    // 64 bytes per row is more than any level takes.
    constexpr size_t kLevelRoom = 64;
    char* p = out.Reserve(axis_.size() + tr.level.size() * (prefixLength + kLevelRoom));
    char* const end = p + axis_.size() + tr.level.size() * (prefixLength + kLevelRoom);
    for (size_t i = 0; i < tr.level.size(); ++i) {
        std::memcpy(p, prefix, prefixLength);
        p += prefixLength;
        const size_t from = i ? axisEnd_[i - 1] : 0;
        std::memcpy(p, axis_.data() + from, axisEnd_[i] - from);
        p += axisEnd_[i] - from;
        p = linear_ ? std::to_chars(p, end, tr.level[i], std::chars_format::general, 9).ptr
                    : FormatFixed4(p, end, tr.level[i]);
        *p++ = '\n';
    }
    out.Commit(p);
}

void WriteCsv(FILE* f, const std::vector<Trace>& traces, bool linear) {
    CsvFormatter csv(linear, traces.size() > 1);
    TextBuffer text;
    text.Append(csv.Header());
    for (size_t t = 0; t < traces.size(); ++t) {
        csv.Append(text, traces[t], static_cast<long long>(t));
        std::fwrite(text.Data(), 1, text.Size(), f);
        text.Clear();
    }
    std::fwrite(text.Data(), 1, text.Size(), f);
}

namespace {
std::string FormatHz(double hz) {
    char buf[64];
    const double a = std::fabs(hz);
    if (a >= 1e9)
        std::snprintf(buf, sizeof buf, "%.6g GHz", hz / 1e9);
    else if (a >= 1e6)
        std::snprintf(buf, sizeof buf, "%.6g MHz", hz / 1e6);
    else if (a >= 1e3)
        std::snprintf(buf, sizeof buf, "%.4g kHz", hz / 1e3);
    else
        std::snprintf(buf, sizeof buf, "%.4g Hz", hz);
    return buf;
}
}  // namespace

void PlotTrace(const std::string& pngPath, const Trace& trace, const PlotLabels& labels) {
    char dataPath[] = "/tmp/ombrel-plot-XXXXXX";
    const int fd = mkstemp(dataPath);
    if (fd < 0) throw InputError("cannot create a temporary file for the plot");
    FILE* data = fdopen(fd, "w");
    double lo = 1e300, hi = -1e300;
    for (size_t i = 0; i < trace.level.size(); ++i) {
        std::fprintf(data, "%.6f %.6g\n", trace.frequencyHz[i] / 1e6, trace.level[i]);
        lo = std::min(lo, static_cast<double>(trace.level[i]));
        hi = std::max(hi, static_cast<double>(trace.level[i]));
    }
    std::fclose(data);

    const std::string partial = pngPath + ".partial";
    std::string script;
    script += "set terminal pngcairo size 1280,720 font 'sans,11'\n";
    script += "set output '" + partial + "'\n";
    script += "set title \"Centre " + FormatHz(labels.centerHz) + ", span " +
              FormatHz(labels.spanHz) + ", RBW " + FormatHz(labels.rbwHz) + ", " + labels.window +
              " window\"\n";
    script += "set xlabel 'Frequency (MHz)'\n";
    script += labels.linear ? "set ylabel 'Magnitude (linear, full scale = 1)'\n"
                            : "set ylabel 'Level (dB re full scale)'\n";
    script +=
        "set grid xtics ytics mxtics mytics lt 1 lc rgb '#a0a0a0' lw 1, lt 1 lc rgb '#e0e0e0' lw "
        "1\n";
    script += "set mxtics 5\nset mytics 2\nset key off\n";
    char range[128];
    std::snprintf(range, sizeof range, "set xrange [%.6f:%.6f]\n",
                  (labels.centerHz - labels.spanHz / 2) / 1e6,
                  (labels.centerHz + labels.spanHz / 2) / 1e6);
    script += range;
    if (!labels.linear) {
        // Whole 10 dB divisions from just below the noise to just above the highest peak.
        std::snprintf(range, sizeof range, "set yrange [%.0f:%.0f]\nset ytics 10\n",
                      std::floor(std::max(lo, hi - 200.0) / 10.0) * 10.0 - 10.0,
                      std::ceil(hi / 10.0) * 10.0 + 10.0);
        script += range;
    }
    script += "plot '" + std::string(dataPath) + "' using 1:2 with lines lw 1.2 lc rgb '#1f4e9c'\n";

    // A gnuplot that is missing or exits early closes the pipe: writing to it must fail with
    // an error, not kill the program with SIGPIPE (which would also leave the partial CSV).
    struct sigaction ignore {
    }, previous{};
    ignore.sa_handler = SIG_IGN;
    sigemptyset(&ignore.sa_mask);
    sigaction(SIGPIPE, &ignore, &previous);
    FILE* gp = popen("gnuplot 1>&2", "w");
    if (!gp) {
        sigaction(SIGPIPE, &previous, nullptr);
        std::remove(dataPath);
        throw InputError("cannot run gnuplot");
    }
    std::fputs(script.c_str(), gp);
    const int status = pclose(gp);
    sigaction(SIGPIPE, &previous, nullptr);
    std::remove(dataPath);
    if (status != 0 || std::rename(partial.c_str(), pngPath.c_str()) != 0) {
        std::remove(partial.c_str());
        throw InputError("gnuplot failed to draw '" + pngPath + "' (is gnuplot installed?)");
    }
}

}  // namespace ombrel_tool
