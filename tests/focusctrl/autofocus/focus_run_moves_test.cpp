// How the run takes the lens from one place to another: coarse move, backlash, fine loop, and each way in
// which they fail.
#include <errno.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "tests/support/focus_run_bench.h"

namespace {

using namespace focusbench;

// 1000 mm is place 4, 500 mm place 10.
constexpr int wall_mm = 1000;
constexpr int wall_place = 4;
constexpr int wall_tmr = -160;
constexpr int near_mm = 500;

// A sensor that gives nothing.
const std::string no_reading;

Events completed() { return ended(); }
Events failed() { return toast(5) + ended(); }

// --- The lens at its place -------------------------------------------------------------------------------

TEST_F(FocusRun, LeavesALensAtItsPlaceAlone) {
    distance(wall_mm);
    lens_at(wall_tmr + 9);
    EXPECT_EQ(run(), 0);
    EXPECT_EQ(events(), ended());
}

TEST_F(FocusRun, FineTunesALensCalibratedHotAtItsPlace) {
    g_flag_high_temp = 1;
    distance(wall_mm);
    lens_at({"-151", "-151", "-151", "-160"});
    EXPECT_EQ(run(), 0);
    EXPECT_EQ(events(), single_step("left") + completed());
}

// --- Coarse moves ----------------------------------------------------------------------------------------

TEST_F(FocusRun, MovesLeftWithoutBacklashAfterALeftMove) {
    lastDirection = 0;
    distance(wall_mm);
    lens_at({"0", "-160"});
    EXPECT_EQ(run(), 0);
    EXPECT_EQ(events(), said("pulse <- 2") + motor("left", 4) + completed());
}

TEST_F(FocusRun, MovesRightWithoutBacklashAfterARightMove) {
    distance(near_mm);
    lens_at({"-160", "-40"});
    EXPECT_EQ(run(), 0);
    EXPECT_EQ(events(), said("pulse <- 2") + motor("right", 3) + completed());
}

TEST_F(FocusRun, TakesUpTheBacklashWhenItReversesToTheRight) {
    lastDirection = 0;
    distance(near_mm);
    lens_at({"-160", "-150", "-40"});
    EXPECT_EQ(run(), 0);
    EXPECT_EQ(events(), said("pulse <- 2") + motor("right", 3) + motor("right", 3) + completed());
    EXPECT_EQ(lastDirection, 1);
}

TEST_F(FocusRun, TakesUpTheBacklashWhenItReversesToTheLeft) {
    distance(wall_mm);
    lens_at({"0", "-10", "-160"});
    EXPECT_EQ(run(), 0);
    EXPECT_EQ(events(), said("pulse <- 2") + motor("left", 2) + motor("left", 4) + completed());
    EXPECT_EQ(lastDirection, 0);
}

TEST_F(FocusRun, WritesAnBacklashOfNoStep) {
    for (const int idle : {2, 0, -9}) {
        lastDirection = 1;
        leftIdle = idle;
        distance(wall_mm);
        lens_at({"0", "-10", "-160"});
        board.clear_journal();
        EXPECT_EQ(run(), 0);
        EXPECT_EQ(events_after("move left"), motor("left", 0) + motor("left", 4) + completed());
    }
}

TEST_F(FocusRun, WritesAMoveOfNoStepToANeighbouringPlace) {
    distance(wall_mm);
    lens_at({"-180", "-160"});
    EXPECT_EQ(run(), 0);
    EXPECT_EQ(events_after("r_led_temp_read=45"), said("pulse <- 2") + motor("right", 0) + completed());
    EXPECT_EQ(lastDirection, 1);
}

// --- Fine loop -------------------------------------------------------------------------------------------

// A lens calibrated hot, 160 TMR units from place to place: the fine loop begins at once from anywhere near.
struct FineLoop : FocusRun {
    FineLoop() {
        calibrate(wide_spacing);
        g_flag_high_temp = 1;
        distance(wall_mm);
    }
    static constexpr int target = (wall_place - 12) * wide_spacing;

