// Entry point of the C library: system calls by their numbers. Symbols only.
//
// Those that wait, tell the time or touch files go to the entry points of the same meaning; futexes are the
// machine's own. Everything else is the kernel's.
#undef _FORTIFY_SOURCE
#include <fcntl.h>
#include <linux/futex.h>
#include <poll.h>
#include <sched.h>
#include <signal.h>
#include <stdarg.h>
#include <sys/epoll.h>
#include <sys/ioctl.h>
#include <sys/random.h>
#include <sys/select.h>
#include <sys/syscall.h>
#include <sys/time.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <optional>

#include "virtual_projector/interpose/ask_machine.h"
#include "virtual_projector/interpose/real_calls.h"
#include "virtual_projector/interpose/timeouts.h"

extern "C" int pidfd_open(pid_t process, unsigned flags) noexcept;  // its header forgets to say C

namespace real = vp::real;
using vp::ask_in_virtual_time;
using vp::Machine;
using vp::with_errno;

namespace {

// On the board's processor a call may have one more than elsewhere: 64-bit numbers begin at an even place.
#ifdef __mips__
constexpr std::size_t argument_count = 7;
#else
constexpr std::size_t argument_count = 6;
#endif
using Arguments = std::array<long, argument_count>;

template <typename Value>
Value* pointer(long argument) {
    return reinterpret_cast<Value*>(argument);
}

int number(long argument) { return static_cast<int>(argument); }

long call_kernel(long call, const Arguments& a) {
#ifdef __mips__
    return real::syscall(call, a[0], a[1], a[2], a[3], a[4], a[5], a[6]);
#else
    return real::syscall(call, a[0], a[1], a[2], a[3], a[4], a[5]);
#endif
}

// A failure that is returned, as system calls report it: -1 and errno.
long with_failure(int failure) { return with_errno(-failure); }

// The kernel's record of times, which has 64 bits everywhere.
struct KernelTime {
    std::int64_t seconds;
    std::int64_t nanoseconds;
};

// The C library's record for one of the kernel's that may be null.
class Time {
public:
    explicit Time(const KernelTime* kernels) : present_(kernels != nullptr) {
        if (!present_) return;
        time_ = {static_cast<time_t>(std::min<std::int64_t>(kernels->seconds, vp::max_seconds)),
                 static_cast<long>(kernels->nanoseconds)};
    }
    const timespec* get() const { return present_ ? &time_ : nullptr; }

private:
    bool present_;
    timespec time_{};
};

// The C library's set of signals is larger than the kernel's.
class SignalMask {
public:
    SignalMask(const void* kernels, std::size_t size) : present_(kernels != nullptr) {
        ::sigemptyset(&mask_);
        if (kernels != nullptr) std::memcpy(&mask_, kernels, std::min(size, sizeof mask_));
    }
    const sigset_t* get() const { return present_ ? &mask_ : nullptr; }

private:
    bool present_;
    sigset_t mask_{};
};

// --- Calls with arguments of their own shape
// -------------------------------------------------------------------

std::optional<long> futex(const Arguments& a, const timespec* timeout) {
    vp::FutexCall call;
    call.word = pointer<std::uint32_t>(a[0]);
    call.operation = number(a[1]);
    call.value = static_cast<std::uint32_t>(a[2]);
    call.timeout = timeout;
    call.second_value = static_cast<std::uint32_t>(a[3]);
    call.second_word = pointer<std::uint32_t>(a[4]);
    call.third_value = static_cast<std::uint32_t>(a[5]);
    const auto result = ask_in_virtual_time([&](Machine& m) { return m.futexes().call(call); });
    if (!result) return std::nullopt;
    return with_errno(*result);
}

long poll_with_mask(const Arguments& a, const timespec* length) {
    const SignalMask mask(pointer<void>(a[3]), static_cast<std::size_t>(a[4]));
    return ::ppoll(pointer<pollfd>(a[0]), static_cast<nfds_t>(a[1]), length, mask.get());
}

long select_with_mask(const Arguments& a, const timespec* length) {
    struct MaskAndSize {
        const void* mask;
        std::size_t size;
    };
    const auto* given = pointer<MaskAndSize>(a[5]);
    const SignalMask mask(given == nullptr ? nullptr : given->mask, given == nullptr ? 0 : given->size);
    return ::pselect(number(a[0]), pointer<fd_set>(a[1]), pointer<fd_set>(a[2]), pointer<fd_set>(a[3]), length,
                     mask.get());
}

long wait_for_events(const Arguments& a) {
    const SignalMask mask(pointer<void>(a[4]), static_cast<std::size_t>(a[5]));
    return ::epoll_pwait(number(a[0]), pointer<epoll_event>(a[1]), number(a[2]), number(a[3]), mask.get());
}

// --- By number
// -------------------------------------------------------------------------------------------------

// Files.
std::optional<long> answer_for_files(long call, const Arguments& a) {
    switch (call) {
        case SYS_read:
            return ::read(number(a[0]), pointer<void>(a[1]), static_cast<std::size_t>(a[2]));
        case SYS_write:
            return ::write(number(a[0]), pointer<void>(a[1]), static_cast<std::size_t>(a[2]));
        case SYS_close:
            return ::close(number(a[0]));
        case SYS_ioctl:
            return ::ioctl(number(a[0]), static_cast<unsigned long>(a[1]), pointer<void>(a[2]));
#ifdef SYS_open
        case SYS_open:
            return ::open(pointer<char>(a[0]), number(a[1]), static_cast<mode_t>(a[2]));
#endif
        case SYS_openat:
            return ::openat(number(a[0]), pointer<char>(a[1]), number(a[2]), static_cast<mode_t>(a[3]));
        case SYS_pidfd_open:
            return ::pidfd_open(number(a[0]), static_cast<unsigned>(a[1]));
        case SYS_getrandom:
            return ::getrandom(pointer<void>(a[0]), static_cast<std::size_t>(a[1]),
                               static_cast<unsigned>(a[2]));
        default:
            return std::nullopt;
    }
}

// Waiting for descriptors and signals.
std::optional<long> answer_for_waits(long call, const Arguments& a) {
    switch (call) {
#ifdef SYS_poll
        case SYS_poll:
            return ::poll(pointer<pollfd>(a[0]), static_cast<nfds_t>(a[1]), number(a[2]));
#endif
        case SYS_ppoll:
            return poll_with_mask(a, pointer<timespec>(a[2]));
#ifdef SYS_select
        case SYS_select:
#else
        case SYS__newselect:
#endif
            return ::select(number(a[0]), pointer<fd_set>(a[1]), pointer<fd_set>(a[2]), pointer<fd_set>(a[3]),
                            pointer<timeval>(a[4]));
        case SYS_pselect6:
            return select_with_mask(a, pointer<timespec>(a[4]));
#ifdef SYS_epoll_wait
        case SYS_epoll_wait:
            return ::epoll_wait(number(a[0]), pointer<epoll_event>(a[1]), number(a[2]), number(a[3]));
#endif
        case SYS_epoll_pwait:
            return wait_for_events(a);
#ifdef SYS_pause
        case SYS_pause:
            return ::pause();
#endif
        case SYS_futex:
            return futex(a, vp::Futexes::is_wait(number(a[1])) ? pointer<timespec>(a[3]) : nullptr);
        default:
            return std::nullopt;
    }
}

// Signals that a program sends itself.
std::optional<long> answer_for_signals(long call, const Arguments& a) {
    switch (call) {
        case SYS_kill:
            return ::kill(static_cast<pid_t>(a[0]), number(a[1]));
        case SYS_tgkill:
            return ::tgkill(static_cast<pid_t>(a[0]), static_cast<pid_t>(a[1]), number(a[2]));
        case SYS_tkill:
            return ::tgkill(::getpid(), static_cast<pid_t>(a[0]), number(a[1]));
        default:
            return std::nullopt;
    }
}

// Sleeping, clocks and turns.
std::optional<long> answer_for_time(long call, const Arguments& a) {
    switch (call) {
        case SYS_nanosleep:
            return ::nanosleep(pointer<timespec>(a[0]), pointer<timespec>(a[1]));
        case SYS_clock_nanosleep:
            return with_failure(::clock_nanosleep(static_cast<clockid_t>(a[0]), number(a[1]),
                                                  pointer<timespec>(a[2]), pointer<timespec>(a[3])));
        case SYS_clock_gettime:
            return ::clock_gettime(static_cast<clockid_t>(a[0]), pointer<timespec>(a[1]));
        case SYS_gettimeofday:
            return ::gettimeofday(pointer<timeval>(a[0]), pointer<void>(a[1]));
#ifdef SYS_time
        case SYS_time:
            return ::time(pointer<time_t>(a[0]));
#endif
        case SYS_sched_yield:
            return ::sched_yield();
        default:
            return std::nullopt;
    }
}

#ifdef SYS_futex_time64
// The same with 64-bit times, where those of the C library have 32.
std::optional<long> answer_for_long_times(long call, const Arguments& a) {
    timespec shown{};
    long result = 0;
    switch (call) {
        case SYS_futex_time64:
            return futex(a,
                         Time(vp::Futexes::is_wait(number(a[1])) ? pointer<KernelTime>(a[3]) : nullptr).get());
        case SYS_ppoll_time64:
            return poll_with_mask(a, Time(pointer<KernelTime>(a[2])).get());
        case SYS_pselect6_time64:
            return select_with_mask(a, Time(pointer<KernelTime>(a[4])).get());
        case SYS_clock_gettime64:
            result = ::clock_gettime(static_cast<clockid_t>(a[0]), &shown);
            if (result == 0) *pointer<KernelTime>(a[1]) = {shown.tv_sec, shown.tv_nsec};
            return result;
        case SYS_clock_nanosleep_time64:
            result = with_failure(::clock_nanosleep(static_cast<clockid_t>(a[0]), number(a[1]),
                                                    Time(pointer<KernelTime>(a[2])).get(), &shown));
            if (result != 0 && errno == EINTR && a[3] != 0)
                *pointer<KernelTime>(a[3]) = {shown.tv_sec, shown.tv_nsec};
            return result;
        default:
            return std::nullopt;
    }
}
#else
std::optional<long> answer_for_long_times(long /*call*/, const Arguments& /*a*/) { return std::nullopt; }
#endif

std::optional<long> answer(long call, const Arguments& a) {
    if (Machine::active() == nullptr) return std::nullopt;
    if (const auto result = answer_for_time(call, a)) return result;
    if (const auto result = answer_for_waits(call, a)) return result;
    if (const auto result = answer_for_files(call, a)) return result;
    if (const auto result = answer_for_signals(call, a)) return result;
    return answer_for_long_times(call, a);
}

}  // namespace

extern "C" {

// Asked for by name when a program is linked: the other names may be found elsewhere first.
extern const char vp_interposed_syscall_calls[];
const char vp_interposed_syscall_calls[] = "interposed calls of the virtual projector: syscall";

// How many arguments a call has only its number says; to take more of them than there are does no harm, which
// a sanitizer cannot know.
__attribute__((no_sanitize("address"))) long syscall(long call, ...) noexcept {
    Arguments arguments{};
    va_list given;
    va_start(given, call);
    for (long& argument : arguments) argument = va_arg(given, long);
    va_end(given);
    const auto result = answer(call, arguments);
    return result ? *result : call_kernel(call, arguments);
}

}  // extern "C"
