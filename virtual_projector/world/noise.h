// The sensors' noise.
//
// Noise is a function of the seed, the sensor and the number of the sample, not of who asked before: a
// sensor that is read more often does not change what another one says, nor what it says itself later. The
// arithmetic is our own, so that every platform draws the same numbers (the distributions of the standard
// library are free to differ).
#ifndef VIRTUAL_PROJECTOR_WORLD_NOISE_H
#define VIRTUAL_PROJECTOR_WORLD_NOISE_H

#include <cstdint>

namespace vp {

/// One stream for each source of chance.
enum class Stream : std::uint64_t {
    tmr = 1,
    tof_frame,
    tof_pixels,
    zone_grid,
    gravity,
    hand,
    pixel_pattern,
    unit_spread,
    serial_number,
    tof_outliers,
    tof_missing,
    tof_frame_jitter,
    lens_steps,
    gravity_spikes,
    knocks,
    bench_depth,
    bench_camera,
    bench_level,
};

class Noise {
public:
    Noise(std::uint64_t seed, Stream stream);

    /// 64 even bits for sample `index`, and for several draws of one sample, `lane` 0, 1, 2, ...
    std::uint64_t bits(std::int64_t index, int lane = 0) const;

    /// Even over [0, 1).
    double uniform(std::int64_t index, int lane = 0) const;

    /// Normal, mean 0 and standard deviation 1.
    double gaussian(std::int64_t index, int lane = 0) const;

private:
    std::uint64_t key_;
};

}  // namespace vp

#endif
