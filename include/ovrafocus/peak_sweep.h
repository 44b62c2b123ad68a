/**
 * @file peak_sweep.h
 * The factory sweep that locates the sharpness peak.
 */
#ifndef OVRAFOCUS_PEAK_SWEEP_H
#define OVRAFOCUS_PEAK_SWEEP_H

#include <stdint.h>

#include "ovrafocus/export.h"

OVRA_BEGIN_DECLS

/**
 * Walks the lens left, one motor step at a time, from five steps right of its place, gives each position a
 * sharpness from a fixed series, and searches the five samples around the sharpest for the peak (see
 * peak_search.h). The peak is left in m_dPeekStep.
 *
 * Started by the host's factory flow, on one thread, while no auto-focus run is going on. Takes about two
 * seconds.
 *
 * @return 0; -1 when a motor call or position read failed, no peak was found, or it lies above 1000.
 */
OVRA_API int32_t get_cali_peak_tmr(void);

OVRA_END_DECLS

#endif
