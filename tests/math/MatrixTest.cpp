// Dense real matrices: storage and reshaping, copies, element-wise arithmetic against slow
// references, errors and dumps, for both precisions.
#include <ombrel/infra/UnitTestRecorder.h>
#include <ombrel/math/KivoException.h>
#include <ombrel/math/Matrix.h>
#include <ombrel/math/Vector.h>

#include "kernels/Allocator.h"
#include "support/TestUtil.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <random>
#include <string>
#include <vector>

using namespace Kivo;

namespace {

template <typename M>
struct Traits;
template <>
struct Traits<MatReal32> {
    using T = float;
    using Wide = double;  // float + - * / evaluated in double and rounded once is exact
    using Vec = VecReal32;
};
template <>
struct Traits<MatReal64> {
    using T = double;
    using Wide = long double;
    using Vec = VecReal64;
};

using ombrel_test::UlpDistance;

template <typename M>
void FillRandom(M& m, std::mt19937& rng, bool avoidZero = false) {
    using T = typename Traits<M>::T;
    std::uniform_real_distribution<double> mag(-3.0, 3.0);
    std::uniform_int_distribution<int> sign(0, 1);
    for (int i = 0; i < m.GetRows(); ++i)
        for (int j = 0; j < m.GetCols(); ++j) {
            // Values over six decades so that additions lose bits and products round.
            T v = static_cast<T>(std::pow(10.0, mag(rng)) * (sign(rng) ? 1 : -1));
            if (!avoidZero && (i * 7 + j) % 29 == 3) v = T(0);
            m[i][j] = v;
        }
}

template <typename M>
std::vector<typename Traits<M>::T> Elements(const M& m) {
    std::vector<typename Traits<M>::T> out(static_cast<std::size_t>(m.GetSize()));
    m.Export(out.data(), m.GetSize());
    return out;
}

using ombrel_test::Catch;

using ombrel_test::ReadFile;

// The template alone: its allocation hook is reached on purpose.
template <typename T>
class BareMatrix : public BaseMatrix<T> {
  public:
    void Grow(int r, int c) { this->Create(r, c); }
};

template <typename M>
class MatrixTyped : public testing::Test {};
using MatrixTypes = testing::Types<MatReal32, MatReal64>;
TYPED_TEST_SUITE(MatrixTyped, MatrixTypes);

}  // namespace

// --- storage, row pointers, reshaping ---------------------------------------------------------

TYPED_TEST(MatrixTyped, TwoByThreeHasRowsThreeElementsApartAndSizeSix) {
    TypeParam m(2, 3);
    EXPECT_EQ(m[1] - m[0], 3);
    EXPECT_EQ(m.GetSize(), 6);
    EXPECT_EQ(m.GetCapacity(), 6);
    EXPECT_EQ(m.GetRows(), 2);
    EXPECT_EQ(m.GetCols(), 3);
    int r = 0;
    int c = 0;
    m.GetSize(r, c);
    EXPECT_EQ(r, 2);
    EXPECT_EQ(c, 3);
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(m[0]) % 64, 0u);
    const TypeParam& cm = m;
    EXPECT_EQ(cm[1], m[1]);
}

TYPED_TEST(MatrixTyped, ResizeWithinCapacityKeepsBlockContentsAndElementCount) {
    using T = typename Traits<TypeParam>::T;
    TypeParam m(2, 3);
    for (int k = 0; k < 6; ++k)
        m[k / 3][k % 3] = static_cast<T>(k);
    T* block = m[0];
    const long long allocs = kernels::AllocationCount();
    m.Resize(3, 2);
    // Three rows where the table was made for two: only a larger row table is allocated.
    EXPECT_EQ(kernels::AllocationCount(), allocs + 1);
    EXPECT_EQ(m[0], block);
    EXPECT_EQ(m[1] - m[0], 2);
    EXPECT_EQ(m[2] - m[1], 2);
    EXPECT_EQ(m.GetSize(), 6);
    EXPECT_EQ(m.GetRows(), 3);
    EXPECT_EQ(m.GetCols(), 2);
    for (int k = 0; k < 6; ++k)
        EXPECT_EQ(m[k / 2][k % 2], static_cast<T>(k));
}

TYPED_TEST(MatrixTyped, ReshapeToMoreRowsThanAllocatedGrowsTheRowTable) {
    using T = typename Traits<TypeParam>::T;
    TypeParam m(1, 6);
    for (int k = 0; k < 6; ++k)
        m[0][k] = static_cast<T>(10 * k);
    T* block = m[0];
    m.Resize(6, 1);
    ASSERT_EQ(m.GetRows(), 6);
    for (int i = 0; i < 6; ++i) {
        EXPECT_EQ(m[i], block + i);
        EXPECT_EQ(m[i][0], static_cast<T>(10 * i));
    }
    m.Resize(2, 2);  // fewer elements, fewer rows: same block, larger table kept
    EXPECT_EQ(m[1], block + 2);
    EXPECT_EQ(m.GetSize(), 6);
    m.Resize(3, 0);
    EXPECT_EQ(m[2], block);  // no columns: every row starts at the block
}

