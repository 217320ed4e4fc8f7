// Dense real matrices: storage, reshaping, deep copies, element-wise arithmetic and dumps.
#define KIVO_SOURCE_UNIT "src/math/Matrix"

#include <ombrel/infra/UnitTestRecorder.h>
#include <ombrel/math/KivoException.h>
#include <ombrel/math/Matrix.h>
#include <ombrel/math/Memory.h>

#include "kernels/Allocator.h"
#include "kernels/Error.h"
#include "kernels/SelfTest.h"
#include "kernels/VectorAccess.h"
#include "kernels/VectorKernels.h"

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <utility>

namespace Kivo {

namespace {

// Element count of an r x c shape, or -1 when no block could hold it (a negative dimension, or
// a count beyond int, which is what every size in the library is).
long long ShapeCount(int r, int c) {
    if (r < 0 || c < 0) return -1;
    const long long n = static_cast<long long>(r) * c;
    return n > INT_MAX ? -1 : n;
}

// First element of a vector's view, through the library's internal accessor.
template <typename V>
const auto* ViewOf(const V& v) {
    return kernels::VectorAccess::Data(v);
}

}  // namespace

// ---------------------------------------------------------------------------------------------
// BaseMatrix<T>

template <typename T>
BaseMatrix<T>::BaseMatrix()
    : data(nullptr),
      rows(nullptr),
      nRows(0),
      nCols(0),
      size(0),
      buffer(nullptr),
      capacity(0),
      rowsAlloc(0) {}

template <typename T>
BaseMatrix<T>::BaseMatrix(int r, int c) : BaseMatrix() {
    const long long n = ShapeCount(r, c);
    if (n < 0) KIVO_THROW(KIVO_MEMORY_ALLOC_ERROR);
    nRows = r;
    nCols = c;
    size = static_cast<int>(n);
    capacity = size;
}

template <typename T>
BaseMatrix<T>::BaseMatrix(const BaseMatrix<T>& other)
    : data(other.data),
      rows(other.rows),
      nRows(other.nRows),
      nCols(other.nCols),
      size(other.size),
      buffer(other.buffer),
      capacity(other.capacity),
      rowsAlloc(other.rowsAlloc) {}

template <typename T>
BaseMatrix<T>& BaseMatrix<T>::operator=(const BaseMatrix<T>& other) {
    data = other.data;
    rows = other.rows;
    nRows = other.nRows;
    nCols = other.nCols;
    size = other.size;
    buffer = other.buffer;
    capacity = other.capacity;
    rowsAlloc = other.rowsAlloc;
    return *this;
}

template <typename T>
BaseMatrix<T>::~BaseMatrix() {
    Del();
}

template <typename T>
void BaseMatrix<T>::Alloc(int) {
    KIVO_THROW(KIVO_UNEXPECTED_SOFTWARE_ERROR);
}

template <typename T>
void BaseMatrix<T>::AllocRowTable(int count) {
    if (count <= 0) {  // a shape with no rows (reshaped 0 x c) needs no table
        rows = nullptr;
        rowsAlloc = 0;
        return;
    }
    rows = static_cast<T**>(kernels::AlignedAlloc(count, sizeof(T*)));
    if (!rows) {
        KivoDelete(buffer);
        buffer = nullptr;
        rowsAlloc = 0;
        KIVO_THROW(KIVO_MEMORY_ALLOC_ERROR);
    }
    rowsAlloc = count;
}

template <typename T>
void BaseMatrix<T>::AllocBlock(T* (*allocate)(int), int n) {
    if (n <= 0) return;
    buffer = allocate(n);
    if (!buffer) KIVO_THROW(KIVO_MEMORY_ALLOC_ERROR);
    AllocRowTable(nRows);
}

template <typename T>
void BaseMatrix<T>::ImportRow(int i, const T* src, int n) {
    if (i < 0 || i >= nRows) KIVO_THROW(KIVO_INVALID_INPUT_PARAMETER);
    CopyIn(src, n, static_cast<long long>(i) * nCols);
}

template <typename T>
void BaseMatrix<T>::Create(int r, int c) {
    const long long n = ShapeCount(r, c);
    if (n < 0) KIVO_THROW(KIVO_MEMORY_ALLOC_ERROR);
    nRows = r;
    nCols = c;
    size = static_cast<int>(n);
    try {
        Alloc(size);
    } catch (...) {
        // Nothing was kept by the failed hook: leave an empty matrix, not a shape without block.
        nRows = nCols = size = 0;
        throw;
    }
    data = buffer;
    capacity = size;
    SetupPoints();
}

template <typename T>
void BaseMatrix<T>::Del() {
    Dealloc();
    data = nullptr;
    rows = nullptr;
    nRows = 0;
    nCols = 0;
    size = 0;
    buffer = nullptr;
    capacity = 0;
    rowsAlloc = 0;
}

template <typename T>
void BaseMatrix<T>::Dealloc() {
    if (size != 0) {
        kernels::AlignedFree(rows);
        KivoDelete(buffer);
    }
}

template <typename T>
void BaseMatrix<T>::SetupPoints() {
    if (size == 0) return;
    for (int i = 0; i < nRows; ++i)
        rows[i] = data + static_cast<std::ptrdiff_t>(i) * nCols;
}

template <typename T>
void BaseMatrix<T>::Resize(int r, int c) {
    const long long n = ShapeCount(r, c);
    if (n < 0) KIVO_THROW(KIVO_MEMORY_ALLOC_ERROR);
    if (n <= capacity) {
        // The row table was sized for the row count at allocation; a reshape to more rows gets
        // a larger table first, so a failure leaves the matrix as it was.
        if (size != 0 && r > rowsAlloc) {
            auto** table = static_cast<T**>(kernels::AlignedAlloc(r, sizeof(T*)));
            if (!table) KIVO_THROW(KIVO_MEMORY_ALLOC_ERROR);
            kernels::AlignedFree(rows);
            rows = table;
            rowsAlloc = r;
        }
        nRows = r;
        nCols = c;
        data = buffer;
        SetupPoints();
        return;
    }
    Del();
    nRows = r;
    nCols = c;
    size = static_cast<int>(n);
    try {
        Alloc(size);
    } catch (...) {
        nRows = nCols = size = 0;
        throw;
    }
    data = buffer;
    capacity = size;
    SetupPoints();
}

template <typename T>
void BaseMatrix<T>::SetZero() {
    const long long n = static_cast<long long>(nRows) * nCols;
    if (n > 0 && data)
        std::memset(static_cast<void*>(data), 0, static_cast<std::size_t>(n) * sizeof(T));
}

template <typename T>
void BaseMatrix<T>::Swap(BaseMatrix<T>& other) {
    std::swap(data, other.data);
    std::swap(rows, other.rows);
    std::swap(nRows, other.nRows);
    std::swap(nCols, other.nCols);
    std::swap(size, other.size);
    std::swap(buffer, other.buffer);
    std::swap(capacity, other.capacity);
    std::swap(rowsAlloc, other.rowsAlloc);
}

template <typename T>
void BaseMatrix<T>::CopyConstruct(const BaseMatrix<T>& other) {
    // The copy keeps the source's element count as well as its shape, so that every member
    // (arithmetic runs over the element count) behaves the same on both.
    nRows = other.nRows;
    nCols = other.nCols;
    size = other.size;
    if (size == 0) return;
    try {
        Alloc(size);
    } catch (...) {
        nRows = nCols = size = 0;
        throw;
    }
    data = buffer;
    capacity = size;
    SetupPoints();
    std::memcpy(static_cast<void*>(data), other.data, static_cast<std::size_t>(size) * sizeof(T));
}

template <typename T>
void BaseMatrix<T>::CopyIn(const T* src, int n, long long offset) {
    if (n <= 0) return;
    if (offset < 0 || offset + n > capacity) KIVO_THROW(KIVO_INVALID_INPUT_PARAMETER);
    // memmove: the source may be a part of this very block.
    std::memmove(static_cast<void*>(data + offset), src, static_cast<std::size_t>(n) * sizeof(T));
}

template <typename T>
void BaseMatrix<T>::CopyOut(T* dst, int n) const {
    if (n < 1) return;
    if (n > capacity) KIVO_THROW(KIVO_INVALID_INPUT_PARAMETER);
    std::memmove(static_cast<void*>(dst), data, static_cast<std::size_t>(n) * sizeof(T));
}

template <typename T>
void BaseMatrix<T>::Combine(const BaseMatrix<T>& other, ElementOp op) {
    const int n = size;
    if (n <= 0) return;
    if (other.capacity < n) KIVO_THROW(KIVO_INVALID_INPUT_PARAMETER);
    switch (op) {
        case ElementOp::Add:
            kernels::AddInPlace(other.data, data, n);
            break;
        case ElementOp::Sub:
            kernels::SubInPlace(other.data, data, n);
            break;
        case ElementOp::Mul:
            kernels::MulInPlace(other.data, data, n);
            break;
        case ElementOp::Div:
            // Every quotient is stored before the error leaves.
            if (kernels::DivInPlace(other.data, data, n)) KIVO_THROW(KIVO_DIVIDE_BY_ZERO_ERROR);
            break;
    }
}

template <typename T>
void BaseMatrix<T>::CombineConst(T value, ElementOp op) {
    const int n = size;
    switch (op) {
        case ElementOp::Add:
            kernels::AddCInPlace(value, data, n);
            break;
        case ElementOp::Sub:
            kernels::SubCInPlace(value, data, n);
            break;
        case ElementOp::Mul:
            kernels::MulCInPlace(value, data, n);
            break;
        case ElementOp::Div:
            // Refused before anything is divided: the matrix is left as it was.
            if (value == T(0)) KIVO_THROW(KIVO_DIVIDE_BY_ZERO_ERROR);
            kernels::DivCInPlace(value, data, n);
            break;
    }
}

template <typename T>
bool BaseMatrix<T>::EqualTo(const BaseMatrix<T>& other, float tolerance) const {
    if (nRows != other.nRows || nCols != other.nCols) return false;
    const int n = std::min(size, other.size);
    const double tol = tolerance;
    for (int k = 0; k < n; ++k) {
        const double a = data[k];
        const double b = other.data[k];
        if (a == b) continue;  // also equal infinities, whose difference is NaN
        if (!(std::fabs(a - b) <= tol)) return false;
    }
    return true;
}

template <typename T>
void BaseMatrix<T>::DumpToFile(const char* path) const {
    FILE* f = path ? std::fopen(path, "w") : nullptr;
    if (!f) KIVO_THROW(KIVO_FILE_OPEN_ERROR);
    for (int i = 0; i < nRows; ++i) {
        const T* row = data + static_cast<std::ptrdiff_t>(i) * nCols;
        for (int j = 0; j < nCols; ++j)
            std::fprintf(f, "%g ", static_cast<double>(row[j]));
        std::fputs("\n", f);
    }
    std::fclose(f);
    std::printf("\n====%s saved", path);
}

template <typename T>
void BaseMatrix<T>::Print(int n) const {
    if (static_cast<long long>(nRows) * nCols <= 0 || !data) return;
    const long long keep = std::max(n, 0);
    auto printRow = [&](int i) {
        const T* row = data + static_cast<std::ptrdiff_t>(i) * nCols;
        std::printf("\n");
        if (nCols > 2 * keep) {
            for (long long j = 0; j < keep; ++j)
                std::printf("%g ", static_cast<double>(row[j]));
            std::printf("... ");
            for (long long j = nCols - keep; j < nCols; ++j)
                std::printf("%g ", static_cast<double>(row[j]));
        } else {
            for (int j = 0; j < nCols; ++j)
                std::printf("%g ", static_cast<double>(row[j]));
        }
    };
    if (nRows > 2 * keep) {
        for (long long i = 0; i < keep; ++i)
            printRow(static_cast<int>(i));
        std::printf("\n.................");
        for (long long i = nRows - keep; i < nRows; ++i)
            printRow(static_cast<int>(i));
    } else {
        for (int i = 0; i < nRows; ++i)
            printRow(i);
    }
}

// ---------------------------------------------------------------------------------------------
// MatReal32 and MatReal64: thin typed fronts over the shared work above.

#define OMBREL_DEFINE_MATRIX(Mat, T, Vec, AllocFn)               \
    Mat::Mat() : BaseMatrix<T>() {}                              \
    Mat::Mat(int r, int c) : BaseMatrix<T>() {                   \
        Create(r, c);                                            \
    }                                                            \
    Mat::Mat(const Mat& other) : BaseMatrix<T>() {               \
        CopyConstruct(other);                                    \
    }                                                            \
    Mat& Mat::operator=(const Mat& other) {                      \
        if (this != &other) {                                    \
            Mat copy(other);                                     \
            Swap(copy);                                          \
        }                                                        \
        return *this;                                            \
    }                                                            \
    Mat::~Mat() = default;                                       \
    void Mat::Alloc(int n) {                                     \
        AllocBlock(AllocFn, n);                                  \
    }                                                            \
    void Mat::Import(const Vec& v) {                             \
        CopyIn(ViewOf(v), v.GetSize(), 0);                       \
    }                                                            \
    void Mat::Import(int i, const Vec& v) {                      \
        ImportRow(i, ViewOf(v), v.GetSize());                    \
    }                                                            \
    void Mat::Import(const T* src, int r, int c) {               \
        Resize(r, c);                                            \
        CopyIn(src, r* c, 0);                                    \
    }                                                            \
    void Mat::Export(T* dst, int n) const {                      \
        CopyOut(dst, n);                                         \
    }                                                            \
    Mat& Mat::Add(const Mat& other) {                            \
        Combine(other, ElementOp::Add);                          \
        return *this;                                            \
    }                                                            \
    Mat& Mat::Sub(const Mat& other) {                            \
        Combine(other, ElementOp::Sub);                          \
        return *this;                                            \
    }                                                            \
    Mat& Mat::DotMul(const Mat& other) {                         \
        Combine(other, ElementOp::Mul);                          \
        return *this;                                            \
    }                                                            \
    Mat& Mat::Div(const Mat& other) {                            \
        Combine(other, ElementOp::Div);                          \
        return *this;                                            \
    }                                                            \
    Mat& Mat::Add(const T& value) {                              \
        CombineConst(value, ElementOp::Add);                     \
        return *this;                                            \
    }                                                            \
    Mat& Mat::Sub(const T& value) {                              \
        CombineConst(value, ElementOp::Sub);                     \
        return *this;                                            \
    }                                                            \
    Mat& Mat::Mul(const T& value) {                              \
        CombineConst(value, ElementOp::Mul);                     \
        return *this;                                            \
    }                                                            \
    Mat& Mat::Div(const T& value) {                              \
        CombineConst(value, ElementOp::Div);                     \
        return *this;                                            \
    }                                                            \
    bool Mat::IsEqual(const Mat& other, float tolerance) const { \
        return EqualTo(other, tolerance);                        \
    }                                                            \
    void Mat::Dump(const char* path) const {                     \
        DumpToFile(path);                                        \
    }                                                            \
    void Mat::Dump(int n) const {                                \
        Print(n);                                                \
    }

OMBREL_DEFINE_MATRIX(MatReal32, float, VecReal32, KivoAllocReal32)
OMBREL_DEFINE_MATRIX(MatReal64, double, VecReal64, KivoAllocReal64)

#undef OMBREL_DEFINE_MATRIX

// ---------------------------------------------------------------------------------------------
// Self-tests

namespace {

// A concrete matrix for the template's self-test: the template itself cannot allocate.
template <typename T>
class ProbeMatrix : public BaseMatrix<T> {
  public:
    ProbeMatrix(int r, int c) { this->Create(r, c); }
    T* Block() const { return this->buffer; }

