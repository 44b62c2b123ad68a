#include "virtual_projector/clock/held_objects.h"

namespace vp {

void HeldObjects::hold(const void* object, const ScheduledThread& thread) {
    Holder& holder = holders_.try_emplace(object, Holder{&thread, 0}).first->second;
    holder.thread = &thread;
    ++holder.depth;
}

bool HeldObjects::release(const void* object) {
    const auto found = holders_.find(object);
    if (found == holders_.end()) return true;
    if (--found->second.depth > 0) return false;
    holders_.erase(found);
    return true;
}

const ScheduledThread* HeldObjects::holder_of(const void* object) const {
    const auto found = holders_.find(object);
    return found == holders_.end() ? nullptr : found->second.thread;
}

}  // namespace vp
