#include "virtual_projector/clock/recording_schedule.h"

#include <utility>

namespace vp {

RecordingSchedule::RecordingSchedule(std::unique_ptr<SchedulePolicy> chooser, const std::string& path)
    : chooser_(std::move(chooser)), writer_(path) {}

std::size_t RecordingSchedule::choose(const SchedulingPoint& point) {
    const std::size_t chosen = chooser_->choose(point);
    if (point.runnable.size() < 2) return chosen;
    ++step_;
    const bool goes_on = point.kind == SchedulingPoint::Kind::call && chosen == point.last();
    const ScheduledThread& next = *point.runnable[chosen];
    if (!goes_on) writer_.write({step_, next.number, next.name});
    return chosen;
}

std::string RecordingSchedule::finish() {
    const std::string of_chooser = chooser_->finish();
    const std::string of_file = writer_.finish();
    return of_chooser.empty() ? of_file : of_chooser;
}

}  // namespace vp
