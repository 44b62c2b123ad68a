#include "tof/nds01_isp.h"

#include <sys/time.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdlib>
#include <cstring>

#include "base/log.h"
#include "base/mutex_guard.h"
#include "platform/nds_isp.h"
#include "tof/nds01_device.h"

namespace ovra {
namespace {

constexpr size_t isp_context_bytes = 16384;  // the vendor does not state its size; this leaves ample room
constexpr size_t device_context_bytes = 1024;
constexpr size_t calibration_bytes = 4096;
constexpr size_t vendor_calibration_offset = 1024;  // bytes; from here on the calibration is the vendor's
constexpr size_t start_bin_offset = 240;            // bytes

constexpr uint32_t first_firmware_without_start_bin = 0x010300;  // 1.3.0 finds its start bin itself
constexpr uint16_t min_start_bin = 1;
constexpr uint16_t max_start_bin = 119;
constexpr uint16_t default_start_bin = 40;

constexpr size_t spad_bytes = 8;
constexpr size_t spad_bytes_of_four_zones = 4;
constexpr size_t frame_zones = 8;
constexpr int32_t pixel_value_bytes = 2 * int32_t{sizeof(uint16_t)} * pixel_count;

// Yaw and pitch, upper and lower bound, in hundredths of a degree; then the distance in millimetres.
constexpr std::array<int16_t, 6> angle_limits{1700, -1700, 3300, -3300, 4500, 470};

alignas(std::max_align_t) std::array<uint8_t, isp_context_bytes> vendor_context{};
alignas(std::max_align_t) std::array<uint8_t, device_context_bytes> device_context{};
alignas(std::max_align_t) std::array<uint8_t, calibration_bytes> calibration{};
int8_t stored_point_mode = -1;
std::array<uint8_t, spad_bytes> spad_selection{};

// --- Platform functions of the vendor's library -----------------------------------------------------
// The vendor looks at a signed byte where a result is narrowed; the rest of the word agrees with it.

int32_t platform_i2c_write(void*, uint8_t reg, uint8_t* buffer, uint32_t length) {
    return static_cast<int8_t>(nds01_i2c_write_nbytes(reg, buffer, static_cast<uint16_t>(length)));
}

int32_t platform_i2c_read(void*, uint8_t reg, uint8_t* buffer, uint32_t length) {
    return static_cast<int8_t>(nds01_i2c_read_nbytes(reg, buffer, static_cast<uint16_t>(length)));
}

int32_t platform_addr16_write(void*, uint32_t reg, uint8_t* buffer, uint32_t length) {
    return nds01_addr16_write_nbytes(static_cast<uint16_t>(reg), buffer, static_cast<uint16_t>(length));
}

int32_t platform_addr16_read(void*, uint32_t reg, uint8_t* buffer, uint32_t length) {
    return nds01_addr16_read_nbytes(static_cast<uint16_t>(reg), buffer, static_cast<uint16_t>(length));
}

int32_t platform_delay_10us(void*, uint32_t count) {
    ::usleep(count * 10);
    return 0;
}

int32_t platform_delay_ms(void*, uint32_t count) {
    ::usleep(count * 1000);
    return 0;
}

int32_t platform_get_time_us(int64_t* time_us) {
    timeval now{};
    ::gettimeofday(&now, nullptr);
    *time_us = int64_t{now.tv_sec} * 1000000 + now.tv_usec;
    return 0;
}

int32_t platform_set_xshut(void*, int32_t level) {
    return static_cast<int8_t>(nds01_set_xshut_pin_level(level));
}

void* nds01_isp_get_dev_ptr() { return device_context.data(); }

int32_t ispfht_get_isp_id() { return 0; }

/// The table of functions, each by the type that the vendor calls it by. Laid out by the linker, so that no
/// code fills it; not a constant, because the vendor may keep something of its own in the empty slot.
struct PlatformTable {
    nds_register8_transfer* write_register8 = platform_i2c_write;
    nds_register8_transfer* read_register8 = platform_i2c_read;
    nds_register16_transfer* write_register16 = platform_addr16_write;
    nds_register16_transfer* read_register16 = platform_addr16_read;
    nds_delay* delay_10us = platform_delay_10us;
    nds_delay* delay_ms = platform_delay_ms;
    nds_get_time_us* get_time_us = platform_get_time_us;
    nds_set_level* set_xshut = platform_set_xshut;
    nds_get_device* get_device = nds01_isp_get_dev_ptr;
    void* empty = nullptr;
    nds_get_id* get_id = ispfht_get_isp_id;
    decltype(&nx_user_calibration_init) user_calibration_init = nx_user_calibration_init;
    nds_set_config* set_config = nds01_isp_set_config;
    decltype(&nx_calibration_generate_data) generate_data = nx_calibration_generate_data;
};
constexpr size_t slot(size_t offset) { return offset / sizeof(void*); }
static_assert(sizeof(PlatformTable) == NDS_PLATFORM_SLOTS * sizeof(void*), "nothing but pointers");
static_assert(slot(offsetof(PlatformTable, write_register8)) == NDS_WRITE_REGISTER8, "as the vendor reads it");
static_assert(slot(offsetof(PlatformTable, read_register8)) == NDS_READ_REGISTER8, "as the vendor reads it");
static_assert(slot(offsetof(PlatformTable, write_register16)) == NDS_WRITE_REGISTER16,
              "as the vendor reads it");
static_assert(slot(offsetof(PlatformTable, read_register16)) == NDS_READ_REGISTER16, "as the vendor reads it");
static_assert(slot(offsetof(PlatformTable, delay_10us)) == NDS_DELAY_10US, "as the vendor reads it");
static_assert(slot(offsetof(PlatformTable, delay_ms)) == NDS_DELAY_MS, "as the vendor reads it");
static_assert(slot(offsetof(PlatformTable, get_time_us)) == NDS_GET_TIME_US, "as the vendor reads it");
static_assert(slot(offsetof(PlatformTable, set_xshut)) == NDS_SET_XSHUT, "as the vendor reads it");
static_assert(slot(offsetof(PlatformTable, get_device)) == NDS_GET_DEVICE, "as the vendor reads it");
static_assert(slot(offsetof(PlatformTable, get_id)) == NDS_GET_ID, "as the vendor reads it");
static_assert(slot(offsetof(PlatformTable, user_calibration_init)) == NDS_USER_CALIBRATION_INIT,
              "as the vendor reads it");
static_assert(slot(offsetof(PlatformTable, set_config)) == NDS_SET_CONFIG, "as the vendor reads it");
static_assert(slot(offsetof(PlatformTable, generate_data)) == NDS_GENERATE_DATA, "as the vendor reads it");

PlatformTable platform_table;

// --- Initialisation ---------------------------------------------------------------------------------
// Statuses are OR-ed: a negative one makes the whole negative, positive ones only add bits.

/// Applies a setting that the chip takes only while it does not range. All three steps are made whatever
/// the others answer, so that ranging goes on after a failed setting.
template <typename Setting>
int32_t apply_while_stopped(Setting setting) {
    const int32_t stopped = nds01_set_runing_state(0);
    const int32_t applied = setting();
    const int32_t started = nds01_set_runing_state(1);
    return stopped | applied | started;
}

int32_t fix_high_temperature(uint32_t firmware) {
    const int32_t status = apply_while_stopped([&] { return ispFixHighTemperature(0, firmware); });
    if (status < 0) {
        log_tof("isp_fix_high_temperature error!!\r");
    } else {
        log_tof("isp_fix_high_temperature success!!\r");
    }
    return status;
}

/// The calibration's start bin, or the default where it holds none.
uint16_t start_bin() {
    uint16_t bin = 0;
    std::memcpy(&bin, calibration.data() + start_bin_offset, sizeof bin);
    return bin >= min_start_bin && bin <= max_start_bin ? bin : default_start_bin;
}

int32_t apply_start_bin() {
    const int32_t status = apply_while_stopped([] { return isp_set_start_bin(0, start_bin()); });
    if (status < 0) log_tof("Failed to set start bin!");
    return status;
}

int32_t offer_calibration() {
    return nx_isp_lib_init(isp_context(), calibration.data() + vendor_calibration_offset);
}

int32_t load_factory_calibration() {
    log_tof(
        "Failed to load the calibration data in the host.\n"
        "Try to load the calibration data in the device.");
    const int32_t read = nds01_get_lib_data(NDS01_LIB_DATA_FACTORY, calibration.data(), calibration_bytes);
    if (read < static_cast<int32_t>(calibration_bytes)) {
        log_tof("Fail to read dev calibration data, ret = %d!\n", read);
        return -1;
    }
    const int32_t status = offer_calibration() | NDS01_ISP_FROM_DEVICE;
    if (status < 0) {
        log_tof("Failed to load the calibration data from the device!");
    } else {
        log_tof("The calibration data in the device was loaded successfully.");
    }
    return status;
}

int32_t load_calibration(uint32_t firmware) {
    nx_isp_lib_uninit(isp_context());
    // Nothing read leaves zeros, which the vendor's library judges like any other calibration.
    nds01_isp_read_calib_data(calibration.data(), calibration_bytes);
    if (offer_calibration() != 0) return load_factory_calibration();
    log_tof("The calibration data in the host is loaded successfully.");
    return firmware < first_firmware_without_start_bin ? apply_start_bin() : 0;
}

/// Two words, as the vendor lays them out.
struct OperationRecord {
    void* reserved;
    void* set_config;
};

int32_t start_operation(int32_t filter) {
    static OperationRecord operations{};
    operations = {nullptr, reinterpret_cast<void*>(platform_table.set_config)};
    const int32_t operating = nx_isp_op_init(isp_context(), &operations);
    const int32_t limited = nx_set_angle_limit(isp_context(), angle_limits.data());
    const int32_t filtered = nds01_isp_set_filter_para(filter, 0, 0);
    return operating | limited | filtered;
}

/// Whether a transfer moved all of `size` bytes. A size that reads as -1 cannot be distinguished from a failure
/// and counts as one: no device holds that much.
bool moved_whole(int32_t result, uint32_t size) {
    return result != -1 && static_cast<uint32_t>(result) == size;
}

}  // namespace

void* isp_context() { return vendor_context.data(); }

}  // namespace ovra

