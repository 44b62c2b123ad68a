#include "ovrafocus/tmr_table.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <iterator>
#include <string>
#include <vector>

#include "ovrafocus/calibration_data.h"
#include "ovrafocus/focus_nodes.h"
#include "ovrafocus/lens_position.h"
#include "ovrafocus/permanent_data.h"
#include "tests/support/lens_events.h"
#include "tests/support/scripted_board.h"
#include "tests/support/scripted_vendor.h"

namespace {

using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;
using testkit::ScriptedBoard;

using Journal = std::vector<std::string>;

constexpr const char* tmr_node = "/sys/class/motor/tmr_adc";
constexpr const char* left_node = "/sys/class/motor/left";
constexpr const char* right_node = "/sys/class/motor/right";
constexpr const char* pulse_node = "/sys/class/motor/pulse";

std::string stored_text() { return reinterpret_cast<const char*>(testkit::vendor().otp.data()); }

// --- tmr_cali_inter ------------------------------------------------------------------------------------

class TmrCaliInter : public testing::Test {
protected:
    TmrCaliInter() {
        for (int i = 0; i < 14; ++i) measured[i] = 100 + 10 * i;
        permanent_data_inited = 1;
    }
    ScriptedBoard board;
    int32_t measured[14] = {};
    int32_t out[30] = {};
};

TEST_F(TmrCaliInter, PutsMeansBetweenTheMeasurements) {
    EXPECT_EQ(tmr_cali_inter(measured, 80, 270, 1, 3, 4, out), 0);
    for (int place = 0; place < 25; ++place) EXPECT_EQ(out[place], 100 + 5 * place);
    EXPECT_EQ(out[25], 80);
    EXPECT_EQ(out[26], 270);
    EXPECT_EQ(out[27], 1);
    EXPECT_EQ(out[28], 3);
    EXPECT_EQ(out[29], 4);
}

TEST_F(TmrCaliInter, TruncatesMeansTowardsZero) {
    measured[0] = -5;
    measured[1] = 0;
    tmr_cali_inter(measured, 0, 0, 0, 0, 0, out);
    EXPECT_EQ(out[1], -2);
}

const std::string table_text =
    "100,105,110,115,120,125,130,135,140,145,150,155,160,165,170,175,180,185,190,195,200,205,210,215,220,"
    "80,270,0,3,4";

TEST_F(TmrCaliInter, PrintsExactlyAndStoresTheTable) {
    glb_permanent_data.device_sn[0] = 'S';
    glb_permanent_data.tmr_flag = '1';
    std::memset(glb_permanent_data.tmr_table_text, 'x', 150);
    tmr_cali_inter(measured, 80, 270, 0, 3, 4, out);

    std::string values;
    for (int place = 0; place < 25; ++place) {
        values += "[ovra_focus]  " + std::to_string(100 + 5 * place) + ",\n";
    }
    EXPECT_EQ(board.log(),
              "[ovra_focus]  tmr_cali_interpolation start\n\n"
              "[ovra_focus]  interpolation result : \n\n" +
                  values +
                  "[ovra_focus]  80, 270, 0, 3, 4\n\n"
                  "[ovra_focus]  leftLimit 80, rightLimit 270, direct 0, leftR 3, rightR 4\n\n"
                  "[ovra_focus]  sizeof int = 4, sizeof int32_t = 4\n\n"
                  "[ovra_focus]  " +
                  table_text + "\n" + "[ovra_focus]  tmr_cali_interpolation success\n\n");
    EXPECT_EQ(stored_text(), table_text);
    for (std::size_t i = table_text.size(); i < 150; ++i) EXPECT_EQ(testkit::vendor().otp[i], 0) << i;
    EXPECT_EQ(testkit::vendor().otp[174], 'S');
    EXPECT_EQ(testkit::vendor().otp[224], '1');
}

TEST_F(TmrCaliInter, AppliesLimitsAndBacklashButNotThePolarity) {
    direction = 7;
    tmr_cali_inter(measured, 80, 270, 1, 3, 4, out);
    EXPECT_EQ(g_limitLeft, 80);
    EXPECT_EQ(g_limitRight, 270);
    EXPECT_EQ(leftIdle, 3);
    EXPECT_EQ(rightIdle, 4);
    EXPECT_EQ(direction, 7);
}

TEST_F(TmrCaliInter, AppliesATableThatCouldNotBeStored) {
    testkit::vendor().flash_otp_write = [](std::uint32_t, std::uint32_t, std::uint32_t, const void*,
                                           std::uint32_t) { return -1; };
    EXPECT_EQ(tmr_cali_inter(measured, 80, 270, 0, 3, 4, out), 0);
    EXPECT_THAT(board.log(), HasSubstr("[ovra_focus]  permanent_data_write error\n\n"));
    EXPECT_EQ(g_limitLeft, 80);
}

TEST_F(TmrCaliInter, TakesATextOfAHundredAndFortyNineCharacters) {
    for (int32_t& value : measured) value = 1000;  // 25 values of 4 characters and 29 commas make 129
    tmr_cali_inter(measured, 1000, 10000, 1, 12345, 12345, out);
    EXPECT_EQ(stored_text().size(), 149u);
}

TEST_F(TmrCaliInter, StopsTheProcessBeforeALongerTextIsWritten) {
    for (int32_t& value : measured) value = 1000;
    EXPECT_DEATH(tmr_cali_inter(measured, 1000, 100000, 1, 12345, 12345, out), "");
    for (int32_t& value : measured) value = -1234;
    EXPECT_DEATH(tmr_cali_inter(measured, -1234, -1234, -1234, -1234, -1234, out), "");
    EXPECT_EQ(testkit::vendor().otp[0], 0);
}

// --- get_cali_list_tmr ---------------------------------------------------------------------------------

// A lens with backlash: after a reversal the first steps move nothing.
class CaliList : public testing::Test {
protected:
    CaliList() {
        board.text("/sys/class/motor/stop", "1");
        board.on_write(pulse_node, [this](const std::string& value) {
            travel = value == "1" ? full_travel / 2 : full_travel;
            ++pulses;
            return static_cast<long>(value.size());
        });
        board.on_read(tmr_node, [this] { return std::to_string(tmr) + "\n"; });
        board.on_write(left_node, [this](const std::string& steps) { return step(-1, steps); });
        board.on_write(right_node, [this](const std::string& steps) { return step(1, steps); });
        permanent_data_inited = 1;
        board.clear_journal();
    }
    long step(int side, const std::string& text) {
        if (side != last_side) idle_left = side < 0 ? left_idle : right_idle;
        last_side = side;
        if (idle_left > 0) {
            --idle_left;
        } else {
            tmr += side * travel * (side < 0 ? left_scale : pulses >= 8 ? return_scale : 1);
        }
        return static_cast<long>(text.size());
    }

