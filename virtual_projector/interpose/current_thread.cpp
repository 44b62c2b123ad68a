#include "virtual_projector/interpose/current_thread.h"

namespace vp {
namespace {

thread_local const ThreadIdentity* current = nullptr;

}  // namespace

const ThreadIdentity* current_thread_identity() { return current; }

void set_current_thread_identity(const ThreadIdentity* identity) { current = identity; }

}  // namespace vp