// --- Life -------------------------------------------------------------------------------------------

int32_t nds01_ispfht_platform_register(void) {
    return std::min(isp_platform_init(reinterpret_cast<void* const*>(&ovra::platform_table)), 0);
}

int32_t nds01_isp_init(int32_t filter) {
    ovra::calibration.fill(0);
    if (nds01_ispfht_platform_register() < 0) {
        ovra::log_tof("Failed to register the isp platform!");
        return -1;
    }
    uint32_t firmware = 0;
    if (nds01_dev_get_firmware_version(&firmware) < 0) {
        ovra::log_tof("Failed to get firmware version!");
        return -1;
    }
    const int32_t fixed = ovra::fix_high_temperature(firmware);
    if (fixed < 0) return -1;
    const int32_t loaded = ovra::load_calibration(firmware);
    if (loaded < 0) return -1;
    ovra::log_bare("[ovra_tof]  nds01_isp_init get libnds-isp.so version = %d\n", nx_get_isp_version());
    return fixed | loaded | ovra::start_operation(filter);
}

int32_t nds01_isp_uninit(void) {
    nx_isp_lib_uninit(ovra::isp_context());
    return 0;
}

int32_t nds01_isp_read_calib_data(void* buffer, uint32_t size) {
    ovra::log_tof("Calibration data read: dev");
    return ovra::moved_whole(nds01_get_lib_data(NDS01_LIB_DATA_OFFSETS, buffer, size), size) ? 0 : -1;
}

