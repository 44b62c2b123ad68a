// A thread of the program as a scheduler of turns knows it.
#ifndef VIRTUAL_PROJECTOR_CLOCK_SCHEDULED_THREAD_H
#define VIRTUAL_PROJECTOR_CLOCK_SCHEDULED_THREAD_H

#include <atomic>
#include <cstdint>
#include <string>
#include <utility>

#include "virtual_projector/clock/turn.h"
#include "virtual_projector/clock/wait.h"
#include "virtual_projector/world/microseconds.h"

namespace vp {

class TurnScheduler;

struct ScheduledThread {
    enum class State {
        ready,
        running,
        waiting,
        without_turn,  // it runs all the same: it made no call for so long that its turn was taken away
        finished
    };
    enum class Place { program, call, lost };  // lost: in the program, and its turn has been taken away

    ScheduledThread(TurnScheduler* its_scheduler, int its_number, std::string its_name)
        : scheduler(its_scheduler), number(its_number), name(std::move(its_name)) {}

    std::string title() const { return name.empty() ? "thread " + std::to_string(number) : name; }

    TurnScheduler* scheduler;  // whose thread this is
    int number;
    std::string name;
    State state = State::ready;
    Turn turn;
    std::uint64_t wait_number = 0;        // counts its waits: the deadline of one that ended early is void
    Wait reason;                          // of the present wait
    Microseconds since = 0;               // of the present wait
    Microseconds deadline = no_deadline;  // of the present wait
    WaitEnd end = WaitEnd::woken;         // of the last wait
    bool is_in_wait = false;              // or it has ended, and the thread has not had its turn since
    int calls_without_wait = 0;
    bool only_serves = false;            // one of the library's own endless loops
    std::string innermost;               // function of the program at work, in a table at the run's end
    std::atomic<bool> is_asked{false};   // the turn comes with the question where it is
    std::atomic<bool> is_wanted{false};  // its answer still is
    Turn answered;
    std::atomic<int> kernel_id{0};  // 0: it has not begun
    std::atomic<Place> place{Place::call};
    int call_depth = 0;  // of calls that the machine answers, one in the other
};

}  // namespace vp

#endif
