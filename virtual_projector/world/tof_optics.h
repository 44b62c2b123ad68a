// Where the ToF sensor's zones and pixels look.
//
// The chip has 6 rows of 10 pixels. In point mode 1 they are gathered into 8 zones (two rows of four), in
// the other modes into 4 (two rows of two). Zones are counted from the right, the upper before the lower: top
// right, bottom right, ..., top left, bottom left. Pixels are counted row by row from the top, each from the
// left. The angles are the sensor's own, from its settings; whoever reckons with its distances has to assume
// some.
#ifndef VIRTUAL_PROJECTOR_WORLD_TOF_OPTICS_H
#define VIRTUAL_PROJECTOR_WORLD_TOF_OPTICS_H

#include <array>
#include <cstddef>
#include <vector>

#include "virtual_projector/world/settings.h"

namespace vp {

constexpr int pixel_rows = 6;
constexpr int pixel_columns = 10;
constexpr int pixel_count = pixel_rows * pixel_columns;
constexpr int four_zone_mode = 0;
constexpr int eight_zone_mode = 1;

/// A line of sight, in degrees from the sensor's axis.
struct Ray {
    double right_deg = 0;
    double up_deg = 0;
};

/// 8 zones in point mode 1, 4 in every other.
std::size_t zone_count(int point_mode);
Ray zone_ray(const TofSettings& tof, int point_mode, std::size_t zone);
Ray pixel_ray(const TofSettings& tof, int row, int column);

/// The zones of the four corners of the picture among zone_count(point_mode), in the order top right,
/// bottom right, top left, bottom left.
std::array<std::size_t, 4> corner_zones(int point_mode);

/// The pixels that a zone is made of, as indices row * 10 + column.
std::vector<int> zone_pixels(int point_mode, std::size_t zone);

}  // namespace vp

#endif
