#include "virtual_projector/world/tof.h"

#include <algorithm>
#include <cmath>

#include "virtual_projector/world/noise.h"
#include "virtual_projector/world/room.h"
#include "virtual_projector/world/tof_errors.h"
#include "virtual_projector/world/tof_signal.h"
#include "virtual_projector/world/wall.h"

namespace vp {
namespace {

constexpr double quality_at_one_metre = 352;  // of a white wall; falls with the square of the distance:
                                              // 11, the least that is valid, at 4 m and half the light
constexpr double quality_of_nothing = 3;
constexpr double grid_mount_deg = 7;  // of the generic sensor, above the optical axis
constexpr double grid_step_deg = 15;
constexpr int first_pixel_lane = 16;  // of the draws that pixels share with zones

double tangent_deg(double angle_deg) { return std::tan(radians(angle_deg)); }

// From the sensor's frame to the unit's: turned to the right, then raised, as a pose is by yaw and pitch.
Orientation sensor_orientation(const TofSettings& tof) {
    return unit_orientation({0, tof.tilt_offset_deg, tof.turn_offset_deg, 0, 0});
}

// An obstacle covers one quarter of the view; the rays on its border pass it by.
double obstacle_mm(const TofSettings& tof, const Ray& ray) {
    return of_quarter(ray, tof.blocked_tr_mm, tof.blocked_br_mm, tof.blocked_tl_mm, tof.blocked_bl_mm);
}

// The scene of one frame, as rays find it.
class View {
public:
    explicit View(const TofScene& scene)
        : scene_(scene),
          wall_(wall_direction(scene.pose, scene.wall)),
          sensor_(sensor_orientation(scene.tof)),
          is_bare_(is_bare(scene.room)) {
        if (is_bare_) return;
        unit_ = unit_orientation(scene.pose);
        room_ = {scene.room, scene.wall, scene.pose.distance_mm * unit_.forward, seconds(scene.time)};
    }

    // What a ray of the unit's frame meets.
    Meeting meet(const Vec3& ray) const {
        if (!is_bare_) return first_met(room_, {}, unit_.to_room(ray));
        Meeting met;
        met.length = ray_length_to_wall(wall_, scene_.pose.distance_mm, ray);
        met.cosine = dot(wall_, ray) / std::sqrt(dot(ray, ray));
        met.reflectivity = scene_.wall.reflectivity;
        return met;
    }

    // What the sensor sees there. Its rays have length 1 along its axis, so that the length of a ray is the
    // distance along that axis.
    Meeting meet(const Ray& ray) const {
        return before_obstacle(ray, meet(sensor_.to_room(in_sensor(ray))), 1);
    }

    // An obstacle is as light as the wall.
    Meeting before_obstacle(const Ray& ray, const Meeting& met, double ray_length) const {
        const double obstacle = obstacle_mm(scene_.tof, ray);
        if (!(obstacle > 0 && obstacle < met.length * ray_length)) return met;
        Meeting hidden;
        hidden.length = obstacle / ray_length;
        hidden.reflectivity = scene_.wall.reflectivity;
        return hidden;
    }

