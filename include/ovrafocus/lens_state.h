/**
 * @file lens_state.h
 * What the functions of the lens share: its limits, backlash and tables, where it went last, and who may move
 * it.
 *
 * Lens positions are in TMR units, the unit of the position sensor, with the sensor's polarity taken out
 * (see `direction`), so that larger always means further right. Motor steps are full steps.
 *
 * All but the mutex are plain variables that threads share without a lock: a change is seen at the next use.
 */
#ifndef OVRAFOCUS_LENS_STATE_H
#define OVRAFOCUS_LENS_STATE_H

#include <pthread.h>
#include <stdint.h>

#include "ovrafocus/export.h"

OVRA_BEGIN_DECLS

/** The lens: held from the distance measurement of a run to its end, and during a manual focus move. */
extern OVRA_API pthread_mutex_t mutex_focus;

/** Soft limits of the lens, in TMR units. -500 and 500 until a calibration is loaded. @{ */
extern OVRA_API int32_t g_limitLeft;
extern OVRA_API int32_t g_limitRight;
/** @} */

/** Backlash of the motor on reversing to the left and to the right, in motor steps. 1 at load. @{ */
extern OVRA_API int32_t leftIdle;
extern OVRA_API int32_t rightIdle;
/** @} */

/** Direction of the last lens move of at least one step: 1 right, 0 left. 1 at load. */
extern OVRA_API uint8_t lastDirection;

/**
 * Polarity of the lens position sensor, from the factory calibration or from get_direction(). With 1 the
 * position read back falls when the lens moves right, and motor_tmr_x_dir_read() negates it. 0 at load.
 */
extern OVRA_API int32_t direction;

/** The distance of the last auto-focus run, in millimetres; -1 when no zone was in range. 300 at load. */
extern OVRA_API int32_t lastDistance;

/**
 * The lens table; all 0 at load.
 *
 * | Entry   | Content                                                                    |
 * |---------|----------------------------------------------------------------------------|
 * | 0 to 24 | lens position in TMR units for each focus place, 3000 mm first, 240 mm last |
 * | 25, 26  | left and right soft limit of the lens, TMR units                           |
 * | 27      | polarity of the position sensor, see `direction`                           |
 * | 28, 29  | backlash on reversing to the left and to the right, motor steps            |
 */
extern OVRA_API int32_t listFlash[30];

/** The light engine's focus curve, in TMR units, one value for each of the 25 focus places. 0 at load. */
extern OVRA_API int32_t elepnCalidata[25];

/** Not 0: the lens was calibrated with a hot light source; focus places are corrected for temperature. */
extern OVRA_API int32_t g_flag_high_temp;

/** Not 0: the light engine has published a focus curve and the calibration allows its use. */
extern OVRA_API int32_t g_flag_elepn_temp;

/**
 * When not 0, a run leaves the keystone as it is. 1 counts for one run and is reset by it; other values stay.
 * 0 at load.
 */
extern OVRA_API int32_t g_focus_temp_adjust;

OVRA_END_DECLS

#endif
