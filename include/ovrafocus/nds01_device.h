/**
 * @file nds01_device.h
 * The nds01 multi-zone time-of-flight sensor: its device node, its attributes and its registers.
 *
 * The kernel driver offers /dev/nds01, from which ranging frames are read, and the attributes of
 * /sys/class/nd_tof/nds01. Several threads may read frames, and take turns; no frame may be read while the
 * point mode changes (nds01_start.h), and everything else here is for one thread.
 *
 * Functions that write or read one attribute and say no more return what the attribute helper of
 * nds01_sysfs.h returns: 0 or more on success, a negative errno value on failure. A command that the driver
 * did not take whole prints one line with the count and returns -1.
 */
#ifndef OVRAFOCUS_NDS01_DEVICE_H
#define OVRAFOCUS_NDS01_DEVICE_H

#include <stdint.h>

#include "ovrafocus/export.h"

OVRA_BEGIN_DECLS

/** One zone of a ranging frame: 8 bytes. */
typedef struct nds01_zone {
    uint16_t distance_mm;   /**< distance in millimetres */
    uint16_t quality;       /**< 11 to 100: the distance can be used */
    uint8_t driver_data[4]; /**< the driver's own */
} nds01_zone;

/** One pixel of the whole receiver, as the calibration reads it: 8 bytes, 60 of them. */
typedef struct nds01_pixel {
    uint16_t distance_mm;        /**< distance in millimetres */
    uint8_t driver_data[2];      /**< the driver's own */
    uint16_t calibration_value;  /**< handed on to the calibration of the processing library */
    uint8_t more_driver_data[2]; /**< the driver's own */
} nds01_pixel;

/** Library data of the driver: what the processing library is fed with. */
enum {
    NDS01_LIB_DATA_FACTORY = 0x8000, /**< the device's factory calibration: 4096 bytes, read only */
    NDS01_LIB_DATA_OFFSETS = 0x9000  /**< the result of an offset calibration: 4096 bytes, or the first 128 */
};

/* --- Ranging -------------------------------------------------------------------------------------- */

/**
 * Reads one ranging frame: up to three requests, 5 ms apart, until every zone's quality lies in 11 to 100.
 * While an offset calibration runs, the first frame is taken as it is.
 *
 * @param zones  room for 64 bytes: 8 (point mode 1) or 4 records of type nds01_zone. Untouched on failure.
 * @return the number of zones, 4 or 8; -ENOENT when the device is not open or delivered no valid frame.
 */
OVRA_API int32_t nds01_get_ranging_data(void* zones);

/**
 * Starts or stops ranging.
 * @param state 1 starts, 0 stops; the number is written as it is.
 * @return 0, or a negative errno value.
 */
OVRA_API int32_t nds01_set_running_state(int32_t state);

/**
 * Reads whether the sensor is ranging.
 * @param state receives 1 or 0; on failure it keeps what it held.
 * @return 0 or more; a negative errno value on failure.
 */
OVRA_API int32_t nds01_get_running_state(int32_t* state);

/**
 * Starts or stops ranging. Differs from nds01_set_running_state() in what it writes.
 * @param state 0 stops, every other value starts.
 * @return 0, or a negative errno value.
 */
OVRA_API int32_t nds01_set_runing_state(int32_t state);

/**
 * Sets the frame rate.
 * @param frames_per_second 0 lets the driver measure as the calibration needs it.
 * @return 0, or a negative errno value.
 */
OVRA_API int32_t nds01_set_fps(int32_t frames_per_second);

/**
 * Reads the frame rate.
 * @param frames_per_second receives it; on failure it keeps what it held.
 * @return 0 or more; a negative errno value on failure.
 */
OVRA_API int32_t nds01_get_fps(int32_t* frames_per_second);

/* --- Configuration and the driver's own calibrations ---------------------------------------------- */

