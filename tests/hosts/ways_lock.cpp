// Locks of POSIX threads, timed and clocked, and what else threads wait for among themselves.
#include <fcntl.h>
#include <pthread.h>
#include <sched.h>
#include <semaphore.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>

#include "tests/hosts/ways.h"

namespace {

using namespace ways;

// Holds a lock from now on for the waiting time, in a thread of its own.
template <typename Lock, typename Unlock>
class Held {
public:
    Held(Lock lock, Unlock unlock)
        : thread_(0, [=, this] {
              lock();
              holding_ = true;
              sleep_ns(wait_ns());
              unlock();
          }) {
        while (!holding_) sched_yield();
    }

private:
    std::atomic<bool> holding_{false};
    Later thread_;
};

struct Mutex {
    explicit Mutex(int type = PTHREAD_MUTEX_NORMAL, int robust = PTHREAD_MUTEX_STALLED,
                   int protocol = PTHREAD_PRIO_NONE) {
        pthread_mutexattr_t attributes;
        pthread_mutexattr_init(&attributes);
        pthread_mutexattr_settype(&attributes, type);
        pthread_mutexattr_setrobust(&attributes, robust);
        pthread_mutexattr_setprotocol(&attributes, protocol);
        same("pthread_mutex_init", pthread_mutex_init(&mutex, &attributes), 0);
        pthread_mutexattr_destroy(&attributes);
    }
    ~Mutex() { pthread_mutex_destroy(&mutex); }
    Mutex(const Mutex&) = delete;
    Mutex& operator=(const Mutex&) = delete;
    pthread_mutex_t* operator&() { return &mutex; }
    pthread_mutex_t mutex{};
};

auto held(Mutex& mutex) {
    return Held([&] { pthread_mutex_lock(&mutex); }, [&] { pthread_mutex_unlock(&mutex); });
}

// A mutex of any kind: waited for, and waited for in vain.
void mutex_keeps_time(Mutex& mutex) {
    {
        const auto holder = held(mutex);
        same("pthread_mutex_trylock", pthread_mutex_trylock(&mutex), EBUSY);
        takes_the_wait("pthread_mutex_lock",
                       [&] { same("pthread_mutex_lock", pthread_mutex_lock(&mutex), 0); });
        pthread_mutex_unlock(&mutex);
    }
    const auto holder = held(mutex);
    const Stopwatch watch;
    const timespec moment = moment_ahead(CLOCK_REALTIME, wait_ns() / 2);
    same("pthread_mutex_timedlock", pthread_mutex_timedlock(&mutex, &moment), ETIMEDOUT);
    watch.expect("pthread_mutex_timedlock", wait_ns() / 2);
}

struct RwLock {
    ~RwLock() { pthread_rwlock_destroy(&lock); }
    pthread_rwlock_t* operator&() { return &lock; }
    pthread_rwlock_t lock = PTHREAD_RWLOCK_INITIALIZER;
};

auto held_to_write(RwLock& lock) {
    return Held([&] { pthread_rwlock_wrlock(&lock); }, [&] { pthread_rwlock_unlock(&lock); });
}

auto held_to_read(RwLock& lock) {
    return Held([&] { pthread_rwlock_rdlock(&lock); }, [&] { pthread_rwlock_unlock(&lock); });
}

// Waits that end by their deadline: an absolute one by this clock.
template <typename Call>
void times_out(const char* name, clockid_t clock, Call call) {
    const timespec moment = moment_ahead(clock, wait_ns());
    takes_the_wait(name, [&] { same(name, call(&moment), ETIMEDOUT); });
}

struct Condition {
    explicit Condition(clockid_t clock = CLOCK_REALTIME) {
        pthread_condattr_t attributes;
        pthread_condattr_init(&attributes);
        same("pthread_condattr_setclock", pthread_condattr_setclock(&attributes, clock), 0);
        pthread_cond_init(&condition, &attributes);
        pthread_condattr_destroy(&attributes);
    }
    ~Condition() { pthread_cond_destroy(&condition); }
    Condition(const Condition&) = delete;
    Condition& operator=(const Condition&) = delete;
    pthread_cond_t* operator&() { return &condition; }
    pthread_cond_t condition{};
};

class Semaphore {
public:
    explicit Semaphore(unsigned value = 0) { worked("sem_init", sem_init(&semaphore_, 0, value)); }
    ~Semaphore() { sem_destroy(&semaphore_); }
    Semaphore(const Semaphore&) = delete;
    Semaphore& operator=(const Semaphore&) = delete;
    sem_t* operator&() { return &semaphore_; }

private:
    sem_t semaphore_{};
};

void* sleep_in_thread(void* value) {
    sleep_ns(wait_ns());
    return value;
}

pthread_t sleeping_thread() {
    static int value;
    pthread_t thread{};
    same("pthread_create", pthread_create(&thread, nullptr, sleep_in_thread, &value), 0);
    return thread;
}

std::atomic<int> once_count;
pthread_once_t once = PTHREAD_ONCE_INIT;
void run_once() {
    sleep_ns(wait_ns());
    once_count = once_count + 1;
}

}  // namespace

