// Vector files (Store/Load) and text-file import of the four float vector classes: the header
// byte for byte, every error in its order of checks, malformed files, and files exchanged with
// an independent numpy implementation (tests/data/vector_files.py).
#include <gtest/gtest.h>

#include <ombrel/math/KivoException.h>
#include <ombrel/math/Vector.h>

#include "kernels/Allocator.h"
#include "support/TestUtil.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

using namespace Kivo;

namespace {

// A vector whose length is 0 keeps its buffer when destroyed (the storage template's release
// rule); tests that end with such a vector give the buffer back the documented way.
template <class V>
void ReleaseBuffer(V& v) {
    v.Resize(v.GetCapacity());
}

using ombrel_test::Catch;

std::vector<unsigned char> ReadBytes(const char* path) {
    std::ifstream f(path, std::ios::binary);
    return std::vector<unsigned char>(std::istreambuf_iterator<char>(f),
                                      std::istreambuf_iterator<char>());
}
void WriteBytes(const char* path, const std::vector<unsigned char>& b) {
    std::ofstream f(path, std::ios::binary | std::ios::trunc);
    f.write(reinterpret_cast<const char*>(b.data()), static_cast<std::streamsize>(b.size()));
}
void WriteText(const char* path, const char* text) {
    std::ofstream f(path, std::ios::trunc);
    f << text;
}
std::uint32_t U32(const std::vector<unsigned char>& b, size_t at) {
    return b[at] | b[at + 1] << 8 | b[at + 2] << 16 | static_cast<std::uint32_t>(b[at + 3]) << 24;
}
void PutU32(std::vector<unsigned char>& b, size_t at, std::uint32_t v) {
    for (int i = 0; i < 4; ++i)
        b[at + i] = static_cast<unsigned char>(v >> (8 * i));
}
float F32(const std::vector<unsigned char>& b, size_t at) {
    const std::uint32_t u = U32(b, at);
    float f;
    std::memcpy(&f, &u, 4);
    return f;
}

int OpenDescriptors() {
    int n = 0;
    for (auto& e : std::filesystem::directory_iterator("/proc/self/fd")) {
        (void)e;
        ++n;
    }
    return n;
}

// The element values that tests/data/vector_files.py uses.
double Re(int k) {
    return ((37LL * k) % 1001 - 500) / 8.0;
}
double Im(int k) {
    return ((53LL * k) % 997 - 498) / 16.0;
}

int RunPython(const std::string& args) {
    const std::string cmd =
        std::string(OMBREL_PYTHON) + " " + OMBREL_TEST_DATA_DIR "/vector_files.py " + args;
    return std::system(cmd.c_str());
}

}  // namespace

// ---- layout ---------------------------------------------------------------------------------

TEST(VectorFile, HeaderByteForByte) {
    VecCplx32 v(3);
    v[0] = {1, 2};
    v[1] = {3, 4};
    v[2] = {5, 6};
    v.Store("c32.bin", 1.5f, -2.0f, 1e6f);
    const auto b = ReadBytes("c32.bin");
    ASSERT_EQ(b.size(), 132u);  // 108 + 3 * 8
    const char desc[] = "VecCplx32, length=3";
    EXPECT_EQ(std::memcmp(b.data(), desc, sizeof desc - 1), 0);
    for (size_t i = sizeof desc - 1; i < 64; ++i)
        EXPECT_EQ(b[i], 0) << i;
    EXPECT_EQ(b[64], 0x1A);
    EXPECT_EQ(b[65], 0);
    EXPECT_EQ(b[66], 0);
    EXPECT_EQ(b[67], 0);
    EXPECT_EQ(U32(b, 68), 1u);
    EXPECT_EQ(U32(b, 72), 102u);
    EXPECT_EQ(U32(b, 76), 3u);
    EXPECT_EQ(F32(b, 80), 1.5f);
    EXPECT_EQ(F32(b, 84), -2.0f);
    EXPECT_EQ(F32(b, 88), 1e6f);
    for (size_t i = 92; i < 108; ++i)
        EXPECT_EQ(b[i], 0) << i;
    for (int i = 0; i < 6; ++i)
        EXPECT_EQ(F32(b, 108 + 4 * i), static_cast<float>(i + 1));
    // Without parameters the field is zero.
    v.Store("c32.bin");
    const auto c = ReadBytes("c32.bin");
    for (size_t i = 80; i < 92; ++i)
        EXPECT_EQ(c[i], 0) << i;
}

