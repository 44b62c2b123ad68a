// How the light that comes back to the ToF sensor decides its noise and its range.
//
// A sensor that counts photons is told apart from its background by S / sqrt(S + B), with S of its own light
// and B of daylight that come back from what it looks at. Both are counted in what a white wall (0.8) at one
// metre, squarely faced, throws back of its own light. Of reflectivity r at the distance d and the angle of
// incidence i, under daylight of E klx:
//     S = (r / 0.8) * cos i * (1 m / d)^2        B = (r / 0.8) * (E / 10 klx)
// Data sheets of such sensors state an error of 1 to 3 % of the range, and a range that falls to a half or a
// third in daylight; 10 klx is where that puts the daylight equal to the own light at one metre.
#ifndef VIRTUAL_PROJECTOR_WORLD_TOF_SIGNAL_H
#define VIRTUAL_PROJECTOR_WORLD_TOF_SIGNAL_H

#include "virtual_projector/world/settings.h"

namespace vp {

constexpr double white_reflectivity = 0.8;
constexpr double daylight_like_own_light_klx = 10;  // for a wall at one metre

/// What the light of one zone falls on.
struct Target {
    double distance_mm = 0;
    double reflectivity = white_reflectivity;
    double cosine = 1;  // of the angle of incidence
};

/// How many times weaker the signal stands out than that of a white wall at the same distance, squarely faced
/// in the dark: sqrt(g + b) / g with g and b being S and B in units of that wall's S. 1: as strong; infinite:
/// no light comes back.
double signal_weakness(const Target& target, double ambient_klx);

/// Standard deviation of a distance in millimetres: tof.noise_mm and tof.noise_per_mm (times the weakness where
/// the signal is followed), and independent of them tof.noise_share * d * (d / 1 m) * weakness.
double tof_noise_mm(const TofSettings& tof, double distance_mm, double weakness);

/// Whether the sensor measures at all: nearer than tof.range_mm, and no weaker than a white wall there in the
/// dark: d * weakness <= range.
bool is_within_tof_range(const TofSettings& tof, double distance_mm, double weakness);

}  // namespace vp

#endif
