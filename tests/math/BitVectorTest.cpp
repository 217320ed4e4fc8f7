// Bit vector: shape and row table, copies, imports and exports, byte-wise logic against a slow
// reference (erasures included), validation, dumps and failures.
#include <ombrel/infra/UnitTestRecorder.h>
#include <ombrel/math/BitVector.h>
#include <ombrel/math/IntVector.h>
#include <ombrel/math/KivoException.h>

#include "kernels/Allocator.h"
#include "support/TestUtil.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <random>
#include <string>
#include <vector>

namespace Kivo {

// Read access to the private state for the tests.
struct BitVectorInspector {
    static const unsigned char* Data(const BitVector& b) { return b.data; }
    static unsigned char* const* Rows(const BitVector& b) { return b.rows; }
    static int Capacity(const BitVector& b) { return b.capacity; }
    static bool Validate(const BitVector& b) { return b.Validate(); }
};

}  // namespace Kivo

using namespace Kivo;
using Inspect = Kivo::BitVectorInspector;
using testing::internal::CaptureStdout;
using testing::internal::GetCapturedStdout;

namespace {

const int kLengths[] = {0, 1, 7, 33, 1000, 4097};

std::vector<unsigned char> Bytes(const BitVector& b) {
    const int n = b.GetCodeLen() * b.GetCodeWordLen();
    const unsigned char* d = Inspect::Data(b);
    return n ? std::vector<unsigned char>(d, d + n) : std::vector<unsigned char>();
}

// Mostly valid bits (0, 1, 255) with some arbitrary bytes.
std::vector<unsigned char> RandomBits(int n, unsigned seed) {
    std::mt19937 gen(seed);
    const unsigned char bits[] = {0, 1, 255};
    std::vector<unsigned char> v(n);
    for (auto& x : v)
        x = (gen() % 5) ? bits[gen() % 3] : static_cast<unsigned char>(gen());
    return v;
}

BitVector Code(const std::vector<unsigned char>& bytes, int codeLen, int codeWordLen) {
    BitVector b;
    b.Import(bytes.data(), codeLen, codeWordLen);
    return b;
}

using ombrel_test::CodeOf;
using ombrel_test::ReadFile;

}  // namespace

// ---------------------------------------------------------------------------------------------
// Shape

TEST(BitVector, ThreeByFourCode) {
    BitVector c(3, 4);
    EXPECT_EQ(c.GetCodeLen(), 3);
    EXPECT_EQ(c.GetCodeWordLen(), 4);
    EXPECT_EQ(Bytes(c), std::vector<unsigned char>(12, 0));
    const unsigned char* d = Inspect::Data(c);
    EXPECT_EQ(Inspect::Rows(c)[0], d);
    EXPECT_EQ(Inspect::Rows(c)[1], d + 4);
    EXPECT_EQ(Inspect::Rows(c)[2], d + 8) << "code word 2 starts at byte 8";
}

TEST(BitVector, EmptyAndDegenerateShapes) {
    BitVector e;
    EXPECT_EQ(e.GetCodeLen(), 0);
    EXPECT_EQ(e.GetCodeWordLen(), 0);
    EXPECT_EQ(Inspect::Data(e), nullptr);
    EXPECT_TRUE(e.IsEqual(BitVector()));
    EXPECT_TRUE(Inspect::Validate(e));
    e.Not();
    e.Set(1);
    BitVector f(e);
    EXPECT_TRUE(f.IsEqual(e));

    BitVector words(5, 0);  // five empty code words
    EXPECT_EQ(words.GetCodeLen(), 5);
    EXPECT_FALSE(words.IsEqual(e)) << "the shapes differ even though neither holds a bit";
    BitVector none(0, 8);
    EXPECT_EQ(none.GetCodeWordLen(), 8);
    EXPECT_FALSE(none.IsEqual(words));
}

