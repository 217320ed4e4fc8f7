// Integer and byte kernels: optimised loops (vectorised by the compiler, with runtime ISA
// dispatch on x86-64) and the plain scalar references they are tested against.
#include "kernels/IntKernels.h"

#include <algorithm>
#include <climits>

// The element-wise loops and the 16-bit sum below are written so that g++ vectorises them (the
// saturating ones widen to 32 bits, clamp and pack back); AVX2 and AVX-512BW (x86-64-v4) double
// and quadruple the lanes of the SSE2 baseline, so they are cloned and picked once at load time
// by the ifunc resolver. The extremes and the 32-bit sum stay single-version.
// g++ 12 exports cloned functions of external linkage whatever -fvisibility says, so the clones
// live in an anonymous namespace and the kernels below are thin forwarding functions: the
// kernels stay out of the shared library's ABI.
#if defined(__GNUC__) && !defined(__clang__) && defined(__x86_64__)
#define KIVO_INT_CLONES __attribute__((target_clones("arch=x86-64-v4", "avx2", "default")))
#else
#define KIVO_INT_CLONES
#endif

namespace Kivo::kernels {

namespace {

inline short Saturate16(int x) {
    return static_cast<short>(std::clamp(x, SHRT_MIN, SHRT_MAX));
}

// Scales an exact sum by 2^-scaleFactor and saturates it to [lo, hi]. Right shifts round half to
// even; left shifts are checked before they are made so that nothing overflows.
long long ScaleSaturate(long long exact, int scaleFactor, long long lo, long long hi) {
    long long q = exact;
    if (scaleFactor > 0) {
        if (scaleFactor > 62) {
            // |exact| <= 2^62 here, so the quotient is at most 1/2 in magnitude: rounds to 0.
            q = 0;
        } else {
            q = exact >> scaleFactor;  // floor
            const long long rest = exact - (q << scaleFactor);
            const long long half = 1LL << (scaleFactor - 1);
            if (rest > half || (rest == half && (q & 1) != 0)) ++q;
        }
    } else if (scaleFactor < 0 && exact != 0) {
        const int shift = -scaleFactor;
        if (shift > 30 || exact > (1LL << 32) || exact < -(1LL << 32))
            q = exact > 0 ? hi : lo;
        else
            q = exact * (1LL << shift);
    }
    return std::clamp(q, lo, hi);
}

}  // namespace

// ---------------------------------------------------------------------------------------------
// Optimised kernels

namespace {

KIVO_INT_CLONES void AddInPlace16sLoop(const short* src, short* srcDst, int len) {
    for (int i = 0; i < len; ++i)
        srcDst[i] = Saturate16(int{srcDst[i]} + int{src[i]});
}

KIVO_INT_CLONES void SubInPlace16sLoop(const short* src, short* srcDst, int len) {
    for (int i = 0; i < len; ++i)
        srcDst[i] = Saturate16(int{srcDst[i]} - int{src[i]});
}

KIVO_INT_CLONES void MulInPlace16sLoop(const short* src, short* srcDst, int len) {
    for (int i = 0; i < len; ++i)
        srcDst[i] = Saturate16(int{srcDst[i]} * int{src[i]});
}

KIVO_INT_CLONES void AddConstInPlace16sLoop(short value, short* srcDst, int len) {
    const int v = value;
    for (int i = 0; i < len; ++i)
        srcDst[i] = Saturate16(int{srcDst[i]} + v);
}

KIVO_INT_CLONES void SubConstInPlace16sLoop(short value, short* srcDst, int len) {
    const int v = value;
    for (int i = 0; i < len; ++i)
        srcDst[i] = Saturate16(int{srcDst[i]} - v);
}

KIVO_INT_CLONES void MulConstInPlace16sLoop(short value, short* srcDst, int len) {
    const int v = value;
    for (int i = 0; i < len; ++i)
        srcDst[i] = Saturate16(int{srcDst[i]} * v);
}

}  // namespace

void AddInPlace16s(const short* src, short* srcDst, int len) {
    AddInPlace16sLoop(src, srcDst, len);
}
void SubInPlace16s(const short* src, short* srcDst, int len) {
    SubInPlace16sLoop(src, srcDst, len);
}
void MulInPlace16s(const short* src, short* srcDst, int len) {
    MulInPlace16sLoop(src, srcDst, len);
}
void AddConstInPlace16s(short value, short* srcDst, int len) {
    AddConstInPlace16sLoop(value, srcDst, len);
}
void SubConstInPlace16s(short value, short* srcDst, int len) {
    SubConstInPlace16sLoop(value, srcDst, len);
}
void MulConstInPlace16s(short value, short* srcDst, int len) {
    MulConstInPlace16sLoop(value, srcDst, len);
}

namespace {

// A 32-bit partial sum of at most 65536 samples cannot overflow (|x| <= 2^15), and the 32-bit
// loop vectorises far better than a 64-bit one.
KIVO_INT_CLONES int PartialSum16sLoop(const short* src, int len) {
    int partial = 0;
    for (int i = 0; i < len; ++i)
        partial += src[i];
    return partial;
}

}  // namespace

void SumSfs16s(const short* src, int len, short* sum, int scaleFactor) {
    if (len <= 0) return;
    constexpr int kBlock = 65536;
    long long exact = 0;
    for (int start = 0; start < len; start += kBlock)
        exact += PartialSum16sLoop(src + start, std::min(kBlock, len - start));
    *sum = static_cast<short>(ScaleSaturate(exact, scaleFactor, SHRT_MIN, SHRT_MAX));
}

void SumSfs32s(const int* src, int len, int* sum, int scaleFactor) {
    if (len <= 0) return;
    long long exact = 0;  // at most 2^31 * 2^31 = 2^62 in magnitude
    for (int i = 0; i < len; ++i)
        exact += src[i];
    *sum = static_cast<int>(ScaleSaturate(exact, scaleFactor, INT_MIN, INT_MAX));
}

namespace {

template <typename T>
T MaxOf(const T* src, int len) {
    T m = src[0];
    for (int i = 1; i < len; ++i)
        m = std::max(m, src[i]);
    return m;
}

template <typename T>
T MinOf(const T* src, int len) {
    T m = src[0];
    for (int i = 1; i < len; ++i)
        m = std::min(m, src[i]);
    return m;
}

// The extreme is found by a vectorised pass; the first index holding it by a second scan that
// stops there, so ties give the lowest index.
template <typename T>
int FirstIndexOf(const T* src, int len, T v) {
    int i = 0;
    while (i < len - 1 && src[i] != v)
        ++i;
    return i;
}

}  // namespace

void Max16s(const short* src, int len, short* result) {
    if (len > 0) *result = MaxOf(src, len);
}
void Min16s(const short* src, int len, short* result) {
    if (len > 0) *result = MinOf(src, len);
}
void Max32s(const int* src, int len, int* result) {
    if (len > 0) *result = MaxOf(src, len);
}
void Min32s(const int* src, int len, int* result) {
    if (len > 0) *result = MinOf(src, len);
}

void MaxIndex16s(const short* src, int len, short* value, int* index) {
    if (len <= 0) return;
    const short m = MaxOf(src, len);
    *value = m;
    if (index) *index = FirstIndexOf(src, len, m);
}
void MinIndex16s(const short* src, int len, short* value, int* index) {
    if (len <= 0) return;
    const short m = MinOf(src, len);
    *value = m;
    if (index) *index = FirstIndexOf(src, len, m);
}
void MaxIndex32s(const int* src, int len, int* value, int* index) {
    if (len <= 0) return;
    const int m = MaxOf(src, len);
    *value = m;
    if (index) *index = FirstIndexOf(src, len, m);
}
void MinIndex32s(const int* src, int len, int* value, int* index) {
    if (len <= 0) return;
    const int m = MinOf(src, len);
    *value = m;
    if (index) *index = FirstIndexOf(src, len, m);
}

namespace {

KIVO_INT_CLONES void And8uLoop(const unsigned char* src1, const unsigned char* src2,
                               unsigned char* dst, int len) {
    for (int i = 0; i < len; ++i)
        dst[i] = src1[i] & src2[i];
}
KIVO_INT_CLONES void Or8uLoop(const unsigned char* src1, const unsigned char* src2,
                              unsigned char* dst, int len) {
    for (int i = 0; i < len; ++i)
        dst[i] = src1[i] | src2[i];
}
KIVO_INT_CLONES void Xor8uLoop(const unsigned char* src1, const unsigned char* src2,
                               unsigned char* dst, int len) {
    for (int i = 0; i < len; ++i)
        dst[i] = src1[i] ^ src2[i];
}
KIVO_INT_CLONES void AndInPlace8uLoop(const unsigned char* src, unsigned char* srcDst, int len) {
    for (int i = 0; i < len; ++i)
        srcDst[i] &= src[i];
}
KIVO_INT_CLONES void OrInPlace8uLoop(const unsigned char* src, unsigned char* srcDst, int len) {
    for (int i = 0; i < len; ++i)
        srcDst[i] |= src[i];
}
KIVO_INT_CLONES void XorInPlace8uLoop(const unsigned char* src, unsigned char* srcDst, int len) {
    for (int i = 0; i < len; ++i)
        srcDst[i] ^= src[i];
}
KIVO_INT_CLONES void Not8uLoop(const unsigned char* src, unsigned char* dst, int len) {
    for (int i = 0; i < len; ++i)
        dst[i] = static_cast<unsigned char>(~src[i]);
}
KIVO_INT_CLONES void NotBitsInPlace8uLoop(unsigned char* srcDst, int len) {
    // Branch-free so it vectorises: flipping the lowest bit turns 0 into 1 and 1 into 0, and is
    // applied only where the byte is 0 or 1.
    for (int i = 0; i < len; ++i) {
        const unsigned char b = srcDst[i];
        srcDst[i] = static_cast<unsigned char>(b ^ static_cast<unsigned char>(b <= 1));
    }
}

}  // namespace

void And8u(const unsigned char* src1, const unsigned char* src2, unsigned char* dst, int len) {
    And8uLoop(src1, src2, dst, len);
}
void Or8u(const unsigned char* src1, const unsigned char* src2, unsigned char* dst, int len) {
    Or8uLoop(src1, src2, dst, len);
}
void Xor8u(const unsigned char* src1, const unsigned char* src2, unsigned char* dst, int len) {
    Xor8uLoop(src1, src2, dst, len);
}
void AndInPlace8u(const unsigned char* src, unsigned char* srcDst, int len) {
    AndInPlace8uLoop(src, srcDst, len);
}
void OrInPlace8u(const unsigned char* src, unsigned char* srcDst, int len) {
    OrInPlace8uLoop(src, srcDst, len);
}
void XorInPlace8u(const unsigned char* src, unsigned char* srcDst, int len) {
    XorInPlace8uLoop(src, srcDst, len);
}
void Not8u(const unsigned char* src, unsigned char* dst, int len) {
    Not8uLoop(src, dst, len);
}
void NotBitsInPlace8u(unsigned char* srcDst, int len) {
    NotBitsInPlace8uLoop(srcDst, len);
}

// ---------------------------------------------------------------------------------------------
// Scalar references: the obvious loop, exact arithmetic in 64 bits, then one saturation.

namespace reference {

namespace {

short Clamp16(long long x) {
    if (x > 32767) return 32767;
    if (x < -32768) return -32768;
    return static_cast<short>(x);
}

}  // namespace

void AddInPlace16s(const short* src, short* srcDst, int len) {
    for (int i = 0; i < len; ++i)
        srcDst[i] = Clamp16(static_cast<long long>(srcDst[i]) + static_cast<long long>(src[i]));
}
void SubInPlace16s(const short* src, short* srcDst, int len) {
    for (int i = 0; i < len; ++i)
        srcDst[i] = Clamp16(static_cast<long long>(srcDst[i]) - static_cast<long long>(src[i]));
}
void MulInPlace16s(const short* src, short* srcDst, int len) {
    for (int i = 0; i < len; ++i)
        srcDst[i] = Clamp16(static_cast<long long>(srcDst[i]) * static_cast<long long>(src[i]));
}
void AddConstInPlace16s(short value, short* srcDst, int len) {
    for (int i = 0; i < len; ++i)
        srcDst[i] = Clamp16(static_cast<long long>(srcDst[i]) + value);
}
void SubConstInPlace16s(short value, short* srcDst, int len) {
    for (int i = 0; i < len; ++i)
        srcDst[i] = Clamp16(static_cast<long long>(srcDst[i]) - value);
}
void MulConstInPlace16s(short value, short* srcDst, int len) {
    for (int i = 0; i < len; ++i)
        srcDst[i] = Clamp16(static_cast<long long>(srcDst[i]) * value);
}

void SumSfs16s(const short* src, int len, short* sum, int scaleFactor) {
    if (len <= 0) return;
    long long exact = 0;
    for (int i = 0; i < len; ++i)
        exact += src[i];
    *sum = static_cast<short>(ScaleSaturate(exact, scaleFactor, SHRT_MIN, SHRT_MAX));
}
void SumSfs32s(const int* src, int len, int* sum, int scaleFactor) {
    if (len <= 0) return;
    long long exact = 0;
    for (int i = 0; i < len; ++i)
        exact += src[i];
    *sum = static_cast<int>(ScaleSaturate(exact, scaleFactor, INT_MIN, INT_MAX));
}

namespace {

template <typename T>
void ExtremeIndex(const T* src, int len, T* value, int* index, bool wantMax) {
    if (len <= 0) return;
    T best = src[0];
    int at = 0;
    for (int i = 1; i < len; ++i) {
        if (wantMax ? src[i] > best : src[i] < best) {
            best = src[i];
            at = i;
        }
    }
    *value = best;
    if (index) *index = at;
}

}  // namespace

void Max16s(const short* src, int len, short* result) {
    ExtremeIndex(src, len, result, nullptr, true);
}
void Min16s(const short* src, int len, short* result) {
    ExtremeIndex(src, len, result, nullptr, false);
}
void Max32s(const int* src, int len, int* result) {
    ExtremeIndex(src, len, result, nullptr, true);
}
void Min32s(const int* src, int len, int* result) {
    ExtremeIndex(src, len, result, nullptr, false);
}
void MaxIndex16s(const short* src, int len, short* value, int* index) {
    ExtremeIndex(src, len, value, index, true);
}
void MinIndex16s(const short* src, int len, short* value, int* index) {
    ExtremeIndex(src, len, value, index, false);
}
void MaxIndex32s(const int* src, int len, int* value, int* index) {
    ExtremeIndex(src, len, value, index, true);
}
void MinIndex32s(const int* src, int len, int* value, int* index) {
    ExtremeIndex(src, len, value, index, false);
}

void And8u(const unsigned char* src1, const unsigned char* src2, unsigned char* dst, int len) {
    for (int i = 0; i < len; ++i)
        dst[i] = static_cast<unsigned char>(src1[i] & src2[i]);
}
void Or8u(const unsigned char* src1, const unsigned char* src2, unsigned char* dst, int len) {
    for (int i = 0; i < len; ++i)
        dst[i] = static_cast<unsigned char>(src1[i] | src2[i]);
}
void Xor8u(const unsigned char* src1, const unsigned char* src2, unsigned char* dst, int len) {
    for (int i = 0; i < len; ++i)
        dst[i] = static_cast<unsigned char>(src1[i] ^ src2[i]);
}
void AndInPlace8u(const unsigned char* src, unsigned char* srcDst, int len) {
    for (int i = 0; i < len; ++i)
        srcDst[i] = static_cast<unsigned char>(srcDst[i] & src[i]);
}
void OrInPlace8u(const unsigned char* src, unsigned char* srcDst, int len) {
    for (int i = 0; i < len; ++i)
        srcDst[i] = static_cast<unsigned char>(srcDst[i] | src[i]);
}
void XorInPlace8u(const unsigned char* src, unsigned char* srcDst, int len) {
    for (int i = 0; i < len; ++i)
        srcDst[i] = static_cast<unsigned char>(srcDst[i] ^ src[i]);
}
void Not8u(const unsigned char* src, unsigned char* dst, int len) {
    for (int i = 0; i < len; ++i)
        dst[i] = static_cast<unsigned char>(255 - src[i]);
}
void NotBitsInPlace8u(unsigned char* srcDst, int len) {
    for (int i = 0; i < len; ++i) {
        if (srcDst[i] == 0)
            srcDst[i] = 1;
        else if (srcDst[i] == 1)
            srcDst[i] = 0;
    }
}

}  // namespace reference

}  // namespace Kivo::kernels
