// Loop skeletons shared by the per-instruction-set units of the element-wise math kernels.
// Included only by VecMath<Isa>.cpp after that unit has selected its instruction set; every
// definition has internal linkage so that code compiled for one set never leaves its unit.
// No standard-library header on purpose (see VecMathTable.h).
#pragma once

#include "kernels/VecMathTable.h"

namespace Kivo::kernels::vecmath {
namespace {

// A traits type `Tr` supplies: the element type T, the register type V, the lane count W,
// Load/Store (unaligned), Set1 (broadcast), Abs, Div, comparisons Lt/Gt/Eq giving a lane mask
// of type M, And of masks, Any (some lane set) and Blend(a, b, m) (b where m is set).
//
// Tails: the last len % W elements are copied into a register-sized stack block padded with
// 1.0 (a value every function accepts without raising anything), processed by the same vector
// function as the body, and copied back. So every element is computed by the same code whatever
// its position, and nothing at or beyond `len` is read or written.

template <class Tr, typename Tr::V (*F)(typename Tr::V)>
void Unary(const typename Tr::T* src, typename Tr::T* dst, int len) {
    using T = typename Tr::T;
    int i = 0;
    for (; len - i >= Tr::W; i += Tr::W)
        Tr::Store(dst + i, F(Tr::Load(src + i)));
    const int rest = len - i;
    if (rest > 0) {
        alignas(64) T buf[Tr::W];
        for (int k = 0; k < Tr::W; ++k)
            buf[k] = k < rest ? src[i + k] : T(1);
        Tr::Store(buf, F(Tr::Load(buf)));
        for (int k = 0; k < rest; ++k)
            dst[i + k] = buf[k];
    }
}

template <class Tr, typename Tr::V (*F)(typename Tr::V, typename Tr::V)>
void Binary(const typename Tr::T* a, const typename Tr::T* b, typename Tr::T* dst, int len) {
    using T = typename Tr::T;
    int i = 0;
    for (; len - i >= Tr::W; i += Tr::W)
        Tr::Store(dst + i, F(Tr::Load(a + i), Tr::Load(b + i)));
    const int rest = len - i;
    if (rest > 0) {
        alignas(64) T ba[Tr::W];
        alignas(64) T bb[Tr::W];
        for (int k = 0; k < Tr::W; ++k) {
            ba[k] = k < rest ? a[i + k] : T(1);
            bb[k] = k < rest ? b[i + k] : T(1);
        }
        Tr::Store(ba, F(Tr::Load(ba), Tr::Load(bb)));
        for (int k = 0; k < rest; ++k)
            dst[i + k] = ba[k];
    }
}

// x[i] raised to one constant exponent: the binary function with the exponent broadcast.
template <class Tr, typename Tr::V (*F)(typename Tr::V, typename Tr::V)>
void WithConstant(const typename Tr::T* a, typename Tr::T p, typename Tr::T* dst, int len) {
    using T = typename Tr::T;
    const typename Tr::V vp = Tr::Set1(p);
    int i = 0;
    for (; len - i >= Tr::W; i += Tr::W)
        Tr::Store(dst + i, F(Tr::Load(a + i), vp));
    const int rest = len - i;
    if (rest > 0) {
        alignas(64) T buf[Tr::W];
        for (int k = 0; k < Tr::W; ++k)
            buf[k] = k < rest ? a[i + k] : T(1);
        Tr::Store(buf, F(Tr::Load(buf), vp));
        for (int k = 0; k < rest; ++k)
            dst[i + k] = buf[k];
    }
}

// Magnitude of `len` interleaved complex values, that plus `floor`, and 20 log10 of the sum, with
// the level's own log10 loop: three passes over the block, each element rounded exactly as by
// the separate operations (products, sum, square root, addition, logarithm, product).
template <void (*Log10)(const float*, float*, int)>
void AmplitudeDb(const float* c, float* mag, float* lin, float* db, float floor, int len) {
    for (int i = 0; i < len; ++i) {
        const float re = c[2 * i];
        const float im = c[2 * i + 1];
        mag[i] = __builtin_sqrtf(re * re + im * im);
        lin[i] = mag[i] + floor;
    }
    Log10(lin, db, len);
    for (int i = 0; i < len; ++i)
        db[i] *= 20.0f;
}

template <class T>
constexpr T Tiny() {
    if constexpr (sizeof(T) == sizeof(float)) {
        return kTinyF;
    } else {
        return kTinyD;
    }
}

template <class T>
constexpr T Inf() {
    if constexpr (sizeof(T) == sizeof(float)) {
        return __builtin_huge_valf();
    } else {
        return __builtin_huge_val();
    }
}

// erf with tiny arguments computed as 2x/sqrt(pi): SLEEF's polynomial loses accuracy where the
// result nears the subnormal range. The check costs one compare per register; the repair runs
// only for registers holding such arguments.
template <class Tr, typename Tr::V (*F)(typename Tr::V)>
typename Tr::V ErfRepaired(typename Tr::V x) {
    using T = typename Tr::T;
    typename Tr::V r = F(x);
    if (Tr::Any(Tr::Lt(Tr::Abs(x), Tr::Set1(Tiny<T>())))) {
        alignas(64) T xs[Tr::W];
        alignas(64) T rs[Tr::W];
        Tr::Store(xs, x);
        Tr::Store(rs, r);
        for (int k = 0; k < Tr::W; ++k) {
            if (xs[k] < Tiny<T>() && xs[k] > -Tiny<T>()) rs[k] = ErfTiny(xs[k]);
        }
        r = Tr::Load(rs);
    }
    return r;
}

// atan2(y, x) for x > 0 and |y/x| tiny is the correctly rounded quotient y/x (atan t = t to a
// relative t^2/3): SLEEF loses up to 1.6 ulp there when the result is subnormal.
template <class Tr, typename Tr::V (*F)(typename Tr::V, typename Tr::V)>
typename Tr::V Atan2Repaired(typename Tr::V y, typename Tr::V x) {
    using T = typename Tr::T;
    const typename Tr::V r = F(y, x);
    const typename Tr::V q = Tr::Div(y, x);
    return Tr::Blend(r, q,
                     Tr::And(Tr::Gt(x, Tr::Set1(T(0))), Tr::Lt(Tr::Abs(q), Tr::Set1(Tiny<T>()))));
}

// pow whose result overflowed from finite arguments is recomputed in a wider format, which
// either confirms the infinity or gives the largest values SLEEF's overflow test rejects.
template <class Tr, typename Tr::V (*F)(typename Tr::V, typename Tr::V)>
typename Tr::V PowRepaired(typename Tr::V x, typename Tr::V p) {
    using T = typename Tr::T;
    typename Tr::V r = F(x, p);
    const typename Tr::V inf = Tr::Set1(Inf<T>());
    if (Tr::Any(Tr::And(Tr::Eq(Tr::Abs(r), inf),
                        Tr::And(Tr::Lt(Tr::Abs(x), inf), Tr::Lt(Tr::Abs(p), inf))))) {
        alignas(64) T xs[Tr::W];
        alignas(64) T ps[Tr::W];
        alignas(64) T rs[Tr::W];
        Tr::Store(xs, x);
        Tr::Store(ps, p);
        Tr::Store(rs, r);
        for (int k = 0; k < Tr::W; ++k) {
            if (__builtin_isinf(rs[k]) && __builtin_isfinite(xs[k]) && __builtin_isfinite(ps[k]))
                rs[k] = PowOverflowed(xs[k], ps[k]);
        }
        r = Tr::Load(rs);
    }
    return r;
}

}  // namespace
}  // namespace Kivo::kernels::vecmath
