// Ombrel: the whole public API of the library (namespace Kivo).
#pragma once

#include <ombrel/Export.h>

// Core containers and memory
#include <ombrel/math/BaseVector.h>
#include <ombrel/math/BitVector.h>
#include <ombrel/math/Checksum.h>
#include <ombrel/math/Complex.h>
#include <ombrel/math/IntVector.h>
#include <ombrel/math/KivoException.h>
#include <ombrel/math/Matrix.h>
#include <ombrel/math/Memory.h>
#include <ombrel/math/Types.h>
#include <ombrel/math/Vector.h>

// Numeric utilities
#include <ombrel/math/MathUtils.h>
// Transforms and windows
#include <ombrel/dsp/ChirpZ.h>
#include <ombrel/dsp/FFT.h>
#include <ombrel/dsp/Window.h>
#include <ombrel/dsp/WindowFactory.h>
// Numeric utilities
#include <ombrel/dsp/DSPUtils.h>
#include <ombrel/dsp/Spectrum.h>

// Instrumentation
#include <ombrel/infra/Timer.h>
#include <ombrel/infra/UnitTestRecorder.h>

namespace Kivo {
/// Library version as "major.minor.patch".
OMBREL_API const char* OmbrelVersion();
}  // namespace Kivo
