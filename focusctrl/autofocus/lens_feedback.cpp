#include "focusctrl/autofocus/lens_feedback.h"

#include <algorithm>
#include <limits>

namespace ovra {
namespace {

// All in TMR units.
constexpr std::int32_t inside_limit = 10;  // how far inside a soft limit a clamped target lies
constexpr std::int32_t smallest_manual_move = 10;
constexpr std::int32_t manual_coarse_from = 31;  // differences from here on take several steps at once
constexpr std::int32_t manual_fine_from = 7;     // below it the lens is there
constexpr std::int32_t target_coarse_from = 11;
constexpr std::int32_t target_fine_from = 5;

using Limits = std::numeric_limits<std::int32_t>;

// Two ends and two overflow checks: by a clamp in 64 bits they take the board 400 bytes of code more.
std::int32_t end_of_range(bool upper) { return upper ? Limits::max() : Limits::min(); }

}  // namespace

std::int32_t tmr_sum(std::int32_t a, std::int32_t b) {
    std::int32_t sum = 0;
    return __builtin_add_overflow(a, b, &sum) ? end_of_range(b > 0) : sum;
}

// Not the least number, whose negative would not fit.
std::int32_t tmr_difference(std::int32_t a, std::int32_t b) {
    std::int32_t difference = 0;
    if (__builtin_sub_overflow(a, b, &difference)) difference = end_of_range(a > b);
    return std::max(difference, -Limits::max());
}

ClampedTarget clamp_to_limits(std::int32_t target, std::int32_t left_limit, std::int32_t right_limit) {
    if (target > right_limit) return {tmr_sum(right_limit, -inside_limit), Side::right};
    if (target < left_limit) return {tmr_sum(left_limit, inside_limit), Side::left};
    return {target, std::nullopt};
}

std::int32_t widen_manual_move(std::int32_t delta) {
    if (delta <= -smallest_manual_move || delta >= smallest_manual_move) return delta;
    return delta < 0 ? -smallest_manual_move : smallest_manual_move;
}

LensAction next_manual_action(std::int32_t difference) {
    const Side side = difference > 0 ? Side::right : Side::left;
    const std::int32_t distance = difference < 0 ? -difference : difference;
    if (distance >= manual_coarse_from) return {LensAction::Kind::coarse, side};
    if (distance >= manual_fine_from) return {LensAction::Kind::fine, side};
    return {LensAction::Kind::done, side};
}

std::int32_t coarse_steps(std::int32_t difference) {
    return (difference < 0 ? -difference : difference) / tmr_per_step;
}

LensAction next_target_action(Side side, std::int32_t difference) {
    const std::int32_t ahead = side == Side::right ? difference : -difference;
    if (ahead >= target_coarse_from) return {LensAction::Kind::coarse, side};
    if (ahead >= target_fine_from) return {LensAction::Kind::fine, side};
    return {LensAction::Kind::done, side};
}

}  // namespace ovra
