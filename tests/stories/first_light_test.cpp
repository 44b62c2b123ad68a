// One request from a tilted, unfocused projector, and what becomes of it when something is different.
#include <gtest/gtest.h>

#include <algorithm>
#include <nlohmann/json.hpp>
#include <string>

#include "virtual_projector/storykit/story_run.h"

namespace {

using storykit::flaws;
using storykit::Story;
using storykit::StoryResult;

Story first_light() { return Story("first-light"); }

std::ptrdiff_t lines_in(const std::string& text) { return std::count(text.begin(), text.end(), '\n'); }

TEST(FirstLight, BeginsBlurredAndTiltedAndEndsSharpAndSquare) {
    const StoryResult result = first_light().run();
    EXPECT_EQ(result.exit_code, 0) << result.complaints;
    EXPECT_LT(result.at_the_start().sharpness, 0.1);
    EXPECT_GT(result.at_the_start().worst_side_deg(), 5);
    EXPECT_EQ(flaws(result.at_the_end()), "");
    EXPECT_EQ(result.at_the_end().bottom_width, 1280);
    EXPECT_EQ(result.complaints, "");
    ASSERT_EQ(result.trace.failures.size(), 1U);  // this light engine has no focus curve of its own
    EXPECT_EQ(result.trace.failures[0].what, "open /sys/class/dlp/elepn_focus_curve_data: ENOENT");
}

TEST(FirstLight, SaysWhatItDidInPlainWords) {
    EXPECT_EQ(first_light().run().words,
              "the library is started; auto-keystone is on, auto-focus is on\n"
              "auto-focus and auto-keystone requested\n"
              "all is quiet after 0.35 seconds; the last request succeeded\n"
              "auto-keystone is on, auto-focus is on; the last request succeeded\n"
              "picture: 1148 pixels at the top, 1280 at the bottom, for a tilt of 12 degrees\n"
              "distance of the last run: 1504 mm\n"
              "lens: at TMR -66, limits -104 and 190\n");
}

class FirstLightSeed : public ::testing::TestWithParam<int> {};

TEST_P(FirstLightSeed, ChangesTheNoiseAndNotTheOutcome) {
    const StoryResult result = first_light().with({"--seed", std::to_string(GetParam())}).run();
    EXPECT_EQ(result.exit_code, 0);
    EXPECT_EQ(flaws(result.at_the_end()), "");
    EXPECT_TRUE(result.library_log != first_light().run().library_log);
}
INSTANTIATE_TEST_SUITE_P(Seeds, FirstLightSeed, ::testing::Values(2, 3, 4, 5, 6, 7, 8, 9, 10, 4711));

TEST(FirstLight, RunTwentyTimesGivesTheSameTraceToTheByte) {
    const std::string trace = first_light().detail("calls").run().trace_text;
    ASSERT_GT(trace.size(), 10000U);
    for (int i = 1; i < 20; ++i) {
        ASSERT_TRUE(first_light().detail("calls").run().trace_text == trace) << "run " << i;
    }
}

TEST(FirstLight, EndsAlikeWhenThreadsLoseTheirTurnsAnywhere) {
    for (const std::string probability : {"0.01", "0.3", "1"}) {
        const StoryResult result = first_light().with({"--preempt", probability}).run();
        EXPECT_EQ(result.exit_code, 0) << probability;
        EXPECT_EQ(flaws(result.at_the_end()), "") << probability;
    }
}

TEST(FirstLight, WithPreemptionIsTheSameToTheByteForTheSameSeed) {
    const auto trace = [](const std::string& seed) {
        return first_light().with({"--preempt", "0.2", "--seed", seed}).run().trace_text;
    };
    const std::string first = trace("3");
    EXPECT_TRUE(trace("3") == first);
    EXPECT_TRUE(trace("4") != first);
}

TEST(FirstLight, EndsAlikeOnTheWallClock) {
    const StoryResult result = first_light().with({"--real-time"}).run();
    EXPECT_EQ(result.exit_code, 0);
    EXPECT_EQ(flaws(result.at_the_end()), "");
}

TEST(FirstLight, BeforeAWallFiveMetresAwayAsksToMoveTheProjector) {
    const StoryResult result = first_light().set("pose.distance_mm=5000").run();
    EXPECT_EQ(result.exit_code, 1);
    EXPECT_TRUE(
        result.printed("toast 9: the wall cannot be measured or is out of range: move the projector\n"));
    EXPECT_TRUE(result.printed("the last request failed"));
    EXPECT_EQ(result.times_logged("auto fucos error: move far away"), 1);
    EXPECT_TRUE(result.trace.lens_moves.empty());
}

TEST(FirstLight, WithoutAToFSensorStartsUpSaysSoAndKeepsAutoFocusOff) {
    const StoryResult result = first_light().set("board.has_tof=0").run();
    EXPECT_EQ(result.words.substr(0, result.words.find('\n')),
              "the library is started; auto-keystone is on, auto-focus is off (no ToF sensor, or the lens is "
              "not calibrated)");
    EXPECT_EQ(result.times_logged("nds01_dev_init failed"), 1);
    EXPECT_TRUE(result.trace.lens_moves.empty());
}

TEST(FirstLight, WithABlankUnitKeepsAutoFocusOff) {
    const StoryResult result = first_light().set("unit.calibrated=0").run();
    EXPECT_TRUE(result.printed("auto-focus is off (no ToF sensor, or the lens is not calibrated)"));
    EXPECT_TRUE(result.trace.lens_moves.empty());
}

TEST(FirstLight, OfEveryUnitOfASeriesEndsSharpAndAsSquareAsItsToFSensorIsMounted) {
    for (int unit = 1; unit <= 12; ++unit) {
        const storykit::ScratchFolder folder;
        const std::string scenario = folder.file("scenario.json");
        storykit::write_file(scenario, R"({"unit_seed": )" + std::to_string(unit) +
                                           R"(, "set": {"pose.pitch_deg": 12, "lens.position_steps": 25}})");
        const StoryResult result = first_light().scenario(scenario).run();
        EXPECT_EQ(result.exit_code, 0) << "unit " << unit;
        EXPECT_EQ(storykit::flaws_in_focus(result.at_the_end()), "") << "unit " << unit;
        EXPECT_LE(result.at_the_end().worst_side_deg(), 1) << "unit " << unit;
    }
}

TEST(TheDemo, EndsWithItsStoryInAtMostFortyLines) {
    const storykit::ScratchFolder folder;
    const std::string log = folder.file("log");
    const storykit::Finished demo = storykit::launch_projector(
        {"--story", "--scenario", storykit::project_file("scenarios/first-light.json"), "--library-log", log},
        {storykit::host_program, "--script", storykit::project_file("scenarios/first-light.host"),
         "--library-log", log});
    EXPECT_EQ(demo.exit_code, 0);
    EXPECT_LE(lines_in(demo.words.substr(demo.words.find("First light: "))), 40);
    EXPECT_NE(
        demo.words.find("0.187 s  1   chosen: focus for 1500 mm, from 240 mm: 11 coarse steps to the left\n"),
        std::string::npos);
    EXPECT_NE(demo.words.find("\nSimulated time 0.350 s, real time "), std::string::npos);
}

// --- What is left of a run ------------------------------------------------------------------------------

TEST(TheTruthAtTheEnd, StandsInTheSummaryAsInTheTrace) {
    const StoryResult result = first_light().run();
    const nlohmann::json truth = result.summary().at("truth");
    EXPECT_NE(result.trace_text.rfind("\"truth\":" + vp::json_of(result.at_the_end()).dump() + "}\n"),
              std::string::npos);
    EXPECT_EQ(truth, nlohmann::json(vp::json_of(result.at_the_end())));
    EXPECT_LT(truth.at("blur_px"), 1);
    EXPECT_GT(truth.at("light_used"), 0.5);
}

// --- Wear ----------------------------------------------------------------------------------------------

TEST(TheWearOfARun, StandsInSummaryAndTrace) {
    const StoryResult result = first_light().run();
    const nlohmann::json wear = result.summary().at("wear");
    EXPECT_EQ(wear.at("run").at("full_steps"), 14);
    EXPECT_EQ(wear.at("run").at("orders"), 3);
    EXPECT_EQ(wear.at("run").at("width_writes"), 13);
    EXPECT_EQ(wear.at("run").at("record_writes"), 0);
    EXPECT_EQ(wear.at("run"), wear.at("total"));
}

TEST(TheWearOfARun, GoesOnFromTheTotalsThatAreSet) {
    const nlohmann::json wear =
        first_light().set("wear.full_steps=100").set("wear.motor_on_s=2.5").run().summary().at("wear");
    EXPECT_EQ(wear.at("run").at("full_steps"), 14);
    EXPECT_EQ(wear.at("total").at("full_steps"), 114);
    EXPECT_NEAR(wear.at("total").at("motor_on_s").get<double>(), 2.556, 1e-9);
}

// --- The permanent record from run to run --------------------------------------------------------------

TEST(AFlashFile, KeepsTheRecordFromRunToRun) {
    const storykit::ScratchFolder folder;
    Story story = first_light().with({"--flash", folder.file("flash")});
    const StoryResult first = story.commands({"record", "flags 1 1 2"}).run();
    EXPECT_EQ(first.exit_code, 0);
    EXPECT_TRUE(first.printed("lens             calibrated (1)"));
    EXPECT_EQ(storykit::contents_of(folder.file("flash")).size(), 227U);
    EXPECT_TRUE(story.commands({"record"}).run().printed("lens             calibrated (2)"));
}

TEST(WithoutAFlashFile, EachRunBeginsAsTheFactoryLeftTheUnit) {
    EXPECT_EQ(first_light().commands({"flags 1 1 2"}).run().exit_code, 0);
    EXPECT_TRUE(first_light().commands({"record"}).run().printed("lens             calibrated (1)"));
}

}  // namespace
