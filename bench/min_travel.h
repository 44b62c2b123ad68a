// The least that a motor must do to make a picture sharp.
#ifndef BENCH_MIN_TRAVEL_H
#define BENCH_MIN_TRAVEL_H

#include "virtual_projector/world/settings.h"

namespace bench {

struct Travel {
    int moves = 0;  // orders to the motor
    int steps = 0;  // motor steps, full or half ones: either takes the same time
};

/// The fewest moves and steps that take a lens to within `band_tmr` of the position `target_steps`, or, where
/// no half step ends in there, as near as a half step can: the backlash of a reversal and the way, one order
/// of full steps and one of a half step.
Travel min_travel(const vp::LensSettings& lens, const vp::TmrSettings& tmr, double target_steps,
                  double band_tmr);

}  // namespace bench

#endif
