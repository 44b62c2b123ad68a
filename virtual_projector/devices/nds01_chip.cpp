#include "virtual_projector/devices/nds01_chip.h"

#include <algorithm>
#include <cmath>

#include "virtual_projector/world/noise.h"
#include "virtual_projector/world/tof_frames.h"

namespace vp {
namespace {

constexpr std::uint8_t erased = 0xFF;
constexpr std::uint8_t chip_id = 0x5C;
constexpr unsigned chip_id_register = 0;
constexpr unsigned wide_register_bank =
    0x10000;  // registers of 16-bit addresses are others than those of 8 bits
constexpr std::uint32_t four_values_since = 0x010300;
constexpr double min_crosstalk = 20;
constexpr double crosstalk_spread = 40;

unsigned register_key(unsigned address_size, unsigned address) {
    return address_size == 2 ? wide_register_bank + (address & 0xFFFFu) : (address & 0xFFu);
}

CalibrationData as_calibration(const std::vector<std::uint8_t>& bytes) {
    CalibrationData data{};
    std::copy(bytes.begin(), bytes.end(), data.begin());
    return data;
}

PixelOffsets corrections_of(const Memory& own_calibration, double driver_offset_mm) {
    PixelOffsets offsets = chip_offsets(as_calibration(own_calibration.bytes()));
    for (double& offset : offsets) offset += driver_offset_mm;
    return offsets;
}

FrameTimes frame_times(const World& world, long frames_per_s) {
    return {static_cast<double>(frames_per_s), world.settings().tof.frame_jitter_ms, world.seed()};
}

double mean_distance_mm(const std::vector<ZoneReading>& zones) {
    double sum = 0;
    for (const ZoneReading& zone : zones) sum += zone.distance_mm;
    return sum / static_cast<double>(zones.size());
}

}  // namespace

Nds01Chip::Nds01Chip(const Settings& settings) : factory_(calibration_size, erased) {
    frames_per_s = std::lround(settings.tof.frames_per_s);
    if (settings.unit.tof_factory_data != 0) {
        const CalibrationData data = factory_data();
        factory_.assign(data.begin(), data.end());
    }
}

void Nds01Chip::set_xshut(long level) {
    xshut = level != 0 ? 1 : 0;
    if (xshut != 0) return;
    running_state = 0;
    registers_.clear();
}

bool Nds01Chip::enter_calibration_step(std::string_view text) {
    const bool follows = text == "step_1" || (text == "step_2" && calibration_step == "step_1") ||
                         (text == "step_3" && calibration_step == "step_2");
    if (follows) calibration_step = text;
    return follows;
}

void Nds01Chip::measure_crosstalk(std::uint64_t unit_seed) {
    const Noise noise(unit_seed, Stream::pixel_pattern);
    for (std::size_t i = 0; i < crosstalk.size(); ++i) {
        const auto lane = static_cast<std::int64_t>(pixel_count + i);
        crosstalk.at(i) = static_cast<std::uint16_t>(min_crosstalk + crosstalk_spread * noise.uniform(lane));
    }
}

std::int64_t Nds01Chip::latest_frame(const World& world) const {
    return tof_frame_index(frame_times(world, frames_per_s), world.now());
}

Microseconds Nds01Chip::frame_time(const World& world, std::int64_t frame) const {
    return tof_frame_time(frame_times(world, frames_per_s), frame);
}

std::vector<ZoneReading> Nds01Chip::zones(const World& world, const Memory& own_calibration) const {
    return tof_zones(world.tof_scene(), world.tof_point_mode(),
                     corrections_of(own_calibration, driver_offset_mm_), latest_frame(world));
}

std::vector<ZoneReading> Nds01Chip::pixels(const World& world) const {
    return tof_pixels(world.tof_scene(), latest_frame(world));
}

void Nds01Chip::calibrate_at(const World& world, const Memory& own_calibration, long depth_mm) {
    driver_offset_mm_ += mean_distance_mm(zones(world, own_calibration)) - static_cast<double>(depth_mm);
}

void Nds01Chip::read_registers(unsigned address_size, unsigned address, std::uint8_t* data,
                               std::size_t size) const {
    for (std::size_t i = 0; i < size; ++i) {
        const unsigned at = address + static_cast<unsigned>(i);
        const auto found = registers_.find(register_key(address_size, at));
        const std::uint8_t untouched = at == chip_id_register ? chip_id : 0;
        data[i] = found == registers_.end() ? untouched : found->second;
    }
}

void Nds01Chip::write_registers(unsigned address_size, unsigned address, const std::uint8_t* data,
                                std::size_t size) {
    for (std::size_t i = 0; i < size; ++i) {
        registers_[register_key(address_size, address + static_cast<unsigned>(i))] = data[i];
    }
}

std::uint32_t packed_firmware_version(const TofSettings& tof) {
    const auto number = static_cast<std::uint32_t>(tof.firmware_version);
    return number / 10000 << 16 | number / 100 % 100 << 8 | number % 100;
}

bool has_four_crosstalk_values(const TofSettings& tof) {
    return packed_firmware_version(tof) >= four_values_since;
}

}  // namespace vp
