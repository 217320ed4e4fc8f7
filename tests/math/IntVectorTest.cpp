// Integer vectors: construction and deep copies, the import rule, saturating arithmetic and
// statistics against slow references, the inert VecInt32 members, comparison, dumps and text
// imports, and failures.
#include <ombrel/infra/UnitTestRecorder.h>
#include <ombrel/math/IntVector.h>
#include <ombrel/math/KivoException.h>

#include "kernels/Allocator.h"
#include "support/TestUtil.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cstdio>
#include <fstream>
#include <random>
#include <string>
#include <vector>

using namespace Kivo;
using testing::internal::CaptureStdout;
using testing::internal::GetCapturedStdout;

namespace {

const int kLengths[] = {0, 1, 7, 33, 1000, 4097};

VecInt16 RandomInt16(int n, unsigned seed) {
    std::mt19937 gen(seed);
    std::uniform_int_distribution<int> full(SHRT_MIN, SHRT_MAX);
    std::uniform_int_distribution<int> small(-200, 200);
    VecInt16 v(n);
    for (int i = 0; i < n; ++i)
        v[i] = static_cast<short>((gen() & 1) ? full(gen) : small(gen));
    return v;
}

VecInt32 RandomInt32(int n, unsigned seed) {
    std::mt19937 gen(seed);
    std::uniform_int_distribution<int> full(INT_MIN, INT_MAX);
    VecInt32 v(n);
    for (int i = 0; i < n; ++i)
        v[i] = full(gen);
    return v;
}

short Sat16(long long x) {
    if (x > 32767) return 32767;
    if (x < -32768) return -32768;
    return static_cast<short>(x);
}

using ombrel_test::CodeOf;
using ombrel_test::ReadFile;

void WriteFile(const std::string& path, const std::string& text) {
    std::ofstream out(path);
    out << text;
}

bool FileExists(const char* path) {
    if (FILE* f = std::fopen(path, "r")) {
        std::fclose(f);
        return true;
    }
    return false;
}

}  // namespace

// ---------------------------------------------------------------------------------------------
// Construction, copies, the import rule

TEST(VecInt16, ConstructionAndDeepCopy) {
    VecInt16 empty;
    EXPECT_EQ(empty.GetSize(), 0);
    EXPECT_EQ(empty.GetCapacity(), 0);
    VecInt16 zero(0);
    EXPECT_EQ(zero.GetSize(), 0);
    EXPECT_EQ(zero.GetCapacity(), 0);

    VecInt16 v = RandomInt16(33, 1);
    VecInt16 c(v);
    ASSERT_EQ(c.GetSize(), 33);
    EXPECT_EQ(c.GetCapacity(), 33);
    EXPECT_NE(&c[0], &v[0]);
    for (int i = 0; i < 33; ++i)
        EXPECT_EQ(c[i], v[i]);
    c[0] = static_cast<short>(v[0] + 1);
    EXPECT_NE(c[0], v[0]) << "the copy must not share the buffer";

    // The copy takes the view, not the buffer: a narrowed source gives a short copy.
    v.Truncate(3, 4);
    VecInt16 part(v);
    ASSERT_EQ(part.GetSize(), 4);
    EXPECT_EQ(part.GetCapacity(), 4);
    for (int i = 0; i < 4; ++i)
        EXPECT_EQ(part[i], v[i]);
    v.Resize(33);

    VecInt16 fromEmpty(empty);
    EXPECT_EQ(fromEmpty.GetSize(), 0);
}

TEST(VecInt16, AssignmentAlwaysReallocatesExactly) {
    VecInt16 big = RandomInt16(1000, 2);
    VecInt16 small = RandomInt16(7, 3);
    big = small;
    EXPECT_EQ(big.GetSize(), 7);
    EXPECT_EQ(big.GetCapacity(), 7) << "assignment reallocates even when capacity would do";
    EXPECT_NE(&big[0], &small[0]);
    EXPECT_TRUE(big.IsEqual(small, 0));

    VecInt16 empty;
    big = empty;
    EXPECT_EQ(big.GetSize(), 0);
    EXPECT_EQ(big.GetCapacity(), 0);
}

