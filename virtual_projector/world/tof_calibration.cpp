#include "virtual_projector/world/tof_calibration.h"

#include <algorithm>
#include <cmath>

namespace vp {
namespace {

constexpr std::uint32_t calibration_mark = 0x31434F54;  // "TOC1"
constexpr std::uint32_t factory_mark = 0x31464F54;      // "TOF1"
constexpr std::uint32_t calibration_version = 1;
constexpr std::size_t version_at = 4;
constexpr std::size_t depth_at = 8;
constexpr std::size_t checksum_at = generated_size - 4;
constexpr std::uint16_t ideal_signal = 200;
constexpr int half_rows = pixel_rows / 2;
constexpr std::size_t block_numbers = std::size_t{half_rows} * pixel_columns;

void put16(std::uint8_t* at, std::uint16_t value) {
    at[0] = static_cast<std::uint8_t>(value & 0xFFu);
    at[1] = static_cast<std::uint8_t>(value >> 8);
}

std::uint16_t get16(const std::uint8_t* at) {
    return static_cast<std::uint16_t>(at[0] | static_cast<unsigned>(at[1]) << 8);
}

void put32(std::uint8_t* at, std::uint32_t value) {
    put16(at, static_cast<std::uint16_t>(value & 0xFFFFu));
    put16(at + 2, static_cast<std::uint16_t>(value >> 16));
}

std::uint32_t get32(const std::uint8_t* at) {
    return get16(at) | static_cast<std::uint32_t>(get16(at + 2)) << 16;
}

// FNV-1a: a byte that is off by one, or two that changed places, change the sum.
std::uint32_t checksum(const std::uint8_t* data, std::size_t size) {
    std::uint32_t sum = 2166136261u;
    for (std::size_t i = 0; i < size; ++i) sum = (sum ^ data[i]) * 16777619u;
    return sum;
}

std::size_t table_place(int row, int column) {
    return table_at + 2 * static_cast<std::size_t>(row * table_columns + column);
}

// Where number `index` of the chip's 120 stands in the table.
std::size_t chip_number_place(std::size_t index) {
    const int number = static_cast<int>(index);
    const int block = number / (half_rows * pixel_columns);
    const int within = number % (half_rows * pixel_columns);
    const int row = block / 2 * half_rows + within / pixel_columns;
    const int column = block % 2 * pixel_columns + within % pixel_columns;
    return table_place(row, column);
}

bool is_offset(std::size_t index) { return index / block_numbers % 2 == 0; }

std::size_t pixel_of(std::size_t index) {
    return index / (2 * block_numbers) * block_numbers + index % block_numbers;
}

bool is_erased(const CalibrationData& data) {
    return std::all_of(data.begin(), data.begin() + 2 * chip_table_numbers,
                       [](std::uint8_t byte) { return byte == 0xFF; });
}

}  // namespace

GeneratedData generate_calibration(const PixelTable& table, int depth_mm) {
    GeneratedData data{};
    put32(data.data(), calibration_mark);
    put32(data.data() + version_at, calibration_version);
    put32(data.data() + depth_at, static_cast<std::uint32_t>(depth_mm));
    for (int pixel = 0; pixel < pixel_count; ++pixel) {
        const PixelCalibration& one = table.at(static_cast<std::size_t>(pixel));
        const int row = pixel / pixel_columns;
        const int column = pixel % pixel_columns;
        put16(data.data() + table_place(row, column), static_cast<std::uint16_t>(one.offset_mm));
        put16(data.data() + table_place(row, column + pixel_columns), one.signal);
    }
    put32(data.data() + checksum_at, checksum(data.data(), checksum_at));
    return data;
}

bool is_good_calibration(const std::uint8_t* generated) {
    return get32(generated) == calibration_mark &&
           get32(generated + checksum_at) == checksum(generated, checksum_at);
}

CalibrationData pack_calibration(const GeneratedData& generated) {
    CalibrationData data{};
    for (std::size_t index = 0; index < chip_table_numbers; ++index) {
        put16(data.data() + 2 * index, get16(generated.data() + chip_number_place(index)));
    }
    std::copy(generated.begin(), generated.end(), data.begin() + generated_at);
    return data;
}

CalibrationData factory_data() {
    CalibrationData data = pack_calibration(generate_calibration({}, 0));
    put32(data.data(), factory_mark);
    return data;
}

bool has_factory_mark(const std::uint8_t* data) { return get32(data) == factory_mark; }

PixelOffsets chip_offsets(const CalibrationData& data) {
    PixelOffsets offsets{};
    if (is_erased(data)) return offsets;
    for (std::size_t index = 0; index < chip_table_numbers; ++index) {
        if (!is_offset(index)) continue;
        offsets.at(pixel_of(index)) = static_cast<std::int16_t>(get16(data.data() + 2 * index));
    }
    return offsets;
}

PixelTable ideal_table(const TofSettings& tof, std::uint64_t unit_seed) {
    const PixelOffsets offsets = true_pixel_offsets(tof, unit_seed);
    PixelTable table{};
    for (std::size_t pixel = 0; pixel < table.size(); ++pixel) {
        table.at(pixel) = {static_cast<std::int16_t>(std::lround(offsets.at(pixel))), ideal_signal};
    }
    return table;
}

}  // namespace vp
