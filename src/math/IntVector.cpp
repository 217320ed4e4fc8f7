// Integer vectors: allocation, deep copies, import and export, saturating 16-bit arithmetic,
// statistics, comparison and text dumps.
#define KIVO_SOURCE_UNIT "src/math/IntVector"

#include <ombrel/infra/UnitTestRecorder.h>
#include <ombrel/math/IntVector.h>
#include <ombrel/math/KivoException.h>
#include <ombrel/math/Memory.h>

#include "kernels/Allocator.h"
#include "kernels/Error.h"
#include "kernels/IntKernels.h"
#include "kernels/SelfTest.h"

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <type_traits>
#include <vector>

namespace Kivo {

namespace {

template <typename T>
void CopyElements(const T* src, T* dst, int n) {
    if (n > 0) std::memcpy(dst, src, static_cast<size_t>(n) * sizeof(T));
}

// Reading past the end of a vector would be undefined, so a vector holding fewer elements than
// an operation needs is refused before anything is written; more is fine (the target's length
// governs).
void RequireOperandLength(int available, int needed) {
    if (available < needed) KIVO_THROW(KIVO_INVALID_INPUT_PARAMETER);
}

template <typename T>
void PrintValue(FILE* f, T v) {
    if constexpr (std::is_same_v<T, unsigned int>)
        std::fprintf(f, "%u", v);
    else
        std::fprintf(f, "%d", static_cast<int>(v));
}

template <typename T>
bool EqualWithin(const T* a, int na, const T* b, int nb, int tolerance) {
    if (na != nb) return false;
    for (int i = 0; i < na; ++i) {
        long long diff = static_cast<long long>(a[i]) - static_cast<long long>(b[i]);
        if (diff < 0) diff = -diff;
        if (diff > tolerance) {
            std::printf("\n==>>");
            PrintValue(stdout, a[i]);
            std::printf(", Expected ");
            PrintValue(stdout, b[i]);
            std::printf("<<==");
            return false;
        }
    }
    return true;
}

template <typename T>
void DumpToFile(const T* data, int size, const char* path, bool verbose) {
    FILE* f = std::fopen(path, "w");
    if (!f) KIVO_THROW(KIVO_FILE_OPEN_ERROR);
    for (int i = 0; i < size; ++i) {
        std::fprintf(f, "%10d        ", i);
        PrintValue(f, data[i]);
        std::fputc('\n', f);
    }
    std::fclose(f);
    if (verbose) std::printf("\n====%s saved", path);
}

template <typename T>
void DumpToStdout(const T* data, int size, int n) {
    auto line = [&](int i) {
        std::printf("\n [%2d]= ", i);
        PrintValue(stdout, data[i]);
    };
    if (size > 2 * static_cast<long long>(n)) {
        for (int i = 0; i < n; ++i)
            line(i);
        std::printf("\n.................");
        for (int i = size - n; i < size; ++i)
            line(i);
    } else {
        for (int i = 0; i < size; ++i)
            line(i);
    }
}

// Every whitespace-separated integer of a text file, each checked against [lo, hi].
template <typename T>
std::vector<T> ReadIntegers(const char* path, bool verbose) {
    FILE* f = std::fopen(path, "r");
    if (!f) KIVO_THROW(KIVO_FILE_OPEN_ERROR);
    std::vector<T> values;
    char token[128];
    bool bad = false;
    while (!bad && std::fscanf(f, "%127s", token) == 1) {
        char* end = nullptr;
        errno = 0;
        if constexpr (std::is_unsigned_v<T>) {
            // strtoull would accept "-1" and wrap it; a negative count is not a valid value.
            const unsigned long long v = std::strtoull(token, &end, 0);
            bad = token[0] == '-' || *end != '\0' || end == token || errno == ERANGE ||
                  v > static_cast<unsigned long long>(static_cast<T>(~T{0}));
            if (!bad) values.push_back(static_cast<T>(v));
        } else {
            const long long v = std::strtoll(token, &end, 0);
            bad = *end != '\0' || end == token || errno == ERANGE ||
                  v < static_cast<long long>(std::is_same_v<T, short> ? SHRT_MIN : INT_MIN) ||
                  v > static_cast<long long>(std::is_same_v<T, short> ? SHRT_MAX : INT_MAX);
            if (!bad) values.push_back(static_cast<T>(v));
        }
    }
    std::fclose(f);
    if (bad) KIVO_THROW(KIVO_FILE_READ_ERROR);
    if (verbose) std::printf("\n====%s loaded", path);
    return values;
}

}  // namespace

// =============================================================================================
// VecInt16

VecInt16::VecInt16() : BaseVector<short>(0) {}

VecInt16::VecInt16(int n) : BaseVector<short>(n) {
    Alloc(n);
    data = buffer;
}

VecInt16::VecInt16(const VecInt16& other) : BaseVector<short>(other.size) {
    Alloc(size);
    data = buffer;
    CopyElements(other.data, data, size);
}

VecInt16& VecInt16::operator=(const VecInt16& other) {
    if (this == &other) return *this;
    Del();
    Alloc(other.size);
    size = capacity = other.size;
    data = buffer;
    CopyElements(other.data, data, size);
    return *this;
}

VecInt16::~VecInt16() = default;

void VecInt16::Alloc(int n) {
    if (n == 0) return;
    buffer = KivoAllocInt16(n);
    if (!buffer) KIVO_THROW(KIVO_MEMORY_ALLOC_ERROR);
}

void VecInt16::Import(const short* src, int n) {
    if (n < 0) KIVO_THROW(KIVO_INVALID_INPUT_PARAMETER);
    Resize(n);
    CopyElements(src, data, n);
}

void VecInt16::Export(short* dst, int n) const {
    RequireOperandLength(size, n);
    CopyElements(data, dst, n);
}

void VecInt16::Import(const char* path, bool verbose) {
    const std::vector<short> v = ReadIntegers<short>(path, verbose);
    Import(v.data(), static_cast<int>(v.size()));
}

void VecInt16::Add(const VecInt16& other) {
    RequireOperandLength(other.size, size);
    kernels::AddInPlace16s(other.data, data, size);
}
void VecInt16::Sub(const VecInt16& other) {
    RequireOperandLength(other.size, size);
    kernels::SubInPlace16s(other.data, data, size);
}
void VecInt16::Mul(const VecInt16& other) {
    RequireOperandLength(other.size, size);
    kernels::MulInPlace16s(other.data, data, size);
}
void VecInt16::Add(const short& value) {
    kernels::AddConstInPlace16s(value, data, size);
}
void VecInt16::Sub(const short& value) {
    kernels::SubConstInPlace16s(value, data, size);
}
void VecInt16::Mul(const short& value) {
    kernels::MulConstInPlace16s(value, data, size);
}

VecInt16& VecInt16::operator+=(const VecInt16& other) {
    Add(other);
    return *this;
}
VecInt16& VecInt16::operator-=(const VecInt16& other) {
    Sub(other);
    return *this;
}
VecInt16& VecInt16::operator*=(const VecInt16& other) {
    Mul(other);
    return *this;
}
VecInt16& VecInt16::operator+=(const short& value) {
    Add(value);
    return *this;
}
VecInt16& VecInt16::operator-=(const short& value) {
    Sub(value);
    return *this;
}
VecInt16& VecInt16::operator*=(const short& value) {
    Mul(value);
    return *this;
}

short VecInt16::Max() const {
    short m = 0;
    kernels::Max16s(data, size, &m);
    return m;
}
short VecInt16::Min() const {
    short m = 0;
    kernels::Min16s(data, size, &m);
    return m;
}
void VecInt16::Max(short& value, int& index) const {
    kernels::MaxIndex16s(data, size, &value, &index);
}
void VecInt16::Min(short& value, int& index) const {
    kernels::MinIndex16s(data, size, &value, &index);
}
short VecInt16::Sum() const {
    short s = 0;
    kernels::SumSfs16s(data, size, &s, 0);
    return s;
}

bool VecInt16::IsEqual(const VecInt16& other, int tolerance) const {
    return EqualWithin(data, size, other.data, other.size, tolerance);
}
void VecInt16::Dump(const char* path, bool verbose) const {
    DumpToFile(data, size, path, verbose);
}
void VecInt16::Dump(int n) const {
    DumpToStdout(data, size, n);
}

// =============================================================================================
// VecInt32

VecInt32::VecInt32() : BaseVector<int>(0) {}

VecInt32::VecInt32(int n) : BaseVector<int>(n) {
    Alloc(n);
    data = buffer;
}

VecInt32::VecInt32(const VecInt32& other) : BaseVector<int>(other.size) {
    Alloc(size);
    data = buffer;
    CopyElements(other.data, data, size);
}

VecInt32& VecInt32::operator=(const VecInt32& other) {
    if (this == &other) return *this;
    Del();
    Alloc(other.size);
    size = capacity = other.size;
    data = buffer;
    CopyElements(other.data, data, size);
    return *this;
}

VecInt32::~VecInt32() = default;

void VecInt32::Alloc(int n) {
    if (n == 0) return;
    buffer = KivoAllocInt32(n);
    if (!buffer) KIVO_THROW(KIVO_MEMORY_ALLOC_ERROR);
}

// These members have never acted on a VecInt32. Existing callers depend on that (they pass
// buffers the vector must not touch), so they stay present and inert.
void VecInt32::Import(const int*, int) {}
void VecInt32::Export(int*, int) const {}
void VecInt32::Add(const VecInt32&) {}
void VecInt32::Sub(const VecInt32&) {}
void VecInt32::Mul(const VecInt32&) {}
void VecInt32::Add(const int&) {}
void VecInt32::Sub(const int&) {}

void VecInt32::Mul(const int& value) {
    // Unsigned arithmetic: an overflowing product wraps as it always did on the original 32-bit
    // target instead of being undefined behaviour.
    const unsigned int v = static_cast<unsigned int>(value);
    for (int i = 0; i < size; ++i)
        data[i] = static_cast<int>(static_cast<unsigned int>(data[i]) * v);
}

void VecInt32::Import(const char* path, bool verbose) {
    // The raw-array Import is inert, so the text import fills the buffer itself.
    const std::vector<int> v = ReadIntegers<int>(path, verbose);
    Resize(static_cast<int>(v.size()));
    CopyElements(v.data(), data, size);
}

VecInt32& VecInt32::operator+=(const VecInt32& other) {
    Add(other);
    return *this;
}
VecInt32& VecInt32::operator-=(const VecInt32& other) {
    Sub(other);
    return *this;
}
VecInt32& VecInt32::operator*=(const VecInt32& other) {
    Mul(other);
    return *this;
}
VecInt32& VecInt32::operator+=(const int& value) {
    Add(value);
    return *this;
}
VecInt32& VecInt32::operator-=(const int& value) {
    Sub(value);
    return *this;
}
VecInt32& VecInt32::operator*=(const int& value) {
    Mul(value);
    return *this;
}

int VecInt32::Max() const {
    int m = 0;
    kernels::Max32s(data, size, &m);
    return m;
}
int VecInt32::Min() const {
    int m = 0;
    kernels::Min32s(data, size, &m);
    return m;
}
void VecInt32::Max(int& value, int& index) const {
    kernels::MaxIndex32s(data, size, &value, &index);
}
void VecInt32::Min(int& value, int& index) const {
    kernels::MinIndex32s(data, size, &value, &index);
}
int VecInt32::Sum() const {
    int s = 0;
    kernels::SumSfs32s(data, size, &s, 0);
    return s;
}

bool VecInt32::IsEqual(const VecInt32& other, int tolerance) const {
    return EqualWithin(data, size, other.data, other.size, tolerance);
}
void VecInt32::Dump(const char* path, bool verbose) const {
    DumpToFile(data, size, path, verbose);
}
void VecInt32::Dump(int n) const {
    DumpToStdout(data, size, n);
}

// =============================================================================================
// VecUInt8

VecUInt8::VecUInt8() : BaseVector<unsigned char>(0) {}

VecUInt8::VecUInt8(int n) : BaseVector<unsigned char>(n) {
    Alloc(n);
    data = buffer;
}

VecUInt8::VecUInt8(const VecUInt8& other) : BaseVector<unsigned char>(other.size) {
    Alloc(size);
    data = buffer;
    CopyElements(other.data, data, size);
}

VecUInt8& VecUInt8::operator=(const VecUInt8& other) {
    if (this == &other) return *this;
    Del();
    Alloc(other.size);
    size = capacity = other.size;
    data = buffer;
    CopyElements(other.data, data, size);
    return *this;
}

VecUInt8::~VecUInt8() = default;

void VecUInt8::Alloc(int n) {
    if (n == 0) return;
    buffer = KivoAllocUInt8(n);
    if (!buffer) KIVO_THROW(KIVO_MEMORY_ALLOC_ERROR);
}

void VecUInt8::Import(const unsigned char* src, int n) {
    if (n < 0) KIVO_THROW(KIVO_INVALID_INPUT_PARAMETER);
    Resize(n);
    CopyElements(src, data, n);
}

void VecUInt8::Export(unsigned char* dst, int n) const {
    RequireOperandLength(size, n);
    CopyElements(data, dst, n);
}

void VecUInt8::Dump(int n) const {
    DumpToStdout(data, size, n);
}

// =============================================================================================
// VecUInt32

VecUInt32::VecUInt32() : BaseVector<unsigned int>(0) {}

VecUInt32::VecUInt32(int n) : BaseVector<unsigned int>(n) {
    Alloc(n);
    data = buffer;
}

VecUInt32::VecUInt32(const VecUInt32& other) : BaseVector<unsigned int>(other.size) {
    Alloc(size);
    data = buffer;
    CopyElements(other.data, data, size);
}

VecUInt32& VecUInt32::operator=(const VecUInt32& other) {
    if (this == &other) return *this;
    Del();
    Alloc(other.size);
    size = capacity = other.size;
    data = buffer;
    CopyElements(other.data, data, size);
    return *this;
}

VecUInt32::~VecUInt32() = default;

void VecUInt32::Alloc(int n) {
    if (n == 0) return;
    // Same 32-bit width as int: the signed allocator serves both.
    buffer = reinterpret_cast<unsigned int*>(KivoAllocInt32(n));
    if (!buffer) KIVO_THROW(KIVO_MEMORY_ALLOC_ERROR);
}

void VecUInt32::Import(const char* path, bool verbose) {
    const std::vector<unsigned int> v = ReadIntegers<unsigned int>(path, verbose);
    Resize(static_cast<int>(v.size()));
    CopyElements(v.data(), data, size);
}

bool VecUInt32::IsEqual(const VecUInt32& other, int tolerance) const {
    return EqualWithin(data, size, other.data, other.size, tolerance);
}
void VecUInt32::Dump(const char* path, bool verbose) const {
    DumpToFile(data, size, path, verbose);
}
void VecUInt32::Dump(int n) const {
    DumpToStdout(data, size, n);
}

// =============================================================================================
// Self-tests

namespace {

template <typename V>
bool ThrowsCode(int code, V&& action) {
    try {
        action();
    } catch (const KivoException& e) {
        return e.code == code;
    }
    return false;
}

}  // namespace

bool VecInt16::UnitTest(UnitTestRecorder& recorder) {
    bool ok = true;
    const char* cls = "VecInt16";
    {
        const short a[] = {30000, -30000, 100, -200};
        const short b[] = {10000, -10000, 50, 200};
        VecInt16 v;
        v.Import(a, 4);
        VecInt16 w;
        w.Import(b, 4);
        v.Add(w);
        kernels::Record(recorder, ok, cls, "Add saturates",
                        v[0] == 32767 && v[1] == -32768 && v[2] == 150 && v[3] == 0);
        v.Import(a, 4);
        v.Sub(w);
        kernels::Record(recorder, ok, cls, "Sub saturates",
                        v[0] == 20000 && v[1] == -20000 && v[2] == 50 && v[3] == -400);
        v.Import(a, 4);
        v *= w;
        kernels::Record(recorder, ok, cls, "Mul saturates",
                        v[0] == 32767 && v[1] == 32767 && v[2] == 5000 && v[3] == -32768);
        v.Import(a, 4);
        v += static_cast<short>(5000);
        v -= static_cast<short>(1);
        v *= static_cast<short>(2);
        kernels::Record(recorder, ok, cls, "constant arithmetic",
                        v[0] == 32767 && v[1] == -32768 && v[2] == 10198 && v[3] == 9598);
    }
    {
        const short a[] = {30000, 30000, -30000};
        VecInt16 v;
        v.Import(a, 3);
        const short sum3 = v.Sum();
        v.Resize(2);
        const short sum2 = v.Sum();
        v.Resize(3);
        kernels::Record(recorder, ok, cls, "Sum saturates once at the end",
                        sum3 == 30000 && sum2 == 32767);
    }
    {
        const short a[] = {3, -7, 9, 9, -7, 0};
        VecInt16 v;
        v.Import(a, 6);
        short mx = 0, mn = 0;
        int imx = -1, imn = -1;
        v.Max(mx, imx);
        v.Min(mn, imn);
        kernels::Record(
            recorder, ok, cls, "extremes with first index",
            v.Max() == 9 && v.Min() == -7 && mx == 9 && imx == 2 && mn == -7 && imn == 1);
    }
    {
        const short a[] = {1, 2, 3};
        VecInt16 v;
        v.Import(a, 3);
        VecInt16 c(v);
        VecInt16 d;
        d = v;
        d = d;
        short out[3] = {0, 0, 0};
        d.Export(out, 3);
        kernels::Record(recorder, ok, cls, "deep copy and self-assignment",
                        c.GetSize() == 3 && &c[0] != &v[0] && c.IsEqual(v, 0) && d.IsEqual(v, 0) &&
                            out[2] == 3);
    }
    {
        const bool failed = ThrowsCode(KIVO_MEMORY_ALLOC_ERROR, [] {
            kernels::ScopedAllocFailure fail;
            VecInt16 v(10);
        });
        kernels::Record(recorder, ok, cls, "allocation failure throws 8000", failed);
    }
    return ok;
}

bool VecInt32::UnitTest(UnitTestRecorder& recorder) {
    bool ok = true;
    const char* cls = "VecInt32";
    VecInt32 v(4);
    for (int i = 0; i < 4; ++i)
        v[i] = i - 1;
    VecInt32 w(v);
    v.Add(w);
    v += 5;
    v -= w;
    v -= 5;
    v *= w;
    int raw[4] = {7, 7, 7, 7};
    v.Import(raw, 4);
    v.Export(raw, 4);
    kernels::Record(recorder, ok, cls, "inert members leave the vector unchanged",
                    v.IsEqual(w, 0) && raw[0] == 7 && raw[3] == 7);
    v.Mul(3);
    kernels::Record(recorder, ok, cls, "Mul by a constant",
                    v[0] == -3 && v[1] == 0 && v[2] == 3 && v[3] == 6);
    v[0] = INT_MAX;
    v[1] = INT_MAX;
    int m = 0, im = -1;
    v.Max(m, im);
    kernels::Record(recorder, ok, cls, "Sum saturates, Max finds the first index",
                    v.Sum() == INT_MAX && m == INT_MAX && im == 0 && v.Min() == 3);
    const bool failed = ThrowsCode(KIVO_MEMORY_ALLOC_ERROR, [] {
        kernels::ScopedAllocFailure fail;
        VecInt32 x(10);
    });
    kernels::Record(recorder, ok, cls, "allocation failure throws 8000", failed);
    return ok;
}

bool VecUInt8::UnitTest(UnitTestRecorder& recorder) {
    bool ok = true;
    const char* cls = "VecUInt8";
    const unsigned char a[] = {0, 1, 255};
    VecUInt8 v;
    v.Import(a, 3);
    VecUInt8 c(v);
    c = c;
    unsigned char out[3] = {9, 9, 9};
    c.Export(out, 3);
    kernels::Record(recorder, ok, cls, "import, copy, export",
                    c.GetSize() == 3 && std::memcmp(out, a, 3) == 0 && &c[0] != &v[0]);
    const bool failed = ThrowsCode(KIVO_MEMORY_ALLOC_ERROR, [] {
        kernels::ScopedAllocFailure fail;
        VecUInt8 x(10);
    });
    kernels::Record(recorder, ok, cls, "allocation failure throws 8000", failed);
    return ok;
}

bool VecUInt32::UnitTest(UnitTestRecorder& recorder) {
    bool ok = true;
    const char* cls = "VecUInt32";
    VecUInt32 v(3);
    v[0] = 0;
    v[1] = 4000000000u;
    v[2] = 7;
    VecUInt32 c(v);
    c = c;
    kernels::Record(recorder, ok, cls, "deep copy", &c[0] != &v[0] && c.IsEqual(v, 0));
    c[1] = 3999999998u;
    const bool within = v.IsEqual(c, 2);
    kernels::Record(recorder, ok, cls, "IsEqual tolerance on large values",
                    within && !v.IsEqual(c, 1));
    const bool failed = ThrowsCode(KIVO_MEMORY_ALLOC_ERROR, [] {
        kernels::ScopedAllocFailure fail;
        VecUInt32 x(10);
    });
    kernels::Record(recorder, ok, cls, "allocation failure throws 8000", failed);
    return ok;
}

}  // namespace Kivo
