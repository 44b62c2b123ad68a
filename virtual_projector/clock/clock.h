// The time that the program under test lives in.
//
// Two kinds: VirtualClock, in which time passes only while every thread waits and one thread runs at a time,
// and RealClock, which is the PC's own. Times are microseconds since the clock was made.
#ifndef VIRTUAL_PROJECTOR_CLOCK_CLOCK_H
#define VIRTUAL_PROJECTOR_CLOCK_CLOCK_H

#include <cstdint>
#include <functional>
#include <string>

namespace vp {

using Microseconds = std::int64_t;

/// For a deadline: wait without one.
constexpr Microseconds no_deadline = -1;

class VirtualClock;

class Clock {
public:
    using Callback = std::function<void()>;
    using AdvanceHandler = std::function<void(Microseconds now)>;

    virtual ~Clock() = default;

    virtual Microseconds now() const = 0;

    /// Makes the calling thread wait until that time.
    virtual void sleep_until(Microseconds time) = 0;

    /// Makes the calling thread wait for a device: until that time, or, earlier or with no_deadline, until
    /// event_happened(). `what` (a path) tells in the table of waiting threads what it is.
    virtual void wait_for_device(const std::string& what, Microseconds deadline) = 0;

    /// Something changed on the board: every thread that waits for a device asks it again.
    virtual void event_happened() = 0;

    /// Runs the callback at that time (at once when it has passed), before any thread runs at that time, and
    /// then tells event_happened(). Callbacks of the same time run in the order they were given.
    virtual void at(Microseconds time, Callback callback) = 0;

    /// Called whenever the time has moved on, before anything else happens at the new time: the place to
    /// bring the simulated world up to date.
    virtual void on_advance(AdvanceHandler handler) = 0;

    /// Held while the board or its world is touched. Virtual time needs no lock: only one thread runs.
    virtual void lock_world() = 0;
    virtual void unlock_world() = 0;

    /// The scheduler, when there is one; null on the PC's own time.
    virtual VirtualClock* scheduler() = 0;
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
