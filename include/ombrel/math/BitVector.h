// Bit vector: a block code held as equal-length code words, one byte per bit.
#pragma once

#include <ombrel/Export.h>

namespace Kivo {

class UnitTestRecorder;
class VecInt16;

/// A block code of `GetCodeLen()` code words of `GetCodeWordLen()` bits each. Every bit takes one
/// whole byte (no packing), stored in code-word order: bit 0 of word 0 first, and code word k
/// starts at byte k * GetCodeWordLen().
///
/// A bit byte is valid when it is 0, 1 or 255; 255 marks an erasure (a bit whose value is not
/// known). Printing shows 0 as '0', 1 as '1' and any other byte as 'x'.
///
/// The logical operations work on the bytes, so erasures follow the byte values:
/// 255 AND b gives b, 255 OR b gives 255, and 255 XOR 1 gives 254, which is no longer a valid
/// bit. Not() is the exception: it complements only 0 and 1 and leaves other bytes alone, while
/// Not(out, in) is the byte complement (0 -> 255, 1 -> 254, 255 -> 0).
///
/// Shapes: reshaping (Import, assignment, the out-of-place operations) keeps the bit block when
/// it is large enough and otherwise reallocates exactly the new bit count; growth discards the
/// old bits.
///
/// Errors (KivoException):
/// - 8000 "memory allocation error": the bit block or the row table could not be allocated, or
///   a shape has a negative dimension or more bits than a 32-bit count holds;
/// - 8005 "invalid input parameter": an operand with fewer bits than the operation needs, an
///   import range outside its source vector, a code-word length below 1 for a 16-bit import;
/// - 8024 "error opening file": Dump to a file that cannot be opened.
class OMBREL_API BitVector {
  public:
    /// Empty code: no bits, no code words, nothing allocated.
    BitVector();
    /// `codeLen` code words of `codeWordLen` bits, all 0.
    BitVector(int codeLen, int codeWordLen);
    /// Deep copy of bits and shape.
    BitVector(const BitVector& other);
    /// Deep copy of bits and shape; self-assignment does nothing.
    BitVector& operator=(const BitVector& other);
    /// Code built from a 16-bit vector as Import(src, codeWordLen).
    BitVector(const VecInt16& src, int codeWordLen);
    virtual ~BitVector();

    /// Import(src, src.GetSize(), 0, codeWordLen).
    void Import(const VecInt16& src, int codeWordLen);
    /// One element per bit: `count` elements of `src` from element `start` make
    /// count / codeWordLen code words (a partial word at the end is dropped). Element 0 gives bit
    /// 0, element 1 gives bit 1 and every other value gives an erasure (255), so the values
    /// -1 / 0 / 1 of a soft-decision stream map to erasure / 0 / 1.
    void Import(const VecInt16& src, int count, int start, int codeWordLen);
    /// Reshapes to `codeLen` words of `codeWordLen` bits and copies that many bytes from `src`.
    void Import(const unsigned char* src, int codeLen, int codeWordLen);
    /// Copies the first `n` code words (n * GetCodeWordLen() bytes); nothing for n < 1; more
    /// words than the code holds throws 8005.
    void Export(unsigned char* dst, int n) const;
    /// The reverse of the 16-bit import for the first `n` code words: `dst` becomes
    /// n * GetCodeWordLen() elements long (by the vectors' import rule) and receives 0 for bit 0,
    /// 1 for bit 1 and -1 for any other byte. More words than the code holds throws 8005.
    void Export(VecInt16& dst, int n) const;

    /// Every bit byte set to `v`.
    void Set(unsigned char v);

    // Byte-wise logic in place over the whole bit count; `other` must hold at least as many
    // bits (its shape does not matter).
    void And(const BitVector& other);
    void Or(const BitVector& other);
    void Xor(const BitVector& other);
    // Byte-wise logic into `out`, which takes the shape of `a`; `b` must hold at least as many
    // bits as `a`. `out` may be `a` or `b`.
    static void And(BitVector& out, const BitVector& a, const BitVector& b);
    static void Or(BitVector& out, const BitVector& a, const BitVector& b);
    static void Xor(BitVector& out, const BitVector& a, const BitVector& b);
    /// In place: 0 becomes 1, 1 becomes 0; erasures and any other byte are left unchanged.
    void Not();
    /// Byte complement of `in` (every byte x becomes 255 - x) into `out`, which takes the shape
    /// of `in`; `out` may be `in`.
    static void Not(BitVector& out, const BitVector& in);

    /// True when both shape fields agree and every bit byte is equal; two empty codes are equal.
    bool IsEqual(const BitVector& other) const;
    /// True for 0, 1 and 255.
    static bool IsValidBit(unsigned char bit);
    /// '0' for 0, '1' for 1, 'x' for anything else.
    static char GetPrintChar(unsigned char bit);

    int GetCodeLen() const { return codeLen; }
    int GetCodeWordLen() const { return codeWordLen; }

    /// Prints the code words to standard output, one per line as "\n [%2d]= " followed by the
    /// bits; beyond 2n words only the first and last n, separated by "\n.................".
    void Dump(int n) const;
    /// Writes one line "%10d    <bits>\n" per code word to a text file, replacing it or, when
    /// `append` is true, appending to it (8024 if it cannot be opened); when `verbose`, prints
    /// "\n====<path> saved" afterwards.
    void Dump(const char* path, bool verbose, bool append) const;

    static bool UnitTest(UnitTestRecorder& recorder);

  protected:
    /// Allocation hook of the bit block: exactly `n` bytes (one per bit) from KivoAllocBit into
    /// `buffer`, nothing for 0; 8000 when the allocator fails.
    virtual void Alloc(int n);

  private:
    friend struct BitVectorInspector;  // lets the tests read the private state and Validate()

    /// True when every bit byte is valid (see IsValidBit).
    bool Validate() const;
    /// Gives the code the shape codeLen x codeWordLen; bits within the kept block are kept,
    /// growth discards them.
    void Reshape(int codeLen, int codeWordLen);
    void Release();

    unsigned char* data;    // first bit of the code
    unsigned char** rows;   // rows[k]: first bit of code word k
    int codeLen;            // number of code words
    int codeWordLen;        // bits per code word
    int bitCount;           // codeLen * codeWordLen
    unsigned char* buffer;  // the allocated bit block
    int capacity;           // bits the block holds
    int rowCapacity;        // entries the row table holds
};

}  // namespace Kivo
