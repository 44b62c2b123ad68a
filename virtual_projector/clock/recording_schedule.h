// Writes down what another policy chooses.
#ifndef VIRTUAL_PROJECTOR_CLOCK_RECORDING_SCHEDULE_H
#define VIRTUAL_PROJECTOR_CLOCK_RECORDING_SCHEDULE_H

#include <cstdint>
#include <memory>
#include <string>

#include "virtual_projector/clock/schedule_file.h"
#include "virtual_projector/clock/schedule_policy.h"

namespace vp {

class RecordingSchedule final : public SchedulePolicy {
public:
    /// Throws std::runtime_error when the file cannot be made.
    RecordingSchedule(std::unique_ptr<SchedulePolicy> chooser, const std::string& path);

    std::size_t choose(const SchedulingPoint& point) override;
    std::string finish() override;

private:
    std::unique_ptr<SchedulePolicy> chooser_;
    ScheduleWriter writer_;
    std::uint64_t step_ = 0;
};

}  // namespace vp

#endif
