#include "virtual_projector/world/tof_signal.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "virtual_projector/world/parameters.h"

namespace vp {
namespace {

TEST(SignalWeakness, IsOneForAWhiteWallSquarelyFacedInTheDark) {
    for (const double distance : {300.0, 1000.0, 3999.0})
        EXPECT_EQ(signal_weakness({distance, 0.8, 1}, 0), 1.0);
}

TEST(SignalWeakness, GrowsWithTheRootOfTheLightThatIsMissing) {
    EXPECT_NEAR(signal_weakness({1000, 0.2, 1}, 0), 2, 1e-12);
    EXPECT_NEAR(signal_weakness({1000, 0.8, 0.25}, 0), 2, 1e-12);
    EXPECT_NEAR(signal_weakness({1000, 0.05, 0.25}, 0), 8, 1e-12);
    EXPECT_TRUE(std::isinf(signal_weakness({1000, 0, 1}, 0)));
}

// At 2 m the own light has fallen to a quarter and 7.5 klx are three quarters of it at 1 m: S / B is 1 / 3.
TEST(SignalWeakness, GrowsWithDaylightAndMoreSoFarAway) {
    EXPECT_NEAR(signal_weakness({2000, 0.8, 1}, 7.5), 2, 1e-12);
    EXPECT_NEAR(signal_weakness({1000, 0.8, 1}, 30), 2, 1e-12);
    EXPECT_NEAR(signal_weakness({1000, 0.2, 1}, 30), 4, 1e-12) << "a dark wall throws back less daylight too";
}

TEST(TofNoise, IsThatOfTheDistanceUnlessTheSignalIsFollowed) {
    TofSettings tof = standard_settings().tof;
    EXPECT_EQ(tof_noise_mm(tof, 2000, 4), 0.3 + 0.0005 * 2000);
    tof.follows_signal = 1;
    EXPECT_NEAR(tof_noise_mm(tof, 2000, 4), 4 * 1.3, 1e-12);
}

TEST(TofNoise, HasAShareOfTheDistanceThatGrowsWithTheDistanceItself) {
    TofSettings tof = standard_settings().tof;
    tof.noise_mm = tof.noise_per_mm = 0;
    tof.noise_share = 0.01;
    EXPECT_NEAR(tof_noise_mm(tof, 1000, 1), 10, 1e-12);
    EXPECT_NEAR(tof_noise_mm(tof, 2000, 1), 40, 1e-12);
    EXPECT_NEAR(tof_noise_mm(tof, 2000, 1.5), 60, 1e-12);
    tof.noise_mm = 30;
    EXPECT_NEAR(tof_noise_mm(tof, 2000, 1), 50, 1e-12) << "independent of the other";
}

TEST(TofRange, EndsAtItsDistanceHoweverStrongTheSignal) {
    const TofSettings tof = standard_settings().tof;
    EXPECT_TRUE(is_within_tof_range(tof, 4000, 0.5));
    EXPECT_FALSE(is_within_tof_range(tof, 4001, 0.5));
    EXPECT_FALSE(is_within_tof_range(tof, 100, std::numeric_limits<double>::infinity()));
}

// In the dark the range falls with the root of the reflectivity.
TEST(TofRange, ShrinksWithTheSignal) {
    const TofSettings tof = standard_settings().tof;
    struct {
        double reflectivity;
        double cosine;
        double ambient_klx;
        double range_mm;
    } const table[] = {
        {0.8, 1, 0, 4000},
        {0.2, 1, 0, 2000},
        {0.01, 1, 0, 4000 * std::sqrt(0.0125)},
        {0.8, 0.25, 0, 2000},
        {1, 1, 0, 4000},
        // d sqrt(1 + 3 d^2) = 4 in metres: d^2 = (sqrt(1 + 4 * 3 * 16) - 1) / 6
        {0.8, 1, 30, 1000 * std::sqrt((std::sqrt(193.0) - 1) / 6)},
    };
    for (const auto& row : table) {
        for (const double beyond_mm : {-0.1, 0.1}) {
            const double distance = row.range_mm + beyond_mm;
            const double weakness = signal_weakness({distance, row.reflectivity, row.cosine}, row.ambient_klx);
            EXPECT_EQ(is_within_tof_range(tof, distance, weakness), beyond_mm < 0) << row.range_mm;
        }
    }
}

}  // namespace
}  // namespace vp