WAY(sem_wait) {
    Semaphore semaphore;
    const Later poster([&] { worked("sem_post", sem_post(&semaphore)); });
    takes_the_wait("sem_wait", [&] { worked("sem_wait", sem_wait(&semaphore)); });
    int value = -1;
    sem_getvalue(&semaphore, &value);
    same("its value", value, 0);
}

WAY(sem_trywait) {
    Semaphore semaphore(1);
    takes_no_time("sem_trywait", [&] {
        worked("sem_trywait", sem_trywait(&semaphore));
        failed_with("sem_trywait", sem_trywait(&semaphore), EAGAIN);
    });
    sleep_ns(wait_ns());
}

WAY(sem_timedwait_times_out) {
    Semaphore semaphore;
    const timespec moment = moment_ahead(CLOCK_REALTIME, wait_ns());
    takes_the_wait("sem_timedwait",
                   [&] { failed_with("sem_timedwait", sem_timedwait(&semaphore, &moment), ETIMEDOUT); });
}

WAY(sem_timedwait_is_posted) {
    Semaphore semaphore;
    const timespec moment = moment_ahead(CLOCK_REALTIME, 3 * wait_ns());
    const Later poster([&] { sem_post(&semaphore); });
    takes_the_wait("sem_timedwait", [&] { worked("sem_timedwait", sem_timedwait(&semaphore, &moment)); });
}

WAY(sem_clockwait) {
    Semaphore semaphore;
    const timespec moment = moment_ahead(CLOCK_MONOTONIC, wait_ns());
    takes_the_wait("sem_clockwait", [&] {
        failed_with("sem_clockwait", sem_clockwait(&semaphore, CLOCK_MONOTONIC, &moment), ETIMEDOUT);
    });
    const timespec later = moment_ahead(CLOCK_REALTIME, 3 * wait_ns());
    const Later poster([&] { sem_post(&semaphore); });
    takes_the_wait("sem_clockwait",
                   [&] { worked("sem_clockwait", sem_clockwait(&semaphore, CLOCK_REALTIME, &later)); });
}

WAY(sem_open_by_name) {
    const std::string name = "/way-" + std::to_string(getpid());
    sem_t* const semaphore = sem_open(name.c_str(), O_CREAT | O_EXCL, 0600, 0);
    if (semaphore == SEM_FAILED) return fail("sem_open failed");
    sem_unlink(name.c_str());
    const Later poster([&] { sem_post(semaphore); });
    takes_the_wait("sem_wait", [&] { worked("sem_wait", sem_wait(semaphore)); });
    sem_close(semaphore);
}

WAY(mutex_normal) {
    Mutex mutex;
    mutex_keeps_time(mutex);
}

WAY(mutex_recursive) {
    Mutex mutex(PTHREAD_MUTEX_RECURSIVE);
    takes_no_time("twice", [&] {
        same("pthread_mutex_lock", pthread_mutex_lock(&mutex), 0);
        same("pthread_mutex_lock", pthread_mutex_lock(&mutex), 0);
        const timespec moment = moment_ahead(CLOCK_REALTIME, wait_ns());
        same("pthread_mutex_timedlock", pthread_mutex_timedlock(&mutex, &moment), 0);
        for (int i = 0; i < 3; ++i) same("pthread_mutex_unlock", pthread_mutex_unlock(&mutex), 0);
        same("once too often", pthread_mutex_unlock(&mutex), EPERM);
    });
    mutex_keeps_time(mutex);
}

