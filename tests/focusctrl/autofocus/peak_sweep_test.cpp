#include "ovrafocus/peak_sweep.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <cmath>
#include <string>
#include <vector>

#include "ovrafocus/focus_nodes.h"
#include "ovrafocus/peak_search.h"
#include "tests/support/lens_events.h"
#include "tests/support/scripted_board.h"

namespace {

using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testkit::ScriptedBoard;

using Journal = std::vector<std::string>;

constexpr const char* tmr_node = "/sys/class/motor/tmr_adc";
constexpr const char* left_node = "/sys/class/motor/left";
constexpr const char* right_node = "/sys/class/motor/right";
constexpr const char* pulse_node = "/sys/class/motor/pulse";

// A lens that follows its motor by so many TMR units a step.
class PeakSweep : public testing::Test {
protected:
    PeakSweep() {
        board.text("/sys/class/motor/stop", "1");
        board.text(pulse_node, "");
        board.on_read(tmr_node, [this] { return std::to_string(tmr) + "\n"; });
        board.on_write(left_node, [this](const std::string& steps) {
            tmr -= travel * std::stoi(steps);
            return static_cast<long>(steps.size());
        });
        board.on_write(right_node, [this](const std::string& steps) {
            tmr += right_travel * std::stoi(steps);
            return static_cast<long>(steps.size());
        });
    }

