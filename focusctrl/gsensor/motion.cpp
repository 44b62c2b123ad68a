#include "focusctrl/gsensor/motion.h"

#include <sys/time.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>

#include "base/elapsed_time.h"
#include "base/log.h"
#include "base/mutex_guard.h"
#include "base/shared_flag.h"
#include "base/whole_number.h"
#include "focusctrl/gsensor/axes.h"
#include "focusctrl/gsensor/gravity_log.h"
#include "focusctrl/gsensor/gravity_state.h"
#include "focusctrl/gsensor/movement.h"
#include "focusctrl/gsensor/tilt.h"
#include "ovrafocus/config.h"
#include "ovrafocus/direction.h"
#include "ovrafocus/distance.h"
#include "ovrafocus/host_interface.h"

using ovra::log_focus;
using ovra::MutexGuard;
using ovra::store;

// The motion machine. Its state is spread over flags that the host can see, and is read from them again with
// every block; this is the machine that they make up:
//
//     warming up --- fifth block skipped ---> idle, the rest position not yet known
//
//            shake, distance changed         steady block            fifth steady block
//       idle ----------------------> moved ------------> settling -------------------> at rest
//        ^                                                        rest position taken     |
//        |                                                                                |
//        +---------- steady block once auto-keystone has ended: run requested ------------+
//
//     every state --- shake, distance changed ---> moved: angle, distance and shake flag 1, counts 0
//     every state --- shake, distance the same --> idle: the three flags 0, one second's pause
//     every state --- factory test --------------> idle: angle and distance flag 0, nothing is judged
//
// Steady means less than 1.76 degrees from the block before. An unsteady block in settling is not counted and
// takes nothing back. While the rest position is not known, idle settles like moved does, to take one, and
// requests nothing. Auto-keystone runs beside the machine while the distance flag is 1, which it clears when it
// ends.

pthread_mutex_t det_mtx = PTHREAD_MUTEX_INITIALIZER;

