// The permanent record of a unit, as the factory leaves it.
#ifndef VIRTUAL_PROJECTOR_WORLD_UNIT_RECORD_H
#define VIRTUAL_PROJECTOR_WORLD_UNIT_RECORD_H

#include <array>
#include <cstdint>
#include <string>

#include "virtual_projector/world/settings.h"

namespace vp {

constexpr std::size_t record_size = 227;
using Record = std::array<std::uint8_t, record_size>;

/// The record that the factory wrote into this unit, calibrated for its own lens and sensors; blank (all
/// 0xFF) when unit.calibrated is 0.
Record factory_record(const Settings& settings);
Record blank_record();

/// The 30 numbers of the lens table: 25 places, left limit, right limit, polarity, left and right backlash.
std::array<int, 30> lens_table(const Settings& settings);
std::string lens_table_text(const Settings& settings);

/// The gravity sensor's offsets, "x,y,z" in driver units.
std::string gravity_offsets_text(const Settings& settings);

/// The light engine's published focus curve: 20 numbers and a newline.
std::string elepn_curve_text(const Settings& settings);

/// Draws the manufacturing spread of one unit: polarity, offset and slope of the TMR sensor, backlash, lens
/// mount, offsets of the ToF and gravity sensors. The same seed is the same unit.
void draw_unit(Settings& settings, std::uint64_t seed);

}  // namespace vp

#endif
