#include "focusctrl/autofocus/lens_feedback.h"

#include <gtest/gtest.h>

#include <climits>
#include <optional>
#include <string>

namespace {

using namespace ovra;

std::string words_of(const LensAction& action) {
    switch (action.kind) {
        case LensAction::Kind::coarse:
            return std::string("coarse ") + name_of(action.side);
        case LensAction::Kind::fine:
            return std::string("fine ") + name_of(action.side);
        case LensAction::Kind::done:
            break;
    }
    return "done";
}

TEST(ClampToLimits, LeavesATargetOnALimitAlone) {
    EXPECT_EQ(clamp_to_limits(500, -500, 500).target, 500);
    EXPECT_EQ(clamp_to_limits(500, -500, 500).limit_hit, std::nullopt);
    EXPECT_EQ(clamp_to_limits(-500, -500, 500).target, -500);
    EXPECT_EQ(clamp_to_limits(-500, -500, 500).limit_hit, std::nullopt);
}

TEST(ClampToLimits, PullsATargetBeyondALimitTenInside) {
    EXPECT_EQ(clamp_to_limits(501, -500, 500).target, 490);
    EXPECT_EQ(clamp_to_limits(501, -500, 500).limit_hit, Side::right);
    EXPECT_EQ(clamp_to_limits(-501, -500, 500).target, -490);
    EXPECT_EQ(clamp_to_limits(-501, -500, 500).limit_hit, Side::left);
}

TEST(ClampToLimits, LooksAtTheRightLimitFirst) {
    EXPECT_EQ(clamp_to_limits(0, 100, -100).limit_hit, Side::right);
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
    EXPECT_EQ(words_of(next_manual_action(31)), "coarse right");
    EXPECT_EQ(words_of(next_manual_action(30)), "fine right");
    EXPECT_EQ(words_of(next_manual_action(7)), "fine right");
    EXPECT_EQ(words_of(next_manual_action(6)), "done");
    EXPECT_EQ(words_of(next_manual_action(0)), "done");
    EXPECT_EQ(words_of(next_manual_action(-6)), "done");
    EXPECT_EQ(words_of(next_manual_action(-7)), "fine left");
    EXPECT_EQ(words_of(next_manual_action(-30)), "fine left");
    EXPECT_EQ(words_of(next_manual_action(-31)), "coarse left");
}

TEST(CoarseSteps, TakesOneStepForEighteenUnits) {
    EXPECT_EQ(coarse_steps(31), 1);
    EXPECT_EQ(coarse_steps(35), 1);
    EXPECT_EQ(coarse_steps(36), 2);
    EXPECT_EQ(coarse_steps(-53), 2);
    EXPECT_EQ(coarse_steps(-54), 3);
}

TEST(NextTargetAction, RightwardsIsDoneFromFourOnAndAfterAnOvershoot) {
    EXPECT_EQ(words_of(next_target_action(Side::right, 11)), "coarse right");
    EXPECT_EQ(words_of(next_target_action(Side::right, 10)), "fine right");
    EXPECT_EQ(words_of(next_target_action(Side::right, 5)), "fine right");
    EXPECT_EQ(words_of(next_target_action(Side::right, 4)), "done");
    EXPECT_EQ(words_of(next_target_action(Side::right, -300)), "done");
}

TEST(NextTargetAction, LeftwardsIsItsMirror) {
    EXPECT_EQ(words_of(next_target_action(Side::left, -11)), "coarse left");
    EXPECT_EQ(words_of(next_target_action(Side::left, -10)), "fine left");
    EXPECT_EQ(words_of(next_target_action(Side::left, -5)), "fine left");
    EXPECT_EQ(words_of(next_target_action(Side::left, -4)), "done");
    EXPECT_EQ(words_of(next_target_action(Side::left, 300)), "done");
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
    EXPECT_EQ(words_of(next_target_action(Side::left, tmr_difference(INT_MIN, 0))), "coarse left");
    EXPECT_EQ(coarse_steps(tmr_difference(INT_MIN, 0)), INT_MAX / 18);
}

}  // namespace
