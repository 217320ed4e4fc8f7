// Reference for the convolution benchmarks: the blocked direct loop a user would write by hand,
// compiled for the build machine only (-O3 -march=native on its own source file).
#pragma once

/// Full linear convolution y[n] = sum_k h[k] x[n-k], n = 0 .. L + N - 2 (L <= N).
void ReferenceBlockedConv(const float* h, int L, const float* x, int N, float* y);
