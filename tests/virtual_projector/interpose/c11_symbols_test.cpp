#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <threads.h>
#include <time.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "tests/virtual_projector/interpose/waiting_threads.h"

// Entry functions with names that a trace can show.
extern "C" {
int c11_symbols_test_sleeper(void* microseconds);
int c11_symbols_test_leaver(void*);
}

namespace {

using namespace interpose_test;

struct C11 : WaitingThreads {
    C11() {
        mtx_init(&mutex, mtx_plain);
        cnd_init(&condition);
    }
    ~C11() override {
        join();
        cnd_destroy(&condition);
        mtx_destroy(&mutex);
    }
    mtx_t mutex{};
    cnd_t condition{};
};

TEST_F(C11, ThreadsAreTheProgramsWithNamesAndMeasuredStacks) {
    thrd_t thread;
    int microseconds = 500;
    ASSERT_EQ(thrd_create(&thread, c11_symbols_test_sleeper, &microseconds), thrd_success);
    int value = 0;
    EXPECT_EQ(thrd_join(thread, &value), thrd_success);
    EXPECT_EQ(value, -500);
    EXPECT_EQ(clock.now(), 500);
    EXPECT_THAT(sink.lines, ::testing::Contains("0 1 pthread_create c11_symbols_test_sleeper 2 "));
    ASSERT_EQ(machine.threads().stack_uses().size(), 1U);
    EXPECT_EQ(machine.threads().stack_uses()[0].name, "c11_symbols_test_sleeper");
}

TEST_F(C11, ThreadsMayLeaveFromWithin) {
    thrd_t thread;
    ASSERT_EQ(thrd_create(&thread, c11_symbols_test_leaver, nullptr), thrd_success);
    int value = 0;
    EXPECT_EQ(thrd_join(thread, &value), thrd_success);
    EXPECT_EQ(value, 7);
}

TEST_F(C11, DetachedThreadsEndByThemselves) {
    thrd_t thread;
    int microseconds = 5;
    ASSERT_EQ(thrd_create(&thread, c11_symbols_test_sleeper, &microseconds), thrd_success);
    EXPECT_EQ(thrd_detach(thread), thrd_success);
    ::usleep(10);
    EXPECT_EQ(machine.threads().stack_uses().size(), 1U);
}

TEST_F(C11, AStartMayBeMadeToFail) {
    vp::FaultRule rule;
    rule.operation = "pthread_create";
    rule.path = "c11_symbols_test_sleeper";
    rule.effect.error_number = ENOMEM;
    faults.add(rule);
    thrd_t thread;
    EXPECT_EQ(thrd_create(&thread, c11_symbols_test_sleeper, nullptr), thrd_nomem);
}

TEST_F(C11, SleepsTakeVirtualTime) {
    const timespec length{2, 0};
    EXPECT_EQ(thrd_sleep(&length, nullptr), 0);
    EXPECT_EQ(clock.now(), 2'000'000);
    const timespec bad{0, -1};
    EXPECT_EQ(thrd_sleep(&bad, nullptr), -2);
}

TEST_F(C11, AMutexIsWaitedForOrTriedOrGivenUp) {
    mtx_lock(&mutex);
    start([&] {
        EXPECT_EQ(mtx_trylock(&mutex), thrd_busy);
        const timespec until = in(CLOCK_REALTIME, 20);
        EXPECT_EQ(mtx_timedlock(&mutex, &until), thrd_timedout);
        say("gave up");
        EXPECT_EQ(mtx_lock(&mutex), thrd_success);
        say("has it");
        EXPECT_EQ(mtx_unlock(&mutex), thrd_success);
    });
    ::usleep(50);
    EXPECT_EQ(mtx_unlock(&mutex), thrd_success);
    join();
    EXPECT_EQ(said, (Lines{"20 gave up", "50 has it"}));
}

TEST_F(C11, ARecursiveMutexIsFreeAfterAsManyUnlocks) {
    mtx_t recursive;
    mtx_init(&recursive, mtx_plain | mtx_recursive);
    EXPECT_EQ(mtx_lock(&recursive), thrd_success);
    EXPECT_EQ(mtx_lock(&recursive), thrd_success);
    mtx_unlock(&recursive);
    start([&] {
        EXPECT_EQ(mtx_trylock(&recursive), thrd_busy);
        mtx_lock(&recursive);
        say("has it");
        mtx_unlock(&recursive);
    });
    ::usleep(10);
    mtx_unlock(&recursive);
    join();
    EXPECT_EQ(said, Lines{"10 has it"});
    mtx_destroy(&recursive);
}

TEST_F(C11, AConditionIsWaitedForUntilSignalledOrItsTime) {
    start([&] {
        mtx_lock(&mutex);
        EXPECT_EQ(cnd_wait(&condition, &mutex), thrd_success);
        say("signalled");
        EXPECT_EQ(cnd_wait(&condition, &mutex), thrd_success);
        say("signalled again");
        const timespec until = in(CLOCK_REALTIME, 10);
        EXPECT_EQ(cnd_timedwait(&condition, &mutex, &until), thrd_timedout);
        say("gave up");
        mtx_unlock(&mutex);
    });
    ::usleep(30);
    EXPECT_EQ(cnd_signal(&condition), thrd_success);
    ::usleep(30);
    EXPECT_EQ(cnd_broadcast(&condition), thrd_success);
    join();
    EXPECT_EQ(said, (Lines{"30 signalled", "60 signalled again", "70 gave up"}));
}

int calls = 0;

TEST_F(C11, ARoutineIsCalledOnce) {
    once_flag flag = ONCE_FLAG_INIT;
    const auto routine = [] {
        ++calls;
        ::usleep(100);
    };
    start([&] { call_once(&flag, routine); });
    ::usleep(10);
    call_once(&flag, routine);
    EXPECT_EQ(clock.now(), 100);
    EXPECT_EQ(calls, 1);
}

TEST_F(C11, AYieldLetsAnotherThreadGoOn) {
    bool set = false;
    start([&] {
        ::usleep(20);
        set = true;
    });
    while (!set) thrd_yield();
    EXPECT_GE(clock.now(), 20);
}

TEST_F(C11, WithoutAMachineAreTheCLibrarys) {
    machine.uninstall();
    thrd_t thread;
    int microseconds = 1;
    ASSERT_EQ(thrd_create(&thread, c11_symbols_test_sleeper, &microseconds), thrd_success);
    int value = 0;
    EXPECT_EQ(thrd_join(thread, &value), thrd_success);
    EXPECT_EQ(value, -1);
    EXPECT_EQ(mtx_lock(&mutex), thrd_success);
    EXPECT_EQ(mtx_unlock(&mutex), thrd_success);
    EXPECT_TRUE(machine.threads().stack_uses().empty());
}

}  // namespace

int c11_symbols_test_sleeper(void* microseconds) {
    const int length = *static_cast<int*>(microseconds);
    ::usleep(static_cast<useconds_t>(length));
    return -length;
}

int c11_symbols_test_leaver(void*) {
    ::usleep(10);
    thrd_exit(7);
}
