#include "virtual_projector/world/lens_heat.h"

#include <algorithm>
#include <cmath>

namespace vp {
namespace {

// Closer time constants than this share of each other count as one: their difference has no digits left.
constexpr double same_share = 1e-6;

bool are_same(const HeatPath& path) {
    const double tau = path.led_time_constant_s;
    return std::abs(tau - path.barrel_time_constant_s) <= same_share * tau;
}

}  // namespace

double led_after(const HeatPath& path, double time_s) {
    return path.led_final_c + (path.led_c - path.led_final_c) * std::exp(-time_s / path.led_time_constant_s);
}

double barrel_after(const HeatPath& path, double time_s) {
    if (path.barrel_time_constant_s <= 0) return led_after(path, time_s);
    const double tau = path.led_time_constant_s;
    const double tau_b = path.barrel_time_constant_s;
    const double led_way = path.led_c - path.led_final_c;
    const double barrel_way = path.barrel_c - path.led_final_c;
    const double own = std::exp(-time_s / tau_b);
    const double from_led = are_same(path) ? time_s / tau * own  // the limit for equal time constants
                                           : tau / (tau - tau_b) * (std::exp(-time_s / tau) - own);
    return path.led_final_c + led_way * from_led + barrel_way * own;
}

// dB/dt = 0 solved for t, with B(t) as a sum of two exponentials, or as its limit for equal time constants.
std::optional<double> barrel_turn_s(const HeatPath& path) {
    if (path.barrel_time_constant_s <= 0) return std::nullopt;
    const double tau = path.led_time_constant_s;
    const double tau_b = path.barrel_time_constant_s;
    const double led_way = path.led_c - path.led_final_c;
    const double barrel_way = path.barrel_c - path.led_final_c;
    if (led_way == 0) return std::nullopt;
    double time_s = 0;
    if (are_same(path)) {
        time_s = tau * (1 - barrel_way / led_way);
    } else {
        const double with_led = led_way * tau / (tau - tau_b);
        const double ratio = with_led * tau_b / ((with_led - barrel_way) * tau);
        if (!(ratio > 0) || !std::isfinite(ratio)) return std::nullopt;
        time_s = std::log(ratio) / (1 / tau - 1 / tau_b);
    }
    return time_s > 0 ? std::optional(time_s) : std::nullopt;
}

void HeatCycles::reach(double barrel_c) {
    extreme_c_ = is_counted_ ? std::max(extreme_c_, barrel_c) : std::min(extreme_c_, barrel_c);
    if (std::abs(barrel_c - extreme_c_) <= threshold_c) return;
    if (!is_counted_) ++count_;
    is_counted_ = !is_counted_;
    extreme_c_ = barrel_c;
}

void HeatCycles::follow(const HeatPath& path, double time_s) {
    const std::optional<double> turn = barrel_turn_s(path);
    if (turn && *turn < time_s) reach(barrel_after(path, *turn));
    reach(barrel_after(path, time_s));
}

}  // namespace vp
