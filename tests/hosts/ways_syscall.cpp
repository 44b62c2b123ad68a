// The kernel's calls without the C library around them. On a 32-bit machine they take 32-bit times.
#include <fcntl.h>
#include <linux/futex.h>
#include <poll.h>
#include <sys/epoll.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <climits>

#include "tests/hosts/ways.h"

namespace {

using namespace ways;

long futex(std::atomic<int>& word, int operation, int value, const timespec* time = nullptr) {
    return syscall(SYS_futex, &word, operation, value, time, nullptr, FUTEX_BITSET_MATCH_ANY);
}

}  // namespace

WAY(syscall_futex_wait) {
    std::atomic<int> word{0};
    const Later waker([&] {
        word = 1;
        same("futex", futex(word, FUTEX_WAKE_PRIVATE, 1), 1);
    });
    takes_the_wait("futex", [&] { same("futex", futex(word, FUTEX_WAIT_PRIVATE, 0), 0); });
}

WAY(syscall_futex_wait_shared) {
    std::atomic<int> word{0};
    const Later waker([&] {
        word = 1;
        same("futex", futex(word, FUTEX_WAKE, INT_MAX), 1);
    });
    takes_the_wait("futex", [&] { same("futex", futex(word, FUTEX_WAIT, 0), 0); });
}

WAY(syscall_futex_of_another_value) {
    std::atomic<int> word{1};
    takes_no_time("futex", [&] { failed_with("futex", futex(word, FUTEX_WAIT_PRIVATE, 0), EAGAIN); });
    same("a wake of nobody", futex(word, FUTEX_WAKE_PRIVATE, 1), 0);
    sleep_ns(wait_ns());
}

WAY(syscall_futex_wait_times_out) {
    std::atomic<int> word{0};
    const timespec length = to_timespec(wait_ns());
    takes_the_wait("futex",
                   [&] { failed_with("futex", futex(word, FUTEX_WAIT_PRIVATE, 0, &length), ETIMEDOUT); });
}

WAY(syscall_futex_wait_until_monotonic) {
    std::atomic<int> word{0};
    const timespec moment = moment_ahead(CLOCK_MONOTONIC, wait_ns());
    takes_the_wait(
        "futex", [&] { failed_with("futex", futex(word, FUTEX_WAIT_BITSET_PRIVATE, 0, &moment), ETIMEDOUT); });
}

WAY(syscall_futex_wait_until_realtime) {
    std::atomic<int> word{0};
    const timespec moment = moment_ahead(CLOCK_REALTIME, wait_ns());
    takes_the_wait("futex", [&] {
        failed_with("futex", futex(word, FUTEX_WAIT_BITSET_PRIVATE | FUTEX_CLOCK_REALTIME, 0, &moment),
                    ETIMEDOUT);
    });
}

WAY(syscall_nanosleep) {
    const timespec length = to_timespec(wait_ns());
    takes_the_wait("nanosleep", [&] { worked("nanosleep", syscall(SYS_nanosleep, &length, nullptr)); });
}

WAY(syscall_clock_nanosleep) {
    const timespec moment = moment_ahead(CLOCK_MONOTONIC, wait_ns());
    takes_the_wait("clock_nanosleep", [&] {
        worked("clock_nanosleep",
               syscall(SYS_clock_nanosleep, CLOCK_MONOTONIC, TIMER_ABSTIME, &moment, nullptr));
    });
}

WAY(syscall_clock_gettime) {
    timespec before{};
    timespec after{};
    worked("clock_gettime", syscall(SYS_clock_gettime, CLOCK_MONOTONIC, &before));
    same("both clocks", to_ns(before) / ns_per_second, now_ns() / ns_per_second);
    sleep_ns(wait_ns());
    worked("clock_gettime", syscall(SYS_clock_gettime, CLOCK_MONOTONIC, &after));
    expect_time("the clock", to_ns(after) - to_ns(before), wait_ns());
}

WAY(syscall_gettimeofday) {
    timeval before{};
    timeval after{};
    worked("gettimeofday", syscall(SYS_gettimeofday, &before, nullptr));
    sleep_ns(wait_ns());
    worked("gettimeofday", syscall(SYS_gettimeofday, &after, nullptr));
    expect_time("the clock", to_ns(after) - to_ns(before), wait_ns());
}

WAY(syscall_gettid) {
    same("gettid", syscall(SYS_gettid), gettid());
    same("the first thread's", gettid(), getpid());
    pid_t other = 0;
    Later thread(0, [&] { other = static_cast<pid_t>(syscall(SYS_gettid)); });
    thread.join();
    check(other != gettid() && other > 0, "two threads have one number");
    sleep_ns(wait_ns());
}

WAY(syscall_read) {
    const Pipe pipe;
    const Later writer([&] { same("write", syscall(SYS_write, int{pipe.out}, "hello", 5), 5); });
    char buffer[16];
    takes_the_wait("read", [&] { same("read", syscall(SYS_read, int{pipe.in}, buffer, sizeof buffer), 5); });
}

WAY(syscall_ppoll) {
    const timespec length = to_timespec(wait_ns());
    timespec left = length;
    takes_the_wait("ppoll", [&] { same("ppoll", syscall(SYS_ppoll, nullptr, 0, &left, nullptr, 0), 0); });
}

WAY(syscall_sched_yield) {
    std::atomic<bool> done{false};
    const Later setter([&] { done = true; });
    takes_the_wait("yielding", [&] {
        while (!done) syscall(SYS_sched_yield);
    });
}

WAY(syscall_getrandom) {
    unsigned char bytes[8];
    same("getrandom", syscall(SYS_getrandom, bytes, sizeof bytes, 0), sizeof bytes);
    sleep_ns(wait_ns());
}
