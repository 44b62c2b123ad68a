/**
 * @file nds01_isp.h
 * From the nds01 sensor's zone distances to a point cloud and to the tilt of the surface in front of it.
 *
 * The geometry is the sensor vendor's processing library; this layer connects that library with the chip,
 * loads its calibration and asks it. Nothing here takes a lock and the vendor's library is not made for
 * several threads: call from one thread at a time.
 */
#ifndef OVRAFOCUS_NDS01_ISP_H
#define OVRAFOCUS_NDS01_ISP_H

#include <stdint.h>

#include "ovrafocus/export.h"

OVRA_BEGIN_DECLS

enum {
    NDS01_NO_ANGLE = 32767,        /**< a yaw that says: no angle could be computed */
    NDS01_POINT_CLOUD_BYTES = 96,  /**< 8 points of 12 bytes, laid out by the vendor */
    NDS01_FILTER_DEFAULT = 5,      /**< the filter parameter that start-up hands to the vendor's library */
    NDS01_ISP_FROM_DEVICE = 0x1000 /**< bit of nds01_isp_init()'s result: running on the factory calibration */
};

/** The tilt of the surface in front of the sensor. */
typedef struct nds01_angle_result {
    int16_t yaw;       /**< hundredths of a degree; NDS01_NO_ANGLE when no angle could be computed */
    int16_t pitch;     /**< hundredths of a degree */
    uint16_t depth_mm; /**< distance of the surface, in millimetres */
} nds01_angle_result;

/* --- Life ----------------------------------------------------------------------------------------- */

/**
 * Registers the functions through which the vendor's library reaches the chip.
 * @return 0, or the vendor's negative answer.
 */
OVRA_API int32_t nds01_ispfht_platform_register(void);

/**
 * Prepares the vendor's library: registers the platform functions, applies the high-temperature fix, loads
 * the calibration (the one this library has stored, else the device's factory data), sets the angle limits
 * and the filter. May be called again; each time starts with a clean vendor state.
 *
 * @param filter  the vendor's filter parameter, NDS01_FILTER_DEFAULT at start-up
 * @return negative on failure. Otherwise 0, or a positive value; bit NDS01_ISP_FROM_DEVICE is set when the
 *         stored calibration was refused and the factory data is used.
 */
OVRA_API int32_t nds01_isp_init(int32_t filter);

/** Releases the vendor library's state. @return 0. */
OVRA_API int32_t nds01_isp_uninit(void);

/**
 * Reads or writes the calibration this library keeps in the device (see nds01_calibration.h).
 * @param buffer  room for, or the data of, `size` bytes
 * @param size    in bytes
 * @return 0; -1 unless all of it was moved.
 * @{
 */
OVRA_API int32_t nds01_isp_read_calib_data(void* buffer, uint32_t size);
OVRA_API int32_t nds01_isp_write_calib_data(const void* buffer, uint32_t size);
/** @} */

/* --- Settings ------------------------------------------------------------------------------------- */

/**
 * Applies a configuration; the vendor's library calls it back.
 *
 * @param context        not used
 * @param configuration  kinds 0 and 1: four bytes, see nds01_set_isp_config(); kind 2: a 32-bit frequency word
 * @param kind           0, 1 or 2. Kind 2 stops ranging and leaves it stopped.
 * @return 0 or more on success; negative on failure, -1 for another kind.
 */
OVRA_API int32_t nds01_isp_set_config(void* context, const void* configuration, int32_t kind);

/**
 * Asks the vendor's library for the SPAD selection of a point mode and stores mode and selection. Modes 0
 * and 2 renew the first four bytes of the selection only.
 *
 * @param mode  0, 1 or 2
 * @return 0; -1 when the vendor refuses or for another mode, with nothing stored.
 */
OVRA_API int32_t nds01_isp_set_point_mode(int32_t mode);

/**
 * Gives the stored point mode and its SPAD selection.
 * @param mode            receives the mode, -1 before the first
 * @param spad_selection  room for 8 bytes
 * @return 0
 */
OVRA_API int32_t nds01_isp_get_point_mode(int32_t* mode, uint8_t* spad_selection);

/**
 * Hands the filter's parameters to the vendor's library. Both functions do the same.
 * @param parameter      the vendor's filter parameter, NDS01_FILTER_DEFAULT at start-up
 * @param second, third  the vendor's further parameters; 0 where they are not needed
 * @return the vendor's answer, negative on failure.
 * @{
 */
OVRA_API int32_t nds01_isp_set_filter_para(intptr_t parameter, intptr_t second, intptr_t third);
OVRA_API int32_t nds01_set_isp_filter_para(intptr_t parameter, intptr_t second, intptr_t third);
/** @} */

/* --- Queries -------------------------------------------------------------------------------------- */

/**
 * Computes a point cloud from zone distances.
 * @param distances    8 distances in millimetres; the last four are 0 outside point mode 1
 * @param point_cloud  room for NDS01_POINT_CLOUD_BYTES
 * @return the vendor's answer, negative on failure.
 */
OVRA_API int32_t nds01_isp_calculate_point_cloud(const uint16_t* distances, void* point_cloud);

/**
 * Computes the tilt from a point cloud.
 * @param point_cloud  as nds01_isp_calculate_point_cloud() fills it
 * @param angle        receives the tilt
 * @return 0 always: a failure shows as a yaw of NDS01_NO_ANGLE.
 */
OVRA_API int32_t nds01_isp_calculate_angle(const void* point_cloud, nds01_angle_result* angle);

/**
 * Reads a frame and computes its point cloud.
 * @param point_cloud  room for NDS01_POINT_CLOUD_BYTES
 * @return the number of points, 8 in point mode 1 and else 4; -1 when no frame could be read or computed.
 */
OVRA_API int32_t nds01_get_point_cloud(void* point_cloud);

/**
 * Reads a frame and computes the tilt of the surface.
 * @param angle  receives the tilt; on failure it is as the vendor left it
 * @return 1; -1 on failure.
 */
OVRA_API int32_t nds01_get_angle(nds01_angle_result* angle);

/**
 * Reads all 60 pixels for the vendor's calibration, which calls it back.
 *
 * @param context  not used
 * @param values   receives a fresh buffer of 240 bytes: 60 distances in millimetres, then 60 calibration
 *                 values. It belongs to the caller, who releases it with free().
 * @return 240; -1 when the pixels cannot be read or memory is refused, with `*values` untouched.
 */
OVRA_API int32_t nds01_isp_get_pixel_data(void* context, uint16_t** values);

OVRA_END_DECLS

#endif
