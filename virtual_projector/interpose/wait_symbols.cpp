// Entry points of the C library: waiting for descriptors. Symbols only.
#undef _FORTIFY_SOURCE
#include <poll.h>
#include <sys/epoll.h>
#include <sys/select.h>

#include <cstdlib>
#include <optional>

#include "virtual_projector/interpose/ask_machine.h"
#include "virtual_projector/interpose/real_calls.h"

namespace real = vp::real;
using vp::answer;
using vp::Machine;
using vp::made;
using vp::Microseconds;

namespace {

// What poll and its kin wait for at most, in microseconds.
Microseconds length_of(int milliseconds) {
    return milliseconds < 0 ? vp::no_deadline : milliseconds * vp::microseconds_per_millisecond;
}

// Less than no_deadline: an invalid time.
Microseconds length_of(const timespec* length) {
    if (length == nullptr) return vp::no_deadline;
    if (length->tv_sec < 0 || length->tv_nsec < 0 || length->tv_nsec >= 1'000'000'000)
        return vp::no_deadline - 1;
    return vp::ProgramTime::microseconds_of(*length);
}

Microseconds length_of(const timeval* length) {
    if (length == nullptr) return vp::no_deadline;
    if (length->tv_sec < 0 || length->tv_usec < 0) return vp::no_deadline - 1;
    return length->tv_sec * vp::microseconds_per_second + length->tv_usec;
}

template <typename Question>
std::optional<long> if_valid(Microseconds length, Question question) {
    if (length < vp::no_deadline) return -EINVAL;
    return question();
}

}  // namespace

extern "C" {

// Asked for by name when a program is linked: the other names may be found elsewhere first.
extern const char vp_interposed_wait_calls[];
const char vp_interposed_wait_calls[] = "interposed calls of the virtual projector: wait";

int poll(pollfd* descriptors, nfds_t count, int milliseconds) {
    return answer<int>(
        [&](Machine& m) { return m.polls().poll(descriptors, count, length_of(milliseconds), nullptr); },
        [&] { return real::poll(descriptors, count, milliseconds); });
}

int ppoll(pollfd* descriptors, nfds_t count, const timespec* length, const sigset_t* mask) {
    return answer<int>(
        [&](Machine& m) {
            return if_valid(length_of(length),
                            [&] { return m.polls().poll(descriptors, count, length_of(length), mask); });
        },
        [&] { return real::ppoll(descriptors, count, length, mask); });
}

// What programs built with buffer checks call.
int __poll_chk(pollfd* descriptors, nfds_t count, int milliseconds, size_t room) {
    if (count > room / sizeof(pollfd)) abort();
    return poll(descriptors, count, milliseconds);
}

int __ppoll_chk(pollfd* descriptors, nfds_t count, const timespec* length, const sigset_t* mask, size_t room) {
    if (count > room / sizeof(pollfd)) abort();
    return ppoll(descriptors, count, length, mask);
}

int select(int count, fd_set* readable, fd_set* writable, fd_set* exceptional, timeval* length) {
    return answer<int>(
        [&](Machine& m) {
            return if_valid(length_of(length), [&] {
                const Microseconds start = m.waits().now();
                const Microseconds whole = length_of(length);
                const auto found = m.polls().select(count, readable, writable, exceptional, whole, nullptr);
                if (!found || length == nullptr) return found;
                const Microseconds left = whole - std::min(whole, m.waits().now() - start);
                length->tv_sec = static_cast<time_t>(left / vp::microseconds_per_second);
                length->tv_usec = static_cast<suseconds_t>(left % vp::microseconds_per_second);
                return found;
            });
        },
        [&] { return real::select(count, readable, writable, exceptional, length); });
}

int pselect(int count, fd_set* readable, fd_set* writable, fd_set* exceptional, const timespec* length,
            const sigset_t* mask) {
    return answer<int>(
        [&](Machine& m) {
            return if_valid(length_of(length), [&] {
                return m.polls().select(count, readable, writable, exceptional, length_of(length), mask);
            });
        },
        [&] { return real::pselect(count, readable, writable, exceptional, length, mask); });
}

int epoll_create(int size) noexcept { return made(real::epoll_create(size)); }
int epoll_create1(int flags) noexcept { return made(real::epoll_create1(flags)); }

int epoll_ctl(int epoll, int operation, int descriptor, epoll_event* event) noexcept {
    const int result = real::epoll_ctl(epoll, operation, descriptor, event);
    if (result != 0) return result;
    (void)vp::ask_in_virtual_time([&](Machine& m) {
        if (operation == EPOLL_CTL_ADD) m.kinds().add_member(epoll, descriptor);
        if (operation == EPOLL_CTL_DEL) m.kinds().remove_member(epoll, descriptor);
        return std::optional<long>();
    });
    return result;
}

int epoll_wait(int epoll, epoll_event* events, int capacity, int milliseconds) {
    return epoll_pwait(epoll, events, capacity, milliseconds, nullptr);
}

int epoll_pwait(int epoll, epoll_event* events, int capacity, int milliseconds, const sigset_t* mask) {
    return answer<int>(
        [&](Machine& m) {
            return m.polls().wait_for_events(epoll, events, capacity, length_of(milliseconds), mask);
        },
        [&] { return real::epoll_pwait(epoll, events, capacity, milliseconds, mask); });
}

int epoll_pwait2(int epoll, epoll_event* events, int capacity, const timespec* length, const sigset_t* mask) {
    return answer<int>(
        [&](Machine& m) {
            return if_valid(length_of(length), [&] {
                return m.polls().wait_for_events(epoll, events, capacity, length_of(length), mask);
            });
        },
        [&] { return real::epoll_pwait2(epoll, events, capacity, length, mask); });
}

}  // extern "C"
