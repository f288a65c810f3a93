#ifndef TKGEN_BENCH_ALLOCATIONS_H
#define TKGEN_BENCH_ALLOCATIONS_H

#include <atomic>
#include <cstddef>
#include <cstdlib>
#include <malloc.h>
#include <new>

/// What the program has taken from the heap with new: how often so far, and how many bytes it holds
/// now, as the C library rounds them. One source of a program includes this header, which puts the
/// counting operators in the place of the language's own.
namespace allocations {

inline std::atomic<long> count{0};
inline std::atomic<long> bytes{0};

} // namespace allocations

// Not inlined: the compiler would see memory of malloc given to delete, and take it for a slip.

[[gnu::noinline]] void *operator new(std::size_t size) {
    void *const memory = std::malloc(size > 0 ? size : 1);
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    allocations::count.fetch_add(1, std::memory_order_relaxed);
    allocations::bytes.fetch_add(static_cast<long>(malloc_usable_size(memory)),
                                 std::memory_order_relaxed);
    return memory;
}

[[gnu::noinline]] void operator delete(void *memory) noexcept {
    allocations::bytes.fetch_sub(static_cast<long>(malloc_usable_size(memory)),
                                 std::memory_order_relaxed);
    std::free(memory);
}

[[gnu::noinline]] void operator delete(void *memory, std::size_t) noexcept {
    operator delete(memory);
}

#endif
