// Allocation functions, the memory-status report and the exception type.
#include <ombrel/math/KivoException.h>
#include <ombrel/math/Memory.h>

#include "kernels/Allocator.h"
#include "kernels/Error.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <fstream>
#include <regex>
#include <string>
#include <type_traits>
#include <vector>

using namespace Kivo;

namespace {

bool Aligned(const void* p, std::uintptr_t a) {
    return reinterpret_cast<std::uintptr_t>(p) % a == 0;
}

std::vector<std::string> ReadLines(const char* path) {
    std::ifstream f(path);
    std::vector<std::string> lines;
    for (std::string l; std::getline(f, l);)
        lines.push_back(l);
    return lines;
}

}  // namespace

TEST(Memory, EveryAllocatorIs64ByteAlignedAndReleasedByKivoDelete) {
    void* blocks[] = {KivoAllocReal32(3), KivoAllocReal64(3), KivoAllocCplx32(3),
                      KivoAllocCplx64(3), KivoAllocInt16(3),  KivoAllocInt32(3),
                      KivoAllocUInt8(3),  KivoAllocByte(3),   KivoAllocBit(3)};
    for (void* p : blocks) {
        ASSERT_NE(p, nullptr);
        EXPECT_TRUE(Aligned(p, 64));
    }
    const long long frees = kernels::FreeCount();
    for (void* p : blocks)
        KivoDelete(p);
    EXPECT_EQ(kernels::FreeCount(), frees + 9);
}

TEST(Memory, ElementSizesOfTheAllocators) {
    struct Case {
        void* p;
        long long bytes;
    };
    auto take = [](void* p) { return Case{p, kernels::LastAllocationBytes()}; };
    const Case cases[] = {take(KivoAllocReal32(10)), take(KivoAllocReal64(10)),
                          take(KivoAllocCplx32(10)), take(KivoAllocCplx64(10)),
                          take(KivoAllocInt16(10)),  take(KivoAllocInt32(10)),
                          take(KivoAllocUInt8(10)),  take(KivoAllocByte(10))};
    const long long expected[] = {40, 80, 80, 160, 20, 40, 10, 10};
    for (int i = 0; i < 8; ++i) {
        EXPECT_EQ(cases[i].bytes, expected[i]) << "allocator " << i;
        KivoDelete(cases[i].p);
    }
}

TEST(Memory, KivoDeleteOfNullDoesNothing) {
    const long long frees = kernels::FreeCount();
    KivoDelete(nullptr);
    EXPECT_EQ(kernels::FreeCount(), frees);
}

TEST(Memory, KivoAllocBitCountsBytesLikeUInt8) {
    unsigned char* bits = KivoAllocBit(5);
    const long long bitBytes = kernels::LastAllocationBytes();
    unsigned char* bytes = KivoAllocUInt8(5);
    const long long u8Bytes = kernels::LastAllocationBytes();
    ASSERT_NE(bits, nullptr);
    ASSERT_NE(bytes, nullptr);
    EXPECT_EQ(bitBytes, 5);
    EXPECT_EQ(u8Bytes, 5);
    for (int i = 0; i < 5; ++i)
        bits[i] = static_cast<unsigned char>(i);  // all 5 are usable
    KivoDelete(bits);
    KivoDelete(bytes);
}

TEST(Memory, NonPositiveCountsGiveNull) {
    EXPECT_EQ(KivoAllocReal32(0), nullptr);
    EXPECT_EQ(KivoAllocReal32(-1), nullptr);
    EXPECT_EQ(KivoAllocCplx64(INT_MIN), nullptr);
    EXPECT_EQ(KivoAllocBit(-5), nullptr);
    EXPECT_EQ(kernels::AlignedAlloc(LLONG_MAX, 16), nullptr);  // byte size overflows
}

TEST(Memory, InjectedFailureLetsTheGivenNumberThrough) {
    kernels::ScopedAllocFailure fail(2);
    float* a = KivoAllocReal32(4);
    float* b = KivoAllocReal32(4);
    float* c = KivoAllocReal32(4);
    EXPECT_NE(a, nullptr);
    EXPECT_NE(b, nullptr);
    EXPECT_EQ(c, nullptr);
    EXPECT_EQ(KivoAllocUInt8(1), nullptr);
    KivoDelete(a);
    KivoDelete(b);
}