  protected:
    void Alloc(int n) override {
        if (n <= 0) return;
        this->buffer = static_cast<T*>(kernels::AlignedAlloc(n, sizeof(T)));
        if (!this->buffer) KIVO_THROW(KIVO_MEMORY_ALLOC_ERROR);
        this->AllocRowTable(this->nRows);
    }
};

// Reaches the template's own hook on purpose.
template <typename T>
class BareMatrix : public BaseMatrix<T> {
  public:
    void Grow(int r, int c) { this->Create(r, c); }
};

template <typename M, typename T, typename V>
bool MatrixSelfTest(UnitTestRecorder& recorder, const char* cls) {
    bool ok = true;
    {
        M m(2, 3);
        kernels::Record(
            recorder, ok, cls, "row pointers of a 2 x 3 matrix",
            m[1] - m[0] == 3 && m.GetSize() == 6 && m.GetRows() == 2 && m.GetCols() == 3);
        for (int k = 0; k < 6; ++k)
            m[k / 3][k % 3] = static_cast<T>(k + 1);
        M other(2, 3);
        for (int k = 0; k < 6; ++k)
            other[k / 3][k % 3] = static_cast<T>(2 * k - 3);
        m *= other;
        bool product = true;
        for (int k = 0; k < 6; ++k)
            product = product && m[k / 3][k % 3] == static_cast<T>((k + 1) * (2 * k - 3));
        kernels::Record(recorder, ok, cls, "*= multiplies element by element", product);

        T* block = m[0];
        m.Resize(3, 2);
        kernels::Record(recorder, ok, cls, "Resize(3, 2) reshapes within the block",
                        m[0] == block && m[1] - m[0] == 2 && m[2] - m[1] == 2 && m.GetSize() == 6 &&
                            m.GetRows() == 3 && m.GetCols() == 2);
        m.Resize(6, 1);
        kernels::Record(recorder, ok, cls, "Resize to more rows grows the row table",
                        m[0] == block && m[5] - m[0] == 5 && m.GetCapacity() == 6);
        m.Resize(4, 4);
        kernels::Record(recorder, ok, cls, "Resize(4, 4) reallocates 16 elements",
                        m.GetSize() == 16 && m.GetCapacity() == 16 && m[3] - m[0] == 12);
    }
    {
        M m(2, 2);
        m.SetZero();
        bool threw = false;
        try {
            m /= static_cast<T>(0);
        } catch (const KivoException& e) {
            threw = e.code == KIVO_DIVIDE_BY_ZERO_ERROR;
        }
        kernels::Record(recorder, ok, cls, "division by the constant 0 throws 8001", threw);
    }
    {
        const T values[6] = {1, 2, 3, 4, 5, 6};
        M a;
        a.Import(values, 2, 3);
        M b(a);
        M c;
        c = a;
        M& alias = c;
        c = alias;
        kernels::Record(recorder, ok, cls, "deep copies and self-assignment",
                        b.IsEqual(a, 0.0f) && c.IsEqual(a, 0.0f) && b[0] != a[0] &&
                            c[1][2] == static_cast<T>(6));
        const T tail[3] = {10, 11, 12};
        c.Import(tail, 1, 3);
        c.Resize(2, 3);
        c[1][0] = 13;
        c += a;
        kernels::Record(recorder, ok, cls, "reshaping Import and addition",
                        c[0][0] == static_cast<T>(11) && c[1][0] == static_cast<T>(17) &&
                            c[1][2] == static_cast<T>(12) && !c.IsEqual(a, 0.5f));
    }
    {
        M m(2, 2);
        m.SetZero();
        V v(3);
        for (int k = 0; k < 3; ++k)
            v[k] = static_cast<T>(k + 1);
        m.Import(v);
        V row(2);
        row[0] = 8;
        row[1] = 9;
        m.Import(1, row);
        kernels::Record(recorder, ok, cls, "Import from vectors",
                        m[0][0] == T(1) && m[0][1] == T(2) && m[1][0] == T(8) && m[1][1] == T(9));
    }
    return ok;
}

}  // namespace

template <typename T>
bool BaseMatrix<T>::UnitTest(UnitTestRecorder& recorder) {
    bool ok = true;
    const char* cls = "BaseMatrix";
    {
        ProbeMatrix<T> m(2, 3);
        kernels::Record(recorder, ok, cls, "row table",
                        m[0] == m.Block() && m[1] == m.Block() + 3 && m.GetCapacity() == 6);
        m.Resize(1, 6);
        int r = 0;
        int c = 0;
        m.GetSize(r, c);
        kernels::Record(recorder, ok, cls, "Resize within capacity keeps the element count",
                        r == 1 && c == 6 && m.GetSize() == 6 && m[0] == m.Block());
        m.Resize(3, 3);
        kernels::Record(recorder, ok, cls, "Resize beyond capacity",
                        m.GetSize() == 9 && m.GetCapacity() == 9 && m[2] == m.Block() + 6);
    }
    {
        bool threw = false;
        try {
            BareMatrix<T> b;
            b.Grow(2, 2);
        } catch (const KivoException& e) {
            threw = e.code == KIVO_UNEXPECTED_SOFTWARE_ERROR;
        }
        kernels::Record(recorder, ok, cls, "template Alloc throws 8036", threw);
    }
    return ok;
}

bool MatReal32::UnitTest(UnitTestRecorder& recorder) {
    return MatrixSelfTest<MatReal32, float, VecReal32>(recorder, "MatReal32");
}

bool MatReal64::UnitTest(UnitTestRecorder& recorder) {
    return MatrixSelfTest<MatReal64, double, VecReal64>(recorder, "MatReal64");
}

template class BaseMatrix<float>;
template class BaseMatrix<double>;

}  // namespace Kivo
