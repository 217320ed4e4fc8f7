// Exact linear convolution by FFT overlap-save, and the rule that chooses it over direct
// summation.
#pragma once

#include <ombrel/math/Types.h>

namespace Kivo::kernels {

/// True when overlap-save is expected to be faster than direct summation (ConvDirect) for
/// operands of these lengths and element type T (float, double or Cplx32), by the measured cost
/// model in ConvFft.cpp. Either order of arguments.
template <typename T>
bool ConvPrefersFft(int la, int lb);

/// Full linear convolution dst[n] = sum_k a[k] b[n-k], n = 0 .. la + lb - 2 (la, lb >= 1),
/// by overlap-save with double-precision transforms whatever the element type, so every
/// output stays within float rounding of the exact sum even far below the signal's energy,
/// and the choice between this and ConvDirect never shows beyond float rounding. dst must not
/// overlap a or b. Throws 8000 when its scratch cannot be allocated.
void ConvFft(const float* a, int la, const float* b, int lb, float* dst);
void ConvFft(const double* a, int la, const double* b, int lb, double* dst);
void ConvFft(const Cplx32* a, int la, const Cplx32* b, int lb, Cplx32* dst);

/// The transform length overlap-save uses for a filter of `shorter` taps over `longer`
/// samples (a power of two, at least 2 * shorter).
int ConvFftLength(int shorter, int longer);

}  // namespace Kivo::kernels
