#include "tof/nds01_device.h"

#include <fcntl.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>

#include "base/log.h"
#include "base/mutex_guard.h"
#include "base/shared_flag.h"
#include "ovrafocus/nds01_sysfs.h"
#include "tof/driver_records.h"

namespace ovra {
namespace {

constexpr const char* device_path = "/dev/nds01";

constexpr uint32_t get_data_request = 0x4004A203;  // TOF_IOCTL_GET_DATA in the board's encoding
constexpr int32_t frame_retries = 2;
constexpr useconds_t retry_pause_us = 5000;
constexpr uint16_t min_valid_quality = 11;
constexpr uint16_t max_valid_quality = 100;
constexpr size_t max_zones = 8;

constexpr uint16_t chip_bus_address = 0x5C;
constexpr int32_t command_bytes = sizeof(CommandRecord);
static_assert(command_bytes == whole_command_bytes);
constexpr uint32_t first_firmware_with_four_xtalk_values = 0x010300;  // 1.3.0

// What the driver fills has its layout on every build.
static_assert(sizeof(nds01_zone) == 8);
static_assert(offsetof(nds01_zone, distance_mm) == 0);
static_assert(offsetof(nds01_zone, quality) == 2);
static_assert(offsetof(nds01_zone, driver_data) == 4);

static_assert(sizeof(nds01_pixel) == 8);
static_assert(offsetof(nds01_pixel, distance_mm) == 0);
static_assert(offsetof(nds01_pixel, driver_data) == 2);
static_assert(offsetof(nds01_pixel, calibration_value) == 4);
static_assert(offsetof(nds01_pixel, more_driver_data) == 6);

int device = -1;
uint8_t opened = 0;  // set by the attempt to open, successful or not
int32_t point_mode = 0;
uint8_t calibration_in_progress = 0;
std::array<nds01_zone, max_zones> frame{};  // the target of every frame request

size_t zone_count() { return current_point_mode() == eight_zone_mode ? 8 : 4; }

bool is_valid(const nds01_zone& zone) {
    return zone.quality >= min_valid_quality && zone.quality <= max_valid_quality;
}

bool is_usable(const std::array<nds01_zone, max_zones>& zones, size_t count) {
    if (load(calibration_in_progress) != 0) return true;
    for (size_t i = 0; i < count; ++i) {
        if (!is_valid(zones[i])) return false;
    }
    return true;
}

/// One request. Returns the number of zones, or 0 after saying why there is no usable frame.
size_t request_frame(int32_t retries_left) {
    const bool delivered = ::ioctl(load(device), get_data_request, frame.data()) >= 0;
    const size_t zones = zone_count();
    if (!delivered) {
        log_tof("tof ioctl TOF_IOCTL_GET_DATA fail, remain retry_times %d\n", retries_left);
        return 0;
    }
    if (is_usable(frame, zones)) return zones;
    log_tof("[ovra_focus]  tof data invalid, remain retry_times %d\n", retries_left);
    return 0;
}

/// Returns the number of bytes that the driver took of the command's record, or a negative errno value.
int32_t send_command(DriverCommand command, uint64_t argument) {
    const CommandRecord record{argument, static_cast<uint32_t>(command)};
    return write_sysfs_u8data("lib_data", tof_attributes, reinterpret_cast<const uint8_t*>(&record),
                              command_bytes);
}

/// Sends a command and, when the driver did not take it whole, prints the complaint with the result.
bool command_taken(DriverCommand command, uint64_t argument, const char* complaint) {
    const int32_t result = send_command(command, argument);
    if (result == command_bytes) return true;
    log_bare(complaint, result);
    return false;
}

int32_t move_lib_data(DriverCommand command, uint32_t index, const void* buffer, uint32_t size) {
    const LibDataRecord record{driver_address(buffer), size, index};
    const bool moved = command_taken(command, driver_address(&record), "fail to write lib_data,ret = %d!\n");
    return moved ? static_cast<int32_t>(size) : -1;
}

/// The register's number as it goes over the bus: one byte, or two with the high byte first.
struct RegisterNumber {
    std::array<uint8_t, 2> bytes;
    uint16_t length;
};

RegisterNumber register8(uint8_t reg) { return {{reg, 0}, 1}; }

RegisterNumber register16(uint16_t reg) {
    return {{static_cast<uint8_t>(reg >> 8), static_cast<uint8_t>(reg & 0xFF)}, 2};
}

int32_t move_registers(DriverCommand command, const RegisterNumber& number, const void* buffer, uint16_t length,
                       const char* complaint) {
    const RegisterTransferRecord record{chip_bus_address, driver_address(number.bytes.data()), number.length,
                                        driver_address(buffer), length};
    return command_taken(command, driver_address(&record), complaint) ? 0 : -1;
}

bool read_whole_attribute(const char* name, void* values, int32_t bytes) {
    return read_sysfs_u8data(name, tof_attributes, static_cast<uint8_t*>(values), bytes) == bytes;
}

}  // namespace

pthread_mutex_t ranging_mutex = PTHREAD_RECURSIVE_MUTEX_INITIALIZER_NP;

int32_t open_tof_device() {
    if (opened != 0) return 0;
    opened = 1;
    log_tof("tof: work in ioctl mode\n");
    store(device, ::open(device_path, O_RDWR));
    if (load(device) >= 0) return 0;
    log_tof("open nds01 file: %s fail!\n", device_path);
    log_tof("TOF: not have found tof input device path");
    return -1;
}

void close_tof_device() {
    opened = 0;
    // The number is kept: a frame request after this fails at the device, not at the check for it.
    if (load(device) > 0) ::close(load(device));
}

int32_t current_point_mode() { return load(point_mode); }

void set_current_point_mode(int32_t mode) { store(point_mode, mode); }

int32_t send_spad_selection(const uint8_t* selection) {
    return send_command(DriverCommand::set_spad_selection, driver_address(selection));
}

void set_calibration_in_progress(bool in_progress) { store(calibration_in_progress, in_progress ? 1 : 0); }

}  // namespace ovra

