// What each thread waits for, in words: for a run in which none can go on.
#ifndef VIRTUAL_PROJECTOR_CLOCK_THREAD_TABLE_H
#define VIRTUAL_PROJECTOR_CLOCK_THREAD_TABLE_H

#include <string>

#include "virtual_projector/clock/held_objects.h"
#include "virtual_projector/clock/scheduled_thread.h"

namespace vp {

/// "12.500000 s"
std::string format_seconds(Microseconds time);

/// One line: number, name, what the thread waits for, since when, until when.
std::string format_thread(const ScheduledThread& thread, const HeldObjects& held);

}  // namespace vp

#endif
