// What the library makes of everyday movements, and the table of docs/integration.md that says so.
#include <gtest/gtest.h>

#include <cmath>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "virtual_projector/storykit/scratch_folder.h"
#include "virtual_projector/storykit/story_run.h"

namespace {

using nlohmann::json;
using storykit::ScratchFolder;
using storykit::Story;
using storykit::StoryResult;

constexpr double at_s = 12;  // focused, and at rest for long enough to have a rest position
constexpr double start_mm = 1500;
constexpr int seeds = 6;

struct Movement {
    const char* name;
    std::vector<json> events;
    const char* noticed;  // always, never or by chance
    const char* follows;  // when it is noticed
};

double along_the_axis_mm(double pitch_deg) { return start_mm / std::cos(pitch_deg * 3.141592653589793 / 180); }

json gesture(double time_s, const char* name, const json& to) {
    return {{"at_s", time_s}, {"gesture", name}, {"to", to}};
}

json gesture(double time_s, const char* name, const json& to, double for_s) {
    json event = gesture(time_s, name, to);
    event["for_s"] = for_s;
    return event;
}

// Tilted where it stands, so that the way to the wall along the optical axis grows.
std::vector<json> tilted(double pitch_deg, double for_s) {
    return {gesture(at_s, "tilt", {{"pitch_deg", pitch_deg}, {"distance_mm", along_the_axis_mm(pitch_deg)}},
                    for_s)};
}

std::vector<json> moved_on_the_table(const json& to, double for_s) {
    return {gesture(at_s, "tilt", to, for_s)};
}

std::vector<json> shaken(double for_s) { return {gesture(at_s, "shake", json::object(), for_s)}; }

std::vector<json> carried(double by_way_of_mm, const json& to) {
    return {gesture(at_s, "pick_up", json::object()),
            gesture(at_s + 0.8, "carry", {{"distance_mm", by_way_of_mm}}), gesture(at_s + 3.8, "set_down", to)};
}

std::vector<json> lifted_and_put_back() {
    return {gesture(at_s, "pick_up", json::object()),
            gesture(at_s + 1, "set_down", {{"distance_mm", start_mm}})};
}

std::vector<json> turned_to_the_ceiling() {
    return {{{"at_s", at_s}, {"set", {{"wall.lean_deg", 90}}}},
            gesture(at_s, "tilt", {{"pitch_deg", 90}, {"distance_mm", 2000}}, 3)};
}

std::vector<Movement> movements() {
    return {
        {"its foot screwed in by 3° within 1 s", tilted(3, 1), "never", "nothing"},
        {"by 14° within 5 s", tilted(14, 5), "never", "nothing"},
        {"by 14° within 1 s", tilted(14, 1), "by chance", "keystone and focus"},
        {"by 20° within 4 s", tilted(20, 4), "never", "nothing"},
        {"by 20° within 1 s", tilted(20, 1), "always", "keystone and focus"},
        {"by 25° within 1 s, the distance along its axis as before", moved_on_the_table({{"pitch_deg", 25}}, 1),
         "always", "nothing"},
        {"sunk by 10° in 10 minutes", tilted(-10, 600), "never", "nothing"},
        {"turned by 20° to the side on the table, within 1 s",
         moved_on_the_table({{"yaw_deg", 20}, {"distance_mm", 1596}}, 1), "never", "nothing"},
        {"slid 200 mm along the table within 1 s", moved_on_the_table({{"distance_mm", 1300}}, 1), "never",
         "nothing"},
        {"the table bumped, 0.3 s", shaken(0.3), "by chance", "nothing"},
        {"shaken for 2.5 s", shaken(2.5), "always", "nothing"},
        {"lifted and put back", lifted_and_put_back(), "always", "nothing"},
        {"carried 500 mm nearer", carried(1050, {{"distance_mm", 1000}}), "always", "keystone and focus"},
        {"carried about and put down 10 mm farther away", carried(1450, {{"distance_mm", 1510}}), "always",
         "keystone"},
        {"laid on its side", {gesture(at_s, "turn_over", {{"mounting", 1}})}, "always", "rotation"},
        {"hung from the ceiling, 300 mm farther away",
         {gesture(at_s, "hang", {{"mounting", 2}, {"distance_mm", 1800}})},
         "always",
         "rotation, keystone and focus"},
        {"turned up to the ceiling, 2 m away, within 3 s", turned_to_the_ceiling(), "always",
         "keystone and focus"},
    };
}

StoryResult run(const Movement& movement, int seed) {
    const ScratchFolder folder;
    storykit::write_file(folder.file("movement.json"), json{{"events", movement.events}}.dump());
    const double for_s = movement.events.back().value("for_s", 0.0);
    return Story("nudge")
        .scenario(folder.file("movement.json"))
        .commands(
            {"init", "wait 4s", "akaf", "wait idle", "wait " + std::to_string(std::lround(for_s) + 35) + "s"})
        .with({"--seed", std::to_string(seed)})
        .run();
}

bool is_noticed(const StoryResult& result) { return result.times_logged("machine is ") > 0; }

bool widths_changed(const StoryResult& result) {
    for (const vp::TruthAt& truth : result.trace.truths) {
        const vp::TruthAt& before = result.at(at_s);
        if (truth.t_us > before.t_us &&
            (truth.top_width != before.top_width || truth.bottom_width != before.bottom_width))
            return true;
    }
    return false;
}

// The host has asked for one run, and the picture was turned once at the start.
std::string what_followed(const StoryResult& result) {
    std::string follows = result.times_printed("from now on") > 1 ? "rotation" : "";
    const bool keystone = widths_changed(result);
    const bool focus = result.times_logged("run once AKAF") > 1;
    if (keystone || focus) follows += follows.empty() ? "" : ", ";
    if (keystone) follows += focus ? "keystone and " : "keystone";
    if (focus) follows += "focus";
    return follows.empty() ? "nothing" : follows;
}

std::string frequency(int noticed) {
    if (noticed == 0) return "never";
    return noticed == seeds ? "always" : "by chance";
}

class EverydayMovements : public ::testing::TestWithParam<Movement> {};

TEST_P(EverydayMovements, AreNoticedOrNotAsThePageOnIntegrationSays) {
    const Movement& movement = GetParam();
    int noticed = 0;
    for (int seed = 1; seed <= seeds; ++seed) {
        const StoryResult result = run(movement, seed);
        EXPECT_EQ(result.exit_code, 0);
        if (is_noticed(result)) ++noticed;
        EXPECT_EQ(what_followed(result), is_noticed(result) ? movement.follows : "nothing") << "seed " << seed;
    }
    EXPECT_EQ(frequency(noticed), movement.noticed);

    const std::string row =
        "\n| " + std::string(movement.name) + " | " + movement.noticed + " | " + movement.follows + " |\n";
    const std::string page = storykit::contents_of(storykit::project_file("docs/integration.md"));
    EXPECT_NE(page.find(row), std::string::npos) << row;
}

INSTANTIATE_TEST_SUITE_P(All, EverydayMovements, ::testing::ValuesIn(movements()));

TEST(EverydayMovementsOfThePage, AreTheOnesThatAreRun) {
    const std::string page = storykit::contents_of(storykit::project_file("docs/integration.md"));
    std::size_t at = page.find("\n| Movement | Noticed | What follows |\n");
    ASSERT_NE(at, std::string::npos);
    at = page.find('\n', page.find('\n', at + 1) + 1);
    std::size_t rows = 0;
    for (; page.compare(at, 2, "\n|") == 0; at = page.find('\n', at + 1)) ++rows;
    EXPECT_EQ(rows, movements().size());
}

}  // namespace
