// The unit of time everywhere in the virtual projector.
#ifndef VIRTUAL_PROJECTOR_WORLD_MICROSECONDS_H
#define VIRTUAL_PROJECTOR_WORLD_MICROSECONDS_H

#include <cstdint>

namespace vp {

/// Microseconds since the simulated program started, or a duration.
using Microseconds = std::int64_t;

constexpr Microseconds microseconds_per_millisecond = 1'000;
constexpr Microseconds microseconds_per_second = 1'000'000;

/// A duration in seconds, for formulas.
constexpr double seconds(Microseconds time) { return static_cast<double>(time) / 1e6; }

/// The nearest whole number of microseconds.
constexpr Microseconds microseconds(double time_s) {
    return static_cast<Microseconds>(time_s * 1e6 + (time_s < 0 ? -0.5 : 0.5));
}

}  // namespace vp

#endif
