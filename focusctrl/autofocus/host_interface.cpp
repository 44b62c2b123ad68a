#include "focusctrl/autofocus/host_interface.h"

#include <cstddef>

#include "base/log.h"
#include "base/shared_flag.h"
#include "ovrafocus/motor_drv.h"
#include "ovrafocus/requests.h"
#include "ovrafocus/tof_control.h"

using ovra::load;
using ovra::load_acquire;
using ovra::log_bare;
using ovra::log_focus;
using ovra::store;
using ovra::store_release;

ovra_algutils algutils{};

namespace ovra {
namespace {

// Words of algutils.action_config.
constexpr std::size_t action_word = 0;
constexpr std::size_t enabled_word = 2;

// The host's menu hands its switches over as numbers, and only 1 means on.
constexpr std::uint8_t switch_of(std::int32_t value) { return value == 1 ? 1 : 0; }

template <std::size_t count>
void clear_words(std::uint32_t (&words)[count]) {
    for (std::uint32_t& word : words) store(word, 0);
}

int32_t record_action(const char* name, std::uint32_t code) {
    log_focus("%s", name);
    store(algutils.action_config[action_word], code);
    return 0;
}

int32_t log_name_only(const char* name) {
    log_focus("%s", name);
    return 0;
}

}  // namespace

void log_focus_state() { log_focus("auto focus STATE flag : %d\n", varnel_get_state_autofocus()); }

}  // namespace ovra

int32_t app_callback_init(const app_callback_table* table) {
    if (table == nullptr) {
        log_bare("ovra: %s fail.\n", "app_callback_init");
        return -1;
    }
    store_release(g_app_callback, table);
    log_bare("ovra: %s.\n", "app_callback_init");
    return 1;
}

const app_callback_table* get_app_callback(void) {
    log_bare("ovra: %s.\n", "get_app_callback");
    return load_acquire(g_app_callback);
}

void show_korbet_toast_akaf(int32_t code) {
    log_focus("%s.call back toast\n", "show_korbet_toast_akaf");
    const app_callback_table* table = load_acquire(autofocus_app_callback);
    if (table != nullptr && table->toast != nullptr) table->toast(code);
}

void lv_refresh_callback(void) {
    log_focus("%s.call back refresh ui\n", "lv_refresh_callback");
    const app_callback_table* table = load_acquire(autofocus_app_callback);
    if (table != nullptr && table->refresh_ui != nullptr) table->refresh_ui();
}

int32_t varnel_autofocus(void) {
    store_release(g_run_once_AKAF, 1);
    log_focus("\033[36;1mreceived akaf command\033[0m");
    return 0;
}

int32_t varnel_setDLPkeystone(int32_t value) {
    // The value goes first, so that a worker that sees the request finds its value too.
    store(m_manuKeystone_value_for_thread, value);
    store_release(g_run_once_keystone, 1);
    log_focus("\033[36;1mreceived manu keystone command\033[0m");
    return 0;
}

int32_t varnel_set_osd_settings(int32_t keystone, int32_t autofocus) {
    store(g_osd_keystone, ovra::switch_of(keystone));
    store(g_osd_autofocus, ovra::switch_of(autofocus));
    return 0;
}

int32_t varnel_get_osd_settings(int32_t* keystone, int32_t* autofocus) {
    *keystone = load(g_osd_keystone) != 0 ? 1 : 0;
    *autofocus = load(g_osd_autofocus) != 0 ? 1 : 0;
    return 0;
}

int32_t varnel_set_osd_settings_keystone(int32_t v) {
    store(g_osd_keystone, ovra::switch_of(v));
    return 0;
}

int32_t varnel_set_osd_settings_autofocus(int32_t v) {
    store(g_osd_autofocus, ovra::switch_of(v));
    return 0;
}

int32_t varnel_get_osd_settings_keystone(void) { return load(g_osd_keystone); }

int32_t varnel_get_osd_settings_autofocus(void) { return load(g_osd_autofocus); }

int32_t varnel_get_state_autofocus(void) { return load_acquire(g_osd_state_autofocus); }

int32_t alg_init(void) {
    log_focus("%s", "alg_init");
    ovra::clear_words(algutils.action_config);
    ovra::clear_words(algutils.cali_config);
    store(algutils.action_config[ovra::enabled_word], 1);
    store(algutils.motor_move_to_tmr, motor_move_to_tmr);
    store(algutils.keystone_get_tof_rawdata, keystone_get_tof_rawdata);
    return 0;
}

uint32_t* get_action_config(uint32_t* out) {
    ovra::copy_words(out, algutils.action_config, OVRA_ACTION_CONFIG_WORDS);
    return out;
}

uint32_t* get_cali_config(uint32_t* out) {
    ovra::copy_words(out, algutils.cali_config, OVRA_CALI_CONFIG_WORDS);
    return out;
}

int32_t do_zoom(void) { return ovra::record_action("do_zoom", OVRA_ACTION_ZOOM); }

int32_t do_move(void) { return ovra::record_action("do_move", OVRA_ACTION_MOVE); }

int32_t do_rotation(void) { return ovra::record_action("do_rotation", OVRA_ACTION_ROTATION); }

int32_t do_alg_test(void) { return ovra::record_action("do_alg_test", OVRA_ACTION_ALG_TEST); }

int32_t do_screen_fit(void) { return ovra::record_action("do_screen_fit", OVRA_ACTION_SCREEN_FIT); }

int32_t do_auto_focus(void) { return ovra::log_name_only("do_auto_focus"); }

int32_t do_auto_keystone_mix(void) { return ovra::log_name_only("do_auto_keystone_mix"); }

int32_t factory_focus_tof_cali(void) { return ovra::log_name_only("factory_focus_tof_cali"); }

int32_t send_focus_cmd(void) { return 0; }

int32_t camera_auto_focus_fast(void) { return 0; }

int32_t setzoom(void) { return 0; }

int32_t setmove(void) { return 0; }

int32_t set_rotation(void) { return 0; }
