#include "virtual_projector/world/tof_frames.h"

#include <algorithm>
#include <cmath>

#include "virtual_projector/world/noise.h"

namespace vp {
namespace {

constexpr Microseconds unpaced_frame_us = microseconds_per_millisecond;
constexpr double max_late_frames = 0.9;

std::int64_t even_index(double frames_per_s, Microseconds time) {
    if (frames_per_s <= 0) return time / unpaced_frame_us;
    return static_cast<std::int64_t>(std::floor(seconds(time) * frames_per_s));
}

double frame_duration_s(double frames_per_s) {
    return frames_per_s > 0 ? 1 / frames_per_s : seconds(unpaced_frame_us);
}

// The frame's own time rounds to a microsecond that may still belong to the one before.
Microseconds even_time(double frames_per_s, std::int64_t index) {
    Microseconds time = microseconds(static_cast<double>(index) * frame_duration_s(frames_per_s));
    while (even_index(frames_per_s, time) < index) ++time;
    return time;
}

Microseconds lateness(const FrameTimes& times, std::int64_t index) {
    const double latest_s =
        std::min(times.jitter_ms / 1000, max_late_frames * frame_duration_s(times.frames_per_s));
    return microseconds(latest_s * Noise(times.seed, Stream::tof_frame_jitter).uniform(index));
}

}  // namespace

std::int64_t tof_frame_index(const FrameTimes& times, Microseconds time) {
    const std::int64_t even = even_index(times.frames_per_s, time);
    if (times.jitter_ms == 0) return even;
    return time < tof_frame_time(times, even) ? even - 1 : even;
}

Microseconds tof_frame_time(const FrameTimes& times, std::int64_t index) {
    const Microseconds even = even_time(times.frames_per_s, index);
    return times.jitter_ms == 0 ? even : even + lateness(times, index);
}

}  // namespace vp
