// Element-wise math loops without vector instructions: SLEEF's scalar 1-ulp functions, one
// element per call. Used on processors without SSE4.1 and on non-x86 targets, and selectable by
// the tests so that every path is measured.
#include <sleef.h>

#include <cmath>

#include "kernels/VecMathLoops.h"
#include "kernels/VecMathTable.h"

namespace Kivo::kernels::vecmath {
namespace {

struct F1 {
    using T = float;
    using V = float;
    using M = bool;
    static constexpr int W = 1;
    static V Load(const T* p) { return *p; }
    static void Store(T* p, V v) { *p = v; }
    static V Set1(T x) { return x; }
    static V Abs(V v) { return std::fabs(v); }
    static V Div(V a, V b) { return a / b; }
    static M Lt(V a, V b) { return a < b; }
    static M Gt(V a, V b) { return a > b; }
    static M Eq(V a, V b) { return a == b; }
    static M And(M a, M b) { return a && b; }
    static bool Any(M m) { return m; }
    static V Blend(V a, V b, M m) { return m ? b : a; }
};
struct D1 {
    using T = double;
    using V = double;
    using M = bool;
    static constexpr int W = 1;
    static V Load(const T* p) { return *p; }
    static void Store(T* p, V v) { *p = v; }
    static V Set1(T x) { return x; }
    static V Abs(V v) { return std::fabs(v); }
    static V Div(V a, V b) { return a / b; }
    static M Lt(V a, V b) { return a < b; }
    static M Gt(V a, V b) { return a > b; }
    static M Eq(V a, V b) { return a == b; }
    static M And(M a, M b) { return a && b; }
    static bool Any(M m) { return m; }
    static V Blend(V a, V b, M m) { return m ? b : a; }
};

// IEEE square root is correctly rounded.
float SqrtF(float x) {
    return std::sqrt(x);
}
double SqrtD(double x) {
    return std::sqrt(x);
}

// SLEEF declares its scalar functions as returning `const float`, a different function type;
// these forwarders give the loops plain `float(float)` functions.
float Sexpf_u10(float x) {
    return Sleef_expf_u10(x);
}
float Slogf_u10(float x) {
    return Sleef_logf_u10(x);
}
float Slog10f_u10(float x) {
    return Sleef_log10f_u10(x);
}
float Ssinf_u10(float x) {
    return Sleef_sinf_u10(x);
}
float Scosf_u10(float x) {
    return Sleef_cosf_u10(x);
}
float Satanf_u10(float x) {
    return Sleef_atanf_u10(x);
}
float Serff_u10(float x) {
    return Sleef_erff_u10(x);
}
float Satan2f_u10(float a, float b) {
    return Sleef_atan2f_u10(a, b);
}
float Spowf_u10(float a, float b) {
    return Sleef_powf_u10(a, b);
}
double Sexp_u10(double x) {
    return Sleef_exp_u10(x);
}
double Slog_u10(double x) {
    return Sleef_log_u10(x);
}
double Slog10_u10(double x) {
    return Sleef_log10_u10(x);
}
double Ssin_u10(double x) {
    return Sleef_sin_u10(x);
}
double Scos_u10(double x) {
    return Sleef_cos_u10(x);
}
double Satan_u10(double x) {
    return Sleef_atan_u10(x);
}
double Serf_u10(double x) {
    return Sleef_erf_u10(x);
}
double Satan2_u10(double a, double b) {
    return Sleef_atan2_u10(a, b);
}
double Spow_u10(double a, double b) {
    return Sleef_pow_u10(a, b);
}

}  // namespace

extern const Table kScalar = {
    "scalar",
    Unary<F1, Sexpf_u10>,
    Unary<F1, Slogf_u10>,
    Unary<F1, Slog10f_u10>,
    Unary<F1, Ssinf_u10>,
    Unary<F1, Scosf_u10>,
    Unary<F1, Satanf_u10>,
    Unary<F1, ErfRepaired<F1, Serff_u10>>,
    Unary<F1, SqrtF>,
    Binary<F1, Atan2Repaired<F1, Satan2f_u10>>,
    Binary<F1, PowRepaired<F1, Spowf_u10>>,
    WithConstant<F1, PowRepaired<F1, Spowf_u10>>,
    AmplitudeDb<Unary<F1, Slog10f_u10>>,

    Unary<D1, Sexp_u10>,
    Unary<D1, Slog_u10>,
    Unary<D1, Slog10_u10>,
    Unary<D1, Ssin_u10>,
    Unary<D1, Scos_u10>,
    Unary<D1, Satan_u10>,
    Unary<D1, ErfRepaired<D1, Serf_u10>>,
    Unary<D1, SqrtD>,
    Binary<D1, Atan2Repaired<D1, Satan2_u10>>,
    Binary<D1, PowRepaired<D1, Spow_u10>>,
    WithConstant<D1, PowRepaired<D1, Spow_u10>>,
};

}  // namespace Kivo::kernels::vecmath
