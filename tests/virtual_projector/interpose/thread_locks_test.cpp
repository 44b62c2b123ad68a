#include "virtual_projector/interpose/thread_locks.h"

#include <gtest/gtest.h>
#include <poll.h>
#include <pthread.h>
#include <semaphore.h>
#include <sys/select.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "tests/virtual_projector/interpose/machine_fixture.h"

namespace {

using namespace interpose_test;
using namespace std::chrono_literals;
using Lines = std::vector<std::string>;

struct ThreadLocks : MachineTest {
    ~ThreadLocks() override { join(); }

    void start(std::function<void()> body) { threads.emplace_back(std::move(body)); }
    void join() {
        for (std::thread& thread : threads) thread.join();
        threads.clear();
    }
    void say(const std::string& what) { said.push_back(std::to_string(clock.now()) + " " + what); }

    /// The time that far from now, as that clock shows it.
    static timespec in(clockid_t id, long microseconds) {
        timespec time{};
        ::clock_gettime(id, &time);
        time.tv_nsec += microseconds * 1000;
        time.tv_sec += time.tv_nsec / 1'000'000'000;
        time.tv_nsec %= 1'000'000'000;
        return time;
    }

    Lines said;
    std::vector<std::thread> threads;
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
        until.tv_nsec = -1;
        EXPECT_EQ(pthread_mutex_timedlock(&mutex, &until), EINVAL);
    });
    ::usleep(80);
    pthread_mutex_unlock(&mutex);
    join();
    EXPECT_EQ(said, (Lines{"50 gave up", "80 has it"}));
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

// --- Read-write locks and semaphores -----------------------------------------------------------------------

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
    EXPECT_EQ(clock.now(), 20'000);
    fd_set readable;
    FD_ZERO(&readable);
    FD_SET(ends[0], &readable);
    timeval length{1, 0};
    EXPECT_EQ(::select(ends[0] + 1, &readable, nullptr, nullptr, &length), 1);
    EXPECT_TRUE(FD_ISSET(ends[0], &readable));
    EXPECT_EQ(clock.now(), 20'000);
    EXPECT_EQ(::poll(&wanted, 1, -1), 1);
    length.tv_usec = -1;
    EXPECT_EQ(::select(0, nullptr, nullptr, nullptr, &length), -1);
    EXPECT_EQ(errno, EINVAL);
}

}  // namespace
