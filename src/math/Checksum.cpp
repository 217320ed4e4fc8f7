#include <ombrel/infra/UnitTestRecorder.h>
#include <ombrel/math/Checksum.h>

#include "kernels/SelfTest.h"

#include <array>
#include <cstdint>

namespace Kivo {

namespace {

// The standard table of the reflected polynomial, built at compile time.
constexpr std::array<std::uint32_t, 256> MakeTable() {
    std::array<std::uint32_t, 256> t{};
    for (std::uint32_t i = 0; i < 256; ++i) {
        std::uint32_t c = i;
        for (int k = 0; k < 8; ++k)
            c = (c & 1U) ? 0xEDB88320U ^ (c >> 1) : c >> 1;
        t[i] = c;
    }
    return t;
}
constexpr std::array<std::uint32_t, 256> kTable = MakeTable();
static_assert(kTable[1] == 0x77073096U);

}  // namespace

unsigned int Checksum::ComputeCRC32(int nbytes, const void* data, unsigned int crc) {
    if (nbytes <= 0) return crc;
    const auto* p = static_cast<const unsigned char*>(data);
    std::uint32_t r = ~static_cast<std::uint32_t>(crc);
    for (int i = 0; i < nbytes; ++i)
        r = kTable[(r ^ p[i]) & 0xFFU] ^ (r >> 8);
    return ~r;
}

bool Checksum::UnitTest(UnitTestRecorder& recorder) {
    bool ok = true;
    const char text[] = "This is a test";
    kernels::Record(recorder, ok, "Checksum", "ComputeCRC32 known value",
                    ComputeCRC32(14, text, 0) == 0xC07A9F32U);
    unsigned int chained = 0;
    for (int i = 0; i < 14; ++i)
        chained = ComputeCRC32(1, text + i, chained);
    kernels::Record(recorder, ok, "Checksum", "ComputeCRC32 chained", chained == 0xC07A9F32U);
    kernels::Record(recorder, ok, "Checksum", "ComputeCRC32 zero length",
                    ComputeCRC32(0, text, 0x1234U) == 0x1234U);
    return ok;
}

}  // namespace Kivo
