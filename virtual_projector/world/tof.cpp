#include "virtual_projector/world/tof.h"

#include <algorithm>
#include <cmath>

#include "virtual_projector/world/noise.h"
#include "virtual_projector/world/wall.h"

namespace vp {
namespace {

constexpr double quality_at_one_metre = 352;  // of a white wall; falls with the square of the distance:
                                              // 11, the least that is valid, at 4 m and half the light
constexpr double quality_of_nothing = 3;
constexpr double grid_mount_deg = 7;  // of the generic sensor, above the optical axis
constexpr double grid_step_deg = 15;
constexpr Microseconds unpaced_frame_us = microseconds_per_millisecond;

double tangent_deg(double angle_deg) { return std::tan(radians(angle_deg)); }

// From the sensor's frame to the unit's: turned to the right, then raised, as a pose is by yaw and pitch.
Orientation sensor_orientation(const TofSettings& tof) {
    return unit_orientation({0, tof.tilt_offset_deg, tof.turn_offset_deg, 0, 0});
}

// An obstacle covers one quarter of the view; the rays on its border pass it by.
double obstacle_mm(const TofSettings& tof, const Ray& ray) {
    if (ray.right_deg == 0 || ray.up_deg == 0) return 0;
    if (ray.right_deg > 0) return ray.up_deg > 0 ? tof.blocked_tr_mm : tof.blocked_br_mm;
    return ray.up_deg > 0 ? tof.blocked_tl_mm : tof.blocked_bl_mm;
}

// The ray has length 1 along the sensor's axis, so its length to the wall is the distance along that axis.
double true_distance_mm(const TofScene& scene, const Ray& ray) {
    const Vec3 seen{tangent_deg(ray.right_deg), 1, tangent_deg(ray.up_deg)};
    const Vec3 in_unit = sensor_orientation(scene.tof).to_room(seen);
    const double wall =
        ray_length_to_wall(wall_direction(scene.pose, scene.wall), scene.pose.distance_mm, in_unit);
    const double obstacle = obstacle_mm(scene.tof, ray);
    return obstacle > 0 ? std::min(wall, obstacle) : wall;
}

double quality_of(const Wall& wall, double distance_mm) {
    const double metres = std::max(distance_mm, 1.0) / 1000;
    return std::min<double>(max_quality, wall.reflectivity * quality_at_one_metre / (metres * metres));
}

ZoneReading reading(const TofScene& scene, double true_mm, double error_mm, double noise) {
    if (!(true_mm <= scene.tof.range_mm)) {
        return {static_cast<std::uint16_t>(no_distance_mm), static_cast<std::uint16_t>(quality_of_nothing)};
    }
    const double sigma = scene.tof.noise_mm + scene.tof.noise_per_mm * true_mm;
    const double measured =
        std::clamp(true_mm + error_mm + sigma * noise, 0.0, static_cast<double>(no_distance_mm));
    return {static_cast<std::uint16_t>(std::lround(measured)),
            static_cast<std::uint16_t>(std::lround(quality_of(scene.wall, true_mm)))};
}

double mean_error(const PixelOffsets& offsets, const PixelOffsets& corrections,
                  const std::vector<int>& pixels) {
    double sum = 0;
    for (const int pixel : pixels) {
        const auto index = static_cast<std::size_t>(pixel);
        sum += offsets.at(index) - corrections.at(index);
    }
    return sum / static_cast<double>(pixels.size());
}

}  // namespace

PixelOffsets true_pixel_offsets(const TofSettings& tof, std::uint64_t unit_seed) {
    const Noise noise(unit_seed, Stream::pixel_pattern);
    PixelOffsets offsets{};
    for (std::size_t pixel = 0; pixel < offsets.size(); ++pixel) {
        const double even = 2 * noise.uniform(static_cast<std::int64_t>(pixel)) - 1;
        offsets.at(pixel) = tof.true_offset_mm + tof.pixel_spread_mm * even;
    }
    return offsets;
}

std::int64_t tof_frame_index(double frames_per_s, Microseconds time) {
    if (frames_per_s <= 0) return time / unpaced_frame_us;
    return static_cast<std::int64_t>(std::floor(seconds(time) * frames_per_s));
}

std::vector<ZoneReading> tof_zones(const TofScene& scene, int point_mode, const PixelOffsets& corrections,
                                   std::int64_t index) {
    const Noise noise(scene.seed, Stream::tof_frame);
    const PixelOffsets offsets = true_pixel_offsets(scene.tof, scene.unit_seed);
    std::vector<ZoneReading> zones;
    for (std::size_t zone = 0; zone < zone_count(point_mode); ++zone) {
        const double distance = true_distance_mm(scene, zone_ray(scene.tof, point_mode, zone));
        const double error = mean_error(offsets, corrections, zone_pixels(point_mode, zone));
        zones.push_back(reading(scene, distance, error, noise.gaussian(index, static_cast<int>(zone))));
    }
    return zones;
}

std::vector<ZoneReading> tof_pixels(const TofScene& scene, std::int64_t index) {
    const Noise noise(scene.seed, Stream::tof_pixels);
    const PixelOffsets offsets = true_pixel_offsets(scene.tof, scene.unit_seed);
    std::vector<ZoneReading> pixels;
    for (int pixel = 0; pixel < pixel_count; ++pixel) {
        const Ray ray = pixel_ray(scene.tof, pixel / pixel_columns, pixel % pixel_columns);
        const double error = offsets.at(static_cast<std::size_t>(pixel));
        pixels.push_back(reading(scene, true_distance_mm(scene, ray), error, noise.gaussian(index, pixel)));
    }
    return pixels;
}

std::array<ZoneReading, 9> zone_grid(const TofScene& scene, std::int64_t index) {
    const Noise noise(scene.seed, Stream::zone_grid);
    std::array<ZoneReading, 9> zones{};
    for (std::size_t zone = 0; zone < zones.size(); ++zone) {
        const std::size_t column = zone % 3;
        const std::size_t row = zone / 3;
        const Ray ray{(static_cast<double>(column) - 1) * grid_step_deg,
                      (1 - static_cast<double>(row)) * grid_step_deg};
        const Ray mounted{ray.right_deg, ray.up_deg + grid_mount_deg};
        const double x = tangent_deg(mounted.right_deg);
        const double z = tangent_deg(mounted.up_deg);
        const double axial =
            axial_distance_mm(wall_direction(scene.pose, scene.wall), scene.pose.distance_mm, x, z);
        const double along_ray = axial * std::sqrt(1 + x * x + z * z);
        const double obstacle = obstacle_mm(scene.tof, ray);
        const double distance = obstacle > 0 ? std::min(along_ray, obstacle) : along_ray;
        zones.at(zone) = reading(scene, distance, 0, noise.gaussian(index, static_cast<int>(zone)));
    }
    return zones;
}

}  // namespace vp
