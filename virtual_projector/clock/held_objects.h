// Who holds which lock.
#ifndef VIRTUAL_PROJECTOR_CLOCK_HELD_OBJECTS_H
#define VIRTUAL_PROJECTOR_CLOCK_HELD_OBJECTS_H

#include <unordered_map>

#include "virtual_projector/clock/scheduled_thread.h"

namespace vp {

class HeldObjects {
public:
    void hold(const void* object, const ScheduledThread& thread);
    /// One hold less. True when nobody holds the object any more.
    bool release(const void* object);
    /// Null when no known thread does.
    const ScheduledThread* holder_of(const void* object) const;
    bool holds_any(const ScheduledThread& thread) const;

private:
    struct Holder {
        const ScheduledThread* thread;
        int depth;
    };
    std::unordered_map<const void*, Holder> holders_;
};

}  // namespace vp

#endif