TEST(IntVectors, SelfAssignmentLeavesTheVectorUnchanged) {
    VecInt16 a = RandomInt16(7, 4);
    const short* pa = &a[0];
    const VecInt16 a0(a);
    VecInt16& ra = a;
    a = ra;
    EXPECT_EQ(&a[0], pa);
    EXPECT_TRUE(a.IsEqual(a0, 0));

    VecInt32 b = RandomInt32(7, 5);
    const VecInt32 b0(b);
    VecInt32& rb = b;
    b = rb;
    EXPECT_TRUE(b.IsEqual(b0, 0));

    VecUInt8 c(3);
    c[0] = 1;
    c[1] = 2;
    c[2] = 255;
    VecUInt8& rc = c;
    const unsigned char* pc = &c[0];
    c = rc;
    EXPECT_EQ(&c[0], pc);
    EXPECT_EQ(c[2], 255);

    VecUInt32 d(2);
    d[0] = 4000000000u;
    d[1] = 1;
    VecUInt32& rd = d;
    d = rd;
    EXPECT_EQ(d[0], 4000000000u);

    VecInt16 e;  // length 0
    VecInt16& re = e;
    e = re;
    EXPECT_EQ(e.GetSize(), 0);
}

TEST(VecInt16, ImportRuleKeepsOrGrowsTheBuffer) {
    VecInt16 v(100);
    const short* before = &v[0];
    std::vector<short> src(40);
    for (int i = 0; i < 40; ++i)
        src[i] = static_cast<short>(i * 3 - 50);
    v.ShiftLeft(10);
    v.Import(src.data(), 40);
    EXPECT_EQ(&v[0], before) << "within capacity the buffer is reused from its start";
    EXPECT_EQ(v.GetSize(), 40);
    EXPECT_EQ(v.GetCapacity(), 100);
    for (int i = 0; i < 40; ++i)
        EXPECT_EQ(v[i], src[i]);

    std::vector<short> longer(150, 9);
    v.Import(longer.data(), 150);
    EXPECT_EQ(v.GetSize(), 150);
    EXPECT_EQ(v.GetCapacity(), 150);
    EXPECT_EQ(v[149], 9);

    std::vector<short> out(150, 0);
    v.Export(out.data(), 150);
    EXPECT_EQ(out, longer);
    v.Export(out.data(), 0);  // nothing
    EXPECT_EQ(CodeOf([&] { v.Export(out.data(), 151); }), KIVO_INVALID_INPUT_PARAMETER);
    EXPECT_EQ(CodeOf([&] { v.Import(src.data(), -1); }), KIVO_INVALID_INPUT_PARAMETER);
    EXPECT_EQ(v.GetSize(), 150) << "a refused import leaves the vector alone";
}

TEST(VecUInt8, ImportExportCopyDump) {
    for (int n : kLengths) {
        std::vector<unsigned char> src(n);
        for (int i = 0; i < n; ++i)
            src[i] = static_cast<unsigned char>(i * 7 + 3);
        VecUInt8 v;
        v.Import(src.data(), n);
        ASSERT_EQ(v.GetSize(), n);
        VecUInt8 c(v);
        VecUInt8 d;
        d = c;
        std::vector<unsigned char> out(n, 0);
        d.Export(out.data(), n);
        EXPECT_EQ(out, src);
        EXPECT_EQ(d.ComputeCRC32(), v.ComputeCRC32());
    }
    VecUInt8 v(5);
    for (int i = 0; i < 5; ++i)
        v[i] = static_cast<unsigned char>(250 + i);
    CaptureStdout();
    v.Dump(2);
    EXPECT_EQ(GetCapturedStdout(),
              "\n [ 0]= 250\n [ 1]= 251\n.................\n [ 3]= 253\n [ 4]= 254");
}

