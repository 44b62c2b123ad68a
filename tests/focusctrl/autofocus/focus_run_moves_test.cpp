// How the run takes the lens from one place to another: coarse move, backlash, fine loop, and each way in
// which they fail.
#include <errno.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/focusctrl/autofocus/focus_run_bench.h"

namespace {

using namespace focusbench;

// 1000 mm is place 4, 500 mm place 10.
constexpr int wall_mm = 1000;
constexpr int wall_place = 4;
constexpr int wall_tmr = -160;
constexpr int near_mm = 500;
constexpr int near_place = 10;
constexpr int near_tmr = -40;

// A sensor that gives nothing.
const std::string no_reading;

Events completed() { return said("auto focus completed") + ended(); }
Events failed() { return toast(5) + ended(); }

// --- The lens at its place -------------------------------------------------------------------------------

TEST_F(FocusRun, LeavesALensAtItsPlaceAlone) {
    distance(wall_mm);
    lens_at(wall_tmr + 9);
    EXPECT_EQ(run(), 0);
    EXPECT_EQ(events(), began(wall_mm) + position(wall_tmr + 9) + places(wall_place, wall_place, 0) + ended());
}

TEST_F(FocusRun, FineTunesALensCalibratedHotAtItsPlace) {
    g_flag_high_temp = 1;
    distance(wall_mm);
    lens_at({"-151", "-151", "-151", "-160"});
    EXPECT_EQ(run(), 0);
    EXPECT_EQ(events(), began(wall_mm) + position(-151) + places(wall_place, wall_place, 0) + position(-151) +
                            pass(-151, wall_tmr) + single_step("left") + reversed("left") +
                            pass(-160, wall_tmr) + completed());
}

// --- Coarse moves ----------------------------------------------------------------------------------------

TEST_F(FocusRun, MovesLeftWithoutIdleTravelAfterALeftMove) {
    lastDirection = 0;
    distance(wall_mm);
    lens_at({"0", "-160"});
    EXPECT_EQ(run(), 0);
    EXPECT_EQ(events(), began(wall_mm) + position(0) + places(12, wall_place, -4) +
                            said("pulse <- 2", "move left") + motor("left", 4) + position(-160) +
                            pass(-160, wall_tmr) + completed());
}

TEST_F(FocusRun, MovesRightWithoutIdleTravelAfterARightMove) {
    distance(near_mm);
    lens_at({"-160", "-40"});
    EXPECT_EQ(run(), 0);
    EXPECT_EQ(events(), began(near_mm) + position(-160) + places(4, near_place, 3) +
                            said("pulse <- 2", "move right") + motor("right", 3) + position(-40) +
                            pass(-40, near_tmr) + completed());
}

TEST_F(FocusRun, TakesUpTheIdleTravelWhenItReversesToTheRight) {
    lastDirection = 0;
    distance(near_mm);
    lens_at({"-160", "-150", "-40"});
    EXPECT_EQ(run(), 0);
    EXPECT_EQ(events(), began(near_mm) + position(-160) + places(4, near_place, 3) +
                            said("pulse <- 2", "move right", "move right idle 3") + motor("right", 3) +
                            reversed("right") + position(-150) + motor("right", 3) + position(-40) +
                            pass(-40, near_tmr) + completed());
    EXPECT_EQ(lastDirection, 1);
}

TEST_F(FocusRun, TakesUpTheIdleTravelWhenItReversesToTheLeft) {
    distance(wall_mm);
    lens_at({"0", "-10", "-160"});
    EXPECT_EQ(run(), 0);
    EXPECT_EQ(events(), began(wall_mm) + position(0) + places(12, wall_place, -4) +
                            said("pulse <- 2", "move left", "move left idle 2") + motor("left", 2) +
                            reversed("left") + position(-10) + motor("left", 4) + position(-160) +
                            pass(-160, wall_tmr) + completed());
    EXPECT_EQ(lastDirection, 0);
}

TEST_F(FocusRun, WritesAnIdleTravelOfNoStep) {
    for (const int idle : {2, 0, -9}) {
        lastDirection = 1;
        leftIdle = idle;
        distance(wall_mm);
        lens_at({"0", "-10", "-160"});
        board.clear_journal();
        EXPECT_EQ(run(), 0);
        EXPECT_EQ(events_after("move left"), said("move left idle 0") + motor("left", 0) + position(-10) +
                                                 motor("left", 4) + reversed("left") + position(-160) +
                                                 pass(-160, wall_tmr) + completed());
    }
}

TEST_F(FocusRun, WritesAMoveOfNoStepToANeighbouringPlace) {
    distance(wall_mm);
    lens_at({"-180", "-160"});
    EXPECT_EQ(run(), 0);
    EXPECT_EQ(events_after("r_led_temp_read=45"), position(-180) + places(3, wall_place, 0) +
                                                      said("pulse <- 2", "move right") + motor("right", 0) +
                                                      position(-160) + pass(-160, wall_tmr) + completed());
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
        const Events end = pass(target, target) + completed();
        EXPECT_GE(all.size(), end.size());
        all.resize(all.size() - end.size());
        return all;
    }
};

