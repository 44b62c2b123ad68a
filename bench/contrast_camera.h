// The lens, its motor and the picture, frame by frame, as both contrast searches see them.
#ifndef BENCH_CONTRAST_CAMERA_H
#define BENCH_CONTRAST_CAMERA_H

#include <cstdint>
#include <vector>

#include "bench/contrast_search.h"
#include "virtual_projector/world/lens.h"
#include "virtual_projector/world/noise.h"
#include "virtual_projector/world/settings.h"

namespace bench {

struct Look {
    double place_steps = 0;
    double contrast = 0;
};

/// The one with the highest contrast.
std::vector<Look>::const_iterator best_of(const std::vector<Look>& looks);

class ContrastCamera {
public:
    /// `frames_kept` are averaged at each place, after all those during which the lens moved, one at least.
    ContrastCamera(const vp::Settings& unit, std::uint64_t seed, double frames_per_s, int frames_kept);

    const vp::LensSettings& lens() const { return lens_; }

    void go_to_end(vp::Side side);
    void turn(vp::Side side, double steps);  // of the motor, to the nearest half
    double look();                           // the contrast, from 0 to 1
    ContrastSearch result() const;

private:
    double error_tmr() const;
    vp::Microseconds frame_start() const;
    void move(const vp::LensMove& order);
    void skip_frames();
    double frame();

    vp::LensSettings lens_;
    double slope_;
    double best_steps_;
    double frames_per_s_;
    int frames_kept_;
    vp::Noise noise_;
    ContrastSearch cost_;
    vp::Microseconds rests_at_ = 0;
};

}  // namespace bench

#endif