WAY(mutex_errorcheck) {
    Mutex mutex(PTHREAD_MUTEX_ERRORCHECK);
    takes_no_time("mistakes", [&] {
        same("pthread_mutex_lock", pthread_mutex_lock(&mutex), 0);
        same("again", pthread_mutex_lock(&mutex), EDEADLK);
        same("pthread_mutex_unlock", pthread_mutex_unlock(&mutex), 0);
        same("again", pthread_mutex_unlock(&mutex), EPERM);
    });
    mutex_keeps_time(mutex);
}

WAY(mutex_adaptive) {
    Mutex mutex(PTHREAD_MUTEX_ADAPTIVE_NP);
    mutex_keeps_time(mutex);
}

WAY(mutex_that_hands_on_priority) {
    Mutex mutex(PTHREAD_MUTEX_NORMAL, PTHREAD_MUTEX_STALLED, PTHREAD_PRIO_INHERIT);
    mutex_keeps_time(mutex);
}

WAY(mutex_robust) {
    Mutex mutex(PTHREAD_MUTEX_NORMAL, PTHREAD_MUTEX_ROBUST);
    mutex_keeps_time(mutex);
}

// Its owner ends without giving it back.
WAY(mutex_robust_whose_owner_ends) {
    Mutex mutex(PTHREAD_MUTEX_NORMAL, PTHREAD_MUTEX_ROBUST);
    const Later owner(0, [&] {
        pthread_mutex_lock(&mutex);
        sleep_ns(wait_ns() + wait_ns() / 4);
    });
    sleep_ns(wait_ns() / 4);
    takes_the_wait("pthread_mutex_lock",
                   [&] { same("pthread_mutex_lock", pthread_mutex_lock(&mutex), EOWNERDEAD); });
    same("pthread_mutex_consistent", pthread_mutex_consistent(&mutex), 0);
    same("pthread_mutex_unlock", pthread_mutex_unlock(&mutex), 0);
    same("pthread_mutex_lock", pthread_mutex_lock(&mutex), 0);
    pthread_mutex_unlock(&mutex);
}

WAY(mutex_timedlock_gets_it) {
    Mutex mutex;
    const auto holder = held(mutex);
    const timespec moment = moment_ahead(CLOCK_REALTIME, 3 * wait_ns());
    takes_the_wait("pthread_mutex_timedlock",
                   [&] { same("pthread_mutex_timedlock", pthread_mutex_timedlock(&mutex, &moment), 0); });
    pthread_mutex_unlock(&mutex);
}

WAY(mutex_clocklock) {
    Mutex mutex;
    {
        const auto holder = held(mutex);
        const timespec moment = moment_ahead(CLOCK_MONOTONIC, 3 * wait_ns());
        takes_the_wait("pthread_mutex_clocklock", [&] {
            same("pthread_mutex_clocklock", pthread_mutex_clocklock(&mutex, CLOCK_MONOTONIC, &moment), 0);
        });
    }
    Later other(0, [&] {
        times_out("pthread_mutex_clocklock", CLOCK_REALTIME, [&](const timespec* moment) {
            return pthread_mutex_clocklock(&mutex, CLOCK_REALTIME, moment);
        });
    });
    other.join();
    pthread_mutex_unlock(&mutex);
}

// A normal mutex that is locked twice by its owner waits, as POSIX has it; with a deadline it comes back.
WAY(mutex_timedlock_of_ones_own) {
    Mutex mutex;
    pthread_mutex_lock(&mutex);
    times_out("pthread_mutex_timedlock", CLOCK_REALTIME,
              [&](const timespec* moment) { return pthread_mutex_timedlock(&mutex, moment); });
    pthread_mutex_unlock(&mutex);
}

