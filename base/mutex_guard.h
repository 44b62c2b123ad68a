// Holding one of the exported mutexes.
#ifndef OVRA_BASE_MUTEX_GUARD_H
#define OVRA_BASE_MUTEX_GUARD_H

#include <pthread.h>

namespace ovra {

/// Locks a POSIX mutex and unlocks it when it goes out of scope.
class MutexGuard {
public:
    explicit MutexGuard(pthread_mutex_t& mutex) : mutex_(mutex) { pthread_mutex_lock(&mutex_); }
    ~MutexGuard() { pthread_mutex_unlock(&mutex_); }
    MutexGuard(const MutexGuard&) = delete;
    MutexGuard& operator=(const MutexGuard&) = delete;

private:
    pthread_mutex_t& mutex_;
};

}  // namespace ovra

#endif
