// Only 32-bit machines have these entry points: elsewhere this program has no tests.
#include <bits/timesize.h>
#include <gtest/gtest.h>

#if __TIMESIZE == 32

#include <fcntl.h>
#include <pthread.h>
#include <semaphore.h>
#include <sys/msg.h>
#include <sys/select.h>
#include <sys/sem.h>
#include <threads.h>
#include <time.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <thread>

#include "tests/virtual_projector/interpose/machine_fixture.h"

namespace {

struct Timespec64 {
    std::int64_t tv_sec;
    std::int32_t tv_nsec;
    std::int32_t padding;
};

struct Timeval64 {
    std::int64_t tv_sec;
    std::int64_t tv_usec;
};

}  // namespace

extern "C" {
int __clock_gettime64(clockid_t, Timespec64*);
int __gettimeofday64(Timeval64*, void*);
std::int64_t __time64(std::int64_t*);
int __nanosleep64(const Timespec64*, Timespec64*);
int __clock_nanosleep_time64(clockid_t, int, const Timespec64*, Timespec64*);
int __ioctl_time64(int, unsigned long, ...);
int __select64(int, fd_set*, fd_set*, fd_set*, Timeval64*);
int __pthread_mutex_timedlock64(pthread_mutex_t*, const Timespec64*);
int __pthread_cond_timedwait64(pthread_cond_t*, pthread_mutex_t*, const Timespec64*);
int __sem_timedwait64(sem_t*, const Timespec64*);
int __sem_clockwait64(sem_t*, clockid_t, const Timespec64*);
int __pthread_mutex_clocklock64(pthread_mutex_t*, clockid_t, const Timespec64*);
int __pthread_rwlock_timedrdlock64(pthread_rwlock_t*, const Timespec64*);
int __pthread_rwlock_timedwrlock64(pthread_rwlock_t*, const Timespec64*);
int __pthread_rwlock_clockrdlock64(pthread_rwlock_t*, clockid_t, const Timespec64*);
int __pthread_rwlock_clockwrlock64(pthread_rwlock_t*, clockid_t, const Timespec64*);
int __pthread_timedjoin_np64(pthread_t, void**, const Timespec64*);
int __pthread_clockjoin_np64(pthread_t, void**, clockid_t, const Timespec64*);
int __mtx_timedlock64(mtx_t*, const Timespec64*);
int __cnd_timedwait64(cnd_t*, mtx_t*, const Timespec64*);
int __thrd_sleep64(const Timespec64*, Timespec64*);
int __semtimedop64(int, sembuf*, size_t, const Timespec64*);
int __semctl64(int, int, int, ...);
int __msgctl64(int, int, void*);
}

