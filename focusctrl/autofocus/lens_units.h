// The lens in numbers: sides, pulses of the motor, and what a step is to the position sensor.
#ifndef OVRA_FOCUSCTRL_AUTOFOCUS_LENS_UNITS_H
#define OVRA_FOCUSCTRL_AUTOFOCUS_LENS_UNITS_H

#include <cstdint>

namespace ovra {

/// Where the lens goes. The numbers are those of lastDirection and of the motor driver's direction.
enum class Side : std::uint8_t { left = 0, right = 1 };

constexpr Side opposite(Side side) { return side == Side::left ? Side::right : Side::left; }

constexpr const char* name_of(Side side) { return side == Side::left ? "left" : "right"; }

constexpr std::uint8_t number_of(Side side) { return static_cast<std::uint8_t>(side); }

/// The motor's pulse settings: what one step of an order is.
constexpr std::int32_t half_step_pulse = 1;
constexpr std::int32_t full_step_pulse = 2;

/// TMR units that the loops reckon with for a full motor step: a little less than it moves.
constexpr std::int32_t tmr_per_step = 18;

/// What functions of devices return when they failed.
constexpr std::int32_t failed = -1;

}  // namespace ovra

#endif
