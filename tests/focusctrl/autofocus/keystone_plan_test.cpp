#include "focusctrl/autofocus/keystone_plan.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <limits>
#include <optional>

namespace {

using ovra::TiltSource;
constexpr std::optional<std::int32_t> no_angle;

// ---- Gravity --------------------------------------------------------------------------------------------

TEST(TiltFromGravity, IsTheElevationOfTheYAxisCutToWholeDegrees) {
    EXPECT_EQ(ovra::tilt_from_gravity(12.9F, -80), 12);
    EXPECT_EQ(ovra::tilt_from_gravity(-12.9F, -80), -12);
    EXPECT_EQ(ovra::tilt_from_gravity(12.9F, 0), 12) << "z of 0 is not upside down";
}

TEST(TiltFromGravity, ChangesItsSignUpsideDown) {
    EXPECT_EQ(ovra::tilt_from_gravity(12.9F, 80), -12);
    EXPECT_EQ(ovra::tilt_from_gravity(-12.9F, 0.1F), 12);
}

TEST(TiltFromGravity, IsCountedFromTheVerticalFrom50Degrees) {
    EXPECT_EQ(ovra::tilt_from_gravity(49.99F, -10), 49);
    EXPECT_EQ(ovra::tilt_from_gravity(50, -10), -40);
    EXPECT_EQ(ovra::tilt_from_gravity(-50, -10), 40);
    EXPECT_EQ(ovra::tilt_from_gravity(-49.99F, -10), -49);
    EXPECT_EQ(ovra::tilt_from_gravity(80, 10), 10) << "upside down: -80 is counted from -90";
    EXPECT_EQ(ovra::tilt_from_gravity(-80, 10), -10);
}

TEST(TiltFromGravity, BearsElevationsBeyondTheVertical) {
    // No unit measures elevations like these, but a host can write them.
    EXPECT_EQ(ovra::tilt_from_gravity(181, -10), 91);
    EXPECT_EQ(ovra::tilt_from_gravity(-181, -10), -91);
    EXPECT_EQ(ovra::tilt_from_gravity(-180, -10), -90);
}

TEST(TiltFromGravity, IsLevelWhenGravityIsUnknown) {
    const float unknown = std::numeric_limits<float>::quiet_NaN();
    EXPECT_EQ(ovra::tilt_from_gravity(unknown, unknown), 0);
}

// ---- Choice ---------------------------------------------------------------------------------------------

TEST(TiltSource, IsTheTofSensorBelow26Degrees) {
    EXPECT_EQ(ovra::choose_tilt_source(0, 0), TiltSource::tof);
    EXPECT_EQ(ovra::choose_tilt_source(25, 44.9F), TiltSource::tof);
    EXPECT_EQ(ovra::choose_tilt_source(-25, -44.9F), TiltSource::tof);
    EXPECT_EQ(ovra::choose_tilt_source(26, 44.9F), TiltSource::gravity);
    EXPECT_EQ(ovra::choose_tilt_source(-26, 0), TiltSource::gravity);
}

TEST(TiltSource, IsGravityWhenTheTofSensorGivesNothing) {
    EXPECT_EQ(ovra::choose_tilt_source(no_angle, 44.9F), TiltSource::gravity);
}

TEST(TiltSource, IsTheTofSensorUpTo80DegreesWhenLyingOnASide) {
    for (const float x : {45.0F, -45.0F, 88.0F}) {
        EXPECT_EQ(ovra::choose_tilt_source(26, x), TiltSource::tof);
        EXPECT_EQ(ovra::choose_tilt_source(80, x), TiltSource::tof);
        EXPECT_EQ(ovra::choose_tilt_source(-80, x), TiltSource::tof);
        EXPECT_EQ(ovra::choose_tilt_source(81, x), TiltSource::none);
        EXPECT_EQ(ovra::choose_tilt_source(-81, x), TiltSource::none);
        EXPECT_EQ(ovra::choose_tilt_source(no_angle, x), TiltSource::none);
    }
}

// ---- ToF ------------------------------------------------------------------------------------------------

TEST(MeanTilt, IsRoundedToTheNearestDegree) {
    EXPECT_EQ(ovra::mean_tilt(10.8F, 2), 5);
    EXPECT_EQ(ovra::mean_tilt(11, 2), 6) << "halves go away from 0";
    EXPECT_EQ(ovra::mean_tilt(-11, 2), -6);
}

TEST(MeanTilt, TakesOneDegreeAsLevel) {
    EXPECT_EQ(ovra::mean_tilt(2.8F, 2), 0);
    EXPECT_EQ(ovra::mean_tilt(-2.8F, 2), 0);
    EXPECT_EQ(ovra::mean_tilt(2.98F, 2), 0);
    EXPECT_EQ(ovra::mean_tilt(3, 2), 2);
    EXPECT_EQ(ovra::mean_tilt(-3, 2), -2);
}

TEST(MeanTilt, DoesNotExistWithoutReadings) { EXPECT_EQ(ovra::mean_tilt(0, 0), std::nullopt); }

TEST(TiltFromDistances, IsTheLeanOfTheWall) {
    constexpr double degree = M_PI / 180.0;
    for (const int lean : {-30, -12, 0, 7, 40}) {
        // A wall that leans by `lean`, seen by two rays 24 degrees apart, each 12 from the sensor's axis.
        const double up = 1e6 / std::cos((12 + lean) * degree), down = 1e6 / std::cos((12 - lean) * degree);
        EXPECT_NEAR(ovra::tilt_from_distances(static_cast<int>(up), static_cast<int>(down)), lean, 0.001)
            << lean;
    }
}

TEST(TiltFromDistances, IsComputedFromTheTwoMeans) {
    EXPECT_NEAR(ovra::tilt_from_distances(1000, 1000), 0, 0.0001);
    EXPECT_NEAR(ovra::tilt_from_distances(1000, 2000), -57.4756, 0.0001);
}

TEST(TiltFromDistances, StaysAboveMinus90Degrees) {
    // The arc tangent gives -44.5 here; less 78 that is below -90, and half a turn is added.
    EXPECT_NEAR(ovra::tilt_from_distances(2000, 1000), 57.4756, 0.0001);
    EXPECT_NEAR(ovra::tilt_from_distances(1000, 0), -24 - 78 + 180, 0.0001);
    EXPECT_NEAR(ovra::tilt_from_distances(0, 1000), -78, 0.0001);
}

TEST(TiltFromDistances, IsNotANumberWithoutDistances) {
    EXPECT_TRUE(std::isnan(ovra::tilt_from_distances(0, 0)));
}

// ---- Widths ---------------------------------------------------------------------------------------------

using Offsets = std::array<float, ovra::offset_count>;

Offsets offsets(float tl_x, float tl_y, float br_x, float br_y) { return {tl_x, tl_y, 7, 7, 7, 7, br_x, br_y}; }

TEST(WidthsFromOffsets, AreFullWhenNoCornerMoves) {
    const auto widths = ovra::widths_from_offsets(offsets(0, 0, 0, 0), 1280, 720);
    EXPECT_EQ(widths.up, 1280);
    EXPECT_EQ(widths.down, 1280);
    EXPECT_TRUE(widths.up_is_full);
}

TEST(WidthsFromOffsets, NarrowTheBottomByTheTopCornerProlonged) {
    // 2 * 50 * (720 - 20) / (720 - 20 - 30) = 104.48
    const auto widths = ovra::widths_from_offsets(offsets(50, 30, 0.99F, 20), 1280, 720);
    EXPECT_EQ(widths.up, 1280);
    EXPECT_EQ(widths.down, 1175);
    EXPECT_TRUE(widths.up_is_full);
}

TEST(WidthsFromOffsets, NarrowTheTopByTheBottomCornerProlonged) {
    // 2 * 50 * (720 - 30) / (720 - 20 - 30) = 102.99
    const auto widths = ovra::widths_from_offsets(offsets(9, 30, 50, 20), 1280, 720);
    EXPECT_EQ(widths.up, 1177);
    EXPECT_EQ(widths.down, 1280);
    EXPECT_FALSE(widths.up_is_full);
}

TEST(WidthsFromOffsets, ChangeSidesAtOnePixel) {
    EXPECT_TRUE(ovra::widths_from_offsets(offsets(0, 0, 0.999F, 0), 1280, 720).up_is_full);
    EXPECT_FALSE(ovra::widths_from_offsets(offsets(0, 0, 1, 0), 1280, 720).up_is_full);
}

TEST(WidthsFromOffsets, AreCutTowardsZero) {
    EXPECT_EQ(ovra::widths_from_offsets(offsets(0.25F, 0, 0, 0), 1280, 720).down, 1279);
    EXPECT_EQ(ovra::widths_from_offsets(offsets(640.75F, 0, 0, 0), 1280, 720).down, -1);
}

TEST(WidthsFromOffsets, AreDefinedWhenTheGeometryIsNot) {
    const float nan = std::numeric_limits<float>::quiet_NaN();
    EXPECT_EQ(ovra::widths_from_offsets(offsets(nan, nan, nan, nan), 1280, 720).down, 1280);
    EXPECT_EQ(ovra::widths_from_offsets(offsets(50, 360, 0, 360), 1280, 720).down,
              std::numeric_limits<std::int32_t>::min());
}

// ---- Steps ----------------------------------------------------------------------------------------------

TEST(Halving, StartsFrom9PixelsOfChangeOnEitherEdge) {
    EXPECT_FALSE(ovra::noticeable({1000, 1280, false}, 1008, 1280));
    EXPECT_FALSE(ovra::noticeable({1000, 1280, false}, 992, 1272));
    EXPECT_TRUE(ovra::noticeable({1000, 1280, false}, 1009, 1280));
    EXPECT_TRUE(ovra::noticeable({1000, 1280, false}, 991, 1280));
    EXPECT_TRUE(ovra::noticeable({1000, 1280, false}, 1000, 1271));
}

TEST(Halving, GoesOnFrom13Pixels) {
    EXPECT_TRUE(ovra::halving_goes_on(1000, 1013));
    EXPECT_TRUE(ovra::halving_goes_on(1000, 987));
    EXPECT_FALSE(ovra::halving_goes_on(1000, 1012));
    EXPECT_FALSE(ovra::halving_goes_on(1000, 988));
}

TEST(Halving, LeavesTheOddPixelForTheNextStep) {
    EXPECT_EQ(ovra::halfway(1000, 1281), 1141);
    EXPECT_EQ(ovra::halfway(1281, 1000), 1140);
}

TEST(Halving, BearsAnyNumberThatTheHostHasWritten) {
    EXPECT_TRUE(ovra::noticeable({std::numeric_limits<std::int32_t>::min(), 0, false},
                                 std::numeric_limits<std::int32_t>::max(), 0));
    EXPECT_EQ(ovra::halfway(std::numeric_limits<std::int32_t>::min(), std::numeric_limits<std::int32_t>::max()),
              0);
}

}  // namespace
