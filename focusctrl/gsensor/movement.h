// What a block of the gravity sensor says about the projector: shaken, carried about, or at rest. Values in,
// values out.
#ifndef OVRA_FOCUSCTRL_GSENSOR_MOVEMENT_H
#define OVRA_FOCUSCTRL_GSENSOR_MOVEMENT_H

#include "focusctrl/gsensor/axes.h"

namespace ovra {

/// How far each angle lies from the other's, in degrees, never negative.
Axes absolute_difference(const Axes& one, const Axes& other);

bool any_reaches(const Axes& values, float bound);
bool all_reach(const Axes& values, float bound);
float largest(const Axes& values);

/// Where the projector last stood still.
struct RestPosition {
    bool known;
    Axes tilt;
};

enum class BlockEvent {
    sudden_shake,  // 13 degrees or more since the last block, on some axis
    slow_shake,    // carried: see movement.cpp
    settling,      // no shake, and a rest position is wanted or a movement waits for its end
    nothing,       // no shake, and nothing waits for steadiness
};

/// @param now, last         the angles of this block and of the one before
/// @param movement_pending  a movement waits for its focus run
BlockEvent classify_block(const Axes& now, const Axes& last, const RestPosition& rest, bool movement_pending);

/// True when every angle is less than 1.76 degrees from the last block's.
bool is_steady(const Axes& now, const Axes& last);

}  // namespace ovra

#endif
