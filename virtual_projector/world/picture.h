// The picture on the wall as somebody in the room sees it.
#ifndef VIRTUAL_PROJECTOR_WORLD_PICTURE_H
#define VIRTUAL_PROJECTOR_WORLD_PICTURE_H

#include <array>

#include "virtual_projector/world/settings.h"

namespace vp {

constexpr int panel_width = 1280;  // pixels
constexpr int panel_height = 720;  // pixels

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

/// A corner of the picture: on the wall, in millimetres to the right of the place opposite the lens and up
/// along the wall from the lens's height; and how far from the lens it is along the optical axis.
struct PictureCorner {
    double x_mm = 0;
    double z_mm = 0;
    double axial_mm = 0;
};

/// The true shape of the picture. Sides are measured from the picture's own upright, positive when the upper
/// end leans to the right; the edges from its level, positive when the right end is the higher one. For a unit
/// on its side the picture is looked at with the head turned as the unit is.
struct PictureShape {
    double left_side_deg = 0;
    double right_side_deg = 0;
    double top_edge_deg = 0;
    double bottom_edge_deg = 0;
    double top_edge_mm = 0;
    double bottom_edge_mm = 0;
    double edge_difference = 0;            // top by bottom, less 1
    double side_difference = 0;            // left by right, less 1
    std::array<PictureCorner, 4> corners;  // top left, top right, bottom right, bottom left
    bool is_on_wall = true;                // false: some corner never meets the wall, the other members are 0

    /// The larger of the two sides' angles, without sign.
    double worst_side_deg() const;
    /// The largest of all four angles, without sign.
    double worst_edge_deg() const;
};

/// The panel's pixels lie behind a lens whose optical axis meets the panel `optics.offset_up` picture heights
/// below its centre; the picture is as wide as the distance divided by `optics.throw_ratio`.
PictureShape picture_shape(const Pose& pose, const Wall& wall, const PictureOptics& optics,
                           const Display& display);

/// The share of the panel's pixels, 0 to 1, that the trapezoid of these widths keeps.
double light_used(const Display& display);

/// How far the HDMI picture stands turned on the wall, in degrees from 0 (upright) to 270, counter-clockwise
/// as the room sees it, to the nearest quarter turn.
int hdmi_picture_turn_deg(const Pose& pose, const Display& display);

/// The same for the menu, as far as the display driver turns it. A host may draw it turned besides.
int menu_turn_deg(const Pose& pose, const Display& display);

/// "upright", "turned left", "upside down" or "turned right".
const char* turn_in_words(int turn_deg);

}  // namespace vp

#endif
