/**
 * @file nds01_start.h
 * Starting and ending the nds01 time-of-flight sensor, and changing its point mode: what takes both its device
 * (nds01_device.h) and its processing library (nds01_isp.h).
 *
 * One thread; no frame may be read meanwhile.
 */
#ifndef OVRAFOCUS_NDS01_START_H
#define OVRAFOCUS_NDS01_START_H

#include <stdint.h>

#include "ovrafocus/export.h"

OVRA_BEGIN_DECLS

/**
 * Opens the device (only the first call since the start or since nds01_dev_uninit() does; a failed open is
 * not tried again), prepares the processing library and selects a point mode.
 *
 * @param point_mode  0, 1 or 2; see nds01_set_point_mode()
 * @return 0, -1 when the device cannot be opened, -ENOENT when the processing library cannot be prepared,
 *         -ESRCH when the point mode cannot be selected.
 */
OVRA_API int32_t nds01_dev_init(int32_t point_mode);

/** Ends the processing library and closes the device, so that the next nds01_dev_init() opens it. @return 0. */
OVRA_API int32_t nds01_dev_uninit(void);

/**
 * Stops ranging, selects a point mode and starts ranging again. A failure leaves everything as far as it
 * got: ranging may be left stopped.
 *
 * @param mode  1: 8 zones; 0 and 2: 4 zones
 * @return 0, or -1 on failure.
 */
OVRA_API int32_t nds01_set_point_mode(int32_t mode);

/**
 * Gives the selected point mode and its SPAD selection.
 * @param mode            receives the mode, -1 before the first selection
 * @param spad_selection  room for 8 bytes
 * @return 0
 */
OVRA_API int32_t nds01_get_point_mode(int32_t* mode, uint8_t* spad_selection);

OVRA_END_DECLS

#endif
