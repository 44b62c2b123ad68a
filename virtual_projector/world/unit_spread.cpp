#include "virtual_projector/world/unit_spread.h"

#include <algorithm>
#include <cmath>

#include "virtual_projector/world/fnv1a.h"
#include "virtual_projector/world/noise.h"

namespace vp {
namespace {

constexpr int max_draws = 100;
constexpr std::uint64_t serial_numbers = 1000000;

std::int64_t place_of(const std::string& name) { return static_cast<std::int64_t>(fnv1a64(name)); }

// A factor's draw stands apart from that of a parameter of the same name.
double factor_draw(const Noise& noise, const std::string& factor) {
    return noise.gaussian(place_of("factor " + factor));
}

double normal_draw(const Spread& spread, const Noise& noise, int attempt) {
    const double own = noise.gaussian(place_of(spread.parameter), attempt);
    if (spread.factor.empty()) return own;
    const double r = spread.correlation;
    return r * factor_draw(noise, spread.factor) + std::sqrt(1 - r * r) * own;
}

double choose(const Spread& spread, double even) {
    double sum = 0;
    for (const double weight : spread.weights) sum += weight;
    double left = even * sum;
    for (std::size_t i = 0; i < spread.values.size(); ++i) {
        left -= spread.weights.at(i);
        if (left < 0) return spread.values.at(i);
    }
    return spread.values.back();
}

// Whole numbers are even, too: the bounds are as probable as the others.
double draw_evenly(const Spread& spread, double even) {
    if (spread.whole) return std::floor(spread.min + (spread.max - spread.min + 1) * even);
    return spread.min + (spread.max - spread.min) * even;
}

double draw_once(const Spread& spread, const Noise& noise, int attempt) {
    const double even = noise.uniform(place_of(spread.parameter), attempt);
    if (spread.distribution == Distribution::choice) return choose(spread, even);
    if (spread.distribution == Distribution::uniform) return draw_evenly(spread, even);
    const double scaled = spread.sigma * normal_draw(spread, noise, attempt);
    const bool is_log = spread.distribution == Distribution::log_normal;
    const double value = is_log ? spread.centre * portable_exp(scaled) : spread.centre + scaled;
    return spread.whole ? std::round(value) + 0.0 : value;  // + 0.0: no negative zero
}

bool is_within(const Spread& spread, double value) { return value >= spread.min && value <= spread.max; }

}  // namespace

// The series of x/1024 is exact to the last digits after nine terms for |x| up to some hundred; the result is
// squared ten times then.
double portable_exp(double x) {
    constexpr int halvings = 10;
    constexpr int terms = 12;
    const double small = x / (1 << halvings);
    double sum = 1;
    for (int term = terms; term > 0; --term) sum = 1 + sum * small / term;
    for (int i = 0; i < halvings; ++i) sum *= sum;
    return sum;
}

double draw_value(const Spread& spread, std::uint64_t unit_seed) {
    const Noise noise(unit_seed, Stream::unit_spread);
    double value = draw_once(spread, noise, 0);
    if (spread.distribution == Distribution::choice) return value;
    for (int attempt = 1; attempt < max_draws && !is_within(spread, value); ++attempt) {
        value = draw_once(spread, noise, attempt);
    }
    return std::clamp(value, spread.min, spread.max);
}

ParameterValues draw_unit(const UnitSpread& spreads, std::uint64_t unit_seed) {
    ParameterValues unit;
    for (const Spread& spread : spreads) unit.emplace_back(spread.parameter, draw_value(spread, unit_seed));
    unit.emplace_back("unit.serial", static_cast<double>(unit_seed % serial_numbers));
    return unit;
}

}  // namespace vp
