/**
 * @file gravity_state.h
 * What the gravity sensor's areas share: the latest sample, average and angles, and what is known of the
 * projector's motion.
 *
 * The angle of an axis is its elevation above the plane of the two others, -90 to 90 degrees:
 * x = atan(x / sqrt(y*y + z*z)), and y and z likewise. The absolute scale of a sample cancels out.
 *
 * Flags, thresholds and records are plain variables shared between threads without a lock: a change takes
 * effect with the next block of samples. Getters may be called from any thread; one that runs while a block is
 * completed may see components of two different blocks.
 */
#ifndef OVRAFOCUS_GRAVITY_STATE_H
#define OVRAFOCUS_GRAVITY_STATE_H

#include <stdint.h>

#include "ovrafocus/export.h"

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

/** 1 while a movement waits for its focus run, else 0. */
extern OVRA_API int32_t project_acc_angle_changed;

/** 1 while auto-keystone should run; auto-keystone clears it when it ends. */
extern OVRA_API int32_t project_tof_dist_changed;

/** 1 from a movement until the new rest position is recorded, else 0. */
extern OVRA_API int32_t project_acc_shake_happened;

/** acc_data_handle(): degrees between two blocks, on any axis, from which on it is a movement. 25.01. */
extern OVRA_API float threshold_acc_to_shake;

/** acc_data_handle(): degrees between two blocks from which on, on every axis, a block is unsteady. 1.76. */
extern OVRA_API float threshold_acc_to_steady;

/** Kept for hosts that set it; not read by the library. Degrees, 4.01. */
extern OVRA_API float threshold_to_trigger_keystone;

/** The keystone angles last derived by acc_data_handle(), degrees, -40.01 to 40.01. @{ */
extern OVRA_API float vKeystoneVal;
extern OVRA_API float thetaKeystoneVal;
/** @} */

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

OVRA_END_DECLS

#endif
