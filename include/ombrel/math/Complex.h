// Static functions on single complex samples.
#pragma once

#include <ombrel/Export.h>
#include <ombrel/math/Types.h>

#include <concepts>

namespace Kivo {

class UnitTestRecorder;

/// Functions of one complex sample, for `Cplx32` and `Cplx64`. Nothing is stored.
///
/// The single-precision forms compute in double and round the result once to float, so they
/// are as exact as the formula allows in double (the magnitude is not rescaled: for float input
/// the double sum of squares cannot overflow, for double input it overflows above about
/// 1.3e154). Angles are in radians.
class OMBREL_API Complex {
  public:
    /// The record (re, im).
    static Cplx32 Cplx(float re, float im);
    static Cplx64 Cplx(double re, double im);
    /// The unit phasor (cos phi, sin phi).
    static Cplx32 Cplx(float phi);
    static Cplx64 Cplx(double phi);
    /// Integer arguments, which would match the float and double forms equally well, take the
    /// double form, as the <cmath> functions do.
    template <std::integral I>
    static Cplx64 Cplx(I phi) {
        return Cplx(static_cast<double>(phi));
    }
    template <std::integral I, std::integral J>
    static Cplx64 Cplx(I re, J im) {
        return Cplx(static_cast<double>(re), static_cast<double>(im));
    }

    /// (re, -im).
    static Cplx32 Conj(const Cplx32& z);
    static Cplx64 Conj(const Cplx64& z);
    /// sqrt(re * re + im * im).
    static float Mag(const Cplx32& z);
    static double Mag(const Cplx64& z);
    /// re * re + im * im.
    static float MagSqr(const Cplx32& z);
    static double MagSqr(const Cplx64& z);
    /// Four-quadrant arc tangent of im over re, in [-pi, pi]; 0 for (0, 0). The sign of a zero
    /// imaginary part selects pi or -pi on the negative real axis.
    static float Phase(const Cplx32& z);
    static double Phase(const Cplx64& z);
    /// a * conj(b) = (a.re * b.re + a.im * b.im, a.im * b.re - a.re * b.im).
    static Cplx32 MulConj(const Cplx32& a, const Cplx32& b);
    static Cplx64 MulConj(const Cplx64& a, const Cplx64& b);
    /// 1 / z = (re / d, -im / d) with d = re * re + im * im. Zero is not tested: 1 / (0, 0) is
    /// the IEEE quotient (NaN, NaN); no exception.
    static Cplx32 Recip(const Cplx32& z);
    static Cplx64 Recip(const Cplx64& z);

    static bool UnitTest(UnitTestRecorder& recorder);
};

}  // namespace Kivo
