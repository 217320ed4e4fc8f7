// Element-wise and matrix mathematics on the library's vectors and matrices.
#pragma once

#include <ombrel/Export.h>
#include <ombrel/math/IntVector.h>
#include <ombrel/math/Matrix.h>
#include <ombrel/math/Types.h>
#include <ombrel/math/Vector.h>

namespace Kivo {

class UnitTestRecorder;

/// A static class (no instances) collecting the element-wise functions, filling, copying and
/// splicing of vectors, the integer power-of-two helpers, fixed-point conversion, the scalar
/// error function and the few matrix operations.
///
/// Rules shared by the methods:
/// - The destination comes first (one exception: the `Copy` form of VecCplx32 that starts with
///   the destination offset). Unless a method says otherwise, the destination is resized to the
///   length of the (first) source by the vectors' resize rule: within capacity only the length
///   changes and the view restarts at the buffer's start; beyond it the buffer is replaced and
///   the old contents are lost. A destination with enough capacity is never reallocated.
/// - The destination may be one of the sources: element-wise functions then work in place on
///   the source's view, and splicing goes through a temporary where it must.
/// - Transcendental functions are accurate to 1 ulp in both precisions for every argument,
///   with the C99 special values (ln 0 = -Inf, ln of a negative number = NaN, exp overflows to
///   +Inf, pow and atan2 as C99's pow and atan2).
/// - Errors (KivoException):
///     8004 "singular matrix": `Inv` of a matrix whose LU factorisation has an exact zero pivot;
///     8005 "invalid input parameter": arguments that would make a method read or write outside
///          a vector or matrix (a negative count or offset, a range beyond a source, a second
///          source shorter than the first, mismatched matrix shapes, a non-square matrix in
///          `Inv`, a row or column index out of range), and the few scalar arguments outside
///          a helper's domain (listed with the helper). Nothing is modified before such a throw;
///     8000 "memory allocation error": from the vectors' and matrices' own allocation.
class OMBREL_API MathUtils {
  public:
    MathUtils() = delete;