TEST(BitVector, ReshapeKeepsTheBlockWhenItIsLargeEnough) {
    BitVector c(10, 10);
    const unsigned char* block = Inspect::Data(c);
    const std::vector<unsigned char> small(12, 1);
    c.Import(small.data(), 3, 4);
    EXPECT_EQ(Inspect::Data(c), block);
    EXPECT_EQ(Inspect::Capacity(c), 100);
    EXPECT_EQ(Inspect::Rows(c)[2], block + 8);
    const std::vector<unsigned char> big(300, 0);
    c.Import(big.data(), 30, 10);
    EXPECT_EQ(Inspect::Capacity(c), 300) << "growth reallocates exactly";
    EXPECT_EQ(Inspect::Rows(c)[29], Inspect::Data(c) + 290);
}

// ---------------------------------------------------------------------------------------------
// Copies

TEST(BitVector, CopiesAreDeep) {
    const auto bytes = RandomBits(12, 1);
    BitVector a = Code(bytes, 3, 4);
    BitVector b(a);
    EXPECT_TRUE(b.IsEqual(a));
    EXPECT_NE(Inspect::Data(b), Inspect::Data(a));
    EXPECT_EQ(Inspect::Rows(b)[2], Inspect::Data(b) + 8);
    BitVector c(7, 7);
    c = a;
    EXPECT_TRUE(c.IsEqual(a));
    EXPECT_EQ(c.GetCodeLen(), 3);
    c.Set(0);
    EXPECT_EQ(Bytes(a), bytes) << "the source is untouched";

    BitVector& self = a;
    const unsigned char* block = Inspect::Data(a);
    a = self;
    EXPECT_EQ(Inspect::Data(a), block);
    EXPECT_EQ(Bytes(a), bytes);

    BitVector empty;
    c = empty;
    EXPECT_EQ(c.GetCodeLen(), 0);
    EXPECT_TRUE(c.IsEqual(empty));
}

// ---------------------------------------------------------------------------------------------
// Imports and exports

TEST(BitVector, RawImportExport) {
    for (int n : kLengths) {
        const auto bytes = RandomBits(n, 2u + n);
        const int words = n >= 7 ? n / 7 : n;
        const int wordLen = n >= 7 ? 7 : 1;
        BitVector c = Code(bytes, words, wordLen);
        ASSERT_EQ(c.GetCodeLen(), words);
        std::vector<unsigned char> out(n + 4, 0xCD);
        c.Export(out.data(), words);
        for (int i = 0; i < words * wordLen; ++i)
            ASSERT_EQ(out[i], bytes[i]);
        EXPECT_EQ(out[words * wordLen], 0xCD);
        if (words >= 2) {
            std::vector<unsigned char> two(2 * wordLen + 1, 0xCD);
            c.Export(two.data(), 2);
            EXPECT_EQ(two.back(), 0xCD) << "only n code words are written";
        }
        c.Export(out.data(), 0);
        EXPECT_EQ(CodeOf([&] { c.Export(out.data(), words + 1); }), KIVO_INVALID_INPUT_PARAMETER);
    }
    // A source inside the code's own block (here: its second word) is read before any reshape.
    std::vector<unsigned char> bytes = {0, 0, 1, 1, 255, 0};
    BitVector c = Code(bytes, 3, 2);
    c.Import(Inspect::Data(c) + 2, 2, 2);
    EXPECT_EQ(Bytes(c), (std::vector<unsigned char>{1, 1, 255, 0}));
    BitVector g = Code(bytes, 1, 2);  // capacity 2: importing 4 bytes from itself grows
    g.Import(Inspect::Data(g), 1, 2);
    EXPECT_EQ(Bytes(g), (std::vector<unsigned char>{0, 0}));
}

