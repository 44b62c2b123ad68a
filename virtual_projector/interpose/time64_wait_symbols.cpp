// Entry points for programs built with 64-bit times on a 32-bit machine: timers, descriptors, queues, children.
// Symbols only.
#undef _FORTIFY_SOURCE
#include <bits/timesize.h>

#if __TIMESIZE == 32

#include <aio.h>
#include <fcntl.h>
#include <mqueue.h>
#include <poll.h>
#include <signal.h>
#include <stdarg.h>
#include <sys/epoll.h>
#include <sys/resource.h>
#include <sys/select.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/timerfd.h>
#include <sys/wait.h>
#include <time.h>

#include <cstdint>

#include "virtual_projector/interpose/real_calls.h"
#include "virtual_projector/interpose/time64.h"

namespace real = vp::real;
using vp::time64::Itimerspec64;
using vp::time64::Itimerval64;
using vp::time64::machine_answers;
using vp::time64::Narrow;
using vp::time64::narrowed;
using vp::time64::Timespec64;
using vp::time64::Timeval64;
using vp::time64::widened;

namespace {

real::Call<int(pollfd*, nfds_t, const Timespec64*, const sigset_t*)> real_ppoll{"__ppoll64"};
real::Call<int(int, fd_set*, fd_set*, fd_set*, const Timespec64*, const sigset_t*)> real_pselect{"__pselect64"};
real::Call<int(int, epoll_event*, int, const Timespec64*, const sigset_t*)> real_epoll_pwait2{
    "__epoll_pwait2_time64"};
real::Call<int(int, int, ...)> real_fcntl{"__fcntl_time64"};
real::Call<int(int, mmsghdr*, unsigned, int, Timespec64*)> real_recvmmsg{"__recvmmsg64"};
real::Call<int(int, int, const Itimerspec64*, Itimerspec64*)> real_timerfd_settime{"__timerfd_settime64"};
real::Call<int(int, Itimerspec64*)> real_timerfd_gettime{"__timerfd_gettime64"};
real::Call<int(timer_t, int, const Itimerspec64*, Itimerspec64*)> real_timer_settime{"__timer_settime64"};
real::Call<int(timer_t, Itimerspec64*)> real_timer_gettime{"__timer_gettime64"};
real::Call<int(__itimer_which_t, const Itimerval64*, Itimerval64*)> real_setitimer{"__setitimer64"};
real::Call<int(__itimer_which_t, Itimerval64*)> real_getitimer{"__getitimer64"};
real::Call<int(clockid_t, const Timespec64*)> real_clock_settime{"__clock_settime64"};
real::Call<int(const Timeval64*, const struct timezone*)> real_settimeofday{"__settimeofday64"};
real::Call<int(Timespec64*, int)> real_timespec_get{"__timespec_get64"};
real::Call<int(const sigset_t*, siginfo_t*, const Timespec64*)> real_sigtimedwait{"__sigtimedwait64"};
real::Call<ssize_t(mqd_t, char*, size_t, unsigned*, const Timespec64*)> real_mq_timedreceive{
    "__mq_timedreceive_time64"};
real::Call<int(mqd_t, const char*, size_t, unsigned, const Timespec64*)> real_mq_timedsend{
    "__mq_timedsend_time64"};
real::Call<int(const aiocb* const*, int, const Timespec64*)> real_aio_suspend{"__aio_suspend_time64"};
real::Call<pid_t(int*, int, void*)> real_wait3{"__wait3_time64"};
real::Call<pid_t(pid_t, int*, int, void*)> real_wait4{"__wait4_time64"};

// A record that is asked for, of a call that has gone well.
template <typename Narrow64, typename Wide>
int given(int result, const Narrow64& narrow, Wide* wide) {
    if (result == 0 && wide != nullptr) *wide = widened(narrow);
    return result;
}

}  // namespace

