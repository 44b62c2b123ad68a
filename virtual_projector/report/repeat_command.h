// The command that repeats a run.
#ifndef VIRTUAL_PROJECTOR_REPORT_REPEAT_COMMAND_H
#define VIRTUAL_PROJECTOR_REPORT_REPEAT_COMMAND_H

#include <string>

#include "virtual_projector/trace/records.h"

namespace vp {

/// As for a shell. What a trace does not know stands in capital letters: the places of the scenario and of the
/// program.
std::string repeat_command(const RunRecord& run);

}  // namespace vp

#endif
