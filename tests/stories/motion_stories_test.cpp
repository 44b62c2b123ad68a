// What the library does by itself when the projector is moved.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "virtual_projector/storykit/story_run.h"

namespace {

using storykit::flaws;
using storykit::flaws_in_focus;
using storykit::flaws_in_keystone;
using storykit::Story;
using storykit::StoryResult;

// How often a truth is another than the one before it.
template <typename Member>
int changes_of(const StoryResult& result, Member member) {
    int changes = 0;
    for (std::size_t i = 1; i < result.trace.truths.size(); ++i) {
        if (result.trace.truths[i].*member != result.trace.truths[i - 1].*member) ++changes;
    }
    return changes;
}

bool widths_changed_after(const StoryResult& result, double time_s) {
    const vp::TruthAt& then = result.at(time_s);
    return std::any_of(
        result.trace.truths.begin(), result.trace.truths.end(), [&then](const vp::TruthAt& truth) {
            return truth.t_us > then.t_us &&
                   (truth.top_width != then.top_width || truth.bottom_width != then.bottom_width);
        });
}

// --- pick-up-and-set-down ------------------------------------------------------------------------------

TEST(PickUpAndSetDown, EndsSharpAndSquareWithoutAnyRequest) {
    const StoryResult result = Story("pick-up-and-set-down").run();
    EXPECT_EQ(result.exit_code, 0);
    EXPECT_EQ(flaws(result.at_the_start()), "");
    EXPECT_EQ(result.at_the_end().distance_mm, 1200);
    EXPECT_EQ(result.at_the_end().pitch_deg, 8);
    EXPECT_EQ(flaws(result.at_the_end()), "");
    EXPECT_TRUE(result.printed("nothing has been requested"));
    EXPECT_EQ(result.times_printed("toast"), 0);
}

TEST(PickUpAndSetDown, SquaresThePictureFirstAndFocusesItOnceItIsAtRest) {
    const StoryResult result = Story("pick-up-and-set-down").run();
    EXPECT_EQ(result.lens_moves_after(0), result.lens_moves_after(10));  // none before it was set down at 10 s
    EXPECT_GT(result.lens_moves_after(10), 0);
    const double first_move_s = static_cast<double>(result.trace.lens_moves.front().t_us) / 1e6;
    EXPECT_EQ(flaws_in_keystone(result.at(first_move_s)), "");
    EXPECT_NE(flaws_in_focus(result.at(first_move_s)), "");
    EXPECT_EQ(result.times_logged("autofocus acc trigger keystone"), 1);
    EXPECT_EQ(result.times_logged("run once AKAF"), 1);
}

TEST(PickUpAndSetDown, LeavesTheLensAloneWhileAutoFocusIsOff) {
    const StoryResult result =
        Story("pick-up-and-set-down").commands({"init", "switches 1 0", "wait 20s", "wait idle"}).run();
    EXPECT_EQ(result.exit_code, 0);
    EXPECT_TRUE(result.trace.lens_moves.empty());
    EXPECT_EQ(flaws_in_keystone(result.at_the_end()), "");
}

class PickUpAndSetDownSeed : public ::testing::TestWithParam<int> {};

TEST_P(PickUpAndSetDownSeed, ChangesTheNoiseAndNotTheOutcome) {
    const StoryResult result = Story("pick-up-and-set-down").with({"--seed", std::to_string(GetParam())}).run();
    EXPECT_EQ(flaws(result.at_the_end()), "");
}
INSTANTIATE_TEST_SUITE_P(Seeds, PickUpAndSetDownSeed, ::testing::Range(2, 8));

// --- nudge ---------------------------------------------------------------------------------------------

TEST(Nudge, IsNoticedAndStartsNoRun) {
    const StoryResult result = Story("nudge").run();
    EXPECT_EQ(result.exit_code, 0);
    EXPECT_GE(result.times_logged("machine is sudden shake"), 1);
    EXPECT_EQ(result.times_logged("distance not changed"), result.times_logged("machine is sudden shake"));
    EXPECT_EQ(result.times_logged("run once AKAF"), 1);  // the host's own, before
    EXPECT_EQ(result.times_logged("autofocus acc trigger keystone"), 0);
    EXPECT_EQ(result.lens_moves_after(10), 0);
    EXPECT_FALSE(widths_changed_after(result, 10));
    EXPECT_EQ(flaws(result.at_the_end()), "");
}

TEST(Nudge, ClearsTheFlagsAndRestsForOneSecond) {
    const StoryResult result = Story("nudge").detail("calls").run();
    const std::string rest = R"("name":"ovra_gsensor_thread","call":"sleep","us":1000000,)";
    const std::string rest_of_the_other = R"("name":"gsensor_det_thread","call":"sleep","us":1000000,)";
    const bool rested = result.trace_text.find(rest) != std::string::npos ||
                        result.trace_text.find(rest_of_the_other) != std::string::npos;
    EXPECT_TRUE(rested);
    EXPECT_TRUE(
        result.printed("all is quiet after 0.05 seconds; the last request succeeded"));  // no flag is left
}

// --- ceiling -------------------------------------------------------------------------------------------

TEST(Ceiling, TurnsThePictureAndTheHdmiInputOnceAndCallsTheHostOnce) {
    const StoryResult result = Story("ceiling").run();
    EXPECT_EQ(result.exit_code, 0);
    // Once at start-up, for the table, and once for the ceiling.
    EXPECT_EQ(result.results_of("am_set_rotation"), (std::vector<long>{0, 0}));
    EXPECT_EQ(result.results_of("hdmirx_set_rotate"), (std::vector<long>{0, 0}));
    EXPECT_EQ(result.times_printed("the picture is turned by 0 degrees from now on (rotation code 0)"), 1);
    EXPECT_EQ(result.times_printed("the picture is turned by 180 degrees from now on (rotation code 2)"), 1);
    EXPECT_EQ(result.times_printed("from now on"), 2);
}

TEST(Ceiling, EndsUprightSharpAndSquare) {
    const StoryResult result = Story("ceiling").run();
    EXPECT_EQ(result.at_the_end().hdmi_turn_deg, 0);
    EXPECT_EQ(flaws(result.at_the_end()), "");
    // Upright, upside down while it is being turned over, and upright again: nothing flickers.
    EXPECT_EQ(changes_of(result, &vp::TruthAt::hdmi_turn_deg), 2);
}

class CeilingSeed : public ::testing::TestWithParam<int> {};

TEST_P(CeilingSeed, NeverFlickersInTheBandsBetweenTwoRotations) {
    const StoryResult result = Story("ceiling").with({"--seed", std::to_string(GetParam())}).run();
    EXPECT_EQ(result.times_printed("from now on"), 2);
    EXPECT_EQ(result.at_the_end().hdmi_turn_deg, 0);
}
INSTANTIATE_TEST_SUITE_P(Seeds, CeilingSeed, ::testing::Range(2, 8));

// --- someone-walks-past --------------------------------------------------------------------------------

TEST(SomeoneWalksPast, AtRestNothingHappens) {
    const StoryResult result = Story("someone-walks-past").run();
    EXPECT_TRUE(result.happened("somebody stands before two zones, at 0.6 m"));
    EXPECT_EQ(flaws(result.at(1)), "");
    EXPECT_EQ(flaws(result.at(19.9)), "");
    EXPECT_EQ(result.lens_moves_after(1), result.lens_moves_after(19.9));
}

TEST(SomeoneWalksPast, DuringARunTheLensGoesToTheMeanOfPersonAndWall) {
    const StoryResult result = Story("someone-walks-past").run();
    EXPECT_NE(flaws_in_focus(result.at(22)), "");
    EXPECT_TRUE(result.printed("distance of the last run: 1049 mm"));
}

TEST(SomeoneWalksPast, TheNextRunPutsItRight) {
    const StoryResult result = Story("someone-walks-past").run();
    EXPECT_EQ(result.exit_code, 0);
    EXPECT_EQ(flaws(result.at_the_end()), "");
    EXPECT_EQ(result.times_logged("run once AKAF"), 3);
}

}  // namespace