    // ---- Element-wise functions (destination, source) ---------------------------------------
    static void Abs(VecReal32& out, const VecReal32& in);
    static void Abs(VecReal64& out, const VecReal64& in);
    /// Magnitude sqrt(re² + im²), without scaling (so single precision overflows above ~1.8e19).
    static void Abs(VecReal32& out, const VecCplx32& in);
    static void Abs(VecReal64& out, const VecCplx64& in);
    /// x²; complex square (re² − im², 2·re·im) for complex vectors.
    static void Sqr(VecReal32& out, const VecReal32& in);
    static void Sqr(VecReal64& out, const VecReal64& in);
    static void Sqr(VecCplx32& out, const VecCplx32& in);
    static void Sqr(VecCplx64& out, const VecCplx64& in);
    /// √x (NaN for x < 0); the principal complex root for complex vectors (real part ≥ 0,
    /// branch cut on the negative real axis, where +0 imaginary gives +j·√|re|).
    static void Sqrt(VecReal32& out, const VecReal32& in);
    static void Sqrt(VecReal64& out, const VecReal64& in);
    static void Sqrt(VecCplx32& out, const VecCplx32& in);
    static void Sqrt(VecCplx64& out, const VecCplx64& in);
    static void Sin(VecReal32& out, const VecReal32& in);
    static void Sin(VecReal64& out, const VecReal64& in);
    static void Cos(VecReal32& out, const VecReal32& in);
    static void Cos(VecReal64& out, const VecReal64& in);
    static void Atan(VecReal32& out, const VecReal32& in);
    static void Atan(VecReal64& out, const VecReal64& in);
    static void Exp(VecReal32& out, const VecReal32& in);
    static void Exp(VecReal64& out, const VecReal64& in);
    static void Ln(VecReal32& out, const VecReal32& in);
    static void Ln(VecReal64& out, const VecReal64& in);
    static void Log10(VecReal32& out, const VecReal32& in);
    static void Log10(VecReal64& out, const VecReal64& in);
    /// The error function to 1 ulp (not the approximation of the scalar `Erf(float)`).
    static void Erf(VecReal32& out, const VecReal32& in);
    static void Erf(VecReal64& out, const VecReal64& in);
    /// out[i] = atan2(y[i], x[i]) in [−π, π]; out takes y's length; x must be at least as long.
    static void Atan2(VecReal32& out, const VecReal32& y, const VecReal32& x);
    static void Atan2(VecReal64& out, const VecReal64& y, const VecReal64& x);
    /// in[i] raised to p; the exponent is a float in both precisions.
    static void Pow(VecReal32& out, const VecReal32& in, float p);
    static void Pow(VecReal64& out, const VecReal64& in, float p);
    /// 10 raised to in[i], one double-precision pow(10, x) per element.
    static void Pow10(VecReal32& out, const VecReal32& in);
    static void Pow10(VecReal64& out, const VecReal64& in);
    /// ceil / floor of every value (both parts of complex values).
    static void Ceil(VecReal32& out, const VecReal32& in);
    static void Ceil(VecReal64& out, const VecReal64& in);
    static void Ceil(VecCplx32& out, const VecCplx32& in);
    static void Ceil(VecCplx64& out, const VecCplx64& in);
    static void Floor(VecReal32& out, const VecReal32& in);
    static void Floor(VecReal64& out, const VecReal64& in);
    static void Floor(VecCplx32& out, const VecCplx32& in);
    static void Floor(VecCplx64& out, const VecCplx64& in);
    static void Conj(VecCplx32& out, const VecCplx32& in);
    static void Conj(VecCplx64& out, const VecCplx64& in);
    /// out[i] = conj(in[N−1−i]).
    static void ConjFlip(VecCplx32& out, const VecCplx32& in);
    static void ConjFlip(VecCplx64& out, const VecCplx64& in);
    /// out[i] = in[N−1−i] (whole complex values are reversed).
    static void Flip(VecCplx32& out, const VecCplx32& in);
    static void Flip(VecCplx64& out, const VecCplx64& in);
    /// Exact widening of every complex value.
    static void Convert(VecCplx64& out, const VecCplx32& in);
    /// cos(x) + j·sin(x), each part to 1 ulp.
    static void Expj(VecCplx32& out, const VecReal32& in);
    static void Expj(VecCplx64& out, const VecReal64& in);
    /// Unnormalised sinc sin(x)/x. For |x| below t = (120·eps)^(1/4) (computed in double,
    /// rounded to float) the value is the Taylor form 1 − x²/6, whose dropped term x⁴/120 stays
    /// below eps; elsewhere sin(x)/x in double precision. eps = 0 gives NaN at x = 0 (0/0):
    /// pass a positive eps.
    static void Sinc(VecReal32& out, const VecReal32& in, float eps);
    static void Sinc(VecReal64& out, const VecReal64& in, float eps);
    /// In place: every complex value of `v` (both parts) times the real element of the same
    /// index, over v's length; r must be at least as long.
    static void Mul(VecCplx32& v, const VecReal32& r);

    // ---- In-place forms ---------------------------------------------------------------------
    static void Abs(VecReal32& v);
    static void Abs(VecReal64& v);
    static void Sqr(VecReal32& v);
    static void Sqr(VecReal64& v);
    static void Sqrt(VecReal32& v);
    static void Sqrt(VecReal64& v);
    static void Ln(VecReal32& v);
    static void Ln(VecReal64& v);
    static void Log10(VecReal32& v);
    static void Log10(VecReal64& v);
    static void Pow10(VecReal32& v);
    static void Pow10(VecReal64& v);
    static void Conj(VecCplx32& v);
    static void Flip(VecReal32& v);
    static void Flip(VecReal64& v);

