#include "virtual_projector/world/tof.h"

#include <gtest/gtest.h>

#include <cmath>
#include <set>

#include "virtual_projector/world/parameters.h"
#include "virtual_projector/world/vector.h"

namespace vp {
namespace {

struct Tof : ::testing::Test {
    TofScene scene;

    Tof() {
        const Settings s = standard_settings();
        scene = {s.pose, s.wall, s.tof, 1};
    }
    PixelOffsets calibrated() const { return true_pixel_offsets(scene.tof, scene.unit_seed); }
    std::vector<ZoneReading> zones(int mode = 0, std::int64_t index = 0) const {
        return tof_zones(scene, mode, calibrated(), index);
    }
    void without_noise() { scene.tof.noise_mm = scene.tof.noise_per_mm = 0; }
};

double mean_of(const std::vector<ZoneReading>& zones) {
    double sum = 0;
    for (const ZoneReading& zone : zones) sum += zone.distance_mm;
    return sum / static_cast<double>(zones.size());
}

TEST_F(Tof, HasEightZonesInPointModeOneAndFourElse) {
    EXPECT_EQ(zones(0).size(), 4u);
    EXPECT_EQ(zones(1).size(), 8u);
    EXPECT_EQ(zones(2).size(), 4u);
}

TEST_F(Tof, EveryZoneOfAWallSquarelyFacedSaysItsDistance) {
    without_noise();
    for (const int mode : {0, 1}) {
        for (const ZoneReading& zone : zones(mode)) EXPECT_EQ(zone.distance_mm, 1500);
    }
}

TEST_F(Tof, TheRowsOfATiltedWallAgreeWithTheClosedForm) {
    without_noise();
    scene.pose.pitch_deg = 12;
    const double slope = std::tan(radians(12)) * std::tan(radians(12));
    const std::vector<ZoneReading> seen = zones();
    EXPECT_NEAR(seen[0].distance_mm, 1500 / (1 - slope), 0.5);  // top right
    EXPECT_NEAR(seen[1].distance_mm, 1500 / (1 + slope), 0.5);  // bottom right
    EXPECT_EQ(seen[2].distance_mm, seen[0].distance_mm);        // top left
    EXPECT_EQ(seen[3].distance_mm, seen[1].distance_mm);        // bottom left
}

TEST_F(Tof, ATurnedUnitSeesItsRightSideFartherAway) {
    scene.pose.yaw_deg = 15;
    const std::vector<ZoneReading> seen = zones();
    EXPECT_GT(seen[0].distance_mm, seen[2].distance_mm + 50);
    EXPECT_GT(seen[1].distance_mm, seen[3].distance_mm + 50);
}

// The lens is focused for the distance on the axis; the mean of four zones has to find it when tilted.
TEST_F(Tof, TheMeanOfATiltedWallIsItsDistanceOnTheAxis) {
    for (const double distance : {1500.0, 1000.0, 500.0, 300.0}) {
        scene.pose.distance_mm = distance;
        scene.pose.pitch_deg = 12;
        EXPECT_NEAR(mean_of(zones()), distance, 0.005 * distance) << distance;
    }
}

TEST_F(Tof, UncorrectedItMeasuresItsTrueOffsetTooMuch) {
    EXPECT_NEAR(mean_of(tof_zones(scene, 0, {}, 0)), 1535, 4);
    EXPECT_NEAR(mean_of(zones()), 1500, 4);
}

TEST_F(Tof, NoiseGrowsWithTheDistanceAndBelongsToTheFrame) {
    std::set<int> seen;
    for (int frame = 0; frame < 200; ++frame) seen.insert(zones(0, frame)[0].distance_mm);
    EXPECT_GT(seen.size(), 3u);
    EXPECT_LT(*seen.rbegin() - *seen.begin(), 12);
    EXPECT_EQ(zones(0, 7)[0].distance_mm, zones(0, 7)[0].distance_mm);
    scene.pose.distance_mm = 3500;
    std::set<int> far;
    for (int frame = 0; frame < 200; ++frame) far.insert(zones(0, frame)[0].distance_mm);
    EXPECT_GT(far.size(), seen.size());
}

TEST_F(Tof, AnotherSeedGivesOtherNoise) {
    const std::vector<ZoneReading> first = tof_zones(scene, 1, {}, 3);
    scene.seed = 2;
    const std::vector<ZoneReading> second = tof_zones(scene, 1, {}, 3);
    EXPECT_NE(mean_of(first), mean_of(second));
}

TEST_F(Tof, AUnitKeepsItsPixelsErrorsInEveryRun) {
    without_noise();
    const std::vector<ZoneReading> first = tof_zones(scene, 1, {}, 3);
    scene.seed = 2;
    const std::vector<ZoneReading> later = tof_zones(scene, 1, {}, 3);
    scene.unit_seed = 2;
    const std::vector<ZoneReading> of_another = tof_zones(scene, 1, {}, 3);
    EXPECT_NE(mean_of(first), mean_of(of_another));
    for (std::size_t zone = 0; zone < first.size(); ++zone) {
        EXPECT_EQ(first[zone].distance_mm, later[zone].distance_mm) << zone;
    }
}

TEST_F(Tof, BeyondItsRangeAZoneIsInvalidAndFarAway) {
    scene.pose.distance_mm = 4001;
    for (const ZoneReading& zone : zones(1)) {
        EXPECT_EQ(zone.distance_mm, no_distance_mm);
        EXPECT_LT(zone.quality, min_valid_quality);
    }
    scene.pose.distance_mm = 3990;
    for (const ZoneReading& zone : zones(1)) EXPECT_GE(zone.quality, min_valid_quality);
}

TEST_F(Tof, QualityFollowsTheLightThatComesBack) {
    EXPECT_EQ(zones()[0].quality, max_quality);
    scene.pose.distance_mm = 3000;
    EXPECT_EQ(zones()[0].quality, 31);  // 0.8 * 352 / 9
    scene.wall.reflectivity = 0.2;
    EXPECT_EQ(zones()[0].quality, 8);  // a dark wall at 3 m is not measured
}

TEST_F(Tof, AnObstacleBlocksItsCornerOnly) {
    without_noise();
    scene.tof.blocked_tl_mm = 600;
    for (const int mode : {0, 1}) {
        const std::vector<ZoneReading> seen = zones(mode);
        const auto corners = corner_zones(mode);
        EXPECT_EQ(seen[corners[0]].distance_mm, 1500);
        EXPECT_EQ(seen[corners[1]].distance_mm, 1500);
        EXPECT_EQ(seen[corners[2]].distance_mm, 600);
        EXPECT_EQ(seen[corners[3]].distance_mm, 1500);
    }
}

TEST_F(Tof, AnObstacleBehindTheWallIsNotSeen) {
    without_noise();
    scene.tof.blocked_tr_mm = scene.tof.blocked_br_mm = scene.tof.blocked_tl_mm = scene.tof.blocked_bl_mm =
        2000;
    for (const ZoneReading& zone : zones()) EXPECT_EQ(zone.distance_mm, 1500);
}

// A sensor mounted at an angle before a wall squarely faced sees what a unit at that angle sees, from as far.
TEST_F(Tof, AMountAtAnAngleTurnsRaysAndAxisAlike) {
    without_noise();
    scene.tof.tilt_offset_deg = 10;
    const double distance = 1500 / std::cos(radians(10));
    const double slope = std::tan(radians(10)) * std::tan(radians(12));
    const std::vector<ZoneReading> high = zones();
    EXPECT_NEAR(high[0].distance_mm, distance / (1 - slope), 0.51);
    EXPECT_NEAR(high[1].distance_mm, distance / (1 + slope), 0.51);
    scene.tof.tilt_offset_deg = 0;
    scene.tof.turn_offset_deg = 10;
    const std::vector<ZoneReading> turned = zones();
    EXPECT_NEAR(turned[0].distance_mm, distance / (1 - slope), 0.51);
    EXPECT_NEAR(turned[2].distance_mm, distance / (1 + slope), 0.51);
}

TEST_F(Tof, AMountAgainstThePoseFacesTheWallSquarely) {
    without_noise();
    scene.pose.pitch_deg = 10;
    scene.tof.tilt_offset_deg = -10;
    for (const ZoneReading& zone : zones(1)) {
        EXPECT_NEAR(zone.distance_mm, 1500 * std::cos(radians(10)), 0.51);
    }
}

TEST_F(Tof, FramesFollowTheRate) {
    EXPECT_EQ(tof_frame_index(10, 99999), 0);
    EXPECT_EQ(tof_frame_index(10, 100000), 1);
    EXPECT_EQ(tof_frame_index(0, 2500), 2);
}

TEST_F(Tof, EveryPixelBelongsToExactlyOneZone) {
    for (const int mode : {0, 1}) {
        std::set<int> pixels;
        for (std::size_t zone = 0; zone < zone_count(mode); ++zone) {
            for (const int pixel : zone_pixels(mode, zone)) EXPECT_TRUE(pixels.insert(pixel).second);
        }
        EXPECT_EQ(pixels.size(), static_cast<std::size_t>(pixel_count));
    }
}

TEST_F(Tof, APixelLooksWhereItsZoneDoes) {
    for (const int mode : {0, 1}) {
        for (std::size_t zone = 0; zone < zone_count(mode); ++zone) {
            for (const int pixel : zone_pixels(mode, zone)) {
                const Ray ray = pixel_ray(scene.tof, pixel / pixel_columns, pixel % pixel_columns);
                EXPECT_EQ(ray.up_deg > 0, zone_ray(scene.tof, mode, zone).up_deg > 0);
                EXPECT_EQ(ray.right_deg > 0, zone_ray(scene.tof, mode, zone).right_deg > 0);
            }
        }
    }
}

TEST_F(Tof, PixelsShowEachItsOwnTrueOffset) {
    without_noise();
    const PixelOffsets offsets = calibrated();
    const std::vector<ZoneReading> pixels = tof_pixels(scene, 0);
    ASSERT_EQ(pixels.size(), offsets.size());
    for (std::size_t i = 0; i < offsets.size(); ++i) {
        EXPECT_NEAR(pixels[i].distance_mm, 1500 + offsets[i], 0.51);
        EXPECT_NEAR(offsets[i], scene.tof.true_offset_mm, scene.tof.pixel_spread_mm);
    }
}

TEST_F(Tof, TheGridsMiddleLooksSevenDegreesUpAlongItsRay) {
    without_noise();
    const std::array<ZoneReading, 9> grid = zone_grid(scene, 0);
    EXPECT_NEAR(grid[4].distance_mm * std::cos(radians(7)), 1500, 1);
    EXPECT_EQ(grid[3].distance_mm, grid[5].distance_mm);
    EXPECT_GT(grid[1].distance_mm, grid[4].distance_mm);
}

TEST_F(Tof, TheGridSeesObstaclesInItsCornersOnly) {
    without_noise();
    scene.tof.blocked_tl_mm = 600;
    const std::array<ZoneReading, 9> grid = zone_grid(scene, 0);
    EXPECT_EQ(grid[0].distance_mm, 600);
    for (const std::size_t zone : {1u, 2u, 3u, 4u, 5u, 6u, 7u, 8u}) EXPECT_GT(grid[zone].distance_mm, 1400);
}

}  // namespace
}  // namespace vp
