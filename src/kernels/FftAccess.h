// Test hooks into the transform classes' private state (internal, never installed).
#pragma once

#include <ombrel/dsp/FFT.h>

namespace Kivo::kernels {

struct FTAccess {
    /// Number of (flag, hint, kind, length) entries in an FT's cache.
    static int CacheEntries(const FT& ft);
    /// Kind and length of the i-th entry from the head (newest first); false past the end.
    static bool Entry(const FT& ft, int i, FTType& kind, int& length);
    /// Whether the i-th entry's forward / inverse plan is the same object as in `other`'s
    /// i-th entry (shared after a copy).
    static bool SharesPlans(const FT& a, const FT& b, int i);
    static int BufferBytes(const FT& ft) { return ft.bufferBytes; }
    static bool Prepared(const FFT& fft) { return fft.plans != nullptr; }
    static bool Prepared(const DFT& dft) { return dft.plans != nullptr; }
};

}  // namespace Kivo::kernels