TYPED_TEST(MatrixTyped, ResizeBeyondCapacityReallocatesExactly) {
    TypeParam m(2, 3);
    const long long allocs = kernels::AllocationCount();
    const long long frees = kernels::FreeCount();
    m.Resize(4, 4);
    // The old block and row table are released, a new block of 16 and a table of 4 allocated.
    EXPECT_EQ(kernels::AllocationCount(), allocs + 2);
    EXPECT_EQ(kernels::FreeCount(), frees + 2);
    EXPECT_EQ(kernels::LastAllocationBytes(), 4 * static_cast<long long>(sizeof(void*)));
    EXPECT_EQ(m.GetSize(), 16);
    EXPECT_EQ(m.GetCapacity(), 16);
    EXPECT_EQ(m.GetRows(), 4);
    EXPECT_EQ(m[3] - m[0], 12);
}

TYPED_TEST(MatrixTyped, SetZeroClearsTheCurrentShapeOnly) {
    using T = typename Traits<TypeParam>::T;
    TypeParam m(2, 3);
    for (int k = 0; k < 6; ++k)
        m[k / 3][k % 3] = static_cast<T>(k + 1);
    m.Resize(1, 2);
    m.SetZero();
    m.Resize(2, 3);
    const std::vector<T> expected = {0, 0, 3, 4, 5, 6};
    EXPECT_EQ(Elements(m), expected);
    m.SetZero();
    EXPECT_EQ(Elements(m), std::vector<T>(6, T(0)));
}

TYPED_TEST(MatrixTyped, EmptyMatricesAllocateNothingAndEveryMemberIsHarmless) {
    using T = typename Traits<TypeParam>::T;
    const long long allocs = kernels::AllocationCount();
    TypeParam e;
    TypeParam zr(0, 5);
    TypeParam zc(5, 0);
    EXPECT_EQ(kernels::AllocationCount(), allocs);
    EXPECT_EQ(e.GetSize(), 0);
    EXPECT_EQ(e.GetRows(), 0);
    EXPECT_EQ(zr.GetRows(), 0);
    EXPECT_EQ(zr.GetCols(), 5);
    EXPECT_EQ(zc.GetRows(), 5);
    EXPECT_EQ(zc.GetSize(), 0);
    EXPECT_EQ(zc.GetCapacity(), 0);

    TypeParam other;
    e += other;
    e -= other;
    e *= other;
    e /= other;
    e += T(1);
    e *= T(2);
    e.SetZero();
    zc.SetZero();
    T sink = 7;
    e.Export(&sink, 0);
    EXPECT_EQ(sink, T(7));
    EXPECT_TRUE(e.IsEqual(other, 0.0f));
    EXPECT_TRUE(zc.IsEqual(TypeParam(5, 0), 0.0f));
    EXPECT_FALSE(zc.IsEqual(zr, 0.0f));

    TypeParam copy(zc);
    EXPECT_EQ(copy.GetRows(), 5);
    EXPECT_EQ(copy.GetSize(), 0);
    EXPECT_EQ(kernels::AllocationCount(), allocs);
    TypeParam assigned(2, 2);
    assigned = e;
    EXPECT_EQ(assigned.GetSize(), 0);
    EXPECT_EQ(assigned.GetRows(), 0);

    testing::internal::CaptureStdout();
    e.Dump(3);
    zc.Dump(3);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");

    e.Resize(2, 2);  // growth from nothing
    EXPECT_EQ(e.GetSize(), 4);
    EXPECT_EQ(e[1] - e[0], 2);
}

// --- errors of shape and allocation -------------------------------------------------------------

TYPED_TEST(MatrixTyped, FailedAllocationThrows8000AndLeaksNothing) {
    const long long live = kernels::AllocationCount() - kernels::FreeCount();
    for (int successes : {0, 1}) {  // the block fails, or the block succeeds and the table fails
        kernels::ScopedAllocFailure fail(successes);
        const KivoException e = Catch([] { TypeParam m(3, 4); });
        EXPECT_EQ(e.code, 8000);
        EXPECT_STREQ(e.message, "memory allocation error");
        EXPECT_STREQ(e.file, "src/math/Matrix");
        EXPECT_GT(e.line, 0);
    }
    EXPECT_EQ(kernels::AllocationCount() - kernels::FreeCount(), live);
}

