#include "virtual_projector/world/unit_record.h"

#include <gtest/gtest.h>

#include <cmath>
#include <iterator>
#include <sstream>
#include <vector>

#include "virtual_projector/world/lens_sensor.h"
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

// --- On a bench with errors ------------------------------------------------------------------------------

TEST_F(UnitRecord, OfAFaultlessBenchIsThatWithoutOne) {
    EXPECT_EQ(factory_record(s, bench_errors(s.bench, 7)), factory_record(s));
}

TEST_F(UnitRecord, TakesTheTableFromWhereTheCameraFindsThePictureSharpest) {
    const struct {
        double camera_tmr;
        bool whole_steps;
        int shift_tmr;  // of all places
    } table[] = {
        {0, false, 0}, {5, false, 5},  {-5, false, -5},  {0, true, 0},
        {8, true, 0},  {10, true, 18}, {-10, true, -18},
    };
    for (const auto& [camera_tmr, whole_steps, shift_tmr] : table) {
        BenchErrors bench;
        bench.camera_tmr = camera_tmr;
        bench.whole_steps = whole_steps;
        for (std::size_t place = 0; place < 25; ++place)
            EXPECT_EQ(lens_table(s, bench)[place], lens_table(s)[place] + shift_tmr) << camera_tmr;
    }
}

TEST_F(UnitRecord, FindsTheNearestWholeStepOfALensMountBetweenTwo) {
    s.lens.infinity_steps = 12.4;
    BenchErrors bench;
    bench.whole_steps = true;
    EXPECT_EQ(lens_table(s, bench)[4], lens_table(standard_settings())[4]);
}

// Tipped by a small angle the sensor reads g times its sine on the axis that it is tipped about.
// A lens sensor that is far out gives numbers of many digits.
TEST_F(UnitRecord, CutsATableOffThatIsTooLongForIt) {
    s.tmr.slope_per_step = 1000;
    s.tmr.zero_steps = 1000;
    s.lens.infinity_steps = -100;
    const std::string table = lens_table_text(s);
    ASSERT_GT(table.size(), 200U);
    const Record record = factory_record(s);
    EXPECT_EQ(text_at(record, 0), table.substr(0, 149));
    EXPECT_EQ(text_at(record, 150), gravity_offsets_text(s));
}

TEST_F(UnitRecord, TakesTheJigsTiltForAnOffsetOfTheGravitySensor) {
    BenchErrors bench;
    bench.pitch_deg = 1;
    EXPECT_EQ(gravity_offsets_text(s, bench).substr(0, 3), "12,");
    const std::vector<int> pitched = numbers_of(gravity_offsets_text(s, bench));
    // With the lens up by a degree the sensor's back axis feels 1000 sin 1 degree = 17.45 less.
    EXPECT_EQ(pitched[1], -7 - 17);
    EXPECT_EQ(pitched[2], 30);
    bench = {};
    bench.roll_deg = 1;
    const std::vector<int> rolled = numbers_of(gravity_offsets_text(s, bench));
    EXPECT_EQ(rolled[0], 12 - 17);
    EXPECT_EQ(rolled[1], -7);
}

// The mean of many samples, with the LED at 44 C.
TEST_F(UnitRecord, HasNoFanAndNoSpikesInTheGravityOffsetsButTheWarmBenchsDrift) {
    s.gravity.fan_vibration_mg = 500;
    s.gravity.spike_probability = 1;
    s.gravity.noise_sigma = 100;
    EXPECT_EQ(gravity_offsets_text(s), "12,-7,30");
    s.gravity.bias_drift_mg_per_c = 1;
    EXPECT_EQ(gravity_offsets_text(s), "31,12,49");
}

// The library reads a bent scale, and finds it by its readings.
TEST_F(UnitRecord, HasTheReadingsOfABentScaleInTheTable) {
    s.tmr.nonlinearity = 0.02;
    s.tmr.hysteresis = 10;
    const std::array<int, 30> table = lens_table(s);
    const double reference = best_focus_steps(s.lens, s.tmr, 1000, 44);
    const double bend = nonlinearity_tmr(s.tmr, s.lens, reference);
    EXPECT_GT(std::abs(bend), 5);
    EXPECT_EQ(table[4], std::lround(ideal_tmr(s.tmr, reference) + bend - 5));
    EXPECT_EQ(table[4], sharpest_tmr(s));
}

}  // namespace
}  // namespace vp
