// Integer and byte kernels: the optimised kernels against their scalar references on random data,
// the references against closed forms and hand-checked values, and the edge rules.
#include "kernels/IntKernels.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cmath>
#include <random>
#include <vector>

namespace k = Kivo::kernels;
namespace ref = Kivo::kernels::reference;

namespace {

const int kLengths[] = {0, 1, 7, 33, 1000, 4097};
constexpr int kGuard = 16;  // elements after the end that no kernel may touch

// Full-range values (saturation is frequent) mixed with small ones (exact results).
std::vector<short> RandomShorts(int n, unsigned seed) {
    std::mt19937 gen(seed);
    std::uniform_int_distribution<int> full(SHRT_MIN, SHRT_MAX);
    std::uniform_int_distribution<int> small(-300, 300);
    std::vector<short> v(static_cast<size_t>(n) + kGuard);
    for (auto& x : v)
        x = static_cast<short>((gen() & 1) ? full(gen) : small(gen));
    return v;
}

std::vector<int> RandomInts(int n, unsigned seed) {
    std::mt19937 gen(seed);
    std::uniform_int_distribution<int> full(INT_MIN, INT_MAX);
    std::uniform_int_distribution<int> small(-1000, 1000);
    std::vector<int> v(static_cast<size_t>(n) + kGuard);
    for (auto& x : v)
        x = (gen() & 1) ? full(gen) : small(gen);
    return v;
}

std::vector<unsigned char> RandomBytes(int n, unsigned seed) {
    std::mt19937 gen(seed);
    std::vector<unsigned char> v(static_cast<size_t>(n) + kGuard);
    // Mostly bit bytes (0, 1, 255) so that the bit semantics are exercised, plus arbitrary ones.
    const unsigned char bits[] = {0, 1, 255};
    for (auto& x : v)
        x = (gen() % 4) ? bits[gen() % 3] : static_cast<unsigned char>(gen());
    return v;
}

short Clamp16(long long x) {
    return static_cast<short>(std::min(32767LL, std::max(-32768LL, x)));
}

// Independent model of a scaled, saturated sum: the exact sum times 2^-sf in long double (exact
// for these magnitudes), rounded half to even, then clamped.
long long ScaledSum(long long exact, int sf, long long lo, long long hi) {
    const long double q = std::ldexp(static_cast<long double>(exact), -sf);
    long double r = std::nearbyint(q);  // default rounding mode: ties to even
    if (r > hi) r = hi;
    if (r < lo) r = lo;
    return static_cast<long long>(r);
}

using Binary16 = void (*)(const short*, short*, int);
using Const16 = void (*)(short, short*, int);

void CheckBinary16(Binary16 fast, Binary16 slow, long long (*op)(long long, long long),
                   const char* name) {
    for (int n : kLengths) {
        const auto a = RandomShorts(n, 11u + n);
        const auto b = RandomShorts(n, 97u + n);
        auto x = b;
        auto y = b;
        fast(a.data(), x.data(), n);
        slow(a.data(), y.data(), n);
        for (int i = 0; i < n; ++i) {
            ASSERT_EQ(x[i], y[i]) << name << " n=" << n << " i=" << i;
            ASSERT_EQ(y[i], Clamp16(op(b[i], a[i]))) << name << " reference, i=" << i;
        }
        for (int i = n; i < n + kGuard; ++i)
            ASSERT_EQ(x[i], b[i]) << name << " wrote past end";
    }
}

void CheckConst16(Const16 fast, Const16 slow, long long (*op)(long long, long long),
                  const char* name) {
    const short constants[] = {0, 1, -1, 2, 300, -300, 32767, -32768};
    for (int n : kLengths) {
        for (short c : constants) {
            const auto b = RandomShorts(n, 5u + n);
            auto x = b;
            auto y = b;
            fast(c, x.data(), n);
            slow(c, y.data(), n);
            for (int i = 0; i < n; ++i) {
                ASSERT_EQ(x[i], y[i]) << name << " n=" << n << " c=" << c;
                ASSERT_EQ(y[i], Clamp16(op(b[i], c))) << name << " reference";
            }
            for (int i = n; i < n + kGuard; ++i)
                ASSERT_EQ(x[i], b[i]) << name << " past end";
        }
    }
}

long long Plus(long long a, long long b) {
    return a + b;
}
long long Minus(long long a, long long b) {
    return a - b;
}
long long Times(long long a, long long b) {
    return a * b;
}

}  // namespace