TYPED_TEST(MatrixTyped, FailedGrowthLeavesAnEmptyMatrix) {
    const long long live = kernels::AllocationCount() - kernels::FreeCount();
    {
        TypeParam m(2, 2);
        for (int successes : {0, 1}) {
            TypeParam n(2, 2);
            kernels::ScopedAllocFailure fail(successes);
            EXPECT_EQ(Catch([&] { n.Resize(10, 10); }).code, 8000);
            EXPECT_EQ(n.GetSize(), 0);
            EXPECT_EQ(n.GetRows(), 0);
            EXPECT_EQ(n.GetCols(), 0);
            EXPECT_EQ(n.GetCapacity(), 0);
        }
        TypeParam target(1, 1);
        target[0][0] = 5;
        kernels::ScopedAllocFailure fail(0);
        EXPECT_EQ(Catch([&] { TypeParam copy(m); }).code, 8000);
        EXPECT_EQ(Catch([&] { target = m; }).code, 8000);
        EXPECT_EQ(target.GetSize(), 1);  // a failed assignment leaves the target as it was
        EXPECT_EQ(target[0][0], 5);
    }
    EXPECT_EQ(kernels::AllocationCount() - kernels::FreeCount(), live);
}

TYPED_TEST(MatrixTyped, FailedRowTableGrowthLeavesTheShapeUnchanged) {
    TypeParam m(2, 3);
    kernels::ScopedAllocFailure fail(0);
    EXPECT_EQ(Catch([&] { m.Resize(6, 1); }).code, 8000);
    EXPECT_EQ(m.GetRows(), 2);
    EXPECT_EQ(m.GetCols(), 3);
    EXPECT_EQ(m[1] - m[0], 3);
    m.Resize(1, 3);  // fewer rows needs no new table
    EXPECT_EQ(m.GetRows(), 1);
}

TYPED_TEST(MatrixTyped, NegativeOrOverflowingShapesAreRefusedWith8000) {
    EXPECT_EQ(Catch([] { TypeParam m(-1, 3); }).code, 8000);
    EXPECT_EQ(Catch([] { TypeParam m(3, -1); }).code, 8000);
    EXPECT_EQ(Catch([] { TypeParam m(100000, 100000); }).code, 8000);
    EXPECT_EQ(Catch([] { TypeParam m(-100000, -100000); }).code, 8000);
    TypeParam m(2, 3);
    EXPECT_EQ(Catch([&] { m.Resize(-2, -3); }).code, 8000);
    EXPECT_EQ(Catch([&] { m.Resize(0, -1); }).code, 8000);
    EXPECT_EQ(Catch([&] { m.Resize(65536, 65536); }).code, 8000);
    EXPECT_EQ(m.GetRows(), 2);  // refused before anything changed
    EXPECT_EQ(m.GetCols(), 3);
    EXPECT_EQ(m.GetSize(), 6);
}

TYPED_TEST(MatrixTyped, TheTemplatesOwnAllocationHookThrows8036) {
    using T = typename Traits<TypeParam>::T;
    BareMatrix<T> b;
    const KivoException e = Catch([&] { b.Grow(2, 2); });
    EXPECT_EQ(e.code, 8036);
    EXPECT_STREQ(e.message, "unexpected software error");
    EXPECT_STREQ(e.file, "src/math/Matrix");
    EXPECT_EQ(b.GetSize(), 0);
    EXPECT_EQ(b.GetRows(), 0);
}

// --- copies -----------------------------------------------------------------------------------

TYPED_TEST(MatrixTyped, CopiesAreDeepAndKeepShapeAndElementCount) {
    using T = typename Traits<TypeParam>::T;
    std::mt19937 rng(7);
    TypeParam a(4, 5);
    FillRandom(a, rng);
    TypeParam b(a);
    EXPECT_NE(b[0], a[0]);
    EXPECT_EQ(Elements(b), Elements(a));
    EXPECT_EQ(b[3] - b[0], 15);
    TypeParam c(1, 1);
    c = a;
    EXPECT_NE(c[0], a[0]);
    EXPECT_EQ(Elements(c), Elements(a));
    EXPECT_EQ(c.GetCapacity(), 20);
    a[0][0] = T(1234);
    EXPECT_NE(b[0][0], T(1234));
    EXPECT_NE(c[0][0], T(1234));

    // A reshaped source: same rows, columns and element count in the copy.
    a.Resize(5, 2);
    TypeParam d(a);
    EXPECT_EQ(d.GetRows(), 5);
    EXPECT_EQ(d.GetCols(), 2);
    EXPECT_EQ(d.GetSize(), 20);
    EXPECT_EQ(d[4] - d[0], 8);
    EXPECT_EQ(Elements(d), Elements(a));
    a.Resize(0, 4);
    TypeParam z(a);
    EXPECT_EQ(z.GetRows(), 0);
    EXPECT_EQ(z.GetSize(), 20);
}