WAY(rwlock_rdlock_waits_for_the_writer) {
    RwLock lock;
    const auto writer = held_to_write(lock);
    same("pthread_rwlock_tryrdlock", pthread_rwlock_tryrdlock(&lock), EBUSY);
    takes_the_wait("pthread_rwlock_rdlock",
                   [&] { same("pthread_rwlock_rdlock", pthread_rwlock_rdlock(&lock), 0); });
    pthread_rwlock_unlock(&lock);
}

WAY(rwlock_wrlock_waits_for_the_readers) {
    RwLock lock;
    const auto first = held_to_read(lock);
    same("pthread_rwlock_tryrdlock", pthread_rwlock_tryrdlock(&lock), 0);
    pthread_rwlock_unlock(&lock);
    same("pthread_rwlock_trywrlock", pthread_rwlock_trywrlock(&lock), EBUSY);
    takes_the_wait("pthread_rwlock_wrlock",
                   [&] { same("pthread_rwlock_wrlock", pthread_rwlock_wrlock(&lock), 0); });
    pthread_rwlock_unlock(&lock);
}

WAY(rwlock_timedrdlock) {
    RwLock lock;
    {
        const auto writer = held_to_write(lock);
        const timespec moment = moment_ahead(CLOCK_REALTIME, 3 * wait_ns());
        takes_the_wait("pthread_rwlock_timedrdlock", [&] {
            same("pthread_rwlock_timedrdlock", pthread_rwlock_timedrdlock(&lock, &moment), 0);
        });
        pthread_rwlock_unlock(&lock);
    }
    same("pthread_rwlock_wrlock", pthread_rwlock_wrlock(&lock), 0);
    Later reader(0, [&] {
        times_out("pthread_rwlock_timedrdlock", CLOCK_REALTIME,
                  [&](const timespec* moment) { return pthread_rwlock_timedrdlock(&lock, moment); });
    });
    reader.join();
    pthread_rwlock_unlock(&lock);
}

WAY(rwlock_timedwrlock) {
    RwLock lock;
    same("pthread_rwlock_rdlock", pthread_rwlock_rdlock(&lock), 0);
    Later writer(0, [&] {
        times_out("pthread_rwlock_timedwrlock", CLOCK_REALTIME,
                  [&](const timespec* moment) { return pthread_rwlock_timedwrlock(&lock, moment); });
    });
    writer.join();
    pthread_rwlock_unlock(&lock);
}

WAY(rwlock_clockrdlock) {
    RwLock lock;
    same("pthread_rwlock_wrlock", pthread_rwlock_wrlock(&lock), 0);
    Later reader(0, [&] {
        times_out("pthread_rwlock_clockrdlock", CLOCK_MONOTONIC, [&](const timespec* moment) {
            return pthread_rwlock_clockrdlock(&lock, CLOCK_MONOTONIC, moment);
        });
    });
    reader.join();
    pthread_rwlock_unlock(&lock);
}

WAY(rwlock_clockwrlock) {
    RwLock lock;
    same("pthread_rwlock_rdlock", pthread_rwlock_rdlock(&lock), 0);
    Later writer(0, [&] {
        times_out("pthread_rwlock_clockwrlock", CLOCK_MONOTONIC, [&](const timespec* moment) {
            return pthread_rwlock_clockwrlock(&lock, CLOCK_MONOTONIC, moment);
        });
    });
    writer.join();
    pthread_rwlock_unlock(&lock);
}

WAY(rwlock_upgraded_by_its_own_reader_is_refused) {
    RwLock lock;
    same("pthread_rwlock_wrlock", pthread_rwlock_wrlock(&lock), 0);
    takes_no_time("again", [&] {
        same("pthread_rwlock_wrlock", pthread_rwlock_wrlock(&lock), EDEADLK);
        same("pthread_rwlock_rdlock", pthread_rwlock_rdlock(&lock), EDEADLK);
    });
    pthread_rwlock_unlock(&lock);
    sleep_ns(wait_ns());
}