extern "C" {

// Asked for by name when a program is linked.
extern const char vp_interposed_time64_wait_calls[];
const char vp_interposed_time64_wait_calls[] = "interposed calls with 64-bit times that wait";

int __ppoll64(pollfd* descriptors, nfds_t count, const Timespec64* length, const sigset_t* mask) {
    return machine_answers() ? ::ppoll(descriptors, count, Narrow(length), mask)
                             : real_ppoll(descriptors, count, length, mask);
}

int __pselect64(int count, fd_set* readable, fd_set* writable, fd_set* exceptional, const Timespec64* length,
                const sigset_t* mask) {
    return machine_answers() ? ::pselect(count, readable, writable, exceptional, Narrow(length), mask)
                             : real_pselect(count, readable, writable, exceptional, length, mask);
}

int __epoll_pwait2_time64(int epoll, epoll_event* events, int capacity, const Timespec64* length,
                          const sigset_t* mask) {
    return machine_answers() ? ::epoll_pwait2(epoll, events, capacity, Narrow(length), mask)
                             : real_epoll_pwait2(epoll, events, capacity, length, mask);
}

int __fcntl_time64(int descriptor, int command, ...) {
    va_list arguments;
    va_start(arguments, command);
    void* argument = va_arg(arguments, void*);
    va_end(arguments);
    return machine_answers() ? ::fcntl64(descriptor, command, argument)
                             : real_fcntl(descriptor, command, argument);
}

int __recvmmsg64(int socket, mmsghdr* messages, unsigned count, int flags, Timespec64* length) {
    if (!machine_answers()) return real_recvmmsg(socket, messages, count, flags, length);
    timespec narrow = length == nullptr ? timespec{} : narrowed(*length);
    return ::recvmmsg(socket, messages, count, flags, length == nullptr ? nullptr : &narrow);
}

int __timerfd_settime64(int descriptor, int flags, const Itimerspec64* value, Itimerspec64* before) {
    if (!machine_answers() || value == nullptr) return real_timerfd_settime(descriptor, flags, value, before);
    const itimerspec narrow = narrowed(*value);
    itimerspec narrow_before{};
    return given(::timerfd_settime(descriptor, flags, &narrow, &narrow_before), narrow_before, before);
}

int __timerfd_gettime64(int descriptor, Itimerspec64* value) {
    if (!machine_answers()) return real_timerfd_gettime(descriptor, value);
    itimerspec narrow{};
    return given(::timerfd_gettime(descriptor, &narrow), narrow, value);
}

int __timer_settime64(timer_t timer, int flags, const Itimerspec64* value, Itimerspec64* before) {
    if (!machine_answers() || value == nullptr) return real_timer_settime(timer, flags, value, before);
    const itimerspec narrow = narrowed(*value);
    itimerspec narrow_before{};
    return given(::timer_settime(timer, flags, &narrow, &narrow_before), narrow_before, before);
}

int __timer_gettime64(timer_t timer, Itimerspec64* value) {
    if (!machine_answers()) return real_timer_gettime(timer, value);
    itimerspec narrow{};
    return given(::timer_gettime(timer, &narrow), narrow, value);
}

int __setitimer64(__itimer_which_t which, const Itimerval64* value, Itimerval64* before) {
    if (!machine_answers() || value == nullptr) return real_setitimer(which, value, before);
    const itimerval narrow = narrowed(*value);
    itimerval narrow_before{};
    return given(::setitimer(which, &narrow, &narrow_before), narrow_before, before);
}

int __getitimer64(__itimer_which_t which, Itimerval64* value) {
    if (!machine_answers()) return real_getitimer(which, value);
    itimerval narrow{};
    return given(::getitimer(which, &narrow), narrow, value);
}

int __clock_settime64(clockid_t clock, const Timespec64* time) {
    return machine_answers() ? ::clock_settime(clock, Narrow(time)) : real_clock_settime(clock, time);
}

int __settimeofday64(const Timeval64* time, const struct timezone* zone) {
    if (!machine_answers() || time == nullptr) return real_settimeofday(time, zone);
    const timeval narrow = narrowed(*time);
    return ::settimeofday(&narrow, zone);
}

int __timespec_get64(Timespec64* time, int base) {
    if (!machine_answers()) return real_timespec_get(time, base);
    timespec narrow{};
    const int result = ::timespec_get(&narrow, base);
    *time = widened(narrow);
    return result;
}

int __sigtimedwait64(const sigset_t* set, siginfo_t* info, const Timespec64* length) {
    return machine_answers() ? ::sigtimedwait(set, info, Narrow(length)) : real_sigtimedwait(set, info, length);
}

ssize_t __mq_timedreceive_time64(mqd_t queue, char* message, size_t room, unsigned* priority,
                                 const Timespec64* until) {
    return machine_answers() ? ::mq_timedreceive(queue, message, room, priority, Narrow(until))
                             : real_mq_timedreceive(queue, message, room, priority, until);
}

int __mq_timedsend_time64(mqd_t queue, const char* message, size_t length, unsigned priority,
                          const Timespec64* until) {
    return machine_answers() ? ::mq_timedsend(queue, message, length, priority, Narrow(until))
                             : real_mq_timedsend(queue, message, length, priority, until);
}

int __aio_suspend_time64(const aiocb* const requests[], int count, const Timespec64* length) {
    return machine_answers() ? ::aio_suspend(requests, count, Narrow(length))
                             : real_aio_suspend(requests, count, length);
}

// Who asks what the child has used waits for real, and time stands meanwhile.
pid_t __wait3_time64(int* status, int options, void* use) {
    return machine_answers() && use == nullptr ? ::wait3(status, options, nullptr)
                                               : real_wait3(status, options, use);
}

pid_t __wait4_time64(pid_t child, int* status, int options, void* use) {
    return machine_answers() && use == nullptr ? ::wait4(child, status, options, nullptr)
                                               : real_wait4(child, status, options, use);
}

}  // extern "C"

#endif
