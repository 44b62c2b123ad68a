#include "virtual_projector/world/tof.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <set>
#include <string>

#include "virtual_projector/world/parameters.h"
#include "virtual_projector/world/vector.h"

namespace vp {
namespace {

struct Tof : ::testing::Test {
    TofScene scene;

    Tof() {
        const Settings s = standard_settings();
        scene = {s.pose, s.wall, s.tof, 1, 1, s.room, 0};
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

TEST_F(Tof, ItsRaysAreThoseOfItsSettings) {
    scene.tof.zone_row_angle_deg = 20;
    scene.tof.zone_column_angle_deg = 28;
    EXPECT_NEAR(zone_ray(scene.tof, 0, 0).right_deg, 14, 1e-12);
    EXPECT_NEAR(zone_ray(scene.tof, 0, 0).up_deg, 10, 1e-12);
    EXPECT_NEAR(zone_ray(scene.tof, 0, 3).right_deg, -14, 1e-12);
    EXPECT_NEAR(zone_ray(scene.tof, 0, 3).up_deg, -10, 1e-12);
    const std::array<double, 4> columns = {21, 7, -7, -21};
    for (std::size_t zone = 0; zone < 8; ++zone) {
        EXPECT_NEAR(zone_ray(scene.tof, 1, zone).right_deg, columns.at(zone / 2), 1e-12) << zone;
    }
    scene.tof.pixel_pitch_right_deg = 4;
    scene.tof.pixel_pitch_up_deg = 5;
    EXPECT_NEAR(pixel_ray(scene.tof, 0, 0).right_deg, -18, 1e-12);
    EXPECT_NEAR(pixel_ray(scene.tof, 0, 0).up_deg, 12.5, 1e-12);
    EXPECT_NEAR(pixel_ray(scene.tof, 5, 9).right_deg, 18, 1e-12);
    EXPECT_NEAR(pixel_ray(scene.tof, 5, 9).up_deg, -12.5, 1e-12);
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

// --- Errors, signal and chance ---------------------------------------------------------------------------

TEST_F(Tof, ItsOwnErrorsAddUp) {
    without_noise();
    scene.pose.distance_mm = 500;
    scene.tof.scale_percent = 1;    // 5 mm
    scene.tof.bias_tr_percent = 2;  // 10 mm
    scene.tof.crosstalk_mm = 24;    // -4 mm at 500 mm
    scene.tof.warm_up_mm = 8;       // 8 mm, then 8 / e
    EXPECT_EQ(zones()[0].distance_mm, 500 + 5 + 10 - 4 + 8);
    EXPECT_EQ(zones()[3].distance_mm, 500 + 5 - 4 + 8);
    scene.time = microseconds(300);
    EXPECT_EQ(zones()[3].distance_mm, std::lround(500 + 5 - 4 + 8 / std::exp(1.0)));
}

TEST_F(Tof, PixelsShareTheErrorsOfTheirZones) {
    without_noise();
    scene.tof.true_offset_mm = scene.tof.pixel_spread_mm = 0;
    scene.tof.bias_bl_percent = -3;
    const std::vector<ZoneReading> pixels = tof_pixels(scene, 0);
    EXPECT_EQ(pixels[0].distance_mm, 1500);
    EXPECT_EQ(pixels[pixel_count - 1].distance_mm, 1500);
    EXPECT_EQ(pixels[pixel_count - pixel_columns].distance_mm, 1455);
}

TEST_F(Tof, RadialDistancesAreThoseAlongTheRays) {
    without_noise();
    scene.tof.radial = 1;
    const double row = std::tan(radians(12));
    for (const std::size_t zone : {0u, 7u}) {
        const double column = std::tan(radians(18));
        EXPECT_EQ(zones(1)[zone].distance_mm, std::lround(1500 * std::sqrt(1 + row * row + column * column)));
    }
    EXPECT_EQ(zones(0)[0].distance_mm, std::lround(1500 * std::sqrt(1 + 2 * row * row)));
}

double deviation_of(const std::vector<double>& values) {
    double sum = 0;
    double squares = 0;
    for (const double value : values) sum += value;
    const double mean = sum / static_cast<double>(values.size());
    for (const double value : values) squares += (value - mean) * (value - mean);
    return std::sqrt(squares / static_cast<double>(values.size() - 1));
}

// Over n frames a standard deviation is found to 1 / sqrt(2 n) of itself.
TEST_F(Tof, TheNoiseOfItsFramesIsThatOfTheirSignal) {
    without_noise();
    constexpr int frames = 4000;
    struct {
        double distance_mm;
        double reflectivity;
        double ambient_klx;
        double sigma_mm;
    } const table[] = {
        {1000, 0.8, 0, 10}, {2000, 0.8, 0, 40}, {1000, 0.2, 0, 20}, {1000, 0.8, 30, 20}, {500, 0.8, 0, 2.5}};
    scene.tof.noise_share = 0.01;
    for (const auto& [distance_mm, reflectivity, ambient_klx, sigma_mm] : table) {
        scene.pose.distance_mm = distance_mm;
        scene.wall.reflectivity = reflectivity;
        scene.room.ambient_klx = ambient_klx;
        const double slant_cosine = 1 / std::sqrt(1 + 2 * std::pow(std::tan(radians(12)), 2));
        const double own = reflectivity / 0.8 * slant_cosine;
        const double day = reflectivity / 0.8 * ambient_klx / 10 * std::pow(distance_mm / 1000, 2);
        const double aslant =
            std::sqrt(own + day) / own / (std::sqrt(reflectivity / 0.8 + day) / (reflectivity / 0.8));
        std::vector<double> seen;
        for (int frame = 0; frame < frames; ++frame) seen.push_back(zones(0, frame)[0].distance_mm);
        EXPECT_NEAR(deviation_of(seen), sigma_mm * aslant, 4 * sigma_mm / std::sqrt(2.0 * frames) + 0.05)
            << distance_mm << " " << reflectivity << " " << ambient_klx;
    }
}

// Up to 4000 sqrt(0.01 / 0.8) = 447 mm by a real sensor, twice as far by an ideal one.
TEST_F(Tof, ADarkWallIsOnlyMeasuredCloseBy) {
    scene.wall.reflectivity = 0.01;
    for (const auto& [follows_signal, range_mm] : {std::pair{0.0, 894.4}, {1.0, 447.2}}) {
        scene.tof.follows_signal = follows_signal;
        scene.pose.distance_mm = 1500;
        EXPECT_EQ(zones()[0].distance_mm, no_distance_mm);
        scene.pose.distance_mm = range_mm - 20;
        EXPECT_NEAR(zones()[0].distance_mm, range_mm - 20, 20);
        scene.pose.distance_mm = range_mm + 20;
        EXPECT_EQ(zones()[0].distance_mm, no_distance_mm);
    }
}

TEST_F(Tof, AWallSeenAslantThrowsBackLessWhenTheSignalIsFollowed) {
    scene.pose = {2000, 0, 60, 0, 0};
    const ZoneReading even = zone_grid(scene, 0)[4];
    scene.tof.follows_signal = 1;
    const ZoneReading aslant = zone_grid(scene, 0)[4];
    const double cosine = std::cos(radians(60)) * std::cos(radians(7));
    EXPECT_EQ(even.quality, std::lround(0.8 * 352 / 4.0 * std::pow(std::cos(radians(7)), 2)));
    EXPECT_EQ(aslant.quality, std::lround(0.8 * 352 / 4.0 * cosine * std::pow(std::cos(radians(7)), 2)));
}

TEST_F(Tof, ZonesAreMissingAndOutOfPlaceAsOftenAsIsSaid) {
    constexpr int frames = 5000;
    constexpr double share = 0.04;
    scene.tof.missing_share = share;
    scene.tof.outlier_share = share;
    int missing = 0;
    int outliers = 0;
    for (int frame = 0; frame < frames; ++frame) {
        for (const ZoneReading& zone : zones(0, frame)) {
            const bool is_missing = zone.distance_mm == no_distance_mm;
            missing += is_missing ? 1 : 0;
            outliers += !is_missing && std::abs(zone.distance_mm - 1500) > 20 ? 1 : 0;
        }
    }
    const double n = 4.0 * frames;
    const double spread = 4 * std::sqrt(n * share * (1 - share));
    EXPECT_NEAR(missing, n * share, spread);
    EXPECT_NEAR(outliers, n * share * (1 - share) * 0.99, spread);  // one in a hundred falls near the wall
}

TEST_F(Tof, ChanceDoesNotTouchTheOtherZones) {
    const std::vector<ZoneReading> faultless = zones(1, 5);
    scene.tof.missing_share = 0.05;
    const std::vector<ZoneReading> some = zones(1, 5);
    for (std::size_t zone = 0; zone < some.size(); ++zone) {
        if (some[zone].distance_mm == no_distance_mm) continue;
        EXPECT_EQ(some[zone].distance_mm, faultless[zone].distance_mm);
    }
}

// --- The room --------------------------------------------------------------------------------------------

TEST_F(Tof, TrueDistancesAreThoseOfASensorWithoutErrors) {
    scene.pose.pitch_deg = 12;
    scene.tof.scale_percent = 2;
    scene.tof.range_mm = 500;
    const double slope = std::tan(radians(12)) * std::tan(radians(12));
    const std::vector<double> distances = true_zone_distances(scene, 0);
    ASSERT_EQ(distances.size(), 4u);
    EXPECT_NEAR(distances[0], 1500 / (1 - slope), 1e-9);
    EXPECT_NEAR(distances[1], 1500 / (1 + slope), 1e-9);
    EXPECT_NEAR(true_axis_distance_mm(scene), 1500, 1e-9);
    EXPECT_EQ(true_zone_distances(scene, 1).size(), 8u);
    scene.pose.yaw_deg = 80;
    EXPECT_TRUE(std::isinf(true_zone_distances(scene, 1)[0]));
}

TEST_F(Tof, ARoomThatIsNotBareHasTheSameWall) {
    scene.pose = {1800, 12, -20, 5, 0};
    scene.wall.lean_deg = 3;
    const std::vector<double> bare = true_zone_distances(scene, 1);
    scene.room.box1.width_mm = 10;
    scene.room.box1.side_mm = 20000;
    const std::vector<double> furnished = true_zone_distances(scene, 1);
    for (std::size_t zone = 0; zone < bare.size(); ++zone) EXPECT_NEAR(furnished[zone], bare[zone], 1e-8);
}

TEST_F(Tof, SomebodyWhoWalksPastBlocksOneColumnAfterTheOther) {
    without_noise();
    scene.room.person1 = {-1500, 1000, 300, 1700, 0.5, 1000, 0};
    const auto columns = [&](double time_s) {
        scene.time = microseconds(time_s);
        const std::vector<ZoneReading> seen = zones(1);
        std::string blocked;
        for (const std::size_t zone : {6u, 4u, 2u, 0u}) blocked += seen[zone].distance_mm < 1200 ? 'x' : '-';
        return blocked;
    };
    EXPECT_EQ(columns(0), "----");
    EXPECT_EQ(columns(1.2), "x---");
    EXPECT_EQ(columns(1.4), "-x--");
    EXPECT_EQ(columns(1.6), "--x-");
    EXPECT_EQ(columns(1.8), "---x");
    EXPECT_EQ(columns(3), "----");
    scene.time = microseconds(1.5);
    EXPECT_NEAR(true_axis_distance_mm(scene), 850, 1e-6);
}

TEST_F(Tof, ABoxBlocksTheZonesThatItStandsBefore) {
    without_noise();
    scene.room.box1 = {200, 700, 200, 200, 700, 0, 0.5};  // below the lens, on the right
    const std::vector<ZoneReading> seen = zones();
    EXPECT_EQ(seen[0].distance_mm, 1500);
    EXPECT_EQ(seen[1].distance_mm, 700);
    EXPECT_EQ(seen[2].distance_mm, 1500);
    EXPECT_EQ(seen[3].distance_mm, 1500);
}

// 300 mm beside the corner the sensor's right column looks at the other wall, where s = 1500 - 300 / tan 12.
TEST_F(Tof, NearACornerItOverestimates) {
    without_noise();
    scene.room.corner_mm = 300;
    const double side = 300 / std::tan(radians(12));
    EXPECT_EQ(zones()[0].distance_mm, std::lround(side));
    EXPECT_EQ(zones()[2].distance_mm, 1500);
    scene.tof.multipath_percent = 5;
    EXPECT_EQ(zones()[0].distance_mm, std::lround(side * (1 + 0.05 * (1 - (1500 - side) / 1000))));
    const double from_corner = 300 + 1500 * std::tan(radians(12));
    EXPECT_EQ(zones()[2].distance_mm, std::lround(1500 * (1 + 0.05 * (1 - from_corner / 1000))));
}

TEST_F(Tof, AGlossySpotIsFartherOrNotMeasured) {
    without_noise();
    scene.room.spot = {320, 320, 100, 100, 0.5, 400};
    EXPECT_EQ(zones()[0].distance_mm, 1700);
    EXPECT_EQ(zones()[1].distance_mm, 1500);
    scene.room.spot.gloss = 1;
    scene.tof.follows_signal = 1;
    EXPECT_EQ(zones()[0].distance_mm, no_distance_mm);
    EXPECT_EQ(zones()[1].distance_mm, 1500);
}

}  // namespace
}  // namespace vp
