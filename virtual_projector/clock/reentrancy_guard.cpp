#include "virtual_projector/clock/reentrancy_guard.h"

#include <cerrno>

namespace vp {
namespace {

thread_local int depth = 0;

}  // namespace

ReentrancyGuard::ReentrancyGuard() : errno_before_(errno) { ++depth; }

ReentrancyGuard::~ReentrancyGuard() {
    --depth;
    errno = errno_before_;
}

bool ReentrancyGuard::is_active() { return depth > 0; }

ProgramCallback::ProgramCallback() : depth_before_(depth) { depth = 0; }
ProgramCallback::~ProgramCallback() { depth = depth_before_; }

}  // namespace vp
