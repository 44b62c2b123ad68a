// Whole runs on the wall clock under ThreadSanitizer: the library's threads, the host's and the key listener
// meet as the kernel lets them. These tests really wait, so they are no part of the plain suite.
#include <gtest/gtest.h>

#include <algorithm>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "tests/stories/odd_program/odd_program.h"
#include "virtual_projector/storykit/story_run.h"

namespace {

using storykit::contents_of;
using storykit::Finished;
using storykit::ScratchFolder;
using storykit::Story;
using storykit::StoryResult;

constexpr const char* a_report = "ThreadSanitizer";

// Whether the run had all threads that watch and serve by themselves.
void expect_threads(const StoryResult& result) {
    std::vector<std::string> names;
    const nlohmann::json summary = result.summary();
    for (const auto& stack : summary.at("stacks")) names.push_back(stack.at("name"));
    for (const char* name :
         {"ovra_gsensor_thread", "UI_update_thread", "gsensor_det_thread", "keystonefocus_thread"}) {
        EXPECT_TRUE(std::find(names.begin(), names.end(), name) != names.end()) << name;
    }
}

void expect_no_race(const StoryResult& result) {
    EXPECT_EQ(result.complaints.find(a_report), std::string::npos) << result.complaints;
    EXPECT_EQ(result.exit_code, 0) << result.words << result.complaints;
    expect_threads(result);
}

// The day's events one after the other.
constexpr double longest_pause_s = 1.5;
constexpr double longest_gesture_s = 4;

nlohmann::json without_pauses(nlohmann::json day) {
    double end_s = 0;
    double shortened_s = 0;
    for (nlohmann::json& event : day.at("events")) {
        const double at_s = event.at("at_s");
        const double length_s = event.value("for_s", 0.0);
        shortened_s += std::min(at_s - end_s, longest_pause_s);
        event["at_s"] = shortened_s;
        if (length_s > longest_gesture_s) event["for_s"] = longest_gesture_s;
        shortened_s += std::min(length_s, longest_gesture_s);
        end_s = at_s + length_s;
    }
    return day;
}

TEST(DataRaces, AreReportedByTheSanitizerBehindTheVirtualProjector) {
    const Finished finished = storykit::launch_projector({"--real-time"}, {testkit::odd_program, "race"});
    EXPECT_NE(finished.complaints.find(a_report), std::string::npos) << finished.complaints;
    EXPECT_NE(finished.exit_code, 0);
}

TEST(DataRaces, AreNotThereWhenTheUnitIsPickedUpAndSetDown) {
    expect_no_race(Story("pick-up-and-set-down").with({"--real-time"}).run());
}

TEST(DataRaces, AreNotThereInAShortenedDay) {
    const ScratchFolder folder;
    const nlohmann::json day =
        nlohmann::json::parse(contents_of(storykit::project_file("scenarios/a-day.json")));
    storykit::write_file(folder.file("day.json"), without_pauses(day).dump());
    expect_no_race(
        Story("a-day")
            .scenario(folder.file("day.json"))
            .commands({"init",      "keys",         "akaf",        "wait idle",    "wait 12s", "switches 0 1",
                       "akaf",      "angles",       "wait 8s",     "switches 1 0", "distance", "wait 8s",
                       "keys",      "switches 1 1", "keystone 12", "wait idle",    "akaf",     "wait 20s",
                       "manual 60", "manual -60",   "status",      "wait 20s",     "akaf",     "fan 2",
                       "wait idle", "wait 10s",     "akaf",        "wait idle",    "status"})
            .with({"--real-time"})
            .run());
}

}  // namespace
