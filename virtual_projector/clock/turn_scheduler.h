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

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
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
    Microseconds yield_us = 100;  // of one that only lets others run, over and over again
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

    void note_servant(ScheduledThread* thread) override { thread->only_serves = true; }
    void touch() override;
    void enter_call() override;
    void leave_call() override;
    int suspend_call() override;
    void resume_call(int depth) override;
    void yield() override;

    WaitEnd wait(Wait reason, Microseconds deadline) override;
    bool wake_one(const void* object) override;
    void wake_all(const void* object) override;
    void interrupt(ScheduledThread* thread) override;
    void on_wait_end(WaitHandler handler) override { wait_handler_ = std::move(handler); }
    void show_waiting(const WaitHandler& visit) const override;
    bool wake_those(Wait::Kind kind, const ObjectTest& can_go_on) override;
    /// A time that has been reached still lets the other threads of that time have their turn.
    WaitEnd sleep_until(Microseconds time);

    void hold(const void* object) override;
    void release(const void* object) override;
    bool is_held_by_current(const void* object) const override;
    bool is_held_by_finished(const void* object) const override;

    Figures figures() const override { return {figures_.switches, points_.load(std::memory_order_relaxed)}; }

    // --- For whoever watches the run, on a thread of its own -------------------------------------------
    /// Changes with everything that the program does.
    std::size_t progress() const { return points_.load() + calls_.load(); }
    /// The same, without what servants do while a thread has lost its turn and no other can ever go on.
    std::size_t work() const { return work_.load(); }
    /// The thread that has the turn; null: none has.
    const ScheduledThread* running() const { return running_.load(); }
    /// Every thread that runs: the one with the turn, and those whose turn was taken away.
    std::vector<const ScheduledThread*> all_running() const;
    /// Takes the turn from a thread that makes no call, and passes it on. False: it is in a call after all.
    bool take_turn_away(const ScheduledThread& from);

    /// Called where the turn passes next, once the run is to end there. It must not return.
    void on_end(std::function<void()> handler) { end_handler_ = std::move(handler); }
    void end_at_next_turn() { ends_at_next_turn_ = true; }

    /// Says what function of the program the calling thread is in.
    using StackReader = std::function<std::string()>;
    void read_stacks_with(StackReader reader) { stack_reader_ = std::move(reader); }
    /// Lets each thread that waits say where in the program it does. To be called when the run is over: by the
    /// thread that has the turn, or with that one stopped.
    void ask_for_places();
    /// The same of a thread that has been stopped.
    void note_place(const ScheduledThread* thread, const std::string& place);

    /// How long, in virtual time, only servants may run while all others wait for ever.
    void set_longest_idle(Microseconds length) { longest_idle_ = length; }
    std::string end_schedule() override { return policy_->finish(); }

    void on_idle(IdleHandler handler) override { idle_handler_ = std::move(handler); }

    /// Called before time jumps to `next` (none: nothing is to come), as often as it may take: holds the jump
    /// back for as long as it does not return. True: something may be to come earlier now, look again.
    using PaceHandler = std::function<bool(std::optional<Microseconds> next)>;
    void before_advance(PaceHandler handler) { pace_handler_ = std::move(handler); }

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
    ScheduledThread& take_chosen(const ScheduledThread& running, Point kind);
    ScheduledThread* next_or_none(const ScheduledThread& running, Point kind);
    [[noreturn]] void end_stuck(const std::string& headline);
    void charge(Microseconds length);
    static void await_turn(ScheduledThread& self);
    void start_running(ScheduledThread& thread);
    void come_back(ScheduledThread& self);
    void take_back_returned();
    void let_lost_threads_run() const;
    bool leave_to_nobody();
    bool is_idle_for_good();
    bool only_servants_go_on() const;
    void count_work();
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
    int charged_ = 0;  // threads that compute: time passes for their calls
    // Words of the machine, which every processor loads at once; on 32 bit they begin anew after a day.
    std::atomic<std::size_t> points_{0};
    std::atomic<std::size_t> calls_{0};
    std::atomic<std::size_t> work_{0};
    std::atomic<bool> serves_only_{false};  // what is done now is none of that
    std::atomic<bool> ends_at_next_turn_{false};
    std::atomic<ScheduledThread*> running_{nullptr};
    StackReader stack_reader_;
    Microseconds longest_idle_ = 0;  // 0: for ever
    Microseconds last_work_ = 0;     // when another than a servant had the turn, or something happened

    // Threads whose turn was taken away.
    int lost_ = 0;
    std::mutex returned_lock_;
    std::vector<ScheduledThread*> returned_;
    bool nobody_runs_ = false;

    StuckHandler stuck_handler_;
    std::function<void()> end_handler_;
    IdleHandler idle_handler_;
    WaitHandler wait_handler_;
    PaceHandler pace_handler_;
};

}  // namespace vp

#endif