namespace {

using namespace interpose_test;

struct Time64 : MachineTest {
    static Timespec64 in(clockid_t id, int microseconds) {
        Timespec64 time{};
        EXPECT_EQ(__clock_gettime64(id, &time), 0);
        time.tv_nsec += microseconds * 1000;
        return time;
    }
};

TEST_F(Time64, ClocksShowVirtualTime) {
    machine.time().set_wall_clock(7'000'000);
    ::usleep(250'000);
    Timespec64 time{};
    EXPECT_EQ(__clock_gettime64(CLOCK_REALTIME, &time), 0);
    EXPECT_EQ(time.tv_sec, 7);
    EXPECT_EQ(time.tv_nsec, 250'000'000);
    Timeval64 day{};
    EXPECT_EQ(__gettimeofday64(&day, nullptr), 0);
    EXPECT_EQ(day.tv_sec, 7);
    EXPECT_EQ(day.tv_usec, 250'000);
    std::int64_t seconds = 0;
    EXPECT_EQ(__time64(&seconds), 7);
    EXPECT_EQ(seconds, 7);
}

TEST_F(Time64, SleepsMoveVirtualTime) {
    const Timespec64 length{1, 500'000'000, 0};
    EXPECT_EQ(__nanosleep64(&length, nullptr), 0);
    EXPECT_EQ(clock.now(), 1'500'000);
    EXPECT_EQ(__clock_nanosleep_time64(CLOCK_MONOTONIC, 0, &length, nullptr), 0);
    EXPECT_EQ(clock.now(), 3'000'000);
    Timeval64 more{0, 5};
    EXPECT_EQ(__select64(0, nullptr, nullptr, nullptr, &more), 0);
    EXPECT_EQ(clock.now(), 3'000'005);
}

TEST_F(Time64, TimedWaitsEndAtTheirTime) {
    pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;
    pthread_cond_t condition = PTHREAD_COND_INITIALIZER;
    sem_t semaphore;
    sem_init(&semaphore, 0, 0);
    pthread_mutex_lock(&mutex);
    Timespec64 until = in(CLOCK_REALTIME, 10);
    EXPECT_EQ(__pthread_cond_timedwait64(&condition, &mutex, &until), ETIMEDOUT);
    until = in(CLOCK_REALTIME, 10);
    EXPECT_EQ(__pthread_mutex_timedlock64(&mutex, &until), ETIMEDOUT);
    until = in(CLOCK_REALTIME, 10);
    EXPECT_EQ(__sem_timedwait64(&semaphore, &until), -1);
    EXPECT_EQ(errno, ETIMEDOUT);
    EXPECT_EQ(clock.now(), 30);
    sem_destroy(&semaphore);
}

TEST_F(Time64, LocksOfEitherClockEndAtTheirTime) {
    pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;
    sem_t semaphore;
    sem_init(&semaphore, 0, 0);
    pthread_mutex_lock(&mutex);
    Timespec64 until = in(CLOCK_MONOTONIC, 10);
    EXPECT_EQ(__pthread_mutex_clocklock64(&mutex, CLOCK_MONOTONIC, &until), ETIMEDOUT);
    until = in(CLOCK_MONOTONIC, 10);
    EXPECT_EQ(__sem_clockwait64(&semaphore, CLOCK_MONOTONIC, &until), -1);
    EXPECT_EQ(errno, ETIMEDOUT);
    EXPECT_EQ(clock.now(), 20);
    sem_destroy(&semaphore);
}

TEST_F(Time64, ReadWriteLocksEndAtTheirTime) {
    pthread_rwlock_t lock = PTHREAD_RWLOCK_INITIALIZER;
    pthread_rwlock_wrlock(&lock);
    std::thread other_thread([&] {
        Timespec64 until = in(CLOCK_REALTIME, 10);
        EXPECT_EQ(__pthread_rwlock_timedrdlock64(&lock, &until), ETIMEDOUT);
        until = in(CLOCK_REALTIME, 10);
        EXPECT_EQ(__pthread_rwlock_timedwrlock64(&lock, &until), ETIMEDOUT);
        until = in(CLOCK_MONOTONIC, 10);
        EXPECT_EQ(__pthread_rwlock_clockrdlock64(&lock, CLOCK_MONOTONIC, &until), ETIMEDOUT);
        until = in(CLOCK_MONOTONIC, 10);
        EXPECT_EQ(__pthread_rwlock_clockwrlock64(&lock, CLOCK_MONOTONIC, &until), ETIMEDOUT);
    });
    other_thread.join();
    EXPECT_EQ(clock.now(), 40);
}

TEST_F(Time64, JoiningMayBeGivenUp) {
    std::thread sleeper([] { ::usleep(100); });
    Timespec64 until = in(CLOCK_REALTIME, 10);
    EXPECT_EQ(__pthread_timedjoin_np64(sleeper.native_handle(), nullptr, &until), ETIMEDOUT);
    until = in(CLOCK_MONOTONIC, 10);
    EXPECT_EQ(__pthread_clockjoin_np64(sleeper.native_handle(), nullptr, CLOCK_MONOTONIC, &until), ETIMEDOUT);
    EXPECT_EQ(clock.now(), 20);
    sleeper.join();
}

TEST_F(Time64, ThreadsOfC11SleepAndGiveUp) {
    mtx_t mutex;
    mtx_init(&mutex, mtx_timed);
    cnd_t condition;
    cnd_init(&condition);
    mtx_lock(&mutex);
    Timespec64 until = in(CLOCK_REALTIME, 10);
    EXPECT_EQ(__mtx_timedlock64(&mutex, &until), thrd_timedout);
    until = in(CLOCK_REALTIME, 10);
    EXPECT_EQ(__cnd_timedwait64(&condition, &mutex, &until), thrd_timedout);
    const Timespec64 length{0, 10'000, 0};
    EXPECT_EQ(__thrd_sleep64(&length, nullptr), 0);
    EXPECT_EQ(clock.now(), 30);
}

TEST_F(Time64, SetsOfSemaphoresGiveUpAndGoOn) {
    const int set = ::semget(IPC_PRIVATE, 1, 0600);
    ASSERT_GE(set, 0);
    sembuf down{0, -1, 0};
    const Timespec64 length{0, 10'000, 0};
    EXPECT_EQ(__semtimedop64(set, &down, 1, &length), -1);
    EXPECT_EQ(errno, EAGAIN);
    EXPECT_EQ(clock.now(), 10);
    std::thread setter([&] {
        ::usleep(10);
        EXPECT_EQ(__semctl64(set, 0, SETVAL, 1), 0);
    });
    EXPECT_EQ(__semtimedop64(set, &down, 1, nullptr), 0);
    EXPECT_EQ(clock.now(), 20);
    setter.join();
    EXPECT_EQ(__semctl64(set, 0, IPC_RMID, 0), 0);
}

TEST_F(Time64, ARemovedQueueEndsTheWait) {
    const int queue = ::msgget(IPC_PRIVATE, 0600);
    ASSERT_GE(queue, 0);
    std::thread remover([&] {
        ::usleep(10);
        EXPECT_EQ(__msgctl64(queue, IPC_RMID, nullptr), 0);
    });
    long message[2];
    EXPECT_EQ(::msgrcv(queue, message, sizeof(long), 0, 0), -1);
    EXPECT_EQ(errno, EIDRM);
    EXPECT_EQ(clock.now(), 10);
    remover.join();
}

TEST_F(Time64, RequestsReachTheNode) {
    const int fd = ::open(node_path, O_RDWR);
    std::uint32_t seen = 0;
    EXPECT_EQ(__ioctl_time64(fd, 0xC00C0E0CUL, &seen), 0);
    EXPECT_EQ(seen, 0xC00C0E0CU);
    ::close(fd);
}

TEST_F(Time64, AreTheCLibrarysWithoutAMachine) {
    machine.uninstall();
    Timespec64 time{};
    EXPECT_EQ(__clock_gettime64(CLOCK_REALTIME, &time), 0);
    EXPECT_GT(time.tv_sec, 1'704'110'400);
    const Timespec64 length{0, 1000, 0};
    EXPECT_EQ(__nanosleep64(&length, nullptr), 0);
    EXPECT_EQ(clock.now(), 0);
}

}  // namespace

#endif
