#include "virtual_projector/launcher/unit_file.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <map>
#include <string>
#include <vector>

#include "virtual_projector/launcher/located_json.h"
#include "virtual_projector/storykit/launched_program.h"
#include "virtual_projector/world/unit_record.h"

namespace {

std::string mistake_in(const std::string& text) {
    try {
        vp::parse_unit_file(text, "file");
    } catch (const vp::LocatedError& error) {
        return error.what();
    }
    return "";
}

std::string mistake_in_spread(const std::string& parameter, const std::string& members) {
    return mistake_in(R"({"draw": {")" + parameter + R"(": {)" + members + "}}}");
}

vp::Spread only_spread(const std::string& parameter, const std::string& members) {
    return vp::parse_unit_file(R"({"draw": {")" + parameter + R"(": {)" + members + "}}}", "file").at(0);
}

TEST(AUnitFile, MayDrawNothing) {
    EXPECT_TRUE(vp::parse_unit_file("{}", "file").empty());
    EXPECT_TRUE(vp::parse_unit_file(R"({"about": "All alike.", "draw": {}})", "file").empty());
}

TEST(AUnitFile, HasOneSpreadForEachParameter) {
    const vp::Spread normal = only_spread("lens.step_um", R"("distribution": "normal", "mean": 5, "sigma": 0.1,
                           "follows": {"factor": "thread", "correlation": -0.5})");
    EXPECT_EQ(normal.parameter, "lens.step_um");
    EXPECT_EQ(normal.distribution, vp::Distribution::normal);
    EXPECT_EQ(normal.centre, 5);
    EXPECT_EQ(normal.sigma, 0.1);
    EXPECT_EQ(normal.min, 0.1);  // the parameter's own range
    EXPECT_EQ(normal.max, 100);
    EXPECT_EQ(normal.factor, "thread");
    EXPECT_EQ(normal.correlation, -0.5);
    const vp::Spread choice =
        only_spread("tmr.polarity", R"("distribution": "choice", "values": [-1, 1], "weights": [1, 3])");
    EXPECT_EQ(choice.values, (std::vector<double>{-1, 1}));
    EXPECT_EQ(choice.weights, (std::vector<double>{1, 3}));
    const vp::Spread log_normal =
        only_spread("tmr.noise_sigma", R"("distribution": "log_normal", "median": 1, "sigma": 0.2, "max": 9)");
    EXPECT_EQ(log_normal.centre, 1);
    EXPECT_EQ(log_normal.max, 9);
    EXPECT_TRUE(
        only_spread("unit.tmr_flag", R"("distribution": "uniform", "min": 1, "max": 4)").whole);  // as it is
}

TEST(AUnitFile, IsRefusedWithThePlaceOfItsMistake) {
    EXPECT_EQ(mistake_in(R"({"x": 1})"), "file: $.x: expected one of about, draw");
    EXPECT_EQ(mistake_in(R"({"draw": {"wall.colour": {}}})"),
              "file: $.draw[\"wall.colour\"]: unknown parameter 'wall.colour'; there are wall.lean_deg, "
              "wall.reflectivity");
    const struct {
        const char* parameter;
        const char* members;
        const char* mistake;
    } table[] = {
        {"pose.pitch_deg", "",
         ": expected a parameter of a unit: none of pose, wall, room, hand, bench, no unit.serial, found {}"},
        {"tof.noise_mm", R"("distribution": "log_normal", "median": 0, "sigma": 1)",
         ".median: expected a number above 0, found 0"},
        {"lens.step_um", "", ": expected an object with \"distribution\", found {}"},
        {"lens.step_um", R"("distribution": "even")",
         ".distribution: expected one of normal, truncated_normal, log_normal, uniform, choice, found "
         "\"even\""},
        {"lens.step_um", R"("distribution": "normal", "mean": 5, "sigma": 0.1, "max": 6)",
         ".max: expected one of distribution, mean, sigma, follows, whole"},
        {"lens.step_um", R"("distribution": "normal", "mean": 500, "sigma": 0.1)",
         ".mean: expected a number from 0.1 to 100, found 500"},
        {"lens.step_um", R"("distribution": "normal", "mean": 5, "sigma": -1)",
         ".sigma: expected a number from 0 to 99.9, found -1"},
        {"lens.step_um", R"("distribution": "uniform", "min": 5, "max": 101)",
         ".max: expected a number from 0.1 to 100, found 101"},
        {"lens.step_um", R"("distribution": "uniform", "min": 5, "max": 4)",
         ".max: expected a number not below \"min\", found 4"},
        {"lens.step_um", R"("distribution": "uniform", "min": 0.5, "max": 4, "whole": true)",
         ".min: expected a whole number, found 0.5"},
        {"lens.step_um", R"("distribution": "truncated_normal", "mean": 5, "sigma": 1, "min": 6, "max": 7)",
         ".mean: expected a number from 6 to 7, found 5"},
        {"tmr.polarity", R"("distribution": "choice", "values": [1, 2])",
         ".values[1]: expected a number from -1 to 1, found 2"},
        {"tmr.polarity", R"("distribution": "choice", "values": [])",
         ".values: expected at least one value, found []"},
        {"tmr.polarity", R"("distribution": "choice", "values": [1, -1], "weights": [1])",
         ".weights: expected a weight for each value, found [1]"},
        {"tmr.polarity", R"("distribution": "choice", "values": [1], "weights": [0])",
         ".weights: expected a weight above 0, found [0]"},
        {"lens.step_um",
         R"("distribution": "normal", "mean": 5, "sigma": 1, "follows": {"factor": "f", "correlation": 2})",
         ".follows.correlation: expected a number from -1 to 1, found 2"},
    };
    for (const auto& [parameter, members, mistake] : table) {
        std::string found = mistake_in_spread(parameter, members);
        // What stands there is shown cut off where it is long.
        EXPECT_EQ(found, "file: $.draw[\"" + std::string(parameter) + "\"]" + mistake);
    }
}

// --- units/standard.json -------------------------------------------------------------------------------

struct TheStandardMake : ::testing::Test {
    vp::UnitSpread spreads = vp::read_unit_file(storykit::project_file("units/standard.json"));

