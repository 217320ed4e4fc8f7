// Accuracy of the element-wise math kernels, measured in ulp against long-double references on
// at least 10^6 arguments per function and precision, for every instruction-set path this
// processor can run; plus special values, tails and in-place use.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "kernels/VecMath.h"

namespace Kivo::kernels {
namespace {

#if defined(__SANITIZE_ADDRESS__)
constexpr int kCount = 100000;  // the instrumented build is ~20x slower
#else
constexpr int kCount = 1000000;
#endif

constexpr double kInf = std::numeric_limits<double>::infinity();

// Bit-identical, with every NaN equal to every NaN.
bool SameFloat(float a, float b) {
    if (std::isnan(a) || std::isnan(b)) return std::isnan(a) && std::isnan(b);
    return std::memcmp(&a, &b, sizeof a) == 0;
}

// Error of `got` in units in the last place of T at the exact value `ref`. The ulp of a value in
// [2^e, 2^(e+1)) is 2^(e-p+1), and 2^(emin-p+1) in the subnormal range. A NaN must meet a NaN;
// an infinity, or an exact zero, must come back with the right sign.
template <class T>
double UlpError(T got, long double ref) {
    constexpr int p = std::numeric_limits<T>::digits;
    constexpr int emin = std::numeric_limits<T>::min_exponent - 1;
    if (std::isnan(ref)) return std::isnan(got) ? 0.0 : kInf;
    if (std::isnan(got)) return kInf;
    const T rounded = static_cast<T>(ref);
    if (std::isinf(got) || std::isinf(ref)) return got == rounded ? 0.0 : kInf;
    if (ref == 0.0L) {
        if (got == 0) return std::signbit(got) == std::signbit(ref) ? 0.0 : kInf;
        return static_cast<double>(std::fabs(static_cast<long double>(got)) /
                                   std::ldexp(1.0L, emin - p + 1));
    }
    int e = std::ilogb(ref);
    if (e < emin) e = emin;
    const long double ulp = std::ldexp(1.0L, e - p + 1);
    return static_cast<double>(std::fabs(static_cast<long double>(got) - ref) / ulp);
}

template <class T>
struct Bits;
template <>
struct Bits<float> {
    using U = std::uint32_t;
};
template <>
struct Bits<double> {
    using U = std::uint64_t;
};

// Argument generators. "AnyFinite" draws random bit patterns, i.e. uniformly over the binades
// including subnormals; "Uniform" draws uniformly in an interval.
template <class T>
class Gen {
  public:
    explicit Gen(std::uint64_t seed) : rng_(seed) {}
    T AnyFinite() {
        for (;;) {
            const auto u = static_cast<typename Bits<T>::U>(rng_());
            T x;
            std::memcpy(&x, &u, sizeof x);
            if (std::isfinite(x)) return x;
        }
    }
    T AnyPositive() { return std::fabs(AnyFinite()); }
    T Uniform(double lo, double hi) {
        return static_cast<T>(std::uniform_real_distribution<double>(lo, hi)(rng_));
    }
    double U01() { return std::uniform_real_distribution<double>(0.0, 1.0)(rng_); }
    int Int(int lo, int hi) { return std::uniform_int_distribution<int>(lo, hi)(rng_); }

