// What the gravity sensor's rooms log, from which value of ovra_log_level on, and how they log three axes.
#ifndef OVRA_FOCUSCTRL_GSENSOR_GRAVITY_LOG_H
#define OVRA_FOCUSCTRL_GSENSOR_GRAVITY_LOG_H

#include "focusctrl/gsensor/axes.h"

namespace ovra {

inline constexpr int level_error = 1;
inline constexpr int level_event = 4;   // what happens to the projector; shown by default
inline constexpr int level_sample = 5;  // every sample and every block
inline constexpr int level_match = 7;   // what the direction matcher finds in each block

/// Logs a text and three numbers; `format` has a place for each.
void log_axes(int level, const char* format, const char* what, const Axes& axes);

}  // namespace ovra

#endif
