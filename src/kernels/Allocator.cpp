#include "kernels/Allocator.h"

#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <limits>

namespace Kivo::kernels {

namespace {
std::atomic<long long> gAllocations{0};
std::atomic<long long> gFrees{0};
std::atomic<long long> gLastBytes{0};
// -1: no failure injected; otherwise the number of allocations still allowed to succeed.
std::atomic<int> gSuccessesLeft{-1};

bool InjectedFailure() {
    int left = gSuccessesLeft.load(std::memory_order_relaxed);
    while (left >= 0) {
        if (left == 0) return true;
        if (gSuccessesLeft.compare_exchange_weak(left, left - 1)) return false;
    }
    return false;
}
}  // namespace

void* AlignedAlloc(long long count, std::size_t elementSize) {
    if (count <= 0 || elementSize == 0) return nullptr;
    if (static_cast<unsigned long long>(count) >
        (std::numeric_limits<std::size_t>::max() - kAlignment) / elementSize)
        return nullptr;
    if (InjectedFailure()) return nullptr;
    std::size_t bytes = static_cast<std::size_t>(count) * elementSize;
    // aligned_alloc wants a multiple of the alignment.
    const std::size_t padded = (bytes + kAlignment - 1) / kAlignment * kAlignment;
    void* p = std::aligned_alloc(kAlignment, padded);
    if (p) {
        gAllocations.fetch_add(1, std::memory_order_relaxed);
        gLastBytes.store(static_cast<long long>(bytes), std::memory_order_relaxed);
    }
    return p;
}

void AlignedFree(void* p) {
    if (!p) return;
    gFrees.fetch_add(1, std::memory_order_relaxed);
    std::free(p);
}

long long AllocationCount() {
    return gAllocations.load(std::memory_order_relaxed);
}
long long FreeCount() {
    return gFrees.load(std::memory_order_relaxed);
}
long long LastAllocationBytes() {
    return gLastBytes.load(std::memory_order_relaxed);
}

ScopedAllocFailure::ScopedAllocFailure(int successes) {
    gSuccessesLeft.store(successes);
}
ScopedAllocFailure::~ScopedAllocFailure() {
    gSuccessesLeft.store(-1);
}

}  // namespace Kivo::kernels
