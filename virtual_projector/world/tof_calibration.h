// The calibration data of the ToF sensor: how the processing library and the chip keep pixel offsets.
//
// The library's own calibration is 4096 bytes. Its first 240 are 120 16-bit numbers for the chip, in four
// blocks of 30: rows 0 to 2 and columns 0 to 9 of the table below, then columns 10 to 19, then the same of
// rows 3 to 5. Columns 0 to 9 are the offsets of a row's pixels in millimetres (signed), columns 10 to 19
// their signal. From byte 1024 on stand 3072 bytes that the processing library made: a mark, a version, the
// depth of the calibration, from byte 2048 on the table of 6 rows of 20 numbers, and at the end a checksum.
//
// The chip's factory data have the same form, with a mark at their very beginning besides.
#ifndef VIRTUAL_PROJECTOR_WORLD_TOF_CALIBRATION_H
#define VIRTUAL_PROJECTOR_WORLD_TOF_CALIBRATION_H

#include <array>
#include <cstddef>
#include <cstdint>

#include "virtual_projector/world/tof.h"

namespace vp {

constexpr std::size_t calibration_size = 4096;
constexpr std::size_t generated_at = 1024;
constexpr std::size_t generated_size = calibration_size - generated_at;
constexpr std::size_t table_at = 2048;  // within the generated part
constexpr int table_columns = 20;
constexpr std::size_t chip_table_numbers = 120;

using CalibrationData = std::array<std::uint8_t, calibration_size>;
using GeneratedData = std::array<std::uint8_t, generated_size>;

/// One pixel's part of the table.
struct PixelCalibration {
    std::int16_t offset_mm = 0;
    std::uint16_t signal = 0;
};
using PixelTable = std::array<PixelCalibration, pixel_count>;

/// What the processing library makes of a calibration at this depth.
GeneratedData generate_calibration(const PixelTable& table, int depth_mm);

/// True when mark and checksum are right.
bool is_good_calibration(const std::uint8_t* generated);

/// The 4096 bytes as they are stored: the generated part and the chip's numbers made from it.
CalibrationData pack_calibration(const GeneratedData& generated);

/// What a chip leaves its factory with: no offsets known, the mark at the beginning.
CalibrationData factory_data();
bool has_factory_mark(const std::uint8_t* data);

/// The offsets in the chip's numbers at the beginning of the 4096 bytes; none in erased memory (all 0xFF).
PixelOffsets chip_offsets(const CalibrationData& data);

/// The table that a faultless bench would find for this sensor.
PixelTable ideal_table(const TofSettings& tof, std::uint64_t unit_seed);

}  // namespace vp

#endif
