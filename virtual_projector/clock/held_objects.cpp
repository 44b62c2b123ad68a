#include "virtual_projector/clock/held_objects.h"

#include <algorithm>

namespace vp {

void HeldObjects::hold(const void* object, const ScheduledThread& thread) {
    Holder& holder = holders_.try_emplace(object, Holder{&thread, 0}).first->second;
    // Whoever gets hold of it has it alone: what another still held there is void.
    if (holder.thread != &thread) holder = {&thread, 0};
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

bool HeldObjects::holds_any(const ScheduledThread& thread) const {
    return std::any_of(holders_.begin(), holders_.end(),
                       [&thread](const auto& held) { return held.second.thread == &thread; });
}

}  // namespace vp
