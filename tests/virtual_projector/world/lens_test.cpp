#include "virtual_projector/world/lens.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

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

using Times = std::vector<Microseconds>;

TEST_F(Lens, BendsWhereTheBacklashIsTakenUpAndWhereItStops) {
    move(1000, Side::left, 5);  // three of them are backlash
    EXPECT_EQ(motor.bends(1000, lens), (Times{1000 + 3 * step_us, 1000 + 5 * step_us}));
}

TEST_F(Lens, BendsWhereItTurns) {
    move(0, Side::right, 4);
    move(0, Side::left, 3);  // all backlash
    EXPECT_EQ(motor.bends(0, lens), (Times{4 * step_us, 7 * step_us}));
    motor.advance_to(5 * step_us, lens);
    EXPECT_EQ(motor.bends(5 * step_us, lens), (Times{7 * step_us}));
}

TEST_F(Lens, HasNoBendsWhileNothingRuns) { EXPECT_EQ(motor.bends(5, lens), Times{}); }

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

TEST_F(Lens, BacklashGrowsWithTheBarrelsTemperature) {
    lens.backlash_per_c = 0.01;
    lens.barrel_reference_c = 44;
    struct {
        double barrel_c;
        double left;
        double right;
    } const table[] = {{44, 3, 2}, {64, 3.6, 2.4}, {24, 2.4, 1.6}, {-60, 0, 0}};
    for (const auto& [barrel_c, left, right] : table) {
        lens.barrel_c = barrel_c;
        EXPECT_NEAR(backlash_of(lens, 0).left, left, 1e-12) << barrel_c;
        EXPECT_NEAR(backlash_of(lens, 0).right, right, 1e-12) << barrel_c;
    }
}

TEST_F(Lens, AWarmBacklashIsFeltByTheNextMove) {
    lens.backlash_per_c = 0.025;
    lens.barrel_reference_c = 44;
    lens.barrel_c = 84;  // twice the backlash
    move(0, Side::left, 7);
    motor.advance_to(7 * step_us, lens);
    EXPECT_DOUBLE_EQ(lens.position_steps, 19);
}

TEST_F(Lens, BacklashGrowsWithReversals) {
    lens.backlash_growth_steps = 0.5;
    EXPECT_DOUBLE_EQ(backlash_of(lens, 0).left, 3);
    EXPECT_DOUBLE_EQ(backlash_of(lens, 3000).left, 4.5);
    EXPECT_DOUBLE_EQ(backlash_of(lens, 3000).right, 3.5);
}

TEST_F(Lens, ReversalsOfTheRunAddToThoseBefore) {
    lens.backlash_growth_steps = 10;
    motor.set_reversals_before(90);
    Microseconds now = 0;
    for (int i = 0; i < 11; ++i) {  // 10 reversals, the last move to the right
        move(now, i % 2 == 0 ? Side::right : Side::left, 1);
        now += step_us;
        motor.advance_to(now, lens);
    }
    lens.position_steps = 20;
    lens.backlash_state = 1;
    move(now, Side::left, 5);  // 3 and 100 * 10 / 1000 steps of backlash
    motor.advance_to(now + 5 * step_us, lens);
    EXPECT_NEAR(lens.position_steps, 19, 1e-9);
}

TEST_F(Lens, LosesStepsMoreOftenAtSpeedAndNearTheStops) {
    lens.lost_step_probability = 0.01;
    lens.lost_step_stop_factor = 5;
    struct {
        double position;
        double speed;
        double probability;
    } const table[] = {{21, 250, 0.01 * (1 + 4 * std::exp(-10.5))},
                       {21, 125, 0.0025 * (1 + 4 * std::exp(-10.5))},
                       {21, 500, 0.04 * (1 + 4 * std::exp(-10.5))},
                       {0, 250, 0.05},
                       {42, 250, 0.05},
                       {2, 250, 0.01 * (1 + 4 * std::exp(-1))},
                       {0, 2500, 1}};
    for (const auto& [position, speed, probability] : table) {
        lens.position_steps = position;
        EXPECT_NEAR(lost_step_probability(lens, speed), probability, 1e-12) << position << " " << speed;
    }
}

// Half steps at the same rate go half as fast, so a quarter as many are lost.
TEST_F(Lens, LosesAsManyStepsAsItsProbabilitySays) {
    struct {
        double size;
        double expected;
    } const table[] = {{1, 0.05}, {0.5, 0.0125}};
    constexpr int steps = 20000;
    for (const auto& [size, expected] : table) {
        LensSettings far = lens;
        far.travel_steps = 100000;
        far.position_steps = 40000;
        far.lost_step_probability = 0.05;
        LensMotor driven(7);
        ASSERT_TRUE(driven.add(0, {Side::right, steps, size, false}, far));
        driven.advance_to(steps * step_us, far);
        const double made = (far.position_steps - 40000) / size;
        EXPECT_NEAR(1 - made / steps, expected, 4 * std::sqrt(expected / steps));
        EXPECT_EQ(driven.counted_position(), steps * size);
    }
}

