// Element-wise in-place arithmetic on the contiguous blocks of the real matrices.
//
// Each operation rounds once per element (the build forbids FMA contraction), so the results
// match a plain scalar loop bit for bit whatever instruction set the dispatcher picks. Counts of
// zero or less do nothing.
#pragma once

namespace Kivo::kernels::matrix {

void AddInPlace(float* dst, const float* src, int n);
void AddInPlace(double* dst, const double* src, int n);
void SubInPlace(float* dst, const float* src, int n);
void SubInPlace(double* dst, const double* src, int n);
void MulInPlace(float* dst, const float* src, int n);
void MulInPlace(double* dst, const double* src, int n);
/// dst[k] = dst[k] / src[k] over all n elements. A zero divisor gives +Inf for a positive
/// dividend, -Inf for a negative one and NaN for zero (the sign of the zero is ignored).
/// Returns true when at least one divisor was zero; every quotient is stored either way.
bool DivInPlace(float* dst, const float* src, int n);
bool DivInPlace(double* dst, const double* src, int n);

void AddConstInPlace(float value, float* dst, int n);
void AddConstInPlace(double value, double* dst, int n);
void SubConstInPlace(float value, float* dst, int n);
void SubConstInPlace(double value, double* dst, int n);
void MulConstInPlace(float value, float* dst, int n);
void MulConstInPlace(double value, double* dst, int n);
/// dst[k] = dst[k] / value, a true division per element (not a multiplication by the
/// reciprocal, which would round twice). The caller refuses a zero value.
void DivConstInPlace(float value, float* dst, int n);
void DivConstInPlace(double value, double* dst, int n);

}  // namespace Kivo::kernels::matrix
