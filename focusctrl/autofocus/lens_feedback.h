// What the feedback loops of the lens decide: values in, values out, no device.
#ifndef OVRA_FOCUSCTRL_AUTOFOCUS_LENS_FEEDBACK_H
#define OVRA_FOCUSCTRL_AUTOFOCUS_LENS_FEEDBACK_H

#include <cstdint>
#include <optional>

#include "focusctrl/autofocus/lens_units.h"

namespace ovra {

/// A position some TMR units beside another one. The sensor's range is small, but limits and relative moves are
/// the host's: what would leave 32 bits stays at their end.
std::int32_t tmr_sum(std::int32_t a, std::int32_t b);

/// How far `a` lies to the right of `b`, in TMR units. It is turned round where it leads to the left, so it
/// stays within what has a negative.
std::int32_t tmr_difference(std::int32_t a, std::int32_t b);

struct ClampedTarget {
    std::int32_t target;
    std::optional<Side> limit_hit;  // none: within both limits
};

/// A target in TMR units beyond a soft limit becomes a place 10 units inside it. The right limit is looked
/// at first.
ClampedTarget clamp_to_limits(std::int32_t target, std::int32_t left_limit, std::int32_t right_limit);

/// The smallest manual move is 10 TMR units; a move of nothing goes right.
std::int32_t widen_manual_move(std::int32_t delta);

struct LensAction {
    enum class Kind { done, coarse, fine };
    Kind kind;
    Side side;  // not used by `done`
};

/// The next action of the manual focus loop, for the target's distance from the lens in TMR units.
LensAction next_manual_action(std::int32_t difference);

/// Steps of a coarse manual move, for a difference of either sign.
std::int32_t coarse_steps(std::int32_t difference);

/// The next single step of an absolute move whose side was fixed at its start. Coarse means one full step here.
LensAction next_target_action(Side side, std::int32_t difference);

}  // namespace ovra

#endif