    // ---- Filling: the whole current length, no resize ---------------------------------------
    static void Set(VecReal32& v, float value);
    static void Set(VecReal64& v, double value);
    static void Set(VecCplx32& v, Cplx32 value);
    static void Set(VecCplx64& v, Cplx64 value);
    static void Set(VecInt32& v, int value);
    static void Set(VecInt16& v, short value);

    // ---- Copying and splicing ---------------------------------------------------------------
    /// The tail of src from srcOffset: Copy(dst, src.length − srcOffset, src, srcOffset).
    static void Copy(VecReal32& dst, const VecReal32& src, int srcOffset);
    static void Copy(VecReal64& dst, const VecReal64& src, int srcOffset);
    static void Copy(VecCplx32& dst, const VecCplx32& src, int srcOffset);
    static void Copy(VecCplx64& dst, const VecCplx64& src, int srcOffset);
    /// dst resized to count; dst[i] = src[srcOffset + i].
    static void Copy(VecReal32& dst, int count, const VecReal32& src, int srcOffset);
    static void Copy(VecReal64& dst, int count, const VecReal64& src, int srcOffset);
    static void Copy(VecCplx32& dst, int count, const VecCplx32& src, int srcOffset);
    static void Copy(VecCplx64& dst, int count, const VecCplx64& src, int srcOffset);
    static void Copy(VecInt32& dst, int count, const VecInt32& src, int srcOffset);
    static void Copy(VecUInt32& dst, int count, const VecUInt32& src, int srcOffset);
    /// The same with exact conversion to double.
    static void Copy(VecReal64& dst, int count, const VecInt32& src, int srcOffset);
    static void Copy(VecReal64& dst, int count, const VecUInt32& src, int srcOffset);
    /// No resize: dst[dstOffset + i] = src[srcOffset + i] for i < count.
    static void Copy(VecReal32& dst, int dstOffset, int count, const VecReal32& src, int srcOffset);
    static void Copy(VecReal64& dst, int dstOffset, int count, const VecReal64& src, int srcOffset);
    static void Copy(VecCplx32& dst, int dstOffset, int count, const VecCplx32& src, int srcOffset);
    static void Copy(VecCplx64& dst, int dstOffset, int count, const VecCplx64& src, int srcOffset);
    /// The previous operation for VecCplx32 with its arguments in this other order, which
    /// existing callers use; both orders are kept.
    static void Copy(int dstOffset, VecCplx32& dst, int count, int srcOffset, const VecCplx32& src);
    /// out = a followed by b.
    static void Append(VecReal32& out, const VecReal32& a, const VecReal32& b);
    static void Append(VecReal64& out, const VecReal64& a, const VecReal64& b);
    static void Append(VecCplx32& out, const VecCplx32& a, const VecCplx32& b);
    static void Append(VecCplx64& out, const VecCplx64& a, const VecCplx64& b);
    /// out resized to aCount + bCount: aCount elements of a from aOffset, then bCount elements
    /// of b from bOffset.
    static void Append(VecReal32& out, const VecReal32& a, int aOffset, int aCount,
                       const VecReal32& b, int bOffset, int bCount);
    static void Append(VecReal64& out, const VecReal64& a, int aOffset, int aCount,
                       const VecReal64& b, int bOffset, int bCount);
    static void Append(VecCplx32& out, const VecCplx32& a, int aOffset, int aCount,
                       const VecCplx32& b, int bOffset, int bCount);
    static void Append(VecCplx64& out, const VecCplx64& a, int aOffset, int aCount,
                       const VecCplx64& b, int bOffset, int bCount);
    /// Removes the listed positions (ascending, unique) in place, keeping the order of the
    /// others. The new length is v.length − indices.length whatever the indices are: an index
    /// out of range or out of order removes nothing but still shortens the vector by one, the
    /// last elements then being whatever stood there before. More indices than elements: 8005.
    static void DeleteElement(VecReal32& v, const VecInt32& indices);
    static void DeleteElement(VecReal64& v, const VecInt32& indices);
    /// out[i] = in[i+1] − in[i]; length N − 1 (0 for N ≤ 1).
    static void Diff(VecReal32& out, const VecReal32& in);
    static void Diff(VecReal64& out, const VecReal64& in);
    /// (a + b) / 2: a copy of a (out resized to a's length), then out += b and out /= 2.
    static void Ave(VecReal32& out, const VecReal32& a, const VecReal32& b);
    static void Ave(VecReal64& out, const VecReal64& a, const VecReal64& b);

