#include "base/thread.h"

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <semaphore.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <vector>

#include "tests/support/scripted_board.h"

// The stack sizes asked for, whatever the platform answers: a board grants what this machine refuses.
std::vector<std::size_t> stack_requests;

extern "C" int pthread_attr_setstacksize(pthread_attr_t* attributes, std::size_t bytes) noexcept {
    using SetStackSize = int (*)(pthread_attr_t*, std::size_t);
    static const auto real = reinterpret_cast<SetStackSize>(dlsym(RTLD_NEXT, "pthread_attr_setstacksize"));
    stack_requests.push_back(bytes);
    return real(attributes, bytes);
}

// A platform without memory for a thread's attributes.
bool attributes_are_refused = false;

extern "C" int pthread_attr_init(pthread_attr_t* attributes) noexcept {
    using InitAttributes = int (*)(pthread_attr_t*);
    static const auto real = reinterpret_cast<InitAttributes>(dlsym(RTLD_NEXT, "pthread_attr_init"));
    return attributes_are_refused ? ENOMEM : real(attributes);
}

namespace {

using testkit::ScriptedBoard;

// What a started thread found out about itself.
struct Report {
    sem_t may_look;
    sem_t has_looked;
    pthread_t identifier{};
    bool detached = false;
    std::size_t stack_bytes = 0;
    const void* argument = &may_look;

    Report() {
        sem_init(&may_look, 0, 0);
        sem_init(&has_looked, 0, 0);
    }
};

Report report;

void* look_at_oneself(void* argument) {
    sem_wait(&report.may_look);
    pthread_attr_t attributes;
    pthread_getattr_np(pthread_self(), &attributes);
    int state = PTHREAD_CREATE_JOINABLE;
    pthread_attr_getdetachstate(&attributes, &state);
    pthread_attr_getstacksize(&attributes, &report.stack_bytes);
    pthread_attr_destroy(&attributes);
    report.detached = state == PTHREAD_CREATE_DETACHED;
    report.identifier = pthread_self();
    report.argument = argument;
    sem_post(&report.has_looked);
    return nullptr;
}

void wait_for_report() {
    sem_post(&report.may_look);
    sem_wait(&report.has_looked);
}

std::size_t default_stack_bytes() {
    pthread_attr_t attributes;
    pthread_getattr_default_np(&attributes);
    std::size_t bytes = 0;
    pthread_attr_getstacksize(&attributes, &bytes);
    pthread_attr_destroy(&attributes);
    return bytes;
}

std::size_t smallest_stack_bytes() { return static_cast<std::size_t>(sysconf(_SC_THREAD_STACK_MIN)); }

TEST(Thread, ASmallOneIsDetachedAndGetsNoArgument) {
    ASSERT_EQ(ovra::start_small_detached_thread(look_at_oneself), 0);
    wait_for_report();
    EXPECT_TRUE(report.detached);
    EXPECT_EQ(report.argument, nullptr);
}

TEST(Thread, ASmallOneAsksFor8192BytesOfStackAndADefaultOneForNone) {
    stack_requests.clear();
    ASSERT_EQ(ovra::start_small_detached_thread(look_at_oneself), 0);
    wait_for_report();
    EXPECT_EQ(stack_requests, std::vector<std::size_t>{8192});
    pthread_t thread{};
    ASSERT_EQ(ovra::start_default_detached_thread(look_at_oneself, thread), 0);
    wait_for_report();
    EXPECT_EQ(stack_requests, std::vector<std::size_t>{8192});
}

TEST(Thread, ASmallOneGets8192BytesWhereThePlatformAllowsAndTheDefaultElsewhere) {
    ASSERT_EQ(ovra::start_small_detached_thread(look_at_oneself), 0);
    wait_for_report();
    EXPECT_EQ(report.stack_bytes, smallest_stack_bytes() <= 8192 ? 8192 : default_stack_bytes());
}

TEST(Thread, ADefaultOneIsDetachedAndKnownByItsIdentifier) {
    pthread_t thread{};
    ASSERT_EQ(ovra::start_default_detached_thread(look_at_oneself, thread), 0);
    wait_for_report();
    EXPECT_TRUE(report.detached);
    EXPECT_TRUE(pthread_equal(report.identifier, thread));
    EXPECT_EQ(report.argument, nullptr);
    EXPECT_EQ(report.stack_bytes, default_stack_bytes());
}

TEST(Thread, ARefusedStartIsReported) {
    ScriptedBoard board;
    board.fail({"pthread_create", "", 0, EAGAIN, -1, {}});
    pthread_t thread{};
    EXPECT_EQ(ovra::start_small_detached_thread(look_at_oneself), EAGAIN);
    EXPECT_EQ(ovra::start_default_detached_thread(look_at_oneself, thread), EAGAIN);
}

TEST(Thread, RefusedAttributesAreReportedAndNothingIsStarted) {
    attributes_are_refused = true;
    bool started = false;
    static bool* const mark = &started;
    const int failure = ovra::start_small_detached_thread([](void*) -> void* {
        *mark = true;
        return nullptr;
    });
    attributes_are_refused = false;
    usleep(10'000);
    EXPECT_EQ(failure, ENOMEM);
    EXPECT_FALSE(started);
}

}  // namespace