TEST(IntKernels, SaturatingArithmeticMatchesReference) {
    CheckBinary16(k::AddInPlace16s, ref::AddInPlace16s, Plus, "Add");
    CheckBinary16(k::SubInPlace16s, ref::SubInPlace16s, Minus, "Sub");
    CheckBinary16(k::MulInPlace16s, ref::MulInPlace16s, Times, "Mul");
    CheckConst16(k::AddConstInPlace16s, ref::AddConstInPlace16s, Plus, "AddC");
    CheckConst16(k::SubConstInPlace16s, ref::SubConstInPlace16s, Minus, "SubC");
    CheckConst16(k::MulConstInPlace16s, ref::MulConstInPlace16s, Times, "MulC");
}

TEST(IntKernels, SaturationExamples) {
    short a = 30000;
    const short b = 10000;
    k::AddInPlace16s(&b, &a, 1);
    EXPECT_EQ(a, 32767);
    short c = -200;
    const short d = 200;
    k::MulInPlace16s(&d, &c, 1);
    EXPECT_EQ(c, -32768);
    short e = -32768;
    k::SubConstInPlace16s(1, &e, 1);
    EXPECT_EQ(e, -32768);
    short f = -32768;
    k::MulConstInPlace16s(-1, &f, 1);  // the one product a wrapping multiply gets wrong
    EXPECT_EQ(f, 32767);
    short g = -32768;
    const short h = -32768;
    k::SubInPlace16s(&h, &g, 1);
    EXPECT_EQ(g, 0);
}

TEST(IntKernels, ScaledSumsMatchReferenceAndModel) {
    const int factors[] = {0, 1, 2, 3, 7, 15, 16, 31, 40, 62, 63, 70, -1, -3, -16, -31, -40};
    for (int n : kLengths) {
        const auto s = RandomShorts(n, 3u + n);
        const auto w = RandomInts(n, 7u + n);
        long long exact16 = 0, exact32 = 0;
        for (int i = 0; i < n; ++i) {
            exact16 += s[i];
            exact32 += w[i];
        }
        for (int sf : factors) {
            short fast16 = 123, slow16 = 123;
            int fast32 = 456, slow32 = 456;
            k::SumSfs16s(s.data(), n, &fast16, sf);
            ref::SumSfs16s(s.data(), n, &slow16, sf);
            k::SumSfs32s(w.data(), n, &fast32, sf);
            ref::SumSfs32s(w.data(), n, &slow32, sf);
            ASSERT_EQ(fast16, slow16) << "n=" << n << " sf=" << sf;
            ASSERT_EQ(fast32, slow32) << "n=" << n << " sf=" << sf;
            if (n == 0) {
                EXPECT_EQ(slow16, 123) << "an empty sum must leave the result alone";
                EXPECT_EQ(slow32, 456);
            } else {
                ASSERT_EQ(slow16, ScaledSum(exact16, sf, SHRT_MIN, SHRT_MAX))
                    << "n=" << n << " sf=" << sf;
                ASSERT_EQ(slow32, ScaledSum(exact32, sf, INT_MIN, INT_MAX))
                    << "n=" << n << " sf=" << sf;
            }
        }
    }
}

TEST(IntKernels, SumSaturatesOnceAtTheEnd) {
    const short v[] = {30000, 30000, -30000};
    short s = 0;
    k::SumSfs16s(v, 3, &s, 0);
    EXPECT_EQ(s, 30000);
    k::SumSfs16s(v, 2, &s, 0);
    EXPECT_EQ(s, 32767);
    const short neg[] = {-30000, -30000};
    k::SumSfs16s(neg, 2, &s, 0);
    EXPECT_EQ(s, -32768);
    // A long all-extreme run: the 32-bit partial sums must not overflow.
    std::vector<short> big(200000, -32768);
    k::SumSfs16s(big.data(), static_cast<int>(big.size()), &s, 0);
    EXPECT_EQ(s, -32768);
    k::SumSfs16s(big.data(), static_cast<int>(big.size()), &s, 22);  // -6553600000 / 2^22
    EXPECT_EQ(s, ScaledSum(-32768LL * 200000, 22, SHRT_MIN, SHRT_MAX));
    const int w[] = {INT_MAX, INT_MAX, -INT_MAX};
    int t = 0;
    k::SumSfs32s(w, 3, &t, 0);
    EXPECT_EQ(t, INT_MAX);
    k::SumSfs32s(w, 2, &t, 1);  // (2^32 - 2) / 2 = 2^31 - 1 exactly
    EXPECT_EQ(t, INT_MAX);
}