TEST(BitVector, Int16ImportAndExport) {
    VecInt16 v(11);
    const short s[] = {0, 1, -1, 1, 0, 0, 2, 1, -32768, 1, 0};
    for (int i = 0; i < 11; ++i)
        v[i] = s[i];

    BitVector c(v, 3);  // 11 elements: three words of three, the last two elements dropped
    EXPECT_EQ(c.GetCodeLen(), 3);
    EXPECT_EQ(c.GetCodeWordLen(), 3);
    EXPECT_EQ(Bytes(c), (std::vector<unsigned char>{0, 1, 255, 1, 0, 0, 255, 1, 255}));
    EXPECT_TRUE(Inspect::Validate(c));

    BitVector d;
    d.Import(v, 3);
    EXPECT_TRUE(d.IsEqual(c));

    BitVector e;
    e.Import(v, 4, 3, 2);  // elements 3..6
    EXPECT_EQ(e.GetCodeLen(), 2);
    EXPECT_EQ(Bytes(e), (std::vector<unsigned char>{1, 0, 0, 255}));

    VecInt16 back;
    c.Export(back, 3);
    ASSERT_EQ(back.GetSize(), 9);
    const short expect[] = {0, 1, -1, 1, 0, 0, -1, 1, -1};
    for (int i = 0; i < 9; ++i)
        EXPECT_EQ(back[i], expect[i]);
    // Import of the export gives the code back.
    BitVector again(back, 3);
    EXPECT_TRUE(again.IsEqual(c));
    c.Export(back, 1);
    EXPECT_EQ(back.GetSize(), 3);
    EXPECT_EQ(back.GetCapacity(), 9) << "the import rule reuses the buffer";

    // Random soft-decision stream against a slow mapping.
    for (int n : kLengths) {
        std::mt19937 gen(40u + n);
        VecInt16 w(n);
        for (int i = 0; i < n; ++i)
            w[i] = static_cast<short>(static_cast<int>(gen() % 5) - 2);
        const int wordLen = 1 + n % 5;
        BitVector b(w, wordLen);
        ASSERT_EQ(b.GetCodeLen(), n / wordLen);
        const auto got = Bytes(b);
        for (int i = 0; i < n / wordLen * wordLen; ++i) {
            const unsigned char want = w[i] == 0 ? 0 : w[i] == 1 ? 1 : 255;
            ASSERT_EQ(got[i], want);
        }
        if (n == 0) w.Resize(1);  // a zero-length vector keeps its buffer otherwise
    }

    EXPECT_EQ(CodeOf([&] { c.Import(v, 0); }), KIVO_INVALID_INPUT_PARAMETER);
    EXPECT_EQ(CodeOf([&] { c.Import(v, 5, 7, 1); }), KIVO_INVALID_INPUT_PARAMETER);
    EXPECT_EQ(CodeOf([&] { c.Import(v, -1, 0, 1); }), KIVO_INVALID_INPUT_PARAMETER);
    EXPECT_EQ(CodeOf([&] { c.Import(v, 2, -1, 1); }), KIVO_INVALID_INPUT_PARAMETER);
    EXPECT_EQ(CodeOf([&] { c.Export(back, 4); }), KIVO_INVALID_INPUT_PARAMETER);
}

TEST(BitVector, Set) {
    BitVector c(4, 5);
    c.Set(255);
    EXPECT_EQ(Bytes(c), std::vector<unsigned char>(20, 255));
    c.Set(1);
    EXPECT_EQ(Bytes(c), std::vector<unsigned char>(20, 1));
}

// ---------------------------------------------------------------------------------------------
// Logic

TEST(BitVector, NotSwapsZeroAndOneAndKeepsErasures) {
    BitVector c = Code({0, 1, 255}, 1, 3);
    c.Not();
    EXPECT_EQ(Bytes(c), (std::vector<unsigned char>{1, 0, 255}));
    BitVector odd = Code({2, 254, 128, 0}, 2, 2);
    odd.Not();
    EXPECT_EQ(Bytes(odd), (std::vector<unsigned char>{2, 254, 128, 1}));
}