    // ---- Scalars and integers -----------------------------------------------------------------
    /// Abramowitz and Stegun 7.1.26 (absolute error below 1.5e−7), evaluated in double; odd in
    /// x, Erf(0) exactly 0.
    static float Erf(float x);
    /// 2^n in 32-bit arithmetic: 2^31 wraps to INT_MIN; n ≥ 32 or n < 0 gives 0.
    static int Pow2(int n);
    /// The same 32-bit value, sign-extended to 64 bits.
    static long long Pow2(long long n);
    /// k when n = 2^k, else −1 (also for n ≤ 0).
    static int PowOf2(int n);
    /// The smallest power of two ≥ n, in 32-bit arithmetic: NextPowOf2(0) = 0, and n above 2^30
    /// wraps to INT_MIN. A negative n throws 8005.
    static int NextPowOf2(int n);
    /// floor(√n). A negative n throws 8005.
    static int Sqrt(int n);
    /// ToFixedPoint(x, 1.0f, bits).
    static int ToFixedPoint(float x, int bits);
    /// Signed fixed-point code of x clamped to ±fullScale, with 2^(bits−1) − 1 as full scale,
    /// rounded half away from zero and left-justified in the 32-bit word (a 16-bit code comes
    /// back in the upper half). NaN gives 0. bits outside 1..32 or fullScale ≤ 0 throw 8005.
    static int ToFixedPoint(float x, float fullScale, int bits);
    /// The same per element with full scale 1.0; out resized to in's length.
    static void ToFixedPoint(VecInt32& out, const VecReal32& in, int bits);

    // ---- Matrices -----------------------------------------------------------------------------
    /// c = a·b, c resized to a.rows × b.columns (c may be a or b).
    static void Mul(MatReal32& c, const MatReal32& a, const MatReal32& b);
    static void Mul(MatReal64& c, const MatReal64& a, const MatReal64& b);
    /// y = a·x, y resized to a.rows; x must hold at least a.columns elements.
    static void Mul(VecReal32& y, const MatReal32& a, const VecReal32& x);
    static void Mul(VecReal64& y, const MatReal64& a, const VecReal64& x);
    /// t = transpose of a, t resized to a.columns × a.rows (t may be a).
    static void Trns(MatReal32& t, const MatReal32& a);
    static void Trns(MatReal64& t, const MatReal64& a);
    /// r = a⁻¹ by LU factorisation with partial pivoting and inversion from the factors.
    /// Throws 8004 "singular matrix" when either step meets an exact zero pivot (r is then
    /// left as it was), 8005 for a non-square a.
    static void Inv(MatReal32& r, const MatReal32& a);
    static void Inv(MatReal64& r, const MatReal64& a);
    /// Sum of one row / one column, accumulated in double and returned as float.
    static float SumRow(const MatReal32& m, int row);
    static float SumCol(const MatReal32& m, int column);

    static bool UnitTest(UnitTestRecorder& recorder);

  private:
    // ceil / floor over n raw values (float values through double and back).
    static void Ceil(float* out, const float* in, int n);
    static void Ceil(double* out, const double* in, int n);
    static void Floor(float* out, const float* in, int n);
    static void Floor(double* out, const double* in, int n);
};

}  // namespace Kivo
