#include "virtual_projector/interpose/once_calls.h"

#include <gtest/gtest.h>
#include <pthread.h>
#include <unistd.h>

#include <functional>
#include <mutex>
#include <stdexcept>
#include <string>
#include <vector>

#include "tests/virtual_projector/interpose/waiting_threads.h"

namespace {

using namespace interpose_test;

std::function<void()> routine_body;  // a routine has no argument
void routine() { routine_body(); }

struct OnceCalls : WaitingThreads {
    pthread_once_t control = PTHREAD_ONCE_INIT;
    int calls = 0;
};

TEST_F(OnceCalls, ASecondThreadWaitsWhileTheFirstIsInside) {
    routine_body = [&] {
        ++calls;
        ::usleep(100);
    };
    for (int i = 0; i < 3; ++i) {
        start([&, i] {
            ::usleep(static_cast<useconds_t>(i * 10));
            EXPECT_EQ(pthread_once(&control, routine), 0);
            say("goes on");
        });
    }
    join();
    EXPECT_EQ(said, Lines(3, "100 goes on"));
    EXPECT_EQ(calls, 1);
    EXPECT_EQ(pthread_once(&control, routine), 0);
    EXPECT_EQ(calls, 1);
    EXPECT_EQ(clock.now(), 100);
}

TEST_F(OnceCalls, AnotherTriesWhenTheFirstThrows) {
    routine_body = [&] {
        ::usleep(50);
        if (++calls == 1) throw std::runtime_error("not yet");
    };
    start([&] {
        EXPECT_THROW((void)pthread_once(&control, routine), std::runtime_error);
        say("has thrown");
    });
    start([&] {
        ::usleep(10);
        EXPECT_EQ(pthread_once(&control, routine), 0);
        say("has it");
    });
    join();
    EXPECT_EQ(said, (Lines{"50 has thrown", "100 has it"}));
    EXPECT_EQ(calls, 2);
}

TEST_F(OnceCalls, AnotherTriesWhenTheFirstIsCancelled) {
    routine_body = [&] {
        ::usleep(50);
        if (++calls > 1) return;
        pthread_cancel(pthread_self());
        pthread_testcancel();
    };
    pthread_t first;
    pthread_create(
        &first, nullptr,
        [](void* given) -> void* {
            (void)pthread_once(static_cast<pthread_once_t*>(given), routine);
            return nullptr;
        },
        &control);
    ::usleep(10);
    EXPECT_EQ(pthread_once(&control, routine), 0);
    EXPECT_EQ(clock.now(), 100);
    void* value = nullptr;
    pthread_join(first, &value);
    EXPECT_EQ(value, PTHREAD_CANCELED);
    EXPECT_EQ(calls, 2);
}

TEST_F(OnceCalls, OfTheStandardLibraryAreTheSame) {
    std::once_flag flag;
    start([&] {
        std::call_once(flag, [&] {
            ++calls;
            ::usleep(70);
        });
    });
    ::usleep(10);
    std::call_once(flag, [&] { ++calls; });
    EXPECT_EQ(clock.now(), 70);
    EXPECT_EQ(calls, 1);
}

TEST_F(OnceCalls, WithAndWithoutAMachineKnowOfEachOther) {
    routine_body = [&] { ++calls; };
    EXPECT_EQ(pthread_once(&control, routine), 0);
    machine.uninstall();
    EXPECT_EQ(pthread_once(&control, routine), 0);
    EXPECT_EQ(calls, 1);
    pthread_once_t before = PTHREAD_ONCE_INIT;
    EXPECT_EQ(pthread_once(&before, routine), 0);
    machine.install();
    EXPECT_EQ(pthread_once(&before, routine), 0);
    EXPECT_EQ(calls, 2);
}

}  // namespace
