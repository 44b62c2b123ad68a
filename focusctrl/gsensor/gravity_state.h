// What the gravity sensor's rooms share with one another, and with nobody else.
#ifndef OVRA_FOCUSCTRL_GSENSOR_GRAVITY_STATE_H
#define OVRA_FOCUSCTRL_GSENSOR_GRAVITY_STATE_H

#include <pthread.h>

#include <cstdint>

#include "ovrafocus/gravity_state.h"

namespace ovra {

/// Held while a sample is accumulated and while a block is judged: two threads of the library sample, and the
/// host may have a third that judges. It stays held through everything that judging leads to, the pause
/// after a movement without effect included. A block judged during that pause would be compared with
/// the block before the movement and find the same movement again. The same thread may take it again: a
/// callback of the host may sample and judge.
extern pthread_mutex_t sample_processing;

/// 1 once the first blocks after the start have been skipped.
extern std::uint8_t first_blocks_skipped;

/// Steady ToF readings since the latest movement or correction.
extern std::int32_t tof_steady_readings;

}  // namespace ovra

#endif
