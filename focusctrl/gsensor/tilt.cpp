#include "focusctrl/gsensor/tilt.h"

#include <cmath>

namespace ovra {
namespace {

constexpr double pi = 3.141592653589793;

// Beyond this an axis counts as pointing up or down. A little over 45 degrees, so that two axes never do.
constexpr float upright_degrees = 45.6F;

// The largest lean that is worth correcting.
constexpr float lean_limit_degrees = 40.01F;

// Single precision up to the angle in radians, double for the conversion.
float elevation_degrees(float axis, float other, float another) {
    const float radians = std::atan(axis / std::sqrt(other * other + another * another));
    return static_cast<float>(static_cast<double>(radians) * 180.0 / pi);
}

float limit_lean(float degrees) {
    if (degrees >= lean_limit_degrees) return lean_limit_degrees;
    if (degrees <= -lean_limit_degrees) return -lean_limit_degrees;
    return degrees;
}

// On a table and under a ceiling the y axis leans; with the lens up or down it is the z axis, whose sign turns
// with the lens.
float vertical_lean(const Axes& tilt) {
    if (tilt.z > upright_degrees) return tilt.y;
    if (tilt.y > upright_degrees) return -tilt.z;
    if (tilt.y < -upright_degrees) return tilt.z;
    return tilt.y;
}

// Upside down, left and right are exchanged; with the lens up or down there is no horizontal lean.
float horizontal_lean(const Axes& tilt) {
    const bool lens_up_or_down = tilt.y > upright_degrees || tilt.y < -upright_degrees;
    if (lens_up_or_down) return 0.0F;
    return tilt.z >= 0.0F ? tilt.x : -tilt.x;
}

}  // namespace

Axes tilt_degrees(const Axes& gravity) {
    return {elevation_degrees(gravity.x, gravity.y, gravity.z),
            elevation_degrees(gravity.y, gravity.z, gravity.x),
            elevation_degrees(gravity.z, gravity.y, gravity.x)};
}

KeystoneAngles keystone_angles(const Axes& tilt) {
    return {limit_lean(vertical_lean(tilt)), limit_lean(horizontal_lean(tilt))};
}

}  // namespace ovra