TEST(BitVector, NotIntoOutComplementsTheBytes) {
    const BitVector in = Code({0, 1, 255, 7}, 2, 2);
    BitVector out(9, 9);
    BitVector::Not(out, in);
    EXPECT_EQ(out.GetCodeLen(), 2);
    EXPECT_EQ(out.GetCodeWordLen(), 2);
    EXPECT_EQ(Bytes(out), (std::vector<unsigned char>{255, 254, 0, 248}));
    EXPECT_FALSE(Inspect::Validate(out));
    BitVector same = in;
    BitVector::Not(same, same);
    EXPECT_EQ(Bytes(same), Bytes(out));
}

TEST(BitVector, ErasuresFollowTheByteValues) {
    const BitVector e = Code({255, 255, 255, 255}, 1, 4);
    const BitVector b = Code({0, 1, 0, 1}, 1, 4);
    BitVector r;
    BitVector::And(r, e, b);
    EXPECT_EQ(Bytes(r), Bytes(b)) << "255 AND a bit gives that bit";
    BitVector::Or(r, e, b);
    EXPECT_EQ(Bytes(r), Bytes(e)) << "255 OR a bit gives 255";
    BitVector::Xor(r, e, b);
    EXPECT_EQ(Bytes(r), (std::vector<unsigned char>{255, 254, 255, 254}));
    EXPECT_FALSE(Inspect::Validate(r)) << "255 XOR 1 = 254 is no longer a valid bit";
    BitVector x = b;
    x.Xor(e);
    EXPECT_TRUE(x.IsEqual(r));
}

TEST(BitVector, LogicMatchesSlowReference) {
    using InPlace = void (BitVector::*)(const BitVector&);
    using ThreeOp = void (*)(BitVector&, const BitVector&, const BitVector&);
    struct {
        InPlace inPlace;
        ThreeOp threeOp;
        int (*model)(int, int);
    } ops[] = {
        {&BitVector::And, &BitVector::And, [](int p, int q) { return p & q; }},
        {&BitVector::Or, &BitVector::Or, [](int p, int q) { return p | q; }},
        {&BitVector::Xor, &BitVector::Xor, [](int p, int q) { return p ^ q; }},
    };
    for (int n : kLengths) {
        const auto x = RandomBits(n, 60u + n);
        const auto y = RandomBits(n, 70u + n);
        const int wordLen = n % 2 ? 1 : 2;  // both shapes below hold exactly n bits
        const BitVector a = Code(x, n / wordLen, wordLen);
        const BitVector b = Code(y, wordLen == 1 ? 1 : n / wordLen, wordLen == 1 ? n : wordLen);
        for (const auto& op : ops) {
            BitVector t = a;
            (t.*op.inPlace)(b);
            BitVector out(3, 3);
            op.threeOp(out, a, b);
            EXPECT_EQ(out.GetCodeLen(), a.GetCodeLen()) << "out takes the first operand's shape";
            EXPECT_EQ(out.GetCodeWordLen(), a.GetCodeWordLen());
            const auto inPlace = Bytes(t);
            const auto three = Bytes(out);
            for (int i = 0; i < n; ++i) {
                ASSERT_EQ(inPlace[i], op.model(x[i], y[i])) << "n=" << n << " i=" << i;
                ASSERT_EQ(three[i], op.model(x[i], y[i]));
            }
            // Aliased forms: out is the first or the second operand.
            BitVector a2 = a, b2 = b;
            op.threeOp(a2, a2, b);
            op.threeOp(b2, a, b2);
            EXPECT_EQ(Bytes(a2), three);
            EXPECT_EQ(Bytes(b2), three);
        }
        BitVector notOut;
        BitVector::Not(notOut, a);
        BitVector flipped = a;
        flipped.Not();
        const auto nb = Bytes(notOut);
        const auto fb = Bytes(flipped);
        for (int i = 0; i < n; ++i) {
            ASSERT_EQ(nb[i], 255 - x[i]);
            ASSERT_EQ(fb[i], x[i] == 0 ? 1 : x[i] == 1 ? 0 : x[i]);
        }
    }
}

