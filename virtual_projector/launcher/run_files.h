// The files that a run reads and writes, looked at before anything is touched, and what is left of them after
// it.
#ifndef VIRTUAL_PROJECTOR_LAUNCHER_RUN_FILES_H
#define VIRTUAL_PROJECTOR_LAUNCHER_RUN_FILES_H

#include <string>

#include "virtual_projector/launcher/command_line.h"
#include "virtual_projector/launcher/run_state.h"

namespace vp {

/// Empty, or one line that says which file cannot be written, or is one of the others as well.
std::string check_files(const CommandLine& line);

/// The same files by names that hold in every folder: a program may go elsewhere before it comes to the board.
void make_files_absolute(RunOptions& run);

/// After the program's end. What a run that was cut off has left beside its place takes it, if it is whole
/// lines of something; what no run has touched goes.
void tidy_files(const RunOptions& run, const RunState& state);

}  // namespace vp

#endif
