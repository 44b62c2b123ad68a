#include "virtual_projector/world/optics.h"

#include <gtest/gtest.h>

#include <cmath>

#include "virtual_projector/world/parameters.h"

namespace vp {
namespace {

constexpr double warm_c = 45;
constexpr double focus_distances_mm[] = {3000, 1500, 1000, 750, 600, 500, 430, 375, 333, 300, 275, 255, 240};

struct Optics : ::testing::Test {
    Settings s = standard_settings();

    double best(double distance_mm, double led_c = warm_c) const {
        return best_focus_steps(s.lens, s.tmr, distance_mm, led_c);
    }
};

TEST_F(Optics, NearerWallsWantTheLensFurtherRight) {
    for (std::size_t i = 1; i < std::size(focus_distances_mm); ++i) {
        EXPECT_GT(best(focus_distances_mm[i]), best(focus_distances_mm[i - 1]));
    }
}

TEST_F(Optics, NeighbouringFocusDistancesAreOneFullStepApart) {
    for (std::size_t i = 1; i < std::size(focus_distances_mm); ++i) {
        EXPECT_NEAR(best(focus_distances_mm[i]) - best(focus_distances_mm[i - 1]), 1, 0.25)
            << focus_distances_mm[i];
    }
}

TEST_F(Optics, AFullStepIsAboutEighteenUnitsOfTheSensor) {
    EXPECT_NEAR(ideal_tmr(s.tmr, 19) - ideal_tmr(s.tmr, 18), 18, 1e-9);
}

TEST_F(Optics, InfinityIsWhereTheParameterSays) { EXPECT_NEAR(best(1e9), s.lens.infinity_steps, 1e-4); }

TEST_F(Optics, IsSharpestInPlaceAndStillGoodHalfAStepBesides) {
    EXPECT_EQ(sharpness(s.lens, 0), 1);
    EXPECT_GE(sharpness(s.lens, 9), 0.98);
    EXPECT_EQ(sharpness(s.lens, -9), sharpness(s.lens, 9));
    EXPECT_LT(sharpness(s.lens, 36), 0.85);
    EXPECT_NEAR(sharpness(s.lens, s.lens.sharpness_width_tmr), std::exp(-1), 1e-12);
}

TEST_F(Optics, DoesNotDriftAtWorkingTemperature) {
    EXPECT_EQ(heat_drift_tmr(s.lens, 42), 0);
    EXPECT_EQ(heat_drift_tmr(s.lens, 46), 0);
}

TEST_F(Optics, DriftsLeftWhenHotAndRightWhenCold) {
    EXPECT_NEAR(heat_drift_tmr(s.lens, 52), -10, 1e-9);
    EXPECT_NEAR(heat_drift_tmr(s.lens, 58), -20, 1e-9);
    EXPECT_NEAR(heat_drift_tmr(s.lens, 90), -20, 1e-9);
    EXPECT_NEAR(heat_drift_tmr(s.lens, 35), 4, 1e-9);
    EXPECT_NEAR(heat_drift_tmr(s.lens, 20), 8, 1e-9);
}

TEST_F(Optics, DriftsBetweenTheTemperaturesThatAreSet) {
    s.lens.hot_from_c = 40;
    s.lens.hot_until_c = 60;
    s.lens.cold_from_c = 30;
    s.lens.cold_until_c = 10;
    struct {
        double led_c;
        double drift_tmr;
    } const table[] = {{5, 8}, {20, 4}, {25, 2}, {30, 0}, {40, 0}, {45, -5}, {55, -15}, {60, -20}, {70, -20}};
    for (const auto& [led_c, drift_tmr] : table) {
        EXPECT_NEAR(heat_drift_tmr(s.lens, led_c), drift_tmr, 1e-12) << led_c;
    }
}

TEST_F(Optics, ADriftWhoseEndIsItsBeginIsAJump) {
    s.lens.hot_until_c = s.lens.hot_from_c;
    s.lens.cold_until_c = s.lens.cold_from_c;
    struct {
        double led_c;
        double drift_tmr;
    } const table[] = {{41.9, 8}, {42, 0}, {46, 0}, {46.1, -20}};
    for (const auto& [led_c, drift_tmr] : table) EXPECT_EQ(heat_drift_tmr(s.lens, led_c), drift_tmr) << led_c;
}

// Steps of 10 at 51 C and 20 at 56 C follow the drift closely enough for a sharp picture.
TEST_F(Optics, TwoStepsOfCorrectionKeepAHotLensSharp) {
    for (double led_c = 40; led_c <= 70; led_c += 0.5) {
        const double correction = led_c >= 56 ? 20 : led_c >= 51 ? 10 : 0;
        EXPECT_GE(sharpness(s.lens, heat_drift_tmr(s.lens, led_c) + correction), 0.98) << led_c;
    }
}

TEST_F(Optics, HeatMovesTheBestFocusByTheDrift) {
    EXPECT_NEAR((best(1500, 58) - best(1500)) * s.tmr.slope_per_step, -20, 1e-9);
}

TEST_F(Optics, TheTablesScaleRisesToTheRightForEitherPolarity) {
    s.tmr.polarity = -1;
    s.tmr.offset = 10;
    EXPECT_NEAR(ideal_tmr(s.tmr, s.tmr.zero_steps), -10, 1e-9);
    EXPECT_GT(ideal_tmr(s.tmr, 20), ideal_tmr(s.tmr, 19));
}

TEST_F(Optics, TheBarrelMovesTheBestFocusForEachDegreeFromItsReference) {
    s.lens.hot_drift_tmr = s.lens.cold_drift_tmr = 0;
    s.lens.barrel_drift_tmr_per_c = -1.5;
    s.lens.barrel_reference_c = 44;
    struct {
        double barrel_c;
        double drift_tmr;
    } const table[] = {{44, 0}, {54, -15}, {24, 30}};
    for (const auto& [barrel_c, drift_tmr] : table) {
        EXPECT_NEAR(heat_drift_tmr(s.lens, barrel_c), drift_tmr, 1e-12) << barrel_c;
        EXPECT_NEAR((best(1500, barrel_c) - best(1500, 44)) * s.tmr.slope_per_step, drift_tmr, 1e-9);
    }
}

}  // namespace
}  // namespace vp
