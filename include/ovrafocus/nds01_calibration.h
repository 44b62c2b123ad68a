/**
 * @file nds01_calibration.h
 * Factory calibration of the nds01 sensor's distance offsets through the vendor's processing library.
 *
 * The projector faces a flat target at a known distance. The result is stored in the device as this
 * library's own calibration, which nds01_isp_init() loads first on every start. The driver can calibrate by
 * itself instead: nds01_offset_calibration_at_depth_for_dev(), nds01_xtalk_calibration() in nds01_device.h.
 *
 * Call from one thread, while no other reads frames.
 */
#ifndef OVRAFOCUS_NDS01_CALIBRATION_H
#define OVRAFOCUS_NDS01_CALIBRATION_H

#include <stdint.h>

#include "ovrafocus/export.h"

OVRA_BEGIN_DECLS

/**
 * Calibrates in point mode 0 and returns to the point mode it found. Whether the calibration itself
 * succeeded is printed.
 *
 * @param depth     the target's distance, handed to the vendor's library as it is
 * @param argument  the vendor's second calibration argument, a number or an address, handed on as it is
 * @return what the last return to the former point mode returned: 0, or -1 on failure.
 */
OVRA_API int32_t nds01_offset_calibration_at_depth_for_isp(int32_t depth, intptr_t argument);

/**
 * The calibration itself: measures, stores the result in the device and prepares the processing library
 * again. Frame rate and running state are restored, also on failure.
 *
 * @param depth     the target's distance, handed to the vendor's library as it is
 * @param argument  the vendor's second calibration argument, handed on as it is
 * @return 0; -1 when memory is refused; -ENOENT when the calibration cannot be written, with frame rate and
 *         running state left as the calibration needs them (0 and 1) and its work memory lost; -EINTR on
 *         every other failure.
 */
OVRA_API int32_t nds01_isp_offset_calibration(int32_t depth, intptr_t argument);

OVRA_END_DECLS

#endif
