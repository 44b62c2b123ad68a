// When the ToF sensor's frames are ready.
//
// Frame i of f frames a second is ready i / f after power-up. With jitter it is late by an even share of
// tof.frame_jitter_ms, at most nine tenths of a frame, so that frames keep their order.
#ifndef VIRTUAL_PROJECTOR_WORLD_TOF_FRAMES_H
#define VIRTUAL_PROJECTOR_WORLD_TOF_FRAMES_H

#include <cstdint>

#include "virtual_projector/world/microseconds.h"

namespace vp {

struct FrameTimes {
    double frames_per_s = 0;  // 0: a frame each millisecond
    double jitter_ms = 0;
    std::uint64_t seed = 0;
};

/// The number of the frame that is the latest at this time; -1 before the first.
std::int64_t tof_frame_index(const FrameTimes& times, Microseconds time);

/// The first microsecond at which frame `index` is the latest.
Microseconds tof_frame_time(const FrameTimes& times, std::int64_t index);

}  // namespace vp

#endif