int32_t nds01_isp_write_calib_data(const void* buffer, uint32_t size) {
    ovra::log_tof("Calibration data write: dev");
    return ovra::moved_whole(nds01_set_lib_data(NDS01_LIB_DATA_OFFSETS, buffer, size), size) ? 0 : -1;
}

// --- Settings ---------------------------------------------------------------------------------------

int32_t nds01_isp_set_config(void*, const void* configuration, int32_t kind) {
    if (kind == 0 || kind == 1) return nds01_set_isp_config(static_cast<const uint8_t*>(configuration), kind);
    if (kind != 2) return -1;
    uint32_t frequency = 0;
    std::memcpy(&frequency, configuration, sizeof frequency);
    // Ranging is left stopped: whoever changes the frequency starts it again when all settings are made.
    const int32_t stopped = nds01_set_runing_state(0);
    return stopped | ispFreqConfig(0, frequency);
}

int32_t nds01_isp_set_point_mode(int32_t mode) {
    std::array<uint8_t, ovra::spad_bytes> recommended{};
    if (nx_get_recommended_points_mode(ovra::isp_context(), recommended.data(), mode) < 0) return -1;
    if (mode < 0 || mode > 2) return -1;
    const size_t kept = mode == ovra::eight_zone_mode ? ovra::spad_bytes : ovra::spad_bytes_of_four_zones;
    std::copy_n(recommended.begin(), kept, ovra::spad_selection.begin());
    ovra::stored_point_mode = static_cast<int8_t>(mode);
    return 0;
}

