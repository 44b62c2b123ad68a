// One run of a program against the virtual projector, inside the program's own process.
#ifndef VIRTUAL_PROJECTOR_LAUNCHER_SESSION_H
#define VIRTUAL_PROJECTOR_LAUNCHER_SESSION_H

#include <memory>

#include "virtual_projector/launcher/run_options.h"
#include "virtual_projector/launcher/run_state.h"

namespace vp {

class Session {
public:
    /// Builds the world, the board and the machine, and installs them: from here on the process's calls
    /// reach the virtual projector. Throws LocatedError when the scenario cannot be read, std::runtime_error
    /// when a file cannot be written.
    /// `state` may be null; it is told which of the run's files are complete.
    explicit Session(const RunOptions& options, RunState* state = nullptr);

    /// Finishes.
    ~Session();

    /// Ends the run and completes its files: trace, summary, recorded schedule. From any thread, at any end of
    /// the program; only the first call does something.
    void finish();
    /// Ends the run and leaves its files alone: they are another process's. Also in a child that was forked
    /// off.
    void abandon();

    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;

private:
    struct Parts;
    std::unique_ptr<Parts> parts_;
};

}  // namespace vp

#endif
