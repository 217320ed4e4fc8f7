// Dense row-major real matrices: the storage template and its float and double classes.
#pragma once

#include <ombrel/Export.h>
#include <ombrel/math/Vector.h>

namespace Kivo {

class UnitTestRecorder;

/// One aligned row-major block of rows x columns elements with a table of row pointers, so that
/// `m[i][j]` is element (i, j).
///
/// Rules the rest of the library relies on:
/// - `GetSize()` is the element count set by construction or by the last growth, and equals
///   `GetCapacity()`. A reshape within capacity (`Resize` to no more elements) changes the shape
///   but deliberately keeps that count: read the current shape with `GetRows()`/`GetCols()`.
///   Element-wise arithmetic runs over the element count.
/// - Growth beyond capacity releases the block and allocates exactly rows x columns elements;
///   contents are neither kept nor cleared by any `Resize`.
/// - A negative dimension, or a shape whose element count does not fit in an int, is refused
///   with 8000 "memory allocation error" (no allocator can satisfy it); the matrix is unchanged.
/// - A matrix without elements has no row table: `operator[]` must not be used on it.
///
/// The template never allocates: its `Alloc` throws 8036 "unexpected software error".
/// `MatReal32` and `MatReal64` override it and copy deeply; the template's own field-by-field
/// copy is protected, since two owners of one block would release it twice.
template <typename T>
class OMBREL_API BaseMatrix {
  public:
    BaseMatrix();
    /// Records the shape, element count and capacity `r * c`; allocates nothing (the concrete
    /// class does).
    BaseMatrix(int r, int c);
    virtual ~BaseMatrix();

    /// Within capacity: shape `r` x `c` on the same block; the row table is refilled (and grown
    /// when the new shape has more rows than it holds), the element count is kept. Beyond
    /// capacity: block released, `r * c` new uninitialised elements; if that allocation
    /// throws, the matrix is left empty.
    void Resize(int r, int c);
    /// All-zero bytes over the rows x columns elements of the current shape.
    void SetZero();
    /// Row pointer of row `i`; no bounds check.
    T* operator[](int i) { return rows[i]; }
    const T* operator[](int i) const { return rows[i]; }
    int GetRows() const { return nRows; }
    int GetCols() const { return nCols; }
    int GetSize() const { return size; }
    void GetSize(int& r, int& c) const {
        r = nRows;
        c = nCols;
    }
    int GetCapacity() const { return capacity; }

    static bool UnitTest(UnitTestRecorder& recorder);

  protected:
    BaseMatrix(const BaseMatrix<T>& other);
    BaseMatrix<T>& operator=(const BaseMatrix<T>& other);

    /// Allocation hook: stores a block of `n` elements in `buffer` and a row table of
    /// `GetRows()` entries (see `AllocRowTable`). The template's own version throws 8036.
    virtual void Alloc(int n);
    /// Sets the shape and element count, allocates through `Alloc`, points `data` at the block
    /// and fills the row table. Does not release an earlier block.
    void Create(int r, int c);
    /// Releases the row table and the block when the element count is non-zero, then zeroes
    /// every field.
    void Del();
    /// Releases as `Del` does but leaves the fields as they are.
    void Dealloc();
    /// Fills the row table for the current shape (only when the element count is non-zero).
    void SetupPoints();
    /// For the concrete `Alloc`: a row table of `count` entries. On failure it releases
    /// `buffer` (which the caller has just allocated) and throws 8000.
    void AllocRowTable(int count);
    /// Exchanges every field with `other` (copy-and-swap assignment of the concrete classes).
    void Swap(BaseMatrix<T>& other);

    // The work behind the members of the concrete classes, written once for both precisions.
    enum class ElementOp { Add, Sub, Mul, Div };
    /// Deep copy of `other`'s shape, element count and elements into this empty matrix.
    void CopyConstruct(const BaseMatrix<T>& other);
    /// The concrete `Alloc`: `n` elements from `allocate` and the row table; 8000 on failure.
    void AllocBlock(T* (*allocate)(int), int n);
    /// Copies `n` elements into row `i` from its first column; 8005 for a row that does not
    /// exist or elements that do not fit.
    void ImportRow(int i, const T* src, int n);
    /// Copies `n` elements to the block from element `offset` on; 8005 if they do not fit.
    void CopyIn(const T* src, int n, long long offset);
    void CopyOut(T* dst, int n) const;
    void Combine(const BaseMatrix<T>& other, ElementOp op);
    void CombineConst(T value, ElementOp op);
    bool EqualTo(const BaseMatrix<T>& other, float tolerance) const;
    void DumpToFile(const char* path) const;
    void Print(int n) const;
    int GetElementSize() const { return static_cast<int>(sizeof(T)); }
    T* GetPtr() const { return data; }

