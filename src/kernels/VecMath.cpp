#include "kernels/VecMath.h"

#include <atomic>
#include <cmath>

#include "kernels/VecMathTable.h"

namespace Kivo::kernels {

namespace vecmath {

// 2/sqrt(pi) to 64 bits.
constexpr long double kTwoOverSqrtPi = 1.128379167095512573896158903121545172L;

// In double for single precision and long double for double: the product carries 11 (double)
// or, on x86, 64 bits beyond the target format, so the final rounding is the only one that
// matters.
float ErfTiny(float x) {
    return static_cast<float>(static_cast<double>(x) * 1.1283791670955126);
}
double ErfTiny(double x) {
    return static_cast<double>(static_cast<long double>(x) * kTwoOverSqrtPi);
}

float PowOverflowed(float x, float p) {
    return static_cast<float>(std::pow(static_cast<double>(x), static_cast<double>(p)));
}
double PowOverflowed(double x, double p) {
    return static_cast<double>(std::pow(static_cast<long double>(x), static_cast<long double>(p)));
}

}  // namespace vecmath

namespace {

using vecmath::Table;

const Table* TableOf(MathIsa isa) {
    switch (isa) {
#if defined(__x86_64__) || defined(__i386__)
        case MathIsa::Avx512:
            return &vecmath::kAvx512;
        case MathIsa::Avx2:
            return &vecmath::kAvx2;
        case MathIsa::Sse4:
            return &vecmath::kSse4;
#endif
        case MathIsa::Scalar:
            return &vecmath::kScalar;
        default:
            return nullptr;
    }
}

bool ProcessorHas(MathIsa isa) {
#if defined(__x86_64__) || defined(__i386__)
    __builtin_cpu_init();
    switch (isa) {
        // SLEEF's avx512f functions need only AVX-512F (it includes FMA); its avx2 functions
        // are compiled with FMA as well, so both features are required.
        case MathIsa::Avx512:
            return __builtin_cpu_supports("avx512f");
        case MathIsa::Avx2:
            return __builtin_cpu_supports("avx2") && __builtin_cpu_supports("fma");
        case MathIsa::Sse4:
            return __builtin_cpu_supports("sse4.1");
        case MathIsa::Scalar:
            return true;
    }
    return false;
#else
    return isa == MathIsa::Scalar;
#endif
}

MathIsa DetectBest() {
    for (MathIsa isa : {MathIsa::Avx512, MathIsa::Avx2, MathIsa::Sse4}) {
        if (TableOf(isa) != nullptr && ProcessorHas(isa)) return isa;
    }
    return MathIsa::Scalar;
}

// The automatic choice is made once; the test hook may override it.
std::atomic<const Table*> g_forced{nullptr};

const Table& Best() {
    static const Table* const best = TableOf(DetectBest());
    return *best;
}

inline const Table& Active() {
    const Table* forced = g_forced.load(std::memory_order_relaxed);
    return forced != nullptr ? *forced : Best();
}

}  // namespace

bool MathIsaSupported(MathIsa isa) {
    return TableOf(isa) != nullptr && ProcessorHas(isa);
}

MathIsa ActiveMathIsa() {
    const Table* t = &Active();
    for (MathIsa isa : {MathIsa::Avx512, MathIsa::Avx2, MathIsa::Sse4, MathIsa::Scalar}) {
        if (TableOf(isa) == t) return isa;
    }
    return MathIsa::Scalar;
}

const char* MathIsaName(MathIsa isa) {
    switch (isa) {
        case MathIsa::Avx512:
            return "avx512f";
        case MathIsa::Avx2:
            return "avx2";
        case MathIsa::Sse4:
            return "sse4.1";
        case MathIsa::Scalar:
            return "scalar";
    }
    return "unknown";
}

ScopedMathIsa::ScopedMathIsa(MathIsa isa) : previous_(g_forced.load()) {
    if (MathIsaSupported(isa)) g_forced.store(TableOf(isa));
}

ScopedMathIsa::~ScopedMathIsa() {
    g_forced.store(static_cast<const Table*>(previous_));
}

void VecExp(const float* s, float* d, int n) {
    Active().expF(s, d, n);
}
void VecLn(const float* s, float* d, int n) {
    Active().lnF(s, d, n);
}
void VecLog10(const float* s, float* d, int n) {
    Active().log10F(s, d, n);
}
void VecSin(const float* s, float* d, int n) {
    Active().sinF(s, d, n);
}
void VecCos(const float* s, float* d, int n) {
    Active().cosF(s, d, n);
}
void VecAtan(const float* s, float* d, int n) {
    Active().atanF(s, d, n);
}
void VecErf(const float* s, float* d, int n) {
    Active().erfF(s, d, n);
}
void VecSqrt(const float* s, float* d, int n) {
    Active().sqrtF(s, d, n);
}
void VecAtan2(const float* y, const float* x, float* d, int n) {
    Active().atan2F(y, x, d, n);
}
void VecPow(const float* x, const float* p, float* d, int n) {
    Active().powF(x, p, d, n);
}
void VecPowx(const float* x, float p, float* d, int n) {
    Active().powxF(x, p, d, n);
}
void VecAmplitudeDb(const float* c, float* mag, float* lin, float* db, float floor, int n) {
    Active().amplitudeDbF(c, mag, lin, db, floor, n);
}

void VecExp(const double* s, double* d, int n) {
    Active().expD(s, d, n);
}
void VecLn(const double* s, double* d, int n) {
    Active().lnD(s, d, n);
}
void VecLog10(const double* s, double* d, int n) {
    Active().log10D(s, d, n);
}
void VecSin(const double* s, double* d, int n) {
    Active().sinD(s, d, n);
}
void VecCos(const double* s, double* d, int n) {
    Active().cosD(s, d, n);
}
void VecAtan(const double* s, double* d, int n) {
    Active().atanD(s, d, n);
}
void VecErf(const double* s, double* d, int n) {
    Active().erfD(s, d, n);
}
void VecSqrt(const double* s, double* d, int n) {
    Active().sqrtD(s, d, n);
}
void VecAtan2(const double* y, const double* x, double* d, int n) {
    Active().atan2D(y, x, d, n);
}
void VecPow(const double* x, const double* p, double* d, int n) {
    Active().powD(x, p, d, n);
}
void VecPowx(const double* x, double p, double* d, int n) {
    Active().powxD(x, p, d, n);
}

}  // namespace Kivo::kernels
