#include "tests/virtual_projector/devices/board_fixture.h"

namespace vp {
namespace {

constexpr Microseconds step_us = 4000;  // at 250 steps per second
const std::string motor = "/sys/class/motor/";

struct MotorTest : BoardTest {
    double position() {
        return board->with_world([](World& w) { return w.settings().lens.position_steps; });
    }
    void finish() {
        now = board->with_world([](World& w) { return w.lens_finish_time(); });
    }
};

TEST_F(MotorTest, IsBusyForAsLongAsItsStepsTake) {
    EXPECT_EQ(read(motor + "stop"), "1\n");
    EXPECT_EQ(write(motor + "right", "5\n"), 2);
    EXPECT_EQ(read(motor + "stop"), "0\n");
    now = 5 * step_us - 1;
    EXPECT_EQ(read(motor + "stop"), "0\n");
    now = 5 * step_us;
    EXPECT_EQ(read(motor + "stop"), "1\n");
    EXPECT_EQ(position(), 23);
}

TEST_F(MotorTest, ReversedItLosesItsBacklash) {
    write(motor + "left", "3");
    finish();
    EXPECT_EQ(position(), 18);
    write(motor + "left", "3");
    finish();
    EXPECT_EQ(position(), 15);
    write(motor + "right", "4");
    finish();
    EXPECT_EQ(position(), 17);
}

TEST_F(MotorTest, ThePulseSettingChoosesFullOrHalfSteps) {
    EXPECT_EQ(read(motor + "pulse"), "2\n");
    EXPECT_EQ(write(motor + "pulse", "1"), 1);
    EXPECT_EQ(read(motor + "pulse"), "1\n");
    write(motor + "right", "3");
    finish();
    EXPECT_EQ(position(), 19.5);
    EXPECT_EQ(write(motor + "pulse", "3"), -EINVAL);
    EXPECT_EQ(write(motor + "pulse", "0"), -EINVAL);
}

TEST_F(MotorTest, AMoveCountsWithThePulseSettingOfItsWrite) {
    write(motor + "right", "2");
    write(motor + "pulse", "1");
    finish();
    EXPECT_EQ(position(), 20);
}

TEST_F(MotorTest, AMoveToABusyMotorWaitsItsTurn) {
    write(motor + "right", "2");
    write(motor + "right", "2");
    now = 3 * step_us;
    EXPECT_EQ(read(motor + "stop"), "0\n");
    EXPECT_EQ(position(), 21);
    now = 4 * step_us;
    EXPECT_EQ(read(motor + "stop"), "1\n");
    EXPECT_EQ(position(), 22);
}

TEST_F(MotorTest, RefusesMoreMovesThanItsQueueHolds) {
    for (std::size_t i = 0; i < LensMotor::queue_limit; ++i) EXPECT_EQ(write(motor + "right", "1"), 1);
    EXPECT_EQ(write(motor + "right", "1"), -EBUSY);
}

TEST_F(MotorTest, TakesAMoveOfNothingAndRefusesOneOfLess) {
    EXPECT_EQ(write(motor + "left", "0\n"), 2);
    EXPECT_EQ(read(motor + "stop"), "1\n");
    EXPECT_EQ(write(motor + "left", "-1"), -EINVAL);
    EXPECT_EQ(write(motor + "left", "10001"), -EINVAL);
    EXPECT_EQ(write(motor + "right", "one"), -EINVAL);
}

TEST_F(MotorTest, ShowsThePositionSensor) {
    const int reading = std::stoi(read(motor + "tmr_adc"));
    EXPECT_NEAR(reading, 6, 4);
    write(motor + "right", "10");
    finish();
    EXPECT_NEAR(std::stoi(read(motor + "tmr_adc")), 186, 4);
}

TEST_F(MotorTest, AMovingLensIsReadWhereItIs) {
    set("tmr.noise_sigma", 0);
    write(motor + "right", "10");
    now = 5 * step_us;
    EXPECT_EQ(read(motor + "tmr_adc"), "96\n");
}

TEST_F(MotorTest, ABrokenBusReadsFarOutOfRange) {
    set("tmr.bus_error", 1);
    EXPECT_EQ(read(motor + "tmr_adc"), "32767\n");
}

TEST_F(MotorTest, GoesToItsEndsAndSaysSo) {
    EXPECT_EQ(read(motor + "place"), "0\n");
    EXPECT_EQ(write(motor + "zero", "1\n"), 2);
    finish();
    EXPECT_EQ(position(), 0);
    EXPECT_EQ(read(motor + "place"), "1\n");
    EXPECT_EQ(read(motor + "pos"), "0\n");
    EXPECT_EQ(write(motor + "end", "1\n"), 2);
    finish();
    EXPECT_EQ(position(), 42);
    EXPECT_EQ(read(motor + "place"), "2\n");
    EXPECT_EQ(read(motor + "pos"), "42\n");
    EXPECT_EQ(write(motor + "zero", "0"), -EINVAL);
    EXPECT_EQ(write(motor + "end", "2"), -EINVAL);
}

TEST_F(MotorTest, ZeroAndEndShowWhetherTheLensIsThere) {
    const auto expect_switches = [this](const char* zero, const char* end) {
        EXPECT_EQ(read(motor + "zero"), zero) << position();
        EXPECT_EQ(read(motor + "end"), end) << position();
    };
    expect_switches("0\n", "0\n");
    write(motor + "zero", "1");
    finish();
    expect_switches("1\n", "0\n");
    write(motor + "end", "1");
    finish();
    expect_switches("0\n", "1\n");
    EXPECT_EQ(write(motor + "zero", "2"), -EINVAL);
}

TEST_F(MotorTest, MeasuresItsTravelAndLetsTheReaderWait) {
    EXPECT_EQ(write(motor + "total_steps", "1\n"), 2);
    const auto file = open(motor + "total_steps", O_RDONLY);
    char text[8] = {};
    const Answer first = file->read(text, sizeof text);
    ASSERT_TRUE(first.wait);
    EXPECT_GT(first.until, 60 * step_us);
    EXPECT_EQ(read(motor + "total_steps"), "42\n");
    EXPECT_EQ(read(motor + "stop"), "1\n");
}

TEST_F(MotorTest, ShowsItsBacklashLeftThenRight) { EXPECT_EQ(read(motor + "air_travel"), "3 2\n"); }

TEST_F(MotorTest, KeepsItsOtherSettings) {
    for (const char* name : {"tmr_dir_flg", "start_dir", "excitation"}) {
        EXPECT_EQ(read(motor + name), "0\n");
        EXPECT_EQ(write(motor + name, "1", O_RDWR), 1);
        EXPECT_EQ(read(motor + name), "1\n");
        EXPECT_EQ(write(motor + name, "4"), -EINVAL);
        EXPECT_EQ(write(motor + name, "-1"), -EINVAL);
    }
}

TEST_F(MotorTest, TheDelayIsTheTimeOfAStep) {
    EXPECT_EQ(write(motor + "delay", "10000"), 5);
    write(motor + "right", "2");
    now = 19999;
    EXPECT_EQ(read(motor + "stop"), "0\n");
    now = 20000;
    EXPECT_EQ(read(motor + "stop"), "1\n");
    EXPECT_EQ(write(motor + "delay", "-1"), -EINVAL);
}

TEST_F(MotorTest, ItsReadingsCannotBeWritten) {
    for (const char* name : {"stop", "tmr_adc", "place", "pos", "air_travel"}) {
        EXPECT_EQ(open_error(motor + name, O_RDWR), EACCES) << name;
    }
}

TEST_F(MotorTest, IsMissingWithoutADriver) {
    set("board.has_motor", 0);
    EXPECT_EQ(open_error(motor + "left", O_RDWR), ENOENT);
    EXPECT_EQ(open_error(motor + "tmr_adc", O_RDONLY), ENOENT);
}

}  // namespace
}  // namespace vp
