// Fourier transforms: FFT (power-of-two length), DFT (fixed arbitrary length) and FT (any
// length, complex or real, single or double precision, prepared on demand).
//
// Definitions shared by the three classes, for a transform of length N:
//   forward  X[k] = sF * sum_{n=0}^{N-1} x[n] e^(-2 pi i kn/N)
//   inverse  x[n] = sI * sum_{k=0}^{N-1} X[k] e^(+2 pi i kn/N)
// where the normalisation flag chooses the scale factors:
//   1: sF = 1/N, sI = 1      2: sF = 1, sI = 1/N (the default: Inverse(Forward(x)) == x)
//   4: sF = sI = 1/sqrt(N)   8: sF = sI = 1
// Every operation first resizes the output to the input's length N (contents not kept; the
// storage grows only when its capacity is below N) and transforms N points. Input and output
// may be the same vector and may be views at any offset (they are staged through the object's
// work buffer when FFTW's alignment requires it). An empty input gives an empty output.
//
// Transforms are computed by FFTW plans shared between all objects of the process; a plan is
// made the first time a (length, kind, direction) is met, which may take up to about two
// seconds for a long length (the planner measures candidate algorithms), and is reused by
// every later call. KivoImportFFTWisdom() lets an application skip that measuring.
//
// Objects keep no samples between calls, but mutate their plan cache and work buffer, so one
// object serves one thread at a time; different objects may be used by different threads.
#pragma once

#include <ombrel/Export.h>
#include <ombrel/math/Types.h>

namespace Kivo {

class UnitTestRecorder;
class VecCplx32;
class VecCplx64;
class VecReal32;
class VecReal64;

namespace kernels {
struct FTAccess;
}

/// Kind of a prepared transform; the values are fixed.
enum FTType {
    FT_TYPE_R_16S = 0,   ///< real 16-bit; listed for its value only, no operation uses it
    FT_TYPE_C_16SC = 1,  ///< complex 16-bit; listed for its value only, no operation uses it
    FT_TYPE_R_32F = 2,   ///< real float <-> complex float spectrum
    FT_TYPE_C_32FC = 3,  ///< complex float
    FT_TYPE_R_64F = 4,   ///< real double <-> complex double spectrum
    FT_TYPE_C_64FC = 5   ///< complex double
};

/// Algorithm hint: 0 no preference, 1 fast, 2 accurate. Every hint gets the same
/// full-accuracy FFTW plan (FFTW has no faster, less accurate mode); the hint is still part of
/// an FT's cache key.
enum KivoAlgorithm { KIVO_ALG_HINT_NONE = 0, KIVO_ALG_HINT_FAST = 1, KIVO_ALG_HINT_ACCURATE = 2 };

/// Complex single-precision FFT of fixed length 2^order, normalisation flag 2 (forward
/// unscaled, inverse divided by 2^order).
class OMBREL_API FFT {
  public:
    /// Prepares the transform of 2^order points, 0 <= order <= 30. Any other order leaves the
    /// object unprepared: construction succeeds and every transform throws 8005 "invalid input
    /// parameter". Throws 8000 when the plan cannot be made for lack of memory.
    explicit FFT(int order);
    /// Shares the (immutable) plans; each object has its own work buffer.
    FFT(const FFT& other);
    FFT& operator=(const FFT& other);
    ~FFT();

    /// Unscaled forward transform. `in` must hold exactly 2^order samples (8005 otherwise,
    /// `out` untouched).
    void Forward(VecCplx32& out, const VecCplx32& in);
    /// Inverse transform divided by 2^order; same length rule as Forward.
    void Inverse(VecCplx32& out, const VecCplx32& in);

    /// Endless soak run for manual stress testing: an order-24 transform of rand()-based data
    /// (seed 123456) applied forever. Never returns; stop it with Ctrl+C.
    static void UnitLoopTest();
    static bool UnitTest(UnitTestRecorder& recorder);

  private:
    friend struct kernels::FTAccess;
    struct Plans;

