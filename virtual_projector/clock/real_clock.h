// The PC's own time. Threads run as the kernel likes; the board and its world are touched under one lock.
#ifndef VIRTUAL_PROJECTOR_CLOCK_REAL_CLOCK_H
#define VIRTUAL_PROJECTOR_CLOCK_REAL_CLOCK_H

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>

#include "virtual_projector/clock/clock.h"
#include "virtual_projector/clock/kernel_threads.h"
#include "virtual_projector/clock/timer_queue.h"

namespace vp {

class RealClock final : public Clock {
public:
    RealClock();
    ~RealClock() override;
    RealClock(const RealClock&) = delete;
    RealClock& operator=(const RealClock&) = delete;

    Microseconds now() const override;
    bool is_virtual() const override { return false; }
    WaitEnd sleep_until(Microseconds time) override;

    /// The caller holds the world; it is let go for as long as the wait lasts.
    WaitEnd wait_for_device(const std::string& what, Microseconds deadline) override;
    void event_happened() override;

    /// Callbacks run with the world held, by whoever holds it first at their time: at the latest by a thread
    /// of the clock's own, which starts with the first.
    void at(Microseconds time, Callback callback) override;
    void on_advance(AdvanceHandler handler) override;

    /// The world is brought up to date as soon as it is held.
    void lock_world() override;
    void unlock_world() override;
    ThreadScheduler& scheduler() override { return threads_; }

private:
    std::chrono::steady_clock::time_point time_point(Microseconds time) const;
    void bring_world_up_to_date();
    void run_callbacks();
    void run_due_callbacks();

    const std::chrono::steady_clock::time_point start_;
    KernelThreads threads_;
    std::recursive_mutex world_;
    std::condition_variable_any changed_;    // something happened on the board
    std::condition_variable_any scheduled_;  // a callback was added, or the end has come
    TimerQueue timers_;
    AdvanceHandler advance_handler_;
    Microseconds world_time_ = 0;
    bool updating_world_ = false;
    bool ending_ = false;
    std::thread callback_thread_;
};

}  // namespace vp

#endif
