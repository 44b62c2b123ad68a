#include "bench/contrast_search.h"

#include <gtest/gtest.h>

#include <cmath>

#include "virtual_projector/world/optics.h"
#include "virtual_projector/world/parameters.h"

namespace {

using bench::ContrastSearch;

constexpr std::uint64_t seed = 5;
constexpr double step_tmr = 18;

vp::Settings unit(double distance_mm, double start_steps) {
    vp::Settings settings = vp::standard_settings();
    settings.pose.distance_mm = distance_mm;
    settings.lens.position_steps = start_steps;
    return settings;
}

TEST(ContrastSearch, EndsWithinHalfAStepOfTheBestPlace) {
    for (const double distance_mm : {250.0, 400.0, 700.0, 1500.0, 3000.0}) {
        for (const double start_steps : {3.0, 14.0, 25.0, 38.0}) {
            const ContrastSearch search = bench::search_by_contrast(unit(distance_mm, start_steps), seed);
            EXPECT_LE(std::abs(search.error_tmr), step_tmr / 2) << distance_mm << " mm from " << start_steps;
        }
    }
}

TEST(ContrastSearch, IsTheSameForTheSameNoise) {
    const ContrastSearch one = bench::search_by_contrast(unit(900, 20), seed);
    const ContrastSearch other = bench::search_by_contrast(unit(900, 20), seed);
    EXPECT_EQ(one.time_s, other.time_s);
    EXPECT_EQ(one.error_tmr, other.error_tmr);
    EXPECT_EQ(one.steps, other.steps);
}

TEST(ContrastSearch, TakesFourFramesAtEachPlaceAtLeast) {
    const ContrastSearch search = bench::search_by_contrast(unit(900, 0), seed);
    EXPECT_GE(search.frames, 4 * 8);
    EXPECT_LE(search.frames, 4 * search.moves);
}

TEST(ContrastSearch, LastsAsLongAsItsFramesAndTheLastMove) {
    const ContrastSearch search = bench::search_by_contrast(unit(900, 0), seed);
    EXPECT_GE(search.time_s, search.frames / 30.0);
    EXPECT_LE(search.time_s, search.frames / 30.0 + 0.2);
}

// A slower motor makes the first frames of a place useless, and the rest of the search as good as before.
TEST(ContrastSearch, WaitsForASlowLens) {
    vp::Settings slow = unit(900, 20);
    slow.lens.speed_steps_per_s = 10;
    const ContrastSearch search = bench::search_by_contrast(slow, seed);
    EXPECT_GT(search.time_s, bench::search_by_contrast(unit(900, 20), seed).time_s + 1);
    EXPECT_LE(std::abs(search.error_tmr), step_tmr / 2);
}

// The picture is sharp near the right end, so a search from there is over soon.
TEST(ContrastSearch, BeginsAtTheNearerEnd) {
    vp::Settings left = unit(250, 0);
    left.lens.infinity_steps = 24;
    vp::Settings right = left;
    right.lens.position_steps = right.lens.travel_steps;
    EXPECT_LT(bench::search_by_contrast(right, seed).time_s + 0.5,
              bench::search_by_contrast(left, seed).time_s);
}

TEST(ContrastSearch, FindsAPlaceAtTheEndOfTheTravel) {
    vp::Settings settings = unit(3000, 10);
    settings.lens.infinity_steps = -1;  // 3 m are sharp at the left end
    ASSERT_NEAR(vp::best_focus_steps(settings.lens, settings.tmr, 3000, settings.heat.led_c), 0, 0.01);
    EXPECT_LE(std::abs(bench::search_by_contrast(settings, seed).error_tmr), step_tmr / 2);
}

}  // namespace
