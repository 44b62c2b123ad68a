// What the rooms of the ToF sensor share about the device.
#ifndef OVRA_TOF_DEVICE_STATE_H
#define OVRA_TOF_DEVICE_STATE_H

#include <cstdint>

namespace ovra {

/// The directory of the sensor's attributes.
inline constexpr const char* tof_attributes = "/sys/class/nd_tof/nds01";

/// In this point mode a frame has 8 zones, in every other 4.
inline constexpr int32_t eight_zone_mode = 1;

/// The point mode the device was last switched to; 0 before the first switch.
int32_t current_point_mode();

/// While set, frames are handed out without a look at their quality: the calibration needs them as they are.
void set_calibration_in_progress(bool in_progress);

}  // namespace ovra

#endif
