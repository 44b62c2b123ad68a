// The strong search.
#include <algorithm>
#include <cmath>
#include <vector>

#include "bench/contrast_camera.h"
#include "bench/contrast_search.h"

namespace bench {
namespace {

constexpr double frames_per_s = 60;
constexpr int frames_kept = 1;      // of the two at each place
constexpr double fallen_by = 0.05;  // below the maximum: five times the noise of a frame
constexpr double seen = 0.1;        // a lower maximum may be noise
constexpr double floor = 0.02;      // lower contrasts are noise, and have no logarithm worth taking

// Little more than the bell curve is wide: the looks on both sides of the maximum still stand on its flanks.
constexpr double pitch_steps = 4;

// Motor steps that go by before the lens moves to that side.
double backlash_steps(const vp::LensSettings& lens, vp::Side side) {
    return side == vp::Side::right ? (1 - lens.backlash_state) * lens.right_backlash_steps
                                   : lens.backlash_state * lens.left_backlash_steps;
}

// Where the bell curve through three looks has its maximum.
double peak(const Look& before, const Look& here, const Look& after) {
    const auto level = [](const Look& look) { return std::log(std::max(look.contrast, floor)); };
    const double left_way = here.place_steps - before.place_steps;
    const double right_way = after.place_steps - here.place_steps;
    const double left_slope = (level(here) - level(before)) / left_way;
    const double right_slope = (level(after) - level(here)) / right_way;
    const double bend = (right_slope - left_slope) / (left_way + right_way);
    return here.place_steps - (left_slope + bend * left_way) / (2 * bend);
}

class Climb {
public:
    explicit Climb(ContrastCamera& camera) : camera_(camera), travel_(camera.lens().travel_steps) {}

    void run() {
        const vp::Side first = place() > travel_ / 2 ? vp::Side::left : vp::Side::right;
        look();
        scan(first);
        scan(opposite(first));
        go_to(goal());
    }

private:
    double place() const { return camera_.lens().position_steps; }

    // Looks from the last place that was looked at on this side, on and on, until the maximum lies between two
    // looks or the travel ends.
    void scan(vp::Side side) {
        while (!is_passed(side) && !is_at_end(side)) {
            const double edge = edge_of(side).place_steps;
            go_to(side == vp::Side::left ? std::max(edge - pitch_steps, 0.0)
                                         : std::min(edge + pitch_steps, travel_));
            look();
        }
    }

    const Look& edge_of(vp::Side side) const { return side == vp::Side::left ? looks_.front() : looks_.back(); }

    bool is_passed(vp::Side side) const {
        const double best = best_of(looks_)->contrast;
        return best >= seen && edge_of(side).contrast < best - fallen_by;
    }

    // Less than a half step is left, which the motor cannot make.
    bool is_at_end(vp::Side side) const {
        const double edge = edge_of(side).place_steps;
        return side == vp::Side::left ? edge < 0.5 : edge > travel_ - 0.5;
    }

    double goal() const {
        const auto best = best_of(looks_);
        if (best == looks_.begin() || best + 1 == looks_.end()) return best->place_steps;
        return std::clamp(peak(*(best - 1), *best, *(best + 1)), 0.0, travel_);
    }

    void look() {
        const Look now = {place(), camera_.look()};
        const auto after = std::find_if(looks_.begin(), looks_.end(), [&now](const Look& other) {
            return other.place_steps > now.place_steps;
        });
        looks_.insert(after, now);
    }

    void go_to(double goal) {
        const double way = goal - place();
        const vp::Side side = way < 0 ? vp::Side::left : vp::Side::right;
        if (std::abs(way) >= 0.25) camera_.turn(side, std::abs(way) + backlash_steps(camera_.lens(), side));
    }

    ContrastCamera& camera_;
    double travel_;
    std::vector<Look> looks_;  // by place
};

}  // namespace

ContrastSearch climb_from_here(const vp::Settings& unit, std::uint64_t seed) {
    ContrastCamera camera(unit, seed, frames_per_s, frames_kept);
    Climb(camera).run();
    return camera.result();
}

}  // namespace bench
