// Test hook into ChirpZ's sizes (internal, never installed).
#pragma once

#include <ombrel/dsp/ChirpZ.h>

namespace Kivo::kernels {

struct ChirpZAccess {
    static int L(const ChirpZ& c) { return c.L; }
    static int K(const ChirpZ& c) { return c.K; }
    static const FT& Transform(const ChirpZ& c) { return *c.ft; }
};

}  // namespace Kivo::kernels
