/**
 * @file requests.h
 * What passes between the host and the library's threads: the table of callbacks, the request flags and the
 * on-screen switches.
 *
 * A request is a flag and not a queue. A host sets flags and switches through host_interface.h; it may read
 * and write them here as well, as plain variables.
 */
#ifndef OVRAFOCUS_REQUESTS_H
#define OVRAFOCUS_REQUESTS_H

#include <stdint.h>

#include "ovrafocus/export.h"

OVRA_BEGIN_DECLS

/**
 * The host's callbacks: 11 pointers. A null slot is skipped silently. The host owns the table and keeps it
 * valid as long as the library runs: only the pointer is stored. The slots are called on the library's
 * threads, and on the host's own where it calls a function that leads to one itself: manufocusTMR() shows
 * toasts, set_keystone_api() and varnel_thread_setDLPKeystone() use slots 9 and 10, set_device_direction()
 * slot 7.
 */
typedef struct app_callback_table {
    void* reserved_0; /**< not used by the library */
    void* reserved_1; /**< not used by the library */
    void* reserved_2; /**< not used by the library */
    void* reserved_3; /**< not used by the library */

    void (*refresh_ui)(void);            /**< slot 4: draw the menu again */
    void (*toast)(int32_t code);         /**< slot 5: show the message with this code, see result_codes.h */
    int32_t (*is_factory_test)(void);    /**< slot 6: 1 while the projector is in factory testing */
    void (*rotation_changed)(int32_t r); /**< slot 7: the picture's new rotation, 0 to 3, as the host counts */

    void* reserved_8; /**< not used by the library */

    void (*keystone_updated)(void); /**< slot 9: new keystone widths and viewport are applied */
    /** slot 10: when present, the host applies the keystone itself (top and bottom width in pixels) */
    void (*host_set_keystone)(int32_t top, int32_t bottom);
} app_callback_table;

/** The registered table; null until app_callback_init(). */
extern OVRA_API const app_callback_table* g_app_callback;

/**
 * The host's table, as it was registered when ovrafocus_init() ran; null before, and for good when the ToF
 * device did not start.
 */
extern OVRA_API const app_callback_table* autofocus_app_callback;

/** The host's table, as it was registered when acc_init_set() last ran; null before. */
extern OVRA_API const app_callback_table* gsensor_app_callback;

/** keystonefocus_thread() runs while this is not 0. 1 by default. */
extern OVRA_API uint8_t AKAF_running_flag;

/** Not 0: a combined keystone and focus run is requested. The worker clears it before it starts the run. */
extern OVRA_API uint8_t g_run_once_AKAF;

/** Not 0: a manual keystone run is requested. The worker clears it after the run. */
extern OVRA_API uint8_t g_run_once_keystone;

/** The tilt, in whole degrees, of the requested manual keystone run. The worker sets it to 0 after the run. */
extern OVRA_API int32_t m_manuKeystone_value_for_thread;

/** On-screen switch of auto-keystone: 0 off, else on. 1 by default. */
extern OVRA_API uint8_t g_osd_keystone;

/**
 * On-screen switch of auto-focus: 0 off, else on. 0 by default; set by ovrafocus_init() on a calibrated lens.
 */
extern OVRA_API uint8_t g_osd_autofocus;

/**
 * 1 while an auto-focus run is in progress, 0 after it. It is 1 from the load of the library to the end of
 * the first run, although nothing runs: hosts rely on it.
 */
extern OVRA_API uint8_t g_osd_state_autofocus;

OVRA_END_DECLS

#endif
