// Real and complex float vectors: VecReal32, VecReal64, VecCplx32, VecCplx64.
#pragma once

#include <ombrel/Export.h>
#include <ombrel/math/BaseVector.h>
#include <ombrel/math/Types.h>

namespace Kivo {

class UnitTestRecorder;
class VecReal32;
class VecReal64;
class VecCplx32;
class VecCplx64;
namespace kernels {
struct VectorAccess;  // the library's own code: reaches the storage of any vector class
}

// Rules shared by the four classes
// --------------------------------
// - Storage, views and the growth rule are those of BaseVector<T>: capacity never shrinks and
//   growth discards the contents. Lengths, indices and counts are element counts (complex
//   elements for the complex classes), 32-bit signed.
// - Copying is deep. The copy constructor and operator= allocate exactly the source's length;
//   operator= always reallocates (self-assignment does nothing).
// - Import rule: every Import, GetReal/GetImag output and Load first makes the vector exactly `n`
//   long as Resize(n) does (reallocating exactly `n` only beyond capacity), then fills it.
// - Arithmetic works in place on the target's current view; the target's length n governs and
//   the other operand must hold at least n elements (nothing is checked). It never allocates.
// - Export(dst, n) copies the first n elements of the view; nothing is checked.
// - Errors (KivoException):
//     8000 "memory allocation error": a buffer could not be allocated (after the memory report
//          "KivoMemoryAllocError.txt" was written with the note "Failed KivoAllocReal32", ...);
//     8001 "divide-by-zero error": Div by a zero constant (the target is left unchanged) or by a
//          vector holding a zero element (all quotients are stored first: x/0 = ±Inf, 0/0 = NaN);
//     8024 "error opening file", 8025 "error reading file", 8026 "error writing file",
//     8027 "file version error", 8028 "file type error": text and vector files (see Store/Load).
// - Vector files: a 108-byte header (description text "VecReal32, length=%d" ... padded with
//   zeros to 64 bytes, 0x1A at offset 64, version 1 at 68, type code at 72 (100 VecCplx64,
//   101 VecReal64, 102 VecCplx32, 103 VecReal32), length at 76, three float parameters at 80,
//   zeros to 108), then the elements of the view in memory order, little-endian. Load checks,
//   in this order: open (8024), full header (8025), version (8027), type code (8028), then
//   reads the elements (8025 when the file holds fewer than the stored length; the vector is
//   not grown for a length the file cannot back). A file is loaded only into the class that
//   wrote it.
// - Text files (Import(path, ...)): whitespace-separated numbers in C notation; pairs (re im)
//   for the complex classes. The vector takes as many elements as the file holds.
// - Statistics of an empty vector return 0 (and leave value/index outputs unchanged).

/// Vector of `float`.
class OMBREL_API VecReal32 : public BaseVector<float> {
  public:
    /// Empty vector; nothing allocated.
    VecReal32();
    /// Exactly `n` uninitialised elements (none for 0).
    explicit VecReal32(int n);
    VecReal32(const VecReal32& other);
    /// Deep copy rounded to single precision (saturating: |x| > FLT_MAX gives ±FLT_MAX).
    explicit VecReal32(const VecReal64& other);
    /// Deep copy; always reallocates to the source's length; self-assignment does nothing.
    VecReal32& operator=(const VecReal32& other);
    ~VecReal32() override;

    // Filling (the vector is resized to the source length by the import rule).
    void Import(const float* src, int n);
    /// Rounds to single precision, saturating.
    void Import(const double* src, int n);
    /// Rounds to single precision, saturating.
    void Import(const VecReal64& src);
    /// Reads every number of a text file. When `verbose`, prints "\n====<path> loaded".
    /// 8024 if the file cannot be opened, 8025 on a token that is not a number.
    void Import(const char* path, bool verbose);
    /// Reads `count` numbers of a text file after skipping the first `start` ones.
    /// 8024 if the file cannot be opened; 8025 if it holds fewer numbers or a non-number.
    void Import(const char* path, int start, int count);

    // Emptying (first n elements of the view; nothing for n < 1).
    void Export(float* dst, int n) const;
    /// Widens each of the first n values to double.
    void Export(double* dst, int n) const;

