#include "ovrafocus/requests.h"

#include <cstddef>

static_assert(offsetof(app_callback_table, refresh_ui) == 4 * sizeof(void*), "slot 4");
static_assert(offsetof(app_callback_table, toast) == 5 * sizeof(void*), "slot 5");
static_assert(offsetof(app_callback_table, is_factory_test) == 6 * sizeof(void*), "slot 6");
static_assert(offsetof(app_callback_table, rotation_changed) == 7 * sizeof(void*), "slot 7");
static_assert(offsetof(app_callback_table, keystone_updated) == 9 * sizeof(void*), "slot 9");
static_assert(offsetof(app_callback_table, host_set_keystone) == 10 * sizeof(void*), "slot 10");
static_assert(sizeof(app_callback_table) == 11 * sizeof(void*), "11 slots");

const app_callback_table* g_app_callback = nullptr;
const app_callback_table* autofocus_app_callback = nullptr;
const app_callback_table* gsensor_app_callback = nullptr;

uint8_t AKAF_running_flag = 1;
uint8_t g_run_once_AKAF = 0;
uint8_t g_run_once_keystone = 0;
int32_t m_manuKeystone_value_for_thread = 0;

uint8_t g_osd_keystone = 1;
uint8_t g_osd_autofocus = 0;
uint8_t g_osd_state_autofocus = 1;
