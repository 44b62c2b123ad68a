#include "virtual_projector/world/tof_errors.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "virtual_projector/world/parameters.h"

namespace vp {
namespace {

struct TofErrors : ::testing::Test {
    TofSettings tof = standard_settings().tof;
};

TEST_F(TofErrors, AreNoneByDefault) {
    for (const double distance : {100.0, 599.0, 4000.0}) {
        EXPECT_EQ(scale_error_mm(tof, {12, 12}, distance), 0);
        EXPECT_EQ(crosstalk_error_mm(tof, distance), 0);
        EXPECT_EQ(warm_up_error_mm(tof, 0), 0);
        EXPECT_EQ(multipath_error_mm(tof, distance, 0), 0);
    }
}

TEST_F(TofErrors, AQuarterOfTheViewHasItsOwnBias) {
    tof.bias_tr_percent = 1;
    tof.bias_br_percent = -2;
    tof.bias_tl_percent = 3;
    tof.bias_bl_percent = -4;
    EXPECT_NEAR(scale_error_mm(tof, {12, 12}, 2000), 20, 1e-9);
    EXPECT_NEAR(scale_error_mm(tof, {6, 12}, 2000), 20, 1e-9);
    EXPECT_NEAR(scale_error_mm(tof, {18, -12}, 2000), -40, 1e-9);
    EXPECT_NEAR(scale_error_mm(tof, {-12, 12}, 2000), 60, 1e-9);
    EXPECT_NEAR(scale_error_mm(tof, {-12, -12}, 2000), -80, 1e-9);
    EXPECT_EQ(scale_error_mm(tof, {0, 0}, 2000), 0);
}

TEST_F(TofErrors, AScaleIsTheSameInTheWholeView) {
    tof.scale_percent = -1.5;
    for (const Ray& ray : {Ray{12, 12}, Ray{-12, -12}, Ray{0, 0}}) {
        EXPECT_NEAR(scale_error_mm(tof, ray, 2000), -30, 1e-9);
    }
    tof.bias_tr_percent = 0.5;
    EXPECT_NEAR(scale_error_mm(tof, {12, 12}, 2000), -20, 1e-9);
}

TEST_F(TofErrors, CrosstalkGrowsBelowSixHundredMillimetres) {
    tof.crosstalk_mm = 30;
    struct {
        double distance_mm;
        double error_mm;
    } const table[] = {{0, -30}, {300, -15}, {500, -5}, {599, -0.05}, {600, 0}, {4000, 0}};
    for (const auto& [distance_mm, error_mm] : table) {
        EXPECT_NEAR(crosstalk_error_mm(tof, distance_mm), error_mm, 1e-9) << distance_mm;
    }
}

TEST_F(TofErrors, TheWarmUpDecaysAfterPowerUp) {
    tof.warm_up_mm = 12;
    EXPECT_EQ(warm_up_error_mm(tof, 0), 12);
    EXPECT_NEAR(warm_up_error_mm(tof, 300), 12 / std::exp(1.0), 1e-9);
    EXPECT_NEAR(warm_up_error_mm(tof, 900), 12 / std::exp(3.0), 1e-9);
    tof.warm_up_time_constant_s = 600;
    EXPECT_NEAR(warm_up_error_mm(tof, 600), 12 / std::exp(1.0), 1e-9);
}

TEST_F(TofErrors, MultipathFadesWithinAMetreOfTheCorner) {
    tof.multipath_percent = 4;
    EXPECT_NEAR(multipath_error_mm(tof, 2000, 0), 80, 1e-9);
    EXPECT_NEAR(multipath_error_mm(tof, 2000, 250), 60, 1e-9);
    EXPECT_EQ(multipath_error_mm(tof, 2000, 1000), 0);
    EXPECT_EQ(multipath_error_mm(tof, 2000, std::numeric_limits<double>::infinity()), 0);
}

}  // namespace
}  // namespace vp
