// Who decides which of the program's threads runs: turns in virtual time (TurnScheduler), or the kernel
// (KernelThreads).
#ifndef VIRTUAL_PROJECTOR_CLOCK_THREAD_SCHEDULER_H
#define VIRTUAL_PROJECTOR_CLOCK_THREAD_SCHEDULER_H

#include <cstdint>
#include <functional>
#include <string>

#include "virtual_projector/clock/wait.h"

namespace vp {

struct ScheduledThread;

class ThreadScheduler {
public:
    virtual ~ThreadScheduler() = default;

    // --- Threads -------------------------------------------------------------------------------------
    /// Makes the calling thread known; it is the one that runs. For the first thread.
    virtual ScheduledThread* adopt_current(int number, const std::string& name) = 0;

    /// Makes a thread known that is about to be started, ready to run. Its number stands in tables.
    virtual ScheduledThread* prepare_thread(int number, const std::string& name) = 0;
    /// The prepared thread could not be started after all.
    virtual void forget_thread(ScheduledThread* thread) = 0;
    /// Last thing on a thread: whoever waits for it goes on, and the turn passes.
    virtual void finish_current() = 0;
    /// Waits until a thread has finished, or until the deadline.
    virtual WaitEnd wait_for_end(ScheduledThread* thread, Microseconds deadline) = 0;

    /// True when the calling thread is one of those that are scheduled here.
    virtual bool knows_current_thread() const = 0;

    /// A thread whose own code does nothing but serve the others for ever: the run is stuck when only such
    /// threads still run.
    virtual void note_servant(ScheduledThread* thread) = 0;

    /// To be called at every call that the program makes of the outside world: the turn may pass here.
    virtual void touch() = 0;

    /// Around each call that is answered for the program. Outside of it a thread that computes for too long
    /// loses its turn, and gets it back at its next call.
    virtual void enter_call() = 0;
    virtual void leave_call() = 0;
    /// Around a handler of the program's that runs inside a call, and may jump out of it.
    virtual int suspend_call() = 0;
    virtual void resume_call(int depth) = 0;

    /// The turn passes to any thread that can go on, this one among them. Counts as a call: who does nothing
    /// else for long lets time go on.
    virtual void yield() = 0;

    // --- Waiting -------------------------------------------------------------------------------------
    /// Gives the turn away until woken, interrupted or until the deadline.
    virtual WaitEnd wait(Wait reason, Microseconds deadline) = 0;
    virtual bool wake_one(const void* object) = 0;  // the one that has waited longest; false: nobody waits
    virtual void wake_all(const void* object) = 0;
    /// Ends the wait of a thread, if it waits, whatever for.
    virtual void interrupt(ScheduledThread* thread) = 0;

    /// Called on each thread that has waited, first thing when it has its turn again. Empty: nobody is.
    using WaitHandler = std::function<void(const ScheduledThread& thread)>;
    virtual void on_wait_end(WaitHandler handler) = 0;
    /// Shows the threads of which this is still to come, in the order in which they were made known.
    virtual void show_waiting(const WaitHandler& visit) const = 0;

    // --- Held objects (mutexes) ----------------------------------------------------------------------
    virtual void hold(const void* object) = 0;
    /// One hold less; with the last one, whoever waits for the object is woken.
    virtual void release(const void* object) = 0;
    virtual bool is_held_by_current(const void* object) const = 0;
    /// True when the thread that holds the object has finished. Whoever waited for it then has been woken.
    virtual bool is_held_by_finished(const void* object) const = 0;

    /// Wakes those that wait for an object of this kind which somebody unseen has changed, as `can_go_on`
    /// tells. True when there were any.
    using ObjectTest = std::function<bool(const void* object)>;
    virtual bool wake_those(Wait::Kind kind, const ObjectTest& can_go_on) = 0;

    // --- The whole run -------------------------------------------------------------------------------
    /// What the run has been so far; nothing when the kernel schedules.
    struct Figures {
        std::uint64_t switches = 0;  // turns that passed from one thread to another
        std::uint64_t points = 0;    // at which a turn could have passed
    };
    virtual Figures figures() const = 0;

    /// Called when no thread is ready, before time moves (or, with `nothing_to_come`, before the run ends
    /// stuck). With `computes` a thread only pays for its calls, and would go on at once. True when it has made
    /// a thread ready, or let something happen that calls for another look.
    using IdleHandler = std::function<bool(bool nothing_to_come, bool computes)>;
    virtual void on_idle(IdleHandler handler) = 0;

    /// The run is over: closes what was kept of its schedule. One line when that failed or when the schedule
    /// did not fit, else empty.
    virtual std::string end_schedule() = 0;
};

}  // namespace vp

#endif
