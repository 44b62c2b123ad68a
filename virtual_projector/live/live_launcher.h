// Runs of a program that people watch on a page, one after the other, until somebody ends the launcher.
#ifndef VIRTUAL_PROJECTOR_LIVE_LIVE_LAUNCHER_H
#define VIRTUAL_PROJECTOR_LIVE_LIVE_LAUNCHER_H

#include <chrono>
#include <functional>
#include <string>
#include <vector>

#include "virtual_projector/launcher/run_options.h"

namespace vp {

struct LiveProgram {
    int port = 0;       // 0: one that is free
    RunOptions given;   // as written on the command line, for the saved scenario
    std::string story;  // the scenario's
    std::vector<std::string> command;
    /// Runs the program once to its end, with this socket to its watchers; returns its exit code.
    std::function<int(int socket)> run;
    /// Waits so long for a signal that ends the launcher; true when one has come.
    std::function<bool(std::chrono::milliseconds)> await_ending_signal;
    /// True when one has come during the last run, and ended it.
    std::function<bool()> was_told_to_end;
};

/// Prints the page's address on standard error. Returns the exit code of the last run. Throws
/// std::runtime_error when the page cannot be served.
int run_live(const LiveProgram& program);

/// The symbol by which the launcher finds run_live() in the library that it loads for it.
constexpr const char* live_entry = "vp_run_live";

}  // namespace vp

#endif