    // In-place arithmetic over the target's length; the operators return the target.
    void Add(const VecReal32& other);
    void Sub(const VecReal32& other);
    void Mul(const VecReal32& other);
    /// Element-wise quotient; 8001 after all quotients are stored if any divisor is 0.
    void Div(const VecReal32& other);
    void Add(const float& value);
    void Sub(const float& value);
    void Mul(const float& value);
    /// 8001 for a zero constant, the target unchanged.
    void Div(const float& value);
    VecReal32& operator+=(const VecReal32& other);
    VecReal32& operator-=(const VecReal32& other);
    VecReal32& operator*=(const VecReal32& other);
    VecReal32& operator/=(const VecReal32& other);
    VecReal32& operator+=(const float& value);
    VecReal32& operator-=(const float& value);
    VecReal32& operator*=(const float& value);
    VecReal32& operator/=(const float& value);

    // Statistics of the view.
    float Max() const;
    float Min() const;
    /// Extreme of the `length` elements from `start`.
    float Max(int start, int length) const;
    float Min(int start, int length) const;
    /// Extreme and its index; ties give the first index.
    void Max(float& value, int& index) const;
    void Min(float& value, int& index) const;
    /// Extreme of the range; `index` counts from the start of the vector (range index + start).
    void Max(float& value, int& index, int start, int length) const;
    void Min(float& value, int& index, int start, int length) const;
    /// Mean, sum and sample standard deviation (N-1), accumulated in double. StdDev of fewer
    /// than two elements is 0.
    float Mean() const;
    float Sum() const;
    float StdDev() const;
    /// StdDev() squared.
    float Var() const;

    /// False when lengths differ; true for two empty vectors; otherwise false at the first
    /// element differing by more than `tolerance` (in double), after printing
    /// "\n==>>%.15f, Expected %.15f<<==" with this value then the other's.
    bool IsEqual(const VecReal32& other, float tolerance) const;

    /// One line "%10d        %.20f\n" per element to a new text file (8024 if it cannot be
    /// opened); when `verbose`, prints "\n====<path> saved" afterwards.
    void Dump(const char* path, bool verbose) const;
    /// Prints the elements ("\n [%2d]= %g"); beyond 2n elements only the first and last n,
    /// separated by "\n.................".
    void Dump(int n) const;

    /// Writes the vector file (8024 open, 8026 write).
    void Store(const char* path) const;
    /// Reads a VecReal32 file, resizing to the stored length (8024, 8025, 8027, 8028).
    void Load(const char* path);

    static bool UnitTest(UnitTestRecorder& recorder);

  private:
    friend struct kernels::VectorAccess;
    void Alloc(int n) override;
};

/// Vector of `double`.
class OMBREL_API VecReal64 : public BaseVector<double> {
  public:
    VecReal64();
    explicit VecReal64(int n);
    VecReal64(const VecReal64& other);
    /// Deep copy widened to double (exact).
    explicit VecReal64(const VecReal32& other);
    VecReal64& operator=(const VecReal64& other);
    /// Deep copy widened to double; always reallocates to the source's length.
    VecReal64& operator=(const VecReal32& other);
    ~VecReal64() override;

    void Import(const double* src, int n);
    /// Widens to double.
    void Import(const float* src, int n);
    void Import(const VecReal32& src);
    /// Text file, as VecReal32::Import(path, verbose).
    void Import(const char* path, bool verbose);

    void Export(double* dst, int n) const;

    void Add(const VecReal64& other);
    void Sub(const VecReal64& other);
    void Mul(const VecReal64& other);
    void Div(const VecReal64& other);
    void Add(const double& value);
    void Sub(const double& value);
    void Mul(const double& value);
    void Div(const double& value);
    VecReal64& operator+=(const VecReal64& other);
    VecReal64& operator-=(const VecReal64& other);
    VecReal64& operator*=(const VecReal64& other);
    VecReal64& operator/=(const VecReal64& other);
    VecReal64& operator+=(const double& value);
    VecReal64& operator-=(const double& value);
    VecReal64& operator*=(const double& value);
    VecReal64& operator/=(const double& value);

