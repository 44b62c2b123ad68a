#include "virtual_projector/clock/own_work.h"

#include <cerrno>

namespace vp {
namespace {

thread_local int depth = 0;

}  // namespace

OwnWork::OwnWork() : errno_before_(errno) { ++depth; }

OwnWork::~OwnWork() {
    --depth;
    errno = errno_before_;
}

bool OwnWork::in_progress() { return depth > 0; }

ProgramWork::ProgramWork() : depth_before_(depth) { depth = 0; }
ProgramWork::~ProgramWork() { depth = depth_before_; }

}  // namespace vp
