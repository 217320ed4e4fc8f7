// Integer vectors: VecInt16, VecInt32, VecUInt8, VecUInt32.
#pragma once

#include <ombrel/Export.h>
#include <ombrel/math/BaseVector.h>

namespace Kivo {

class UnitTestRecorder;

// Rules shared by the four classes
// --------------------------------
// - Storage, views and the growth rule are those of BaseVector<T>: capacity never shrinks and
//   growth discards the contents.
// - Copying is deep. The copy constructor and operator= allocate exactly the source's length;
//   operator= always reallocates (self-assignment does nothing).
// - Import rule: Import(src, n) first makes the vector exactly `n` long as Resize(n) does
//   (reallocating exactly `n` only beyond capacity), then copies. A negative `n` throws 8005.
// - Arithmetic works in place on the target's current view and the target's length governs;
//   it never allocates. An operand vector shorter than the target throws 8005 before anything
//   is written (reading past its end would be undefined).
// - Export(dst, n) copies the first n elements of the view; nothing for n < 1; n beyond the
//   view's length throws 8005 (it would read past the vector).
// - Statistics of an empty vector return 0 and leave value/index outputs unchanged.
// - Errors (KivoException):
//     8000 "memory allocation error": a buffer could not be allocated (no memory report is
//          written for integer vectors);
//     8005 "invalid input parameter": negative import length, operand shorter than the target,
//          export of more elements than the vector holds;
//     8024 "error opening file", 8025 "error reading file": text dumps and text imports.
// - Text files: Dump(path, verbose) writes "%10d        %d\n" (index, value) per element;
//   Import(path, verbose) reads every whitespace-separated integer of a file (in C notation,
//   decimal, 0x-hexadecimal or 0-octal) and takes as many elements as the file holds; a token
//   that is not an integer, or one outside the element type's range, throws 8025.

/// Vector of 16-bit signed samples. Arithmetic saturates to [-32768, 32767].
class OMBREL_API VecInt16 : public BaseVector<short> {
  public:
    /// Empty vector; nothing allocated.
    VecInt16();
    /// Exactly `n` uninitialised elements (none for 0).
    explicit VecInt16(int n);
    VecInt16(const VecInt16& other);
    VecInt16& operator=(const VecInt16& other);
    ~VecInt16() override;

    /// Copies `n` elements after the import rule.
    void Import(const short* src, int n);
    void Export(short* dst, int n) const;
    /// Every integer of a text file. When `verbose`, prints "\n====<path> loaded".
    void Import(const char* path, bool verbose);

    // Saturating in-place arithmetic over the target's length; the operators return the target.
    void Add(const VecInt16& other);
    void Sub(const VecInt16& other);
    void Mul(const VecInt16& other);
    void Add(const short& value);
    void Sub(const short& value);
    void Mul(const short& value);
    VecInt16& operator+=(const VecInt16& other);
    VecInt16& operator-=(const VecInt16& other);
    VecInt16& operator*=(const VecInt16& other);
    VecInt16& operator+=(const short& value);
    VecInt16& operator-=(const short& value);
    VecInt16& operator*=(const short& value);

    short Max() const;
    short Min() const;
    /// Extreme and its index; ties give the first index.
    void Max(short& value, int& index) const;
    void Min(short& value, int& index) const;
    /// Exact sum saturated once to the 16-bit range: {30000, 30000, -30000} sums to 30000,
    /// {30000, 30000} to 32767.
    short Sum() const;

    /// False when lengths differ; true for two empty vectors; otherwise false at the first
    /// element whose absolute difference exceeds `tolerance`, after printing
    /// "\n==>>%d, Expected %d<<==" with this value then the other's.
    bool IsEqual(const VecInt16& other, int tolerance) const;

    /// One line "%10d        %d\n" per element to a new text file (8024 if it cannot be
    /// opened); when `verbose`, prints "\n====<path> saved" afterwards.
    void Dump(const char* path, bool verbose) const;
    /// Prints the elements ("\n [%2d]= %d"); beyond 2n elements only the first and last n,
    /// separated by "\n.................".
    void Dump(int n) const;

    static bool UnitTest(UnitTestRecorder& recorder);

