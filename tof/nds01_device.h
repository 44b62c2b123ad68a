// The ToF sensor's device for the other rooms of the sensor.
#ifndef OVRA_TOF_NDS01_DEVICE_H
#define OVRA_TOF_NDS01_DEVICE_H

#include <pthread.h>

#include <cstdint>

#include "ovrafocus/nds01_device.h"

namespace ovra {

/// The directory of the sensor's attributes.
inline constexpr const char* tof_attributes = "/sys/class/nd_tof/nds01";

/// Pixels of the whole receiver.
inline constexpr int32_t pixel_count = 60;

/// In this point mode a frame has 8 zones, in every other 4.
inline constexpr int32_t eight_zone_mode = 1;

/// Held while a frame is read and while an angle is taken from it: frames share one buffer, and the processing
/// library keeps a state. The same thread may take it again; no other lock is taken under it.
extern pthread_mutex_t ranging_mutex;

/// Opens the device, unless an attempt was made since the start or since it was closed. Returns 0, or -1 after
/// saying why when it cannot be opened.
int32_t open_tof_device();

/// Closes the device, so that the next open_tof_device() opens it.
void close_tof_device();

/// The point mode the device was last switched to; 0 before the first switch.
int32_t current_point_mode();
void set_current_point_mode(int32_t mode);

/// Hands the SPAD selection of eight zones to the driver. Returns the number of bytes of the command that it
/// took, 12 for all, or a negative errno value.
int32_t send_spad_selection(const uint8_t* selection);
inline constexpr int32_t whole_command_bytes = 12;

/// While set, frames are handed out without a look at their quality: the calibration needs them as they are.
void set_calibration_in_progress(bool in_progress);

}  // namespace ovra

#endif
