// Time that stands still until it is moved: from one event of the queue to the next.
#ifndef VIRTUAL_PROJECTOR_CLOCK_VIRTUAL_TIME_H
#define VIRTUAL_PROJECTOR_CLOCK_VIRTUAL_TIME_H

#include <functional>

#include "virtual_projector/clock/timer_queue.h"
#include "virtual_projector/world/microseconds.h"

namespace vp {

class VirtualTime {
public:
    using AdvanceHandler = std::function<void(Microseconds now)>;
    using TimeOut = std::function<void(ScheduledThread&)>;

    Microseconds now() const { return now_; }
    TimerQueue& timers() { return timers_; }

    /// Called whenever the time has moved on, when everything that was due has happened.
    void on_advance(AdvanceHandler handler);

    /// Moves to the time of the next event and lets everything happen that is due then: callbacks run,
    /// sleepers are handed to `time_out`. False: nothing is to come.
    bool advance(const TimeOut& time_out);

private:
    Microseconds now_ = 0;
    TimerQueue timers_;
    AdvanceHandler advance_handler_;
};

}  // namespace vp

#endif