    std::vector<double> drawn(const std::string& name) const {
        const auto spread = std::find_if(spreads.begin(), spreads.end(),
                                         [&name](const vp::Spread& each) { return each.parameter == name; });
        std::vector<double> values;
        for (std::uint64_t unit = 0; spread != spreads.end() && unit < 2000; ++unit)
            values.push_back(vp::draw_value(*spread, unit));
        return values;
    }
};

TEST_F(TheStandardMake, SpreadsWhatAssemblyAndPartsLeave) {
    const struct {
        const char* name;
        double min;
        double max;
        bool is_whole;
        double deviation;
    } table[] = {
        {"tmr.polarity", -1, 1, true, 1},
        {"tmr.offset", -30, 30, true, 17.6},
        {"tmr.slope_per_step", 17.6, 18.4, false, 0.231},
        {"lens.left_backlash_steps", 1, 4, true, 1.118},
        {"lens.right_backlash_steps", 1, 4, true, 1.118},
        {"lens.infinity_steps", 11, 13, false, 0.577},
        {"tof.true_offset_mm", -40, 40, false, 23.1},
        {"gravity.offset_x", -60, 60, true, 34.9},
        {"gravity.offset_y", -60, 60, true, 34.9},
        {"gravity.offset_z", -60, 60, true, 34.9},
        {"lens.focal_length_mm", 3.6, 4.1, false, 0.007 * 3.873},
        {"lens.step_um", 4.4, 5.6, false, 0.02 * 5},
        {"lens.hot_drift_tmr", -50, 10, false, 0.25 * 20},
        {"lens.cold_drift_tmr", -4, 20, false, 0.25 * 8},
        {"tof.tilt_offset_deg", -2, 2, false, 0.5},
        {"tof.turn_offset_deg", -2, 2, false, 0.5},
    };
    for (const auto& [name, min, max, is_whole, deviation] : table) {
        const std::vector<double> values = drawn(name);
        ASSERT_FALSE(values.empty()) << name;
        double sum = 0;
        double squares = 0;
        for (const double value : values) {
            EXPECT_GE(value, min) << name;
            EXPECT_LE(value, max) << name;
            EXPECT_TRUE(!is_whole || value == std::floor(value)) << name;
            sum += value;
            squares += value * value;
        }
        const auto count = static_cast<double>(values.size());
        EXPECT_NEAR(std::sqrt(squares / count - sum / count * (sum / count)), deviation, 0.06 * deviation)
            << name;
    }
}

TEST_F(TheStandardMake, MakesUnitsWhoseRecordFitsItsPlace) {
    for (std::uint64_t seed = 0; seed < 200; ++seed) {
        vp::Settings unit = vp::standard_settings();
        for (const auto& [name, value] : vp::draw_unit(spreads, seed))
            EXPECT_EQ(vp::set_parameter(unit, name, value), "");
        EXPECT_LE(vp::lens_table_text(unit).size(), 149U);
    }
}

}  // namespace
