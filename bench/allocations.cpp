#include "bench/allocations.h"

#include <atomic>
#include <cerrno>
#include <cstddef>

extern "C" {
// The C library's own, which the ones below call.
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* memory, std::size_t size);
void* __libc_memalign(std::size_t alignment, std::size_t size);
}

namespace {

std::atomic<long> count{0};

// Without a locked instruction, which would take a large part of an allocation's own time: what is measured
// allocates on one thread.
void note() { count.store(count.load(std::memory_order_relaxed) + 1, std::memory_order_relaxed); }

}  // namespace

// The standard library's operator new, and OpenCV's own allocator, end up here.
extern "C" {

void* malloc(std::size_t size) {
    note();
    return __libc_malloc(size);
}

void* calloc(std::size_t members, std::size_t size) {
    note();
    return __libc_calloc(members, size);
}

void* realloc(void* memory, std::size_t size) {
    note();
    return __libc_realloc(memory, size);
}

void* aligned_alloc(std::size_t alignment, std::size_t size) {
    note();
    return __libc_memalign(alignment, size);
}

int posix_memalign(void** memory, std::size_t alignment, std::size_t size) {
    note();
    *memory = __libc_memalign(alignment, size);
    return *memory == nullptr ? ENOMEM : 0;
}

}  // extern "C"

namespace bench {

long allocations() { return count.load(std::memory_order_relaxed); }

}  // namespace bench
