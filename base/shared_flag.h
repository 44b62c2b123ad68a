// Access to the globals that the library's threads and the host share.
//
// The host sees plain fixed-width variables, because it reads and writes them by name. Inside the library
// each access goes through load() and store(): the same instruction on every target, but without the data
// race that a plain access would be. Relaxed order is enough: a flag carries no other data with it, and a
// change may be seen one polling period late.
#ifndef OVRA_BASE_SHARED_FLAG_H
#define OVRA_BASE_SHARED_FLAG_H

#include <cstddef>
#include <cstdint>
#include <type_traits>

namespace ovra {

template <typename T>
inline constexpr bool shareable = std::is_trivially_copyable_v<T> && (sizeof(T) <= 4 || std::is_pointer_v<T>);

template <typename T>
[[gnu::always_inline]] inline T load(const T& variable) {
    static_assert(shareable<T>, "only values of at most 32 bits, and pointers, are read without tearing");
    T value;
    __atomic_load(&variable, &value, __ATOMIC_RELAXED);
    return value;
}

template <typename T>
[[gnu::always_inline]] inline void store(T& variable, std::common_type_t<T> value) {
    static_assert(shareable<T>, "only values of at most 32 bits, and pointers, are written without tearing");
    __atomic_store(&variable, &value, __ATOMIC_RELAXED);
}

/// Copies a record of 32-bit words that is shared on either side. Each word is whole; the record may be half
/// of one state and half of the next.
inline void copy_words(std::uint32_t* to, const std::uint32_t* from, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i) store(to[i], load(from[i]));
}

}  // namespace ovra

#endif
