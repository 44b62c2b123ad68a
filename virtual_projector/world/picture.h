// The picture on the wall as somebody in the room sees it.
#ifndef VIRTUAL_PROJECTOR_WORLD_PICTURE_H
#define VIRTUAL_PROJECTOR_WORLD_PICTURE_H

#include "virtual_projector/world/settings.h"

namespace vp {

constexpr int panel_width = 1280;     // pixels
constexpr int panel_height = 720;     // pixels
constexpr double throw_ratio = 1.09;  // throw distance by picture width

/// What the display driver shows. The widths are those of the trapezoid's edges, each centred; the panel's
/// top is the side of the unit's top.
struct Display {
    int top_width = panel_width;
    int bottom_width = panel_width;
    int viewport_x = 0;
    int viewport_y = 0;
    int viewport_width = panel_width;
    int viewport_height = panel_height;
    int rotation = 0;        // quarter turns of the menu
    int hdmi_rotation = 2;   // 2 compensates the light engine's own half turn, 0 does not
    int rotations_made = 0;  // how often either was asked for
};

/// The true shape of the picture. Angles are those of the picture's own sides from its upright, positive
/// when the upper end leans to the right; for a unit on its side the picture is looked at with the head
/// turned as the unit is.
struct PictureShape {
    double left_side_deg = 0;
    double right_side_deg = 0;
    double top_edge_mm = 0;
    double bottom_edge_mm = 0;
    double edge_difference = 0;  // top by bottom, less 1
    bool is_on_wall = true;      // false: some corner never meets the wall, the other members are 0

    /// The larger of the two, without sign.
    double worst_side_deg() const;
};

PictureShape picture_shape(const Pose& pose, const Wall& wall, const Display& display);

/// How far the HDMI picture stands turned on the wall, in degrees from 0 (upright) to 270, counter-clockwise
/// as the room sees it, to the nearest quarter turn.
int hdmi_picture_turn_deg(const Pose& pose, const Display& display);

/// The same for the menu, as far as the display driver turns it. A host may draw it turned besides.
int menu_turn_deg(const Pose& pose, const Display& display);

/// "upright", "turned left", "upside down" or "turned right".
const char* turn_in_words(int turn_deg);

}  // namespace vp

#endif
