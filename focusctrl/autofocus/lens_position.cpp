#include "ovrafocus/lens_position.h"

#include <unistd.h>

#include <cstdlib>
#include <optional>

#include "base/log.h"
#include "base/shared_flag.h"
#include "focusctrl/autofocus/lens_feedback.h"
#include "focusctrl/autofocus/lens_units.h"
#include "ovrafocus/calibration_data.h"
#include "ovrafocus/focus_nodes.h"
#include "ovrafocus/host_interface.h"
#include "ovrafocus/lens_state.h"
#include "ovrafocus/motor_drv.h"

namespace {

using ovra::ClampedTarget;
using ovra::failed;
using ovra::LensAction;
using ovra::load;
using ovra::log_bare;
using ovra::log_focus;
using ovra::Side;
using ovra::store;

constexpr useconds_t settle_us = 40000;         // before the position is read in a feedback loop
constexpr useconds_t probe_settle_us = 100000;  // the same in the factory's probes

constexpr int manual_passes = 30;
constexpr int32_t target_steps_limit = 41;  // full and fine steps together
constexpr int probe_steps = 15;             // the last of them is one too many
constexpr int32_t polarity_change = 21;     // TMR units that show the sensor's polarity
constexpr int32_t follow_change = 11;       // TMR units that show that the lens follows

// The soft limits hold for every target; a target beyond one is logged and pulled inside.
ClampedTarget clamp_target(int32_t target) {
    const ClampedTarget clamped = ovra::clamp_to_limits(target, load(g_limitLeft), load(g_limitRight));
    if (clamped.limit_hit == Side::right) log_focus("manu focus out of range: g_limitRight");
    if (clamped.limit_hit == Side::left) log_focus("manu focus out of range: g_limitLeft");
    return clamped;
}

void log_target(int32_t target) { log_focus("manu focus targetTMR = %d--------------------------\n", target); }

// --- Manual focus --------------------------------------------------------------------------------------

int32_t carry_out_manual(const LensAction& action, int32_t difference) {
    const bool fine = action.kind == LensAction::Kind::fine;
    if (fine) {
        log_focus("move 1 %s half step", name_of(action.side));
        if (motor_pulse_write(ovra::half_step_pulse) == failed) return failed;
    }
    const int32_t steps = fine ? 1 : ovra::coarse_steps(difference);
    return action.side == Side::left ? varnel_motor_left_write(steps) : varnel_motor_right_write(steps);
}

int32_t unlock_and_fail() {
    pthread_mutex_unlock(&mutex_focus);
    return failed;
}

int32_t finish_manual(std::optional<Side> limit_hit) {
    log_focus("manul focus completed");
    pthread_mutex_unlock(&mutex_focus);  // before the toast: the host may ask for the next move from it
    if (!limit_hit) return OVRA_RESULT_OK;
    const bool left = *limit_hit == Side::left;
    show_korbet_toast_akaf(left ? OVRA_TOAST_LEFT_LIMIT : OVRA_TOAST_RIGHT_LIMIT);
    return left ? OVRA_RESULT_LEFT_LIMIT : OVRA_RESULT_RIGHT_LIMIT;
}

// Runs with mutex_focus held, and releases it; but not when a motor call fails. A lens that no longer obeys
// is then left alone: every later run and manual move waits for ever.
// A sensor that gives no number leaves `current`, the last known position, as it is.
int32_t approach_manually(const ClampedTarget& goal, int32_t current) {
    for (int pass = 0; pass < manual_passes; ++pass) {
        ::usleep(settle_us);
        if (motor_tmr_x_dir_read(&current) != 0) return unlock_and_fail();
        log_focus("currentTMR = %d, targetTMR = %d\n", current, goal.target);
        const int32_t difference = ovra::tmr_difference(goal.target, current);
        const LensAction action = ovra::next_manual_action(difference);
        if (action.kind == LensAction::Kind::done) return finish_manual(goal.limit_hit);
        if (carry_out_manual(action, difference) == failed) return failed;
    }
    ::usleep(settle_us);
    log_focus("auto focus time out");
    return unlock_and_fail();
}

// --- Absolute moves ------------------------------------------------------------------------------------

struct StepCounts {
    int32_t full = 0;
    int32_t fine = 0;
};

// The raw motor calls: a calibration knows by itself which way the lens last went.
int32_t carry_out_single(const LensAction& action, StepCounts& counts) {
    const bool fine = action.kind == LensAction::Kind::fine;
    ++(fine ? counts.fine : counts.full);
    if (fine && motor_pulse_write(ovra::half_step_pulse) == failed) return failed;
    return action.side == Side::right ? motor_right_write(1) : motor_left_write(1);
}

int32_t step_to(int32_t target, int32_t current, StepCounts& counts) {
    const Side side = current < target ? Side::right : Side::left;
    for (;;) {
        ::usleep(settle_us);
        if (counts.full + counts.fine >= target_steps_limit) {
            log_focus("auto focus time out");
            return failed;
        }
        if (motor_tmr_x_dir_read(&current) != 0) return failed;
        log_focus("currentTMR = %d, targetTMR = %d, direct = %d\n", current, target,
                  side == Side::right ? 0 : 1);
        const LensAction action = ovra::next_target_action(side, ovra::tmr_difference(target, current));
        if (action.kind == LensAction::Kind::done) return 0;
        if (carry_out_single(action, counts) == failed) return failed;
    }
}

int32_t goto_limit_safe(const char* name, const char* done_message, const int32_t& limit, int32_t* out) {
    int32_t flags[3] = {};
    get_cali_flag(flags);
    if (flags[2] == 0) return failed;
    const int32_t target = load(limit);
    log_focus("%s = %d\n", name, target);
    *out = target;
    int32_t count = 0;
    int32_t micro_count = 0;
    if (manufocusTargetTMR(target, &count, &micro_count) == failed) return failed;
    log_focus("%s", done_message);
    return 0;
}

// --- The factory's probes ------------------------------------------------------------------------------

// One step of the polarity probe; the motor's own answer does not count, the sensor's does. False when the
// sensor could not be read.
bool probe_polarity_step(int count, int32_t& after) {
    log_focus("move 1 right step--10um ");
    motor_right_write(1);
    ::usleep(probe_settle_us);
    if (motor_tmr_read(&after) != 0) return false;
    log_focus("count = %d, afterTMR = %d", count, after);
    return true;
}

bool probe_backlash_step(int count, bool to_left, int32_t& after) {
    if (to_left) {
        log_focus("move 1 left step--5um ");
        motor_left_write(1);
    } else {
        log_focus("move 1 right step--5um ");
        motor_right_write(1);
    }
    ::usleep(probe_settle_us);
    if (motor_tmr_x_dir_read(&after) != 0) return false;
    log_focus("count = %d, afterTMR = %d", count, after);
    return true;
}

// The polarity that a change of the raw reading shows, or -1 while it is too small for that.
int32_t polarity_of(int32_t change) {
    if (change >= polarity_change) return 0;
    return change <= -polarity_change ? 1 : -1;
}

}  // namespace

