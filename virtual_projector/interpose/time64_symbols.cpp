// The same entry points for programs built with 64-bit times on a 32-bit machine, where they have names and
// records of their own. While a machine answers, the times are those of its run and fit the 32-bit records.
#undef _FORTIFY_SOURCE
#include <bits/timesize.h>

#if __TIMESIZE == 32

#include <pthread.h>
#include <semaphore.h>
#include <stdarg.h>
#include <sys/ioctl.h>
#include <sys/select.h>
#include <sys/sem.h>
#include <sys/time.h>
#include <threads.h>
#include <time.h>

#include <cerrno>
#include <cstdint>

#include "virtual_projector/interpose/queue_control.h"
#include "virtual_projector/interpose/real_calls.h"
#include "virtual_projector/interpose/time64.h"

namespace real = vp::real;
using vp::time64::machine_answers;
using vp::time64::Narrow;
using vp::time64::narrowed;
using vp::time64::Timespec64;
using vp::time64::Timeval64;
using vp::time64::widened;

namespace {

real::Call<int(int, Timespec64*)> real_clock_gettime{"__clock_gettime64"};
real::Call<int(Timeval64*, void*)> real_gettimeofday{"__gettimeofday64"};
real::Call<std::int64_t(std::int64_t*)> real_time{"__time64"};
real::Call<int(const Timespec64*, Timespec64*)> real_nanosleep{"__nanosleep64"};
real::Call<int(clockid_t, int, const Timespec64*, Timespec64*)> real_clock_nanosleep{
    "__clock_nanosleep_time64"};
real::Call<int(int, unsigned long, ...)> real_ioctl{"__ioctl_time64"};
real::Call<int(int, fd_set*, fd_set*, fd_set*, Timeval64*)> real_select{"__select64"};
real::Call<int(pthread_mutex_t*, const Timespec64*)> real_mutex_timedlock{"__pthread_mutex_timedlock64"};
real::Call<int(pthread_cond_t*, pthread_mutex_t*, const Timespec64*)> real_cond_timedwait{
    "__pthread_cond_timedwait64"};
real::Call<int(pthread_cond_t*, pthread_mutex_t*, clockid_t, const Timespec64*)> real_cond_clockwait{
    "__pthread_cond_clockwait64"};
real::Call<int(sem_t*, const Timespec64*)> real_sem_timedwait{"__sem_timedwait64"};
real::Call<int(sem_t*, clockid_t, const Timespec64*)> real_sem_clockwait{"__sem_clockwait64"};
real::Call<int(pthread_mutex_t*, clockid_t, const Timespec64*)> real_mutex_clocklock{
    "__pthread_mutex_clocklock64"};
real::Call<int(pthread_rwlock_t*, const Timespec64*)> real_timedrdlock{"__pthread_rwlock_timedrdlock64"};
real::Call<int(pthread_rwlock_t*, const Timespec64*)> real_timedwrlock{"__pthread_rwlock_timedwrlock64"};
real::Call<int(pthread_rwlock_t*, clockid_t, const Timespec64*)> real_clockrdlock{
    "__pthread_rwlock_clockrdlock64"};
real::Call<int(pthread_rwlock_t*, clockid_t, const Timespec64*)> real_clockwrlock{
    "__pthread_rwlock_clockwrlock64"};
real::Call<int(pthread_t, void**, const Timespec64*)> real_timedjoin{"__pthread_timedjoin_np64"};
real::Call<int(pthread_t, void**, clockid_t, const Timespec64*)> real_clockjoin{"__pthread_clockjoin_np64"};
real::Call<int(mtx_t*, const Timespec64*)> real_mtx_timedlock{"__mtx_timedlock64"};
real::Call<int(cnd_t*, mtx_t*, const Timespec64*)> real_cnd_timedwait{"__cnd_timedwait64"};
real::Call<int(const Timespec64*, Timespec64*)> real_thrd_sleep{"__thrd_sleep64"};
real::Call<int(int, sembuf*, size_t, const Timespec64*)> real_semtimedop{"__semtimedop64"};
real::Call<int(int, int, int, ...)> real_semctl{"__semctl64"};
real::Call<int(int, int, void*)> real_msgctl{"__msgctl64"};

}  // namespace

