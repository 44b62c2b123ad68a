// Eight simulated hours.
#include <gtest/gtest.h>

#include <cstdlib>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "virtual_projector/storykit/story_run.h"

namespace {

using storykit::flaws;
using storykit::flaws_in_keystone;
using storykit::Story;
using storykit::StoryResult;

constexpr double hour_s = 3600;

// The temperature offset goes in two steps and the lens drifts steadily: between the steps it may stand further
// off than the dead band, and the picture is sharp all the same.
constexpr double sharp = 0.98;

std::string flaws_in_the_warm(const vp::TruthAt& truth) {
    const std::string blur = truth.sharpness < sharp ? "sharpness is " + std::to_string(truth.sharpness) : "";
    return blur + flaws_in_keystone(truth);
}

std::vector<long> holdings_of(const StoryResult& result, const char* what) {
    std::vector<long> each_hour;
    const nlohmann::json summary = result.summary();
    for (const auto& holding : summary.at("holdings")) each_hour.push_back(holding.at(what).get<long>());
    return each_hour;
}

TEST(ADay, EndsSharpAndSquareAndHoldsNoMoreThanInTheMorning) {
#ifdef __SANITIZE_ADDRESS__
    GTEST_SKIP() << "under a sanitizer a day takes minutes; its first quarter of an hour stands for it below";
#endif
    // Without the allocator's own stores of freed memory the figures are exact.
    setenv("GLIBC_TUNABLES", "glibc.malloc.tcache_count=0", 1);
    const StoryResult result = Story("a-day").run();
    EXPECT_EQ(result.exit_code, 0) << result.words;
    EXPECT_EQ(flaws(result.at_the_end()), "");
    EXPECT_TRUE(result.printed("the last request succeeded"));

    // What was asked of it, or noticed by it, was done each time.
    const auto a_minute_after = [&result](double time_h) { return result.at(time_h * hour_s + 60); };
    EXPECT_EQ(flaws_in_the_warm(a_minute_after(1.0 / 6)), "");  // set down on a slope
    EXPECT_GE(a_minute_after(1.5).sharpness, sharp);            // far back; auto-keystone is off
    EXPECT_EQ(flaws_in_keystone(a_minute_after(3)), "");        // near the wall; auto-focus is off
    EXPECT_EQ(flaws_in_the_warm(a_minute_after(4.2)), "");      // with a book under its front
    EXPECT_EQ(flaws_in_the_warm(a_minute_after(5)), "");        // hung from the ceiling
    EXPECT_EQ(a_minute_after(5).hdmi_turn_deg, 0);
    EXPECT_EQ(flaws_in_the_warm(a_minute_after(6.2)), "");  // back on its table
    EXPECT_EQ(a_minute_after(6.2).hdmi_turn_deg, 0);

    const std::vector<long> heap = holdings_of(result, "heap_bytes");
    const std::vector<long> nodes = holdings_of(result, "open_nodes");
    ASSERT_EQ(heap.size(), 7U);
    EXPECT_LE(heap.back(), heap.front());
    EXPECT_EQ(nodes, std::vector<long>(7, nodes.front()));
}

// The first twelve minutes and the first move.
StoryResult quarter_of_an_hour(const std::string& seed) {
    return Story("a-day")
        .with({"--seed", seed})
        .commands({"init", "keys", "akaf", "wait idle", "wait 12min", "status"})
        .run();
}

TEST(ADay, IsTheSameToTheByteWhenItBeginsAgain) {
    const StoryResult first = quarter_of_an_hour("8");
    EXPECT_EQ(flaws_in_the_warm(first.at_the_end()), "");
    const StoryResult second = quarter_of_an_hour("8");
    EXPECT_TRUE(first.trace_text == second.trace_text);
    EXPECT_EQ(first.words, second.words);
}

TEST(ADay, OfAnotherSeedDiffersInNoiseOnly) {
    EXPECT_EQ(flaws_in_the_warm(quarter_of_an_hour("9").at_the_end()), "");
}

}  // namespace
