// The command that repeats a run.
#ifndef VIRTUAL_PROJECTOR_REPORT_REPEAT_COMMAND_H
#define VIRTUAL_PROJECTOR_REPORT_REPEAT_COMMAND_H

#include <string>

#include "virtual_projector/trace/records.h"

namespace vp {

/// As for a shell. A trace knows the scenario's file, the world and the unit by their names and not by their
/// folders, and of the program nothing: it stands as PROGRAM. Nor does it know a schedule other than the usual
/// one, which a recording repeats.
std::string repeat_command(const RunRecord& run);

}  // namespace vp

#endif
