/**
 * @file auto_keystone.h
 * Keystone correction while the projector is being moved, until the distance to the wall is steady.
 *
 * A movement sets project_tof_dist_changed (gravity_state.h); from then on UI_update_thread() makes one step
 * every 40 ms until the distance has been steady five times, has been out of range five times, cannot be read,
 * or the user switches auto-keystone off.
 */
#ifndef OVRAFOCUS_AUTO_KEYSTONE_H
#define OVRAFOCUS_AUTO_KEYSTONE_H

#include <stdint.h>

#include "ovrafocus/export.h"

OVRA_BEGIN_DECLS

/** @return 1 while auto-keystone runs (project_tof_dist_changed is greater than 0), else 0. Any thread. */
OVRA_API int32_t get_auto_keystone_status(void);

/**
 * One step: reads the ToF distance; while the movement is less than one second old or the distance still
 * changes, corrects the keystone; otherwise counts steady readings, of which the fifth ends the run. A reading
 * is steady when it differs from the one before by at most 5 mm up to 1000 mm, 8 mm up to 2000 mm and 10 mm
 * up to 3059 mm. From 3060 mm on nothing is corrected, and the fifth such reading in a row ends the run.
 *
 * For one thread at a time. A failed correction is logged and made up for by the next step.
 */
OVRA_API void auto_keystone_deal_with(void);

OVRA_END_DECLS

#endif
