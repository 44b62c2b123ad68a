// What the gravity sensor feels.
#ifndef VIRTUAL_PROJECTOR_WORLD_GRAVITY_H
#define VIRTUAL_PROJECTOR_WORLD_GRAVITY_H

#include <array>
#include <cstdint>

#include "virtual_projector/world/microseconds.h"
#include "virtual_projector/world/settings.h"
#include "virtual_projector/world/vector.h"

namespace vp {

/// The number of the sample period that a time belongs to; the noise of a sample goes with it.
std::int64_t gravity_sample_index(const GravitySettings& gravity, Microseconds time);

/// One sample of the bare sensor, in driver units, its own offsets included. The sensor's x axis points to
/// the unit's left, its y axis to the back, z out of the top: standing level it reads (0, 0, +1 g), with the
/// lens up (0, -1 g, 0). `acceleration_g` is the hand's, in the room, in units of the gravity of the earth;
/// `case_c` is how warm the sensor is. Each axis is
///     the felt, turned by the mounting error + the fan's vibration at the sample's time
///     + offset + bias_drift * (case_c - 25) + noise + a spike with its probability
/// (data sheets of such sensors state a drift of 0.1 to 1 mg per degree).
std::array<double, 3> gravity_sample(const GravitySettings& gravity, const Pose& pose,
                                     const Vec3& acceleration_g, std::uint64_t seed, std::int64_t index,
                                     double case_c);

}  // namespace vp

#endif