    ScriptedBoard board;
    int tmr = 0;
    int travel = 8;
    int right_travel = 30;
};

TEST_F(PeakSweep, FindsThePeakOfItsSeriesAndStopsAfterTwoFalls) {
    EXPECT_EQ(get_cali_peak_tmr(), 0);
    EXPECT_EQ(board.writes(left_node).size(), 12u);
    ASSERT_EQ(m_sharpness.size(), 5u);
    // One step of 30 by the polarity probe, five of 30 to the right, then 8 a step: sample n lies at 180 -
    // 8(n+1).
    const double sharpness[] = {2.8, 3.4, 3.5, 3.35, 3.2};
    for (std::size_t i = 0; i < 5; ++i) {
        EXPECT_EQ(m_sharpness[i].step, 180 - 8 * (static_cast<int>(i) + 8)) << i;
        EXPECT_EQ(m_sharpness[i].sharpness, sharpness[i]) << i;
    }
    EXPECT_GT(getDoublePeekStep(), 90.0);
    EXPECT_LT(getDoublePeekStep(), 110.0);
}

TEST_F(PeakSweep, LogsEachSharpnessAndThePeak) {
    get_cali_peak_tmr();
    const std::string log = board.log();
    EXPECT_THAT(log, HasSubstr("[ovra_focus]  sharpness = 1.010000\n\n"));
    EXPECT_THAT(log, HasSubstr("[ovra_focus]  sharpness = 3.200000\n\n"
                               "[ovra_focus]  max_sharpness = 3.500000, max_index = 9, tmr[max_index] = 100\n\n"
                               "[ovra_focus]  peek step = "));
    EXPECT_EQ(board.writes(pulse_node), Journal({"2", "2", "2"}));
}

TEST_F(PeakSweep, LogsEachStepUpToItsFirstPosition) {
    get_cali_peak_tmr();
    EXPECT_THAT(
        testkit::lens_events_after(board, "get_direction val = 0", 13),
        ElementsAre("position", "currentTMR = 30", "pulse <- 2", "move 5 right step--5*5um",
                    "motor_right_write val:5", "right <- 5", "pulse <- 2", "move 1 left step--5um",
                    "motor_left_write val:1", "left <- 1", "sleep 100000", "position", "currentTMR = 172"));
}

TEST_F(PeakSweep, EndsAHundredLeftOfItsStart) {
    right_travel = 21;
    travel = 41;  // from 105 right of the start exactly to 100 left of it in five steps
    EXPECT_EQ(get_cali_peak_tmr(), -1);
    EXPECT_EQ(board.writes(left_node).size(), 5u);
}

TEST_F(PeakSweep, TakesAPeakOfAThousandAndNoHigherOne) {
    get_cali_peak_tmr();
    const int to_a_thousand = 1000 - static_cast<int>(std::lround(getDoublePeekStep()));
    tmr = to_a_thousand;
    EXPECT_EQ(get_cali_peak_tmr(), 0);
    EXPECT_EQ(std::lround(getDoublePeekStep()), 1000);
    tmr = to_a_thousand + 1;
    EXPECT_EQ(get_cali_peak_tmr(), -1);
    EXPECT_EQ(std::lround(getDoublePeekStep()), 1001);
}

TEST_F(PeakSweep, WaitsATenthOfASecondAfterEachStep) {
    get_cali_peak_tmr();
    EXPECT_EQ(board.journal({"sleep"}), Journal(13, "sleep 100000"));  // one of them is the polarity probe's
}

TEST_F(PeakSweep, ClearsTheSamplesOfTheLastRun) {
    addSharpnessList({1, 99.0});
    board.remove(tmr_node);
    EXPECT_EQ(get_cali_peak_tmr(), -1);
    EXPECT_TRUE(m_sharpness.empty());
}

TEST_F(PeakSweep, GoesOnWithoutAPolarity) {
    right_travel = 0;
    EXPECT_EQ(get_cali_peak_tmr(), 0);
    EXPECT_EQ(board.writes(right_node).size(), 16u);  // the probe's fifteen, and the head start
    EXPECT_THAT(board.log(), HasSubstr("[ovra_focus]  get_direction val = 0\n"));
}

TEST_F(PeakSweep, ThatReachesItsEndBeforeTheFallsFindsNoPeak) {
    right_travel = 21;
    travel = 21;  // 10 samples reach 100 left of the start; the maximum is the last
    EXPECT_EQ(get_cali_peak_tmr(), -1);
    EXPECT_EQ(board.writes(left_node).size(), 10u);
}

TEST_F(PeakSweep, NeedsTwoSamplesAfterThePeak) {
    right_travel = 21;
    travel = 20;  // 11 samples: one after the maximum
    EXPECT_EQ(get_cali_peak_tmr(), -1);
    EXPECT_EQ(board.writes(left_node).size(), 11u);
}

TEST_F(PeakSweep, ThatEndsWithItsFirstSampleLogsThatThereIsNoPeak) {
    travel = 2000;
    tmr = 1500;
    EXPECT_EQ(get_cali_peak_tmr(), -1);
    EXPECT_THAT(board.log(),
                EndsWith("[ovra_focus]  max_sharpness = 1.010000, max_index = 0, tmr[max_index] = -320\n\n"
                         "[ovra_focus]  auto focus cali: peak not found!\n\n"));
}

TEST_F(PeakSweep, WithAPeakAboveAThousandFailsButKeepsIt) {
    tmr = 1200;
    EXPECT_EQ(get_cali_peak_tmr(), -1);
    EXPECT_GT(getDoublePeekStep(), 1000.0);
}

TEST_F(PeakSweep, FailsAtOnceWithEachPulse) {
    for (int nth : {2, 3}) {  // the first belongs to the polarity probe, which ignores it
        board.clear_faults();
        board.clear_journal();
        testkit::Fault fault;
        fault.operation = "open";
        fault.path = pulse_node;
        fault.nth = nth;
        fault.error_number = ENOENT;
        board.fail(fault);
        EXPECT_EQ(get_cali_peak_tmr(), -1) << nth;
        EXPECT_TRUE(board.writes(left_node).empty());
    }
}

TEST_F(PeakSweep, IgnoresTheHeadStartsResultButNotASteps) {
    board.remove(right_node);
    EXPECT_EQ(get_cali_peak_tmr(), 0);
    board.remove(left_node);
    EXPECT_EQ(get_cali_peak_tmr(), -1);
}

TEST_F(PeakSweep, FailsWithAReadingOfItsWalk) {
    int reads = 0;
    board.on_read(tmr_node, [&] { return std::string(++reads == 5 ? "2500" : std::to_string(reads * 30)); });
    EXPECT_EQ(get_cali_peak_tmr(), -1);
    EXPECT_EQ(reads, 5);
}

}  // namespace