TEST(IntKernels, ScaleFactorRoundsHalfToEven) {
    const short three[] = {3}, five[] = {5}, mthree[] = {-3}, seven[] = {7}, six[] = {6};
    short s = 0;
    k::SumSfs16s(three, 1, &s, 1);  // 1.5
    EXPECT_EQ(s, 2);
    k::SumSfs16s(five, 1, &s, 1);  // 2.5
    EXPECT_EQ(s, 2);
    k::SumSfs16s(mthree, 1, &s, 1);  // -1.5
    EXPECT_EQ(s, -2);
    k::SumSfs16s(seven, 1, &s, 2);  // 1.75
    EXPECT_EQ(s, 2);
    k::SumSfs16s(six, 1, &s, 2);  // 1.5
    EXPECT_EQ(s, 2);
    k::SumSfs16s(five, 1, &s, 2);  // 1.25
    EXPECT_EQ(s, 1);
    k::SumSfs16s(five, 1, &s, -2);
    EXPECT_EQ(s, 20);
    k::SumSfs16s(five, 1, &s, -14);  // 81920 saturates
    EXPECT_EQ(s, 32767);
}

TEST(IntKernels, ExtremesMatchReference) {
    for (int n : kLengths) {
        auto s = RandomShorts(n, 21u + n);
        auto w = RandomInts(n, 23u + n);
        // Plant repeated extremes so that ties are exercised.
        if (n >= 7) {
            s[2] = s[5] = SHRT_MAX;
            s[3] = s[6] = SHRT_MIN;
            w[1] = w[4] = INT_MAX;
            w[0] = w[6] = INT_MIN;
        }
        short a = 77, b = 77, va = 77, vb = 77;
        int ia = -5, ib = -5;
        k::Max16s(s.data(), n, &a);
        ref::Max16s(s.data(), n, &b);
        ASSERT_EQ(a, b);
        k::Min16s(s.data(), n, &a);
        ref::Min16s(s.data(), n, &b);
        ASSERT_EQ(a, b);
        k::MaxIndex16s(s.data(), n, &va, &ia);
        ref::MaxIndex16s(s.data(), n, &vb, &ib);
        ASSERT_EQ(va, vb);
        ASSERT_EQ(ia, ib);
        if (n >= 7) {
            EXPECT_EQ(ia, 2);
        }
        k::MinIndex16s(s.data(), n, &va, &ia);
        ref::MinIndex16s(s.data(), n, &vb, &ib);
        ASSERT_EQ(va, vb);
        ASSERT_EQ(ia, ib);
        if (n >= 7) {
            EXPECT_EQ(ia, 3);
        }

        int c = 77, d = 77, vc = 77, vd = 77, ic = -5, id = -5;
        k::Max32s(w.data(), n, &c);
        ref::Max32s(w.data(), n, &d);
        ASSERT_EQ(c, d);
        k::Min32s(w.data(), n, &c);
        ref::Min32s(w.data(), n, &d);
        ASSERT_EQ(c, d);
        k::MaxIndex32s(w.data(), n, &vc, &ic);
        ref::MaxIndex32s(w.data(), n, &vd, &id);
        ASSERT_EQ(vc, vd);
        ASSERT_EQ(ic, id);
        if (n >= 7) {
            EXPECT_EQ(ic, 1);
        }
        k::MinIndex32s(w.data(), n, &vc, &ic);
        ref::MinIndex32s(w.data(), n, &vd, &id);
        ASSERT_EQ(vc, vd);
        ASSERT_EQ(ic, id);
        if (n >= 7) {
            EXPECT_EQ(ic, 0);
        }

        if (n == 0) {
            EXPECT_EQ(a, 77) << "empty input must leave results alone";
            EXPECT_EQ(va, 77);
            EXPECT_EQ(ia, -5);
            EXPECT_EQ(vc, 77);
            EXPECT_EQ(ic, -5);
        } else {
            // Slow model: a sorted copy gives the extremes, a forward search their first index.
            std::vector<int> sorted(w.begin(), w.begin() + n);
            std::sort(sorted.begin(), sorted.end());
            EXPECT_EQ(vd, sorted.front());
            EXPECT_EQ(id, std::find(w.begin(), w.end(), sorted.front()) - w.begin());
        }
    }
    // The index pointer may be null.
    const short v[] = {1, 9, 9};
    short m = 0;
    k::MaxIndex16s(v, 3, &m, nullptr);
    EXPECT_EQ(m, 9);
}

