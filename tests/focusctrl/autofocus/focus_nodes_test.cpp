#include "ovrafocus/focus_nodes.h"

#include <errno.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <string>
#include <vector>

#include "ovrafocus/keystone_width.h"
#include "ovrafocus/lifecycle.h"
#include "tests/support/log_lines.h"
#include "tests/support/scripted_board.h"

namespace {

using testkit::ScriptedBoard;
using testkit::tagged;
using Journal = std::vector<std::string>;

const std::string ranging = "/sys/class/nd_tof/nds01/ranging_data";
const std::string stop = "/sys/class/motor/stop";
const std::string temperature = "/sys/devices/platform/pwm-fan/r_temp";
const std::string pulse = "/sys/class/motor/pulse";
const std::string tmr_direction = "/sys/class/motor/tmr_dir_flg";
const std::string curve_node = "/sys/class/dlp/elepn_focus_curve_data";
const std::string position = "/sys/class/motor/tmr_adc";
const std::string left_steps = "/sys/class/motor/left";
const std::string right_steps = "/sys/class/motor/right";

constexpr std::int32_t untouched = 77;

struct FocusNodes : ::testing::Test {
    FocusNodes() {
        direction = 0;
        lastDirection = 1;
        lastDistance = 300;
        g_flag_elepn_temp = 0;
        currentKeystoneAngle = 0;
    }
    ScriptedBoard board;
};

// --- Exported variables ----------------------------------------------------------------------------------

TEST(FocusNodesAtLoad, HaveTheirDefaults) {
    EXPECT_EQ(lastDirection, 1);
    EXPECT_EQ(lastDistance, 300);
    EXPECT_EQ(direction, 0);
    EXPECT_TRUE(std::all_of(elepnCalidata, elepnCalidata + 25, [](std::int32_t v) { return v == 0; }));
}

TEST_F(FocusNodes, AreSilentWhenANodeIsEmptyOrRefuses) {
    std::array<std::int32_t, 25> numbers{};
    for (const std::string& node : {ranging, stop, temperature, pulse, curve_node}) board.text(node, "");
    tof_distance_read(numbers.data());
    motor_stop_read();
    r_led_temp_read();
    elepn_calidata_read(numbers.data());
    board.fail({"read", ranging, 0, EIO, -1, ""});
    tof_distance_read(numbers.data());
    board.fail({"write", pulse, 0, EINVAL, -1, ""});
    motor_pulse_write(1);
    EXPECT_EQ(board.log(), "");
}

TEST_F(FocusNodes, AreSilentAboutDistancesStopsAndPulses) {
    std::array<std::int32_t, 8> frame{};
    board.text(ranging, "1000,1100,1200,1300,10,20,30,40");
    board.text(pulse, "");
    tof_distance_read(frame.data());
    for (const char* answer : {"0", "1", "x"}) {
        board.text(stop, answer);
        motor_stop_read();
    }
    motor_pulse_write(2);
    EXPECT_EQ(board.log(), "");
}

// --- Ranging ---------------------------------------------------------------------------------------------

using Frame = std::array<std::int32_t, 8>;

struct TofDistanceRead : FocusNodes {
    TofDistanceRead() { frame.fill(untouched); }
    Frame frame{};
};

TEST_F(TofDistanceRead, GivesTheEightNumbersOfTheNode) {
    board.text(ranging, "1000,1100,1200,1300,10,20,30,40\n");
    EXPECT_EQ(tof_distance_read(frame.data()), 0);
    EXPECT_EQ(frame, (Frame{1000, 1100, 1200, 1300, 10, 20, 30, 40}));
    EXPECT_TRUE(board.open_descriptors().empty());
}

TEST_F(TofDistanceRead, OpensReadsOnceAndCloses) {
    board.text(ranging, "1,2,3,4,5,6,7,8");
    tof_distance_read(frame.data());
    EXPECT_EQ(board.journal(),
              (Journal{"open " + ranging + " O_RDONLY", "read " + ranging, "close " + ranging}));
}

TEST_F(TofDistanceRead, GivesZerosForNumbersThatAreMissing) {
    board.text(ranging, "1000,1100");
    EXPECT_EQ(tof_distance_read(frame.data()), 0);
    EXPECT_EQ(frame, (Frame{1000, 1100, 0, 0, 0, 0, 0, 0}));
    board.text(ranging, "busy");
    EXPECT_EQ(tof_distance_read(frame.data()), 0);
    EXPECT_EQ(frame, Frame{});
}

TEST_F(TofDistanceRead, DoesNotTakeUpTheRestOfALongerTextBefore) {
    board.text(ranging, "1000,1100,1200,1300,10,20,30,40\n");
    tof_distance_read(frame.data());
    board.text(ranging, "5,6");
    tof_distance_read(frame.data());
    EXPECT_EQ(frame, (Frame{5, 6, 0, 0, 0, 0, 0, 0}));
}

TEST_F(TofDistanceRead, FillsEightValuesAndNoMore) {
    std::array<std::int32_t, 9> nine{};
    nine[8] = untouched;
    board.text(ranging, "1,2,3,4,5,6,7,8,9");
    tof_distance_read(nine.data());
    EXPECT_EQ(nine, (std::array<std::int32_t, 9>{1, 2, 3, 4, 5, 6, 7, 8, untouched}));
}

TEST_F(TofDistanceRead, ReadsNoMoreThan36Bytes) {
    board.text(ranging, "1000,1000,1000,1000,1000,1000,1000,123456");
    EXPECT_EQ(tof_distance_read(frame.data()), 0);
    EXPECT_EQ(frame[7], 1);
}

TEST_F(TofDistanceRead, FailsWithoutTheNode) {
    EXPECT_EQ(tof_distance_read(frame.data()), -1);
    EXPECT_EQ(frame[0], untouched);
    EXPECT_EQ(board.log(), tagged("tof_distance_read /sys/class/nd_tof/nds01/ranging_data fail!"));
}

TEST_F(TofDistanceRead, FailsOnAnEmptyNodeAndClosesIt) {
    board.text(ranging, "");
    EXPECT_EQ(tof_distance_read(frame.data()), -1);
    EXPECT_EQ(frame[0], untouched);
    EXPECT_TRUE(board.open_descriptors().empty());
}

TEST_F(TofDistanceRead, FailsOnAReadError) {
    board.text(ranging, "1,2,3,4,5,6,7,8");
    board.fail({"read", ranging, 0, EIO, -1, ""});
    EXPECT_EQ(tof_distance_read(frame.data()), -1);
    EXPECT_EQ(frame[0], untouched);
}

// --- Motor stop ------------------------------------------------------------------------------------------

struct MotorStopRead : FocusNodes {};

TEST_F(MotorStopRead, IsZeroWhenTheNodeSaysOne) {
    board.text(stop, "1\n");
    EXPECT_EQ(motor_stop_read(), 0);
    EXPECT_EQ(board.journal(), (Journal{"open " + stop + " O_RDONLY", "read " + stop, "close " + stop}));
}

TEST_F(MotorStopRead, LooksAtOneByteOnly) {
    board.text(stop, "10");
    EXPECT_EQ(motor_stop_read(), 0);
    board.text(stop, "01");
    EXPECT_EQ(motor_stop_read(), -1);
}

TEST_F(MotorStopRead, IsMinusOneForAnyOtherAnswer) {
    for (const char* answer : {"0", "2", " 1", "x", "\n"}) {
        board.text(stop, answer);
        EXPECT_EQ(motor_stop_read(), -1) << answer;
    }
}

TEST_F(MotorStopRead, IsMinusOneForAnEmptyNodeAndClosesIt) {
    board.text(stop, "");
    EXPECT_EQ(motor_stop_read(), -1);
    EXPECT_TRUE(board.open_descriptors().empty());
}

TEST_F(MotorStopRead, FailsWithoutTheNode) {
    EXPECT_EQ(motor_stop_read(), -1);
    EXPECT_EQ(board.log(), tagged("motor_stop_read /sys/class/motor/stop fail!"));
}

// --- LED temperature -------------------------------------------------------------------------------------

struct LedTemperature : FocusNodes {};

TEST_F(LedTemperature, IsTheNumberOfTheNode) {
    board.text(temperature, "47\n");
    EXPECT_EQ(r_led_temp_read(), 47);
    EXPECT_EQ(board.log(), tagged("r_led_temp_read=47\n"));
    EXPECT_TRUE(board.open_descriptors().empty());
}

TEST_F(LedTemperature, ReadsOnceAndCloses) {
    board.text(temperature, "-12");
    EXPECT_EQ(r_led_temp_read(), -12);
    EXPECT_EQ(board.journal({"open", "read", "close"}),
              (Journal{"open " + temperature + " O_RDONLY", "read " + temperature, "close " + temperature}));
}

TEST_F(LedTemperature, IsZeroForATextThatIsNoNumber) {
    for (const char* text : {"hot\n", "\n"}) {
        board.text(temperature, text);
        EXPECT_EQ(r_led_temp_read(), 0);
    }
}

TEST_F(LedTemperature, ReadsAtMost1023Bytes) {
    board.text(temperature, std::string(1021, ' ') + "4567");
    EXPECT_EQ(r_led_temp_read(), 45);
}

TEST_F(LedTemperature, FailsWithoutTheNode) {
    EXPECT_EQ(r_led_temp_read(), -1);
    EXPECT_EQ(board.log(), tagged("r_led_temp_read /sys/devices/platform/pwm-fan/r_temp fail!"));
}

TEST_F(LedTemperature, FailsOnAnEmptyNodeAndClosesIt) {
    board.text(temperature, "");
    EXPECT_EQ(r_led_temp_read(), -1);
    EXPECT_TRUE(board.open_descriptors().empty());
}

// --- Pulse and direction ---------------------------------------------------------------------------------

struct MotorSettings : FocusNodes {};

TEST_F(MotorSettings, PulseIsWrittenAsBareDecimal) {
    board.text(pulse, "");
    EXPECT_EQ(motor_pulse_write(2), 0);
    EXPECT_EQ(motor_pulse_write(-13), 0);
    EXPECT_EQ(board.writes(pulse), (Journal{"2", "-13"}));
    EXPECT_TRUE(board.open_descriptors().empty());
}

TEST_F(MotorSettings, PulseFailsWithoutTheNode) {
    EXPECT_EQ(motor_pulse_write(2), -1);
    EXPECT_EQ(board.log(), tagged("motor_pulse_write(), line:898. open fail!\n"));
}

TEST_F(MotorSettings, PulseDoesNotNoticeARefusedWrite) {
    board.text(pulse, "");
    board.fail({"write", pulse, 0, EINVAL, -1, ""});
    EXPECT_EQ(motor_pulse_write(1), 0);
}

TEST_F(MotorSettings, DirectionIsWrittenAsBareDecimalAndPrintedExactly) {
    board.text(tmr_direction, "");
    EXPECT_EQ(motor_dir_write(1), 0);
    EXPECT_EQ(board.writes(tmr_direction), Journal{"1"});
    EXPECT_EQ(board.log(), tagged("motor_dir_flg_write val:1 \n"));
}

TEST_F(MotorSettings, DirectionIsPrintedBetweenOpenAndWrite) {
    board.text(tmr_direction, "");
    motor_dir_write(0);
    const Journal journal = board.journal();
    const auto at = [&journal](const std::string& begin) {
        return std::find_if(journal.begin(), journal.end(),
                            [&begin](const std::string& entry) { return entry.rfind(begin, 0) == 0; });
    };
    EXPECT_LT(at("open"), at("print"));
    EXPECT_LT(at("print"), at("write"));
    EXPECT_LT(at("write"), at("close"));
    EXPECT_LT(at("close"), journal.end());
}

TEST_F(MotorSettings, DirectionFailsWithoutTheNodeAndPrintsNoValue) {
    EXPECT_EQ(motor_dir_write(1), -1);
    EXPECT_EQ(board.log(), tagged("motor_dir_write(), line:1992. open fail!\n"));
}

TEST_F(MotorSettings, DirectionDoesNotNoticeARefusedWrite) {
    board.text(tmr_direction, "");
    board.fail({"write", tmr_direction, 0, EIO, -1, ""});
    EXPECT_EQ(motor_dir_write(1), 0);
}

// --- Focus curve -----------------------------------------------------------------------------------------

using Curve = std::array<std::int32_t, 25>;

const std::string curve_text = "1 2 3 4 5 6 7 240 200 160 120 80 40 0 65496 65456 65416 65376 65336 65296\n";
const Curve curve_values = {-240, -220, -200, -180, -160, -140, -120, -100, -80, -60, -40, -20, 0,
                            20,   40,   60,   80,   100,  120,  140,  160,  180, 200, 220, 240};

struct FocusCurve : FocusNodes {
    FocusCurve() { curve.fill(untouched); }
    Curve curve{};
};

TEST_F(FocusCurve, IsExpandedToThePlacesAndPrintedExactly) {
    board.text(curve_node, curve_text);
    EXPECT_EQ(elepn_calidata_read(curve.data()), 0);
    EXPECT_EQ(curve, curve_values);
    EXPECT_EQ(g_flag_elepn_temp, 1);
    EXPECT_EQ(
        board.log(),
        tagged("g_flag_elepn_temp = 1\n") +
            tagged(
                "elepn_calidata_read : -240 -220 -200 -180 -160 -140 -120 -100 -80 -60 -40 -20 0 20 40 60 80 "
                "100 120 140 160 180 200 220 240\n"));
}

TEST_F(FocusCurve, ClosesTheNodeBetweenTheFlagAndTheValues) {
    board.text(curve_node, curve_text);
    elepn_calidata_read(curve.data());
    Journal journal = board.journal();
    journal.erase(
        std::remove_if(journal.begin(), journal.end(),
                       [](const std::string& entry) { return entry == "print " || entry == "print"; }),
        journal.end());
    ASSERT_EQ(journal.size(), 5U);
    EXPECT_EQ(journal[0], "open " + curve_node + " O_RDONLY");
    EXPECT_EQ(journal[1], "read " + curve_node);
    EXPECT_EQ(journal[2].rfind("print", 0), 0U);
    EXPECT_EQ(journal[3], "close " + curve_node);
    EXPECT_EQ(journal[4].rfind("print", 0), 0U);
}

TEST_F(FocusCurve, ChangesItsSignForAnyPolarityButZero) {
    for (const std::int32_t polarity : {1, 2, -1}) {
        direction = polarity;
        board.text(curve_node, curve_text);
        elepn_calidata_read(curve.data());
        for (std::size_t i = 0; i < curve.size(); ++i) EXPECT_EQ(curve[i], -curve_values[i]) << polarity;
    }
}

TEST_F(FocusCurve, FillsTwentyFiveValuesAndNoMore) {
    std::array<std::int32_t, 26> longer{};
    longer[25] = untouched;
    board.text(curve_node, curve_text);
    elepn_calidata_read(longer.data());
    EXPECT_EQ(longer[24], 240);
    EXPECT_EQ(longer[25], untouched);
}

TEST_F(FocusCurve, TakesMissingNumbersAsZero) {
    board.text(curve_node, "1 2 3 4 5 6 7 240 200");
    EXPECT_EQ(elepn_calidata_read(curve.data()), 0);
    EXPECT_EQ(curve[24], 240);
    EXPECT_EQ(curve[23], 220);
    EXPECT_EQ(curve[22], 200);
    EXPECT_EQ(curve[21], 100);
    EXPECT_EQ(curve[20], 0);
    EXPECT_EQ(curve[0], 0);
}

TEST_F(FocusCurve, ReadsAtMost1024Bytes) {
    std::string text = curve_text.substr(0, curve_text.rfind(' '));
    text += std::string(1024 - text.size() - 2, ' ') + "1234";
    board.text(curve_node, text);
    elepn_calidata_read(curve.data());
    EXPECT_EQ(curve[0], 12);
}

TEST_F(FocusCurve, FailsWithoutTheNodeAndClearsItsFlag) {
    g_flag_elepn_temp = 1;
    EXPECT_EQ(elepn_calidata_read(curve.data()), -1);
    EXPECT_EQ(g_flag_elepn_temp, 0);
    EXPECT_EQ(curve[0], untouched);
    EXPECT_EQ(board.log(), tagged("elepn_calidata_read fail!"));
}

TEST_F(FocusCurve, FailsOnAnEmptyNodeAndClosesIt) {
    g_flag_elepn_temp = 1;
    board.text(curve_node, "");
    EXPECT_EQ(elepn_calidata_read(curve.data()), -1);
    EXPECT_EQ(g_flag_elepn_temp, 0);
    EXPECT_EQ(curve[0], untouched);
    EXPECT_TRUE(board.open_descriptors().empty());
}

// --- Moves -----------------------------------------------------------------------------------------------

struct MotorMoves : FocusNodes {
    MotorMoves() {
        board.text(left_steps, "");
        board.text(right_steps, "");
    }
};

TEST_F(MotorMoves, ToTheLeftPrintExactlyTheirStepsAndAReversalOnce) {
    EXPECT_EQ(varnel_motor_left_write(3), 0);
    EXPECT_EQ(lastDirection, 0);
    EXPECT_EQ(board.writes(left_steps), Journal{"3\n"});
    EXPECT_EQ(board.log(),
              tagged("motor_left_write val:3") + tagged("\033[42;1mmotor change move to left\033[0m"));
    EXPECT_EQ(varnel_motor_left_write(2), 0);
    EXPECT_EQ(board.log(), tagged("motor_left_write val:2"));
}

TEST_F(MotorMoves, ToTheRightPrintExactlyTheirStepsAndAReversalOnce) {
    lastDirection = 0;
    EXPECT_EQ(varnel_motor_right_write(3), 0);
    EXPECT_EQ(lastDirection, 1);
    EXPECT_EQ(board.writes(right_steps), Journal{"3\n"});
    EXPECT_EQ(board.log(),
              tagged("motor_right_write val:3") + tagged("\033[42;1mmotor change move to right\033[0m"));
    EXPECT_EQ(varnel_motor_right_write(2), 0);
    EXPECT_EQ(board.log(), tagged("motor_right_write val:2"));
}

TEST_F(MotorMoves, OfNoStepReachTheMotorAndKeepTheDirection) {
    EXPECT_EQ(varnel_motor_left_write(0), 0);
    EXPECT_EQ(lastDirection, 1);
    EXPECT_EQ(board.writes(left_steps), Journal{"0\n"});
    lastDirection = 0;
    EXPECT_EQ(varnel_motor_right_write(0), 0);
    EXPECT_EQ(lastDirection, 0);
    EXPECT_EQ(board.writes(right_steps), Journal{"0\n"});
}

TEST_F(MotorMoves, ThatFailStillChangeTheDirection) {
    board.fail({"write", left_steps, 0, EIO, -1, ""});
    EXPECT_EQ(varnel_motor_left_write(1), -1);
    EXPECT_EQ(lastDirection, 0);
    board.fail({"write", right_steps, 0, EIO, -1, ""});
    EXPECT_EQ(varnel_motor_right_write(1), -1);
    EXPECT_EQ(lastDirection, 1);
}

TEST_F(MotorMoves, OfNoStepGiveTheMotorsFailure) {
    board.remove(left_steps);
    board.remove(right_steps);
    EXPECT_EQ(varnel_motor_left_write(0), -1);
    EXPECT_EQ(varnel_motor_right_write(0), -1);
    EXPECT_EQ(lastDirection, 1);
}

TEST_F(MotorMoves, FromAnUnknownDirectionLogNoReversal) {
    lastDirection = 2;
    varnel_motor_left_write(1);
    EXPECT_EQ(lastDirection, 0);
    lastDirection = 2;
    varnel_motor_right_write(1);
    EXPECT_EQ(lastDirection, 1);
    EXPECT_EQ(board.log().find("change"), std::string::npos);
}

// --- Position --------------------------------------------------------------------------------------------

struct LensPosition : FocusNodes {
    LensPosition() {
        board.text(stop, "1");
        board.text(position, "-123\n");
    }
    std::int32_t tmr = untouched;
};

TEST_F(LensPosition, IsReadAtOnceWhenTheMotorRests) {
    EXPECT_EQ(motor_tmr_x_dir_read(&tmr), 0);
    EXPECT_EQ(tmr, -123);
    EXPECT_TRUE(board.journal({"sleep"}).empty());
}

TEST_F(LensPosition, IsNegatedForAPolarityOfOneAlone) {
    direction = 1;
    EXPECT_EQ(motor_tmr_x_dir_read(&tmr), 0);
    EXPECT_EQ(tmr, 123);
    for (const std::int32_t polarity : {0, 2, -1}) {
        direction = polarity;
        EXPECT_EQ(motor_tmr_x_dir_read(&tmr), 0);
        EXPECT_EQ(tmr, -123) << polarity;
    }
}

TEST_F(LensPosition, KeepsItsSignWhenTheReadFails) {
    direction = 1;
    board.text(position, "2001");
    EXPECT_EQ(motor_tmr_x_dir_read(&tmr), -1);
    EXPECT_EQ(tmr, 2001);
}

TEST_F(LensPosition, FailsWithoutTheSensor) {
    board.remove(position);
    EXPECT_EQ(motor_tmr_x_dir_read(&tmr), -1);
    EXPECT_EQ(tmr, untouched);
}

TEST_F(LensPosition, WaitsForARunningMotor) {
    board.texts(stop, {"0", "0", "1"});
    EXPECT_EQ(motor_tmr_x_dir_read(&tmr), 0);
    EXPECT_EQ(tmr, -123);
    EXPECT_EQ(board.journal({"sleep"}), Journal(2, "sleep 20000"));
}

TEST_F(LensPosition, AsksAgainAfterEachPauseAndThenLogsIt) {
    board.texts(stop, {"0", "1"});
    motor_tmr_x_dir_read(&tmr);
    Journal journal = board.journal({"read", "sleep", "print"});
    journal.resize(4);
    EXPECT_EQ(journal,
              (Journal{"read " + stop, "sleep 20000", "read " + stop, "print [ovra_focus]  MOTOR RUNNING"}));
}

std::string repeated(int count, const std::string& text) {
    std::string all;
    for (int i = 0; i < count; ++i) all += text;
    return all;
}

TEST_F(LensPosition, IsReadWhenTheTwentyFirstAnswerIsThatTheMotorRests) {
    std::vector<std::string> answers(20, "0");
    answers.emplace_back("1");
    board.texts(stop, answers);
    EXPECT_EQ(motor_tmr_x_dir_read(&tmr), 0);
    EXPECT_EQ(tmr, -123);
    EXPECT_EQ(board.journal({"sleep"}), Journal(20, "sleep 20000"));
}

TEST_F(LensPosition, LogsTwentyOneAnswersTimesOutAndIgnoresTheNext) {
    std::vector<std::string> answers(21, "0");
    answers.emplace_back("1");
    board.texts(stop, answers);
    EXPECT_EQ(motor_tmr_x_dir_read(&tmr), -1);
    EXPECT_EQ(tmr, untouched);
    EXPECT_EQ(board.log(), repeated(21, tagged("MOTOR RUNNING")) + tagged("MOTOR RUNNING TIME OUT"));
    EXPECT_EQ(board.journal({"sleep"}), Journal(21, "sleep 20000"));
}

TEST_F(LensPosition, TakesAMissingStopNodeForARunningMotor) {
    board.remove(stop);
    EXPECT_EQ(motor_tmr_x_dir_read(&tmr), -1);
    EXPECT_EQ(board.journal({"sleep"}), Journal(21, "sleep 20000"));
}

}  // namespace
