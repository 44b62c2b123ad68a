#include "virtual_projector/interpose/program_time.h"

#include <gtest/gtest.h>
#include <sys/time.h>
#include <time.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include "tests/virtual_projector/interpose/machine_fixture.h"

namespace {

using namespace interpose_test;
using namespace std::chrono_literals;
using Lines = std::vector<std::string>;

constexpr long billion = 1'000'000'000;

struct ProgramTime : MachineTest {
    static timespec shown(clockid_t clock_id) {
        timespec time{};
        EXPECT_EQ(::clock_gettime(clock_id, &time), 0);
        return time;
    }
};

TEST_F(ProgramTime, EveryWayToSleepMovesVirtualTime) {
    EXPECT_EQ(::usleep(5), 0);
    EXPECT_EQ(clock.now(), 5);
    EXPECT_EQ(::sleep(2), 0U);
    EXPECT_EQ(clock.now(), 2'000'005);
    const timespec length{1, 1};
    EXPECT_EQ(::nanosleep(&length, nullptr), 0);  // a fraction of a microsecond counts as a whole one
    EXPECT_EQ(clock.now(), 3'000'006);
    EXPECT_EQ(::clock_nanosleep(CLOCK_MONOTONIC, 0, &length, nullptr), 0);
    EXPECT_EQ(clock.now(), 4'000'007);
    std::this_thread::sleep_for(10us);
    EXPECT_EQ(clock.now(), 4'000'017);
}

TEST_F(ProgramTime, SleepsUntilATimeOfAnyClock) {
    for (const clockid_t id : {CLOCK_MONOTONIC, CLOCK_REALTIME}) {
        timespec until = shown(id);
        until.tv_sec += 3;
        const vp::Microseconds before = clock.now();
        EXPECT_EQ(::clock_nanosleep(id, TIMER_ABSTIME, &until, nullptr), 0);
        EXPECT_EQ(clock.now(), before + 3'000'000);
        EXPECT_EQ(::clock_nanosleep(id, TIMER_ABSTIME, &until, nullptr), 0);  // has passed
        EXPECT_EQ(clock.now(), before + 3'000'000);
    }
}

TEST_F(ProgramTime, RefusesLengthsThatAreNone) {
    const timespec too_many{0, billion};
    const timespec negative{-1, 0};
    errno = 0;
    EXPECT_EQ(::nanosleep(&too_many, nullptr), -1);
    EXPECT_EQ(errno, EINVAL);
    EXPECT_EQ(::nanosleep(&negative, nullptr), -1);
    EXPECT_EQ(::clock_nanosleep(CLOCK_MONOTONIC, 0, &too_many, nullptr), EINVAL);
    EXPECT_EQ(clock.now(), 0);
}

TEST_F(ProgramTime, TheWallClockStartsAtAFixedDateThatCanBeSet) {
    EXPECT_EQ(::time(nullptr), 1'704'110'400);  // 2024-01-01 12:00 UTC
    machine.time().set_wall_clock(1'500'000);
    ::usleep(600'000);
    timeval day{};
    EXPECT_EQ(::gettimeofday(&day, nullptr), 0);
    EXPECT_EQ(day.tv_sec, 2);
    EXPECT_EQ(day.tv_usec, 100'000);
    EXPECT_EQ(shown(CLOCK_REALTIME).tv_sec, 2);
    EXPECT_EQ(shown(CLOCK_REALTIME).tv_nsec, 100'000'000);
    time_t seconds = 0;
    EXPECT_EQ(::time(&seconds), 2);
    EXPECT_EQ(seconds, 2);
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    EXPECT_EQ(std::chrono::duration_cast<std::chrono::milliseconds>(now), 2100ms);
}

TEST_F(ProgramTime, TheOtherClocksStartAtAFixedUptime) {
    for (const clockid_t id : {CLOCK_MONOTONIC, CLOCK_MONOTONIC_RAW, CLOCK_BOOTTIME}) {
        EXPECT_EQ(shown(id).tv_sec, 100);
    }
    ::usleep(1);
    EXPECT_EQ(shown(CLOCK_MONOTONIC).tv_nsec, 1000);
}

TEST_F(ProgramTime, ProcessorTimeIsTheRealOne) {
    const timespec before = shown(CLOCK_PROCESS_CPUTIME_ID);
    EXPECT_LT(before.tv_sec, 100);
    ::sleep(1000);
    EXPECT_LT(shown(CLOCK_PROCESS_CPUTIME_ID).tv_sec, 100);
}

TEST_F(ProgramTime, SleepsAreRecordedBeforeTheyBegin) {
    ::usleep(10);
    ::usleep(20);
    EXPECT_EQ(sink.lines, (Lines{"0 1 sleep  0 ", "10 1 sleep  0 "}));
}

TEST_F(ProgramTime, TheSleepHandlerIsTheProgramsOwnCode) {
    std::vector<vp::Microseconds> lengths;
    machine.time().on_sleep([&](vp::Microseconds length) {
        lengths.push_back(length);
        if (length == 10) ::usleep(3);
    });
    ::usleep(10);
    EXPECT_EQ(lengths, (std::vector<vp::Microseconds>{10, 3}));
    EXPECT_EQ(clock.now(), 13);
}

TEST_F(ProgramTime, AThreadThatPollsTheClockLetsTimePass) {
    const timespec start = shown(CLOCK_MONOTONIC);
    while (shown(CLOCK_MONOTONIC).tv_nsec - start.tv_nsec < 1'000'000) {
    }
    EXPECT_EQ(clock.now(), 1000);
}

TEST_F(ProgramTime, IsThePCsOwnWithoutAMachine) {
    machine.uninstall();
    const timespec before = shown(CLOCK_MONOTONIC);
    ::usleep(1000);
    const timespec after = shown(CLOCK_MONOTONIC);
    EXPECT_GE((after.tv_sec - before.tv_sec) * billion + after.tv_nsec - before.tv_nsec, 1'000'000);
    EXPECT_EQ(clock.now(), 0);
}

}  // namespace