TYPED_TEST(MatrixTyped, SelfAssignmentLeavesTheMatrixUnchanged) {
    std::mt19937 rng(8);
    TypeParam a(3, 3);
    FillRandom(a, rng);
    const auto before = Elements(a);
    auto* block = a[0];
    const long long allocs = kernels::AllocationCount();
    TypeParam& alias = a;
    a = alias;
    EXPECT_EQ(kernels::AllocationCount(), allocs);
    EXPECT_EQ(a[0], block);
    EXPECT_EQ(Elements(a), before);
}

// --- arithmetic ---------------------------------------------------------------------------------

namespace {

enum class Op { Add, Sub, Mul, Div };

template <typename M>
void CheckElementWise(Op op, int r, int c, unsigned seed) {
    using T = typename Traits<M>::T;
    using W = typename Traits<M>::Wide;
    std::mt19937 rng(seed);
    M a(r, c);
    M b(r, c);
    FillRandom(a, rng);
    FillRandom(b, rng, op == Op::Div);
    const auto x = Elements(a);
    const auto y = Elements(b);
    switch (op) {
        case Op::Add:
            a += b;
            break;
        case Op::Sub:
            a -= b;
            break;
        case Op::Mul:
            a *= b;
            break;
        case Op::Div:
            a /= b;
            break;
    }
    const auto z = Elements(a);
    for (std::size_t k = 0; k < x.size(); ++k) {
        const W p = x[k];
        const W q = y[k];
        const W exact = op == Op::Add   ? p + q
                        : op == Op::Sub ? p - q
                        : op == Op::Mul ? p * q
                                        : p / q;
        const T ref = static_cast<T>(exact);
        if constexpr (sizeof(T) == 4) {
            // One rounding of the double result is the correctly rounded float result.
            ASSERT_EQ(z[k], ref) << "element " << k << " of " << r << "x" << c;
        } else {
            // The long double reference rounds twice; it may differ by one unit in rare cases.
            ASSERT_LE(UlpDistance(z[k], ref), 1) << "element " << k << " of " << r << "x" << c;
        }
    }
}

template <typename M>
void CheckConstant(Op op, int r, int c, unsigned seed) {
    using T = typename Traits<M>::T;
    using W = typename Traits<M>::Wide;
    std::mt19937 rng(seed);
    M a(r, c);
    FillRandom(a, rng);
    const T v = static_cast<T>(-0.37109375 * (1 + seed % 5));
    const auto x = Elements(a);
    switch (op) {
        case Op::Add:
            a += v;
            break;
        case Op::Sub:
            a -= v;
            break;
        case Op::Mul:
            a *= v;
            break;
        case Op::Div:
            a /= v;
            break;
    }
    const auto z = Elements(a);
    for (std::size_t k = 0; k < x.size(); ++k) {
        const W p = x[k];
        const W q = v;
        const W exact = op == Op::Add   ? p + q
                        : op == Op::Sub ? p - q
                        : op == Op::Mul ? p * q
                                        : p / q;
        const T ref = static_cast<T>(exact);
        if constexpr (sizeof(T) == 4)
            ASSERT_EQ(z[k], ref) << "element " << k;
        else
            ASSERT_LE(UlpDistance(z[k], ref), 1) << "element " << k;
    }
}

// Shapes whose element counts cover every vector tail (1 to 35), a few rows of odd widths and
// a block well beyond the caches' line granularity.
const int kShapes[][2] = {{1, 1},  {1, 2},  {1, 3},  {2, 2},   {1, 5},   {3, 2},    {1, 7},  {2, 4},
                          {3, 3},  {2, 5},  {1, 11}, {3, 4},   {1, 13},  {2, 7},    {3, 5},  {4, 4},
                          {1, 17}, {3, 6},  {1, 19}, {4, 5},   {3, 7},   {2, 11},   {1, 23}, {4, 6},
                          {5, 5},  {2, 13}, {3, 9},  {4, 7},   {1, 29},  {5, 6},    {1, 31}, {4, 8},
                          {3, 11}, {2, 17}, {5, 7},  {33, 31}, {64, 65}, {257, 129}};

}  // namespace

TYPED_TEST(MatrixTyped, ElementWiseArithmeticMatchesAWiderReference) {
    unsigned seed = 1;
    for (const auto& s : kShapes)
        for (Op op : {Op::Add, Op::Sub, Op::Mul, Op::Div})
            CheckElementWise<TypeParam>(op, s[0], s[1], seed++);
}