// ---------------------------------------------------------------------------------------------
// VecInt16 arithmetic and statistics against slow references

TEST(VecInt16, ArithmeticMatchesSlowReference) {
    for (int n : kLengths) {
        const VecInt16 a = RandomInt16(n, 10u + n);
        const VecInt16 b = RandomInt16(n + 3, 20u + n);  // a longer operand is fine
        struct Case {
            const char* name;
            void (*apply)(VecInt16&, const VecInt16&);
            long long (*op)(long long, long long);
        } cases[] = {
            {"Add", [](VecInt16& x, const VecInt16& y) { x.Add(y); },
             [](long long p, long long q) { return p + q; }},
            {"Sub", [](VecInt16& x, const VecInt16& y) { x.Sub(y); },
             [](long long p, long long q) { return p - q; }},
            {"Mul", [](VecInt16& x, const VecInt16& y) { x.Mul(y); },
             [](long long p, long long q) { return p * q; }},
            {"+=", [](VecInt16& x, const VecInt16& y) { EXPECT_EQ(&(x += y), &x); },
             [](long long p, long long q) { return p + q; }},
            {"-=", [](VecInt16& x, const VecInt16& y) { EXPECT_EQ(&(x -= y), &x); },
             [](long long p, long long q) { return p - q; }},
            {"*=", [](VecInt16& x, const VecInt16& y) { EXPECT_EQ(&(x *= y), &x); },
             [](long long p, long long q) { return p * q; }},
        };
        for (const auto& c : cases) {
            VecInt16 x(a);
            c.apply(x, b);
            ASSERT_EQ(x.GetSize(), n);
            for (int i = 0; i < n; ++i)
                ASSERT_EQ(x[i], Sat16(c.op(a[i], b[i]))) << c.name << " n=" << n << " i=" << i;
        }
        const short constants[] = {0, 1, -1, 1234, SHRT_MAX, SHRT_MIN};
        for (short k : constants) {
            VecInt16 x(a), y(a), z(a), p(a), q(a), r(a);
            x.Add(k);
            y.Sub(k);
            z.Mul(k);
            EXPECT_EQ(&(p += k), &p);
            EXPECT_EQ(&(q -= k), &q);
            EXPECT_EQ(&(r *= k), &r);
            for (int i = 0; i < n; ++i) {
                ASSERT_EQ(x[i], Sat16(a[i] + static_cast<long long>(k)));
                ASSERT_EQ(y[i], Sat16(a[i] - static_cast<long long>(k)));
                ASSERT_EQ(z[i], Sat16(a[i] * static_cast<long long>(k)));
                ASSERT_EQ(p[i], x[i]);
                ASSERT_EQ(q[i], y[i]);
                ASSERT_EQ(r[i], z[i]);
            }
        }
    }
}

TEST(VecInt16, ArithmeticUsesTheTargetsView) {
    VecInt16 t(10), o(10);
    for (int i = 0; i < 10; ++i) {
        t[i] = static_cast<short>(i);
        o[i] = 100;
    }
    t.Truncate(2, 3);
    t.Add(o);
    t.Resize(10);
    const short expect[] = {0, 1, 102, 103, 104, 5, 6, 7, 8, 9};
    for (int i = 0; i < 10; ++i)
        EXPECT_EQ(t[i], expect[i]);
}

TEST(VecInt16, ShortOperandIsRefused) {
    VecInt16 t = RandomInt16(10, 7);
    const VecInt16 before(t);
    const VecInt16 shorter = RandomInt16(9, 8);
    EXPECT_EQ(CodeOf([&] { t.Add(shorter); }), KIVO_INVALID_INPUT_PARAMETER);
    EXPECT_EQ(CodeOf([&] { t -= shorter; }), KIVO_INVALID_INPUT_PARAMETER);
    EXPECT_EQ(CodeOf([&] { t.Mul(shorter); }), KIVO_INVALID_INPUT_PARAMETER);
    EXPECT_TRUE(t.IsEqual(before, 0));
}

