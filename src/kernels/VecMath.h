// Element-wise transcendental functions on raw arrays, single and double precision, with a
// maximum error of 1 ulp for every argument (SLEEF's `_u10` functions; the square root is the
// correctly rounded hardware instruction). Special values follow C99: log(0) = -Inf,
// log(x < 0) = NaN, exp overflows to +Inf, pow and atan2 follow C99 pow/atan2.
//
// Argument order is that of the vector primitives: sources, destination, length. len <= 0 does
// nothing; no element at or beyond len is read or written. The destination may be the source
// (in place); other overlaps are not supported.
//
// The widest instruction set of the processor (AVX-512F, AVX2+FMA, SSE4.1, else scalar) is
// chosen once, at the first call.
#pragma once

namespace Kivo::kernels {

void VecExp(const float* src, float* dst, int len);
void VecLn(const float* src, float* dst, int len);
void VecLog10(const float* src, float* dst, int len);
void VecSin(const float* src, float* dst, int len);
void VecCos(const float* src, float* dst, int len);
void VecAtan(const float* src, float* dst, int len);
void VecErf(const float* src, float* dst, int len);
void VecSqrt(const float* src, float* dst, int len);
/// dst[i] = atan2(y[i], x[i]): the ordinate comes first.
void VecAtan2(const float* y, const float* x, float* dst, int len);
/// dst[i] = x[i] ^ p[i].
void VecPow(const float* x, const float* p, float* dst, int len);
/// dst[i] = x[i] ^ p, one exponent for the whole array.
void VecPowx(const float* x, float p, float* dst, int len);
/// The spectrum's amplitude step in one pass over `len` complex values stored as interleaved
/// (re, im) floats: mag[i] = sqrt(re*re + im*im), lin[i] = mag[i] + floor,
/// db[i] = 20 * log10(lin[i]), each operation rounded as on its own. The four arrays must not
/// overlap.
void VecAmplitudeDb(const float* cplx, float* mag, float* lin, float* db, float floor, int len);

void VecExp(const double* src, double* dst, int len);
void VecLn(const double* src, double* dst, int len);
void VecLog10(const double* src, double* dst, int len);
void VecSin(const double* src, double* dst, int len);
void VecCos(const double* src, double* dst, int len);
void VecAtan(const double* src, double* dst, int len);
void VecErf(const double* src, double* dst, int len);
void VecSqrt(const double* src, double* dst, int len);
void VecAtan2(const double* y, const double* x, double* dst, int len);
void VecPow(const double* x, const double* p, double* dst, int len);
void VecPowx(const double* x, double p, double* dst, int len);

/// Instruction-set levels of the kernels, narrowest first.
enum class MathIsa { Scalar = 0, Sse4 = 1, Avx2 = 2, Avx512 = 3 };

/// True when this build has the level and this processor can run it.
bool MathIsaSupported(MathIsa isa);
/// The level the kernels use now.
MathIsa ActiveMathIsa();
const char* MathIsaName(MathIsa isa);

/// Test and benchmark hook: while alive, the kernels use `isa` (an unsupported level is
/// ignored and the automatic choice stays). Process-wide; not for concurrent use.
class ScopedMathIsa {
  public:
    explicit ScopedMathIsa(MathIsa isa);
    ~ScopedMathIsa();
    ScopedMathIsa(const ScopedMathIsa&) = delete;
    ScopedMathIsa& operator=(const ScopedMathIsa&) = delete;

  private:
    const void* previous_;
};

}  // namespace Kivo::kernels