TEST_F(FineLoop, MovesByWholeStepsFrom31) {
    for (const std::string side : {"left", "right"}) {
        EXPECT_EQ(first_action(side, 31), said("move 1 " + side) + motor(side, 1));
        EXPECT_EQ(first_action(side, 53), said("move 2 " + side) + motor(side, 2));
        EXPECT_EQ(first_action(side, 54), said("move 3 " + side) + motor(side, 3));
        EXPECT_EQ(first_action(side, 79), said("move 4 " + side) + motor(side, 4));
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
        EXPECT_EQ(events(), began(wall_mm) + position(tmr) + places(wall_place, wall_place, 0) + position(tmr) +
                                pass(tmr, target) + completed());
    }
}

TEST_F(FineLoop, IsDoneAfterAnyOvershoot) {
    lens_at({number(target - 60), number(target - 60), number(target - 60), number(target + 60)});
    EXPECT_EQ(run(), 0);
    EXPECT_EQ(events_after("move 3 right"), motor("right", 3) + pass(target + 60, target) + completed());
    lens_at({number(target + 60), number(target + 60), number(target + 60), number(target - 60)});
    lastDirection = 0;
    board.clear_journal();
    EXPECT_EQ(run(), 0);
    EXPECT_EQ(events_after("move 3 left"), motor("left", 3) + pass(target - 60, target) + completed());
}

TEST_F(FineLoop, TakesItsSideFromTheReadingBeforeIt) {
    // Left of the target when the places were compared, right of it when the loop begins.
    lastDirection = 0;
    lens_at({number(target - 60), number(target + 20), number(target + 20), number(target)});
    EXPECT_EQ(run(), 0);
    EXPECT_EQ(events_after(places(wall_place, wall_place, 0)[0]),
              position(target + 20) + pass(target + 20, target) + single_step("left") + pass(target, target) +
                  completed());
}

TEST_F(FineLoop, KeepsTheFormerReadingWhenTheOneBeforeItFails) {
    lens_at({number(target - 60), no_reading, number(target + 20)});
    EXPECT_EQ(run(), 0);
    // Still rightwards, and so the lens has overshot.
    EXPECT_EQ(events_after(places(wall_place, wall_place, 0)[0]), pass(target + 20, target) + completed());
}

TEST_F(FineLoop, KeepsTheFormerReadingWhenTheOneBeforeItHasNoNumber) {
    lens_at({number(target - 60), "?", number(target + 20)});
    EXPECT_EQ(run(), 0);
    EXPECT_EQ(events_after("current tmr ret=1, tmr_adc:" + number(target - 60)),
              pass(target + 20, target) + completed());
}

TEST_F(FineLoop, DoesNotBelieveAReadingThatFailed) {
    lens_at({number(target - 60), "2001", number(target - 60), number(target)});
    EXPECT_EQ(run(), 0);
    EXPECT_EQ(events_after("motor iic error:2001"), pass(target - 60, target) + said("move 3 right") +
                                                        motor("right", 3) + pass(target, target) + completed());
}

TEST_F(FineLoop, KeepsThePulseOfTheLastSingleStep) {
    lens_at(
        {number(target - 20), number(target - 20), number(target - 20), number(target - 40), number(target)});
    EXPECT_EQ(run(), 0);
    EXPECT_EQ(events_after("currentTMR = " + number(target - 20) + ", targetTMR = " + number(target)),
              single_step("right") + pass(target - 40, target) + said("move 2 right") + motor("right", 2) +
                  pass(target, target) + completed());
}

