#include "focusctrl/gsensor/movement.h"

#include <algorithm>
#include <cmath>

namespace ovra {
namespace {

// Degrees from one block (200 ms at the sensor thread's pace) to the next.
constexpr float sudden_shake_step_degrees = 13.0F;
constexpr float slow_shake_step_degrees = 3.0F;
constexpr float steady_step_degrees = 1.76F;

// Degrees from the rest position at which the projector has left it.
constexpr float away_from_rest_degrees = 10.0F;

bool all_below(const Axes& values, float bound) {
    return values.x < bound && values.y < bound && values.z < bound;
}

bool is_away(const Axes& tilt, const RestPosition& rest) {
    return any_reaches(absolute_difference(tilt, rest.tilt), away_from_rest_degrees);
}

// A projector that is carried: clear of its rest position for a whole block, and still moving. A block that
// has only just left the rest position does not count: it may fall back.
bool is_slow_shake(const Axes& now, const Axes& last, const RestPosition& rest) {
    return rest.known && is_away(now, rest) && is_away(last, rest) &&
           any_reaches(absolute_difference(now, last), slow_shake_step_degrees);
}

}  // namespace

Axes absolute_difference(const Axes& one, const Axes& other) {
    return {std::fabs(one.x - other.x), std::fabs(one.y - other.y), std::fabs(one.z - other.z)};
}

bool any_reaches(const Axes& values, float bound) {
    return values.x >= bound || values.y >= bound || values.z >= bound;
}

bool all_reach(const Axes& values, float bound) {
    return values.x >= bound && values.y >= bound && values.z >= bound;
}

float largest(const Axes& values) { return std::max({values.x, values.y, values.z}); }

BlockEvent classify_block(const Axes& now, const Axes& last, const RestPosition& rest, bool movement_pending) {
    if (any_reaches(absolute_difference(now, last), sudden_shake_step_degrees)) return BlockEvent::sudden_shake;
    if (is_slow_shake(now, last, rest)) return BlockEvent::slow_shake;
    const bool steadiness_is_wanted = !rest.known || movement_pending;
    return steadiness_is_wanted ? BlockEvent::settling : BlockEvent::nothing;
}

bool is_steady(const Axes& now, const Axes& last) {
    return all_below(absolute_difference(now, last), steady_step_degrees);
}

}  // namespace ovra
