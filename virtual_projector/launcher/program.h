// Running a program with the virtual projector loaded into it.
#ifndef VIRTUAL_PROJECTOR_LAUNCHER_PROGRAM_H
#define VIRTUAL_PROJECTOR_LAUNCHER_PROGRAM_H

#include <string>
#include <vector>

#include "virtual_projector/launcher/run_options.h"

namespace vp {

/// Where the library that is preloaded lies: beside the launcher, or where it was installed. Empty: nowhere.
std::string find_preload_library();

/// Runs the program to its end. Returns its exit code; 128 and the signal's number when a signal ended it;
/// 127 when it could not be started, which is said on standard error.
int run_program(const std::vector<std::string>& command, const RunOptions& options, const std::string& preload);

}  // namespace vp

#endif
