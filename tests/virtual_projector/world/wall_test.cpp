#include "virtual_projector/world/wall.h"

#include <gtest/gtest.h>

#include <cmath>

#include "virtual_projector/world/parameters.h"

namespace vp {
namespace {

Pose pose_of(double pitch, double yaw = 0, double roll = 0, double mounting = 0) {
    return {1500, pitch, yaw, roll, mounting};
}

const Wall upright{0, 0.8};

void expect_near(const Vec3& actual, const Vec3& expected) {
    EXPECT_NEAR(actual.x, expected.x, 1e-9);
    EXPECT_NEAR(actual.y, expected.y, 1e-9);
    EXPECT_NEAR(actual.z, expected.z, 1e-9);
}

TEST(UnitOrientation, OfALevelUnitIsNone) {
    const Orientation turn = unit_orientation(pose_of(0));
    expect_near(turn.right, {1, 0, 0});
    expect_near(turn.forward, {0, 1, 0});
    expect_near(turn.up, {0, 0, 1});
}

TEST(UnitOrientation, PitchRaisesTheAxis) {
    expect_near(unit_orientation(pose_of(30)).forward, {0, std::cos(radians(30)), 0.5});
    expect_near(unit_orientation(pose_of(90)).up, {0, -1, 0});
}

TEST(UnitOrientation, YawTurnsTheAxisToTheRight) {
    expect_near(unit_orientation(pose_of(0, 30)).forward, {0.5, std::cos(radians(30)), 0});
}

TEST(UnitOrientation, AQuarterTurnOfTheMountingPutsTheRightSideUp) {
    expect_near(unit_orientation(pose_of(0, 0, 0, 1)).right, {0, 0, 1});
    expect_near(unit_orientation(pose_of(0, 0, 90, 0)).right, {0, 0, 1});
    expect_near(unit_orientation(pose_of(0, 0, 0, 2)).up, {0, 0, -1});
}

TEST(UnitOrientation, KeepsItsAxesSquareAndRightHanded) {
    const Orientation turn = unit_orientation(pose_of(25, -35, 15, 1));
    EXPECT_NEAR(dot(turn.right, turn.forward), 0, 1e-12);
    EXPECT_NEAR(dot(turn.right, turn.up), 0, 1e-12);
    EXPECT_NEAR(dot(turn.forward, turn.up), 0, 1e-12);
    const Vec3 cross{turn.right.y * turn.forward.z - turn.right.z * turn.forward.y,
                     turn.right.z * turn.forward.x - turn.right.x * turn.forward.z,
                     turn.right.x * turn.forward.y - turn.right.y * turn.forward.x};
    expect_near(cross, turn.up);
}

TEST(WallAngles, AreThoseOfTheTiltAndTheTurn) {
    for (const double angle : {-30.0, -12.0, 0.0, 5.0, 20.0}) {
        EXPECT_NEAR(wall_angles(wall_direction(pose_of(angle), upright)).tilt_deg, angle, 1e-9);
        EXPECT_NEAR(wall_angles(wall_direction(pose_of(0, angle), upright)).turn_deg, angle, 1e-9);
    }
}

TEST(WallAngles, OfAUnitFromTheCeilingAreTheOtherWayRound) {
    EXPECT_NEAR(wall_angles(wall_direction(pose_of(12, 0, 0, 2), upright)).tilt_deg, -12, 1e-9);
}

TEST(WallAngles, CountFromAWallThatLeans) {
    EXPECT_NEAR(wall_angles(wall_direction(pose_of(90), {90, 0.8})).tilt_deg, 0, 1e-9);
    EXPECT_NEAR(wall_angles(wall_direction(pose_of(12), {5, 0.8})).tilt_deg, 7, 1e-9);
}

// A unit tilted by p before an upright wall: the ray at a above its axis meets the wall at D / (1 - tan p tan
// a) along the axis.
TEST(AxialDistance, AgreesWithTheClosedFormAtKnownTilts) {
    for (const double p : {-30.0, -20.0, -12.0, 0.0, 5.0, 12.0, 20.0, 30.0}) {
        for (const double a : {-12.0, 0.0, 12.0}) {
            const double expected = 1500 / (1 - std::tan(radians(p)) * std::tan(radians(a)));
            const double actual =
                axial_distance_mm(wall_direction(pose_of(p), upright), 1500, 0, std::tan(radians(a)));
            EXPECT_NEAR(actual, expected, 1e-6) << p << " " << a;
        }
    }
}

TEST(AxialDistance, IsInfiniteForARayThatNeverMeetsTheWall) {
    const Vec3 direction = wall_direction(pose_of(80), upright);
    EXPECT_TRUE(std::isinf(axial_distance_mm(direction, 1500, 0, std::tan(radians(12)))));
}

}  // namespace
}  // namespace vp
