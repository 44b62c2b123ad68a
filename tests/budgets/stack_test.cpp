// How deep the library's threads use their stacks in the stories, the C library's use included.
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <string>

#include "tests/budgets/figures.h"
#include "tests/stories/storykit/story_run.h"

namespace {

// Between them they walk every way through the threads that the stories know: runs of both kinds, movements,
// turns, a failing sensor, temperatures, the user's own hand.
constexpr const char* stories[] = {"first-light",     "pick-up-and-set-down", "ceiling",
                                   "nudge",           "manual-focus",         "no-tof",
                                   "warm-up-3-curve", "someone-walks-past"};

TEST(TheStackOfEachThread, IsHalfUsedAtMost) {
    std::map<std::string, double> deepest;
    for (const char* story : stories) {
        const storykit::Told told = storykit::Story(story).with({"--exact-stacks"}).run();
        for (const auto& stack : told.summary.at("stacks")) {
            double& use = deepest[stack.at("name").get<std::string>()];
            use = std::max(use, stack.at("deepest_use").get<double>());
        }
    }
    EXPECT_EQ(deepest.size(), 4U);
    for (const auto& [thread, use] : deepest) budgets::expect_within("stack." + thread, use, "bytes");
}

}  // namespace
