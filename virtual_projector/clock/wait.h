// Why a thread waits, and how its wait ends.
#ifndef VIRTUAL_PROJECTOR_CLOCK_WAIT_H
#define VIRTUAL_PROJECTOR_CLOCK_WAIT_H

#include <string>

#include "virtual_projector/world/microseconds.h"

namespace vp {

/// For a deadline: wait without one.
constexpr Microseconds no_deadline = -1;

struct Wait {
    enum class Kind {
        sleep,
        mutex,
        read_write_lock,
        spin_lock,
        semaphore,
        condition,
        barrier,
        once,
        futex,
        join,
        device,
        descriptor,
        message_queue,
        signal,
        child,
    };
    Kind kind = Kind::sleep;
    const void* object = nullptr;  // what wake_one and wake_all name; null: only the deadline ends the wait
    std::string what;              // for the table
};

enum class WaitEnd {
    woken,
    timed_out,
    interrupted,  // by a signal of the thread's
};

}  // namespace vp

#endif
