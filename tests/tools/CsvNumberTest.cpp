// The CSV level formatter against std::to_chars with four fixed decimals.
#include <gtest/gtest.h>

#include "CsvNumber.h"

#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <random>
#include <string>

namespace {

std::string Ours(float v) {
    char buf[128];
    char* e = ombrel_tool::FormatFixed4(buf, buf + sizeof buf, v);
    return std::string(buf, e);
}

std::string Reference(float v) {
    char buf[128];
    char* e = std::to_chars(buf, buf + sizeof buf, v, std::chars_format::fixed, 4).ptr;
    return std::string(buf, e);
}

float FromBits(std::uint32_t bits) {
    float v;
    std::memcpy(&v, &bits, sizeof v);
    return v;
}

}  // namespace

TEST(CsvNumber, EdgeValues) {
    const float cases[] = {0.0f,
                           -0.0f,
                           1.0f,
                           -1.0f,
                           0.03125f,    // 312.5 units of 1e-4: a tie, rounds to even "0.0312"
                           0.09375f,    // 937.5: tie to even "0.0938"
                           -0.03125f,   // negative tie
                           0.00005f,    // just off a tie
                           -0.00004f,   // rounds to "-0.0000"
                           1e-40f,      // subnormal
                           -799.9999f,  // the floor of a zero bin in dB is about -800
                           -123.45678f,
                           9.99995f,
                           99999.99f,
                           8.9e11f,  // just below where the integer path stops
                           9.1e11f,  // beyond: the standard formatting
                           3.0e38f,
                           std::numeric_limits<float>::max(),
                           -std::numeric_limits<float>::max(),
                           std::numeric_limits<float>::infinity(),
                           -std::numeric_limits<float>::infinity(),
                           std::numeric_limits<float>::quiet_NaN()};
    for (float v : cases)
        EXPECT_EQ(Ours(v), Reference(v)) << v;
    EXPECT_EQ(Ours(0.03125f), "0.0312");
    EXPECT_EQ(Ours(-0.00004f), "-0.0000");
    EXPECT_EQ(Ours(-123.45678f), "-123.4568");
}

TEST(CsvNumber, EveryTieBetweenMinusAndPlus1000) {
    // Values with 5 binary fractional digits fall exactly on half a unit of 1e-4 when odd
    // multiples of 1/32: all of them in [-1000, 1000].
    for (int k = -32000; k <= 32000; ++k) {
        const float v = static_cast<float>(k) / 32.0f;
        ASSERT_EQ(Ours(v), Reference(v)) << v;
    }
}

TEST(CsvNumber, RandomLevelsAndRandomBitPatterns) {
    std::mt19937 rng(11);
    std::uniform_real_distribution<float> level(-200.0f, 50.0f);
    for (int i = 0; i < 1000000; ++i) {
        const float v = level(rng);
        ASSERT_EQ(Ours(v), Reference(v)) << v;
    }
    std::uniform_int_distribution<std::uint32_t> bits;
    for (int i = 0; i < 1000000; ++i) {
        const float v = FromBits(bits(rng));
        ASSERT_EQ(Ours(v), Reference(v)) << v;
    }
}

TEST(CsvNumber, AdjacentFloatsAroundRoundingBoundaries) {
    // The floats next to n + 0.00005 for many n: the rounding decision is closest there.
    for (int n = -20000; n <= 20000; n += 7) {
        const float boundary = static_cast<float>(n) / 10.0f + 0.00005f;
        float v = boundary;
        for (int step = 0; step < 8; ++step)
            v = std::nextafter(v, -std::numeric_limits<float>::infinity());
        for (int step = 0; step < 16; ++step) {
            ASSERT_EQ(Ours(v), Reference(v)) << v;
            v = std::nextafter(v, std::numeric_limits<float>::infinity());
        }
    }
}