TYPED_TEST(MatrixTyped, ConstantArithmeticMatchesAWiderReference) {
    unsigned seed = 100;
    for (const auto& s : kShapes)
        for (Op op : {Op::Add, Op::Sub, Op::Mul, Op::Div})
            CheckConstant<TypeParam>(op, s[0], s[1], seed++);
}

TYPED_TEST(MatrixTyped, TimesAssignWithAMatrixMultipliesElementByElement) {
    using T = typename Traits<TypeParam>::T;
    TypeParam a(2, 2);
    TypeParam b(2, 2);
    const T av[] = {1, 2, 3, 4};
    const T bv[] = {5, 6, 7, 8};
    a.Import(av, 2, 2);
    b.Import(bv, 2, 2);
    TypeParam& r = (a *= b);
    EXPECT_EQ(&r, &a);
    // The matrix product would be 19 22 / 43 50.
    EXPECT_EQ(Elements(a), (std::vector<T>{5, 12, 21, 32}));
    a.DotMul(b);
    EXPECT_EQ(Elements(a), (std::vector<T>{25, 72, 147, 256}));
}

TYPED_TEST(MatrixTyped, NamedMembersAndOperatorsAgree) {
    using T = typename Traits<TypeParam>::T;
    std::mt19937 rng(21);
    TypeParam a(5, 6);
    TypeParam b(5, 6);
    FillRandom(a, rng);
    FillRandom(b, rng, true);
    TypeParam x(a);
    TypeParam y(a);
    x.Add(b).Sub(T(2)).DotMul(b).Div(b).Mul(T(3)).Add(T(0.5)).Sub(b).Div(T(7));
    ((((((((y += b) -= T(2)) *= b) /= b) *= T(3)) += T(0.5)) -= b) /= T(7));
    EXPECT_EQ(Elements(x), Elements(y));
}

TYPED_TEST(MatrixTyped, AMatrixMayBeItsOwnOperand) {
    using T = typename Traits<TypeParam>::T;
    std::mt19937 rng(3);
    TypeParam a(7, 9);
    FillRandom(a, rng, true);
    const auto x = Elements(a);
    a.Add(a);
    const auto twice = Elements(a);
    for (std::size_t k = 0; k < x.size(); ++k)
        ASSERT_EQ(twice[k], x[k] + x[k]);
    a.DotMul(a);
    const auto y = Elements(a);
    for (std::size_t k = 0; k < x.size(); ++k)
        ASSERT_EQ(y[k], (x[k] + x[k]) * (x[k] + x[k]));
    a.Div(a);
    EXPECT_EQ(Elements(a), std::vector<T>(x.size(), T(1)));
    a.Sub(a);
    EXPECT_EQ(Elements(a), std::vector<T>(x.size(), T(0)));
}

TYPED_TEST(MatrixTyped, ArithmeticRunsOverTheElementCountAfterAReshape) {
    using T = typename Traits<TypeParam>::T;
    TypeParam a(2, 3);
    TypeParam b(2, 3);
    for (int k = 0; k < 6; ++k) {
        a[k / 3][k % 3] = static_cast<T>(k);
        b[k / 3][k % 3] = static_cast<T>(100);
    }
    a.Resize(2, 2);  // shape 2 x 2 over the same six elements
    a += b;
    a += T(1);
    a.Resize(2, 3);
    EXPECT_EQ(Elements(a), (std::vector<T>{101, 102, 103, 104, 105, 106}));
}

TYPED_TEST(MatrixTyped, AShorterOtherOperandIsRefusedWith8005) {
    using T = typename Traits<TypeParam>::T;
    TypeParam a(3, 3);
    a.SetZero();
    TypeParam small(2, 2);
    small.SetZero();
    for (Op op : {Op::Add, Op::Sub, Op::Mul, Op::Div}) {
        const KivoException e = Catch([&] {
            switch (op) {
                case Op::Add:
                    a += small;
                    break;
                case Op::Sub:
                    a -= small;
                    break;
                case Op::Mul:
                    a *= small;
                    break;
                case Op::Div:
                    a /= small;
                    break;
            }
        });
        EXPECT_EQ(e.code, 8005);
        EXPECT_STREQ(e.message, "invalid input parameter");
    }
    EXPECT_EQ(Elements(a), std::vector<T>(9, T(0)));
    // A larger operand is fine: the target's element count governs.
    TypeParam big(4, 4);
    for (int k = 0; k < 16; ++k)
        big[k / 4][k % 4] = static_cast<T>(k);
    small += big;
    EXPECT_EQ(Elements(small), (std::vector<T>{0, 1, 2, 3}));
}

