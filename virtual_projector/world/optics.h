// Where the lens must stand for a sharp picture, and how sharp it is elsewhere.
#ifndef VIRTUAL_PROJECTOR_WORLD_OPTICS_H
#define VIRTUAL_PROJECTOR_WORLD_OPTICS_H

#include "virtual_projector/world/settings.h"

namespace vp {

/// The lens position (full steps from the left end stop) that focuses a wall at this distance, with the lens
/// barrel at this temperature. Nearer walls want the lens further to the right.
double best_focus_steps(const LensSettings& lens, const TmrSettings& tmr, double distance_mm, double barrel_c);

/// How far the best focus has moved at this temperature of the barrel from where it is between the cold and the
/// hot drift's begin, in TMR units to the right. Each drift grows evenly from its begin to its end:
///     drift = hot_drift * clamp((T - hot_from) / (hot_until - hot_from), 0, 1)
///           + cold_drift * clamp((cold_from - T) / (cold_from - cold_until), 0, 1)
///           + barrel_drift_tmr_per_c * (T - barrel_reference)
/// The last is that of a plastic lens: its focal length grows by 2 to 3 parts in 10,000 for each degree, 1 um
/// for 4 mm (optics texts on athermal design).
double heat_drift_tmr(const LensSettings& lens, double barrel_c);

/// The reading that a perfect sensor would give for a lens position, polarity taken out: rising to the right.
/// This is the scale in which calibration tables are written.
double ideal_tmr(const TmrSettings& tmr, double position_steps);

/// Sharpness from 0 to 1 for a lens so many TMR units from its best place.
double sharpness(const LensSettings& lens, double error_tmr);

}  // namespace vp

#endif
