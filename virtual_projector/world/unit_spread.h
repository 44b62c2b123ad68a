// How units of one make differ: for each parameter a distribution, and the draw of one unit.
//
// A parameter is drawn by its own name and the unit's seed, so another one that is added, taken away or put
// elsewhere changes none. The arithmetic is our own: every platform draws the same unit.
//
//     normal             mean + sigma z, z of mean 0 and variance 1 (Noise::gaussian)
//     truncated_normal   the same within min and max
//     log_normal         median exp(sigma z): sigma is that of the natural logarithm
//     uniform            even from min to max
//     choice             one of some values, by their weights
//
// What falls outside its bounds (min and max, and always the parameter's own range) is drawn again, up to 100
// times; then the nearest bound is taken.
//
// Parameters that depend on each other follow a common factor f, which is drawn by its name as they are by
// theirs: z = r f + sqrt(1 - r^2) e, e the parameter's own draw. Two that follow one factor by r and s are
// correlated by r s.
#ifndef VIRTUAL_PROJECTOR_WORLD_UNIT_SPREAD_H
#define VIRTUAL_PROJECTOR_WORLD_UNIT_SPREAD_H

#include <cstdint>
#include <string>
#include <vector>

#include "virtual_projector/world/parameters.h"

namespace vp {

enum class Distribution { normal, truncated_normal, log_normal, uniform, choice };

/// The spread of one parameter, in its unit.
struct Spread {
    std::string parameter;
    Distribution distribution = Distribution::normal;
    double centre = 0;  // mean, or median of a log_normal
    double sigma = 0;
    double min = 0;  // of what may be drawn
    double max = 0;
    std::vector<double> values;   // of a choice
    std::vector<double> weights;  // one for each value
    bool whole = false;           // whole numbers only
    std::string factor;           // of the normal ones; empty: none
    double correlation = 0;       // with the factor, -1 to 1
};

using UnitSpread = std::vector<Spread>;

/// This parameter's value in the unit of that seed.
double draw_value(const Spread& spread, std::uint64_t unit_seed);

/// All parameters of the unit of that seed, in the order of their spreads, and its serial number.
ParameterValues draw_unit(const UnitSpread& spreads, std::uint64_t unit_seed);

/// The exponential function by its series, with the same digits on every platform.
double portable_exp(double x);

}  // namespace vp

#endif
