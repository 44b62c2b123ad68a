#include "virtual_projector/interpose/thread_locks.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <pthread.h>
#include <semaphore.h>
#include <sys/select.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <limits>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "tests/virtual_projector/interpose/waiting_threads.h"

namespace {

using namespace interpose_test;
using namespace std::chrono_literals;

struct ThreadLocks : WaitingThreads {
    pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;
    pthread_cond_t condition = PTHREAD_COND_INITIALIZER;
};

pthread_mutex_t mutex_of_kind(int kind) {
    pthread_mutexattr_t attributes;
    pthread_mutexattr_init(&attributes);
    pthread_mutexattr_settype(&attributes, kind);
    pthread_mutex_t mutex;
    pthread_mutex_init(&mutex, &attributes);
    pthread_mutexattr_destroy(&attributes);
    return mutex;
}

// --- Mutexes -----------------------------------------------------------------------------------------------

TEST_F(ThreadLocks, AContendedMutexIsWaitedForUntilItsHolderUnlocks) {
    start([&] {
        pthread_mutex_lock(&mutex);
        ::usleep(100);
        say("unlocks");
        pthread_mutex_unlock(&mutex);
    });
    ::usleep(10);
    EXPECT_EQ(pthread_mutex_trylock(&mutex), EBUSY);
    EXPECT_EQ(pthread_mutex_lock(&mutex), 0);
    say("has it");
    EXPECT_EQ(pthread_mutex_unlock(&mutex), 0);
    EXPECT_EQ(said, (Lines{"100 unlocks", "100 has it"}));
}

TEST_F(ThreadLocks, AFreeMutexDoesNotCostTheTurn) {
    start([&] { say("other"); });
    for (int i = 0; i < 10; ++i) {
        pthread_mutex_lock(&mutex);
        pthread_mutex_unlock(&mutex);
    }
    EXPECT_EQ(said, Lines{});
}

TEST_F(ThreadLocks, OnlyOneOfManyHasTheMutexAtATime) {
    int inside = 0;
    int most = 0;
    for (int i = 0; i < 8; ++i) {
        start([&] {
            for (int round = 0; round < 20; ++round) {
                pthread_mutex_lock(&mutex);
                most = std::max(most, ++inside);
                ::usleep(7);
                --inside;
                pthread_mutex_unlock(&mutex);
            }
        });
    }
    join();
    EXPECT_EQ(most, 1);
    EXPECT_EQ(clock.now(), 8 * 20 * 7);
}

TEST_F(ThreadLocks, ATimedLockGivesUpAtItsTime) {
    pthread_mutex_lock(&mutex);
    start([&] {
        timespec until = in(CLOCK_REALTIME, 50);
        EXPECT_EQ(pthread_mutex_timedlock(&mutex, &until), ETIMEDOUT);
        say("gave up");
        until = in(CLOCK_REALTIME, 100);
        EXPECT_EQ(pthread_mutex_timedlock(&mutex, &until), 0);
        say("has it");
        pthread_mutex_unlock(&mutex);
    });
    ::usleep(80);
    pthread_mutex_unlock(&mutex);
    join();
    EXPECT_EQ(said, (Lines{"50 gave up", "80 has it"}));
}

TEST_F(ThreadLocks, ATimedLockMayBeGivenEitherClock) {
    pthread_mutex_lock(&mutex);
    start([&] {
        timespec until = in(CLOCK_MONOTONIC, 30);
        EXPECT_EQ(pthread_mutex_clocklock(&mutex, CLOCK_MONOTONIC, &until), ETIMEDOUT);
        say("gave up");
        until = in(CLOCK_REALTIME, 30);
        EXPECT_EQ(pthread_mutex_clocklock(&mutex, CLOCK_REALTIME, &until), ETIMEDOUT);
        say("gave up");
        EXPECT_EQ(pthread_mutex_clocklock(&mutex, CLOCK_BOOTTIME, &until), EINVAL);
        until.tv_sec = std::numeric_limits<time_t>::max();  // for ever
        EXPECT_EQ(pthread_mutex_clocklock(&mutex, CLOCK_MONOTONIC, &until), 0);
        say("has it");
        pthread_mutex_unlock(&mutex);
    });
    ::usleep(80);
    pthread_mutex_unlock(&mutex);
    join();
    EXPECT_EQ(said, (Lines{"30 gave up", "60 gave up", "80 has it"}));
}

TEST_F(ThreadLocks, OnlyWhoWaitsIsAskedForAValidTime) {
    for (const long nanoseconds : {-1L, 1'000'000'000L}) {
        const timespec until{0, nanoseconds};
        EXPECT_EQ(pthread_mutex_timedlock(&mutex, &until), 0);
        start([&] { EXPECT_EQ(pthread_mutex_timedlock(&mutex, &until), EINVAL); });
        join();
        pthread_mutex_unlock(&mutex);
    }
    EXPECT_EQ(clock.now(), 0);
}

pthread_mutex_t robust_mutex() {
    pthread_mutexattr_t attributes;
    pthread_mutexattr_init(&attributes);
    pthread_mutexattr_setrobust(&attributes, PTHREAD_MUTEX_ROBUST);
    pthread_mutex_t mutex;
    pthread_mutex_init(&mutex, &attributes);
    pthread_mutexattr_destroy(&attributes);
    return mutex;
}

// The emulator's kernel does not tell.
bool kernel_tells_of_dead_holders() {
    void* list = nullptr;
    std::size_t size = 0;
    return ::syscall(SYS_get_robust_list, 0, &list, &size) == 0;
}

TEST_F(ThreadLocks, ARobustMutexSaysThatItsHolderHasEnded) {
    if (!kernel_tells_of_dead_holders()) GTEST_SKIP();
    pthread_mutex_t robust = robust_mutex();
    start([&] {
        pthread_mutex_lock(&robust);
        ::usleep(50);
    });
    ::usleep(10);
    EXPECT_EQ(pthread_mutex_trylock(&robust), EBUSY);
    EXPECT_EQ(pthread_mutex_lock(&robust), EOWNERDEAD);
    EXPECT_EQ(clock.now(), 50);
    EXPECT_EQ(pthread_mutex_consistent(&robust), 0);
    EXPECT_EQ(pthread_mutex_unlock(&robust), 0);
    start([&] {
        EXPECT_EQ(pthread_mutex_lock(&robust), 0);
        ::usleep(50);
        EXPECT_EQ(pthread_mutex_unlock(&robust), 0);
    });
    ::usleep(10);
    EXPECT_EQ(pthread_mutex_lock(&robust), 0);
    EXPECT_EQ(clock.now(), 100);
    pthread_mutex_unlock(&robust);
    join();
    pthread_mutex_destroy(&robust);
}

TEST_F(ThreadLocks, ARobustMutexThatNobodyRepairsIsLostToAll) {
    if (!kernel_tells_of_dead_holders()) GTEST_SKIP();
    pthread_mutex_t robust = robust_mutex();
    start([&] { pthread_mutex_lock(&robust); });
    ::usleep(10);
    start([&] {
        ::usleep(10);
        EXPECT_EQ(pthread_mutex_lock(&robust), ENOTRECOVERABLE);
        say("is told");
    });
    EXPECT_EQ(pthread_mutex_trylock(&robust), EOWNERDEAD);
    ::usleep(50);
    EXPECT_EQ(pthread_mutex_unlock(&robust), 0);
    join();
    EXPECT_EQ(said, Lines{"60 is told"});
    pthread_mutex_destroy(&robust);
}

TEST_F(ThreadLocks, ARecursiveMutexIsFreeAfterAsManyUnlocks) {
    pthread_mutex_t recursive = mutex_of_kind(PTHREAD_MUTEX_RECURSIVE);
    EXPECT_EQ(pthread_mutex_lock(&recursive), 0);
    EXPECT_EQ(pthread_mutex_lock(&recursive), 0);
    start([&] {
        pthread_mutex_lock(&recursive);
        say("has it");
        pthread_mutex_unlock(&recursive);
    });
    pthread_mutex_unlock(&recursive);
    ::usleep(10);
    pthread_mutex_unlock(&recursive);
    join();
    EXPECT_EQ(said, Lines{"10 has it"});
    pthread_mutex_destroy(&recursive);
}

TEST_F(ThreadLocks, AnErrorCheckingMutexIsNotTakenTwice) {
    pthread_mutex_t checking = mutex_of_kind(PTHREAD_MUTEX_ERRORCHECK);
    EXPECT_EQ(pthread_mutex_lock(&checking), 0);
    EXPECT_EQ(pthread_mutex_lock(&checking), EDEADLK);
    EXPECT_EQ(pthread_mutex_unlock(&checking), 0);
    pthread_mutex_destroy(&checking);
}

// --- Condition variables -------------------------------------------------------------------------------------

TEST_F(ThreadLocks, AWaitLetsTheMutexGoAndHasItAgainAfterTheSignal) {
    start([&] {
        pthread_mutex_lock(&mutex);
        EXPECT_EQ(pthread_cond_wait(&condition, &mutex), 0);
        say("woken");
        EXPECT_EQ(pthread_mutex_unlock(&mutex), 0);
    });
    ::usleep(10);
    pthread_mutex_lock(&mutex);
    pthread_cond_signal(&condition);
    ::usleep(10);
    say("unlocks");
    pthread_mutex_unlock(&mutex);
    join();
    EXPECT_EQ(said, (Lines{"20 unlocks", "20 woken"}));
}

TEST_F(ThreadLocks, ASignalWakesOneAndABroadcastAll) {
    for (int i = 0; i < 4; ++i) {
        start([&, i] {
            ::usleep(static_cast<useconds_t>(i));
            pthread_mutex_lock(&mutex);
            pthread_cond_wait(&condition, &mutex);
            say(std::to_string(i));
            pthread_mutex_unlock(&mutex);
        });
    }
    ::usleep(10);
    pthread_cond_signal(&condition);
    ::usleep(10);
    EXPECT_EQ(said, Lines{"10 0"});  // the one that has waited longest
    pthread_cond_broadcast(&condition);
    join();
    EXPECT_EQ(said.size(), 4U);
}

TEST_F(ThreadLocks, ASignalWithoutAWaiterIsLost) {
    pthread_cond_signal(&condition);
    pthread_cond_broadcast(&condition);
    pthread_mutex_lock(&mutex);
    const timespec until = in(CLOCK_REALTIME, 10);
    EXPECT_EQ(pthread_cond_timedwait(&condition, &mutex, &until), ETIMEDOUT);
    pthread_mutex_unlock(&mutex);
}

TEST_F(ThreadLocks, ATimedWaitEndsAtItsTimeOnTheConditionsOwnClock) {
    pthread_condattr_t attributes;
    pthread_condattr_init(&attributes);
    pthread_condattr_setclock(&attributes, CLOCK_MONOTONIC);
    pthread_cond_t steady;
    pthread_cond_init(&steady, &attributes);
    pthread_mutex_lock(&mutex);
    timespec until = in(CLOCK_MONOTONIC, 30);
    EXPECT_EQ(pthread_cond_timedwait(&steady, &mutex, &until), ETIMEDOUT);
    EXPECT_EQ(clock.now(), 30);
    until = in(CLOCK_REALTIME, 30);
    EXPECT_EQ(pthread_cond_timedwait(&condition, &mutex, &until), ETIMEDOUT);
    EXPECT_EQ(clock.now(), 60);
    EXPECT_EQ(pthread_cond_timedwait(&condition, &mutex, &until), ETIMEDOUT);  // has passed
    EXPECT_EQ(clock.now(), 60);
    until.tv_nsec = 1'000'000'000;
    EXPECT_EQ(pthread_cond_timedwait(&condition, &mutex, &until), EINVAL);
    EXPECT_EQ(pthread_mutex_unlock(&mutex), 0);  // held again after every one of them
    pthread_cond_destroy(&steady);
    pthread_condattr_destroy(&attributes);
}

TEST_F(ThreadLocks, AConditionThatWasDestroyedLeavesNoClockToTheNextAtItsPlace) {
    pthread_condattr_t attributes;
    pthread_condattr_init(&attributes);
    pthread_condattr_setclock(&attributes, CLOCK_MONOTONIC);
    pthread_cond_init(&condition, &attributes);
    pthread_condattr_destroy(&attributes);
    pthread_cond_destroy(&condition);
    const pthread_cond_t next = PTHREAD_COND_INITIALIZER;  // on the wall clock, and made without a call
    condition = next;
    pthread_mutex_lock(&mutex);
    const timespec until = in(CLOCK_REALTIME, 30);
    EXPECT_EQ(pthread_cond_timedwait(&condition, &mutex, &until), ETIMEDOUT);
    EXPECT_EQ(clock.now(), 30);
    pthread_mutex_unlock(&mutex);
}

TEST_F(ThreadLocks, ATimedWaitMayBeSignalledBefore) {
    start([&] {
        pthread_mutex_lock(&mutex);
        const timespec until = in(CLOCK_REALTIME, 100);
        EXPECT_EQ(pthread_cond_timedwait(&condition, &mutex, &until), 0);
        say("woken");
        pthread_mutex_unlock(&mutex);
    });
    ::usleep(40);
    pthread_cond_signal(&condition);
    join();
    EXPECT_EQ(said, Lines{"40 woken"});
}

TEST_F(ThreadLocks, TheStandardLibrarysLocksAreTheSame) {
    std::mutex lock;
    std::condition_variable ready;
    bool set = false;
    start([&] {
        std::this_thread::sleep_for(5ms);
        const std::lock_guard<std::mutex> guard(lock);
        set = true;
        ready.notify_one();
    });
    std::unique_lock<std::mutex> guard(lock);
    EXPECT_FALSE(ready.wait_for(guard, 2ms, [&] { return set; }));
    EXPECT_EQ(clock.now(), 2000);
    EXPECT_TRUE(ready.wait_for(guard, 1h, [&] { return set; }));
    EXPECT_EQ(clock.now(), 5000);
}

// --- Read-write locks -----------------------------------------------------------------------

TEST_F(ThreadLocks, AReadWriteLockLetsReadersShareAndWritersWait) {
    pthread_rwlock_t lock = PTHREAD_RWLOCK_INITIALIZER;
    for (int i = 0; i < 2; ++i) {
        start([&] {
            EXPECT_EQ(pthread_rwlock_rdlock(&lock), 0);
            ::usleep(50);
            say("read");
            EXPECT_EQ(pthread_rwlock_unlock(&lock), 0);
        });
    }
    ::usleep(10);
    EXPECT_EQ(pthread_rwlock_wrlock(&lock), 0);
    say("written");
    pthread_rwlock_unlock(&lock);
    EXPECT_EQ(said, (Lines{"50 read", "50 read", "50 written"}));
}

struct ReadWriteLocks : WaitingThreads {
    int read_for(int microseconds) {
        const timespec until = in(CLOCK_REALTIME, microseconds);
        return pthread_rwlock_timedrdlock(&lock, &until);
    }
    int write_for(int microseconds) {
        const timespec until = in(CLOCK_REALTIME, microseconds);
        return pthread_rwlock_timedwrlock(&lock, &until);
    }
    pthread_rwlock_t lock = PTHREAD_RWLOCK_INITIALIZER;
};

TEST_F(ReadWriteLocks, ATryDoesNotWait) {
    EXPECT_EQ(pthread_rwlock_tryrdlock(&lock), 0);
    start([&] {
        EXPECT_EQ(pthread_rwlock_tryrdlock(&lock), 0);
        EXPECT_EQ(pthread_rwlock_unlock(&lock), 0);
        EXPECT_EQ(pthread_rwlock_trywrlock(&lock), EBUSY);
    });
    join();
    EXPECT_EQ(pthread_rwlock_unlock(&lock), 0);
    EXPECT_EQ(pthread_rwlock_trywrlock(&lock), 0);
    start([&] { EXPECT_EQ(pthread_rwlock_tryrdlock(&lock), EBUSY); });
    join();
    EXPECT_EQ(pthread_rwlock_unlock(&lock), 0);
    EXPECT_EQ(clock.now(), 0);
}

TEST_F(ReadWriteLocks, TimedLocksGiveUpAtTheirTimeOrHaveItBefore) {
    pthread_rwlock_wrlock(&lock);
    start([&] {
        EXPECT_EQ(read_for(10), ETIMEDOUT);
        say("not read");
        EXPECT_EQ(write_for(10), ETIMEDOUT);
        say("not written");
        EXPECT_EQ(read_for(1000), 0);
        say("read");
        pthread_rwlock_unlock(&lock);
        EXPECT_EQ(write_for(1000), 0);
        say("written");
        pthread_rwlock_unlock(&lock);
    });
    ::usleep(50);
    pthread_rwlock_unlock(&lock);
    join();
    EXPECT_EQ(said, (Lines{"10 not read", "20 not written", "50 read", "50 written"}));
}

TEST_F(ReadWriteLocks, TimedLocksMayBeGivenEitherClock) {
    pthread_rwlock_wrlock(&lock);
    start([&] {
        for (const clockid_t id : {CLOCK_REALTIME, CLOCK_MONOTONIC}) {
            timespec until = in(id, 20);
            EXPECT_EQ(pthread_rwlock_clockrdlock(&lock, id, &until), ETIMEDOUT);
            until = in(id, 20);
            EXPECT_EQ(pthread_rwlock_clockwrlock(&lock, id, &until), ETIMEDOUT);
        }
    });
    join();
    EXPECT_EQ(clock.now(), 80);
    pthread_rwlock_unlock(&lock);
}

TEST_F(ReadWriteLocks, RefuseOtherClocksAndTimesThatAreNone) {
    const timespec late{0, 1'000'000'000};
    EXPECT_EQ(pthread_rwlock_timedrdlock(&lock, &late), EINVAL);
    EXPECT_EQ(pthread_rwlock_timedwrlock(&lock, &late), EINVAL);
    const timespec until = in(CLOCK_REALTIME, 20);
    EXPECT_EQ(pthread_rwlock_clockrdlock(&lock, CLOCK_BOOTTIME, &until), EINVAL);
    EXPECT_EQ(pthread_rwlock_clockwrlock(&lock, CLOCK_BOOTTIME, &until), EINVAL);
}

TEST_F(ReadWriteLocks, AWriterThatAsksAgainIsToldThatItWouldWaitForItself) {
    pthread_rwlock_wrlock(&lock);
    EXPECT_EQ(pthread_rwlock_rdlock(&lock), EDEADLK);
    EXPECT_EQ(pthread_rwlock_wrlock(&lock), EDEADLK);
    EXPECT_EQ(read_for(10), EDEADLK);
    EXPECT_EQ(write_for(10), EDEADLK);
    EXPECT_EQ(clock.now(), 0);
    pthread_rwlock_unlock(&lock);
}

// A reader at 0..100, a writer from 10 on, a second reader at 20.
TEST_F(ReadWriteLocks, AWaitingWriterHoldsBackReadersOnlyWhereTheLockPrefersWriters) {
    const auto run = [this](int kind) {
        pthread_rwlockattr_t attributes;
        pthread_rwlockattr_init(&attributes);
        pthread_rwlockattr_setkind_np(&attributes, kind);
        pthread_rwlock_init(&lock, &attributes);
        pthread_rwlockattr_destroy(&attributes);
        said.clear();
        start([this] {
            ::usleep(10);
            pthread_rwlock_wrlock(&lock);
            said.emplace_back("written");
            pthread_rwlock_unlock(&lock);
        });
        start([this] {
            ::usleep(20);
            pthread_rwlock_rdlock(&lock);
            said.emplace_back("read");
            pthread_rwlock_unlock(&lock);
        });
        pthread_rwlock_rdlock(&lock);
        ::usleep(100);
        pthread_rwlock_unlock(&lock);
        join();
        pthread_rwlock_destroy(&lock);
    };
    run(PTHREAD_RWLOCK_PREFER_READER_NP);
    EXPECT_EQ(said, (Lines{"read", "written"}));
    run(PTHREAD_RWLOCK_PREFER_WRITER_NONRECURSIVE_NP);
    EXPECT_EQ(said, (Lines{"written", "read"}));
}

TEST_F(ReadWriteLocks, AWriterThatGivesUpLetsTheReadersIn) {
    pthread_rwlockattr_t attributes;
    pthread_rwlockattr_init(&attributes);
    pthread_rwlockattr_setkind_np(&attributes, PTHREAD_RWLOCK_PREFER_WRITER_NONRECURSIVE_NP);
    pthread_rwlock_init(&lock, &attributes);
    pthread_rwlockattr_destroy(&attributes);
    pthread_rwlock_rdlock(&lock);
    start([&] { EXPECT_EQ(write_for(30), ETIMEDOUT); });
    start([&] {
        ::usleep(10);
        EXPECT_EQ(pthread_rwlock_tryrdlock(&lock), EBUSY);
        EXPECT_EQ(pthread_rwlock_rdlock(&lock), 0);
        say("read");
        pthread_rwlock_unlock(&lock);
    });
    join();
    pthread_rwlock_unlock(&lock);
    EXPECT_EQ(said, Lines{"30 read"});
    pthread_rwlock_destroy(&lock);
}

// --- Spin locks ----------------------------------------------------------------------------------------------

TEST_F(ThreadLocks, ASpinLockIsWaitedForInVirtualTimeToo) {
    pthread_spinlock_t spin;
    pthread_spin_init(&spin, PTHREAD_PROCESS_PRIVATE);
    EXPECT_EQ(pthread_spin_lock(&spin), 0);
    start([&] {
        EXPECT_EQ(pthread_spin_trylock(&spin), EBUSY);
        EXPECT_EQ(pthread_spin_lock(&spin), 0);
        say("has it");
        EXPECT_EQ(pthread_spin_unlock(&spin), 0);
    });
    ::usleep(40);
    EXPECT_EQ(pthread_spin_unlock(&spin), 0);
    join();
    EXPECT_EQ(pthread_spin_trylock(&spin), 0);
    EXPECT_EQ(said, Lines{"40 has it"});
    pthread_spin_unlock(&spin);
    pthread_spin_destroy(&spin);
}

// --- Semaphores ----------------------------------------------------------------------------------------------

TEST_F(ThreadLocks, ASemaphoreIsTriedWithoutWaiting) {
    sem_t semaphore;
    sem_init(&semaphore, 0, 1);
    EXPECT_EQ(sem_trywait(&semaphore), 0);
    EXPECT_EQ(sem_trywait(&semaphore), -1);
    EXPECT_EQ(errno, EAGAIN);
    EXPECT_EQ(clock.now(), 0);
    sem_destroy(&semaphore);
}

TEST_F(ThreadLocks, ASemaphoreMayBeWaitedForOnEitherClock) {
    sem_t semaphore;
    sem_init(&semaphore, 0, 0);
    timespec until = in(CLOCK_MONOTONIC, 30);
    EXPECT_EQ(sem_clockwait(&semaphore, CLOCK_MONOTONIC, &until), -1);
    EXPECT_EQ(errno, ETIMEDOUT);
    EXPECT_EQ(clock.now(), 30);
    until = in(CLOCK_REALTIME, 30);
    EXPECT_EQ(sem_clockwait(&semaphore, CLOCK_REALTIME, &until), -1);
    EXPECT_EQ(clock.now(), 60);
    EXPECT_EQ(sem_clockwait(&semaphore, CLOCK_BOOTTIME, &until), -1);
    EXPECT_EQ(errno, EINVAL);
    until.tv_nsec = -1;
    EXPECT_EQ(sem_clockwait(&semaphore, CLOCK_REALTIME, &until), -1);
    EXPECT_EQ(errno, EINVAL);
    start([&] {
        ::usleep(10);
        sem_post(&semaphore);
    });
    until = in(CLOCK_MONOTONIC, 30);
    EXPECT_EQ(sem_clockwait(&semaphore, CLOCK_MONOTONIC, &until), 0);
    EXPECT_EQ(clock.now(), 70);
    join();
    sem_destroy(&semaphore);
}

TEST_F(ThreadLocks, ANamedSemaphoreIsTheSameByItsName) {
    const std::string name = "/thread_locks_test." + std::to_string(::getpid());
    sem_t* mine = sem_open(name.c_str(), O_CREAT | O_EXCL, 0600, 0);
    ASSERT_NE(mine, SEM_FAILED);
    start([&] {
        sem_t* same = sem_open(name.c_str(), 0);
        ASSERT_NE(same, SEM_FAILED);
        ::usleep(25);
        EXPECT_EQ(sem_post(same), 0);
        sem_close(same);
    });
    EXPECT_EQ(sem_wait(mine), 0);
    EXPECT_EQ(clock.now(), 25);
    join();
    sem_close(mine);
    sem_unlink(name.c_str());
}

TEST_F(ThreadLocks, ASemaphoreIsWaitedForUntilItIsPosted) {
    sem_t semaphore;
    sem_init(&semaphore, 0, 1);
    EXPECT_EQ(sem_wait(&semaphore), 0);
    start([&] {
        ::usleep(30);
        EXPECT_EQ(sem_post(&semaphore), 0);
    });
    timespec until = in(CLOCK_REALTIME, 10);
    errno = 0;
    EXPECT_EQ(sem_timedwait(&semaphore, &until), -1);
    EXPECT_EQ(errno, ETIMEDOUT);
    EXPECT_EQ(clock.now(), 10);
    EXPECT_EQ(sem_wait(&semaphore), 0);
    EXPECT_EQ(clock.now(), 30);
    join();
    sem_destroy(&semaphore);
}

// --- Polls ---------------------------------------------------------------------------------------------------

struct Polls : ThreadLocks {
    Polls() { EXPECT_EQ(::pipe(ends), 0); }
    ~Polls() override {
        ::close(ends[0]);
        ::close(ends[1]);
    }
    int ends[2] = {-1, -1};
};

TEST_F(Polls, WithNothingToWaitForAreSleeps) {
    EXPECT_EQ(::poll(nullptr, 0, 3), 0);
    EXPECT_EQ(clock.now(), 3000);
    timeval length{0, 5};
    EXPECT_EQ(::select(0, nullptr, nullptr, nullptr, &length), 0);
    EXPECT_EQ(clock.now(), 3005);
    EXPECT_EQ(sink.lines, (Lines{"0 1 sleep  0 ", "3000 1 sleep  0 "}));
}

TEST_F(Polls, GiveUpAtTheirTime) {
    pollfd wanted{ends[0], POLLIN, 0};
    EXPECT_EQ(::poll(&wanted, 1, 25), 0);
    EXPECT_EQ(clock.now(), 25'000);
    fd_set readable;
    FD_ZERO(&readable);
    FD_SET(ends[0], &readable);
    timeval length{0, 15'000};
    EXPECT_EQ(::select(ends[0] + 1, &readable, nullptr, nullptr, &length), 0);
    EXPECT_EQ(clock.now(), 40'000);
    EXPECT_FALSE(FD_ISSET(ends[0], &readable));
}

TEST_F(Polls, FindWhatComesMeanwhile) {
    start([&] {
        ::usleep(12'000);
        (void)!::write(ends[1], "xy", 2);
    });
    pollfd wanted{ends[0], POLLIN, 0};
    EXPECT_EQ(::poll(&wanted, 1, 1000), 1);
    EXPECT_EQ(wanted.revents, POLLIN);
    EXPECT_EQ(clock.now(), 12'000);
    fd_set readable;
    FD_ZERO(&readable);
    FD_SET(ends[0], &readable);
    timeval length{1, 0};
    EXPECT_EQ(::select(ends[0] + 1, &readable, nullptr, nullptr, &length), 1);
    EXPECT_TRUE(FD_ISSET(ends[0], &readable));
    EXPECT_EQ(clock.now(), 12'000);
    EXPECT_EQ(::poll(&wanted, 1, -1), 1);
    length.tv_usec = -1;
    EXPECT_EQ(::select(0, nullptr, nullptr, nullptr, &length), -1);
    EXPECT_EQ(errno, EINVAL);
}

}  // namespace
