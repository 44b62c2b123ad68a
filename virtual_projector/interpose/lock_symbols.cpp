// Entry points of the C library: locks. Symbols only.
#undef _FORTIFY_SOURCE
#include <pthread.h>
#include <semaphore.h>
#include <time.h>

#include <optional>

#include "virtual_projector/interpose/ask_machine.h"
#include "virtual_projector/interpose/real_calls.h"

namespace real = vp::real;
using vp::ask_locks;
using vp::with_errno;

extern "C" {

// Asked for by name when a program is linked: the other names may be found elsewhere first.
extern const char vp_interposed_lock_calls[];
const char vp_interposed_lock_calls[] = "interposed calls of the virtual projector: lock";

int pthread_mutex_lock(pthread_mutex_t* mutex) noexcept {
    const auto result = ask_locks([&](vp::ThreadLocks& locks) { return locks.lock(mutex); });
    return result ? *result : real::pthread_mutex_lock(mutex);
}

int pthread_mutex_trylock(pthread_mutex_t* mutex) noexcept {
    const auto result = ask_locks([&](vp::ThreadLocks& locks) { return locks.try_lock(mutex); });
    return result ? *result : real::pthread_mutex_trylock(mutex);
}

int pthread_mutex_timedlock(pthread_mutex_t* mutex, const timespec* until) noexcept {
    const auto result = ask_locks([&](vp::ThreadLocks& locks) { return locks.timed_lock(mutex, until); });
    return result ? *result : real::pthread_mutex_timedlock(mutex, until);
}

int pthread_mutex_unlock(pthread_mutex_t* mutex) noexcept {
    const auto result = ask_locks([&](vp::ThreadLocks& locks) { return locks.unlock(mutex); });
    return result ? *result : real::pthread_mutex_unlock(mutex);
}

int pthread_cond_init(pthread_cond_t* condition, const pthread_condattr_t* attributes) noexcept {
    const auto result =
        ask_locks([&](vp::ThreadLocks& locks) { return locks.condition_init(condition, attributes); });
    return result ? *result : real::pthread_cond_init(condition, attributes);
}

int pthread_cond_destroy(pthread_cond_t* condition) noexcept {
    const auto result = ask_locks([&](vp::ThreadLocks& locks) { return locks.condition_destroy(condition); });
    return result ? *result : real::pthread_cond_destroy(condition);
}

int pthread_cond_wait(pthread_cond_t* condition, pthread_mutex_t* mutex) {
    const auto result = ask_locks([&](vp::ThreadLocks& locks) { return locks.wait(condition, mutex); });
    return result ? *result : real::pthread_cond_wait(condition, mutex);
}

int pthread_cond_timedwait(pthread_cond_t* condition, pthread_mutex_t* mutex, const timespec* until) {
    const auto result =
        ask_locks([&](vp::ThreadLocks& locks) { return locks.timed_wait(condition, mutex, until); });
    return result ? *result : real::pthread_cond_timedwait(condition, mutex, until);
}

int pthread_cond_clockwait(pthread_cond_t* condition, pthread_mutex_t* mutex, clockid_t clock,
                           const timespec* until) {
    const auto result =
        ask_locks([&](vp::ThreadLocks& locks) { return locks.timed_wait(condition, mutex, clock, until); });
    return result ? *result : real::pthread_cond_clockwait(condition, mutex, clock, until);
}

int pthread_cond_signal(pthread_cond_t* condition) noexcept {
    const auto result = ask_locks([&](vp::ThreadLocks& locks) { return locks.signal(condition); });
    return result ? *result : real::pthread_cond_signal(condition);
}

int pthread_cond_broadcast(pthread_cond_t* condition) noexcept {
    const auto result = ask_locks([&](vp::ThreadLocks& locks) { return locks.broadcast(condition); });
    return result ? *result : real::pthread_cond_broadcast(condition);
}

int pthread_rwlock_rdlock(pthread_rwlock_t* lock) noexcept {
    const auto result = ask_locks([&](vp::ThreadLocks& locks) { return locks.lock_to_read(lock); });
    return result ? *result : real::pthread_rwlock_rdlock(lock);
}

int pthread_rwlock_wrlock(pthread_rwlock_t* lock) noexcept {
    const auto result = ask_locks([&](vp::ThreadLocks& locks) { return locks.lock_to_write(lock); });
    return result ? *result : real::pthread_rwlock_wrlock(lock);
}

int pthread_rwlock_unlock(pthread_rwlock_t* lock) noexcept {
    const auto result = ask_locks([&](vp::ThreadLocks& locks) { return locks.unlock(lock); });
    return result ? *result : real::pthread_rwlock_unlock(lock);
}

int sem_wait(sem_t* semaphore) {
    const auto result = ask_locks([&](vp::ThreadLocks& locks) { return locks.wait(semaphore); });
    return result ? static_cast<int>(with_errno(*result)) : real::sem_wait(semaphore);
}

int sem_timedwait(sem_t* semaphore, const timespec* until) {
    const auto result = ask_locks([&](vp::ThreadLocks& locks) { return locks.timed_wait(semaphore, until); });
    return result ? static_cast<int>(with_errno(*result)) : real::sem_timedwait(semaphore, until);
}

int sem_post(sem_t* semaphore) noexcept {
    const auto result = ask_locks([&](vp::ThreadLocks& locks) { return locks.post(semaphore); });
    return result ? static_cast<int>(with_errno(*result)) : real::sem_post(semaphore);
}

}  // extern "C"
