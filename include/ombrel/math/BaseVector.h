// Storage template under every vector class of the library.
#pragma once

#include <ombrel/Export.h>
#include <ombrel/math/Types.h>

namespace Kivo {

class UnitTestRecorder;

/// Owns (or, after the template's own shallow copy, shares) one aligned sample buffer and
/// exposes a view on it: `data`/`size` may be narrowed without copying (`Truncate`,
/// `ShiftLeft`) and are reset by `Resize`.
///
/// Rules the rest of the library relies on:
/// - capacity never shrinks; `Resize(n)` within capacity only moves the view back to the
///   buffer's start (contents kept, nothing cleared); growth releases the old buffer, discards
///   the contents and allocates exactly `n` elements;
/// - the buffer is released only when `size` is non-zero at that moment. A vector whose length
///   was set to 0 (`Resize(0)`, `Truncate(k, 0)`, `ShiftLeft(size)`) keeps its buffer
///   unreleased when destroyed: resize to a non-zero length first to get the memory back;
/// - no member checks indices, lengths or narrowing: the caller is trusted.
///
/// The template never allocates: its `Alloc` throws 8036 "unexpected software error". Each
/// concrete vector class overrides `Alloc` and deep-copies; copying a bare template is shallow.
/// Instantiated for unsigned char, short, int, unsigned int, float, double, Cplx32 and Cplx64.
template <typename T>
class OMBREL_API BaseVector {
  public:
    explicit BaseVector(int n);
    BaseVector(const BaseVector<T>& other);
    BaseVector<T>& operator=(const BaseVector<T>& other);
    virtual ~BaseVector();

    /// Within capacity: view of the first `n` elements of the buffer, contents kept. Beyond
    /// capacity: old buffer released, `n` new uninitialised elements. If that allocation
    /// throws, the vector is left empty.
    void Resize(int n);
    /// All-zero bytes over the `size` elements of the view.
    void SetZero();
    int GetSize() const { return size; }
    int GetCapacity() const { return capacity; }
    T& operator[](int i) { return data[i]; }
    T operator[](int i) const { return data[i]; }
    T GetLastValue() const { return data[size - 1]; }
    /// Narrows the view to `length` elements from `start`; always true, no checks.
    bool Truncate(int start, int length);
    /// Drops the first `k` elements of the view; always true, no checks.
    bool ShiftLeft(int k);
    /// CRC-32 of the view's bytes in memory order.
    unsigned int ComputeCRC32() const;

    static bool UnitTest(UnitTestRecorder& recorder);

  protected:
    virtual void Alloc(int n);
    void Create(int n);
    void Del();
    void Dealloc();
    int GetElementSize() const { return static_cast<int>(sizeof(T)); }
    T* GetPtr() const { return data; }

    T* data;
    int size;
    T* buffer;
    int capacity;
};

extern template class BaseVector<unsigned char>;
extern template class BaseVector<short>;
extern template class BaseVector<int>;
extern template class BaseVector<unsigned int>;
extern template class BaseVector<float>;
extern template class BaseVector<double>;
extern template class BaseVector<Cplx32>;
extern template class BaseVector<Cplx64>;

}  // namespace Kivo
