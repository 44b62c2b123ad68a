// Mutexes, condition variables, read-write locks, spin locks and semaphores in virtual time.
//
// A lock or semaphore is the real one, tried and never waited for: on contention the thread waits in the
// scheduler until another unlocks or posts. A condition variable is the scheduler's alone. Results as those of
// the pthread functions of the same names.
//
// Objects are known by their addresses. One in memory that other processes share works among the threads of
// this one; what another process unlocks or posts is seen at the next try.
#ifndef VIRTUAL_PROJECTOR_INTERPOSE_THREAD_LOCKS_H
#define VIRTUAL_PROJECTOR_INTERPOSE_THREAD_LOCKS_H

#include <pthread.h>
#include <semaphore.h>
#include <time.h>

#include <string>
#include <unordered_map>

#include "virtual_projector/clock/thread_scheduler.h"
#include "virtual_projector/interpose/object_names.h"
#include "virtual_projector/interpose/program_time.h"
#include "virtual_projector/interpose/program_waits.h"
#include "virtual_projector/interpose/recorder.h"

namespace vp {

class ThreadLocks {
public:
    ThreadLocks(ThreadScheduler& scheduler, ProgramWaits& waits, ProgramTime& time, ObjectNames& names,
                Recorder& recorder);

    int lock(pthread_mutex_t* mutex);
    int try_lock(pthread_mutex_t* mutex);
    int timed_lock(pthread_mutex_t* mutex, clockid_t clock, const timespec* until);
    int unlock(pthread_mutex_t* mutex);

    int condition_init(pthread_cond_t* condition, const pthread_condattr_t* attributes);
    int condition_destroy(pthread_cond_t* condition);
    int wait(pthread_cond_t* condition, pthread_mutex_t* mutex);
    int timed_wait(pthread_cond_t* condition, pthread_mutex_t* mutex, const timespec* until);
    int timed_wait(pthread_cond_t* condition, pthread_mutex_t* mutex, clockid_t clock, const timespec* until);
    int signal(pthread_cond_t* condition);
    int broadcast(pthread_cond_t* condition);

    int lock_to_read(pthread_rwlock_t* lock);
    int try_to_read(pthread_rwlock_t* lock);
    int timed_lock_to_read(pthread_rwlock_t* lock, clockid_t clock, const timespec* until);
    int lock_to_write(pthread_rwlock_t* lock);
    int try_to_write(pthread_rwlock_t* lock);
    int timed_lock_to_write(pthread_rwlock_t* lock, clockid_t clock, const timespec* until);
    int unlock(pthread_rwlock_t* lock);

    int lock(pthread_spinlock_t* lock);
    int try_lock(pthread_spinlock_t* lock);
    int unlock(pthread_spinlock_t* lock);

    // A failure of these is an errno, with the result -1; here a negated errno.
    int wait(sem_t* semaphore);
    int try_wait(sem_t* semaphore);
    int timed_wait(sem_t* semaphore, clockid_t clock, const timespec* until);
    int post(sem_t* semaphore);

private:
    class WaitingWriter;

    Microseconds deadline_at(clockid_t clock, const timespec& until) const;
    int take(pthread_mutex_t* mutex);
    int lock_until(pthread_mutex_t* mutex, Microseconds deadline);
    int take_in_time(pthread_mutex_t* mutex, Microseconds deadline);
    std::string recorded_name_of(const pthread_mutex_t* mutex);
    void note_taken(const pthread_mutex_t* mutex);
    void given_back(const pthread_mutex_t* mutex);
    int wait_until(pthread_cond_t* condition, pthread_mutex_t* mutex, Microseconds deadline);
    int take_to_read(pthread_rwlock_t* lock);
    int lock_to_read_until(pthread_rwlock_t* lock, Microseconds deadline);
    int lock_to_write_until(pthread_rwlock_t* lock, Microseconds deadline);
    bool wait_in_time(pthread_rwlock_t* lock, Microseconds deadline);
    int wait_until(sem_t* semaphore, Microseconds deadline);

    ThreadScheduler& scheduler_;
    ProgramWaits& waits_;
    ProgramTime& time_;
    ObjectNames& names_;
    Recorder& recorder_;
    struct Held {
        Microseconds since;
        int times;
    };
    std::unordered_map<const pthread_mutex_t*, Held> held_;  // while there is a recorder
    std::unordered_map<const pthread_cond_t*, clockid_t>
        condition_clocks_;  // those that are not the wall clock
    std::unordered_map<const pthread_rwlock_t*, int> waiting_writers_;
};

}  // namespace vp

#endif