    double Max() const;
    double Min() const;
    double Max(int start, int length) const;
    double Min(int start, int length) const;
    void Max(double& value, int& index) const;
    void Min(double& value, int& index) const;
    void Max(double& value, int& index, int start, int length) const;
    void Min(double& value, int& index, int start, int length) const;
    double Mean() const;
    double Sum() const;
    double StdDev() const;
    double Var() const;

    bool IsEqual(const VecReal64& other, float tolerance) const;

    void Dump(const char* path, bool verbose) const;
    void Dump(int n) const;

    void Store(const char* path) const;
    void Load(const char* path);

    static bool UnitTest(UnitTestRecorder& recorder);

  private:
    friend struct kernels::VectorAccess;
    void Alloc(int n) override;
};

/// Vector of `Cplx32` (interleaved re, im).
class OMBREL_API VecCplx32 : public BaseVector<Cplx32> {
  public:
    VecCplx32();
    explicit VecCplx32(int n);
    VecCplx32(const VecCplx32& other);
    /// Deep copy rounded to single precision (saturating), both parts.
    explicit VecCplx32(const VecCplx64& other);
    /// Same length as `re`, real parts from it, imaginary parts 0.
    explicit VecCplx32(const VecReal32& re);
    /// Length of `re`; `im` must hold at least as many elements.
    VecCplx32(const VecReal32& re, const VecReal32& im);
    VecCplx32& operator=(const VecCplx32& other);
    ~VecCplx32() override;

    void Import(const Cplx32* src, int n);
    /// `n` complex samples from 2n interleaved floats (re, im, re, im ...).
    void Import(const float* src, int n);
    /// Length of `src`; imaginary parts 0.
    void Import(const VecReal32& src);
    /// Interleaves `n` real and `n` imaginary parts.
    void Import(const float* re, const float* im, int n);
    /// Length of `re`; `im` must hold at least as many elements.
    void Import(const VecReal32& re, const VecReal32& im);
    /// Rounds both arrays to single precision (saturating).
    void Import(const double* re, const double* im, int n);
    /// Text file of "re im" pairs, as VecReal32::Import(path, verbose).
    void Import(const char* path, bool verbose);

    void Export(Cplx32* dst, int n) const;
    /// Splits the first n elements into real and imaginary parts.
    void Export(float* re, float* im, int n) const;
    /// Splits and widens to double.
    void Export(double* re, double* im, int n) const;
    /// `out` becomes as long as this vector (import rule) and receives the real parts.
    void GetReal(VecReal32& out) const;
    /// `out` becomes as long as this vector (import rule) and receives the imaginary parts.
    void GetImag(VecReal32& out) const;

    // Complex products are (ac - bd, ad + bc); quotients use the textbook formula
    // ((ac + bd) + j(bc - ad)) / (c² + d²). A divisor 0+0j counts as zero.
    void Add(const VecCplx32& other);
    void Sub(const VecCplx32& other);
    void Mul(const VecCplx32& other);
    void Div(const VecCplx32& other);
    void Add(const Cplx32& value);
    void Sub(const Cplx32& value);
    void Mul(const Cplx32& value);
    /// Scales both parts of every element.
    void Mul(const float& value);
    void Div(const Cplx32& value);
    /// Element `at + k` loses element `from + k` of `other`, k = 0 .. n-1; nothing checked.
    void Sub(const VecCplx32& other, int at, int from, int n);
    VecCplx32& operator+=(const VecCplx32& other);
    VecCplx32& operator-=(const VecCplx32& other);
    VecCplx32& operator*=(const VecCplx32& other);
    VecCplx32& operator/=(const VecCplx32& other);
    VecCplx32& operator+=(const Cplx32& value);
    VecCplx32& operator-=(const Cplx32& value);
    VecCplx32& operator*=(const Cplx32& value);
    VecCplx32& operator*=(const float& value);
    VecCplx32& operator/=(const Cplx32& value);

    /// Sum and mean accumulated in double.
    Cplx32 Sum() const;
    Cplx32 Mean() const;
    /// Element of largest squared magnitude (re² + im², single precision) and its index; ties
    /// give the first; an all-zero vector gives index 0.
    void Max(Cplx32& value, int& index) const;
    /// Element of smallest squared magnitude and its index; ties give the first.
    void Min(Cplx32& value, int& index) const;
    Cplx32 Max() const;
    Cplx32 Min() const;

