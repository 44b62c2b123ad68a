// The room around the projector, as rays find it.
//
// Everything stands in the room's frame: x to the right, y towards the main wall, z up, the projector's lens at
// the origin and the floor `lens_height_mm` below it. What is switched off by a width or a place of 0 is not
// there, and a bare room is the main wall alone.
//
// - The main wall passes through `wall_point`, leans by wall.lean_deg and may be bowed: with b mm at one metre
//   it lies b * (s / 1 m)^2 nearer at s to the side of that point (a parabola; builders' tolerances for
//   finished walls, DIN 18202, allow about 5 mm in 2 m).
// - A second, upright wall meets it `corner_mm` to the right (negative: to the left) of the projector, with the
//   angle `corner_deg` between the two as the room has it. It is not seen by a projector that stands beyond it.
// - Boxes are upright and square to the main wall: their front is `along_mm` ahead, their middle `side_mm` to
//   the right, their foot `foot_mm` above the floor.
// - People are upright cylinders without a top. Until `start_s` they stand, then they walk to the right, at a
//   negative speed to the left.
// - The glossy spot is an upright rectangle of the main wall that mirrors a part of the light (`gloss`) away
//   and lets the rest seem farther by what the mirrored part has to go besides.
// Floor and ceiling are met by no ray.
#ifndef VIRTUAL_PROJECTOR_WORLD_ROOM_H
#define VIRTUAL_PROJECTOR_WORLD_ROOM_H

#include <limits>

#include "virtual_projector/world/settings.h"
#include "virtual_projector/world/vector.h"

namespace vp {

/// The room at one time.
struct Room {
    RoomSettings settings;
    Wall wall;
    Vec3 wall_point;  // of the main wall, mm
    double time_s = 0;
};

/// The first thing on a ray's way.
struct Meeting {
    double length = std::numeric_limits<double>::infinity();  // in lengths of the ray; infinite: nothing is met
    double cosine = 1;                                        // of the angle between ray and surface normal
    double reflectivity = 0;
    double corner_mm = std::numeric_limits<double>::infinity();  // to the side from where the walls meet
    double mirrored_mm = 0;                                      // how much farther a mirror makes it seem
};

/// True when there is nothing in it but a plane main wall.
bool is_bare(const RoomSettings& room);

/// What the ray from `origin` (mm) in this direction (of any length) meets first.
Meeting first_met(const Room& room, const Vec3& origin, const Vec3& direction);

}  // namespace vp

#endif
