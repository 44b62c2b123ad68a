/**
 * @file acceleration.h
 * The gravity sensor: its factory calibration and its samples. What they give is in gravity_state.h.
 *
 * Samples are averaged in blocks of ten. Every complete block gives three angles, and the motion logic
 * (motion.h) and the direction matcher (direction.h) then judge them, on the thread that delivered the tenth
 * sample.
 */
#ifndef OVRAFOCUS_ACCELERATION_H
#define OVRAFOCUS_ACCELERATION_H

#include <stdint.h>
#include <sys/time.h>

#include "ovrafocus/export.h"
#include "ovrafocus/gravity_state.h"
#include "ovrafocus/requests.h"

OVRA_BEGIN_DECLS

/**
 * Hands the factory offsets of the permanent record to the driver and opens the device for sampling.
 *
 * The offsets are tried up to three times, 50 ms apart: a record that cannot be read, an offset outside
 * -20000 to 20000, and a driver that refuses them are retried; a unit whose flag says that it was never
 * calibrated is not. None of this decides the result. Each call opens the device again and abandons the
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
