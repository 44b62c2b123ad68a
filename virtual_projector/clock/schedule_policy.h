// The choice among threads that could run.
#ifndef VIRTUAL_PROJECTOR_CLOCK_SCHEDULE_POLICY_H
#define VIRTUAL_PROJECTOR_CLOCK_SCHEDULE_POLICY_H

#include <cstddef>
#include <string>
#include <vector>

#include "virtual_projector/clock/scheduled_thread.h"

namespace vp {

/// A moment at which the turn may pass.
struct SchedulingPoint {
    enum class Kind {
        call,   // the running thread makes a call and could go on
        yield,  // it gives its turn away, but could go on too
        wait    // it waits or has ended
    };
    Kind kind;
    const ScheduledThread* running;  // up to here
    const std::vector<ScheduledThread*>&
        runnable;  // one at least; at a call and a yield the running one is last

    std::size_t last() const { return runnable.size() - 1; }
};

class SchedulePolicy {
public:
    virtual ~SchedulePolicy() = default;

    /// Who runs next, as an index into the runnable ones. Asked at each point, however few there are.
    virtual std::size_t choose(const SchedulingPoint& point) = 0;

    /// The run is over. One line when something is wrong with its schedule, else empty.
    virtual std::string finish() { return {}; }
};

}  // namespace vp

#endif
