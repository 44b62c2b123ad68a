#include "virtual_projector/world/tof_errors.h"

#include <algorithm>
#include <cmath>

namespace vp {
namespace {

constexpr double percent = 100;

}  // namespace

double of_quarter(const Ray& ray, double top_right, double bottom_right, double top_left, double bottom_left) {
    if (ray.right_deg == 0 || ray.up_deg == 0) return 0;
    if (ray.right_deg > 0) return ray.up_deg > 0 ? top_right : bottom_right;
    return ray.up_deg > 0 ? top_left : bottom_left;
}

double scale_error_mm(const TofSettings& tof, const Ray& ray, double distance_mm) {
    const double bias =
        of_quarter(ray, tof.bias_tr_percent, tof.bias_br_percent, tof.bias_tl_percent, tof.bias_bl_percent);
    return distance_mm * (tof.scale_percent + bias) / percent;
}

double crosstalk_error_mm(const TofSettings& tof, double distance_mm) {
    return -tof.crosstalk_mm * std::max(0.0, 1 - distance_mm / crosstalk_until_mm);
}

double warm_up_error_mm(const TofSettings& tof, double time_s) {
    if (tof.warm_up_mm == 0) return 0;
    return tof.warm_up_mm * std::exp(-time_s / tof.warm_up_time_constant_s);
}

double multipath_error_mm(const TofSettings& tof, double distance_mm, double from_corner_mm) {
    const double closeness = std::max(0.0, 1 - from_corner_mm / multipath_until_mm);
    return distance_mm * tof.multipath_percent / percent * closeness;
}

}  // namespace vp
