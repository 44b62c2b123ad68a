#include "virtual_projector/world/vibration.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "virtual_projector/world/parameters.h"

namespace vp {
namespace {

TEST(Vibration, AFanThatIsBalancedDoesNotShake) {
    const Vec3 shaken = fan_vibration_g(standard_settings().gravity, microseconds(0.1234));
    EXPECT_EQ(shaken.x, 0);
    EXPECT_EQ(shaken.y, 0);
    EXPECT_EQ(shaken.z, 0);
}

TEST(Vibration, HarmonicsAreAsManyTimesWeakerAsFaster) {
    GravitySettings gravity = standard_settings().gravity;
    gravity.fan_vibration_mg = 50;
    gravity.fan_hz = 10;
    gravity.fan_harmonics = 3;
    for (const double time_s : {0.0, 0.013, 0.02, 0.25}) {
        const double angle = 2 * pi * 10 * time_s;
        const double expected = 0.05 * (std::sin(angle) + std::sin(2 * angle) / 2 + std::sin(3 * angle) / 3);
        EXPECT_NEAR(fan_vibration_g(gravity, microseconds(time_s)).x, expected, 1e-9) << time_s;
    }
}

TEST(Vibration, AKnockIsOneFullWaveThatLeavesTheUnitWhereItWas) {
    constexpr Microseconds duration = 60000;
    struct {
        Microseconds since;
        double part;
    } const table[] = {{-1, 0}, {0, 0}, {15000, 1}, {30000, 0}, {45000, -1}, {60000, 0}, {75000, 0}};
    for (const auto& [since, part] : table) {
        EXPECT_NEAR(knock_g(0.2, since, duration), 0.2 * part, 1e-12) << since;
    }
}

TEST(Vibration, KnocksComeAsOftenAsTheyShall) {
    HandSettings hand = standard_settings().hand;
    hand.knock_g = 0.03;
    struct {
        double per_h;
        double expected;
    } const table[] = {{0, 0}, {360, 1000}, {3600, 10000}};
    for (const auto& [per_h, expected] : table) {
        hand.knocks_per_h = per_h;
        int knocks = 0;
        for (int second = 0; second < 10000; ++second) {
            const Microseconds at = second * microseconds_per_second;
            const double strongest = chance_knock_g(hand, 1, at + knock_duration / 4);
            if (strongest != 0) {
                EXPECT_NEAR(strongest, 0.03, 1e-12);
            }
            EXPECT_EQ(chance_knock_g(hand, 1, at + knock_duration), 0);
            knocks += strongest != 0 ? 1 : 0;
        }
        EXPECT_NEAR(knocks, expected, 100) << per_h;
    }
}

}  // namespace
}  // namespace vp
