// Memory that is refused: malloc() of one exact size fails while a RefusedMemory lives. To be included by one
// file of a test program only, since it stands in for the C library's malloc in the whole program. The
// sanitizers bring a malloc of their own; with them memory cannot be refused and such tests are skipped.
#ifndef TESTS_SUPPORT_REFUSED_MEMORY_H
#define TESTS_SUPPORT_REFUSED_MEMORY_H

#include <atomic>
#include <cstddef>

#if defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer) || __has_feature(memory_sanitizer)
#define TESTS_TOF_SANITIZED
#endif
#endif
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define TESTS_TOF_SANITIZED
#endif

namespace testkit {

inline std::atomic<std::size_t> refused_size{0};

class RefusedMemory {
public:
    explicit RefusedMemory(std::size_t size) { refused_size = size; }
    ~RefusedMemory() { refused_size = 0; }
    RefusedMemory(const RefusedMemory&) = delete;
    RefusedMemory& operator=(const RefusedMemory&) = delete;

#ifdef TESTS_TOF_SANITIZED
    static constexpr bool possible = false;
#else
    static constexpr bool possible = true;
#endif
};

}  // namespace testkit

#ifndef TESTS_TOF_SANITIZED
extern "C" void* __libc_malloc(std::size_t size);

extern "C" void* malloc(std::size_t size) {
    if (size != 0 && size == testkit::refused_size) return nullptr;
    return __libc_malloc(size);
}
#endif

#endif
