#include "virtual_projector/world/picture.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>

#include "virtual_projector/world/vector.h"

namespace vp {
namespace {

constexpr Wall upright{0, 0.8};
constexpr PictureOptics standard{1.09, 0};

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
    double throw_px = standard.throw_ratio * panel_width;
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
    const PictureShape shape = picture_shape(tilted(0), upright, standard, Display{});
    EXPECT_NEAR(shape.left_side_deg, 0, 1e-9);
    EXPECT_NEAR(shape.right_side_deg, 0, 1e-9);
    EXPECT_NEAR(shape.edge_difference, 0, 1e-12);
    EXPECT_NEAR(shape.top_edge_mm, 1500 / standard.throw_ratio, 1e-6);
}

// The left and right edges of the panel are lines of sight with x = const: on the wall they run together at
// an angle whose tangent is sin(tilt) / (2 * throw ratio).
TEST(PictureShape, OfATiltedUnitAgreesWithTheClosedForm) {
    for (const double p : {-30.0, -12.0, 5.0, 12.0, 20.0, 30.0}) {
        const PictureShape shape = picture_shape(tilted(p), upright, standard, Display{});
        const double expected = degrees(std::atan(std::sin(radians(p)) / (2 * standard.throw_ratio)));
        EXPECT_NEAR(shape.right_side_deg, expected, 1e-9) << p;
        EXPECT_NEAR(shape.left_side_deg, -expected, 1e-9) << p;
        EXPECT_EQ(shape.edge_difference > 0, p > 0);
    }
}

TEST(PictureShape, TheEdgesDifferAsTheirDistances) {
    const double p = radians(12);
    const double half_height = panel_height / (2.0 * standard.throw_ratio * panel_width);
    const double ratio = (1 + half_height * std::tan(p)) / (1 - half_height * std::tan(p));
    EXPECT_NEAR(picture_shape(tilted(12), upright, standard, Display{}).edge_difference, ratio - 1, 1e-9);
}

TEST(PictureShape, ANarrowerTopSquaresAUnitThatIsTiltedUp) {
    const PictureShape shape = picture_shape(tilted(12), upright, standard, widths(1148, 1280));
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
        const PictureShape before = picture_shape(tilted(angle), upright, standard, Display{});
        const PictureShape after =
            picture_shape(tilted(angle), upright, standard, widths(computed.top, computed.bottom));
        EXPECT_LE(after.worst_side_deg(), bound) << angle;
        EXPECT_LT(after.worst_side_deg(), before.worst_side_deg()) << angle;
    }
}

TEST(PictureShape, FromTheCeilingThePanelsBottomIsTheOneToNarrow) {
    EXPECT_LT(picture_shape(tilted(12, 2), upright, standard, widths(1280, 1148)).worst_side_deg(), 0.1);
}

TEST(PictureShape, ARollLeansBothSidesAlike) {
    const PictureShape shape = picture_shape({1500, 0, 0, 3, 0}, upright, standard, Display{});
    EXPECT_NEAR(shape.left_side_deg, -3, 1e-9);
    EXPECT_NEAR(shape.right_side_deg, -3, 1e-9);
}

TEST(PictureShape, OfAUnitOnItsSideIsLookedAtWithTheHeadTurned) {
    for (const double mounting : {1.0, 2.0, 3.0}) {
        const PictureShape shape = picture_shape({1500, 0, 0, 0, mounting}, upright, standard, Display{});
        EXPECT_NEAR(shape.worst_side_deg(), 0, 1e-9) << mounting;
    }
}

TEST(PictureShape, OnACeilingThatIsSquarelyFacedIsARectangle) {
    const PictureShape shape = picture_shape({1500, 90, 0, 0, 0}, {90, 0.8}, standard, Display{});
    EXPECT_NEAR(shape.worst_side_deg(), 0, 1e-9);
}

