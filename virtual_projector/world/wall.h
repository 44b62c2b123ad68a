// The projector before its wall: how the pose turns it, and where its rays end.
#ifndef VIRTUAL_PROJECTOR_WORLD_WALL_H
#define VIRTUAL_PROJECTOR_WORLD_WALL_H

#include "virtual_projector/world/settings.h"
#include "virtual_projector/world/vector.h"

namespace vp {

/// The unit's axes in the room. Mounting and roll turn it about its optical axis (right side up), pitch
/// raises the axis, yaw turns it to the right.
Orientation unit_orientation(const Pose& pose);

/// The wall's normal pointing away from the projector, in the unit's frame. (0, 1, 0): squarely faced.
Vec3 wall_direction(const Pose& pose, const Wall& wall);

/// How the wall stands to the unit, in degrees. Positive tilt: the unit's top is turned away from the wall's
/// normal, so that the top of the picture is farther away and wider. Positive turn: the same on its right.
struct WallAngles {
    double tilt_deg = 0;
    double turn_deg = 0;
};
WallAngles wall_angles(const Vec3& direction);

/// Where the ray through (x, 1, z) of the unit's frame meets the wall, as the distance along the optical
/// axis in millimetres; infinite when it never does.
double axial_distance_mm(const Vec3& direction, double distance_mm, double ray_x, double ray_z);

/// How many times the ray's own length it is to the wall along it; infinite when it never meets it.
double ray_length_to_wall(const Vec3& direction, double distance_mm, const Vec3& ray);

}  // namespace vp

#endif
