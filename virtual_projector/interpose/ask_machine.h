// How an entry point of the C library asks the machine before it turns to the C library itself.
#ifndef VIRTUAL_PROJECTOR_INTERPOSE_ASK_MACHINE_H
#define VIRTUAL_PROJECTOR_INTERPOSE_ASK_MACHINE_H

#include <pthread.h>

#include <cerrno>
#include <cstdio>
#include <optional>

#include "virtual_projector/clock/reentrancy_guard.h"
#include "virtual_projector/interpose/machine.h"

namespace vp {

/// Around each call that the machine answers.
class Answering {
public:
    explicit Answering(Machine& machine) : machine_(machine) { machine_.begin_call(); }
    ~Answering() { machine_.end_call(); }
    Answering(const Answering&) = delete;
    Answering& operator=(const Answering&) = delete;

private:
    const ReentrancyGuard guard_;
    Machine& machine_;
};

/// What the machine has to say; nothing when the call is not for it.
template <typename Question>
std::optional<long> ask_machine(Question question) {
    Machine* machine = Machine::active();
    if (machine == nullptr) return std::nullopt;
    const Answering answering(*machine);
    return question(*machine);
}

/// The same of what is the machine's in virtual time only.
template <typename Question>
std::optional<long> ask_in_virtual_time(Question question) {
    Machine* machine = Machine::active();
    if (machine == nullptr || machine->locks() == nullptr) return std::nullopt;
    const Answering answering(*machine);
    return question(*machine);
}

/// The same of locks, which are the machine's in virtual time only.
template <typename Question>
std::optional<int> ask_locks(Question question) {
    Machine* machine = Machine::active();
    if (machine == nullptr || machine->locks() == nullptr) return std::nullopt;
    const Answering answering(*machine);
    return question(*machine->locks());
}

/// A failure as the C library's calls report it: -1 and errno.
inline long with_errno(long result) {
    if (result >= 0) return result;
    errno = static_cast<int>(-result);
    return -1;
}

/// For what cannot be simulated: says so, and fails as a call that there is not.
inline long refuse(const char* what, const char* instead) {
    std::fprintf(stderr, "virtual-projector: %s is not simulated; expected %s\n", what, instead);
    return -ENOSYS;
}

/// Where POSIX lets a thread be ended by another's pthread_cancel.
inline void end_if_cancelled() {
    Machine* const machine = Machine::active();
    if (machine != nullptr && machine->signals() != nullptr && machine->signals()->is_cancelled())
        ::pthread_testcancel();
}

/// The machine's answer, or what the C library says, which `real` asks.
template <typename Result, typename Question, typename Real>
Result answer(Question question, Real real) {
    const std::optional<long> result = ask_machine(question);
    if (!result) return real();
    if (*result == -EINTR) end_if_cancelled();
    return static_cast<Result>(with_errno(*result));
}

/// A descriptor that the C library has made: nothing that was known of its number holds any more.
inline int made(int descriptor) {
    if (descriptor < 0) return descriptor;
    (void)ask_machine([&](Machine& m) {
        m.forget_descriptor(descriptor);
        return std::optional<long>();
    });
    return descriptor;
}

}  // namespace vp

#endif