TEST(Memory, ReportOfAFailedMillionFloatRequest) {
    DumpKivoMemoryAllocError(4000000, "Failed KivoAllocReal32");
    const auto lines = ReadLines("KivoMemoryAllocError.txt");
    ASSERT_EQ(lines.size(), 11u);
    EXPECT_EQ(lines[0], "System tried to allocate 4000000 bytes.");
    EXPECT_EQ(lines[1], "Failed KivoAllocReal32 ");
    EXPECT_TRUE(
        std::regex_match(lines[2], std::regex("The MemoryStatus structure is \\d+ bytes long\\.")))
        << lines[2];
    EXPECT_EQ(lines[3], "It should be 32.");
    EXPECT_TRUE(std::regex_match(lines[4], std::regex("\\d+ percent of memory is in use\\.")))
        << lines[4];
    const std::regex dec(
        "There are [ \\d]{6,}\\d (total|free) Kbytes of (physical memory|paging file)\\.");
    for (int i = 5; i <= 8; ++i)
        EXPECT_TRUE(std::regex_match(lines[i], dec)) << lines[i];
    const std::regex hex(
        "There are [ 0-9a-f]{6,}[0-9a-f] (total|free) Kbytes of virtual memory\\.");
    for (int i = 9; i <= 10; ++i)
        EXPECT_TRUE(std::regex_match(lines[i], hex)) << lines[i];
    // Field width 7: short numbers are padded to seven characters.
    EXPECT_GE(lines[5].find(" total"), std::string("There are ").size() + 7);
    // The address-space pair is printed in hexadecimal: 2^47 bytes are 0x2000000000 K.
    EXPECT_EQ(lines[9], "There are 2000000000 total Kbytes of virtual memory.");
}

TEST(Memory, ReportWithNullNoteHasNoNoteLine) {
    DumpKivoMemoryAllocError(16, nullptr);
    const auto lines = ReadLines("KivoMemoryAllocError.txt");
    ASSERT_EQ(lines.size(), 10u);
    EXPECT_EQ(lines[0], "System tried to allocate 16 bytes.");
    EXPECT_EQ(lines[1].rfind("The MemoryStatus structure is ", 0), 0u);
}

TEST(Memory, ReportReplacesAnEarlierOne) {
    DumpKivoMemoryAllocError(1, "first");
    DumpKivoMemoryAllocError(2, "second");
    const auto lines = ReadLines("KivoMemoryAllocError.txt");
    ASSERT_GE(lines.size(), 2u);
    EXPECT_EQ(lines[0], "System tried to allocate 2 bytes.");
    EXPECT_EQ(lines[1], "second ");
}

TEST(KivoExceptionType, IsAPlainRecordOfFourFields) {
    EXPECT_TRUE(std::is_trivially_copyable_v<KivoException>);
    EXPECT_TRUE(std::is_standard_layout_v<KivoException>);
    EXPECT_FALSE(std::is_polymorphic_v<KivoException>);
    EXPECT_LT(offsetof(KivoException, code), offsetof(KivoException, message));
    EXPECT_LT(offsetof(KivoException, message), offsetof(KivoException, file));
    EXPECT_LT(offsetof(KivoException, file), offsetof(KivoException, line));
    EXPECT_EQ(sizeof(KivoException::code), 4u);
    EXPECT_EQ(sizeof(KivoException::line), 4u);
    // A bitwise copy is a complete copy.
    const KivoException e{8024, "error opening file", "src/math/Vector", 7};
    KivoException c{};
    std::memcpy(&c, &e, sizeof e);
    EXPECT_EQ(c.code, 8024);
    EXPECT_EQ(c.message, e.message);
    EXPECT_EQ(c.file, e.file);
    EXPECT_EQ(c.line, 7);
}

TEST(KivoExceptionType, EveryCodeHasItsFixedMessage) {
    const std::pair<int, const char*> table[] = {
        {8000, "memory allocation error"}, {8001, "divide-by-zero error"},
        {8004, "singular matrix"},         {8005, "invalid input parameter"},
        {8024, "error opening file"},      {8025, "error reading file"},
        {8026, "error writing file"},      {8027, "file version error"},
        {8028, "file type error"},         {8029, "error closing file"},
        {8035, "MATLAB access error"},     {8036, "unexpected software error"}};
    for (const auto& [code, message] : table)
        EXPECT_STREQ(kernels::ErrorMessage(code), message) << code;
}

#define KIVO_SOURCE_UNIT "tests/math/MemoryTest"
TEST(KivoExceptionType, DivideByZeroAlwaysCarriesItsMessage) {
    try {
        KIVO_THROW(KIVO_DIVIDE_BY_ZERO_ERROR);
        FAIL() << "not thrown";
    } catch (const KivoException& e) {
        EXPECT_EQ(e.code, 8001);
        EXPECT_STREQ(e.message, "divide-by-zero error");
        EXPECT_STREQ(e.file, "tests/math/MemoryTest");
        EXPECT_GT(e.line, 0);
        const KivoException copy = e;  // bitwise copy shares the static texts
        EXPECT_EQ(copy.message, e.message);
    }
}

TEST(KivoExceptionType, TextForm) {
    const KivoException e{8001, "divide-by-zero error", "src/math/Vector", 42};
    EXPECT_EQ(kernels::FormatException(e),
              "\nEXCEPTION: divide-by-zero error, KivoErrorCode: 8001\n"
              "File: src/math/Vector,  Line: 42\n");
}
