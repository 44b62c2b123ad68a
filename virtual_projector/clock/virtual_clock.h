// Virtual time: a deterministic scheduler over real threads.
//
// Exactly one of the known threads runs at a time. It gives its turn away only where it would wait:
//
//            prepare_thread            chosen (by the seed, when there is a choice)
//     (new) ----------------> ready ---------------------------------------------> running ---> finished
//                               ^                                                     |  finish_current
//                               |  deadline reached, or woken                         |
//                               +------------------------- waiting <------------------+  wait, sleep_until
//
// When no thread is ready, time jumps to the earliest deadline or callback. When there is none either, no
// thread can ever run again: the table of what each of them waits for goes to the stuck handler.
//
// The same program with the same seed takes the same course always: nothing depends on real time, on
// addresses or on the kernel's own choice of threads.
#ifndef VIRTUAL_PROJECTOR_CLOCK_VIRTUAL_CLOCK_H
#define VIRTUAL_PROJECTOR_CLOCK_VIRTUAL_CLOCK_H

#include <cstddef>
#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <queue>
#include <random>
#include <string>
#include <unordered_map>
#include <vector>

#include "virtual_projector/clock/clock.h"
#include "virtual_projector/clock/turn.h"

namespace vp {

/// What the process ends with when no thread can ever run again.
constexpr int stuck_exit_code = 120;

/// Why a thread waits.
struct Wait {
    enum class Kind { sleep, mutex, read_write_lock, semaphore, condition, join, device };
    Kind kind = Kind::sleep;
    const void* object = nullptr;  // what wake_one and wake_all name; null: only the deadline ends the wait
    std::string what;              // for the table
};

class VirtualClock final : public Clock {
public:
    struct Options {
        std::uint64_t seed = 1;
        double preempt = 0.0;  // probability that touch() passes the turn on

        // A thread that makes this many calls without ever waiting is charged a time for each further one, as
        // a real board would, so that one that polls without a pause cannot stop time. 0: never.
        int free_calls = 1000;
        Microseconds call_cost_us = 5;
    };
    class Thread;
    using StuckHandler = std::function<void(const std::string& table)>;

    explicit VirtualClock(const Options& options);
    ~VirtualClock() override;
    VirtualClock(const VirtualClock&) = delete;
    VirtualClock& operator=(const VirtualClock&) = delete;

    // --- Clock ---------------------------------------------------------------------------------------
    Microseconds now() const override { return now_; }
    void sleep_until(Microseconds time) override;
    void wait_for_device(const std::string& what, Microseconds deadline) override;
    void event_happened() override;
    void at(Microseconds time, Callback callback) override;
    void on_advance(AdvanceHandler handler) override;
    void lock_world() override {}
    void unlock_world() override {}
    VirtualClock* scheduler() override { return this; }

    // --- Threads -------------------------------------------------------------------------------------
    /// Makes the calling thread known; it is the one that runs. For the first thread.
    Thread* adopt_current(int number, const std::string& name);

    /// Makes a thread known that is about to be started, ready to run. Numbers tell threads apart in tables.
    Thread* prepare_thread(int number, const std::string& name);
    /// The prepared thread could not be started after all.
    void forget_thread(Thread* thread);
    /// First thing on the new thread itself: waits for its turn.
    void begin_current(Thread* thread);
    /// Last thing on a thread: whoever waits for it goes on, and the turn passes.
    void finish_current();

    bool is_finished(const Thread* thread) const;
    /// True when the calling thread is one of this clock's.
    bool knows_current_thread() const;

    // --- Waiting -------------------------------------------------------------------------------------
    /// Gives the turn away until woken (true) or until the deadline (false).
    bool wait(Wait reason, Microseconds deadline);
    bool wake_one(const void* object);  // the one that has waited longest; false: nobody waits
    void wake_all(const void* object);

    /// Told at every call that the program makes of the outside world: the turn may pass here, with the
    /// probability `preempt`, and calls without end cost time.
    void touch();

    // --- Held objects (mutexes), for the table ------------------------------------------------------
    void hold(const void* object);
    /// One hold less; with the last one, whoever waits for the object is woken.
    void release(const void* object);
    bool is_held_by_current(const void* object) const;

    // --- No thread can go on -------------------------------------------------------------------------
    /// Called, with a headline and the table, in place of the default, which prints them on standard error and
    /// ends the process with stuck_exit_code. It must not return.
    void on_stuck(StuckHandler handler);
    /// One line for each thread that has not finished: number, name, what it waits for, since when, until when.
    std::string table() const;

    std::uint64_t switches() const { return switches_; }

private:
    struct Deadline {
        Microseconds time;
        std::uint64_t order;  // of two of the same time the one set first comes first
        Thread* thread;
        std::uint64_t wait_number;  // the wait that it belongs to; another one: it is over, ignore the deadline
    };
    struct Later {
        bool operator()(const Deadline& a, const Deadline& b) const {
            return a.time != b.time ? a.time > b.time : a.order > b.order;
        }
    };
    struct Holder {
        Thread* thread;
        int depth;
    };

    Thread* add_thread(int number, const std::string& name);
    void make_ready(Thread* thread, bool timed_out);
    void leave_waiters(Thread* thread);
    void pass_turn();
    Thread* next_to_run();
    Thread* take_ready();
    Thread* choose_or_stuck();
    bool advance();
    bool drop_stale_deadlines();
    void move_time_to(Microseconds time);
    void run_due_callbacks();
    void release_due_sleepers();
    void charge_call();
    double draw();
    std::string table_line(const Thread& thread) const;
    std::string describe_wait(const Thread& thread) const;

    Options options_;
    std::mt19937_64 random_;
    Microseconds now_ = 0;
    std::uint64_t switches_ = 0;
    std::uint64_t orders_ = 0;
    std::vector<std::unique_ptr<Thread>> threads_;
    std::size_t unfinished_ = 0;
    std::vector<Thread*> ready_;
    std::priority_queue<Deadline, std::vector<Deadline>, Later> deadlines_;
    std::unordered_map<const void*, std::deque<Thread*>> waiters_;
    std::unordered_map<const void*, Holder> holders_;
    std::multimap<Microseconds, Callback> callbacks_;
    AdvanceHandler advance_handler_;
    StuckHandler stuck_handler_;
};

}  // namespace vp

#endif
