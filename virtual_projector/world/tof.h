// What the ToF sensor measures.
//
// Distances are those along the sensor's own axis, not along each ray: the chip converts them, so that a wall
// squarely faced gives the same number in every zone, and the mean of the zones of a tilted wall is its
// distance on the axis (to 0.2 % at 12 degrees of tilt), which is what the lens has to be focused for. The
// sensor is one rigid part: mounted at an angle it turns its rays and that axis alike.
#ifndef VIRTUAL_PROJECTOR_WORLD_TOF_H
#define VIRTUAL_PROJECTOR_WORLD_TOF_H

#include <array>
#include <cstdint>
#include <vector>

#include "virtual_projector/world/microseconds.h"
#include "virtual_projector/world/settings.h"
#include "virtual_projector/world/tof_optics.h"

namespace vp {

constexpr int no_distance_mm = 8190;  // what a zone says that sees nothing within the range
constexpr int min_valid_quality = 11;
constexpr int max_quality = 100;

struct ZoneReading {
    std::uint16_t distance_mm = 0;
    std::uint16_t quality = 0;  // valid from 11 to 100
};

/// What the sensor looks at.
struct TofScene {
    Pose pose;
    Wall wall;
    TofSettings tof;
    std::uint64_t seed = 0;
    std::uint64_t unit_seed = 1;  // of what the unit was made with
    RoomSettings room = {};
    Microseconds time = 0;  // since power-up
};

/// Corrections in millimetres, one for each pixel, that are taken off what the bare sensor measures.
using PixelOffsets = std::array<double, pixel_count>;

/// What the bare sensor's pixels measure too much: the common offset and a pattern of their own, which the unit
/// keeps in whatever run.
PixelOffsets true_pixel_offsets(const TofSettings& tof, std::uint64_t unit_seed);

/// What a faultless sensor would say that is mounted as this one is and looks where this one does: millimetres
/// along its axis, unlimited by its range; infinite where there is nothing.
std::vector<double> true_zone_distances(const TofScene& scene, int point_mode);

/// The way along the projector's optical axis to the first thing that stands in it.
double true_axis_distance_mm(const TofScene& scene);

/// All zones of frame `index`, with these corrections.
std::vector<ZoneReading> tof_zones(const TofScene& scene, int point_mode, const PixelOffsets& corrections,
                                   std::int64_t index);

/// All 60 pixels of frame `index`, uncorrected.
std::vector<ZoneReading> tof_pixels(const TofScene& scene, std::int64_t index);

/// The 3 by 3 zones of the generic ranging driver, row by row from the top left. Its distances lie along
/// each ray, and the sensor looks 7 degrees above the optical axis.
std::array<ZoneReading, 9> zone_grid(const TofScene& scene, std::int64_t index);

}  // namespace vp

#endif