WAY(condition_is_signalled) {
    Mutex mutex;
    Condition condition;
    bool done = false;
    const Later setter([&] {
        pthread_mutex_lock(&mutex);
        done = true;
        pthread_cond_signal(&condition);
        pthread_mutex_unlock(&mutex);
    });
    takes_the_wait("pthread_cond_wait", [&] {
        pthread_mutex_lock(&mutex);
        while (!done) same("pthread_cond_wait", pthread_cond_wait(&condition, &mutex), 0);
        pthread_mutex_unlock(&mutex);
    });
}

WAY(condition_is_broadcast) {
    Mutex mutex;
    Condition condition;
    bool done = false;
    const auto wait = [&] {
        pthread_mutex_lock(&mutex);
        while (!done) pthread_cond_wait(&condition, &mutex);
        pthread_mutex_unlock(&mutex);
    };
    takes_the_wait("all", [&] {
        const Later first(0, wait);
        const Later second(0, wait);
        const Later setter([&] {
            pthread_mutex_lock(&mutex);
            done = true;
            pthread_cond_broadcast(&condition);
            pthread_mutex_unlock(&mutex);
        });
        wait();
    });
}

WAY(condition_times_out_by_realtime) {
    Mutex mutex;
    Condition condition;
    pthread_mutex_lock(&mutex);
    times_out("pthread_cond_timedwait", CLOCK_REALTIME,
              [&](const timespec* moment) { return pthread_cond_timedwait(&condition, &mutex, moment); });
    pthread_mutex_unlock(&mutex);
}

WAY(condition_times_out_by_monotonic) {
    Mutex mutex;
    Condition condition(CLOCK_MONOTONIC);
    pthread_mutex_lock(&mutex);
    times_out("pthread_cond_timedwait", CLOCK_MONOTONIC,
              [&](const timespec* moment) { return pthread_cond_timedwait(&condition, &mutex, moment); });
    pthread_mutex_unlock(&mutex);
}

WAY(condition_clockwait) {
    Mutex mutex;
    Condition condition;
    pthread_mutex_lock(&mutex);
    for (const clockid_t clock : {CLOCK_MONOTONIC, CLOCK_REALTIME}) {
        times_out("pthread_cond_clockwait", clock, [&](const timespec* moment) {
            return pthread_cond_clockwait(&condition, &mutex, clock, moment);
        });
    }
    pthread_mutex_unlock(&mutex);
}

// The time is over and the mutex is still another's: the wait ends when that one gives it back.
WAY(condition_times_out_and_waits_for_its_mutex) {
    Mutex mutex;
    Condition condition(CLOCK_MONOTONIC);
    pthread_mutex_lock(&mutex);
    const Later holder(wait_ns() / 4, [&] {
        pthread_mutex_lock(&mutex);
        sleep_ns(wait_ns() - wait_ns() / 4);
        pthread_mutex_unlock(&mutex);
    });
    const timespec moment = moment_ahead(CLOCK_MONOTONIC, wait_ns() / 2);
    takes_the_wait("pthread_cond_timedwait", [&] {
        same("pthread_cond_timedwait", pthread_cond_timedwait(&condition, &mutex, &moment), ETIMEDOUT);
    });
    pthread_mutex_unlock(&mutex);
}

WAY(barrier) {
    pthread_barrier_t barrier;
    pthread_barrier_init(&barrier, nullptr, 3);
    std::atomic<int> serial{0};
    const auto arrive = [&] {
        const int result = pthread_barrier_wait(&barrier);
        if (result == PTHREAD_BARRIER_SERIAL_THREAD) {
            serial = serial + 1;
        } else {
            same("pthread_barrier_wait", result, 0);
        }
    };
    {
        const Later first(0, arrive);
        const Later last(arrive);
        takes_the_wait("pthread_barrier_wait", arrive);
    }
    same("serial threads", serial, 1);
    pthread_barrier_destroy(&barrier);
}

WAY(barrier_used_again_and_again) {
    pthread_barrier_t barrier;
    pthread_barrier_init(&barrier, nullptr, 2);
    takes_the_wait("five rounds", [&] {
        const Later other(0, [&] {
            for (int round = 0; round < 5; ++round) {
                sleep_ns(wait_ns() / 5);
                pthread_barrier_wait(&barrier);
            }
        });
        for (int round = 0; round < 5; ++round) pthread_barrier_wait(&barrier);
    });
    pthread_barrier_destroy(&barrier);
}

