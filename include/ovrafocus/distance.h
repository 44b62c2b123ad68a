/**
 * @file distance.h
 * The distance to the wall, judged from a ranging frame. Any thread.
 */
#ifndef OVRAFOCUS_DISTANCE_H
#define OVRAFOCUS_DISTANCE_H

#include <stdint.h>

#include "ovrafocus/export.h"

OVRA_BEGIN_DECLS

/**
 * The mean of those of the first four zone distances that are in range, that is below 4000 mm.
 * @param frame  a ranging frame as tof_distance_read() (focus_nodes.h) fills it
 * @return millimetres, truncated; -1 when no zone is in range.
 */
OVRA_API int32_t getAvgDist(const int32_t* frame);

/**
 * Measures the distance and compares it with lastDistance, which stays as it is.
 * @return 1 when it differs by 20 mm or more, else 0; -1 when it could not be measured. No zone in range
 *         counts as a distance of -1 mm.
 */
OVRA_API int32_t isDistChanged(void);

OVRA_END_DECLS

#endif
