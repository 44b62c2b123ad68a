// Entry points of the C library: locks. Symbols only.
#undef _FORTIFY_SOURCE
#include <pthread.h>
#include <semaphore.h>
#include <time.h>

#include <optional>

#include "virtual_projector/interpose/ask_machine.h"
#include "virtual_projector/interpose/real_calls.h"

namespace real = vp::real;
using vp::ask_in_virtual_time;
using vp::ask_locks;
using vp::with_errno;

namespace {

// The program's first call of a routine; when it is left by an exception, or its thread is cancelled, another
// may try.
class OnceAttempt {
public:
    explicit OnceAttempt(pthread_once_t* control) : control_(control) {}
    ~OnceAttempt() {
        const auto ended = ask_in_virtual_time([this](vp::Machine& m) {
            m.once_calls().end(control_, succeeded_);
            return std::optional<long>(0);
        });
        if (!ended) vp::OnceCalls::end_without_machine(control_, succeeded_);
    }
    OnceAttempt(const OnceAttempt&) = delete;
    OnceAttempt& operator=(const OnceAttempt&) = delete;

    void succeeded() { succeeded_ = true; }

private:
    pthread_once_t* control_;
    bool succeeded_ = false;
};

}  // namespace

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
    const auto result =
        ask_locks([&](vp::ThreadLocks& locks) { return locks.timed_lock(mutex, CLOCK_REALTIME, until); });
    return result ? *result : real::pthread_mutex_timedlock(mutex, until);
}

