#include "virtual_projector/clock/virtual_time.h"

#include <algorithm>
#include <utility>

namespace vp {

void VirtualTime::on_advance(AdvanceHandler handler) { advance_handler_ = std::move(handler); }

bool VirtualTime::advance(const TimeOut& time_out) {
    const std::optional<Microseconds> next = timers_.next_time();
    if (!next) return false;
    const Microseconds before = std::exchange(now_, std::max(now_, *next));
    while (const std::optional<TimerQueue::Due> due = timers_.take_due(now_)) {
        if (due->sleeper != nullptr) {
            time_out(*due->sleeper);
        } else {
            due->callback();
        }
    }
    if (now_ > before && advance_handler_) advance_handler_(now_);
    return true;
}

}  // namespace vp
