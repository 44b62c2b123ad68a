#include "virtual_projector/world/lens_sensor.h"

#include <gtest/gtest.h>

#include "virtual_projector/world/optics.h"
#include "virtual_projector/world/parameters.h"

namespace vp {
namespace {

struct LensSensor : ::testing::Test {
    Settings s = standard_settings();

    double reading(double position, Side moved_last = Side::right) const {
        return clean_reading(s.tmr, s.lens, position, moved_last);
    }
};

TEST_F(LensSensor, ReadsAStraightLineWithoutErrors) {
    EXPECT_DOUBLE_EQ(reading(18), 6);
    EXPECT_DOUBLE_EQ(reading(20), 42);
    EXPECT_EQ(reading(20, Side::left), reading(20, Side::right));
}

// One per cent of 42 steps of 18 units is 7.56.
TEST_F(LensSensor, BendsByOneWaveOverTheTravel) {
    s.tmr.nonlinearity = 0.01;
    struct {
        double position;
        double deviation;
    } const table[] = {{0, 0}, {10.5, 7.56}, {21, 0}, {31.5, -7.56}, {42, 0}, {5.25, 5.345727}};
    for (const auto& [position, deviation] : table) {
        EXPECT_NEAR(nonlinearity_tmr(s.tmr, s.lens, position), deviation, 1e-6) << position;
        EXPECT_NEAR(reading(position), ideal_tmr(s.tmr, position) + deviation, 1e-6) << position;
    }
}

TEST_F(LensSensor, LagsByHalfItsHysteresisBehindTheLens) {
    s.tmr.hysteresis = 6;
    EXPECT_DOUBLE_EQ(reading(20, Side::right), 42 - 3);
    EXPECT_DOUBLE_EQ(reading(20, Side::left), 42 + 3);
}

TEST_F(LensSensor, ItsErrorsFollowItsPolarity) {
    s.tmr.nonlinearity = 0.01;
    s.tmr.hysteresis = 6;
    s.tmr.polarity = -1;
    s.tmr.offset = 0;
    EXPECT_NEAR(reading(10.5), -(18 * (10.5 - 18) + 7.56 - 3), 1e-9);
    s.tmr.polarity = 0;
    EXPECT_EQ(reading(10.5), 0);
}

}  // namespace
}  // namespace vp