int32_t manufocusTMR(int32_t delta) {
    if (load(g_osd_autofocus) == 0) {
        log_focus("manu focus error: have not benn calibrated!");
        show_korbet_toast_akaf(OVRA_TOAST_FOCUS_OFF);
        return OVRA_RESULT_LENS_FAILED;
    }
    pthread_mutex_lock(&mutex_focus);
    int32_t current = 0;
    if (motor_tmr_x_dir_read(&current) != 0) {
        log_focus("manu focus error: motor_tmr_read failed");
        return unlock_and_fail();
    }
    const int32_t target = ovra::tmr_sum(current, ovra::widen_manual_move(delta));
    log_target(target);
    return approach_manually(clamp_target(target), current);
}

int32_t manufocusTargetTMR(int32_t target, int32_t* count, int32_t* microCount) {
    log_target(target);
    const int32_t goal = clamp_target(target).target;
    motor_pulse_write(ovra::full_step_pulse);
    int32_t current = 0;
    if (motor_tmr_x_dir_read(&current) != 0) return failed;
    StepCounts counts;
    if (step_to(goal, current, counts) != 0) return failed;

    log_focus("manul focus completed");
    motor_pulse_write(ovra::full_step_pulse);
    *count = counts.full;
    *microCount = counts.fine;
    log_focus("count = %d, microCount = %d\n", counts.full, counts.fine);
    return 0;
}

// Its messages stand alone, without tag and line end: they go to the factory's terminal, not to the log.
int32_t manufocusTMRxj(int32_t delta) {
    int32_t current = 0;
    if (motor_tmr_x_dir_read(&current) != 0) {
        log_bare("manu focus error: motor_tmr_read failed");
        return failed;
    }
    const int32_t target = ovra::tmr_sum(current, delta);
    log_bare("manu focus targetTMR = %d--------------------------\n", target);
    if (target > load(g_limitRight)) {
        log_bare("manu fucos out of range: g_limitRight");
        return failed;
    }
    if (target < load(g_limitLeft)) {
        log_bare("manu focus out of range: g_limitLeft");
        return failed;
    }
    const int32_t result = motor_move_to_tmr(target);
    if (result == failed) {
        log_bare("manu focus error: motor_tmr_write failed");
        return result;
    }
    return 0;
}

int32_t goto_left_limit_safe(int32_t* out) {
    return goto_limit_safe("g_limitLeft", "goto left limit success", g_limitLeft, out);
}

int32_t goto_right_limit_safe(int32_t* out) {
    return goto_limit_safe("g_limitRight", "goto right limit success", g_limitRight, out);
}

void setSoftLimit(int32_t left, int32_t right) {
    store(g_limitLeft, left);
    store(g_limitRight, right);
}

int32_t get_direction(int32_t* out) {
    int32_t before = 0;
    if (motor_tmr_read(&before) != 0) return failed;
    log_focus("beforeTMR = %d", before);
    motor_pulse_write(ovra::full_step_pulse);

    int32_t polarity = -1;
    int32_t after = before;
    int count = 0;
    while (polarity < 0 && count < probe_steps) {
        ++count;
        if (!probe_polarity_step(count, after)) return failed;
        polarity = polarity_of(after - before);
    }
    if (polarity >= 0) {
        store(direction, polarity);
        *out = polarity;
    }
    // A polarity that shows at the last step only comes too late: the backlash is larger than it may be.
    if (count == probe_steps) {
        log_focus("direction: MOTOR_IDLE_DIST NG, rightR > 14");
        return OVRA_RESULT_PROBE_FAILED;
    }
    log_focus("direction = %d", polarity);
    return 0;
}

int32_t go_cali_tmr_idle(int32_t toLeft) {
    int32_t before = 0;
    if (motor_tmr_x_dir_read(&before) != 0) return failed;
    log_focus("beforeTMR = %d", before);
    motor_pulse_write(ovra::full_step_pulse);

    int32_t after = before;
    for (int count = 1; count <= probe_steps; ++count) {
        if (!probe_backlash_step(count, toLeft != 0, after)) return failed;
        if (std::abs(after - before) < follow_change) continue;
        if (count < probe_steps) return 0;
    }
    log_focus("direction: %d, MOTOR_IDLE_DIST NG, MOTOR_IDLE_DIST > 14*5um\n", toLeft);
    return OVRA_RESULT_PROBE_FAILED;
}
