/**
 * @file config.h
 * The configuration and state record, and the functions that build and copy it.
 *
 * The record is written during start-up (ovra_sys_param_init) and shut-down (ovrafocus_deinit) only.
 * Everything else takes a copy with get_focus_configs() and never locks: a reader that meets the shut-down
 * may still see the projector as switched on, which is accepted. All functions may be called from any
 * thread.
 */
#ifndef OVRAFOCUS_CONFIG_H
#define OVRAFOCUS_CONFIG_H

#include <stdint.h>

#include "ovrafocus/export.h"
#include "ovrafocus/log_level.h"

OVRA_BEGIN_DECLS

/** What the user or the factory has chosen: 4 words. Each mode is 1, 2 or 3. */
typedef struct ovra_user_setting {
    uint32_t focus_mode;   /**< 1 after start-up */
    uint32_t cali_mode;    /**< 2 after start-up */
    uint32_t factory_mode; /**< 3 after start-up */
    uint32_t unused;       /**< 0 */
} ovra_user_setting;

/** What the system is doing: 6 words, all 0 but is_system_on. */
typedef struct ovra_system_state {
    uint32_t is_system_on;     /**< 1 from ovra_sys_param_init() to ovrafocus_deinit(), else 0 */
    uint32_t skip_boot_action; /**< non-zero: UI_prop_thread() reports that it skips the focus at boot */
    uint32_t unused[4];        /**< 0 */
} ovra_system_state;

/** What the focus is doing: 10 words, all 0 after start-up. A host that wants the behaviour sets them. */
typedef struct ovra_focus_state {
    uint32_t unused[6];        /**< 0 */
    uint32_t distance_enabled; /**< word 6; 0: tof_get_distance() refuses */
    uint32_t tof_polling;      /**< word 7; non-zero: tof_init() does not switch the measurement off */
    uint32_t busy;             /**< word 8; non-zero: sensor_triger_focus() reports a state error */
    uint32_t unused_last;      /**< 0 */
} ovra_focus_state;

/** Figures of the focus: 11 words, all 0; not used by the library. */
typedef struct ovra_focus_data {
    uint32_t words[11]; /**< 0 */
} ovra_focus_data;

/** The whole record: 31 words. */
typedef struct ovra_focus_config {
    ovra_user_setting user_setting; /**< words 0 to 3 */
    ovra_system_state system_state; /**< words 4 to 9 */
    ovra_focus_state focus_state;   /**< words 10 to 19 */
    ovra_focus_data focus_data;     /**< words 20 to 30 */
} ovra_focus_config;

/** The one record of the process. All 0 until ovra_sys_param_init(). */
extern OVRA_API ovra_focus_config focus_config;

/**
 * Fill one part of the record with its start-up values and log the function's name. focus_data_init() leaves
 * words 9 and 10 as they are.
 * @param rec the part to fill; must not be null.
 * @return `rec`.
 * @{
 */
OVRA_API ovra_system_state* system_state_init(ovra_system_state* rec);
OVRA_API ovra_focus_state* focus_state_init(ovra_focus_state* rec);
OVRA_API ovra_focus_data* focus_data_init(ovra_focus_data* rec);
OVRA_API ovra_user_setting* user_setting_init(ovra_user_setting* rec);
/** @} */

/**
 * Copies the record.
 * @param out where the 31 words go; must not be null. The copy is not refreshed later.
 * @return `out`.
 */
OVRA_API ovra_focus_config* get_focus_configs(ovra_focus_config* out);

/**
 * Check a mode, and log the function's name.
 * @param mode the mode to check: 1, 2 or 3.
 * @return `mode` when it is 1, 2 or 3; otherwise 1, and the refusal is logged.
 * @{
 */
OVRA_API int32_t get_focus_mode(int32_t mode);
OVRA_API int32_t get_cali_mode(int32_t mode);
OVRA_API int32_t get_factory_mode(int32_t mode);
/** @} */

OVRA_END_DECLS

#endif
