// FFTW plan cache: planning under the one process-wide mutex, lock-free execution.
#define KIVO_SOURCE_UNIT "src/kernels/FftPlan"

#include "kernels/FftPlan.h"

#include "kernels/Allocator.h"
#include "kernels/Error.h"

#include <fftw3.h>

#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <map>
#include <mutex>
#include <new>
#include <utility>
#include <vector>

namespace Kivo::kernels {

namespace {

struct Registry {
    std::mutex mutex;
    std::map<FftPlanKey, std::shared_ptr<const FftPlan>> plans;
    double timeLimit = kDefaultFftPlanTimeLimit;
    std::atomic<long long> created{0};
};

// Never destroyed: plans may outlive static destruction order (an object at namespace scope in
// a user program), and their destructor needs the mutex.
Registry& TheRegistry() {
    static Registry* registry = new Registry;
    return *registry;
}

struct ScratchFree {
    void operator()(void* p) const { AlignedFree(p); }
};
using Scratch = std::unique_ptr<void, ScratchFree>;

Scratch AllocScratch(long long count, std::size_t elementSize) {
    Scratch p(AlignedAlloc(count, elementSize));
    if (!p) KIVO_THROW(KIVO_MEMORY_ALLOC_ERROR);
    return p;
}

unsigned EffortFlags(FftEffort effort) {
    return effort == FftEffort::Measure ? FFTW_MEASURE : FFTW_ESTIMATE;
}

// Called with the registry mutex held. Planning scratch is separate from any caller buffer
// because MEASURE overwrites its arrays; it is 64-byte aligned like every library buffer, so
// the plan is valid for any buffer with FftAligned() true.
void* MakePlan(const FftPlanKey& key, double timeLimit) {
    const int n = key.length;
    const long long half = n / 2 + 1;
    const unsigned flags = EffortFlags(key.effort);
    const int sign = key.direction == FftDirection::Forward ? FFTW_FORWARD : FFTW_BACKWARD;
    void* plan = nullptr;
    if (key.precision == FftPrecision::Single) {
        fftwf_set_timelimit(timeLimit);
        switch (key.kind) {
            case FftKind::Complex: {
                Scratch in = AllocScratch(n, sizeof(fftwf_complex));
                Scratch out = AllocScratch(n, sizeof(fftwf_complex));
                plan = fftwf_plan_dft_1d(n, static_cast<fftwf_complex*>(in.get()),
                                         static_cast<fftwf_complex*>(out.get()), sign, flags);
                break;
            }
            case FftKind::RealToComplex: {
                Scratch in = AllocScratch(n, sizeof(float));
                Scratch out = AllocScratch(half, sizeof(fftwf_complex));
                plan = fftwf_plan_dft_r2c_1d(n, static_cast<float*>(in.get()),
                                             static_cast<fftwf_complex*>(out.get()), flags);
                break;
            }
            case FftKind::ComplexToReal: {
                Scratch in = AllocScratch(half, sizeof(fftwf_complex));
                Scratch out = AllocScratch(n, sizeof(float));
                plan = fftwf_plan_dft_c2r_1d(n, static_cast<fftwf_complex*>(in.get()),
                                             static_cast<float*>(out.get()),
                                             flags | FFTW_DESTROY_INPUT);
                break;
            }
        }
    } else {
        fftw_set_timelimit(timeLimit);
        switch (key.kind) {
            case FftKind::Complex: {
                Scratch in = AllocScratch(n, sizeof(fftw_complex));
                Scratch out = AllocScratch(n, sizeof(fftw_complex));
                plan = fftw_plan_dft_1d(n, static_cast<fftw_complex*>(in.get()),
                                        static_cast<fftw_complex*>(out.get()), sign, flags);
                break;
            }
            case FftKind::RealToComplex: {
                Scratch in = AllocScratch(n, sizeof(double));
                Scratch out = AllocScratch(half, sizeof(fftw_complex));
                plan = fftw_plan_dft_r2c_1d(n, static_cast<double*>(in.get()),
                                            static_cast<fftw_complex*>(out.get()), flags);
                break;
            }
            case FftKind::ComplexToReal: {
                Scratch in = AllocScratch(half, sizeof(fftw_complex));
                Scratch out = AllocScratch(n, sizeof(double));
                plan = fftw_plan_dft_c2r_1d(n, static_cast<fftw_complex*>(in.get()),
                                            static_cast<double*>(out.get()),
                                            flags | FFTW_DESTROY_INPUT);
                break;
            }
        }
    }
    if (!plan) KIVO_THROW(KIVO_MEMORY_ALLOC_ERROR);
    return plan;
}

bool ValidKey(const FftPlanKey& key) {
    if (key.length <= 0) return false;
    if (key.kind == FftKind::RealToComplex && key.direction != FftDirection::Forward) return false;
    if (key.kind == FftKind::ComplexToReal && key.direction != FftDirection::Inverse) return false;
    return true;
}

// Splits exported wisdom into its top-level parenthesised blocks.
std::vector<std::string> WisdomBlocks(const std::string& text) {
    std::vector<std::string> blocks;
    int depth = 0;
    std::size_t start = 0;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '(') {
            if (depth == 0) start = i;
            ++depth;
        } else if (text[i] == ')') {
            if (depth == 0) return {};
            if (--depth == 0) blocks.push_back(text.substr(start, i - start + 1));
        }
    }
    if (depth != 0) return {};
    return blocks;
}

