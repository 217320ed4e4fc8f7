// `ombrel demo`: a complete measurement on a synthesised capture, with known truth to compare.
#include "Commands.h"
#include "Measurement.h"
#include "Options.h"
#include "Synth.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <vector>

namespace ombrel_tool {

namespace {

constexpr double kRate = 25e6;
constexpr double kCenter = 1e9;
constexpr int kSize = 16384;
constexpr int kBlocks = 32;
constexpr double kNoiseDbHz = -150.0;
// One strong tone and one 50 dB below it, both between bins (0.4 and 0.3 bin off), where a
// window's scalloping shows.
const Tone kTones[] = {{3.1e6, -10.0, 0.3}, {-5.3e6, -60.0, 1.1}};

struct Peak {
    double frequencyHz;
    double levelDb;
};

// Highest bin within ±searchBins of the expected offset; frequency refined by a parabola
// through the dB values of the peak bin and its neighbours.
Peak FindPeak(const Trace& t, double expectedHz, int searchBins) {
    const double binHz = kRate / kSize;
    const int centre = static_cast<int>(std::lround((expectedHz - t.frequencyHz[0]) / binHz));
    int best = std::clamp(centre, 0, static_cast<int>(t.level.size()) - 1);
    for (int k = std::max(1, centre - searchBins);
         k <= std::min(static_cast<int>(t.level.size()) - 2, centre + searchBins); ++k)
        if (t.level[k] > t.level[best]) best = k;
    const double a = t.level[best - 1], b = t.level[best], c = t.level[best + 1];
    const double denom = a - 2 * b + c;
    const double delta = denom != 0.0 ? 0.5 * (a - c) / denom : 0.0;
    return {t.frequencyHz[best] + delta * binHz, b};
}

// Noise density from the mean power of the bins away from the tones, normalised to 1 Hz with
// the window's equivalent noise bandwidth.
double NoiseDensityDbHz(const TraceComputer& c, const std::vector<double>& meanPower) {
    const double binHz = kRate / kSize;
    const std::vector<int>& offsets = c.BinOffsets();
    double sum = 0.0;
    long count = 0;
    for (size_t k = 0; k < meanPower.size(); ++k) {
        const double f = offsets[k] * binHz;
        bool nearTone = std::fabs(f) > 0.45 * kRate;  // the band edges
        for (const Tone& t : kTones)
            nearTone = nearTone || std::fabs(f - t.offsetHz) < 200 * binHz;
        if (nearTone) continue;
        sum += meanPower[k];
        ++count;
    }
    return 10.0 * std::log10(sum / count / (c.EnbwBins() * binHz));
}

struct WindowResult {
    Trace trace;
    std::vector<Peak> peaks;
    double noiseDbHz;
    double rbwHz;
};

WindowResult Measure(Kivo::WindowType window, const std::vector<Kivo::Cplx32>& capture) {
    TraceSettings s;
    s.size = kSize;
    s.window = window;
    s.rate = kRate;
    s.center = kCenter;
    TraceComputer c(s);
    for (int b = 0; b < kBlocks; ++b)
        c.Accumulate(&capture[static_cast<size_t>(b) * kSize]);
    WindowResult r;
    r.trace = c.Finish();
    r.noiseDbHz = NoiseDensityDbHz(c, c.MeanPower());
    r.rbwHz = c.RbwHz();
    for (const Tone& t : kTones)
        r.peaks.push_back(FindPeak(r.trace, kCenter + t.offsetHz, 20));
    return r;
}

}  // namespace

int RunDemo(int argc, char** argv) {
    const Options o(argc, argv, {"out-dir", "wisdom"}, {"no-wisdom"});
    const std::string dir = o.Get("out-dir", ".");
    WisdomCache wisdom(o.Get("wisdom", ""), o.Has("no-wisdom"));

    SignalSettings signal;
    signal.rate = kRate;
    signal.tones.assign(std::begin(kTones), std::end(kTones));
    signal.noise = true;
    signal.noiseDensityDbHz = kNoiseDbHz;
    signal.seed = 20261121;
    std::vector<Kivo::Cplx32> capture(static_cast<size_t>(kSize) * kBlocks);
    Synthesizer(signal).Generate(capture.data(), static_cast<int>(capture.size()));

    const WindowResult flat = Measure(Kivo::WT_FLAT_TOP, capture);
    const WindowResult bh = Measure(Kivo::WT_BLACKMAN_HARRIS, capture);

    std::printf(
        "ombrel demo: synthetic capture at %.0f MHz, %.0f MS/s, %d blocks of %d samples "
        "power-averaged\n\n",
        kCenter / 1e6, kRate / 1e6, kBlocks, kSize);
    const std::string flatHead =
        "flat-top (RBW " + std::to_string(std::lround(flat.rbwHz)) + " Hz)";
    const std::string bhHead =
        "blackman-harris (RBW " + std::to_string(std::lround(bh.rbwHz)) + " Hz)";
    std::printf("%-6s %27s | %-28s | %-28s\n", "", "true", flatHead.c_str(), bhHead.c_str());
    std::printf("%-6s %16s %10s | %16s %11s | %16s %11s\n", "tone", "frequency (MHz)", "level (dB)",
                "frequency (MHz)", "level (dB)", "frequency (MHz)", "level (dB)");
    bool ok = true;
    for (size_t i = 0; i < std::size(kTones); ++i) {
        const Tone& t = kTones[i];
        std::printf("%-6zu %16.6f %10.2f | %16.6f %11.2f | %16.6f %11.2f\n", i + 1,
                    (kCenter + t.offsetHz) / 1e6, t.levelDb, flat.peaks[i].frequencyHz / 1e6,
                    flat.peaks[i].levelDb, bh.peaks[i].frequencyHz / 1e6, bh.peaks[i].levelDb);
        ok = ok && std::fabs(flat.peaks[i].levelDb - t.levelDb) <= 0.1;
        ok = ok && std::fabs(flat.peaks[i].frequencyHz - kCenter - t.offsetHz) <= kRate / kSize;
    }
    std::printf(
        "\nlevel error, flat-top: %+.3f dB and %+.3f dB; blackman-harris: %+.3f dB and "
        "%+.3f dB (scalloping between bins)\n",
        flat.peaks[0].levelDb - kTones[0].levelDb, flat.peaks[1].levelDb - kTones[1].levelDb,
        bh.peaks[0].levelDb - kTones[0].levelDb, bh.peaks[1].levelDb - kTones[1].levelDb);
    std::printf(
        "noise density: true %.2f dB/Hz; measured %.2f dB/Hz (flat-top), %.2f dB/Hz "
        "(blackman-harris), normalised to 1 Hz with each window's ENBW\n",
        kNoiseDbHz, flat.noiseDbHz, bh.noiseDbHz);
    ok = ok && std::fabs(flat.noiseDbHz - kNoiseDbHz) <= 0.5 &&
         std::fabs(bh.noiseDbHz - kNoiseDbHz) <= 0.5;

    const std::string csvPath = dir + "/demo-trace.csv";
    const std::string pngPath = dir + "/demo-trace.png";
    AtomicOutput csv(csvPath);
    WriteCsv(csv.File(), {flat.trace}, false);
    PlotTrace(pngPath, flat.trace, PlotLabels{kCenter, kRate, flat.rbwHz, "flat-top", false});
    csv.Commit();
    wisdom.Save();
    std::printf("wrote %s and %s\n", csvPath.c_str(), pngPath.c_str());
    if (!ok) std::printf("demo: a measured value is outside its expected tolerance\n");
    return ok ? 0 : 1;
}

}  // namespace ombrel_tool