// The panel's upper edge is a line of sight with the height h by the distance; on the wall it climbs by
// h sin(yaw). The sides lie at the distances at which their lines of sight meet the wall.
TEST(PictureShape, OfATurnedUnitAgreesWithTheClosedForm) {
    const double half_width = 1 / (2 * standard.throw_ratio);
    const double half_height = half_width * panel_height / panel_width;
    for (const double yaw_deg : {-35.0, -20.0, 5.0, 20.0}) {
        const PictureShape shape = picture_shape({1500, 0, yaw_deg, 0, 0}, upright, standard, Display{});
        const double yaw = radians(yaw_deg);
        const double slope_deg = degrees(std::atan(half_height * std::sin(yaw)));
        EXPECT_NEAR(shape.top_edge_deg, slope_deg, 1e-9);
        EXPECT_NEAR(shape.bottom_edge_deg, -slope_deg, 1e-9);
        EXPECT_NEAR(shape.worst_side_deg(), 0, 1e-9);
        EXPECT_NEAR(shape.worst_edge_deg(), std::abs(slope_deg), 1e-9);
        const double left_by_right =
            (std::cos(yaw) - half_width * std::sin(yaw)) / (std::cos(yaw) + half_width * std::sin(yaw));
        EXPECT_NEAR(shape.side_difference, left_by_right - 1, 1e-9);
    }
    EXPECT_NEAR(picture_shape({1500, 0, 20, 0, 0}, upright, standard, Display{}).side_difference, -0.286, 5e-4);
}

TEST(PictureShape, ARollTurnsTheEdgesFromLevel) {
    const PictureShape shape = picture_shape({1500, 0, 0, 3, 0}, upright, standard, Display{});
    EXPECT_NEAR(shape.top_edge_deg, 3, 1e-9);
    EXPECT_NEAR(shape.bottom_edge_deg, 3, 1e-9);
    EXPECT_NEAR(shape.worst_edge_deg(), 3, 1e-9);
}

TEST(PictureShape, TellsItsCornersOnTheWallAndTheirDistances) {
    const double half_height_mm = 1500 / standard.throw_ratio * panel_height / panel_width / 2;
    const double half_width_mm = 1500 / standard.throw_ratio / 2;
    const PictureShape level = picture_shape(tilted(0), upright, standard, Display{});
    const double expected[4][2] = {{-half_width_mm, half_height_mm},
                                   {half_width_mm, half_height_mm},
                                   {half_width_mm, -half_height_mm},
                                   {-half_width_mm, -half_height_mm}};
    for (std::size_t i = 0; i < 4; ++i) {
        EXPECT_NEAR(level.corners[i].x_mm, expected[i][0], 1e-9) << i;
        EXPECT_NEAR(level.corners[i].z_mm, expected[i][1], 1e-9) << i;
        EXPECT_NEAR(level.corners[i].axial_mm, 1500, 1e-9) << i;
    }
    // Tilted up by p a line of sight with the height h by the distance is as long as 1 / (1 - h tan p).
    const double h = half_height_mm / 1500;
    const PictureShape up = picture_shape(tilted(12), upright, standard, Display{});
    EXPECT_NEAR(up.corners[0].axial_mm, 1500 / (1 - h * std::tan(radians(12))), 1e-9);
    EXPECT_NEAR(up.corners[3].axial_mm, 1500 / (1 + h * std::tan(radians(12))), 1e-9);
}

TEST(PictureShape, LiesAboveTheAxisByItsOffset) {
    const PictureOptics raised{1.09, 0.5};
    const PictureShape shape = picture_shape(tilted(0), upright, raised, Display{});
    EXPECT_NEAR(shape.corners[0].z_mm, 1500 / 1.09 * panel_height / panel_width, 1e-9);
    EXPECT_NEAR(shape.corners[3].z_mm, 0, 1e-9);
}

TEST(PictureShape, IsAsWideAsItsThrowRatioSays) {
    EXPECT_NEAR(picture_shape(tilted(0), upright, {1.5, 0}, Display{}).top_edge_mm, 1000, 1e-9);
}

TEST(LightUsed, IsTheShareOfThePanelThatTheTrapezoidKeeps) {
    EXPECT_DOUBLE_EQ(light_used(Display{}), 1);
    EXPECT_DOUBLE_EQ(light_used(widths(640, 1280)), 0.75);
}

TEST(PictureShape, SaysWhenACornerMissesTheWall) {
    EXPECT_FALSE(picture_shape(tilted(85), upright, standard, Display{}).is_on_wall);
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
