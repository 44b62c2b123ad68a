// The board's drivers, each in a file of its own. Each function puts a driver's nodes into the table; the
// nodes keep the driver's state alive.
#ifndef VIRTUAL_PROJECTOR_DEVICES_DRIVERS_H
#define VIRTUAL_PROJECTOR_DEVICES_DRIVERS_H

#include "virtual_projector/devices/board.h"

namespace vp {

void add_motor(Board& board, DeviceTable& nodes);           // /sys/class/motor/
void add_nds01(Board& board, DeviceTable& nodes);           // /dev/nds01, /sys/class/nd_tof/nds01/
void add_zone_grid(Board& board, DeviceTable& nodes);       // /sys/class/tof/
void add_gravity_sensor(Board& board, DeviceTable& nodes);  // /dev/gsensor_daemon, /sys/class/sensors/
void add_display(Board& board, DeviceTable& nodes);         // /dev/dis, /dev/fb0
void add_keys(Board& board, DeviceTable& nodes);            // /dev/input/event6
void add_fan(Board& board, DeviceTable& nodes);             // /sys/devices/platform/pwm-fan/
void add_light_engine(Board& board, DeviceTable& nodes);    // /sys/class/dlp/

}  // namespace vp

#endif
