// Number formatting for the CSV traces. A level is printed with four decimals; std::to_chars
// with a precision goes through a general arbitrary-precision path that costs more per row
// than computing the trace, so the common case is done here with integer arithmetic.
#pragma once

#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstring>

namespace ombrel_tool {

/// Writes `v` with exactly four decimals, as std::to_chars(p, end, v, fixed, 4) does (same
/// digits, same rounding of ties to even, "-" on negative values that round to zero); returns
/// the end of the text. Needs at least 64 bytes at p.
inline char* FormatFixed4(char* p, char* end, float v) {
    // |v| * 10^4 is exact in double (24 + 14 significant bits), so nearbyint rounds the exact
    // decimal value, ties to even like to_chars. Beyond 2^53 / 10^4 (and for inf / NaN) the
    // standard formatting is used.
    const double scaled = static_cast<double>(std::fabs(v)) * 1e4;
    if (!(scaled < 9.0e15)) return std::to_chars(p, end, v, std::chars_format::fixed, 4).ptr;
    if (std::signbit(v)) *p++ = '-';
    std::uint64_t units = static_cast<std::uint64_t>(std::nearbyint(scaled));
    const std::uint64_t whole = units / 10000;
    unsigned frac = static_cast<unsigned>(units - whole * 10000);
    p = std::to_chars(p, end, whole).ptr;
    p[0] = '.';
    p[4] = static_cast<char>('0' + frac % 10);
    frac /= 10;
    p[3] = static_cast<char>('0' + frac % 10);
    frac /= 10;
    p[2] = static_cast<char>('0' + frac % 10);
    p[1] = static_cast<char>('0' + frac / 10);
    return p + 5;
}

}  // namespace ombrel_tool
