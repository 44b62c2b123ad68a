// Left and right, as the lens moves: to the left it focuses far walls, to the right near ones.
#ifndef VIRTUAL_PROJECTOR_WORLD_SIDE_H
#define VIRTUAL_PROJECTOR_WORLD_SIDE_H

namespace vp {

enum class Side { left, right };

constexpr Side opposite(Side side) { return side == Side::left ? Side::right : Side::left; }

constexpr const char* side_name(Side side) { return side == Side::left ? "left" : "right"; }

}  // namespace vp

#endif
