// Start-up and requests with one thing missing.
#include <gtest/gtest.h>

#include <string>

#include "tests/stories/storykit/story_run.h"

namespace {

using storykit::flaws;
using storykit::flaws_in_keystone;
using storykit::Story;
using storykit::Told;

TEST(FarWall, ShowsAToastAndLeavesTheLensWhereItIs) {
    const Told told = Story("far-wall").run();
    EXPECT_EQ(told.exit_code, 1);
    EXPECT_EQ(told.times_said("toast 9: "), 1);
    EXPECT_TRUE(told.said("the last request failed"));
    EXPECT_TRUE(told.said("distance of the last run: out of range"));
    EXPECT_TRUE(told.trace.lens_moves.empty());
}

TEST(FarWall, IsStillSquaredByTheGravitySensor) {
    const Told told = Story("far-wall").run();
    EXPECT_EQ(told.times_logged("use gsensor vAngle"), 1);
    EXPECT_EQ(flaws_in_keystone(told.at_the_end()), "");
}

TEST(NoToF, IsSaidAtStartUpAndKeepsAutoFocusOff) {
    const Told told = Story("no-tof").run();
    EXPECT_EQ(told.exit_code, 1);
    EXPECT_EQ(told.times_logged("nds01_dev_init failed"), 1);
    EXPECT_TRUE(told.said("auto-focus is off (no ToF sensor, or the lens is not calibrated)"));
    EXPECT_TRUE(told.said("auto-focus is off: the lens will stay where it is"));
    EXPECT_TRUE(told.said("manual focus by 50: failed (-1)"));
    EXPECT_TRUE(told.trace.lens_moves.empty());
}

TEST(NoToF, IsSquaredByTheGravitySensor) {
    EXPECT_EQ(flaws_in_keystone(Story("no-tof").run().at_the_end()), "");
}

TEST(NoGravitySensor, WorksOnRequestAndDoesNotNoticeThatItIsMoved) {
    const Told told = Story("no-gravity-sensor").run();
    EXPECT_EQ(told.exit_code, 0);
    EXPECT_EQ(flaws(told.at(4)), "");
    EXPECT_NE(flaws(told.at(15)), "");  // it has been moved, and nothing happened
    EXPECT_EQ(flaws(told.at_the_end()), "");
    EXPECT_EQ(told.times_logged("run once AKAF"), 2);  // the host's own
    EXPECT_EQ(told.times_said("from now on"), 0);      // nor does it know how it stands
}

TEST(FlashFails, LeavesTheRecordZeroAndAutoFocusOff) {
    const Told told = Story("flash-fails").run();
    EXPECT_EQ(told.exit_code, 1);
    EXPECT_TRUE(told.said("lens table       \n"));
    EXPECT_TRUE(told.said("lens             not calibrated ()"));
    EXPECT_EQ(told.times_said("toast 11: "), 1);
    EXPECT_TRUE(told.trace.lens_moves.empty());
    EXPECT_EQ(flaws_in_keystone(told.at_the_end()), "");
}

}  // namespace
