// The times that timed waits are called with.
#ifndef VIRTUAL_PROJECTOR_INTERPOSE_TIMEOUTS_H
#define VIRTUAL_PROJECTOR_INTERPOSE_TIMEOUTS_H

#include <time.h>

#include <algorithm>
#include <cstdint>
#include <limits>

#include "virtual_projector/clock/wait.h"

namespace vp {

/// As the C library's timed locks ask it of their times; a time before 1970 has passed.
inline bool has_valid_nanoseconds(const timespec& time) {
    constexpr long nanoseconds_per_second = 1'000'000'000;
    return time.tv_nsec >= 0 && time.tv_nsec < nanoseconds_per_second;
}

/// As the kernel asks it of a length.
inline bool is_valid_length(const timespec& length) {
    return length.tv_sec >= 0 && has_valid_nanoseconds(length);
}

/// Nobody waits longer; programs give the greatest number there is for "for ever".
constexpr time_t max_seconds = static_cast<time_t>(
    std::min<std::int64_t>(std::numeric_limits<time_t>::max(), std::int64_t{100'000'000'000}));

inline timespec bounded(const timespec& time) {
    return {time.tv_sec < max_seconds ? time.tv_sec : max_seconds, time.tv_nsec};
}

/// A wait lasts at least as long as was asked for: fractions of a microsecond count as whole ones.
inline Microseconds length_of(const timespec& length) {
    constexpr long nanoseconds_per_microsecond = 1'000;
    return static_cast<Microseconds>(bounded(length).tv_sec) * microseconds_per_second +
           (length.tv_nsec + nanoseconds_per_microsecond - 1) / nanoseconds_per_microsecond;
}

/// Locks can be waited for on these two clocks only.
inline bool has_timed_locks(clockid_t clock) { return clock == CLOCK_REALTIME || clock == CLOCK_MONOTONIC; }

}  // namespace vp

#endif
