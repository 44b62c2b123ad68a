// A thread of the program as a scheduler of turns knows it.
#ifndef VIRTUAL_PROJECTOR_CLOCK_SCHEDULED_THREAD_H
#define VIRTUAL_PROJECTOR_CLOCK_SCHEDULED_THREAD_H

#include <cstdint>
#include <string>
#include <utility>

#include "virtual_projector/clock/turn.h"
#include "virtual_projector/clock/wait.h"
#include "virtual_projector/world/microseconds.h"

namespace vp {

struct ScheduledThread {
    enum class State { ready, running, waiting, finished };

    ScheduledThread(const void* its_scheduler, int its_number, std::string its_name)
        : scheduler(its_scheduler), number(its_number), name(std::move(its_name)) {}

    std::string title() const { return name.empty() ? "thread " + std::to_string(number) : name; }

    const void* scheduler;  // whose thread this is
    int number;
    std::string name;
    State state = State::ready;
    Turn turn;
    std::uint64_t wait_number = 0;        // counts its waits: the deadline of one that ended early is void
    Wait reason;                          // of the present wait
    Microseconds since = 0;               // of the present wait
    Microseconds deadline = no_deadline;  // of the present wait
    WaitEnd end = WaitEnd::woken;         // of the last wait
    int calls_without_wait = 0;
};

}  // namespace vp

#endif
