// Access to the globals that the library's threads and the host share.
//
// The host sees plain fixed-width variables, because it reads and writes them by name. Inside the library
// each access goes through load() and store(): the same instruction on every target, but without the data
// race that a plain access would be. Relaxed order is enough for a variable that says all there is to say: a
// change may be seen one polling period late.
//
// A few carry other data with them: whoever sees the flag relies on what was written before it. Those are set
// with store_release() and looked at with load_acquire(), each of which costs the board one `sync`:
//
//   flag                      what comes with it                                set by         seen by
//   g_run_once_keystone       the requested angle                               the host       the worker
//   g_run_once_AKAF           the switches, the temperature adjustment and      the host, the  the worker
//                             the angles at rest, as the request found them     sensor threads
//   g_osd_state_autofocus     at its return to 0, what the run has found        the worker     the host
//   project_tof_dist_changed  the time of the movement and the count of steady  the sensor     auto-keystone,
//                             readings; at its return to 0, the keystone shown  threads        both ways
//   first_blocks_skipped      the first angles that mean something              a sensor       the host
//                                                                               thread
//   is_system_on              the rest of the configuration record              the host       its readers
//   pointers to the host's    the table                                         the host       every thread
//   callbacks
//
// What is guarded by a mutex, or written before the threads start, needs none of this.
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

/// load() of a flag that carries data: what was written before the store_release() that is seen here, is seen
/// after this.
template <typename T>
[[gnu::always_inline]] inline T load_acquire(const T& variable) {
    static_assert(shareable<T>, "only values of at most 32 bits, and pointers, are read without tearing");
    T value;
    __atomic_load(&variable, &value, __ATOMIC_ACQUIRE);
    return value;
}

/// store() of a flag that carries data: what was written before this is seen by whoever sees the value through
/// load_acquire().
template <typename T>
[[gnu::always_inline]] inline void store_release(T& variable, std::common_type_t<T> value) {
    static_assert(shareable<T>, "only values of at most 32 bits, and pointers, are written without tearing");
    __atomic_store(&variable, &value, __ATOMIC_RELEASE);
}

/// Copies a record of 32-bit words that is shared on either side. Each word is whole; the record may be half
/// of one state and half of the next.
inline void copy_words(std::uint32_t* to, const std::uint32_t* from, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i) store(to[i], load(from[i]));
}

}  // namespace ovra

#endif