TYPED_TEST(MatrixTyped, ArithmeticAllocatesNothing) {
    using T = typename Traits<TypeParam>::T;
    TypeParam a(16, 16);
    TypeParam b(16, 16);
    a.SetZero();
    b.SetZero();
    b += T(2);
    const long long allocs = kernels::AllocationCount();
    a += b;
    a -= b;
    a *= b;
    a /= b;
    a += T(1);
    a -= T(1);
    a *= T(3);
    a /= T(3);
    EXPECT_EQ(kernels::AllocationCount(), allocs);
    EXPECT_EQ(Elements(a), std::vector<T>(256, T(0)));
}

// --- division by zero ---------------------------------------------------------------------------

TYPED_TEST(MatrixTyped, DividingByTheConstantZeroThrows8001AndChangesNothing) {
    using T = typename Traits<TypeParam>::T;
    TypeParam m(2, 3);
    for (int k = 0; k < 6; ++k)
        m[k / 3][k % 3] = static_cast<T>(k + 1);
    const auto before = Elements(m);
    for (T zero : {T(0), -T(0)}) {
        const KivoException e = Catch([&] { m /= zero; });
        EXPECT_EQ(e.code, 8001);
        EXPECT_STREQ(e.message, "divide-by-zero error");
        EXPECT_STREQ(e.file, "src/math/Matrix");
        EXPECT_EQ(Catch([&] { m.Div(zero); }).code, 8001);
    }
    EXPECT_EQ(Elements(m), before);
    TypeParam empty;
    EXPECT_EQ(Catch([&] { empty /= T(0); }).code, 8001);
}

TYPED_TEST(MatrixTyped, DividingByAMatrixWithZerosStoresEveryQuotientThenThrows8001) {
    using T = typename Traits<TypeParam>::T;
    constexpr T inf = std::numeric_limits<T>::infinity();
    TypeParam a(2, 3);
    TypeParam b(2, 3);
    const T av[] = {1, -2, 0, 6, 5, -4};
    const T bv[] = {0, -T(0), 0, 3, -T(0), 2};
    a.Import(av, 2, 3);
    b.Import(bv, 2, 3);
    const KivoException e = Catch([&] { a /= b; });
    EXPECT_EQ(e.code, 8001);
    EXPECT_STREQ(e.message, "divide-by-zero error");
    const auto q = Elements(a);
    // A zero divisor gives an infinity with the dividend's sign whatever the zero's sign.
    EXPECT_EQ(q[0], inf);
    EXPECT_EQ(q[1], -inf);
    EXPECT_TRUE(std::isnan(q[2]));
    EXPECT_EQ(q[3], T(2));  // elements after the first zero are divided too
    EXPECT_EQ(q[4], inf);
    EXPECT_EQ(q[5], T(-2));
}

// --- import and export --------------------------------------------------------------------------

TYPED_TEST(MatrixTyped, ImportFromAnArrayReshapesAndCopies) {
    using T = typename Traits<TypeParam>::T;
    std::vector<T> src(12);
    for (int k = 0; k < 12; ++k)
        src[k] = static_cast<T>(k * 1.5);
    TypeParam m;
    m.Import(src.data(), 3, 4);
    EXPECT_EQ(m.GetRows(), 3);
    EXPECT_EQ(m.GetCols(), 4);
    EXPECT_EQ(m.GetSize(), 12);
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 4; ++j)
            EXPECT_EQ(m[i][j], src[i * 4 + j]);
    auto* block = m[0];
    m.Import(src.data() + 2, 2, 5);  // within capacity: same block
    EXPECT_EQ(m[0], block);
    EXPECT_EQ(m.GetRows(), 2);
    EXPECT_EQ(m[1][4], src[11]);
    EXPECT_EQ(m.GetSize(), 12);
    m.Import(m[0] + 1, 1, 9);  // a source inside the block itself
    EXPECT_EQ(m[0][0], src[3]);
    EXPECT_EQ(m[0][8], src[11]);
}

