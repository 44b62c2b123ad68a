#include "ovrafocus/lens_position.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <climits>
#include <string>
#include <vector>

#include "ovrafocus/focus_nodes.h"
#include "ovrafocus/focus_run.h"
#include "ovrafocus/host_interface.h"
#include "ovrafocus/lifecycle.h"
#include "ovrafocus/permanent_data.h"
#include "tests/support/lens_events.h"
#include "tests/support/scripted_board.h"
#include "tests/support/scripted_vendor.h"

namespace {

using testing::ElementsAre;
using testkit::ScriptedBoard;

using Journal = std::vector<std::string>;

constexpr const char* stop_node = "/sys/class/motor/stop";
constexpr const char* tmr_node = "/sys/class/motor/tmr_adc";
constexpr const char* left_node = "/sys/class/motor/left";
constexpr const char* right_node = "/sys/class/motor/right";
constexpr const char* pulse_node = "/sys/class/motor/pulse";

std::vector<int32_t> toasts;
void keep_toast(int32_t code) { toasts.push_back(code); }

// A lens that follows its motor: full steps move it by 18 TMR units, fine ones by 9.
class LensOnTheBoard : public testing::Test {
protected:
    LensOnTheBoard() {
        board.text(stop_node, "1");
        board.on_read(tmr_node, [this] { return std::to_string(tmr) + "\n"; });
        board.on_write(left_node, [this](const std::string& steps) { return move(-std::stoi(steps), steps); });
        board.on_write(right_node, [this](const std::string& steps) { return move(std::stoi(steps), steps); });
        board.on_write(pulse_node, [this](const std::string& value) {
            pulse = std::stoi(value);
            return static_cast<long>(value.size());
        });
        g_osd_autofocus = 1;
        table.toast = keep_toast;
        autofocus_app_callback = &table;
        toasts.clear();
    }

    long move(int steps, const std::string& text) {
        if (!stuck) tmr += steps * (pulse == 1 ? fine_travel : full_travel);
        return static_cast<long>(text.size());
    }

    // Stands the lens still, so that each read gives the next of these.
    void read_positions(std::vector<std::string> readings) {
        stuck = true;
        board.texts(tmr_node, std::move(readings));
    }

    void fail_writes(const char* node) {
        testkit::Fault fault;
        fault.operation = "write";
        fault.path = node;
        fault.error_number = EIO;
        board.fail(fault);
    }

    bool lens_is_locked() {
        if (pthread_mutex_trylock(&mutex_focus) != 0) return true;
        pthread_mutex_unlock(&mutex_focus);
        return false;
    }

    Journal events() { return testkit::lens_events(board); }