    bool IsEqual(const VecCplx32& other, float tolerance) const;

    /// One line "%10d    %.20f  %.20f\n" (index, re, im) per element.
    void Dump(const char* path, bool verbose) const;
    /// Prints "\n [%2d]= %g  %g " per element, abridged as VecReal32::Dump(int).
    void Dump(int n) const;

    void Store(const char* path) const;
    /// As Store, with p1, p2, p3 in the header's parameter field in this order.
    void Store(const char* path, float p1, float p2, float p3) const;
    void Load(const char* path);
    /// As Load, also returning the stored length and the three parameters.
    void Load(const char* path, int& length, float& p1, float& p2, float& p3);
    /// Loads the `count` stored elements beginning at element `start` of a VecCplx32 file, after
    /// the same header checks; the vector becomes `count` long. 8025 if the stored vector does
    /// not hold them (or start/count is negative); nothing is allocated then.
    void Load(const char* path, int start, int count);

    static bool UnitTest(UnitTestRecorder& recorder);

  private:
    friend struct kernels::VectorAccess;
    void Alloc(int n) override;
    static float Sqr(Cplx32 z) { return z.re * z.re + z.im * z.im; }
};

/// Vector of `Cplx64` (interleaved re, im).
class OMBREL_API VecCplx64 : public BaseVector<Cplx64> {
  public:
    VecCplx64();
    explicit VecCplx64(int n);
    VecCplx64(const VecCplx64& other);
    /// Deep copy widened to double.
    explicit VecCplx64(const VecCplx32& other);
    explicit VecCplx64(const VecReal64& re);
    VecCplx64(const VecReal64& re, const VecReal64& im);
    VecCplx64& operator=(const VecCplx64& other);
    ~VecCplx64() override;

    void Import(const Cplx64* src, int n);
    /// `n` complex samples from 2n interleaved doubles.
    void Import(const double* src, int n);
    void Import(const VecReal64& src);
    void Import(const double* re, const double* im, int n);
    void Import(const VecReal64& re, const VecReal64& im);
    /// Widens both arrays to double.
    void Import(const float* re, const float* im, int n);
    void Import(const char* path, bool verbose);

    void Export(Cplx64* dst, int n) const;
    void Export(double* re, double* im, int n) const;
    /// Splits and rounds to single precision (saturating).
    void Export(float* re, float* im, int n) const;
    void GetReal(VecReal64& out) const;
    void GetImag(VecReal64& out) const;

    void Add(const VecCplx64& other);
    void Sub(const VecCplx64& other);
    void Mul(const VecCplx64& other);
    void Div(const VecCplx64& other);
    void Add(const Cplx64& value);
    void Sub(const Cplx64& value);
    void Mul(const Cplx64& value);
    /// Scales both parts of every element.
    void Mul(const double& value);
    void Div(const Cplx64& value);
    VecCplx64& operator+=(const VecCplx64& other);
    VecCplx64& operator-=(const VecCplx64& other);
    VecCplx64& operator*=(const VecCplx64& other);
    VecCplx64& operator/=(const VecCplx64& other);
    VecCplx64& operator+=(const Cplx64& value);
    VecCplx64& operator-=(const Cplx64& value);
    VecCplx64& operator*=(const Cplx64& value);
    VecCplx64& operator*=(const double& value);
    VecCplx64& operator/=(const Cplx64& value);

    Cplx64 Sum() const;
    Cplx64 Mean() const;
    void Max(Cplx64& value, int& index) const;
    void Min(Cplx64& value, int& index) const;
    Cplx64 Max() const;
    Cplx64 Min() const;

    bool IsEqual(const VecCplx64& other, float tolerance) const;

    void Dump(const char* path, bool verbose) const;
    void Dump(int n) const;

    void Store(const char* path) const;
    void Load(const char* path);

    static bool UnitTest(UnitTestRecorder& recorder);

  private:
    friend struct kernels::VectorAccess;
    void Alloc(int n) override;
    static double Sqr(Cplx64 z) { return z.re * z.re + z.im * z.im; }
};

}  // namespace Kivo
