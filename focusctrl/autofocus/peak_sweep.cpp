#include "ovrafocus/peak_sweep.h"

#include <array>

#include "base/log.h"
#include "focusctrl/autofocus/factory_step.h"
#include "focusctrl/autofocus/lens_units.h"
#include "ovrafocus/focus_nodes.h"
#include "ovrafocus/lens_position.h"
#include "ovrafocus/motor_drv.h"
#include "ovrafocus/peak_search.h"

namespace {

using ovra::failed;
using ovra::log_focus;

constexpr int32_t head_start_steps = 5;  // to the right, before the walk to the left begins
constexpr int32_t longest_walk = 100;    // TMR units left of where the sweep began
constexpr int32_t highest_peak = 1000;   // TMR units; beyond it lies no lens

// No camera looks at the wall: the sharpness of sample n is entry n of this series, on every unit. What
// the sweep really finds is the lens position that belongs to the series' maximum.
constexpr std::array<double, 14> sharpness_series = {1.01, 1.21, 1.41, 1.61, 1.75, 2.1, 2.5,
                                                     2.8,  3.4,  3.5,  3.35, 3.2,  2.6, 2.0};
constexpr int earliest_stop = 4;  // the index after which two falls in a row end the walk
constexpr int peak_margin = 2;    // samples needed on either side of the sharpest

// At most one sample for each entry of the series; in place, so that no path keeps memory.
struct Samples {
    std::array<stepList_, sharpness_series.size()> list{};
    int count = 0;
};

// Five steps right, so that the backlash is taken up where it does no harm.
int32_t take_head_start() {
    if (motor_pulse_write(ovra::full_step_pulse) == failed) return failed;
    log_focus("move 5 right step--5*5um\n");
    motor_right_write(head_start_steps);
    return motor_pulse_write(ovra::full_step_pulse);
}

// Two falls in a row, from the sixth sample on.
bool peak_is_passed(const Samples& samples) {
    const int last = samples.count - 1;
    if (last <= earliest_stop) return false;
    const auto sharpness = [&](int index) { return samples.list[static_cast<std::size_t>(index)].sharpness; };
    return sharpness(last) - sharpness(last - 1) < 0 && sharpness(last - 1) - sharpness(last - 2) < 0;
}

// Walks until the peak is passed or the lens has gone far enough. The series falls twice in a row before it
// ends, so that it never runs out of entries.
int32_t walk_left(int32_t start_tmr, Samples& samples) {
    int32_t tmr = start_tmr;
    while (tmr > start_tmr - longest_walk && !peak_is_passed(samples)) {
        if (ovra::step_and_measure("move 1 left step--5um\n", motor_left_write, tmr) == failed) return failed;
        const auto index = static_cast<std::size_t>(samples.count);
        samples.list[index] = {tmr, sharpness_series[index]};
        ++samples.count;
        log_focus("sharpness = %lf\n", sharpness_series[index]);
    }
    return 0;
}

// The first of equal maxima.
int sharpest_of(const Samples& samples) {
    double greatest = 0.0;
    int index = 0;
    int32_t tmr = 0;
    for (int i = 0; i < samples.count; ++i) {
        const stepList_& sample = samples.list[static_cast<std::size_t>(i)];
        if (sample.sharpness > greatest) {
            greatest = sample.sharpness;
            index = i;
            tmr = sample.step;
        }
    }
    log_focus("max_sharpness = %lf, max_index = %d, tmr[max_index] = %d\n", greatest, index, tmr);
    return index;
}

int32_t peak_not_found() {
    log_focus("auto focus cali: peak not found!\n");
    return failed;
}

}  // namespace

int32_t get_cali_peak_tmr(void) {
    clearList();
    int32_t polarity = 0;
    get_direction(&polarity);
    log_focus("get_direction val = %d\n", polarity);

    int32_t start_tmr = 0;
    if (ovra::measure_position(start_tmr) == failed) return failed;
    if (take_head_start() == failed) return failed;

    Samples samples;
    if (walk_left(start_tmr, samples) == failed) return failed;
    const int sharpest = sharpest_of(samples);
    if (sharpest < peak_margin || sharpest >= samples.count - peak_margin) return peak_not_found();

    for (int i = sharpest - peak_margin; i <= sharpest + peak_margin; ++i) {
        addSharpnessList(samples.list[static_cast<std::size_t>(i)]);
    }
    const int32_t peak = calcPeekStep();
    log_focus("peek step = %d\n", peak);
    return peak <= highest_peak ? 0 : failed;
}
