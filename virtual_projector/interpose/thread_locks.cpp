#include "virtual_projector/interpose/thread_locks.h"

#include <dlfcn.h>

#include <cerrno>
#include <string>

#include "virtual_projector/interpose/real_calls.h"

namespace vp {
namespace {

constexpr long nanoseconds_per_second = 1'000'000'000;

// The name of a global object, for the table of waiting threads; empty when it has none.
std::string name_of_object(const void* object) {
    Dl_info info{};
    if (::dladdr(object, &info) == 0 || info.dli_saddr != object || info.dli_sname == nullptr) return {};
    return info.dli_sname;
}

// The mutex itself must say its kind: the attributes it was made with may be gone.
bool checks_errors(const pthread_mutex_t* mutex) {
    constexpr int kind_mask = 3;
    return (mutex->__data.__kind & kind_mask) == PTHREAD_MUTEX_ERRORCHECK_NP;
}

bool is_valid(const timespec* time) { return time->tv_nsec >= 0 && time->tv_nsec < nanoseconds_per_second; }

}  // namespace

ThreadLocks::ThreadLocks(ThreadScheduler& scheduler, ProgramWaits& waits, ProgramTime& time)
    : scheduler_(scheduler), waits_(waits), time_(time) {}

// --- Mutexes ---------------------------------------------------------------------------------------------

int ThreadLocks::lock(pthread_mutex_t* mutex) {
    scheduler_.touch();
    return lock_until(mutex, no_deadline);
}

int ThreadLocks::timed_lock(pthread_mutex_t* mutex, const timespec* until) {
    scheduler_.touch();
    if (!is_valid(until)) return EINVAL;
    return lock_until(mutex, time_.to_virtual(CLOCK_REALTIME, *until));
}

int ThreadLocks::try_lock(pthread_mutex_t* mutex) {
    scheduler_.touch();
    const int result = real::pthread_mutex_trylock(mutex);
    if (result == 0) scheduler_.hold(mutex);
    return result;
}

int ThreadLocks::lock_until(pthread_mutex_t* mutex, Microseconds deadline) {
    bool in_time = true;
    for (;;) {
        const int result = real::pthread_mutex_trylock(mutex);
        if (result == 0) scheduler_.hold(mutex);
        if (result != EBUSY) return result;
        if (!in_time) return ETIMEDOUT;
        if (checks_errors(mutex) && scheduler_.is_held_by_current(mutex)) return EDEADLK;
        in_time =
            waits_.wait({Wait::Kind::mutex, mutex, name_of_object(mutex)}, deadline) != WaitEnd::timed_out;
    }
}

int ThreadLocks::unlock(pthread_mutex_t* mutex) {
    scheduler_.touch();
    const int result = real::pthread_mutex_unlock(mutex);
    if (result == 0) scheduler_.release(mutex);
    return result;
}

// --- Condition variables ---------------------------------------------------------------------------------

int ThreadLocks::condition_init(pthread_cond_t* condition, const pthread_condattr_t* attributes) {
    clockid_t clock = CLOCK_REALTIME;
    if (attributes != nullptr) (void)::pthread_condattr_getclock(attributes, &clock);
    if (clock == CLOCK_REALTIME) {
        condition_clocks_.erase(condition);
    } else {
        condition_clocks_[condition] = clock;
    }
    return real::pthread_cond_init(condition, attributes);
}

int ThreadLocks::condition_destroy(pthread_cond_t* condition) {
    condition_clocks_.erase(condition);
    return real::pthread_cond_destroy(condition);
}

int ThreadLocks::wait(pthread_cond_t* condition, pthread_mutex_t* mutex) {
    scheduler_.touch();
    return wait_until(condition, mutex, no_deadline);
}

int ThreadLocks::timed_wait(pthread_cond_t* condition, pthread_mutex_t* mutex, const timespec* until) {
    const auto clock = condition_clocks_.find(condition);
    return timed_wait(condition, mutex, clock == condition_clocks_.end() ? CLOCK_REALTIME : clock->second,
                      until);
}

int ThreadLocks::timed_wait(pthread_cond_t* condition, pthread_mutex_t* mutex, clockid_t clock,
                            const timespec* until) {
    scheduler_.touch();
    if (!is_valid(until)) return EINVAL;
    return wait_until(condition, mutex, time_.to_virtual(clock, *until));
}

int ThreadLocks::wait_until(pthread_cond_t* condition, pthread_mutex_t* mutex, Microseconds deadline) {
    const int unlocked = real::pthread_mutex_unlock(mutex);
    if (unlocked != 0) return unlocked;
    scheduler_.release(mutex);
    const WaitEnd end = waits_.wait({Wait::Kind::condition, condition, name_of_object(condition)}, deadline);
    const int locked = lock_until(mutex, no_deadline);
    if (locked != 0) return locked;
    return end == WaitEnd::timed_out ? ETIMEDOUT : 0;  // after a signal the program looks again
}

int ThreadLocks::signal(pthread_cond_t* condition) {
    scheduler_.touch();
    (void)scheduler_.wake_one(condition);
    return 0;
}

int ThreadLocks::broadcast(pthread_cond_t* condition) {
    scheduler_.touch();
    scheduler_.wake_all(condition);
    return 0;
}

// --- Read-write locks --------------------------------------------------------------------------------------

namespace {

template <typename Try>
int lock_by_trying(ThreadScheduler& scheduler, ProgramWaits& waits, pthread_rwlock_t* lock, Try try_lock) {
    scheduler.touch();
    for (;;) {
        const int result = try_lock(lock);
        if (result != EBUSY) return result;
        (void)waits.wait({Wait::Kind::read_write_lock, lock, name_of_object(lock)}, no_deadline);
    }
}

}  // namespace

int ThreadLocks::lock_to_read(pthread_rwlock_t* lock) {
    return lock_by_trying(scheduler_, waits_, lock,
                          [](auto* tried) { return real::pthread_rwlock_tryrdlock(tried); });
}

int ThreadLocks::lock_to_write(pthread_rwlock_t* lock) {
    return lock_by_trying(scheduler_, waits_, lock,
                          [](auto* tried) { return real::pthread_rwlock_trywrlock(tried); });
}

int ThreadLocks::unlock(pthread_rwlock_t* lock) {
    scheduler_.touch();
    const int result = real::pthread_rwlock_unlock(lock);
    if (result == 0) scheduler_.wake_all(lock);
    return result;
}

// --- Semaphores --------------------------------------------------------------------------------------------

int ThreadLocks::wait(sem_t* semaphore) {
    scheduler_.touch();
    return wait_until(semaphore, no_deadline);
}

int ThreadLocks::timed_wait(sem_t* semaphore, const timespec* until) {
    scheduler_.touch();
    if (!is_valid(until)) return -EINVAL;
    return wait_until(semaphore, time_.to_virtual(CLOCK_REALTIME, *until));
}

int ThreadLocks::wait_until(sem_t* semaphore, Microseconds deadline) {
    bool in_time = true;
    for (;;) {
        if (real::sem_trywait(semaphore) == 0) return 0;
        if (errno != EAGAIN) return -errno;
        if (!in_time) return -ETIMEDOUT;
        const WaitEnd end =
            waits_.wait({Wait::Kind::semaphore, semaphore, name_of_object(semaphore)}, deadline);
        if (end == WaitEnd::interrupted && !waits_.is_to_restart()) return -EINTR;
        in_time = end != WaitEnd::timed_out;
    }
}

int ThreadLocks::post(sem_t* semaphore) {
    scheduler_.touch();
    if (real::sem_post(semaphore) != 0) return -errno;
    scheduler_.wake_all(semaphore);
    return 0;
}

}  // namespace vp
