#include "virtual_projector/world/lens.h"

#include <gtest/gtest.h>

#include "virtual_projector/world/parameters.h"

namespace vp {
namespace {

constexpr Microseconds step_us = 4000;  // at 250 steps per second

struct Lens : ::testing::Test {
    LensSettings lens = standard_settings().lens;
    LensMotor motor;

    Lens() {
        lens.position_steps = 20;
        lens.backlash_state = 1;
        lens.left_backlash_steps = 3;
        lens.right_backlash_steps = 2;
    }
    void move(Microseconds now, Side side, int steps, double size = 1) {
        ASSERT_TRUE(motor.add(now, {side, steps, size, false}, lens));
    }
};

TEST_F(Lens, MovesOneStepAfterTheOther) {
    move(0, Side::right, 3);
    motor.advance_to(step_us - 1, lens);
    EXPECT_EQ(lens.position_steps, 20);
    motor.advance_to(step_us, lens);
    EXPECT_EQ(lens.position_steps, 21);
    motor.advance_to(3 * step_us, lens);
    EXPECT_EQ(lens.position_steps, 23);
}

TEST_F(Lens, RunsAsLongAsItsStepsTake) {
    move(1000, Side::right, 5);
    EXPECT_EQ(motor.finish_time(1000, lens), 1000 + 5 * step_us);
    motor.advance_to(1000 + 5 * step_us - 1, lens);
    EXPECT_TRUE(motor.is_running());
    motor.advance_to(1000 + 5 * step_us, lens);
    EXPECT_FALSE(motor.is_running());
}

TEST_F(Lens, EndsInTheSamePlaceHoweverOftenItIsLookedAt) {
    LensSettings often = lens;
    LensMotor watched;
    ASSERT_TRUE(watched.add(0, {Side::left, 9, 0.5, false}, often));
    move(0, Side::left, 9, 0.5);
    for (Microseconds t = 0; t <= 9 * step_us; t += 700) watched.advance_to(t, often);
    watched.advance_to(9 * step_us, often);
    motor.advance_to(9 * step_us, lens);
    EXPECT_EQ(often.position_steps, lens.position_steps);
}

TEST_F(Lens, LosesItsBacklashOnTurningLeft) {
    turn_motor(lens, Side::left, 3);
    EXPECT_DOUBLE_EQ(lens.position_steps, 20);
    turn_motor(lens, Side::left, 1);
    EXPECT_DOUBLE_EQ(lens.position_steps, 19);
}

TEST_F(Lens, LosesAnotherBacklashOnTurningRight) {
    lens.backlash_state = 0;
    turn_motor(lens, Side::right, 5);
    EXPECT_DOUBLE_EQ(lens.position_steps, 23);
    turn_motor(lens, Side::right, 5);
    EXPECT_DOUBLE_EQ(lens.position_steps, 28);
}

TEST_F(Lens, TakesUpPartOfTheBacklashAndGivesItBack) {
    turn_motor(lens, Side::left, 1.5);
    EXPECT_DOUBLE_EQ(lens.backlash_state, 0.5);
    turn_motor(lens, Side::right, 1);
    EXPECT_DOUBLE_EQ(lens.backlash_state, 1);
    EXPECT_DOUBLE_EQ(lens.position_steps, 20);
    turn_motor(lens, Side::right, 1);
    EXPECT_DOUBLE_EQ(lens.position_steps, 21);
}

TEST_F(Lens, HalfStepsMoveItHalfAsFar) {
    move(0, Side::right, 3, 0.5);
    motor.advance_to(3 * step_us, lens);
    EXPECT_DOUBLE_EQ(lens.position_steps, 21.5);
}

TEST_F(Lens, StopsAtItsEnds) {
    turn_motor(lens, Side::right, 1000);
    EXPECT_EQ(lens.position_steps, lens.travel_steps);
    turn_motor(lens, Side::left, 1000);
    EXPECT_EQ(lens.position_steps, 0);
}

TEST_F(Lens, ARunToTheEndStopsWhenItIsThere) {
    ASSERT_TRUE(motor.add(0, {Side::left, 500, 1, true}, lens));
    EXPECT_EQ(motor.finish_time(0, lens), (20 + 3) * step_us);
    motor.advance_to(23 * step_us, lens);
    EXPECT_EQ(lens.position_steps, 0);
    EXPECT_EQ(motor.counted_position(), 0);
    EXPECT_FALSE(motor.is_running());
}

TEST_F(Lens, ARunToTheEndOfAStuckLensGivesUpInTheEnd) {
    lens.stuck = 1;
    ASSERT_TRUE(motor.add(0, {Side::left, 60, 1, true}, lens));
    EXPECT_EQ(motor.finish_time(0, lens), 60 * step_us);
    motor.advance_to(60 * step_us, lens);
    EXPECT_EQ(lens.position_steps, 20);
    EXPECT_FALSE(motor.is_running());
}

TEST_F(Lens, AMoveThatComesDuringAnotherWaitsItsTurn) {
    move(0, Side::right, 2);
    move(0, Side::left, 4);
    EXPECT_EQ(motor.finish_time(0, lens), 6 * step_us);
    motor.advance_to(2 * step_us, lens);
    EXPECT_EQ(lens.position_steps, 22);
    motor.advance_to(6 * step_us, lens);
    EXPECT_DOUBLE_EQ(lens.position_steps, 21);
}

TEST_F(Lens, TakesNoMoreMovesThanItsQueueHolds) {
    for (std::size_t i = 0; i < LensMotor::queue_limit; ++i) move(0, Side::right, 1);
    EXPECT_FALSE(motor.add(0, {Side::right, 1, 1, false}, lens));
}

TEST_F(Lens, AMoveOfNothingIsDoneAtOnce) {
    move(0, Side::right, 0);
    EXPECT_FALSE(motor.is_running());
}

TEST_F(Lens, GoesAtTheDriversPeriodWhenOneIsSet) {
    motor.set_step_period(10000);
    move(0, Side::right, 2);
    EXPECT_EQ(motor.finish_time(0, lens), 20000);
}

TEST_F(Lens, TheDriverCountsStepsThatTheLensNeverMade) {
    move(0, Side::left, 2);
    motor.advance_to(2 * step_us, lens);
    EXPECT_EQ(motor.counted_position(), -2);
    EXPECT_EQ(lens.position_steps, 20);
}

TEST_F(Lens, WiredTheWrongWayRoundItGoesTheOtherWay) {
    lens.reversed = 1;
    turn_motor(lens, Side::left, 4);
    EXPECT_EQ(lens.position_steps, 24);
}

TEST_F(Lens, SlippingLosesPartOfEachStep) {
    lens.slip = 0.25;
    turn_motor(lens, Side::right, 4);
    EXPECT_DOUBLE_EQ(lens.position_steps, 23);
}

}  // namespace
}  // namespace vp