    T* data;        // element (0, 0)
    T** rows;       // rows[i] is the first element of row i
    int nRows;      // row count
    int nCols;      // column count
    int size;       // element count from construction or the last growth
    T* buffer;      // the allocated block
    int capacity;   // elements the block holds
    int rowsAlloc;  // entries the row table holds
};

extern template class BaseMatrix<float>;
extern template class BaseMatrix<double>;

/// Single-precision dense matrix.
///
/// Operations on two matrices run over the target's element count; the other operand must
/// hold at least that many elements (its capacity), otherwise the call throws 8005 "invalid
/// input parameter" and changes nothing, instead of reading past the other block. Division by
/// a zero constant throws 8001 "divide-by-zero error" and leaves the matrix unchanged;
/// division by a matrix with a zero element stores every quotient (a zero divisor gives an
/// infinity signed like the dividend, NaN for 0/0) and then throws 8001.
class OMBREL_API MatReal32 : public BaseMatrix<float> {
  public:
    MatReal32();
    /// An `r` x `c` matrix, contents uninitialised.
    MatReal32(int r, int c);
    /// Deep copy of shape, element count and elements.
    MatReal32(const MatReal32& other);
    MatReal32& operator=(const MatReal32& other);
    ~MatReal32() override;

    /// Copies the vector's elements into the block from element (0, 0) on, row after row,
    /// whatever the shape. Throws 8005 if the vector is longer than the block.
    void Import(const VecReal32& v);
    /// Copies the vector into row `i` from its first column (a long vector runs on into the
    /// following rows). Throws 8005 if `i` is not a row or the vector runs past the block.
    void Import(int i, const VecReal32& v);
    /// Reshapes to `r` x `c` (as `Resize`) and copies `r * c` values from `src`.
    void Import(const float* src, int r, int c);
    /// Copies the first `n` elements of the block to `dst` (nothing for `n` < 1). Throws 8005
    /// if `n` exceeds the capacity.
    void Export(float* dst, int n) const;

    MatReal32& Add(const MatReal32& other);
    MatReal32& Sub(const MatReal32& other);
    /// Element-wise product (not the matrix product).
    MatReal32& DotMul(const MatReal32& other);
    MatReal32& Div(const MatReal32& other);
    MatReal32& Add(const float& value);
    MatReal32& Sub(const float& value);
    MatReal32& Mul(const float& value);
    MatReal32& Div(const float& value);
    MatReal32& operator+=(const MatReal32& other) { return Add(other); }
    MatReal32& operator-=(const MatReal32& other) { return Sub(other); }
    /// Element-wise, like `DotMul`.
    MatReal32& operator*=(const MatReal32& other) { return DotMul(other); }
    MatReal32& operator/=(const MatReal32& other) { return Div(other); }
    MatReal32& operator+=(const float& value) { return Add(value); }
    MatReal32& operator-=(const float& value) { return Sub(value); }
    MatReal32& operator*=(const float& value) { return Mul(value); }
    MatReal32& operator/=(const float& value) { return Div(value); }

    /// False when the row or column counts differ; otherwise true when every element differs
    /// from its counterpart by at most `tolerance` (in double precision; a NaN difference is
    /// not within any tolerance). Compares the element count (the smaller one of the two
    /// matrices if they differ), so two matrices without elements are equal. Prints nothing.
    bool IsEqual(const MatReal32& other, float tolerance) const;
    /// Writes the current shape as text, "%g " per element and a newline after each row, then
    /// prints "\n====<path> saved". Throws 8024 "error opening file".
    void Dump(const char* path) const;
    /// Prints the matrix to standard output, one row per line in the same form. With more than
    /// `2n` rows only the first and last `n` rows are printed around a "\n................."
    /// line; with more than `2n` columns a row shows its first and last `n` values around
    /// "... ".
    void Dump(int n) const;

    static bool UnitTest(UnitTestRecorder& recorder);

  protected:
    void Alloc(int n) override;
};

/// Double-precision dense matrix; the same members as `MatReal32`.
class OMBREL_API MatReal64 : public BaseMatrix<double> {
  public:
    MatReal64();
    MatReal64(int r, int c);
    MatReal64(const MatReal64& other);
    MatReal64& operator=(const MatReal64& other);
    ~MatReal64() override;

    void Import(const VecReal64& v);
    void Import(int i, const VecReal64& v);
    void Import(const double* src, int r, int c);
    void Export(double* dst, int n) const;

    MatReal64& Add(const MatReal64& other);
    MatReal64& Sub(const MatReal64& other);
    MatReal64& DotMul(const MatReal64& other);
    MatReal64& Div(const MatReal64& other);
    MatReal64& Add(const double& value);
    MatReal64& Sub(const double& value);
    MatReal64& Mul(const double& value);
    MatReal64& Div(const double& value);
    MatReal64& operator+=(const MatReal64& other) { return Add(other); }
    MatReal64& operator-=(const MatReal64& other) { return Sub(other); }
    MatReal64& operator*=(const MatReal64& other) { return DotMul(other); }
    MatReal64& operator/=(const MatReal64& other) { return Div(other); }
    MatReal64& operator+=(const double& value) { return Add(value); }
    MatReal64& operator-=(const double& value) { return Sub(value); }
    MatReal64& operator*=(const double& value) { return Mul(value); }
    MatReal64& operator/=(const double& value) { return Div(value); }

    bool IsEqual(const MatReal64& other, float tolerance) const;
    void Dump(const char* path) const;
    void Dump(int n) const;

    static bool UnitTest(UnitTestRecorder& recorder);

  protected:
    void Alloc(int n) override;
};

}  // namespace Kivo
