#include "virtual_projector/launcher/run_settings.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "virtual_projector/launcher/located_json.h"
#include "virtual_projector/launcher/world_file.h"
#include "virtual_projector/storykit/launched_program.h"
#include "virtual_projector/world/bench.h"

namespace {

using storykit::project_file;
using storykit::ScratchFolder;
using storykit::write_file;
using vp::RunOptions;
using vp::Scenario;

struct TheSettingsOfARun : ::testing::Test {
    ScratchFolder folder;
    RunOptions options;
    Scenario scenario;

    // What "tmr.offset" is and where it comes from.
    std::string offset() const {
        const vp::RunSettings run = vp::make_world(options, scenario);
        const auto setting =
            std::find_if(run.settings.begin(), run.settings.end(),
                         [](const vp::Setting& each) { return each.parameter->name == "tmr.offset"; });
        EXPECT_EQ(setting->value, run.world.get("tmr.offset"));
        return std::to_string(std::lround(setting->value)) + " " + vp::source_name(setting->source);
    }
    std::string file(const std::string& name, const std::string& text) const {
        write_file(folder.file(name), text);
        return folder.file(name);
    }
};

TEST_F(TheSettingsOfARun, ComeFromTheDefaultsTheWorldTheUnitTheScenarioAndTheCommandLine) {
    EXPECT_EQ(offset(), "6 default");
    options.world = file("world.json", R"({"set": {"tmr.offset": 1}})");
    EXPECT_EQ(offset(), "1 world");
    options.unit = file("unit.json", R"({"draw": {"tmr.offset": {"distribution": "choice", "values": [2]}}})");
    EXPECT_EQ(offset(), "2 unit");
    scenario.parameters = {{"tmr.offset", 3}};
    EXPECT_EQ(offset(), "3 scenario");
    options.parameters = {{"tmr.offset", 4}};
    EXPECT_EQ(offset(), "4 command line");
}

TEST_F(TheSettingsOfARun, ThatWereSetToTheirDefaultStillComeFromWhereTheyWereSet) {
    scenario.parameters = {{"tmr.offset", 6}};
    EXPECT_EQ(offset(), "6 scenario");
}

TEST_F(TheSettingsOfARun, KeepWhatAnotherSettingChanged) {
    scenario.parameters = {{"led.temperature_c", 52}};
    const vp::RunSettings run = vp::make_world(options, scenario);
    for (const vp::Setting& setting : run.settings) {
        const std::string_view name = setting.parameter->name;
        const bool is_changed = name == "led.temperature_c" || name == "led.rise_c" || name == "lens.barrel_c";
        EXPECT_EQ(setting.source, is_changed ? vp::SettingSource::scenario : vp::SettingSource::standard)
            << setting.parameter->name;
    }
}

TEST_F(TheSettingsOfARun, AreThoseOfAUnitOfTheLaboratoryByDefault) {
    options.world = project_file("worlds/laboratory.json");
    const vp::RunSettings laboratory = vp::make_world(options, scenario);
    for (const vp::Setting& setting : laboratory.settings)
        EXPECT_EQ(setting.value, setting.parameter->standard) << setting.parameter->name;
    EXPECT_EQ(laboratory.world.unit_seed(), 1U);
}

TEST_F(TheSettingsOfARun, MayBeThoseOfTheLivingRoom) {
    options.world = project_file("worlds/living-room.json");
    const vp::RunSettings room = vp::make_world(options, scenario);
    EXPECT_EQ(room.world.get("bench.camera_tmr_sigma"), 3);
    EXPECT_EQ(vp::run_record(options, scenario, room.settings).world, "living-room");
}

TEST_F(TheSettingsOfARun, NeedASpreadToDrawAUnitFrom) {
    options.unit_seed = 3;
    EXPECT_THROW(vp::make_world(options, scenario), vp::LocatedError);
}

TEST_F(TheSettingsOfARun, MoveOnlyAUnitThatStandsOnTheBench) {
    const vp::ParameterValues sigmas = {{"bench.depth_mm_sigma", 50}, {"bench.level_deg_sigma", 1}};
    options.parameters = sigmas;
    EXPECT_EQ(vp::make_world(options, scenario).world.get("pose.distance_mm"), 1500);
    scenario.parameters = {{"bench.holds_unit", 1}, {"pose.distance_mm", 1000}};
    const vp::RunSettings run = vp::make_world(options, scenario);
    const vp::BenchErrors errors = vp::bench_errors(run.world.settings().bench, 1);
    EXPECT_NE(errors.depth_mm, 0);
    EXPECT_EQ(run.world.get("pose.distance_mm"), 1000 + errors.depth_mm);
    EXPECT_EQ(run.world.get("pose.pitch_deg"), errors.pitch_deg);
    EXPECT_EQ(run.world.get("pose.roll_deg"), errors.roll_deg);
    // What was set is what the bench believes.
    EXPECT_EQ(run.settings.front().parameter->name, "pose.distance_mm");
    EXPECT_EQ(run.settings.front().value, 1000);
}

using Variables = std::vector<std::pair<std::string, std::string>>;

TEST_F(TheSettingsOfARun, TellScriptsWhatTheBenchMeasured) {
    EXPECT_EQ(vp::bench_variables(vp::make_world(options, scenario).world), Variables());
    scenario.parameters = {{"bench.holds_unit", 1}, {"tmr.polarity", -1}, {"tmr.offset", -6}};
    EXPECT_EQ(vp::bench_variables(vp::make_world(options, scenario).world),
              (Variables{{"BENCH_GRAVITY_OFFSETS", "12 -7 30"}, {"BENCH_SHARPEST_TMR", "-48"}}));
    // The bench goes in whole steps of 18 TMR.
    options.parameters = {{"bench.camera_tmr_sigma", 60}, {"gravity.offset_x", -20}};
    const Variables other = vp::bench_variables(vp::make_world(options, scenario).world);
    EXPECT_EQ(other.at(0).second, "-20 -7 30");
    const double camera_tmr =
        vp::bench_errors(vp::make_world(options, scenario).world.settings().bench, 1).camera_tmr;
    EXPECT_GT(std::abs(camera_tmr), 9);
    EXPECT_EQ(other.at(1).second, std::to_string(-48 + 18 * std::lround(camera_tmr / 18)));
}

TEST_F(TheSettingsOfARun, AllStandInTheTrace) {
    options.version = "1.2.3";
    options.commit = "abc";
    options.seed = 5;
    options.parameters = {{"pose.pitch_deg", 12}, {"tmr.offset", 6}};
    scenario.digest = "fnv1a64:0";
    const vp::RunRecord run = vp::run_record(options, scenario, vp::make_world(options, scenario).settings);
    EXPECT_EQ(run.format, 2);
    EXPECT_EQ(run.version, "1.2.3");
    EXPECT_EQ(run.commit, "abc");
    EXPECT_EQ(run.seed, 5U);
    EXPECT_FALSE(run.unit_seed.has_value());
    EXPECT_EQ(run.unit, "standard");
    EXPECT_EQ(run.world, "laboratory");
    EXPECT_EQ(run.scenario_digest, "fnv1a64:0");
    ASSERT_EQ(run.settings.size(), vp::parameters().size());
    EXPECT_EQ(run.settings[0].name, "pose.distance_mm");
    EXPECT_EQ(run.settings[0].value, 1500);
    EXPECT_EQ(run.settings[0].source, "default");
    EXPECT_EQ(run.settings[1].name, "pose.pitch_deg");
    EXPECT_EQ(run.settings[1].value, 12);
    EXPECT_EQ(run.settings[1].source, "command line");
}

TEST_F(TheSettingsOfARun, KeepAUnitOnTheBenchWithinTheParametersRange) {
    options.parameters = {{"bench.holds_unit", 1}, {"bench.depth_mm_sigma", 50}, {"pose.distance_mm", 100}};
    for (options.unit_seed = 1; *options.unit_seed <= 12; ++*options.unit_seed) {
        options.unit = project_file("units/exact.json");
        const vp::RunSettings run = vp::make_world(options, scenario);
        const vp::BenchErrors errors = vp::bench_errors(run.world.settings().bench, *options.unit_seed);
        EXPECT_EQ(run.world.get("pose.distance_mm"), std::max(100.0, 100 + errors.depth_mm));
    }
}

TEST_F(TheSettingsOfARun, ArePrintedOneALineInEightyColumns) {
    options.unit = project_file("units/standard.json");
    options.unit_seed = 9223372036854775807U;
    options.version = "0.1.0";
    options.commit = "29d69e93c1-dirty";
    const vp::RunSettings start = vp::make_world(options, scenario);
    const std::string text =
        vp::format_settings(vp::run_record(options, scenario, start.settings), start.settings);
    std::istringstream lines(text);
    std::size_t count = 0;
    for (std::string line; std::getline(lines, line); ++count) EXPECT_LE(line.size(), 80U) << line;
    EXPECT_EQ(count, vp::parameters().size() + 5);
    EXPECT_NE(text.find("\nunit: standard, seed 9223372036854775807\n"), std::string::npos);
    EXPECT_NE(text.find("\n  pose.distance_mm                             1500 mm        default\n"),
              std::string::npos)
        << text;
}

// --- World files ---------------------------------------------------------------------------------------

std::string mistake_in(const std::string& text) {
    try {
        vp::parse_world_file(text, "file");
    } catch (const vp::LocatedError& error) {
        return error.what();
    }
    return "";
}

TEST(AWorldFile, IsRefusedWithThePlaceOfItsMistake) {
    EXPECT_EQ(mistake_in("{}"), "");
    EXPECT_EQ(mistake_in(R"({"about": "A cave.", "set": {"wall.reflectivity": 0.2}})"), "");
    EXPECT_EQ(mistake_in(R"({"seed": 1})"), "file: $.seed: expected one of about, set");
    EXPECT_EQ(mistake_in(R"({"about": 1})"), "file: $.about: expected a text, found 1");
    EXPECT_EQ(mistake_in(R"({"set": {"wall.reflectivity": 2}})"),
              "file: $.set[\"wall.reflectivity\"]: expected a number from 0.01 to 1, found 2");
    EXPECT_EQ(mistake_in("{"), "file: $: expected JSON, found a mistake in line 1");
}

}  // namespace
