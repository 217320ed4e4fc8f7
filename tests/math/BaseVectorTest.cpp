// The storage template: view, resize and release rules, for all eight element types.
#include <ombrel/math/BaseVector.h>
#include <ombrel/math/Checksum.h>
#include <ombrel/math/KivoException.h>
#include <ombrel/math/Memory.h>

#include "kernels/Allocator.h"

#include <gtest/gtest.h>

#include <cstring>

using namespace Kivo;

namespace {

// A concrete vector as the library's vector classes make one: the template plus an allocation
// hook. Exposes the buffer so the tests can see the view's position.
template <typename T>
class TestVector : public BaseVector<T> {
  public:
    explicit TestVector(int n) : BaseVector<T>(n) {
        if (n) {
            Alloc(n);
            this->data = this->buffer;
        }
    }
    T* Buffer() const { return this->buffer; }
    T* Data() const { return this->GetPtr(); }
    int ElementSize() const { return this->GetElementSize(); }
    void CallDel() { this->Del(); }
    void CallDealloc() { this->Dealloc(); }
    void CallCreate(int n) { this->Create(n); }
    void Forget() {  // after a test took the buffer over
        this->data = this->buffer = nullptr;
        this->size = this->capacity = 0;
    }

  protected:
    void Alloc(int n) override {
        this->buffer = static_cast<T*>(kernels::AlignedAlloc(n, sizeof(T)));
        if (!this->buffer) throw KivoException{8000, "memory allocation error", "test", __LINE__};
    }
};

template <typename T>
class BareVector : public BaseVector<T> {
  public:
    BareVector() : BaseVector<T>(0) {}
    void Grow(int n) { this->Create(n); }
};

template <typename T>
void FillBytes(TestVector<T>& v, int n) {
    auto* bytes = reinterpret_cast<unsigned char*>(v.Buffer());
    for (int i = 0; i < n * static_cast<int>(sizeof(T)); ++i)
        bytes[i] = static_cast<unsigned char>(i * 7 + 1);
}

}  // namespace

template <typename T>
class BaseVectorTyped : public ::testing::Test {};
using ElementTypes =
    ::testing::Types<unsigned char, short, int, unsigned int, float, double, Cplx32, Cplx64>;
TYPED_TEST_SUITE(BaseVectorTyped, ElementTypes);

TYPED_TEST(BaseVectorTyped, ElementSize) {
    TestVector<TypeParam> v(1);
    EXPECT_EQ(v.ElementSize(), static_cast<int>(sizeof(TypeParam)));
}

TYPED_TEST(BaseVectorTyped, ResizeWithinCapacityRestartsTheViewWithOldValues) {
    TestVector<TypeParam> v(100);
    FillBytes(v, 100);
    std::vector<unsigned char> before(10 * sizeof(TypeParam));
    std::memcpy(before.data(), v.Buffer(), before.size());
    v.ShiftLeft(5);
    EXPECT_EQ(v.Data(), v.Buffer() + 5);
    v.Resize(10);
    EXPECT_EQ(v.GetSize(), 10);
    EXPECT_EQ(v.GetCapacity(), 100);
    EXPECT_EQ(v.Data(), v.Buffer());
    EXPECT_EQ(std::memcmp(&v[0], before.data(), before.size()), 0);
}

TYPED_TEST(BaseVectorTyped, ResizeBeyondCapacityReallocatesExactly) {
    TestVector<TypeParam> v(8);
    const long long allocs = kernels::AllocationCount();
    const long long frees = kernels::FreeCount();
    v.Resize(20);
    EXPECT_EQ(v.GetSize(), 20);
    EXPECT_EQ(v.GetCapacity(), 20);
    EXPECT_EQ(v.Data(), v.Buffer());
    EXPECT_EQ(kernels::AllocationCount(), allocs + 1);
    EXPECT_EQ(kernels::FreeCount(), frees + 1);  // the old buffer went back
    EXPECT_EQ(kernels::LastAllocationBytes(), 20 * static_cast<long long>(sizeof(TypeParam)));
}

TYPED_TEST(BaseVectorTyped, FailedGrowthLeavesTheVectorEmpty) {
    TestVector<TypeParam> v(4);
    kernels::ScopedAllocFailure fail;
    EXPECT_THROW(v.Resize(10), KivoException);
    EXPECT_EQ(v.GetSize(), 0);
    EXPECT_EQ(v.GetCapacity(), 0);
    EXPECT_EQ(v.Buffer(), nullptr);
    EXPECT_EQ(v.Data(), nullptr);
}

TYPED_TEST(BaseVectorTyped, TruncateNarrowsTheView) {
    TestVector<TypeParam> v(10);
    EXPECT_TRUE(v.Truncate(2, 3));
    EXPECT_EQ(v.GetSize(), 3);
    EXPECT_EQ(v.GetCapacity(), 10);
    EXPECT_EQ(v.Data(), v.Buffer() + 2);
    EXPECT_EQ(&v[2], v.Buffer() + 4);
}

