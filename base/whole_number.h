// From a number to one of 32 bits, without a trap.
#ifndef OVRA_BASE_WHOLE_NUMBER_H
#define OVRA_BASE_WHOLE_NUMBER_H

#include <algorithm>
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

/// The value itself, or the nearest that 32 bits can hold.
inline std::int32_t saturated_to_32_bits(std::int64_t value) {
    using Limits = std::numeric_limits<std::int32_t>;
    return static_cast<std::int32_t>(std::clamp<std::int64_t>(value, Limits::min(), Limits::max()));
}

}  // namespace ovra

#endif
