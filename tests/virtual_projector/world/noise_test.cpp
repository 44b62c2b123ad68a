#include "virtual_projector/world/noise.h"

#include <gtest/gtest.h>

#include <cmath>

namespace vp {
namespace {

TEST(Noise, IsTheSameForTheSameSeedStreamAndSample) {
    const Noise first(7, Stream::tmr);
    const Noise second(7, Stream::tmr);
    for (int i = 0; i < 100; ++i) EXPECT_EQ(first.gaussian(i), second.gaussian(i));
}

TEST(Noise, DoesNotDependOnWhatWasAskedBefore) {
    const Noise noise(7, Stream::gravity);
    const double alone = noise.gaussian(41, 2);
    for (int i = 0; i < 41; ++i) noise.gaussian(i, 1);
    EXPECT_EQ(noise.gaussian(41, 2), alone);
}

TEST(Noise, DiffersBetweenSeedsStreamsSamplesAndLanes) {
    const std::uint64_t bits = Noise(1, Stream::tmr).bits(5, 0);
    EXPECT_NE(bits, Noise(2, Stream::tmr).bits(5, 0));
    EXPECT_NE(bits, Noise(1, Stream::gravity).bits(5, 0));
    EXPECT_NE(bits, Noise(1, Stream::tmr).bits(6, 0));
    EXPECT_NE(bits, Noise(1, Stream::tmr).bits(5, 1));
}

TEST(Noise, KeepsItsNumbersFromPlatformToPlatform) {
    const Noise noise(1, Stream::tmr);
    EXPECT_EQ(noise.bits(0), 17222828008347863336u);
    EXPECT_EQ(noise.bits(1), 1098972226936977856u);
}

TEST(Noise, IsEvenOverTheUnitInterval) {
    const Noise noise(3, Stream::tof_frame);
    constexpr int draws = 20000;
    double sum = 0;
    for (int i = 0; i < draws; ++i) {
        const double value = noise.uniform(i);
        ASSERT_GE(value, 0);
        ASSERT_LT(value, 1);
        sum += value;
    }
    EXPECT_NEAR(sum / draws, 0.5, 0.01);
}

TEST(Noise, HasTheMeanAndSpreadOfANormalDistribution) {
    const Noise noise(3, Stream::tof_frame);
    constexpr int draws = 20000;
    double sum = 0;
    double squares = 0;
    int within_one = 0;
    for (int i = 0; i < draws; ++i) {
        const double value = noise.gaussian(i);
        sum += value;
        squares += value * value;
        within_one += std::abs(value) < 1 ? 1 : 0;
    }
    EXPECT_NEAR(sum / draws, 0, 0.03);
    EXPECT_NEAR(std::sqrt(squares / draws), 1, 0.02);
    EXPECT_NEAR(static_cast<double>(within_one) / draws, 0.683, 0.015);
}

}  // namespace
}  // namespace vp