TYPED_TEST(BaseVectorTyped, ShiftLeftDropsElements) {
    TestVector<TypeParam> v(10);
    FillBytes(v, 10);
    EXPECT_TRUE(v.ShiftLeft(4));
    EXPECT_EQ(v.GetSize(), 6);
    EXPECT_EQ(v.Data(), v.Buffer() + 4);
    EXPECT_EQ(std::memcmp(&v[0], v.Buffer() + 4, sizeof(TypeParam)), 0);
}

TYPED_TEST(BaseVectorTyped, IndexAndLastValue) {
    TestVector<TypeParam> v(5);
    FillBytes(v, 5);
    const TypeParam last = v.GetLastValue();
    EXPECT_EQ(std::memcmp(&last, v.Buffer() + 4, sizeof(TypeParam)), 0);
    const TestVector<TypeParam>& cv = v;
    const TypeParam second = cv[1];
    EXPECT_EQ(std::memcmp(&second, v.Buffer() + 1, sizeof(TypeParam)), 0);
}

TYPED_TEST(BaseVectorTyped, ComputeCRC32CoversTheViewBytes) {
    TestVector<TypeParam> v(9);
    FillBytes(v, 9);
    v.Truncate(1, 7);
    const int n = 7 * static_cast<int>(sizeof(TypeParam));
    EXPECT_EQ(v.ComputeCRC32(), Checksum::ComputeCRC32(n, v.Buffer() + 1, 0));
}

TYPED_TEST(BaseVectorTyped, ResizedToZeroKeepsItsBufferOnDestruction) {
    TypeParam* kept = nullptr;
    const long long frees = kernels::FreeCount();
    {
        TestVector<TypeParam> v(6);
        kept = v.Buffer();
        v.Resize(0);
        EXPECT_EQ(v.GetCapacity(), 6);
    }
    EXPECT_EQ(kernels::FreeCount(), frees);  // deliberately not released
    KivoDelete(kept);                        // the test gives it back itself
}

TYPED_TEST(BaseVectorTyped, ShallowCopyOfTheTemplateSharesTheBuffer) {
    TestVector<TypeParam> v(3);
    BaseVector<TypeParam> shallow(0);
    shallow = v;
    EXPECT_EQ(&shallow[0], v.Buffer());
    EXPECT_EQ(shallow.GetSize(), 3);
    BaseVector<TypeParam> copied(v);
    EXPECT_EQ(&copied[0], v.Buffer());
    // Detach both so only `v` releases the buffer.
    shallow.Truncate(0, 0);
    copied.Truncate(0, 0);
}

TYPED_TEST(BaseVectorTyped, DelAndDealloc) {
    TestVector<TypeParam> v(3);
    const long long frees = kernels::FreeCount();
    TypeParam* b = v.Buffer();
    v.CallDealloc();  // releases, leaves the fields
    EXPECT_EQ(kernels::FreeCount(), frees + 1);
    EXPECT_EQ(v.Buffer(), b);
    v.Forget();
    v.CallCreate(4);
    EXPECT_EQ(v.GetSize(), 4);
    EXPECT_EQ(v.GetCapacity(), 4);
    v.CallDel();
    EXPECT_EQ(kernels::FreeCount(), frees + 2);
    EXPECT_EQ(v.GetSize(), 0);
    EXPECT_EQ(v.Buffer(), nullptr);
}

TYPED_TEST(BaseVectorTyped, TemplateAllocThrowsUnexpectedSoftwareError) {
    BareVector<TypeParam> b;
    try {
        b.Grow(3);
        FAIL() << "not thrown";
    } catch (const KivoException& e) {
        EXPECT_EQ(e.code, 8036);
        EXPECT_STREQ(e.message, "unexpected software error");
        EXPECT_STREQ(e.file, "src/math/VectorStorage");
    }
}

TEST(BaseVector, SetZeroOnCplx64OfLengthThreeClearsExactly48Bytes) {
    TestVector<Cplx64> v(4);
    std::memset(v.Buffer(), 0xFF, 4 * sizeof(Cplx64));
    v.Resize(3);
    v.SetZero();
    const auto* bytes = reinterpret_cast<const unsigned char*>(v.Buffer());
    for (int i = 0; i < 48; ++i)
        ASSERT_EQ(bytes[i], 0) << i;
    for (int i = 48; i < 64; ++i)
        ASSERT_EQ(bytes[i], 0xFF) << i;
}

TEST(BaseVector, CrcOfFloatAndByteVectors) {
    TestVector<float> f(5);
    for (int i = 0; i < 5; ++i)
        f[i] = 0.5f * static_cast<float>(i);
    EXPECT_EQ(f.ComputeCRC32(), Checksum::ComputeCRC32(20, f.Buffer(), 0));
    TestVector<unsigned char> u(5);
    for (int i = 0; i < 5; ++i)
        u[i] = static_cast<unsigned char>('a' + i);
    EXPECT_EQ(u.ComputeCRC32(), Checksum::ComputeCRC32(5, "abcde", 0));
}

TEST(BaseVector, EmptyVectorCrcIsZero) {
    TestVector<float> f(0);
    EXPECT_EQ(f.GetSize(), 0);
    EXPECT_EQ(f.ComputeCRC32(), 0u);
}
