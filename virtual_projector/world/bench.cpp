#include "virtual_projector/world/bench.h"

#include <cmath>

#include "virtual_projector/world/noise.h"

namespace vp {
namespace {

double draw(double sigma, std::uint64_t unit_seed, Stream stream, int lane = 0) {
    return sigma > 0 ? sigma * Noise(unit_seed, stream).gaussian(0, lane) : 0;
}

}  // namespace

BenchErrors bench_errors(const BenchSettings& bench, std::uint64_t unit_seed) {
    BenchErrors errors;
    errors.depth_mm = std::round(draw(bench.depth_mm_sigma, unit_seed, Stream::bench_depth)) + 0.0;  // no -0
    errors.camera_tmr = draw(bench.camera_tmr_sigma, unit_seed, Stream::bench_camera);
    errors.whole_steps = bench.camera_tmr_sigma > 0;
    errors.pitch_deg = draw(bench.level_deg_sigma, unit_seed, Stream::bench_level, 0);
    errors.roll_deg = draw(bench.level_deg_sigma, unit_seed, Stream::bench_level, 1);
    return errors;
}

Pose pose_on_bench(const Pose& believed, const BenchErrors& errors) {
    Pose pose = believed;
    pose.distance_mm += errors.depth_mm;
    pose.pitch_deg += errors.pitch_deg;
    pose.roll_deg += errors.roll_deg;
    return pose;
}

}  // namespace vp
