// From zone distances to the tilt of the wall: the arithmetic of the ToF processing library.
#ifndef VIRTUAL_PROJECTOR_BOARDLIBS_PLANE_FIT_H
#define VIRTUAL_PROJECTOR_BOARDLIBS_PLANE_FIT_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>

namespace vp::boardlibs {

constexpr std::size_t max_points = 8;
constexpr std::int16_t no_angle = 32767;

/// One point in millimetres: to the right, along the axis, up. y 0 is a point that was not measured.
struct CloudPoint {
    float x = 0;
    float y = 0;
    float z = 0;
};
static_assert(sizeof(CloudPoint) == 12);

/// The points of the zones of one frame; those without a distance within the sensor's range are left at 0.
std::array<CloudPoint, max_points> point_cloud(const std::uint16_t* distances_mm, int point_mode);

/// The wall as y = distance + right_slope * x + up_slope * z.
struct Plane {
    double distance_mm = 0;
    double right_slope = 0;
    double up_slope = 0;
};

/// The plane with the least sum of squared distances along the axis; nothing when fewer than three points
/// were measured or all lie in one line.
std::optional<Plane> fit_plane(const CloudPoint* points, std::size_t count);

/// What angles and distances the processing library reports; hundredths of a degree and millimetres.
struct AngleLimits {
    std::int16_t turn_upper = 9000;
    std::int16_t turn_lower = -9000;
    std::int16_t tilt_upper = 9000;
    std::int16_t tilt_lower = -9000;
    std::int16_t distance_upper = 32767;
    std::int16_t distance_lower = 0;
};

/// The result as it is handed out. The sensor is mounted turned by a quarter, so what it calls its yaw is the
/// picture's tilt (positive: the upper part of the wall is farther away), and its pitch the picture's turn
/// (positive: the right part is farther away).
struct AngleResult {
    std::int16_t yaw = no_angle;  // hundredths of a degree; 32767: no angle could be found
    std::int16_t pitch = 0;
    std::uint16_t distance_mm = 0;
};
static_assert(sizeof(AngleResult) == 6);

/// The result for a plane. Outside of any limit there is no angle; the limits are those of the picture: turn
/// to the side, tilt up and down.
AngleResult angle_result(const std::optional<Plane>& plane, const AngleLimits& limits);

}  // namespace vp::boardlibs

#endif
