#include "Measurement.h"

#include "Options.h"

#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>

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

// Amplitude in dB as the library's Spectrum computes it: the single-precision 1e-40 keeps a
// zero bin finite.
float ToDb(double magnitude) {
    return static_cast<float>(20.0 * std::log10(magnitude + static_cast<double>(1e-40f)));
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

TraceComputer::TraceComputer(const TraceSettings& s)
    : settings_(s),
      spectrum_(s.size, s.window, 0.0f),
      powerSum_(static_cast<size_t>(s.size), 0.0),
      meanPower_(static_cast<size_t>(s.size), 0.0),
      binOffsets_(static_cast<size_t>(s.size)),
      blocks_(0),
      enbw_(0.0) {
    // Any non-zero unit gives the linear magnitude; the dB conversion happens once, after the
    // power average.
    spectrum_.SetUnit(static_cast<Kivo::PowerUnit>(2));
    Kivo::WindowFactory factory;
    Kivo::Window* w = factory.MakeWindow(s.window, s.size, 0.0f);
    enbw_ = w->GetENBW();
    delete w;
    // Spectrum's zero-frequency shift puts bin 0 at index N/2.
    for (int i = 0; i < s.size; ++i)
        binOffsets_[i] = i - s.size / 2;
}

TraceComputer::~TraceComputer() = default;

void TraceComputer::Accumulate(const Kivo::VecCplx32& block) {
    spectrum_.Apply(magnitude_, block);
    for (int k = 0; k < settings_.size; ++k) {
        const double m = magnitude_[k];
        powerSum_[k] += m * m;
    }
    ++blocks_;
}

Trace TraceComputer::Finish() {
    const int n = settings_.size;
    averaged_.Resize(n);
    for (int k = 0; k < n; ++k) {
        meanPower_[k] = blocks_ ? powerSum_[k] / blocks_ : 0.0;
        // One block: the magnitude itself, not a rounded sqrt of its square.
        averaged_[k] = blocks_ == 1 ? magnitude_[k] : static_cast<float>(std::sqrt(meanPower_[k]));
        powerSum_[k] = 0.0;
    }
    blocks_ = 0;

    const double binHz = settings_.rate / n;
    Trace t;
    if (settings_.points <= 0 || settings_.points >= n) {
        t.frequencyHz.resize(n);
        t.level.resize(n);
        for (int k = 0; k < n; ++k) {
            t.frequencyHz[k] = settings_.center + binOffsets_[k] * binHz;
            t.level[k] = settings_.linear ? averaged_[k] : ToDb(averaged_[k]);
        }
        return t;
    }
    const int factor = n / settings_.points;
    Kivo::DSPUtils::Detect(detected_, averaged_, factor, settings_.detector);
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
        t.level[j] = settings_.linear ? detected_[j] : ToDb(detected_[j]);
    }
    return t;
}

void WriteCsv(FILE* f, const std::vector<Trace>& traces, bool linear) {
    const bool several = traces.size() > 1;
    std::fprintf(f, several ? "trace,frequency_hz,%s\n" : "frequency_hz,%s\n",
                 linear ? "magnitude" : "level_db");
    // Formatted with to_chars into one buffer: printf-style formatting of a long run of traces
    // costs more than computing them.
    std::vector<char> buf(1 << 16);
    size_t used = 0;
    auto flush = [&] {
        std::fwrite(buf.data(), 1, used, f);
        used = 0;
    };
    // The traces share one frequency axis: its text is made once.
    std::string axis;
    std::vector<size_t> axisEnd;
    std::vector<double> axisFrequencies;
    auto axisFor = [&](const Trace& tr) {
        if (!axisEnd.empty() && tr.frequencyHz == axisFrequencies) return;
        axisFrequencies = tr.frequencyHz;
        axis.clear();
        axisEnd.clear();
        char num[64];
        for (double f : tr.frequencyHz) {
            char* e = std::to_chars(num, num + sizeof num, f, std::chars_format::fixed, 3).ptr;
            axis.append(num, e);
            axis.push_back(',');
            axisEnd.push_back(axis.size());
        }
    };
    for (size_t t = 0; t < traces.size(); ++t) {
        const Trace& tr = traces[t];
        axisFor(tr);
        for (size_t i = 0; i < tr.level.size(); ++i) {
            if (buf.size() - used < 128) flush();
            char* p = buf.data() + used;
            char* const end = buf.data() + buf.size();
            if (several) {
                p = std::to_chars(p, end, t).ptr;
                *p++ = ',';
            }
            const size_t from = i ? axisEnd[i - 1] : 0;
            std::memcpy(p, axis.data() + from, axisEnd[i] - from);
            p += axisEnd[i] - from;
            p = linear ? std::to_chars(p, end, tr.level[i], std::chars_format::general, 9).ptr
                       : std::to_chars(p, end, tr.level[i], std::chars_format::fixed, 4).ptr;
            *p++ = '\n';
            used = static_cast<size_t>(p - buf.data());
        }
    }
    flush();
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

    FILE* gp = popen("gnuplot 1>&2", "w");
    if (!gp) {
        std::remove(dataPath);
        throw InputError("cannot run gnuplot");
    }
    std::fputs(script.c_str(), gp);
    const int status = pclose(gp);
    std::remove(dataPath);
    if (status != 0 || std::rename(partial.c_str(), pngPath.c_str()) != 0) {
        std::remove(partial.c_str());
        throw InputError("gnuplot failed to draw '" + pngPath + "' (is gnuplot installed?)");
    }
}

}  // namespace ombrel_tool
