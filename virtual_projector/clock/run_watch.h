// Looks at a run in virtual time from a thread of its own, in real time: a program that makes no call, or that
// waits in the kernel for what is not simulated, must not stop the run without a word.
//
//     a thread with the turn that makes no call for 2 s    loses its turn: the others go on
//     nothing at all that happens for the real limit       the run is over
//     nothing but servants that run beside a thread that   the run is over where the turn passes next
//     has lost its turn, for the real limit
//
// Only time counts in which this thread could look: a debugger that holds the process holds the watch, too.
#ifndef VIRTUAL_PROJECTOR_CLOCK_RUN_WATCH_H
#define VIRTUAL_PROJECTOR_CLOCK_RUN_WATCH_H

#include <pthread.h>

#include <atomic>
#include <cstdint>
#include <functional>

#include "virtual_projector/clock/turn_scheduler.h"

namespace vp {

class RunWatch {
public:
    /// A thread that makes no call for so many real seconds loses its turn.
    static constexpr int longest_without_call_s = 2;

    struct Handlers {
        /// A thread has lost its turn.
        std::function<void(const ScheduledThread& thread)> turn_lost;
        /// Nothing has happened for the real limit. Not called while `is_excused` is true.
        std::function<void()> limit_reached;
        std::function<bool()> is_excused;
    };

    /// `limit_s` in real seconds; 0: no limit.
    RunWatch(TurnScheduler& scheduler, double limit_s, Handlers handlers);
    ~RunWatch();
    RunWatch(const RunWatch&) = delete;
    RunWatch& operator=(const RunWatch&) = delete;

    /// Stops the thread that has the turn for good, after it has called `at_stop`: the run is over. False: it
    /// could not be stopped in time, or there is none.
    static bool stop(const ScheduledThread* thread, void (*at_stop)());

private:
    static void* run(void* watch);
    void watch();
    void look();
    void look_at(const ScheduledThread& thread);

    TurnScheduler& scheduler_;
    double limit_s_;
    Handlers handlers_;
    std::atomic<bool> ending_{false};
    pthread_t thread_{};
    bool has_thread_ = false;

    std::size_t progress_ = 0;
    std::size_t work_ = 0;
    int idle_looks_ = 0;
    int blocked_looks_ = 0;
    double processor_time_s_ = 0;  // of the thread with the turn, when it last made a call
    const ScheduledThread* watched_ = nullptr;
};

}  // namespace vp

#endif
