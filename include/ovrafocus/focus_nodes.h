/**
 * @file focus_nodes.h
 * The kernel attributes that the auto-focus works with: ranging, lens motor, LED temperature, focus curve.
 *
 * Each function opens its node, reads or writes once, and closes it. Nothing is retried. All functions may be
 * called from any thread; the ones that move the lens belong to whoever holds mutex_focus, or to a calibration
 * that runs alone.
 */
#ifndef OVRAFOCUS_FOCUS_NODES_H
#define OVRAFOCUS_FOCUS_NODES_H

#include <stdint.h>

#include "ovrafocus/export.h"
#include "ovrafocus/lens_state.h"

OVRA_BEGIN_DECLS

/**
 * Reads one ranging frame from /sys/class/nd_tof/nds01/ranging_data.
 *
 * @param frame  8 values. The first four are the zone distances in millimetres: top-right, bottom-right,
 *               top-left, bottom-left. The other four belong to the ToF driver and are not used for focus.
 *               Values that the node does not give are 0. Untouched on failure.
 * @return 0, or -1 when the node cannot be opened or gives no data.
 */
OVRA_API int32_t tof_distance_read(int32_t* frame);

/**
 * Asks /sys/class/motor/stop whether the lens motor rests.
 * @return 0 when it has stopped; -1 while it runs, or when the node cannot be read.
 */
OVRA_API int32_t motor_stop_read(void);

/**
 * Reads the LED temperature from /sys/devices/platform/pwm-fan/r_temp.
 * @return degrees Celsius; -1 when the node cannot be opened or gives no data (a reading of -1 degree looks
 *         the same; callers accept this).
 */
OVRA_API int32_t r_led_temp_read(void);

/**
 * Writes the motor's pulse setting to /sys/class/motor/pulse: 2 before a coarse move or a calibration sweep,
 * 1 before a single fine step.
 * @param value 1 half steps, 2 full steps.
 * @return 0, also when the driver refused the write; -1 when the node cannot be opened.
 */
OVRA_API int32_t motor_pulse_write(int32_t value);

/**
 * Writes the position sensor's direction flag to /sys/class/motor/tmr_dir_flg.
 * @param value the flag, in the driver's numbering. The library itself never calls this.
 * @return 0, also when the driver refused the write; -1 when the node cannot be opened.
 */
OVRA_API int32_t motor_dir_write(int32_t value);

/**
 * Reads the light engine's focus curve from /sys/class/dlp/elepn_focus_curve_data and sets g_flag_elepn_temp
 * to 1, or to 0 when there is no curve.
 *
 * The node gives 20 numbers; the last thirteen are curve points for the distances 240 mm to 3000 mm, stored
 * as 16-bit two's-complement numbers. They are put into the order of the focus places (3000 mm first), the
 * mid-points between two of them are added, and the sign is changed when `direction` is not 0. Numbers that
 * the text does not give count as 0.
 *
 * @param curve  25 TMR values, one for each focus place. Untouched on failure.
 * @return 0, or -1 when the node cannot be opened or gives no data.
 */
OVRA_API int32_t elepn_calidata_read(int32_t* curve);

/**
 * Moves the lens left, or right, and remembers the way it went in lastDirection: also when the move failed,
 * but not for 0 steps.
 * @param steps  motor steps, 0 or more
 * @return the result of motor_left_write() or motor_right_write(): 0, or -1 on failure.
 * @{
 */
OVRA_API int32_t varnel_motor_left_write(int32_t steps);
OVRA_API int32_t varnel_motor_right_write(int32_t steps);
/** @} */

/**
 * Waits until the motor rests, for at most about 420 ms (21 times 20 ms), then reads the lens position.
 * @param out  the position in TMR units, negated when `direction` is 1. May be overwritten on failure.
 * @return 0; -1 when the motor kept running or the position could not be read.
 */
OVRA_API int32_t motor_tmr_x_dir_read(int32_t* out);

OVRA_END_DECLS

#endif
