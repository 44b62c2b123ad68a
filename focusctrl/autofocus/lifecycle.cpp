#include "ovrafocus/lifecycle.h"

#include <pthread.h>
#include <unistd.h>

#include <cstdint>

#include "base/log.h"
#include "base/shared_flag.h"
#include "base/thread.h"
#include "focusctrl/autofocus/config.h"
#include "focusctrl/autofocus/host_interface.h"
#include "ovrafocus/acceleration.h"
#include "ovrafocus/auto_keystone.h"
#include "ovrafocus/calibration_data.h"
#include "ovrafocus/display_keystone.h"
#include "ovrafocus/focus_run.h"
#include "ovrafocus/keystone_width.h"
#include "ovrafocus/lens_state.h"
#include "ovrafocus/nds01_start.h"
#include "ovrafocus/permanent_data.h"
#include "ovrafocus/platform_utils.h"
#include "ovrafocus/requests.h"
#include "platform/board_network.h"

using ovra::load;
using ovra::log_bare;
using ovra::log_focus;
using ovra::log_focus_at;
using ovra::store;
using ovra::store_release;

namespace ovra {
namespace {

constexpr std::int32_t start_point_mode = 1;  // eight ToF zones

constexpr unsigned gravity_period_ms = 20;
constexpr unsigned auto_keystone_period_ms = 40;
constexpr useconds_t worker_period_us = 200'000;

// With 20 ms a cycle: every 8 s and what the samples take.
constexpr std::int32_t usb_ethernet_refresh_cycles = 400;

constexpr int trace_level = 4;
constexpr int error_level = 1;

constexpr std::int32_t thread_not_started = -1;

// The third calibration flag: how the lens was calibrated in the factory.
enum LensCalibration : std::int32_t {
    lens_not_calibrated = 0,
    lens_at_high_temperature = 2,
    lens_with_focus_curve = 3,  // and everything above
    lens_at_high_temperature_with_focus_curve = 4,
};

std::int32_t gravity_cycles = 0;
pthread_t gsensor_det_thread_id{};

bool calibrated_hot(std::int32_t lens_flag) {
    return lens_flag == lens_at_high_temperature || lens_flag == lens_at_high_temperature_with_focus_curve;
}

// The high-temperature flag is set and never cleared here: writing new calibration flags is what clears it.
void apply_lens_calibration(std::int32_t lens_flag) {
    if (lens_flag == lens_not_calibrated) return;
    if (calibrated_hot(lens_flag)) store(g_flag_high_temp, 1);
    if (lens_flag < lens_with_focus_curve) store(g_flag_elepn_temp, 0);
    store(g_osd_autofocus, 1);
}

void log_thread_start(const char* name) { log_focus_at(trace_level, "%s start", name); }

void refresh_usb_ethernet_when_due() {
    if (++gravity_cycles < usb_ethernet_refresh_cycles) return;
    usb_eth_config();
    gravity_cycles = 0;
}

// The request stays set while it is served: the widths are then applied in one step, without the stepping
// that softens an automatic correction. A request that arrives meanwhile is lost with it.
void serve_keystone_request() {
    if (load_acquire(g_run_once_keystone) == 0) return;
    log_focus("run once keystone");
    varnel_thread_setDLPKeystone(load(m_manuKeystone_value_for_thread));
    store(g_run_once_keystone, 0);
    store(m_manuKeystone_value_for_thread, 0);
}

// The request is cleared first: one that arrives during the run is served in the next cycle.
void serve_focus_request() {
    if (load_acquire(g_run_once_AKAF) == 0) return;
    store(g_run_once_AKAF, 0);
    log_focus("run once AKAF");
    store(g_osd_state_autofocus, 1);
    varnel_thread_autofocus();
    store_release(g_osd_state_autofocus, 0);
    log_focus_state();
}

void report_boot_focus(const ovra_focus_config& config) {
    constexpr const char* name = "UI_prop_thread";
    constexpr const char* room = "focusctrl/autofocus";
    if (config.system_state.skip_boot_action != 0) {
        log_located({name, room, 271}, "%s,skip boot action", name);
    } else {
        log_located({name, room, 273}, "%s,focus.auto_boot_focus", name);
    }
}

}  // namespace
}  // namespace ovra

