// poll, select and epoll in virtual time: the kernel is asked without waiting, and the thread waits here.
// Results as those of the calls of the same names, a failure as a negated errno; nothing: the C library is to
// answer. A mask of signals, where there is one, holds for the length of the call.
#ifndef VIRTUAL_PROJECTOR_INTERPOSE_PROGRAM_POLLS_H
#define VIRTUAL_PROJECTOR_INTERPOSE_PROGRAM_POLLS_H

#include <poll.h>
#include <signal.h>
#include <sys/epoll.h>
#include <sys/select.h>

#include <optional>
#include <vector>

#include "virtual_projector/clock/clock.h"
#include "virtual_projector/interpose/descriptor_waits.h"
#include "virtual_projector/interpose/program_time.h"

namespace vp {

class ProgramPolls {
public:
    ProgramPolls(Clock& clock, ProgramTime& time, ProgramWaits& waits, ProgramSignals& signals,
                 DescriptorWaits& descriptors)
        : clock_(clock), time_(time), waits_(waits), signals_(signals), descriptors_(descriptors) {}

    // `length` in microseconds; no_deadline: for ever.
    std::optional<long> poll(pollfd* descriptors, nfds_t count, Microseconds length, const sigset_t* mask);
    std::optional<long> select(int count, fd_set* readable, fd_set* writable, fd_set* exceptional,
                               Microseconds length, const sigset_t* mask);
    std::optional<long> wait_for_events(int epoll, epoll_event* events, int capacity, Microseconds length,
                                        const sigset_t* mask);

private:
    template <typename Look>
    long look_until(const std::vector<pollfd>& descriptors, Microseconds length, const sigset_t* mask,
                    Look look);
    std::optional<long> sleep(Microseconds length, const sigset_t* mask);

    Clock& clock_;
    ProgramTime& time_;
    ProgramWaits& waits_;
    ProgramSignals& signals_;
    DescriptorWaits& descriptors_;
};

}  // namespace vp

#endif