TEST(VecInt16, StatisticsMatchSlowReference) {
    for (int n : kLengths) {
        VecInt16 v = RandomInt16(n, 40u + n);
        if (n >= 7) {  // repeated extremes: ties must give the first index
            v[1] = v[5] = SHRT_MIN;
            v[3] = v[6] = SHRT_MAX;
        }
        long long exact = 0;
        short mx = 0, mn = 0;
        int imx = 0, imn = 0;
        for (int i = 0; i < n; ++i) {
            exact += v[i];
            if (i == 0 || v[i] > mx) {  // strictly greater: the first of equal maxima stays
                mx = v[i];
                imx = i;
            }
            if (i == 0 || v[i] < mn) {
                mn = v[i];
                imn = i;
            }
        }
        short value = 99;
        int index = -7;
        if (n == 0) {
            EXPECT_EQ(v.Sum(), 0);
            EXPECT_EQ(v.Max(), 0);
            EXPECT_EQ(v.Min(), 0);
            v.Max(value, index);
            EXPECT_EQ(value, 99);
            EXPECT_EQ(index, -7);
            continue;
        }
        EXPECT_EQ(v.Sum(), Sat16(exact)) << n;
        EXPECT_EQ(v.Max(), mx);
        EXPECT_EQ(v.Min(), mn);
        v.Max(value, index);
        EXPECT_EQ(value, mx);
        EXPECT_EQ(index, imx);
        v.Min(value, index);
        EXPECT_EQ(value, mn);
        EXPECT_EQ(index, imn);
        if (n >= 7) {
            EXPECT_EQ(imn, 1);
            EXPECT_EQ(imx, 3);
        }
    }
}

TEST(VecInt16, SumSaturatesToSixteenBits) {
    const short a[] = {30000, 30000, -30000};
    VecInt16 v;
    v.Import(a, 3);
    EXPECT_EQ(v.Sum(), 30000) << "the sum saturates once, at the end";
    v.Import(a, 2);
    EXPECT_EQ(v.Sum(), 32767);
    const short b[] = {-20000, -20000, -20000};
    v.Import(b, 3);
    EXPECT_EQ(v.Sum(), -32768);
}

// ---------------------------------------------------------------------------------------------
// VecInt32: the inert members, Mul by a constant, statistics

TEST(VecInt32, AddLeavesTheTargetUnchangedAndMulTriples) {
    VecInt32 v(5);
    for (int i = 0; i < 5; ++i)
        v[i] = i * 10 - 20;
    const VecInt32 before(v);
    VecInt32 other(5);
    for (int i = 0; i < 5; ++i)
        other[i] = 1000 + i;

    v.Add(other);
    EXPECT_TRUE(v.IsEqual(before, 0));
    v.Sub(other);
    v.Mul(other);
    v.Add(7);
    v.Sub(7);
    EXPECT_EQ(&(v += other), &v);
    EXPECT_EQ(&(v -= other), &v);
    EXPECT_EQ(&(v *= other), &v);
    EXPECT_EQ(&(v += 7), &v);
    EXPECT_EQ(&(v -= 7), &v);
    EXPECT_TRUE(v.IsEqual(before, 0)) << "the inert members must not act";

    // Import and Export are inert too: neither the vector nor the caller's array moves.
    int raw[5] = {9, 9, 9, 9, 9};
    v.Import(raw, 5);
    EXPECT_TRUE(v.IsEqual(before, 0));
    v.Import(raw, 500);
    EXPECT_EQ(v.GetSize(), 5);
    v.Export(raw, 5);
    for (int x : raw)
        EXPECT_EQ(x, 9);

    v.Mul(3);
    for (int i = 0; i < 5; ++i)
        EXPECT_EQ(v[i], 3 * before[i]);
    EXPECT_EQ(&(v *= 2), &v);
    for (int i = 0; i < 5; ++i)
        EXPECT_EQ(v[i], 6 * before[i]);
}

