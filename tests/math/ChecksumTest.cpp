// CRC-32 against its known value, chaining, and an independent bitwise reference.
#include <ombrel/math/Checksum.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <random>
#include <string>
#include <vector>

using Kivo::Checksum;

namespace {

// Bit-at-a-time CRC-32 (no table): independent of the library's table-driven loop.
std::uint32_t BitwiseCrc32(const unsigned char* p, std::size_t n) {
    std::uint32_t r = 0xFFFFFFFFu;
    for (std::size_t i = 0; i < n; ++i) {
        r ^= p[i];
        for (int k = 0; k < 8; ++k)
            r = (r >> 1) ^ (0xEDB88320u & (0u - (r & 1u)));
    }
    return ~r;
}

}  // namespace

TEST(Checksum, KnownValue) {
    EXPECT_EQ(Checksum::ComputeCRC32(14, "This is a test", 0), 0xC07A9F32u);
    EXPECT_EQ(Checksum::ComputeCRC32(9, "123456789", 0), 0xCBF43926u);  // the CRC-32 check value
}

TEST(Checksum, ByteByByteChainingGivesTheSameValue) {
    const char* text = "This is a test";
    unsigned int crc = 0;
    for (int i = 0; i < 14; ++i)
        crc = Checksum::ComputeCRC32(1, text + i, crc);
    EXPECT_EQ(crc, 0xC07A9F32u);
}

TEST(Checksum, ZeroLengthReturnsTheGivenValue) {
    EXPECT_EQ(Checksum::ComputeCRC32(0, "abc", 0), 0u);
    EXPECT_EQ(Checksum::ComputeCRC32(0, nullptr, 0xDEADBEEFu), 0xDEADBEEFu);
}

TEST(Checksum, RandomDataAgainstBitwiseReference) {
    std::mt19937 rng(12345);
    for (int len : {1, 2, 3, 7, 64, 255, 1000, 4097, 65536}) {
        std::vector<unsigned char> data(len);
        for (auto& b : data)
            b = static_cast<unsigned char>(rng());
        EXPECT_EQ(Checksum::ComputeCRC32(len, data.data(), 0), BitwiseCrc32(data.data(), len))
            << len;
        // Split anywhere and chain.
        const int cut = len / 3;
        const unsigned int part = Checksum::ComputeCRC32(cut, data.data(), 0);
        EXPECT_EQ(Checksum::ComputeCRC32(len - cut, data.data() + cut, part),
                  BitwiseCrc32(data.data(), len));
    }
}

TEST(Checksum, AgreesWithZlibThroughPython) {
    // zlib.crc32 via Debian's python3, on bytes produced from a fixed seed on both sides.
    std::vector<unsigned char> data(10000);
    std::uint32_t x = 2463534242u;
    for (auto& b : data) {  // xorshift32, reproduced in the script below
        x ^= x << 13;
        x ^= x >> 17;
        x ^= x << 5;
        b = static_cast<unsigned char>(x & 0xFF);
    }
    const std::string cmd = std::string(OMBREL_PYTHON) +
                            " -c \"import zlib\nx=2463534242\nb=bytearray()\nfor i in "
                            "range(10000):\n x^=(x<<13)&0xFFFFFFFF\n x^=x>>17\n "
                            "x^=(x<<5)&0xFFFFFFFF\n b.append(x&255)\nprint(zlib.crc32(bytes(b)))\"";
    FILE* p = popen(cmd.c_str(), "r");
    ASSERT_NE(p, nullptr);
    unsigned long expected = 0;
    ASSERT_EQ(std::fscanf(p, "%lu", &expected), 1);
    pclose(p);
    EXPECT_EQ(Checksum::ComputeCRC32(10000, data.data(), 0), static_cast<unsigned int>(expected));
}
