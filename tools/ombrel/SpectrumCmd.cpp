// `ombrel spectrum`: a trace from a raw capture file.
#include "Capture.h"
#include "Commands.h"
#include "Measurement.h"
#include "Options.h"
#include "TraceJob.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <future>
#include <memory>
#include <string>
#include <system_error>
#include <thread>

namespace ombrel_tool {

namespace {
const char* kSpectrumHelp =
    "usage: ombrel spectrum FILE --rate HZ [options]\n"
    "  FILE                 raw interleaved complex samples: cf32 (float32 I,Q) or cs16 (int16 "
    "I,Q)\n"
    "  --rate HZ            sample rate (required, > 0)\n"
    "  --center HZ          centre frequency of the capture (default 0)\n"
    "  --format cf32|cs16   sample format (default: from the extension, else cf32)\n"
    "  --full-scale X       cs16 value of full scale (default 32768)\n"
    "  --size N             transform length (default 4096)\n"
    "  --window NAME        uniform, blackman-harris, flat-top, hann, gauss, kaiser (default "
    "flat-top)\n"
    "  --unit db|linear     dB re full-scale amplitude (default) or linear magnitude\n"
    "  --average K          power average of K consecutive blocks per trace (default 1)\n"
    "  --traces T|all       consecutive traces to compute (default 1; all = every complete group)\n"
    "  --offset S           first sample to use (default 0)\n"
    "  --points P           reduce each trace to N/(N/P) points with the detector\n"
    "  --detector NAME      ave, max, min, maxmin, rms, sample (default ave)\n"
    "  --out FILE.csv       write the trace there (default: standard output)\n"
    "  --plot FILE.png      draw the trace with gnuplot (one trace only)\n"
    "  --wisdom FILE        FFTW plan cache (default ~/.cache/ombrel/fftw-wisdom)\n"
    "  --no-wisdom          measure plans afresh and keep nothing\n"
    "  --threads N          worker threads (default: one per processor)\n";
}  // namespace

int RunSpectrum(int argc, char** argv) {
    if (argc == 1 && (std::strcmp(argv[0], "--help") == 0)) {
        std::fputs(kSpectrumHelp, stdout);
        return 0;
    }
    std::string input;
    if (argc > 0 && std::strncmp(argv[0], "--", 2) != 0) {
        input = argv[0];
        --argc;
        ++argv;
    }
    const Options o(
        argc, argv,
        {"in", "rate", "center", "format", "full-scale", "size", "window", "unit", "average",
         "traces", "offset", "points", "detector", "out", "plot", "wisdom", "threads"},
        {"no-wisdom"});
    if (input.empty()) input = o.Get("in", "");
    if (input.empty()) throw UsageError("no capture file given (ombrel spectrum FILE --rate HZ)");
    if (!o.Has("rate")) throw UsageError("--rate HZ is required");

    TraceSettings s;
    s.rate = o.GetDouble("rate", 0.0);
    if (s.rate <= 0.0) throw UsageError("--rate must be positive");
    s.center = o.GetDouble("center", 0.0);
    const long long size = o.GetInt("size", 4096);
    if (size <= 0) throw UsageError("--size must be positive");
    if (size > (1 << 26)) throw UsageError("--size must be at most 67108864");
    s.size = static_cast<int>(size);
    s.window = ParseWindowName(o.Get("window", "flat-top"));
    const std::string unit = o.Get("unit", "db");
    if (unit != "db" && unit != "linear") throw UsageError("--unit must be db or linear");
    s.linear = unit == "linear";
    const long long average = o.GetInt("average", 1);
    if (average <= 0) throw UsageError("--average must be positive");
    const long long points = o.GetInt("points", 0);
    if (points < 0) throw UsageError("--points must be positive");
    if (points > s.size) throw UsageError("--points must not exceed --size");
    s.points = static_cast<int>(points);
    s.detector = ParseDetectorName(o.Get("detector", "ave"));
    if (o.Has("detector") && !o.Has("points")) throw UsageError("--detector needs --points");
    const long long offset = o.GetInt("offset", 0);
    if (offset < 0) throw UsageError("--offset must not be negative");
    const std::string tracesArg = o.Get("traces", "1");
    long long traces = 0;  // 0: all
    if (tracesArg != "all") {
        traces = ParseInt(tracesArg, "--traces");
        if (traces <= 0) throw UsageError("--traces must be positive or 'all'");
    }
    const SampleFormat format = o.Has("format") ? ParseSampleFormat(o.Get("format", ""))
                                                : FormatFromExtension(input, SampleFormat::CF32);
    const double fullScale = o.GetDouble("full-scale", 32768.0);
    if (fullScale <= 0.0) throw UsageError("--full-scale must be positive");

    long long threads = 0;  // 0: one per processor
    if (o.Has("threads")) {
        threads = o.GetInt("threads", 0);
        if (threads <= 0) throw UsageError("--threads must be positive");
    }

    const CaptureFile capture(input, format);
    const long long available = capture.SampleCount() - std::min(offset, capture.SampleCount());
    const long long perTrace = average * s.size;
    if (available < s.size)
        throw InputError("'" + input + "' holds " + std::to_string(capture.SampleCount()) +
                         " samples" +
                         (offset ? " (" + std::to_string(available) + " after --offset)" : "") +
                         ", fewer than one block of " + std::to_string(s.size));
    if (available < perTrace)
        throw InputError("'" + input + "' holds " + std::to_string(available) +
                         " usable samples, fewer than --average " + std::to_string(average) +
                         " blocks of " + std::to_string(s.size));
    const long long possible = available / perTrace;
    if (traces == 0) traces = possible;
    if (traces > possible)
        throw InputError("'" + input + "' holds only " + std::to_string(possible) +
                         " trace(s) of " + std::to_string(average) + " blocks of " +
                         std::to_string(s.size));
    if (o.Has("plot") && traces != 1) throw UsageError("--plot draws a single trace (--traces 1)");

    // Making the window and reading the plan cache do not depend on each other: they run side
    // by side (each takes a millisecond or two).
    std::unique_ptr<TraceComputer> computer;
    std::future<std::unique_ptr<TraceComputer>> computerReady;
    try {
        computerReady =
            std::async(std::launch::async, [&s] { return std::make_unique<TraceComputer>(s); });
    } catch (const std::system_error&) {
        computer = std::make_unique<TraceComputer>(s);  // no thread to spare
    }
    WisdomCache wisdom(o.Get("wisdom", ""), o.Has("no-wisdom"));
    if (!computer) computer = computerReady.get();
    // With the one plan the command needs made now, the plan cache is written out while the
    // traces are computed; it is put in place once the command has succeeded.
    computer->PrepareTransform();
    std::thread exporter;
    try {
        exporter = std::thread([&wisdom] {
            try {
                wisdom.Export();
            } catch (...) {
                // The cache never fails the command; Save tries again.
            }
        });
    } catch (const std::system_error&) {
        // Save exports it at the end.
    }
    struct JoinAtExit {
        std::thread& thread;
        ~JoinAtExit() {
            if (thread.joinable()) thread.join();
        }
    } joinExporter{exporter};
    // The CSV file is created before the work starts and receives each trace as soon as it is
    // formatted; it replaces the named file only once everything, the plot included, succeeded.
    std::unique_ptr<AtomicOutput> csv;
    if (o.Has("out")) csv = std::make_unique<AtomicOutput>(o.Get("out", ""));
    // Standard output has no undo: with a plot, the text waits until the plot is drawn.
    std::string deferred;
    FILE* const sink = csv ? csv->File() : stdout;
    const bool defer = !csv && o.Has("plot");

    TraceJob job;
    job.settings = s;
    job.computer = computer.get();
    job.capture = &capture;
    job.firstSample = offset;
    job.average = average;
    job.traces = traces;
    job.scale = static_cast<float>(1.0 / fullScale);
    job.threads = static_cast<int>(std::min<long long>(threads ? threads : ProcessorCount(), 256));
    job.keepFirst = o.Has("plot");
    job.write = [&](const char* text, size_t size) {
        if (defer)
            deferred.append(text, size);
        else
            std::fwrite(text, 1, size, sink);
    };
    const TraceJobResult result = RunTraceJob(job);

    if (o.Has("plot")) {
        PlotTrace(o.Get("plot", ""), result.first,
                  PlotLabels{s.center, s.rate, result.rbwHz, WindowName(s.window), s.linear});
    }
    if (csv) csv->Commit();
    if (defer) std::fwrite(deferred.data(), 1, deferred.size(), stdout);
    if (exporter.joinable()) exporter.join();
    wisdom.Save();
    return 0;
}

}  // namespace ombrel_tool
