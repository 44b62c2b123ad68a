// What the program sees of time: clocks, and sleeping.
//
// In virtual time the wall clock starts at a fixed date and the other clocks at a fixed uptime, so that no run
// depends on the day it is made. Results are 0 and more or negated errnos; nothing at all means that the
// C library is to answer.
#ifndef VIRTUAL_PROJECTOR_INTERPOSE_PROGRAM_TIME_H
#define VIRTUAL_PROJECTOR_INTERPOSE_PROGRAM_TIME_H

#include <sys/time.h>
#include <time.h>

#include <functional>
#include <optional>

#include "virtual_projector/clock/clock.h"
#include "virtual_projector/interpose/program_waits.h"
#include "virtual_projector/interpose/recorder.h"

namespace vp {

class ProgramTime {
public:
    using SleepHandler = std::function<void(Microseconds length)>;

    ProgramTime(Clock& clock, ProgramWaits& waits, Recorder& recorder);

    /// What the wall clock shows at time 0, in microseconds since 1970.
    void set_wall_clock(Microseconds at_start) { wall_at_start_ = at_start; }

    /// Called by the thread that is about to sleep, before it does.
    void on_sleep(SleepHandler handler);

    /// A sleep that a signal interrupts gives -EINTR and, where asked for, what remains of it.
    long sleep(Microseconds length, timespec* remaining = nullptr);
    std::optional<long> sleep(const timespec* length, timespec* remaining);
    std::optional<long> sleep(clockid_t clock, int flags, const timespec* time, timespec* remaining);

    std::optional<long> get_time_of_day(timeval* time) const;
    std::optional<long> get_time(clockid_t clock, timespec* time) const;
    std::optional<long> get_seconds(time_t* time) const;
    std::optional<long> get_ticks(long ticks_per_second) const;  // since the board was started
    /// Only the wall clock can be set.
    std::optional<long> set_time(clockid_t clock, const timespec* time);

    /// True of the clocks that the board has; processor time is none of its business.
    static bool is_boards(clockid_t clock);

    /// A length lasts at least as long as was asked for: fractions of a microsecond count as whole ones.
    static Microseconds microseconds_of(const timespec& time);

    /// The virtual time at which that clock shows `time`.
    Microseconds to_virtual(clockid_t clock, const timespec& time) const;

private:
    Microseconds start_of(clockid_t clock) const;

    Clock& clock_;
    ProgramWaits& waits_;
    Recorder& recorder_;
    Microseconds wall_at_start_;
    SleepHandler sleep_handler_;
};

}  // namespace vp

#endif
