#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>
#include <sys/epoll.h>
#include <sys/select.h>
#include <sys/syscall.h>
#include <sys/time.h>
#include <time.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <string>
#include <vector>

#include "tests/virtual_projector/interpose/waiting_threads.h"

namespace {

using namespace interpose_test;

struct SystemCalls : WaitingThreads {
    template <typename... Arguments>
    static long call(long number, Arguments... arguments) {
        const long result = ::syscall(number, arguments...);
        return result < 0 ? -errno : result;
    }
};

TEST_F(SystemCalls, ThatSleepTakeVirtualTime) {
    const timespec length{1, 0};
    EXPECT_EQ(call(SYS_nanosleep, &length, nullptr), 0);
    EXPECT_EQ(clock.now(), 1'000'000);
    EXPECT_EQ(call(SYS_clock_nanosleep, CLOCK_MONOTONIC, 0, &length, nullptr), 0);
    EXPECT_EQ(clock.now(), 2'000'000);
    const timespec until = in(CLOCK_REALTIME, 500'000);
    EXPECT_EQ(call(SYS_clock_nanosleep, CLOCK_REALTIME, TIMER_ABSTIME, &until, nullptr), 0);
    EXPECT_EQ(clock.now(), 2'500'000);
}

TEST_F(SystemCalls, FailByErrnoAlsoWhereTheFunctionReturnsTheFailure) {
    const timespec bad{0, -1};
    EXPECT_EQ(call(SYS_clock_nanosleep, CLOCK_MONOTONIC, 0, &bad, nullptr), -EINVAL);
    EXPECT_EQ(call(SYS_nanosleep, &bad, nullptr), -EINVAL);
    EXPECT_EQ(call(SYS_read, -1, nullptr, 0), -EBADF);
}

TEST_F(SystemCalls, ThatTellTheTimeTellTheBoards) {
    ::usleep(1500);
    timespec expected{};
    ::clock_gettime(CLOCK_REALTIME, &expected);
    timespec time{};
    EXPECT_EQ(call(SYS_clock_gettime, CLOCK_REALTIME, &time), 0);
    EXPECT_EQ(time.tv_sec, expected.tv_sec);
    EXPECT_EQ(time.tv_nsec, expected.tv_nsec);
    timeval of_day{};
    EXPECT_EQ(call(SYS_gettimeofday, &of_day, nullptr), 0);
    EXPECT_EQ(of_day.tv_sec, expected.tv_sec);
    EXPECT_EQ(of_day.tv_usec, 1500);
#ifdef SYS_time
    time_t seconds = 0;
    EXPECT_EQ(call(SYS_time, &seconds), expected.tv_sec);
    EXPECT_EQ(seconds, expected.tv_sec);
#endif
}

TEST_F(SystemCalls, ReachTheBoardsNodes) {
    node->content = "hello";
    char text[6] = "";
    for (const bool at : {false, true}) {
#ifdef SYS_open
        const long fd = at ? call(SYS_openat, AT_FDCWD, node_path, O_RDWR) : call(SYS_open, node_path, O_RDWR);
#else
        const long fd = call(SYS_openat, AT_FDCWD, node_path, O_RDWR);
        (void)at;
#endif
        ASSERT_GE(fd, 0);
        EXPECT_EQ(call(SYS_read, fd, text, 5), 5);
        EXPECT_STREQ(text, "hello");
        std::uint32_t seen = 0;
        EXPECT_EQ(call(SYS_ioctl, fd, 0xC00C0E0CUL, &seen), 0);
        EXPECT_EQ(seen, 0xC00C0E0CU);
        EXPECT_EQ(call(SYS_write, fd, "x", 1), 1);
        EXPECT_EQ(call(SYS_close, fd), 0);
    }
    EXPECT_EQ(node->written, "xx");
    EXPECT_EQ(node->closes, 2);
}

TEST_F(SystemCalls, WaitForDescriptorsInVirtualTime) {
    int ends[2];
    ASSERT_EQ(::pipe(ends), 0);
    pollfd wanted{ends[0], POLLIN, 0};
    const timespec length{0, 30'000'000};
    fd_set readable;
    FD_ZERO(&readable);
    FD_SET(ends[0], &readable);
    EXPECT_EQ(call(SYS_ppoll, &wanted, 1, &length, nullptr, 0), 0);
    EXPECT_EQ(clock.now(), 30'000);
#ifdef SYS_poll
    EXPECT_EQ(call(SYS_poll, &wanted, 1, 30), 0);
    EXPECT_EQ(clock.now(), 60'000);
#endif
    const vp::Microseconds before = clock.now();
    EXPECT_EQ(call(SYS_pselect6, ends[0] + 1, &readable, nullptr, nullptr, &length, nullptr), 0);
    EXPECT_EQ(clock.now(), before + 30'000);
    const int epoll = ::epoll_create1(0);
    epoll_event event{};
    event.events = EPOLLIN;
    ASSERT_EQ(::epoll_ctl(epoll, EPOLL_CTL_ADD, ends[0], &event), 0);
    EXPECT_EQ(call(SYS_epoll_pwait, epoll, &event, 1, 30, nullptr, 0), 0);
    EXPECT_EQ(clock.now(), before + 60'000);
    (void)!::write(ends[1], "x", 1);
    EXPECT_EQ(call(SYS_ppoll, &wanted, 1, nullptr, nullptr, 0), 1);
    EXPECT_EQ(call(SYS_epoll_pwait, epoll, &event, 1, -1, nullptr, 0), 1);
    ::close(epoll);
    ::close(ends[0]);
    ::close(ends[1]);
}

TEST_F(SystemCalls, AYieldPassesTheTurn) {
    bool set = false;
    start([&] { set = true; });
    for (int tries = 0; !set && tries < 1000; ++tries) EXPECT_EQ(call(SYS_sched_yield), 0);
    EXPECT_TRUE(set);
}

#ifdef SYS_clock_gettime64
TEST_F(SystemCalls, WithLongTimesAreTheSame) {
    struct KernelTime {
        std::int64_t seconds;
        std::int64_t nanoseconds;
    };
    const KernelTime length{1, 0};
    EXPECT_EQ(call(SYS_clock_nanosleep_time64, CLOCK_MONOTONIC, 0, &length, nullptr), 0);
    EXPECT_EQ(clock.now(), 1'000'000);
    KernelTime time{};
    EXPECT_EQ(call(SYS_clock_gettime64, CLOCK_REALTIME, &time), 0);
    timespec expected{};
    ::clock_gettime(CLOCK_REALTIME, &expected);
    EXPECT_EQ(time.seconds, expected.tv_sec);
    EXPECT_EQ(time.nanoseconds, expected.tv_nsec);
    std::uint32_t word = 5;
    constexpr int wait_private = 128;
    EXPECT_EQ(call(SYS_futex_time64, &word, wait_private, 5, &length, nullptr, 0), -ETIMEDOUT);
    EXPECT_EQ(clock.now(), 2'000'000);
}
#endif

TEST_F(SystemCalls, OfOtherNumbersAreTheKernels) {
    EXPECT_EQ(call(SYS_gettid), ::gettid());
    EXPECT_EQ(call(SYS_getpid), ::getpid());
    char place = 0;
    EXPECT_EQ(call(SYS_getcwd, &place, 0), -ERANGE);
}

}  // namespace
