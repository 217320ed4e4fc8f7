// Measures the level of a complex tone with the library's Spectrum class.
//
//   build/examples/tone_level
//
// A tone of amplitude 0.25 (-12.04 dB re full scale) lies exactly on bin 100 of a 4096-point
// block; the flat-top window reads its level to within 0.01 dB.
#include <ombrel/Ombrel.h>

#include <cmath>
#include <cstdio>

int main() {
    const int n = 4096;
    const double rate = 1.0e6;  // samples per second
    const int bin = 100;

    Kivo::VecCplx32 block(n);
    for (int i = 0; i < n; ++i) {
        const double phase = 2.0 * 3.14159265358979323846 * bin * i / n;
        block[i] = Kivo::Cplx32{static_cast<float>(0.25 * std::cos(phase)),
                                static_cast<float>(0.25 * std::sin(phase))};
    }

    try {
        Kivo::Spectrum spectrum(n, Kivo::WT_FLAT_TOP, 0.0f);  // dB unit by default
        Kivo::VecReal32 trace;
        spectrum.Apply(trace, block);

        // Zero frequency sits at index n/2: bin k of the transform is at index n/2 + k.
        int peak = 0;
        for (int i = 1; i < trace.GetSize(); ++i)
            if (trace[i] > trace[peak]) peak = i;
        const double frequency = (peak - n / 2) * rate / n;
        std::printf("peak at %.1f Hz, %.3f dB (expected %.1f Hz, %.3f dB)\n", frequency,
                    trace[peak], bin * rate / n, 20.0 * std::log10(0.25));
        return std::fabs(trace[peak] - 20.0 * std::log10(0.25)) < 0.01 ? 0 : 1;
    } catch (const Kivo::KivoException& e) {
        std::fprintf(stderr, "error %d: %s (%s:%d)\n", e.code, e.message, e.file, e.line);
        return 1;
    }
}
