// The directions a projector can be installed in, and which rotation of the picture the angles ask for.
// Values in, values out.
#ifndef OVRA_FOCUSCTRL_GSENSOR_ROTATION_CHOICE_H
#define OVRA_FOCUSCTRL_GSENSOR_ROTATION_CHOICE_H

#include <array>
#include <cstddef>
#include <cstdint>

#include "focusctrl/gsensor/axes.h"

namespace ovra {

/// Degrees, both bounds included.
struct Range {
    float min;
    float max;
    constexpr bool contains(float value) const { return value >= min && value <= max; }
};

/// A range on each axis.
struct TiltBox {
    Range x;
    Range y;
    Range z;
    constexpr bool contains(const Axes& tilt) const {
        return x.contains(tilt.x) && y.contains(tilt.y) && z.contains(tilt.z);
    }
};

struct Direction {
    const char* name;
    std::uint8_t rotation;  // of the picture, in quarter turns
    Axes nominal;           // the middle of what is accepted, for the reader
    TiltBox accepted;
};

inline constexpr Range level_axis{-35, 35};
inline constexpr Range raised_axis{55, 90};
inline constexpr Range lowered_axis{-90, -55};

/// The first four stand in the order of their rotations, so that a rotation is the index of its direction.
inline constexpr std::array<Direction, 6> directions{{
    {"HSYNC_0", 0, {0, 0, 90}, {level_axis, level_axis, raised_axis}},
    {"HSYNC_90", 1, {-90, 0, 0}, {lowered_axis, level_axis, level_axis}},
    {"HSYNC_180", 2, {0, 0, -90}, {level_axis, level_axis, lowered_axis}},
    {"HSYNC_270", 3, {90, 0, 0}, {raised_axis, level_axis, level_axis}},
    {"UP_0", 0, {0, -90, 0}, {level_axis, lowered_axis, level_axis}},
    {"DOWN_180", 2, {0, 90, 0}, {level_axis, raised_axis, level_axis}},
}};

enum DirectionIndex : int {
    on_table = 0,
    on_one_side = 1,
    on_ceiling = 2,
    on_other_side = 3,
    lens_up = 4,
    lens_down = 5
};

inline constexpr int rotations = 4;

/// Where no rotation has been applied yet.
inline constexpr std::uint8_t startup_phase = 4;

/// No direction of the table.
inline constexpr int no_direction = -1;

constexpr const Direction& direction_at(int index) { return directions[static_cast<std::size_t>(index)]; }

/// The first direction that accepts the angles (bounds included), or no_direction.
int matching_direction(const Axes& tilt);

/// What to do about the rotation of the picture.
struct RotationAction {
    enum Kind {
        keep,     // nothing
        apply,    // set_device_direction(target): the angles show that very direction
        correct,  // the same, and say so: the angles lie next to the target only
    };
    Kind kind;
    int target;

    constexpr bool operator==(const RotationAction& other) const {
        return kind == other.kind && target == other.target;
    }
};

inline constexpr RotationAction keep_rotation{RotationAction::keep, no_direction};

/// The angles may lie between two directions, 35 to 55 degrees from level, where neither matches: then the
/// picture goes with the table or the ceiling, whichever is nearer, unless it has the rotation of the side that
/// it comes from.
///
/// @param matched           matching_direction(tilt)
/// @param current_rotation  0 to 3 quarter turns, or startup_phase
RotationAction choose_rotation(int matched, const Axes& tilt, std::uint8_t current_rotation);

}  // namespace ovra

#endif
