#include "focusctrl/autofocus/peak_fit.h"

#include <algorithm>
#include <cmath>

#include "base/whole_number.h"

namespace ovra {
namespace {

constexpr double flat_below = 0.5;
// Where the scans of the sharpness begin: sharpness is a percentage.
constexpr double initial_max = 0.0;
constexpr double initial_min = 100.0;
constexpr double error_scale = 0.5;  // the mean over the two samples that a parabola leaves over
constexpr double max_error = 9999.0;

struct Triple {
    std::size_t first;
    std::size_t second;
    std::size_t third;

    bool uses(std::size_t index) const { return index == first || index == second || index == third; }
};

// Every choice of three of the first five samples, in lexicographic order: of two equally good ones the
// earlier is taken.
constexpr Triple triples[] = {{0, 1, 2}, {0, 1, 3}, {0, 1, 4}, {0, 2, 3}, {0, 2, 4},
                              {0, 3, 4}, {1, 2, 3}, {1, 2, 4}, {1, 3, 4}, {2, 3, 4}};

double abscissa(const stepList_& sample) { return static_cast<double>(sample.step); }

Parabola parabola_through(const stepList_& p, const stepList_& q, const stepList_& r) {
    return ovra::parabola_through(abscissa(p), p.sharpness, abscissa(q), q.sharpness, abscissa(r), r.sharpness);
}

double residual(const Parabola& parabola, const stepList_& sample) {
    const double x = abscissa(sample);
    return std::fabs(sample.sharpness - (parabola.a * (x * x) + parabola.b * x + parabola.c));
}

// Over all samples but the three used, not over the first five only.
double prediction_error(const Parabola& parabola, const Triple& used, const std::vector<stepList_>& samples) {
    double sum = 0.0;
    for (std::size_t i = 0; i < samples.size(); ++i) {
        if (!used.uses(i)) sum += residual(parabola, samples[i]);
    }
    return sum * error_scale;
}

}  // namespace

Parabola parabola_through(double x1, double y1, double x2, double y2, double x3, double y3) {
    const double d1 = (x1 - x2) * (x1 - x3);
    const double d2 = (x2 - x1) * (x2 - x3);
    const double d3 = (x3 - x1) * (x3 - x2);
    return {y1 / d1 + y2 / d2 + y3 / d3, -y1 * (x2 + x3) / d1 - y2 * (x1 + x3) / d2 - y3 * (x1 + x2) / d3,
            y1 * x2 * x3 / d1 + y2 * x1 * x3 / d2 + y3 * x1 * x2 / d3};
}

bool samples_are_flat(const std::vector<stepList_>& samples) {
    double max_sharpness = initial_max;
    double min_sharpness = initial_min;
    for (const stepList_& sample : samples) {
        max_sharpness = std::max(max_sharpness, sample.sharpness);
        min_sharpness = std::min(min_sharpness, sample.sharpness);
    }
    return max_sharpness - min_sharpness < flat_below;
}

double peak_position(const std::vector<stepList_>& samples) {
    Parabola best{};
    double best_error = max_error;
    bool chosen = false;
    for (const Triple& triple : triples) {
        const Parabola candidate =
            parabola_through(samples[triple.first], samples[triple.second], samples[triple.third]);
        const double error = prediction_error(candidate, triple, samples);
        // The first stands in when no error is below the maximum.
        if (!chosen || error < best_error) best = candidate;
        if (error < best_error) best_error = error;
        chosen = true;
    }
    return -best.b / (2 * best.a);
}

std::int32_t rounded_position(double position) { return whole_number(std::round(position)); }

}  // namespace ovra
