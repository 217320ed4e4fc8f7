// The per-instruction-set loops behind kernels/VecMath.h. Each instruction set lives in its own
// translation unit compiled for that set (VecMathSse4.cpp, VecMathAvx2.cpp, VecMathAvx512.cpp,
// VecMathScalar.cpp); VecMath.cpp picks one table at run time. This header is included by those
// units, so it deliberately pulls in no standard-library header: an inline function instantiated
// there would be compiled for the wider instruction set and could be merged by the linker into
// code that runs on any processor.
#pragma once

namespace Kivo::kernels::vecmath {

/// Element-wise loops over `len` values, IPP argument order (sources, destination, length).
/// Every loop handles len <= 0 as a no-op and never touches an element at or beyond `len`.
struct Table {
    const char* name;
    void (*expF)(const float*, float*, int);
    void (*lnF)(const float*, float*, int);
    void (*log10F)(const float*, float*, int);
    void (*sinF)(const float*, float*, int);
    void (*cosF)(const float*, float*, int);
    void (*atanF)(const float*, float*, int);
    void (*erfF)(const float*, float*, int);
    void (*sqrtF)(const float*, float*, int);
    void (*atan2F)(const float* y, const float* x, float*, int);
    void (*powF)(const float* x, const float* p, float*, int);
    void (*powxF)(const float* x, float p, float*, int);
    /// mag = |c|, lin = mag + floor, db = 20 log10(lin) for `len` interleaved complex values.
    void (*amplitudeDbF)(const float* c, float* mag, float* lin, float* db, float floor, int len);

    void (*expD)(const double*, double*, int);
    void (*lnD)(const double*, double*, int);
    void (*log10D)(const double*, double*, int);
    void (*sinD)(const double*, double*, int);
    void (*cosD)(const double*, double*, int);
    void (*atanD)(const double*, double*, int);
    void (*erfD)(const double*, double*, int);
    void (*sqrtD)(const double*, double*, int);
    void (*atan2D)(const double* y, const double* x, double*, int);
    void (*powD)(const double* x, const double* p, double*, int);
    void (*powxD)(const double* x, double p, double*, int);
};

// Scalar repairs for the few arguments where SLEEF's result misses the 1-ulp bound (defined in
// VecMath.cpp, an ordinary unit). Measured: SLEEF's erf loses up to 1.8 ulp when the result is
// subnormal or just above FLT_MIN/DBL_MIN, and its pow returns +Inf for results within an ulp
// below the largest finite value (pow(DBL_MAX, 1)).
//
// Below these magnitudes erf(x) is 2x/sqrt(pi) to a relative 2^-200, and atan(t) is t.
inline constexpr float kTinyF = 0x1p-100f;
inline constexpr double kTinyD = 0x1p-1000;
/// erf(x) for |x| < kTiny: 2x/sqrt(pi) in a wider format, rounded once.
float ErfTiny(float x);
double ErfTiny(double x);
/// x^p for a finite x and p whose vector result overflowed: the wider-format pow, rounded once.
float PowOverflowed(float x, float p);
double PowOverflowed(double x, double p);

// Defined only where the instruction set exists (x86); VecMath.cpp checks the processor before
// using any of them.
extern const Table kScalar;
#if defined(__x86_64__) || defined(__i386__)
extern const Table kSse4;
extern const Table kAvx2;
extern const Table kAvx512;
#endif

}  // namespace Kivo::kernels::vecmath