extern "C" {

int __clock_gettime64(clockid_t clock, Timespec64* time) {
    if (!machine_answers()) return real_clock_gettime(clock, time);
    timespec narrow{};
    const int result = ::clock_gettime(clock, &narrow);
    *time = {narrow.tv_sec, static_cast<std::int32_t>(narrow.tv_nsec), 0};
    return result;
}

int __gettimeofday64(Timeval64* time, void* zone) {
    if (!machine_answers()) return real_gettimeofday(time, zone);
    timeval narrow{};
    const int result = ::gettimeofday(&narrow, nullptr);
    *time = {narrow.tv_sec, narrow.tv_usec};
    return result;
}

std::int64_t __time64(std::int64_t* seconds) {
    if (!machine_answers()) return real_time(seconds);
    const std::int64_t now = ::time(nullptr);
    if (seconds != nullptr) *seconds = now;
    return now;
}

int __nanosleep64(const Timespec64* length, Timespec64* remaining) {
    if (!machine_answers()) return real_nanosleep(length, remaining);
    timespec left{};
    const int result = ::nanosleep(Narrow(length), &left);
    if (result != 0 && errno == EINTR && remaining != nullptr) *remaining = widened(left);
    return result;
}

int __clock_nanosleep_time64(clockid_t clock, int flags, const Timespec64* time, Timespec64* remaining) {
    if (!machine_answers()) return real_clock_nanosleep(clock, flags, time, remaining);
    timespec left{};
    const int failure = ::clock_nanosleep(clock, flags, Narrow(time), &left);
    if (failure == EINTR && remaining != nullptr && (flags & TIMER_ABSTIME) == 0) *remaining = widened(left);
    return failure;
}

int __ioctl_time64(int descriptor, unsigned long number, ...) {
    va_list arguments;
    va_start(arguments, number);
    void* argument = va_arg(arguments, void*);
    va_end(arguments);
    return machine_answers() ? ::ioctl(descriptor, number, argument) : real_ioctl(descriptor, number, argument);
}

int __select64(int count, fd_set* readable, fd_set* writable, fd_set* exceptional, Timeval64* length) {
    if (!machine_answers()) return real_select(count, readable, writable, exceptional, length);
    if (length == nullptr) return ::select(count, readable, writable, exceptional, nullptr);
    timeval narrow = narrowed(*length);
    const int found = ::select(count, readable, writable, exceptional, &narrow);
    *length = widened(narrow);
    return found;
}

int __pthread_mutex_timedlock64(pthread_mutex_t* mutex, const Timespec64* until) {
    return machine_answers() ? ::pthread_mutex_timedlock(mutex, Narrow(until))
                             : real_mutex_timedlock(mutex, until);
}

int __pthread_cond_timedwait64(pthread_cond_t* condition, pthread_mutex_t* mutex, const Timespec64* until) {
    return machine_answers() ? ::pthread_cond_timedwait(condition, mutex, Narrow(until))
                             : real_cond_timedwait(condition, mutex, until);
}

int __pthread_cond_clockwait64(pthread_cond_t* condition, pthread_mutex_t* mutex, clockid_t clock,
                               const Timespec64* until) {
    return machine_answers() ? ::pthread_cond_clockwait(condition, mutex, clock, Narrow(until))
                             : real_cond_clockwait(condition, mutex, clock, until);
}

int __sem_timedwait64(sem_t* semaphore, const Timespec64* until) {
    return machine_answers() ? ::sem_timedwait(semaphore, Narrow(until)) : real_sem_timedwait(semaphore, until);
}

int __sem_clockwait64(sem_t* semaphore, clockid_t clock, const Timespec64* until) {
    return machine_answers() ? ::sem_clockwait(semaphore, clock, Narrow(until))
                             : real_sem_clockwait(semaphore, clock, until);
}

int __pthread_mutex_clocklock64(pthread_mutex_t* mutex, clockid_t clock, const Timespec64* until) {
    return machine_answers() ? ::pthread_mutex_clocklock(mutex, clock, Narrow(until))
                             : real_mutex_clocklock(mutex, clock, until);
}

int __pthread_rwlock_timedrdlock64(pthread_rwlock_t* lock, const Timespec64* until) {
    return machine_answers() ? ::pthread_rwlock_timedrdlock(lock, Narrow(until))
                             : real_timedrdlock(lock, until);
}

int __pthread_rwlock_timedwrlock64(pthread_rwlock_t* lock, const Timespec64* until) {
    return machine_answers() ? ::pthread_rwlock_timedwrlock(lock, Narrow(until))
                             : real_timedwrlock(lock, until);
}

int __pthread_rwlock_clockrdlock64(pthread_rwlock_t* lock, clockid_t clock, const Timespec64* until) {
    return machine_answers() ? ::pthread_rwlock_clockrdlock(lock, clock, Narrow(until))
                             : real_clockrdlock(lock, clock, until);
}

int __pthread_rwlock_clockwrlock64(pthread_rwlock_t* lock, clockid_t clock, const Timespec64* until) {
    return machine_answers() ? ::pthread_rwlock_clockwrlock(lock, clock, Narrow(until))
                             : real_clockwrlock(lock, clock, until);
}

int __pthread_timedjoin_np64(pthread_t thread, void** value, const Timespec64* until) {
    return machine_answers() ? ::pthread_timedjoin_np(thread, value, Narrow(until))
                             : real_timedjoin(thread, value, until);
}

int __pthread_clockjoin_np64(pthread_t thread, void** value, clockid_t clock, const Timespec64* until) {
    return machine_answers() ? ::pthread_clockjoin_np(thread, value, clock, Narrow(until))
                             : real_clockjoin(thread, value, clock, until);
}

int __mtx_timedlock64(mtx_t* mutex, const Timespec64* until) {
    return machine_answers() ? ::mtx_timedlock(mutex, Narrow(until)) : real_mtx_timedlock(mutex, until);
}

int __cnd_timedwait64(cnd_t* condition, mtx_t* mutex, const Timespec64* until) {
    return machine_answers() ? ::cnd_timedwait(condition, mutex, Narrow(until))
                             : real_cnd_timedwait(condition, mutex, until);
}

int __thrd_sleep64(const Timespec64* length, Timespec64* remaining) {
    if (!machine_answers()) return real_thrd_sleep(length, remaining);
    timespec left{};
    const int result = ::thrd_sleep(Narrow(length), &left);
    if (result == -1 && remaining != nullptr)
        *remaining = {left.tv_sec, static_cast<std::int32_t>(left.tv_nsec), 0};
    return result;
}

int __semtimedop64(int set, sembuf* operations, size_t count, const Timespec64* timeout) {
    return machine_answers() ? ::semtimedop(set, operations, count, Narrow(timeout))
                             : real_semtimedop(set, operations, count, timeout);
}

// What follows a change is the same; the records of a state are the C library's to convert.
int __semctl64(int set, int number, int command, ...) {
    va_list arguments;
    va_start(arguments, command);
    void* argument = va_arg(arguments, void*);
    va_end(arguments);
    const int result = real_semctl(set, number, command, argument);
    if (result >= 0) vp::note_set_control(set, command);
    return result;
}

int __msgctl64(int queue, int command, void* data) {
    const int result = real_msgctl(queue, command, data);
    if (result >= 0) vp::note_queue_control(queue, command);
    return result;
}

// Asked for by name when a program is linked.
extern const char vp_interposed_time64_calls[];
const char vp_interposed_time64_calls[] = "interposed calls with 64-bit times";

}  // extern "C"

#endif