TEST(VectorFile, TypeCodesAndDescriptions) {
    VecReal32 a(2);
    VecReal64 b(3);
    VecCplx64 c(1);
    a.SetZero();
    b.SetZero();
    c.SetZero();
    a.Store("a.bin");
    b.Store("b.bin");
    c.Store("c.bin");
    const auto fa = ReadBytes("a.bin"), fb = ReadBytes("b.bin"), fc = ReadBytes("c.bin");
    EXPECT_EQ(fa.size(), 108u + 8);
    EXPECT_EQ(fb.size(), 108u + 24);
    EXPECT_EQ(fc.size(), 108u + 16);
    EXPECT_EQ(U32(fa, 72), 103u);
    EXPECT_EQ(U32(fb, 72), 101u);
    EXPECT_EQ(U32(fc, 72), 100u);
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(fa.data())), "VecReal32, length=2");
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(fb.data())), "VecReal64, length=3");
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(fc.data())), "VecCplx64, length=1");
}

TEST(VectorFile, EmptyVectorStoresOnlyTheHeaderAndLoadsBackEmpty) {
    VecReal32 empty;
    empty.Store("empty.bin");
    const auto b = ReadBytes("empty.bin");
    ASSERT_EQ(b.size(), 108u);
    EXPECT_EQ(U32(b, 76), 0u);
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(b.data())), "VecReal32, length=0");
    VecReal32 v(5);
    v.Load("empty.bin");
    EXPECT_EQ(v.GetSize(), 0);
    EXPECT_EQ(v.GetCapacity(), 5);  // the buffer is reused, as Resize does
    ReleaseBuffer(v);
}

TEST(VectorFile, NarrowedVectorStoresItsView) {
    VecReal64 v(6);
    for (int k = 0; k < 6; ++k)
        v[k] = k;
    v.Truncate(2, 3);
    v.Store("view.bin");
    VecReal64 w;
    w.Load("view.bin");
    ASSERT_EQ(w.GetSize(), 3);
    EXPECT_EQ(w[0], 2.0);
    EXPECT_EQ(w[2], 4.0);
}

TEST(VectorFile, RoundTripAllClasses) {
    VecReal32 a(1000);
    VecReal64 b(777);
    VecCplx32 c(513);
    VecCplx64 d(65);
    for (int k = 0; k < 1000; ++k)
        a[k] = static_cast<float>(Re(k)) * 1.1f;
    for (int k = 0; k < 777; ++k)
        b[k] = Re(k) / 7.0;
    for (int k = 0; k < 513; ++k)
        c[k] = {static_cast<float>(Re(k)), static_cast<float>(Im(k))};
    for (int k = 0; k < 65; ++k)
        d[k] = {Re(k) / 3.0, -Im(k) / 9.0};
    a.Store("a.bin");
    b.Store("b.bin");
    c.Store("c.bin");
    d.Store("d.bin");
    VecReal32 a2;
    VecReal64 b2(2000);
    VecCplx32 c2(1);
    VecCplx64 d2;
    a2.Load("a.bin");
    b2.Load("b.bin");
    c2.Load("c.bin");
    d2.Load("d.bin");
    EXPECT_TRUE(a2.IsEqual(a, 0.0f));
    EXPECT_TRUE(b2.IsEqual(b, 0.0f));
    EXPECT_EQ(b2.GetCapacity(), 2000);
    EXPECT_TRUE(c2.IsEqual(c, 0.0f));
    EXPECT_EQ(c2.GetCapacity(), 513);
    EXPECT_TRUE(d2.IsEqual(d, 0.0f));
}

