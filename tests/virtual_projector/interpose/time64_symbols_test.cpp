// Only 32-bit machines have these entry points: elsewhere this program has no tests.
#include <bits/timesize.h>
#include <gtest/gtest.h>

#if __TIMESIZE == 32

#include <fcntl.h>
#include <pthread.h>
#include <semaphore.h>
#include <sys/select.h>
#include <time.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>

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
