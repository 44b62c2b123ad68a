#include "virtual_projector/boardlibs/plane_fit.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "virtual_projector/world/parameters.h"
#include "virtual_projector/world/tof.h"
#include "virtual_projector/world/vector.h"

namespace vp::boardlibs {
namespace {

struct PlaneFit : ::testing::Test {
    TofScene scene;

    PlaneFit() {
        const Settings s = standard_settings();
        scene = {s.pose, s.wall, s.tof, 1, 1, s.room, 0};
        scene.tof.noise_mm = scene.tof.noise_per_mm = 0;
    }
    AngleResult result_of(int mode, const AngleLimits& limits = {}) const {
        std::array<std::uint16_t, max_points> distances{};
        const auto zones = tof_zones(scene, mode, true_pixel_offsets(scene.tof, scene.unit_seed), 0);
        for (std::size_t i = 0; i < zones.size(); ++i) distances[i] = zones[i].distance_mm;
        const auto cloud = point_cloud(distances.data(), mode);
        return angle_result(fit_plane(cloud.data(), zone_count(mode)), limits);
    }
};

TEST_F(PlaneFit, FindsAPlaneThroughItsPointsExactly) {
    std::vector<CloudPoint> points;
    for (const float x : {-300.0f, 0.0f, 250.0f}) {
        for (const float z : {-100.0f, 200.0f}) points.push_back({x, 1000 + 0.25f * x - 0.5f * z, z});
    }
    const std::optional<Plane> plane = fit_plane(points.data(), points.size());
    ASSERT_TRUE(plane.has_value());
    EXPECT_NEAR(plane->distance_mm, 1000, 1e-3);
    EXPECT_NEAR(plane->right_slope, 0.25, 1e-6);
    EXPECT_NEAR(plane->up_slope, -0.5, 1e-6);
}

// Four points of a square, one of them 4 mm out: the plane takes a quarter of it.
TEST_F(PlaneFit, LeavesTheLeastSquaresOfError) {
    const std::array<CloudPoint, 4> points = {
        {{-100, 1000, -100}, {-100, 1000, 100}, {100, 1000, -100}, {100, 1004, 100}}};
    const std::optional<Plane> plane = fit_plane(points.data(), points.size());
    ASSERT_TRUE(plane.has_value());
    EXPECT_NEAR(plane->distance_mm, 1001, 1e-4);
    EXPECT_NEAR(plane->right_slope, 0.01, 1e-7);
    EXPECT_NEAR(plane->up_slope, 0.01, 1e-7);
}

TEST_F(PlaneFit, NeedsThreePointsThatAreNotInOneLine) {
    const std::array<CloudPoint, 3> line = {{{-100, 1000, 0}, {0, 1000, 0}, {100, 1000, 0}}};
    EXPECT_FALSE(fit_plane(line.data(), 3).has_value());
    const std::array<CloudPoint, 3> slanted = {{{-100, 1000, -50}, {0, 1000, 0}, {100, 1000, 50}}};
    EXPECT_FALSE(fit_plane(slanted.data(), 3).has_value());
    const std::array<CloudPoint, 3> two = {{{-100, 1000, 0}, {0, 1000, 100}, {}}};
    EXPECT_FALSE(fit_plane(two.data(), 3).has_value());
    EXPECT_FALSE(fit_plane(two.data(), 0).has_value());
}

TEST_F(PlaneFit, ItsFirstFieldIsTheTiltInHundredths) {
    for (const double tilt : {-30.0, -20.0, -12.0, 0.0, 5.0, 12.0, 20.0, 30.0}) {
        scene.pose.pitch_deg = tilt;
        for (const int mode : {0, 1}) {
            EXPECT_NEAR(result_of(mode).yaw, 100 * tilt, 12) << tilt;
            EXPECT_NEAR(result_of(mode).pitch, 0, 12) << tilt;
            EXPECT_NEAR(result_of(mode).distance_mm, 1500, 2) << tilt;
        }
    }
}

TEST_F(PlaneFit, ItsSecondFieldIsTheTurnInHundredths) {
    scene.pose.yaw_deg = 10;
    EXPECT_NEAR(result_of(1).pitch, 1000, 12);
    EXPECT_NEAR(result_of(1).yaw, 0, 12);
}

TEST_F(PlaneFit, FromTheCeilingTheTiltIsTheOtherWayRound) {
    scene.pose.pitch_deg = 12;
    scene.pose.mounting = 2;
    EXPECT_NEAR(result_of(1).yaw, -1200, 12);
}

TEST_F(PlaneFit, SensesTheAnglesOfASensorMountedAtAnAngle) {
    for (const double angle : {-20.0, -10.0, 2.0, 10.0}) {
        scene.tof.tilt_offset_deg = angle;
        scene.tof.turn_offset_deg = 0;
        EXPECT_NEAR(result_of(1).yaw, 100 * angle, 12) << angle;
        EXPECT_NEAR(result_of(1).pitch, 0, 12) << angle;
        EXPECT_NEAR(result_of(1).distance_mm, 1500 / std::cos(radians(angle)), 2) << angle;
        scene.tof.tilt_offset_deg = 0;
        scene.tof.turn_offset_deg = angle;
        EXPECT_NEAR(result_of(1).yaw, 0, 12) << angle;
        EXPECT_NEAR(result_of(1).pitch, 100 * angle, 12) << angle;
    }
}

// The library takes the rows to look 12 degrees up and down. Rows that really look a up and down, before a wall
// tilted by p, make it find the slope tan(p) * tan(a) / tan(12 degrees). The same holds for columns and turns.
TEST_F(PlaneFit, MistakesTheAngleOfASensorWhoseZonesLookElsewhere) {
    for (const double wider : {0.9, 1.0, 1.1}) {
        const double scale = std::tan(radians(12 * wider)) / std::tan(radians(12));
        const double expected = degrees(std::atan(std::tan(radians(15)) * scale));
        scene.tof.zone_row_angle_deg = 24 * wider;
        scene.tof.zone_column_angle_deg = 24;
        scene.pose.pitch_deg = 15;
        scene.pose.yaw_deg = 0;
        EXPECT_NEAR(result_of(0).yaw, 100 * expected, 12) << wider;
        scene.tof.zone_row_angle_deg = 24;
        scene.tof.zone_column_angle_deg = 24 * wider;
        scene.pose.pitch_deg = 0;
        scene.pose.yaw_deg = 15;
        EXPECT_NEAR(result_of(0).pitch, 100 * expected, 12) << wider;
    }
}

// A row that is short by the share e makes it find the slope e / ((2 - e) tan(12 degrees)).
TEST_F(PlaneFit, TurnsALevelPictureForARowThatIsShort) {
    for (const double percent : {1.0, 2.0, 5.0}) {
        scene.tof.bias_tr_percent = scene.tof.bias_tl_percent = -percent;
        const double e = percent / 100;
        const double expected = -degrees(std::atan(e / ((2 - e) * std::tan(radians(12)))));
        EXPECT_NEAR(result_of(0).yaw, 100 * expected, 12) << percent;
    }
}

TEST_F(PlaneFit, FindsNoAngleBeyondTheLimits) {
    const AngleLimits limits{1700, -1700, 3300, -3300, 4500, 470};
    scene.pose.pitch_deg = 32.5;
    EXPECT_NEAR(result_of(1, limits).yaw, 3250, 12);
    scene.pose.pitch_deg = 33.5;
    EXPECT_EQ(result_of(1, limits).yaw, no_angle);
    EXPECT_EQ(result_of(1, limits).distance_mm, 0);
    scene.pose.pitch_deg = -33.5;
    EXPECT_EQ(result_of(1, limits).yaw, no_angle);
    scene.pose.pitch_deg = 0;
    scene.pose.yaw_deg = 16.5;
    EXPECT_NE(result_of(1, limits).yaw, no_angle);
    scene.pose.yaw_deg = 17.5;
    EXPECT_EQ(result_of(1, limits).yaw, no_angle);
}

TEST_F(PlaneFit, FindsNoAngleNearerOrFartherThanTheLimits) {
    const AngleLimits limits{1700, -1700, 3300, -3300, 2000, 470};
    for (const double distance : {460.0, 2010.0}) {
        scene.pose.distance_mm = distance;
        EXPECT_EQ(result_of(1, limits).yaw, no_angle) << distance;
    }
    for (const double distance : {480.0, 1990.0}) {
        scene.pose.distance_mm = distance;
        EXPECT_NE(result_of(1, limits).yaw, no_angle) << distance;
    }
}

TEST_F(PlaneFit, FindsNoAngleOfAWallThatIsNotMeasured) {
    scene.pose.distance_mm = 5000;
    EXPECT_EQ(result_of(1).yaw, no_angle);
}

TEST_F(PlaneFit, TakesWhatIsLeftWhenAZoneSeesNothing) {
    const std::array<std::uint16_t, 8> distances = {1500, 1500, 1500, 8190, 1500, 0, 1500, 1500};
    const auto cloud = point_cloud(distances.data(), 1);
    EXPECT_EQ(cloud[3].y, 0);
    EXPECT_EQ(cloud[5].y, 0);
    const AngleResult result = angle_result(fit_plane(cloud.data(), cloud.size()), {});
    EXPECT_EQ(result.yaw, 0);
    EXPECT_EQ(result.distance_mm, 1500);
}

TEST_F(PlaneFit, FourZonesLeaveTheOtherPointsAlone) {
    const std::array<std::uint16_t, 8> distances = {1500, 1500, 1500, 1500, 7, 7, 7, 7};
    const auto cloud = point_cloud(distances.data(), 0);
    for (std::size_t i = 4; i < 8; ++i) EXPECT_EQ(cloud[i].y, 0);
}

}  // namespace
}  // namespace vp::boardlibs