namespace ovra {

namespace {

constexpr int blocks_to_skip = 5;  // after the start; they say nothing yet
constexpr int steady_blocks_to_rest = 5;
constexpr int steady_blocks_to_trigger = 5;  // acc_data_handle() triggers on the block after these
constexpr int settle_time_ms = 499;          // acc_data_handle() waits for more than this after a movement
constexpr unsigned unchanged_distance_pause_s = 1;

// The state in which a request to follow movements with keystone would be served. No part of the library
// enters it.
constexpr std::uint32_t serving_state = 8;

// The two judges word it alike but for a blank.
constexpr const char* skipped_by_sampling = "autofocus first event, do nothing";
constexpr const char* skipped_by_handler = "autofocus first event, do nothing ";

// Guarded by sample_processing, except the count of steady blocks, which clear_acc_gyro_status() may reset
// at any time.
int skipped_blocks = 0;
bool judging = false;
bool factory_notice_given = false;
bool rest_known = false;
std::int32_t steady_blocks = 0;
Axes steady_sum{};
float largest_movement_degrees = 0.0F;

// Read by the auto-keystone thread while the sensor thread sets it.
pthread_mutex_t movement_time_mutex = PTHREAD_MUTEX_INITIALIZER;
timeval movement_time{};

void remember_movement_time() {
    const MutexGuard guard(movement_time_mutex);
    movement_time = wall_clock();
}

// --- What both judges do ----------------------------------------------------------------------------------

bool skip_first_block(const char* message) {
    if (skipped_blocks >= blocks_to_skip) return false;
    ++skipped_blocks;
    log_focus_at(level_event, "%s", message);
    return true;
}

void take_angles_of(const Axes& average) {
    const Axes tilt = tilt_degrees(average);
    set_axes(acc_degree, tilt);
    log_axes(level_sample, "%s:x_degree %.3f y_degree %.3f z_degree %.3f", "acc_caculate_degree", tilt);
}

void finish_block() { set_axes(acc_degree_last, axes_of(acc_degree)); }

// --- The library's own judge ------------------------------------------------------------------------------

void log_event(const char* message) { log_focus_at(level_event, "%s", message); }

void log_rest_position() {
    log_axes(level_event, "%sorigin x %.3f, origin y %.3f, origin z %.3f", "", axes_of(acc_origin_data));
}

void log_tilt(const char* which, const Axes& tilt) {
    log_axes(level_event, "%sx_degree %.3f y_degree %.3f z_degree %.3f", which, tilt);
}

bool host_is_testing() {
    const app_callback_table* host = load_acquire(gsensor_app_callback);
    return host != nullptr && host->is_factory_test != nullptr && host->is_factory_test() == 1;
}

void pause_for_factory_test() {
    store(project_acc_angle_changed, 0);
    store(project_tof_dist_changed, 0);
    if (!factory_notice_given) log_event("enter factory testing and disable gsensor function");
    factory_notice_given = true;
}

// A shake that leaves the picture where it was, such as a knock on the table.
void reject_movement() {
    log_event("\033[32;1mdistance not changed\033[0m");
    // The angle, distance and shake flag under one label: odd, and part of the line's fixed text.
    log_focus_at(
        level_event,
        "project_acc_angle_changed = %d, project_acc_angle_changed = %d, project_acc_angle_changed = %d\n",
        load(project_acc_angle_changed), load(project_tof_dist_changed), load(project_acc_shake_happened));
    store(project_acc_angle_changed, 0);
    store(project_tof_dist_changed, 0);
    store(project_acc_shake_happened, 0);
    ::sleep(unchanged_distance_pause_s);
    lv_refresh_callback();
}

void accept_movement(const Axes& now, const Axes& last) {
    store(steady_blocks, 0);
    steady_sum = {};
    store(tof_steady_readings, 0);
    remember_movement_time();
    // The flags come after what belongs to them: auto-keystone starts as soon as it sees the distance flag.
    store(project_acc_angle_changed, 1);
    store(project_acc_shake_happened, 1);
    store_release(project_tof_dist_changed, 1);
    log_rest_position();
    log_tilt("last: ", last);
    log_tilt("now:  ", now);
}

// A failed measurement counts as an unchanged distance.
void check_movement(const Axes& now, const Axes& last) {
    if (isDistChanged() == 1)
        accept_movement(now, last);
    else
        reject_movement();
}

// Counts up to five and stays there; returns the count.
std::int32_t count_steady_block(const Axes& now) {
    std::int32_t count = load(steady_blocks);
    if (count >= steady_blocks_to_rest) return count;
    store(steady_blocks, ++count);
    log_focus_at(level_event, "match device steady times %d", count);
    steady_sum.x += now.x;
    steady_sum.y += now.y;
    steady_sum.z += now.z;
    return count;
}

void record_rest_position() {
    constexpr auto n = static_cast<float>(steady_blocks_to_rest);
    store(project_acc_shake_happened, 0);
    set_axes(acc_origin_data, {steady_sum.x / n, steady_sum.y / n, steady_sum.z / n});
    log_rest_position();
    rest_known = true;
}

void request_run() {
    log_event("autofocus acc trigger keystone");
    if (varnel_autofocus() != 0) log_focus("auto focus error");
}

// The movement is over also when nothing was requested or the request failed: there is no second try.
void finish_movement() {
    if (varnel_get_osd_settings_autofocus() == 1) request_run();
    store(project_acc_angle_changed, 0);
}

void settle(const Axes& now, const Axes& last) {
    if (!is_steady(now, last)) return;
    if (count_steady_block(now) < steady_blocks_to_rest) return;
    if (load(project_acc_shake_happened) == 1 || !rest_known) record_rest_position();
    const bool keystone_has_ended = load_acquire(project_tof_dist_changed) == 0;
    if (load(project_acc_angle_changed) == 1 && keystone_has_ended) finish_movement();
}

void follow_tilt(const Axes& now, const Axes& last) {
    const RestPosition rest{rest_known, axes_of(acc_origin_data)};
    switch (classify_block(now, last, rest, load(project_acc_angle_changed) == 1)) {
        case BlockEvent::sudden_shake:
            log_event("machine is sudden shake");
            return check_movement(now, last);
        case BlockEvent::slow_shake:
            log_event("machine is slow shake");
            return check_movement(now, last);
        case BlockEvent::settling:
            return settle(now, last);
        case BlockEvent::nothing:
            return;
    }
}

void follow_block() {
    if (skip_first_block(skipped_by_sampling)) return;
    store_release(first_blocks_skipped, 1);
    // Taken before the host's callbacks, which may sample and judge, and so change both.
    const Axes now = axes_of(acc_degree);
    const Axes last = axes_of(acc_degree_last);
    if (host_is_testing()) return pause_for_factory_test();
    factory_notice_given = false;
    match_projection_direction();
    follow_tilt(now, last);
}

// --- The judge with adjustable thresholds, for hosts ------------------------------------------------------

void note_large_step(const Axes& step) {
    store(project_acc_angle_changed, 1);
    store(steady_blocks, 0);
    remember_movement_time();
    log_event("autofocus acc angle changed");
    largest_movement_degrees = std::max(largest_movement_degrees, largest(step));
    sensor_triger_stable(0, 1, 0);
}

void trigger(const KeystoneAngles& lean) {
    log_event("autofocus acc trigger keystone");
    store(project_acc_angle_changed, 0);
    sensor_triger_stable(0, 0, whole_number(static_cast<double>(largest_movement_degrees)));
    largest_movement_degrees = 0.0F;
    trigger_auto_keystone_or_autofocus(lean.vertical, lean.horizontal);
}

// One calm axis is enough for a steady block here.
void count_towards_trigger(const Axes& step, const KeystoneAngles& lean) {
    if (all_reach(step, load(threshold_acc_to_steady))) return;
    const std::int32_t count = load(steady_blocks) + 1;
    store(steady_blocks, count);
    if (count > steady_blocks_to_trigger) trigger(lean);
}

void follow_step(const Axes& step, const KeystoneAngles& lean) {
    if (any_reaches(step, load(threshold_acc_to_shake))) note_large_step(step);
    if (load(project_acc_angle_changed) == 1 && ms_since_movement() > settle_time_ms)
        count_towards_trigger(step, lean);
}

}  // namespace

std::int32_t ms_since_movement() {
    timeval start{};
    {
        const MutexGuard guard(movement_time_mutex);
        start = movement_time;
    }
    return saturated_to_32_bits(elapsed_ms(start, wall_clock()));
}

void judge_block(const Axes& average) {
    take_angles_of(average);
    if (judging) return;
    judging = true;
    follow_block();
    finish_block();
    judging = false;
}

}  // namespace ovra

