#include "virtual_projector/clock/played_schedule.h"

#include "virtual_projector/clock/process_end.h"

namespace vp {
namespace {

std::string title_of(int number, const std::string& name) {
    return std::to_string(number) + (name.empty() ? "" : " " + name);
}

}  // namespace

PlayedSchedule::PlayedSchedule(const std::string& path) : path_(path), steps_(read_schedule(path)) {}

bool PlayedSchedule::is_recorded(std::uint64_t step) const {
    return played_ < steps_.size() && steps_[played_].step == step;
}

std::size_t PlayedSchedule::choose(const SchedulingPoint& point) {
    if (point.runnable.size() < 2) return 0;
    ++step_;
    if (!is_recorded(step_)) {
        if (point.kind != SchedulingPoint::Kind::call) end_run(point);
        return point.last();
    }
    const ScheduleStep& recorded = steps_[played_];
    for (std::size_t i = 0; i < point.runnable.size(); ++i) {
        const ScheduledThread& thread = *point.runnable[i];
        if (thread.number != recorded.thread || thread.name != recorded.name) continue;
        ++played_;
        return i;
    }
    end_run(point);
}

std::string PlayedSchedule::recorded_next() const {
    if (played_ == steps_.size()) return "nothing more is recorded";
    const ScheduleStep& next = steps_[played_];
    return "recorded is " + title_of(next.thread, next.name) +
           (next.step == step_ ? "" : " at step " + std::to_string(next.step));
}

void PlayedSchedule::end_run(const SchedulingPoint& point) const {
    std::string runnable;
    for (const ScheduledThread* thread : point.runnable)
        runnable += (runnable.empty() ? "" : ", ") + title_of(thread->number, thread->name);
    end_process("virtual-projector: " + path_ + ": does not fit this run at step " + std::to_string(step_) +
                    ": " + recorded_next() + ", runnable are " + runnable + "\n",
                schedule_exit_code);
}

std::string PlayedSchedule::finish() {
    if (played_ == steps_.size()) return {};
    return path_ + ": does not fit this run, which ended at step " + std::to_string(step_) + ": " +
           recorded_next();
}

}  // namespace vp
