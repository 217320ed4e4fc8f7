#define KIVO_SOURCE_UNIT "src/math/VectorStorage"

#include <ombrel/infra/UnitTestRecorder.h>
#include <ombrel/math/BaseVector.h>
#include <ombrel/math/Checksum.h>
#include <ombrel/math/KivoException.h>
#include <ombrel/math/Memory.h>

#include "kernels/Allocator.h"
#include "kernels/Error.h"
#include "kernels/SelfTest.h"

#include <cstring>
#include <type_traits>

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

}  // namespace Kivo
