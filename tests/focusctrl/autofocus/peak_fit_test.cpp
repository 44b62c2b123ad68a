#include "focusctrl/autofocus/peak_fit.h"

#include <gtest/gtest.h>

#include <climits>
#include <cmath>

namespace {

TEST(RoundedPosition, RoundsHalvesAwayFromZero) {
    EXPECT_EQ(ovra::rounded_position(2.5), 3);
    EXPECT_EQ(ovra::rounded_position(-2.5), -3);
    EXPECT_EQ(ovra::rounded_position(2.4999), 2);
}

TEST(RoundedPosition, StaysInThirtyTwoBits) {
    EXPECT_EQ(ovra::rounded_position(1e300), INT_MAX);
    EXPECT_EQ(ovra::rounded_position(-1e300), INT_MIN);
    EXPECT_EQ(ovra::rounded_position(std::nan("")), 0);
}

TEST(PeakPosition, IsTheVertexOfAnExactParabola) {
    const std::vector<stepList_> samples = {{0, 6.0}, {1, 9.0}, {2, 10.0}, {3, 9.0}, {4, 6.0}};
    EXPECT_DOUBLE_EQ(ovra::peak_position(samples), 2.0);
}

// Equal samples within a percentage are flat. Outside of it they are measured against its ends, where the
// scans for the greatest and the least begin.
struct Level {
    double sharpness;
    bool flat;
};

TEST(SamplesAreFlat, MeasuresEqualSamplesAgainstTheEndsOfThePercentage) {
    for (const Level& level :
         {Level{100.4, true}, Level{100.6, false}, Level{50.0, true}, Level{-0.4, true}, Level{-0.6, false}}) {
        const std::vector<stepList_> samples(5, {0, level.sharpness});
        EXPECT_EQ(ovra::samples_are_flat(samples), level.flat) << level.sharpness;
    }
}

}  // namespace