TEST(VectorFile, LoadWithParameters) {
    VecCplx32 v(2);
    v[0] = {1, -1};
    v[1] = {2, -2};
    v.Store("p.bin", 0.25f, 100.0f, -3.0f);
    VecCplx32 w;
    int length = -1;
    float p1 = 0, p2 = 0, p3 = 0;
    w.Load("p.bin", length, p1, p2, p3);
    EXPECT_EQ(length, 2);
    EXPECT_EQ(p1, 0.25f);
    EXPECT_EQ(p2, 100.0f);
    EXPECT_EQ(p3, -3.0f);
    EXPECT_TRUE(w.IsEqual(v, 0.0f));
    v.Store("p0.bin");
    w.Load("p0.bin", length, p1, p2, p3);
    EXPECT_EQ(p1, 0.0f);
    EXPECT_EQ(p3, 0.0f);
}

TEST(VectorFile, PartialLoad) {
    VecCplx32 v(10);
    for (int k = 0; k < 10; ++k)
        v[k] = {static_cast<float>(k), static_cast<float>(-k)};
    v.Store("part.bin");
    VecCplx32 w(100);
    w.Load("part.bin", 3, 4);
    ASSERT_EQ(w.GetSize(), 4);
    EXPECT_EQ(w.GetCapacity(), 100);
    EXPECT_EQ(w[0].re, 3.0f);
    EXPECT_EQ(w[3].im, -6.0f);
    w.Load("part.bin", 0, 10);
    EXPECT_TRUE(w.IsEqual(v, 0.0f));
    w.Load("part.bin", 10, 0);
    EXPECT_EQ(w.GetSize(), 0);
    w.Load("part.bin", 9, 1);
    EXPECT_EQ(w[0].re, 9.0f);
    // Outside the stored vector: read error, vector untouched.
    EXPECT_EQ(Catch([&] { w.Load("part.bin", 8, 3); }).code, 8025);
    EXPECT_EQ(Catch([&] { w.Load("part.bin", -1, 2); }).code, 8025);
    EXPECT_EQ(Catch([&] { w.Load("part.bin", 2, -1); }).code, 8025);
    EXPECT_EQ(Catch([&] { w.Load("part.bin", 2147483647, 2147483647); }).code, 8025);
    EXPECT_EQ(w.GetSize(), 1);
    EXPECT_EQ(w[0].re, 9.0f);
    // The same header checks as a whole load.
    VecReal32 r(2);
    r.Store("r.bin");
    EXPECT_EQ(Catch([&] { w.Load("r.bin", 0, 1); }).code, 8028);
    EXPECT_EQ(Catch([&] { w.Load("missing.bin", 0, 1); }).code, 8024);
}

// ---- errors, in their order of checks ---------------------------------------------------------

TEST(VectorFile, MissingFileThrows8024) {
    VecReal32 v;
    const KivoException e = Catch([&] { v.Load("does-not-exist.bin"); });
    EXPECT_EQ(e.code, 8024);
    EXPECT_STREQ(e.message, "error opening file");
    EXPECT_NE(std::strstr(e.file, "src/math/VectorStorage"), nullptr);
    VecCplx32 c;
    int n;
    float p;
    EXPECT_EQ(Catch([&] { c.Load("does-not-exist.bin", n, p, p, p); }).code, 8024);
    EXPECT_EQ(Catch([&] { v.Store("no/such/dir/v.bin"); }).code, 8024);
    EXPECT_EQ(Catch([&] { c.Store("no/such/dir/v.bin", 1, 2, 3); }).code, 8024);
    EXPECT_EQ(Catch([&] { v.Load(nullptr); }).code, 8024);
}

