// Process-wide cache of FFTW plans for 1-D transforms of any length.
//
// Plans are made once per (precision, kind, length, direction, effort) and shared by every
// object of the library that transforms at that length; execution goes through FFTW's
// new-array interface, so one plan serves any pair of suitably aligned buffers and any number
// of threads at once. FFTW's planner is not thread-safe: every plan creation and destruction,
// the planner settings and the wisdom functions below take one process-wide mutex, the only
// lock in the library. Executing a plan takes no lock.
#pragma once

#include <ombrel/math/Types.h>

#include <compare>
#include <memory>
#include <string>

namespace Kivo::kernels {

enum class FftPrecision : unsigned char { Single, Double };

/// Complex: N complex in, N complex out. RealToComplex: N reals in, N/2 + 1 complex out (the
/// CCS layout: bins 0 ... N/2). ComplexToReal: N/2 + 1 complex in (the same layout), N reals
/// out.
enum class FftKind : unsigned char { Complex, RealToComplex, ComplexToReal };

/// Forward uses e^(-2 pi i kn/N), Inverse e^(+2 pi i kn/N); neither scales. RealToComplex plans
/// are always Forward and ComplexToReal plans always Inverse.
enum class FftDirection : unsigned char { Forward, Inverse };

/// FFTW_ESTIMATE or FFTW_MEASURE (the latter bounded by FftPlanTimeLimit()).
enum class FftEffort : unsigned char { Estimate, Measure };

struct FftPlanKey {
    FftPrecision precision;
    FftKind kind;
    int length;
    FftDirection direction;
    FftEffort effort;

    auto operator<=>(const FftPlanKey&) const = default;
};

/// Effort used by the library's transform classes. Measured on the build machine (AMD EPYC,
/// 2 shared cores, FFTW 3.3.10, single-precision complex forward, out of place, no wisdom,
/// no time limit; execution is the best of 5 runs, per transform):
///
/// |     N | ESTIMATE plan | MEASURE plan | ESTIMATE exec | MEASURE exec | speed-up |
/// |-------|---------------|--------------|---------------|--------------|----------|
/// |  1024 |       0.06 ms |        61 ms |       0.96 us |      0.83 us |    1.16x |
/// |  4096 |       0.04 ms |       107 ms |       6.37 us |      5.02 us |    1.27x |
/// | 65536 |       0.12 ms |       898 ms |        301 us |       173 us |    1.74x |
/// |  1000 |       0.08 ms |        63 ms |       2.08 us |      1.49 us |    1.40x |
/// |  4800 |       0.20 ms |       391 ms |       8.69 us |      6.74 us |    1.29x |
/// | 12289 |       1.01 ms |      1296 ms |        287 us |       167 us |    1.72x |
///
/// MEASURE pays for its planning after a few thousand transforms of a size at most, which
/// every plan-once user of the library (spectrum, zoom, chirp-Z) reaches within seconds;
/// applications that cannot afford the first-use latency import wisdom.
inline constexpr FftEffort kDefaultFftEffort = FftEffort::Measure;

/// Upper bound, in seconds, that FFTW may spend measuring candidate algorithms for one
/// MEASURE plan. FFTW first makes an ESTIMATE plan and keeps it if measuring runs out of time,
/// so a plan is always produced. 2 s rather than 1 s: with 1 s the 12289-point plan above
/// timed out and kept the 1.7x slower estimate; at 0.3 s so did 4800 and 65536.
inline constexpr double kDefaultFftPlanTimeLimit = 2.0;

/// An immutable FFTW plan. Obtained from Get() (shared; the process-wide cache keeps one
/// reference) and executed on caller buffers.
///
/// Buffer rules for every Execute overload: `in` and `out` must satisfy FftAligned() and be
/// different arrays (the plans are out of place). Complex and RealToComplex plans leave their
/// input untouched; a ComplexToReal plan destroys its input (FFTW is fastest that way), which
/// is why that overload takes a non-const input. A buffer or type that does not fit the plan
/// throws 8036 (a library bug), never reaches FFTW.
class FftPlan {
  public:
    /// The plan for `key`, made on first request. Throws 8005 for a length <= 0 or a
    /// direction that does not fit the kind, 8000 when the planning scratch cannot be
    /// allocated or FFTW cannot make the plan.
    static std::shared_ptr<const FftPlan> Get(const FftPlanKey& key);
    /// The cached plan for `key`, or null; never plans.
    static std::shared_ptr<const FftPlan> Find(const FftPlanKey& key);

    ~FftPlan();
    FftPlan(const FftPlan&) = delete;
    FftPlan& operator=(const FftPlan&) = delete;

    const FftPlanKey& Key() const { return key_; }
    int Length() const { return key_.length; }

    void Execute(const Cplx32* in, Cplx32* out) const;  ///< Complex, single
    void Execute(const Cplx64* in, Cplx64* out) const;  ///< Complex, double
    void Execute(const float* in, Cplx32* out) const;   ///< RealToComplex, single
    void Execute(const double* in, Cplx64* out) const;  ///< RealToComplex, double
    void Execute(Cplx32* in, float* out) const;         ///< ComplexToReal, single; destroys in
    void Execute(Cplx64* in, double* out) const;        ///< ComplexToReal, double; destroys in

    /// The fftwf_plan or fftw_plan itself, for benchmarks that time FFTW without this layer.
    void* Handle() const { return plan_; }

    /// FFTW's textual description of the chosen algorithm (for diagnostics and benchmarks).
    std::string Describe() const;

  private:
    FftPlan(const FftPlanKey& key, void* plan) : key_(key), plan_(plan) {}
    void Check(FftPrecision precision, FftKind kind, const void* in, const void* out) const;

    FftPlanKey key_;
    void* plan_;  // fftwf_plan or fftw_plan, by key_.precision
};

/// True when `p` has the alignment the plans were made with (so FFTW's SIMD paths are valid).
/// Every buffer from AlignedAlloc qualifies; a view moved by an odd number of elements may not.
bool FftAligned(const void* p);

/// Planning time bound for MEASURE plans, in seconds (negative: unbounded). Applies to plans
/// made after the call.
void SetFftPlanTimeLimit(double seconds);
double FftPlanTimeLimit();

/// Number of FFTW plans this process has made through Get() (a test hook: a request for a
/// cached key must not plan).
long long FftPlansCreated();

/// Drops the cache's reference to every plan no object uses any more; those plans are
/// destroyed. Plans still referenced stay cached.
void FftReleaseUnusedPlans();

/// FFTW's accumulated wisdom for both precisions as one text (double-precision block first).
std::string FftExportWisdom();
/// Merges wisdom produced by FftExportWisdom() (or either precision's block alone); false if
/// the text is not FFTW wisdom. Later MEASURE plans of the recorded sizes skip measuring.
bool FftImportWisdom(const std::string& wisdom);
/// Forgets all accumulated wisdom (existing plans are unaffected).
void FftForgetWisdom();

}  // namespace Kivo::kernels