TEST_F(FineLoop, TimesOutAfter30Passes) {
    for (const std::string side : {"left", "right"}) {
        lastDirection = side == "right" ? 1 : 0;
        const int tmr = side == "right" ? target - 10 : target + 10;
        lens_at(tmr);
        board.clear_journal();
        EXPECT_EQ(run(), -1);
        Events passes;
        for (int i = 0; i < 30; ++i) passes = passes + pass(tmr, target) + single_step(side);
        EXPECT_EQ(events(), began(wall_mm) + position(tmr) + places(wall_place, wall_place, 0) + position(tmr) +
                                passes + said("auto focus time out") + failed());
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
    // The failing motor says so twice: the file writer and the driver layer.
    static Events refused(const std::string& side, int steps) {
        return said("motor_" + side + "_write val:" + number(steps)) + write_failure(side, steps);
    }
    static Events write_failure(const std::string& side, int steps) {
        return said(side + " <- " + number(steps) + "\\n = EIO",
                    "[write] file(/sys/class/motor/" + side + ") write fail:Input/output error",
                    "motor_" + side + "_write  fail.");
    }
    void refuse(const std::string& node, int nth) { board.fail({"write", node, nth, EIO, -1, ""}); }
    // What a run does before its coarse move to the left.
    static Events compared() { return began(wall_mm) + position(0) + places(12, wall_place, -4); }
    static Events idle_taken_up() {
        return said("pulse <- 2", "move left", "move left idle 2") + motor("left", 2) + reversed("left") +
               position(10);
    }
};

TEST_F(FailingRun, WithoutAPositionEndsBeforeAnyMove) {
    lens_at(std::vector<std::string>{no_reading});
    EXPECT_EQ(run(), -1);
    EXPECT_EQ(events(), began(wall_mm) + failed());
}

TEST_F(FailingRun, WithAMotorThatKeepsRunningEndsBeforeAnyMove) {
    board.text(stop_node, "0");
    EXPECT_EQ(run(), -1);
    Events waiting;
    for (int i = 0; i < 21; ++i) waiting = waiting + said("sleep 20000", "MOTOR RUNNING");
    EXPECT_EQ(events(), began(wall_mm) + waiting + said("MOTOR RUNNING TIME OUT") + toast(5) + focus_time(420) +
                            closing());
}

TEST_F(FailingRun, WithoutThePulseNodeEndsBeforeTheCoarseMove) {
    board.remove(pulse_node);
    EXPECT_EQ(run(), -1);
    EXPECT_EQ(events(), compared() + said("motor_pulse_write(), line:898. open fail!") + failed());
}

TEST_F(FailingRun, EndsWithAFailedIdleTravel) {
    refuse(left_node, 1);
    EXPECT_EQ(run(), -1);
    EXPECT_EQ(events(), compared() + said("pulse <- 2", "move left", "move left idle 2") + refused("left", 2) +
                            reversed("left") + failed());
}

TEST_F(FailingRun, EndsWithAFailedIdleTravelToTheRight) {
    lastDirection = 0;
    distance(near_mm);
    lens_at(wall_tmr);
    refuse(right_node, 1);
    EXPECT_EQ(run(), -1);
    EXPECT_EQ(events(), began(near_mm) + position(wall_tmr) + places(4, near_place, 3) +
                            said("pulse <- 2", "move right", "move right idle 3") + refused("right", 3) +
                            reversed("right") + failed());
}

TEST_F(FailingRun, GoesOnWhenThePositionAfterTheBacklashIsUnreadable) {
    lens_at({"0", no_reading, "-160"});
    EXPECT_EQ(run(), 0);
    EXPECT_EQ(events_after("\033[42;1mmotor change move to left\033[0m"),
              motor("left", 4) + position(-160) + pass(-160, wall_tmr) + completed());
}

TEST_F(FailingRun, RemembersThePositionAfterTheBacklash) {
    // From the right of its target the backlash takes the lens to its left; nothing is read after that, so
    // the loop goes rightwards and has overshot at once.
    lens_at({"0", "-300", no_reading, "0"});
    EXPECT_EQ(run(), 0);
    EXPECT_EQ(events_after("motor_left_write val:4"), said("left <- 4") + pass(0, wall_tmr) + completed());
}

TEST_F(FailingRun, EndsWithAFailedCoarseMove) {
    refuse(left_node, 2);
    EXPECT_EQ(run(), -1);
    EXPECT_EQ(events(), compared() + idle_taken_up() + refused("left", 4) + failed());
}

TEST_F(FailingRun, EndsWithAFailedCoarseMoveToTheRight) {
    distance(near_mm);
    lens_at(wall_tmr);
    refuse(right_node, 1);
    EXPECT_EQ(run(), -1);
    EXPECT_EQ(events(), began(near_mm) + position(wall_tmr) + places(4, near_place, 3) +
                            said("pulse <- 2", "move right") + refused("right", 3) + failed());
}

TEST_F(FailingRun, EndsWhenThePositionIsUnreadableInThePass) {
    lens_at({"0", "10", "10", no_reading});
    EXPECT_EQ(run(), -1);
    EXPECT_EQ(events(), compared() + idle_taken_up() + motor("left", 4) + position(10) + failed());
}

TEST_F(FailingRun, EndsWithAFailedMoveOfTheFineLoop) {
    refuse(left_node, 3);
    EXPECT_EQ(run(), -1);
    EXPECT_EQ(events(), compared() + idle_taken_up() + motor("left", 4) + position(10) + pass(-100, wall_tmr) +
                            said("move 3 left") + refused("left", 3) + failed());
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
    Events until_the_step(const std::string& side) const {
        return began(wall_mm) + position(tmr) + places(wall_place, wall_place, 0) + position(tmr) +
               pass(tmr, target) + said("move 1 " + side);
    }
    int tmr = 0;
};

TEST_F(FailingStep, EndsTheRunWithoutThePulseNode) {
    for (const std::string side : {"left", "right"}) {
        lens_before(side);
        board.remove(pulse_node);
        EXPECT_EQ(run(), -1);
        EXPECT_EQ(events(),
                  until_the_step(side) + said("motor_pulse_write(), line:898. open fail!") + failed());
    }
}

TEST_F(FailingStep, EndsTheRunWithARefusedMove) {
    for (const std::string side : {"left", "right"}) {
        lens_before(side);
        board.fail({"write", side == "left" ? left_node : right_node, 0, EIO, -1, ""});
        EXPECT_EQ(run(), -1);
        EXPECT_EQ(events(),
                  until_the_step(side) + said("pulse <- 1") + FailingRun::refused(side, 1) + failed());
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