TEST(VecInt32, MulByConstantMatchesSlowReference) {
    const int constants[] = {3, -1, 0, 65537, INT_MIN};
    for (int n : kLengths) {
        const VecInt32 a = RandomInt32(n, 50u + n);
        for (int k : constants) {
            VecInt32 v(a);
            v.Mul(k);
            for (int i = 0; i < n; ++i) {
                // Wrapping product, computed independently through 64-bit modular arithmetic.
                const long long p = static_cast<long long>(a[i]) * k;
                const unsigned long long m = static_cast<unsigned long long>(p) & 0xFFFFFFFFull;
                const long long wrapped = m >= 0x80000000ull
                                              ? static_cast<long long>(m) - 0x100000000ll
                                              : static_cast<long long>(m);
                ASSERT_EQ(v[i], wrapped) << "n=" << n << " k=" << k;
            }
        }
    }
}

TEST(VecInt32, StatisticsMatchSlowReference) {
    for (int n : kLengths) {
        VecInt32 v = RandomInt32(n, 60u + n);
        if (n >= 7) {
            v[2] = v[4] = INT_MAX;
            v[0] = v[6] = INT_MIN;
        }
        if (n == 0) {
            EXPECT_EQ(v.Sum(), 0);
            EXPECT_EQ(v.Max(), 0);
            int value = 5, index = 5;
            v.Min(value, index);
            EXPECT_EQ(value, 5);
            EXPECT_EQ(index, 5);
            continue;
        }
        std::vector<int> copy(&v[0], &v[0] + n);
        const auto mx = std::max_element(copy.begin(), copy.end());  // first of the largest
        const auto mn = std::min_element(copy.begin(), copy.end());  // first of the smallest
        long long exact = 0;
        for (int x : copy)
            exact += x;
        const long long sat = std::clamp<long long>(exact, INT_MIN, INT_MAX);
        EXPECT_EQ(v.Sum(), sat);
        EXPECT_EQ(v.Max(), *mx);
        EXPECT_EQ(v.Min(), *mn);
        int value = 0, index = -1;
        v.Max(value, index);
        EXPECT_EQ(value, *mx);
        EXPECT_EQ(index, mx - copy.begin());
        v.Min(value, index);
        EXPECT_EQ(value, *mn);
        EXPECT_EQ(index, mn - copy.begin());
    }
    VecInt32 big(3);
    big[0] = big[1] = INT_MAX;
    big[2] = -5;
    EXPECT_EQ(big.Sum(), INT_MAX);
    big[0] = big[1] = INT_MIN;
    EXPECT_EQ(big.Sum(), INT_MIN);
}

// ---------------------------------------------------------------------------------------------
// Comparison

TEST(IntVectors, IsEqualTolerancePrintsTheFirstMismatch) {
    VecInt16 a(3), b(3);
    for (int i = 0; i < 3; ++i)
        a[i] = b[i] = static_cast<short>(i);
    b[1] = 4;
    b[2] = 100;
    EXPECT_TRUE(a.IsEqual(a, 0));
    CaptureStdout();
    EXPECT_FALSE(a.IsEqual(b, 2));
    EXPECT_EQ(GetCapturedStdout(), "\n==>>1, Expected 4<<==");
    CaptureStdout();
    EXPECT_FALSE(a.IsEqual(b, 3));  // 1 vs 4 passes, 2 vs 100 fails
    EXPECT_EQ(GetCapturedStdout(), "\n==>>2, Expected 100<<==");
    EXPECT_TRUE(a.IsEqual(b, 98));

    VecInt16 e1, e2;
    EXPECT_TRUE(e1.IsEqual(e2, 0));
    CaptureStdout();
    EXPECT_FALSE(a.IsEqual(e1, 1000)) << "lengths differ";
    EXPECT_EQ(GetCapturedStdout(), "") << "a length mismatch prints nothing";

    VecInt32 x(1), y(1);
    x[0] = INT_MIN;
    y[0] = INT_MAX;  // the difference needs 33 bits
    CaptureStdout();
    EXPECT_FALSE(x.IsEqual(y, INT_MAX));
    EXPECT_EQ(GetCapturedStdout(), "\n==>>-2147483648, Expected 2147483647<<==");

    VecUInt32 u(2), w(2);
    u[0] = w[0] = 7;
    u[1] = 4294967295u;
    w[1] = 0;
    CaptureStdout();
    EXPECT_FALSE(u.IsEqual(w, INT_MAX));
    EXPECT_EQ(GetCapturedStdout(), "\n==>>4294967295, Expected 0<<==");
    w[1] = 4294967290u;
    EXPECT_TRUE(u.IsEqual(w, 5));
}

