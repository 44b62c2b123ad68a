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
 *    that of the close is reported on standard error.
 */
#ifndef OVRAFOCUS_NDS01_SYSFS_H
#define OVRAFOCUS_NDS01_SYSFS_H

#include <stdint.h>

#include "ovrafocus/export.h"

OVRA_BEGIN_DECLS

/**
 * Writes a number in decimal, without a newline.
 * @param name       the attribute's name
 * @param directory  the directory it stands in
 * @param value      the number
 * @return 0, or a failure as above.
 */
OVRA_API int32_t write_sysfs_int(const char* name, const char* directory, int32_t value);

/**
 * Writes a number with six decimals, without a newline.
 * @param name       the attribute's name
 * @param directory  the directory it stands in
 * @param value      the number
 * @return 0, or a failure as above.
 */
OVRA_API int32_t write_sysfs_float(const char* name, const char* directory, float value);

/**
 * Writes a text without its terminator.
 * @param name       the attribute's name
 * @param directory  the directory it stands in
 * @param text       the text
 * @return 0, or a failure as above.
 */
OVRA_API int32_t write_sysfs_string(const char* name, const char* directory, const char* text);

/**
 * Writes raw bytes in one piece.
 * @param name       the attribute's name
 * @param directory  the directory it stands in
 * @param bytes      the bytes
 * @param count      how many; zero or a negative count writes nothing
 * @return the number of bytes that the driver took: less than `count` where it took only some; or a failure as
 *         above.
 */
OVRA_API int32_t write_sysfs_u8data(const char* name, const char* directory, const uint8_t* bytes,
                                    int32_t count);

/**
 * Reads a decimal number.
 * @param name       the attribute's name
 * @param directory  the directory it stands in
 * @param value      receives the number; on failure it keeps what it held
 * @return 0 or more, or a failure as above.
 */
OVRA_API int32_t read_sysfs_int(const char* name, const char* directory, int32_t* value);

/**
 * Reads a floating-point number.
 * @param name       the attribute's name
 * @param directory  the directory it stands in
 * @param value      receives the number; on failure it keeps what it held
 * @return 0 or more, or a failure as above.
 */
OVRA_API int32_t read_sysfs_float(const char* name, const char* directory, float* value);

/**
 * Reads the first blank-separated word and terminates it.
 * @param name       the attribute's name
 * @param directory  the directory it stands in
 * @param text       room for 4096 bytes, the most that an attribute delivers; unless the word is known to be
 *                   shorter. Longer words are cut.
 * @return 0 or more, or a failure as above.
 */
OVRA_API int32_t read_sysfs_string(const char* name, const char* directory, char* text);

/**
 * Reads raw bytes.
 * @param name       the attribute's name
 * @param directory  the directory it stands in
 * @param bytes      room for `count` bytes
 * @param count      how many at most; zero or a negative count reads nothing
 * @return the number of bytes read: less than `count` where the attribute holds less, 0 when it holds nothing
 * or refuses to be read; or a failure as above.
 */
OVRA_API int32_t read_sysfs_u8data(const char* name, const char* directory, uint8_t* bytes, int32_t count);

OVRA_END_DECLS

#endif
