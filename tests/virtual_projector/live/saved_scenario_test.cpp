#include "virtual_projector/live/saved_scenario.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "virtual_projector/launcher/scenario.h"
#include "virtual_projector/storykit/scratch_folder.h"

namespace {

using Json = nlohmann::ordered_json;

class ASavedScenario : public testing::Test {
protected:
    void write_base(const std::string& text) {
        given.scenario = folder.file("base.json");
        std::ofstream(given.scenario) << text;
    }
    vp::Scenario saved(const std::vector<Json>& events = {}) const {
        return vp::parse_scenario(vp::saved_scenario(given, events), "saved");
    }

    storykit::ScratchFolder folder;
    vp::RunOptions given;
};

TEST_F(ASavedScenario, HoldsEachEventAtItsExactTimeBesideThoseOfTheBase) {
    write_base(R"({"story": "base", "events": [{"at_s": 1, "key": 1}, {"at_s": 9, "key": 2}]})");
    const vp::Scenario scenario =
        saved({{{"at_s", 3.141593}, {"gesture", "shake"}}, {{"at_s", 863999.999999}, {"type", "akaf"}}});
    ASSERT_EQ(scenario.events.size(), 4U);
    EXPECT_EQ(scenario.story, "base");
    EXPECT_EQ(scenario.events[1].at, 3141593);
    EXPECT_EQ(scenario.events[2].at, 9000000);
    EXPECT_EQ(scenario.events[3].at, 863999999999);
}

TEST_F(ASavedScenario, KeepsWhatTheCommandLineSaid) {
    write_base(R"({"seed": 1, "world": "laboratory", "set": {"pose.pitch_deg": 3, "pose.yaw_deg": 1}})");
    given.seed = 42;
    given.unit_seed = 7;
    given.world = "living-room";
    given.parameters = {{"pose.pitch_deg", 8.5}};
    const vp::Scenario scenario = saved();
    EXPECT_EQ(scenario.seed, 42U);
    EXPECT_EQ(scenario.unit_seed, 7U);
    EXPECT_EQ(scenario.world, "living-room");
    const vp::ParameterValues expected = {{"pose.pitch_deg", 8.5}, {"pose.yaw_deg", 1}};
    EXPECT_EQ(scenario.parameters, expected);
}

TEST_F(ASavedScenario, NamesFilesSoThatTheyAreFoundFromAnyFolder) {
    write_base(R"({"world": "./room.json"})");
    EXPECT_EQ(saved().world, folder.file("room.json"));
    given.world = "attic.json";
    EXPECT_EQ(saved().world, (std::filesystem::current_path() / "attic.json").string());
}

TEST_F(ASavedScenario, LetsNobodyElseTypeIntoTheRepeatedRun) {
    EXPECT_TRUE(saved().types());
    EXPECT_EQ(saved().standard_input, "");
    write_base(R"({"standard_input": "init\n"})");
    EXPECT_EQ(saved().standard_input, "init\n");
}

}  // namespace
