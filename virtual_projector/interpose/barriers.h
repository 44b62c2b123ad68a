// Barriers in virtual time: the scheduler's alone. Of the real one only the count is used.
//
// Results as those of the pthread functions of the same names.
#ifndef VIRTUAL_PROJECTOR_INTERPOSE_BARRIERS_H
#define VIRTUAL_PROJECTOR_INTERPOSE_BARRIERS_H

#include <pthread.h>

#include <memory>
#include <unordered_map>

#include "virtual_projector/clock/thread_scheduler.h"
#include "virtual_projector/interpose/program_waits.h"

namespace vp {

class Barriers {
public:
    Barriers(ThreadScheduler& scheduler, ProgramWaits& waits) : scheduler_(scheduler), waits_(waits) {}

    int wait(pthread_barrier_t* barrier);
    int destroy(pthread_barrier_t* barrier);

private:
    // Kept by those who wait in it: the barrier itself may be destroyed, or in its next round, as soon as the
    // last one has come.
    struct Round {
        unsigned arrived = 0;
        bool is_over = false;
    };

    ThreadScheduler& scheduler_;
    ProgramWaits& waits_;
    std::unordered_map<const pthread_barrier_t*, std::shared_ptr<Round>> rounds_;  // those that are not over
};

}  // namespace vp

#endif
