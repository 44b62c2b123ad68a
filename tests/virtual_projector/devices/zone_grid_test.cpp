#include "tests/virtual_projector/devices/board_fixture.h"

namespace vp {
namespace {

const std::string tof = "/sys/class/tof/";
const std::string nothing(72, '0');

struct ZoneGridTest : BoardTest {
    void start() {
        write(tof + "mode", "3\n");
        write(tof + "spad_map_id", "6\n");
        write(tof + "capture", "1\n");
    }
    int distance_of(std::size_t zone) {
        return std::stoi(read(tof + "distance").substr(8 * zone + 4, 4), nullptr, 16);
    }
    int quality_of(std::size_t zone) {
        return std::stoi(read(tof + "distance").substr(8 * zone, 4), nullptr, 16);
    }
};

TEST_F(ZoneGridTest, ShowsNineWordsOfEightDigits) {
    start();
    const std::string text = read(tof + "distance");
    EXPECT_EQ(text.size(), 72u);
    EXPECT_EQ(text.find_first_not_of("0123456789ABCDEF"), std::string::npos);
    EXPECT_NEAR(distance_of(4), 1511, 5);  // 1500 / cos 7 degrees
    EXPECT_EQ(quality_of(4), 100);
}

TEST_F(ZoneGridTest, MeasuresNothingUntilCaptureIsSwitchedOn) {
    EXPECT_EQ(read(tof + "distance"), nothing);
    write(tof + "capture", "1");
    EXPECT_EQ(read(tof + "distance"), nothing);
    write(tof + "mode", "3");
    EXPECT_NE(read(tof + "distance"), nothing);
    write(tof + "capture", "0");
    EXPECT_EQ(read(tof + "distance"), nothing);
}

TEST_F(ZoneGridTest, WithoutPowerItForgetsThatItMeasured) {
    start();
    EXPECT_EQ(write(tof + "chip_enable", "0\n", O_RDWR), 2);
    EXPECT_EQ(read(tof + "capture"), "0\n");
    EXPECT_EQ(write(tof + "capture", "1"), -EIO);
    write(tof + "chip_enable", "1");
    EXPECT_EQ(read(tof + "chip_enable"), "1\n");
    EXPECT_EQ(write(tof + "capture", "1"), 1);
}

TEST_F(ZoneGridTest, KeepsItsFrameForItsPollPeriod) {
    start();
    write(tof + "poll_period", "50\n", O_RDWR);
    const std::string first = read(tof + "distance");
    now = 49000;
    EXPECT_EQ(read(tof + "distance"), first);
    now = 50000;
    EXPECT_NE(read(tof + "distance"), first);
}

TEST_F(ZoneGridTest, KeepsAndRefusesSettings) {
    EXPECT_EQ(read(tof + "channel"), "0\n");
    EXPECT_EQ(write(tof + "channel", "1\n", O_RDWR), 2);
    EXPECT_EQ(read(tof + "channel"), "1\n");
    EXPECT_EQ(write(tof + "channel", "4"), -EINVAL);
    EXPECT_EQ(write(tof + "mode", "8"), -EINVAL);
    EXPECT_EQ(write(tof + "poll_period", "9"), -EINVAL);
    EXPECT_EQ(write(tof + "spad_map_id", "15"), -EINVAL);
    EXPECT_EQ(write(tof + "capture", "yes"), -EINVAL);
    EXPECT_EQ(write(tof + "capture", "2"), -EINVAL);
    EXPECT_EQ(write(tof + "chip_enable", "2"), -EINVAL);
    EXPECT_EQ(write(tof + "chip_enable", "-1"), -EINVAL);
    EXPECT_EQ(read(tof + "chip_enable"), "1\n");
    EXPECT_EQ(open_error(tof + "distance", O_RDWR), EACCES);
}

TEST_F(ZoneGridTest, HasAnErrorNode) {
    set("tof.error_code", 7);
    EXPECT_EQ(read(tof + "sensor_error"), "7\n");
}

TEST_F(ZoneGridTest, CanBeMissing) {
    set("board.has_zone_grid", 0);
    EXPECT_EQ(open_error(tof + "distance", O_RDONLY), ENOENT);
}

}  // namespace
}  // namespace vp
