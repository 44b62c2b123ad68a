#include "ovrafocus/auto_keystone.h"

#include <cstdint>
#include <optional>

#include "base/log.h"
#include "base/shared_flag.h"
#include "focusctrl/gsensor/gravity_log.h"
#include "focusctrl/gsensor/gravity_state.h"
#include "focusctrl/gsensor/keystone_step.h"
#include "focusctrl/gsensor/motion.h"
#include "ovrafocus/host_interface.h"
#include "ovrafocus/keystone_width.h"
#include "ovrafocus/nds01_isp.h"

// A run, from the movement that sets project_tof_dist_changed to the step that clears it:
//
//              movement                        distance unchanged, 1 s or more after the movement
//     idle --------------> correcting ---------------------------------> steady
//                          ^    ^   |                                     |  |
//                          |    +---+ fresh movement or distance changed  |  +--> fifth reading: idle
//                          +----------------------------------------------+
//
//     any state --- fifth reading out of range in a row, no reading, or switched off by the user ---> idle

namespace ovra {

namespace {

constexpr std::int32_t steady_readings_to_end = 5;
constexpr std::int32_t over_range_readings_to_end = 5;

// Used by the auto-keystone thread only.
std::int32_t last_distance_mm = 0;
std::int32_t over_range_readings = 0;

void end_run() { store_release(project_tof_dist_changed, 0); }

void skip_over_range(std::int32_t distance_mm) {
    ++over_range_readings;
    log_focus_at(level_error, "the projection distance = %d exceeds 3000mm times %d", distance_mm,
                 over_range_readings);
    if (over_range_readings != over_range_readings_to_end) return;
    over_range_readings = 0;
    end_run();
    log_focus_at(level_error, "the projection exceeds 3000mm, stop keystone");
}

void count_steady_reading() {
    const std::int32_t count = load(tof_steady_readings) + 1;
    store(tof_steady_readings, count);
    log_focus_at(level_event, "match tof steady times %d", count);
    if (count != steady_readings_to_end) return;
    end_run();
    log_focus_at(level_event, "tof stable and exit keystone");
}

void correct_keystone() {
    const std::int32_t result = varnel_keystone(0);
    if (result != 0) log_focus_at(level_event, "%s keystone fali, ret = %d", "auto_keystone_deal_with", result);
    store(tof_steady_readings, 0);
}

void follow_distance(std::int32_t distance_mm) {
    const std::optional<std::int32_t> tolerance = tolerance_mm(distance_mm);
    if (!tolerance) return skip_over_range(distance_mm);
    over_range_readings = 0;
    switch (choose_keystone_step(distance_mm, last_distance_mm, *tolerance, ms_since_movement())) {
        case KeystoneStep::count_steady:
            count_steady_reading();
            break;
        case KeystoneStep::correct:
            correct_keystone();
            break;
    }
    last_distance_mm = distance_mm;
}

}  // namespace
}  // namespace ovra

int32_t get_auto_keystone_status(void) { return ovra::load_acquire(project_tof_dist_changed) > 0 ? 1 : 0; }

void auto_keystone_deal_with(void) {
    if (varnel_get_osd_settings_keystone() == 0) {
        ovra::end_run();
        ovra::over_range_readings = 0;
        return;
    }
    nds01_angle_result angle{};
    if (nds01_get_angle(&angle) < 0) {
        ovra::end_run();
        ovra::log_focus_at(ovra::level_error, "Unable to read TOF angle, end auto keystone");
        return;
    }
    ovra::follow_distance(angle.depth_mm);
}
