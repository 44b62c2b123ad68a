#include "focusctrl/keystone_rectangle.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <limits>

namespace {

using ovra::WallPoint;
using Quadrilateral = ovra::Quadrilateral;

constexpr float nan = std::numeric_limits<float>::quiet_NaN();
constexpr float infinity = std::numeric_limits<float>::infinity();
constexpr bool upright = true;
constexpr bool turned_over = false;

// Twice as wide as high, so that the aspect 0.5 fits it exactly.
constexpr Quadrilateral box{{{-4, -2}, {4, -2}, {4, 2}, {-4, 2}}};

std::array<WallPoint, 4> crossings(const ovra::WallLine& diagonal, const Quadrilateral& picture) {
    std::array<WallPoint, 4> points{};
    ovra::edge_crossings(diagonal, ovra::edges_of(picture), points.data());
    return points;
}

TEST(DiagonalCrossing, IsTheMiddleOfARectangle) {
    const WallPoint c = ovra::diagonal_crossing({{{1, 1}, {9, 1}, {9, 5}, {1, 5}}});
    EXPECT_EQ(c.x, 5);
    EXPECT_EQ(c.z, 3);
}

TEST(DiagonalCrossing, IsNearerToTheShortEdgeOfATrapezoid) {
    const WallPoint c = ovra::diagonal_crossing({{{-4, 0}, {4, 0}, {2, 3}, {-2, 3}}});
    EXPECT_EQ(c.x, 0);
    EXPECT_EQ(c.z, 2);
}

TEST(EdgeCrossings, ComeInTheOrderNearFarRightLeft) {
    const ovra::WallLine rising{0.5F, 0};
    const auto points = crossings(rising, {{{-4, -1}, {4, -1}, {3, 1}, {-3, 1}}});
    EXPECT_FLOAT_EQ(points[0].x, -2);
    EXPECT_FLOAT_EQ(points[0].z, -1);
    EXPECT_FLOAT_EQ(points[1].x, 2);
    EXPECT_FLOAT_EQ(points[1].z, 1);
    EXPECT_FLOAT_EQ(points[2].x, 2.8F);  // x = 3.5 - z / 2
    EXPECT_FLOAT_EQ(points[2].z, 1.4F);
    EXPECT_FLOAT_EQ(points[3].x, -14.0F / 3);  // x = -3.5 + z / 2
    EXPECT_FLOAT_EQ(points[3].z, -7.0F / 3);
}

TEST(EdgeCrossings, TakeBothSidesAsUprightWhenTheRightOneIs) {
    const auto points = crossings({0.5F, 0}, {{{-4, -1}, {4, -1}, {4, 1}, {-3, 1}}});
    EXPECT_EQ(points[2].x, 4);
    EXPECT_EQ(points[2].z, 2);
    EXPECT_EQ(points[3].x, -4) << "the left side counts as upright through its first corner";
    EXPECT_EQ(points[3].z, -2);
}

TEST(EdgeCrossings, TakeBothSidesAsUprightWhenTheLeftOneIs) {
    const auto points = crossings({0.5F, 0}, {{{-4, -1}, {5, -1}, {3, 1}, {-4, 1}}});
    EXPECT_EQ(points[2].x, 5) << "the right side counts as upright through its first corner";
    EXPECT_EQ(points[3].x, -4);
}

TEST(NearestCrossing, IsTheFirstOfEquals) {
    ovra::Crossings crossings;
    crossings.fill({9, 0});
    crossings[2] = {3, 4};
    crossings[3] = {0, -5};
    crossings[6] = {5, 0};
    EXPECT_EQ(ovra::nearest_crossing(crossings, {0, 0}), 2U);
    crossings[0] = {4, 3};
    EXPECT_EQ(ovra::nearest_crossing(crossings, {0, 0}), 0U);
}

TEST(NearestCrossing, PassesOverLaterOnesThatAreNotANumber) {
    ovra::Crossings crossings;
    crossings.fill({nan, nan});
    crossings[0] = {9, 0};
    crossings[5] = {3, 0};
    EXPECT_EQ(ovra::nearest_crossing(crossings, {0, 0}), 5U);
}

TEST(NearestCrossing, DoesNotExistWhenTheFirstIsNotANumber) {
    ovra::Crossings crossings;
    crossings.fill({1, 1});
    crossings[0] = {nan, 0};
    EXPECT_EQ(ovra::nearest_crossing(crossings, {0, 0}), ovra::crossing_count);
}

TEST(NearestCrossing, MayBeInfinitelyFar) {
    ovra::Crossings crossings;
    crossings.fill({infinity, 0});
    EXPECT_EQ(ovra::nearest_crossing(crossings, {0, 0}), 0U);
}

TEST(WallDistance, DoesNotOverflowInTheSquare) {
    EXPECT_FLOAT_EQ(ovra::wall_distance({3e30F, 4e30F}, {0, 0}), 5e30F);
}

TEST(InscribedRectangle, IsThePictureWhenThatHasThePanelsShape) {
    const auto r = ovra::inscribed_rectangle(box, 0.5F, upright);
    EXPECT_EQ(r.column_14, -4);
    EXPECT_EQ(r.column_23, 4);
    EXPECT_EQ(r.row_12, -2);
    EXPECT_EQ(r.row_43, 2);
}

TEST(InscribedRectangle, TouchesTheSidesOfATallPicture) {
    const auto r = ovra::inscribed_rectangle({{{-4, -9}, {4, -9}, {4, 9}, {-4, 9}}}, 0.5F, upright);
    EXPECT_EQ(r.column_14, -4);
    EXPECT_EQ(r.row_43, 2);
}

TEST(InscribedRectangle, TouchesTheEdgesOfAWidePicture) {
    const auto r = ovra::inscribed_rectangle({{{-9, -1}, {9, -1}, {9, 1}, {-9, 1}}}, 0.5F, upright);
    EXPECT_EQ(r.column_14, -2);
    EXPECT_EQ(r.column_23, 2);
    EXPECT_EQ(r.row_12, -1);
    EXPECT_EQ(r.row_43, 1);
}

TEST(InscribedRectangle, TouchesWithACornerOfTheFallingDiagonalToo) {
    // The upper right corner is cut back: only the rising diagonal's end there moves, so the mirror image
    // must give the mirrored rectangle.
    const Quadrilateral right_cut{{{-4, -2}, {4, -2}, {2, 2}, {-4.5F, 2}}};
    const Quadrilateral left_cut{{{-4, -2}, {4, -2}, {4.5F, 2}, {-2, 2}}};
    const auto r = ovra::inscribed_rectangle(right_cut, 0.5F, upright);
    const auto l = ovra::inscribed_rectangle(left_cut, 0.5F, upright);
    EXPECT_FLOAT_EQ(r.column_14, -l.column_23);
    EXPECT_FLOAT_EQ(r.column_23, -l.column_14);
    EXPECT_FLOAT_EQ(r.row_12, l.row_12);
    EXPECT_FLOAT_EQ(r.row_43, l.row_43);
    EXPECT_NEAR(2 * (r.row_43 - r.row_12), r.column_23 - r.column_14, 1e-5) << "the panel's shape";
}

TEST(InscribedRectangle, HasItsFirstColumnAndRowAtTheSmallerCoordinatesBelowAQuarterTurn) {
    // A picture on its head: the roll says that it is upright, so the coordinates decide.
    const Quadrilateral on_its_head{{{4, 2}, {-4, 2}, {-4, -2}, {4, -2}}};
    const auto r = ovra::inscribed_rectangle(on_its_head, 0.5F, upright);
    EXPECT_EQ(r.column_14, -4);
    EXPECT_EQ(r.row_12, -2);
}

TEST(InscribedRectangle, HasItsFirstColumnAndRowNextToTheFirstSideAndEdgeBeyond) {
    const Quadrilateral on_its_head{{{4, 2}, {-4, 2}, {-4, -2}, {4, -2}}};
    const auto r = ovra::inscribed_rectangle(on_its_head, 0.5F, turned_over);
    EXPECT_EQ(r.column_14, 4);
    EXPECT_EQ(r.column_23, -4);
    EXPECT_EQ(r.row_12, 2);
    EXPECT_EQ(r.row_43, -2);
    const auto same = ovra::inscribed_rectangle(box, 0.5F, turned_over);
    EXPECT_EQ(same.column_14, -4);
    EXPECT_EQ(same.row_12, -2);
}

TEST(InscribedRectangle, IsAllZeroWhenAPictureHasNoCentre) {
    const auto r = ovra::inscribed_rectangle({{{infinity, 0}, {4, -2}, {4, 2}, {-4, 2}}}, 0.5F, upright);
    EXPECT_EQ(r.column_14, 0);
    EXPECT_EQ(r.column_23, 0);
    EXPECT_EQ(r.row_12, 0);
    EXPECT_EQ(r.row_43, 0);
}

}  // namespace
