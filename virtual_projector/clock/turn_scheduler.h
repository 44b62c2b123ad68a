// A deterministic scheduler over real threads.
//
// Exactly one of the known threads runs at a time. It gives its turn away only where it would wait, or where
// the policy takes it:
//
//            prepare_thread               chosen by the policy
//     (new) ----------------> ready ---------------------------------------------> running ---> finished
//                               ^                                                     |  finish_current
//                               |  deadline reached, or woken                         |
//                               +------------------------- waiting <------------------+  wait, sleep_until
//
// When no thread is ready, time jumps to the earliest deadline or callback. When there is none either, no
// thread can ever run again: the table of what each of them waits for goes to the stuck handler.
//
// The same program with the same policy takes the same course always: nothing depends on real time, on
// addresses or on the kernel's own choice of threads.
#ifndef VIRTUAL_PROJECTOR_CLOCK_TURN_SCHEDULER_H
#define VIRTUAL_PROJECTOR_CLOCK_TURN_SCHEDULER_H

#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "virtual_projector/clock/held_objects.h"
#include "virtual_projector/clock/schedule_policy.h"
#include "virtual_projector/clock/scheduled_thread.h"
#include "virtual_projector/clock/thread_scheduler.h"
#include "virtual_projector/clock/virtual_time.h"

namespace vp {

/// What the process ends with when no thread can ever run again.
constexpr int stuck_exit_code = 120;

/// A thread that makes this many calls without ever waiting is charged a time for each further one, as a real
/// board would, so that one that polls without a pause cannot stop time. 0: never.
struct CallCost {
    int free_calls = 1000;
    Microseconds call_us = 5;
};

class TurnScheduler final : public ThreadScheduler {
public:
    using StuckHandler = std::function<void(const std::string& table)>;

    TurnScheduler(VirtualTime& time, std::unique_ptr<SchedulePolicy> policy, const CallCost& cost);
    ~TurnScheduler() override;
    TurnScheduler(const TurnScheduler&) = delete;
    TurnScheduler& operator=(const TurnScheduler&) = delete;

    ScheduledThread* adopt_current(int number, const std::string& name) override;
    ScheduledThread* prepare_thread(int number, const std::string& name) override;
    void forget_thread(ScheduledThread* thread) override;
    /// First thing on a prepared thread itself: waits for its turn; null, of a thread that takes no turns, is
    /// none. Not a member's call: the kernel may start the thread only after the program's end, when its
    /// scheduler is gone. It then stays here.
    static void begin_current(ScheduledThread* thread);
    void finish_current() override;
    WaitEnd wait_for_end(ScheduledThread* thread, Microseconds deadline) override;
    bool knows_current_thread() const override;

    void touch() override;
    void yield() override;

    WaitEnd wait(Wait reason, Microseconds deadline) override;
    bool wake_one(const void* object) override;
    void wake_all(const void* object) override;
    void interrupt(ScheduledThread* thread) override;
    /// A time that has been reached still lets the other threads of that time have their turn.
    WaitEnd sleep_until(Microseconds time);

    void hold(const void* object) override;
    void release(const void* object) override;
    bool is_held_by_current(const void* object) const override;
    bool is_held_by_finished(const void* object) const override;

    Figures figures() const override { return figures_; }
    std::string end_schedule() override { return policy_->finish(); }

    void on_idle(IdleHandler handler) override { idle_handler_ = std::move(handler); }

    /// Called, with a headline and the table, in place of the default, which prints them on standard error and
    /// ends the process with stuck_exit_code. It must not return.
    void on_stuck(StuckHandler handler);
    /// One line for each thread that has not finished: number, name, what it waits for, since when, until when.
    std::string table() const;

private:
    using Point = SchedulingPoint::Kind;

    ScheduledThread* add_thread(int number, const std::string& name);
    void make_ready(ScheduledThread& thread, WaitEnd end);
    void leave_waiters(ScheduledThread& thread);
    void pass_turn(Point kind);
    void hand_over(ScheduledThread& next);
    ScheduledThread& next_to_run(const ScheduledThread& running, Point kind);
    ScheduledThread& take_chosen(const ScheduledThread& running, Point kind);
    [[noreturn]] void end_stuck();
    void charge_call();
    void wake_waiters_for_what_is_held_by(const ScheduledThread& thread);

    VirtualTime& time_;
    std::unique_ptr<SchedulePolicy> policy_;
    CallCost cost_;
    VirtualTime::TimeOut time_out_;
    Figures figures_;
    std::vector<std::unique_ptr<ScheduledThread>> threads_;
    std::size_t unfinished_ = 0;
    std::vector<ScheduledThread*> ready_;
    std::unordered_map<const void*, std::deque<ScheduledThread*>> waiters_;
    HeldObjects held_;
    StuckHandler stuck_handler_;
    IdleHandler idle_handler_;
};

}  // namespace vp

#endif
