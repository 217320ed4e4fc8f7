#define KIVO_SOURCE_UNIT "src/math/VectorStorage"

#include <ombrel/infra/UnitTestRecorder.h>
#include <ombrel/math/BaseVector.h>
#include <ombrel/math/Checksum.h>
#include <ombrel/math/KivoException.h>
#include <ombrel/math/Memory.h>
#include <ombrel/math/Vector.h>

#include "kernels/Allocator.h"
#include "kernels/Error.h"
#include "kernels/SelfTest.h"
#include "kernels/VectorAccess.h"
#include "kernels/VectorKernels.h"

#include <sys/stat.h>

#include <bit>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <type_traits>
#include <vector>

namespace Kivo {

template <typename T>
BaseVector<T>::BaseVector(int n) : data(nullptr), size(n), buffer(nullptr), capacity(n) {}

template <typename T>
BaseVector<T>::BaseVector(const BaseVector<T>& other)
    : data(other.data), size(other.size), buffer(other.buffer), capacity(other.capacity) {}

template <typename T>
BaseVector<T>& BaseVector<T>::operator=(const BaseVector<T>& other) {
    data = other.data;
    size = other.size;
    buffer = other.buffer;
    capacity = other.capacity;
    return *this;
}

template <typename T>
BaseVector<T>::~BaseVector() {
    Del();
}

template <typename T>
void BaseVector<T>::Alloc(int) {
    KIVO_THROW(KIVO_UNEXPECTED_SOFTWARE_ERROR);
}

template <typename T>
void BaseVector<T>::Create(int n) {
    Alloc(n);
    capacity = n;
    size = n;
    data = buffer;
}

template <typename T>
void BaseVector<T>::Del() {
    Dealloc();
    data = nullptr;
    size = 0;
    buffer = nullptr;
    capacity = 0;
}

template <typename T>
void BaseVector<T>::Dealloc() {
    if (size != 0) KivoDelete(buffer);
}

template <typename T>
void BaseVector<T>::Resize(int n) {
    if (n <= capacity) {
        size = n;
        data = buffer;
        return;
    }
    Del();
    Alloc(n);
    capacity = n;
    size = n;
    data = buffer;
}

template <typename T>
void BaseVector<T>::SetZero() {
    if (size > 0) std::memset(static_cast<void*>(data), 0, static_cast<size_t>(size) * sizeof(T));
}

template <typename T>
bool BaseVector<T>::Truncate(int start, int length) {
    data += start;
    size = length;
    return true;
}

template <typename T>
bool BaseVector<T>::ShiftLeft(int k) {
    data += k;
    size -= k;
    return true;
}

template <typename T>
unsigned int BaseVector<T>::ComputeCRC32() const {
    return Checksum::ComputeCRC32(size * GetElementSize(), data, 0);
}

namespace {

// A minimal concrete vector for the template's self-test: the template itself cannot allocate.
template <typename T>
class ProbeVector : public BaseVector<T> {
  public:
    explicit ProbeVector(int n) : BaseVector<T>(n) {
        if (n) {
            this->Alloc(n);
            this->data = this->buffer;
        }
    }
    T* Buffer() const { return this->buffer; }

