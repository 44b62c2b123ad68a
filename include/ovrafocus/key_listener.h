/**
 * @file key_listener.h
 * Listens to the projector's keys ("adc-keys", /dev/input/event6) and remembers that one was pressed.
 */
#ifndef OVRAFOCUS_KEY_LISTENER_H
#define OVRAFOCUS_KEY_LISTENER_H

#include <stdint.h>

#include "ovrafocus/export.h"

OVRA_BEGIN_DECLS

/**
 * A thread body for the host: logs whether the system is on, then runs headset_mainloop().
 * @param unused anything.
 * @return never.
 */
OVRA_API void* sensor_main(void* unused);

/**
 * Reads key events for ever, on the calling thread. After a failed open or an incomplete event it pauses for
 * 100 ms, so that a missing device costs nothing. Never returns.
 */
OVRA_API void headset_mainloop(void);

/**
 * Waits for one key event and takes note of it. A missing device or an incomplete event is logged and the
 * function returns.
 */
OVRA_API void headset_event_init_read(void);

/** Logs the key state. May be called from any thread. @return 0 once a key was pressed, -1 before. */
OVRA_API int32_t get_key_state(void);

OVRA_END_DECLS

#endif
