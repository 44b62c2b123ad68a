// From a real number to an integer without a trap.
#ifndef OVRA_FOCUSCTRL_WHOLE_NUMBER_H
#define OVRA_FOCUSCTRL_WHOLE_NUMBER_H

#include <cmath>
#include <cstdint>
#include <limits>

namespace ovra {

/// The value cut to an integer, towards zero. What 32 bits cannot hold becomes the nearest value that they
/// can; not-a-number becomes 0. A plain conversion would be undefined there.
inline std::int32_t whole_number(double value) {
    using Limits = std::numeric_limits<std::int32_t>;
    if (std::isnan(value)) return 0;
    if (value >= static_cast<double>(Limits::max())) return Limits::max();
    if (value <= static_cast<double>(Limits::min())) return Limits::min();
    return static_cast<std::int32_t>(value);
}

}  // namespace ovra

#endif