  protected:
    void Alloc(int n) override {
        this->buffer = static_cast<T*>(kernels::AlignedAlloc(n, sizeof(T)));
        if (!this->buffer) KIVO_THROW(KIVO_MEMORY_ALLOC_ERROR);
    }
};

// The template's own hook, reached on purpose.
template <typename T>
class BareVector : public BaseVector<T> {
  public:
    BareVector() : BaseVector<T>(0) {}
    void Grow(int n) { this->Create(n); }
};

}  // namespace

template <typename T>
bool BaseVector<T>::UnitTest(UnitTestRecorder& recorder) {
    bool ok = true;
    const char* cls = "BaseVector";
    {
        ProbeVector<T> v(100);
        for (int i = 0; i < 100; ++i)
            std::memset(static_cast<void*>(&v[i]), i, sizeof(T));
        v.ShiftLeft(5);
        v.Resize(10);
        unsigned char first = 0;
        std::memcpy(&first, &v[0], 1);
        kernels::Record(recorder, ok, cls, "Resize within capacity restarts the view",
                        v.GetSize() == 10 && v.GetCapacity() == 100 && first == 0);
        v.Resize(200);
        kernels::Record(recorder, ok, cls, "Resize beyond capacity",
                        v.GetSize() == 200 && v.GetCapacity() == 200);
    }
    {
        ProbeVector<T> v(10);
        v.Truncate(2, 3);
        kernels::Record(recorder, ok, cls, "Truncate narrows the view",
                        v.GetSize() == 3 && v.GetCapacity() == 10 && &v[0] == v.Buffer() + 2);
        v.Resize(3);
        v.SetZero();
        const T zero{};
        kernels::Record(
            recorder, ok, cls, "SetZero",
            std::memcmp(&v[2], &zero, sizeof(T)) == 0 &&
                v.ComputeCRC32() ==
                    Checksum::ComputeCRC32(3 * static_cast<int>(sizeof(T)), v.Buffer(), 0));
    }
    {
        bool threw = false;
        try {
            BareVector<T> b;
            b.Grow(4);
        } catch (const KivoException& e) {
            threw = e.code == KIVO_UNEXPECTED_SOFTWARE_ERROR;
        }
        kernels::Record(recorder, ok, cls, "template Alloc throws 8036", threw);
    }
    return ok;
}

template class BaseVector<unsigned char>;
template class BaseVector<short>;
template class BaseVector<int>;
template class BaseVector<unsigned int>;
template class BaseVector<float>;
template class BaseVector<double>;
template class BaseVector<Cplx32>;
template class BaseVector<Cplx64>;

// =============================================================================================
// Vector files: a 108-byte header, then the raw elements of the view.
//
//   0  64  description "VecReal32, length=%d" (zero padded)   64   1  0x1A (stops a text listing)
//  68   4  version 1                                           72   4  type code
//  76   4  length (elements, signed)                           80  12  three float parameters
//  92  16  zero
//
// Integers and elements are little-endian, which is what the machines we build for store.

static_assert(std::endian::native == std::endian::little,
              "vector files are written in the machine's order, which must be little-endian");

namespace {

using kernels::VectorAccess;

constexpr int kHeaderBytes = 108;
constexpr std::uint32_t kFileVersion = 1;
constexpr std::uint32_t kTypeCplx64 = 100;
constexpr std::uint32_t kTypeReal64 = 101;
constexpr std::uint32_t kTypeCplx32 = 102;
constexpr std::uint32_t kTypeReal32 = 103;

void PutU32(unsigned char* p, std::uint32_t v) {
    for (int i = 0; i < 4; ++i)
        p[i] = static_cast<unsigned char>(v >> (8 * i));
}
std::uint32_t GetU32(const unsigned char* p) {
    return static_cast<std::uint32_t>(p[0]) | static_cast<std::uint32_t>(p[1]) << 8 |
           static_cast<std::uint32_t>(p[2]) << 16 | static_cast<std::uint32_t>(p[3]) << 24;
}

void WriteVectorFile(const char* path, const char* className, std::uint32_t typeCode, int length,
                     const void* elements, std::size_t elementBytes, float p1, float p2, float p3) {
    unsigned char header[kHeaderBytes] = {};
    std::snprintf(reinterpret_cast<char*>(header), 64, "%s, length=%d", className, length);
    header[64] = 0x1A;
    PutU32(header + 68, kFileVersion);
    PutU32(header + 72, typeCode);
    PutU32(header + 76, static_cast<std::uint32_t>(length));
    PutU32(header + 80, std::bit_cast<std::uint32_t>(p1));
    PutU32(header + 84, std::bit_cast<std::uint32_t>(p2));
    PutU32(header + 88, std::bit_cast<std::uint32_t>(p3));

    FILE* f = path ? std::fopen(path, "wb") : nullptr;
    if (!f) KIVO_THROW(KIVO_FILE_OPEN_ERROR);
    if (std::fwrite(header, 1, kHeaderBytes, f) != kHeaderBytes) {
        std::fclose(f);
        KIVO_THROW(KIVO_FILE_WRITE_ERROR);
    }
    const std::size_t bytes = length > 0 ? static_cast<std::size_t>(length) * elementBytes : 0;
    if (bytes > 0 && std::fwrite(elements, 1, bytes, f) != bytes) {
        std::fclose(f);
        KIVO_THROW(KIVO_FILE_WRITE_ERROR);
    }
    // Buffered bytes reach the file only here; a full disk shows up now, not in fwrite.
    if (std::fclose(f) != 0) KIVO_THROW(KIVO_FILE_WRITE_ERROR);
}

// Opens a vector file and checks its header: open (8024), whole header (8025), version (8027),
// type code (8028). The file is closed on every exit, including the version and type errors:
// keeping a handle open after a throw would only leak it.
//
// The stored length is never trusted for an allocation: before the caller sizes its vector,
// Require() checks that the file really holds the elements asked for (8025 otherwise), so a
// corrupt length cannot make the reader allocate gigabytes or read past the data.
class VectorFileReader {
  public:
    VectorFileReader(const char* path, std::uint32_t typeCode, std::size_t elementBytes)
        : elementBytes_(elementBytes) {
        file_ = path ? std::fopen(path, "rb") : nullptr;
        if (!file_) KIVO_THROW(KIVO_FILE_OPEN_ERROR);
        unsigned char header[kHeaderBytes];
        if (std::fread(header, 1, kHeaderBytes, file_) != kHeaderBytes)
            Fail(KIVO_FILE_READ_ERROR, __LINE__);
        if (GetU32(header + 68) != kFileVersion) Fail(KIVO_FILE_VERSION_ERROR, __LINE__);
        if (GetU32(header + 72) != typeCode) Fail(KIVO_FILE_TYPE_ERROR, __LINE__);
        length_ = static_cast<std::int32_t>(GetU32(header + 76));
        for (int i = 0; i < 3; ++i)
            params_[i] = std::bit_cast<float>(GetU32(header + 80 + 4 * i));

        struct stat st {};
        if (fstat(fileno(file_), &st) == 0 && S_ISREG(st.st_mode)) {
            seekable_ = true;
            fileBytes_ = static_cast<long long>(st.st_size);
        }
    }
    ~VectorFileReader() {
        if (file_) std::fclose(file_);
    }
    VectorFileReader(const VectorFileReader&) = delete;
    VectorFileReader& operator=(const VectorFileReader&) = delete;

