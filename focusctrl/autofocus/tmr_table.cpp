#include "ovrafocus/tmr_table.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "base/log.h"
#include "base/shared_flag.h"
#include "focusctrl/autofocus/factory_step.h"
#include "focusctrl/autofocus/focus_plan.h"
#include "focusctrl/autofocus/lens_feedback.h"
#include "focusctrl/autofocus/lens_units.h"
#include "ovrafocus/focus_nodes.h"
#include "ovrafocus/lens_position.h"
#include "ovrafocus/lens_state.h"
#include "ovrafocus/motor_drv.h"
#include "ovrafocus/permanent_data.h"

namespace {

using ovra::failed;
using ovra::load;
using ovra::log_focus;
using ovra::measure_position;
using ovra::step_and_measure;
using ovra::store;

constexpr int measurements = 14;
constexpr int target_measurement = 2;
constexpr int table_entries = sizeof listFlash / sizeof listFlash[0];
constexpr int place_entries = ovra::focus_places;

// All in TMR units. The sweep needs room; the two margins of the soft limits differ on purpose: beyond the
// near end the run extrapolates.
constexpr int32_t sweep_limit = 1000;
constexpr int32_t run_up = 30;
constexpr int32_t overshoot = 2;
constexpr int32_t left_margin = 20;
constexpr int32_t right_margin = 40;

// Motor steps of the way back that are travel, not backlash.
constexpr int32_t left_return_steps = 10;
constexpr int32_t right_return_steps = 2;

struct StepCount {
    int32_t steps = 0;
    int32_t micro_steps = 0;
};

int32_t position(int32_t target, StepCount& taken) {
    if (manufocusTargetTMR(target, &taken.steps, &taken.micro_steps) != failed) return 0;
    log_focus("auto fucos error: manufocusTargetTMR failed\n");
    return failed;
}

// To the start, arriving from the left, then eleven steps right.
int32_t sweep_right(int32_t target, int32_t* measured, int32_t& reading) {
    StepCount taken;
    if (position(ovra::tmr_sum(target, -run_up), taken) == failed ||
        position(ovra::tmr_sum(target, overshoot), taken) == failed)
        return failed;
    log_focus("steps = %d, microSteps = %d\n", taken.steps, taken.micro_steps);
    if (motor_pulse_write(ovra::full_step_pulse) == failed) return failed;
    if (measure_position(reading) == failed) return failed;
    measured[target_measurement] = reading;
    for (int i = target_measurement + 1; i < measurements; ++i) {
        if (step_and_measure("move 1 right step--5um \n", motor_right_write, reading) == failed) return failed;
        measured[i] = reading;
    }
    return 0;
}

// Back to the start, arriving from the right, then two steps left.
int32_t sweep_left(int32_t target, int32_t* measured, int32_t& reading, int32_t& left_backlash) {
    StepCount taken;
    if (position(ovra::tmr_sum(target, -overshoot), taken) == failed) return failed;
    left_backlash = std::max(taken.steps - left_return_steps, 0);
    log_focus("steps = %d, microSteps = %d, leftR = %d\n", taken.steps, taken.micro_steps, left_backlash);
    if (motor_pulse_write(ovra::full_step_pulse) == failed) return failed;
    for (int i = target_measurement - 1; i >= 0; --i) {
        if (step_and_measure("move 1 left step--5um \n", motor_left_write, reading) == failed) return failed;
        measured[i] = reading;
    }
    return 0;
}

int32_t return_right(int32_t target, int32_t& right_backlash) {
    StepCount taken;
    if (position(ovra::tmr_sum(target, overshoot), taken) == failed) return failed;
    right_backlash = std::max(taken.steps - right_return_steps, 0);
    log_focus("steps = %d, microSteps = %d, rightR = %d\n", taken.steps, taken.micro_steps, right_backlash);
    return motor_pulse_write(ovra::full_step_pulse);
}

// The last measurement is for the right limit alone.
ovra::PlaceTable places_of(const int32_t* measured) {
    ovra::CalibratedPoints points;
    std::copy_n(measured, points.size(), points.begin());
    return ovra::expand_to_places(points);
}

void print_table(const int32_t* out) {
    const int32_t* const rest = out + place_entries;
    log_focus("%d, %d, %d, %d, %d\n", rest[0], rest[1], rest[2], rest[3], rest[4]);
    log_focus("leftLimit %d, rightLimit %d, direct %d, leftR %d, rightR %d\n", rest[0], rest[1], rest[2],
              rest[3], rest[4]);
    log_focus("sizeof int = %d, sizeof int32_t = %d\n", static_cast<int>(sizeof(int)),
              static_cast<int>(sizeof(int32_t)));
}

// Joins the entries by commas. A text that does not fit is a table that no start could read back: the
// process stops before a byte of the record is touched.
template <std::size_t size>
void format_table(const int32_t* out, char (&text)[size]) {
    std::size_t length = 0;
    for (int i = 0; i < table_entries; ++i) {
        const int added = std::snprintf(text + length, size - length, i == 0 ? "%d" : ",%d", out[i]);
        if (added < 0 || static_cast<std::size_t>(added) >= size - length) std::abort();
        length += static_cast<std::size_t>(added);
    }
}

void store_table(const int32_t* out) {
    ovra_permanent_record record;
    permanent_data_read(&record);
    char text[sizeof record.tmr_table_text] = {};
    format_table(out, text);
    log_focus("%s", text);
    std::memcpy(record.tmr_table_text, text, sizeof text);
    if (permanent_data_write(&record) == failed) log_focus("permanent_data_write error\n");
}

}  // namespace

int32_t get_cali_list_tmr(int32_t target, int32_t* measured) {
    store(g_limitLeft, -sweep_limit);
    store(g_limitRight, sweep_limit);
    int32_t left_backlash = 0;
    int32_t right_backlash = 0;
    // Where the sensor gives no number the sweep's last reading stands; never what the caller's array held.
    int32_t reading = 0;
    if (sweep_right(target, measured, reading) == failed) return failed;
    if (sweep_left(target, measured, reading, left_backlash) == failed) return failed;
    if (return_right(target, right_backlash) == failed) return failed;
    tmr_cali_inter(measured, measured[0] - left_margin, measured[measurements - 1] + right_margin,
                   load(direction), left_backlash, right_backlash, listFlash);
    return 0;
}

int32_t tmr_cali_inter(const int32_t* measured, int32_t leftLimit, int32_t rightLimit, int32_t direct,
                       int32_t leftR, int32_t rightR, int32_t* out) {
    log_focus("tmr_cali_interpolation start\n");
    log_focus("interpolation result : \n");
    int32_t* entry = out;
    for (const int32_t position : places_of(measured)) {
        store(*entry, position);
        log_focus("%d,", load(*entry));
        ++entry;
    }
    const int32_t rest[] = {leftLimit, rightLimit, direct, leftR, rightR};
    for (int i = 0; i < table_entries - place_entries; ++i) store(out[place_entries + i], rest[i]);
    print_table(out);
    store_table(out);

    store(g_limitLeft, leftLimit);
    store(g_limitRight, rightLimit);
    store(leftIdle, leftR);
    store(rightIdle, rightR);
    log_focus("tmr_cali_interpolation success\n");
    return 0;
}