/**
 * Hands a configuration of the processing library to the driver.
 *
 * @param configuration  four bytes; kind 0 uses the first only
 * @param kind           0 or 1
 * @return 0; -1 for another kind or when the driver did not take it whole.
 */
OVRA_API int32_t nds01_set_isp_config(const uint8_t* configuration, int32_t kind);

/** Lets the driver apply its configuration. @return 0, or a negative errno value. */
OVRA_API int32_t nds01_set_config(void);

/** Lets the driver measure its crosstalk; see nds01_get_xtalk_value(). @return 0, or a negative errno value. */
OVRA_API int32_t nds01_xtalk_calibration(void);

/**
 * Lets the driver calibrate its distance offsets by itself against a flat target.
 * @param depth the target's distance in millimetres.
 * @return 0, or a negative errno value.
 */
OVRA_API int32_t nds01_offset_calibration_at_depth_for_dev(int32_t depth);

/**
 * Reads the firmware's version.
 * @param version receives it: bits 16-23 major, 8-15 minor, 0-7 patch. Untouched on failure.
 * @return 0; -1 on failure.
 */
OVRA_API int32_t nds01_dev_get_firmware_version(uint32_t* version);

/**
 * Reads the measured crosstalk and prints it: one value for firmware below 1.3.0, four from 1.3.0 on.
 * @param values  room for four values; a short read leaves those after it as they were
 * @return 0; -1 when the version or all of the values could not be read.
 */
OVRA_API int32_t nds01_get_xtalk_value(uint16_t* values);

/* --- Commands of the driver ----------------------------------------------------------------------- */

/**
 * Reads or writes library data of the driver.
 * @param index  NDS01_LIB_DATA_FACTORY or NDS01_LIB_DATA_OFFSETS
 * @param buffer room for, or the data of, `size` bytes
 * @param size   in bytes
 * @return `size`, or -1 on failure.
 * @{
 */
OVRA_API int32_t nds01_get_lib_data(uint32_t index, void* buffer, uint32_t size);
OVRA_API int32_t nds01_set_lib_data(uint32_t index, const void* buffer, uint32_t size);
/** @} */

/**
 * Enables the selected SPADs (point modes other than 1).
 * @param value  the driver's argument: the address of the 8-byte SPAD selection
 * @param size   not used
 * @return 0, or -1 on failure.
 */
OVRA_API int32_t nds01_set_isp_spad_enable(intptr_t value, int32_t size);

/**
 * Reads all pixels of the receiver.
 * @param pixels  room for 480 bytes: 60 records of type nds01_pixel
 * @return 60, or -1 on failure.
 */
OVRA_API int32_t nds01_get_all_pixel_data(void* pixels);

/**
 * Reads or writes bytes at an 8-bit register.
 * @param reg    the register's number
 * @param buffer room for, or the data of, `length` bytes
 * @param length in bytes
 * @return 0, or -1 on failure.
 * @{
 */
OVRA_API int32_t nds01_i2c_read_nbytes(uint8_t reg, uint8_t* buffer, uint16_t length);
OVRA_API int32_t nds01_i2c_write_nbytes(uint8_t reg, const uint8_t* buffer, uint16_t length);
/** @} */

/**
 * Reads or writes bytes at a 16-bit register.
 * @param reg    the register's number
 * @param buffer room for, or the data of, `length` bytes
 * @param length in bytes
 * @return 0, or -1 on failure.
 * @{
 */
OVRA_API int32_t nds01_addr16_read_nbytes(uint16_t reg, uint8_t* buffer, uint16_t length);
OVRA_API int32_t nds01_addr16_write_nbytes(uint16_t reg, const uint8_t* buffer, uint16_t length);
/** @} */

/**
 * Sets the level of the chip's shut-down pin.
 * @param level 0 shuts the chip down, 1 lets it run.
 * @return 0, or -1 on failure.
 */
OVRA_API int32_t nds01_set_xshut_pin_level(int32_t level);

OVRA_END_DECLS

#endif
