/**
 * @file motion.h
 * Was the projector moved, has it come to rest, and is the place a new one?
 *
 * The library judges every block of the gravity sensor from acc_event_read(): a movement that has changed
 * the distance to the wall starts auto-keystone (auto_keystone.h), and once the projector is steady again
 * and auto-keystone has ended, a combined run is requested. acc_data_handle() is a second, simpler judge with
 * adjustable thresholds for hosts that want it; the library does not call it. Both share the count of skipped
 * blocks, the count of steady blocks and the time of the movement. Flags and thresholds are in gravity_state.h.
 */
#ifndef OVRAFOCUS_MOTION_H
#define OVRAFOCUS_MOTION_H

#include <pthread.h>
#include <stdint.h>

#include "ovrafocus/export.h"
#include "ovrafocus/gravity_state.h"

OVRA_BEGIN_DECLS

/** Held by the trigger functions below, one at a time. */
extern OVRA_API pthread_mutex_t det_mtx;

/**
 * Judges `acc_avg` as it stands: angles, direction, keystone angles, then movement and steadiness. For a
 * host's own thread; waits while a sample is processed.
 *
 * A step of threshold_acc_to_shake or more, on any axis, is a movement. From 500 ms after it on, the sixth
 * block whose step is below threshold_acc_to_steady on at least one axis requests a combined run. A callback of
 * the host may call it, too.
 */
OVRA_API void acc_data_handle(void);

/**
 * Forgets a movement: the flags for angle and shake and the count of steady blocks become 0. The rest
 * position and the angles summed up for the next one stay.
 */
OVRA_API void clear_acc_gyro_status(void);

/**
 * Forgets the movement and requests a combined run.
 * @param v, theta angles in degrees, which are ignored.
 */
OVRA_API void trigger_auto_keystone_or_autofocus(float v, float theta);

/**
 * Requests a combined run. A busy focus is reported and does not stop the request.
 * @param unused ignored.
 */
OVRA_API void sensor_triger_focus(int32_t unused);

/**
 * Reports a change of steadiness, and does no more.
 * @param type 0: bit 0 of `state` is shown as `unstable` says; other types show `state` as it is.
 * @param unstable 0: steady; anything else: not steady.
 * @param state the state to start from.
 */
OVRA_API void sensor_triger_stable(int32_t type, int32_t unstable, int32_t state);

/**
 * Reports the request to switch keystone after a movement on or off, and does no more.
 * @param enable shown as it is.
 */
OVRA_API void sensor_triger_trapz(int32_t enable);

/** Report their own name, and do no more. @{ */
OVRA_API void auto_move_focus_reset(void);
OVRA_API void auto_move_trapz_reset(void);
/** @} */

OVRA_END_DECLS

#endif
