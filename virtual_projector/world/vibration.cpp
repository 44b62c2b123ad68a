#include "virtual_projector/world/vibration.h"

#include <cmath>

#include "virtual_projector/world/noise.h"

namespace vp {
namespace {

constexpr double mg_per_g = 1000;
constexpr double seconds_per_hour = 3600;

double fan_wave(const GravitySettings& gravity, double turns) {
    double sum = 0;
    for (int k = 1; k <= static_cast<int>(gravity.fan_harmonics); ++k) sum += std::sin(2 * pi * k * turns) / k;
    return sum;
}

}  // namespace

Vec3 fan_vibration_g(const GravitySettings& gravity, Microseconds time) {
    if (gravity.fan_vibration_mg == 0) return {};
    const double turns = gravity.fan_hz * seconds(time);
    constexpr double axes = 3;
    return (gravity.fan_vibration_mg / mg_per_g) * Vec3{fan_wave(gravity, turns),
                                                        fan_wave(gravity, turns + 1 / axes),
                                                        fan_wave(gravity, turns + 2 / axes)};
}

double knock_g(double strength_g, Microseconds since, Microseconds duration) {
    if (since < 0 || since >= duration) return 0;
    return strength_g * std::sin(2 * pi * static_cast<double>(since) / static_cast<double>(duration));
}

// Each second has its knock or none, at its beginning.
double chance_knock_g(const HandSettings& hand, std::uint64_t seed, Microseconds time) {
    if (hand.knocks_per_h == 0) return 0;
    const Noise noise(seed, Stream::knocks);
    const bool is_knocked =
        noise.uniform(time / microseconds_per_second) < hand.knocks_per_h / seconds_per_hour;
    return is_knocked ? knock_g(hand.knock_g, time % microseconds_per_second, knock_duration) : 0;
}

}  // namespace vp