    static Vec3 in_sensor(const Ray& ray) { return {tangent_deg(ray.right_deg), 1, tangent_deg(ray.up_deg)}; }

private:
    const TofScene& scene_;
    Vec3 wall_;
    Orientation sensor_;
    bool is_bare_;
    Orientation unit_;
    Room room_;
};

double quality_of(double reflectivity, double distance_mm) {
    const double metres = std::max(distance_mm, 1.0) / 1000;
    return std::min<double>(max_quality, reflectivity * quality_at_one_metre / (metres * metres));
}

ZoneReading nothing_measured() {
    return {static_cast<std::uint16_t>(no_distance_mm), static_cast<std::uint16_t>(quality_of_nothing)};
}

double weakness_of(const TofScene& scene, const Meeting& met, double distance_mm) {
    if (scene.tof.follows_signal == 0 && scene.tof.noise_share == 0) return 1;
    return signal_weakness({distance_mm, met.reflectivity, met.cosine}, scene.room.ambient_klx);
}

// How dark it is decides on the range in any case; slope and daylight, and how little a sensor has to spare,
// where the signal is followed.
bool is_seen(const TofScene& scene, const Meeting& met, double distance_mm, double weakness) {
    const bool is_followed = scene.tof.follows_signal != 0;
    constexpr double reserve = 2;  // an ideal sensor would see a white wall in the dark twice as far
    const double of_the_dark = signal_weakness({distance_mm, met.reflectivity, 1}, 0) / reserve;
    return std::isfinite(weakness) &&
           is_within_tof_range(scene.tof, distance_mm, is_followed ? weakness : of_the_dark);
}

ZoneReading reading(const TofScene& scene, const Meeting& met, double true_mm, double error_mm, double noise) {
    const double weakness = weakness_of(scene, met, true_mm);
    if (!is_seen(scene, met, true_mm, weakness)) return nothing_measured();
    const double sigma = tof_noise_mm(scene.tof, true_mm, weakness);
    const double measured =
        std::clamp(true_mm + error_mm + sigma * noise, 0.0, static_cast<double>(no_distance_mm));
    const double returned = scene.tof.follows_signal != 0 ? met.reflectivity * met.cosine : met.reflectivity;
    return {static_cast<std::uint16_t>(std::lround(measured)),
            static_cast<std::uint16_t>(std::lround(quality_of(returned, true_mm)))};
}

// Which draw of chance a zone or pixel takes.
struct Draw {
    std::int64_t frame;
    int lane;
};

ZoneReading with_chance(const TofScene& scene, const ZoneReading& measured, const Draw& draw) {
    const TofSettings& tof = scene.tof;
    if (tof.missing_share > 0) {
        const Noise missing(scene.seed, Stream::tof_missing);
        if (missing.uniform(draw.frame, draw.lane) < tof.missing_share) return nothing_measured();
    }
    if (tof.outlier_share > 0 && measured.distance_mm != no_distance_mm) {
        const Noise outliers(scene.seed, Stream::tof_outliers);
        if (outliers.uniform(draw.frame, 2 * draw.lane) < tof.outlier_share) {
            const double anywhere = tof.range_mm * outliers.uniform(draw.frame, 2 * draw.lane + 1);
            return {static_cast<std::uint16_t>(std::min<long>(std::lround(anywhere), no_distance_mm)),
                    measured.quality};
        }
    }
    return measured;
}

double own_error_mm(const TofScene& scene, const Ray& ray, const Meeting& met, double distance_mm) {
    const TofSettings& tof = scene.tof;
    return scale_error_mm(tof, ray, distance_mm) + crosstalk_error_mm(tof, distance_mm) +
           warm_up_error_mm(tof, seconds(scene.time)) + multipath_error_mm(tof, distance_mm, met.corner_mm) +
           met.mirrored_mm;
}

// What the nds01 sensor reads on this ray: `offset_mm` is the part of its pixels.
ZoneReading read_ray(const TofScene& scene, const View& view, const Ray& ray, double offset_mm, double noise,
                     const Draw& draw) {
    const Meeting met = view.meet(ray);
    const Vec3 seen = View::in_sensor(ray);
    const double distance = scene.tof.radial != 0 ? met.length * std::sqrt(dot(seen, seen)) : met.length;
    const double error = offset_mm + own_error_mm(scene, ray, met, distance);
    return with_chance(scene, reading(scene, met, distance, error, noise), draw);
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

std::vector<double> true_zone_distances(const TofScene& scene, int point_mode) {
    const View view(scene);
    std::vector<double> distances;
    for (std::size_t zone = 0; zone < zone_count(point_mode); ++zone) {
        distances.push_back(view.meet(zone_ray(scene.tof, point_mode, zone)).length);
    }
    return distances;
}

double true_axis_distance_mm(const TofScene& scene) { return View(scene).meet(Vec3{0, 1, 0}).length; }

std::vector<ZoneReading> tof_zones(const TofScene& scene, int point_mode, const PixelOffsets& corrections,
                                   std::int64_t index) {
    const Noise noise(scene.seed, Stream::tof_frame);
    const PixelOffsets offsets = true_pixel_offsets(scene.tof, scene.unit_seed);
    const View view(scene);
    std::vector<ZoneReading> zones;
    for (std::size_t zone = 0; zone < zone_count(point_mode); ++zone) {
        const int lane = static_cast<int>(zone);
        const double error = mean_error(offsets, corrections, zone_pixels(point_mode, zone));
        zones.push_back(read_ray(scene, view, zone_ray(scene.tof, point_mode, zone), error,
                                 noise.gaussian(index, lane), {index, lane}));
    }
    return zones;
}

std::vector<ZoneReading> tof_pixels(const TofScene& scene, std::int64_t index) {
    const Noise noise(scene.seed, Stream::tof_pixels);
    const PixelOffsets offsets = true_pixel_offsets(scene.tof, scene.unit_seed);
    const View view(scene);
    std::vector<ZoneReading> pixels;
    for (int pixel = 0; pixel < pixel_count; ++pixel) {
        const Ray ray = pixel_ray(scene.tof, pixel / pixel_columns, pixel % pixel_columns);
        pixels.push_back(read_ray(scene, view, ray, offsets.at(static_cast<std::size_t>(pixel)),
                                  noise.gaussian(index, pixel), {index, first_pixel_lane + pixel}));
    }
    return pixels;
}

std::array<ZoneReading, 9> zone_grid(const TofScene& scene, std::int64_t index) {
    const Noise noise(scene.seed, Stream::zone_grid);
    const View view(scene);
    std::array<ZoneReading, 9> zones{};
    for (std::size_t zone = 0; zone < zones.size(); ++zone) {
        const std::size_t column = zone % 3;
        const std::size_t row = zone / 3;
        const Ray ray{(static_cast<double>(column) - 1) * grid_step_deg,
                      (1 - static_cast<double>(row)) * grid_step_deg};
        const Ray mounted{ray.right_deg, ray.up_deg + grid_mount_deg};
        const double x = tangent_deg(mounted.right_deg);
        const double z = tangent_deg(mounted.up_deg);
        const double ray_length = std::sqrt(1 + x * x + z * z);
        const Meeting met = view.before_obstacle(ray, view.meet(Vec3{x, 1, z}), ray_length);
        const double distance = met.length * ray_length;
        zones.at(zone) =
            reading(scene, met, distance, met.mirrored_mm, noise.gaussian(index, static_cast<int>(zone)));
    }
    return zones;
}

}  // namespace vp
