// The state of the ToF processing library between its calls.
#ifndef VIRTUAL_PROJECTOR_BOARDLIBS_ISP_LIBRARY_H
#define VIRTUAL_PROJECTOR_BOARDLIBS_ISP_LIBRARY_H

#include <array>
#include <cstdint>
#include <optional>
#include <vector>

#include "platform/nds_isp.h"
#include "virtual_projector/boardlibs/plane_fit.h"
#include "virtual_projector/world/tof_calibration.h"

namespace vp::boardlibs {

/// The functions through which the library reaches the chip.
using PlatformTable = std::array<void*, NDS_PLATFORM_SLOTS>;

/// Hands out a buffer with the distances of all pixels and then their signals, 120 16-bit numbers, which the
/// library frees; 240, or negative.
using PixelCallback = int (*)(void* context, std::uint16_t** pixels);

/// What one pixel said in one frame.
struct PixelReading {
    std::uint16_t distance_mm;
    std::uint16_t signal;
};
using PixelReadings = std::array<std::vector<PixelReading>, pixel_count>;

/// How a calibration is made; laid out as the user of the library hands it over.
struct CalibrationSetup {
    std::int32_t columns;
    std::int32_t rows;
    PixelCallback get_pixels;
    void* set_configuration;
};

/// The processing library. Not safe for threads, like the one that it stands for.
class IspLibrary {
public:
    bool register_platform(void* const* table);
    bool load_calibration(const std::uint8_t* data);
    void unload() { is_loaded_ = false; }
    bool fix_high_temperature(std::uint32_t firmware_version);
    bool set_start_bin(int start_bin);
    bool set_limits(const AngleLimits& limits);
    bool select_mode(int mode, std::uint8_t* spad_selection);

    /// Of a frame in the present mode.
    std::size_t points() const { return zone_count(point_mode_); }

    bool make_cloud(const std::uint16_t* distances_mm, CloudPoint* cloud) const;
    AngleResult angle_of(const CloudPoint* cloud) const;

    bool begin_calibration(const std::uint8_t* factory_data, const CalibrationSetup& setup, int depth_mm);
    bool measure_pixels(void* context);
    bool finish_calibration(std::uint8_t* generated) const;

private:
    bool add_frame(void* context, PixelReadings& readings) const;
    void wait_ms(unsigned duration_ms) const;

    PlatformTable platform_{};
    bool is_registered_ = false;
    bool is_loaded_ = false;
    int point_mode_ = 0;
    AngleLimits limits_;
    CalibrationSetup setup_{};
    int depth_mm_ = 0;
    bool is_calibrating_ = false;
    std::optional<PixelTable> measured_;
};

}  // namespace vp::boardlibs

#endif
