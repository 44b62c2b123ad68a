#include "focusctrl/gsensor/gravity_sensor.h"

#include <fcntl.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "base/descriptor.h"
#include "base/log.h"
#include "base/shared_flag.h"
#include "focusctrl/gsensor/calibration_offsets.h"
#include "focusctrl/gsensor/gravity_log.h"
#include "ovrafocus/host_interface.h"
#include "ovrafocus/permanent_data.h"
#include "ovrafocus/platform_utils.h"

namespace ovra {
namespace {

constexpr const char* device_path = "/dev/gsensor_daemon";

// Request numbers in the board's encoding, type 0xA1. Both name a size of 4 bytes and move 12.
constexpr unsigned long request_set_calibration = 0x8004A106;
constexpr unsigned long request_get_sample = 0x4004A109;

constexpr int calibration_attempts = 3;
constexpr std::uint32_t calibration_pause_ms = 50;
constexpr int calibrated_flag = 1;

// Samples are kept in thousandths of the driver's unit; the scale cancels out in the angles.
constexpr float driver_units_per_sample_unit = 1000.0F;

// The argument of both requests.
struct __attribute__((packed, aligned(4))) DriverAxes {
    std::int32_t x;
    std::int32_t y;
    std::int32_t z;
};
static_assert(sizeof(DriverAxes) == 12);
static_assert(offsetof(DriverAxes, x) == 0);
static_assert(offsetof(DriverAxes, y) == 4);
static_assert(offsetof(DriverAxes, z) == 8);

// The descriptor that samples are read through; -1 before open_gravity_sensor().
std::int32_t sampling_descriptor = -1;

// --- Start-up calibration ---------------------------------------------------------------------------------

enum class Attempt { settled, failed };

bool unit_is_calibrated(const ovra_permanent_record& record) {
    const char flag_text[2] = {record.gsensor_flag, '\0'};
    const std::int32_t flag = leading_number(flag_text);
    log_focus_at(level_event, "gsensor flag:%d (%s)", flag, flag_text);
    if (flag == calibrated_flag) return true;
    log_focus_at(level_event, "gsensor has not been calibrated yet");
    return false;
}

void read_offsets(const ovra_permanent_record& record, OffsetParser& parser, CalibrationOffsets& offsets) {
    char text[sizeof record.gsensor_offset_text + 1] = {};
    std::memcpy(text, record.gsensor_offset_text, sizeof record.gsensor_offset_text);
    log_bare("[ovra_focus]  get gsensor data %s from otp area\n", text);
    parser.parse(text, offsets);
}

void report_open_failure() { log_focus_at(level_error, "open gsensor file: %s fail!", device_path); }

Attempt hand_to_driver(const CalibrationOffsets& offsets) {
    const Descriptor device(device_path, O_RDWR);
    if (!device.is_open()) {
        report_open_failure();
        return Attempt::failed;
    }
    DriverAxes argument{offsets[0], offsets[1], offsets[2]};
    return ::ioctl(device.get(), request_set_calibration, &argument) >= 0 ? Attempt::settled : Attempt::failed;
}

Attempt calibrate_once(OffsetParser& parser, CalibrationOffsets& offsets) {
    store_release(gsensor_app_callback, get_app_callback());
    ovra_permanent_record record;
    if (permanent_data_read(&record) != 0) {
        log_focus_at(level_error, "%s get gsensor calibration data from otp partition fail!", "acc_cali_init");
        return Attempt::failed;
    }
    if (!unit_is_calibrated(record)) return Attempt::settled;
    read_offsets(record, parser, offsets);
    if (!offsets_in_range(offsets)) {
        log_focus_at(level_error, "gsensor cali data over range");
        return Attempt::failed;
    }
    log_bare("[ovra_focus]  get gsensor offset value %d %d %d\n", offsets[0], offsets[1], offsets[2]);
    const Attempt attempt = hand_to_driver(offsets);
    if (attempt == Attempt::settled) log_focus_at(level_event, "gsensor initialization calibration successful");
    return attempt;
}

}  // namespace

void calibrate_gravity_sensor() {
    OffsetParser parser;
    CalibrationOffsets offsets{};
    for (int attempts = 0; attempts < calibration_attempts;) {
        if (calibrate_once(parser, offsets) == Attempt::settled) return;
        ++attempts;
        if (attempts < calibration_attempts) SleepMs(calibration_pause_ms);
        // The message ends its own line, so an empty one follows; it comes after the last failure as well.
        log_focus_at(level_event, "try to perform gsensor calibration times %d\n", attempts);
    }
}

bool open_gravity_sensor() {
    const int descriptor = ::open(device_path, O_RDWR);
    store(sampling_descriptor, descriptor);
    if (descriptor < 0) report_open_failure();
    return descriptor >= 0;
}

std::int32_t close_gravity_sensor() { return ::close(load(sampling_descriptor)); }

std::optional<Axes> read_gravity_sample() {
    DriverAxes raw{};
    if (::ioctl(load(sampling_descriptor), request_get_sample, &raw) < 0) {
        log_focus_at(level_sample, "GSENSOR IOCTL GET SENSORDATA fali");
        return std::nullopt;
    }
    return Axes{static_cast<float>(raw.x) / driver_units_per_sample_unit,
                static_cast<float>(raw.y) / driver_units_per_sample_unit,
                static_cast<float>(raw.z) / driver_units_per_sample_unit};
}

}  // namespace ovra
