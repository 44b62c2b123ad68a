// The peak search as a function of its samples.
#ifndef OVRA_FOCUSCTRL_AUTOFOCUS_PEAK_FIT_H
#define OVRA_FOCUSCTRL_AUTOFOCUS_PEAK_FIT_H

#include <cstdint>
#include <vector>

#include "ovrafocus/peak_sample.h"

namespace ovra {

/// y = a x^2 + b x + c
struct Parabola {
    double a;
    double b;
    double c;
};

/// The parabola through three points in Lagrange's form. Two equal x give infinities or NaN.
Parabola parabola_through(double x1, double y1, double x2, double y2, double x3, double y3);

/// True when greatest and least sharpness differ by less than 0.5.
bool samples_are_flat(const std::vector<stepList_>& samples);

/// The vertex of the parabola that predicts the samples it does not use best. `samples` holds at least
/// `peak_samples` of them.
constexpr std::size_t peak_samples = 5;
double peak_position(const std::vector<stepList_>& samples);

/// Rounded, halves away from zero; the ends of the 32-bit range for what lies beyond it, 0 for NaN.
std::int32_t rounded_position(double position);

}  // namespace ovra

#endif
