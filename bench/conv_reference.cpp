// Hand-written blocked direct convolution: outputs in blocks that stay in L1, taps in the outer
// loop of each block so the inner loop is a contiguous multiply-add the compiler vectorises.
#include "conv_reference.h"

#include <algorithm>

void ReferenceBlockedConv(const float* h, int L, const float* x, int N, float* y) {
    constexpr int kBlock = 256;
    const long total = static_cast<long>(N) + L - 1;
    // Edges where the filter only partly overlaps the signal.
    auto edge = [&](long n) {
        float acc = 0.0f;
        for (long k = std::max<long>(0, n - N + 1); k <= std::min<long>(L - 1, n); ++k)
            acc += h[k] * x[n - k];
        y[n] = acc;
    };
    for (long n = 0; n < L - 1; ++n)
        edge(n);
    long n0 = L - 1;
    for (; n0 + kBlock <= N; n0 += kBlock) {
        float acc[kBlock] = {};
        for (int k = 0; k < L; ++k) {
            const float hk = h[k];
            const float* xs = x + n0 - k;
            for (int j = 0; j < kBlock; ++j)
                acc[j] += hk * xs[j];
        }
        std::copy(acc, acc + kBlock, y + n0);
    }
    for (long n = n0; n < total; ++n)
        edge(n);
}
