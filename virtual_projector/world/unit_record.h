// The permanent record of a unit, as the factory leaves it.
#ifndef VIRTUAL_PROJECTOR_WORLD_UNIT_RECORD_H
#define VIRTUAL_PROJECTOR_WORLD_UNIT_RECORD_H

#include <array>
#include <cstdint>
#include <string>

#include "virtual_projector/world/bench.h"
#include "virtual_projector/world/settings.h"

namespace vp {

constexpr std::size_t record_size = 227;
using Record = std::array<std::uint8_t, record_size>;

/// The record that the factory wrote into this unit, calibrated for its own lens and sensors on a bench with
/// these errors; blank (all 0xFF) when unit.calibrated is 0. A lens table of more than 149 characters is cut
/// off.
Record factory_record(const Settings& settings, const BenchErrors& bench = {});
Record blank_record();

/// The 30 numbers of the lens table: 25 places, left limit, right limit, polarity, left and right backlash.
std::array<int, 30> lens_table(const Settings& settings, const BenchErrors& bench = {});
std::string lens_table_text(const Settings& settings, const BenchErrors& bench = {});

/// The gravity sensor's offsets, "x,y,z" in driver units: what it reads on the bench, less what a faultless one
/// would read that is level.
std::string gravity_offsets_text(const Settings& settings, const BenchErrors& bench = {});

/// Where the bench's camera finds the target's picture sharpest, in the sensor's readings with the polarity
/// taken out, when the lens comes from the left.
int sharpest_tmr(const Settings& settings, const BenchErrors& bench = {});

/// The light engine's published focus curve: 20 numbers and a newline.
std::string elepn_curve_text(const Settings& settings, const BenchErrors& bench = {});

}  // namespace vp

#endif
