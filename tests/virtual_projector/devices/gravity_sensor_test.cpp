#include "tests/virtual_projector/devices/board_fixture.h"

namespace vp {
namespace {

constexpr std::uint32_t set_calibration = 0x8004A106;
constexpr std::uint32_t get_sample = 0x4004A109;
constexpr Microseconds period_us = 20000;
const std::string path = "/dev/gsensor_daemon";

using Axes = std::array<std::int32_t, 3>;

struct GravitySensorTest : BoardTest {
    Axes sample(OpenFile& file) {
        Axes axes{};
        EXPECT_EQ(wait_for([&] { return file.request(get_sample, axes.data()); }).result, 0);
        return axes;
    }
    long calibrate(Axes offsets) { return open(path)->request(set_calibration, offsets.data()).result; }
    void without_noise() { set("gravity.noise_sigma", 0); }
};

TEST_F(GravitySensorTest, ReadsItsOwnOffsetsUntilItIsCalibrated) {
    without_noise();
    EXPECT_EQ(sample(*open(path)), (Axes{12, -7, 1030}));
    EXPECT_EQ(calibrate({12, -7, 30}), 0);
    EXPECT_EQ(sample(*open(path)), (Axes{0, 0, 1000}));
}

TEST_F(GravitySensorTest, KnowsHowMuchItsRequestsCarry) {
    EXPECT_EQ(open(path)->request_size(get_sample), sizeof(Axes));
    EXPECT_EQ(open(path)->request_size(set_calibration), sizeof(Axes));
    EXPECT_EQ(open(path)->request_size(get_sample + 1), 0U);
}

TEST_F(GravitySensorTest, ReadsThePose) {
    without_noise();
    calibrate({12, -7, 30});
    set("pose.pitch_deg", 30);
    EXPECT_EQ(sample(*open(path)), (Axes{0, -500, 866}));
}

TEST_F(GravitySensorTest, LetsTheCallerWaitForTheNextSample) {
    const auto file = open(path);
    Axes axes{};
    EXPECT_FALSE(file->request(get_sample, axes.data()).wait);
    now = 5000;
    const Answer answer = file->request(get_sample, axes.data());
    EXPECT_TRUE(answer.wait);
    EXPECT_EQ(answer.until, period_us);
    now = period_us;
    EXPECT_FALSE(file->request(get_sample, axes.data()).wait);
}

TEST_F(GravitySensorTest, PacesEachDescriptorForItself) {
    const auto first = open(path);
    const auto second = open(path);
    Axes axes{};
    EXPECT_FALSE(first->request(get_sample, axes.data()).wait);
    EXPECT_FALSE(second->request(get_sample, axes.data()).wait);
}

TEST_F(GravitySensorTest, SamplesHaveNoise) {
    const auto file = open(path);
    EXPECT_NE(sample(*file), sample(*file));
}

TEST_F(GravitySensorTest, RefusesOffsetsOutOfRange) {
    EXPECT_EQ(calibrate({20000, -20000, 0}), 0);
    EXPECT_EQ(calibrate({20001, 0, 0}), -EINVAL);
    EXPECT_EQ(calibrate({0, 0, -20001}), -EINVAL);
}

TEST_F(GravitySensorTest, RefusesOtherRequestsAndNoMemory) {
    Axes axes{};
    EXPECT_EQ(open(path)->request(0x4004A203, axes.data()).result, -ENOTTY);
    EXPECT_EQ(open(path)->request(get_sample, nullptr).result, -EFAULT);
    EXPECT_EQ(open(path)->request(set_calibration, nullptr).result, -EFAULT);
    char byte = 0;
    EXPECT_EQ(open(path)->read(&byte, 1).result, -EINVAL);
}

TEST_F(GravitySensorTest, HasAnErrorNode) {
    EXPECT_EQ(read("/sys/class/sensors/sensor_error"), "0\n");
    set("gravity.error_code", 3);
    EXPECT_EQ(read("/sys/class/sensors/sensor_error"), "3\n");
}

TEST_F(GravitySensorTest, CanBeMissing) {
    set("board.has_gravity_sensor", 0);
    EXPECT_EQ(open_error(path, O_RDWR), ENOENT);
    EXPECT_EQ(open_error("/sys/class/sensors/sensor_error", O_RDONLY), ENOENT);
}

}  // namespace
}  // namespace vp
