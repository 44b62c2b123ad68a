// The kernel's futexes in virtual time, as programs and language libraries call them by number: waits of atomic
// variables, futures, latches and function-local statics all end here.
//
// A thread of the program's waits in the scheduler. A wake reaches the program's threads first, in the order in
// which they came, and then those that wait in the kernel. A wake from the kernel's side (another process, a
// thread that is none of the program's) does not reach the program's threads.
#ifndef VIRTUAL_PROJECTOR_INTERPOSE_FUTEXES_H
#define VIRTUAL_PROJECTOR_INTERPOSE_FUTEXES_H

#include <time.h>

#include <cstdint>
#include <deque>
#include <optional>
#include <unordered_map>

#include "virtual_projector/clock/thread_scheduler.h"
#include "virtual_projector/interpose/program_time.h"
#include "virtual_projector/interpose/program_waits.h"

namespace vp {

/// The arguments of the system call.
struct FutexCall {
    std::uint32_t* word = nullptr;
    int operation = 0;  // with its flags
    std::uint32_t value = 0;
    const timespec* timeout = nullptr;  // of waits
    std::uint32_t second_value = 0;     // of the others: in the place of the timeout
    std::uint32_t* second_word = nullptr;
    std::uint32_t third_value = 0;
};

class Futexes {
public:
    Futexes(ThreadScheduler& scheduler, ProgramWaits& waits, ProgramTime& time)
        : scheduler_(scheduler), waits_(waits), time_(time) {}

    /// The result, or a negated errno. Nothing: the kernel is to answer.
    std::optional<long> call(const FutexCall& call);

    /// True when the operation is a wait, which has a timeout.
    static bool is_wait(int operation);

private:
    struct Waiter {
        const std::uint32_t* word;
        std::uint32_t bits;
        bool is_woken = false;
    };
    using Waiters = std::deque<Waiter*>;

    long wait(const FutexCall& call, std::uint32_t bits);
    long wait_until(const FutexCall& call, std::uint32_t bits, Microseconds deadline);
    std::optional<Microseconds> deadline_of(const FutexCall& call) const;
    long wake(std::uint32_t* word, std::uint32_t count, std::uint32_t bits, int flags);
    long wake_known(const std::uint32_t* word, std::uint32_t count, std::uint32_t bits);
    long wake_after_operation(const FutexCall& call);
    long requeue(const FutexCall& call);
    std::uint32_t move_known(const std::uint32_t* from, const std::uint32_t* to, std::uint32_t count);
    void leave(Waiter& waiter);

    ThreadScheduler& scheduler_;
    ProgramWaits& waits_;
    ProgramTime& time_;
    std::unordered_map<const std::uint32_t*, Waiters> waiters_;  // by word, in the order in which they came
};

}  // namespace vp

#endif
