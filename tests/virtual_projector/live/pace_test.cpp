#include "virtual_projector/live/pace.h"

#include <gtest/gtest.h>

namespace {

using vp::Pace;

constexpr vp::RealMicroseconds begin = 7'000'000;
constexpr vp::RealMicroseconds second = 1'000'000;

TEST(APace, IsThePcsOwnAtFirst) {
    const Pace pace(begin);
    EXPECT_EQ(pace.reached_at(begin), 0);
    EXPECT_EQ(pace.reached_at(begin + second), second);
    EXPECT_EQ(pace.wait_until(3 * second, begin + second), 2 * second);
}

TEST(APace, HasNothingToWaitForWhenATimeHasBeenReached) {
    const Pace pace(begin);
    EXPECT_EQ(pace.wait_until(second, begin + second), 0);
    EXPECT_EQ(pace.wait_until(second, begin + 2 * second), 0);
}

TEST(APace, GoesOnFromWhereItIsAtAnotherSpeed) {
    Pace pace(begin);
    pace.set_speed(10, begin + second);
    EXPECT_EQ(pace.reached_at(begin + second), second);
    EXPECT_EQ(pace.reached_at(begin + 2 * second), 11 * second);
    pace.set_speed(0.1, begin + 2 * second);
    EXPECT_EQ(pace.reached_at(begin + 12 * second), 12 * second);
}

TEST(APace, TakesTheNearestSpeedThatThereIs) {
    Pace pace(begin);
    pace.set_speed(1000, begin);
    EXPECT_EQ(pace.speed(), Pace::max_speed);
    pace.set_speed(0, begin);
    EXPECT_EQ(pace.speed(), Pace::min_speed);
}

TEST(APace, StandsWhilePausedAndGoesOnFromThere) {
    Pace pace(begin);
    pace.pause(begin + second);
    EXPECT_TRUE(pace.is_paused());
    EXPECT_EQ(pace.reached_at(begin + 60 * second), second);
    EXPECT_FALSE(pace.wait_until(second + 1, begin + 60 * second).has_value());
    EXPECT_EQ(pace.wait_until(second, begin + 60 * second), 0);
    pace.resume(begin + 60 * second);
    EXPECT_EQ(pace.reached_at(begin + 61 * second), 2 * second);
}

TEST(APace, StepsSoFarAndStands) {
    Pace pace(begin);
    pace.pause(begin + second);
    pace.step(second / 10, begin + 5 * second);
    EXPECT_EQ(pace.reached_at(begin + 5 * second), second);
    EXPECT_EQ(pace.reached_at(begin + 6 * second), second + second / 10);
    EXPECT_TRUE(pace.is_paused());
}

TEST(APace, MakesUpForAShortDelayButNotForALongOne) {
    Pace pace(begin);
    pace.note_delay(second - 20'000, begin + second);
    EXPECT_EQ(pace.reached_at(begin + second), second);
    pace.note_delay(second / 2, begin + second);
    EXPECT_EQ(pace.reached_at(begin + second), second / 2 + 50'000);
}

}  // namespace
