// Running a program with the virtual projector loaded into it.
#ifndef VIRTUAL_PROJECTOR_LAUNCHER_PROGRAM_H
#define VIRTUAL_PROJECTOR_LAUNCHER_PROGRAM_H

#include <string>
#include <vector>

#include "virtual_projector/launcher/run_options.h"

namespace vp {

/// Where the library that is preloaded lies: beside the launcher, or where it is installed with it. Empty:
/// nowhere.
std::string find_preload_library();

struct Program {
    std::vector<std::string> command;
    /// Words of the command of a user-mode emulator that is to run the program; empty: the processor runs it.
    /// The emulator takes "-E NAME=VALUE" for the program's environment and then the program, as QEMU's do.
    std::vector<std::string> emulator;
};

/// Runs the program to its end. Returns its exit code; 128 and the signal's number when a signal ended it;
/// 127 when it could not be started, which is said on standard error.
int run_program(const Program& program, const RunOptions& options, const std::string& preload);

}  // namespace vp

#endif
