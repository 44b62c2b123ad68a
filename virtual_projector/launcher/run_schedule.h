// The command line's choice of who runs next.
#ifndef VIRTUAL_PROJECTOR_LAUNCHER_RUN_SCHEDULE_H
#define VIRTUAL_PROJECTOR_LAUNCHER_RUN_SCHEDULE_H

#include <memory>
#include <string>

#include "virtual_projector/clock/schedule_policy.h"

namespace vp {

/// What `--schedule` takes: "random"; "pct:D" or "pct:D:K", for faults of depth D in about K scheduling points;
/// else the name of a file that a schedule was recorded to. `preempt` is of the random schedule only. Throws
/// std::runtime_error with one line when there is something wrong.
std::unique_ptr<SchedulePolicy> make_schedule(const std::string& choice, std::uint64_t seed, double preempt);

/// True when what `--schedule` was given is the name of a file.
bool is_schedule_file(const std::string& choice);

}  // namespace vp

#endif
