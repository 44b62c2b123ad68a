// The gravity sensor's device: its factory offsets, and its samples.
#ifndef OVRA_FOCUSCTRL_GSENSOR_GRAVITY_SENSOR_H
#define OVRA_FOCUSCTRL_GSENSOR_GRAVITY_SENSOR_H

#include <cstdint>
#include <optional>

#include "focusctrl/gsensor/axes.h"

namespace ovra {

/// Hands the factory offsets of the permanent record to the driver, in up to three tries 50 ms apart. A sensor
/// without them works all the same.
void calibrate_gravity_sensor();

/// Opens the device for sampling. The descriptor of a call before is abandoned, not closed: another thread may
/// be reading a sample through it. Returns false after saying so when it cannot be opened.
bool open_gravity_sensor();

/// Closes it. The number is kept although it is stale: samples read afterwards fail. Returns close's result.
std::int32_t close_gravity_sensor();

/// One sample in thousandths of the driver's unit; nothing when the driver gives none. Waits for the sensor.
std::optional<Axes> read_gravity_sample();

}  // namespace ovra

#endif
