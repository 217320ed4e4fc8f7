// FFT, DFT and FT on the shared FFTW plan cache, plus the wisdom file functions.
#define KIVO_SOURCE_UNIT "src/dsp/FFT"

#include <ombrel/dsp/FFT.h>

#include <ombrel/infra/UnitTestRecorder.h>
#include <ombrel/math/KivoException.h>
#include <ombrel/math/Vector.h>

#include "kernels/Allocator.h"
#include "kernels/Error.h"
#include "kernels/FftAccess.h"
#include "kernels/FftPlan.h"
#include "kernels/SelfTest.h"
#include "kernels/VectorAccess.h"
#include "kernels/VectorKernels.h"

#include <climits>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

namespace Kivo {

using kernels::FftAligned;
using kernels::FftDirection;
using kernels::FftKind;
using kernels::FftPlan;
using kernels::FftPrecision;
using PlanPtr = std::shared_ptr<const FftPlan>;

namespace {

// ---------------------------------------------------------------------------------------------
// Raw-pointer transform core shared by the three classes.

template <class V>
auto* DataOf(const V& v) {
    return kernels::VectorAccess::Data(v);
}

constexpr long long kRegionAlign = 64;

long long Region(long long bytes) {
    return (bytes + kRegionAlign - 1) / kRegionAlign * kRegionAlign;
}

// Grows (never shrinks) a staging buffer; its old contents are not kept.
void GrowBuffer(unsigned char*& buffer, int& capacity, long long bytes) {
    if (bytes <= capacity) return;
    if (bytes > INT_MAX) KIVO_THROW(KIVO_MEMORY_ALLOC_ERROR);
    auto* p = static_cast<unsigned char*>(kernels::AlignedAlloc(bytes, 1));
    if (!p) KIVO_THROW(KIVO_MEMORY_ALLOC_ERROR);
    kernels::AlignedFree(buffer);
    buffer = p;
    capacity = static_cast<int>(bytes);
}

bool Overlap(const void* a, long long aBytes, const void* b, long long bBytes) {
    const auto pa = reinterpret_cast<std::uintptr_t>(a);
    const auto pb = reinterpret_cast<std::uintptr_t>(b);
    return pa < pb + static_cast<std::uintptr_t>(bBytes) &&
           pb < pa + static_cast<std::uintptr_t>(aBytes);
}

bool ValidFlag(int flag) {
    return flag == 1 || flag == 2 || flag == 4 || flag == 8;
}

// Scale factor of a transform of length n under the normalisation flag.
double ScaleOf(int flag, bool forward, int n) {
    switch (flag) {
        case 1:
            return forward ? 1.0 / n : 1.0;
        case 2:
            return forward ? 1.0 : 1.0 / n;
        case 4:
            return 1.0 / std::sqrt(static_cast<double>(n));
        default:
            return 1.0;
    }
}

// One multiplication per value by the factor rounded once to the data's precision.
template <typename Real>
void ScaleValues(Real* p, long long count, double factor) {
    if (factor == 1.0) return;
    const Real s = static_cast<Real>(factor);
    for (long long i = 0; i < count; ++i)
        p[i] *= s;
}

template <typename C>
using RealOf = std::conditional_t<std::is_same_v<C, Cplx32>, float, double>;

// Complex transform, out of place on FFTW's terms: inputs that are misaligned or overlap the
// output are copied to the staging buffer first, misaligned outputs are written there and
// copied back.
template <typename C>
void RunComplex(const FftPlan& plan, C* out, const C* in, int n, unsigned char*& buffer,
                int& capacity) {
    const long long bytes = static_cast<long long>(n) * sizeof(C);
    const bool stageIn = !FftAligned(in) || Overlap(in, bytes, out, bytes);
    const bool stageOut = !FftAligned(out);
    if (!stageIn && !stageOut) {
        plan.Execute(in, out);
        return;
    }
    GrowBuffer(buffer, capacity, (stageIn ? Region(bytes) : 0) + (stageOut ? Region(bytes) : 0));
    unsigned char* w = buffer;
    const C* src = in;
    C* dst = out;
    if (stageIn) {
        std::memcpy(w, in, bytes);
        src = reinterpret_cast<const C*>(w);
        w += Region(bytes);
    }
    if (stageOut) dst = reinterpret_cast<C*>(w);
    plan.Execute(src, dst);
    if (stageOut) std::memcpy(out, dst, bytes);
}

// Real forward: r2c writes bins 0 ... N/2 (the CCS layout) into the front of the N-bin output,
// then the upper half is filled with the conjugate mirror. Scaling happens before the mirror,
// on half the values.
template <typename C>
void RunRealForward(const FftPlan& plan, C* out, const RealOf<C>* in, int n, double factor,
                    unsigned char*& buffer, int& capacity) {
    using Real = RealOf<C>;
    const int h = n / 2 + 1;
    const long long inBytes = static_cast<long long>(n) * sizeof(Real);
    const long long outBytes = static_cast<long long>(h) * sizeof(C);
    const bool stageIn = !FftAligned(in);
    const bool stageOut = !FftAligned(out);
    const Real* src = in;
    C* dst = out;
    if (stageIn || stageOut) {
        GrowBuffer(buffer, capacity,
                   (stageIn ? Region(inBytes) : 0) + (stageOut ? Region(outBytes) : 0));
        unsigned char* w = buffer;
        if (stageIn) {
            std::memcpy(w, in, inBytes);
            src = reinterpret_cast<const Real*>(w);
            w += Region(inBytes);
        }
        if (stageOut) dst = reinterpret_cast<C*>(w);
    }
    plan.Execute(src, dst);
    if (stageOut) std::memcpy(out, dst, outBytes);
    // The CCS layout stores these imaginary parts as exact zeros.
    out[0].im = 0;
    if (n % 2 == 0) out[n / 2].im = 0;
    ScaleValues(reinterpret_cast<Real*>(out), 2LL * h, factor);
    for (int k = h; k < n; ++k)
        out[k] = C{out[n - k].re, -out[n - k].im};
}

// Real inverse: bins 0 ... N/2 are copied to the staging buffer (c2r destroys its input, and the
// caller's vector is const), with the imaginary parts FFTW would otherwise fold into the result
// at bin 0 and N/2 cleared; the upper bins are never read.
template <typename C>
void RunRealInverse(const FftPlan& plan, RealOf<C>* out, const C* in, int n, double factor,
                    unsigned char*& buffer, int& capacity) {
    using Real = RealOf<C>;
    const int h = n / 2 + 1;
    const long long inBytes = static_cast<long long>(h) * sizeof(C);
    const long long outBytes = static_cast<long long>(n) * sizeof(Real);
    const bool stageOut = !FftAligned(out);
    GrowBuffer(buffer, capacity, Region(inBytes) + (stageOut ? Region(outBytes) : 0));
    C* staged = reinterpret_cast<C*>(buffer);
    std::memcpy(staged, in, inBytes);
    staged[0].im = 0;
    if (n % 2 == 0) staged[n / 2].im = 0;
    Real* dst = stageOut ? reinterpret_cast<Real*>(buffer + Region(inBytes)) : out;
    plan.Execute(staged, dst);
    if (stageOut) std::memcpy(out, dst, outBytes);
    ScaleValues(out, n, factor);
}

PlanPtr ComplexPlan(FftPrecision precision, int n, bool forward) {
    return FftPlan::Get({precision, FftKind::Complex, n,
                         forward ? FftDirection::Forward : FftDirection::Inverse,
                         kernels::kDefaultFftEffort});
}

void FreeBuffer(unsigned char*& buffer, int& capacity) {
    kernels::AlignedFree(buffer);
    buffer = nullptr;
    capacity = 0;
}

}  // namespace

// ---------------------------------------------------------------------------------------------
// FFT and DFT: one complex single-precision length, both directions planned at construction.

struct FFT::Plans {
    PlanPtr forward;
    PlanPtr inverse;
};
struct DFT::Plans {
    PlanPtr forward;
    PlanPtr inverse;
};

namespace {

template <typename P>
P* MakeFixedPlans(int n) {
    auto plans = std::make_unique<P>();
    plans->forward = ComplexPlan(FftPrecision::Single, n, true);
    plans->inverse = ComplexPlan(FftPrecision::Single, n, false);
    return plans.release();
}

template <typename P>
void RunFixed(const P* plans, int n, bool forward, VecCplx32& out, const VecCplx32& in,
              unsigned char*& buffer, int& capacity) {
    // An unprepared object or an input of another length would make FFTW read or write past
    // the vectors; refuse before touching the output.
    if (!plans || in.GetSize() != n) KIVO_THROW(KIVO_INVALID_INPUT_PARAMETER);
    out.Resize(n);
    Cplx32* o = DataOf(out);
    RunComplex(forward ? *plans->forward : *plans->inverse, o, DataOf(in), n, buffer, capacity);
    ScaleValues(reinterpret_cast<float*>(o), 2LL * n, ScaleOf(2, forward, n));
}

}  // namespace

FFT::FFT(int order_) : plans(nullptr), buffer(nullptr), bufferBytes(0), order(order_) {
    if (order >= 0 && order <= 30) plans = MakeFixedPlans<Plans>(1 << order);
}

FFT::FFT(const FFT& other)
    : plans(other.plans ? new Plans(*other.plans) : nullptr),
      buffer(nullptr),
      bufferBytes(0),
      order(other.order) {}

FFT& FFT::operator=(const FFT& other) {
    if (this == &other) return *this;
    Plans* copy = other.plans ? new Plans(*other.plans) : nullptr;
    delete plans;
    plans = copy;
    order = other.order;
    return *this;
}

FFT::~FFT() {
    delete plans;
    FreeBuffer(buffer, bufferBytes);
}

void FFT::Forward(VecCplx32& out, const VecCplx32& in) {
    RunFixed(plans, plans ? 1 << order : 0, true, out, in, buffer, bufferBytes);
}

void FFT::Inverse(VecCplx32& out, const VecCplx32& in) {
    RunFixed(plans, plans ? 1 << order : 0, false, out, in, buffer, bufferBytes);
}

void FFT::UnitLoopTest() {
    const int n = 16777216;
    VecCplx32 data(n);
    std::srand(123456);
    const float scale = 1.0f / 32767;
    for (int i = 0; i < n; ++i) {
        data[i].re = static_cast<float>(std::rand()) * scale;
        data[i].im = static_cast<float>(std::rand()) * scale;
    }
    std::printf("Preparing FFT, Size=%d\n", n);
    FFT fft(24);
    VecCplx32 out(n);
    std::printf("FFT infinite loop started.\n");
    std::printf("To stop the program, hit Control+C twice.\n");
    for (;;)
        fft.Forward(out, data);
}

DFT::DFT(int length_) : plans(nullptr), buffer(nullptr), bufferBytes(0), length(length_) {
    if (length > 0) plans = MakeFixedPlans<Plans>(length);
}

DFT::DFT(const DFT& other)
    : plans(other.plans ? new Plans(*other.plans) : nullptr),
      buffer(nullptr),
      bufferBytes(0),
      length(other.length) {}

DFT& DFT::operator=(const DFT& other) {
    if (this == &other) return *this;
    Plans* copy = other.plans ? new Plans(*other.plans) : nullptr;
    delete plans;
    plans = copy;
    length = other.length;
    return *this;
}

DFT::~DFT() {
    delete plans;
    FreeBuffer(buffer, bufferBytes);
}

void DFT::Forward(VecCplx32& out, const VecCplx32& in) {
    RunFixed(plans, length, true, out, in, buffer, bufferBytes);
}

void DFT::Inverse(VecCplx32& out, const VecCplx32& in) {
    RunFixed(plans, length, false, out, in, buffer, bufferBytes);
}

// ---------------------------------------------------------------------------------------------
// FT: a per-object list of prepared (flag, hint, kind, length) entries, newest first. The FFTW
// plans inside are shared process-wide; an entry makes each direction's plan on its first use.

struct FT::CacheEntry {
    int flag;
    int hint;
    FTType kind;
    int length;
    CacheEntry* next;
    PlanPtr forward;
    PlanPtr inverse;

