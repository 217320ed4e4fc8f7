// Small helpers shared by the test programs: catching the library's exception, reading files
// back, and reproducible random inputs.
#pragma once

#include <ombrel/math/KivoException.h>

#include <climits>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <fstream>
#include <iterator>
#include <limits>
#include <random>
#include <string>
#include <type_traits>
#include <vector>

namespace ombrel_test {

/// Runs f and returns the KivoException it threw, or one with code 0 (and null texts) when it
/// threw nothing.
template <typename F>
Kivo::KivoException Catch(F&& f) {
    try {
        f();
    } catch (const Kivo::KivoException& e) {
        return e;
    }
    return Kivo::KivoException{0, nullptr, nullptr, 0};
}

/// The code of the KivoException f threw, 0 when it threw nothing.
template <typename F>
int CodeOf(F&& f) {
    return Catch(f).code;
}

/// The whole file as bytes in a string; empty when it cannot be opened.
inline std::string ReadFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

/// n values drawn uniformly from [lo, hi) by std::uniform_real_distribution<T> over a
/// std::mt19937 seeded with `seed`: the same sequence for the same arguments on every run.
template <typename T>
std::vector<T> RandomUniform(int n, unsigned seed, T lo, T hi) {
    std::mt19937 gen(seed);
    std::uniform_real_distribution<T> d(lo, hi);
    std::vector<T> v(static_cast<std::size_t>(n));
    for (auto& x : v)
        x = d(gen);
    return v;
}

/// n complex values C{re, im} whose parts are the 2n values of RandomUniform<T>(2n, seed, lo, hi)
/// taken in pairs.
template <typename C, typename T>
std::vector<C> RandomComplex(int n, unsigned seed, T lo, T hi) {
    const std::vector<T> f = RandomUniform<T>(2 * n, seed, lo, hi);
    std::vector<C> v(static_cast<std::size_t>(n));
    for (std::size_t i = 0; i < v.size(); ++i)
        v[i] = C{f[2 * i], f[2 * i + 1]};
    return v;
}

/// Distance in units in the last place between two values of the same floating type: 0 for
/// equal values (+0 and -0, equal infinities) and for two NaNs, LLONG_MAX for a NaN against a
/// number.
template <typename T>
long long UlpDistance(T a, T b) {
    if (a == b) return 0;
    if (std::isnan(a) || std::isnan(b)) return std::isnan(a) && std::isnan(b) ? 0 : LLONG_MAX;
    using I = std::conditional_t<sizeof(T) == 4, std::int32_t, std::int64_t>;
    I ia;
    I ib;
    std::memcpy(&ia, &a, sizeof(T));
    std::memcpy(&ib, &b, sizeof(T));
    // Map the sign-magnitude encoding onto a monotonic integer line.
    if (ia < 0) ia = std::numeric_limits<I>::min() - ia;
    if (ib < 0) ib = std::numeric_limits<I>::min() - ib;
    const long long d = static_cast<long long>(ia) - static_cast<long long>(ib);
    return d < 0 ? -d : d;
}

}  // namespace ombrel_test
