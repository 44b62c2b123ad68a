#include "virtual_projector/interpose/futexes.h"

#include <gtest/gtest.h>
#include <linux/futex.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <climits>
#include <cstdint>
#include <string>
#include <thread>
#include <vector>

#include "tests/virtual_projector/interpose/waiting_threads.h"
#include "virtual_projector/clock/reentrancy_guard.h"
#include "virtual_projector/interpose/real_calls.h"

namespace {

using namespace interpose_test;

struct Futexes : WaitingThreads {
    static long futex(std::uint32_t* at, int operation, std::uint32_t value, const void* timeout = nullptr,
                      std::uint32_t* second = nullptr, std::uint32_t third = 0) {
        const long result = ::syscall(SYS_futex, at, operation, value, timeout, second, third);
        return result < 0 ? -errno : result;
    }
    /// A number in the timeout's place.
    static const void* count(std::uintptr_t number) { return reinterpret_cast<const void*>(number); }

    void start_waiter(const std::string& name, std::uint32_t* at, int after_us = 0, std::uint32_t bits = 0) {
        start([=] {
            ::usleep(static_cast<useconds_t>(after_us));
            const long result = bits == 0 ? futex(at, FUTEX_WAIT_PRIVATE, *at)
                                          : futex(at, FUTEX_WAIT_BITSET_PRIVATE, *at, nullptr, nullptr, bits);
            EXPECT_EQ(result, 0);
            say(name);
        });
    }

