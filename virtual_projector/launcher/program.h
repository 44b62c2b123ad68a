// Running a program with the virtual projector loaded into it.
#ifndef VIRTUAL_PROJECTOR_LAUNCHER_PROGRAM_H
#define VIRTUAL_PROJECTOR_LAUNCHER_PROGRAM_H

#include <chrono>
#include <string>
#include <vector>

#include "virtual_projector/launcher/run_options.h"
#include "virtual_projector/launcher/run_state.h"
#include "virtual_projector/launcher/tool.h"

namespace vp {

struct Program {
    std::vector<std::string> command;
    /// Words of the command of a user-mode emulator that is to run the program; empty: the processor runs it.
    /// The emulator takes "-E NAME=VALUE" for the program's environment and then the program, as QEMU's do.
    std::vector<std::string> emulator;
    Tool tool = Tool::none;
    std::vector<std::string> tool_options;
};

/// From here on SIGINT, SIGTERM, SIGHUP and SIGQUIT do not end this process: run_program() passes them on, and
/// what is to be done after the run is done. Before it, and before anything that must not be left behind.
void hold_signals();

/// Between runs: waits so long for one of these. True when one has come.
bool await_ending_signal(std::chrono::milliseconds longest);
/// True when one has been passed on to the last run's program.
bool was_told_to_end();

/// Runs the program to its end. Returns its exit code; 128 and the signal's number when a signal ended it;
/// 127 when it could not be started, which is said on standard error.
///
/// A signal that has been passed on gives the program five seconds to end. Of a run that was cut off, by that,
/// by a signal or by a limit, no process is left.
int run_program(const Program& program, const RunOptions& options, const RunState& state,
                const std::string& preload);

}  // namespace vp

#endif