    ScriptedBoard board;
    app_callback_table table{};
    int tmr = 0;
    int pulse = 2;
    int full_travel = 18;
    int fine_travel = 9;
    bool stuck = false;
};

// --- manufocusTMR --------------------------------------------------------------------------------------

TEST_F(LensOnTheBoard, ManualFocusWithoutCalibrationOnlySendsAToast) {
    g_osd_autofocus = 0;
    EXPECT_EQ(manufocusTMR(100), -1);
    EXPECT_THAT(board.log(),
                testing::StartsWith("[ovra_focus]  manu focus error: have not benn calibrated!\n"));
    EXPECT_THAT(toasts, ElementsAre(11));
    EXPECT_TRUE(board.journal({"open"}).empty());
    EXPECT_FALSE(lens_is_locked());
}

TEST_F(LensOnTheBoard, ManualFocusFailsWhenThePositionCannotBeRead) {
    board.text(tmr_node, "2001\n");
    EXPECT_EQ(manufocusTMR(100), -1);
    EXPECT_THAT(board.log(), testing::EndsWith("[ovra_focus]  manu focus error: motor_tmr_read failed\n"));
    EXPECT_FALSE(lens_is_locked());
}

TEST_F(LensOnTheBoard, ManualFocusOfNothingMovesTenUnitsRight) {
    EXPECT_EQ(manufocusTMR(0), 0);
    EXPECT_EQ(board.writes(pulse_node), Journal({"1"}));
    EXPECT_EQ(board.writes(right_node), Journal({"1\n"}));
    EXPECT_TRUE(toasts.empty());
    EXPECT_FALSE(lens_is_locked());
}

TEST_F(LensOnTheBoard, ManualFocusLogsEachStep) {
    manufocusTMR(0);
    EXPECT_THAT(events(),
                ElementsAre("position", "manu focus targetTMR = 10--------------------------", "sleep 40000",
                            "position", "currentTMR = 0, targetTMR = 10", "move 1 right half step",
                            "pulse <- 1", "motor_right_write val:1", "right <- 1", "sleep 40000", "position",
                            "currentTMR = 9, targetTMR = 10", "manul focus completed"));
}

TEST_F(LensOnTheBoard, ManualFocusOfMinusThreeMovesTenUnitsLeft) {
    EXPECT_EQ(manufocusTMR(-3), 0);
    EXPECT_EQ(tmr, -9);
    EXPECT_THAT(board.log(), testing::HasSubstr("[ovra_focus]  move 1 left half step\n"));
    EXPECT_EQ(board.writes(left_node), Journal({"1\n"}));
}

TEST_F(LensOnTheBoard, ManualFocusWaitsFortyMillisecondsBeforeEachReading) {
    manufocusTMR(0);
    EXPECT_EQ(board.journal({"sleep"}), Journal({"sleep 40000", "sleep 40000"}));
}

TEST_F(LensOnTheBoard, ManualFocusTakesFarTargetsByCoarseMoves) {
    EXPECT_EQ(manufocusTMR(100), 0);
    EXPECT_EQ(board.writes(right_node), Journal({"5\n", "1\n"}));  // 100 / 18, then a fine step for the 10 left
    EXPECT_EQ(tmr, 99);
    EXPECT_EQ(manufocusTMR(-100), 0);
    EXPECT_EQ(board.writes(left_node).front(), "5\n");
}

TEST_F(LensOnTheBoard, ManualFocusRemembersAReversal) {
    lastDirection = 1;
    manufocusTMR(-40);
    EXPECT_EQ(lastDirection, 0);
}

TEST_F(LensOnTheBoard, ManualFocusBeyondTheRightLimitStopsTenInside) {
    tmr = 480;
    EXPECT_EQ(manufocusTMR(21), -6);
    EXPECT_THAT(board.log(), testing::HasSubstr("[ovra_focus]  manu focus out of range: g_limitRight\n"));
    EXPECT_EQ(tmr, 489);
    EXPECT_THAT(toasts, ElementsAre(6));
    EXPECT_FALSE(lens_is_locked());
}

TEST_F(LensOnTheBoard, ManualFocusBeyondTheLeftLimitStopsTenInside) {
    tmr = -480;
    EXPECT_EQ(manufocusTMR(-21), -7);
    EXPECT_THAT(board.log(), testing::HasSubstr("[ovra_focus]  manu focus out of range: g_limitLeft\n"));
    EXPECT_THAT(toasts, ElementsAre(7));
    EXPECT_EQ(tmr, -489);
}

TEST_F(LensOnTheBoard, ManualFocusReleasesTheLensBeforeItsToast) {
    static int trylock_result;
    trylock_result = -1;
    table.toast = [](int32_t) {
        trylock_result = pthread_mutex_trylock(&mutex_focus);
        if (trylock_result == 0) pthread_mutex_unlock(&mutex_focus);
    };
    tmr = 480;
    EXPECT_EQ(manufocusTMR(30), -6);
    EXPECT_EQ(trylock_result, 0);
}

TEST_F(LensOnTheBoard, ManualFocusToTheLimitItselfIsNotClamped) {
    tmr = 480;
    EXPECT_EQ(manufocusTMR(20), 0);
}

TEST_F(LensOnTheBoard, ManualFocusGivesUpAfterThirtyPasses) {
    stuck = true;
    EXPECT_EQ(manufocusTMR(50), -1);
    EXPECT_EQ(board.journal({"sleep"}).size(), 31u);
    EXPECT_EQ(board.writes(right_node).size(), 30u);
    EXPECT_THAT(board.log(), testing::EndsWith("[ovra_focus]  auto focus time out\n"));
    EXPECT_EQ(events().end()[-2], "sleep 40000");
    EXPECT_FALSE(lens_is_locked());
    EXPECT_TRUE(toasts.empty());
}

TEST_F(LensOnTheBoard, ManualFocusUnlocksWhenAReadingFailsInMidMove) {
    read_positions({"0\n", "2500\n"});
    EXPECT_EQ(manufocusTMR(50), -1);
    EXPECT_FALSE(lens_is_locked());
}

TEST_F(LensOnTheBoard, ManualFocusStaysWithItsLastPositionWhenTheSensorGivesNoNumber) {
    read_positions({"300", "?", "345"});
    EXPECT_EQ(manufocusTMR(50), 0);
    EXPECT_EQ(board.writes(right_node), Journal({"2\n"}));
}

TEST_F(LensOnTheBoard, ManualFocusKeepsTheLensWhenAMoveFails) {
    fail_writes(right_node);
    EXPECT_EQ(manufocusTMR(50), -1);
    EXPECT_TRUE(lens_is_locked());
}

TEST_F(LensOnTheBoard, ManualFocusKeepsTheLensWhenThePulseCannotBeSet) {
    board.remove(pulse_node);
    EXPECT_EQ(manufocusTMR(20), -1);
    EXPECT_TRUE(lens_is_locked());
    EXPECT_TRUE(board.writes(right_node).empty());
}

TEST_F(LensOnTheBoard, ManualFocusByAnAbsurdAmountStopsAtTheLimit) {
    tmr = 480;
    EXPECT_EQ(manufocusTMR(INT_MAX), -6);
}

// --- manufocusTargetTMR --------------------------------------------------------------------------------

struct Counts {
    int32_t full = -5;
    int32_t fine = -5;
};

TEST_F(LensOnTheBoard, AbsoluteMoveGoesStepByStepAndCounts) {
    Counts counts;
    EXPECT_EQ(manufocusTargetTMR(25, &counts.full, &counts.fine), 0);
    EXPECT_EQ(counts.full, 1);
    EXPECT_EQ(counts.fine, 1);
    EXPECT_EQ(board.writes(pulse_node), Journal({"2", "1", "2"}));
}

TEST_F(LensOnTheBoard, AbsoluteMoveLogsEachStep) {
    Counts counts;
    manufocusTargetTMR(7, &counts.full, &counts.fine);
    EXPECT_THAT(events(),
                ElementsAre("manu focus targetTMR = 7--------------------------", "pulse <- 2", "position",
                            "sleep 40000", "position", "currentTMR = 0, targetTMR = 7, direct = 0",
                            "pulse <- 1", "motor_right_write val:1", "right <- 1", "sleep 40000", "position",
                            "currentTMR = 9, targetTMR = 7, direct = 0", "manul focus completed", "pulse <- 2",
                            "count = 0, microCount = 1"));
}

TEST_F(LensOnTheBoard, AbsoluteMoveLeftwardsShowsDirectOne) {
    Counts counts;
    EXPECT_EQ(manufocusTargetTMR(-20, &counts.full, &counts.fine), 0);
    EXPECT_THAT(board.log(),
                testing::HasSubstr("[ovra_focus]  currentTMR = 0, targetTMR = -20, direct = 1\n\n"));
    EXPECT_EQ(board.writes(left_node), Journal({"1\n"}));
    EXPECT_EQ(counts.full, 1);
    EXPECT_EQ(counts.fine, 0);
}

TEST_F(LensOnTheBoard, AbsoluteMoveLeavesTheLastDirectionAlone) {
    lastDirection = 1;
    Counts counts;
    manufocusTargetTMR(-20, &counts.full, &counts.fine);
    EXPECT_EQ(lastDirection, 1);
}

TEST_F(LensOnTheBoard, AbsoluteMoveFromItsTargetCountsAsLeftwards) {
    Counts counts;
    EXPECT_EQ(manufocusTargetTMR(0, &counts.full, &counts.fine), 0);
    EXPECT_THAT(board.log(), testing::HasSubstr("direct = 1"));
    EXPECT_EQ(counts.full, 0);
}

TEST_F(LensOnTheBoard, AbsoluteMoveIsClampedTenInside) {
    tmr = 470;
    Counts counts;
    EXPECT_EQ(manufocusTargetTMR(501, &counts.full, &counts.fine), 0);
    EXPECT_EQ(tmr, 488);
}

TEST_F(LensOnTheBoard, AbsoluteMoveWithAnErrorThatStaysTimesOutAfterFortyOneSteps) {
    stuck = true;
    Counts counts;
    EXPECT_EQ(manufocusTargetTMR(7, &counts.full, &counts.fine), -1);
    EXPECT_EQ(board.writes(right_node).size(), 41u);
    EXPECT_EQ(board.journal({"sleep"}).size(), 42u);
    EXPECT_THAT(board.log(), testing::EndsWith("[ovra_focus]  auto focus time out\n"));
    EXPECT_EQ(counts.full, -5);
    EXPECT_EQ(counts.fine, -5);
}

TEST_F(LensOnTheBoard, AbsoluteMoveCountsFullAndFineStepsTogether) {
    read_positions({"0", "0", "0", "0", "0", "0", "0", "0", "0", "0", "0", "0", "0", "93"});
    Counts counts;
    EXPECT_EQ(manufocusTargetTMR(100, &counts.full, &counts.fine), -1);
    EXPECT_EQ(board.writes(right_node).size(), 41u);
}

TEST_F(LensOnTheBoard, AbsoluteMoveStaysWithItsLastPositionWhenTheSensorGivesNoNumber) {
    read_positions({"100", "?", "120", "?", "138"});
    Counts counts;
    EXPECT_EQ(manufocusTargetTMR(140, &counts.full, &counts.fine), 0);
    std::vector<std::string> logged;
    for (const std::string& event : events())
        if (event.rfind("currentTMR", 0) == 0) logged.push_back(event);
    EXPECT_THAT(logged, ElementsAre("currentTMR = 100, targetTMR = 140, direct = 0",
                                    "currentTMR = 120, targetTMR = 140, direct = 0",
                                    "currentTMR = 120, targetTMR = 140, direct = 0",
                                    "currentTMR = 138, targetTMR = 140, direct = 0"));
}

TEST_F(LensOnTheBoard, AbsoluteMoveFailsWithItsReadingsAndMoves) {
    Counts counts;
    fail_writes(right_node);
    EXPECT_EQ(manufocusTargetTMR(100, &counts.full, &counts.fine), -1);
    board.clear_faults();
    read_positions({"0", "2500"});
    EXPECT_EQ(manufocusTargetTMR(100, &counts.full, &counts.fine), -1);
    read_positions({"2500"});
    EXPECT_EQ(manufocusTargetTMR(100, &counts.full, &counts.fine), -1);
}

TEST_F(LensOnTheBoard, AbsoluteMoveIgnoresItsFirstPulseButNotTheFineOne) {
    board.remove(pulse_node);
    Counts counts;
    EXPECT_EQ(manufocusTargetTMR(-36, &counts.full, &counts.fine), 0);
    EXPECT_EQ(counts.full, 2);
    EXPECT_EQ(manufocusTargetTMR(-29, &counts.full, &counts.fine), -1);
}

// --- manufocusTMRxj ------------------------------------------------------------------------------------

TEST_F(LensOnTheBoard, DriverPositioningPrintsItsTargetWithoutTag) {
    EXPECT_EQ(manufocusTMRxj(40), 0);
    EXPECT_THAT(board.log(), testing::EndsWith("\nmanu focus targetTMR = 40--------------------------\n"));
}

TEST_F(LensOnTheBoard, DriverPositioningBeyondALimitDoesNotMove) {
    EXPECT_EQ(manufocusTMRxj(501), -1);
    EXPECT_THAT(board.log(), testing::EndsWith("manu focus targetTMR = 501--------------------------\n"
                                               "manu fucos out of range: g_limitRight"));
    EXPECT_EQ(manufocusTMRxj(-501), -1);
    EXPECT_THAT(board.log(), testing::EndsWith("manu focus targetTMR = -501--------------------------\n"
                                               "manu focus out of range: g_limitLeft"));
    EXPECT_EQ(manufocusTMRxj(500), 0);
    EXPECT_EQ(manufocusTMRxj(-500), 0);
    EXPECT_EQ(tmr, 0);
}

TEST_F(LensOnTheBoard, DriverPositioningFailsWithItsReading) {
    board.remove(tmr_node);
    EXPECT_EQ(manufocusTMRxj(40), -1);
    EXPECT_THAT(board.log(), testing::EndsWith("manu focus error: motor_tmr_read failed"));
}

// --- Limits --------------------------------------------------------------------------------------------

TEST_F(LensOnTheBoard, SoftLimitsAreSetAsGiven) {
    setSoftLimit(-77, 1234567);
    EXPECT_EQ(g_limitLeft, -77);
    EXPECT_EQ(g_limitRight, 1234567);
}

void calibrate_flags(char lens) {
    permanent_data_inited = 1;
    glb_permanent_data.gsensor_flag = '0';
    glb_permanent_data.tof_flag = '0';
    glb_permanent_data.tmr_flag = lens;
}

TEST_F(LensOnTheBoard, LimitMovesNeedACalibratedLens) {
    calibrate_flags('0');
    int32_t limit = 42;
    EXPECT_EQ(goto_left_limit_safe(&limit), -1);
    EXPECT_EQ(goto_right_limit_safe(&limit), -1);
    EXPECT_EQ(limit, 42);
    EXPECT_TRUE(board.journal({"open"}).empty());
}

TEST_F(LensOnTheBoard, LimitMoveGoesToTheLimitItself) {
    calibrate_flags('1');
    setSoftLimit(-30, 40);
    tmr = -20;
    int32_t limit = 0;
    EXPECT_EQ(goto_left_limit_safe(&limit), 0);
    EXPECT_EQ(limit, -30);
    const std::string log = board.log();
    EXPECT_THAT(log, testing::HasSubstr("[ovra_focus]  g_limitLeft = -30\n\n"));
    EXPECT_THAT(log, testing::EndsWith("[ovra_focus]  goto left limit success\n"));
}

TEST_F(LensOnTheBoard, RightLimitMoveGoesToTheLimitItself) {
    calibrate_flags('1');
    setSoftLimit(-30, 4);
    int32_t limit = 0;
    EXPECT_EQ(goto_right_limit_safe(&limit), 0);
    EXPECT_EQ(limit, 4);
    const std::string log = board.log();
    EXPECT_THAT(log, testing::HasSubstr("[ovra_focus]  g_limitRight = 4\n\n"));
    EXPECT_THAT(log, testing::EndsWith("[ovra_focus]  goto right limit success\n"));
}

TEST_F(LensOnTheBoard, LimitMoveThatDoesNotArriveFails) {
    calibrate_flags('1');
    stuck = true;
    int32_t limit = 0;
    EXPECT_EQ(goto_right_limit_safe(&limit), -1);
    EXPECT_EQ(limit, 500);
}

// --- get_direction -------------------------------------------------------------------------------------

TEST_F(LensOnTheBoard, PolarityIsFoundWhenTheReadingHasRisenByTwentyOne) {
    direction = 1;
    read_positions({"100", "100", "120", "121"});
    int32_t polarity = -7;
    EXPECT_EQ(get_direction(&polarity), 0);
    EXPECT_EQ(polarity, 0);
    EXPECT_EQ(direction, 0);
    EXPECT_EQ(board.writes(pulse_node), Journal({"2"}));
    EXPECT_EQ(board.journal({"sleep"}), Journal(3, "sleep 100000"));
}

TEST_F(LensOnTheBoard, PolarityProbeLogsEachStep) {
    full_travel = 21;
    int32_t polarity = -7;
    get_direction(&polarity);
    EXPECT_THAT(events(), ElementsAre("position", "beforeTMR = 0", "pulse <- 2", "move 1 right step--10um ",
                                      "motor_right_write val:1", "right <- 1", "sleep 100000", "position",
                                      "count = 1, afterTMR = 21", "direction = 0"));
}

TEST_F(LensOnTheBoard, PolarityIsOneWhenTheReadingFallsByTwentyOne) {
    read_positions({"100", "80", "79"});
    int32_t polarity = -7;
    EXPECT_EQ(get_direction(&polarity), 0);
    EXPECT_EQ(polarity, 1);
    EXPECT_EQ(direction, 1);
}

TEST_F(LensOnTheBoard, PolarityProbeReadsTheRawPosition) {
    direction = 1;
    int32_t found = -7;
    EXPECT_EQ(get_direction(&found), 0);
    EXPECT_EQ(found, 0);
    EXPECT_TRUE(board.journal({"open " + std::string(stop_node)}).empty());
}

std::vector<std::string> unchanged_then(const std::string& last) {
    std::vector<std::string> readings(15, "100");  // before, and steps 1 to 14
    readings.push_back(last);
    return readings;
}

TEST_F(LensOnTheBoard, PolarityFoundAtTheFifteenthStepComesTooLateButIsStored) {
    read_positions(unchanged_then("79"));
    int32_t polarity = -7;
    EXPECT_EQ(get_direction(&polarity), -100);
    EXPECT_EQ(polarity, 1);
    EXPECT_EQ(direction, 1);
    EXPECT_THAT(board.log(), testing::EndsWith("[ovra_focus]  count = 15, afterTMR = 79\n"
                                               "[ovra_focus]  direction: MOTOR_IDLE_DIST NG, rightR > 14\n"));
}

TEST_F(LensOnTheBoard, PolarityFoundAtTheFourteenthStepIsInTime) {
    std::vector<std::string> readings(14, "100");
    readings.push_back("130");
    read_positions(readings);
    int32_t polarity = -7;
    EXPECT_EQ(get_direction(&polarity), 0);
    EXPECT_EQ(board.writes(right_node).size(), 14u);
}

TEST_F(LensOnTheBoard, PolarityNeverFoundLeavesEverything) {
    stuck = true;
    direction = 5;
    int32_t polarity = -7;
    EXPECT_EQ(get_direction(&polarity), -100);
    EXPECT_EQ(polarity, -7);
    EXPECT_EQ(direction, 5);
    EXPECT_EQ(board.writes(right_node).size(), 15u);
}

TEST_F(LensOnTheBoard, PolarityIsNotTakenFromAReadingWithoutANumber) {
    read_positions({"100", "?", "110", "?", "121"});
    int32_t polarity = -7;
    EXPECT_EQ(get_direction(&polarity), 0);
    EXPECT_EQ(polarity, 0);
    EXPECT_EQ(board.writes(right_node).size(), 4u);
}

TEST_F(LensOnTheBoard, PolarityProbeIgnoresTheMotorsAnswersAndFailsWithItsReadings) {
    board.remove(right_node);
    board.remove(pulse_node);
    int32_t polarity = -7;
    EXPECT_EQ(get_direction(&polarity), -100);
    read_positions({"100", "3000"});
    EXPECT_EQ(get_direction(&polarity), -1);
    read_positions({"3000"});
    EXPECT_EQ(get_direction(&polarity), -1);
    EXPECT_EQ(polarity, -7);
}

// --- go_cali_tmr_idle ----------------------------------------------------------------------------------

TEST_F(LensOnTheBoard, BacklashProbeEndsWhenTheLensFollows) {
    read_positions({"100", "110", "111"});
    EXPECT_EQ(go_cali_tmr_idle(0), 0);
    EXPECT_EQ(board.writes(pulse_node), Journal({"2"}));
    EXPECT_EQ(board.journal({"sleep"}), Journal(2, "sleep 100000"));
}

TEST_F(LensOnTheBoard, BacklashProbeToTheLeftMovesLeft) {
    read_positions({"100", "89"});
    EXPECT_EQ(go_cali_tmr_idle(1), 0);
    EXPECT_EQ(board.writes(left_node), Journal({"1\n"}));
}

TEST_F(LensOnTheBoard, BacklashProbeLogsEachStep) {
    go_cali_tmr_idle(1);
    EXPECT_THAT(events(), ElementsAre("position", "beforeTMR = 0", "pulse <- 2", "move 1 left step--5um ",
                                      "motor_left_write val:1", "left <- 1", "sleep 100000", "position",
                                      "count = 1, afterTMR = -18"));
    board.clear_journal();
    tmr = 0;
    go_cali_tmr_idle(0);
    EXPECT_THAT(events(), ElementsAre("position", "beforeTMR = 0", "pulse <- 2", "move 1 right step--5um ",
                                      "motor_right_write val:1", "right <- 1", "sleep 100000", "position",
                                      "count = 1, afterTMR = 18"));
}

TEST_F(LensOnTheBoard, BacklashProbeFailsWhenTheLensFollowsAtTheFifteenthStepOnly) {
    read_positions(unchanged_then("111"));
    EXPECT_EQ(go_cali_tmr_idle(0), -100);
    EXPECT_THAT(
        board.log(),
        testing::EndsWith("[ovra_focus]  count = 15, afterTMR = 111\n"
                          "[ovra_focus]  direction: 0, MOTOR_IDLE_DIST NG, MOTOR_IDLE_DIST > 14*5um\n\n"));
}

TEST_F(LensOnTheBoard, BacklashProbeFailsWhenTheLensNeverFollows) {
    stuck = true;
    EXPECT_EQ(go_cali_tmr_idle(3), -100);
    EXPECT_EQ(board.writes(left_node).size(), 15u);
    EXPECT_THAT(
        board.log(),
        testing::EndsWith("[ovra_focus]  direction: 3, MOTOR_IDLE_DIST NG, MOTOR_IDLE_DIST > 14*5um\n\n"));
}

TEST_F(LensOnTheBoard, BacklashProbeIsNotEndedByAReadingWithoutANumber) {
    read_positions({"100", "?", "105", "?", "111"});
    EXPECT_EQ(go_cali_tmr_idle(0), 0);
    EXPECT_EQ(board.writes(right_node).size(), 4u);
}

TEST_F(LensOnTheBoard, BacklashProbeFailsWithItsReadings) {
    read_positions({"100", "3000"});
    EXPECT_EQ(go_cali_tmr_idle(0), -1);
    read_positions({"3000"});
    EXPECT_EQ(go_cali_tmr_idle(0), -1);
}

TEST_F(LensOnTheBoard, DriverPositioningPrintsTheLeastNumberAsItsTarget) {
    EXPECT_EQ(manufocusTMRxj(INT_MIN), -1);
    EXPECT_THAT(board.log(), testing::HasSubstr("manu focus targetTMR = -2147483648-----"));
}

TEST_F(LensOnTheBoard, ATargetOfTheLeastNumberIsApproachedToTheLeft) {
    setSoftLimit(INT_MIN, 500);
    Counts counts;
    EXPECT_EQ(manufocusTargetTMR(INT_MIN, &counts.full, &counts.fine), -1);
    EXPECT_LT(tmr, 0);
}

}  // namespace
