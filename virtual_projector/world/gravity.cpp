#include "virtual_projector/world/gravity.h"

#include <cmath>

#include "virtual_projector/world/noise.h"
#include "virtual_projector/world/wall.h"

namespace vp {

std::int64_t gravity_sample_index(const GravitySettings& gravity, Microseconds time) {
    const auto period = static_cast<Microseconds>(gravity.period_ms * microseconds_per_millisecond);
    return time / period;
}

// The sensor feels what holds it up, so at rest it reads one g upwards.
std::array<double, 3> gravity_sample(const GravitySettings& gravity, const Pose& pose,
                                     const Vec3& acceleration_g, std::uint64_t seed, std::int64_t index) {
    const Vec3 felt = unit_orientation(pose).to_unit(Vec3{0, 0, 1} + acceleration_g);
    const Noise noise(seed, Stream::gravity);
    const double units = gravity.units_per_g;
    return {-felt.x * units + gravity.offset_x + gravity.noise_sigma * noise.gaussian(index, 0),
            -felt.y * units + gravity.offset_y + gravity.noise_sigma * noise.gaussian(index, 1),
            felt.z * units + gravity.offset_z + gravity.noise_sigma * noise.gaussian(index, 2)};
}

}  // namespace vp
