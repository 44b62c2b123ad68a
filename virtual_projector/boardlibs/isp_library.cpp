#include "virtual_projector/boardlibs/isp_library.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <memory>

namespace vp::boardlibs {
namespace {

constexpr std::uint32_t temperature_register = 0x0130;
constexpr std::uint8_t temperature_fix = 0x01;
constexpr std::uint8_t start_bin_register = 0x42;
constexpr int min_start_bin = 1;
constexpr int max_start_bin = 119;
constexpr int max_mode = 2;
constexpr std::array<std::uint8_t, max_points> eight_zone_spads = {0x11, 0x21, 0x12, 0x22,
                                                                   0x13, 0x23, 0x14, 0x24};
constexpr std::array<std::uint8_t, max_points> four_zone_spads = {0x1A, 0x2A, 0x1B, 0x2B, 0, 0, 0, 0};

constexpr int calibration_frames = 16;
constexpr unsigned frame_pause_ms = 2;
constexpr int min_depth_mm = 100;
constexpr int max_depth_mm = 4000;
constexpr double max_offset_mm = 300;  // more, and the target does not stand where it is said to
constexpr int max_outlier_mm = 100;    // a reading that lies farther from its pixel's median is left out
constexpr int pixel_bytes = 240;

struct FreeMemory {
    void operator()(std::uint16_t* memory) const { std::free(memory); }
};

/// The platform function in a slot; Function is the type that platform/nds_isp.h gives for it.
template <typename Function>
Function* platform_function(const PlatformTable& platform, nds_platform_slot slot) {
    return reinterpret_cast<Function*>(platform.at(slot));
}

int median_distance(std::vector<PixelReading> readings) {
    const auto middle = readings.begin() + static_cast<std::ptrdiff_t>(readings.size() / 2);
    std::nth_element(
        readings.begin(), middle, readings.end(),
        [](const PixelReading& a, const PixelReading& b) { return a.distance_mm < b.distance_mm; });
    return middle->distance_mm;
}

// The means of what is no outlier.
PixelCalibration calibration_of(const std::vector<PixelReading>& readings, int depth_mm) {
    const int median = median_distance(readings);
    double distances = 0;
    double signals = 0;
    int kept = 0;
    for (const PixelReading& reading : readings) {
        if (std::abs(reading.distance_mm - median) > max_outlier_mm) continue;
        distances += reading.distance_mm;
        signals += reading.signal;
        ++kept;
    }
    return {static_cast<std::int16_t>(std::lround(distances / kept - depth_mm)),
            static_cast<std::uint16_t>(std::lround(signals / kept))};
}

PixelTable table_of(const PixelReadings& readings, int depth_mm) {
    PixelTable table{};
    std::transform(readings.begin(), readings.end(), table.begin(),
                   [depth_mm](const auto& pixel) { return calibration_of(pixel, depth_mm); });
    return table;
}

bool is_believable(const PixelTable& table) {
    return std::all_of(table.begin(), table.end(), [](const PixelCalibration& pixel) {
        return pixel.signal > 0 && std::abs(pixel.offset_mm) <= max_offset_mm;
    });
}

}  // namespace

bool IspLibrary::register_platform(void* const* table) {
    const bool complete =
        std::all_of(table, table + NDS_GET_DEVICE + 1, [](const void* slot) { return slot != nullptr; });
    if (complete) std::copy_n(table, NDS_PLATFORM_SLOTS, platform_.begin());
    is_registered_ = is_registered_ || complete;
    return complete;
}

bool IspLibrary::load_calibration(const std::uint8_t* data) {
    is_loaded_ = is_good_calibration(data);
    return is_loaded_;
}

bool IspLibrary::fix_high_temperature(std::uint32_t /*firmware_version*/) {
    if (!is_registered_) return false;
    auto* const write = platform_function<nds_register16_transfer>(platform_, NDS_WRITE_REGISTER16);
    std::uint8_t value = temperature_fix;
    return write(nullptr, temperature_register, &value, 1) >= 0;
}

bool IspLibrary::set_start_bin(int start_bin) {
    if (!is_registered_ || start_bin < min_start_bin || start_bin > max_start_bin) return false;
    auto* const write = platform_function<nds_register8_transfer>(platform_, NDS_WRITE_REGISTER8);
    auto value = static_cast<std::uint8_t>(start_bin);
    // A byte of the answer is all that counts here.
    return static_cast<std::int8_t>(write(nullptr, start_bin_register, &value, 1)) >= 0;
}

bool IspLibrary::set_limits(const AngleLimits& limits) {
    const bool in_order = limits.turn_lower <= limits.turn_upper && limits.tilt_lower <= limits.tilt_upper &&
                          limits.distance_lower <= limits.distance_upper;
    if (in_order) limits_ = limits;
    return in_order;
}

bool IspLibrary::select_mode(int mode, std::uint8_t* spad_selection) {
    if (mode < 0 || mode > max_mode) return false;
    point_mode_ = mode;
    const auto& spads = mode == eight_zone_mode ? eight_zone_spads : four_zone_spads;
    std::copy(spads.begin(), spads.end(), spad_selection);
    return true;
}

bool IspLibrary::make_cloud(const std::uint16_t* distances_mm, CloudPoint* cloud) const {
    if (!is_loaded_) return false;
    const std::array<CloudPoint, max_points> points = point_cloud(distances_mm, point_mode_);
    std::copy_n(points.begin(), zone_count(point_mode_), cloud);
    return true;
}

AngleResult IspLibrary::angle_of(const CloudPoint* cloud) const {
    return angle_result(fit_plane(cloud, zone_count(point_mode_)), limits_);
}

bool IspLibrary::begin_calibration(const std::uint8_t* factory_data, const CalibrationSetup& setup,
                                   int depth_mm) {
    measured_.reset();
    is_calibrating_ = has_factory_mark(factory_data) && setup.columns == pixel_columns &&
                      setup.rows == pixel_rows && setup.get_pixels != nullptr && depth_mm >= min_depth_mm &&
                      depth_mm <= max_depth_mm;
    setup_ = setup;
    depth_mm_ = depth_mm;
    return is_calibrating_;
}

void IspLibrary::wait_ms(unsigned duration_ms) const {
    if (is_registered_) platform_function<nds_delay>(platform_, NDS_DELAY_MS)(nullptr, duration_ms);
}

bool IspLibrary::add_frame(void* context, PixelReadings& readings) const {
    std::uint16_t* memory = nullptr;
    const int size = setup_.get_pixels(context, &memory);
    const std::unique_ptr<std::uint16_t, FreeMemory> pixels(memory);
    if (size != pixel_bytes || memory == nullptr) return false;
    for (std::size_t pixel = 0; pixel < readings.size(); ++pixel)
        readings.at(pixel).push_back({memory[pixel], memory[pixel_count + pixel]});
    return true;
}

// The target is flat and squarely faced, so every pixel should measure its depth.
bool IspLibrary::measure_pixels(void* context) {
    if (!is_calibrating_) return false;
    PixelReadings readings;
    for (int frame = 0; frame < calibration_frames; ++frame) {
        if (frame > 0) wait_ms(frame_pause_ms);
        if (!add_frame(context, readings)) return false;
    }
    const PixelTable table = table_of(readings, depth_mm_);
    if (!is_believable(table)) return false;
    measured_ = table;
    return true;
}

bool IspLibrary::finish_calibration(std::uint8_t* generated) const {
    if (!measured_) return false;
    const GeneratedData data = generate_calibration(*measured_, depth_mm_);
    std::copy(data.begin(), data.end(), generated);
    return true;
}

}  // namespace vp::boardlibs
