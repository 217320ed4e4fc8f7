// Test-capture generator: complex tones plus white Gaussian noise of a given density.
#pragma once

#include <ombrel/math/Types.h>

#include <random>
#include <string>
#include <vector>

namespace ombrel_tool {

struct Tone {
    double offsetHz;  ///< frequency relative to the capture's centre
    double levelDb;   ///< amplitude in dB relative to full scale (0 dB = amplitude 1)
    double phaseRad;  ///< phase of the first sample
};

struct SignalSettings {
    double rate = 0.0;                 ///< sample rate in Hz
    std::vector<Tone> tones;           ///< complex exponentials A·exp(j(2π f n / rate + φ))
    bool noise = false;                ///< add white Gaussian noise
    double noiseDensityDbHz = -140.0;  ///< its density in dB re full-scale power per Hz
    unsigned long long seed = 1;
};

/// "OFFSET_HZ:LEVEL_DB[:PHASE_DEG]" as given to --tone.
Tone ParseTone(const std::string& text);

/// Generates the samples block by block; consecutive calls continue the same signal.
class Synthesizer {
  public:
    explicit Synthesizer(const SignalSettings& signal);
    void Generate(Kivo::Cplx32* out, int n);

  private:
    SignalSettings signal_;
    long long index_;
    std::mt19937_64 rng_;
    std::normal_distribution<double> gauss_;
    double sigma_;  // standard deviation of each of I and Q
};

int RunSynth(int argc, char** argv);

}  // namespace ombrel_tool
