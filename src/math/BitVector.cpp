// Bit vector: shape and row table, import and export, byte-wise logic, validation and dumps.
#define KIVO_SOURCE_UNIT "src/math/BitVector"

#include <ombrel/infra/UnitTestRecorder.h>
#include <ombrel/math/BitVector.h>
#include <ombrel/math/IntVector.h>
#include <ombrel/math/KivoException.h>
#include <ombrel/math/Memory.h>

#include "kernels/Allocator.h"
#include "kernels/Error.h"
#include "kernels/IntKernels.h"
#include "kernels/SelfTest.h"

#include <climits>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

namespace Kivo {

namespace {

// Reading past the bits of an operand would be undefined; refuse before anything is written.
void RequireBits(int available, int needed) {
    if (available < needed) KIVO_THROW(KIVO_INVALID_INPUT_PARAMETER);
}

}  // namespace

BitVector::BitVector()
    : data(nullptr),
      rows(nullptr),
      codeLen(0),
      codeWordLen(0),
      bitCount(0),
      buffer(nullptr),
      capacity(0),
      rowCapacity(0) {}

BitVector::BitVector(int codeLen_, int codeWordLen_) : BitVector() {
    Reshape(codeLen_, codeWordLen_);
    Set(0);
}

BitVector::BitVector(const BitVector& other) : BitVector() {
    Reshape(other.codeLen, other.codeWordLen);
    if (bitCount > 0) std::memcpy(data, other.data, static_cast<size_t>(bitCount));
}

BitVector& BitVector::operator=(const BitVector& other) {
    if (this == &other) return *this;
    Reshape(other.codeLen, other.codeWordLen);
    if (bitCount > 0) std::memcpy(data, other.data, static_cast<size_t>(bitCount));
    return *this;
}

BitVector::BitVector(const VecInt16& src, int codeWordLen_) : BitVector() {
    Import(src, codeWordLen_);
}

BitVector::~BitVector() {
    Release();
}

void BitVector::Release() {
    KivoDelete(buffer);
    kernels::AlignedFree(rows);
    data = buffer = nullptr;
    rows = nullptr;
    codeLen = codeWordLen = bitCount = capacity = rowCapacity = 0;
}

void BitVector::Alloc(int n) {
    if (n == 0) return;
    buffer = KivoAllocBit(n);
    if (!buffer) KIVO_THROW(KIVO_MEMORY_ALLOC_ERROR);
}

void BitVector::Reshape(int newCodeLen, int newCodeWordLen) {
    const long long bits = static_cast<long long>(newCodeLen) * newCodeWordLen;
    // A negative dimension or a count beyond 32 bits is a request no allocator can serve.
    if (newCodeLen < 0 || newCodeWordLen < 0 || bits > INT_MAX) KIVO_THROW(KIVO_MEMORY_ALLOC_ERROR);

    // The row table first: if it cannot be had, the code is left exactly as it was.
    unsigned char** newRows = rows;
    if (newCodeLen > rowCapacity) {
        newRows =
            static_cast<unsigned char**>(kernels::AlignedAlloc(newCodeLen, sizeof(unsigned char*)));
        if (!newRows) KIVO_THROW(KIVO_MEMORY_ALLOC_ERROR);
    }
    if (bits > capacity) {
        // Growth discards the old bits, as the vectors' growth does.
        KivoDelete(buffer);
        data = buffer = nullptr;
        capacity = codeLen = codeWordLen = bitCount = 0;
        try {
            Alloc(static_cast<int>(bits));
        } catch (...) {
            if (newRows != rows) kernels::AlignedFree(newRows);
            throw;
        }
        capacity = static_cast<int>(bits);
    }
    if (newRows != rows) {
        kernels::AlignedFree(rows);
        rows = newRows;
        rowCapacity = newCodeLen;
    }
    data = buffer;
    codeLen = newCodeLen;
    codeWordLen = newCodeWordLen;
    bitCount = static_cast<int>(bits);
    for (int k = 0; k < codeLen; ++k)
        rows[k] = data + static_cast<long long>(k) * codeWordLen;
}

void BitVector::Import(const VecInt16& src, int codeWordLen_) {
    Import(src, src.GetSize(), 0, codeWordLen_);
}

void BitVector::Import(const VecInt16& src, int count, int start, int codeWordLen_) {
    if (codeWordLen_ < 1 || count < 0 || start < 0 ||
        static_cast<long long>(start) + count > src.GetSize())
        KIVO_THROW(KIVO_INVALID_INPUT_PARAMETER);
    Reshape(count / codeWordLen_, codeWordLen_);
    for (int i = 0; i < bitCount; ++i) {
        const short v = src[start + i];
        data[i] = v == 0 ? 0 : v == 1 ? 1 : 255;
    }
}

void BitVector::Import(const unsigned char* src, int codeLen_, int codeWordLen_) {
    const long long bits = static_cast<long long>(codeLen_) * codeWordLen_;
    // A source inside our own block would be freed by a growing reshape: copy it out first.
    std::vector<unsigned char> own;
    if (buffer && bits > 0 && src >= buffer && src < buffer + capacity) {
        own.assign(src, src + bits);
        src = own.data();
    }
    Reshape(codeLen_, codeWordLen_);
    if (bitCount > 0) std::memmove(data, src, static_cast<size_t>(bitCount));
}

void BitVector::Export(unsigned char* dst, int n) const {
    if (n < 1) return;
    RequireBits(codeLen, n);
    const long long bytes = static_cast<long long>(n) * codeWordLen;
    if (bytes > 0) std::memcpy(dst, data, static_cast<size_t>(bytes));
}

void BitVector::Export(VecInt16& dst, int n) const {
    if (n < 0) n = 0;
    RequireBits(codeLen, n);
    const int count = n * codeWordLen;
    dst.Resize(count);
    for (int i = 0; i < count; ++i) {
        const unsigned char b = data[i];
        dst[i] = b == 0 ? 0 : b == 1 ? 1 : -1;
    }
}

void BitVector::Set(unsigned char v) {
    if (bitCount > 0) std::memset(data, v, static_cast<size_t>(bitCount));
}

void BitVector::And(const BitVector& other) {
    RequireBits(other.bitCount, bitCount);
    kernels::AndInPlace8u(other.data, data, bitCount);
}
void BitVector::Or(const BitVector& other) {
    RequireBits(other.bitCount, bitCount);
    kernels::OrInPlace8u(other.data, data, bitCount);
}
void BitVector::Xor(const BitVector& other) {
    RequireBits(other.bitCount, bitCount);
    kernels::XorInPlace8u(other.data, data, bitCount);
}

// `out` takes a's shape. When `out` is `b`, b holds at least a's bit count, so the reshape never
// grows and b's bits stay where they are.
void BitVector::And(BitVector& out, const BitVector& a, const BitVector& b) {
    RequireBits(b.bitCount, a.bitCount);
    if (&out != &a) out.Reshape(a.codeLen, a.codeWordLen);
    kernels::And8u(a.data, b.data, out.data, a.bitCount);
}
void BitVector::Or(BitVector& out, const BitVector& a, const BitVector& b) {
    RequireBits(b.bitCount, a.bitCount);
    if (&out != &a) out.Reshape(a.codeLen, a.codeWordLen);
    kernels::Or8u(a.data, b.data, out.data, a.bitCount);
}
void BitVector::Xor(BitVector& out, const BitVector& a, const BitVector& b) {
    RequireBits(b.bitCount, a.bitCount);
    if (&out != &a) out.Reshape(a.codeLen, a.codeWordLen);
    kernels::Xor8u(a.data, b.data, out.data, a.bitCount);
}

void BitVector::Not() {
    kernels::NotBitsInPlace8u(data, bitCount);
}

void BitVector::Not(BitVector& out, const BitVector& in) {
    if (&out != &in) out.Reshape(in.codeLen, in.codeWordLen);
    kernels::Not8u(in.data, out.data, in.bitCount);
}

bool BitVector::IsEqual(const BitVector& other) const {
    if (codeLen != other.codeLen || codeWordLen != other.codeWordLen) return false;
    return bitCount == 0 || std::memcmp(data, other.data, static_cast<size_t>(bitCount)) == 0;
}

bool BitVector::IsValidBit(unsigned char bit) {
    return bit == 0 || bit == 1 || bit == 255;
}

char BitVector::GetPrintChar(unsigned char bit) {
    return bit == 0 ? '0' : bit == 1 ? '1' : 'x';
}

bool BitVector::Validate() const {
    for (int i = 0; i < bitCount; ++i)
        if (!IsValidBit(data[i])) return false;
    return true;
}

void BitVector::Dump(int n) const {
    std::string bits;
    auto word = [&](int k) {
        bits.clear();
        for (int j = 0; j < codeWordLen; ++j)
            bits += GetPrintChar(rows[k][j]);
        std::printf("\n [%2d]= %s", k, bits.c_str());
    };
    if (codeLen > 2 * static_cast<long long>(n)) {
        for (int k = 0; k < n; ++k)
            word(k);
        std::printf("\n.................");
        for (int k = codeLen - n; k < codeLen; ++k)
            word(k);
    } else {
        for (int k = 0; k < codeLen; ++k)
            word(k);
    }
}

void BitVector::Dump(const char* path, bool verbose, bool append) const {
    FILE* f = std::fopen(path, append ? "a" : "w");
    if (!f) KIVO_THROW(KIVO_FILE_OPEN_ERROR);
    std::string bits;
    for (int k = 0; k < codeLen; ++k) {
        bits.clear();
        for (int j = 0; j < codeWordLen; ++j)
            bits += GetPrintChar(rows[k][j]);
        std::fprintf(f, "%10d    %s\n", k, bits.c_str());
    }
    std::fclose(f);
    if (verbose) std::printf("\n====%s saved", path);
}

// ---------------------------------------------------------------------------------------------
// Self-test

bool BitVector::UnitTest(UnitTestRecorder& recorder) {
    bool ok = true;
    const char* cls = "BitVector";
    {
        BitVector c(3, 4);
        bool zero = true;
        for (int i = 0; i < 12; ++i)
            zero = zero && c.data[i] == 0;
        kernels::Record(
            recorder, ok, cls, "3 x 4 code: shape, zero bits, rows",
            zero && c.GetCodeLen() == 3 && c.GetCodeWordLen() == 4 && c.rows[2] == c.data + 8);
    }
    {
        const unsigned char bits[] = {0, 1, 255};
        BitVector c;
        c.Import(bits, 1, 3);
        c.Not();
        BitVector d;
        Not(d, c);
        kernels::Record(recorder, ok, cls, "Not keeps erasures, Not(out, in) complements bytes",
                        c.data[0] == 1 && c.data[1] == 0 && c.data[2] == 255 && d.data[0] == 254 &&
                            d.data[1] == 255 && d.data[2] == 0);
    }
    {
        BitVector a(3, 4), b(4, 3);
        kernels::Record(
            recorder, ok, cls, "IsEqual needs the same shape",
            !a.IsEqual(b) && a.IsEqual(BitVector(3, 4)) && BitVector().IsEqual(BitVector()));
    }
    {
        const unsigned char x[] = {255, 255, 255, 0};
        const unsigned char y[] = {0, 1, 1, 1};
        BitVector a, b, r;
        a.Import(x, 1, 4);
        b.Import(y, 1, 4);
        And(r, a, b);
        const bool andOk = r.data[0] == 0 && r.data[1] == 1 && r.Validate();
        Or(r, a, b);
        const bool orOk = r.data[0] == 255 && r.data[1] == 255 && r.data[3] == 1;
        Xor(r, a, b);
        const bool xorOk = r.data[1] == 254 && !r.Validate();
        kernels::Record(recorder, ok, cls, "erasures follow the byte values",
                        andOk && orOk && xorOk);
    }
    {
        VecInt16 v(6);
        const short s[] = {0, 1, -1, 1, 0, 7};
        for (int i = 0; i < 6; ++i)
            v[i] = s[i];
        BitVector c(v, 3);
        VecInt16 back;
        c.Export(back, 2);
        kernels::Record(recorder, ok, cls, "16-bit import and export",
                        c.GetCodeLen() == 2 && back.GetSize() == 6 && back[2] == -1 &&
                            back[5] == -1 && back[3] == 1);
    }
    {
        bool bits = false, table = false;
        try {
            kernels::ScopedAllocFailure fail(1);  // the row table succeeds, the bits fail
            BitVector c(4, 4);
        } catch (const KivoException& e) {
            bits = e.code == KIVO_MEMORY_ALLOC_ERROR;
        }
        try {
            kernels::ScopedAllocFailure fail(0);
            BitVector c(4, 4);
        } catch (const KivoException& e) {
            table = e.code == KIVO_MEMORY_ALLOC_ERROR;
        }
        kernels::Record(recorder, ok, cls, "allocation failures throw 8000", bits && table);
    }
    return ok;
}

}  // namespace Kivo
