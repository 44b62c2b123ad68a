#include "virtual_projector/world/optics.h"

#include <algorithm>
#include <cmath>

namespace vp {
namespace {

constexpr double um_per_mm = 1000;

// How much of the way from one temperature up to another is done; a way without length is a jump.
double part_of_rise(double value, double from, double until) {
    if (until <= from) return value > from ? 1 : 0;
    return std::clamp((value - from) / (until - from), 0.0, 1.0);
}

double part_of_fall(double value, double from, double until) { return part_of_rise(-value, -from, -until); }

}  // namespace

double heat_drift_tmr(const LensSettings& lens, double barrel_c) {
    return lens.hot_drift_tmr * part_of_rise(barrel_c, lens.hot_from_c, lens.hot_until_c) +
           lens.cold_drift_tmr * part_of_fall(barrel_c, lens.cold_from_c, lens.cold_until_c) +
           lens.barrel_drift_tmr_per_c * (barrel_c - lens.barrel_reference_c);
}

// Thin lens: 1/f = 1/u + 1/v, so the image of a wall at u lies f^2 / (u - f) behind that of infinity.
double best_focus_steps(const LensSettings& lens, const TmrSettings& tmr, double distance_mm, double barrel_c) {
    const double f = lens.focal_length_mm;
    const double shift_um = f * f / (distance_mm - f) * um_per_mm;
    return lens.infinity_steps + shift_um / lens.step_um + heat_drift_tmr(lens, barrel_c) / tmr.slope_per_step;
}

double ideal_tmr(const TmrSettings& tmr, double position_steps) {
    return tmr.slope_per_step * (position_steps - tmr.zero_steps) + tmr.polarity * tmr.offset;
}

double sharpness(const LensSettings& lens, double error_tmr) {
    const double relative = error_tmr / lens.sharpness_width_tmr;
    return std::exp(-relative * relative);
}

}  // namespace vp
