// Entry points of the C library: System V message queues and semaphore sets. Symbols only.
#undef _FORTIFY_SOURCE
#include <stdarg.h>
#include <sys/msg.h>
#include <sys/sem.h>

#include <optional>

#include "virtual_projector/interpose/ask_machine.h"
#include "virtual_projector/interpose/queue_control.h"
#include "virtual_projector/interpose/real_calls.h"

namespace vp {

void note_queue_control(int queue, int command) {
    if (command != IPC_RMID && command != IPC_SET) return;
    (void)ask_in_virtual_time([&](Machine& m) {
        m.system_v_queues().queue_changed(queue);
        return std::optional<long>(0);
    });
}

void note_set_control(int set, int command) {
    if (command != IPC_RMID && command != IPC_SET && command != SETVAL && command != SETALL) return;
    (void)ask_in_virtual_time([&](Machine& m) {
        m.system_v_queues().set_changed(set);
        return std::optional<long>(0);
    });
}

}  // namespace vp

namespace real = vp::real;
using vp::ask_in_virtual_time;
using vp::Machine;
using vp::with_errno;

extern "C" {

// Asked for by name when a program is linked: the other names may be found elsewhere first.
extern const char vp_interposed_system_v_calls[];
const char vp_interposed_system_v_calls[] = "interposed calls of the virtual projector: system_v";

int msgsnd(int queue, const void* message, size_t size, int flags) {
    const auto result = ask_in_virtual_time(
        [&](Machine& m) { return std::optional<long>(m.system_v_queues().send(queue, message, size, flags)); });
    return result ? static_cast<int>(with_errno(*result)) : real::msgsnd(queue, message, size, flags);
}

ssize_t msgrcv(int queue, void* message, size_t size, long type, int flags) {
    const auto result = ask_in_virtual_time([&](Machine& m) {
        return std::optional<long>(m.system_v_queues().receive(queue, message, size, type, flags));
    });
    return result ? with_errno(*result) : real::msgrcv(queue, message, size, type, flags);
}

int msgctl(int queue, int command, msqid_ds* data) noexcept {
    const int result = real::msgctl(queue, command, data);
    if (result >= 0) vp::note_queue_control(queue, command);
    return result;
}

int semop(int set, sembuf* operations, size_t count) noexcept {
    const auto result = ask_in_virtual_time([&](Machine& m) {
        return std::optional<long>(m.system_v_queues().operate(set, operations, count, nullptr));
    });
    return result ? static_cast<int>(with_errno(*result)) : real::semop(set, operations, count);
}

int semtimedop(int set, sembuf* operations, size_t count, const timespec* timeout) noexcept {
    const auto result = ask_in_virtual_time([&](Machine& m) {
        return std::optional<long>(m.system_v_queues().operate(set, operations, count, timeout));
    });
    return result ? static_cast<int>(with_errno(*result)) : real::semtimedop(set, operations, count, timeout);
}

int semctl(int set, int number, int command, ...) noexcept {
    va_list arguments;
    va_start(arguments, command);
    void* argument = va_arg(arguments, void*);  // a union as large as a pointer, or nothing
    va_end(arguments);
    const int result = real::semctl(set, number, command, argument);
    if (result >= 0) vp::note_set_control(set, command);
    return result;
}

}  // extern "C"