// ---------------------------------------------------------------------------------------------
// Dumps and text imports

TEST(IntVectors, DumpToStandardOutput) {
    VecInt16 five(5), four(4);
    for (int i = 0; i < 5; ++i)
        five[i] = static_cast<short>(-i);
    for (int i = 0; i < 4; ++i)
        four[i] = static_cast<short>(10 * i);
    CaptureStdout();
    five.Dump(2);
    EXPECT_EQ(GetCapturedStdout(),
              "\n [ 0]= 0\n [ 1]= -1\n.................\n [ 3]= -3\n [ 4]= -4");
    CaptureStdout();
    four.Dump(2);
    EXPECT_EQ(GetCapturedStdout(), "\n [ 0]= 0\n [ 1]= 10\n [ 2]= 20\n [ 3]= 30");

    VecInt32 one(1);
    one[0] = -7;
    CaptureStdout();
    one.Dump(1);
    EXPECT_EQ(GetCapturedStdout(), "\n [ 0]= -7");
    CaptureStdout();
    one.Dump(0);  // more than 2 * 0 elements: no element on either side of the dots
    EXPECT_EQ(GetCapturedStdout(), "\n.................");
    VecUInt32 u(1);
    u[0] = 4000000000u;
    CaptureStdout();
    u.Dump(3);
    EXPECT_EQ(GetCapturedStdout(), "\n [ 0]= 4000000000");

    VecInt16 empty;
    CaptureStdout();
    empty.Dump(2);
    EXPECT_EQ(GetCapturedStdout(), "");
}

