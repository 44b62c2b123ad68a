#include "focusctrl/gsensor/rotation_choice.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <ostream>
#include <string>
#include <vector>

namespace ovra {

void PrintTo(const RotationAction& action, std::ostream* out) {
    const char* const kinds[] = {"keep", "apply", "correct"};
    *out << kinds[action.kind] << " " << action.target;
}

}  // namespace ovra

namespace {

using ovra::Axes;
using ovra::matching_direction;
using ovra::no_direction;
using ovra::RotationAction;
using ovra::startup_phase;

constexpr RotationAction keep = ovra::keep_rotation;

RotationAction apply(int target) { return {RotationAction::apply, target}; }
RotationAction correct(int target) { return {RotationAction::correct, target}; }

RotationAction choose(const Axes& tilt, std::uint8_t current_rotation) {
    return ovra::choose_rotation(matching_direction(tilt), tilt, current_rotation);
}

float below(float value) { return std::nextafter(value, -1000.0F); }
float above(float value) { return std::nextafter(value, 1000.0F); }

struct Box {
    float x_min, x_max, y_min, y_max, z_min, z_max;
};

// The eight corners, each bound included, and a point just outside of each of the six faces.
std::vector<Axes> corners(const Box& box) {
    std::vector<Axes> result;
    for (const float x : {box.x_min, box.x_max})
        for (const float y : {box.y_min, box.y_max})
            for (const float z : {box.z_min, box.z_max}) result.push_back({x, y, z});
    return result;
}

std::vector<Axes> points_outside(const Box& box) {
    const float x = (box.x_min + box.x_max) / 2;
    const float y = (box.y_min + box.y_max) / 2;
    const float z = (box.z_min + box.z_max) / 2;
    return {{below(box.x_min), y, z}, {above(box.x_max), y, z}, {x, below(box.y_min), z},
            {x, above(box.y_max), z}, {x, y, below(box.z_min)}, {x, y, above(box.z_max)}};
}

std::string text_of(const Axes& tilt) {
    return std::to_string(tilt.x) + " " + std::to_string(tilt.y) + " " + std::to_string(tilt.z);
}

// --- The table --------------------------------------------------------------------------------------------

TEST(Directions, HaveTheirNamesAndRotations) {
    const char* const names[] = {"HSYNC_0", "HSYNC_90", "HSYNC_180", "HSYNC_270", "UP_0", "DOWN_180"};
    const int rotations[] = {0, 1, 2, 3, 0, 2};
    ASSERT_EQ(ovra::directions.size(), 6U);
    for (int index = 0; index < 6; ++index) {
        EXPECT_STREQ(ovra::direction_at(index).name, names[index]);
        EXPECT_EQ(ovra::direction_at(index).rotation, rotations[index]);
    }
}

TEST(Directions, AcceptTheirNominalAngles) {
    for (int index = 0; index < 6; ++index)
        EXPECT_EQ(matching_direction(ovra::direction_at(index).nominal), index);
}

TEST(Directions, IncludeTheirBoundsAndNothingBeyond) {
    const Box boxes[] = {
        {-35, 35, -35, 35, 55, 90}, {-90, -55, -35, 35, -35, 35}, {-35, 35, -35, 35, -90, -55},
        {55, 90, -35, 35, -35, 35}, {-35, 35, -90, -55, -35, 35}, {-35, 35, 55, 90, -35, 35},
    };
    for (int index = 0; index < 6; ++index) {
        for (const Axes& tilt : corners(boxes[index]))
            EXPECT_EQ(matching_direction(tilt), index) << text_of(tilt);
        for (const Axes& tilt : points_outside(boxes[index]))
            EXPECT_EQ(matching_direction(tilt), no_direction) << text_of(tilt);
    }
}

TEST(Directions, MatchNothingInTheGaps) {
    EXPECT_EQ(matching_direction({0, 0, 54.9F}), no_direction);
    EXPECT_EQ(matching_direction({0, 0, 0}), no_direction);
    EXPECT_EQ(matching_direction({45, 0, 45}), no_direction);
}

// --- A direction matches ----------------------------------------------------------------------------------

TEST(MatchedRotation, IsAppliedFromEveryOther) {
    for (int index = 0; index < 4; ++index)
        for (std::uint8_t current = 0; current <= startup_phase; ++current)
            EXPECT_EQ(choose(ovra::direction_at(index).nominal, current), apply(index));
}

TEST(LensUp, KeepsEveryRotationButItsOwn) {
    constexpr Axes lens_up{0, -90, 0};
    EXPECT_EQ(choose(lens_up, 1), keep);
    EXPECT_EQ(choose(lens_up, 2), keep);
    EXPECT_EQ(choose(lens_up, 3), keep);
    EXPECT_EQ(choose(lens_up, 0), apply(4));
    EXPECT_EQ(choose(lens_up, startup_phase), apply(4));
}

TEST(LensDown, KeepsEveryRotationButItsOwn) {
    constexpr Axes lens_down{0, 90, 0};
    EXPECT_EQ(choose(lens_down, 0), keep);
    EXPECT_EQ(choose(lens_down, 1), keep);
    EXPECT_EQ(choose(lens_down, 3), keep);
    EXPECT_EQ(choose(lens_down, 2), apply(5));
    EXPECT_EQ(choose(lens_down, startup_phase), apply(5));
}

// --- Between two directions -------------------------------------------------------------------------------

struct Band {
    const char* name;
    Box box;
    int target;
    int kept_rotation;  // -1: none
};

const Band bands[] = {
    {"lens up, table", {-35, 35, -55, -35, 35, 55}, 0, -1},
    {"lens down, table", {-35, 35, 35, 55, 35, 55}, 0, -1},
    {"one side, table", {-55, -35, -35, 35, 35, 55}, 0, 1},
    {"other side, table", {35, 55, -35, 35, 35, 55}, 0, 3},
    {"lens down, ceiling", {-35, 35, 35, 55, -55, -35}, 2, -1},
    {"lens up, ceiling", {-35, 35, -55, -35, -55, -35}, 2, -1},
    {"one side, ceiling", {-55, -35, -35, 35, -55, -35}, 2, 1},
    {"other side, ceiling", {35, 55, -35, 35, -55, -35}, 2, 3},
};

Axes middle(const Box& box) {
    return {(box.x_min + box.x_max) / 2, (box.y_min + box.y_max) / 2, (box.z_min + box.z_max) / 2};
}

TEST(Band, TurnsThePictureToTheTableOrTheCeiling) {
    for (const Band& band : bands) {
        for (std::uint8_t current = 0; current <= startup_phase; ++current) {
            const bool stays = current == band.target || current == band.kept_rotation;
            EXPECT_EQ(choose(middle(band.box), current), stays ? keep : correct(band.target))
                << band.name << ", rotation " << int{current};
        }
    }
}

TEST(Band, IncludesItsBoundsAndNothingBeyond) {
    // From the opposite half turn every band turns the picture. Its corners touch a direction or another band
    // and the target is the same for all of them.
    for (const Band& band : bands) {
        const auto opposite = static_cast<std::uint8_t>(2 - band.target);
        for (const Axes& tilt : corners(band.box)) {
            const RotationAction action = ovra::choose_rotation(no_direction, tilt, opposite);
            EXPECT_EQ(action, correct(band.target)) << band.name << " at " << text_of(tilt);
        }
        for (const Axes& tilt : points_outside(band.box)) {
            const RotationAction action = ovra::choose_rotation(no_direction, tilt, opposite);
            EXPECT_EQ(action, keep) << band.name << " at " << text_of(tilt);
        }
    }
}

TEST(Band, OfLensUpOrDownDecidesWhereTwoMeet) {
    // The common corner of a band beside the lens-up position and of one beside a side position.
    EXPECT_EQ(ovra::choose_rotation(no_direction, {-35, -35, 45}, 1), correct(0));
    EXPECT_EQ(ovra::choose_rotation(no_direction, {35, 35, 45}, 3), correct(0));
    EXPECT_EQ(ovra::choose_rotation(no_direction, {-35, 35, -45}, 1), correct(2));
    EXPECT_EQ(ovra::choose_rotation(no_direction, {35, -35, -45}, 3), correct(2));
}

TEST(Gap, OutsideEveryBandKeepsTheRotation) {
    for (std::uint8_t current = 0; current <= startup_phase; ++current) {
        EXPECT_EQ(choose({0, 0, 54.9F}, current), keep);
        EXPECT_EQ(choose({0, 0, -54.9F}, current), keep);
        EXPECT_EQ(choose({45, 45, 0}, current), keep);
        EXPECT_EQ(choose({-45, 45, 0}, current), keep);
    }
}

TEST(Gap, CountsALevelZAxisToTheCeiling) {
    // z of 0 lies in no band, whichever half it counts to.
    EXPECT_EQ(choose({45, 0, 0}, 0), keep);
    EXPECT_EQ(choose({45, 0, 0}, 2), keep);
}

}  // namespace
