#include "virtual_projector/clock/pct_schedule.h"

namespace vp {
namespace {

// Priorities of threads that have not been lowered lie above those of change points, which are 1 to d - 1.
constexpr std::int64_t first_above_changes = std::int64_t{1} << 32;
constexpr int draw_shift = 2;  // leaves 62 bits: a positive number, the bound before added

}  // namespace

PctSchedule::PctSchedule(std::uint64_t seed, const Options& options) : random_(seed) {
    for (Priority change = 1; change < options.depth; ++change)
        changes_[1 + random_() % options.steps] = change;
}

PctSchedule::Priority& PctSchedule::priority_of(const ScheduledThread& thread) {
    const auto [found, is_new] = priorities_.try_emplace(thread.number);
    if (is_new) found->second = first_above_changes + static_cast<Priority>(random_() >> draw_shift);
    return found->second;
}

// A thread that yields says that it cannot go on for now: it falls below all others, or it would be chosen
// again for ever and the one that it waits for never.
void PctSchedule::lower_running(const SchedulingPoint& point) {
    const auto change = changes_.find(++step_);
    if (change != changes_.end()) priority_of(*point.running) = change->second;
    if (point.kind == SchedulingPoint::Kind::yield) priority_of(*point.running) = --lowest_;
}

std::size_t PctSchedule::choose(const SchedulingPoint& point) {
    lower_running(point);
    std::size_t best = 0;
    for (std::size_t i = 1; i < point.runnable.size(); ++i) {
        if (priority_of(*point.runnable[i]) > priority_of(*point.runnable[best])) best = i;
    }
    return best;
}

}  // namespace vp
