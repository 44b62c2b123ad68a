/**
 * @file nds01_sysfs.h
 * One sysfs attribute, opened, read or written and closed within one call.
 *
 * Every function takes the attribute's name and the directory it stands in, joins them with a slash and
 * keeps nothing afterwards. All may be called from any thread.
 *
 * Failures, all negative errno values:
 *  - -ENOMEM: no memory for the joined path. write_sysfs_string() says "Memory allocation failed" on standard
 *    output, the three scanning readers (int, float, string) on standard error, the others say nothing.
 *  - the error of opening. The writers and read_sysfs_u8data() print a line with the path, the scanning
 *    readers print nothing.
 *  - the error of the write. A raw transfer that moved some bytes, but not all, returns the short count.
 *  - a scan that finds no value: the error of the read, or -ENODATA when the text merely does not fit.
 *  - the error of closing. When the transfer had failed already, the transfer's failure is returned and
 *    that of the close is told on standard error.
 */
#ifndef OVRAFOCUS_NDS01_SYSFS_H
#define OVRAFOCUS_NDS01_SYSFS_H

#include <stdint.h>

#include "ovrafocus/export.h"

OVRA_BEGIN_DECLS

/** Writes `value` in decimal, without a newline. Returns 0. */
OVRA_API int32_t write_sysfs_int(const char* name, const char* directory, int32_t value);

/** Writes `value` with six decimals, without a newline. Returns 0. */
OVRA_API int32_t write_sysfs_float(const char* name, const char* directory, float value);

/** Writes `text` without its terminator. Returns 0. */
OVRA_API int32_t write_sysfs_string(const char* name, const char* directory, const char* text);

/**
 * Writes `count` raw bytes in one piece; zero or a negative count writes nothing.
 * Returns the number of bytes that the driver took: less than `count` where it took only some.
 */
OVRA_API int32_t write_sysfs_u8data(const char* name, const char* directory, const uint8_t* bytes,
                                    int32_t count);

/** Reads a decimal number. Returns a value of 0 or more; on failure `*value` keeps what it held. */
OVRA_API int32_t read_sysfs_int(const char* name, const char* directory, int32_t* value);

/** Reads a floating-point number. Returns a value of 0 or more; on failure `*value` keeps what it held. */
OVRA_API int32_t read_sysfs_float(const char* name, const char* directory, float* value);

/**
 * Reads the first blank-separated word and terminates it. Returns a value of 0 or more.
 * @param text  room for 4096 bytes, the most that an attribute delivers; unless the word is known to be
 *              shorter. Longer words are cut.
 */
OVRA_API int32_t read_sysfs_string(const char* name, const char* directory, char* text);

/**
 * Reads at most `count` raw bytes; zero or a negative count reads nothing.
 * Returns the number of bytes read: less than `count` where the attribute holds less, 0 when it holds
 * nothing or refuses to be read.
 */
OVRA_API int32_t read_sysfs_u8data(const char* name, const char* directory, uint8_t* bytes, int32_t count);

OVRA_END_DECLS

#endif
