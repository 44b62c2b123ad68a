#include "ovrafocus/peak_search.h"

#include <new>
#include <vector>

#include "focusctrl/autofocus/peak_fit.h"

std::vector<stepList_> m_sharpness;
double m_dPeekStep = 0;

// The capacity is kept: the next calibration needs as much again.
void clearList(void) { m_sharpness.clear(); }

// The host is not made to catch exceptions: without memory the sample is left out, and a list of fewer than
// five has no peak.
void addSharpnessList(stepList_ sample) {
    try {
        m_sharpness.push_back(sample);
    } catch (const std::bad_alloc&) {
    }
}

int32_t checkList(void) { return ovra::samples_are_flat(m_sharpness) ? -1 : 0; }

std::vector<double> quadraticEquationCoef(double x1, double y1, double x2, double y2, double x3, double y3) {
    const ovra::Parabola parabola = ovra::parabola_through(x1, y1, x2, y2, x3, y3);
    try {
        return {parabola.a, parabola.b, parabola.c};
    } catch (const std::bad_alloc&) {
        return {};
    }
}

int32_t calcPeekStep(void) {
    if (checkList() != 0 || m_sharpness.size() < ovra::peak_samples) return OVRA_NO_PEAK;
    m_dPeekStep = ovra::peak_position(m_sharpness);
    return ovra::rounded_position(m_dPeekStep);
}

double getDoublePeekStep(void) { return m_dPeekStep; }
