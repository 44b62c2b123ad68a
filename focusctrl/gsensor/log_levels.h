// From which value of ovra_log_level on the gravity sensor's rooms print what.
#ifndef OVRA_FOCUSCTRL_GSENSOR_LOG_LEVELS_H
#define OVRA_FOCUSCTRL_GSENSOR_LOG_LEVELS_H

namespace ovra {

inline constexpr int level_error = 1;
inline constexpr int level_event = 4;   // what happens to the projector; shown by default
inline constexpr int level_sample = 5;  // every sample and every block
inline constexpr int level_match = 7;   // what the direction matcher finds in each block

}  // namespace ovra

#endif
