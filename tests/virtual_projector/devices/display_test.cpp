#include <cstring>

#include "tests/virtual_projector/devices/board_fixture.h"

namespace vp {
namespace {

constexpr std::uint32_t get_screen = 0xC00C0E0C;
constexpr std::uint32_t set_widths = 0x801C0E10;
constexpr std::uint32_t transform = 0xC0140E29;
const std::string path = "/dev/dis";

struct DisplayTest : BoardTest {
    // Widths as the record holds them: layer, enable, bottom, top.
    long send(int top, int bottom, int enable, std::uint32_t layer = 1) {
        std::array<std::int32_t, 7> record{static_cast<std::int32_t>(layer), enable, bottom, top, 0, 0, 0};
        return open(path)->request(set_widths, record.data()).result;
    }
    std::array<std::uint16_t, 10> transformed(std::uint16_t width = 1280, std::uint16_t height = 720) {
        std::array<std::uint16_t, 10> record{1, 0, 0, 0, width, height, 0, 0, 0, 0};
        EXPECT_EQ(open(path)->request(transform, record.data()).result, 0);
        return record;
    }
    void expect_shown(int top, int bottom) {
        EXPECT_EQ(world.display().top_width, top);
        EXPECT_EQ(world.display().bottom_width, bottom);
    }
};

TEST_F(DisplayTest, AnswersWithThePanelSize) {
    std::array<std::uint16_t, 6> record{1, 0, 0xAA, 0xAA, 0, 0};
    EXPECT_EQ(open(path, O_WRONLY)->request(get_screen, record.data()).result, 0);
    EXPECT_EQ(record, (std::array<std::uint16_t, 6>{1, 0, 0xAA, 0xAA, 1280, 720}));
}

TEST_F(DisplayTest, ShowsWidthsThatAreEnabled) {
    EXPECT_EQ(send(1148, 1280, 1), 0);
    expect_shown(1148, 1280);
}

TEST_F(DisplayTest, TakesOtherWidthsWithoutShowingThem) {
    EXPECT_EQ(send(1000, 1280, 0), 0);
    expect_shown(1280, 1280);
}

TEST_F(DisplayTest, RefusesWidthsThatThePanelDoesNotHave) {
    EXPECT_EQ(send(0, 1280, 1), -EINVAL);
    EXPECT_EQ(send(1280, -1, 1), -EINVAL);
    EXPECT_EQ(send(1281, 1280, 1), -EINVAL);
    EXPECT_EQ(send(1280, 1280, 2), -EINVAL);
    EXPECT_EQ(send(1280, 1280, 1, 0), -EINVAL);
    EXPECT_EQ(send(1, 1280, 1), 0);
}

TEST_F(DisplayTest, TransformsTheRectangleToWhatTheTrapezoidCovers) {
    send(1148, 1280, 0);
    EXPECT_EQ(transformed(), (std::array<std::uint16_t, 10>{1, 0, 0, 0, 1280, 720, 0, 0, 1280, 720}));
    send(1000, 1100, 0);
    EXPECT_EQ(transformed(), (std::array<std::uint16_t, 10>{1, 0, 0, 0, 1280, 720, 90, 0, 1100, 720}));
}

TEST_F(DisplayTest, CountsTheWidthsThatItTakesShownOrNot) {
    EXPECT_EQ(send(1148, 1280, 1), 0);
    EXPECT_EQ(send(1148, 1280, 0), 0);
    EXPECT_EQ(send(0, 1280, 1), -EINVAL);
    transformed();
    EXPECT_EQ(world.wear().run.width_writes, 2);
}

TEST_F(DisplayTest, RefusesARectangleBeyondThePanel) {
    std::array<std::uint16_t, 10> record{1, 0, 1, 0, 1280, 720, 0, 0, 0, 0};
    EXPECT_EQ(open(path)->request(transform, record.data()).result, -EINVAL);
    record = {1, 0, 0, 0, 1280, 0, 0, 0, 0, 0};
    EXPECT_EQ(open(path)->request(transform, record.data()).result, -EINVAL);
}

TEST_F(DisplayTest, RefusesOtherRequestsAndNoMemory) {
    std::array<std::uint32_t, 7> record{1};
    EXPECT_EQ(open(path)->request(0x4004A203, record.data()).result, -ENOTTY);
    EXPECT_EQ(open(path)->request(set_widths, nullptr).result, -EFAULT);
}

TEST_F(DisplayTest, KnowsHowMuchItsRequestsCarry) {
    EXPECT_EQ(open(path)->request_size(get_screen), 12U);
    EXPECT_EQ(open(path)->request_size(set_widths), 28U);
    EXPECT_EQ(open(path)->request_size(transform), 20U);
    EXPECT_EQ(open(path)->request_size(0x4004A203), 0U);
}

TEST_F(DisplayTest, TheFrameBufferIsThereAndDoesNothing) {
    EXPECT_EQ(open("/dev/fb0")->request(set_widths, nullptr).result, -ENOTTY);
    EXPECT_EQ(open("/dev/fb0")->close().result, 0);
}

TEST_F(DisplayTest, EitherCanBeMissing) {
    set("board.has_display", 0);
    set("board.has_frame_buffer", 0);
    EXPECT_EQ(open_error(path, O_RDWR), ENOENT);
    EXPECT_EQ(open_error("/dev/fb0", O_RDWR), ENOENT);
}

}  // namespace
}  // namespace vp
