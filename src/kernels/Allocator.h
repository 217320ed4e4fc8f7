// The aligned allocator behind the KivoAlloc functions, with hooks the tests use to make
// allocation fail on demand and to count allocations on per-block paths.
#pragma once

#include <cstddef>

namespace Kivo::kernels {

inline constexpr std::size_t kAlignment = 64;

/// 64-byte aligned, uninitialised storage for `count` elements of `elementSize` bytes; null for
/// count <= 0, on byte-size overflow, on exhaustion, or when a test made it fail.
void* AlignedAlloc(long long count, std::size_t elementSize);
void AlignedFree(void* p);

/// Number of successful AlignedAlloc calls in this process (all threads).
long long AllocationCount();
/// Number of AlignedFree calls with a non-null pointer in this process (all threads).
long long FreeCount();
/// Byte size asked for by the most recent successful AlignedAlloc (before alignment padding).
long long LastAllocationBytes();

/// Test hook: while alive, the allocator lets `successes` more allocations through and then
/// fails every one until destroyed. Not thread-safe with respect to other failing scopes.
class ScopedAllocFailure {
  public:
    explicit ScopedAllocFailure(int successes = 0);
    ~ScopedAllocFailure();
    ScopedAllocFailure(const ScopedAllocFailure&) = delete;
    ScopedAllocFailure& operator=(const ScopedAllocFailure&) = delete;
};

}  // namespace Kivo::kernels
