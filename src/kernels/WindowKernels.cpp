// Window shapes, Kaiser windows in two precisions and the helpers peculiar to the windows.
#include "kernels/WindowKernels.h"

#include "kernels/VectorKernels.h"

#include <cfloat>
#include <cmath>
#include <numbers>

namespace Kivo::kernels {

namespace {
// cos(x), cos(2x), cos(3x), cos(4x) from one extended-precision cosine by the Chebyshev
// recurrence cos(kx) = 2 cos(x) cos((k-1)x) - cos((k-2)x). Four cosl calls per point made a
// 4096-point flat-top window take about 2 ms (0.6 ms now); the recurrence adds a few ulp of long
// double (2^-63), far below the single-precision rounding of the coefficients: for every length
// from 2 to 6000 the float coefficients came out the same, bit for bit, as with four cosines.
struct CosMultiples {
    explicit CosMultiples(long double x)
        : c1(std::cos(x)),
          c2(2.0L * c1 * c1 - 1.0L),
          c3(2.0L * c1 * c2 - c1),
          c4(2.0L * c1 * c3 - c2) {}
    long double c1, c2, c3, c4;
};
}  // namespace

void SymmetricWindow(float* out, int n, SymmetricShape shape, float param) {
    if (n <= 0) return;
    // The shapes are evaluated in extended precision and rounded once to float; the cosine
    // argument keeps the single-precision pi on purpose, so that coefficients match the
    // instrument's tables rather than the exact closed form.
    const long double pi = kWindowPi;
    const long double span = static_cast<long double>(n - 1);
    const long double centre = (static_cast<long double>(n) - 1.0L) / 2.0L;
    // The Gaussian's exponent factor is formed in single precision, its base is e rounded to
    // float and raised with the general power function: all three kept as the tables have them.
    const float c = -2.0f * (param * param);
    const long double e = kWindowE;
    const int half = (n + 1) / 2;
    for (int i = 0; i < half; ++i) {
        const long double x = 2.0L * pi * static_cast<long double>(i) / span;
        long double v = 0.0L;
        switch (shape) {
            case SymmetricShape::Hann:
                v = 0.5L - 0.5L * std::cos(x);
                break;
            case SymmetricShape::BlackmanHarris: {
                const CosMultiples k(x);
                v = 0.35875L - 0.48829L * k.c1 + 0.14128L * k.c2 - 0.01168L * k.c3;
            } break;
            case SymmetricShape::FlatTop:
                // Not the common five-term flat top: this set sums to exactly 1 at the centre and
                // dips to about -0.00035 at both ends.
                {
                    const CosMultiples k(x);
                    v = 0.213283237831627L - 0.414006058783449L * k.c1 + 0.279055911943775L * k.c2 -
                        0.0861666667911267L * k.c3 + 0.00748812465002295L * k.c4;
                }
                break;
            case SymmetricShape::Gauss: {
                // Distance from the centre divided by n, not by n-1 or (n-1)/2: deliberately.
                const long double t = (static_cast<long double>(i) - centre) / n;
                v = std::pow(e, static_cast<long double>(c) * t * t);
                break;
            }
        }
        const float f = static_cast<float>(v);
        out[i] = f;
        out[n - 1 - i] = f;
    }
}

double BesselI0(double x) {
    const double q = 0.25 * x * x;
    double term = 1.0;
    double sum = 1.0;
    // Terms grow until k passes x/2 and then fall off faster than geometrically; stop once a
    // term no longer moves the sum. Written so that NaN and infinity also end the loop.
    for (int k = 1; k < 4096; ++k) {
        term *= q / (static_cast<double>(k) * static_cast<double>(k));
        sum += term;
        if (!(term > sum * 1e-17)) break;
    }
    return sum;
}

double LogBesselI0(double x) {
    const double ax = std::fabs(x);
    if (ax <= 700.0) return std::log(BesselI0(ax));
    // Asymptotic expansion I0(x) ~ e^x / sqrt(2 pi x) * sum_k ((2k-1)!!)^2 / (k! (8x)^k); five
    // terms are below double rounding for x > 700.
    const double r = 1.0 / (8.0 * ax);
    const double s =
        1.0 + r * (1.0 + r * (9.0 / 2.0 +
                              r * (225.0 / 6.0 + r * (11025.0 / 24.0 + r * (893025.0 / 120.0)))));
    return ax - 0.5 * std::log(2.0 * std::numbers::pi * ax) + std::log(s);
}

int WinKaiserInPlace(float* x, int len, float alpha) {
    if (len < 1) return kWinStsSizeErr;
    if (len == 1) return kWinStsNoErr;
    const double m = (len - 1) / 2.0;
    const double a = alpha;
    const double den = BesselI0(a * m);
    // The single-precision window divides by I0(alpha M) in single precision: once that is
    // beyond FLT_MAX it cannot be formed, and the caller retries in double.
    if (!(den <= static_cast<double>(FLT_MAX))) return kWinStsHugeWinErr;
    for (int n = 0; n < len; ++n) {
        const double d = n - m;
        const double ratio = BesselI0(a * std::sqrt(m * m - d * d)) / den;
        x[n] = static_cast<float>(static_cast<double>(x[n]) * ratio);
    }
    return kWinStsNoErr;
}

int WinKaiserInPlace(double* x, int len, double alpha) {
    if (len < 1) return kWinStsSizeErr;
    if (len == 1) return kWinStsNoErr;
    const double m = (len - 1) / 2.0;
    const double xmax = std::fabs(alpha * m);
    if (xmax <= 700.0) {
        const double den = BesselI0(xmax);
        for (int n = 0; n < len; ++n) {
            const double d = n - m;
            x[n] *= BesselI0(alpha * std::sqrt(m * m - d * d)) / den;
        }
        return kWinStsNoErr;
    }
    // Beyond the double range of I0: form the ratio from logarithms, which never overflows
    // (the outer values then underflow gracefully to tiny numbers or 0).
    const double logDen = LogBesselI0(xmax);
    for (int n = 0; n < len; ++n) {
        const double d = n - m;
        x[n] *= std::exp(LogBesselI0(alpha * std::sqrt(m * m - d * d)) - logDen);
    }
    return kWinStsNoErr;
}

void MulStride2(float* out, const float* in, const float* dup, int n) {
    for (int i = 0; i < n; ++i)
        out[i] = in[i] * dup[2 * i];
}

float NormalisedEnergyTimesCount(const float* x, int n) {
    if (n <= 0) return 0.0f;
    const float s = static_cast<float>(Sum(x, n));
    double acc = 0.0;
    for (int i = 0; i < n; ++i) {
        const float q = x[i] / s;
        acc += static_cast<double>(q * q);
    }
    return static_cast<float>(acc) * static_cast<float>(n);
}

}  // namespace Kivo::kernels