WAY(spin_lock) {
    pthread_spinlock_t lock;
    pthread_spin_init(&lock, PTHREAD_PROCESS_PRIVATE);
    const Held holder([&] { pthread_spin_lock(&lock); }, [&] { pthread_spin_unlock(&lock); });
    same("pthread_spin_trylock", pthread_spin_trylock(&lock), EBUSY);
    takes_the_wait("pthread_spin_lock", [&] { same("pthread_spin_lock", pthread_spin_lock(&lock), 0); });
    pthread_spin_unlock(&lock);
    pthread_spin_destroy(&lock);
}

WAY(pthread_once_while_another_is_at_it) {
    takes_the_wait("both", [] {
        const Later first(0, [] { pthread_once(&once, run_once); });
        const Later second(0, [] { pthread_once(&once, run_once); });
        pthread_once(&once, run_once);
        same("how often it has run", once_count, 1);
    });
}

WAY(pthread_join) {
    const pthread_t thread = sleeping_thread();
    void* value = nullptr;
    takes_the_wait("pthread_join", [&] { same("pthread_join", pthread_join(thread, &value), 0); });
    check(value != nullptr, "its value is lost");
}

WAY(pthread_tryjoin) {
    const pthread_t thread = sleeping_thread();
    takes_no_time("pthread_tryjoin_np",
                  [&] { same("pthread_tryjoin_np", pthread_tryjoin_np(thread, nullptr), EBUSY); });
    sleep_ns(wait_ns() + wait_ns() / 4);
    same("pthread_tryjoin_np", pthread_tryjoin_np(thread, nullptr), 0);
}

WAY(pthread_timedjoin) {
    const pthread_t thread = sleeping_thread();
    const Stopwatch watch;
    timespec moment = moment_ahead(CLOCK_REALTIME, wait_ns() / 2);
    same("pthread_timedjoin_np", pthread_timedjoin_np(thread, nullptr, &moment), ETIMEDOUT);
    watch.expect("in vain", wait_ns() / 2);
    moment = moment_ahead(CLOCK_REALTIME, 3 * wait_ns());
    void* value = nullptr;
    same("pthread_timedjoin_np", pthread_timedjoin_np(thread, &value, &moment), 0);
    watch.expect("both", wait_ns());
    check(value != nullptr, "its value is lost");
}

WAY(pthread_clockjoin) {
    const pthread_t thread = sleeping_thread();
    const Stopwatch watch;
    timespec moment = moment_ahead(CLOCK_MONOTONIC, wait_ns() / 2);
    same("pthread_clockjoin_np", pthread_clockjoin_np(thread, nullptr, CLOCK_MONOTONIC, &moment), ETIMEDOUT);
    watch.expect("in vain", wait_ns() / 2);
    moment = moment_ahead(CLOCK_MONOTONIC, 3 * wait_ns());
    same("pthread_clockjoin_np", pthread_clockjoin_np(thread, nullptr, CLOCK_MONOTONIC, &moment), 0);
    watch.expect("both", wait_ns());
}

WAY(sched_yield_until_another_acts) {
    std::atomic<bool> done{false};
    const Later setter([&] { done = true; });
    takes_the_wait("yielding", [&] {
        while (!done) sched_yield();
    });
}

WAY(pthread_yield_by_usleep_of_nothing) {
    std::atomic<bool> done{false};
    const Later setter([&] { done = true; });
    takes_the_wait("yielding", [&] {
        while (!done) usleep(0);
    });
}

WAY(pthread_exit_and_detach) {
    Semaphore semaphore;
    pthread_t thread{};
    takes_the_wait("the thread", [&] {
        same("pthread_create",
             pthread_create(
                 &thread, nullptr,
                 [](void* ended) -> void* {
                     pthread_detach(pthread_self());
                     sleep_ns(wait_ns());
                     sem_post(static_cast<sem_t*>(ended));
                     pthread_exit(nullptr);
                 },
                 &semaphore),
             0);
        worked("sem_wait", sem_wait(&semaphore));
    });
}