  private:
    std::mt19937_64 rng_;
};

template <class T>
std::vector<T> Specials() {
    const T inf = std::numeric_limits<T>::infinity();
    const T nan = std::numeric_limits<T>::quiet_NaN();
    const T den = std::numeric_limits<T>::denorm_min();
    const T mn = std::numeric_limits<T>::min();
    const T mx = std::numeric_limits<T>::max();
    return {T(0), -T(0), inf,   -inf,   nan,  den,   -den,  mn,     -mn,    mx,
            -mx,  T(1),  T(-1), T(0.5), T(2), T(-2), T(10), T(0.1), mn / 2, -mn / 2};
}

// One function in one precision: arguments, long-double reference, and how to run the kernel.
template <class T>
struct Case {
    std::string name;
    std::vector<T> a, b;  // b: second argument (atan2's x, pow's exponent), empty if unary
    std::vector<long double> ref;
    std::function<void(const Case&, T*)> run;
};

template <class T>
using UnaryKernel = void (*)(const T*, T*, int);
template <class T>
using BinaryKernel = void (*)(const T*, const T*, T*, int);

template <class T>
Case<T> MakeUnary(const char* name, UnaryKernel<T> k, long double (*f)(long double),
                  const std::function<T(Gen<T>&)>& draw, std::uint64_t seed,
                  const std::vector<T>& extra = {}) {
    Case<T> c;
    c.name = name;
    Gen<T> g(seed);
    c.a = Specials<T>();
    c.a.insert(c.a.end(), extra.begin(), extra.end());
    while (static_cast<int>(c.a.size()) < kCount)
        c.a.push_back(draw(g));
    c.ref.resize(c.a.size());
    for (std::size_t i = 0; i < c.a.size(); ++i)
        c.ref[i] = f(static_cast<long double>(c.a[i]));
    c.run = [k](const Case<T>& cs, T* out) { k(cs.a.data(), out, static_cast<int>(cs.a.size())); };
    return c;
}

template <class T>
Case<T> MakeBinary(const char* name, BinaryKernel<T> k, long double (*f)(long double, long double),
                   const std::function<std::pair<T, T>(Gen<T>&)>& draw, std::uint64_t seed) {
    Case<T> c;
    c.name = name;
    Gen<T> g(seed);
    for (T x : Specials<T>()) {
        for (T y : Specials<T>()) {
            c.a.push_back(x);
            c.b.push_back(y);
        }
    }
    while (static_cast<int>(c.a.size()) < kCount) {
        auto [x, y] = draw(g);
        c.a.push_back(x);
        c.b.push_back(y);
    }
    c.ref.resize(c.a.size());
    for (std::size_t i = 0; i < c.a.size(); ++i)
        c.ref[i] = f(static_cast<long double>(c.a[i]), static_cast<long double>(c.b[i]));
    c.run = [k](const Case<T>& cs, T* out) {
        k(cs.a.data(), cs.b.data(), out, static_cast<int>(cs.a.size()));
    };
    return c;
}

long double RefPow(long double x, long double p) {
    return std::pow(x, p);
}
long double RefAtan2(long double y, long double x) {
    return std::atan2(y, x);
}
long double RefExp(long double x) {
    return std::exp(x);
}
long double RefLog(long double x) {
    return std::log(x);
}
long double RefLog10(long double x) {
    return std::log10(x);
}
long double RefSin(long double x) {
    return std::sin(x);
}
long double RefCos(long double x) {
    return std::cos(x);
}
long double RefAtan(long double x) {
    return std::atan(x);
}
long double RefErf(long double x) {
    return std::erf(x);
}
long double RefSqrt(long double x) {
    return std::sqrt(x);
}

// Powx: one exponent per block of 1000 arguments, so the constant-exponent loop is run with
// 1000 different exponents (b holds each element's exponent, constant within a block).
template <class T>
Case<T> MakePowx(void (*k)(const T*, T, T*, int), std::uint64_t seed) {
    constexpr int kBlock = 1000;
    Case<T> c;
    c.name = "Powx";
    Gen<T> g(seed);
    const double maxLog = std::log(static_cast<double>(std::numeric_limits<T>::max()));
    while (static_cast<int>(c.a.size()) < kCount) {
        const int kind = static_cast<int>(c.a.size() / kBlock) % 4;
        T p;
        if (kind == 0)
            p = g.Uniform(-4, 4);
        else if (kind == 1)
            p = static_cast<T>(g.Int(-40, 40));  // integer powers
        else if (kind == 2)
            p = g.Uniform(-0.01, 0.01);  // near-constant results
        else
            p = g.Uniform(-maxLog / 2, maxLog / 2);  // large exponents
        for (int i = 0; i < kBlock; ++i) {
            T x;
            const double r = g.U01();
            if (r < 0.4)
                x = g.Uniform(0, 4);
            else if (r < 0.6)
                x = g.AnyPositive();
            else if (r < 0.8 && kind == 1)
                x = g.Uniform(-4, 0);  // negative base
            else
                x = g.Uniform(0.5, 2);
            c.a.push_back(x);
            c.b.push_back(p);
        }
    }
    c.ref.resize(c.a.size());
    for (std::size_t i = 0; i < c.a.size(); ++i)
        c.ref[i] = std::pow(static_cast<long double>(c.a[i]), static_cast<long double>(c.b[i]));
    c.run = [k](const Case<T>& cs, T* out) {
        for (std::size_t i = 0; i < cs.a.size(); i += kBlock)
            k(cs.a.data() + i, cs.b[i], out + i, kBlock);
    };
    return c;
}

// Arguments where a logarithm's range reduction has its edges: every power of two (including the
// subnormal ones), every power of ten the format holds, the neighbours of each, and the 1000
// values on either side of 1, where the result is smallest.
template <class T>
std::vector<T> LogArguments() {
    std::vector<T> v;
    auto withNeighbours = [&v](T x) {
        v.push_back(std::nextafter(x, T(0)));
        v.push_back(x);
        v.push_back(std::nextafter(x, std::numeric_limits<T>::infinity()));
    };
    const int lo = std::numeric_limits<T>::min_exponent - std::numeric_limits<T>::digits;
    for (int e = lo; e < std::numeric_limits<T>::max_exponent; ++e)
        withNeighbours(std::ldexp(T(1), e));
    for (int k = std::numeric_limits<T>::min_exponent10 - std::numeric_limits<T>::digits10;
         k <= std::numeric_limits<T>::max_exponent10; ++k) {
        const T p = static_cast<T>(std::pow(10.0L, static_cast<long double>(k)));
        if (p > 0 && std::isfinite(p)) withNeighbours(p);
    }
    T up = T(1), down = T(1);
    for (int i = 0; i < 1000; ++i) {
        up = std::nextafter(up, T(2));
        down = std::nextafter(down, T(0));
        v.push_back(up);
        v.push_back(down);
    }
    return v;
}

template <class T>
std::vector<Case<T>> AllCases() {
    // Domains: the useful range of each function (where results are neither all 0 nor all
    // Inf) plus random bit patterns over the whole format for the extremes.
    const double expLo = std::is_same_v<T, float> ? -104.0 : -746.0;
    const double expHi = std::is_same_v<T, float> ? 89.0 : 710.0;
    const double trigHuge = std::is_same_v<T, float> ? 1e7 : 1e15;
    std::vector<Case<T>> cs;
    cs.push_back(MakeUnary<T>(
        "Exp", VecExp, RefExp,
        [=](Gen<T>& g) { return g.U01() < 0.9 ? g.Uniform(expLo, expHi) : g.AnyFinite(); }, 1));
    cs.push_back(MakeUnary<T>(
        "Ln", VecLn, RefLog,
        [](Gen<T>& g) {
            const double r = g.U01();
            return r < 0.5 ? g.AnyPositive() : r < 0.95 ? g.Uniform(0.5, 2) : g.AnyFinite();
        },
        2, LogArguments<T>()));
    cs.push_back(MakeUnary<T>(
        "Log10", VecLog10, RefLog10,
        [](Gen<T>& g) {
            const double r = g.U01();
            return r < 0.5 ? g.AnyPositive() : r < 0.95 ? g.Uniform(0.5, 2) : g.AnyFinite();
        },
        3, LogArguments<T>()));
    auto trig = [=](Gen<T>& g) {
        const double r = g.U01();
        return r < 0.4   ? g.Uniform(-7, 7)
               : r < 0.7 ? g.Uniform(-1e4, 1e4)
               : r < 0.8 ? g.Uniform(-trigHuge, trigHuge)
                         : g.AnyFinite();
    };
    cs.push_back(MakeUnary<T>("Sin", VecSin, RefSin, trig, 4));
    cs.push_back(MakeUnary<T>("Cos", VecCos, RefCos, trig, 5));
    cs.push_back(MakeUnary<T>(
        "Atan", VecAtan, RefAtan,
        [](Gen<T>& g) { return g.U01() < 0.5 ? g.Uniform(-8, 8) : g.AnyFinite(); }, 6));
    cs.push_back(MakeUnary<T>(
        "Erf", VecErf, RefErf,
        [](Gen<T>& g) {
            const double r = g.U01();
            return r < 0.6 ? g.Uniform(-6, 6) : r < 0.8 ? g.Uniform(-0.01, 0.01) : g.AnyFinite();
        },
        7));
    cs.push_back(MakeUnary<T>(
        "Sqrt", VecSqrt, RefSqrt,
        [](Gen<T>& g) { return g.U01() < 0.95 ? g.AnyPositive() : g.AnyFinite(); }, 8));
    cs.push_back(MakeBinary<T>(
        "Atan2", VecAtan2, RefAtan2,
        [](Gen<T>& g) {
            return g.U01() < 0.5 ? std::pair<T, T>{g.Uniform(-2, 2), g.Uniform(-2, 2)}
                                 : std::pair<T, T>{g.AnyFinite(), g.AnyFinite()};
        },
        9));
    const double maxLog = std::log(static_cast<double>(std::numeric_limits<T>::max()));
    cs.push_back(MakeBinary<T>(
        "Pow", VecPow, RefPow,
        [=](Gen<T>& g) {
            const double r = g.U01();
            if (r < 0.4) return std::pair<T, T>{g.Uniform(0, 10), g.Uniform(-20, 20)};
            if (r < 0.6) return std::pair<T, T>{g.Uniform(0.9, 1.1), g.Uniform(-maxLog, maxLog)};
            if (r < 0.8) return std::pair<T, T>{g.Uniform(-10, 0), T(g.Int(-30, 30))};
            return std::pair<T, T>{g.AnyPositive(), g.Uniform(-1, 1)};
        },
        10));
    cs.push_back(MakePowx<T>(VecPowx, 11));
    return cs;
}

struct Worst {
    double ulp = 0;
    std::size_t index = 0;
};

template <class T>
Worst Measure(const Case<T>& c, std::vector<T>& out) {
    out.assign(c.a.size(), T(0));
    c.run(c, out.data());
    Worst w;
    for (std::size_t i = 0; i < out.size(); ++i) {
        const double e = UlpError<T>(out[i], c.ref[i]);
        if (!(e <= w.ulp)) {
            w.ulp = e;
            w.index = i;
        }
    }
    return w;
}

std::vector<MathIsa> SupportedIsas() {
    std::vector<MathIsa> v;
    for (MathIsa isa : {MathIsa::Avx512, MathIsa::Avx2, MathIsa::Sse4, MathIsa::Scalar})
        if (MathIsaSupported(isa)) v.push_back(isa);
    return v;
}

template <class T>
void CheckAccuracy(const char* precision) {
    const auto cases = AllCases<T>();
    std::vector<T> out;
    std::printf("\nMaximum error in ulp, %s, %d arguments per function (automatic choice: %s)\n",
                precision, kCount, MathIsaName(ActiveMathIsa()));
    std::printf("%-8s", "function");
    const auto isas = SupportedIsas();
    for (MathIsa isa : isas)
        std::printf(" %10s", MathIsaName(isa));
    std::printf("\n");
    for (const auto& c : cases) {
        std::printf("%-8s", c.name.c_str());
        for (MathIsa isa : isas) {
            ScopedMathIsa force(isa);
            ASSERT_EQ(ActiveMathIsa(), isa);
            const Worst w = Measure(c, out);
            std::printf(" %10.4f", w.ulp);
            const double a = static_cast<double>(c.a[w.index]);
            const double b = c.b.empty() ? 0.0 : static_cast<double>(c.b[w.index]);
            EXPECT_LE(w.ulp, 1.0) << c.name << " " << precision << " on " << MathIsaName(isa)
                                  << " at a=" << a << " b=" << b << ": got "
                                  << static_cast<double>(out[w.index]) << ", exact "
                                  << static_cast<double>(c.ref[w.index]);
        }
        std::printf("\n");
    }
    std::fflush(stdout);
}

TEST(VecMath, AccuracySingle) {
    CheckAccuracy<float>("single");
}
TEST(VecMath, AccuracyDouble) {
    CheckAccuracy<double>("double");
}

TEST(VecMath, ChoosesWidestSupportedIsa) {
    const auto isas = SupportedIsas();
    ASSERT_FALSE(isas.empty());
    EXPECT_EQ(isas.back(), MathIsa::Scalar);
    EXPECT_EQ(ActiveMathIsa(), isas.front());
    {
        ScopedMathIsa force(MathIsa::Scalar);
        EXPECT_EQ(ActiveMathIsa(), MathIsa::Scalar);
    }
    EXPECT_EQ(ActiveMathIsa(), isas.front());
}

// Exact special values (IEEE/C99 results), checked bit for bit including signs of zeros.
template <class T>
void ExpectSame(T got, T want, const char* what) {
    if (std::isnan(want)) {
        EXPECT_TRUE(std::isnan(got)) << what;
    } else {
        EXPECT_EQ(got, want) << what;
        EXPECT_EQ(std::signbit(got), std::signbit(want)) << what << " (sign)";
    }
}

template <class T>
void CheckSpecials() {
    const T inf = std::numeric_limits<T>::infinity();
    const T nan = std::numeric_limits<T>::quiet_NaN();
    const T pi2 = static_cast<T>(std::atan(1.0L) * 2);
    const T pi = static_cast<T>(std::atan(1.0L) * 4);
    auto u = [](UnaryKernel<T> k, T x) {
        T y;
        k(&x, &y, 1);
        return y;
    };
    auto b = [](BinaryKernel<T> k, T x, T z) {
        T y;
        k(&x, &z, &y, 1);
        return y;
    };
    for (MathIsa isa : SupportedIsas()) {
        ScopedMathIsa force(isa);
        SCOPED_TRACE(MathIsaName(isa));
        ExpectSame(u(VecExp, -inf), T(0), "exp(-inf)");
        ExpectSame(u(VecExp, inf), inf, "exp(inf)");
        ExpectSame(u(VecExp, T(0)), T(1), "exp(0)");
        ExpectSame(u(VecExp, T(1000)), inf, "exp overflow");
        ExpectSame(u(VecExp, nan), nan, "exp(nan)");
        ExpectSame(u(VecLn, T(0)), -inf, "ln(0)");
        ExpectSame(u(VecLn, -T(0)), -inf, "ln(-0)");
        ExpectSame(u(VecLn, T(-1)), nan, "ln(-1)");
        ExpectSame(u(VecLn, inf), inf, "ln(inf)");
        ExpectSame(u(VecLn, T(1)), T(0), "ln(1)");
        ExpectSame(u(VecLog10, T(0)), -inf, "log10(0)");
        ExpectSame(u(VecLog10, T(-3)), nan, "log10(-3)");
        ExpectSame(u(VecLog10, T(1000)), T(3), "log10(1000)");
        ExpectSame(u(VecSin, -T(0)), -T(0), "sin(-0)");
        ExpectSame(u(VecSin, inf), nan, "sin(inf)");
        ExpectSame(u(VecCos, T(0)), T(1), "cos(0)");
        ExpectSame(u(VecCos, -inf), nan, "cos(-inf)");
        ExpectSame(u(VecAtan, inf), pi2, "atan(inf)");
        ExpectSame(u(VecAtan, -T(0)), -T(0), "atan(-0)");
        ExpectSame(u(VecErf, -inf), T(-1), "erf(-inf)");
        ExpectSame(u(VecErf, -T(0)), -T(0), "erf(-0)");
        ExpectSame(u(VecSqrt, -T(0)), -T(0), "sqrt(-0)");
        ExpectSame(u(VecSqrt, T(-1)), nan, "sqrt(-1)");
        ExpectSame(u(VecSqrt, T(4)), T(2), "sqrt(4)");
        ExpectSame(b(VecAtan2, T(0), T(-1)), pi, "atan2(+0, -1)");
        ExpectSame(b(VecAtan2, -T(0), T(-1)), -pi, "atan2(-0, -1)");
        ExpectSame(b(VecAtan2, T(0), T(0)), T(0), "atan2(+0, +0)");
        ExpectSame(b(VecAtan2, T(1), T(0)), pi2, "atan2(1, 0)");
        ExpectSame(b(VecPow, nan, T(0)), T(1), "pow(nan, 0)");
        ExpectSame(b(VecPow, T(1), nan), T(1), "pow(1, nan)");
        ExpectSame(b(VecPow, T(-2), T(3)), T(-8), "pow(-2, 3)");
        ExpectSame(b(VecPow, T(-8), T(1) / 3), nan, "pow(-8, 1/3)");
        ExpectSame(b(VecPow, -T(0), T(-1)), -inf, "pow(-0, -1)");
        ExpectSame(b(VecPow, T(0), T(-2)), inf, "pow(0, -2)");
        ExpectSame(b(VecPow, T(2), T(10)), T(1024), "pow(2, 10)");
        T x[3] = {T(-2), T(3), T(0.5)};
        T y[3];
        VecPowx(x, T(2), y, 3);
        ExpectSame(y[0], T(4), "powx(-2, 2)");
        ExpectSame(y[1], T(9), "powx(3, 2)");
        ExpectSame(y[2], T(0.25), "powx(0.5, 2)");
    }
}

TEST(VecMath, SpecialValuesSingle) {
    CheckSpecials<float>();
}
TEST(VecMath, SpecialValuesDouble) {
    CheckSpecials<double>();
}

// Logarithms: the exact results users rely on (numpy gives them too), on every level, each
// argument alone and all of them mixed in one call so that the rare-lane handling of a vector
// path meets ordinary lanes in the same register.
template <class T>
void CheckLogExact() {
    const T inf = std::numeric_limits<T>::infinity();
    const T nan = std::numeric_limits<T>::quiet_NaN();
    const T den = std::numeric_limits<T>::denorm_min();
    std::vector<T> x, want10, wantLn;
    auto add = [&](T a, T l10, T ln) {
        x.push_back(a);
        want10.push_back(l10);
        wantLn.push_back(ln);
    };
    T p = 1;
    for (int k = 0; k <= 10; ++k, p *= 10)
        add(p, T(k), static_cast<T>(std::log(static_cast<long double>(p))));
    add(T(0), -inf, -inf);
    add(-T(0), -inf, -inf);
    add(inf, inf, inf);
    add(-inf, nan, nan);
    add(nan, nan, nan);
    add(-nan, nan, nan);
    add(T(-1), nan, nan);
    add(-den, nan, nan);
    add(-std::numeric_limits<T>::max(), nan, nan);
    add(T(0.5), static_cast<T>(std::log10(0.5L)), static_cast<T>(std::log(0.5L)));
    for (MathIsa isa : SupportedIsas()) {
        ScopedMathIsa force(isa);
        SCOPED_TRACE(MathIsaName(isa));
        const int n = static_cast<int>(x.size());
        std::vector<T> got10(n), gotLn(n);
        VecLog10(x.data(), got10.data(), n);
        VecLn(x.data(), gotLn.data(), n);
        for (int i = 0; i < n; ++i) {
            const std::string arg = "x=" + std::to_string(static_cast<double>(x[i]));
            ExpectSame(got10[i], want10[i], ("log10 mixed " + arg).c_str());
            ExpectSame(gotLn[i], wantLn[i], ("ln mixed " + arg).c_str());
            T one;
            VecLog10(&x[i], &one, 1);
            ExpectSame(one, want10[i], ("log10 alone " + arg).c_str());
            VecLn(&x[i], &one, 1);
            ExpectSame(one, wantLn[i], ("ln alone " + arg).c_str());
        }
    }
}

TEST(VecMath, LogExactValuesSingle) {
    CheckLogExact<float>();
}
TEST(VecMath, LogExactValuesDouble) {
    CheckLogExact<double>();
}

// Single-precision ln and log10 over the positive finite floats, subnormals included. All 2^31
// of them take about 90 s here, so by default every 17th pattern is checked on the widest level
// (the automatic choice; an odd stride meets every low-bit residue) and every 1089th on the
// narrower ones; OMBREL_VECMATH_EXHAUSTIVE=1 checks every pattern on the widest level. The
// reference is the C library's double log/log10 (error below 2^-52 relative), so a float
// result's error is known to within 2^-28 ulp, far below the 1-ulp bound tested.
std::uint32_t FullRangeStride(bool widest) {
#if defined(__SANITIZE_ADDRESS__)
    constexpr std::uint32_t kStride = 4099;  // the instrumented build samples sparsely
#else
    constexpr std::uint32_t kStride = 17;
#endif
    const char* all = std::getenv("OMBREL_VECMATH_EXHAUSTIVE");
    if (widest) return all != nullptr && std::string(all) == "1" ? 1 : kStride;
    return kStride * 64 + 1;
}

double FloatUlpError(float got, double ref) {
    const double ulp = std::ldexp(1.0, std::max(std::ilogb(ref), -126) - 23);
    return std::fabs(static_cast<double>(got) - ref) / ulp;
}

TEST(VecMath, LogAllPositiveFloats) {
    constexpr std::uint32_t kLast = 0x7f7fffff;  // FLT_MAX
    constexpr int kBlock = 1 << 16;
    std::vector<float> x(kBlock), ln(kBlock), lg(kBlock);
    const auto isas = SupportedIsas();
    for (MathIsa isa : isas) {
        ScopedMathIsa force(isa);
        const std::uint32_t stride = FullRangeStride(isa == isas.front());
        Worst wLn, wLg;
        float atLn = 0, atLg = 0;
        std::uint64_t count = 0;
        for (std::uint64_t u = 1; u <= kLast;) {
            int n = 0;
            for (; n < kBlock && u <= kLast; ++n, u += stride) {
                const auto bits = static_cast<std::uint32_t>(u);
                std::memcpy(&x[n], &bits, sizeof bits);
            }
            VecLn(x.data(), ln.data(), n);
            VecLog10(x.data(), lg.data(), n);
            for (int i = 0; i < n; ++i) {
                const double xd = x[i];
                const double eLn = FloatUlpError(ln[i], std::log(xd));
                const double eLg = FloatUlpError(lg[i], std::log10(xd));
                if (!(eLn <= wLn.ulp)) {
                    wLn.ulp = eLn;
                    atLn = x[i];
                }
                if (!(eLg <= wLg.ulp)) {
                    wLg.ulp = eLg;
                    atLg = x[i];
                }
            }
            count += static_cast<std::uint64_t>(n);
        }
        std::printf(
            "%s: %llu positive floats, max error ln %.6f ulp (x=%a), log10 %.6f ulp (x=%a)\n",
            MathIsaName(isa), static_cast<unsigned long long>(count), wLn.ulp,
            static_cast<double>(atLn), wLg.ulp, static_cast<double>(atLg));
        EXPECT_LE(wLn.ulp, 1.0) << MathIsaName(isa) << " ln at x=" << atLn;
        EXPECT_LE(wLg.ulp, 1.0) << MathIsaName(isa) << " log10 at x=" << atLg;
    }
}

// Every length from 0 to a few vector widths: the result of each element does not depend on
// its position (body or tail), nothing past the end is written (guard values) or read (the
// sources are exactly `len` long, so the sanitizer build catches any over-read), and the
// destination may be the source.
template <class T>
void CheckTails() {
    Gen<T> g(42);
    for (MathIsa isa : SupportedIsas()) {
        ScopedMathIsa force(isa);
        SCOPED_TRACE(MathIsaName(isa));
        for (int len = 0; len <= 53; ++len) {
            std::vector<T> a(len), b(len);
            for (int i = 0; i < len; ++i) {
                a[i] = g.Uniform(0.1, 3);
                b[i] = g.Uniform(-2, 2);
            }
            const T guard = T(-12345);
            std::vector<T> out(len + 8, guard), one(1);
            auto checkUnary = [&](UnaryKernel<T> k, const char* what) {
                std::fill(out.begin(), out.end(), guard);
                k(a.data(), out.data(), len);
                for (int i = 0; i < len; ++i) {
                    k(&a[i], one.data(), 1);
                    ASSERT_EQ(out[i], one[0]) << what << " len " << len << " at " << i;
                }
                for (int i = len; i < len + 8; ++i)
                    ASSERT_EQ(out[i], guard) << what;
                std::vector<T> inPlace = a;
                k(inPlace.data(), inPlace.data(), len);
                for (int i = 0; i < len; ++i)
                    ASSERT_EQ(inPlace[i], out[i]) << what << " in place";
            };
            checkUnary(VecExp, "exp");
            checkUnary(VecLn, "ln");
            checkUnary(VecLog10, "log10");
            checkUnary(VecSin, "sin");
            checkUnary(VecCos, "cos");
            checkUnary(VecAtan, "atan");
            checkUnary(VecErf, "erf");
            checkUnary(VecSqrt, "sqrt");
            auto checkBinary = [&](BinaryKernel<T> k, const char* what) {
                std::fill(out.begin(), out.end(), guard);
                k(a.data(), b.data(), out.data(), len);
                for (int i = 0; i < len; ++i) {
                    k(&a[i], &b[i], one.data(), 1);
                    ASSERT_EQ(out[i], one[0]) << what << " len " << len << " at " << i;
                }
                for (int i = len; i < len + 8; ++i)
                    ASSERT_EQ(out[i], guard) << what;
            };
            checkBinary(VecAtan2, "atan2");
            checkBinary(VecPow, "pow");
            std::fill(out.begin(), out.end(), guard);
            VecPowx(a.data(), T(1.7), out.data(), len);
            for (int i = 0; i < len; ++i) {
                VecPowx(&a[i], T(1.7), one.data(), 1);
                ASSERT_EQ(out[i], one[0]) << "powx len " << len;
            }
            for (int i = len; i < len + 8; ++i)
                ASSERT_EQ(out[i], guard) << "powx";
        }
        // Non-positive lengths touch nothing, not even the pointers.
        VecExp(static_cast<const T*>(nullptr), static_cast<T*>(nullptr), 0);
        VecPowx(static_cast<const T*>(nullptr), T(2), static_cast<T*>(nullptr), -5);
        VecAtan2(static_cast<const T*>(nullptr), static_cast<const T*>(nullptr),
                 static_cast<T*>(nullptr), -1);
    }
}

TEST(VecMath, TailsAndInPlaceSingle) {
    CheckTails<float>();
}
TEST(VecMath, TailsAndInPlaceDouble) {
    CheckTails<double>();
}

// The one-pass amplitude step against the separate operations it replaces (each written out
// here in plain scalar code: products, sum and square root rounded as float, one float addition,
// the level's own log10 loop, one float product), bit for bit on every level. The lengths cover
// the tail of every vector width and several runs of 256; special values (zero, subnormal and
// overflowing magnitudes, infinities, NaN) sit in some runs only, so both kinds of run are used.
TEST(VecMath, AmplitudeDbMatchesTheSeparateSteps) {
    constexpr float kFloor = 1e-40f;
    const float inf = std::numeric_limits<float>::infinity();
    const float nan = std::numeric_limits<float>::quiet_NaN();
    std::mt19937 rng(11);
    std::normal_distribution<float> g(0.0f, 30.0f);
    std::vector<int> lengths;
    for (int n = 0; n <= 40; ++n)
        lengths.push_back(n);
    for (int n : {255, 256, 257, 511, 600, 1000, 4096, 4099})
        lengths.push_back(n);
    for (MathIsa isa : SupportedIsas()) {
        ScopedMathIsa force(isa);
        SCOPED_TRACE(MathIsaName(isa));
        for (int n : lengths) {
            for (bool special : {false, true}) {
                std::vector<float> c(2 * static_cast<size_t>(n));
                for (float& v : c)
                    v = g(rng);
                if (special && n > 0) {
                    const float odd[] = {0.0f, -0.0f, 1e-30f, 3e-39f, 1e-45f, 3e38f, -inf, nan};
                    for (int k = 0; k < 8; ++k)
                        c[static_cast<size_t>((k * 37 + 5) % (2 * n))] = odd[k];
                    // A zero bin, a bin just under the smallest normal magnitude.
                    c[0] = c[1] = 0.0f;
                    if (n > 300) c[2 * 300] = 1e-20f, c[2 * 300 + 1] = 0.0f;
                }
                std::vector<float> mag(n + 1, -7.0f), lin(n + 1, -7.0f), db(n + 1, -7.0f);
                VecAmplitudeDb(c.data(), mag.data(), lin.data(), db.data(), kFloor, n);
                std::vector<float> rMag(n), rLin(n), rDb(n);
                for (int i = 0; i < n; ++i) {
                    const float re = c[2 * i];
                    const float im = c[2 * i + 1];
                    const float re2 = re * re;
                    const float im2 = im * im;
                    const float sum = re2 + im2;
                    rMag[i] = std::sqrt(sum);
                    rLin[i] = rMag[i] + kFloor;
                }
                VecLog10(rLin.data(), rDb.data(), n);
                for (float& v : rDb)
                    v *= 20.0f;
                for (int i = 0; i < n; ++i) {
                    ASSERT_TRUE(SameFloat(mag[i], rMag[i])) << "n=" << n << " i=" << i;
                    ASSERT_TRUE(SameFloat(lin[i], rLin[i])) << "n=" << n << " i=" << i;
                    ASSERT_TRUE(SameFloat(db[i], rDb[i]))
                        << "n=" << n << " i=" << i << " lin " << rLin[i];
                }
                EXPECT_EQ(mag[n], -7.0f);
                EXPECT_EQ(lin[n], -7.0f);
                EXPECT_EQ(db[n], -7.0f);
            }
        }
    }
}

}  // namespace
}  // namespace Kivo::kernels
