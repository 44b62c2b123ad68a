#include "virtual_projector/interpose/thread_locks.h"

#include <unistd.h>

#include <cerrno>

#include "virtual_projector/interpose/object_names.h"
#include "virtual_projector/interpose/real_calls.h"
#include "virtual_projector/interpose/timeouts.h"

namespace vp {
namespace {

// The mutex itself must say its kind: the attributes it was made with may be gone.
bool checks_errors(const pthread_mutex_t* mutex) {
    constexpr int kind_mask = 3;
    return (mutex->__data.__kind & kind_mask) == PTHREAD_MUTEX_ERRORCHECK_NP;
}

bool is_robust(const pthread_mutex_t* mutex) {
    constexpr int robust_bit = 16;
    return (mutex->__data.__kind & robust_bit) != 0;
}

// The holder has no turns any more, but may not have left the kernel yet, which then says that it died. An
// emulated kernel may never say so.
int take_after_holder(pthread_mutex_t* mutex) {
    constexpr time_t patience_s = 2;
    timespec until{};
    (void)real::clock_gettime(CLOCK_MONOTONIC, &until);
    until.tv_sec += patience_s;
    const int result = real::pthread_mutex_clocklock(mutex, CLOCK_MONOTONIC, &until);
    return result == ETIMEDOUT ? EBUSY : result;
}

bool prefers_writers(const pthread_rwlock_t* lock) {
    return lock->__data.__flags == PTHREAD_RWLOCK_PREFER_WRITER_NONRECURSIVE_NP;
}

bool is_written_by_current(const pthread_rwlock_t* lock) { return lock->__data.__cur_writer == ::gettid(); }

}  // namespace

ThreadLocks::ThreadLocks(ThreadScheduler& scheduler, ProgramWaits& waits, ProgramTime& time, ObjectNames& names,
                         Recorder& recorder)
    : scheduler_(scheduler), waits_(waits), time_(time), names_(names), recorder_(recorder) {}

Microseconds ThreadLocks::deadline_at(clockid_t clock, const timespec& until) const {
    return time_.to_virtual(clock, bounded(until));
}

// --- Mutexes ---------------------------------------------------------------------------------------------

int ThreadLocks::lock(pthread_mutex_t* mutex) {
    scheduler_.touch();
    return lock_until(mutex, no_deadline);
}

int ThreadLocks::timed_lock(pthread_mutex_t* mutex, clockid_t clock, const timespec* until) {
    scheduler_.touch();
    if (!has_timed_locks(clock)) return EINVAL;
    const int result = take(mutex);  // a free mutex is had whatever the time says
    if (result != EBUSY) return result;
    if (!has_valid_nanoseconds(*until)) return EINVAL;
    return lock_until(mutex, deadline_at(clock, *until));
}

int ThreadLocks::try_lock(pthread_mutex_t* mutex) {
    scheduler_.touch();
    return take(mutex);
}

int ThreadLocks::take(pthread_mutex_t* mutex) {
    int result = real::pthread_mutex_trylock(mutex);
    if (result == EBUSY && is_robust(mutex) && scheduler_.is_held_by_finished(mutex))
        result = take_after_holder(mutex);
    if (result == 0 || result == EOWNERDEAD) {
        scheduler_.hold(mutex);
        if (result == EOWNERDEAD) held_.erase(mutex);
        note_taken(mutex);
    }
    return result;
}

std::string ThreadLocks::recorded_name_of(const pthread_mutex_t* mutex) {
    return names_.name_of(mutex, name_of(Wait::Kind::mutex));
}

void ThreadLocks::note_taken(const pthread_mutex_t* mutex) {
    if (!recorder_.is_on()) return;
    ++held_.try_emplace(mutex, Held{recorder_.now(), 0}).first->second.times;
}

// One that nobody could have waited for is not worth a word.
void ThreadLocks::given_back(const pthread_mutex_t* mutex) {
    const auto found = held_.find(mutex);
    if (found == held_.end() || --found->second.times > 0) return;
    const Microseconds held_us = recorder_.now() - found->second.since;
    held_.erase(found);
    if (held_us > 0) recorder_.record_unlock(recorded_name_of(mutex), held_us);
}

int ThreadLocks::lock_until(pthread_mutex_t* mutex, Microseconds deadline) {
    const int result = take(mutex);
    if (result != EBUSY) return result;
    const Microseconds since = recorder_.now();
    const int after_wait = take_in_time(mutex, deadline);
    if (recorder_.is_on()) recorder_.record_lock(recorded_name_of(mutex), -after_wait, since);
    return after_wait;
}

int ThreadLocks::take_in_time(pthread_mutex_t* mutex, Microseconds deadline) {
    bool in_time = true;
    for (;;) {
        const int result = take(mutex);
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
    if (result == 0) {
        scheduler_.release(mutex);
        given_back(mutex);
    }
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
    if (!has_timed_locks(clock) || !has_valid_nanoseconds(*until)) return EINVAL;
    return wait_until(condition, mutex, deadline_at(clock, *until));
}

int ThreadLocks::wait_until(pthread_cond_t* condition, pthread_mutex_t* mutex, Microseconds deadline) {
    const int unlocked = real::pthread_mutex_unlock(mutex);
    if (unlocked != 0) return unlocked;
    scheduler_.release(mutex);
    given_back(mutex);
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

// One that waits to write, for as long as it does: a lock that prefers writers lets no new reader in.
class ThreadLocks::WaitingWriter {
public:
    WaitingWriter(ThreadLocks& locks, pthread_rwlock_t* lock) : locks_(locks), lock_(lock) {
        ++locks_.waiting_writers_[lock_];
    }
    ~WaitingWriter() {
        const auto found = locks_.waiting_writers_.find(lock_);
        if (--found->second > 0) return;
        locks_.waiting_writers_.erase(found);
        if (prefers_writers(lock_)) locks_.scheduler_.wake_all(lock_);
    }
    WaitingWriter(const WaitingWriter&) = delete;
    WaitingWriter& operator=(const WaitingWriter&) = delete;

private:
    ThreadLocks& locks_;
    pthread_rwlock_t* lock_;
};

int ThreadLocks::lock_to_read(pthread_rwlock_t* lock) {
    scheduler_.touch();
    return lock_to_read_until(lock, no_deadline);
}

int ThreadLocks::try_to_read(pthread_rwlock_t* lock) {
    scheduler_.touch();
    return take_to_read(lock);
}

int ThreadLocks::timed_lock_to_read(pthread_rwlock_t* lock, clockid_t clock, const timespec* until) {
    scheduler_.touch();
    if (!has_timed_locks(clock) || !has_valid_nanoseconds(*until)) return EINVAL;
    return lock_to_read_until(lock, deadline_at(clock, *until));
}

int ThreadLocks::take_to_read(pthread_rwlock_t* lock) {
    if (prefers_writers(lock) && waiting_writers_.count(lock) != 0) return EBUSY;
    return real::pthread_rwlock_tryrdlock(lock);
}

int ThreadLocks::lock_to_read_until(pthread_rwlock_t* lock, Microseconds deadline) {
    bool in_time = true;
    for (;;) {
        const int result = take_to_read(lock);
        if (result != EBUSY) return result;
        if (is_written_by_current(lock)) return EDEADLK;
        if (!in_time) return ETIMEDOUT;
        in_time = wait_in_time(lock, deadline);
    }
}

int ThreadLocks::lock_to_write(pthread_rwlock_t* lock) {
    scheduler_.touch();
    return lock_to_write_until(lock, no_deadline);
}

int ThreadLocks::try_to_write(pthread_rwlock_t* lock) {
    scheduler_.touch();
    return real::pthread_rwlock_trywrlock(lock);
}

int ThreadLocks::timed_lock_to_write(pthread_rwlock_t* lock, clockid_t clock, const timespec* until) {
    scheduler_.touch();
    if (!has_timed_locks(clock) || !has_valid_nanoseconds(*until)) return EINVAL;
    return lock_to_write_until(lock, deadline_at(clock, *until));
}

int ThreadLocks::lock_to_write_until(pthread_rwlock_t* lock, Microseconds deadline) {
    bool in_time = true;
    for (;;) {
        const int result = real::pthread_rwlock_trywrlock(lock);
        if (result != EBUSY) return result;
        if (is_written_by_current(lock)) return EDEADLK;
        if (!in_time) return ETIMEDOUT;
        const WaitingWriter waiting(*this, lock);
        in_time = wait_in_time(lock, deadline);
    }
}

bool ThreadLocks::wait_in_time(pthread_rwlock_t* lock, Microseconds deadline) {
    return waits_.wait({Wait::Kind::read_write_lock, lock, name_of_object(lock)}, deadline) !=
           WaitEnd::timed_out;
}

int ThreadLocks::unlock(pthread_rwlock_t* lock) {
    scheduler_.touch();
    const int result = real::pthread_rwlock_unlock(lock);
    if (result == 0) scheduler_.wake_all(lock);
    return result;
}

// --- Spin locks --------------------------------------------------------------------------------------------

namespace {

const void* key_of(pthread_spinlock_t* lock) { return const_cast<int*>(lock); }

}  // namespace

int ThreadLocks::lock(pthread_spinlock_t* lock) {
    scheduler_.touch();
    for (;;) {
        const int result = real::pthread_spin_trylock(lock);
        if (result != EBUSY) return result;
        const void* key = key_of(lock);
        (void)waits_.wait({Wait::Kind::spin_lock, key, name_of_object(key)}, no_deadline);
    }
}

int ThreadLocks::try_lock(pthread_spinlock_t* lock) {
    scheduler_.touch();
    return real::pthread_spin_trylock(lock);
}

int ThreadLocks::unlock(pthread_spinlock_t* lock) {
    scheduler_.touch();
    const int result = real::pthread_spin_unlock(lock);
    if (result == 0) scheduler_.wake_all(key_of(lock));
    return result;
}

// --- Semaphores --------------------------------------------------------------------------------------------

int ThreadLocks::wait(sem_t* semaphore) {
    scheduler_.touch();
    return wait_until(semaphore, no_deadline);
}

int ThreadLocks::try_wait(sem_t* semaphore) {
    scheduler_.touch();
    return real::sem_trywait(semaphore) == 0 ? 0 : -errno;
}

int ThreadLocks::timed_wait(sem_t* semaphore, clockid_t clock, const timespec* until) {
    scheduler_.touch();
    if (!has_timed_locks(clock) || !has_valid_nanoseconds(*until)) return -EINVAL;
    return wait_until(semaphore, deadline_at(clock, *until));
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
