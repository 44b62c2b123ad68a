#include "virtual_projector/world/room.h"

#include <gtest/gtest.h>

#include <cmath>

#include "virtual_projector/world/parameters.h"
#include "virtual_projector/world/wall.h"

namespace vp {
namespace {

// The lens at the origin, 750 mm above the floor, the main wall 2000 mm ahead.
struct RoomTest : ::testing::Test {
    Room room;

    RoomTest() {
        const Settings s = standard_settings();
        room = {s.room, s.wall, {0, 2000, 0}, 0};
    }
    Meeting met(const Vec3& direction) const { return first_met(room, {}, direction); }
};

Vec3 to_the_right(double angle_deg) { return {std::sin(radians(angle_deg)), std::cos(radians(angle_deg)), 0}; }

TEST_F(RoomTest, IsBareUntilSomethingStandsInIt) {
    EXPECT_TRUE(is_bare(room.settings));
    room.settings.ambient_klx = 10;
    EXPECT_TRUE(is_bare(room.settings));
    for (double* const present :
         {&room.settings.bow_mm_per_m, &room.settings.corner_mm, &room.settings.spot.width_mm,
          &room.settings.box1.width_mm, &room.settings.box2.width_mm, &room.settings.person1.width_mm,
          &room.settings.person2.width_mm}) {
        *present = 100;
        EXPECT_FALSE(is_bare(room.settings));
        *present = 0;
    }
}

TEST_F(RoomTest, AWallSquarelyFacedIsAsFarAsTheCosineMakesIt) {
    for (const double angle : {-60.0, -20.0, 0.0, 35.0}) {
        const Meeting wall = met(to_the_right(angle));
        EXPECT_NEAR(wall.length, 2000 / std::cos(radians(angle)), 1e-9) << angle;
        EXPECT_NEAR(wall.cosine, std::cos(radians(angle)), 1e-12) << angle;
        EXPECT_EQ(wall.reflectivity, 0.8);
    }
    EXPECT_TRUE(std::isinf(met(to_the_right(91)).length));
    EXPECT_TRUE(std::isinf(met({0, -1, 0}).length));
}

// Pointed straight up, of the cosine of a right angle 6e-17 are left, which is no way to the wall.
TEST_F(RoomTest, AWallAlongTheAxisIsNeverMet) {
    const Orientation unit = unit_orientation({2000, 90, 0, 0, 0});
    room.wall_point = 2000 * unit.forward;
    for (const double bow : {0.0, 1.0}) {
        room.settings.bow_mm_per_m = bow;
        for (const Vec3& ray : {Vec3{0, 1, 0}, {0, 1, 0.2}, {0, 1, -0.2}, {0.3, 1, 0}})
            EXPECT_TRUE(std::isinf(met(unit.to_room(ray)).length));
    }
}

TEST_F(RoomTest, LengthsCountTheDirectionsOwnLength) {
    EXPECT_NEAR(met({0, 4, 3}).length, 500, 1e-9);
    EXPECT_NEAR(met({0, 0.8, 0.6}).length, 2500, 1e-9);
}

// Two ways to the same wall: by its direction in the unit's frame, and in the room.
TEST_F(RoomTest, ThePlaneWallIsWhereTheUnitSeesIt) {
    const Pose pose{1700, 12, -25, 7, 1};
    room.wall.lean_deg = 6;
    const Orientation unit = unit_orientation(pose);
    room.wall_point = 1700 * unit.forward;
    for (const Vec3& ray : {Vec3{0, 1, 0}, Vec3{0.2, 1, 0.3}, Vec3{-0.4, 1, 0.1}}) {
        EXPECT_NEAR(met(unit.to_room(ray)).length,
                    ray_length_to_wall(wall_direction(pose, room.wall), pose.distance_mm, ray), 1e-8);
    }
}

// Where the ray goes as far to the side as ahead, s = 2000 - b s^2.
TEST_F(RoomTest, ABowedWallComesNearerWithTheSquareOfTheWayToTheSide) {
    for (const double bow_mm : {-20.0, 5.0, 50.0}) {
        room.settings.bow_mm_per_m = bow_mm;
        EXPECT_NEAR(met({0, 1, 0}).length, 2000, 1e-9);
        EXPECT_NEAR(met({0, 1, 0.3}).length, 2000, 1e-9);
        const double b = bow_mm / 1e6;
        const double expected = (std::sqrt(1 + 4 * b * 2000) - 1) / (2 * b);
        EXPECT_NEAR(met({1, 1, 0}).length, expected, 1e-6) << bow_mm;
        EXPECT_NEAR(met({-1, 1, 0}).length, expected, 1e-6) << bow_mm;
        const double slope = 2 * b * expected;
        EXPECT_NEAR(met({1, 1, 0}).cosine, (1 + slope) / std::sqrt(2 * (1 + slope * slope)), 1e-9) << bow_mm;
    }
}

TEST_F(RoomTest, ABowOfAMillimetreIsAMillimetreAtOneMetre) {
    room.settings.bow_mm_per_m = 1;
    EXPECT_NEAR(met({1000, 1999, 0}).length, 1, 1e-9);
}

TEST_F(RoomTest, ASecondWallStandsToTheSideAtItsAngle) {
    room.settings.corner_mm = 800;
    EXPECT_NEAR(met(to_the_right(10)).length, 2000 / std::cos(radians(10)), 1e-9);
    const Meeting side = met(to_the_right(60));
    EXPECT_NEAR(side.length, 800 / std::sin(radians(60)), 1e-9);
    EXPECT_NEAR(side.cosine, std::sin(radians(60)), 1e-12);
    EXPECT_NEAR(side.corner_mm, 2000 - 800 / std::tan(radians(60)), 1e-9);
    EXPECT_NEAR(met({0, 1, 0}).corner_mm, 800, 1e-9);

    room.settings.corner_mm = -800;
    EXPECT_NEAR(met(to_the_right(-60)).length, 800 / std::sin(radians(60)), 1e-9);
    EXPECT_NEAR(met(to_the_right(60)).length, 4000, 1e-9);

    // A wall at 120 degrees runs from the corner as the direction (1/2, -0.866) does.
    room.settings.corner_mm = 800;
    room.settings.corner_deg = 120;
    const double slant = std::sqrt(3.0);
    EXPECT_NEAR(met({1, 1, 0}).length, (2000 + 800 * slant) / (1 + slant), 1e-9);
}

TEST_F(RoomTest, ASecondWallIsNotSeenFromBeyondIt) {
    room.settings.corner_mm = 100;
    room.settings.corner_deg = 30;
    EXPECT_NEAR(met({0, 1, 0}).length, 2000, 1e-9);
}

TEST_F(RoomTest, ABoxHidesTheWallWhereItStands) {
    room.settings.box1 = {300, 1000, 400, 200, 900, 0, 0.3};  // 100 to 500 to the right, up to 150
    const Meeting front = met({0.3, 1, 0.1});
    EXPECT_NEAR(front.length, 1000, 1e-9);
    EXPECT_NEAR(front.cosine, 1 / std::sqrt(1.1), 1e-12);
    EXPECT_EQ(front.reflectivity, 0.3);
    EXPECT_NEAR(met({0.3, 1, 0.2}).length, 2000, 1e-9) << "above it";
    EXPECT_NEAR(met({0.3, 1, 0.14}).length, 1000, 1e-9);
    EXPECT_NEAR(met({0.6, 1, 0}).length, 2000, 1e-9) << "past it";
    const Meeting left_side = met({0.09, 1, 0});
    EXPECT_NEAR(left_side.length, 100 / 0.09, 1e-9);
    EXPECT_NEAR(left_side.cosine, 0.09 / std::sqrt(1.0081), 1e-12);
}

TEST_F(RoomTest, ABoxOnLegsLeavesTheWallBelowItInView) {
    room.settings.box2 = {0, 1000, 400, 200, 300, 600, 0.3};  // 150 below the lens to 150 above it
    EXPECT_NEAR(met({0, 1, -0.1}).length, 1000, 1e-9);
    EXPECT_NEAR(met({0, 1, -0.2}).length, 2000, 1e-9);
}

TEST_F(RoomTest, EverythingIsSeenFromWhereTheRayBegins) {
    const Vec3 origin{100, 400, 50};
    const Vec3 ahead{0, 1, 0};
    EXPECT_NEAR(first_met(room, origin, ahead).length, 1600, 1e-9);
    room.settings.bow_mm_per_m = 50;
    EXPECT_NEAR(first_met(room, origin, ahead).length, 1600 - 0.5, 1e-9);
    room.settings.corner_mm = 800;
    EXPECT_NEAR(first_met(room, origin, {1, 0, 0}).length, 700, 1e-9);
    room.settings.person1 = {100, 1200, 400, 1700, 0.4, 0, 0};
    EXPECT_NEAR(first_met(room, origin, ahead).length, 600, 1e-9);
    room.settings.box1 = {100, 900, 50, 100, 790, 0, 0.3};
    EXPECT_EQ(first_met(room, origin, ahead).reflectivity, 0.4) << "it ends 10 mm below the ray";
    room.settings.box1.height_mm = 810;
    EXPECT_NEAR(first_met(room, origin, ahead).length, 500, 1e-9);
    EXPECT_NEAR(first_met(room, {100, 1100, 50}, ahead).length, 900 - 0.5, 1e-9) << "all that is behind it";
}

TEST_F(RoomTest, TheNearestOfAllThingsIsMet) {
    room.settings.box1 = {0, 1000, 400, 200, 2000, 0, 0.3};
    room.settings.box2 = {0, 700, 100, 100, 2000, 0, 0.6};
    EXPECT_EQ(met({0, 1, 0}).reflectivity, 0.6);
    EXPECT_EQ(met({0.1, 1, 0}).reflectivity, 0.3);
    room.settings.box1.along_mm = 3000;
    EXPECT_EQ(met({0.1, 1, 0}).reflectivity, 0.8) << "behind the wall";
}

TEST_F(RoomTest, APersonIsRound) {
    room.settings.person1 = {0, 1200, 400, 1700, 0.4, 0, 0};
    EXPECT_NEAR(met({0, 1, 0}).length, 1000, 1e-9);
    EXPECT_NEAR(met({0, 1, 0}).cosine, 1, 1e-12);
    // A ray at the angle a passes the middle at 1200 sin a.
    const double aside = 1200 * std::sin(radians(6));
    const Meeting shoulder = met(to_the_right(6));
    EXPECT_NEAR(shoulder.length, 1200 * std::cos(radians(6)) - std::sqrt(200 * 200 - aside * aside), 1e-9);
    EXPECT_NEAR(shoulder.cosine, std::sqrt(1 - aside * aside / 40000), 1e-9);
    EXPECT_EQ(shoulder.reflectivity, 0.4);
    EXPECT_EQ(met(to_the_right(9.7)).reflectivity, 0.8);
    EXPECT_EQ(met({0, 1, 0.94}).reflectivity, 0.4);
    EXPECT_EQ(met({0, 1, 0.96}).reflectivity, 0.8) << "over the head, 950 mm above the lens";
}

TEST_F(RoomTest, APersonWalksThroughTheViewInTime) {
    room.settings.person1 = {-1000, 1200, 400, 1700, 0.4, 500, 10};
    struct {
        double time_s;
        double length;
    } const table[] = {{0, 2000}, {10, 2000}, {11.5, 2000}, {12, 1000}, {12.5, 2000}, {30, 2000}};
    for (const auto& [time_s, length] : table) {
        room.time_s = time_s;
        EXPECT_NEAR(met({0, 1, 0}).length, length, 1e-9) << time_s;
    }
}

TEST_F(RoomTest, TheSecondPersonWalksTheOtherWay) {
    room.settings.person2 = {1000, 1200, 400, 1700, 0.4, -1000, 0};
    EXPECT_NEAR(met({0, 1, 0}).length, 2000, 1e-9);
    room.time_s = 1;
    EXPECT_NEAR(met({0, 1, 0}).length, 1000, 1e-9);
}

TEST_F(RoomTest, AGlossySpotThrowsBackLessAndSeemsFarther) {
    room.settings.spot = {300, 100, 200, 100, 0.75, 800};
    const Meeting spot = met({0.15, 1, 0.05});
    EXPECT_NEAR(spot.length, 2000, 1e-9);
    EXPECT_NEAR(spot.reflectivity, 0.2, 1e-12);
    EXPECT_NEAR(spot.mirrored_mm, 600, 1e-9);
    for (const Vec3& beside :
         {Vec3{0.09, 1, 0.05}, Vec3{0.21, 1, 0.05}, Vec3{0.15, 1, 0.08}, Vec3{0.15, 1, 0.02}}) {
        EXPECT_EQ(met(beside).reflectivity, 0.8);
        EXPECT_EQ(met(beside).mirrored_mm, 0);
    }
}

}  // namespace
}  // namespace vp
