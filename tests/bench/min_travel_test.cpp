#include "bench/min_travel.h"

#include <gtest/gtest.h>

#include <cmath>

#include "virtual_projector/world/lens.h"
#include "virtual_projector/world/parameters.h"

namespace {

using bench::Travel;

constexpr double band_tmr = 4;  // 0.22 of a full step of 18 TMR units

// A lens at 20 steps whose backlash of 3 steps to the left is still to be taken up, and of 2 to the right is
// taken up.
struct MinTravel : ::testing::Test {
    MinTravel() {
        lens.position_steps = 20;
        lens.backlash_state = 1;
        lens.left_backlash_steps = 3;
        lens.right_backlash_steps = 2;
        tmr.slope_per_step = 18;
    }
    Travel to(double target_steps) const { return bench::min_travel(lens, tmr, target_steps, band_tmr); }

    vp::LensSettings lens = vp::standard_settings().lens;
    vp::TmrSettings tmr = vp::standard_settings().tmr;
};

void expect_travel(const Travel& travel, int moves, int steps) {
    EXPECT_EQ(travel.moves, moves);
    EXPECT_EQ(travel.steps, steps);
}

TEST_F(MinTravel, IsNoneWhereTheLensStandsSharp) {
    expect_travel(to(20), 0, 0);
    expect_travel(to(20.2), 0, 0);
    expect_travel(to(19.8), 0, 0);
}

TEST_F(MinTravel, IsOneMoveOfFullSteps) { expect_travel(to(27), 1, 7); }

TEST_F(MinTravel, TakesAHalfStepMoreWhereFullOnesEndBesideTheBand) { expect_travel(to(23.5), 2, 4); }

TEST_F(MinTravel, IsAHalfStepAlone) { expect_travel(to(20.5), 1, 1); }

TEST_F(MinTravel, EndsAtTheNearEdgeOfTheBand) {
    expect_travel(to(27.2), 1, 7);
    expect_travel(to(26.8), 1, 7);
}

TEST_F(MinTravel, GoesToTheNearestHalfStepWhereNoneEndsInTheBand) {
    expect_travel(bench::min_travel(lens, tmr, 23.3, 0.1), 2, 4);
    expect_travel(bench::min_travel(lens, tmr, 23.2, 0.1), 1, 3);
}

TEST_F(MinTravel, BeginsWithTheBacklashOfAReversal) { expect_travel(to(15), 1, 3 + 5); }

TEST_F(MinTravel, BeginsWithWhatIsLeftOfTheBacklash) {
    lens.backlash_state = 0.5;
    expect_travel(to(22), 1, 1 + 2);
}

TEST_F(MinTravel, IsEnoughForTheSimulatedLens) {
    for (double target = 12; target < 30; target += 0.25) {
        vp::LensSettings moved = lens;
        const Travel travel = to(target);
        const vp::Side side = target > lens.position_steps ? vp::Side::right : vp::Side::left;
        const bool ends_with_half = travel.moves == 2 || (travel.moves == 1 && std::abs(target - 20) <= 0.5);
        vp::turn_motor(moved, side, travel.steps - (ends_with_half ? 0.5 : 0));
        EXPECT_NEAR(moved.position_steps, target, 0.25 + 1e-9) << target;
    }
}

}  // namespace