std::string TakeFftwString(char* s) {
    std::string result = s ? s : "";
    std::free(s);  // FFTW documents free() for the exported string
    return result;
}

}  // namespace

std::shared_ptr<const FftPlan> FftPlan::Get(const FftPlanKey& key) {
    if (!ValidKey(key)) KIVO_THROW(KIVO_INVALID_INPUT_PARAMETER);
    Registry& r = TheRegistry();
    std::lock_guard<std::mutex> lock(r.mutex);
    auto it = r.plans.find(key);
    if (it != r.plans.end()) return it->second;
    // The cache entry exists before FFTW is called and its plan handle is set last, so no
    // failure path destroys a live FFTW plan (whose destructor takes this mutex) under the lock.
    std::shared_ptr<FftPlan> plan;
    try {
        plan.reset(new FftPlan(key, nullptr));
        r.plans.emplace(key, plan);
    } catch (const std::bad_alloc&) {
        KIVO_THROW(KIVO_MEMORY_ALLOC_ERROR);
    }
    try {
        plan->plan_ = MakePlan(key, r.timeLimit);
    } catch (...) {
        r.plans.erase(key);
        throw;
    }
    r.created.fetch_add(1, std::memory_order_relaxed);
    return plan;
}

std::shared_ptr<const FftPlan> FftPlan::Find(const FftPlanKey& key) {
    Registry& r = TheRegistry();
    std::lock_guard<std::mutex> lock(r.mutex);
    auto it = r.plans.find(key);
    return it == r.plans.end() ? nullptr : it->second;
}

FftPlan::~FftPlan() {
    if (!plan_) return;
    // The cache never releases its last reference while holding the mutex (see
    // FftReleaseUnusedPlans), so taking it here cannot deadlock.
    std::lock_guard<std::mutex> lock(TheRegistry().mutex);
    if (key_.precision == FftPrecision::Single)
        fftwf_destroy_plan(static_cast<fftwf_plan>(plan_));
    else
        fftw_destroy_plan(static_cast<fftw_plan>(plan_));
}

void FftPlan::Check(FftPrecision precision, FftKind kind, const void* in, const void* out) const {
    if (key_.precision != precision || key_.kind != kind || in == out || !FftAligned(in) ||
        !FftAligned(out))
        KIVO_THROW(KIVO_UNEXPECTED_SOFTWARE_ERROR);
}

// FFTW's execute functions take non-const input pointers; out-of-place complex and r2c plans
// are documented to leave the input intact (FFTW_PRESERVE_INPUT is their default).
void FftPlan::Execute(const Cplx32* in, Cplx32* out) const {
    Check(FftPrecision::Single, FftKind::Complex, in, out);
    fftwf_execute_dft(static_cast<fftwf_plan>(plan_),
                      reinterpret_cast<fftwf_complex*>(const_cast<Cplx32*>(in)),
                      reinterpret_cast<fftwf_complex*>(out));
}

void FftPlan::Execute(const Cplx64* in, Cplx64* out) const {
    Check(FftPrecision::Double, FftKind::Complex, in, out);
    fftw_execute_dft(static_cast<fftw_plan>(plan_),
                     reinterpret_cast<fftw_complex*>(const_cast<Cplx64*>(in)),
                     reinterpret_cast<fftw_complex*>(out));
}