TEST(VectorFile, WrongTypeThrows8028) {
    VecReal64 d(4);
    d.SetZero();
    d.Store("r64.bin");
    VecReal32 f = VecReal32(2);
    f.SetZero();
    const KivoException e = Catch([&] { f.Load("r64.bin"); });
    EXPECT_EQ(e.code, 8028);
    EXPECT_STREQ(e.message, "file type error");
    EXPECT_NE(std::strstr(e.file, "src/math/VectorStorage"), nullptr);
    EXPECT_EQ(f.GetSize(), 2);  // nothing changed
    VecCplx32 c;
    VecCplx64 z;
    EXPECT_EQ(Catch([&] { c.Load("r64.bin"); }).code, 8028);
    EXPECT_EQ(Catch([&] { z.Load("r64.bin"); }).code, 8028);
    f.Store("r32.bin");
    VecReal64 g;
    EXPECT_EQ(Catch([&] { g.Load("r32.bin"); }).code, 8028);
}

TEST(VectorFile, WrongVersionThrows8027BeforeTheTypeIsLookedAt) {
    VecReal64 d(2);
    d.SetZero();
    d.Store("v2.bin");
    auto b = ReadBytes("v2.bin");
    PutU32(b, 68, 2);
    WriteBytes("v2.bin", b);
    VecReal32 wrongClass;
    VecReal64 rightClass;
    const KivoException e = Catch([&] { wrongClass.Load("v2.bin"); });
    EXPECT_EQ(e.code, 8027);
    EXPECT_STREQ(e.message, "file version error");
    EXPECT_EQ(Catch([&] { rightClass.Load("v2.bin"); }).code, 8027);
    PutU32(b, 68, 0);
    WriteBytes("v0.bin", b);
    EXPECT_EQ(Catch([&] { rightClass.Load("v0.bin"); }).code, 8027);
}

TEST(VectorFile, ShortHeaderThrows8025) {
    VecReal32 v(4);
    v.SetZero();
    v.Store("full.bin");
    const auto b = ReadBytes("full.bin");
    for (size_t len : {0u, 1u, 50u, 107u}) {
        WriteBytes("short.bin", std::vector<unsigned char>(b.begin(), b.begin() + len));
        const KivoException e = Catch([&] { v.Load("short.bin"); });
        EXPECT_EQ(e.code, 8025) << len;
        EXPECT_STREQ(e.message, "error reading file");
    }
}

TEST(VectorFile, TruncatedElementsThrow8025WithoutAllocating) {
    VecCplx64 v(10);
    v.SetZero();
    v.Store("c64.bin");
    auto b = ReadBytes("c64.bin");
    b.resize(108 + 9 * 16 + 8);  // nine and a half elements
    WriteBytes("trunc.bin", b);
    VecCplx64 w;
    const long long before = kernels::AllocationCount();
    EXPECT_EQ(Catch([&] { w.Load("trunc.bin"); }).code, 8025);
    EXPECT_EQ(kernels::AllocationCount(), before);
    EXPECT_EQ(w.GetSize(), 0);
    EXPECT_EQ(w.GetCapacity(), 0);
}

// A length field far beyond the file must neither allocate for it nor read past the data.
TEST(VectorFile, HugeClaimedLengthThrows8025WithoutAllocating) {
    VecReal32 v(1);
    v[0] = 1.0f;
    v.Store("one.bin");
    auto b = ReadBytes("one.bin");
    for (std::uint32_t claimed : {2u, 0x10000000u, 0x7FFFFFFFu}) {
        PutU32(b, 76, claimed);
        WriteBytes("huge.bin", b);
        VecReal32 w(3);
        w[0] = 42.0f;
        const long long before = kernels::AllocationCount();
        {
            // Any allocation attempt would fail here and report 8000 instead.
            kernels::ScopedAllocFailure fail;
            EXPECT_EQ(Catch([&] { w.Load("huge.bin"); }).code, 8025) << claimed;
        }
        EXPECT_EQ(kernels::AllocationCount(), before);
        EXPECT_EQ(w.GetSize(), 3);
        EXPECT_EQ(w[0], 42.0f);
    }
    // Negative lengths are malformed too.
    PutU32(b, 76, 0xFFFFFFFFu);
    WriteBytes("neg.bin", b);
    VecReal32 w;
    EXPECT_EQ(Catch([&] { w.Load("neg.bin"); }).code, 8025);
    EXPECT_EQ(w.GetSize(), 0);
}