    std::uint32_t word = 5;
    std::uint32_t other = 7;
};

TEST_F(Futexes, AWaitEndsWithTheWake) {
    for (const int flags : {0, FUTEX_PRIVATE_FLAG}) {
        said.clear();
        start([&] {
            EXPECT_EQ(futex(&word, FUTEX_WAIT | flags, 5), 0);
            say("woken");
        });
        ::usleep(10);
        EXPECT_EQ(futex(&word, FUTEX_WAKE | flags, INT_MAX), 1);
        join();
        EXPECT_EQ(said, Lines{std::to_string(clock.now()) + " woken"});
    }
    EXPECT_EQ(clock.now(), 20);
}

TEST_F(Futexes, AnotherValueIsNotWaitedFor) {
    EXPECT_EQ(futex(&word, FUTEX_WAIT_PRIVATE, 4), -EAGAIN);
    EXPECT_EQ(futex(&word, FUTEX_WAIT_BITSET_PRIVATE, 4, nullptr, nullptr, 1), -EAGAIN);
    EXPECT_EQ(clock.now(), 0);
}

TEST_F(Futexes, APlainWaitIsGivenALengthAndOneWithBitsATime) {
    const timespec length{0, 30'000};
    EXPECT_EQ(futex(&word, FUTEX_WAIT_PRIVATE, 5, &length), -ETIMEDOUT);
    EXPECT_EQ(clock.now(), 30);
    timespec until = in(CLOCK_MONOTONIC, 30);
    EXPECT_EQ(futex(&word, FUTEX_WAIT_BITSET_PRIVATE, 5, &until, nullptr, FUTEX_BITSET_MATCH_ANY), -ETIMEDOUT);
    EXPECT_EQ(clock.now(), 60);
    until = in(CLOCK_REALTIME, 30);
    EXPECT_EQ(futex(&word, FUTEX_WAIT_BITSET_PRIVATE | FUTEX_CLOCK_REALTIME, 5, &until, nullptr,
                    FUTEX_BITSET_MATCH_ANY),
              -ETIMEDOUT);
    EXPECT_EQ(clock.now(), 90);
}

TEST_F(Futexes, WhatIsNoCallIsRefused) {
    const timespec bad{0, 1'000'000'000};
    const timespec negative{-1, 0};
    EXPECT_EQ(futex(&word, FUTEX_WAIT_PRIVATE, 5, &bad), -EINVAL);
    EXPECT_EQ(futex(&word, FUTEX_WAIT_PRIVATE, 5, &negative), -EINVAL);
    EXPECT_EQ(futex(&word, FUTEX_WAIT_BITSET_PRIVATE, 5, nullptr, nullptr, 0), -EINVAL);
    EXPECT_EQ(futex(&word, FUTEX_WAKE_BITSET_PRIVATE, 5, nullptr, nullptr, 0), -EINVAL);
    EXPECT_EQ(futex(nullptr, FUTEX_WAIT_PRIVATE, 5), -EFAULT);
    auto* odd = reinterpret_cast<std::uint32_t*>(reinterpret_cast<char*>(&word) + 1);
    EXPECT_EQ(futex(odd, FUTEX_WAKE_PRIVATE, 1), -EINVAL);
    EXPECT_EQ(futex(&word, 99, 1), -ENOSYS);
}

TEST_F(Futexes, AsManyAreWokenAsAskedForTheFirstFirst) {
    for (int i = 0; i < 4; ++i) start_waiter(std::to_string(i), &word, i);
    ::usleep(10);
    EXPECT_EQ(futex(&word, FUTEX_WAKE_PRIVATE, 1), 1);
    ::usleep(10);
    EXPECT_EQ(futex(&word, FUTEX_WAKE_PRIVATE, 2), 2);
    ::usleep(10);
    EXPECT_EQ(futex(&word, FUTEX_WAKE_PRIVATE, INT_MAX), 1);
    EXPECT_EQ(futex(&word, FUTEX_WAKE_PRIVATE, INT_MAX), 0);
    join();
    ASSERT_EQ(said.size(), 4U);
    EXPECT_EQ(said.front(), "10 0");
    EXPECT_EQ(said.back(), "30 3");
}

TEST_F(Futexes, AWakeWithBitsReachesThoseThatShareOne) {
    start_waiter("1", &word, 1, 0b001);
    start_waiter("6", &word, 2, 0b110);
    start_waiter("any", &word, 3);
    ::usleep(10);
    EXPECT_EQ(futex(&word, FUTEX_WAKE_BITSET_PRIVATE, 1, nullptr, nullptr, 0b100), 1);
    ::usleep(10);
    EXPECT_EQ(futex(&word, FUTEX_WAKE_BITSET_PRIVATE, INT_MAX, nullptr, nullptr, 0b1000), 1);
    ::usleep(10);
    EXPECT_EQ(futex(&word, FUTEX_WAKE_PRIVATE, INT_MAX), 1);
    join();
    EXPECT_EQ(said, (Lines{"10 6", "20 any", "30 1"}));
}

TEST_F(Futexes, WaitersMayBeMovedToAnotherWord) {
    for (int i = 0; i < 4; ++i) start_waiter(std::to_string(i), &word, i);
    ::usleep(10);
    EXPECT_EQ(futex(&word, FUTEX_CMP_REQUEUE_PRIVATE, 1, count(2), &other, 4), -EAGAIN);
    EXPECT_EQ(futex(&word, FUTEX_CMP_REQUEUE_PRIVATE, 1, count(2), &other, 5), 3);
    ::usleep(10);
    EXPECT_EQ(futex(&other, FUTEX_WAKE_PRIVATE, 1), 1);
    ::usleep(10);
    EXPECT_EQ(futex(&word, FUTEX_WAKE_PRIVATE, INT_MAX), 1);
    ::usleep(10);
    EXPECT_EQ(futex(&other, FUTEX_WAKE_PRIVATE, INT_MAX), 1);
    join();
    EXPECT_EQ(said, (Lines{"10 0", "20 1", "30 3", "40 2"}));
}

TEST_F(Futexes, MovedWaitersKeepTheirTime) {
    start([&] {
        const timespec length{0, 50'000};
        EXPECT_EQ(futex(&word, FUTEX_WAIT_PRIVATE, 5, &length), -ETIMEDOUT);
        say("gave up");
    });
    ::usleep(10);
    EXPECT_EQ(futex(&word, FUTEX_REQUEUE_PRIVATE, 0, count(INT_MAX), &other), 1);
    join();
    EXPECT_EQ(said, Lines{"50 gave up"});
    EXPECT_EQ(futex(&other, FUTEX_WAKE_PRIVATE, INT_MAX), 0);
}

struct WakeOperation {
    int operation;
    int argument;
    int comparison;
    int compared;
    std::uint32_t value_after;  // of 7
    bool wakes_second;
};

TEST_F(Futexes, AWakeMayChangeASecondWordAndWakeForItToo) {
    const WakeOperation operations[] = {
        {FUTEX_OP_SET, 3, FUTEX_OP_CMP_EQ, 7, 3, true},
        {FUTEX_OP_SET, 3, FUTEX_OP_CMP_EQ, 6, 3, false},
        {FUTEX_OP_ADD, -2, FUTEX_OP_CMP_NE, 6, 5, true},
        {FUTEX_OP_ADD, -2, FUTEX_OP_CMP_NE, 7, 5, false},
        {FUTEX_OP_OR, 8, FUTEX_OP_CMP_LT, 8, 15, true},
        {FUTEX_OP_OR, 8, FUTEX_OP_CMP_LT, 7, 15, false},
        {FUTEX_OP_ANDN, 1, FUTEX_OP_CMP_LE, 7, 6, true},
        {FUTEX_OP_ANDN, 1, FUTEX_OP_CMP_LE, 6, 6, false},
        {FUTEX_OP_XOR, 5, FUTEX_OP_CMP_GT, 6, 2, true},
        {FUTEX_OP_XOR, 5, FUTEX_OP_CMP_GT, 7, 2, false},
        {FUTEX_OP_ADD | FUTEX_OP_OPARG_SHIFT, 4, FUTEX_OP_CMP_GE, 7, 23, true},
        {FUTEX_OP_ADD | FUTEX_OP_OPARG_SHIFT, 4, FUTEX_OP_CMP_GE, 8, 23, false},
        {FUTEX_OP_SET, 1, FUTEX_OP_CMP_GT, -1, 1, true},
    };
    for (const WakeOperation& wanted : operations) {
        other = 7;
        start_waiter("first", &word);
        start_waiter("second", &other);
        ::usleep(10);
        const auto packed = static_cast<std::uint32_t>(
            FUTEX_OP(static_cast<unsigned>(wanted.operation), static_cast<unsigned>(wanted.argument),
                     static_cast<unsigned>(wanted.comparison), static_cast<unsigned>(wanted.compared)));
        EXPECT_EQ(futex(&word, FUTEX_WAKE_OP_PRIVATE, 1, count(1), &other, packed),
                  wanted.wakes_second ? 2 : 1);
        EXPECT_EQ(other, wanted.value_after);
        if (!wanted.wakes_second) {
            EXPECT_EQ(futex(&other, FUTEX_WAKE_PRIVATE, 1), 1);
        }
        join();
    }
}

// Threads of the virtual projector itself wait in the kernel.
TEST_F(Futexes, AWakeReachesThreadsThatAreNoneOfTheProgramsToo) {
    std::thread real_thread;
    {
        const vp::ReentrancyGuard guard;
        real_thread = std::thread([&] { EXPECT_EQ(futex(&word, FUTEX_WAIT_PRIVATE, 5), 0); });
    }
    start_waiter("known", &word);
    ::usleep(10);
    long woken = 0;
    for (int tries = 0; woken < 2 && tries < 1000; ++tries) {
        const vp::ReentrancyGuard guard;
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
        const vp::ProgramCallback callback;
        woken += futex(&word, FUTEX_WAKE_PRIVATE, 2);
    }
    EXPECT_EQ(woken, 2);
    join();
    const vp::ReentrancyGuard guard;
    real_thread.join();
}

TEST_F(Futexes, WithoutAMachineAreTheKernels) {
    machine.uninstall();
    const timespec length{0, 1000};
    EXPECT_EQ(futex(&word, FUTEX_WAIT_PRIVATE, 5, &length), -ETIMEDOUT);
    EXPECT_EQ(futex(&word, FUTEX_WAKE_PRIVATE, 1), 0);
    EXPECT_EQ(clock.now(), 0);
}

}  // namespace
