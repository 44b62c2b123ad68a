// The processes that the program has started: which of them still run.
#ifndef VIRTUAL_PROJECTOR_INTERPOSE_PROGRAM_CHILDREN_H
#define VIRTUAL_PROJECTOR_INTERPOSE_PROGRAM_CHILDREN_H

#include <sys/types.h>

#include <vector>

namespace vp {

class ProgramChildren {
public:
    void note(pid_t child);
    bool have_been() const { return have_been_; }
    /// Some that had not ended when they were last asked for.
    bool has_any() const { return !running_.empty(); }
    /// Those that have not ended yet.
    const std::vector<pid_t>& running();

private:
    std::vector<pid_t> running_;
    bool have_been_ = false;
};

}  // namespace vp

#endif