TYPED_TEST(MatrixTyped, ImportFromAVectorFillsRowAfterRowWithoutAShapeCheck) {
    using T = typename Traits<TypeParam>::T;
    using V = typename Traits<TypeParam>::Vec;
    TypeParam m(2, 3);
    m.SetZero();
    V v(4);
    for (int k = 0; k < 4; ++k)
        v[k] = static_cast<T>(k + 1);
    const long long allocs = kernels::AllocationCount();
    m.Import(v);
    EXPECT_EQ(kernels::AllocationCount(), allocs);
    EXPECT_EQ(Elements(m), (std::vector<T>{1, 2, 3, 4, 0, 0}));
    EXPECT_EQ(m.GetRows(), 2);  // the shape is not touched
    EXPECT_EQ(m.GetCols(), 3);

    V six(6);
    for (int k = 0; k < 6; ++k)
        six[k] = static_cast<T>(10 * k);
    m.Resize(3, 2);
    m.Import(six);
    EXPECT_EQ(m[2][1], T(50));
    EXPECT_EQ(m[1][0], T(20));

    // A narrowed vector contributes its view.
    six.ShiftLeft(4);
    m.Import(six);
    EXPECT_EQ(Elements(m), (std::vector<T>{40, 50, 20, 30, 40, 50}));

    V empty;
    m.Import(empty);
    EXPECT_EQ(m[0][0], T(40));

    V seven(7);
    for (int k = 0; k < 7; ++k)
        seven[k] = T(-1);
    const KivoException e = Catch([&] { m.Import(seven); });
    EXPECT_EQ(e.code, 8005);
    EXPECT_STREQ(e.message, "invalid input parameter");
    EXPECT_STREQ(e.file, "src/math/Matrix");
    EXPECT_EQ(Elements(m), (std::vector<T>{40, 50, 20, 30, 40, 50}));
}

TYPED_TEST(MatrixTyped, ImportOfARowStartsAtItsFirstColumn) {
    using T = typename Traits<TypeParam>::T;
    using V = typename Traits<TypeParam>::Vec;
    TypeParam m(3, 3);
    m.SetZero();
    V row(3);
    for (int k = 0; k < 3; ++k)
        row[k] = static_cast<T>(k + 7);
    m.Import(1, row);
    EXPECT_EQ(Elements(m), (std::vector<T>{0, 0, 0, 7, 8, 9, 0, 0, 0}));
    V shortRow(2);
    shortRow[0] = 1;
    shortRow[1] = 2;
    m.Import(2, shortRow);
    EXPECT_EQ(Elements(m), (std::vector<T>{0, 0, 0, 7, 8, 9, 1, 2, 0}));
    V longRow(5);  // runs on into the next row: no shape check
    for (int k = 0; k < 5; ++k)
        longRow[k] = static_cast<T>(-k);
    m.Import(0, longRow);
    EXPECT_EQ(Elements(m), (std::vector<T>{0, -1, -2, -3, -4, 9, 1, 2, 0}));

    // Rows follow the current shape.
    m.Resize(2, 2);
    m.Import(1, shortRow);
    EXPECT_EQ(m[1][0], T(1));
    EXPECT_EQ(Elements(m)[2], T(1));

    const auto before = Elements(m);
    EXPECT_EQ(Catch([&] { m.Import(2, shortRow); }).code, 8005);   // no such row
    EXPECT_EQ(Catch([&] { m.Import(-1, shortRow); }).code, 8005);  // no such row
    V tooLong(8);
    for (int k = 0; k < 8; ++k)
        tooLong[k] = T(5);
    EXPECT_EQ(Catch([&] { m.Import(1, tooLong); }).code, 8005);  // past the block's end
    EXPECT_EQ(Elements(m), before);
}

TYPED_TEST(MatrixTyped, ExportCopiesTheFirstElementsAndRefusesMoreThanTheBlock) {
    using T = typename Traits<TypeParam>::T;
    TypeParam m(3, 3);
    for (int k = 0; k < 9; ++k)
        m[k / 3][k % 3] = static_cast<T>(k);
    std::vector<T> out(12, T(-1));
    m.Export(out.data(), 4);
    EXPECT_EQ(out, (std::vector<T>{0, 1, 2, 3, -1, -1, -1, -1, -1, -1, -1, -1}));
    m.Export(out.data(), -3);
    EXPECT_EQ(out[0], T(0));
    EXPECT_EQ(Catch([&] { m.Export(out.data(), 10); }).code, 8005);
    EXPECT_EQ(out[4], T(-1));
}

// --- comparison ---------------------------------------------------------------------------------

