#include "virtual_projector/interpose/program_polls.h"

#include <cerrno>

#include "virtual_projector/interpose/real_calls.h"

namespace vp {
namespace {

fd_set copy_of(const fd_set* set) {
    fd_set copy;
    FD_ZERO(&copy);
    if (set != nullptr) copy = *set;
    return copy;
}

// The sets of select as poll has them.
std::vector<pollfd> polled(int count, const fd_set& readable, const fd_set& writable,
                           const fd_set& exceptional) {
    std::vector<pollfd> descriptors;
    for (int descriptor = 0; descriptor < count; ++descriptor) {
        short events = 0;
        if (FD_ISSET(descriptor, &readable)) events = static_cast<short>(events | POLLIN);
        if (FD_ISSET(descriptor, &writable)) events = static_cast<short>(events | POLLOUT);
        if (FD_ISSET(descriptor, &exceptional)) events = static_cast<short>(events | POLLPRI);
        if (events != 0) descriptors.push_back({descriptor, events, 0});
    }
    return descriptors;
}

}  // namespace

// A call that waits for nothing but the time is a sleep.
std::optional<long> ProgramPolls::sleep(Microseconds length, const sigset_t* mask) {
    const ProgramSignals::Mask masked(signals_, mask);
    if (signals_.raise_own()) return -EINTR;
    if (length != no_deadline) return time_.sleep(length);
    while (waits_.wait({Wait::Kind::signal, nullptr, {}}, no_deadline) != WaitEnd::interrupted) {
    }
    return -EINTR;
}

template <typename Look>
long ProgramPolls::look_until(const std::vector<pollfd>& descriptors, Microseconds length, const sigset_t* mask,
                              Look look) {
    clock_.scheduler().touch();
    const ProgramSignals::Mask masked(signals_, mask);
    signals_.hand_out_noted();
    if (signals_.raise_own()) return -EINTR;
    const Microseconds deadline = length == no_deadline ? no_deadline : clock_.now() + length;
    if (length != 0 && descriptors_.may_lead_outside(descriptors) &&
        descriptors_.wait(descriptors, deadline) == WaitEnd::interrupted)
        return -EINTR;
    for (;;) {
        descriptors_.refresh();
        const long found = look();
        if (found != 0 || (deadline != no_deadline && clock_.now() >= deadline)) return found;
        if (descriptors_.wait(descriptors, deadline) == WaitEnd::interrupted) return -EINTR;
    }
}

std::optional<long> ProgramPolls::poll(pollfd* descriptors, nfds_t count, Microseconds length,
                                       const sigset_t* mask) {
    if (!clock_.is_virtual()) return std::nullopt;
    if (count == 0) return sleep(length, mask);
    const std::vector<pollfd> waited(descriptors, descriptors + count);
    return look_until(waited, length, mask, [&]() -> long {
        const int found = real::poll(descriptors, count, 0);
        return found < 0 ? -errno : found;
    });
}

std::optional<long> ProgramPolls::select(int count, fd_set* readable, fd_set* writable, fd_set* exceptional,
                                         Microseconds length, const sigset_t* mask) {
    if (!clock_.is_virtual()) return std::nullopt;
    if (count < 0 || count > FD_SETSIZE || length < no_deadline) return -EINVAL;
    if (count == 0) return sleep(length, mask);
    // Each look overwrites the sets with what it found.
    const fd_set wanted[] = {copy_of(readable), copy_of(writable), copy_of(exceptional)};
    return look_until(polled(count, wanted[0], wanted[1], wanted[2]), length, mask, [&]() -> long {
        if (readable != nullptr) *readable = wanted[0];
        if (writable != nullptr) *writable = wanted[1];
        if (exceptional != nullptr) *exceptional = wanted[2];
        timeval at_once{};
        const int found = real::select(count, readable, writable, exceptional, &at_once);
        return found < 0 ? -errno : found;
    });
}

std::optional<long> ProgramPolls::wait_for_events(int epoll, epoll_event* events, int capacity,
                                                  Microseconds length, const sigset_t* mask) {
    if (!clock_.is_virtual()) return std::nullopt;
    return look_until({{epoll, POLLIN, 0}}, length, mask, [&]() -> long {
        const int found = real::epoll_wait(epoll, events, capacity, 0);
        return found < 0 ? -errno : found;
    });
}

}  // namespace vp
