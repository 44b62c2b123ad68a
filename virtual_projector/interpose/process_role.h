// What the calling process is in a run, asked before it does what may change that: executes another program,
// loads a library, opens a node of the board.
#ifndef VIRTUAL_PROJECTOR_INTERPOSE_PROCESS_ROLE_H
#define VIRTUAL_PROJECTOR_INTERPOSE_PROCESS_ROLE_H

#include <string>
#include <vector>

namespace vp {

class ProcessRole {
public:
    virtual ~ProcessRole() = default;

    /// The process wants a node of the board. False: the board is not for it, which has been said.
    virtual bool may_use_board() = 0;

    /// Other libraries than before may be loaded now.
    virtual void libraries_changed() = 0;

    /// The process is about to become the program in `file`, which is looked for in PATH when it has no slash.
    /// Does not return when it must not.
    virtual void before_execution(const std::string& file) = 0;
    /// The process is about to end without what else is done at a program's end.
    virtual void before_end() = 0;
    /// What is to be in the environment of the program that is executed, as NAME=VALUE.
    virtual std::vector<std::string> needed_in_environment(char* const* environment) const = 0;

    /// Null when the process has no part in a run.
    static ProcessRole* current();
    static void set_current(ProcessRole* role);
};

/// False when the path is the board's and the board is not this process's.
bool may_open(const char* path);

}  // namespace vp

#endif
