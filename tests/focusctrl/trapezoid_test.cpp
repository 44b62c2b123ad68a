#include "focusctrl/trapezoid.h"

#include <gtest/gtest.h>

namespace {

using ovra::Trapezoid;

constexpr int32_t bottom_up = 0;  // widens the bottom, or narrows the top
constexpr int32_t top_up = 1;

void expect_widths(const Trapezoid& t, int32_t top, int32_t bottom) {
    EXPECT_EQ(t.top, top);
    EXPECT_EQ(t.bottom, bottom);
}

TEST(Trapezoid, OverflowsWhenAnEdgeHasNoWidth) {
    EXPECT_TRUE(ovra::overflows({0, 1}));
    EXPECT_TRUE(ovra::overflows({1, 0}));
    EXPECT_TRUE(ovra::overflows({1280, -5}));
    EXPECT_FALSE(ovra::overflows({1, 1}));
}

TEST(Trapezoid, IsTooSmallBelow690Pixels) {
    EXPECT_FALSE(ovra::too_small({690, 690}));
    EXPECT_TRUE(ovra::too_small({689, 690}));
    EXPECT_TRUE(ovra::too_small({690, 689}));
}

TEST(Trapezoid, IsCutToThePanel) {
    expect_widths(ovra::limited_to({1300, 700}, 1280), 1280, 700);
    expect_widths(ovra::limited_to({1280, 1281}, 1280), 1280, 1280);
    expect_widths(ovra::limited_to({700, 800}, -1), -1, -1);
}

TEST(Trapezoid, WidensOnlyWhenNeitherEdgeGetsNarrower) {
    EXPECT_TRUE(ovra::widens_or_stays({1000, 1000}, {-1, -1}));
    EXPECT_TRUE(ovra::widens_or_stays({1000, 1000}, {1000, 1000}));
    EXPECT_FALSE(ovra::widens_or_stays({999, 1280}, {1000, 1000}));
    EXPECT_FALSE(ovra::widens_or_stays({1280, 999}, {1000, 1000}));
}

TEST(TrapezoidStep, NarrowsTheTopOfAFullPicture) {
    expect_widths(ovra::stepped({1280, 1280}, bottom_up, 10), 1270, 1280);
}

TEST(TrapezoidStep, NarrowsTheBottomOfAFullPicture) {
    expect_widths(ovra::stepped({1280, 1280}, top_up, 10), 1280, 1270);
}

TEST(TrapezoidStep, WidensTheNarrowBottomFirst) {
    expect_widths(ovra::stepped({1280, 1200}, bottom_up, 10), 1280, 1210);
}

TEST(TrapezoidStep, WidensTheNarrowTopFirst) {
    expect_widths(ovra::stepped({1200, 1280}, top_up, 10), 1210, 1280);
}

TEST(TrapezoidStep, NarrowsTheNarrowEdgeFurther) {
    expect_widths(ovra::stepped({1200, 1280}, bottom_up, 10), 1190, 1280);
    expect_widths(ovra::stepped({1280, 1200}, top_up, 10), 1280, 1190);
}

TEST(TrapezoidStep, StopsAtTheWideEdge) {
    expect_widths(ovra::stepped({1280, 1275}, bottom_up, 10), 1280, 1280);
    expect_widths(ovra::stepped({1275, 1280}, top_up, 10), 1280, 1280);
    expect_widths(ovra::stepped({1280, 1270}, bottom_up, 10), 1280, 1280);
}

TEST(TrapezoidStep, StopsAt320Pixels) {
    expect_widths(ovra::stepped({325, 1280}, bottom_up, 10), 320, 1280);
    expect_widths(ovra::stepped({1280, 325}, top_up, 10), 1280, 320);
    expect_widths(ovra::stepped({330, 1280}, bottom_up, 10), 320, 1280);
    expect_widths(ovra::stepped({331, 1280}, bottom_up, 10), 321, 1280);
}

TEST(TrapezoidStep, LeavesTheWidthsInAnyOtherDirection) {
    expect_widths(ovra::stepped({900, 1280}, 2, 10), 900, 1280);
    expect_widths(ovra::stepped({900, 1280}, -1, 10), 900, 1280);
}

TEST(TrapezoidStep, WrapsAroundIn16Bits) {
    // 1200 + 32000 is 33200, which is -32336 in 16 bits: below the wide edge, so it stands.
    expect_widths(ovra::stepped({1280, 1200}, bottom_up, 32000), 1280, -32336);
    // 1280 - 65000 is -63720, which is 1816 in 16 bits.
    expect_widths(ovra::stepped({1280, 1280}, bottom_up, 65000), 1816, 1280);
    expect_widths(ovra::stepped({1280, 1280}, top_up, 65536 + 10), 1280, 1270);
}

TEST(TrapezoidStep, TakesANegativeStepAsItIs) {
    expect_widths(ovra::stepped({1280, 1200}, bottom_up, -10), 1280, 1190);
    expect_widths(ovra::stepped({1280, 1280}, bottom_up, -10), 1290, 1280);
}

}  // namespace
