#include "ovrafocus/motor_drv.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <climits>
#include <string>
#include <vector>

#include "tests/support/log_lines.h"
#include "tests/support/scripted_board.h"

using testing::AllOf;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;
using testkit::Fault;
using testkit::located;
using testkit::ScriptedBoard;
using testkit::tagged;
using Entries = std::vector<std::string>;

namespace {

const std::string motor = "/sys/class/motor/";

struct Motor : ::testing::Test {
    ScriptedBoard board;

    Motor() {
        motor_cur_dir = -1;
        motor_start_dir = 0;
    }
    void accept(const std::vector<std::string>& attributes) {
        for (const auto& attribute : attributes) board.text(motor + attribute, "");
    }
    Entries writes(const std::string& attribute) const { return board.writes(motor + attribute); }
};

struct MotorState : Motor {};
struct MotorRun : Motor {};
struct MotorZero : Motor {};
struct MotorEnd : Motor {};
struct MotorAirTravel : Motor {};
struct MotorTotalSteps : Motor {};
struct MotorTmr : Motor {};

TEST(MotorLoad, StartsWithAnUnknownDirectionAndStartDirectionZero) {
    EXPECT_EQ(motor_cur_dir, -1);
    EXPECT_EQ(motor_start_dir, 0);
}

// --- Direction, place, position ----------------------------------------------------------------------

TEST_F(MotorState, PrintsExactlyTheDirectionOfTheLastMove) {
    motor_cur_dir = 1;
    EXPECT_EQ(motor_get_dir(), 1);
    EXPECT_EQ(board.log(), tagged("motor_get_dir ,cur_dir:1 0:left"));
}

TEST_F(MotorState, PrintsExactlyThePlaceUnlessItIsZero) {
    board.texts(motor + "place", {"2\n", "0\n"});
    EXPECT_EQ(motor_get_place(), 2);
    EXPECT_EQ(board.log(), tagged("motor_get_place ,ret:2, 1:left 2:right"));
    EXPECT_EQ(motor_get_place(), 0);
    EXPECT_EQ(board.log(), "");
}

TEST_F(MotorState, PrintsAnUnreadablePlaceToo) {
    EXPECT_EQ(motor_get_place(), -1);
    EXPECT_THAT(board.log(), EndsWith(tagged("motor_get_place ,ret:-1, 1:left 2:right")));
}

TEST_F(MotorState, PrintsExactlyThePosition) {
    board.text(motor + "pos", "-17\n");
    EXPECT_EQ(motor_get_pos(), -17);
    EXPECT_EQ(board.log(), tagged("motor_get_pos ,ret:-17"));
}

// --- Runs --------------------------------------------------------------------------------------------

TEST_F(MotorRun, MovesWithoutAnOffsetWhileTheDirectionIsUnknown) {
    accept({"left", "right"});
    EXPECT_EQ(motor_run(1, 5, 1), 0);
    EXPECT_EQ(motor_cur_dir, 1);
    EXPECT_EQ(board.journal({"write", "sleep"}), (Entries{"sleep 10000", "write /sys/class/motor/right 5\\n"}));
}

TEST_F(MotorRun, AddsTenStepsOnAReversal) {
    accept({"left", "right"});
    motor_cur_dir = 1;
    EXPECT_EQ(motor_run(0, 5, 1), 0);
    EXPECT_EQ(motor_cur_dir, 0);
    EXPECT_EQ(writes("left"), Entries{"15\n"});
}

TEST_F(MotorRun, TakesEveryOffsetSwitchButZeroForOn) {
    accept({"left", "right"});
    motor_cur_dir = 1;
    EXPECT_EQ(motor_run(0, 5, 2), 0);
    EXPECT_EQ(motor_run(1, 5, -1), 0);
    EXPECT_EQ(writes("left"), Entries{"15\n"});
    EXPECT_EQ(writes("right"), Entries{"15\n"});
}

TEST_F(MotorRun, LogsEachStepAndPausesBeforeItReportsAReversal) {
    accept({"left", "right"});
    motor_cur_dir = 1;
    EXPECT_EQ(motor_run(0, 5, 2), 0);
    EXPECT_EQ(board.journal(),
              (Entries{"print [ovra_focus]  motor_run,dir:0,steps:5,auto:2",
                       "print [ovra_focus]  dir change,auto add offset:10", "sleep 10000",
                       "print [ovra_focus]  motor_run,dir change", "open /sys/class/motor/left O_RDWR",
                       "write /sys/class/motor/left 15\\n", "close /sys/class/motor/left"}));
}

TEST_F(MotorRun, LogsAnUnknownDirectionAndNoOffsetForIt) {
    accept({"right"});
    motor_run(1, 5, 1);
    EXPECT_EQ(board.log(), tagged("motor_run,dir:1,steps:5,auto:1") + tagged("cur dir invalid") +
                               tagged("motor_run,dir change"));
}

TEST_F(MotorRun, LogsNoReversalInTheSameDirection) {
    accept({"right"});
    motor_cur_dir = 1;
    motor_run(1, 7, 1);
    EXPECT_EQ(board.log(), tagged("motor_run,dir:1,steps:7,auto:1"));
}

TEST_F(MotorRun, AddsNothingWithoutTheAutomaticOffset) {
    accept({"left", "right"});
    motor_cur_dir = 1;
    EXPECT_EQ(motor_run(0, 5, 0), 0);
    EXPECT_EQ(writes("left"), Entries{"5\n"});
    EXPECT_EQ(board.journal({"sleep"}), Entries{"sleep 10000"});
}

TEST_F(MotorRun, NeitherPausesNorAddsInTheSameDirection) {
    accept({"left", "right"});
    motor_cur_dir = 1;
    EXPECT_EQ(motor_run(1, 7, 1), 0);
    EXPECT_EQ(board.journal({"write", "sleep"}), Entries{"write /sys/class/motor/right 7\\n"});
}

TEST_F(MotorRun, MakesNoMoveOfNoSteps) {
    accept({"left", "right"});
    EXPECT_EQ(motor_run(0, 0, 0), 0);
    EXPECT_EQ(motor_cur_dir, -1);
    EXPECT_EQ(board.journal({"open", "write", "sleep"}), Entries{});
    EXPECT_THAT(board.log(),
                EndsWith(located("motor_run", "focusctrl/motor_drv", 78, "motor_run,steps invalid")));
}

TEST_F(MotorRun, JudgesTheStepsWithTheOffset) {
    accept({"left", "right"});
    motor_cur_dir = 1;
    EXPECT_EQ(motor_run(0, -9, 1), 0);
    EXPECT_EQ(writes("left"), Entries{"1\n"});
    EXPECT_EQ(motor_run(1, -10, 1), 0);
    EXPECT_EQ(writes("right"), Entries{});
    EXPECT_EQ(motor_cur_dir, 0);
}

TEST_F(MotorRun, RefusesACountThatTheOffsetPushesOutOfRange) {
    accept({"left", "right"});
    motor_cur_dir = 1;
    EXPECT_EQ(motor_run(0, INT_MAX, 1), 0);
    EXPECT_EQ(writes("left"), Entries{});
}

TEST_F(MotorRun, ExchangesTheNodesWithStartDirectionOne) {
    accept({"left", "right"});
    motor_start_dir = 1;
    EXPECT_EQ(motor_run(0, 3, 0), 0);
    EXPECT_EQ(writes("right"), Entries{"3\n"});
    EXPECT_EQ(motor_cur_dir, 0);
    EXPECT_EQ(motor_run(1, 4, 0), 0);
    EXPECT_EQ(writes("left"), Entries{"4\n"});
    EXPECT_EQ(motor_cur_dir, 1);
}

TEST_F(MotorRun, KeepsTheNodesWithAnyOtherStartDirection) {
    accept({"left", "right"});
    motor_start_dir = 2;
    EXPECT_EQ(motor_run(0, 3, 0), 0);
    EXPECT_EQ(motor_run(2, 4, 0), 0);
    EXPECT_EQ(writes("left"), Entries{"3\n"});
    EXPECT_EQ(writes("right"), Entries{"4\n"});
    EXPECT_EQ(motor_cur_dir, 2);
}

TEST_F(MotorRun, KeepsTheDirectionWhenTheDriverRefuses) {
    motor_cur_dir = 1;
    EXPECT_EQ(motor_run(0, 5, 1), -1);
    EXPECT_EQ(motor_cur_dir, 1);
    EXPECT_THAT(board.log(), EndsWith(tagged("motor_run,dir:0,steps:15 fail.")));
}

TEST_F(MotorRun, ByHandUsesTheAutomaticOffset) {
    accept({"left", "right"});
    motor_cur_dir = 0;
    EXPECT_EQ(motor_manual(1, 2), 0);
    EXPECT_EQ(writes("right"), Entries{"12\n"});
    EXPECT_THAT(board.log(),
                StartsWith(tagged("motor_manual,dir:1,steps:2") + tagged("motor_run,dir:1,steps:2,auto:1")));
}

TEST_F(MotorRun, ByHandReturnsNoFailure) {
    EXPECT_EQ(motor_manual(1, 2), 0);
    EXPECT_EQ(motor_cur_dir, -1);
}

// --- The ends ----------------------------------------------------------------------------------------

TEST_F(MotorZero, KnowsTheDirectionAfterwards) {
    accept({"zero"});
    EXPECT_EQ(motor_goto_zero(0), 0);
    EXPECT_EQ(motor_cur_dir, 0);
    EXPECT_EQ(writes("zero"), Entries{"1\n"});
    EXPECT_EQ(board.log(), tagged("motor_goto_zero "));
}

TEST_F(MotorZero, LeavesTheEndAndReturnsWithTheOffset) {
    accept({"zero", "left", "right"});
    EXPECT_EQ(motor_goto_zero(1), 0);
    EXPECT_EQ(motor_cur_dir, 0);
    EXPECT_EQ(board.journal({"write"}),
              (Entries{"write /sys/class/motor/zero 1\\n", "write /sys/class/motor/right 10\\n",
                       "write /sys/class/motor/zero 1\\n"}));
}

TEST_F(MotorZero, LogsTheOffset) {
    accept({"zero", "left", "right"});
    motor_goto_zero(1);
    EXPECT_THAT(board.log(),
                AllOf(StartsWith(tagged("motor_goto_zero ") + tagged("motor_goto_zero,add offset")),
                      Not(HasSubstr("fail"))));
}

TEST_F(MotorZero, TakesEveryOffsetSwitchButZeroForOn) {
    accept({"zero", "left", "right"});
    EXPECT_EQ(motor_goto_zero(-3), 0);
    EXPECT_EQ(writes("zero"), (Entries{"1\n", "1\n"}));
    EXPECT_EQ(writes("right"), Entries{"10\n"});
}

TEST_F(MotorZero, DrivesTheOffsetThroughTheLeftNodeWithStartDirectionOne) {
    accept({"zero", "left", "right"});
    motor_start_dir = 1;
    EXPECT_EQ(motor_goto_zero(1), 0);
    EXPECT_EQ(writes("left"), Entries{"10\n"});
    EXPECT_EQ(writes("right"), Entries{});
    EXPECT_EQ(motor_cur_dir, 0);
}

TEST_F(MotorZero, EndsWithAFailedFirstRun) {
    EXPECT_EQ(motor_goto_zero(1), -1);
    EXPECT_EQ(motor_cur_dir, -1);
    EXPECT_THAT(board.log(), EndsWith(tagged("motor_goto_zero  fail.")));
}

TEST_F(MotorZero, GoesOnAfterAFailedOffset) {
    accept({"zero"});
    EXPECT_EQ(motor_goto_zero(1), -1);
    EXPECT_EQ(motor_cur_dir, 0);
    EXPECT_EQ(writes("zero"), (Entries{"1\n", "1\n"}));
    EXPECT_THAT(board.log(), EndsWith(tagged("motor_goto_zero  goto offset fail.")));
}

TEST_F(MotorZero, SumsTheResultsWhenOffsetAndSecondRunFail) {
    accept({"zero"});
    Fault second;
    second.operation = "write";
    second.path = motor + "zero";
    second.nth = 2;
    second.error_number = EIO;
    board.fail(second);
    EXPECT_EQ(motor_goto_zero(1), -2);
    EXPECT_THAT(board.log(), EndsWith(tagged("motor_goto_zero  re goto zero fail.")));
}

TEST_F(MotorZero, KeepsTheDirectionOfTheOffsetWhenTheSecondRunFails) {
    accept({"zero", "right"});
    Fault second;
    second.operation = "write";
    second.path = motor + "zero";
    second.nth = 2;
    second.error_number = EIO;
    board.fail(second);
    EXPECT_EQ(motor_goto_zero(1), -1);
    EXPECT_EQ(motor_cur_dir, 1);
}

TEST_F(MotorEnd, KnowsTheDirectionAfterwards) {
    accept({"end"});
    EXPECT_EQ(motor_goto_end(), 0);
    EXPECT_EQ(motor_cur_dir, 1);
    EXPECT_EQ(writes("end"), Entries{"1\n"});
    EXPECT_EQ(board.log(), tagged("motor_goto_end "));
}

TEST_F(MotorEnd, FailsWithoutItsAttribute) {
    EXPECT_EQ(motor_goto_end(), -1);
    EXPECT_EQ(motor_cur_dir, -1);
    EXPECT_THAT(board.log(), EndsWith(tagged("motor_goto_end  fail.")));
}

// --- Travel ------------------------------------------------------------------------------------------

TEST_F(MotorAirTravel, SplitsTheTextAtItsFirstBlank) {
    board.text(motor + "air_travel", "12 34\n");
    int32_t left = 0;
    int32_t right = 0;
    EXPECT_EQ(motor_get_air_travel(&left, &right), 0);
    EXPECT_EQ(left, 12);
    EXPECT_EQ(right, 34);
    EXPECT_EQ(board.log(), tagged("motor_get_air_travel") + tagged("motor_get_air_travel,l:12,r:34"));
}

TEST_F(MotorAirTravel, IsAllLeftWithoutABlank) {
    board.text(motor + "air_travel", "56\n");
    int32_t left = 0;
    int32_t right = 9;
    EXPECT_EQ(motor_get_air_travel(&left, &right), 0);
    EXPECT_EQ(left, 56);
    EXPECT_EQ(right, 0);
}

TEST_F(MotorAirTravel, TakesAFirstBlankForAnEmptyLeft) {
    board.text(motor + "air_travel", " 34");
    int32_t left = 9;
    int32_t right = 9;
    EXPECT_EQ(motor_get_air_travel(&left, &right), 0);
    EXPECT_EQ(left, 0);
    EXPECT_EQ(right, 34);
}

TEST_F(MotorAirTravel, LooksAtSixteenCharacters) {
    board.text(motor + "air_travel", "0000000012 0003456");
    int32_t left = 0;
    int32_t right = 0;
    EXPECT_EQ(motor_get_air_travel(&left, &right), 0);
    EXPECT_EQ(left, 12);
    EXPECT_EQ(right, 34);
}

TEST_F(MotorAirTravel, StoresOnlyWhereItIsAskedTo) {
    board.text(motor + "air_travel", "-1 2");
    int32_t left = 0;
    int32_t right = 0;
    EXPECT_EQ(motor_get_air_travel(&left, nullptr), 0);
    EXPECT_EQ(motor_get_air_travel(nullptr, &right), 0);
    EXPECT_EQ(motor_get_air_travel(nullptr, nullptr), 0);
    EXPECT_EQ(left, -1);
    EXPECT_EQ(right, 2);
}

TEST_F(MotorAirTravel, FailsAndStoresNothing) {
    int32_t left = 7;
    int32_t right = 8;
    EXPECT_EQ(motor_get_air_travel(&left, &right), -1);
    EXPECT_EQ(left, 7);
    EXPECT_EQ(right, 8);
    EXPECT_THAT(board.log(), EndsWith(tagged("motor_get_air_travel  fail.")));
}

TEST_F(MotorTotalSteps, MeasuresAndThenReads) {
    board.text(motor + "total_steps", "1840\n");
    EXPECT_EQ(motor_get_total_steps(), 1840);
    EXPECT_EQ(board.journal({"write", "read"}),
              (Entries{"write /sys/class/motor/total_steps 1\\n", "read /sys/class/motor/total_steps"}));
    EXPECT_EQ(board.log(), tagged("motor_get_total_steps ret:1840"));
}

TEST_F(MotorTotalSteps, ReadsEvenWhenTheMeasurementWasRefused) {
    board.text(motor + "total_steps", "1840\n");
    Fault refused;
    refused.operation = "write";
    refused.path = motor + "total_steps";
    refused.error_number = EBUSY;
    board.fail(refused);
    EXPECT_EQ(motor_get_total_steps(), 1839);
}

TEST_F(MotorTotalSteps, SumsTwoFailures) { EXPECT_EQ(motor_get_total_steps(), -2); }

// --- Settings and raw steps --------------------------------------------------------------------------

TEST_F(MotorState, RemembersAnAcceptedStartDirection) {
    accept({"start_dir"});
    EXPECT_EQ(motor_set_start_dir(1), 0);
    EXPECT_EQ(motor_start_dir, 1);
    EXPECT_EQ(writes("start_dir"), Entries{"1\n"});
    EXPECT_EQ(board.log(), tagged("motor_set_start_dir dir:1"));
}

TEST_F(MotorState, ForgetsARefusedStartDirection) {
    EXPECT_EQ(motor_set_start_dir(1), -1);
    EXPECT_EQ(motor_start_dir, 0);
    EXPECT_THAT(board.log(), EndsWith(tagged("motor_set_start_dir  fail.")));
}

struct ValueAttribute {
    const char* function;
    int32_t (*write)(int32_t);
    const char* attribute;
    const char* label;
};

struct MotorValue : ::testing::WithParamInterface<ValueAttribute>, Motor {
    std::string name = GetParam().function;
};

TEST_P(MotorValue, IsWrittenWithoutATouchToTheDirection) {
    accept({GetParam().attribute});
    EXPECT_EQ(GetParam().write(-3), 0);
    EXPECT_EQ(GetParam().write(0), 0);
    EXPECT_EQ(writes(GetParam().attribute), (Entries{"-3\n", "0\n"}));
    EXPECT_EQ(motor_cur_dir, -1);
    EXPECT_EQ(board.log(),
              tagged(name + " " + GetParam().label + ":-3") + tagged(name + " " + GetParam().label + ":0"));
}

TEST_P(MotorValue, FailsWithoutItsAttribute) {
    EXPECT_EQ(GetParam().write(4), -1);
    EXPECT_THAT(board.log(), EndsWith(tagged(name + "  fail.")));
}

INSTANTIATE_TEST_SUITE_P(
    All, MotorValue,
    ::testing::Values(ValueAttribute{"motor_set_delay", motor_set_delay, "delay", "delay"},
                      ValueAttribute{"motor_set_excitation", motor_set_excitation, "excitation", "excitation"},
                      ValueAttribute{"motor_left_write", motor_left_write, "left", "val"},
                      ValueAttribute{"motor_right_write", motor_right_write, "right", "val"}),
    [](const auto& instance) { return std::string(instance.param.function); });

// --- The position sensor -----------------------------------------------------------------------------

TEST_F(MotorTmr, ReadsThePosition) {
    board.text(motor + "tmr_adc", "-734\n");
    int32_t tmr = 0;
    EXPECT_EQ(motor_tmr_read(&tmr), 0);
    EXPECT_EQ(tmr, -734);
    EXPECT_EQ(board.journal({"open", "read", "close"}),
              (Entries{"open /sys/class/motor/tmr_adc O_RDONLY", "read /sys/class/motor/tmr_adc",
                       "close /sys/class/motor/tmr_adc"}));
}

TEST_F(MotorTmr, AcceptsTwoThousandToEitherSide) {
    board.texts(motor + "tmr_adc", {"2000\n", "-2000\n"});
    int32_t tmr = 0;
    EXPECT_EQ(motor_tmr_read(&tmr), 0);
    EXPECT_EQ(tmr, 2000);
    EXPECT_EQ(motor_tmr_read(&tmr), 0);
    EXPECT_EQ(tmr, -2000);
}

TEST_F(MotorTmr, LogsMoreAsAFailedBusAndStoresItAllTheSame) {
    board.texts(motor + "tmr_adc", {"2001\n", "-2001\n"});
    int32_t tmr = 0;
    EXPECT_EQ(motor_tmr_read(&tmr), -1);
    EXPECT_EQ(tmr, 2001);
    EXPECT_EQ(board.log(), tagged("current tmr ret=5, tmr_adc:2001\n") + tagged("motor iic error:2001\n"));
    EXPECT_EQ(motor_tmr_read(&tmr), -1);
    EXPECT_EQ(tmr, -2001);
}

TEST_F(MotorTmr, ReadsASingleDigitAndClosesTheAttribute) {
    board.text(motor + "tmr_adc", "7");
    int32_t tmr = 0;
    EXPECT_EQ(motor_tmr_read(&tmr), 0);
    EXPECT_EQ(tmr, 7);
    EXPECT_EQ(board.open_descriptors(), Entries{});
}

TEST_F(MotorTmr, LooksAtSixCharacters) {
    board.text(motor + "tmr_adc", "0012345");
    int32_t tmr = 0;
    EXPECT_EQ(motor_tmr_read(&tmr), 0);
    EXPECT_EQ(tmr, 1234);
}

TEST_F(MotorTmr, LeavesTheValueWhenTheTextIsNoNumber) {
    board.text(motor + "tmr_adc", "busy\n");
    int32_t tmr = 321;
    EXPECT_EQ(motor_tmr_read(&tmr), 0);
    EXPECT_EQ(tmr, 321);
}

TEST_F(MotorTmr, PrintsExactlyThatItsAttributeIsMissing) {
    int32_t tmr = 5;
    EXPECT_EQ(motor_tmr_read(&tmr), -1);
    EXPECT_EQ(tmr, 5);
    EXPECT_EQ(board.log(), tagged("motor_tmr_read /sys/class/motor/tmr_adc fail!"));
}

TEST_F(MotorTmr, KeepsTheDescriptorOfAnEmptyRead) {
    board.text(motor + "tmr_adc", "");
    int32_t tmr = 5;
    EXPECT_EQ(motor_tmr_read(&tmr), -1);
    EXPECT_EQ(tmr, 5);
    EXPECT_EQ(board.open_descriptors(), Entries{"/sys/class/motor/tmr_adc"});
    EXPECT_EQ(board.log(), "");
}

TEST_F(MotorTmr, KeepsTheDescriptorOfARefusedRead) {
    board.text(motor + "tmr_adc", "1\n");
    Fault refused;
    refused.operation = "read";
    refused.path = motor + "tmr_adc";
    refused.error_number = EIO;
    board.fail(refused);
    int32_t tmr = 5;
    EXPECT_EQ(motor_tmr_read(&tmr), -1);
    EXPECT_EQ(board.open_descriptors(), Entries{"/sys/class/motor/tmr_adc"});
}

TEST_F(MotorTmr, HasNoUpdateAndNoMoveOfItsOwn) {
    EXPECT_EQ(update_tmr_adc(), 0);
    EXPECT_EQ(motor_move_to_tmr(700), 0);
    EXPECT_EQ(board.journal(), Entries{});
}

TEST_F(MotorTotalSteps, SumOfAFailedWriteAndTheLeastNumberWraps) {
    board.text(motor + "total_steps", "-2147483648\n");
    Fault refused;
    refused.operation = "write";
    refused.path = motor + "total_steps";
    refused.error_number = EBUSY;
    board.fail(refused);
    EXPECT_EQ(motor_get_total_steps(), 2147483647);
}

}  // namespace