    // What the loop does in its first pass, `ahead` TMR units before the target on its way to `side`.
    Events first_action(const std::string& side, int ahead) {
        lastDirection = side == "right" ? 1 : 0;
        const int tmr = side == "right" ? target - ahead : target + ahead;
        lens_at({number(tmr), number(tmr), number(tmr), number(target)});
        board.clear_journal();
        EXPECT_EQ(run(), 0);
        Events all = events_after("currentTMR = " + number(tmr) + ", targetTMR = " + number(target));
        const Events end = completed();
        EXPECT_GE(all.size(), end.size());
        all.resize(all.size() - end.size());
        return all;
    }
};

TEST_F(FineLoop, MovesByWholeStepsFrom31) {
    for (const std::string side : {"left", "right"}) {
        EXPECT_EQ(first_action(side, 31), motor(side, 1));
        EXPECT_EQ(first_action(side, 53), motor(side, 2));
        EXPECT_EQ(first_action(side, 54), motor(side, 3));
        EXPECT_EQ(first_action(side, 79), motor(side, 4));
    }
}

TEST_F(FineLoop, MovesByOneStepFrom5To30) {
    for (const std::string side : {"left", "right"}) {
        EXPECT_EQ(first_action(side, 30), single_step(side));
        EXPECT_EQ(first_action(side, 5), single_step(side));
    }
}

TEST_F(FineLoop, IsDoneAt4) {
    for (const int ahead : {4, -4}) {
        const int tmr = target - ahead;
        lens_at(tmr);
        board.clear_journal();
        EXPECT_EQ(run(), 0);
        EXPECT_EQ(events(), completed());
    }
}

TEST_F(FineLoop, IsDoneAfterAnyOvershoot) {
    lens_at({number(target - 60), number(target - 60), number(target - 60), number(target + 60)});
    EXPECT_EQ(run(), 0);
    EXPECT_EQ(events_after("move 3 right"), motor("right", 3) + completed());
    lens_at({number(target + 60), number(target + 60), number(target + 60), number(target - 60)});
    lastDirection = 0;
    board.clear_journal();
    EXPECT_EQ(run(), 0);
    EXPECT_EQ(events_after("move 3 left"), motor("left", 3) + completed());
}

TEST_F(FineLoop, TakesItsSideFromTheReadingBeforeIt) {
    // Left of the target when the places were compared, right of it when the loop begins.
    lastDirection = 0;
    lens_at({number(target - 60), number(target + 20), number(target + 20), number(target)});
    EXPECT_EQ(run(), 0);
    EXPECT_EQ(events_after(places(wall_place, wall_place, 0)[0]), single_step("left") + completed());
}

TEST_F(FineLoop, KeepsTheFormerReadingWhenTheOneBeforeItFails) {
    lens_at({number(target - 60), no_reading, number(target + 20)});
    EXPECT_EQ(run(), 0);
    // Still rightwards, and so the lens has overshot.
    EXPECT_EQ(events_after(places(wall_place, wall_place, 0)[0]), completed());
}

TEST_F(FineLoop, KeepsTheFormerReadingWhenTheOneBeforeItHasNoNumber) {
    lens_at({number(target - 60), "?", number(target + 20)});
    EXPECT_EQ(run(), 0);
    EXPECT_EQ(events_after("current tmr ret=1, tmr_adc:" + number(target - 60)), completed());
}

TEST_F(FineLoop, DoesNotBelieveAReadingThatFailed) {
    lens_at({number(target - 60), "2001", number(target - 60), number(target)});
    EXPECT_EQ(run(), 0);
    EXPECT_EQ(events_after("motor iic error:2001"), motor("right", 3) + completed());
}

TEST_F(FineLoop, KeepsThePulseOfTheLastSingleStep) {
    lens_at(
        {number(target - 20), number(target - 20), number(target - 20), number(target - 40), number(target)});
    EXPECT_EQ(run(), 0);
    EXPECT_EQ(events_after("currentTMR = " + number(target - 20) + ", targetTMR = " + number(target)),
              single_step("right") + motor("right", 2) + completed());
}

TEST_F(FineLoop, TimesOutAfter30Passes) {
    for (const std::string side : {"left", "right"}) {
        lastDirection = side == "right" ? 1 : 0;
        const int tmr = side == "right" ? target - 10 : target + 10;
        lens_at(tmr);
        board.clear_journal();
        EXPECT_EQ(run(), -1);
        Events passes;
        for (int i = 0; i < 30; ++i) passes = passes + single_step(side);
        EXPECT_EQ(events(), passes + failed());
    }
}

TEST_F(FineLoop, IsStillInTimeWithItsThirtiethPass) {
    std::vector<std::string> readings(31, number(target - 10));
    readings.push_back(number(target));
    lens_at(readings);
    EXPECT_EQ(run(), 0);
    EXPECT_EQ(board.writes(pulse_node).size(), 29U);
}

// --- Failures --------------------------------------------------------------------------------------------

struct FailingRun : FocusRun {
    FailingRun() {
        distance(wall_mm);
        lens_at({"0", "10", "10", "-100"});
    }
    static Events refused(const std::string& side, int steps) {
        return said(side + " <- " + number(steps) + "\\n = EIO");
    }
    void refuse(const std::string& node, int nth) { board.fail({"write", node, nth, EIO, -1, ""}); }
    static Events backlash_taken_up() { return said("pulse <- 2") + motor("left", 2); }
};

TEST_F(FailingRun, WithoutAPositionEndsBeforeAnyMove) {
    lens_at(std::vector<std::string>{no_reading});
    EXPECT_EQ(run(), -1);
    EXPECT_EQ(events(), failed());
}

TEST_F(FailingRun, WithAMotorThatKeepsRunningEndsBeforeAnyMove) {
    board.text(stop_node, "0");
    EXPECT_EQ(run(), -1);
    Events waiting;
    for (int i = 0; i < 21; ++i) waiting = waiting + said("sleep 20000");
    EXPECT_EQ(events(), waiting + toast(5) + ended());
}

TEST_F(FailingRun, WithoutThePulseNodeEndsBeforeTheCoarseMove) {
    board.remove(pulse_node);
    EXPECT_EQ(run(), -1);
    EXPECT_EQ(events(), failed());
}

TEST_F(FailingRun, EndsWithAFailedBacklash) {
    refuse(left_node, 1);
    EXPECT_EQ(run(), -1);
    EXPECT_EQ(events(), said("pulse <- 2") + refused("left", 2) + failed());
}

TEST_F(FailingRun, EndsWithAFailedBacklashToTheRight) {
    lastDirection = 0;
    distance(near_mm);
    lens_at(wall_tmr);
    refuse(right_node, 1);
    EXPECT_EQ(run(), -1);
    EXPECT_EQ(events(), said("pulse <- 2") + refused("right", 3) + failed());
}

TEST_F(FailingRun, GoesOnWhenThePositionAfterTheBacklashIsUnreadable) {
    lens_at({"0", no_reading, "-160"});
    EXPECT_EQ(run(), 0);
    EXPECT_EQ(events_after("\033[42;1mmotor change move to left\033[0m"), motor("left", 4) + completed());
}

TEST_F(FailingRun, RemembersThePositionAfterTheBacklash) {
    // From the right of its target the backlash takes the lens to its left; nothing is read after that, so
    // the loop goes rightwards and has overshot at once.
    lens_at({"0", "-300", no_reading, "0"});
    EXPECT_EQ(run(), 0);
    EXPECT_EQ(events_after("motor_left_write val:4"), said("left <- 4") + completed());
}

TEST_F(FailingRun, EndsWithAFailedCoarseMove) {
    refuse(left_node, 2);
    EXPECT_EQ(run(), -1);
    EXPECT_EQ(events(), backlash_taken_up() + refused("left", 4) + failed());
}

TEST_F(FailingRun, EndsWithAFailedCoarseMoveToTheRight) {
    distance(near_mm);
    lens_at(wall_tmr);
    refuse(right_node, 1);
    EXPECT_EQ(run(), -1);
    EXPECT_EQ(events(), said("pulse <- 2") + refused("right", 3) + failed());
}

TEST_F(FailingRun, EndsWhenThePositionIsUnreadableInThePass) {
    lens_at({"0", "10", "10", no_reading});
    EXPECT_EQ(run(), -1);
    EXPECT_EQ(events(), backlash_taken_up() + motor("left", 4) + failed());
}

TEST_F(FailingRun, EndsWithAFailedMoveOfTheFineLoop) {
    refuse(left_node, 3);
    EXPECT_EQ(run(), -1);
    EXPECT_EQ(events(), backlash_taken_up() + motor("left", 4) + refused("left", 3) + failed());
}

// The single step fails on either side, at its pulse or at its move.
struct FailingStep : FineLoop {
    void lens_before(const std::string& side) {
        lastDirection = side == "right" ? 1 : 0;
        tmr = side == "right" ? target - 10 : target + 10;
        lens_at(tmr);
        board.clear_journal();
        board.clear_faults();
    }
    int tmr = 0;
};

TEST_F(FailingStep, EndsTheRunWithoutThePulseNode) {
    for (const std::string side : {"left", "right"}) {
        lens_before(side);
        board.remove(pulse_node);
        EXPECT_EQ(run(), -1);
        EXPECT_EQ(events(), failed());
        const Events opened = board.journal({"open"});
        EXPECT_EQ(std::count(opened.begin(), opened.end(), "open " + pulse_node + " O_WRONLY = ENOENT"), 1);
    }
}

TEST_F(FailingStep, EndsTheRunWithARefusedMove) {
    for (const std::string side : {"left", "right"}) {
        lens_before(side);
        board.fail({"write", side == "left" ? left_node : right_node, 0, EIO, -1, ""});
        EXPECT_EQ(run(), -1);
        EXPECT_EQ(events(), said("pulse <- 1") + FailingRun::refused(side, 1) + failed());
    }
}

TEST_F(FailingStep, EndsTheRunWithARefusedMoveOfSeveralSteps) {
    for (const std::string side : {"left", "right"}) {
        lens_before(side);
        tmr = side == "right" ? target - 60 : target + 60;
        lens_at(tmr);
        board.fail({"write", side == "left" ? left_node : right_node, 0, EIO, -1, ""});
        EXPECT_EQ(run(), -1);
        EXPECT_EQ(events_after("move 3 " + side), FailingRun::refused(side, 3) + failed());
    }
}

}  // namespace
