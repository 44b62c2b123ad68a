// What the factory's sweeps have in common: one motor step, and the lens position after it.
#ifndef OVRA_FOCUSCTRL_AUTOFOCUS_FACTORY_STEP_H
#define OVRA_FOCUSCTRL_AUTOFOCUS_FACTORY_STEP_H

#include <cstdint>

namespace ovra {

/// Reads the lens position in TMR units and logs it. Returns 0, or -1 when it could not be read: `reading` then
/// keeps what it had, whatever the sensor gave.
std::int32_t measure_position(std::int32_t& reading);

/// Logs `message`, moves one step, waits until the lens rests and measures. Returns 0; -1 when the move or the
/// reading failed.
std::int32_t step_and_measure(const char* message, std::int32_t (*move)(std::int32_t), std::int32_t& reading);

}  // namespace ovra

#endif
