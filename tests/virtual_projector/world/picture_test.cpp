#include "virtual_projector/world/picture.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>

#include "virtual_projector/world/vector.h"

namespace vp {
namespace {

constexpr Wall upright{0, 0.8};

Pose tilted(double pitch, double mounting = 0) { return {1500, pitch, 0, 0, mounting}; }

Display widths(int top, int bottom) {
    Display display;
    display.top_width = top;
    display.bottom_width = bottom;
    return display;
}

// --- The projector's own keystone computation, written down once more from its geometry ----------------
//
// A unit tilted by v: its panel is a plane with the image's vertical along w, seen in the plane of the room
// that holds the optical axis. Lengths in pixels; the wall is y = 0.
struct Widths {
    int top;
    int bottom;
};

struct Corner {
    double x;
    double z;
};

struct TiltedPanel {
    double v;
    double throw_px = throw_ratio * panel_width;
    double edge = -panel_height * 0.5 * std::cos(v);  // where the panel's first edge lies along its vertical

    Corner to_wall(double x, double along) const {
        const double lens_y = throw_px * std::cos(v);
        const double lens_z = -throw_px * std::sin(v);
        const double t = lens_y / (lens_y - along * std::sin(v));
        const double centre = panel_width / 2.0;
        return {(x - centre) * t + centre, (along * std::cos(v) - lens_z) * t + lens_z};
    }

