#include "bench/contrast_search.h"

#include <algorithm>
#include <cmath>
#include <vector>

#include "virtual_projector/world/lens.h"
#include "virtual_projector/world/noise.h"
#include "virtual_projector/world/optics.h"

namespace bench {
namespace {

constexpr double frames_per_s = 30;
constexpr int frames_kept = 3;                 // of the four at each place
constexpr double contrast_noise_sigma = 0.01;  // of one frame; full contrast is 1
constexpr double fallen_by = 0.05;             // below the maximum: more than the noise
constexpr std::size_t fallen_looks = 2;        // one look alone may be chance

// The contrast is seen from about 8 full steps around the best place: coarse steps of 4 cannot pass it by. A
// fine step of one leaves the rest to the parabola.
constexpr double coarse_pitch_steps = 4;
constexpr double fine_pitch_steps = 1;

// How far the lens goes back before the place that it then comes to from the scan's side.
constexpr double run_up_steps = 1;

struct Look {
    double place_steps = 0;
    double contrast = 0;
};

// The lens, its motor and the picture, frame by frame.
class Camera {
public:
    Camera(const vp::Settings& unit, std::uint64_t seed)
        : lens_(unit.lens),
          slope_(unit.tmr.slope_per_step),
          best_steps_(vp::best_focus_steps(unit.lens, unit.tmr, unit.pose.distance_mm, unit.heat.led_c)),
          noise_(seed, vp::Stream::tmr) {}  // the position sensor's stream is free: nobody reads it here

    const vp::LensSettings& lens() const { return lens_; }

    void go_to_end(vp::Side side) {
        const double all = lens_.travel_steps + lens_.left_backlash_steps + lens_.right_backlash_steps;
        move({side, static_cast<int>(std::ceil(all)), 1, true});
    }

    // `steps` of the motor, in halves.
    void turn(vp::Side side, double steps) {
        const int halves = static_cast<int>(std::lround(2 * steps));
        move({side, halves / 2, 1, false});
        move({side, halves % 2, 0.5, false});
    }

    double look() {
        skip_frames();
        double sum = 0;
        for (int i = 0; i < frames_kept; ++i) sum += frame();
        return sum / frames_kept;
    }

    ContrastSearch result() const {
        ContrastSearch result = cost_;
        result.time_s = std::max(static_cast<double>(cost_.frames) / frames_per_s, vp::seconds(rests_at_));
        result.error_tmr = error_tmr();
        return result;
    }

private:
    double error_tmr() const { return (lens_.position_steps - best_steps_) * slope_; }
    vp::Microseconds frame_start() const { return vp::microseconds(cost_.frames / frames_per_s); }

    void move(const vp::LensMove& order) {
        if (order.count == 0) return;
        const vp::Microseconds begin = std::max(frame_start(), rests_at_);
        vp::LensMotor motor;
        motor.add(begin, order, lens_);
        rests_at_ = motor.finish_time(begin, lens_);
        motor.advance_to(rests_at_, lens_);
        ++cost_.moves;
        cost_.steps += static_cast<int>(std::lround(vp::seconds(rests_at_ - begin) * lens_.speed_steps_per_s));
    }

    // All frames during which the lens moves, one at least.
    void skip_frames() {
        do {
            ++cost_.frames;
        } while (frame_start() < rests_at_);
    }

    double frame() {
        ++cost_.frames;
        return vp::sharpness(lens_, error_tmr()) + contrast_noise_sigma * noise_.gaussian(cost_.frames);
    }

    vp::LensSettings lens_;
    double slope_;
    double best_steps_;
    vp::Noise noise_;
    ContrastSearch cost_;
    vp::Microseconds rests_at_ = 0;
};

const Look& best_of(const std::vector<Look>& looks) {
    return *std::max_element(looks.begin(), looks.end(),
                             [](const Look& a, const Look& b) { return a.contrast < b.contrast; });
}

bool has_fallen(const std::vector<Look>& looks) {
    if (looks.size() <= fallen_looks) return false;
    const double limit = best_of(looks).contrast - fallen_by;
    return std::all_of(looks.end() - fallen_looks, looks.end(),
                       [limit](const Look& look) { return look.contrast < limit; });
}

// Where the parabola through the maximum and its two neighbours has its vertex.
double vertex(const std::vector<Look>& looks, double pitch) {
    const auto at = static_cast<std::size_t>(&best_of(looks) - looks.data());
    if (at == 0 || at + 1 == looks.size()) return looks[at].place_steps;
    const double before = looks[at - 1].contrast;
    const double here = looks[at].contrast;
    const double after = looks[at + 1].contrast;
    return looks[at].place_steps + pitch * 0.5 * (before - after) / (before - 2 * here + after);
}

class Search {
public:
    explicit Search(Camera& camera) : camera_(camera), travel_(camera.lens().travel_steps) {
        if (camera.lens().position_steps > travel_ / 2) std::swap(home_, away_);
    }

    void run() {
        camera_.go_to_end(home_);
        reverse(away_, 0);
        const std::vector<Look> coarse = scan(coarse_pitch_steps);
        go_back_to(best_of(coarse).place_steps - coarse_pitch_steps);
        const std::vector<Look> fine = scan(fine_pitch_steps);
        go_back_to(vertex(fine, fine_pitch_steps));
    }

private:
    // Looks at every place until the contrast has fallen or the travel ends.
    std::vector<Look> scan(double pitch) {
        std::vector<Look> looks = {{place_, camera_.look()}};
        while (!has_fallen(looks) && place_ + pitch <= travel_) {
            advance(pitch);
            looks.push_back({place_, camera_.look()});
        }
        return looks;
    }

    void advance(double steps) {
        camera_.turn(away_, steps);
        place_ += steps;
    }

    // Beyond the place and then to it, so that the idle travel is always taken up on the same side.
    void go_back_to(double place) {
        const double goal = std::max(0.0, std::round(2 * place) / 2);
        const double beyond = std::max(0.0, goal - run_up_steps);
        reverse(home_, place_ - beyond);
        reverse(away_, goal - beyond);
        place_ = goal;
    }

    void reverse(vp::Side side, double steps) {
        const vp::LensSettings& lens = camera_.lens();
        camera_.turn(side,
                     steps + (side == vp::Side::left ? lens.left_backlash_steps : lens.right_backlash_steps));
    }

    Camera& camera_;
    double travel_;
    vp::Side home_ = vp::Side::left;
    vp::Side away_ = vp::Side::right;
    double place_ = 0;  // full steps from the end that it started from, by the camera's own count
};

}  // namespace

ContrastSearch search_by_contrast(const vp::Settings& unit, std::uint64_t seed) {
    Camera camera(unit, seed);
    Search(camera).run();
    return camera.result();
}

}  // namespace bench
