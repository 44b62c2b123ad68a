#include "focusctrl/gsensor/rotation_choice.h"

#include <algorithm>

namespace ovra {
namespace {

// What lies between two ranges, or where they overlap: in both cases it reaches from one's inner bound to
// the other's.
Range between(const Range& one, const Range& other) {
    const float highest_min = std::max(one.min, other.min);
    const float lowest_max = std::min(one.max, other.max);
    return {std::min(highest_min, lowest_max), std::max(highest_min, lowest_max)};
}

// The band between two neighbouring directions, where neither of them matches.
TiltBox between(const Direction& one, const Direction& other) {
    return {between(one.accepted.x, other.accepted.x), between(one.accepted.y, other.accepted.y),
            between(one.accepted.z, other.accepted.z)};
}

// With the lens up or down no edge of the picture is its upper one, so the rotation that the picture has is
// kept; the direction's own is for a projector that starts like this.
RotationAction choose_with_lens_upright(int matched, std::uint8_t current_rotation) {
    const bool has_another = current_rotation < rotations && current_rotation != direction_at(matched).rotation;
    return has_another ? keep_rotation : RotationAction{RotationAction::apply, matched};
}

RotationAction choose_beside(int home, const std::array<int, 4>& neighbours, const Axes& tilt,
                             std::uint8_t current_rotation) {
    if (current_rotation == direction_at(home).rotation) return keep_rotation;
    for (const int neighbour : neighbours) {
        if (!between(direction_at(neighbour), direction_at(home)).contains(tilt)) continue;
        // A neighbour on its side has a rotation of its own, which the picture keeps while it lies in between.
        const bool comes_from_neighbour = neighbour < rotations && neighbour == current_rotation;
        return comes_from_neighbour ? keep_rotation : RotationAction{RotationAction::correct, home};
    }
    return keep_rotation;
}

// The angles lie between two directions: the picture goes with the table or the ceiling, whichever is nearer,
// unless it comes from a side.
RotationAction choose_between(const Axes& tilt, std::uint8_t current_rotation) {
    if (tilt.z > 0)
        return choose_beside(on_table, {lens_up, lens_down, on_one_side, on_other_side}, tilt,
                             current_rotation);
    return choose_beside(on_ceiling, {lens_down, lens_up, on_one_side, on_other_side}, tilt, current_rotation);
}

}  // namespace

int matching_direction(const Axes& tilt) {
    for (int index = 0; index < static_cast<int>(directions.size()); ++index) {
        if (direction_at(index).accepted.contains(tilt)) return index;
    }
    return no_direction;
}

RotationAction choose_rotation(int matched, const Axes& tilt, std::uint8_t current_rotation) {
    if (matched == no_direction) return choose_between(tilt, current_rotation);
    if (matched < rotations) return {RotationAction::apply, matched};
    return choose_with_lens_upright(matched, current_rotation);
}

}  // namespace ovra