    // Back from the wall: the same lines of sight, cut with the panel's plane.
    Corner to_panel(const Corner& wall) const {
        const double lens_y = throw_px * std::cos(v);
        const double lens_z = -throw_px * std::sin(v);
        const double dz = wall.z - lens_z;
        const double axis = lens_y * std::cos(v) + dz * std::sin(v);
        const double t = throw_px / axis;
        const double centre = panel_width / 2.0;
        const double z = lens_z + dz * t;
        const double y = lens_y - lens_y * t;
        return {(wall.x - centre) * t + centre, y * std::sin(v) + z * std::cos(v)};
    }
};

// The picture on the wall is a trapezoid with level edges, symmetric about the panel's middle. The largest
// upright rectangle of the panel's shape about the crossing of its diagonals reaches, along its own diagonal,
// either a level edge or a side.
Corner rectangle_half(const Corner& far_corner, const Corner& near_corner, double crossing_z) {
    const double middle = panel_width / 2.0;
    const double aspect = static_cast<double>(panel_height) / panel_width;
    const double to_edge =
        std::min(std::abs(far_corner.z - crossing_z), std::abs(near_corner.z - crossing_z)) / aspect;
    const double slope = (far_corner.x - near_corner.x) / (far_corner.z - near_corner.z);
    const double side_at_crossing = std::abs(near_corner.x + slope * (crossing_z - near_corner.z) - middle);
    const double narrowing = std::abs(slope) * aspect;
    const double to_side = side_at_crossing / (1 + narrowing);
    const double half = std::min(to_edge, to_side);
    return {half, half * aspect};
}

Widths computed_widths(double angle_deg) {
    const TiltedPanel panel{radians(angle_deg)};
    const double height = panel_height;
    const Corner p1 = panel.to_wall(0, panel.edge);
    const Corner p4 = panel.to_wall(0, panel.edge + height);
    const double half1 = panel_width / 2.0 - p1.x;
    const double half4 = panel_width / 2.0 - p4.x;
    const double crossing = p1.z + (p4.z - p1.z) * half1 / (half1 + half4);
    const Corner half = rectangle_half(p4, p1, crossing);
    const Corner top_left = panel.to_panel({panel_width / 2.0 - half.x, crossing - half.z});
    const Corner bottom_left = panel.to_panel({panel_width / 2.0 - half.x, crossing + half.z});
    const double tl_x = top_left.x;
    const double tl_y = top_left.z - panel.edge;
    const double br_x = bottom_left.x;
    const double br_y = panel.edge + height - bottom_left.z;
    const double between = height - br_y - tl_y;
    if (br_x < 1) return {panel_width, static_cast<int>(panel_width - 2 * (tl_x * (height - br_y) / between))};
    return {static_cast<int>(panel_width - 2 * (br_x * (height - tl_y) / between)), panel_width};
}

// -------------------------------------------------------------------------------------------------------

TEST(PictureShape, OfALevelUnitIsARectangle) {
    const PictureShape shape = picture_shape(tilted(0), upright, Display{});
    EXPECT_NEAR(shape.left_side_deg, 0, 1e-9);
    EXPECT_NEAR(shape.right_side_deg, 0, 1e-9);
    EXPECT_NEAR(shape.edge_difference, 0, 1e-12);
    EXPECT_NEAR(shape.top_edge_mm, 1500 / throw_ratio, 1e-6);
}

// The left and right edges of the panel are lines of sight with x = const: on the wall they run together at
// an angle whose tangent is sin(tilt) / (2 * throw ratio).
TEST(PictureShape, OfATiltedUnitAgreesWithTheClosedForm) {
    for (const double p : {-30.0, -12.0, 5.0, 12.0, 20.0, 30.0}) {
        const PictureShape shape = picture_shape(tilted(p), upright, Display{});
        const double expected = degrees(std::atan(std::sin(radians(p)) / (2 * throw_ratio)));
        EXPECT_NEAR(shape.right_side_deg, expected, 1e-9) << p;
        EXPECT_NEAR(shape.left_side_deg, -expected, 1e-9) << p;
        EXPECT_EQ(shape.edge_difference > 0, p > 0);
    }
}

TEST(PictureShape, TheEdgesDifferAsTheirDistances) {
    const double p = radians(12);
    const double half_height = panel_height / (2.0 * throw_ratio * panel_width);
    const double ratio = (1 + half_height * std::tan(p)) / (1 - half_height * std::tan(p));
    EXPECT_NEAR(picture_shape(tilted(12), upright, Display{}).edge_difference, ratio - 1, 1e-9);
}

TEST(PictureShape, ANarrowerTopSquaresAUnitThatIsTiltedUp) {
    const PictureShape shape = picture_shape(tilted(12), upright, widths(1148, 1280));
    EXPECT_LT(shape.worst_side_deg(), 0.1);
    EXPECT_NEAR(shape.edge_difference, 0, 0.002);
}

TEST(PictureShape, TheProjectorsOwnWidthsAreThoseOfItsGeometry) {
    EXPECT_EQ(computed_widths(12).top, 1148);
    EXPECT_EQ(computed_widths(12).bottom, 1280);
    EXPECT_EQ(computed_widths(-12).top, 1280);
    EXPECT_EQ(computed_widths(-12).bottom, 1148);
}

TEST(PictureShape, IsSquaredByTheProjectorsOwnWidths) {
    for (int angle = -30; angle <= 30; ++angle) {
        if (angle == 0) continue;
        const Widths computed = computed_widths(angle);
        const double bound = std::abs(angle) <= 20 ? 0.3 : 0.9;
        const PictureShape before = picture_shape(tilted(angle), upright, Display{});
        const PictureShape after = picture_shape(tilted(angle), upright, widths(computed.top, computed.bottom));
        EXPECT_LE(after.worst_side_deg(), bound) << angle;
        EXPECT_LT(after.worst_side_deg(), before.worst_side_deg()) << angle;
    }
}

TEST(PictureShape, FromTheCeilingThePanelsBottomIsTheOneToNarrow) {
    EXPECT_LT(picture_shape(tilted(12, 2), upright, widths(1280, 1148)).worst_side_deg(), 0.1);
}

TEST(PictureShape, ARollLeansBothSidesAlike) {
    const PictureShape shape = picture_shape({1500, 0, 0, 3, 0}, upright, Display{});
    EXPECT_NEAR(shape.left_side_deg, -3, 1e-9);
    EXPECT_NEAR(shape.right_side_deg, -3, 1e-9);
}

TEST(PictureShape, OfAUnitOnItsSideIsLookedAtWithTheHeadTurned) {
    for (const double mounting : {1.0, 2.0, 3.0}) {
        const PictureShape shape = picture_shape({1500, 0, 0, 0, mounting}, upright, Display{});
        EXPECT_NEAR(shape.worst_side_deg(), 0, 1e-9) << mounting;
    }
}

TEST(PictureShape, OnACeilingThatIsSquarelyFacedIsARectangle) {
    const PictureShape shape = picture_shape({1500, 90, 0, 0, 0}, {90, 0.8}, Display{});
    EXPECT_NEAR(shape.worst_side_deg(), 0, 1e-9);
}

TEST(PictureShape, SaysWhenACornerMissesTheWall) {
    EXPECT_FALSE(picture_shape(tilted(85), upright, Display{}).is_on_wall);
}

TEST(ViewersPicture, HdmiIsUprightOnATableWithTheInputTurnedTwice) {
    Display display;
    EXPECT_STREQ(turn_in_words(hdmi_picture_turn_deg(tilted(0), display)), "upright");
    display.hdmi_rotation = 0;
    EXPECT_STREQ(turn_in_words(hdmi_picture_turn_deg(tilted(0), display)), "upside down");
}

TEST(ViewersPicture, HdmiIsUprightFromTheCeilingWithTheInputNotTurned) {
    Display display;
    EXPECT_STREQ(turn_in_words(hdmi_picture_turn_deg(tilted(0, 2), display)), "upside down");
    display.hdmi_rotation = 0;
    EXPECT_STREQ(turn_in_words(hdmi_picture_turn_deg(tilted(0, 2), display)), "upright");
}

TEST(ViewersPicture, TheMenuIsUprightWhenItIsTurnedAsTheUnit) {
    for (const int quarters : {0, 1, 3}) {
        Display display;
        EXPECT_EQ(menu_turn_deg(tilted(0, quarters), display), 90 * quarters);
        display.rotation = quarters;
        EXPECT_EQ(menu_turn_deg(tilted(0, quarters), display), 0);
    }
}

TEST(ViewersPicture, TurnsHaveWords) {
    EXPECT_STREQ(turn_in_words(90), "turned left");
    EXPECT_STREQ(turn_in_words(270), "turned right");
}

}  // namespace
}  // namespace vp