    int Length() const { return length_; }
    float Param(int i) const { return params_[i]; }

    /// Checks that elements [first, first + count) lie within the stored length and within the
    /// file; 8025 if not. For a stream that cannot be measured, the elements are read into a
    /// scratch buffer now (growing only as data arrives) and Read() hands them out.
    void Require(long long first, long long count) {
        if (length_ < 0 || first < 0 || count < 0 || first + count > length_)
            Fail(KIVO_FILE_READ_ERROR, __LINE__);
        const long long end =
            kHeaderBytes + (first + count) * static_cast<long long>(elementBytes_);
        if (seekable_) {
            if (end > fileBytes_) Fail(KIVO_FILE_READ_ERROR, __LINE__);
            first_ = first;
            return;
        }
        // Skip to the first element, then collect the requested bytes chunk by chunk.
        unsigned char chunk[1 << 16];
        long long skip = first * static_cast<long long>(elementBytes_);
        while (skip > 0) {
            const std::size_t want = skip < static_cast<long long>(sizeof chunk)
                                         ? static_cast<std::size_t>(skip)
                                         : sizeof chunk;
            if (std::fread(chunk, 1, want, file_) != want) Fail(KIVO_FILE_READ_ERROR, __LINE__);
            skip -= static_cast<long long>(want);
        }
        long long remaining = count * static_cast<long long>(elementBytes_);
        while (remaining > 0) {
            const std::size_t want = remaining < static_cast<long long>(sizeof chunk)
                                         ? static_cast<std::size_t>(remaining)
                                         : sizeof chunk;
            if (std::fread(chunk, 1, want, file_) != want) Fail(KIVO_FILE_READ_ERROR, __LINE__);
            scratch_.insert(scratch_.end(), chunk, chunk + want);
            remaining -= static_cast<long long>(want);
        }
    }

