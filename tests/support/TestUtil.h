// Small helpers shared by the test programs: catching the library's exception, reading files
// back, and reproducible random inputs.
#pragma once

#include <ombrel/math/KivoException.h>

#include <fstream>
#include <iterator>
#include <random>
#include <string>
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

}  // namespace ombrel_test