    const FftPlan& Plan(bool isForward) {
        PlanPtr& p = isForward ? forward : inverse;
        if (!p) {
            const bool single = kind == FT_TYPE_R_32F || kind == FT_TYPE_C_32FC;
            const bool complex = kind == FT_TYPE_C_32FC || kind == FT_TYPE_C_64FC;
            const FftKind fk = complex     ? FftKind::Complex
                               : isForward ? FftKind::RealToComplex
                                           : FftKind::ComplexToReal;
            p = FftPlan::Get({single ? FftPrecision::Single : FftPrecision::Double, fk, length,
                              isForward ? FftDirection::Forward : FftDirection::Inverse,
                              kernels::kDefaultFftEffort});
        }
        return *p;
    }
};

FT::FT() : FT(2, KIVO_ALG_HINT_FAST) {}

FT::FT(int flag_, KivoAlgorithm hint_)
    : hint(hint_), flag(flag_), buffer(nullptr), bufferBytes(0), head(nullptr) {}

FT::FT(const FT& other)
    : hint(other.hint), flag(other.flag), buffer(nullptr), bufferBytes(0), head(nullptr) {
    CopyCache(other);
}

FT& FT::operator=(const FT& other) {
    if (this == &other) return *this;
    FreeCache();
    hint = other.hint;
    flag = other.flag;
    CopyCache(other);
    return *this;
}

FT::~FT() {
    FreeBuffer(buffer, bufferBytes);
    FreeCache();
}

void FT::CopyCache(const FT& other) {
    // Same entries in the same order; the plans are shared.
    CacheEntry** tail = &head;
    for (const CacheEntry* e = other.head; e; e = e->next) {
        *tail = new CacheEntry(*e);
        (*tail)->next = nullptr;
        tail = &(*tail)->next;
    }
}

void FT::FreeCache() {
    while (head) {
        CacheEntry* next = head->next;
        delete head;
        head = next;
    }
}

FT::CacheEntry* FT::GetSpec(int length, FTType kind) {
    for (CacheEntry* e = head; e; e = e->next)
        if (e->flag == flag && e->hint == hint && e->kind == kind && e->length == length) return e;
    if (!ValidFlag(flag) || hint < KIVO_ALG_HINT_NONE || hint > KIVO_ALG_HINT_ACCURATE ||
        length <= 0 || kind < FT_TYPE_R_32F || kind > FT_TYPE_C_64FC)
        KIVO_THROW(KIVO_INVALID_INPUT_PARAMETER);
    head = new CacheEntry{flag, hint, kind, length, head, nullptr, nullptr};
    return head;
}

void FT::ResizeBuf(int bytes) {
    GrowBuffer(buffer, bufferBytes, bytes);
}

void FT::ComputeFT(Cplx32* out, const Cplx32* in, int n, int forward) {
    const FftPlan& plan = GetSpec(n, FT_TYPE_C_32FC)->Plan(forward != 0);
    RunComplex(plan, out, in, n, buffer, bufferBytes);
    ScaleValues(reinterpret_cast<float*>(out), 2LL * n, ScaleOf(flag, forward != 0, n));
}

void FT::ComputeFT(Cplx64* out, const Cplx64* in, int n, int forward) {
    const FftPlan& plan = GetSpec(n, FT_TYPE_C_64FC)->Plan(forward != 0);
    RunComplex(plan, out, in, n, buffer, bufferBytes);
    ScaleValues(reinterpret_cast<double*>(out), 2LL * n, ScaleOf(flag, forward != 0, n));
}

void FT::ComputeFT(Cplx32* out, const float* in, int n) {
    const FftPlan& plan = GetSpec(n, FT_TYPE_R_32F)->Plan(true);
    RunRealForward(plan, out, in, n, ScaleOf(flag, true, n), buffer, bufferBytes);
}

void FT::ComputeFT(Cplx64* out, const double* in, int n) {
    const FftPlan& plan = GetSpec(n, FT_TYPE_R_64F)->Plan(true);
    RunRealForward(plan, out, in, n, ScaleOf(flag, true, n), buffer, bufferBytes);
}

void FT::ComputeFT(float* out, const Cplx32* in, int n) {
    const FftPlan& plan = GetSpec(n, FT_TYPE_R_32F)->Plan(false);
    RunRealInverse(plan, out, in, n, ScaleOf(flag, false, n), buffer, bufferBytes);
}

void FT::ComputeFT(double* out, const Cplx64* in, int n) {
    const FftPlan& plan = GetSpec(n, FT_TYPE_R_64F)->Plan(false);
    RunRealInverse(plan, out, in, n, ScaleOf(flag, false, n), buffer, bufferBytes);
}

// The public operations: output resized to N first, then one kernel run (nothing for N = 0).
void FT::Forward(VecCplx32& out, const VecCplx32& in) {
    const int n = in.GetSize();
    out.Resize(n);
    if (n > 0) ComputeFT(DataOf(out), DataOf(in), n, 1);
}

void FT::Inverse(VecCplx32& out, const VecCplx32& in) {
    const int n = in.GetSize();
    out.Resize(n);
    if (n > 0) ComputeFT(DataOf(out), DataOf(in), n, 0);
}

void FT::Forward(VecCplx64& out, const VecCplx64& in) {
    const int n = in.GetSize();
    out.Resize(n);
    if (n > 0) ComputeFT(DataOf(out), DataOf(in), n, 1);
}

void FT::Inverse(VecCplx64& out, const VecCplx64& in) {
    const int n = in.GetSize();
    out.Resize(n);
    if (n > 0) ComputeFT(DataOf(out), DataOf(in), n, 0);
}

void FT::Forward(VecCplx32& out, const VecReal32& in) {
    const int n = in.GetSize();
    out.Resize(n);
    if (n > 0) ComputeFT(DataOf(out), DataOf(in), n);
}

void FT::Inverse(VecReal32& out, const VecCplx32& in) {
    const int n = in.GetSize();
    out.Resize(n);
    if (n > 0) ComputeFT(DataOf(out), DataOf(in), n);
}

void FT::Forward(VecCplx64& out, const VecReal64& in) {
    const int n = in.GetSize();
    out.Resize(n);
    if (n > 0) ComputeFT(DataOf(out), DataOf(in), n);
}

void FT::Inverse(VecReal64& out, const VecCplx64& in) {
    const int n = in.GetSize();
    out.Resize(n);
    if (n > 0) ComputeFT(DataOf(out), DataOf(in), n);
}

// ---------------------------------------------------------------------------------------------
// Wisdom files.

void KivoExportFFTWisdom(const char* path) {
    const std::string text = kernels::FftExportWisdom();
    std::FILE* f = path ? std::fopen(path, "wb") : nullptr;
    if (!f) KIVO_THROW(KIVO_FILE_OPEN_ERROR);
    const bool written = std::fwrite(text.data(), 1, text.size(), f) == text.size();
    const bool closed = std::fclose(f) == 0;
    if (!written || !closed) KIVO_THROW(KIVO_FILE_WRITE_ERROR);
}

void KivoImportFFTWisdom(const char* path) {
    std::FILE* f = path ? std::fopen(path, "rb") : nullptr;
    if (!f) KIVO_THROW(KIVO_FILE_OPEN_ERROR);
    std::string text;
    char chunk[4096];
    std::size_t got;
    while ((got = std::fread(chunk, 1, sizeof chunk, f)) > 0)
        text.append(chunk, got);
    const bool failed = std::ferror(f) != 0;
    std::fclose(f);
    if (failed) KIVO_THROW(KIVO_FILE_READ_ERROR);
    if (!kernels::FftImportWisdom(text)) KIVO_THROW(KIVO_FILE_TYPE_ERROR);
}

// ---------------------------------------------------------------------------------------------
// Self-tests: closed forms that need no reference implementation.

namespace {

bool Near(double a, double b, double tol) {
    return std::fabs(a - b) <= tol;
}

}  // namespace

bool FFT::UnitTest(UnitTestRecorder& recorder) {
    bool ok = true;
    const char* cls = "FFT";
    FFT fft(4);
    VecCplx32 x(16), y, z;
    x.SetZero();
    x[0] = Cplx32{1, 0};
    fft.Forward(y, x);
    bool ones = y.GetSize() == 16;
    for (int i = 0; ones && i < 16; ++i)
        ones = Near(y[i].re, 1, 1e-6) && Near(y[i].im, 0, 1e-6);
    kernels::Record(recorder, ok, cls, "impulse gives 16 ones", ones);
    fft.Inverse(z, y);
    bool impulse = z.GetSize() == 16;
    for (int i = 0; impulse && i < 16; ++i)
        impulse = Near(z[i].re, i == 0 ? 1 : 0, 1e-6) && Near(z[i].im, 0, 1e-6);
    kernels::Record(recorder, ok, cls, "inverse of ones gives the impulse", impulse);
    bool threw = false;
    try {
        VecCplx32 shorter(8);
        shorter.SetZero();
        fft.Forward(y, shorter);
    } catch (const KivoException& e) {
        threw = e.code == KIVO_INVALID_INPUT_PARAMETER;
    }
    kernels::Record(recorder, ok, cls, "another length is refused", threw);
    threw = false;
    try {
        FFT bad(-1);
        bad.Forward(y, x);
    } catch (const KivoException& e) {
        threw = e.code == KIVO_INVALID_INPUT_PARAMETER;
    }
    kernels::Record(recorder, ok, cls, "invalid order throws on use", threw);
    return ok;
}

bool DFT::UnitTest(UnitTestRecorder& recorder) {
    bool ok = true;
    const char* cls = "DFT";
    // A complex tone at bin 2 of 12 points: all energy in bin 2, amplitude 12.
    DFT dft(12);
    VecCplx32 x(12), y, z;
    const double twoPi = 6.283185307179586;
    for (int n = 0; n < 12; ++n)
        x[n] = Cplx32{static_cast<float>(std::cos(twoPi * 2 * n / 12)),
                      static_cast<float>(std::sin(twoPi * 2 * n / 12))};
    dft.Forward(y, x);
    bool tone = y.GetSize() == 12;
    for (int k = 0; tone && k < 12; ++k)
        tone = Near(y[k].re, k == 2 ? 12 : 0, 1e-5) && Near(y[k].im, 0, 1e-5);
    kernels::Record(recorder, ok, cls, "tone lands in its bin", tone);
    dft.Inverse(z, y);
    bool back = z.GetSize() == 12;
    for (int n = 0; back && n < 12; ++n)
        back = Near(z[n].re, x[n].re, 1e-6) && Near(z[n].im, x[n].im, 1e-6);
    kernels::Record(recorder, ok, cls, "inverse restores the input", back);
    bool threw = false;
    try {
        DFT bad(0);
        bad.Forward(y, x);
    } catch (const KivoException& e) {
        threw = e.code == KIVO_INVALID_INPUT_PARAMETER;
    }
    kernels::Record(recorder, ok, cls, "invalid length throws on use", threw);
    return ok;
}

bool FT::UnitTest(UnitTestRecorder& recorder) {
    bool ok = true;
    const char* cls = "FT";
    FT ft;
    // Real forward of 1, 2, 3, 4, 5: X0 = 15, X[5-k] = conj X[k].
    VecReal32 r(5), back;
    for (int i = 0; i < 5; ++i)
        r[i] = static_cast<float>(i + 1);
    VecCplx32 plans;
    ft.Forward(plans, r);
    bool sym = plans.GetSize() == 5 && Near(plans[0].re, 15, 1e-5) && plans[0].im == 0;
    for (int k = 1; sym && k < 5; ++k)
        sym = plans[5 - k].re == plans[k].re && plans[5 - k].im == -plans[k].im;
    // X1 = -2.5 + 3.4409548i for this sequence.
    sym = sym && Near(plans[1].re, -2.5, 1e-5) && Near(plans[1].im, 3.4409548, 1e-5);
    kernels::Record(recorder, ok, cls, "real forward gives the conjugate-symmetric spectrum", sym);
    ft.Inverse(back, plans);
    bool round = back.GetSize() == 5;
    for (int i = 0; round && i < 5; ++i)
        round = Near(back[i], i + 1, 1e-5);
    kernels::Record(recorder, ok, cls, "real round trip", round);
    // Complex double round trip at a prime length.
    VecCplx64 c(7), cs, cb;
    for (int i = 0; i < 7; ++i)
        c[i] = Cplx64{0.5 * i, 1.0 - i};
    ft.Forward(cs, c);
    ft.Inverse(cb, cs);
    bool dround = cb.GetSize() == 7 && Near(cs[0].re, 10.5, 1e-12) && Near(cs[0].im, -14, 1e-12);
    for (int i = 0; dround && i < 7; ++i)
        dround = Near(cb[i].re, c[i].re, 1e-13) && Near(cb[i].im, c[i].im, 1e-13);
    kernels::Record(recorder, ok, cls, "complex double round trip", dround);
    bool threw = false;
    try {
        FT bad(3, KIVO_ALG_HINT_NONE);
        bad.Forward(cs, c);
    } catch (const KivoException& e) {
        threw = e.code == KIVO_INVALID_INPUT_PARAMETER;
    }
    kernels::Record(recorder, ok, cls, "invalid normalisation flag throws", threw);
    return ok;
}

}  // namespace Kivo

namespace Kivo::kernels {

int FTAccess::CacheEntries(const FT& ft) {
    int count = 0;
    for (const FT::CacheEntry* e = ft.head; e; e = e->next)
        ++count;
    return count;
}

bool FTAccess::Entry(const FT& ft, int i, FTType& kind, int& length) {
    const FT::CacheEntry* e = ft.head;
    for (; e && i > 0; --i)
        e = e->next;
    if (!e) return false;
    kind = e->kind;
    length = e->length;
    return true;
}

bool FTAccess::SharesPlans(const FT& a, const FT& b, int i) {
    const FT::CacheEntry* x = a.head;
    const FT::CacheEntry* y = b.head;
    for (; x && y && i > 0; --i) {
        x = x->next;
        y = y->next;
    }
    return x && y && x != y && x->forward == y->forward && x->inverse == y->inverse;
}

}  // namespace Kivo::kernels
