#include "bench/contrast_search.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>

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

// What holds for both searches.
class ContrastSearches
    : public ::testing::TestWithParam<ContrastSearch (*)(const vp::Settings&, std::uint64_t)> {
protected:
    static ContrastSearch search(const vp::Settings& settings) { return GetParam()(settings, seed); }
};

TEST_P(ContrastSearches, EndWithinHalfAStepOfTheBestPlace) {
    for (const double distance_mm : {250.0, 400.0, 700.0, 1500.0, 3000.0}) {
        for (const double start_steps : {0.0, 3.0, 14.0, 25.0, 38.0, 42.0}) {
            EXPECT_LE(std::abs(search(unit(distance_mm, start_steps)).error_tmr), step_tmr / 2)
                << distance_mm << " mm from " << start_steps;
        }
    }
}

TEST_P(ContrastSearches, AreTheSameForTheSameNoise) {
    const ContrastSearch one = search(unit(900, 20));
    const ContrastSearch other = search(unit(900, 20));
    EXPECT_EQ(one.time_s, other.time_s);
    EXPECT_EQ(one.error_tmr, other.error_tmr);
    EXPECT_EQ(one.steps, other.steps);
}

// A slower motor makes the first frames of a place useless, and the rest of the search as good as before.
TEST_P(ContrastSearches, WaitForASlowLens) {
    vp::Settings slow = unit(900, 20);
    slow.lens.speed_steps_per_s = 10;
    EXPECT_GT(search(slow).time_s, search(unit(900, 20)).time_s + 1);
    EXPECT_LE(std::abs(search(slow).error_tmr), step_tmr / 2);
}

TEST_P(ContrastSearches, FindAPlaceAtTheEndOfTheTravel) {
    vp::Settings settings = unit(3000, 10);
    settings.lens.infinity_steps = -1;  // 3 m are sharp at the left end
    ASSERT_NEAR(vp::best_focus_steps(settings.lens, settings.tmr, 3000, settings.heat.led_c), 0, 0.01);
    EXPECT_LE(std::abs(search(settings).error_tmr), step_tmr / 2);
}

INSTANTIATE_TEST_SUITE_P(Both, ContrastSearches,
                         ::testing::Values(&bench::scan_from_end, &bench::climb_from_here),
                         [](const auto& search) {
                             return search.param == &bench::scan_from_end ? "ScanFromEnd" : "ClimbFromHere";
                         });

TEST(ContrastScan, TakesFourFramesAtEachPlaceAtLeast) {
    const ContrastSearch search = bench::scan_from_end(unit(900, 0), seed);
    EXPECT_GE(search.frames, 4 * 8);
    EXPECT_LE(search.frames, 4 * search.moves);
}

TEST(ContrastScan, LastsAsLongAsItsFramesAndTheLastMove) {
    const ContrastSearch search = bench::scan_from_end(unit(900, 0), seed);
    EXPECT_GE(search.time_s, search.frames / 30.0);
    EXPECT_LE(search.time_s, search.frames / 30.0 + 0.2);
}

// The picture is sharp near the right end, so a search from there is over soon.
TEST(ContrastScan, BeginsAtTheNearerEnd) {
    vp::Settings left = unit(250, 0);
    left.lens.infinity_steps = 24;
    vp::Settings right = left;
    right.lens.position_steps = right.lens.travel_steps;
    EXPECT_LT(bench::scan_from_end(right, seed).time_s + 0.5, bench::scan_from_end(left, seed).time_s);
}

TEST(ContrastClimb, TakesTwoFramesAtAPlaceThatIsNear) {
    vp::Settings at_rest = unit(900, 0);
    at_rest.lens.position_steps =
        vp::best_focus_steps(at_rest.lens, at_rest.tmr, at_rest.pose.distance_mm, at_rest.heat.led_c);
    const ContrastSearch search = bench::climb_from_here(at_rest, seed);
    EXPECT_GE(search.frames, 2 * 3);  // here and on both sides
    EXPECT_LE(search.frames, 2 * 3 + 3);
    EXPECT_LT(search.time_s, 0.25);
}

TEST(ContrastClimb, TurnsRoundAtTheEndWhereNothingWasSeen) {
    vp::Settings settings = unit(900, 20);  // just left of the middle: it looks to the right first
    settings.lens.infinity_steps = -1;
    const double best =
        vp::best_focus_steps(settings.lens, settings.tmr, settings.pose.distance_mm, settings.heat.led_c);
    ASSERT_LT(best, 11);  // so far away that nothing is seen from the start
    const ContrastSearch search = bench::climb_from_here(settings, seed);
    EXPECT_GT(search.steps, 22 + 30);
    EXPECT_LE(std::abs(search.error_tmr), step_tmr / 2);
}

TEST(ContrastClimb, IsMuchFasterThanAScan) {
    for (const double start_steps : {0.0, 20.0, 42.0})
        EXPECT_LT(5 * bench::climb_from_here(unit(900, start_steps), seed).time_s,
                  bench::scan_from_end(unit(900, start_steps), seed).time_s);
}

}  // namespace
