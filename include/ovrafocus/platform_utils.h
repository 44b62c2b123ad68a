/**
 * @file platform_utils.h
 * Small helpers for kernel attribute nodes, waiting, and the fan.
 *
 * All functions are stateless: each opens, uses and closes its own descriptor, so any thread may call any of
 * them. Two threads that use the same node must agree between themselves. Whatever a function prints carries
 * the library's tag.
 */
#ifndef OVRAFOCUS_PLATFORM_UTILS_H
#define OVRAFOCUS_PLATFORM_UTILS_H

#include <stdint.h>
#include <sys/time.h>

#include "ovrafocus/export.h"

OVRA_BEGIN_DECLS

/**
 * Writes a number as text, with the digits 0-9 and A-F.
 * @param value the number; signed in base 10, taken as unsigned 32 bits in every other base.
 * @param buf   room for the sign, the digits and the terminator: 33 bytes are enough for every base.
 * @param base  2 to 16. Not checked.
 * @return `buf`.
 */
OVRA_API char* itoa(int32_t value, char* buf, uint32_t base);

/**
 * Writes a decimal number and a newline to a node, which is opened for reading and writing. Prints nothing.
 * @param path  the node.
 * @param value the number.
 * @return 0 (a short write included), or the negated errno of the open or of the write.
 */
OVRA_API int32_t write_int(const char* path, int32_t value);

/**
 * Writes a text as it is to a node, which is opened for writing only. Prints nothing.
 * @param path the node.
 * @param text at most 31 characters. With a longer text the process is stopped (abort), after the node was
 *             opened and before anything is written.
 * @return 0 (a short write included), or the negated errno of the open or of the write.
 */
OVRA_API int32_t write_str(const char* path, const char* text);

/**
 * Reads a small decimal number. Only the first four characters of the node are looked at: 12345 reads as
 * 1234 and -1000 as -100. Prints nothing.
 * @param path the node.
 * @return the number; 0 when the node is empty, unreadable or holds no number; the negated errno when it
 *         cannot be opened.
 */
OVRA_API int32_t read_int(const char* path);

/**
 * Writes a decimal number and a newline to a node, which is opened for reading and writing.
 * @param path  the node.
 * @param value the number.
 * @return 0 on success; -1 when `path` is null or the node cannot be opened; the negative result of the
 *         write when it was refused. Each failure is printed.
 */
OVRA_API int32_t write_file(const char* path, int32_t value);

/**
 * Reads a decimal number from the first 20 characters of a node.
 * @param path the node.
 * @return the number, 0 for a text that holds none; -1 when `path` is null, the node cannot be opened, or
 *         nothing can be read. Each failure is printed; a node that holds -1 looks like one.
 */
OVRA_API int32_t read_file(const char* path);

/**
 * Reads a text of at most 72 characters.
 * @param path the node.
 * @param buf receives `len` bytes, 72 at most: the text, and zero bytes after it. A text of `len` or more
 *            characters has no terminator. Untouched on failure.
 * @param len the bytes to copy, not the bytes to read. 73 and more draw a warning and count as 72; 0 and
 *            negative copy nothing.
 * @return the number of bytes read, at least 1, which may be more than `len`; -1 when `path` or `buf` is
 *         null, the node cannot be opened, or nothing can be read. Each failure is printed.
 */
OVRA_API int32_t read_file_buf(const char* path, char* buf, int32_t len);

/**
 * Writes bytes to a node, which is opened for reading and writing.
 * @param path the node.
 * @param buf  the bytes.
 * @param len  how many.
 * @return 0 on success (a short write included); -1 when `path` is null or the node cannot be opened; the
 *         negative result of the write when it was refused. Each failure is printed.
 */
OVRA_API int32_t write_file_buf(const char* path, const void* buf, uint32_t len);

/**
 * Sleeps.
 * @param ms milliseconds; the microseconds must fit 32 bits (up to 4294967 ms).
 * @return usleep's result: 0, or -1 with errno.
 */
OVRA_API int32_t SleepMs(uint32_t ms);

/**
 * Waits, in naps of 1 ms, until the wall clock has advanced by `ms` milliseconds since `start`.
 * @param start a time as gettimeofday() gives it.
 * @param ms    milliseconds; 0 or less returns at once, anything more naps at least once.
 */
OVRA_API void wait_ms(struct timeval start, int32_t ms);

/**
 * Takes the fan out of its automatic control and sets its speed. The library never switches the automatic
 * control on again.
 * @param speed the target speed in the fan driver's unit.
 * @return 0, or the negative result of the write that failed; the speed is only written when the automatic
 *         control could be switched off.
 */
OVRA_API int32_t fan_target_speed_write(int32_t speed);

OVRA_END_DECLS

#endif