int32_t nds01_isp_get_point_mode(int32_t* mode, uint8_t* spad_selection) {
    *mode = ovra::stored_point_mode;  // NOLINT(bugprone-signed-char-misuse): -1 means none yet
    std::copy(ovra::spad_selection.begin(), ovra::spad_selection.end(), spad_selection);
    return 0;
}

int32_t nds01_isp_set_filter_para(intptr_t parameter, intptr_t second, intptr_t third) {
    return nx_set_filter_para(ovra::isp_context(), parameter, second, third);
}

int32_t nds01_set_isp_filter_para(intptr_t parameter, intptr_t second, intptr_t third) {
    return nds01_isp_set_filter_para(parameter, second, third);
}

// --- Queries ----------------------------------------------------------------------------------------

int32_t nds01_isp_calculate_point_cloud(const uint16_t* distances, void* point_cloud) {
    return nx_cal_pc(ovra::isp_context(), distances, point_cloud);
}

int32_t nds01_isp_calculate_angle(const void* point_cloud, nds01_angle_result* angle) {
    nx_angle_cal(ovra::isp_context(), point_cloud, angle);
    return 0;
}

int32_t nds01_get_point_cloud(void* point_cloud) {
    std::array<nds01_zone, ovra::frame_zones> zones{};
    std::array<uint16_t, ovra::frame_zones> distances{};
    const ovra::MutexGuard ranging(ovra::ranging_mutex);
    const int32_t count = nds01_get_ranging_data(zones.data());
    if (count < 0) return -1;
    std::transform(zones.begin(), zones.begin() + count, distances.begin(),
                   [](const nds01_zone& zone) { return zone.distance_mm; });
    if (nds01_isp_calculate_point_cloud(distances.data(), point_cloud) < 0) {
        ovra::log_tof("Fail to calculate point cloud!");
        return -1;
    }
    return count;
}

int32_t nds01_get_angle(nds01_angle_result* angle) {
    alignas(std::max_align_t) std::array<uint8_t, NDS01_POINT_CLOUD_BYTES> point_cloud{};
    const ovra::MutexGuard ranging(ovra::ranging_mutex);
    if (nds01_get_point_cloud(point_cloud.data()) < 0) {
        ovra::log_tof("Fail to get point cloud!");
        return -1;
    }
    nds01_isp_calculate_angle(point_cloud.data(), angle);
    if (angle->yaw == NDS01_NO_ANGLE) {
        ovra::log_tof("Fail to calculate angle!");
        return -1;
    }
    return 1;
}

int32_t nds01_isp_get_pixel_data(void*, uint16_t** values) {
    std::array<nds01_pixel, ovra::pixel_count> pixels{};
    if (nds01_get_all_pixel_data(pixels.data()) < 0) return -1;
    auto* buffer = static_cast<uint16_t*>(std::malloc(ovra::pixel_value_bytes));
    if (buffer == nullptr) return -1;
    *values = buffer;
    for (size_t i = 0; i < pixels.size(); ++i) {
        buffer[i] = pixels[i].distance_mm;
        buffer[ovra::pixel_count + i] = pixels[i].calibration_value;
    }
    return ovra::pixel_value_bytes;
}