// --- Ranging ----------------------------------------------------------------------------------------

int32_t nds01_get_ranging_data(void* zones) {
    if (ovra::load(ovra::device) < 0) {
        ovra::log_tof("nds01 file check error, please check hardware module");
        return -ENOENT;
    }
    const ovra::MutexGuard ranging(ovra::ranging_mutex);
    for (int32_t retries_left = ovra::frame_retries; retries_left >= 0; --retries_left) {
        const size_t count = ovra::request_frame(retries_left);
        if (count > 0) {
            std::memcpy(zones, ovra::frame.data(), count * sizeof(nds01_zone));
            return static_cast<int32_t>(count);
        }
        ovra::log_bare("\n");
        ::usleep(ovra::retry_pause_us);
    }
    return -ENOENT;
}

int32_t nds01_set_running_state(int32_t state) {
    return write_sysfs_int("running_state", ovra::tof_attributes, state);
}

int32_t nds01_get_running_state(int32_t* state) {
    return read_sysfs_int("running_state", ovra::tof_attributes, state);
}

int32_t nds01_set_runing_state(int32_t state) {
    return write_sysfs_string("running_state", ovra::tof_attributes, state != 0 ? "1" : "0");
}

int32_t nds01_set_fps(int32_t frames_per_second) {
    return write_sysfs_int("fps", ovra::tof_attributes, frames_per_second);
}

int32_t nds01_get_fps(int32_t* frames_per_second) {
    return read_sysfs_int("fps", ovra::tof_attributes, frames_per_second);
}

// --- Configuration and the driver's own calibrations ------------------------------------------------

int32_t nds01_set_isp_config(const uint8_t* configuration, int32_t kind) {
    std::array<uint8_t, 5> bytes{static_cast<uint8_t>(kind)};
    int32_t count = 0;
    if (kind == 0) count = 2;
    if (kind == 1) count = 5;
    if (count == 0) return -1;
    std::copy_n(configuration, count - 1, bytes.begin() + 1);
    const int32_t result = write_sysfs_u8data("isp_config", ovra::tof_attributes, bytes.data(), count);
    if (result == count) return 0;
    ovra::log_tof("%s: fail to write lib_data, ret = %d!\n", "nds01_set_isp_config", result);
    return -1;
}

int32_t nds01_set_config(void) { return write_sysfs_string("config", ovra::tof_attributes, "1"); }

int32_t nds01_xtalk_calibration(void) {
    return write_sysfs_string("xtalk_calibration", ovra::tof_attributes, "1");
}

