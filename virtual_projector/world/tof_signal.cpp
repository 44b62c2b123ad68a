#include "virtual_projector/world/tof_signal.h"

#include <cmath>
#include <limits>

namespace vp {
namespace {

constexpr double mm_per_m = 1000;

}  // namespace

double signal_weakness(const Target& target, double ambient_klx) {
    const double relative = target.reflectivity / white_reflectivity;
    const double own_light = relative * target.cosine;
    if (own_light <= 0) return std::numeric_limits<double>::infinity();
    const double metres = target.distance_mm / mm_per_m;
    const double daylight = relative * ambient_klx / daylight_like_own_light_klx * metres * metres;
    return std::sqrt(own_light + daylight) / own_light;
}

double tof_noise_mm(const TofSettings& tof, double distance_mm, double weakness) {
    double sigma = tof.noise_mm + tof.noise_per_mm * distance_mm;
    if (tof.follows_signal != 0) sigma *= weakness;
    if (tof.noise_share == 0) return sigma;
    return std::hypot(sigma, tof.noise_share * distance_mm * (distance_mm / mm_per_m) * weakness);
}

bool is_within_tof_range(const TofSettings& tof, double distance_mm, double weakness) {
    return distance_mm <= tof.range_mm && distance_mm * weakness <= tof.range_mm;
}

}  // namespace vp
