// Slow discrete Fourier transforms in long double, the reference the transform tests trust.
#pragma once

#include <cmath>
#include <complex>
#include <cstddef>
#include <map>
#include <mutex>
#include <random>
#include <utility>
#include <vector>

namespace ombrel_test {

using CLD = std::complex<long double>;

/// X[k] = sum_n x[n] e^(sign 2 pi i kn/N) for k < `bins` (all N by default), unscaled. The
/// twiddle index kn is reduced modulo N exactly in integers, so the only rounding is in the
/// long-double table and the sums.
// Optimised even in Debug (sanitizer) builds: at -O0 the 12289-point sums dominate the suite.
#if defined(__GNUC__) && !defined(__clang__)
#define OMBREL_TEST_OPTIMIZE __attribute__((optimize("O2")))
#else
#define OMBREL_TEST_OPTIMIZE
#endif

OMBREL_TEST_OPTIMIZE inline std::vector<CLD> ReferenceDft(const std::vector<CLD>& x, int sign,
                                                          std::size_t bins = 0) {
    const std::size_t n = x.size();
    if (bins == 0 || bins > n) bins = n;
    std::vector<CLD> out(n);
    if (n == 0) return out;
    const long double twoPi = 6.283185307179586476925286766559L;
    std::vector<long double> c(n), s(n), xr(n), xi(n);
    for (std::size_t m = 0; m < n; ++m) {
        const long double a = twoPi * static_cast<long double>(m) / static_cast<long double>(n);
        c[m] = std::cos(a);
        s[m] = sign * std::sin(a);
        xr[m] = x[m].real();
        xi[m] = x[m].imag();
    }
    for (std::size_t k = 0; k < bins; ++k) {
        long double re = 0, im = 0;
        std::size_t idx = 0;
        for (std::size_t j = 0; j < n; ++j) {
            re += xr[j] * c[idx] - xi[j] * s[idx];
            im += xr[j] * s[idx] + xi[j] * c[idx];
            idx += k;
            if (idx >= n) idx -= n;
        }
        out[k] = CLD(re, im);
    }
    return out;
}

/// The same transform by a recursive radix-2 FFT in long double, for power-of-two lengths too
/// long for the O(N^2) sum (each twiddle computed directly by cosl/sinl, not by recurrence).
inline std::vector<CLD> ReferenceFftPow2(const std::vector<CLD>& x, int sign) {
    const std::size_t n = x.size();
    if (n <= 64) return ReferenceDft(x, sign);
    std::vector<CLD> even(n / 2), odd(n / 2);
    for (std::size_t i = 0; i < n / 2; ++i) {
        even[i] = x[2 * i];
        odd[i] = x[2 * i + 1];
    }
    const std::vector<CLD> e = ReferenceFftPow2(even, sign);
    const std::vector<CLD> o = ReferenceFftPow2(odd, sign);
    std::vector<CLD> out(n);
    const long double twoPi = 6.283185307179586476925286766559L;
    for (std::size_t k = 0; k < n / 2; ++k) {
        const long double a = twoPi * static_cast<long double>(k) / static_cast<long double>(n);
        const CLD t = CLD(std::cos(a), sign * std::sin(a)) * o[k];
        out[k] = e[k] + t;
        out[k + n / 2] = e[k] - t;
    }
    return out;
}

/// Direct sum up to 4096 points and for other lengths up to 16384 (12289 is prime), the
/// long-double FFT for longer powers of two. Results
/// are memoised by (input, sign): the tests feed the same exact-float input to both
/// precisions, and the direct sum at 12289 points is the slowest part of the suite.
inline const std::vector<CLD>& Reference(const std::vector<CLD>& x, int sign) {
    static std::map<std::pair<std::vector<CLD>, int>, std::vector<CLD>,
                    bool (*)(const std::pair<std::vector<CLD>, int>&,
                             const std::pair<std::vector<CLD>, int>&)>
        memo([](const std::pair<std::vector<CLD>, int>& a,
                const std::pair<std::vector<CLD>, int>& b) {
            if (a.second != b.second) return a.second < b.second;
            if (a.first.size() != b.first.size()) return a.first.size() < b.first.size();
            for (std::size_t i = 0; i < a.first.size(); ++i) {
                if (a.first[i].real() != b.first[i].real())
                    return a.first[i].real() < b.first[i].real();
                if (a.first[i].imag() != b.first[i].imag())
                    return a.first[i].imag() < b.first[i].imag();
            }
            return false;
        });
    static std::mutex mutex;
    std::lock_guard<std::mutex> lock(mutex);
    auto key = std::make_pair(x, sign);
    auto it = memo.find(key);
    if (it != memo.end()) return it->second;
    const std::size_t n = x.size();
    std::vector<CLD> r =
        (n > 4096 && (n & (n - 1)) == 0) ? ReferenceFftPow2(x, sign) : ReferenceDft(x, sign);
    return memo.emplace(std::move(key), std::move(r)).first->second;
}

/// sqrt(sum |y - ref|^2 / sum |ref|^2).
template <typename Get>
double RelativeRms(const std::vector<CLD>& ref, Get get) {
    long double num = 0, den = 0;
    for (std::size_t i = 0; i < ref.size(); ++i) {
        const CLD d = get(i) - ref[i];
        num += std::norm(d);
        den += std::norm(ref[i]);
    }
    if (den == 0) return static_cast<double>(std::sqrt(num));
    return static_cast<double>(std::sqrt(num / den));
}

/// max(1, log2 N): the growth of FFT rounding error with the length.
inline double Log2Factor(int n) {
    const double l = std::log2(static_cast<double>(n));
    return l < 1 ? 1.0 : l;
}

/// Uniform values in [-1, 1) that are exact floats, so one reference serves both precisions.
inline std::vector<float> RandomFloats(std::size_t count, unsigned seed) {
    std::mt19937 gen(seed);
    std::uniform_real_distribution<float> dist(-1.0f, 1.0f);
    std::vector<float> v(count);
    for (float& f : v)
        f = dist(gen);
    return v;
}

}  // namespace ombrel_test
