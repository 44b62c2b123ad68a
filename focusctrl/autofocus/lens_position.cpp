#include "ovrafocus/lens_position.h"

#include <unistd.h>

#include <cstdlib>

#include "focusctrl/autofocus/lens_feedback.h"
#include "focusctrl/log.h"
#include "focusctrl/shared_flag.h"
#include "ovrafocus/calibration_data.h"
#include "ovrafocus/focus_nodes.h"
#include "ovrafocus/focus_run.h"
#include "ovrafocus/host_interface.h"
#include "ovrafocus/motor_drv.h"

int32_t g_limitLeft = -500;
int32_t g_limitRight = 500;
int32_t leftIdle = 1;
int32_t rightIdle = 1;

namespace {

using ovra::ClampedTarget;
using ovra::LensAction;
using ovra::LimitHit;
using ovra::load;
using ovra::log_bare;
using ovra::log_focus;
using ovra::store;

constexpr int32_t failed = -1;
constexpr int32_t probe_failed = -100;
constexpr int32_t stopped_at_right_limit = -6;
constexpr int32_t stopped_at_left_limit = -7;

constexpr int32_t toast_right_limit = 6;
constexpr int32_t toast_left_limit = 7;
constexpr int32_t toast_not_calibrated = 11;

constexpr int32_t fine_pulse = 1;
constexpr int32_t full_pulse = 2;

constexpr useconds_t settle_us = 40000;         // before the position is read in a feedback loop
constexpr useconds_t probe_settle_us = 100000;  // the same in the factory's probes

constexpr int manual_passes = 30;
constexpr int32_t target_steps_limit = 41;  // full and fine steps together
constexpr int probe_steps = 15;             // the last of them is one too many
constexpr int32_t sense_change = 21;        // TMR units that tell the sensor's sense
constexpr int32_t idle_change = 11;         // TMR units that tell that the lens follows

// The soft limits hold for every target; a target beyond one is told and pulled inside.
ClampedTarget clamp_target(int32_t target) {
    const ClampedTarget clamped = ovra::clamp_to_limits(target, load(g_limitLeft), load(g_limitRight));
    if (clamped.hit == LimitHit::right) log_focus("manu focus out of range: g_limitRight");
    if (clamped.hit == LimitHit::left) log_focus("manu focus out of range: g_limitLeft");
    return clamped;
}

void log_target(int32_t target) { log_focus("manu focus targetTMR = %d--------------------------\n", target); }

// --- Manual focus --------------------------------------------------------------------------------------

int32_t manual_fine_step(const char* message, int32_t (*move)(int32_t)) {
    log_focus("%s", message);
    if (motor_pulse_write(fine_pulse) == failed) return failed;
    return move(1);
}

int32_t carry_out_manual(LensAction action, int32_t difference) {
    switch (action) {
        case LensAction::coarse_right:
            return varnel_motor_right_write(ovra::coarse_steps(difference));
        case LensAction::coarse_left:
            return varnel_motor_left_write(ovra::coarse_steps(difference));
        case LensAction::fine_right:
            return manual_fine_step("move 1 right half step", varnel_motor_right_write);
        case LensAction::fine_left:
            return manual_fine_step("move 1 left half step", varnel_motor_left_write);
        case LensAction::done:
            break;
    }
    return 0;
}

int32_t unlock_and_fail() {
    pthread_mutex_unlock(&mutex_focus);
    return failed;
}

int32_t finish_manual(LimitHit hit) {
    log_focus("manul focus completed");
    pthread_mutex_unlock(&mutex_focus);  // before the toast: the host may ask for the next move from it
    if (hit == LimitHit::left) {
        show_korbet_toast_akaf(toast_left_limit);
        return stopped_at_left_limit;
    }
    if (hit == LimitHit::right) {
        show_korbet_toast_akaf(toast_right_limit);
        return stopped_at_right_limit;
    }
    return 0;
}

// Runs with mutex_focus held, and releases it; but not when a motor call fails. A lens that no longer obeys
// is then left alone: every later run and manual move waits for ever.
// A sensor that gives no number leaves `current`, the last known position, as it is.
int32_t approach_manually(const ClampedTarget& goal, int32_t current) {
    for (int pass = 0; pass < manual_passes; ++pass) {
        usleep(settle_us);
        if (motor_tmr_x_dir_read(&current) != 0) return unlock_and_fail();
        log_focus("currentTMR = %d, targetTMR = %d\n", current, goal.target);
        const int32_t difference = ovra::tmr_difference(goal.target, current);
        const LensAction action = ovra::next_manual_action(difference);
        if (action == LensAction::done) return finish_manual(goal.hit);
        if (carry_out_manual(action, difference) == failed) return failed;
    }
    usleep(settle_us);
    log_focus("auto focus time out");
    return unlock_and_fail();
}

// --- Absolute moves ------------------------------------------------------------------------------------

struct StepCounts {
    int32_t full = 0;
    int32_t fine = 0;
};

// The raw motor calls: a calibration knows by itself which way the lens last went.
int32_t carry_out_single(LensAction action, StepCounts& counts) {
    const bool fine = action == LensAction::fine_right || action == LensAction::fine_left;
    const bool right = action == LensAction::fine_right || action == LensAction::coarse_right;
    ++(fine ? counts.fine : counts.full);
    if (fine && motor_pulse_write(fine_pulse) == failed) return failed;
    return right ? motor_right_write(1) : motor_left_write(1);
}

int32_t step_to(int32_t target, int32_t current, StepCounts& counts) {
    const bool rightwards = current < target;
    for (;;) {
        usleep(settle_us);
        if (counts.full + counts.fine >= target_steps_limit) {
            log_focus("auto focus time out");
            return failed;
        }
        if (motor_tmr_x_dir_read(&current) != 0) return failed;
        log_focus("currentTMR = %d, targetTMR = %d, direct = %d\n", current, target, rightwards ? 0 : 1);
        const LensAction action = ovra::next_target_action(rightwards, ovra::tmr_difference(target, current));
        if (action == LensAction::done) return 0;
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

// One step of the sense probe; the motor's own answer does not count, the sensor tells. False when the
// sensor could not be read.
bool probe_sense_step(int count, int32_t& after) {
    log_focus("move 1 right step--10um ");
    motor_right_write(1);
    usleep(probe_settle_us);
    if (motor_tmr_read(&after) != 0) return false;
    log_focus("count = %d, afterTMR = %d", count, after);
    return true;
}

bool probe_idle_step(int count, bool to_left, int32_t& after) {
    if (to_left) {
        log_focus("move 1 left step--5um ");
        motor_left_write(1);
    } else {
        log_focus("move 1 right step--5um ");
        motor_right_write(1);
    }
    usleep(probe_settle_us);
    if (motor_tmr_x_dir_read(&after) != 0) return false;
    log_focus("count = %d, afterTMR = %d", count, after);
    return true;
}

// The sense that a change of the raw reading tells, or -1 while it is too small to tell.
int32_t sense_of(int32_t change) {
    if (change >= sense_change) return 0;
    return change <= -sense_change ? 1 : -1;
}

}  // namespace

int32_t manufocusTMR(int32_t delta) {
    if (load(g_osd_autofocus) == 0) {
        log_focus("manu focus error: have not benn calibrated!");
        show_korbet_toast_akaf(toast_not_calibrated);
        return failed;
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
    motor_pulse_write(full_pulse);
    int32_t current = 0;
    if (motor_tmr_x_dir_read(&current) != 0) return failed;
    StepCounts counts;
    if (step_to(goal, current, counts) != 0) return failed;

    log_focus("manul focus completed");
    motor_pulse_write(full_pulse);
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
    motor_pulse_write(full_pulse);

    int32_t sense = -1;
    int32_t after = before;
    int count = 0;
    while (sense < 0 && count < probe_steps) {
        ++count;
        if (!probe_sense_step(count, after)) return failed;
        sense = sense_of(after - before);
    }
    if (sense >= 0) {
        store(direction, sense);
        *out = sense;
    }
    // A sense that shows at the last step only comes too late: the motor idles longer than it may.
    if (count == probe_steps) {
        log_focus("direction: MOTOR_IDLE_DIST NG, rightR > 14");
        return probe_failed;
    }
    log_focus("direction = %d", sense);
    return 0;
}

int32_t go_cali_tmr_idle(int32_t toLeft) {
    int32_t before = 0;
    if (motor_tmr_x_dir_read(&before) != 0) return failed;
    log_focus("beforeTMR = %d", before);
    motor_pulse_write(full_pulse);

    int32_t after = before;
    for (int count = 1; count <= probe_steps; ++count) {
        if (!probe_idle_step(count, toLeft != 0, after)) return failed;
        if (std::abs(after - before) < idle_change) continue;
        if (count < probe_steps) return 0;
    }
    log_focus("direction: %d, MOTOR_IDLE_DIST NG, MOTOR_IDLE_DIST > 14*5um\n", toLeft);
    return probe_failed;
}
