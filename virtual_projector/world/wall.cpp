#include "virtual_projector/world/wall.h"

#include <limits>

namespace vp {
namespace {

constexpr double quarter_turn_deg = 90;

}  // namespace

Orientation unit_orientation(const Pose& pose) {
    const double roll = radians(pose.roll_deg + quarter_turn_deg * pose.mounting);
    const double pitch = radians(pose.pitch_deg);
    const double yaw = radians(pose.yaw_deg);
    const Vec3 level_right{std::cos(yaw), -std::sin(yaw), 0};
    const Vec3 level_forward{std::sin(yaw), std::cos(yaw), 0};
    const Vec3 vertical{0, 0, 1};
    const Vec3 forward = std::cos(pitch) * level_forward + std::sin(pitch) * vertical;
    const Vec3 raised_up = std::cos(pitch) * vertical - std::sin(pitch) * level_forward;
    const Vec3 right = std::cos(roll) * level_right + std::sin(roll) * raised_up;
    const Vec3 up = std::cos(roll) * raised_up - std::sin(roll) * level_right;
    return {right, forward, up};
}

Vec3 wall_direction(const Pose& pose, const Wall& wall) {
    const double lean = radians(wall.lean_deg);
    return unit_orientation(pose).to_unit({0, std::cos(lean), std::sin(lean)});
}

WallAngles wall_angles(const Vec3& direction) {
    return {degrees(std::atan2(-direction.z, direction.y)), degrees(std::atan2(-direction.x, direction.y))};
}

double axial_distance_mm(const Vec3& direction, double distance_mm, double ray_x, double ray_z) {
    return ray_length_to_wall(direction, distance_mm, {ray_x, 1, ray_z});
}

// The wall passes through (0, distance, 0) and is at right angles to `direction`.
double ray_length_to_wall(const Vec3& direction, double distance_mm, const Vec3& ray) {
    const double along = dot(direction, ray);
    if (along <= 0 || direction.y <= 0) return std::numeric_limits<double>::infinity();
    return distance_mm * direction.y / along;
}

}  // namespace vp
