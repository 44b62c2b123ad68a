#include "virtual_projector/clock/virtual_clock.h"

#include <utility>

#include "virtual_projector/clock/random_schedule.h"

namespace vp {
namespace {

constexpr std::uint64_t standard_seed = 1;

}  // namespace

VirtualClock::VirtualClock() : VirtualClock(std::make_unique<RandomSchedule>(standard_seed)) {}

VirtualClock::VirtualClock(std::unique_ptr<SchedulePolicy> policy, const CallCost& cost)
    : scheduler_(time_, std::move(policy), cost) {}

WaitEnd VirtualClock::sleep_until(Microseconds time) { return scheduler_.sleep_until(time); }

// Any object of the clock's own would do as the name under which threads wait for devices.
WaitEnd VirtualClock::wait_for_device(const std::string& what, Microseconds deadline) {
    return scheduler_.wait({Wait::Kind::device, &time_, what}, deadline);
}

void VirtualClock::event_happened() { scheduler_.wake_all(&time_); }

void VirtualClock::at(Microseconds time, Callback callback) {
    time_.timers().add_callback(time, [this, callback = std::move(callback)] {
        callback();
        event_happened();
    });
}

void VirtualClock::on_advance(AdvanceHandler handler) { time_.on_advance(std::move(handler)); }

}  // namespace vp
