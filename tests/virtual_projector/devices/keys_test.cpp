#include <cstring>

#include "tests/virtual_projector/devices/board_fixture.h"

namespace vp {
namespace {

const std::string path = "/dev/input/event6";

struct Event {
    std::int32_t seconds;
    std::int32_t microseconds;
    std::uint16_t type;
    std::uint16_t code;
    std::int32_t value;
};

struct KeysTest : BoardTest {
    void press(std::uint16_t code, std::int32_t value) {
        board->with_world([&](World& w) { w.key(code, value); });
    }
};

TEST_F(KeysTest, WaitForSomebodyToPressOne) {
    const auto file = open(path, O_RDONLY);
    Event event{};
    const Answer answer = file->read(&event, sizeof event);
    EXPECT_TRUE(answer.wait);
    EXPECT_EQ(answer.until, -1);
    now = 3500000;
    press(28, 1);
    EXPECT_EQ(file->read(&event, sizeof event).result, 16);
    EXPECT_EQ(event.seconds, 3);
    EXPECT_EQ(event.microseconds, 500000);
    EXPECT_EQ(event.type, 1);
    EXPECT_EQ(event.code, 28);
    EXPECT_EQ(event.value, 1);
}

TEST_F(KeysTest, GiveAsManyWholeEventsAsFit) {
    const auto file = open(path, O_RDONLY);
    for (const std::int32_t value : {1, 2, 0}) press(28, value);
    std::array<Event, 2> events{};
    EXPECT_EQ(file->read(events.data(), 40).result, 32);
    EXPECT_EQ(events[0].value, 1);
    EXPECT_EQ(events[1].value, 2);
    EXPECT_EQ(file->read(events.data(), 16).result, 16);
    EXPECT_EQ(events[0].value, 0);
}

TEST_F(KeysTest, EachDescriptorGetsEveryEventSinceItWasOpened) {
    press(1, 1);
    const auto first = open(path, O_RDONLY);
    const auto second = open(path, O_RDONLY);
    press(2, 1);
    Event event{};
    for (const auto* file : {first.get(), second.get()}) {
        ASSERT_EQ(const_cast<OpenFile*>(file)->read(&event, sizeof event).result, 16);
        EXPECT_EQ(event.code, 2);
    }
}

TEST_F(KeysTest, RefuseABufferThatIsTooShort) {
    char buffer[15];
    EXPECT_EQ(open(path, O_RDONLY)->read(buffer, sizeof buffer).result, -EINVAL);
}

TEST_F(KeysTest, CanBeMissing) {
    set("board.has_keys", 0);
    EXPECT_EQ(open_error(path, O_RDONLY), ENOENT);
}

}  // namespace
}  // namespace vp
