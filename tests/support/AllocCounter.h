// A counting replacement of the global operator new, for "allocates nothing per call" tests.
// Replacement functions must be defined once per program: include this header from exactly
// one source file of a test executable.
#pragma once

#include <atomic>
#include <cstdlib>
#include <new>

namespace ombrel_test {

inline std::atomic<long long> gNewCount{0};

/// Number of global operator new calls (all forms) in this process so far.
inline long long NewCount() {
    return gNewCount.load(std::memory_order_relaxed);
}

}  // namespace ombrel_test

// The replacements below pair malloc with free themselves; GCC cannot see that.
#pragma GCC diagnostic ignored "-Wmismatched-new-delete"

void* operator new(std::size_t size) {
    ombrel_test::gNewCount.fetch_add(1, std::memory_order_relaxed);
    if (void* p = std::malloc(size ? size : 1)) return p;
    throw std::bad_alloc();
}
void* operator new[](std::size_t size) {
    return ::operator new(size);
}
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    try {
        return ::operator new(size);
    } catch (...) {
        return nullptr;
    }
}
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept {
    return ::operator new(size, std::nothrow);
}
void operator delete(void* p) noexcept {
    std::free(p);
}
void operator delete[](void* p) noexcept {
    std::free(p);
}
void operator delete(void* p, std::size_t) noexcept {
    std::free(p);
}
void operator delete[](void* p, std::size_t) noexcept {
    std::free(p);
}
