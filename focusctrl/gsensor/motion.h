// The motion logic for the library's own rooms.
#ifndef OVRA_FOCUSCTRL_GSENSOR_MOTION_H
#define OVRA_FOCUSCTRL_GSENSOR_MOTION_H

#include <cstdint>

#include "focusctrl/gsensor/axes.h"
#include "ovrafocus/motion.h"

namespace ovra {

/// Takes the angles of a block's average as the projector's, and judges the block: direction, movement,
/// steadiness. A block is not judged while another one is, which is so for a block that a callback of the host
/// completes by samples of its own. To be called with sample_processing held.
void judge_block(const Axes& average);

/// How long ago the latest movement was accepted, in milliseconds; very long when there was none.
std::int32_t ms_since_movement();

}  // namespace ovra

#endif