TEST(IntVectors, DumpFileAndTextImportRoundTrip) {
    for (int n : kLengths) {
        const VecInt16 a = RandomInt16(n, 70u + n);
        CaptureStdout();
        a.Dump("int16.txt", true);
        EXPECT_EQ(GetCapturedStdout(), "\n====int16.txt saved");
        if (n > 0) {
            const std::string text = ReadFile("int16.txt");
            char first[64];
            std::snprintf(first, sizeof first, "%10d        %d\n", 0, a[0]);
            EXPECT_EQ(text.substr(0, std::string(first).size()), first);
        }
        // The dump holds index and value per line; keep the values only for the import.
        std::ifstream in("int16.txt");
        std::string values;
        long long idx = 0, val = 0;
        while (in >> idx >> val)
            values += std::to_string(val) + "\n";
        WriteFile("int16-values.txt", values);
        VecInt16 b(5);
        b.Import("int16-values.txt", false);
        ASSERT_EQ(b.GetSize(), n);
        EXPECT_TRUE(b.IsEqual(a, 0));
        b.Resize(5);  // a zero-length vector keeps its buffer: give it back on destruction
    }

    const VecInt32 c = RandomInt32(33, 80);
    c.Dump("int32.txt", false);
    std::ifstream in("int32.txt");
    long long idx = 0, val = 0;
    int count = 0;
    while (in >> idx >> val) {
        EXPECT_EQ(idx, count);
        EXPECT_EQ(val, c[count]);
        ++count;
    }
    EXPECT_EQ(count, 33);

    WriteFile("int32-values.txt", "  -2147483648 2147483647\n0x10\t-12\n\n 010 ");
    VecInt32 d;
    CaptureStdout();
    d.Import("int32-values.txt", true);
    EXPECT_EQ(GetCapturedStdout(), "\n====int32-values.txt loaded");
    ASSERT_EQ(d.GetSize(), 5);
    EXPECT_EQ(d[0], INT_MIN);
    EXPECT_EQ(d[1], INT_MAX);
    EXPECT_EQ(d[2], 16);
    EXPECT_EQ(d[3], -12);
    EXPECT_EQ(d[4], 8);

    VecUInt32 u(2);
    u[0] = 4294967295u;
    u[1] = 12;
    u.Dump("uint32.txt", false);
    EXPECT_EQ(ReadFile("uint32.txt"), "         0        4294967295\n         1        12\n");
    WriteFile("uint32-values.txt", "4294967295 0 12");
    VecUInt32 v;
    v.Import("uint32-values.txt", false);
    ASSERT_EQ(v.GetSize(), 3);
    EXPECT_EQ(v[0], 4294967295u);
    EXPECT_EQ(v[2], 12u);

    VecInt16 e(4);
    e[0] = 1;
    e.Resize(4);
    WriteFile("empty.txt", "  \n");
    e.Import("empty.txt", false);
    EXPECT_EQ(e.GetSize(), 0);
    e.Resize(1);  // give the buffer back on destruction
}

TEST(IntVectors, FileErrors) {
    const char* missing = "no-such-dir/x.txt";
    VecInt16 a(2);
    a[0] = a[1] = 0;
    VecInt32 b(1);
    b[0] = 0;
    VecUInt32 c(1);
    c[0] = 0;
    EXPECT_EQ(CodeOf([&] { a.Dump(missing, false); }), KIVO_FILE_OPEN_ERROR);
    EXPECT_EQ(CodeOf([&] { b.Dump(missing, false); }), KIVO_FILE_OPEN_ERROR);
    EXPECT_EQ(CodeOf([&] { c.Dump(missing, false); }), KIVO_FILE_OPEN_ERROR);
    EXPECT_EQ(CodeOf([&] { a.Import(missing, false); }), KIVO_FILE_OPEN_ERROR);
    EXPECT_EQ(CodeOf([&] { b.Import(missing, false); }), KIVO_FILE_OPEN_ERROR);
    EXPECT_EQ(CodeOf([&] { c.Import(missing, false); }), KIVO_FILE_OPEN_ERROR);

    WriteFile("bad-token.txt", "1 2 three 4");
    WriteFile("too-big16.txt", "1 32768");
    WriteFile("too-small16.txt", "-32769");
    WriteFile("too-big32.txt", "2147483648");
    WriteFile("negative.txt", "5 -1");
    WriteFile("float.txt", "1.5");
    EXPECT_EQ(CodeOf([&] { a.Import("bad-token.txt", false); }), KIVO_FILE_READ_ERROR);
    EXPECT_EQ(CodeOf([&] { a.Import("too-big16.txt", false); }), KIVO_FILE_READ_ERROR);
    EXPECT_EQ(CodeOf([&] { a.Import("too-small16.txt", false); }), KIVO_FILE_READ_ERROR);
    EXPECT_EQ(CodeOf([&] { a.Import("float.txt", false); }), KIVO_FILE_READ_ERROR);
    EXPECT_EQ(CodeOf([&] { b.Import("too-big32.txt", false); }), KIVO_FILE_READ_ERROR);
    EXPECT_EQ(CodeOf([&] { c.Import("negative.txt", false); }), KIVO_FILE_READ_ERROR);
    EXPECT_EQ(a.GetSize(), 2) << "a failed read leaves the vector alone";

    try {
        a.Dump(missing, false);
        FAIL() << "no exception";
    } catch (const KivoException& e) {
        EXPECT_STREQ(e.message, "error opening file");
        EXPECT_STREQ(e.file, "src/math/IntVector");
    }
}

