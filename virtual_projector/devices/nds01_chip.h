// The state of the nds01 ToF sensor and its driver, apart from the nodes that reach it.
#ifndef VIRTUAL_PROJECTOR_DEVICES_NDS01_CHIP_H
#define VIRTUAL_PROJECTOR_DEVICES_NDS01_CHIP_H

#include <array>
#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "virtual_projector/devices/memory.h"
#include "virtual_projector/world/tof_calibration.h"
#include "virtual_projector/world/world.h"

namespace vp {

class Nds01Chip {
public:
    explicit Nds01Chip(const Settings& settings);

    // --- Attributes --------------------------------------------------------------------------------
    long running_state = 0;                    // 0 stopped, 1 ranging
    long frames_per_s = 30;                    // 0: as fast as the chip can
    long xshut = 1;                            // the shut-down pin: 0 cuts the chip's power
    std::string isp_config;                    // as last written
    std::string calibration_step;              // "step_1" to "step_3" of an offset calibration
    std::array<std::uint16_t, 4> crosstalk{};  // 0 until measured
    std::array<std::uint8_t, 8> spad_selection{};

    bool is_ranging() const { return running_state != 0 && xshut != 0; }

    /// Cutting the power stops the chip and clears its registers.
    void set_xshut(long level);

    /// "step_1", "step_2", "step_3" in their order; false for anything else. "step_1" begins again.
    bool enter_calibration_step(std::string_view text);

    void measure_crosstalk(std::uint64_t unit_seed);

    // --- Frames ------------------------------------------------------------------------------------
    std::int64_t latest_frame(const World& world) const;
    Microseconds frame_time(const World& world, std::int64_t frame) const;
    std::vector<ZoneReading> zones(const World& world, const Memory& own_calibration) const;
    std::vector<ZoneReading> pixels(const World& world) const;

    /// The driver's own offset calibration: from now on its zones say `depth_mm` for what they see now.
    void calibrate_at(const World& world, const Memory& own_calibration, long depth_mm);

    // --- Registers ---------------------------------------------------------------------------------
    void read_registers(unsigned address_size, unsigned address, std::uint8_t* data, std::size_t size) const;
    void write_registers(unsigned address_size, unsigned address, const std::uint8_t* data, std::size_t size);

    const std::vector<std::uint8_t>& factory() const { return factory_; }

private:
    double driver_offset_mm_ = 0;
    std::vector<std::uint8_t> factory_;  // 4096 bytes
    std::map<unsigned, std::uint8_t> registers_;
};

/// The version as the chip keeps it: major, minor and patch in bits 16 to 23, 8 to 15 and 0 to 7.
std::uint32_t packed_firmware_version(const TofSettings& tof);

/// Firmware from 1.3.0 on knows the crosstalk of each corner, older one only one value.
bool has_four_crosstalk_values(const TofSettings& tof);

}  // namespace vp

#endif
