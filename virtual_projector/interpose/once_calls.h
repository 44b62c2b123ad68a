// pthread_once in virtual time: a thread that comes while another is in the routine waits in the scheduler.
//
// The control keeps the C library's own values, so that calls with and without a machine may follow each other.
#ifndef VIRTUAL_PROJECTOR_INTERPOSE_ONCE_CALLS_H
#define VIRTUAL_PROJECTOR_INTERPOSE_ONCE_CALLS_H

#include <pthread.h>

#include "virtual_projector/clock/thread_scheduler.h"
#include "virtual_projector/interpose/program_waits.h"

namespace vp {

class OnceCalls {
public:
    OnceCalls(ThreadScheduler& scheduler, ProgramWaits& waits) : scheduler_(scheduler), waits_(waits) {}

    static bool is_done(const pthread_once_t& control) {
        return (__atomic_load_n(&control, __ATOMIC_ACQUIRE) & done) != 0;
    }

    /// True when the caller is the one to call the routine, and end() after it; else it has been called.
    bool begin(pthread_once_t* control);
    /// Not successful: the next one calls the routine again.
    void end(pthread_once_t* control, bool successful);
    static void end_without_machine(pthread_once_t* control, bool successful);

private:
    static constexpr pthread_once_t in_progress = 1;
    static constexpr pthread_once_t done = 2;

    ThreadScheduler& scheduler_;
    ProgramWaits& waits_;
};

}  // namespace vp

#endif
