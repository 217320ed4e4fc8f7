#include "Synth.h"

#include "Capture.h"
#include "Commands.h"
#include "Options.h"

#include <cmath>
#include <cstdio>
#include <numbers>

namespace ombrel_tool {

Tone ParseTone(const std::string& text) {
    std::vector<std::string> parts;
    size_t start = 0;
    while (true) {
        const auto colon = text.find(':', start);
        parts.push_back(text.substr(start, colon - start));
        if (colon == std::string::npos) break;
        start = colon + 1;
    }
    if (parts.size() < 2 || parts.size() > 3)
        throw UsageError("--tone '" + text + "': expected OFFSET_HZ:LEVEL_DB[:PHASE_DEG]");
    Tone t{};
    t.offsetHz = ParseDouble(parts[0], "--tone frequency");
    t.levelDb = ParseDouble(parts[1], "--tone level");
    t.phaseRad =
        parts.size() == 3 ? ParseDouble(parts[2], "--tone phase") * std::numbers::pi / 180.0 : 0.0;
    return t;
}

Synthesizer::Synthesizer(const SignalSettings& signal)
    : signal_(signal), index_(0), rng_(signal.seed), gauss_(0.0, 1.0), sigma_(0.0) {
    // Total noise power = density x rate, split equally between I and Q.
    if (signal_.noise)
        sigma_ = std::sqrt(std::pow(10.0, signal_.noiseDensityDbHz / 10.0) * signal_.rate / 2.0);
}

void Synthesizer::Generate(Kivo::Cplx32* out, int n) {
    std::vector<double> re(static_cast<size_t>(n), 0.0), im(static_cast<size_t>(n), 0.0);
    for (const Tone& t : signal_.tones) {
        const double amp = std::pow(10.0, t.levelDb / 20.0);
        const double cyclesPerSample = t.offsetHz / signal_.rate;
        for (int i = 0; i < n; ++i) {
            // Phase from the absolute sample index, reduced to one cycle before scaling by 2π,
            // so long captures keep full phase precision.
            double cycles = cyclesPerSample * static_cast<double>(index_ + i);
            cycles -= std::floor(cycles);
            const double ph = 2.0 * std::numbers::pi * cycles + t.phaseRad;
            re[i] += amp * std::cos(ph);
            im[i] += amp * std::sin(ph);
        }
    }
    for (int i = 0; i < n; ++i) {
        double r = re[i], q = im[i];
        if (signal_.noise) {
            r += sigma_ * gauss_(rng_);
            q += sigma_ * gauss_(rng_);
        }
        out[i].re = static_cast<float>(r);
        out[i].im = static_cast<float>(q);
    }
    index_ += n;
}

int RunSynth(int argc, char** argv) {
    const Options o(argc, argv,
                    {"out", "format", "full-scale", "rate", "samples", "tone", "noise", "seed"},
                    {});
    if (!o.Has("out")) throw UsageError("--out FILE is required");
    if (!o.Has("rate")) throw UsageError("--rate HZ is required");
    if (!o.Has("samples")) throw UsageError("--samples N is required");
    SignalSettings signal;
    signal.rate = o.GetDouble("rate", 0.0);
    if (signal.rate <= 0.0) throw UsageError("--rate must be positive");
    const long long samples = o.GetInt("samples", 0);
    if (samples <= 0) throw UsageError("--samples must be positive");
    for (const std::string& t : o.All("tone"))
        signal.tones.push_back(ParseTone(t));
    if (o.Has("noise")) {
        signal.noise = true;
        signal.noiseDensityDbHz = o.GetDouble("noise", 0.0);
    }
    signal.seed = static_cast<unsigned long long>(o.GetInt("seed", 1));
    const std::string out = o.Get("out", "");
    const SampleFormat format = o.Has("format") ? ParseSampleFormat(o.Get("format", ""))
                                                : FormatFromExtension(out, SampleFormat::CF32);
    const double fullScale = o.GetDouble("full-scale", 32768.0);
    if (fullScale <= 0.0) throw UsageError("--full-scale must be positive");

    Synthesizer synth(signal);
    AtomicOutput file(out);
    std::vector<Kivo::Cplx32> block(1 << 16);
    for (long long done = 0; done < samples;) {
        const int n = static_cast<int>(std::min<long long>(samples - done, 1 << 16));
        synth.Generate(block.data(), n);
        WriteSamples(file.File(), format, fullScale, block.data(), n);
        done += n;
    }
    file.Commit();
    return 0;
}

}  // namespace ombrel_tool
