// Consecutive traces of a capture file computed by several threads, their CSV text handed out
// in trace order as soon as each is ready.
#pragma once

#include "Capture.h"
#include "Measurement.h"

#include <cstddef>
#include <functional>
#include <string>

namespace ombrel_tool {

struct TraceJob {
    TraceSettings settings;
    /// Computes on the calling thread; the other threads' computers share its window. Its sums
    /// must be empty.
    TraceComputer* computer = nullptr;
    const CaptureFile* capture = nullptr;
    long long firstSample = 0;  ///< first sample of the first trace
    long long average = 1;      ///< blocks per trace
    long long traces = 1;       ///< consecutive traces, average * size samples each
    float scale = 1.0f;         ///< cs16 value to float
    int threads = 1;            ///< threads computing (the calling one included)
    bool keepFirst = false;     ///< keep trace 0 in the result (for a plot)
    /// Receives the CSV text, header first, then the rows in trace order; called by one thread
    /// at a time.
    std::function<void(const char*, size_t)> write;
};

struct TraceJobResult {
    Trace first;  ///< trace 0 when keepFirst was set
    double rbwHz = 0.0;
};

/// Computes and writes every trace. The traces do not depend on the number of threads: a trace
/// is split into parts (whose sums are added in part order) only according to the number of
/// traces and blocks. The first error of any thread is rethrown once all have stopped.
TraceJobResult RunTraceJob(const TraceJob& job);

/// Processors this process may run on.
int ProcessorCount();

}  // namespace ombrel_tool
