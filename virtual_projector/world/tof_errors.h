// What a ToF sensor measures too much or too little for reasons of its own, in every frame alike.
//
// The errors add up:
//     scale, bias   d * (tof.scale_percent + bias of the quarter of the view) / 100
//     crosstalk     - tof.crosstalk_mm * (1 - d / 600 mm), nothing from 600 mm on:
//                   light that the sensor's own window throws back draws near distances nearer
//     warm-up       tof.warm_up_mm * exp(-t / tof.warm_up_time_constant_s), t since power-up
//     multipath     d * tof.multipath_percent / 100 * (1 - s / 1 m), nothing from s = 1 m on, s being the way
//                   from the corner of two walls: light that went by way of the other wall comes later
// Data sheets of ToF sensors state 1 to 3 % of the range for all of them together, and 5 to 15 mm for the first
// minutes after power-up; over-estimation in corners by some per cent is what the literature on multipath
// finds for indirect time of flight.
#ifndef VIRTUAL_PROJECTOR_WORLD_TOF_ERRORS_H
#define VIRTUAL_PROJECTOR_WORLD_TOF_ERRORS_H

#include "virtual_projector/world/settings.h"
#include "virtual_projector/world/tof_optics.h"

namespace vp {

constexpr double crosstalk_until_mm = 600;
constexpr double multipath_until_mm = 1000;

/// The value that belongs to the quarter of the view in which this ray looks; 0 for a ray between quarters.
double of_quarter(const Ray& ray, double top_right, double bottom_right, double top_left, double bottom_left);

double scale_error_mm(const TofSettings& tof, const Ray& ray, double distance_mm);
double crosstalk_error_mm(const TofSettings& tof, double distance_mm);
double warm_up_error_mm(const TofSettings& tof, double time_s);
double multipath_error_mm(const TofSettings& tof, double distance_mm, double from_corner_mm);

}  // namespace vp

#endif
