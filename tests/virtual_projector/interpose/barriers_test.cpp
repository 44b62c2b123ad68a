#include "virtual_projector/interpose/barriers.h"

#include <gtest/gtest.h>
#include <pthread.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <memory>
#include <string>
#include <vector>

#include "tests/virtual_projector/interpose/waiting_threads.h"

namespace {

using namespace interpose_test;

struct Barriers : WaitingThreads {
    void make(unsigned count) { ASSERT_EQ(pthread_barrier_init(&barrier, nullptr, count), 0); }
    ~Barriers() override {
        join();
        pthread_barrier_destroy(&barrier);
    }
    pthread_barrier_t barrier{};
};

TEST_F(Barriers, LetAllGoWhenTheLastHasCome) {
    make(4);
    std::vector<int> results;
    for (int i = 0; i < 4; ++i) {
        start([&, i] {
            ::usleep(static_cast<useconds_t>(10 * i));
            results.push_back(pthread_barrier_wait(&barrier));
            say("goes");
        });
    }
    join();
    EXPECT_EQ(said, Lines(4, "30 goes"));
    EXPECT_EQ(std::count(results.begin(), results.end(), PTHREAD_BARRIER_SERIAL_THREAD), 1);
    EXPECT_EQ(std::count(results.begin(), results.end(), 0), 3);
}

TEST_F(Barriers, ForOneThreadDoNotWait) {
    make(1);
    for (int round = 0; round < 3; ++round)
        EXPECT_EQ(pthread_barrier_wait(&barrier), PTHREAD_BARRIER_SERIAL_THREAD);
    EXPECT_EQ(clock.now(), 0);
}

// Whoever leaves a round first may be back for the next before the others have left.
TEST_F(Barriers, MayBeUsedRoundAfterRound) {
    make(3);
    std::array<std::size_t, 3> passed{};
    int serials = 0;
    for (std::size_t i = 0; i < passed.size(); ++i) {
        start([&, i] {
            for (std::size_t round = 1; round <= 50; ++round) {
                if (i == round % 3) ::usleep(10);
                if (pthread_barrier_wait(&barrier) == PTHREAD_BARRIER_SERIAL_THREAD) ++serials;
                passed[i] = round;
                for (const std::size_t rounds : passed) EXPECT_GE(rounds + 1, round);
            }
        });
    }
    join();
    EXPECT_EQ(serials, 50);
    EXPECT_EQ(clock.now(), 500);
}

TEST_F(Barriers, MayBeDestroyedByTheLastThatComes) {
    auto own = std::make_unique<pthread_barrier_t>();
    pthread_barrier_init(own.get(), nullptr, 2);
    start([&] {
        (void)pthread_barrier_wait(own.get());
        say("goes");
    });
    ::usleep(10);
    EXPECT_EQ(pthread_barrier_wait(own.get()), PTHREAD_BARRIER_SERIAL_THREAD);
    EXPECT_EQ(pthread_barrier_destroy(own.get()), 0);
    own.reset();
    join();
    EXPECT_EQ(said, Lines{"10 goes"});
    make(1);
}

TEST_F(Barriers, ThatWereMadeBeforeTheMachineWorkInIt) {
    machine.uninstall();
    make(2);
    machine.install();
    start([&] {
        ::usleep(15);
        (void)pthread_barrier_wait(&barrier);
    });
    EXPECT_EQ(pthread_barrier_wait(&barrier), 0);
    EXPECT_EQ(clock.now(), 15);
}

}  // namespace
