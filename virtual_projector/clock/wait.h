// Why a thread waits, and how its wait ends.
#ifndef VIRTUAL_PROJECTOR_CLOCK_WAIT_H
#define VIRTUAL_PROJECTOR_CLOCK_WAIT_H

#include <optional>
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
    /// The same for a trace, where `what` holds numbers that only this PC gives.
    std::optional<std::string> recorded_as = std::nullopt;
    /// Of one look of many at something that tells nobody when it changes: when the first of them began. They
    /// are one wait.
    std::optional<Microseconds> since = std::nullopt;
};

/// "condition", "end of", "descriptor", …
const char* name_of(Wait::Kind kind);

enum class WaitEnd {
    woken,
    timed_out,
    interrupted,  // by a signal of the thread's
};

/// "woken", "timed out", "interrupted"
const char* name_of(WaitEnd end);

}  // namespace vp

#endif
