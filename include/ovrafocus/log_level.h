/**
 * @file log_level.h
 * How much the library logs.
 */
#ifndef OVRAFOCUS_LOG_LEVEL_H
#define OVRAFOCUS_LOG_LEVEL_H

#include <stdint.h>

#include "ovrafocus/export.h"

OVRA_BEGIN_DECLS

/**
 * How much is logged, 4 by default. A line that has a level is printed when this is at least that level:
 * - 1: why the gravity thread ended, and the errors of the gravity sensor and of auto-keystone;
 * - 4: the threads' start and trace lines, and what the gravity sensor, the motion logic, the direction and
 *   auto-keystone report of themselves;
 * - 5: every sample of the gravity sensor and every block with its angles;
 * - 7: the direction that is found in each block.
 *
 * All other lines are printed at any level: those of other areas, and of these the requests, the trigger
 * functions, the key listener and the calibration values that the gravity sensor is given.
 */
extern OVRA_API int32_t ovra_log_level;

OVRA_END_DECLS

#endif
