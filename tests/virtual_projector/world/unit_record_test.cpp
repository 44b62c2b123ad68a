#include "virtual_projector/world/unit_record.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <iterator>
#include <numeric>
#include <sstream>
#include <vector>

#include "virtual_projector/world/optics.h"
#include "virtual_projector/world/parameters.h"

namespace vp {
namespace {

constexpr double focus_distances_mm[] = {3000, 1500, 1000, 750, 600, 500, 430, 375, 333, 300, 275, 255, 240};
constexpr double warm_c = 44;

std::string text_at(const Record& record, std::size_t at) {
    return reinterpret_cast<const char*>(record.data() + at);
}

std::vector<int> numbers_of(std::string text) {
    for (char& c : text) c = c == ',' ? ' ' : c;
    std::istringstream stream(text);
    std::vector<int> numbers;
    for (int number = 0; stream >> number;) numbers.push_back(number);
    return numbers;
}

struct UnitRecord : ::testing::Test {
    Settings s = standard_settings();
};

TEST_F(UnitRecord, HoldsThirtyNumbersThatFitTheirField) {
    const Record record = factory_record(s);
    EXPECT_EQ(numbers_of(text_at(record, 0)).size(), 30u);
    EXPECT_LE(text_at(record, 0).size(), 149u);
    EXPECT_EQ(text_at(record, 0), lens_table_text(s));
}

TEST_F(UnitRecord, PlacesAreHalfStepsOfTheLens) {
    const auto table = lens_table(s);
    for (std::size_t i = 0; i + 1 < 25; ++i) EXPECT_EQ(table[i + 1] - table[i], 9);
}

TEST_F(UnitRecord, EveryFocusDistanceIsSharpAtItsPlace) {
    const auto table = lens_table(s);
    for (std::size_t i = 0; i < std::size(focus_distances_mm); ++i) {
        const double best = ideal_tmr(s.tmr, best_focus_steps(s.lens, s.tmr, focus_distances_mm[i], warm_c));
        EXPECT_NEAR(table[2 * i], best, 6) << focus_distances_mm[i];
        EXPECT_GE(sharpness(s.lens, table[2 * i] - best), 0.98);
    }
}

TEST_F(UnitRecord, LimitsLieBeyondThePlacesAndWithinTheTravel) {
    const auto table = lens_table(s);
    EXPECT_EQ(table[25], table[0] - 20);
    EXPECT_EQ(table[26], table[24] + 18 + 40);
    EXPECT_GT(table[25], ideal_tmr(s.tmr, 0));
    EXPECT_LT(table[26], ideal_tmr(s.tmr, s.lens.travel_steps));
}

TEST_F(UnitRecord, KeepsThePolarityAndTheBacklash) {
    EXPECT_EQ(lens_table(s)[27], 0);
    EXPECT_EQ(lens_table(s)[28], 4);
    EXPECT_EQ(lens_table(s)[29], 2);
    s.tmr.polarity = -1;
    EXPECT_EQ(lens_table(s)[27], 1);
}

TEST_F(UnitRecord, HoldsTheGravityOffsetsSerialsAndFlags) {
    s.unit.tmr_flag = 4;
    s.unit.serial = 42;
    const Record record = factory_record(s);
    EXPECT_EQ(text_at(record, 150), "12,-7,30");
    EXPECT_EQ(text_at(record, 174), "VP00000042");
    EXPECT_EQ(text_at(record, 198), "VPMB00000042");
    EXPECT_EQ(record[222], '1');
    EXPECT_EQ(record[223], '1');
    EXPECT_EQ(record[224], '4');
    EXPECT_EQ(record[225], 0);
}

TEST_F(UnitRecord, OfAnUncalibratedUnitIsBlank) {
    s.unit.calibrated = 0;
    for (const std::uint8_t byte : factory_record(s)) EXPECT_EQ(byte, 0xFF);
}

TEST_F(UnitRecord, TheCurveHoldsItsPointsAfterSevenNumbersNearestFirst) {
    const std::vector<int> numbers = numbers_of(elepn_curve_text(s));
    ASSERT_EQ(numbers.size(), 20u);
    const auto table = lens_table(s);
    for (std::size_t point = 0; point < 13; ++point) {
        const int number = numbers[19 - point];
        const int value = number >= 10001 ? number - 65536 : number;
        EXPECT_EQ(value, table[2 * point] + 8) << point;
    }
}

TEST_F(UnitRecord, TheCurveHasTheSensorsOwnPolarity) {
    s.tmr.polarity = -1;
    const std::vector<int> numbers = numbers_of(elepn_curve_text(s));
    const int nearest = numbers[7] >= 10001 ? numbers[7] - 65536 : numbers[7];
    EXPECT_EQ(nearest, -(lens_table(s)[24] + 8));
}

TEST_F(UnitRecord, UnitsDifferBySeedAndStayWithinReason) {
    Settings first = s;
    Settings again = s;
    Settings second = s;
    draw_unit(first, 1);
    draw_unit(again, 1);
    draw_unit(second, 2);
    EXPECT_EQ(lens_table_text(first), lens_table_text(again));
    EXPECT_NE(lens_table_text(first), lens_table_text(second));
    for (std::uint64_t seed = 0; seed < 200; ++seed) {
        Settings unit = s;
        draw_unit(unit, seed);
        EXPECT_LE(lens_table_text(unit).size(), 149u);
        EXPECT_EQ(std::abs(unit.tmr.polarity), 1);
        for (const Parameter& parameter : parameters()) {
            EXPECT_GE(parameter.get(unit), parameter.min) << parameter.name;
            EXPECT_LE(parameter.get(unit), parameter.max) << parameter.name;
        }
    }
}

struct DrawnProperty {
    const char* name;
    double min;
    double max;
    bool is_whole;
};

constexpr DrawnProperty drawn_properties[] = {
    {"tmr.polarity", -1, 1, true},
    {"tmr.offset", -30, 30, true},
    {"tmr.slope_per_step", 17.6, 18.4, false},
    {"lens.left_backlash_steps", 1, 4, true},
    {"lens.right_backlash_steps", 1, 4, true},
    {"lens.infinity_steps", 11, 13, false},
    {"tof.true_offset_mm", -40, 40, false},
    {"gravity.offset_x", -60, 60, true},
    {"gravity.offset_y", -60, 60, true},
    {"gravity.offset_z", -60, 60, true},
};

// One number a unit for each property.
std::vector<std::vector<double>> draw_units(std::uint64_t units) {
    std::vector<std::vector<double>> drawn(std::size(drawn_properties));
    for (std::uint64_t seed = 0; seed < units; ++seed) {
        Settings unit = standard_settings();
        draw_unit(unit, seed);
        for (std::size_t i = 0; i < drawn.size(); ++i) {
            drawn[i].push_back(find_parameter(drawn_properties[i].name)->get(unit));
        }
    }
    return drawn;
}

// 1: the one tells the other; 0: they have nothing to do with each other.
double correlation(const std::vector<double>& a, const std::vector<double>& b) {
    const auto count = static_cast<double>(a.size());
    const double mean_a = std::accumulate(a.begin(), a.end(), 0.0) / count;
    const double mean_b = std::accumulate(b.begin(), b.end(), 0.0) / count;
    double aa = 0;
    double bb = 0;
    double ab = 0;
    for (std::size_t i = 0; i < a.size(); ++i) {
        aa += (a[i] - mean_a) * (a[i] - mean_a);
        bb += (b[i] - mean_b) * (b[i] - mean_b);
        ab += (a[i] - mean_a) * (b[i] - mean_b);
    }
    return ab / std::sqrt(aa * bb);
}

TEST_F(UnitRecord, DrawnPropertiesTakeTheirWholeRange) {
    const std::vector<std::vector<double>> drawn = draw_units(2000);
    for (std::size_t i = 0; i < drawn.size(); ++i) {
        const DrawnProperty& property = drawn_properties[i];
        const auto [min, max] = std::minmax_element(drawn[i].begin(), drawn[i].end());
        const double margin = property.is_whole ? 0 : 0.01 * (property.max - property.min);
        EXPECT_GE(*min, property.min) << property.name;
        EXPECT_LE(*min, property.min + margin) << property.name;
        EXPECT_LE(*max, property.max) << property.name;
        EXPECT_GE(*max, property.max - margin) << property.name;
        const bool all_whole = std::all_of(drawn[i].begin(), drawn[i].end(),
                                           [](double number) { return number == std::floor(number); });
        EXPECT_EQ(all_whole, property.is_whole) << property.name;
    }
}

TEST_F(UnitRecord, DrawnPropertiesHaveNothingToDoWithEachOther) {
    const std::vector<std::vector<double>> drawn = draw_units(2000);
    for (std::size_t i = 0; i < drawn.size(); ++i) {
        for (std::size_t j = 0; j < i; ++j) {
            EXPECT_NEAR(correlation(drawn[i], drawn[j]), 0, 0.12)
                << drawn_properties[i].name << " and " << drawn_properties[j].name;
        }
    }
}

}  // namespace
}  // namespace vp