TEST(VectorFile, TrailingBytesAreIgnored) {
    VecReal32 v(2);
    v[0] = 1;
    v[1] = 2;
    v.Store("t.bin");
    auto b = ReadBytes("t.bin");
    b.push_back(0xAB);
    b.push_back(0xCD);
    WriteBytes("t.bin", b);
    VecReal32 w;
    w.Load("t.bin");
    ASSERT_EQ(w.GetSize(), 2);
    EXPECT_EQ(w[1], 2.0f);
}

TEST(VectorFile, AlteredDescriptionLoadsNormally) {
    VecReal64 v(2);
    v[0] = 0.5;
    v[1] = -8;
    v.Store("desc.bin");
    auto b = ReadBytes("desc.bin");
    const char other[] = "something else entirely, length=999";
    std::memcpy(b.data(), other, sizeof other);
    b[64] = 'X';                            // no end-of-text mark either
    b[65] = b[66] = b[67] = b[107] = 0xFF;  // unwritten bytes
    WriteBytes("desc.bin", b);
    VecReal64 w;
    w.Load("desc.bin");
    EXPECT_TRUE(w.IsEqual(v, 0.0f));
}

TEST(VectorFile, WriteFailureThrows8026) {
    if (access("/dev/full", W_OK) != 0) GTEST_SKIP() << "no /dev/full";
    VecReal32 v(100000);
    v.SetZero();
    const KivoException e = Catch([&] { v.Store("/dev/full"); });
    EXPECT_EQ(e.code, 8026);
    EXPECT_STREQ(e.message, "error writing file");
    VecReal32 empty;
    EXPECT_EQ(Catch([&] { empty.Store("/dev/full"); }).code, 8026);
}

TEST(VectorFile, FailuresLeaveNoFileOpen) {
    VecReal64 d(2);
    d.SetZero();
    d.Store("d.bin");
    auto b = ReadBytes("d.bin");
    PutU32(b, 68, 7);
    WriteBytes("ver.bin", b);
    WriteBytes("short.bin", std::vector<unsigned char>(b.begin(), b.begin() + 20));
    const int before = OpenDescriptors();
    VecReal32 f;
    VecReal64 g;
    for (int i = 0; i < 10; ++i) {
        EXPECT_EQ(Catch([&] { f.Load("d.bin"); }).code, 8028);
        EXPECT_EQ(Catch([&] { g.Load("ver.bin"); }).code, 8027);
        EXPECT_EQ(Catch([&] { g.Load("short.bin"); }).code, 8025);
    }
    EXPECT_EQ(OpenDescriptors(), before);
}

// A pipe cannot be measured beforehand: the reader takes what arrives and still refuses a short
// one.
TEST(VectorFile, LoadFromAPipe) {
    VecCplx32 v(300);
    for (int k = 0; k < 300; ++k)
        v[k] = {static_cast<float>(k), 1.0f};
    v.Store("src.bin");
    const auto bytes = ReadBytes("src.bin");
    std::filesystem::remove("fifo");
    ASSERT_EQ(mkfifo("fifo", 0600), 0);
    for (size_t cut : {bytes.size(), bytes.size() - 5}) {
        std::thread writer([&] {
            std::ofstream f("fifo", std::ios::binary);
            f.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(cut));
        });
        VecCplx32 w;
        const int code = Catch([&] { w.Load("fifo"); }).code;
        writer.join();
        if (cut == bytes.size()) {
            EXPECT_EQ(code, 0);
            EXPECT_TRUE(w.IsEqual(v, 0.0f));
        } else {
            EXPECT_EQ(code, 8025);
        }
    }
    std::thread writer([&] {
        std::ofstream f("fifo", std::ios::binary);
        f.write(reinterpret_cast<const char*>(bytes.data()),
                static_cast<std::streamsize>(bytes.size()));
    });
    VecCplx32 part;
    part.Load("fifo", 200, 3);
    writer.join();
    ASSERT_EQ(part.GetSize(), 3);
    EXPECT_EQ(part[2].re, 202.0f);
    std::filesystem::remove("fifo");
}

