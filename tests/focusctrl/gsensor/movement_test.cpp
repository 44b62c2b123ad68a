#include "focusctrl/gsensor/movement.h"

#include <gtest/gtest.h>

#include <array>
#include <limits>

namespace {

using ovra::absolute_difference;
using ovra::all_reach;
using ovra::any_reaches;
using ovra::Axes;
using ovra::BlockEvent;
using ovra::classify_block;
using ovra::is_steady;
using ovra::largest;
using ovra::RestPosition;

constexpr Axes level{0, 0, 0};
constexpr RestPosition no_rest{false, {0, 0, 0}};
constexpr RestPosition rest_level{true, {0, 0, 0}};
constexpr bool pending = true;
constexpr bool not_pending = false;

// The same value on one axis after the other.
std::array<Axes, 3> on_each_axis(float value) { return {{{value, 0, 0}, {0, value, 0}, {0, 0, value}}}; }

// --- Sudden shake -----------------------------------------------------------------------------------------

TEST(SuddenShake, IsAStepOf13DegreesOnAnyAxis) {
    for (const Axes& now : on_each_axis(13.0F)) {
        EXPECT_EQ(classify_block(now, level, no_rest, not_pending), BlockEvent::sudden_shake);
        EXPECT_EQ(classify_block(level, now, no_rest, not_pending), BlockEvent::sudden_shake);
    }
}

TEST(SuddenShake, IsNotAStepJustBelow) {
    for (const Axes& now : on_each_axis(12.99F))
        EXPECT_EQ(classify_block(now, level, no_rest, not_pending), BlockEvent::settling);
}

TEST(SuddenShake, GoesBeforeASlowOne) {
    EXPECT_EQ(classify_block({40, 0, 0}, {20, 0, 0}, rest_level, pending), BlockEvent::sudden_shake);
}

// --- Slow shake -------------------------------------------------------------------------------------------

TEST(SlowShake, IsTwoBlocksAwayFromRestAndAStepOf3Degrees) {
    EXPECT_EQ(classify_block({13, 0, 0}, {10, 0, 0}, rest_level, not_pending), BlockEvent::slow_shake);
    EXPECT_EQ(classify_block({0, -13, 0}, {0, -10, 0}, rest_level, not_pending), BlockEvent::slow_shake);
    EXPECT_EQ(classify_block({0, 0, 13}, {0, 0, 10}, rest_level, not_pending), BlockEvent::slow_shake);
}

TEST(SlowShake, MayBeAwayOnOneAxisAndStepOnAnother) {
    EXPECT_EQ(classify_block({10, 3, 0}, {10, 0, 0}, rest_level, not_pending), BlockEvent::slow_shake);
    EXPECT_EQ(classify_block({0, 10, 0}, {10, 0, 0}, rest_level, not_pending), BlockEvent::slow_shake);
}

TEST(SlowShake, NeedsAStepOf3Degrees) {
    EXPECT_EQ(classify_block({22.99F, 0, 0}, {20, 0, 0}, rest_level, not_pending), BlockEvent::nothing);
    EXPECT_EQ(classify_block({23, 0, 0}, {20, 0, 0}, rest_level, not_pending), BlockEvent::slow_shake);
}

TEST(SlowShake, NeedsTheBlockAwayFromRest) {
    EXPECT_EQ(classify_block({9.9F, 0, 0}, {15, 0, 0}, rest_level, not_pending), BlockEvent::nothing);
    EXPECT_EQ(classify_block({10, 0, 0}, {15, 0, 0}, rest_level, not_pending), BlockEvent::slow_shake);
}

TEST(SlowShake, NeedsTheBlockBeforeAwayFromRestToo) {
    // 5 degrees further, and on the way out only.
    EXPECT_EQ(classify_block({10, 5, 0}, {9.9F, 0, 0}, rest_level, not_pending), BlockEvent::nothing);
    EXPECT_EQ(classify_block({14.9F, 0, 0}, {9.9F, 0, 0}, rest_level, not_pending), BlockEvent::nothing);
    EXPECT_EQ(classify_block({15, 0, 0}, {10, 0, 0}, rest_level, not_pending), BlockEvent::slow_shake);
}

TEST(SlowShake, IsMeasuredFromTheRestPosition) {
    constexpr RestPosition tilted{true, {30, 0, 50}};
    EXPECT_EQ(classify_block({35, 0, 50}, {30, 0, 50}, tilted, not_pending), BlockEvent::nothing);
    EXPECT_EQ(classify_block({15, 0, 50}, {20, 0, 50}, tilted, not_pending), BlockEvent::slow_shake);
}

TEST(SlowShake, NeedsAKnownRestPosition) {
    EXPECT_EQ(classify_block({25, 0, 0}, {20, 0, 0}, no_rest, not_pending), BlockEvent::settling);
}

// --- No shake ---------------------------------------------------------------------------------------------

TEST(QuietBlock, SettlesWhileNoRestPositionIsKnown) {
    EXPECT_EQ(classify_block(level, level, no_rest, not_pending), BlockEvent::settling);
    EXPECT_EQ(classify_block(level, level, no_rest, pending), BlockEvent::settling);
}

TEST(QuietBlock, SettlesWhileAMovementIsPending) {
    EXPECT_EQ(classify_block(level, level, rest_level, pending), BlockEvent::settling);
}

TEST(QuietBlock, IsNothingOtherwise) {
    EXPECT_EQ(classify_block(level, level, rest_level, not_pending), BlockEvent::nothing);
}

TEST(QuietBlock, IsWhatAnglesThatAreNoNumbersGive) {
    constexpr float nan = std::numeric_limits<float>::quiet_NaN();
    EXPECT_EQ(classify_block({nan, nan, nan}, level, rest_level, not_pending), BlockEvent::nothing);
    EXPECT_FALSE(is_steady({nan, nan, nan}, level));
}

// --- Steadiness -------------------------------------------------------------------------------------------

TEST(SteadyBlock, StepsLessThan1Point76DegreesOnEveryAxis) {
    EXPECT_TRUE(is_steady({1.75F, -1.75F, 1.75F}, level));
    for (const Axes& now : on_each_axis(1.76F)) EXPECT_FALSE(is_steady(now, level));
    for (const Axes& now : on_each_axis(-1.76F)) EXPECT_FALSE(is_steady(now, level));
}

// --- The comparisons --------------------------------------------------------------------------------------

TEST(AbsoluteDifference, IsTakenOnEachAxis) {
    const Axes difference = absolute_difference({1, -2, 3}, {-1, 2, 3});
    EXPECT_EQ(difference.x, 2);
    EXPECT_EQ(difference.y, 4);
    EXPECT_EQ(difference.z, 0);
}

TEST(Bounds, AreReachedByEqualValues) {
    EXPECT_TRUE(any_reaches({0, 0, 5}, 5));
    EXPECT_FALSE(any_reaches({4, 4.9F, 4}, 5));
    EXPECT_TRUE(all_reach({5, 6, 5}, 5));
    for (const Axes& low : on_each_axis(-1)) EXPECT_FALSE(all_reach({5 + low.x, 5 + low.y, 5 + low.z}, 5));
}

TEST(Largest, IsTheLargestOfThree) {
    EXPECT_EQ(largest({3, 1, 2}), 3);
    EXPECT_EQ(largest({1, 3, 2}), 3);
    EXPECT_EQ(largest({1, 2, 3}), 3);
}

}  // namespace
