// What shakes a unit that nobody holds: its fan, and knocks that it gets from outside.
#ifndef VIRTUAL_PROJECTOR_WORLD_VIBRATION_H
#define VIRTUAL_PROJECTOR_WORLD_VIBRATION_H

#include <cstdint>

#include "virtual_projector/world/microseconds.h"
#include "virtual_projector/world/settings.h"
#include "virtual_projector/world/vector.h"

namespace vp {

/// The fan's, in the unit, in units of the gravity of the earth: along each axis
///     a(t) = A sum over k = 1..n of 1/k sin(2 pi k (f t + axis / 3))
/// with A gravity.fan_vibration_mg, f gravity.fan_hz and n gravity.fan_harmonics. An unbalanced rotor shakes
/// once in each turn; blades and bearing add harmonics that grow weaker (texts on machine vibration; ISO 14694
/// limits small fans to a few mm/s, which is 20 to 100 mg at 50 to 100 Hz).
Vec3 fan_vibration_g(const GravitySettings& gravity, Microseconds time);

/// A knock: one full wave sideways, so that the unit stands afterwards where it stood. 0 out of its time.
///     a(t) = strength sin(2 pi t / duration), 0 <= t < duration
double knock_g(double strength_g, Microseconds since, Microseconds duration);

constexpr Microseconds knock_duration = 60000;

/// Knocks that come by chance, hand.knocks_per_h of them on average, at most one in each second.
double chance_knock_g(const HandSettings& hand, std::uint64_t seed, Microseconds time);

}  // namespace vp

#endif
