#include "bench/min_travel.h"

#include <algorithm>
#include <cmath>

namespace bench {
namespace {

constexpr double rounding = 1e-9;  // sums of step sizes are not exact

// Motor steps that go by before the lens moves to that side.
double backlash_steps(const vp::LensSettings& lens, bool to_the_right) {
    return to_the_right ? (1 - lens.backlash_state) * lens.right_backlash_steps
                        : lens.backlash_state * lens.left_backlash_steps;
}

}  // namespace

Travel min_travel(const vp::LensSettings& lens, const vp::TmrSettings& tmr, double target_steps,
                  double band_tmr) {
    const double way = target_steps - lens.position_steps;
    const double band = band_tmr / tmr.slope_per_step;
    if (std::abs(way) <= band + rounding) return {};
    const double length = backlash_steps(lens, way > 0) + std::abs(way);
    const double half_steps = std::ceil(2 * (length - band) - rounding);
    const bool in_band = half_steps / 2 <= length + band + rounding;
    const int wanted = static_cast<int>(in_band ? half_steps : std::round(2 * length));
    if (wanted == 0) return {};
    const int full = wanted / 2;
    const int half = wanted % 2;
    return {(full > 0 ? 1 : 0) + half, full + half};
}

}  // namespace bench
