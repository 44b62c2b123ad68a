// Entry points of the C library: signals. Symbols only.
#undef _FORTIFY_SOURCE
#include <signal.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <optional>

#include "virtual_projector/interpose/ask_machine.h"
#include "virtual_projector/interpose/real_calls.h"

namespace real = vp::real;
using vp::ask_machine;
using vp::Machine;
using vp::made;

namespace {

// Signals are the machine's in virtual time only.
template <typename Question>
std::optional<long> ask_signals(Question question) {
    return ask_machine([&](Machine& m) {
        return m.signals() == nullptr ? std::nullopt : std::optional<long>(question(*m.signals()));
    });
}

template <typename Question>
std::optional<long> ask_signal_waits(Question question) {
    return ask_machine([&](Machine& m) {
        return m.is_virtual() ? std::optional<long>(question(m.signal_waits())) : std::nullopt;
    });
}

constexpr int signals_in_a_word = 32;

int change_mask(int how, int mask) {
    sigset_t set;
    sigset_t before;
    ::sigemptyset(&set);
    for (int signal = 1; signal <= signals_in_a_word; ++signal) {
        if ((static_cast<unsigned>(mask) >> (signal - 1) & 1U) != 0) ::sigaddset(&set, signal);
    }
    if (::sigprocmask(how, &set, &before) != 0) return -1;
    unsigned word = 0;
    for (int signal = 1; signal <= signals_in_a_word; ++signal) {
        if (::sigismember(&before, signal) == 1) word |= 1U << (signal - 1);
    }
    return static_cast<int>(word);
}

}  // namespace

extern "C" {

// Asked for by name when a program is linked: the other names may be found elsewhere first.
extern const char vp_interposed_signal_calls[];
const char vp_interposed_signal_calls[] = "interposed calls of the virtual projector: signal";

int sigaction(int signal, const struct sigaction* action, struct sigaction* before) noexcept {
    const auto result =
        ask_signals([&](vp::ProgramSignals& signals) { return signals.set_action(signal, action, before); });
    return result ? static_cast<int>(vp::with_errno(*result)) : real::sigaction(signal, action, before);
}

sighandler_t signal(int signal, sighandler_t handler) noexcept {
    struct sigaction action {};
    struct sigaction before {};
    action.sa_handler = handler;
    action.sa_flags = SA_RESTART;
    ::sigemptyset(&action.sa_mask);
    const auto result =
        ask_signals([&](vp::ProgramSignals& signals) { return signals.set_action(signal, &action, &before); });
    if (!result) return real::signal(signal, handler);
    return vp::with_errno(*result) == 0 ? before.sa_handler : SIG_ERR;
}

int pthread_sigmask(int how, const sigset_t* set, sigset_t* before) noexcept {
    const auto result =
        ask_signals([&](vp::ProgramSignals& signals) { return signals.set_mask(how, set, before); });
    return result ? static_cast<int>(*result) : real::pthread_sigmask(how, set, before);
}

int sigprocmask(int how, const sigset_t* set, sigset_t* before) noexcept {
    const int failure = ::pthread_sigmask(how, set, before);
    if (failure == 0) return 0;
    errno = failure;
    return -1;
}

// BSD's masks, the first 32 signals in a word; dash, Debian's sh, calls sigsetmask around each child.
int sigblock(int mask) noexcept { return change_mask(SIG_BLOCK, mask); }
int sigsetmask(int mask) noexcept { return change_mask(SIG_SETMASK, mask); }
int siggetmask() noexcept { return change_mask(SIG_BLOCK, 0); }

int kill(pid_t process, int number) noexcept {
    const auto result = ask_machine([&](Machine& m) {
        return process == ::getpid() && m.signals() != nullptr
                   ? std::optional<long>(m.signals()->kill(number, SI_USER, {}))
                   : std::nullopt;
    });
    return result ? static_cast<int>(vp::with_errno(*result)) : real::kill(process, number);
}

int sigqueue(pid_t process, int number, const sigval value) noexcept {
    const auto result = ask_machine([&](Machine& m) {
        return process == ::getpid() && m.signals() != nullptr
                   ? std::optional<long>(m.signals()->kill(number, SI_QUEUE, value))
                   : std::nullopt;
    });
    return result ? static_cast<int>(vp::with_errno(*result)) : real::sigqueue(process, number, value);
}

int pthread_kill(pthread_t thread, int number) noexcept {
    const auto result =
        ask_signals([&](vp::ProgramSignals& signals) { return signals.kill_thread(thread, number, nullptr); });
    return result ? static_cast<int>(*result) : real::pthread_kill(thread, number);
}

int pthread_sigqueue(pthread_t thread, int number, const sigval value) noexcept {
    const auto result =
        ask_signals([&](vp::ProgramSignals& signals) { return signals.kill_thread(thread, number, &value); });
    return result ? static_cast<int>(*result) : real::pthread_sigqueue(thread, number, value);
}

int tgkill(pid_t process, pid_t thread, int number) {
    const auto result = ask_machine([&](Machine& m) {
        return process == ::getpid() && m.signals() != nullptr ? m.signals()->kill_kernel_thread(thread, number)
                                                               : std::nullopt;
    });
    return result ? static_cast<int>(vp::with_errno(*result)) : real::tgkill(process, thread, number);
}

int raise(int number) noexcept {
    const int failure = ::pthread_kill(::pthread_self(), number);
    if (failure == 0) return 0;
    errno = failure;
    return -1;
}

int pause() {
    const auto result = ask_signal_waits([&](vp::SignalWaits& waits) { return waits.suspend(nullptr); });
    return result ? static_cast<int>(vp::with_errno(*result)) : real::pause();
}

int sigsuspend(const sigset_t* mask) {
    const auto result = ask_signal_waits([&](vp::SignalWaits& waits) { return waits.suspend(mask); });
    return result ? static_cast<int>(vp::with_errno(*result)) : real::sigsuspend(mask);
}

int sigtimedwait(const sigset_t* set, siginfo_t* info, const timespec* length) {
    const auto result = ask_signal_waits([&](vp::SignalWaits& waits) { return waits.take(set, info, length); });
    return result ? static_cast<int>(vp::with_errno(*result)) : real::sigtimedwait(set, info, length);
}

int sigwaitinfo(const sigset_t* set, siginfo_t* info) { return sigtimedwait(set, info, nullptr); }

// Handlers that run meanwhile do not end it.
int sigwait(const sigset_t* set, int* number) {
    for (;;) {
        const int taken = sigtimedwait(set, nullptr, nullptr);
        if (taken > 0) *number = taken;
        if (taken > 0) return 0;
        if (errno != EINTR) return errno;
    }
}

int signalfd(int descriptor, const sigset_t* set, int flags) noexcept {
    (void)ask_signals([&](vp::ProgramSignals& signals) {
        signals.note_signal_descriptor(*set);
        return 0;
    });
    return made(real::signalfd(descriptor, set, flags));
}

}  // extern "C"
