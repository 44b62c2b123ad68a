#include "focusctrl/gsensor/keystone_step.h"

#include <gtest/gtest.h>

#include <optional>

namespace {

using ovra::choose_keystone_step;
using ovra::KeystoneStep;
using ovra::tolerance_mm;

TEST(DistanceTolerance, GrowsWithTheDistance) {
    EXPECT_EQ(tolerance_mm(0), 5);
    EXPECT_EQ(tolerance_mm(1000), 5);
    EXPECT_EQ(tolerance_mm(1001), 8);
    EXPECT_EQ(tolerance_mm(2000), 8);
    EXPECT_EQ(tolerance_mm(2001), 10);
    EXPECT_EQ(tolerance_mm(3059), 10);
}

TEST(DistanceTolerance, EndsAtTheSensorsRange) {
    EXPECT_EQ(tolerance_mm(3060), std::nullopt);
    EXPECT_EQ(tolerance_mm(65535), std::nullopt);
}

TEST(KeystoneStep, CountsAReadingWithinTheTolerance) {
    EXPECT_EQ(choose_keystone_step(1500, 1508, 8, 1000), KeystoneStep::count_steady);
    EXPECT_EQ(choose_keystone_step(1508, 1500, 8, 1000), KeystoneStep::count_steady);
    EXPECT_EQ(choose_keystone_step(1500, 1500, 8, 1000), KeystoneStep::count_steady);
}

TEST(KeystoneStep, CorrectsWhenTheDistanceChanged) {
    EXPECT_EQ(choose_keystone_step(1500, 1509, 8, 1000), KeystoneStep::correct);
    EXPECT_EQ(choose_keystone_step(1509, 1500, 8, 1000), KeystoneStep::correct);
}

TEST(KeystoneStep, AlwaysCorrectsInTheFirstSecond) {
    EXPECT_EQ(choose_keystone_step(1500, 1500, 8, 999), KeystoneStep::correct);
    EXPECT_EQ(choose_keystone_step(1500, 1500, 8, 0), KeystoneStep::correct);
    EXPECT_EQ(choose_keystone_step(1500, 1500, 8, -5), KeystoneStep::correct);
}

}  // namespace
