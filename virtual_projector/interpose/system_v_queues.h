// System V message queues and semaphore sets in virtual time.
//
// Each call is the real one, tried without waiting; a thread that would have to wait does so in the scheduler,
// until the program itself changes the same queue or set. One that is shared with another process works too,
// but what that process does is seen at the next try only: at a change by this program, a signal, or the
// deadline. A run in which nothing else is left to happen ends as stuck.
// Threads that wait here are not counted by GETNCNT and GETZCNT.
//
// Results are 0 and more or negated errnos.
#ifndef VIRTUAL_PROJECTOR_INTERPOSE_SYSTEM_V_QUEUES_H
#define VIRTUAL_PROJECTOR_INTERPOSE_SYSTEM_V_QUEUES_H

#include <sys/msg.h>
#include <sys/sem.h>
#include <time.h>

#include <cerrno>
#include <cstddef>
#include <functional>
#include <string>
#include <unordered_map>

#include "virtual_projector/clock/thread_scheduler.h"
#include "virtual_projector/interpose/program_waits.h"

namespace vp {

class SystemVQueues {
public:
    SystemVQueues(ThreadScheduler& scheduler, ProgramWaits& waits) : scheduler_(scheduler), waits_(waits) {}

    long send(int queue, const void* message, std::size_t size, int flags);
    long receive(int queue, void* message, std::size_t size, long type, int flags);
    /// A timeout of null is none.
    long operate(int set, sembuf* operations, std::size_t count, const timespec* timeout);

    /// The program has changed or removed one by other means.
    void queue_changed(int queue);
    void set_changed(int set);

private:
    // What threads wait for by name.
    struct Place {};
    using Places = std::unordered_map<int, Place>;
    struct Call {
        std::function<long()> attempt;  // without waiting
        int would_wait = EAGAIN;        // the errno that says that it cannot go on yet
        std::function<bool()> waits;    // whether it then waits
        Wait reason;
        Microseconds deadline = no_deadline;
    };

    long carry_out(const Call& call);
    static Wait wait_for(Wait::Kind kind, Places& places, int id);

    ThreadScheduler& scheduler_;
    ProgramWaits& waits_;
    Places queues_;
    Places sets_;
};

}  // namespace vp

#endif
