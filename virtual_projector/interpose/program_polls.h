// poll and select in virtual time.
//
// What the program waits for is the PC's (standard input, sockets), so it is looked at without waiting, and
// again whenever a little virtual time has passed, until the time is up. Without a limit, and on the PC's own
// time, the C library is to answer: virtual time then stands still until the PC's input comes, as it does in a
// plain read.
#ifndef VIRTUAL_PROJECTOR_INTERPOSE_PROGRAM_POLLS_H
#define VIRTUAL_PROJECTOR_INTERPOSE_PROGRAM_POLLS_H

#include <poll.h>
#include <sys/select.h>

#include <optional>

#include "virtual_projector/clock/clock.h"
#include "virtual_projector/interpose/program_time.h"

namespace vp {

class ProgramPolls {
public:
    ProgramPolls(Clock& clock, ProgramTime& time) : clock_(clock), time_(time) {}

    // Results as those of the calls of the same names, a failure as a negated errno; nothing: not ours.
    std::optional<long> poll(pollfd* descriptors, nfds_t count, int milliseconds);
    std::optional<long> select(int count, fd_set* readable, fd_set* writable, fd_set* exceptional,
                               timeval* length);

private:
    template <typename Look>
    long look_until(Microseconds deadline, Look look);

    Clock& clock_;
    ProgramTime& time_;
};

}  // namespace vp

#endif
