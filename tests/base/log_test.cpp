#include "base/log.h"

#include <gtest/gtest.h>
#include <pthread.h>

#include <cstddef>
#include <cstdio>
#include <string>

#include "ovrafocus/config.h"
#include "tests/support/scripted_board.h"

namespace {

using testkit::ScriptedBoard;

struct Log : ::testing::Test {
    ScriptedBoard board;
};

TEST_F(Log, TagsALineAndEndsIt) {
    ovra::log_focus("steps = %d, %s", -3, "left");
    EXPECT_EQ(board.log(), "[ovra_focus]  steps = -3, left\n");
}

TEST_F(Log, AMessageWithItsOwnNewlineLeavesAnEmptyLine) {
    ovra::log_focus("%s.\n", "name");
    EXPECT_EQ(board.log(), "[ovra_focus]  name.\n\n");
}

TEST_F(Log, TagsALineOfTheTofLayer) {
    ovra::log_tof("zones %d", 8);
    EXPECT_EQ(board.log(), "[ovra_tof]  zones 8\n");
}

TEST_F(Log, ABareTextStandsAsItIs) {
    ovra::log_bare("%s.", "name");
    ovra::log_bare("\n");
    EXPECT_EQ(board.log(), "name.\n");
}

TEST_F(Log, ALocatedMessageFollowsItsPlaceOnTheSameLine) {
    ovra::log_located({"motor_run", "focusctrl/motor_drv", 78}, "%s,steps invalid", "motor_run");
    EXPECT_EQ(board.log(), "[ovra_focus]  motor_run | focusctrl/motor_drv [line=78] motor_run,steps invalid\n");
}

TEST_F(Log, APercentSignInAnArgumentIsNoFormat) {
    ovra::log_focus("%s", "100 %d");
    EXPECT_EQ(board.log(), "[ovra_focus]  100 %d\n");
}

TEST_F(Log, AMessageOfALevelIsPrintedFromTheThresholdDownwards) {
    ovra_log_level = 4;
    for (const int level : {1, 4, 5}) ovra::log_focus_at(level, "of level %d", level);
    EXPECT_EQ(board.log(), "[ovra_focus]  of level 1\n[ovra_focus]  of level 4\n");

    ovra_log_level = 0;
    ovra::log_focus_at(1, "of level 1");
    EXPECT_EQ(board.log(), "");

    ovra_log_level = -1;
    ovra::log_focus_at(0, "of level 0");
    EXPECT_EQ(board.log(), "");
}

// --- Two threads --------------------------------------------------------------------------------------------

constexpr int lines_each = 2000;
const std::string long_text(100, 'x');

void* log_many_lines(void*) {
    for (int i = 0; i < lines_each; ++i) ovra::log_focus("%s%s", long_text.c_str(), long_text.c_str());
    return nullptr;
}

TEST_F(Log, LinesOfTwoThreadsNeverMix) {
    pthread_t first;
    pthread_t second;
    ASSERT_EQ(pthread_create(&first, nullptr, log_many_lines, nullptr), 0);
    ASSERT_EQ(pthread_create(&second, nullptr, log_many_lines, nullptr), 0);
    pthread_join(first, nullptr);
    pthread_join(second, nullptr);

    const std::string line = "[ovra_focus]  " + long_text + long_text + "\n";
    std::string expected;
    for (int i = 0; i < 2 * lines_each; ++i) expected += line;
    EXPECT_EQ(board.log(), expected);
}

}  // namespace
