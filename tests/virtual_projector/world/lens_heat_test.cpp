#include "virtual_projector/world/lens_heat.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

namespace vp {
namespace {

constexpr HeatPath warming{25, 60, 240, 25, 900};

// The barrel's equation solved in small steps (Heun's method), which knows nothing of the closed form.
double barrel_in_steps(const HeatPath& path, double time_s) {
    constexpr int steps = 20000;
    const double step_s = time_s / steps;
    double barrel_c = path.barrel_c;
    for (int i = 0; i < steps; ++i) {
        const double rate = (led_after(path, i * step_s) - barrel_c) / path.barrel_time_constant_s;
        const double ahead_c = barrel_c + rate * step_s;
        const double rate_ahead = (led_after(path, (i + 1) * step_s) - ahead_c) / path.barrel_time_constant_s;
        barrel_c += (rate + rate_ahead) / 2 * step_s;
    }
    return barrel_c;
}

TEST(LensHeat, ABarrelWithoutATimeConstantIsAsWarmAsTheLed) {
    HeatPath path = warming;
    path.barrel_time_constant_s = 0;
    for (const double time_s : {0.0, 10.0, 240.0, 3600.0}) {
        EXPECT_EQ(barrel_after(path, time_s), led_after(path, time_s));
    }
    EXPECT_FALSE(barrel_turn_s(path).has_value());
}

TEST(LensHeat, TheBarrelFollowsTheLedByItsEquation) {
    const HeatPath paths[] = {warming,
                              {25, 60, 240, 25, 240},
                              {25, 60, 900, 25, 200},
                              {60, 20, 240, 30, 1800},
                              {45, 45, 240, 25, 600}};
    for (const HeatPath& path : paths) {
        EXPECT_DOUBLE_EQ(barrel_after(path, 0), path.barrel_c);
        for (const double time_s : {60.0, 600.0, 3000.0}) {
            EXPECT_NEAR(barrel_after(path, time_s), barrel_in_steps(path, time_s), 1e-4)
                << path.barrel_time_constant_s << " s, after " << time_s << " s";
        }
    }
}

TEST(LensHeat, AfterALedThatIsWarmAtOnceItWarmsByItsTimeConstant) {
    const HeatPath path{60, 60, 240, 25, 900};
    EXPECT_NEAR(barrel_after(path, 900), 60 - 35 * std::exp(-1.0), 1e-9);
}

TEST(LensHeat, NearlyEqualTimeConstantsAreAsGoodAsEqualOnes) {
    HeatPath equal = warming;
    equal.barrel_time_constant_s = equal.led_time_constant_s;
    HeatPath nearly = equal;
    nearly.barrel_time_constant_s *= 1 + 1e-5;
    EXPECT_NEAR(barrel_after(nearly, 300), barrel_after(equal, 300), 1e-3);
}

TEST(LensHeat, ABarrelTurnsWhereItIsAsWarmAsTheLed) {
    const HeatPath cooling_led[] = {{70, 20, 240, 30, 900}, {70, 20, 900, 30, 240}, {70, 20, 240, 30, 240}};
    for (const HeatPath& path : cooling_led) {
        const std::optional<double> turn = barrel_turn_s(path);
        ASSERT_TRUE(turn.has_value()) << path.barrel_time_constant_s;
        EXPECT_NEAR(barrel_after(path, *turn), led_after(path, *turn), 1e-9);
        EXPECT_LT(barrel_after(path, *turn - 10), barrel_after(path, *turn));
        EXPECT_LT(barrel_after(path, *turn + 10), barrel_after(path, *turn));
    }
    EXPECT_FALSE(barrel_turn_s(warming).has_value());
}

TEST(LensHeat, CountsWarmingsOfMoreThanTenDegrees) {
    struct {
        const char* what;
        std::vector<double> temperatures;
        int count;
    } const table[] = {{"nothing", {25}, 0},
                       {"ten degrees", {35}, 0},
                       {"a little more", {35.1}, 1},
                       {"once only", {40, 60, 75}, 1},
                       {"a dip of ten degrees", {60, 50, 60}, 1},
                       {"up, down and up", {60, 45, 60}, 2},
                       {"down first", {10, 19, 21}, 1},
                       {"down to the start, not up again", {60, 25}, 1}};
    for (const auto& [what, temperatures, count] : table) {
        HeatCycles cycles(25);
        for (const double c : temperatures) cycles.reach(c);
        EXPECT_EQ(cycles.count(), count) << what;
    }
}

// The barrel is at 30 C at both ends of this way and warmer in between.
TEST(LensHeat, CountsAWarmingThatIsOverWhenSomebodyLooks) {
    const HeatPath path{90, 30, 100, 30, 100};
    HeatCycles cycles(30);
    cycles.follow(path, 5000);
    EXPECT_NEAR(barrel_after(path, 5000), 30, 1e-6);
    EXPECT_EQ(cycles.count(), 1);
}

}  // namespace
}  // namespace vp