// ---- exchange with numpy ------------------------------------------------------------------------

TEST(VectorFile, FilesWrittenHereReadByNumpy) {
    VecReal32 r32(1000);
    VecReal64 r64(777);
    VecCplx32 c32(513);
    VecCplx64 c64(65);
    VecReal32 empty;
    for (int k = 0; k < 1000; ++k)
        r32[k] = static_cast<float>(Re(k));
    for (int k = 0; k < 777; ++k)
        r64[k] = Re(k) / 3.0;
    for (int k = 0; k < 513; ++k)
        c32[k] = {static_cast<float>(Re(k)), static_cast<float>(Im(k))};
    for (int k = 0; k < 65; ++k)
        c64[k] = {Re(k) / 3.0, Im(k) / 3.0};
    r32.Store("r32.bin");
    r64.Store("r64.bin");
    c32.Store("c32.bin", 2.5f, 0.0f, -7.0f);
    c64.Store("c64.bin");
    empty.Store("empty.bin");
    EXPECT_EQ(RunPython("check ."), 0);
}

TEST(VectorFile, FilesWrittenByNumpyReadHere) {
    ASSERT_EQ(RunPython("write ."), 0);
    VecReal32 r32;
    VecReal64 r64;
    VecCplx32 c32;
    VecCplx64 c64;
    VecReal32 empty(4);
    r32.Load("np_r32.bin");
    r64.Load("np_r64.bin");
    int length = 0;
    float p1 = 0, p2 = 0, p3 = 0;
    c32.Load("np_c32.bin", length, p1, p2, p3);
    c64.Load("np_c64.bin");
    empty.Load("np_empty.bin");
    ASSERT_EQ(r32.GetSize(), 1000);
    ASSERT_EQ(r64.GetSize(), 777);
    ASSERT_EQ(c32.GetSize(), 513);
    ASSERT_EQ(c64.GetSize(), 65);
    EXPECT_EQ(empty.GetSize(), 0);
    ReleaseBuffer(empty);
    EXPECT_EQ(length, 513);
    EXPECT_EQ(p1, 1.5f);
    EXPECT_EQ(p2, -0.25f);
    EXPECT_EQ(p3, 1e6f);
    for (int k = 0; k < 1000; ++k)
        ASSERT_EQ(r32[k], static_cast<float>(Re(k))) << k;
    for (int k = 0; k < 777; ++k)
        ASSERT_EQ(r64[k], Re(k) / 3.0) << k;
    for (int k = 0; k < 513; ++k) {
        ASSERT_EQ(c32[k].re, static_cast<float>(Re(k))) << k;
        ASSERT_EQ(c32[k].im, static_cast<float>(Im(k))) << k;
    }
    for (int k = 0; k < 65; ++k) {
        ASSERT_EQ(c64[k].re, Re(k) / 3.0) << k;
        ASSERT_EQ(c64[k].im, Im(k) / 3.0) << k;
    }
    VecCplx32 part;
    part.Load("np_c32.bin", 500, 13);
    ASSERT_EQ(part.GetSize(), 13);
    EXPECT_EQ(part[12].re, static_cast<float>(Re(512)));
}

// ---- text files ---------------------------------------------------------------------------------