    Plans* plans;           // forward and inverse plans; null when unprepared
    unsigned char* buffer;  // staging for misaligned or aliased vectors; grows only
    int bufferBytes;
    int order;
};

/// Complex single-precision DFT of a fixed arbitrary length, normalisation flag 2.
class OMBREL_API DFT {
  public:
    /// Prepares the transform of `length` >= 1 points; a length <= 0 leaves the object
    /// unprepared (every transform throws 8005). Throws 8000 when the plan cannot be made for
    /// lack of memory.
    explicit DFT(int length);
    DFT(const DFT& other);
    DFT& operator=(const DFT& other);
    ~DFT();

    /// Unscaled forward transform; `in` must hold exactly `length` samples (8005 otherwise).
    void Forward(VecCplx32& out, const VecCplx32& in);
    /// Inverse transform divided by `length`; same length rule.
    void Inverse(VecCplx32& out, const VecCplx32& in);

    static bool UnitTest(UnitTestRecorder& recorder);

  private:
    friend struct kernels::FTAccess;
    struct Plans;

    Plans* plans;
    unsigned char* buffer;
    int bufferBytes;
    int length;
};

/// Transforms of any length, prepared on first use per (length, kind) and kept until the
/// object is destroyed.
///
/// Real forward transforms return all N bins, bin N-k being the conjugate of bin k (bins 0
/// and, for even N, N/2 are real). Real inverse transforms read only bins 0 ... N/2 of their
/// input and treat the imaginary parts of bin 0 and, for even N, bin N/2 as zero; the upper
/// bins are taken to be the conjugate mirror whatever they hold.
///
/// A flag other than 1, 2, 4, 8 or a hint other than 0, 1, 2 makes every non-empty transform
/// throw 8005; a plan that cannot be made for lack of memory throws 8000.
class OMBREL_API FT {
  public:
    /// Hint 1 (fast), flag 2 (inverse divided by N).
    FT();
    FT(int flag, KivoAlgorithm hint);
    /// The copy gets the same flag, hint and prepared plans (shared, immutable) and its own
    /// work buffer.
    FT(const FT& other);
    FT& operator=(const FT& other);
    ~FT();

    void Forward(VecCplx32& out, const VecCplx32& in);
    void Inverse(VecCplx32& out, const VecCplx32& in);
    void Forward(VecCplx64& out, const VecCplx64& in);
    void Inverse(VecCplx64& out, const VecCplx64& in);
    /// Real input, full N-bin spectrum.
    void Forward(VecCplx32& out, const VecReal32& in);
    /// N-bin spectrum (only bins 0 ... N/2 read) to N real samples.
    void Inverse(VecReal32& out, const VecCplx32& in);
    void Forward(VecCplx64& out, const VecReal64& in);
    void Inverse(VecReal64& out, const VecCplx64& in);

    static bool UnitTest(UnitTestRecorder& recorder);

  private:
    friend struct kernels::FTAccess;
    struct CacheEntry;

    CacheEntry* GetSpec(int length, FTType kind);
    void ResizeBuf(int bytes);
    void ComputeFT(Cplx32* out, const Cplx32* in, int n, int forward);
    void ComputeFT(Cplx64* out, const Cplx64* in, int n, int forward);
    void ComputeFT(Cplx32* out, const float* in, int n);
    void ComputeFT(Cplx64* out, const double* in, int n);
    void ComputeFT(float* out, const Cplx32* in, int n);
    void ComputeFT(double* out, const Cplx64* in, int n);
    void CopyCache(const FT& other);
    void FreeCache();

    KivoAlgorithm hint;
    int flag;
    unsigned char* buffer;  // staging for misaligned or aliased data and the real inverse input
    int bufferBytes;
    CacheEntry* head;  // newest first
};

/// Writes the planning knowledge FFTW has gathered in this process (both precisions) to a
/// text file, so that a later run can import it and make its plans without measuring.
/// Throws 8024 when the file cannot be created, 8026 when it cannot be written completely.
OMBREL_API void KivoExportFFTWisdom(const char* path);
/// Merges a file written by KivoExportFFTWisdom() into FFTW's planning knowledge; plans made
/// afterwards for the recorded lengths skip measuring. Throws 8024 when the file cannot be
/// opened, 8025 when it cannot be read, 8028 when it does not hold FFTW wisdom.
OMBREL_API void KivoImportFFTWisdom(const char* path);

}  // namespace Kivo
