// Virtual time: it stands still while a thread runs, and jumps to the next event when all of them wait.
#ifndef VIRTUAL_PROJECTOR_CLOCK_VIRTUAL_CLOCK_H
#define VIRTUAL_PROJECTOR_CLOCK_VIRTUAL_CLOCK_H

#include <memory>
#include <string>

#include "virtual_projector/clock/clock.h"
#include "virtual_projector/clock/turn_scheduler.h"
#include "virtual_projector/clock/virtual_time.h"

namespace vp {

class VirtualClock final : public Clock {
public:
    /// Turns by a die of seed 1.
    VirtualClock();
    explicit VirtualClock(std::unique_ptr<SchedulePolicy> policy, const CallCost& cost = {});
    VirtualClock(const VirtualClock&) = delete;
    VirtualClock& operator=(const VirtualClock&) = delete;

    Microseconds now() const override { return time_.now(); }
    bool is_virtual() const override { return true; }
    WaitEnd sleep_until(Microseconds time) override;
    WaitEnd wait_for_device(const std::string& what, Microseconds deadline) override;
    void event_happened() override;
    void at(Microseconds time, Callback callback) override;
    void on_advance(AdvanceHandler handler) override;
    void lock_world() override {}
    void unlock_world() override {}
    TurnScheduler& scheduler() override { return scheduler_; }

private:
    VirtualTime time_;
    TurnScheduler scheduler_;
};

}  // namespace vp

#endif
