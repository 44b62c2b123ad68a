// A recorded schedule once more.
#ifndef VIRTUAL_PROJECTOR_CLOCK_PLAYED_SCHEDULE_H
#define VIRTUAL_PROJECTOR_CLOCK_PLAYED_SCHEDULE_H

#include <cstdint>
#include <string>
#include <vector>

#include "virtual_projector/clock/schedule_file.h"
#include "virtual_projector/clock/schedule_policy.h"

namespace vp {

/// What the process ends with when the run is another than the recorded one.
constexpr int schedule_exit_code = 2;

class PlayedSchedule final : public SchedulePolicy {
public:
    /// Throws std::runtime_error when the file cannot be read or is no schedule.
    explicit PlayedSchedule(const std::string& path);

    /// Ends the process with one line on standard error when what was recorded does not fit.
    std::size_t choose(const SchedulingPoint& point) override;

    /// A line when there are recorded steps that the run did not come to.
    std::string finish() override;

private:
    bool is_recorded(std::uint64_t step) const;
    std::string recorded_next() const;
    [[noreturn]] void end_run(const SchedulingPoint& point) const;

    std::string path_;
    std::vector<ScheduleStep> steps_;
    std::size_t played_ = 0;
    std::uint64_t step_ = 0;
};

}  // namespace vp

#endif
