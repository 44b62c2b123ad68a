#include "virtual_projector/clock/real_clock.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

namespace {

using vp::Microseconds;
using vp::no_deadline;
using vp::RealClock;
using vp::WorldLock;

constexpr Microseconds moment = 2'000;  // long enough to be seen, short enough not to be felt

TEST(RealTime, PassesByItself) {
    RealClock clock;
    const Microseconds before = clock.now();
    EXPECT_GE(before, 0);
    clock.sleep_until(before + moment);
    EXPECT_GE(clock.now(), before + moment);
    EXPECT_FALSE(clock.is_virtual());
}

TEST(RealTime, CallbacksRunInTheOrderOfTheirTimesWithTheWorldHeld) {
    RealClock clock;
    std::vector<int> order;
    {
        const WorldLock lock(clock);
        clock.at(0, [&] { order.push_back(1); });
        clock.at(moment, [&] { order.push_back(3); });
        clock.at(moment / 2, [&] { order.push_back(2); });
        while (order.size() < 3) clock.wait_for_device("", no_deadline);
    }
    EXPECT_EQ(order, (std::vector<int>{1, 2, 3}));
}

TEST(RealTime, ADeviceWaitEndsAtItsDeadline) {
    RealClock clock;
    const WorldLock lock(clock);
    const Microseconds until = clock.now() + moment;
    while (clock.now() < until) clock.wait_for_device("", until);
    EXPECT_GE(clock.now(), until);
}

TEST(RealTime, ADeviceWaitEndsWithAnEventAndLetsOthersTouchTheWorldMeanwhile) {
    RealClock clock;
    bool pressed = false;
    std::thread other;
    {
        const WorldLock lock(clock);
        other = std::thread([&] {
            const WorldLock others_lock(clock);
            pressed = true;
            clock.event_happened();
        });
        while (!pressed) clock.wait_for_device("", no_deadline);
        EXPECT_TRUE(pressed);
    }
    other.join();
}

TEST(RealTime, TheWorldIsBroughtUpToDateWhenItIsHeld) {
    RealClock clock;
    std::vector<Microseconds> times;
    clock.on_advance([&](Microseconds now) { times.push_back(now); });
    clock.sleep_until(clock.now() + moment);
    const WorldLock lock(clock);
    ASSERT_EQ(times.size(), 1U);
    EXPECT_GE(times[0], moment);
}

TEST(RealTime, TheWorldIsBroughtUpToDateAfterADeviceWait) {
    RealClock clock;
    Microseconds world_time = 0;
    clock.on_advance([&](Microseconds now) { world_time = now; });
    const WorldLock lock(clock);
    const Microseconds until = clock.now() + moment;
    while (clock.now() < until) clock.wait_for_device("", until);
    EXPECT_GE(world_time, until);
}

TEST(RealTime, WhoeverHoldsTheWorldFindsDueCallbacksDone) {
    RealClock clock;
    const WorldLock lock(clock);  // keeps the clock's own thread waiting
    bool ran = false;
    clock.at(clock.now() + moment, [&] {
        const WorldLock once_more(clock);
        ran = true;
    });
    clock.sleep_until(clock.now() + moment);
    const WorldLock again(clock);
    EXPECT_TRUE(ran);
}

TEST(RealTime, AnyThreadIsOneOfTheKernels) {
    RealClock clock;
    EXPECT_TRUE(clock.scheduler().knows_current_thread());
    EXPECT_EQ(clock.scheduler().prepare_thread(2, "worker"), nullptr);
    clock.scheduler().touch();
    EXPECT_EQ(clock.scheduler().figures().points, 0U);
}

TEST(RealTime, EndsWithCallbacksStillToCome) {
    std::atomic<bool> ran{false};
    {
        RealClock clock;
        clock.at(3'600'000'000, [&] { ran = true; });
    }
    EXPECT_FALSE(ran);
}

}  // namespace
