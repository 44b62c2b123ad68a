#include "virtual_projector/boardlibs/plane_fit.h"

#include <cmath>

#include "virtual_projector/world/tof_optics.h"
#include "virtual_projector/world/vector.h"

namespace vp::boardlibs {
namespace {

constexpr int max_distance_mm = 4500;
constexpr double hundredths = 100;

// Where the library takes the zones to look: the sensor's nominal angles, whatever those of a unit's sensor
// are.
constexpr double assumed_row_deg = 12;  // above and below the axis
constexpr std::array<double, 2> assumed_column_of_four_deg = {12, -12};
constexpr std::array<double, 4> assumed_column_of_eight_deg = {18, 6, -6, -18};

constexpr double singular = 1e-6;  // of the product of the squared extents: points in one line

Ray assumed_ray(int point_mode, std::size_t zone) {
    const double right = point_mode == eight_zone_mode ? assumed_column_of_eight_deg.at(zone / 2)
                                                       : assumed_column_of_four_deg.at(zone / 2);
    return {right, zone % 2 == 0 ? assumed_row_deg : -assumed_row_deg};
}

bool is_measured(const CloudPoint& point) { return point.y > 0; }

// Sums of the points' coordinates about their means.
struct Moments {
    double n = 0;
    double x = 0, y = 0, z = 0;
    double xx = 0, zz = 0, xz = 0, xy = 0, zy = 0;
};

void add_means(Moments& sums, const CloudPoint* points, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i) {
        if (!is_measured(points[i])) continue;
        sums.n += 1;
        sums.x += static_cast<double>(points[i].x);
        sums.y += static_cast<double>(points[i].y);
        sums.z += static_cast<double>(points[i].z);
    }
    sums.x /= sums.n;
    sums.y /= sums.n;
    sums.z /= sums.n;
}

Moments moments_of(const CloudPoint* points, std::size_t count) {
    Moments sums;
    add_means(sums, points, count);
    for (std::size_t i = 0; i < count; ++i) {
        if (!is_measured(points[i])) continue;
        const double x = static_cast<double>(points[i].x) - sums.x;
        const double y = static_cast<double>(points[i].y) - sums.y;
        const double z = static_cast<double>(points[i].z) - sums.z;
        sums.xx += x * x;
        sums.zz += z * z;
        sums.xz += x * z;
        sums.xy += x * y;
        sums.zy += z * y;
    }
    return sums;
}

std::int16_t to_hundredths(double slope) {
    return static_cast<std::int16_t>(std::lround(degrees(std::atan(slope)) * hundredths));
}

bool is_within(const AngleResult& result, const AngleLimits& limits) {
    return result.yaw <= limits.tilt_upper && result.yaw >= limits.tilt_lower &&
           result.pitch <= limits.turn_upper && result.pitch >= limits.turn_lower &&
           result.distance_mm <= limits.distance_upper && result.distance_mm >= limits.distance_lower;
}

}  // namespace

std::array<CloudPoint, max_points> point_cloud(const std::uint16_t* distances_mm, int point_mode) {
    std::array<CloudPoint, max_points> cloud{};
    for (std::size_t zone = 0; zone < zone_count(point_mode); ++zone) {
        const double y = distances_mm[zone];
        if (y <= 0 || y > max_distance_mm) continue;
        const Ray ray = assumed_ray(point_mode, zone);
        cloud.at(zone) = {static_cast<float>(y * std::tan(radians(ray.right_deg))), static_cast<float>(y),
                          static_cast<float>(y * std::tan(radians(ray.up_deg)))};
    }
    return cloud;
}

// Least squares in y: the normal equations of the two slopes about the means, by Cramer's rule.
std::optional<Plane> fit_plane(const CloudPoint* points, std::size_t count) {
    const Moments m = moments_of(points, count);
    const double determinant = m.xx * m.zz - m.xz * m.xz;
    if (m.n < 3 || determinant <= singular * m.xx * m.zz) return std::nullopt;
    const double right = (m.xy * m.zz - m.zy * m.xz) / determinant;
    const double up = (m.zy * m.xx - m.xy * m.xz) / determinant;
    return Plane{m.y - right * m.x - up * m.z, right, up};
}

AngleResult angle_result(const std::optional<Plane>& plane, const AngleLimits& limits) {
    if (!plane || plane->distance_mm < 0 || plane->distance_mm > max_distance_mm) return {};
    const AngleResult result{to_hundredths(plane->up_slope), to_hundredths(plane->right_slope),
                             static_cast<std::uint16_t>(std::lround(plane->distance_mm))};
    return is_within(result, limits) ? result : AngleResult{};
}

}  // namespace vp::boardlibs
