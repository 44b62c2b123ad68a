#include "virtual_projector/interpose/program_polls.h"

#include <algorithm>
#include <cerrno>

#include "virtual_projector/interpose/real_calls.h"

namespace vp {
namespace {

constexpr Microseconds look_interval_us = 10'000;

fd_set copy_of(const fd_set* set) {
    fd_set copy;
    FD_ZERO(&copy);
    if (set != nullptr) copy = *set;
    return copy;
}

}  // namespace

// A call that waits for nothing but the time is a sleep.
template <typename Look>
long ProgramPolls::look_until(Microseconds deadline, Look look) {
    for (;;) {
        const long found = look();
        if (found != 0 || clock_.now() >= deadline) return found;
        clock_.sleep_until(std::min(deadline, clock_.now() + look_interval_us));
    }
}

std::optional<long> ProgramPolls::poll(pollfd* descriptors, nfds_t count, int milliseconds) {
    if (!clock_.is_virtual() || milliseconds < 0) return std::nullopt;
    const Microseconds length = milliseconds * microseconds_per_millisecond;
    if (count == 0) return time_.sleep(length);
    return look_until(clock_.now() + length, [&]() -> long {
        const int found = real::poll(descriptors, count, 0);
        return found < 0 ? -errno : found;
    });
}

std::optional<long> ProgramPolls::select(int count, fd_set* readable, fd_set* writable, fd_set* exceptional,
                                         timeval* length) {
    if (!clock_.is_virtual() || length == nullptr) return std::nullopt;
    if (length->tv_sec < 0 || length->tv_usec < 0) return -EINVAL;
    const Microseconds microseconds = length->tv_sec * microseconds_per_second + length->tv_usec;
    if (count == 0) return time_.sleep(microseconds);
    // Each look overwrites the sets with what it found.
    const fd_set wanted[] = {copy_of(readable), copy_of(writable), copy_of(exceptional)};
    return look_until(clock_.now() + microseconds, [&]() -> long {
        if (readable != nullptr) *readable = wanted[0];
        if (writable != nullptr) *writable = wanted[1];
        if (exceptional != nullptr) *exceptional = wanted[2];
        timeval at_once{};
        const int found = real::select(count, readable, writable, exceptional, &at_once);
        return found < 0 ? -errno : found;
    });
}

}  // namespace vp
