// Start-up and requests with one thing missing.
#include <gtest/gtest.h>

#include <string>

#include "virtual_projector/storykit/story_run.h"

namespace {

using storykit::flaws;
using storykit::flaws_in_keystone;
using storykit::Story;
using storykit::StoryResult;

TEST(FarWall, ShowsAToastAndLeavesTheLensWhereItIs) {
    const StoryResult result = Story("far-wall").run();
    EXPECT_EQ(result.exit_code, 1);
    EXPECT_EQ(result.times_printed("toast 9: "), 1);
    EXPECT_TRUE(result.printed("the last request failed"));
    EXPECT_TRUE(result.printed("distance of the last run: out of range"));
    EXPECT_TRUE(result.trace.lens_moves.empty());
}

TEST(FarWall, IsStillSquaredByTheGravitySensor) {
    const StoryResult result = Story("far-wall").run();
    EXPECT_EQ(result.times_logged("use gsensor vAngle"), 1);
    EXPECT_EQ(flaws_in_keystone(result.at_the_end()), "");
}

TEST(NoToF, IsSaidAtStartUpAndKeepsAutoFocusOff) {
    const StoryResult result = Story("no-tof").run();
    EXPECT_EQ(result.exit_code, 1);
    EXPECT_EQ(result.times_logged("nds01_dev_init failed"), 1);
    EXPECT_TRUE(result.printed("auto-focus is off (no ToF sensor, or the lens is not calibrated)"));
    EXPECT_TRUE(result.printed("auto-focus is off: the lens will stay where it is"));
    EXPECT_TRUE(result.printed("manual focus by 50: failed (-1)"));
    EXPECT_TRUE(result.trace.lens_moves.empty());
}

TEST(NoToF, IsSquaredByTheGravitySensor) {
    EXPECT_EQ(flaws_in_keystone(Story("no-tof").run().at_the_end()), "");
}

TEST(NoGravitySensor, WorksOnRequestAndDoesNotNoticeThatItIsMoved) {
    const StoryResult result = Story("no-gravity-sensor").run();
    EXPECT_EQ(result.exit_code, 0);
    EXPECT_EQ(flaws(result.at(4)), "");
    EXPECT_NE(flaws(result.at(15)), "");  // it has been moved, and nothing happened
    EXPECT_EQ(flaws(result.at_the_end()), "");
    EXPECT_EQ(result.times_logged("run once AKAF"), 2);  // the host's own
    EXPECT_EQ(result.times_printed("from now on"), 0);   // nor does it know how it stands
}

TEST(FlashFails, LeavesTheRecordZeroAndAutoFocusOff) {
    const StoryResult result = Story("flash-fails").run();
    EXPECT_EQ(result.exit_code, 1);
    EXPECT_TRUE(result.printed("lens table       \n"));
    EXPECT_TRUE(result.printed("lens             not calibrated (empty)"));
    EXPECT_EQ(result.times_printed("toast 11: "), 1);
    EXPECT_TRUE(result.trace.lens_moves.empty());
    EXPECT_EQ(flaws_in_keystone(result.at_the_end()), "");
}

}  // namespace
