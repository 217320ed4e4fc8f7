// Complex sample records shared by every vector and transform.
#pragma once

#include <ombrel/Export.h>

namespace Kivo {

/// Single-precision complex sample, interleaved (re, im): the layout FFTW and the kernels use.
struct OMBREL_API Cplx32 {
    float re;
    float im;
};

/// Double-precision complex sample, interleaved (re, im).
struct OMBREL_API Cplx64 {
    double re;
    double im;
};

}  // namespace Kivo