  protected:
    void Alloc(int n) override;
};

/// Vector of 32-bit signed samples.
///
/// Only part of the arithmetic acts: Mul(const int&) multiplies every element by the constant.
/// Import, Export, Add and Sub (with a vector or a constant) and Mul with a vector are kept for
/// the interface but deliberately do nothing, as the library has always behaved; callers that
/// relied on them doing nothing keep working.
class OMBREL_API VecInt32 : public BaseVector<int> {
  public:
    VecInt32();
    explicit VecInt32(int n);
    VecInt32(const VecInt32& other);
    VecInt32& operator=(const VecInt32& other);
    ~VecInt32() override;

    /// Deliberately does nothing: the vector and `src` are left as they are.
    void Import(const int* src, int n);
    /// Deliberately does nothing: `dst` is not written.
    void Export(int* dst, int n) const;
    /// Every integer of a text file. When `verbose`, prints "\n====<path> loaded".
    void Import(const char* path, bool verbose);

    /// Deliberately does nothing.
    void Add(const VecInt32& other);
    /// Deliberately does nothing.
    void Sub(const VecInt32& other);
    /// Deliberately does nothing.
    void Mul(const VecInt32& other);
    /// Deliberately does nothing.
    void Add(const int& value);
    /// Deliberately does nothing.
    void Sub(const int& value);
    /// Multiplies every element by `value`. Products wrap modulo 2^32 (two's complement).
    void Mul(const int& value);
    VecInt32& operator+=(const VecInt32& other);
    VecInt32& operator-=(const VecInt32& other);
    VecInt32& operator*=(const VecInt32& other);
    VecInt32& operator+=(const int& value);
    VecInt32& operator-=(const int& value);
    VecInt32& operator*=(const int& value);

    int Max() const;
    int Min() const;
    /// Extreme and its index; ties give the first index.
    void Max(int& value, int& index) const;
    void Min(int& value, int& index) const;
    /// Exact (64-bit) sum saturated once to the 32-bit range.
    int Sum() const;

    /// As VecInt16::IsEqual; the difference is taken in 64 bits.
    bool IsEqual(const VecInt32& other, int tolerance) const;
    void Dump(const char* path, bool verbose) const;
    void Dump(int n) const;

    static bool UnitTest(UnitTestRecorder& recorder);

  protected:
    void Alloc(int n) override;
};

/// Vector of bytes: storage, copying and printing only (no arithmetic, no statistics).
class OMBREL_API VecUInt8 : public BaseVector<unsigned char> {
  public:
    VecUInt8();
    explicit VecUInt8(int n);
    VecUInt8(const VecUInt8& other);
    VecUInt8& operator=(const VecUInt8& other);
    ~VecUInt8() override;

    /// Copies `n` bytes after the import rule.
    void Import(const unsigned char* src, int n);
    void Export(unsigned char* dst, int n) const;

    /// Prints the elements ("\n [%2d]= %d"), shortened as VecInt16::Dump(int).
    void Dump(int n) const;

    static bool UnitTest(UnitTestRecorder& recorder);

  protected:
    void Alloc(int n) override;
};

/// Vector of 32-bit unsigned samples (allocated with the 32-bit integer allocator).
class OMBREL_API VecUInt32 : public BaseVector<unsigned int> {
  public:
    VecUInt32();
    explicit VecUInt32(int n);
    VecUInt32(const VecUInt32& other);
    VecUInt32& operator=(const VecUInt32& other);
    ~VecUInt32() override;

    /// Every integer of a text file (0 to 4294967295). When `verbose`, prints
    /// "\n====<path> loaded".
    void Import(const char* path, bool verbose);

    /// As VecInt16::IsEqual, printing "\n==>>%u, Expected %u<<==".
    bool IsEqual(const VecUInt32& other, int tolerance) const;
    /// One line "%10d        %u\n" per element (8024 if the file cannot be opened).
    void Dump(const char* path, bool verbose) const;
    /// Prints the elements ("\n [%2d]= %u"), shortened as VecInt16::Dump(int).
    void Dump(int n) const;

    static bool UnitTest(UnitTestRecorder& recorder);

  protected:
    void Alloc(int n) override;
};

}  // namespace Kivo
