// Integer and byte kernels behind the integer vectors and the bit vector: saturating 16-bit
// arithmetic, scaled integer sums, extremes with their index and byte-wise logic.
//
// Every kernel exists twice with the same signature: the optimised one in Kivo::kernels (runtime
// ISA dispatch where it pays) and a plain loop in Kivo::kernels::reference, which is what the
// optimised one must reproduce bit for bit. Common rules:
// - argument order is sources, then destination, then length; constant forms put the constant
//   first; reductions take (src, len, result...);
// - the separate source of an in-place binary operation is the right-hand operand
//   (srcDst[n] = srcDst[n] op src[n]);
// - len <= 0 is a harmless no-op: nothing is written, result variables keep their contents;
// - 16-bit results are computed exactly and saturated to [-32768, 32767] (no wrap-around).
#pragma once

namespace Kivo::kernels {

// Saturating 16-bit arithmetic, in place.
void AddInPlace16s(const short* src, short* srcDst, int len);
void SubInPlace16s(const short* src, short* srcDst, int len);
void MulInPlace16s(const short* src, short* srcDst, int len);
void AddConstInPlace16s(short value, short* srcDst, int len);
void SubConstInPlace16s(short value, short* srcDst, int len);
void MulConstInPlace16s(short value, short* srcDst, int len);

/// Exact sum scaled by 2^-scaleFactor (round half to even for scaleFactor > 0, a plain shift for
/// scaleFactor < 0), saturated once at the end to the 16-bit range: {30000, 30000, -30000}
/// gives 30000, not the 32767 of a running saturated sum.
void SumSfs16s(const short* src, int len, short* sum, int scaleFactor);
/// The same into the 32-bit range.
void SumSfs32s(const int* src, int len, int* sum, int scaleFactor);

// Extremes. The index forms return the first (lowest) index on ties; index may be null.
void Max16s(const short* src, int len, short* result);
void Min16s(const short* src, int len, short* result);
void Max32s(const int* src, int len, int* result);
void Min32s(const int* src, int len, int* result);
void MaxIndex16s(const short* src, int len, short* value, int* index);
void MinIndex16s(const short* src, int len, short* value, int* index);
void MaxIndex32s(const int* src, int len, int* value, int* index);
void MinIndex32s(const int* src, int len, int* value, int* index);

// Bitwise logic on bytes.
void And8u(const unsigned char* src1, const unsigned char* src2, unsigned char* dst, int len);
void Or8u(const unsigned char* src1, const unsigned char* src2, unsigned char* dst, int len);
void Xor8u(const unsigned char* src1, const unsigned char* src2, unsigned char* dst, int len);
void AndInPlace8u(const unsigned char* src, unsigned char* srcDst, int len);
void OrInPlace8u(const unsigned char* src, unsigned char* srcDst, int len);
void XorInPlace8u(const unsigned char* src, unsigned char* srcDst, int len);
/// dst[n] = ~src[n] (all eight bits).
void Not8u(const unsigned char* src, unsigned char* dst, int len);
/// Logical complement of one-byte-per-bit data: 0 -> 1, 1 -> 0, every other byte unchanged
/// (an erasure 255 stays an erasure).
void NotBitsInPlace8u(unsigned char* srcDst, int len);

namespace reference {

void AddInPlace16s(const short* src, short* srcDst, int len);
void SubInPlace16s(const short* src, short* srcDst, int len);
void MulInPlace16s(const short* src, short* srcDst, int len);
void AddConstInPlace16s(short value, short* srcDst, int len);
void SubConstInPlace16s(short value, short* srcDst, int len);
void MulConstInPlace16s(short value, short* srcDst, int len);
void SumSfs16s(const short* src, int len, short* sum, int scaleFactor);
void SumSfs32s(const int* src, int len, int* sum, int scaleFactor);
void Max16s(const short* src, int len, short* result);
void Min16s(const short* src, int len, short* result);
void Max32s(const int* src, int len, int* result);
void Min32s(const int* src, int len, int* result);
void MaxIndex16s(const short* src, int len, short* value, int* index);
void MinIndex16s(const short* src, int len, short* value, int* index);
void MaxIndex32s(const int* src, int len, int* value, int* index);
void MinIndex32s(const int* src, int len, int* value, int* index);
void And8u(const unsigned char* src1, const unsigned char* src2, unsigned char* dst, int len);
void Or8u(const unsigned char* src1, const unsigned char* src2, unsigned char* dst, int len);
void Xor8u(const unsigned char* src1, const unsigned char* src2, unsigned char* dst, int len);
void AndInPlace8u(const unsigned char* src, unsigned char* srcDst, int len);
void OrInPlace8u(const unsigned char* src, unsigned char* srcDst, int len);
void XorInPlace8u(const unsigned char* src, unsigned char* srcDst, int len);
void Not8u(const unsigned char* src, unsigned char* dst, int len);
void NotBitsInPlace8u(unsigned char* srcDst, int len);

}  // namespace reference

}  // namespace Kivo::kernels
