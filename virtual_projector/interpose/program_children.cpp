#include "virtual_projector/interpose/program_children.h"

#include <sys/wait.h>

#include <algorithm>

#include "virtual_projector/interpose/real_calls.h"

namespace vp {
namespace {

// A child that has ended, waited for or not, runs no more.
bool has_ended(pid_t child) {
    siginfo_t info{};
    const int result = real::waitid(P_PID, static_cast<id_t>(child), &info, WEXITED | WNOHANG | WNOWAIT);
    return result != 0 || info.si_pid != 0;
}

}  // namespace

void ProgramChildren::note(pid_t child) {
    if (child <= 0) return;
    running_.push_back(child);
    have_been_ = true;
}

const std::vector<pid_t>& ProgramChildren::running() {
    running_.erase(std::remove_if(running_.begin(), running_.end(), has_ended), running_.end());
    return running_;
}

}  // namespace vp
