#include "virtual_projector/world/parameters.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <set>

namespace vp {
namespace {

TEST(Parameters, HaveDifferentNamesAndFields) {
    std::set<std::string_view> names;
    std::set<const double*> fields;
    Settings settings;
    for (const Parameter& parameter : parameters()) {
        EXPECT_TRUE(names.insert(parameter.name).second) << parameter.name;
        EXPECT_TRUE(fields.insert(&parameter.field(settings)).second) << parameter.name;
    }
    EXPECT_EQ(fields.size() * sizeof(double), sizeof(Settings)) << "some setting has no parameter";
}

TEST(Parameters, HaveTheirDefaultWithinTheirRange) {
    for (const Parameter& parameter : parameters()) {
        EXPECT_LE(parameter.min, parameter.standard) << parameter.name;
        EXPECT_GE(parameter.max, parameter.standard) << parameter.name;
        EXPECT_FALSE(parameter.meaning.empty()) << parameter.name;
    }
}

TEST(Parameters, StandInTheManualTwoLinesEach) {
    const std::string manual = describe_parameters();
    EXPECT_EQ(static_cast<std::size_t>(std::count(manual.begin(), manual.end(), '\n')),
              2 * parameters().size());
    EXPECT_NE(manual.find("  pose.pitch_deg                      0 deg      [-90 .. 90]\n"
                          "      optical axis above the horizon\n"),
              std::string::npos);
}

TEST(Parameters, AreSetByName) {
    Settings settings = standard_settings();
    EXPECT_EQ(set_parameter(settings, "pose.distance_mm", 2000), "");
    EXPECT_EQ(settings.pose.distance_mm, 2000);
    EXPECT_EQ(find_parameter("pose.distance_mm")->get(settings), 2000);
}

TEST(Parameters, TakeTheBoundsOfTheirRange) {
    Settings settings = standard_settings();
    EXPECT_EQ(set_parameter(settings, "pose.pitch_deg", -90), "");
    EXPECT_EQ(set_parameter(settings, "pose.pitch_deg", 90), "");
}

TEST(Parameters, OutOfRangeSaysWhatIsRight) {
    Settings settings = standard_settings();
    EXPECT_EQ(set_parameter(settings, "pose.pitch_deg", 91),
              "pose.pitch_deg cannot be 91: it takes a number from -90 to 90 deg");
    EXPECT_EQ(settings.pose.pitch_deg, 0);
}

TEST(Parameters, OfWholeNumbersRefuseFractions) {
    Settings settings = standard_settings();
    EXPECT_EQ(set_parameter(settings, "unit.tmr_flag", 1.5),
              "unit.tmr_flag cannot be 1.5: it takes a whole number from 0 to 9");
}

TEST(Parameters, UnknownOnesNameTheirNeighbours) {
    Settings settings = standard_settings();
    EXPECT_EQ(set_parameter(settings, "wall.colour", 1),
              "unknown parameter 'wall.colour'; there are wall.lean_deg, wall.reflectivity");
    EXPECT_EQ(set_parameter(settings, "colour", 1),
              "unknown parameter 'colour'; the areas are pose, wall, room, heat, led, lens, picture, tmr, tof, "
              "gravity, hand, wear, unit, bench, board");
}

TEST(Parameters, OfAnEarlierNameAreRefusedWithTheNewOne) {
    struct {
        const char* name;
        const char* message;
    } const table[] = {
        {"lens.play", "lens.play is called lens.backlash_state now"},
        {"lens.left_idle_steps", "lens.left_idle_steps is called lens.left_backlash_steps now"},
        {"lens.right_idle_steps", "lens.right_idle_steps is called lens.right_backlash_steps now"},
        {"tmr.sense", "tmr.sense is called tmr.polarity now"},
    };
    for (const auto& [name, message] : table) {
        Settings settings = standard_settings();
        double value = 0;
        EXPECT_EQ(find_parameter(name), nullptr) << name;
        EXPECT_EQ(set_parameter(settings, name, 1), message);
        EXPECT_EQ(parse_parameter_value(name, "1", value), message);
    }
}

TEST(Parameters, AreReadFromText) {
    double value = 0;
    EXPECT_EQ(parse_parameter_value("pose.pitch_deg", "12.5", value), "");
    EXPECT_EQ(value, 12.5);
    EXPECT_EQ(parse_parameter_value("board.has_tof", "false", value), "");
    EXPECT_EQ(value, 0);
    EXPECT_EQ(parse_parameter_value("board.has_tof", "true", value), "");
    EXPECT_EQ(value, 1);
}

TEST(Parameters, RefuseTextThatIsNoNumber) {
    double value = 0;
    for (const char* text : {"", "twelve", "12x", "nan", "inf"}) {
        EXPECT_EQ(parse_parameter_value("pose.pitch_deg", text, value),
                  std::string("pose.pitch_deg cannot be '") + text + "': it takes a number from -90 to 90 deg");
    }
}

}  // namespace
}  // namespace vp
