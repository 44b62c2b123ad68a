// The time that the program under test lives in.
//
// Two kinds: VirtualClock, in which time passes only while every thread waits and one thread runs at a time,
// and RealClock, which is the PC's own. Times are microseconds since the clock was made.
#ifndef VIRTUAL_PROJECTOR_CLOCK_CLOCK_H
#define VIRTUAL_PROJECTOR_CLOCK_CLOCK_H

#include <functional>
#include <string>

#include "virtual_projector/clock/thread_scheduler.h"
#include "virtual_projector/world/microseconds.h"

namespace vp {

class Clock {
public:
    using Callback = std::function<void()>;
    using AdvanceHandler = std::function<void(Microseconds now)>;

    virtual ~Clock() = default;

    virtual Microseconds now() const = 0;

    /// True when the program's time is this clock's and not the PC's: the C library's clocks, pauses and locks
    /// are then answered from here.
    virtual bool is_virtual() const = 0;

    /// Makes the calling thread wait until that time, or until a signal of its own interrupts it.
    virtual WaitEnd sleep_until(Microseconds time) = 0;

    /// Makes the calling thread wait for a device: until that time, or, earlier or with no_deadline, until
    /// event_happened(). `what` (a path) names it in the table of waiting threads.
    virtual WaitEnd wait_for_device(const std::string& what, Microseconds deadline) = 0;

    /// Something changed on the board: every thread that waits for a device asks it again.
    virtual void event_happened() = 0;

    /// Runs the callback at that time (at the next wait when it has passed), before any thread runs at that
    /// time, and then event_happened(). Callbacks of the same time run in the order they were given.
    virtual void at(Microseconds time, Callback callback) = 0;

    /// Called whenever the time has moved on, after the callbacks of the new time and before any thread runs:
    /// the place to look at what has become of the world.
    virtual void on_advance(AdvanceHandler handler) = 0;

    /// The one lock of the board and its world, held while either is touched; a thread may take it again.
    /// Virtual time needs no lock: only one thread runs.
    virtual void lock_world() = 0;
    virtual void unlock_world() = 0;

    /// Who decides which of the program's threads runs.
    virtual ThreadScheduler& scheduler() = 0;
};

/// Holds the world for as long as it lives.
class WorldLock {
public:
    explicit WorldLock(Clock& clock) : clock_(clock) { clock_.lock_world(); }
    ~WorldLock() { clock_.unlock_world(); }
    WorldLock(const WorldLock&) = delete;
    WorldLock& operator=(const WorldLock&) = delete;

private:
    Clock& clock_;
};

}  // namespace vp

#endif
