// The lens position sensor: what it reads of the place where the lens stands.
#ifndef VIRTUAL_PROJECTOR_WORLD_LENS_SENSOR_H
#define VIRTUAL_PROJECTOR_WORLD_LENS_SENSOR_H

#include "virtual_projector/world/settings.h"
#include "virtual_projector/world/side.h"

namespace vp {

/// How far the sensor reads beside the straight line at this position, in TMR units of ideal_tmr()'s scale. One
/// wave over the travel, so that both ends and the middle are right:
///     n * slope * travel * sin(2 pi position / travel)
/// with n the largest deviation as a share of the whole travel's reading (data sheets of magnetic position
/// sensors state 0.5 to 2 % of full scale).
double nonlinearity_tmr(const TmrSettings& tmr, const LensSettings& lens, double position_steps);

/// How far it lags after the lens has moved to this side: half the hysteresis, behind the lens.
double hysteresis_tmr(const TmrSettings& tmr, Side moved_last);

/// The reading without noise and without limits, in the sensor's own polarity.
double clean_reading(const TmrSettings& tmr, const LensSettings& lens, double position_steps, Side moved_last);

}  // namespace vp

#endif
