#include "virtual_projector/world/picture.h"

#include <algorithm>
#include <cmath>

#include "virtual_projector/world/wall.h"

namespace vp {
namespace {

constexpr double quarter_turn_deg = 90;
constexpr int full_turn_deg = 360;

struct WallPoint {
    double x = 0;  // to the right
    double z = 0;  // up along the wall
};

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

// Pixels from the panel's centre, which lies on the optical axis.
struct PanelPoint {
    double x;
    double z;
};

bool project(const Pose& pose, const Wall& wall, const PanelPoint& pixel, WallPoint& out) {
    const double throw_pixels = throw_ratio * panel_width;
    const double x = pixel.x / throw_pixels;
    const double z = pixel.z / throw_pixels;
    const double y_mm = axial_distance_mm(wall_direction(pose, wall), pose.distance_mm, x, z);
    if (!std::isfinite(y_mm)) return false;
    const Vec3 in_room = unit_orientation(pose).to_room({x * y_mm, y_mm, z * y_mm});
    const WallAxes axes = wall_axes(pose, wall);
    out = {dot(in_room, axes.right), dot(in_room, axes.up)};
    return true;
}

double from_upright_deg(const WallPoint& foot, const WallPoint& head) {
    return degrees(std::atan2(head.x - foot.x, head.z - foot.z));
}

double length(const WallPoint& a, const WallPoint& b) { return std::hypot(b.x - a.x, b.z - a.z); }

int nearest_quarter_deg(double angle_deg) {
    const int quarters = static_cast<int>(std::lround(angle_deg / quarter_turn_deg));
    return ((quarters % 4 + 4) % 4) * static_cast<int>(quarter_turn_deg);
}

double unit_turn_deg(const Pose& pose) { return pose.roll_deg + quarter_turn_deg * pose.mounting; }

}  // namespace

double PictureShape::worst_side_deg() const {
    return std::max(std::abs(left_side_deg), std::abs(right_side_deg));
}

PictureShape picture_shape(const Pose& pose, const Wall& wall, const Display& display) {
    const double top = display.top_width / 2.0;
    const double bottom = display.bottom_width / 2.0;
    const double half_height = panel_height / 2.0;
    WallPoint top_left, top_right, bottom_left, bottom_right;
    PictureShape shape;
    shape.is_on_wall = project(pose, wall, {-top, half_height}, top_left) &&
                       project(pose, wall, {top, half_height}, top_right) &&
                       project(pose, wall, {-bottom, -half_height}, bottom_left) &&
                       project(pose, wall, {bottom, -half_height}, bottom_right);
    if (!shape.is_on_wall) return shape;
    shape.left_side_deg = from_upright_deg(bottom_left, top_left);
    shape.right_side_deg = from_upright_deg(bottom_right, top_right);
    shape.top_edge_mm = length(top_left, top_right);
    shape.bottom_edge_mm = length(bottom_left, bottom_right);
    shape.edge_difference = shape.top_edge_mm / shape.bottom_edge_mm - 1;
    return shape;
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