    ScriptedBoard board;
    int32_t measured[14] = {};
    int tmr = 0;
    int travel = 12;
    int last_side = 1;
    int idle_left = 0;
    int left_idle = 3;
    int right_idle = 5;
    int left_scale = 1;
    int return_scale = 1;  // of the steps that return to the right
    int full_travel = 12;
    int pulses = 0;
};

TEST_F(CaliList, MeasuresEachStepAroundTheTarget) {
    EXPECT_EQ(get_cali_list_tmr(0, measured), 0);
    for (int i = 3; i < 14; ++i) EXPECT_EQ(measured[i], measured[i - 1] + 12) << i;
    EXPECT_EQ(measured[0] + 12, measured[1]);
    EXPECT_NEAR(measured[2], 2, 8);
    EXPECT_EQ(g_limitLeft, measured[0] - 20);
    EXPECT_EQ(g_limitRight, measured[13] + 40);
    EXPECT_EQ(listFlash[0], measured[0]);
    EXPECT_EQ(listFlash[24], measured[12]);
    EXPECT_EQ(listFlash[28], leftIdle);
    EXPECT_EQ(listFlash[29], rightIdle);
}

TEST_F(CaliList, CountsTheBacklashFromTheReturns) {
    get_cali_list_tmr(0, measured);
    EXPECT_EQ(leftIdle, 4);   // 3 of backlash and 11 travelling steps back, less 10
    EXPECT_EQ(rightIdle, 5);  // 5 of backlash and 2 travelling steps back, less 2
}

// A lens of 30 units a step and no backlash meets its targets with full steps alone.
class CaliListByFullSteps : public CaliList {
protected:
    CaliListByFullSteps() {
        full_travel = 30;
        left_idle = 0;
        right_idle = 0;
    }
};

TEST_F(CaliListByFullSteps, BacklashIsNeverNegative) {
    left_scale = 2;  // back to the left in six steps
    EXPECT_EQ(get_cali_list_tmr(0, measured), 0);
    EXPECT_EQ(leftIdle, 0);
    EXPECT_THAT(board.log(), HasSubstr("[ovra_focus]  steps = 6, microSteps = 0, leftR = 0\n\n"));
}

TEST_F(CaliListByFullSteps, ReturnsToTheRightInOneStep) {
    return_scale = 4;
    EXPECT_EQ(get_cali_list_tmr(0, measured), 0);
    EXPECT_EQ(rightIdle, 0);
    EXPECT_THAT(board.log(), HasSubstr("[ovra_focus]  steps = 1, microSteps = 0, rightR = 0\n\n"));
}

TEST_F(CaliListByFullSteps, OpensTheLimits) {
    setSoftLimit(-5, 5);
    get_cali_list_tmr(0, measured);
    EXPECT_THAT(board.log(), testing::Not(HasSubstr("out of range")));
}

TEST_F(CaliListByFullSteps, GoesToItsFourTargets) {
    get_cali_list_tmr(100, measured);
    std::vector<std::string> targets;
    for (const std::string& event : testkit::lens_events(board))
        if (event.rfind("manu focus targetTMR", 0) == 0) targets.push_back(event);
    EXPECT_THAT(targets, ElementsAre("manu focus targetTMR = 70--------------------------",
                                     "manu focus targetTMR = 102--------------------------",
                                     "manu focus targetTMR = 98--------------------------",
                                     "manu focus targetTMR = 102--------------------------"));
}

TEST_F(CaliListByFullSteps, LogsEachStepAfterEachTarget) {
    get_cali_list_tmr(0, measured);
    EXPECT_THAT(
        testkit::lens_events_after(board, "steps = 1, microSteps = 0", 9),
        ElementsAre("pulse <- 2", "position", "currentTMR = 0", "move 1 right step--5um ",
                    "motor_right_write val:1", "right <- 1", "sleep 100000", "position", "currentTMR = 30"));
    EXPECT_THAT(
        testkit::lens_events_after(board, "steps = 11, microSteps = 0, leftR = 1", 13),
        ElementsAre("pulse <- 2", "move 1 left step--5um ", "motor_left_write val:1", "left <- 1",
                    "sleep 100000", "position", "currentTMR = -30", "move 1 left step--5um ",
                    "motor_left_write val:1", "left <- 1", "sleep 100000", "position", "currentTMR = -60"));
    EXPECT_THAT(testkit::lens_events_after(board, "steps = 2, microSteps = 0, rightR = 0", 2),
                ElementsAre("pulse <- 2", "tmr_cali_interpolation start"));
}

TEST_F(CaliList, LogsAMoveThatDidNotArriveAndLeavesTheLimitsOpen) {
    board.on_read(tmr_node, [] { return std::string("500"); });
    EXPECT_EQ(get_cali_list_tmr(0, measured), -1);
    EXPECT_THAT(board.log(), EndsWith("[ovra_focus]  auto fucos error: manufocusTargetTMR failed\n\n"));
    EXPECT_EQ(g_limitLeft, -1000);
    EXPECT_EQ(g_limitRight, 1000);
    EXPECT_EQ(testkit::vendor().otp[0], 0);
}

TEST_F(CaliList, FailsAtWhateverCallFailsAndStoresNothing) {
    // A first whole sweep counts the calls; then each of them fails once.
    get_cali_list_tmr(0, measured);
    const std::size_t right_moves = board.writes(right_node).size();
    const std::size_t left_moves = board.writes(left_node).size();
    ASSERT_GT(right_moves, 11u);
    ASSERT_GT(left_moves, 2u);
    testkit::vendor().otp.fill(0);
    for (const char* node : {right_node, left_node}) {
        const std::size_t moves = node == right_node ? right_moves : left_moves;
        for (std::size_t nth = 1; nth <= moves; ++nth) {
            tmr = 0;
            last_side = 1;
            idle_left = 0;
            board.clear_faults();
            testkit::Fault fault;
            fault.operation = "write";
            fault.path = node;
            fault.nth = static_cast<int>(nth);
            fault.error_number = EIO;
            board.fail(fault);
            EXPECT_EQ(get_cali_list_tmr(0, measured), -1) << node << " " << nth;
        }
    }
    EXPECT_EQ(testkit::vendor().otp[0], 0);
}

TEST_F(CaliListByFullSteps, AFailedReadingDoesNotBlameThePositioning) {
    // Two positionings write the pulse twice each; the fifth is the sweep's own.
    board.on_read(tmr_node, [this] { return pulses == 5 ? std::string("2500") : std::to_string(tmr); });
    EXPECT_EQ(get_cali_list_tmr(0, measured), -1);
    EXPECT_THAT(board.log(), testing::Not(HasSubstr("manufocusTargetTMR failed")));
}

TEST_F(CaliListByFullSteps, AFailedReadingIsNotStored) {
    std::fill(std::begin(measured), std::end(measured), 77);
    // The reading after the first of the eleven steps.
    board.on_read(tmr_node,
                  [this] { return pulses == 5 && tmr == 30 ? std::string("2500") : std::to_string(tmr); });
    EXPECT_EQ(get_cali_list_tmr(0, measured), -1);
    EXPECT_THAT(measured, ElementsAre(77, 77, 0, 77, 77, 77, 77, 77, 77, 77, 77, 77, 77, 77));
}

TEST_F(CaliListByFullSteps, FailsWhenItsOwnPulseCannotBeSet) {
    for (int nth : {5, 8, 11}) {
        tmr = 0;
        last_side = 1;
        board.clear_faults();
        testkit::Fault fault;
        fault.operation = "open";
        fault.path = pulse_node;
        fault.nth = nth;
        fault.error_number = ENOENT;
        board.fail(fault);
        EXPECT_EQ(get_cali_list_tmr(0, measured), -1) << nth;
    }
}

TEST_F(CaliList, TargetsAtTheEndsOfTheNumbersAreRefusedByTheLimits) {
    EXPECT_EQ(get_cali_list_tmr(INT32_MIN, measured), -1);
    EXPECT_EQ(get_cali_list_tmr(INT32_MAX, measured), -1);
}

TEST_F(CaliList, AsksForTheLeastNumberWhenTheTargetIsIt) {
    get_cali_list_tmr(INT32_MIN, measured);
    EXPECT_THAT(board.log(), StartsWith("[ovra_focus]  manu focus targetTMR = -2147483648-----"));
}

TEST_F(CaliListByFullSteps, TextsWithoutANumberNeverLetTheCallersArrayIn) {
    std::fill(std::begin(measured), std::end(measured), 123);
    // From the sweep's own pulse to the first step, and again on the second one left.
    board.on_read(tmr_node, [this] {
        const bool before_first = pulses == 5 && tmr <= 30;
        const bool last = pulses == 8 && tmr == -60;
        return before_first || last ? std::string("?\n") : std::to_string(tmr);
    });
    EXPECT_EQ(get_cali_list_tmr(0, measured), 0);
    EXPECT_THAT(measured, ElementsAre(-30, -30, 0, 0, 60, 90, 120, 150, 180, 210, 240, 270, 300, 330));
    EXPECT_THAT(stored_text(), StartsWith("-30,-30,-30,-15,0,0,0,30,60,"));
}

}  // namespace
