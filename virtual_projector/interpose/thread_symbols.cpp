// Entry points of the C library: threads. Symbols only.
#undef _FORTIFY_SOURCE
#include <pthread.h>
#include <sched.h>
#include <time.h>

#include <cerrno>
#include <optional>

#include "virtual_projector/interpose/ask_machine.h"
#include "virtual_projector/interpose/real_calls.h"
#include "virtual_projector/interpose/timeouts.h"

namespace real = vp::real;
using vp::ask_machine;
using vp::Machine;

extern "C" {

// Asked for by name when a program is linked: the other names may be found elsewhere first.
extern const char vp_interposed_thread_calls[];
const char vp_interposed_thread_calls[] = "interposed calls of the virtual projector: thread";

int pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*entry)(void*),
                   void* argument) noexcept {
    const auto result = ask_machine([&](Machine& m) {
        return std::optional<long>(m.threads().create(thread, attributes, entry, argument));
    });
    return result ? static_cast<int>(*result) : real::pthread_create(thread, attributes, entry, argument);
}

int pthread_join(pthread_t thread, void** value) {
    const auto result =
        ask_machine([&](Machine& m) { return std::optional<long>(m.threads().join(thread, value)); });
    return result ? static_cast<int>(*result) : real::pthread_join(thread, value);
}

int pthread_tryjoin_np(pthread_t thread, void** value) noexcept {
    const auto result =
        ask_machine([&](Machine& m) { return std::optional<long>(m.threads().try_join(thread, value)); });
    return result ? static_cast<int>(*result) : real::pthread_tryjoin_np(thread, value);
}

int pthread_clockjoin_np(pthread_t thread, void** value, clockid_t clock, const timespec* until) {
    const auto result = ask_machine([&](Machine& m) -> std::optional<long> {
        if (until == nullptr) return m.threads().join(thread, value);
        if (!vp::has_timed_locks(clock) || !vp::has_valid_nanoseconds(*until)) return EINVAL;
        return m.threads().join_until(thread, value, m.time().to_virtual(clock, vp::bounded(*until)));
    });
    if (result) return static_cast<int>(*result);
    const int failure = real::pthread_clockjoin_np(thread, value, clock, until);
    if (failure == 0) {
        (void)ask_machine([&](Machine& m) {
            m.threads().joined_elsewhere(thread);
            return std::optional<long>();
        });
    }
    return failure;
}

int pthread_timedjoin_np(pthread_t thread, void** value, const timespec* until) {
    return pthread_clockjoin_np(thread, value, CLOCK_REALTIME, until);
}

int pthread_detach(pthread_t thread) noexcept {
    const auto result =
        ask_machine([&](Machine& m) { return std::optional<long>(m.threads().detach(thread)); });
    return result ? static_cast<int>(*result) : real::pthread_detach(thread);
}

int pthread_cancel(pthread_t thread) {
    const auto result = ask_machine([&](Machine& m) {
        return m.signals() == nullptr ? std::nullopt : std::optional<long>(m.signals()->cancel(thread));
    });
    return result ? static_cast<int>(*result) : real::pthread_cancel(thread);
}

int sched_yield() noexcept {
    const auto result = ask_machine([&](Machine& m) { return m.threads().yield(); });
    return result ? 0 : real::sched_yield();
}

void pthread_exit(void* value) {
    (void)ask_machine([&](Machine& m) {
        m.threads().exit_current();
        return std::optional<long>();
    });
    real::pthread_exit(value);
    __builtin_unreachable();
}

}  // extern "C"
