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
#include <sys/time.h>
#include <time.h>

#include <cstdint>

#include "virtual_projector/interpose/machine.h"
#include "virtual_projector/interpose/real_calls.h"

namespace real = vp::real;

namespace {

static_assert(__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__, "the padding stands before the nanoseconds otherwise");

struct Timespec64 {
    std::int64_t tv_sec;
    std::int32_t tv_nsec;
    std::int32_t padding;
};

struct Timeval64 {
    std::int64_t tv_sec;
    std::int64_t tv_usec;
};

// Another record for one that may be null.
class Narrow {
public:
    explicit Narrow(const Timespec64* wide) : present_(wide != nullptr) {
        if (present_) narrow_ = {static_cast<time_t>(wide->tv_sec), wide->tv_nsec};
    }
    operator const timespec*() const { return present_ ? &narrow_ : nullptr; }

private:
    bool present_;
    timespec narrow_{};
};

bool machine_answers() { return vp::Machine::active() != nullptr; }

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
    return machine_answers() ? ::nanosleep(Narrow(length), nullptr) : real_nanosleep(length, remaining);
}

int __clock_nanosleep_time64(clockid_t clock, int flags, const Timespec64* time, Timespec64* remaining) {
    return machine_answers() ? ::clock_nanosleep(clock, flags, Narrow(time), nullptr)
                             : real_clock_nanosleep(clock, flags, time, remaining);
}

int __ioctl_time64(int descriptor, unsigned long number, ...) {
    va_list arguments;
    va_start(arguments, number);
    void* argument = va_arg(arguments, void*);
    va_end(arguments);
    return machine_answers() ? ::ioctl(descriptor, number, argument) : real_ioctl(descriptor, number, argument);
}

int __select64(int count, fd_set* readable, fd_set* writable, fd_set* exceptional, Timeval64* length) {
    if (!machine_answers() || length == nullptr) {
        return real_select(count, readable, writable, exceptional, length);
    }
    timeval narrow = {static_cast<time_t>(length->tv_sec), static_cast<suseconds_t>(length->tv_usec)};
    return ::select(count, readable, writable, exceptional, &narrow);
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

// Asked for by name when a program is linked.
extern const char vp_interposed_time64_calls[];
const char vp_interposed_time64_calls[] = "interposed calls with 64-bit times";

}  // extern "C"

#endif
