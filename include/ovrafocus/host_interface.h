/**
 * @file host_interface.h
 * What joins the library to its host: registering its table of callbacks, the commands, the on-screen switches
 * and the record of the host's algorithm module. Flags, switches and the table's layout are in requests.h.
 *
 * The host registers its table first; ovrafocus_init(), keystone_api_init() and acc_init_set() each copy the
 * pointer when they run, and a table that is registered later is not seen by those that have already run.
 *
 * Commands and switches may be called from any thread. A request is a flag and not a queue: it is served
 * within 200 ms by keystonefocus_thread(), and a second request before that merges with the first. A switch
 * takes effect at the next run. Results of a run come back as toasts only, and as
 * varnel_get_state_autofocus().
 */
#ifndef OVRAFOCUS_HOST_INTERFACE_H
#define OVRAFOCUS_HOST_INTERFACE_H

#include <stdint.h>

#include "ovrafocus/export.h"
#include "ovrafocus/requests.h"

OVRA_BEGIN_DECLS

/** Action codes, as written to word 0 of `algutils.action_config`. */
enum {
    OVRA_ACTION_SCREEN_FIT = 2,
    OVRA_ACTION_ZOOM = 7,
    OVRA_ACTION_MOVE = 8,
    OVRA_ACTION_ROTATION = 9,
    OVRA_ACTION_ALG_TEST = 20
};

/** Lengths of the records of `algutils`, in words of 32 bits. */
enum { OVRA_CALI_CONFIG_WORDS = 12, OVRA_ACTION_CONFIG_WORDS = 14 };

/**
 * The record of the host's algorithm module. The library fills it in alg_init() and writes the action codes;
 * it never acts on it.
 */
typedef struct ovra_algutils {
    uint32_t first_word;                               /**< 0; not written by the library */
    int32_t (*motor_move_to_tmr)(int32_t tmr);         /**< see motor_drv.h */
    int32_t (*keystone_get_tof_rawdata)(void* record); /**< see tof_control.h */
    uint32_t cali_config[OVRA_CALI_CONFIG_WORDS];      /**< all 0 */
    uint32_t action_config[OVRA_ACTION_CONFIG_WORDS];  /**< word 0: action code; word 2: 1; the others 0 */
} ovra_algutils;

/** The one record of the process. All 0 until alg_init(). */
extern OVRA_API ovra_algutils algutils;

/**
 * Registers the host's table. To be called before every other start-up function.
 * @param table the table, which stays valid and unchanged as long as the library runs.
 * @return 1, or -1 for a null `table`, which leaves the earlier one registered.
 */
OVRA_API int32_t app_callback_init(const app_callback_table* table);

/** @return the registered table, or null when there is none. */
OVRA_API const app_callback_table* get_app_callback(void);

/**
 * Shows a toast through slot 5 of the table that ovrafocus_init() copied. Without table or slot it is logged
 * and no more.
 * @param code OVRA_TOAST_... of result_codes.h; any other is handed on as well.
 */
OVRA_API void show_korbet_toast_akaf(int32_t code);

/** Asks for a redraw through slot 4 of the table that ovrafocus_init() copied; otherwise as the toast. */
OVRA_API void lv_refresh_callback(void);

/** Requests one combined run: keystone, then focus. @return 0. */
OVRA_API int32_t varnel_autofocus(void);

/**
 * Requests one manual keystone run.
 * @param value the tilt in whole degrees, either sign. The last value set before the run counts.
 * @return 0.
 */
OVRA_API int32_t varnel_setDLPkeystone(int32_t value);

/**
 * Sets both on-screen switches: on for exactly 1, off for anything else.
 * @param keystone  auto-keystone.
 * @param autofocus auto-focus.
 * @return 0.
 */
OVRA_API int32_t varnel_set_osd_settings(int32_t keystone, int32_t autofocus);

/**
 * Stores 1 (on) or 0 (off) for both on-screen switches.
 * @param keystone  receives auto-keystone's; must not be null.
 * @param autofocus receives auto-focus's; must not be null.
 * @return 0.
 */
OVRA_API int32_t varnel_get_osd_settings(int32_t* keystone, int32_t* autofocus);

/**
 * Sets one switch.
 * @param v on for exactly 1, off for anything else.
 * @return 0.
 * @{
 */
OVRA_API int32_t varnel_set_osd_settings_keystone(int32_t v);
OVRA_API int32_t varnel_set_osd_settings_autofocus(int32_t v);
/** @} */

/** @return the switch's byte as it is: 0 off, else on. @{ */
OVRA_API int32_t varnel_get_osd_settings_keystone(void);
OVRA_API int32_t varnel_get_osd_settings_autofocus(void);
/** @} */

/** @return `g_osd_state_autofocus`, its byte as it is. */
OVRA_API int32_t varnel_get_state_autofocus(void);

/** Fills `algutils` with its start-up values and the two hooks. @return 0. */
OVRA_API int32_t alg_init(void);

/** Copies `algutils.action_config`. @param out room for 14 words. @return `out`. */
OVRA_API uint32_t* get_action_config(uint32_t* out);

/** Copies `algutils.cali_config`. @param out room for 12 words. @return `out`. */
OVRA_API uint32_t* get_cali_config(uint32_t* out);

/** Record an action code for the host's algorithm module. @return 0. @{ */
OVRA_API int32_t do_zoom(void);
OVRA_API int32_t do_move(void);
OVRA_API int32_t do_rotation(void);
OVRA_API int32_t do_alg_test(void);
OVRA_API int32_t do_screen_fit(void);
/** @} */

/** Log their own name and do no more: no action code, no run. @return 0. @{ */
OVRA_API int32_t do_auto_focus(void);
OVRA_API int32_t do_auto_keystone_mix(void);
OVRA_API int32_t factory_focus_tof_cali(void);
/** @} */

/** Kept for hosts that call them; they do nothing. @return 0. @{ */
OVRA_API int32_t send_focus_cmd(void);
OVRA_API int32_t camera_auto_focus_fast(void);
OVRA_API int32_t setzoom(void);
OVRA_API int32_t setmove(void);
OVRA_API int32_t set_rotation(void);
/** @} */

OVRA_END_DECLS

#endif