TEST(BitVector, ShorterOperandIsRefused) {
    BitVector a(3, 4), shorter(2, 5), longer(13, 1);
    a.Set(1);
    EXPECT_EQ(CodeOf([&] { a.And(shorter); }), KIVO_INVALID_INPUT_PARAMETER);
    EXPECT_EQ(CodeOf([&] { a.Or(shorter); }), KIVO_INVALID_INPUT_PARAMETER);
    EXPECT_EQ(CodeOf([&] { a.Xor(shorter); }), KIVO_INVALID_INPUT_PARAMETER);
    BitVector out;
    EXPECT_EQ(CodeOf([&] { BitVector::And(out, a, shorter); }), KIVO_INVALID_INPUT_PARAMETER);
    EXPECT_EQ(CodeOf([&] { BitVector::Or(out, a, shorter); }), KIVO_INVALID_INPUT_PARAMETER);
    EXPECT_EQ(CodeOf([&] { BitVector::Xor(out, a, shorter); }), KIVO_INVALID_INPUT_PARAMETER);
    EXPECT_EQ(Bytes(a), std::vector<unsigned char>(12, 1));
    a.And(longer);  // more bits than needed is fine; shape does not matter
    EXPECT_EQ(Bytes(a), std::vector<unsigned char>(12, 0));
}

// ---------------------------------------------------------------------------------------------
// Comparison and validation

TEST(BitVector, IsEqualNeedsTheSameShape) {
    const std::vector<unsigned char> bytes(12, 1);
    const BitVector a = Code(bytes, 3, 4);
    const BitVector b = Code(bytes, 4, 3);
    EXPECT_FALSE(a.IsEqual(b)) << "a 3-by-4 and a 4-by-3 code differ even with equal bytes";
    EXPECT_TRUE(a.IsEqual(Code(bytes, 3, 4)));
    auto other = bytes;
    other[11] = 255;
    EXPECT_FALSE(a.IsEqual(Code(other, 3, 4)));
    EXPECT_TRUE(BitVector().IsEqual(BitVector()));
}

TEST(BitVector, ValidBitsAndPrintChars) {
    for (int v = 0; v < 256; ++v) {
        const auto b = static_cast<unsigned char>(v);
        EXPECT_EQ(BitVector::IsValidBit(b), v == 0 || v == 1 || v == 255) << v;
        EXPECT_EQ(BitVector::GetPrintChar(b), v == 0 ? '0' : v == 1 ? '1' : 'x') << v;
    }
    EXPECT_TRUE(Inspect::Validate(Code({0, 1, 255, 0}, 2, 2)));
    EXPECT_FALSE(Inspect::Validate(Code({0, 1, 2, 0}, 2, 2)));
    EXPECT_FALSE(Inspect::Validate(Code({0, 1, 0, 254}, 2, 2)));
}

// ---------------------------------------------------------------------------------------------
// Dumps

TEST(BitVector, DumpToStandardOutput) {
    const BitVector c = Code({0, 1, 255, 1, 1, 0, 0, 0, 7, 1, 0, 1, 0, 0, 1}, 5, 3);
    CaptureStdout();
    c.Dump(2);
    EXPECT_EQ(GetCapturedStdout(),
              "\n [ 0]= 01x\n [ 1]= 110\n.................\n [ 3]= 101\n [ 4]= 001");
    CaptureStdout();
    c.Dump(3);
    EXPECT_EQ(GetCapturedStdout(), "\n [ 0]= 01x\n [ 1]= 110\n [ 2]= 00x\n [ 3]= 101\n [ 4]= 001");
    CaptureStdout();
    BitVector().Dump(2);
    EXPECT_EQ(GetCapturedStdout(), "");
}

