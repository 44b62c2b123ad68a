#include "virtual_projector/world/lens_sensor.h"

#include <cmath>

#include "virtual_projector/world/vector.h"

namespace vp {

double nonlinearity_tmr(const TmrSettings& tmr, const LensSettings& lens, double position_steps) {
    if (tmr.nonlinearity == 0) return 0;
    const double full_scale = tmr.slope_per_step * lens.travel_steps;
    return tmr.nonlinearity * full_scale * std::sin(2 * pi * position_steps / lens.travel_steps);
}

double hysteresis_tmr(const TmrSettings& tmr, Side moved_last) {
    return moved_last == Side::right ? -tmr.hysteresis / 2 : tmr.hysteresis / 2;
}

double clean_reading(const TmrSettings& tmr, const LensSettings& lens, double position_steps, Side moved_last) {
    const double travelled = position_steps - tmr.zero_steps;
    const double straight = tmr.polarity * tmr.slope_per_step * travelled + tmr.offset;
    return straight +
           tmr.polarity * (nonlinearity_tmr(tmr, lens, position_steps) + hysteresis_tmr(tmr, moved_last));
}

}  // namespace vp
