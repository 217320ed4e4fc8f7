// Raw-array kernels behind the window classes: the window shapes, the Kaiser window in single
// and double precision with their status results, and the two helpers peculiar to the windows.
// Plain element-wise work (products, duplication, division by a constant) goes through the
// shared vector and signal kernels.
#pragma once

namespace Kivo::kernels {

/// Status results of the Kaiser kernels, with the values the rest of the library tests for.
inline constexpr int kWinStsNoErr = 0;
inline constexpr int kWinStsSizeErr = -6;
/// The window cannot be represented in the kernel's working precision.
inline constexpr int kWinStsHugeWinErr = -39;

/// The shapes computed from their first half and mirrored.
enum class SymmetricShape { Hann, BlackmanHarris, FlatTop, Gauss };

/// Single-precision pi as the windows use it (3.1415927f): the cosine arguments are built on
/// this value, not on the exact constant.
inline constexpr float kWindowPi = 3.1415927f;
/// e rounded to single precision; the Gaussian raises it with the general power function.
inline constexpr float kWindowE = 2.7182817f;

/// Writes the n un-normalised values of a symmetric shape into out. Only i = 0 ... ceil(n/2)-1
/// is evaluated (in extended precision, then rounded to float) and written to i and n-1-i, so
/// the result is exactly symmetric with a single centre value for odd n. `param` is the
/// Gaussian's alpha and ignored by the other shapes. n <= 0 writes nothing; n = 1 gives the
/// cosine shapes' 0/0 (not a number), as their closed forms do.
void SymmetricWindow(float* out, int n, SymmetricShape shape, float param);

/// Modified Bessel function of the first kind, order 0, by its power series
/// sum_k ((x/2)^k / k!)^2, in double. Overflows to +Inf beyond x of about 713.
double BesselI0(double x);

/// Natural logarithm of I0(x) for x >= 0, finite for every finite x: the series below x = 700,
/// the asymptotic expansion of I0 above.
double LogBesselI0(double x);

/// In place, x[n] *= I0(alpha * sqrt(M^2 - (n - M)^2)) / I0(alpha * M), M = (len - 1) / 2.
/// With alpha = 2 beta / (len - 1) this is the standard Kaiser window of shape beta.
/// Single-precision form: returns kWinStsHugeWinErr, writing nothing, when I0(alpha * M) is
/// beyond the single-precision range (alpha * M above about 91.9). len < 1 gives
/// kWinStsSizeErr; len = 1 leaves x[0] as it is whatever alpha (the caller's alpha is then
/// 2 beta / 0).
int WinKaiserInPlace(float* x, int len, float alpha);
/// Double-precision form: evaluated through log I0 so that it never overflows; returns
/// kWinStsNoErr for len >= 1.
int WinKaiserInPlace(double* x, int len, double alpha);

/// out[i] = in[i] * dup[2i] for i < n: a real block times every second value of a duplicated
/// coefficient vector. out may be in itself.
void MulStride2(float* out, const float* in, const float* dup, int n);

/// n * sum((x[i] / s)^2) with s the accurate sum of x: the quotient and square rounded to
/// float per element, the outer sum in double. Returns 0 for n <= 0.
float NormalisedEnergyTimesCount(const float* x, int n);

}  // namespace Kivo::kernels
