#include "virtual_projector/world/blur.h"

#include <algorithm>
#include <cmath>

#include "virtual_projector/world/optics.h"

namespace vp {
namespace {

constexpr double mm_per_um = 0.001;

double blur_px(const Settings& settings, double axial_mm) {
    const LensSettings& lens = settings.lens;
    const double f = lens.focal_length_mm;
    const double best = best_focus_steps(lens, settings.tmr, axial_mm, settings.lens.barrel_c);
    const double error_mm = std::abs(lens.position_steps - best) * lens.step_um * mm_per_um;
    const double image_mm = std::abs(f * axial_mm / (axial_mm - f));  // nearer than f it lies before the lens
    const double pixel_mm = f / settings.picture.throw_ratio / panel_width;
    return error_mm * f / (lens.f_number * image_mm) / pixel_mm;
}

}  // namespace

Blur picture_blur(const Settings& settings, double distance_mm, const PictureShape& shape) {
    Blur blur;
    blur.middle_px = blur_px(settings, distance_mm);
    if (!shape.is_on_wall) return blur;
    for (std::size_t i = 0; i < blur.corners_px.size(); ++i) {
        blur.corners_px.at(i) = blur_px(settings, shape.corners.at(i).axial_mm);
        blur.corner_px = std::max(blur.corner_px, blur.corners_px.at(i));
    }
    return blur;
}

}  // namespace vp
