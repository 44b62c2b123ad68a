#include "virtual_projector/world/optics.h"

#include <algorithm>
#include <cmath>

namespace vp {
namespace {

constexpr double hot_from_c = 46;   // the lens mount begins to expand
constexpr double hot_until_c = 58;  // the fan holds it there
constexpr double cold_from_c = 42;
constexpr double cold_until_c = 28;
constexpr double um_per_mm = 1000;

double part_of_way(double value, double from, double to) {
    return std::clamp((value - from) / (to - from), 0.0, 1.0);
}

}  // namespace

double heat_drift_tmr(const LensSettings& lens, double led_c) {
    return lens.hot_drift_tmr * part_of_way(led_c, hot_from_c, hot_until_c) +
           lens.cold_drift_tmr * part_of_way(led_c, cold_from_c, cold_until_c);
}

// Thin lens: 1/f = 1/u + 1/v, so the image of a wall at u lies f^2 / (u - f) behind that of infinity.
double best_focus_steps(const LensSettings& lens, const TmrSettings& tmr, double distance_mm, double led_c) {
    const double f = lens.focal_length_mm;
    const double shift_um = f * f / (distance_mm - f) * um_per_mm;
    return lens.infinity_steps + shift_um / lens.step_um + heat_drift_tmr(lens, led_c) / tmr.slope_per_step;
}

double ideal_tmr(const TmrSettings& tmr, double position_steps) {
    return tmr.slope_per_step * (position_steps - tmr.zero_steps) + tmr.polarity * tmr.offset;
}

double sharpness(const LensSettings& lens, double error_tmr) {
    const double relative = error_tmr / lens.sharpness_width_tmr;
    return std::exp(-relative * relative);
}

}  // namespace vp