TEST(BitVector, DumpToFile) {
    const BitVector c = Code({0, 1, 255, 1}, 2, 2);
    CaptureStdout();
    c.Dump("bits.txt", true, false);
    EXPECT_EQ(GetCapturedStdout(), "\n====bits.txt saved");
    EXPECT_EQ(ReadFile("bits.txt"), "         0    01\n         1    x1\n");
    CaptureStdout();
    c.Dump("bits.txt", false, true);
    EXPECT_EQ(GetCapturedStdout(), "");
    EXPECT_EQ(ReadFile("bits.txt"),
              "         0    01\n         1    x1\n         0    01\n         1    x1\n");
    c.Dump("bits.txt", false, false);
    EXPECT_EQ(ReadFile("bits.txt"), "         0    01\n         1    x1\n");
    try {
        c.Dump("no-such-dir/bits.txt", true, false);
        FAIL() << "no exception";
    } catch (const KivoException& e) {
        EXPECT_EQ(e.code, KIVO_FILE_OPEN_ERROR);
        EXPECT_STREQ(e.message, "error opening file");
        EXPECT_STREQ(e.file, "src/math/BitVector");
    }
}

// ---------------------------------------------------------------------------------------------
// Allocation failure

TEST(BitVector, AllocationFailuresThrow8000) {
    auto expect8000 = [](int successes, auto&& f) {
        try {
            kernels::ScopedAllocFailure fail(successes);
            f();
            ADD_FAILURE() << "no exception";
        } catch (const KivoException& e) {
            EXPECT_EQ(e.code, KIVO_MEMORY_ALLOC_ERROR);
            EXPECT_STREQ(e.message, "memory allocation error");
            EXPECT_STREQ(e.file, "src/math/BitVector");
        }
    };
    expect8000(0, [] { BitVector c(4, 4); });  // the row table
    expect8000(1, [] { BitVector c(4, 4); });  // the bit block
    const BitVector src = Code(RandomBits(20, 5), 4, 5);
    expect8000(0, [&] { BitVector c(src); });
    expect8000(1, [&] {
        BitVector c;
        c = src;
    });
    VecInt16 v(8);
    for (int i = 0; i < 8; ++i)
        v[i] = 1;
    expect8000(1, [&] { BitVector c(v, 2); });

    // A failed row table leaves the code as it was.
    BitVector keep = src;
    const std::vector<unsigned char> more(40, 0);
    expect8000(0, [&] { keep.Import(more.data(), 8, 5); });
    EXPECT_TRUE(keep.IsEqual(src));
    // A failed bit block after growth leaves an empty, usable code.
    BitVector grow = src;
    expect8000(0, [&] { grow.Import(more.data(), 2, 20); });
    EXPECT_EQ(grow.GetCodeLen(), 0);
    grow = src;
    EXPECT_TRUE(grow.IsEqual(src));

    // Shapes no 32-bit count can describe.
    EXPECT_EQ(CodeOf([] { BitVector c(-1, 4); }), KIVO_MEMORY_ALLOC_ERROR);
    EXPECT_EQ(CodeOf([] { BitVector c(4, -1); }), KIVO_MEMORY_ALLOC_ERROR);
    EXPECT_EQ(CodeOf([] { BitVector c(65536, 65536); }), KIVO_MEMORY_ALLOC_ERROR);
    // Nothing to allocate: cannot fail.
    {
        kernels::ScopedAllocFailure fail;
        BitVector empty(0, 0);
        EXPECT_EQ(empty.GetCodeLen(), 0);
    }
}

TEST(BitVector, LogicAllocatesNothingOnceShaped) {
    const BitVector a = Code(RandomBits(1000, 8), 100, 10);
    const BitVector b = Code(RandomBits(1000, 9), 10, 100);
    BitVector out(100, 10);
    BitVector t = a;
    const long long before = kernels::AllocationCount();
    BitVector::And(out, a, b);
    BitVector::Xor(out, b, a);  // same bit count, other shape: no growth
    BitVector::Not(out, a);
    t.Or(b);
    t.Not();
    EXPECT_EQ(kernels::AllocationCount(), before);
}

// ---------------------------------------------------------------------------------------------
// Self-test

TEST(BitVector, UnitTestPasses) {
    UnitTestRecorder r;
    CaptureStdout();
    const bool ok = BitVector::UnitTest(r);
    const std::string out = GetCapturedStdout();
    EXPECT_TRUE(ok) << out;
}
