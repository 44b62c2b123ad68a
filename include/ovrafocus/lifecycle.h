/**
 * @file lifecycle.h
 * Start-up, shut-down and the library's threads. The flags that steer them are in requests.h.
 *
 * A host calls, in this order and from one thread: app_callback_init(), ovrafocus_init(),
 * ovra_sys_param_init(), ovra_gsensor_init(), ovra_akaf_init(). None of these calls another.
 *
 * The threads are detached. The first three below ask for stacks of 8192 bytes, and get the default size on
 * a platform whose minimum is larger.
 *
 * | Thread                 | Started by            | Period        | Ends                                |
 * |------------------------|-----------------------|---------------|-------------------------------------|
 * | ovra_gsensor_thread()  | ovra_gsensor_init()   | 20 ms         | with the process                    |
 * | UI_update_thread()     | ovra_gsensor_thread() | 40 ms         | with the process                    |
 * | keystonefocus_thread() | ovra_akaf_init()      | 200 ms        | when AKAF_running_flag is 0         |
 * | gsensor_det_thread()   | ovra_sys_param_init() | a sample      | with the process                    |
 * | UI_prop_thread()       | the host, if it likes | none          | never, if the system was on at first|
 * | sensor_main()          | the host, if it likes | a key event   | with the process (key_listener.h)   |
 */
#ifndef OVRAFOCUS_LIFECYCLE_H
#define OVRAFOCUS_LIFECYCLE_H

#include <stdint.h>

#include "ovrafocus/export.h"
#include "ovrafocus/lens_state.h"
#include "ovrafocus/requests.h"

OVRA_BEGIN_DECLS

/**
 * Starts the permanent record, the display, the ToF device and the calibration, in that order, and switches
 * auto-focus on when the lens is calibrated.
 * @return 0; also when the ToF device does not start, which leaves auto-focus off. -1 when the calibration
 *         could not be read.
 */
OVRA_API int32_t ovrafocus_init(void);

/**
 * Asks the worker to end (it does at its next check, a run in progress is finished first), marks the system
 * as off and closes the ToF device. No thread is joined or cancelled.
 * @return 0, or -1 when the ToF device could not be closed.
 */
OVRA_API int32_t ovrafocus_deinit(void);

/**
 * Fills `focus_config` with its start-up values, then starts gsensor_det_thread() if the gravity sensor can
 * be opened.
 * @return 0, whatever happened.
 */
OVRA_API int32_t ovra_sys_param_init(void);

/** Starts ovra_gsensor_thread(). @return 0, or -1 when the thread could not be started. */
OVRA_API int32_t ovra_gsensor_init(void);

/**
 * Starts keystonefocus_thread().
 * @return 0, or -1 when the thread could not be started; AKAF_running_flag is 1 in both cases.
 */
OVRA_API int32_t ovra_akaf_init(void);

/**
 * Starts UI_update_thread(). Called by ovra_gsensor_thread(); a host has no need to.
 * @return 0, or -1 when the thread could not be started.
 */
OVRA_API int32_t ovra_ui_update_init(void);

/** Kept for hosts that call it; does nothing. @return 0. */
OVRA_API int32_t focus_init(void);

/**
 * Reads and judges a gravity sample every 20 ms, and refreshes the board's Ethernet over USB on every 400th
 * cycle.
 * @param unused anything.
 * @return null at once when the gravity sensor cannot be opened, otherwise never.
 */
OVRA_API void* ovra_gsensor_thread(void* unused);

/**
 * Every 40 ms, while auto-keystone is active, makes one step of it.
 * @param unused anything.
 * @return never.
 */
OVRA_API void* UI_update_thread(void* unused);

/**
 * The worker: every 200 ms serves a requested manual keystone, then a requested combined run.
 * @param unused anything.
 * @return null once AKAF_running_flag is 0.
 */
OVRA_API void* keystonefocus_thread(void* unused);

/**
 * Reads and judges gravity samples, paced by the sensor alone.
 * @param unused anything.
 * @return never.
 */
OVRA_API void* gsensor_det_thread(void* unused);

/**
 * Reports over and over, without a pause, whether a focus at boot would be skipped, if the system was on when
 * it began; it looks at the configuration once only. A placeholder for that decision.
 * @param unused anything.
 * @return `is_system_on` as read, converted to a pointer: null, since it does not return otherwise.
 */
OVRA_API void* UI_prop_thread(void* unused);

OVRA_END_DECLS

#endif
