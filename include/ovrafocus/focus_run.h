/**
 * @file focus_run.h
 * One automatic run: keystone correction, where switched on, then focus.
 */
#ifndef OVRAFOCUS_FOCUS_RUN_H
#define OVRAFOCUS_FOCUS_RUN_H

#include <pthread.h>
#include <stdint.h>

#include "ovrafocus/export.h"

OVRA_BEGIN_DECLS

/** The lens: held from the distance measurement of a run to its end, and during a manual focus move. */
extern OVRA_API pthread_mutex_t mutex_focus;

/**
 * When not 0, a run leaves the keystone as it is. 1 counts for one run and is reset by it; other values stay.
 * 0 at load.
 */
extern OVRA_API int32_t g_focus_temp_adjust;

/**
 * Runs once. The keystone step is made when g_osd_keystone is set; the focus step, when g_osd_autofocus is
 * set, measures the distance, chooses the lens position from the calibration and takes the lens there.
 *
 * Called on the library's worker thread; it takes seconds. Runs must not overlap. It takes mutex_focus for
 * the focus step and has released it when it returns.
 *
 * The host learns the outcome by toast: 2 keystone failed; 5 the lens did not get there; 9 no distance, or
 * no angle for the keystone; 10 (and 11 one second later) both functions are switched off; 11 auto-focus is
 * switched off. After a focus step the host is asked to refresh its menu.
 *
 * @return 0 the lens is at its place (also when it already was); -1 a lens move or position read failed, or
 *         the lens did not settle; -2 keystone failed and auto-focus is off; -101 the distance could not be
 *         measured or nothing is in range, or keystone had no angle and auto-focus is off; -102 both
 *         functions are off; -103 auto-focus is off, keystone is on.
 */
OVRA_API int32_t varnel_thread_autofocus(void);

OVRA_END_DECLS

#endif