TEST(IntKernels, ByteLogicMatchesReference) {
    using Three = void (*)(const unsigned char*, const unsigned char*, unsigned char*, int);
    using InPlace = void (*)(const unsigned char*, unsigned char*, int);
    struct {
        Three fast, slow;
        InPlace fastI, slowI;
        int (*model)(int, int);
    } ops[] = {
        {k::And8u, ref::And8u, k::AndInPlace8u, ref::AndInPlace8u,
         [](int x, int y) { return x & y; }},
        {k::Or8u, ref::Or8u, k::OrInPlace8u, ref::OrInPlace8u, [](int x, int y) { return x | y; }},
        {k::Xor8u, ref::Xor8u, k::XorInPlace8u, ref::XorInPlace8u,
         [](int x, int y) { return x ^ y; }},
    };
    for (int n : kLengths) {
        const auto a = RandomBytes(n, 31u + n);
        const auto b = RandomBytes(n, 37u + n);
        for (const auto& op : ops) {
            std::vector<unsigned char> x(a.size(), 0xAB), y(a.size(), 0xAB);
            op.fast(a.data(), b.data(), x.data(), n);
            op.slow(a.data(), b.data(), y.data(), n);
            auto xi = b, yi = b;
            op.fastI(a.data(), xi.data(), n);
            op.slowI(a.data(), yi.data(), n);
            for (int i = 0; i < n; ++i) {
                ASSERT_EQ(x[i], y[i]);
                ASSERT_EQ(y[i], op.model(a[i], b[i]));
                ASSERT_EQ(xi[i], yi[i]);
                ASSERT_EQ(yi[i], op.model(b[i], a[i]));
            }
            for (int i = n; i < n + kGuard; ++i) {
                ASSERT_EQ(x[i], 0xAB);
                ASSERT_EQ(xi[i], b[i]);
            }
        }
        std::vector<unsigned char> x(a.size(), 0xAB), y(a.size(), 0xAB);
        k::Not8u(a.data(), x.data(), n);
        ref::Not8u(a.data(), y.data(), n);
        auto p = a, q = a;
        k::NotBitsInPlace8u(p.data(), n);
        ref::NotBitsInPlace8u(q.data(), n);
        for (int i = 0; i < n; ++i) {
            ASSERT_EQ(x[i], y[i]);
            ASSERT_EQ(y[i], static_cast<unsigned char>(~a[i]));
            ASSERT_EQ(p[i], q[i]);
            ASSERT_EQ(q[i], a[i] == 0 ? 1 : a[i] == 1 ? 0 : a[i]);
        }
        for (int i = n; i < n + kGuard; ++i) {
            ASSERT_EQ(x[i], 0xAB);
            ASSERT_EQ(p[i], a[i]);
        }
    }
}

TEST(IntKernels, ErasureBytes) {
    const unsigned char e = 255, zero = 0, one = 1;
    unsigned char r = 0;
    k::And8u(&e, &one, &r, 1);
    EXPECT_EQ(r, 1);
    k::And8u(&e, &zero, &r, 1);
    EXPECT_EQ(r, 0);
    k::Or8u(&e, &zero, &r, 1);
    EXPECT_EQ(r, 255);
    k::Xor8u(&e, &one, &r, 1);
    EXPECT_EQ(r, 254);
    unsigned char bits[] = {0, 1, 255, 254, 2};
    k::NotBitsInPlace8u(bits, 5);
    EXPECT_EQ(bits[0], 1);
    EXPECT_EQ(bits[1], 0);
    EXPECT_EQ(bits[2], 255);
    EXPECT_EQ(bits[3], 254);
    EXPECT_EQ(bits[4], 2);
}

TEST(IntKernels, NonPositiveLengthsWriteNothing) {
    short s[2] = {5, 6};
    const short t[2] = {1, 1};
    k::AddInPlace16s(t, s, -3);
    k::MulConstInPlace16s(9, s, 0);
    EXPECT_EQ(s[0], 5);
    short r = 42;
    k::SumSfs16s(t, -1, &r, 0);
    k::Max16s(t, 0, &r);
    EXPECT_EQ(r, 42);
    unsigned char b[1] = {7};
    k::Not8u(b, b, -1);
    k::NotBitsInPlace8u(b, 0);
    EXPECT_EQ(b[0], 7);
}
