/**
 * @file focus_run.h
 * One automatic run: keystone correction, where switched on, then focus.
 */
#ifndef OVRAFOCUS_FOCUS_RUN_H
#define OVRAFOCUS_FOCUS_RUN_H

#include <stdint.h>

#include "ovrafocus/export.h"
#include "ovrafocus/lens_state.h"
#include "ovrafocus/result_codes.h"

OVRA_BEGIN_DECLS

/**
 * Runs once. The keystone step is made when g_osd_keystone is set; the focus step, when g_osd_autofocus is
 * set, measures the distance, chooses the lens position from the calibration and takes the lens there.
 *
 * Called on the library's worker thread; it takes seconds. Runs must not overlap. It takes mutex_focus for
 * the focus step and has released it when it returns.
 *
 * The host learns the outcome by toast: OVRA_TOAST_KEYSTONE_FAILED; OVRA_TOAST_LENS_FAILED, the lens did not
 * get there; OVRA_TOAST_NO_DISTANCE, also for no angle for the keystone; OVRA_TOAST_BOTH_OFF, and
 * OVRA_TOAST_FOCUS_OFF one second later, both functions are switched off; OVRA_TOAST_FOCUS_OFF alone,
 * auto-focus is switched off. After a focus step the host is asked to refresh its menu.
 *
 * @return OVRA_RESULT_OK the lens is at its place (also when it already was); OVRA_RESULT_LENS_FAILED a lens
 * move or position read failed, or the lens did not settle; OVRA_RESULT_KEYSTONE_FAILED keystone failed and
 *         auto-focus is off; OVRA_RESULT_NO_DISTANCE the distance could not be measured or nothing is in range,
 *         or keystone had no angle and auto-focus is off; OVRA_RESULT_BOTH_OFF both functions are off;
 *         OVRA_RESULT_KEYSTONE_ONLY auto-focus is off, keystone is on.
 */
OVRA_API int32_t varnel_thread_autofocus(void);

OVRA_END_DECLS

#endif
