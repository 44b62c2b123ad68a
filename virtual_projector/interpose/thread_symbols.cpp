// Entry points of the C library: threads. Symbols only.
#undef _FORTIFY_SOURCE
#include <pthread.h>

#include <optional>

#include "virtual_projector/interpose/ask_machine.h"
#include "virtual_projector/interpose/real_calls.h"

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

int pthread_detach(pthread_t thread) noexcept {
    const auto result =
        ask_machine([&](Machine& m) { return std::optional<long>(m.threads().detach(thread)); });
    return result ? static_cast<int>(*result) : real::pthread_detach(thread);
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
