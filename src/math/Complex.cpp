// Functions of one complex sample. The float forms widen to double, evaluate the formula there
// and round once: float inputs square exactly in double, so magnitudes and products of
// single-precision samples neither overflow nor lose more than the final rounding.
#include <ombrel/infra/UnitTestRecorder.h>
#include <ombrel/math/Complex.h>

#include "kernels/SelfTest.h"

#include <cmath>
#include <numbers>

namespace Kivo {

Cplx32 Complex::Cplx(float re, float im) {
    return Cplx32{re, im};
}
Cplx64 Complex::Cplx(double re, double im) {
    return Cplx64{re, im};
}

Cplx32 Complex::Cplx(float phi) {
    const double p = phi;
    return Cplx32{static_cast<float>(std::cos(p)), static_cast<float>(std::sin(p))};
}
Cplx64 Complex::Cplx(double phi) {
    return Cplx64{std::cos(phi), std::sin(phi)};
}

Cplx32 Complex::Conj(const Cplx32& z) {
    return Cplx32{z.re, -z.im};
}
Cplx64 Complex::Conj(const Cplx64& z) {
    return Cplx64{z.re, -z.im};
}

float Complex::MagSqr(const Cplx32& z) {
    const double re = z.re;
    const double im = z.im;
    return static_cast<float>(re * re + im * im);
}
double Complex::MagSqr(const Cplx64& z) {
    return z.re * z.re + z.im * z.im;
}

float Complex::Mag(const Cplx32& z) {
    const double re = z.re;
    const double im = z.im;
    return static_cast<float>(std::sqrt(re * re + im * im));
}
double Complex::Mag(const Cplx64& z) {
    return std::sqrt(z.re * z.re + z.im * z.im);
}

float Complex::Phase(const Cplx32& z) {
    return static_cast<float>(std::atan2(static_cast<double>(z.im), static_cast<double>(z.re)));
}
double Complex::Phase(const Cplx64& z) {
    return std::atan2(z.im, z.re);
}

Cplx32 Complex::MulConj(const Cplx32& a, const Cplx32& b) {
    const double ar = a.re;
    const double ai = a.im;
    const double br = b.re;
    const double bi = b.im;
    // Each product of two floats is exact in double, so only the sum and the final narrowing
    // round.
    return Cplx32{static_cast<float>(ar * br + ai * bi), static_cast<float>(ai * br - ar * bi)};
}
Cplx64 Complex::MulConj(const Cplx64& a, const Cplx64& b) {
    return Cplx64{a.re * b.re + a.im * b.im, a.im * b.re - a.re * b.im};
}

Cplx32 Complex::Recip(const Cplx32& z) {
    const double re = z.re;
    const double im = z.im;
    const double d = re * re + im * im;
    return Cplx32{static_cast<float>(re / d), static_cast<float>(-im / d)};
}
Cplx64 Complex::Recip(const Cplx64& z) {
    const double d = z.re * z.re + z.im * z.im;
    return Cplx64{z.re / d, -z.im / d};
}

bool Complex::UnitTest(UnitTestRecorder& recorder) {
    bool ok = true;
    const char* cls = "Complex";
    {
        const Cplx32 f = MulConj(Cplx(1.0f, 2.0f), Cplx(3.0f, 4.0f));
        const Cplx64 d = MulConj(Cplx(1.0, 2.0), Cplx(3.0, 4.0));
        kernels::Record(recorder, ok, cls, "MulConj((1, 2), (3, 4)) is (11, 2)",
                        f.re == 11.0f && f.im == 2.0f && d.re == 11.0 && d.im == 2.0);
    }
    {
        const Cplx32 f = Recip(Cplx(0.0f, 2.0f));
        const Cplx64 d = Recip(Cplx(0.0, 2.0));
        kernels::Record(recorder, ok, cls, "Recip((0, 2)) is (0, -0.5)",
                        f.re == 0.0f && f.im == -0.5f && d.re == 0.0 && d.im == -0.5);
    }
    kernels::Record(recorder, ok, cls, "Phase on the axes",
                    Phase(Cplx(-1.0, 0.0)) == std::numbers::pi &&
                        Phase(Cplx(0.0, -1.0)) == -std::numbers::pi / 2 &&
                        Phase(Cplx(-1.0f, 0.0f)) == std::numbers::pi_v<float> &&
                        Phase(Cplx(0.0f, -1.0f)) == -std::numbers::pi_v<float> / 2 &&
                        Phase(Cplx(0.0, 0.0)) == 0.0);
    kernels::Record(recorder, ok, cls, "Mag and MagSqr of (3, 4)",
                    Mag(Cplx(3.0f, 4.0f)) == 5.0f && MagSqr(Cplx(3.0f, 4.0f)) == 25.0f &&
                        Mag(Cplx(3.0, 4.0)) == 5.0 && MagSqr(Cplx(3.0, 4.0)) == 25.0);
    {
        const Cplx64 d = Cplx(0);
        const Cplx32 f = Cplx(0.0f);
        kernels::Record(recorder, ok, cls, "Cplx(0) is (1, 0)",
                        d.re == 1.0 && d.im == 0.0 && f.re == 1.0f && f.im == 0.0f);
    }
    {
        const Cplx32 c = Conj(Cplx(1.5f, -2.5f));
        const Cplx64 p = Cplx(std::numbers::pi / 2);
        kernels::Record(recorder, ok, cls, "Conj and unit phasor",
                        c.re == 1.5f && c.im == 2.5f && std::fabs(p.re) < 1e-15 && p.im == 1.0);
    }
    return ok;
}

}  // namespace Kivo