TYPED_TEST(MatrixTyped, IsEqualComparesShapeThenEveryElementWithinTheTolerance) {
    using T = typename Traits<TypeParam>::T;
    TypeParam a(2, 3);
    for (int k = 0; k < 6; ++k)
        a[k / 3][k % 3] = static_cast<T>(k);
    TypeParam b(a);
    testing::internal::CaptureStdout();
    EXPECT_TRUE(a.IsEqual(b, 0.0f));
    b[1][2] = static_cast<T>(5.25);
    EXPECT_FALSE(a.IsEqual(b, 0.2f));
    EXPECT_TRUE(a.IsEqual(b, 0.25f));  // at most the tolerance
    EXPECT_TRUE(b.IsEqual(a, 0.25f));
    TypeParam c(3, 2);
    for (int k = 0; k < 6; ++k)
        c[k / 2][k % 2] = static_cast<T>(k);
    EXPECT_FALSE(a.IsEqual(c, 100.0f));  // same elements, other shape
    TypeParam d(2, 4);
    EXPECT_FALSE(a.IsEqual(d, 1e30f));
    b = a;
    b[0][0] = std::numeric_limits<T>::quiet_NaN();
    EXPECT_FALSE(a.IsEqual(b, 1e30f));
    a[0][0] = b[0][0] = std::numeric_limits<T>::infinity();
    EXPECT_TRUE(a.IsEqual(b, 0.0f));
    // Reshaped to the shape of a smaller matrix: the common elements are compared.
    a.Resize(1, 2);
    TypeParam e(1, 2);
    e[0][0] = a[0][0];
    e[0][1] = a[0][1];
    EXPECT_TRUE(a.IsEqual(e, 0.0f));
    EXPECT_TRUE(e.IsEqual(a, 0.0f));
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");  // never prints
}

// --- dumps ------------------------------------------------------------------------------------

TYPED_TEST(MatrixTyped, DumpToAFileWritesRowsAndReportsThePath) {
    using T = typename Traits<TypeParam>::T;
    TypeParam m(2, 3);
    const T v[] = {1, 2.5, -3, 1e-7, 123456792, 0};
    m.Import(v, 2, 3);
    testing::internal::CaptureStdout();
    m.Dump("matrix.txt");
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "\n====matrix.txt saved");
    char expected[256];
    std::snprintf(expected, sizeof expected, "%g %g %g \n%g %g %g \n", double(v[0]), double(v[1]),
                  double(v[2]), double(v[3]), double(v[4]), double(v[5]));
    EXPECT_EQ(ReadFile("matrix.txt"), expected);
    m.Resize(3, 2);
    testing::internal::CaptureStdout();
    m.Dump("reshaped.txt");
    testing::internal::GetCapturedStdout();
    EXPECT_EQ(ReadFile("reshaped.txt"), "1 2.5 \n-3 1e-07 \n1.23457e+08 0 \n");
    TypeParam empty;
    testing::internal::CaptureStdout();
    empty.Dump("empty.txt");
    testing::internal::GetCapturedStdout();
    EXPECT_EQ(ReadFile("empty.txt"), "");
}

TYPED_TEST(MatrixTyped, DumpToAnUnopenablePathThrows8024) {
    TypeParam m(1, 1);
    m.SetZero();
    testing::internal::CaptureStdout();
    const KivoException e = Catch([&] { m.Dump("no-such-directory/matrix.txt"); });
    const KivoException n = Catch([&] { m.Dump(static_cast<const char*>(nullptr)); });
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    EXPECT_EQ(e.code, 8024);
    EXPECT_STREQ(e.message, "error opening file");
    EXPECT_STREQ(e.file, "src/math/Matrix");
    EXPECT_EQ(n.code, 8024);
}

TYPED_TEST(MatrixTyped, DumpToStandardOutputElidesTheMiddle) {
    using T = typename Traits<TypeParam>::T;
    TypeParam m(5, 2);
    for (int k = 0; k < 10; ++k)
        m[k / 2][k % 2] = static_cast<T>(k);
    testing::internal::CaptureStdout();
    m.Dump(1);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "\n0 1 \n.................\n8 9 ");
    testing::internal::CaptureStdout();
    m.Dump(2);
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "\n0 1 \n2 3 \n.................\n6 7 \n8 9 ");
    testing::internal::CaptureStdout();
    m.Dump(3);  // 5 rows are not more than 6: everything
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "\n0 1 \n2 3 \n4 5 \n6 7 \n8 9 ");

    TypeParam wide(2, 7);
    for (int k = 0; k < 14; ++k)
        wide[k / 7][k % 7] = static_cast<T>(k);
    testing::internal::CaptureStdout();
    wide.Dump(2);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "\n0 1 ... 5 6 \n7 8 ... 12 13 ");
    testing::internal::CaptureStdout();
    wide.Dump(0);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "\n.................");
}

// --- self-tests ---------------------------------------------------------------------------------

TEST(Matrix, SelfTestsPass) {
    UnitTestRecorder recorder;
    testing::internal::CaptureStdout();
    const bool ok = BaseMatrix<float>::UnitTest(recorder) &&
                    BaseMatrix<double>::UnitTest(recorder) && MatReal32::UnitTest(recorder) &&
                    MatReal64::UnitTest(recorder);
    const std::string out = testing::internal::GetCapturedStdout();
    EXPECT_TRUE(ok) << out;
    EXPECT_EQ(out.find("FAIL"), std::string::npos) << out;
}
