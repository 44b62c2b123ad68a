/**
 * @file acceleration.h
 * The gravity sensor: its factory calibration, its samples, and the three tilt angles.
 *
 * Samples are averaged in blocks of ten. Every complete block gives three angles, and the motion logic
 * (motion.h) and the direction matcher (direction.h) then judge them, on the thread that delivered the tenth
 * sample.
 *
 * The angle of an axis is its elevation above the plane of the two others, -90 to 90 degrees:
 * x = atan(x / sqrt(y*y + z*z)), and y and z likewise. The absolute scale of a sample cancels out.
 *
 * Getters may be called from any thread. They read without a lock: one that runs while a block is completed
 * may see components of two different blocks.
 */
#ifndef OVRAFOCUS_ACCELERATION_H
#define OVRAFOCUS_ACCELERATION_H

#include <stdint.h>
#include <sys/time.h>

#include "ovrafocus/export.h"
#include "ovrafocus/host_interface.h"

OVRA_BEGIN_DECLS

/** One gravity reading, in thousandths of the driver's integer unit. */
typedef struct ovra_acc_sample {
    uint32_t reserved[5]; /**< neither read nor written by the library */
    float x;              /**< across, the driver's first axis */
    float y;              /**< along the optical axis, the driver's second */
    float z;              /**< up, the driver's third */
} ovra_acc_sample;

/** Three tilt angles in degrees, -90 to 90. */
typedef struct ovra_acc_angles {
    uint32_t reserved[2]; /**< neither read nor written by the library */
    float x;              /**< of the x axis */
    float y;              /**< of the y axis */
    float z;              /**< of the z axis */
} ovra_acc_angles;

/** The latest single sample. */
extern OVRA_API ovra_acc_sample acc_read_data;

/** The average of the latest complete block of ten samples. */
extern OVRA_API ovra_acc_sample acc_avg;

/** Room for sums that hosts may link against; not used by the library. @{ */
extern OVRA_API ovra_acc_sample acc_sum;
extern OVRA_API ovra_acc_sample acc_sum_last;
/** @} */

/** The angles of the latest complete block. */
extern OVRA_API ovra_acc_angles acc_degree;

/** The angles of the block before it; equal to `acc_degree` once the latest block has been judged. */
extern OVRA_API ovra_acc_angles acc_degree_last;

/** The angles of the projector at rest; 0 until a rest position has been recorded. */
extern OVRA_API ovra_acc_angles acc_origin_data;

/** Words that hosts may link against; not used by the library. @{ */
extern OVRA_API int32_t acc_input_arry[16];
extern OVRA_API int32_t acc_correction_val[3];
/** @} */

/** The host's table, as it was registered when acc_init_set() last ran; null before. */
extern OVRA_API const app_callback_table* gsensor_app_callback;

/**
 * Hands the factory offsets of the permanent record to the driver and opens the device for sampling.
 *
 * The offsets are tried up to three times, 50 ms apart: a record that cannot be read, an offset outside
 * -20000 to 20000, and a driver that refuses them are retried; a unit whose flag says that it was never
 * calibrated is not. None of this decides the result. Each call opens the device anew and abandons the
 * descriptor of the call before, which stays open.
 * @return 0, or -1 when the device could not be opened for sampling.
 */
OVRA_API int32_t acc_init_set(void);

/**
 * Reads one sample and, when it completes a block, judges the block (see motion.h).
 *
 * A failed read changes nothing. Two threads may call it: samples are read side by side and processed one
 * after the other. Callbacks of the host that it leads to run while the processing is locked for other threads;
 * they may call acc_event_read() and acc_data_handle() themselves, but a block that they complete is not
 * judged. When a movement turns out not to have changed the distance, the call takes one second longer, and no
 * block is completed by another thread meanwhile.
 */
OVRA_API void acc_event_read(void);

/**
 * Copies the angles of the latest block, in degrees.
 * @param x, y, z receive the angles; none may be null.
 */
OVRA_API void acc_get_degree(float* x, float* y, float* z);

/**
 * Copies the average of the latest block, in thousandths of the driver's unit.
 * @param x, y, z receive the average; none may be null.
 */
OVRA_API void acc_get_data(float* x, float* y, float* z);

/** @return 1 once the motion logic has skipped its first five blocks, else 0. */
OVRA_API int32_t acc_get_init_status(void);

/**
 * Copies the keystone angles last derived by acc_data_handle(), in degrees, -40.01 to 40.01.
 * @param v where `vKeystoneVal` goes; null to skip it.
 * @param theta where `thetaKeystoneVal` goes; null to skip it.
 * @return 0.
 */
OVRA_API int32_t acc_get_angle(float* v, float* theta);

/**
 * Closes the device. The descriptor is not forgotten: samples read afterwards fail, and a second call fails
 * as well, unless its number has been given to another file meanwhile.
 * @return 0, or -1 with errno set.
 */
OVRA_API int32_t acc_file_close(void);

/**
 * The time since `start` by the wall clock, in milliseconds:
 * (now.tv_sec - start.tv_sec) * 1000 + (now.tv_usec - start.tv_usec) / 1000, the division truncated.
 * @param start a time as gettimeofday() gives it.
 * @return negative when `start` lies in the future; the nearest 32-bit value when the time does not fit.
 */
OVRA_API int32_t get_systime_ms(struct timeval start);

OVRA_END_DECLS

#endif
