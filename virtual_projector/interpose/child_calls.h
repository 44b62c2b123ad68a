// Waiting for the program's children. A child lives in real time: while it runs, and somebody waits for it,
// simulated time stands.
#ifndef VIRTUAL_PROJECTOR_INTERPOSE_CHILD_CALLS_H
#define VIRTUAL_PROJECTOR_INTERPOSE_CHILD_CALLS_H

#include <signal.h>
#include <sys/resource.h>
#include <sys/types.h>
#include <sys/wait.h>

#include <cstdio>
#include <functional>
#include <map>
#include <optional>

#include "virtual_projector/clock/clock.h"
#include "virtual_projector/interpose/descriptor_waits.h"
#include "virtual_projector/interpose/program_children.h"

namespace vp {

class ChildCalls {
public:
    ChildCalls(Clock& clock, ProgramWaits& waits, ProgramSignals& signals, DescriptorWaits& descriptors,
               ProgramChildren& children, Recorder& recorder)
        : clock_(clock),
          waits_(waits),
          signals_(signals),
          descriptors_(descriptors),
          children_(children),
          recorder_(recorder) {}

    /// A child has been started.
    void note(pid_t child);

    // Results as those of the calls of the same names, a failure as a negated errno; nothing: not ours.
    std::optional<long> wait4(pid_t child, int* status, int options, rusage* use);
    std::optional<long> waitid(idtype_t type, id_t id, siginfo_t* info, int options);

    /// system: a shell runs the command; its status.
    std::optional<long> run_shell(const char* command);
    /// popen: a shell runs the command, its standard output ("r") or input ("w") is given; the shell's number.
    std::optional<long> open_shell(const char* command, const char* mode, int& descriptor);
    void note_stream(const FILE* stream, pid_t child) { streams_[stream] = child; }
    std::optional<long> forget_stream(const FILE* stream);  // the shell's number

private:
    long until_over(const std::function<long()>& look);

    Clock& clock_;
    ProgramWaits& waits_;
    ProgramSignals& signals_;
    DescriptorWaits& descriptors_;
    ProgramChildren& children_;
    Recorder& recorder_;
    std::map<const FILE*, pid_t> streams_;
};

}  // namespace vp

#endif
