#include "virtual_projector/world/gravity.h"

#include <cmath>

#include "virtual_projector/world/noise.h"
#include "virtual_projector/world/vibration.h"
#include "virtual_projector/world/wall.h"

namespace vp {

std::int64_t gravity_sample_index(const GravitySettings& gravity, Microseconds time) {
    const auto period = static_cast<Microseconds>(gravity.period_ms * microseconds_per_millisecond);
    return time / period;
}

namespace {

constexpr double bias_reference_c = 25;
constexpr double mg_per_g = 1000;

// As the sensor's own axes stand: a mounting error turns it in the unit as a pose turns the unit in the room.
Vec3 in_sensor(const GravitySettings& gravity, const Vec3& felt) {
    if (gravity.mount_pitch_deg == 0 && gravity.mount_roll_deg == 0) return felt;
    Pose mounted;
    mounted.pitch_deg = gravity.mount_pitch_deg;
    mounted.roll_deg = gravity.mount_roll_deg;
    return unit_orientation(mounted).to_unit(felt);
}

void add_spike(const GravitySettings& gravity, std::uint64_t seed, std::int64_t index,
               std::array<double, 3>& sample) {
    if (gravity.spike_probability == 0) return;
    const Noise noise(seed, Stream::gravity_spikes);
    if (noise.uniform(index, 0) >= gravity.spike_probability) return;
    const double size = gravity.spike_mg / mg_per_g * gravity.units_per_g;
    const std::uint64_t choice = noise.bits(index, 1);
    sample.at(static_cast<std::size_t>(choice / 2 % sample.size())) += choice % 2 == 0 ? size : -size;
}

// When the sensor took the sample, whoever reads it later.
Microseconds sample_time(const GravitySettings& gravity, std::int64_t index) {
    return index * static_cast<Microseconds>(gravity.period_ms * microseconds_per_millisecond);
}

}  // namespace

// The sensor feels what holds it up, so at rest it reads one g upwards.
std::array<double, 3> gravity_sample(const GravitySettings& gravity, const Pose& pose,
                                     const Vec3& acceleration_g, std::uint64_t seed, std::int64_t index,
                                     double case_c) {
    const Vec3 held = unit_orientation(pose).to_unit(Vec3{0, 0, 1} + acceleration_g);
    const Vec3 felt = in_sensor(gravity, held) + fan_vibration_g(gravity, sample_time(gravity, index));
    const Noise noise(seed, Stream::gravity);
    const double units = gravity.units_per_g;
    std::array<double, 3> sample = {
        -felt.x * units + gravity.offset_x + gravity.noise_sigma * noise.gaussian(index, 0),
        -felt.y * units + gravity.offset_y + gravity.noise_sigma * noise.gaussian(index, 1),
        felt.z * units + gravity.offset_z + gravity.noise_sigma * noise.gaussian(index, 2)};
    if (gravity.bias_drift_mg_per_c != 0) {
        const double bias_g = gravity.bias_drift_mg_per_c * (case_c - bias_reference_c) / mg_per_g;
        for (double& axis : sample) axis += bias_g * units;
    }
    add_spike(gravity, seed, index, sample);
    return sample;
}

}  // namespace vp
