#include "virtual_projector/world/gravity.h"

#include <gtest/gtest.h>

#include <cmath>

#include "virtual_projector/world/parameters.h"

namespace vp {
namespace {

constexpr double reference_c = 25;  // where the bias drift is none

struct Gravity : ::testing::Test {
    GravitySettings gravity = standard_settings().gravity;

    std::array<double, 3> clean(const Pose& pose, const Vec3& acceleration = {}) const {
        GravitySettings perfect = gravity;
        perfect.noise_sigma = perfect.offset_x = perfect.offset_y = perfect.offset_z = 0;
        return gravity_sample(perfect, pose, acceleration, 1, 0, reference_c);
    }
};

void expect_axes(const std::array<double, 3>& actual, double x, double y, double z) {
    EXPECT_NEAR(actual[0], x, 1e-6);
    EXPECT_NEAR(actual[1], y, 1e-6);
    EXPECT_NEAR(actual[2], z, 1e-6);
}

TEST_F(Gravity, ReadsOneGUpwardsOnATable) { expect_axes(clean({1500, 0, 0, 0, 0}), 0, 0, 1000); }

TEST_F(Gravity, IsAnotherOneForEachMounting) {
    expect_axes(clean({1500, 0, 0, 0, 1}), -1000, 0, 0);
    expect_axes(clean({1500, 0, 0, 0, 2}), 0, 0, -1000);
    expect_axes(clean({1500, 0, 0, 0, 3}), 1000, 0, 0);
}

TEST_F(Gravity, TheLensUpIsMinusYAndDownIsPlusY) {
    expect_axes(clean({1500, 90, 0, 0, 0}), 0, -1000, 0);
    expect_axes(clean({1500, -90, 0, 0, 0}), 0, 1000, 0);
}

// The tilt that the projector takes from it is minus the elevation of y on a table, plus from the ceiling.
TEST_F(Gravity, SharesTheSignOfTheTiltWithTheToFSensor) {
    const std::array<double, 3> table = clean({1500, 12, 0, 0, 0});
    EXPECT_NEAR(degrees(std::asin(table[1] / 1000)), -12, 1e-6);
    const std::array<double, 3> ceiling = clean({1500, 12, 0, 0, 2});
    EXPECT_NEAR(degrees(std::asin(ceiling[1] / 1000)), -12, 1e-6);
    EXPECT_LT(ceiling[2], 0);
}

TEST_F(Gravity, DoesNotFeelTheDirectionItFaces) { expect_axes(clean({1500, 0, 40, 0, 0}), 0, 0, 1000); }

TEST_F(Gravity, FeelsTheHandThatLiftsIt) {
    expect_axes(clean({1500, 0, 0, 0, 0}, {0, 0, 0.2}), 0, 0, 1200);
    expect_axes(clean({1500, 0, 0, 0, 0}, {0, 0.1, 0}), 0, -100, 1000);
}

TEST_F(Gravity, AddsItsOwnOffsetsAndNoise) {
    std::array<double, 3> sums{};
    constexpr int samples = 2000;
    for (int i = 0; i < samples; ++i) {
        const std::array<double, 3> sample = gravity_sample(gravity, {1500, 0, 0, 0, 0}, {}, 1, i, reference_c);
        for (std::size_t axis = 0; axis < 3; ++axis) sums[axis] += sample[axis] / samples;
    }
    EXPECT_NEAR(sums[0], 12, 0.2);
    EXPECT_NEAR(sums[1], -7, 0.2);
    EXPECT_NEAR(sums[2], 1030, 0.2);
    EXPECT_NE(gravity_sample(gravity, {1500, 0, 0, 0, 0}, {}, 1, 0, reference_c),
              gravity_sample(gravity, {1500, 0, 0, 0, 0}, {}, 1, 1, reference_c));
}

TEST_F(Gravity, TheNoiseOfEachAxisIsItsOwn) {
    gravity.offset_x = gravity.offset_y = gravity.offset_z = 0;
    std::array<double, 3> squares{};
    std::array<double, 3> products{};
    constexpr int samples = 4000;
    for (int i = 0; i < samples; ++i) {
        std::array<double, 3> noise = gravity_sample(gravity, {1500, 0, 0, 0, 0}, {}, 1, i, reference_c);
        noise[2] -= gravity.units_per_g;
        for (std::size_t axis = 0; axis < 3; ++axis) {
            squares[axis] += noise[axis] * noise[axis];
            products[axis] += noise[axis] * noise[(axis + 1) % 3];
        }
    }
    const double variance = gravity.noise_sigma * gravity.noise_sigma;
    for (std::size_t axis = 0; axis < 3; ++axis) {
        EXPECT_NEAR(squares[axis] / samples / variance, 1, 0.1) << axis;
        EXPECT_NEAR(products[axis] / samples / variance, 0, 0.1) << axis;
    }
}

TEST_F(Gravity, SamplesAreNumberedByThePeriod) {
    EXPECT_EQ(gravity_sample_index(gravity, 19999), 0);
    EXPECT_EQ(gravity_sample_index(gravity, 20000), 1);
}

TEST_F(Gravity, ItsBiasDriftsWithTheTemperature) {
    gravity.bias_drift_mg_per_c = 0.5;
    gravity.noise_sigma = gravity.offset_x = gravity.offset_y = gravity.offset_z = 0;
    gravity.units_per_g = 2000;
    struct {
        double case_c;
        double bias;
    } const table[] = {{25, 0}, {45, 20}, {5, -20}};
    for (const auto& [case_c, bias] : table) {
        expect_axes(gravity_sample(gravity, {1500, 0, 0, 0, 0}, {}, 1, 0, case_c), bias, bias, 2000 + bias);
    }
}

TEST_F(Gravity, AMountingErrorIsFeltAsTheSameTurnOfTheUnit) {
    gravity.mount_pitch_deg = 2;
    const std::array<double, 3> pitched = clean({1500, 0, 0, 0, 0});
    expect_axes(pitched, 0, -1000 * std::sin(radians(2)), 1000 * std::cos(radians(2)));
    gravity.mount_pitch_deg = 0;
    gravity.mount_roll_deg = -3;
    const std::array<double, 3> rolled = clean({1500, 0, 0, 0, 0});
    gravity.mount_roll_deg = 0;
    const std::array<double, 3> turned = clean({1500, 0, 0, -3, 0});
    expect_axes(rolled, turned[0], turned[1], turned[2]);
    EXPECT_NEAR(rolled[0], 1000 * std::sin(radians(3)), 1e-6);
}

TEST_F(Gravity, AMountingErrorAddsToTheUnitsOwnPitch) {
    gravity.mount_pitch_deg = 2;
    const std::array<double, 3> sample = clean({1500, 12, 0, 0, 0});
    EXPECT_NEAR(degrees(std::asin(sample[1] / 1000)), -14, 1e-6);
}

TEST_F(Gravity, TheFanShakesEachAxisAtItsOwnPhase) {
    gravity.fan_vibration_mg = 20;
    gravity.fan_hz = 12.5;  // a quarter turn from one sample to the next
    const double phase[] = {0, 1.0 / 3, 2.0 / 3};
    const double sign[] = {-1, -1, 1};
    const double rest[] = {0, 0, 1000};
    GravitySettings perfect = gravity;
    perfect.noise_sigma = perfect.offset_x = perfect.offset_y = perfect.offset_z = 0;
    for (int index = 0; index < 8; ++index) {
        const std::array<double, 3> sample =
            gravity_sample(perfect, {1500, 0, 0, 0, 0}, {}, 1, index, reference_c);
        for (std::size_t axis = 0; axis < 3; ++axis) {
            const double wave = std::sin(2 * pi * (0.25 * index + phase[axis]));
            EXPECT_NEAR(sample[axis], rest[axis] + sign[axis] * 20 * wave, 1e-6) << index << " " << axis;
        }
    }
}

TEST_F(Gravity, SpikesHitAsManySamplesAsTheirProbabilitySaysUpAndDownOnEveryAxis) {
    gravity.noise_sigma = gravity.offset_x = gravity.offset_y = gravity.offset_z = 0;
    gravity.spike_probability = 0.05;
    gravity.spike_mg = 300;
    constexpr int samples = 20000;
    int up[3] = {};
    int down[3] = {};
    for (int i = 0; i < samples; ++i) {
        std::array<double, 3> sample = gravity_sample(gravity, {1500, 0, 0, 0, 0}, {}, 1, i, reference_c);
        sample[2] -= 1000;
        int hit = 0;
        for (std::size_t axis = 0; axis < 3; ++axis) {
            if (std::abs(sample[axis]) < 1e-9) continue;
            EXPECT_NEAR(std::abs(sample[axis]), 300, 1e-9);
            ++(sample[axis] > 0 ? up : down)[axis];
            ++hit;
        }
        EXPECT_LE(hit, 1);
    }
    for (int axis = 0; axis < 3; ++axis) {
        EXPECT_NEAR(up[axis], samples * 0.05 / 6, 60) << axis;
        EXPECT_NEAR(down[axis], samples * 0.05 / 6, 60) << axis;
    }
}

}  // namespace
}  // namespace vp
