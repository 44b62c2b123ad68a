#include "ovrafocus/focus_run.h"

#include <unistd.h>

#include <algorithm>
#include <cstddef>

#include "base/elapsed_time.h"
#include "base/log.h"
#include "base/mutex_guard.h"
#include "base/shared_flag.h"
#include "focusctrl/autofocus/focus_plan.h"
#include "focusctrl/autofocus/host_interface.h"
#include "focusctrl/autofocus/lens_units.h"
#include "ovrafocus/distance.h"
#include "ovrafocus/focus_nodes.h"
#include "ovrafocus/keystone_width.h"
#include "ovrafocus/lens_state.h"
#include "ovrafocus/requests.h"
#include "ovrafocus/result_codes.h"

namespace {

using ovra::elapsed_ms;
using ovra::failed;
using ovra::FineAction;
using ovra::load;
using ovra::log_focus;
using ovra::PlaceTable;
using ovra::Side;
using ovra::store;
using ovra::TableChoice;
using ovra::wall_clock;

constexpr int32_t adjust_once = 1;  // of g_focus_temp_adjust
constexpr unsigned both_off_pause_s = 1;

constexpr int fine_passes = 30;

// The switches as they stood at the start: the user's change in the middle of a run is for the next one.
struct Switches {
    uint8_t keystone;
    uint8_t autofocus;
};

struct Times {
    timeval start;
    timeval keystone_end;
};

// --- The target ------------------------------------------------------------------------------------------

// The average distance in millimetres, or -1 when nothing could be measured.
int32_t measure_distance() {
    int32_t frame[ovra::ranging_frame_values];
    const int32_t result = tof_distance_read(frame);
    if (result == failed) {
        log_focus("auto fucos error: get tof distance failed");
        return -1;
    }
    log_focus("tof distance ret=%d, tr:%d, br:%d, tl:%d, bl:%d\n", result, frame[0], frame[1], frame[2],
              frame[3]);
    const int32_t distance = getAvgDist(frame);
    store(lastDistance, distance);
    log_focus("\033[36;1mavgDist = %d\033[0m\n", distance);
    if (distance == -1) log_focus("\033[31;1mauto fucos error: move far away\033[0m");
    return distance;
}

PlaceTable copy_of(const int32_t* places) {
    PlaceTable copy;
    std::transform(places, places + copy.size(), copy.begin(),
                   [](const int32_t& entry) { return load(entry); });
    return copy;
}

void log_adjustment(const TableChoice& choice, int32_t offset) {
    const bool curve = choice.table == TableChoice::Table::curve;
    const bool half = choice.grade == TableChoice::Grade::half;
    if (!curve && choice.grade == TableChoice::Grade::plain) return;
    const char* const name = curve ? (half ? "elepn half" : "elepn") : (half ? "half" : "full");
    log_focus("\033[46;1mtargetTMR after temp adjust %s = %d\033[0m\n", name, offset);
}

// The lens position of each place at the present LED temperature. A temperature that cannot be read is -1
// and so counts as cold.
PlaceTable target_positions() {
    const int32_t celsius = r_led_temp_read();
    const TableChoice choice =
        ovra::choose_table(load(g_flag_elepn_temp) != 0, load(g_flag_high_temp) != 0, celsius);
    const int32_t offset = ovra::temperature_offset(choice, load(listFlash[ovra::compared_place]),
                                                    load(elepnCalidata[ovra::compared_place]));
    log_adjustment(choice, offset);
    const bool curve = choice.table == TableChoice::Table::curve;
    return ovra::shifted_table(choice, copy_of(curve ? elepnCalidata : listFlash), offset);
}

// --- The moves -------------------------------------------------------------------------------------------

int32_t move_lens(Side side, int32_t steps) {
    return side == Side::left ? varnel_motor_left_write(steps) : varnel_motor_right_write(steps);
}

// Reads the position where the run goes on without it: after a failure, and when the sensor gives no number,
// the last known one stands.
void refresh_position(int32_t& position) {
    int32_t reading = position;
    if (motor_tmr_x_dir_read(&reading) == 0) position = reading;
}

bool reverses(Side side) { return load(lastDirection) == number_of(opposite(side)); }

bool take_up_backlash(Side side, int32_t& position) {
    const int32_t steps = ovra::backlash_steps(load(side == Side::left ? leftIdle : rightIdle));
    log_focus("move %s idle %d\n", name_of(side), steps);
    if (move_lens(side, steps) == failed) return false;
    refresh_position(position);
    return true;
}

// Two places make one step, so the way to a neighbouring place is 0 steps. They are written all the same, and
// the fine loop does the rest.
bool coarse_move(const ovra::CoarseMove& move, int32_t& position) {
    if (motor_pulse_write(ovra::full_step_pulse) == failed) return false;
    log_focus("move %s", name_of(move.side));
    if (reverses(move.side) && !take_up_backlash(move.side, position)) return false;
    return move_lens(move.side, move.steps) != failed;
}

// Several steps keep whichever pulse setting was written last.
bool fine_move(const FineAction& action) {
    if (action.kind == FineAction::Kind::single_step) {
        log_focus("move 1 %s", name_of(action.side));
        if (motor_pulse_write(ovra::half_step_pulse) == failed) return false;
    } else {
        log_focus("move %d %s\n", action.steps, name_of(action.side));
    }
    return move_lens(action.side, action.steps) != failed;
}

// Closes in on the target from one side, fixed at the start; going past it ends the loop as well.
bool fine_loop(int32_t target, int32_t position) {
    refresh_position(position);
    const Side side = ovra::approach_side(target, position);
    for (int pass = 0; pass < fine_passes; ++pass) {
        if (motor_tmr_x_dir_read(&position) == failed) return false;
        log_focus("currentTMR = %d, targetTMR = %d\n", position, target);
        const FineAction action = ovra::next_fine_action(side, target, position);
        if (action.kind == FineAction::Kind::done) {
            log_focus("auto focus completed");
            return true;
        }
        if (!fine_move(action)) return false;
    }
    log_focus("auto focus time out");
    return false;
}

bool drive_lens(const PlaceTable& positions, int target_place, int32_t target) {
    int32_t position = 0;
    if (motor_tmr_x_dir_read(&position) == failed) return false;
    const int current_place = ovra::nearest_place(positions, position);
    log_focus("curTMRIndex = %d, targetTMRIndex = %d, steps = %d\n", current_place, target_place,
              ovra::steps_between(current_place, target_place));

    const ovra::CoarseMove move = ovra::plan_coarse_move(current_place, target_place);
    // At its place already the lens is left alone, however many TMR units it is off. Only a unit calibrated hot
    // always passes through the fine loop, because its table is shifted by less than a place.
    if (!move.needed && load(g_flag_high_temp) == 0) return true;
    if (move.needed && !coarse_move(move, position)) return false;
    return fine_loop(target, position);
}

// --- The run ---------------------------------------------------------------------------------------------

// A function of its own for the compiler too: the keystone step needs the stack that the tables take here.
[[gnu::noinline]] int32_t focus_lens() {
    const int32_t distance = measure_distance();
    if (distance == -1) {
        show_korbet_toast_akaf(OVRA_TOAST_NO_DISTANCE);
        return OVRA_RESULT_NO_DISTANCE;
    }
    const PlaceTable positions = target_positions();
    const int place = ovra::nearest_place(ovra::distance_of_places(), distance);
    const int32_t target = ovra::extrapolate_near(positions[static_cast<std::size_t>(place)], place, distance);
    if (drive_lens(positions, place, target)) return OVRA_RESULT_OK;
    show_korbet_toast_akaf(OVRA_TOAST_LENS_FAILED);
    return OVRA_RESULT_LENS_FAILED;
}

// The switches are read again here: a function that was switched off meanwhile is left out.
void log_times(const Times& times) {
    const timeval end = wall_clock();
    if (load(g_osd_keystone) != 0) {
        log_focus("\033[46;1movra: keystone time : %ld ms\033[0m\n",
                  static_cast<long>(elapsed_ms(times.start, times.keystone_end)));
    }
    if (load(g_osd_autofocus) != 0) {
        log_focus("\033[46;1movra: auto focus time : %ld ms\033[0m\n",
                  static_cast<long>(elapsed_ms(times.keystone_end, end)));
    }
}

int32_t focus_holding_lens(const Times& times, int32_t keystone_toast) {
    const ovra::MutexGuard lens(mutex_focus);
    const int32_t result = focus_lens();
    log_times(times);
    if (keystone_toast != ovra::no_toast) show_korbet_toast_akaf(keystone_toast);
    ovra::log_focus_state();
    return result;
}

int32_t focus_step(const Times& times, int32_t keystone_toast) {
    const int32_t result = focus_holding_lens(times, keystone_toast);
    lv_refresh_callback();
    return result;
}

int32_t report_focus_off(bool keystone_on) {
    if (!keystone_on) {
        show_korbet_toast_akaf(OVRA_TOAST_BOTH_OFF);
        ::sleep(both_off_pause_s);
    }
    show_korbet_toast_akaf(OVRA_TOAST_FOCUS_OFF);
    return keystone_on ? OVRA_RESULT_KEYSTONE_ONLY : OVRA_RESULT_BOTH_OFF;
}

ovra::KeystoneVerdict keystone_step(const Switches& on, Times& times) {
    if (on.keystone == 0 || load(g_focus_temp_adjust) != 0) return {};
    const ovra::KeystoneVerdict verdict =
        ovra::judge_keystone(varnel_keystone(OVRA_KEYSTONE_FOR_FOCUS), on.autofocus != 0);
    if (!verdict.ends_run) times.keystone_end = wall_clock();
    return verdict;
}

}  // namespace