    /// Reads the `count` elements checked by Require() into `dst` (8025 if the read falls short).
    void Read(void* dst, int count) {
        if (count <= 0) return;
        const std::size_t bytes = static_cast<std::size_t>(count) * elementBytes_;
        if (!seekable_) {
            std::memcpy(dst, scratch_.data(), bytes);
            return;
        }
        const long long offset = kHeaderBytes + first_ * static_cast<long long>(elementBytes_);
        if (fseeko(file_, static_cast<off_t>(offset), SEEK_SET) != 0 ||
            std::fread(dst, 1, bytes, file_) != bytes)
            Fail(KIVO_FILE_READ_ERROR, __LINE__);
    }

  private:
    [[noreturn]] void Fail(int code, int line) {
        std::fclose(file_);
        file_ = nullptr;
        throw kernels::MakeException(code, KIVO_SOURCE_UNIT, line);
    }

    FILE* file_ = nullptr;
    std::size_t elementBytes_;
    std::int32_t length_ = 0;
    float params_[3] = {0.0f, 0.0f, 0.0f};
    bool seekable_ = false;
    long long fileBytes_ = 0;
    long long first_ = 0;
    std::vector<unsigned char> scratch_;
};

template <class V>
void LoadWhole(V& v, const char* path, std::uint32_t typeCode) {
    using T = std::remove_pointer_t<decltype(VectorAccess::Data(v))>;
    VectorFileReader reader(path, typeCode, sizeof(T));
    reader.Require(0, reader.Length());
    v.Resize(reader.Length());
    reader.Read(VectorAccess::Data(v), reader.Length());
}

// Text files: whitespace-separated numbers in C notation, read with formatted input. Returns
// false at the end of the file; a token that is not a number is a read error (8025).
bool ReadNumber(FILE* f, float& x) {
    const int r = std::fscanf(f, "%f", &x);
    if (r == 1) return true;
    if (r == EOF && !std::ferror(f)) return false;
    std::fclose(f);
    KIVO_THROW(KIVO_FILE_READ_ERROR);
}
bool ReadNumber(FILE* f, double& x) {
    const int r = std::fscanf(f, "%lf", &x);
    if (r == 1) return true;
    if (r == EOF && !std::ferror(f)) return false;
    std::fclose(f);
    KIVO_THROW(KIVO_FILE_READ_ERROR);
}

FILE* OpenText(const char* path) {
    FILE* f = path ? std::fopen(path, "r") : nullptr;
    if (!f) KIVO_THROW(KIVO_FILE_OPEN_ERROR);
    return f;
}

/// Every number of the file (after skipping `skip` of them; at most `limit` if non-negative).
template <typename R>
std::vector<R> ReadNumbers(const char* path, long long skip, long long limit) {
    FILE* f = OpenText(path);
    std::vector<R> values;
    R x{};
    for (long long k = 0; k < skip; ++k)
        if (!ReadNumber(f, x)) {
            std::fclose(f);
            KIVO_THROW(KIVO_FILE_READ_ERROR);
        }
    while ((limit < 0 || static_cast<long long>(values.size()) < limit) && ReadNumber(f, x))
        values.push_back(x);
    std::fclose(f);
    if (limit >= 0 && static_cast<long long>(values.size()) < limit)
        KIVO_THROW(KIVO_FILE_READ_ERROR);
    return values;
}

template <class V, typename R>
void ImportText(V& v, const char* path, bool verbose, bool complex) {
    std::vector<R> values = ReadNumbers<R>(path, 0, -1);
    if (complex && values.size() % 2 != 0) KIVO_THROW(KIVO_FILE_READ_ERROR);
    const std::size_t count = complex ? values.size() / 2 : values.size();
    if (count > static_cast<std::size_t>(INT32_MAX)) KIVO_THROW(KIVO_FILE_READ_ERROR);
    v.Resize(static_cast<int>(count));
    if (!values.empty())
        std::memcpy(VectorAccess::Data(v), values.data(), values.size() * sizeof(R));
    if (verbose) std::printf("\n====%s loaded", path);
}

}  // namespace

void VecReal32::Store(const char* path) const {
    WriteVectorFile(path, "VecReal32", kTypeReal32, size, data, sizeof(float), 0, 0, 0);
}
void VecReal64::Store(const char* path) const {
    WriteVectorFile(path, "VecReal64", kTypeReal64, size, data, sizeof(double), 0, 0, 0);
}
void VecCplx32::Store(const char* path) const {
    WriteVectorFile(path, "VecCplx32", kTypeCplx32, size, data, sizeof(Cplx32), 0, 0, 0);
}
void VecCplx32::Store(const char* path, float p1, float p2, float p3) const {
    WriteVectorFile(path, "VecCplx32", kTypeCplx32, size, data, sizeof(Cplx32), p1, p2, p3);
}
void VecCplx64::Store(const char* path) const {
    WriteVectorFile(path, "VecCplx64", kTypeCplx64, size, data, sizeof(Cplx64), 0, 0, 0);
}

void VecReal32::Load(const char* path) {
    LoadWhole(*this, path, kTypeReal32);
}
void VecReal64::Load(const char* path) {
    LoadWhole(*this, path, kTypeReal64);
}
void VecCplx32::Load(const char* path) {
    LoadWhole(*this, path, kTypeCplx32);
}
void VecCplx64::Load(const char* path) {
    LoadWhole(*this, path, kTypeCplx64);
}

void VecCplx32::Load(const char* path, int& length, float& p1, float& p2, float& p3) {
    VectorFileReader reader(path, kTypeCplx32, sizeof(Cplx32));
    reader.Require(0, reader.Length());
    Resize(reader.Length());
    reader.Read(data, reader.Length());
    length = reader.Length();
    p1 = reader.Param(0);
    p2 = reader.Param(1);
    p3 = reader.Param(2);
}

void VecCplx32::Load(const char* path, int start, int count) {
    VectorFileReader reader(path, kTypeCplx32, sizeof(Cplx32));
    reader.Require(start, count);
    Resize(count);
    reader.Read(data, count);
}

void VecReal32::Import(const char* path, bool verbose) {
    ImportText<VecReal32, float>(*this, path, verbose, false);
}
void VecReal64::Import(const char* path, bool verbose) {
    ImportText<VecReal64, double>(*this, path, verbose, false);
}
void VecCplx32::Import(const char* path, bool verbose) {
    ImportText<VecCplx32, float>(*this, path, verbose, true);
}
void VecCplx64::Import(const char* path, bool verbose) {
    ImportText<VecCplx64, double>(*this, path, verbose, true);
}

void VecReal32::Import(const char* path, int start, int count) {
    if (start < 0 || count < 0) KIVO_THROW(KIVO_FILE_READ_ERROR);
    std::vector<float> values = ReadNumbers<float>(path, start, count);
    Resize(count);
    kernels::Copy(values.data(), data, count);
}

}  // namespace Kivo
