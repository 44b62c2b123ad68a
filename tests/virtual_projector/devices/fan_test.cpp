#include "tests/virtual_projector/devices/board_fixture.h"

namespace vp {
namespace {

const std::string fan = "/sys/devices/platform/pwm-fan/";
const std::string curve = "/sys/class/dlp/elepn_focus_curve_data";

struct FanTest : BoardTest {};

TEST_F(FanTest, ShowsTheLedTemperature) {
    EXPECT_EQ(read(fan + "r_temp"), "45\n");
    set("led.temperature_c", 55.6);
    EXPECT_EQ(read(fan + "r_temp"), "56\n");
    EXPECT_EQ(open_error(fan + "r_temp", O_RDWR), EACCES);
}

TEST_F(FanTest, TakesASpeedOnlyOutOfAutomaticControl) {
    EXPECT_EQ(read(fan + "fan_auto_ctrl"), "1\n");
    EXPECT_EQ(write(fan + "target_speed", "2000\n", O_RDWR), -EBUSY);
    EXPECT_EQ(write(fan + "fan_auto_ctrl", "0\n", O_RDWR), 2);
    EXPECT_EQ(write(fan + "target_speed", "2000\n", O_RDWR), 5);
    EXPECT_EQ(read(fan + "target_speed"), "2000\n");
}

TEST_F(FanTest, RefusesWhatItCannotDo) {
    write(fan + "fan_auto_ctrl", "0");
    EXPECT_EQ(write(fan + "target_speed", "-1"), -EINVAL);
    EXPECT_EQ(write(fan + "target_speed", "fast"), -EINVAL);
    EXPECT_EQ(write(fan + "fan_auto_ctrl", "2"), -EINVAL);
}

TEST_F(FanTest, CanBeMissing) {
    set("board.has_fan", 0);
    EXPECT_EQ(open_error(fan + "r_temp", O_RDONLY), ENOENT);
    EXPECT_EQ(open_error(fan + "target_speed", O_RDWR), ENOENT);
}

TEST_F(FanTest, TheFocusCurveIsThereOnlyWhenPublished) {
    EXPECT_EQ(open_error(curve, O_RDONLY), ENOENT);
    set("board.has_elepn_curve", 1);
    EXPECT_EQ(read(curve), "13 0 0 0 0 0 0 140 122 104 86 68 50 32 14 65532 65514 65496 65478 65460\n");
    EXPECT_EQ(open_error(curve, O_RDWR), EACCES);
}

}  // namespace
}  // namespace vp