int pthread_mutex_clocklock(pthread_mutex_t* mutex, clockid_t clock, const timespec* until) noexcept {
    const auto result =
        ask_locks([&](vp::ThreadLocks& locks) { return locks.timed_lock(mutex, clock, until); });
    return result ? *result : real::pthread_mutex_clocklock(mutex, clock, until);
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

int pthread_rwlock_tryrdlock(pthread_rwlock_t* lock) noexcept {
    const auto result = ask_locks([&](vp::ThreadLocks& locks) { return locks.try_to_read(lock); });
    return result ? *result : real::pthread_rwlock_tryrdlock(lock);
}

int pthread_rwlock_timedrdlock(pthread_rwlock_t* lock, const timespec* until) noexcept {
    const auto result = ask_locks(
        [&](vp::ThreadLocks& locks) { return locks.timed_lock_to_read(lock, CLOCK_REALTIME, until); });
    return result ? *result : real::pthread_rwlock_timedrdlock(lock, until);
}

int pthread_rwlock_clockrdlock(pthread_rwlock_t* lock, clockid_t clock, const timespec* until) noexcept {
    const auto result =
        ask_locks([&](vp::ThreadLocks& locks) { return locks.timed_lock_to_read(lock, clock, until); });
    return result ? *result : real::pthread_rwlock_clockrdlock(lock, clock, until);
}

int pthread_rwlock_wrlock(pthread_rwlock_t* lock) noexcept {
    const auto result = ask_locks([&](vp::ThreadLocks& locks) { return locks.lock_to_write(lock); });
    return result ? *result : real::pthread_rwlock_wrlock(lock);
}

int pthread_rwlock_trywrlock(pthread_rwlock_t* lock) noexcept {
    const auto result = ask_locks([&](vp::ThreadLocks& locks) { return locks.try_to_write(lock); });
    return result ? *result : real::pthread_rwlock_trywrlock(lock);
}

int pthread_rwlock_timedwrlock(pthread_rwlock_t* lock, const timespec* until) noexcept {
    const auto result = ask_locks(
        [&](vp::ThreadLocks& locks) { return locks.timed_lock_to_write(lock, CLOCK_REALTIME, until); });
    return result ? *result : real::pthread_rwlock_timedwrlock(lock, until);
}

int pthread_rwlock_clockwrlock(pthread_rwlock_t* lock, clockid_t clock, const timespec* until) noexcept {
    const auto result =
        ask_locks([&](vp::ThreadLocks& locks) { return locks.timed_lock_to_write(lock, clock, until); });
    return result ? *result : real::pthread_rwlock_clockwrlock(lock, clock, until);
}

int pthread_rwlock_unlock(pthread_rwlock_t* lock) noexcept {
    const auto result = ask_locks([&](vp::ThreadLocks& locks) { return locks.unlock(lock); });
    return result ? *result : real::pthread_rwlock_unlock(lock);
}

int pthread_spin_lock(pthread_spinlock_t* lock) noexcept {
    const auto result = ask_locks([&](vp::ThreadLocks& locks) { return locks.lock(lock); });
    return result ? *result : real::pthread_spin_lock(lock);
}

int pthread_spin_trylock(pthread_spinlock_t* lock) noexcept {
    const auto result = ask_locks([&](vp::ThreadLocks& locks) { return locks.try_lock(lock); });
    return result ? *result : real::pthread_spin_trylock(lock);
}

int pthread_spin_unlock(pthread_spinlock_t* lock) noexcept {
    const auto result = ask_locks([&](vp::ThreadLocks& locks) { return locks.unlock(lock); });
    return result ? *result : real::pthread_spin_unlock(lock);
}

int pthread_barrier_wait(pthread_barrier_t* barrier) noexcept {
    const auto result =
        ask_in_virtual_time([&](vp::Machine& m) { return std::optional<long>(m.barriers().wait(barrier)); });
    return result ? static_cast<int>(*result) : real::pthread_barrier_wait(barrier);
}

int pthread_barrier_destroy(pthread_barrier_t* barrier) noexcept {
    const auto result =
        ask_in_virtual_time([&](vp::Machine& m) { return std::optional<long>(m.barriers().destroy(barrier)); });
    return result ? static_cast<int>(*result) : real::pthread_barrier_destroy(barrier);
}

// The routine is the program's: it runs outside of all that the machine answers.
int pthread_once(pthread_once_t* control, void (*routine)()) {
    if (vp::OnceCalls::is_done(*control)) return 0;
    const auto is_first = ask_in_virtual_time(
        [&](vp::Machine& m) { return std::optional<long>(m.once_calls().begin(control) ? 1 : 0); });
    if (!is_first) return real::pthread_once(control, routine);
    if (*is_first == 0) return 0;
    OnceAttempt attempt(control);
    routine();
    attempt.succeeded();
    return 0;
}

int sem_wait(sem_t* semaphore) {
    const auto result = ask_locks([&](vp::ThreadLocks& locks) { return locks.wait(semaphore); });
    return result ? static_cast<int>(with_errno(*result)) : real::sem_wait(semaphore);
}

int sem_trywait(sem_t* semaphore) noexcept {
    const auto result = ask_locks([&](vp::ThreadLocks& locks) { return locks.try_wait(semaphore); });
    return result ? static_cast<int>(with_errno(*result)) : real::sem_trywait(semaphore);
}

int sem_timedwait(sem_t* semaphore, const timespec* until) {
    const auto result =
        ask_locks([&](vp::ThreadLocks& locks) { return locks.timed_wait(semaphore, CLOCK_REALTIME, until); });
    return result ? static_cast<int>(with_errno(*result)) : real::sem_timedwait(semaphore, until);
}

int sem_clockwait(sem_t* semaphore, clockid_t clock, const timespec* until) {
    const auto result =
        ask_locks([&](vp::ThreadLocks& locks) { return locks.timed_wait(semaphore, clock, until); });
    return result ? static_cast<int>(with_errno(*result)) : real::sem_clockwait(semaphore, clock, until);
}

int sem_post(sem_t* semaphore) noexcept {
    const auto result = ask_locks([&](vp::ThreadLocks& locks) { return locks.post(semaphore); });
    return result ? static_cast<int>(with_errno(*result)) : real::sem_post(semaphore);
}

}  // extern "C"