// ---------------------------------------------------------------------------------------------
// Allocation failure

TEST(IntVectors, AllocationFailureThrows8000WithoutAReport) {
    std::remove("KivoMemoryAllocError.txt");
    auto check = [](auto&& make) {
        try {
            kernels::ScopedAllocFailure fail;
            make();
            ADD_FAILURE() << "no exception";
        } catch (const KivoException& e) {
            EXPECT_EQ(e.code, KIVO_MEMORY_ALLOC_ERROR);
            EXPECT_STREQ(e.message, "memory allocation error");
            EXPECT_STREQ(e.file, "src/math/IntVector");
            EXPECT_GT(e.line, 0);
        }
    };
    check([] { VecInt16 v(1000000); });
    check([] { VecInt32 v(1000000); });
    check([] { VecUInt8 v(1000000); });
    check([] { VecUInt32 v(1000000); });
    const VecInt16 src = RandomInt16(10, 1);
    check([&] { VecInt16 c(src); });
    check([&] {
        VecInt16 t;
        t = src;
    });
    EXPECT_FALSE(FileExists("KivoMemoryAllocError.txt"))
        << "integer vectors write no memory report";

    // Zero elements allocate nothing, so they cannot fail.
    {
        kernels::ScopedAllocFailure fail;
        VecInt16 a(0);
        VecInt32 b(0);
        VecUInt8 c(0);
        VecUInt32 d(0);
        EXPECT_EQ(a.GetSize() + b.GetSize() + c.GetSize() + d.GetSize(), 0);
    }

    // A negative length reaches the allocator, which refuses it.
    EXPECT_EQ(CodeOf([] { VecInt16 v(-1); }), KIVO_MEMORY_ALLOC_ERROR);

    // Growth that fails leaves the vector empty, its old buffer already released.
    VecInt16 g = RandomInt16(4, 2);
    std::vector<short> longer(10, 1);
    {
        kernels::ScopedAllocFailure fail;
        EXPECT_EQ(CodeOf([&] { g.Import(longer.data(), 10); }), KIVO_MEMORY_ALLOC_ERROR);
    }
    EXPECT_EQ(g.GetSize(), 0);
    EXPECT_EQ(g.GetCapacity(), 0);
    // Within capacity nothing is allocated, so a failing allocator does not matter.
    VecInt16 h = RandomInt16(20, 3);
    {
        kernels::ScopedAllocFailure fail;
        h.Import(longer.data(), 10);
    }
    EXPECT_EQ(h.GetSize(), 10);
}

TEST(IntVectors, ArithmeticAllocatesNothing) {
    VecInt16 a = RandomInt16(1000, 1);
    const VecInt16 b = RandomInt16(1000, 2);
    VecInt32 c = RandomInt32(1000, 3);
    const long long before = kernels::AllocationCount();
    a += b;
    a -= b;
    a *= b;
    a += static_cast<short>(3);
    a *= static_cast<short>(3);
    c *= 3;
    short v = 0;
    int i = 0;
    a.Max(v, i);
    (void)a.Sum();
    (void)c.Sum();
    EXPECT_EQ(kernels::AllocationCount(), before);
}

// ---------------------------------------------------------------------------------------------
// Self-tests

TEST(IntVectors, UnitTestsPass) {
    UnitTestRecorder r;
    CaptureStdout();
    const bool a = VecInt16::UnitTest(r);
    const bool b = VecInt32::UnitTest(r);
    const bool c = VecUInt8::UnitTest(r);
    const bool d = VecUInt32::UnitTest(r);
    const std::string out = GetCapturedStdout();
    EXPECT_TRUE(a && b && c && d) << out;
}
