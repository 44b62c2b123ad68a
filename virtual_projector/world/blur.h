// How blurred the picture is on the wall, as far as the focus decides it.
#ifndef VIRTUAL_PROJECTOR_WORLD_BLUR_H
#define VIRTUAL_PROJECTOR_WORLD_BLUR_H

#include <array>

#include "virtual_projector/world/picture.h"
#include "virtual_projector/world/settings.h"

namespace vp {

/// Diameters of the circle of confusion, in pixels of the panel.
struct Blur {
    double middle_px = 0;
    double corner_px = 0;                // of the most blurred corner; 0 with a picture that is not on the wall
    std::array<double, 4> corners_px{};  // of each, in the order of the shape's; 0 as well
};

/// The light of one pixel leaves the lens as a cone of the diameter f / N, which meets where the lens focuses.
/// Followed back to the panel, a point of the wall at the axial distance u would be sharp with the lens
/// elsewhere by e, so it is spread over e / (N v / f) there, where v = f u / (u - f) is the distance of its
/// image. The picture's pixels are f / throw ratio / 1280 wide. The lens's field is flat: a corner that is
/// nearer than the middle wants the lens further to the right.
Blur picture_blur(const Settings& settings, double distance_mm, const PictureShape& shape);

}  // namespace vp

#endif
