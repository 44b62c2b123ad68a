#include "ovrafocus/distance.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <string>
#include <utility>

#include "ovrafocus/keystone_width.h"
#include "ovrafocus/lens_state.h"
#include "tests/support/log_lines.h"
#include "tests/support/scripted_board.h"

namespace {

using testkit::tagged;

const std::string ranging = "/sys/class/nd_tof/nds01/ranging_data";

struct DistanceChange : ::testing::Test {
    testkit::ScriptedBoard board;
};

TEST(AverageDistance, IsThatOfTheFirstFourZonesOnly) {
    const std::array<int32_t, 8> frame = {900, 4000, 1100, 3999, 1, 1, 1, 1};
    EXPECT_EQ(getAvgDist(frame.data()), 1999);
    const std::array<int32_t, 8> far = {5000, 5000, 5000, 5000, 100, 100, 100, 100};
    EXPECT_EQ(getAvgDist(far.data()), -1);
}

TEST_F(DistanceChange, PrintsExactlyTheZonesAndTheKeystoneAngle) {
    currentKeystoneAngle = -7;
    board.text(ranging, "301,302,303,304,9,9,9,9");
    EXPECT_EQ(isDistChanged(), 0);
    EXPECT_EQ(board.log(), tagged("tof distance ret=0, tr:301, br:302, tl:303, bl:304\n") +
                               tagged("\033[36;1mavgDist = 302, last keystone Angle = -7\033[0m\n"));
}

TEST_F(DistanceChange, BeginsAt20MillimetresInEitherDirection) {
    const std::pair<const char*, std::int32_t> cases[] = {
        {"319,319,319,319", 0}, {"320,320,320,320", 1}, {"281,281,281,281", 0}, {"280,280,280,280", 1}};
    for (const auto& [text, expected] : cases) {
        board.text(ranging, text);
        EXPECT_EQ(isDistChanged(), expected) << text;
        EXPECT_EQ(lastDistance, 300);
    }
}

TEST_F(DistanceChange, TakesNoZoneInRangeForADistanceOfMinusOne) {
    board.text(ranging, "5000,5000,5000,5000,0,0,0,0");
    EXPECT_EQ(isDistChanged(), 1);
    lastDistance = -1;
    EXPECT_EQ(isDistChanged(), 0);
}

TEST_F(DistanceChange, FailsWithTheDistance) { EXPECT_EQ(isDistChanged(), -1); }

}  // namespace