int32_t ovrafocus_init(void) {
    log_bare("%s.\n", "ovrafocus_init");
    permanent_data_init();
    keystone_api_init();
    log_focus("autofocus: nds01_dev_init");
    if (nds01_dev_init(ovra::start_point_mode) < 0) {
        // Not a failure for the host: it runs on, without auto-focus.
        log_focus("\033[31;1mnds01_dev_init failed\033[0m");
        return 0;
    }
    log_focus("\033[33;1mnds01_dev_init succeed\033[0m");
    if (get_cali_data(listFlash) < 0) {
        log_focus("auto focus: get flash cali data error");
        return -1;
    }
    store_release(autofocus_app_callback, get_app_callback());
    int32_t flags[3] = {};
    get_cali_flag(flags);
    ovra::apply_lens_calibration(flags[2]);
    return 0;
}

int32_t ovrafocus_deinit(void) {
    log_bare("%s.\n", "ovrafocus_deinit");
    store(g_run_once_AKAF, 0);
    store(AKAF_running_flag, 0);
    ovra::set_system_on(0);
    log_focus("autofocus: nds01_dev_uninit");
    if (nds01_dev_uninit() < 0) {
        log_focus("VKeystone: nds01_dev_uninit failed");
        return -1;
    }
    return 0;
}

int32_t ovra_sys_param_init(void) {
    log_focus_at(ovra::trace_level, "ovra_sys_param_init");
    ovra::build_focus_config();
    if (acc_init_set() != 0) return 0;
    ovra::start_default_detached_thread(gsensor_det_thread, ovra::gsensor_det_thread_id);
    return 0;
}

int32_t ovra_gsensor_init(void) {
    if (ovra::start_small_detached_thread(ovra_gsensor_thread) != 0) {
        log_bare("ovra_gsensor_thread create failed!\n");
        return ovra::thread_not_started;
    }
    return 0;
}

int32_t ovra_akaf_init(void) {
    store(AKAF_running_flag, 1);
    if (ovra::start_small_detached_thread(keystonefocus_thread) != 0) {
        log_focus("pthread_create failed!");
        return ovra::thread_not_started;
    }
    return 0;
}

int32_t ovra_ui_update_init(void) {
    if (ovra::start_small_detached_thread(UI_update_thread) != 0) {
        log_focus("UI_update_thread create failed!");
        return ovra::thread_not_started;
    }
    return 0;
}

int32_t focus_init(void) { return 0; }

void* ovra_gsensor_thread(void* /*unused*/) {
    ovra::log_thread_start("ovra_gsensor_thread");
    if (acc_init_set() != 0) {
        log_focus_at(ovra::error_level, "close ovra gsensor thread");
        return nullptr;
    }
    ovra_ui_update_init();
    for (;;) {
        acc_event_read();
        ovra::refresh_usb_ethernet_when_due();
        SleepMs(ovra::gravity_period_ms);
    }
}

void* UI_update_thread(void* /*unused*/) {
    ovra::log_thread_start("UI_update_thread");
    for (;;) {
        if (get_auto_keystone_status() != 0) auto_keystone_deal_with();
        SleepMs(ovra::auto_keystone_period_ms);
    }
}

void* keystonefocus_thread(void* /*unused*/) {
    log_focus("\033[33;1mHello from the keystonefocus thread!\033[0m");
    ovra::log_focus_state();
    while (load(AKAF_running_flag) != 0) {
        ovra::serve_keystone_request();
        ovra::serve_focus_request();
        ::usleep(ovra::worker_period_us);
    }
    return nullptr;
}

void* gsensor_det_thread(void* /*unused*/) {
    log_focus("%s,start", "gsensor_det_thread");
    ovra_focus_config config;
    get_focus_configs(&config);
    for (;;) acc_event_read();
}

void* UI_prop_thread(void* /*unused*/) {
    log_focus("%s,start\n", "UI_prop_thread");
    ovra_focus_config config;
    get_focus_configs(&config);
    while (config.system_state.is_system_on != 0) ovra::report_boot_focus(config);
    return reinterpret_cast<void*>(std::uintptr_t{config.system_state.is_system_on});
}