TEST_F(Lens, LosesTheSameStepsForTheSameSeedHoweverOftenItIsLookedAt) {
    lens.travel_steps = 1000;
    lens.lost_step_probability = 0.05;
    LensSettings often = lens;
    LensSettings other = lens;
    LensMotor once(7);
    LensMotor watched(7);
    LensMotor another(8);
    const LensMove run{Side::right, 900, 1, false};
    ASSERT_TRUE(once.add(0, run, lens) && watched.add(0, run, often) && another.add(0, run, other));
    for (Microseconds t = 0; t <= 900 * step_us; t += 1700) watched.advance_to(t, often);
    watched.advance_to(900 * step_us, often);
    once.advance_to(900 * step_us, lens);
    another.advance_to(900 * step_us, other);
    EXPECT_EQ(often.position_steps, lens.position_steps);
    EXPECT_LT(lens.position_steps, 20 + 900);
    EXPECT_NE(other.position_steps, lens.position_steps);
}

TEST_F(Lens, KnowsWhichWayTheLensMovedLast) {
    EXPECT_FALSE(motor.lens_moved_last().has_value());
    move(0, Side::right, 1);
    motor.advance_to(step_us, lens);
    EXPECT_EQ(motor.lens_moved_last(), Side::right);
    move(step_us, Side::left, 3);  // backlash only
    motor.advance_to(4 * step_us, lens);
    EXPECT_EQ(motor.lens_moved_last(), Side::right);
    move(4 * step_us, Side::left, 1);
    motor.advance_to(5 * step_us, lens);
    EXPECT_EQ(motor.lens_moved_last(), Side::left);
}

TEST_F(Lens, CountsStepsOrdersReversalsTravelAndTime) {
    move(0, Side::right, 3);      // 3 steps of 5 um
    move(0, Side::left, 4);       // 3 of them backlash
    move(0, Side::left, 2, 0.5);  // 1 step
    move(0, Side::right, 0);      // no order
    move(0, Side::right, 3);      // 2 of them backlash
    motor.advance_to(12 * step_us, lens);
    EXPECT_EQ(motor.wear().full_steps, 10);
    EXPECT_EQ(motor.wear().half_steps, 2);
    EXPECT_EQ(motor.wear().orders, 4);
    EXPECT_EQ(motor.wear().reversals, 2);
    EXPECT_NEAR(motor.wear().travel_mm, 6 * 0.005, 1e-12);
    EXPECT_NEAR(motor.wear().motor_on_s, 12 * 0.004, 1e-12);
    EXPECT_EQ(motor.wear().end_stop_steps, 0);
    EXPECT_EQ(motor.wear().lost_steps, 0);
}

TEST_F(Lens, CountsStepsAgainstAStop) {
    lens.position_steps = 40;
    move(0, Side::right, 5);
    move(0, Side::right, 3, 0.5);
    motor.advance_to(8 * step_us, lens);
    EXPECT_EQ(motor.wear().end_stop_steps, 6);
    EXPECT_NEAR(motor.wear().travel_mm, 2 * 0.005, 1e-12);
}

TEST_F(Lens, CountsWhatSlipsAndWhatIsLost) {
    lens.slip = 0.25;
    move(0, Side::right, 4);
    motor.advance_to(4 * step_us, lens);
    EXPECT_NEAR(motor.wear().lost_steps, 1, 1e-12);
    lens.slip = 0;
    lens.lost_step_probability = 0.05;
    lens.lost_step_stop_factor = 100;
    lens.position_steps = 0;
    lens.backlash_state = 0;
    motor.set_step_period(2000);
    move(4 * step_us, Side::left, 3);  // at a stop at twice the speed every step is lost
    motor.advance_to(5 * step_us + 2000, lens);
    EXPECT_NEAR(motor.wear().lost_steps, 4, 1e-12);
    EXPECT_EQ(motor.wear().end_stop_steps, 0);
}

TEST_F(Lens, AReverseThatTheDriverMakesAheadIsNotCountedYet) {
    move(0, Side::right, 1);
    move(0, Side::left, 1);
    static_cast<void>(motor.finish_time(0, lens));
    EXPECT_EQ(motor.wear().reversals, 0);
    EXPECT_EQ(motor.wear().full_steps, 0);
}

}  // namespace
}  // namespace vp
