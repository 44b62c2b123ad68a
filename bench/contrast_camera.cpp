#include "bench/contrast_camera.h"

#include <algorithm>
#include <cmath>

#include "virtual_projector/world/optics.h"

namespace bench {
namespace {

constexpr double contrast_noise_sigma = 0.01;  // of one frame; full contrast is 1

}  // namespace

std::vector<Look>::const_iterator best_of(const std::vector<Look>& looks) {
    return std::max_element(looks.begin(), looks.end(),
                            [](const Look& a, const Look& b) { return a.contrast < b.contrast; });
}

ContrastCamera::ContrastCamera(const vp::Settings& unit, std::uint64_t seed, double frames_per_s,
                               int frames_kept)
    : lens_(unit.lens),
      slope_(unit.tmr.slope_per_step),
      best_steps_(vp::best_focus_steps(unit.lens, unit.tmr, unit.pose.distance_mm, unit.heat.led_c)),
      frames_per_s_(frames_per_s),
      frames_kept_(frames_kept),
      noise_(seed, vp::Stream::tmr) {}  // the position sensor's stream is free: nobody reads it here

void ContrastCamera::go_to_end(vp::Side side) {
    const double all = lens_.travel_steps + lens_.left_backlash_steps + lens_.right_backlash_steps;
    move({side, static_cast<int>(std::ceil(all)), 1, true});
}

void ContrastCamera::turn(vp::Side side, double steps) {
    const int halves = static_cast<int>(std::lround(2 * steps));
    move({side, halves / 2, 1, false});
    move({side, halves % 2, 0.5, false});
}

double ContrastCamera::look() {
    skip_frames();
    double sum = 0;
    for (int i = 0; i < frames_kept_; ++i) sum += frame();
    return sum / frames_kept_;
}

ContrastSearch ContrastCamera::result() const {
    ContrastSearch result = cost_;
    result.time_s = std::max(cost_.frames / frames_per_s_, vp::seconds(rests_at_));
    result.error_tmr = error_tmr();
    return result;
}

double ContrastCamera::error_tmr() const { return (lens_.position_steps - best_steps_) * slope_; }

vp::Microseconds ContrastCamera::frame_start() const { return vp::microseconds(cost_.frames / frames_per_s_); }

void ContrastCamera::move(const vp::LensMove& order) {
    if (order.count == 0) return;
    const vp::Microseconds begin = std::max(frame_start(), rests_at_);
    vp::LensMotor motor;
    motor.add(begin, order, lens_);
    rests_at_ = motor.finish_time(begin, lens_);
    motor.advance_to(rests_at_, lens_);
    ++cost_.moves;
    cost_.steps += static_cast<int>(std::lround(vp::seconds(rests_at_ - begin) * lens_.speed_steps_per_s));
}

void ContrastCamera::skip_frames() {
    do {
        ++cost_.frames;
    } while (frame_start() < rests_at_);
}

double ContrastCamera::frame() {
    ++cost_.frames;
    return vp::sharpness(lens_, error_tmr()) + contrast_noise_sigma * noise_.gaussian(cost_.frames);
}

}  // namespace bench