void acc_data_handle(void) {
    const MutexGuard processing(ovra::sample_processing);
    ovra::take_angles_of(ovra::axes_of(acc_avg));
    match_projection_direction();
    const ovra::Axes now = ovra::axes_of(acc_degree);
    const ovra::KeystoneAngles lean = ovra::keystone_angles(now);
    store(vKeystoneVal, lean.vertical);
    store(thetaKeystoneVal, lean.horizontal);
    if (!ovra::skip_first_block(ovra::skipped_by_handler))
        ovra::follow_step(ovra::absolute_difference(now, ovra::axes_of(acc_degree_last)), lean);
    ovra::finish_block();
}

void clear_acc_gyro_status(void) {
    // The angles summed up for the next rest position are kept, so a new count adds to them.
    store(project_acc_angle_changed, 0);
    store(ovra::steady_blocks, 0);
    store(project_acc_shake_happened, 0);
}

void trigger_auto_keystone_or_autofocus(float, float) {
    clear_acc_gyro_status();
    sensor_triger_focus(1);
}

void sensor_triger_focus(int32_t) {
    const MutexGuard guard(det_mtx);
    ovra_focus_config config;
    get_focus_configs(&config);
    // Only reported: a run that is requested while another is busy is served after it.
    if (config.focus_state.busy != 0) log_focus("%s,statue error", "sensor_triger_focus");
    if (varnel_autofocus() == -1) log_focus("auto focus error");
}

void sensor_triger_stable(int32_t type, int32_t unstable, int32_t state) {
    constexpr std::uint32_t unstable_bit = 1;
    auto bits = static_cast<std::uint32_t>(state);
    if (type == 0) bits = unstable != 0 ? bits | unstable_bit : bits & ~unstable_bit;
    log_focus("%s,type:%d,unstable:%d,final:%d", "sensor_triger_stable", type, unstable,
              static_cast<std::int32_t>(bits));
}

void sensor_triger_trapz(int32_t enable) {
    const MutexGuard guard(det_mtx);
    ovra_focus_config config;
    get_focus_configs(&config);
    log_focus("%s,enable:%d", "sensor_triger_trapz", enable);
    const ovra_system_state& system = config.system_state;
    const bool serving = system.is_system_on == ovra::serving_state && system.skip_boot_action == 0;
    if (!serving) log_focus("%s,auto_move_focus is disable", "sensor_triger_trapz");
}

void auto_move_focus_reset(void) {
    const MutexGuard guard(det_mtx);
    log_focus("%s", "auto_move_focus_reset");
}

void auto_move_trapz_reset(void) {
    const MutexGuard guard(det_mtx);
    log_focus("%s", "auto_move_trapz_reset");
}
