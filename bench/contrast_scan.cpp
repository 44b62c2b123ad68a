// The plain search.
#include <algorithm>
#include <cmath>
#include <utility>
#include <vector>

#include "bench/contrast_camera.h"
#include "bench/contrast_search.h"

namespace bench {
namespace {

constexpr double frames_per_s = 30;
constexpr int frames_kept = 3;           // of the four at each place
constexpr double fallen_by = 0.05;       // below the maximum: more than the noise
constexpr std::size_t fallen_looks = 2;  // one look alone may be chance

// The contrast is seen from about 8 full steps around the best place: coarse steps of 4 cannot pass it by. A
// fine step of one leaves the rest to the parabola.
constexpr double coarse_pitch_steps = 4;
constexpr double fine_pitch_steps = 1;

// How far the lens goes back before the place that it then comes to from the scan's side.
constexpr double run_up_steps = 1;

bool has_fallen(const std::vector<Look>& looks) {
    if (looks.size() <= fallen_looks) return false;
    const double limit = best_of(looks)->contrast - fallen_by;
    return std::all_of(looks.end() - fallen_looks, looks.end(),
                       [limit](const Look& look) { return look.contrast < limit; });
}

// Where the parabola through the maximum and its two neighbours has its vertex.
double vertex(const std::vector<Look>& looks, double pitch) {
    const auto at = static_cast<std::size_t>(best_of(looks) - looks.begin());
    if (at == 0 || at + 1 == looks.size()) return looks[at].place_steps;
    const double before = looks[at - 1].contrast;
    const double here = looks[at].contrast;
    const double after = looks[at + 1].contrast;
    return looks[at].place_steps + pitch * 0.5 * (before - after) / (before - 2 * here + after);
}

class Scan {
public:
    explicit Scan(ContrastCamera& camera) : camera_(camera), travel_(camera.lens().travel_steps) {
        if (camera.lens().position_steps > travel_ / 2) std::swap(home_, away_);
    }

    void run() {
        camera_.go_to_end(home_);
        reverse(away_, 0);
        const std::vector<Look> coarse = scan(coarse_pitch_steps);
        go_back_to(best_of(coarse)->place_steps - coarse_pitch_steps);
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

    // Beyond the place and then to it, so that the backlash is always taken up on the same side.
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

    ContrastCamera& camera_;
    double travel_;
    vp::Side home_ = vp::Side::left;
    vp::Side away_ = vp::Side::right;
    double place_ = 0;  // full steps from the end that it started from, by the camera's own count
};

}  // namespace

ContrastSearch scan_from_end(const vp::Settings& unit, std::uint64_t seed) {
    ContrastCamera camera(unit, seed, frames_per_s, frames_kept);
    Scan(camera).run();
    return camera.result();
}

}  // namespace bench
