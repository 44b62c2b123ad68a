/**
 * @file permanent_data.h
 * The factory calibration that survives a reflash: one record of 227 bytes in area 2 of the flash's
 * one-time-programmable region.
 *
 * The flash is read once; afterwards every reader is served from the copy in memory. A write goes to the
 * flash first and to the copy only when the flash took it. To change the record, read it with
 * permanent_data_read(), change your own bytes and give the whole of it to permanent_data_write().
 *
 * There is no lock. permanent_data_init() belongs to the start-up thread, writes to the one thread that runs
 * a calibration; permanent_data_read() may be called from any thread once the record is initialised.
 * Messages are printed without the library's tag, at any log level.
 */
#ifndef OVRAFOCUS_PERMANENT_DATA_H
#define OVRAFOCUS_PERMANENT_DATA_H

#include <stdint.h>

#include "ovrafocus/export.h"

OVRA_BEGIN_DECLS

/** Length of the record in bytes. */
#define OVRA_PERMANENT_RECORD_BYTES 227

/** The record. All numbers in it are text. No field but those said to be so is terminated. */
typedef struct ovra_permanent_record {
    /** Offset 0: 30 decimal numbers joined by "," without blanks, terminated. See tmr_table.h. */
    char tmr_table_text[150];
    /** Offset 150: three decimal numbers joined by ",", each in -20000..20000. See acceleration.h. */
    char gsensor_offset_text[24];
    /** Offset 174: serial number of the device; terminated only when shorter than the field. */
    char device_sn[24];
    /** Offset 198: serial number of the main board; terminated only when shorter than the field. */
    char mainboard_sn[24];
    /** Offset 222: one digit, '1' when the gravity sensor is calibrated. Anything but a digit counts as 0. */
    char gsensor_flag;
    /** Offset 223: one digit, the same for the ToF sensor. */
    char tof_flag;
    /** Offset 224: one digit '0' to '4' for the lens position sensor. See calibration_data.h. */
    char tmr_flag;
    /** Offset 225: kept as it is on every write. */
    char reserved[2];
} ovra_permanent_record;

/** The copy in memory: all 0 until a record was read, which looks entirely uncalibrated. */
extern OVRA_API ovra_permanent_record glb_permanent_data;

/** 0 after loading; 1 from the first permanent_data_init() on, whether that succeeded or not. */
extern OVRA_API int32_t permanent_data_inited;

/**
 * Reads the record from the flash. Made once: a failed start is not tried again, and leaves an all-zero
 * record; every later call is refused.
 * @return 0; -1 on failure, or when called before.
 */
OVRA_API int32_t permanent_data_init(void);

/**
 * Copies the record, initialising it first when nobody has.
 * @param out receives 227 bytes; must not be null.
 * @return always 0: without a readable flash the copy is all 0.
 */
OVRA_API int32_t permanent_data_read(void* out);

/**
 * Writes the record to the flash and, when that succeeded, to the copy, initialising it first when nobody
 * has.
 * @param in 227 bytes; null is refused.
 * @return 0; -1 on failure, and the copy is unchanged.
 */
OVRA_API int32_t permanent_data_write(const void* in);

/**
 * Erases the record for a factory reset: every byte becomes 0xff, in the copy whatever becomes of the flash.
 * @return 0; -1 when the flash could not be written.
 */
OVRA_API int32_t permanent_data_clean(void);

/**
 * Reads the flash afresh, prints it beside the copy, and warns when the two differ. Repairs nothing.
 * @return 0, also when they differ; -1 when the record is not initialised or the flash cannot be read.
 */
OVRA_API int32_t dump_permanent_data_for_debug(void);

OVRA_END_DECLS

#endif
