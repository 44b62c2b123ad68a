/**
 * @file motor_drv.h
 * The focus motor, as the motor driver's attributes under /sys/class/motor/ show it.
 *
 * Direction 0 is left (towards the zero end), 1 is right (towards the far end). Counts are motor steps.
 * There is no lock: whichever thread moves the motor writes the two direction variables. Calls must not
 * overlap; the focus run and the lens positioning hold mutex_focus for that.
 *
 * Where nothing else is said, a function returns 0 on success and, on failure, the negative result of the
 * attribute access (write_file(), read_file(), read_file_buf()), and prints what it did.
 */
#ifndef OVRAFOCUS_MOTOR_DRV_H
#define OVRAFOCUS_MOTOR_DRV_H

#include <stdint.h>

#include "ovrafocus/export.h"

OVRA_BEGIN_DECLS

/** Direction of the last successful move: 0 left, 1 right, -1 unknown, as it is after loading. */
extern OVRA_API int32_t motor_cur_dir;

/**
 * The start direction last accepted by the driver; 0 after loading. When it is 1 the two step attributes
 * change places: direction 0 goes through "right" and direction 1 through "left".
 */
extern OVRA_API int32_t motor_start_dir;

/** @return motor_cur_dir. */
OVRA_API int32_t motor_get_dir(void);

/** @return where the lens rests: 1 left, 2 right, 0 neither; -1 when the attribute cannot be read. */
OVRA_API int32_t motor_get_place(void);

/** @return the position the driver reports, in its own unit; -1 when it cannot be read. */
OVRA_API int32_t motor_get_pos(void);

/**
 * Moves the motor.
 * @param dir          0 left, 1 right, subject to motor_start_dir.
 * @param steps        steps to make. Not above 0 (after the offset): nothing moves and 0 is returned.
 * @param auto_offset  non-zero: 10 steps are added when the direction differs from that of the last
 *                     move, for the gear's slack; not while that direction is unknown.
 * @return 0, and motor_cur_dir becomes `dir`; negative when the driver refused, and motor_cur_dir stays.
 */
OVRA_API int32_t motor_run(int32_t dir, int32_t steps, int32_t auto_offset);

/**
 * motor_run() with the automatic offset.
 * @param dir   0 left, 1 right.
 * @param steps steps to make.
 * @return always 0.
 */
OVRA_API int32_t motor_manual(int32_t dir, int32_t steps);

/**
 * Drives to the zero (left) end.
 * @param add_offset non-zero: step 10 steps to the right and drive to the zero end a second time.
 * @return 0; the first run's result when that failed; otherwise the sum of the three results. motor_cur_dir
 *         becomes 0 with each successful run to the zero end.
 */
OVRA_API int32_t motor_goto_zero(int32_t add_offset);

/** Drives to the far (right) end. On success motor_cur_dir becomes 1. @return 0, or the negative result of the
 * attribute access. */
OVRA_API int32_t motor_goto_end(void);

/**
 * Reads the backlash, the steps that the gear loses on a reversal.
 * @param left, right receive the steps for either side; each may be null. A text without a blank is all
 *        left, and right is 0. Both are untouched on failure.
 * @return 0, or the negative result of the attribute access.
 */
OVRA_API int32_t motor_get_air_travel(int32_t* left, int32_t* right);

/**
 * Lets the driver measure the whole travel, and reads it.
 * @return the travel in steps plus the result of the measuring request, which is 0 unless it failed; the
 *         travel is read even then.
 */
OVRA_API int32_t motor_get_total_steps(void);

/** Sets the start direction. @param dir 0 or 1, see motor_start_dir. @return 0, or the negative result of the
 * attribute access. */
OVRA_API int32_t motor_set_start_dir(int32_t dir);

/** Sets the delay between steps. @param delay in the driver's unit. @return 0, or the negative result of the
 * attribute access. */
OVRA_API int32_t motor_set_delay(int32_t delay);

/** Sets the coil excitation. @param mode in the driver's numbering. @return 0, or the negative result of the
 * attribute access. */
OVRA_API int32_t motor_set_excitation(int32_t mode);

/**
 * Write a step count, 0 included, straight to the "left" or "right" attribute. Neither motor_start_dir nor
 * motor_cur_dir matters or changes.
 * @param n steps, 0 or more.
 * @return 0, or the negative result of the attribute access.
 * @{
 */
OVRA_API int32_t motor_left_write(int32_t n);
OVRA_API int32_t motor_right_write(int32_t n);
/** @} */

/**
 * Reads the magnetoresistive position sensor.
 * @param tmr receives the position in TMR units; must not be null. A text that is no number leaves it as it
 *            was.
 * @return 0; -1 when the attribute cannot be read, or when the value lies outside -2000..2000, which the
 *         driver delivers when the sensor's bus failed (the value is stored all the same). An attribute that
 *         opens but gives no text also costs the process one descriptor, which is not closed.
 */
OVRA_API int32_t motor_tmr_read(int32_t* tmr);

/** Does nothing. @return 0. */
OVRA_API int32_t update_tmr_adc(void);

/**
 * The host's algorithm hook for a move to a TMR value. This motor driver has no such move, so it does
 * nothing.
 * @param tmr ignored.
 * @return 0.
 */
OVRA_API int32_t motor_move_to_tmr(int32_t tmr);

OVRA_END_DECLS

#endif