int32_t nds01_offset_calibration_at_depth_for_dev(int32_t depth) {
    return write_sysfs_int("offset_calibration_at_depth_for_dev", ovra::tof_attributes, depth);
}

int32_t nds01_dev_get_firmware_version(uint32_t* version) {
    uint32_t read = 0;
    if (!ovra::read_whole_attribute("firmware_version", &read, sizeof read)) {
        ovra::log_tof("nds01 get firmware version failed!");
        return -1;
    }
    *version = read;
    ovra::log_tof("nds01 firmware version:%d.%d.%d\n", (read >> 16) & 0xFF, (read >> 8) & 0xFF, read & 0xFF);
    return 0;
}

int32_t nds01_get_xtalk_value(uint16_t* values) {
    uint32_t firmware = 0;
    if (nds01_dev_get_firmware_version(&firmware) < 0) {
        ovra::log_tof("Failed to get firmware version!");
        return -1;
    }
    // What was measured is shown even when the driver delivered less than asked for.
    if (firmware < ovra::first_firmware_with_four_xtalk_values) {
        const bool whole = ovra::read_whole_attribute("xtalk_value", values, sizeof values[0]);
        ovra::log_tof("xtalk_value:%u\n", values[0]);
        return whole ? 0 : -1;
    }
    const bool whole = ovra::read_whole_attribute("xtalk_value", values, 4 * sizeof values[0]);
    ovra::log_tof("xtalk_value:%u,%u,%u,%u\n", values[0], values[1], values[2], values[3]);
    return whole ? 0 : -1;
}

// --- Commands of the driver -------------------------------------------------------------------------

int32_t nds01_get_lib_data(uint32_t index, void* buffer, uint32_t size) {
    return ovra::move_lib_data(ovra::DriverCommand::read_lib_data, index, buffer, size);
}

int32_t nds01_set_lib_data(uint32_t index, const void* buffer, uint32_t size) {
    return ovra::move_lib_data(ovra::DriverCommand::write_lib_data, index, buffer, size);
}

int32_t nds01_set_isp_spad_enable(intptr_t value, int32_t) {
    const auto argument = static_cast<uint64_t>(static_cast<int64_t>(value));
    const bool taken =
        ovra::command_taken(ovra::DriverCommand::enable_spads, argument, "fail to write lib_data, ret = %d!\n");
    return taken ? 0 : -1;
}

int32_t nds01_get_all_pixel_data(void* pixels) {
    const bool taken = ovra::command_taken(ovra::DriverCommand::read_all_pixels, ovra::driver_address(pixels),
                                           "fail to write lib_data,ret = %d!\n");
    return taken ? ovra::pixel_count : -1;
}

int32_t nds01_i2c_read_nbytes(uint8_t reg, uint8_t* buffer, uint16_t length) {
    return ovra::move_registers(ovra::DriverCommand::read_register, ovra::register8(reg), buffer, length,
                                "fail to i2c read nbytes, ret = %d!\n");
}

int32_t nds01_i2c_write_nbytes(uint8_t reg, const uint8_t* buffer, uint16_t length) {
    return ovra::move_registers(ovra::DriverCommand::write_register, ovra::register8(reg), buffer, length,
                                "fail to i2c write nbytes, ret = %d!\n");
}

// Both 16-bit transfers share one message, which speaks of reading: field logs are searched for it.
static constexpr const char* addr16_complaint = "fail to addr16 read nbytes, ret = %d!\n";

int32_t nds01_addr16_read_nbytes(uint16_t reg, uint8_t* buffer, uint16_t length) {
    return ovra::move_registers(ovra::DriverCommand::read_register, ovra::register16(reg), buffer, length,
                                addr16_complaint);
}

int32_t nds01_addr16_write_nbytes(uint16_t reg, const uint8_t* buffer, uint16_t length) {
    return ovra::move_registers(ovra::DriverCommand::write_register, ovra::register16(reg), buffer, length,
                                addr16_complaint);
}

int32_t nds01_set_xshut_pin_level(int32_t level) {
    const bool taken = ovra::command_taken(ovra::DriverCommand::set_xshut_level, ovra::driver_address(&level),
                                           "fail to set xshut pin level, ret = %d!\n");
    return taken ? 0 : -1;
}
