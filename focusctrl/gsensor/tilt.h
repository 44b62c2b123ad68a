// From gravity to angles: the elevation of each axis, and the keystone angles that follow from the three.
// Values in, values out.
#ifndef OVRA_FOCUSCTRL_GSENSOR_TILT_H
#define OVRA_FOCUSCTRL_GSENSOR_TILT_H

#include "focusctrl/gsensor/axes.h"

namespace ovra {

/// The elevation of each axis above the plane of the two others, -90 to 90 degrees, whatever the length of the
/// vector. Not a number for a vector of length 0.
Axes tilt_degrees(const Axes& gravity);

/// How far the picture leans, in degrees, at most 40.01 either way.
struct KeystoneAngles {
    float vertical;
    float horizontal;
};

KeystoneAngles keystone_angles(const Axes& tilt);

}  // namespace ovra

#endif
