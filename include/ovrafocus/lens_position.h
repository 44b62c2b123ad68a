/**
 * @file lens_position.h
 * Taking the lens to a position by reading the position sensor back.
 * Limits, backlash and polarity are in lens_state.h.
 *
 * The lens is driven by a stepper motor without an encoder; where it is, the TMR position sensor shows. All
 * positions here are in TMR units with the sensor's polarity taken out (see `direction`), so that larger always
 * means further right; only get_direction() looks at the raw reading.
 *
 * manufocusTMR() takes mutex_focus. The others do not: they belong to a calibration that runs alone, on one
 * thread, while no auto-focus run is going on.
 */
#ifndef OVRAFOCUS_LENS_POSITION_H
#define OVRAFOCUS_LENS_POSITION_H

#include <stdint.h>

#include "ovrafocus/export.h"
#include "ovrafocus/lens_state.h"
#include "ovrafocus/result_codes.h"

OVRA_BEGIN_DECLS

/**
 * Manual focus: moves the lens by `delta` TMR units, at least 10 of them; 0 counts as 10 to the right. A
 * target beyond a soft limit becomes a place 10 units inside it. Takes up to about 1.2 s and the lens's own
 * time. mutex_focus is held meanwhile; it stays held for ever when a motor call fails in mid-move.
 *
 * @param delta  TMR units, positive to the right
 * @return OVRA_RESULT_OK done; OVRA_RESULT_RIGHT_LIMIT and OVRA_RESULT_LEFT_LIMIT done, stopped at that limit,
 *         with the toast of the same name; OVRA_RESULT_LENS_FAILED auto-focus is off because the lens is not
 *         calibrated (OVRA_TOAST_FOCUS_OFF), or a position read or motor call failed, or the lens did not
 *         settle.
 */
OVRA_API int32_t manufocusTMR(int32_t delta);

/**
 * Moves the lens to a position, single step by single step, approaching it from one side only. A target
 * beyond a soft limit becomes a place 10 units inside it.
 *
 * @param target      position in TMR units
 * @param count       full motor steps taken; untouched on failure
 * @param microCount  fine steps taken; untouched on failure
 * @return 0, or -1 when a position read or motor call failed or 41 steps were not enough.
 */
OVRA_API int32_t manufocusTargetTMR(int32_t target, int32_t* count, int32_t* microCount);

/**
 * Moves the lens by `delta` TMR units with the motor driver's own positioning. Nothing moves when the
 * target lies beyond a soft limit.
 * @param delta  TMR units, positive to the right
 * @return 0; -1 on a failed position read or a target out of range; else the driver call's failing result.
 */
OVRA_API int32_t manufocusTMRxj(int32_t delta);

/**
 * Moves the lens to its left, or right, soft limit, until it is within 4 units of the limit or past it.
 * @param out  the limit, in TMR units; untouched when the lens is not calibrated, stored when it only did not
 *             get there
 * @return 0; -1 when the lens is not calibrated or did not get there.
 * @{
 */
OVRA_API int32_t goto_left_limit_safe(int32_t* out);
OVRA_API int32_t goto_right_limit_safe(int32_t* out);
/** @} */

/**
 * Sets the soft limits. They are not checked and not stored in the permanent record.
 * @param left, right  the limits, in TMR units
 */
OVRA_API void setSoftLimit(int32_t left, int32_t right);

/**
 * Finds the polarity of the position sensor: moves right step by step until the reading has changed by more
 * than 20 units, for at most 15 steps, and sets `direction`.
 *
 * @param out  the polarity found, 0 or 1; untouched when none was found
 * @return 0; -1 when a reading failed; OVRA_RESULT_PROBE_FAILED when the reading did not change enough within
 *         14 steps. A change seen at the 15th step comes too late: `direction` and `*out` are set all the same.
 */
OVRA_API int32_t get_direction(int32_t* out);

/**
 * Checks that the motor's backlash is taken up within 14 steps.
 * @param toLeft  not 0: to the left; 0: to the right
 * @return 0 when the position changed by more than 10 units within 14 steps; -1 when a reading failed;
 *         OVRA_RESULT_PROBE_FAILED when the lens did not follow.
 */
OVRA_API int32_t go_cali_tmr_idle(int32_t toLeft);

OVRA_END_DECLS

#endif
