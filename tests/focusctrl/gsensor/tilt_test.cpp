#include "focusctrl/gsensor/tilt.h"

#include <gtest/gtest.h>

#include <cmath>

namespace {

using ovra::Axes;
using ovra::keystone_angles;
using ovra::tilt_degrees;

void expect_axes(const Axes& axes, float x, float y, float z) {
    EXPECT_FLOAT_EQ(axes.x, x);
    EXPECT_FLOAT_EQ(axes.y, y);
    EXPECT_FLOAT_EQ(axes.z, z);
}

// --- The elevation of each axis ---------------------------------------------------------------------------

TEST(TiltDegrees, IsNinetyForTheAxisThatPointsUp) {
    expect_axes(tilt_degrees({1, 0, 0}), 90, 0, 0);
    expect_axes(tilt_degrees({0, 1, 0}), 0, 90, 0);
    expect_axes(tilt_degrees({0, 0, 1}), 0, 0, 90);
}

TEST(TiltDegrees, IsExactlyNinetyAndNotTheNextFloat) { EXPECT_EQ(tilt_degrees({0, 0, 1}).z, 90.0F); }

TEST(TiltDegrees, IsNegativeForTheAxisThatPointsDown) {
    expect_axes(tilt_degrees({-1, 0, 0}), -90, 0, 0);
    expect_axes(tilt_degrees({0, -9.81F, 0}), 0, -90, 0);
    expect_axes(tilt_degrees({0, 0, -0.5F}), 0, 0, -90);
}

TEST(TiltDegrees, IsTheSameOnEachAxisForAVectorInTheMiddle) {
    expect_axes(tilt_degrees({1, 1, 1}), 35.26439F, 35.26439F, 35.26439F);
}

TEST(TiltDegrees, DoesNotDependOnTheLength) {
    const Axes one = tilt_degrees({0.1F, -0.2F, 0.3F});
    expect_axes(tilt_degrees({100, -200, 300}), one.x, one.y, one.z);
}

TEST(TiltDegrees, MeasuresEachAxisAgainstTheTwoOthers) {
    expect_axes(tilt_degrees({3, 4, 12}), 13.342364F, 17.920214F, 67.38014F);
}

TEST(TiltDegrees, IsNotANumberWithoutGravity) {
    const Axes tilt = tilt_degrees({0, 0, 0});
    EXPECT_TRUE(std::isnan(tilt.x));
    EXPECT_TRUE(std::isnan(tilt.y));
    EXPECT_TRUE(std::isnan(tilt.z));
}

// --- The keystone angles ----------------------------------------------------------------------------------

TEST(VerticalLean, IsTheYAngleOnATable) { EXPECT_EQ(keystone_angles({0, 10, 50}).vertical, 10); }

TEST(VerticalLean, IsTheYAngleAlsoUnderACeiling) { EXPECT_EQ(keystone_angles({0, 10, -50}).vertical, 10); }

TEST(VerticalLean, IsTheNegatedZAngleWithTheLensDown) { EXPECT_EQ(keystone_angles({0, 50, 20}).vertical, -20); }

TEST(VerticalLean, IsTheZAngleWithTheLensUp) { EXPECT_EQ(keystone_angles({0, -50, 30}).vertical, 30); }

TEST(VerticalLean, IsTheYAngleWhenNoAxisIsUpright) {
    EXPECT_EQ(keystone_angles({80, 10, 10}).vertical, 10);
    EXPECT_EQ(keystone_angles({0, -39, 45}).vertical, -39);
}

TEST(VerticalLean, CountsAnAxisAsUprightAbove45Point6Degrees) {
    constexpr float bound = 45.6F;
    const float beyond = std::nextafter(bound, 90.0F);
    // At the bound y decides and is limited; beyond it z does.
    EXPECT_EQ(keystone_angles({0, bound, 20}).vertical, 40.01F);
    EXPECT_EQ(keystone_angles({0, beyond, 20}).vertical, -20);
    EXPECT_EQ(keystone_angles({0, -bound, 30}).vertical, -40.01F);
    EXPECT_EQ(keystone_angles({0, -beyond, 30}).vertical, 30);
    // With z beyond the bound y decides, however large it is.
    EXPECT_EQ(keystone_angles({0, beyond, bound}).vertical, -40.01F);
    EXPECT_EQ(keystone_angles({0, beyond, beyond}).vertical, 40.01F);
}

TEST(VerticalLean, IsLimitedTo40Point01Degrees) {
    EXPECT_EQ(keystone_angles({0, 40.0F, 50}).vertical, 40.0F);
    EXPECT_EQ(keystone_angles({0, 40.01F, 50}).vertical, 40.01F);
    EXPECT_EQ(keystone_angles({0, 40.02F, 50}).vertical, 40.01F);
    EXPECT_EQ(keystone_angles({0, -40.0F, 50}).vertical, -40.0F);
    EXPECT_EQ(keystone_angles({0, -40.01F, 50}).vertical, -40.01F);
    EXPECT_EQ(keystone_angles({0, -40.02F, 50}).vertical, -40.01F);
}

TEST(HorizontalLean, IsTheXAngleOnATable) {
    EXPECT_EQ(keystone_angles({12, 0, 60}).horizontal, 12);
    EXPECT_EQ(keystone_angles({12, 0, 0}).horizontal, 12);
}

TEST(HorizontalLean, ChangesItsSignUnderACeiling) {
    EXPECT_EQ(keystone_angles({12, 0, -60}).horizontal, -12);
    EXPECT_EQ(keystone_angles({-12, 0, -0.1F}).horizontal, 12);
}

TEST(HorizontalLean, IsZeroWithTheLensUpOrDown) {
    constexpr float bound = 45.6F;
    const float beyond = std::nextafter(bound, 90.0F);
    EXPECT_EQ(keystone_angles({12, bound, 10}).horizontal, 12);
    EXPECT_EQ(keystone_angles({12, beyond, 10}).horizontal, 0);
    EXPECT_EQ(keystone_angles({12, -bound, 10}).horizontal, 12);
    EXPECT_EQ(keystone_angles({12, -beyond, 10}).horizontal, 0);
    EXPECT_EQ(keystone_angles({12, -50, 30}).horizontal, 0);
}

TEST(HorizontalLean, IsLimitedTo40Point01Degrees) {
    EXPECT_EQ(keystone_angles({60, 0, 10}).horizontal, 40.01F);
    EXPECT_EQ(keystone_angles({60, 0, -10}).horizontal, -40.01F);
    EXPECT_EQ(keystone_angles({-40.0F, 0, 10}).horizontal, -40.0F);
}

}  // namespace
