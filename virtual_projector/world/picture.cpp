#include "virtual_projector/world/picture.h"

#include <algorithm>
#include <cmath>

#include "virtual_projector/world/wall.h"

namespace vp {
namespace {

constexpr double quarter_turn_deg = 90;
constexpr int full_turn_deg = 360;

// The wall's own axes, turned with the unit's mounting so that the picture stands on its foot.
struct WallAxes {
    Vec3 right;
    Vec3 up;
};

WallAxes wall_axes(const Pose& pose, const Wall& wall) {
    const double lean = radians(wall.lean_deg);
    const double turned = radians(quarter_turn_deg * pose.mounting);
    const Vec3 right{1, 0, 0};
    const Vec3 up{0, -std::sin(lean), std::cos(lean)};
    return {std::cos(turned) * right + std::sin(turned) * up, std::cos(turned) * up - std::sin(turned) * right};
}

// Pixels from the panel's centre.
struct PanelPoint {
    double x;
    double z;
};

bool project(const Pose& pose, const Wall& wall, const PictureOptics& optics, const PanelPoint& pixel,
             PictureCorner& out) {
    const double throw_pixels = optics.throw_ratio * panel_width;
    const double x = pixel.x / throw_pixels;
    const double z = (pixel.z + optics.offset_up * panel_height) / throw_pixels;
    const double y_mm = axial_distance_mm(wall_direction(pose, wall), pose.distance_mm, x, z);
    if (!std::isfinite(y_mm)) return false;
    const Vec3 in_room = unit_orientation(pose).to_room({x * y_mm, y_mm, z * y_mm});
    const WallAxes axes = wall_axes(pose, wall);
    out = {dot(in_room, axes.right), dot(in_room, axes.up), y_mm};
    return true;
}

double from_upright_deg(const PictureCorner& foot, const PictureCorner& head) {
    return degrees(std::atan2(head.x_mm - foot.x_mm, head.z_mm - foot.z_mm));
}

double from_level_deg(const PictureCorner& left, const PictureCorner& right) {
    return degrees(std::atan2(right.z_mm - left.z_mm, right.x_mm - left.x_mm));
}

double length(const PictureCorner& a, const PictureCorner& b) {
    return std::hypot(b.x_mm - a.x_mm, b.z_mm - a.z_mm);
}

int nearest_quarter_deg(double angle_deg) {
    const int quarters = static_cast<int>(std::lround(angle_deg / quarter_turn_deg));
    return ((quarters % 4 + 4) % 4) * static_cast<int>(quarter_turn_deg);
}

double unit_turn_deg(const Pose& pose) { return pose.roll_deg + quarter_turn_deg * pose.mounting; }

}  // namespace

double PictureShape::worst_side_deg() const {
    return std::max(std::abs(left_side_deg), std::abs(right_side_deg));
}

double PictureShape::worst_edge_deg() const {
    return std::max({worst_side_deg(), std::abs(top_edge_deg), std::abs(bottom_edge_deg)});
}

PictureShape picture_shape(const Pose& pose, const Wall& wall, const PictureOptics& optics,
                           const Display& display) {
    const double top = display.top_width / 2.0;
    const double bottom = display.bottom_width / 2.0;
    const double half_height = panel_height / 2.0;
    PictureShape shape;
    auto& [top_left, top_right, bottom_right, bottom_left] = shape.corners;
    const bool is_on_wall = project(pose, wall, optics, {-top, half_height}, top_left) &&
                            project(pose, wall, optics, {top, half_height}, top_right) &&
                            project(pose, wall, optics, {-bottom, -half_height}, bottom_left) &&
                            project(pose, wall, optics, {bottom, -half_height}, bottom_right);
    if (!is_on_wall) {
        shape = {};
        shape.is_on_wall = false;
        return shape;
    }
    shape.left_side_deg = from_upright_deg(bottom_left, top_left);
    shape.right_side_deg = from_upright_deg(bottom_right, top_right);
    shape.top_edge_mm = length(top_left, top_right);
    shape.bottom_edge_mm = length(bottom_left, bottom_right);
    shape.edge_difference = shape.top_edge_mm / shape.bottom_edge_mm - 1;
    shape.top_edge_deg = from_level_deg(top_left, top_right);
    shape.bottom_edge_deg = from_level_deg(bottom_left, bottom_right);
    shape.side_difference = length(bottom_left, top_left) / length(bottom_right, top_right) - 1;
    return shape;
}

double light_used(const Display& display) {
    return (display.top_width + display.bottom_width) / (2.0 * panel_width);
}

int hdmi_picture_turn_deg(const Pose& pose, const Display& display) {
    const int compensated = display.hdmi_rotation == 2 ? 0 : full_turn_deg / 2;
    return (nearest_quarter_deg(unit_turn_deg(pose)) + compensated) % full_turn_deg;
}

// A rotation of the menu by one quarter turns it clockwise, against the unit's turn.
int menu_turn_deg(const Pose& pose, const Display& display) {
    return nearest_quarter_deg(unit_turn_deg(pose) - quarter_turn_deg * display.rotation);
}

const char* turn_in_words(int turn_deg) {
    switch (turn_deg) {
        case 0:
            return "upright";
        case 90:
            return "turned left";
        case 180:
            return "upside down";
        default:
            return "turned right";
    }
}

}  // namespace vp
