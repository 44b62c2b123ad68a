// Focusing by hand through the host.
#include <gtest/gtest.h>

#include <cmath>
#include <string>

#include "virtual_projector/storykit/story_run.h"

namespace {

using storykit::flaws;
using storykit::Story;
using storykit::StoryResult;

constexpr double dead_band_tmr = 6 + 3 * 0.6;  // of a manual move, and what the last reading's noise may add

// Where the lens stands after one command, begun at the scenario's own place.
double lens_after(const std::string& command) {
    const StoryResult result = Story("manual-focus").commands({"init", command}).run();
    EXPECT_EQ(result.exit_code, 0) << command;
    return result.at_the_end().lens_tmr;
}

TEST(ManualFocus, GoesToBothLimitsAndBackAndEndsSharp) {
    const StoryResult result = Story("manual-focus").run();
    EXPECT_EQ(result.exit_code, 0);
    EXPECT_TRUE(result.printed("the lens is at its right limit, TMR 190"));
    EXPECT_TRUE(result.printed("the lens is at its left limit, TMR -104"));
    EXPECT_EQ(flaws(result.at_the_end()), "");
}

TEST(ManualFocus, ShowsAToastAtEachLimitAndWhenRefused) {
    const StoryResult result = Story("manual-focus").run();
    EXPECT_TRUE(
        result.printed("toast 6: the lens is at its right limit\n"
                       "manual focus by 600: stopped at the right limit (-6)\n"));
    EXPECT_TRUE(
        result.printed("toast 7: the lens is at its left limit\n"
                       "manual focus by -600: stopped at the left limit (-7)\n"));
    EXPECT_TRUE(
        result.printed("toast 11: auto-focus is off, or the lens has not been calibrated\n"
                       "manual focus by 20: failed (-1)\n"));
    EXPECT_EQ(result.times_printed("toast "), 3);
}

TEST(ManualFocus, StopsTenUnitsInsideALimit) {
    EXPECT_NEAR(lens_after("manual 600"), 190 - 10, dead_band_tmr);
    EXPECT_NEAR(lens_after("manual -600"), -104 + 10, dead_band_tmr);
}

TEST(ManualFocus, MovesByWhatIsAskedFor) {
    const double before = Story("manual-focus").run().at_the_start().lens_tmr;
    EXPECT_NEAR(lens_after("manual 60") - before, 60, dead_band_tmr);
    EXPECT_NEAR(lens_after("manual -20") - before, -20, dead_band_tmr);
}

TEST(ManualFocus, MovesByTenUnitsAtTheLeastAndToTheRightForZero) {
    const double before = Story("manual-focus").run().at_the_start().lens_tmr;
    EXPECT_NEAR(lens_after("manual 0") - before, 10, dead_band_tmr);
    EXPECT_NEAR(lens_after("manual 3") - before, 10, dead_band_tmr);
    EXPECT_NEAR(lens_after("manual -3") - before, -10, dead_band_tmr);
}

TEST(ManualFocus, ALimitIsRefusedToABlankUnit) {
    const StoryResult result =
        Story("manual-focus").set("unit.calibrated=0").commands({"init", "limit left"}).run();
    EXPECT_EQ(result.exit_code, 1);
    EXPECT_TRUE(result.printed("the lens did not go to its left limit (is it calibrated?)"));
    EXPECT_TRUE(result.trace.lens_moves.empty());
}

TEST(ManualFocus, GivesUpOnALensThatSticks) {
    const StoryResult result = Story("manual-focus").set("lens.stuck=1").commands({"init", "manual 60"}).run();
    EXPECT_EQ(result.exit_code, 1);
    EXPECT_TRUE(result.printed("manual focus by 60: failed (-1)"));
    EXPECT_EQ(result.times_logged("auto focus time out"), 1);
}

}  // namespace
