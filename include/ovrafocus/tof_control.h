/**
 * @file tof_control.h
 * A ranging sensor with 3 x 3 zones, as its driver's attributes under /sys/class/tof/ show it.
 *
 * Zones are numbered 0 to 8 in row order; 3, 4 and 5 are the left, centre and right zone of the middle row.
 * A zone array holds 18 numbers: the nine distances in millimetres, then the nine second values, each 0 to
 * 65535. A distance of 0 means that the zone saw nothing.
 *
 * Reading a distance frame is serialised by tof_mtx, so any thread may do it. The control attributes have no
 * lock: bring the sensor up and down from one thread.
 *
 * Messages carry the library's tag; the attribute functions print some of theirs a second time without it.
 */
#ifndef OVRAFOCUS_TOF_CONTROL_H
#define OVRAFOCUS_TOF_CONTROL_H

#include <pthread.h>
#include <stdint.h>

#include "ovrafocus/export.h"

OVRA_BEGIN_DECLS

/** Number of zones. */
#define OVRA_TOF_ZONES 9
/** Length of a zone array. */
#define OVRA_TOF_ZONE_ARRAY 18

/** Held while one distance frame is read and decoded. */
extern OVRA_API pthread_mutex_t tof_mtx;

/** Starts or stops measuring. @param on 1 starts, 0 stops. @return as write_file(). */
OVRA_API int32_t Tof_Enable_Get_Distance(int32_t on);

/** Sets what is measured. @param mode 3 measures distances. @return as write_file(). */
OVRA_API int32_t Tof_Set_Mode(int32_t mode);

/** Sets the channel. @param ch 0 is the one wanted. @return as write_file(). */
OVRA_API int32_t Tof_Set_Channel(int32_t ch);

/** Sets the polling period. @param ms in milliseconds. @return as write_file(). */
OVRA_API int32_t Tof_Set_poll_period(int32_t ms);

/** Sets the SPAD map. @param id 6 for distances. @return as write_file(). */
OVRA_API int32_t Tof_Set_spad_map_id(int32_t id);

/** Powers the chip. @param on 1 gives it power, 0 takes it. @return as write_file(). */
OVRA_API int32_t Tof_Enable(int32_t on);

/** @return the channel; -1 when it cannot be read. */
OVRA_API int32_t Tof_Get_Channel(void);

/** @return not 0 when the chip has power; -1 when that cannot be read. */
OVRA_API int32_t Tof_Get_Enable_Status(void);

/** @return not 0 when it measures; -1 when that cannot be read. */
OVRA_API int32_t Tof_Get_Measure_Status(void);

/** @return the ToF driver's error code, from its sensor_error; -1 when that cannot be read. */
OVRA_API int32_t Tof_Error_Check(void);

/** @return the gravity sensor's error code, from /sys/class/sensors/; -1 when that cannot be read. */
OVRA_API int32_t Gsensor_Error_Check(void);

/**
 * Reads the text of one distance frame, without the lock.
 * @param buf receives `len` bytes, 72 at most, zeros after a shorter text; not terminated when full.
 * @param len bytes to copy.
 * @return the number of bytes read (72 for a whole frame), or -1.
 */
OVRA_API int32_t Tof_Get_Distance(char* buf, int32_t len);

/**
 * Sets mode 3 and SPAD map 6 and starts measuring, in this order, up to the first failure.
 * @return 0, or the result of the step that failed.
 */
OVRA_API int32_t Tof_Get_Distance_Prepare(void);

/**
 * Switches the chip off and on again and starts measuring; takes 40 ms.
 * @return 0; the result of switching off when that failed, which ends it; otherwise the sum of the other two
 *         results.
 */
OVRA_API int32_t tof_check_reset(void);

/**
 * Starts or stops measuring. Starting resets the chip when it does not start at once, and selects channel 0.
 * Stopping is skipped while tof_polling is set in focus_config.
 * @param enable non-zero starts, 0 stops.
 * @return 0, or negative: the chip has no power, does not measure, or refused an attribute.
 */
OVRA_API int32_t tof_init(int32_t enable);

/**
 * tof_init(), and then the driver's polling period.
 * @param enable as tof_init() takes it.
 * @param fast non-zero polls every 50 ms while enabling; otherwise, and always when disabling, every 180 ms.
 * @return 0, or the result that failed.
 */
OVRA_API int32_t tof_check_enable(int32_t enable, int32_t fast);

/**
 * Reads and decodes one frame. Each zone is a word of eight hexadecimal digits: the distance in its low 16
 * bits, the second value in its high 16 bits.
 * @param zones       receives nine numbers, or 18 with the second values; untouched on failure.
 * @param with_second non-zero: the second values too.
 * @return 0; -1 when `zones` is null, when distance_enabled in focus_config is 0 (which it is until the host
 *         sets it), or when the frame is not 72 characters long.
 */
OVRA_API int32_t tof_get_distance(int32_t zones[OVRA_TOF_ZONE_ARRAY], int32_t with_second);

/**
 * Logs the smallest distance of the zones that see something and whose second value is at least 51, or
 * 800 mm when there is none. Reads up to three frames, 200 ms after each useless one.
 */
OVRA_API void tof_check_eye_base(void);

/**
 * Logs whether something stands near.
 * @param is_near 1 or 0; shown as it is.
 */
OVRA_API void tof_notify_status(int32_t is_near);

/**
 * Logs the distances of a zone array as three rows.
 * @param zones       18 numbers, or nine without second values.
 * @param with_second non-zero: the second values too.
 */
OVRA_API void tof_dump_arr(const int32_t zones[OVRA_TOF_ZONE_ARRAY], int32_t with_second);

/**
 * Degrees to radians, with pi taken as 3.1415927, in single precision.
 * @param deg the angle in degrees.
 * @return the angle in radians.
 */
OVRA_API float tof_degree2radian(float deg);

/**
 * Averages the middle row over several frames, 70 ms apart. A zone that is 0 in some frames and not in
 * others is unstable, and an average over it is refused: the sides when both `left` and `right` are given,
 * the centre when it is given and more than one frame is read.
 * @param left, centre, right receive the averages in millimetres; each may be null; untouched on failure.
 *        The centre is reduced by cos(7 degrees), the angle at which the sensor looks up, and truncated.
 * @param count frames to read; 0 and less read one.
 * @return 0; -1 when a frame cannot be read or a zone is unstable.
 */
OVRA_API int32_t keystone_get_tof_avg(int32_t* left, int32_t* centre, int32_t* right, int32_t count);

/**
 * keystone_get_tof_avg() with fast polling, tried up to five times.
 * @param left, centre, right, count as keystone_get_tof_avg() takes them.
 * @return 0, or -1 when all five failed. Slow polling is restored in either case.
 */
OVRA_API int32_t keystone_get_tof_avg2(int32_t* left, int32_t* centre, int32_t* right, int32_t count);

/**
 * The host's algorithm hook for the distance straight ahead: the centre average over three frames, with fast
 * polling, tried up to three times.
 * @param record the hook's record of 32-bit fields; the fifth receives the distance in millimetres. It and
 *        everything else stays as it was on failure.
 * @return 0, or -1.
 */
OVRA_API int32_t keystone_get_tof_rawdata(void* record);

OVRA_END_DECLS

#endif
