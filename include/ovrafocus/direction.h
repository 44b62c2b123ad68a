/**
 * @file direction.h
 * The installation of the projector (on a table, on its side, under a ceiling, lens up or down) and the
 * rotation of the picture that goes with it.
 *
 * | Index | Name      | Rotation | The axis that points up or down          |
 * |-------|-----------|----------|------------------------------------------|
 * | 0     | HSYNC_0   | 0        | z at 55 to 90 degrees: on a table        |
 * | 1     | HSYNC_90  | 1        | x at -90 to -55 degrees: on one side     |
 * | 2     | HSYNC_180 | 2        | z at -90 to -55 degrees: under a ceiling |
 * | 3     | HSYNC_270 | 3        | x at 55 to 90 degrees: on the other side |
 * | 4     | UP_0      | 0        | y at -90 to -55 degrees: lens up         |
 * | 5     | DOWN_180  | 2        | y at 55 to 90 degrees: lens down         |
 *
 * The two other axes must be within 35 degrees of level; bounds are included. Between 35 and 55 degrees the
 * rotation is kept as far as possible, so that it does not flutter. Rotations are quarter turns.
 */
#ifndef OVRAFOCUS_DIRECTION_H
#define OVRAFOCUS_DIRECTION_H

#include <stdint.h>

#include "ovrafocus/export.h"

OVRA_BEGIN_DECLS

/**
 * Turns display output and HDMI input to the rotation of a direction and notifies the host through slot 7
 * (rotation_changed) of `gsensor_app_callback`: rotations 0, 1, 2, 3 are 0, 3, 2, 1 there. Without table or
 * slot the host is not notified. Nothing is done when the picture has that rotation already. A failing HDMI
 * input is reported and does not stop the rest.
 *
 * For one thread at a time. The gravity threads call it when the projector was turned, so a host calls it
 * before they run.
 * @param index 0 to 5, see the table above.
 * @return 0, or -1 when there is no such index, negative ones included; nothing changes then.
 */
OVRA_API int32_t set_device_direction(int32_t index);

/** @return the rotation last requested, 0 to 3 quarter turns; 0 before the first request. Any thread. */
OVRA_API int32_t get_device_direction(void);

/**
 * Finds the direction that the angles of the latest block (`acc_degree`) show and rotates the picture if need
 * be; for one thread at a time, like set_device_direction(). The motion logic calls it for every block after
 * the first five, except during a factory test; acc_data_handle() calls it every time.
 */
OVRA_API void match_projection_direction(void);

OVRA_END_DECLS

#endif
