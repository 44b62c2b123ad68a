// How deep the library's threads use their stacks in the stories, the C library's use included.
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <nlohmann/json.hpp>
#include <string>

#include "tests/budgets/figures.h"
#include "virtual_projector/storykit/story_run.h"

namespace {

// Between them they walk every way through the threads that the stories know: runs of both kinds, movements,
// turns, a failing sensor, temperatures, the user's own hand. A day goes the same ways, more often.
constexpr const char* stories[] = {"first-light",     "pick-up-and-set-down", "ceiling",
                                   "nudge",           "manual-focus",         "no-tof",
                                   "warm-up-3-curve", "someone-walks-past"};

using Depths = std::map<std::string, double>;  // by thread

void add_depths_of(storykit::Story story, Depths& deepest) {
    const storykit::StoryResult result = story.with({"--exact-stacks"}).run();
    const nlohmann::json summary = result.summary();
    for (const auto& stack : summary.at("stacks")) {
        double& use = deepest[stack.at("name").get<std::string>()];
        use = std::max(use, stack.at("deepest_use").get<double>());
    }
}

// Keys are pressed while the host listens to them.
void add_depths_with_keys(Depths& deepest) {
    const storykit::ScratchFolder folder;
    storykit::write_file(folder.file("scenario.json"), R"({"events": [{"at_s": 1, "key": 28, "value": 1},
        {"at_s": 2, "key": 28, "value": 0}, {"at_s": 3, "key": 103, "value": 1}]})");
    add_depths_of(storykit::Story("first-light")
                      .scenario(folder.file("scenario.json"))
                      .commands({"init", "keys", "wait 5s"}),
                  deepest);
}

TEST(TheStackOfEachThread, IsHalfUsedAtMost) {
    Depths deepest;
    for (const char* story : stories) add_depths_of(storykit::Story(story), deepest);
    add_depths_with_keys(deepest);
    EXPECT_EQ(deepest.size(), 5U);
    for (const auto& [thread, use] : deepest) budgets::expect_within("stack." + thread, use, "bytes");
}

}  // namespace