TEST(VectorTextFile, RealImport) {
    WriteText("r.txt", "1.5 -2\n3e2\t  0.1\n\n-inf 1e-3");
    VecReal32 v;
    const std::string out = [&] {
        testing::internal::CaptureStdout();
        v.Import("r.txt", true);
        std::fflush(stdout);
        return testing::internal::GetCapturedStdout();
    }();
    EXPECT_EQ(out, "\n====r.txt loaded");
    ASSERT_EQ(v.GetSize(), 6);
    EXPECT_EQ(v[0], 1.5f);
    EXPECT_EQ(v[2], 300.0f);
    EXPECT_EQ(v[3], 0.1f);  // read as float directly: correctly rounded
    EXPECT_TRUE(std::isinf(v[4]) && v[4] < 0);
    VecReal64 d;
    d.Import("r.txt", false);
    ASSERT_EQ(d.GetSize(), 6);
    EXPECT_EQ(d[3], 0.1);
    EXPECT_EQ(d[5], 1e-3);
    WriteText("empty.txt", "  \n");
    d.Import("empty.txt", false);
    EXPECT_EQ(d.GetSize(), 0);
    ReleaseBuffer(d);
}

TEST(VectorTextFile, ComplexImportReadsPairs) {
    WriteText("c.txt", "1 2\n3 4\n-5 0.25\n");
    VecCplx32 c;
    c.Import("c.txt", false);
    ASSERT_EQ(c.GetSize(), 3);
    EXPECT_EQ(c[1].re, 3.0f);
    EXPECT_EQ(c[2].im, 0.25f);
    VecCplx64 z(10);
    z.Import("c.txt", false);
    ASSERT_EQ(z.GetSize(), 3);
    EXPECT_EQ(z.GetCapacity(), 10);
    EXPECT_EQ(z[2].re, -5.0);
    WriteText("odd.txt", "1 2 3");
    EXPECT_EQ(Catch([&] { c.Import("odd.txt", false); }).code, 8025);
    EXPECT_EQ(Catch([&] { z.Import("odd.txt", false); }).code, 8025);
}

TEST(VectorTextFile, RangeImport) {
    WriteText("n.txt", "0 1 2 3 4 5 6");
    VecReal32 v;
    v.Import("n.txt", 2, 3);
    ASSERT_EQ(v.GetSize(), 3);
    EXPECT_EQ(v[0], 2.0f);
    EXPECT_EQ(v[2], 4.0f);
    v.Import("n.txt", 0, 7);
    EXPECT_EQ(v.GetSize(), 7);
    v.Import("n.txt", 7, 0);
    EXPECT_EQ(v.GetSize(), 0);
    EXPECT_EQ(Catch([&] { v.Import("n.txt", 5, 3); }).code, 8025);
    EXPECT_EQ(Catch([&] { v.Import("n.txt", 8, 0); }).code, 8025);
    EXPECT_EQ(Catch([&] { v.Import("n.txt", -1, 2); }).code, 8025);
    EXPECT_EQ(Catch([&] { v.Import("n.txt", 0, -2); }).code, 8025);
    EXPECT_EQ(Catch([&] { v.Import("missing.txt", 0, 1); }).code, 8024);
    ReleaseBuffer(v);
}

TEST(VectorTextFile, Errors) {
    VecReal32 v;
    VecCplx64 c;
    EXPECT_EQ(Catch([&] { v.Import("missing.txt", false); }).code, 8024);
    EXPECT_EQ(Catch([&] { c.Import("missing.txt", false); }).code, 8024);
    WriteText("bad.txt", "1 2 three 4");
    const KivoException e = Catch([&] { v.Import("bad.txt", false); });
    EXPECT_EQ(e.code, 8025);
    EXPECT_STREQ(e.message, "error reading file");
    EXPECT_EQ(Catch([&] { c.Import("bad.txt", false); }).code, 8025);
    const int before = OpenDescriptors();
    for (int i = 0; i < 5; ++i) {
        Catch([&] { v.Import("bad.txt", false); });
        Catch([&] { v.Import("bad.txt", 0, 4); });
    }
    EXPECT_EQ(OpenDescriptors(), before);
}