void FftPlan::Execute(const float* in, Cplx32* out) const {
    Check(FftPrecision::Single, FftKind::RealToComplex, in, out);
    fftwf_execute_dft_r2c(static_cast<fftwf_plan>(plan_), const_cast<float*>(in),
                          reinterpret_cast<fftwf_complex*>(out));
}

void FftPlan::Execute(const double* in, Cplx64* out) const {
    Check(FftPrecision::Double, FftKind::RealToComplex, in, out);
    fftw_execute_dft_r2c(static_cast<fftw_plan>(plan_), const_cast<double*>(in),
                         reinterpret_cast<fftw_complex*>(out));
}

void FftPlan::Execute(Cplx32* in, float* out) const {
    Check(FftPrecision::Single, FftKind::ComplexToReal, in, out);
    fftwf_execute_dft_c2r(static_cast<fftwf_plan>(plan_), reinterpret_cast<fftwf_complex*>(in),
                          out);
}

void FftPlan::Execute(Cplx64* in, double* out) const {
    Check(FftPrecision::Double, FftKind::ComplexToReal, in, out);
    fftw_execute_dft_c2r(static_cast<fftw_plan>(plan_), reinterpret_cast<fftw_complex*>(in), out);
}

std::string FftPlan::Describe() const {
    // fftw_sprint_plan reads planner-owned data; serialise with planning.
    std::lock_guard<std::mutex> lock(TheRegistry().mutex);
    if (key_.precision == FftPrecision::Single)
        return TakeFftwString(fftwf_sprint_plan(static_cast<fftwf_plan>(plan_)));
    return TakeFftwString(fftw_sprint_plan(static_cast<fftw_plan>(plan_)));
}

bool FftAligned(const void* p) {
    // FFTW's own test: the SIMD codelets chosen for a plan made on 64-byte aligned scratch stay
    // valid for any array with the same offset modulo FFTW's alignment (16 bytes on x86-64).
    return fftwf_alignment_of(static_cast<float*>(const_cast<void*>(p))) == 0;
}

void SetFftPlanTimeLimit(double seconds) {
    Registry& r = TheRegistry();
    std::lock_guard<std::mutex> lock(r.mutex);
    r.timeLimit = seconds < 0 ? FFTW_NO_TIMELIMIT : seconds;
}

double FftPlanTimeLimit() {
    Registry& r = TheRegistry();
    std::lock_guard<std::mutex> lock(r.mutex);
    return r.timeLimit;
}

long long FftPlansCreated() {
    return TheRegistry().created.load(std::memory_order_relaxed);
}

void FftReleaseUnusedPlans() {
    Registry& r = TheRegistry();
    std::vector<std::shared_ptr<const FftPlan>> unused;
    {
        std::lock_guard<std::mutex> lock(r.mutex);
        for (auto it = r.plans.begin(); it != r.plans.end();) {
            if (it->second.use_count() == 1) {
                unused.push_back(std::move(it->second));
                it = r.plans.erase(it);
            } else {
                ++it;
            }
        }
    }
    // `unused` is destroyed here, outside the lock: each ~FftPlan takes it.
}

std::string FftExportWisdom() {
    Registry& r = TheRegistry();
    std::lock_guard<std::mutex> lock(r.mutex);
    std::string text = TakeFftwString(fftw_export_wisdom_to_string());
    text += TakeFftwString(fftwf_export_wisdom_to_string());
    return text;
}

bool FftImportWisdom(const std::string& wisdom) {
    const std::vector<std::string> blocks = WisdomBlocks(wisdom);
    if (blocks.empty()) return false;
    Registry& r = TheRegistry();
    std::lock_guard<std::mutex> lock(r.mutex);
    bool ok = true;
    for (const std::string& block : blocks) {
        // The block header names its precision: "(fftw-3.3.10 fftwf_wisdom" or "... fftw_wisdom".
        const bool single = block.find(" fftwf_wisdom") != std::string::npos;
        const int imported = single ? fftwf_import_wisdom_from_string(block.c_str())
                                    : fftw_import_wisdom_from_string(block.c_str());
        ok = ok && imported != 0;
    }
    return ok;
}

void FftForgetWisdom() {
    Registry& r = TheRegistry();
    std::lock_guard<std::mutex> lock(r.mutex);
    fftw_forget_wisdom();
    fftwf_forget_wisdom();
}

}  // namespace Kivo::kernels
