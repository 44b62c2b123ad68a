// What the gravity sensor's rooms share with one another, and with nobody else.
#ifndef OVRA_FOCUSCTRL_GSENSOR_MOTION_STATE_H
#define OVRA_FOCUSCTRL_GSENSOR_MOTION_STATE_H

#include <pthread.h>

#include <cstdint>

#include "focusctrl/gsensor/axes.h"

namespace ovra {

// --- acceleration.cpp -------------------------------------------------------------------------------------

/// Held while a sample is accumulated and while a block is judged: two threads of the library sample, and the
/// host may have a third that judges. It stays held through everything that judging leads to, the pause
/// after a movement without effect included. A block judged during that pause would be compared with
/// the block before the movement and find the same movement again. The same thread may take it again: a
/// callback of the host may sample and judge.
extern pthread_mutex_t sample_processing;

/// Logs a text and three numbers; `format` has a place for each.
void log_axes(int level, const char* format, const char* what, const Axes& axes);

/// Puts the angles of a block average into acc_degree.
void acc_caculate_degree(const Axes& average);

// --- motion.cpp -------------------------------------------------------------------------------------------

/// Judges the block whose angles acc_degree holds; not when a block is being judged, which is so for a block
/// that a callback of the host completes by samples of its own. To be called with sample_processing held.
void judge_block();

/// 1 once the first blocks after the start have been skipped.
extern std::uint8_t first_blocks_skipped;

/// How long ago the latest movement was accepted, in milliseconds; very long when there was none.
std::int32_t ms_since_movement();

// --- auto_keystone.cpp ------------------------------------------------------------------------------------

/// Steady ToF readings since the latest movement or correction; the motion logic starts it anew.
extern std::int32_t tof_steady_readings;

}  // namespace ovra

#endif
