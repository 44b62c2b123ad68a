#include "focusctrl/autofocus/lens_feedback.h"

#include <gtest/gtest.h>

#include <climits>

namespace {

using namespace ovra;

TEST(ClampToLimits, LeavesATargetOnALimitAlone) {
    EXPECT_EQ(clamp_to_limits(500, -500, 500).target, 500);
    EXPECT_EQ(clamp_to_limits(500, -500, 500).hit, LimitHit::none);
    EXPECT_EQ(clamp_to_limits(-500, -500, 500).target, -500);
    EXPECT_EQ(clamp_to_limits(-500, -500, 500).hit, LimitHit::none);
}

TEST(ClampToLimits, PullsATargetBeyondALimitTenInside) {
    EXPECT_EQ(clamp_to_limits(501, -500, 500).target, 490);
    EXPECT_EQ(clamp_to_limits(501, -500, 500).hit, LimitHit::right);
    EXPECT_EQ(clamp_to_limits(-501, -500, 500).target, -490);
    EXPECT_EQ(clamp_to_limits(-501, -500, 500).hit, LimitHit::left);
}

TEST(ClampToLimits, LooksAtTheRightLimitFirst) {
    EXPECT_EQ(clamp_to_limits(0, 100, -100).hit, LimitHit::right);
    EXPECT_EQ(clamp_to_limits(0, 100, -100).target, -110);
}

TEST(ClampToLimits, StaysInItsRangeAtTheEndsOfTheNumbers) {
    EXPECT_LT(clamp_to_limits(0, INT_MIN, INT_MIN + 2).target, 0);
    EXPECT_GT(clamp_to_limits(0, INT_MAX, INT_MAX).target, 0);
}

TEST(WidenManualMove, MakesSmallMovesTenUnits) {
    EXPECT_EQ(widen_manual_move(-9), -10);
    EXPECT_EQ(widen_manual_move(-1), -10);
    EXPECT_EQ(widen_manual_move(0), 10);
    EXPECT_EQ(widen_manual_move(9), 10);
}

TEST(WidenManualMove, LeavesMovesOfTenAndMore) {
    EXPECT_EQ(widen_manual_move(10), 10);
    EXPECT_EQ(widen_manual_move(-10), -10);
    EXPECT_EQ(widen_manual_move(11), 11);
    EXPECT_EQ(widen_manual_move(-250), -250);
}

TEST(NextManualAction, ChoosesByTheStatedBounds) {
    EXPECT_EQ(next_manual_action(31), LensAction::coarse_right);
    EXPECT_EQ(next_manual_action(30), LensAction::fine_right);
    EXPECT_EQ(next_manual_action(7), LensAction::fine_right);
    EXPECT_EQ(next_manual_action(6), LensAction::done);
    EXPECT_EQ(next_manual_action(0), LensAction::done);
    EXPECT_EQ(next_manual_action(-6), LensAction::done);
    EXPECT_EQ(next_manual_action(-7), LensAction::fine_left);
    EXPECT_EQ(next_manual_action(-30), LensAction::fine_left);
    EXPECT_EQ(next_manual_action(-31), LensAction::coarse_left);
}

TEST(CoarseSteps, TakesOneStepForEighteenUnits) {
    EXPECT_EQ(coarse_steps(31), 1);
    EXPECT_EQ(coarse_steps(35), 1);
    EXPECT_EQ(coarse_steps(36), 2);
    EXPECT_EQ(coarse_steps(-53), 2);
    EXPECT_EQ(coarse_steps(-54), 3);
}

TEST(NextTargetAction, RightwardsIsDoneFromFourOnAndAfterAnOvershoot) {
    EXPECT_EQ(next_target_action(true, 11), LensAction::coarse_right);
    EXPECT_EQ(next_target_action(true, 10), LensAction::fine_right);
    EXPECT_EQ(next_target_action(true, 5), LensAction::fine_right);
    EXPECT_EQ(next_target_action(true, 4), LensAction::done);
    EXPECT_EQ(next_target_action(true, -300), LensAction::done);
}

TEST(NextTargetAction, LeftwardsIsItsMirror) {
    EXPECT_EQ(next_target_action(false, -11), LensAction::coarse_left);
    EXPECT_EQ(next_target_action(false, -10), LensAction::fine_left);
    EXPECT_EQ(next_target_action(false, -5), LensAction::fine_left);
    EXPECT_EQ(next_target_action(false, -4), LensAction::done);
    EXPECT_EQ(next_target_action(false, 300), LensAction::done);
}

TEST(TmrSum, StaysAtTheEndsOfItsRange) {
    EXPECT_EQ(tmr_sum(100, -30), 70);
    EXPECT_EQ(tmr_sum(100, INT_MAX), INT_MAX);
    EXPECT_EQ(tmr_difference(-100, INT_MAX), INT_MIN + 1);
    EXPECT_EQ(tmr_difference(100, 30), 70);
}

TEST(TmrSum, ReachesBothEndsOfTheNumbers) {
    EXPECT_EQ(tmr_sum(0, INT_MIN), INT_MIN);
    EXPECT_EQ(tmr_sum(-1, INT_MIN), INT_MIN);
    EXPECT_EQ(tmr_sum(INT_MIN, INT_MIN), INT_MIN);
    EXPECT_EQ(tmr_sum(INT_MAX, 1), INT_MAX);
    EXPECT_EQ(clamp_to_limits(0, INT_MIN, INT_MIN).target, INT_MIN);
}

TEST(TmrDifference, KeepsToWhatHasANegative) {
    EXPECT_EQ(tmr_difference(INT_MIN, 0), -INT_MAX);
    EXPECT_EQ(tmr_difference(INT_MIN, INT_MAX), -INT_MAX);
    EXPECT_EQ(next_target_action(false, tmr_difference(INT_MIN, 0)), LensAction::coarse_left);
    EXPECT_EQ(coarse_steps(tmr_difference(INT_MIN, 0)), INT_MAX / 18);
}

}  // namespace