// The way of a run:
//
//   keystone on, no adjustment asked for --> keystone step --- failed, focus off: toast 2 or 9, return
//                 |                               |
//                 v                               v
//           focus on? --- no: toast 11 (keystone off too: 10, one second, 11), return
//                 |
//                 v
//        lock the lens, measure -------- no distance ---------> toast 9 --.
//                 |                                                       |
//                 v                                                       |
//        tables, target, current place - not readable --------> toast 5 --+
//           |           |       |                                         |
//           | places    | same, `------- same place, not hot -------------+
//           | differ    | hot                                             |
//           v           |                                                 |
//        coarse move ---(--------------- failed --------------> toast 5 --+
//           |           |                                                 |
//           v           v                                                 |
//        fine loop, 30 passes at most -- failed or timed out -> toast 5 --+
//                 |                                                       |
//                 `--------------------- settled -------------------------+
//                                                                         v
//                         times, the keystone step's toast, state, unlock, refresh, return
int32_t varnel_thread_autofocus(void) {
    const Switches on = {load(g_osd_keystone), load(g_osd_autofocus)};
    ovra::log_focus_state();
    log_focus("======= osd : keystone = %d, autofocus = %d, g_focus_temp_adjust = %d =========\n", on.keystone,
              on.autofocus, load(g_focus_temp_adjust));
    Times times = {wall_clock(), wall_clock()};

    const ovra::KeystoneVerdict keystone = keystone_step(on, times);
    if (keystone.ends_run) {
        show_korbet_toast_akaf(keystone.toast);
        return keystone.result;
    }
    if (load(g_focus_temp_adjust) == adjust_once) store(g_focus_temp_adjust, 0);
    if (on.autofocus == 0) return report_focus_off(on.keystone != 0);
    return focus_step(times, keystone.toast);
}
