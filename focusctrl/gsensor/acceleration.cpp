#include "ovrafocus/acceleration.h"

#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/time.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <optional>

#include "focusctrl/descriptor.h"
#include "focusctrl/gsensor/block_average.h"
#include "focusctrl/gsensor/calibration_offsets.h"
#include "focusctrl/gsensor/log_levels.h"
#include "focusctrl/gsensor/motion_state.h"
#include "focusctrl/gsensor/tilt.h"
#include "focusctrl/log.h"
#include "focusctrl/mutex_guard.h"
#include "focusctrl/shared_flag.h"
#include "focusctrl/whole_number.h"
#include "ovrafocus/motion.h"
#include "ovrafocus/permanent_data.h"
#include "ovrafocus/platform_utils.h"

ovra_acc_sample acc_read_data = {};
ovra_acc_sample acc_avg = {};
ovra_acc_sample acc_sum = {};
ovra_acc_sample acc_sum_last = {};
ovra_acc_angles acc_degree = {};
ovra_acc_angles acc_degree_last = {};
ovra_acc_angles acc_origin_data = {};
int32_t acc_input_arry[16] = {};
int32_t acc_correction_val[3] = {};
const app_callback_table* gsensor_app_callback = nullptr;

namespace ovra {

pthread_mutex_t sample_processing = PTHREAD_RECURSIVE_MUTEX_INITIALIZER_NP;

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

constexpr double ms_per_second = 1000;
constexpr double us_per_ms = 1000;

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

// The descriptor that samples are read through; -1 before acc_init_set().
std::int32_t sampling_descriptor = -1;

// The block under way; guarded by sample_processing.
BlockAverage block;

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

void calibrate() {
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

// --- Sampling ---------------------------------------------------------------------------------------------

std::optional<Axes> read_sample() {
    DriverAxes raw{};
    if (::ioctl(load(sampling_descriptor), request_get_sample, &raw) < 0) {
        log_focus_at(level_sample, "GSENSOR IOCTL GET SENSORDATA fali");
        return std::nullopt;
    }
    return Axes{static_cast<float>(raw.x) / driver_units_per_sample_unit,
                static_cast<float>(raw.y) / driver_units_per_sample_unit,
                static_cast<float>(raw.z) / driver_units_per_sample_unit};
}

void process_sample(const Axes& sample) {
    set_axes(acc_read_data, sample);
    log_axes(level_sample, "%s %.3f %.3f %.3f", "acc read", sample);
    const std::optional<Axes> average = block.add(sample);
    if (!average) return;
    set_axes(acc_avg, *average);
    log_axes(level_sample, "%s %.3f %.3f %.3f", "acc avg", *average);
    acc_caculate_degree(*average);
    judge_block();
}

// --- Time -------------------------------------------------------------------------------------------------

// In real numbers, which saturate where a start, however absurd, leaves the range; whole milliseconds that fit
// the result are exact in them.
std::int32_t elapsed_ms(const timeval& start, const timeval& now) {
    const double seconds = static_cast<double>(now.tv_sec) - static_cast<double>(start.tv_sec);
    const double microseconds = static_cast<double>(now.tv_usec) - static_cast<double>(start.tv_usec);
    return whole_number(seconds * ms_per_second + whole_number(microseconds / us_per_ms));
}

}  // namespace

// Not taken in where it is called: three numbers of double width are many instructions on the board.
[[gnu::noinline]] void log_axes(int level, const char* format, const char* what, const Axes& axes) {
    log_focus_at(level, format, what, static_cast<double>(axes.x), static_cast<double>(axes.y),
                 static_cast<double>(axes.z));
}

void acc_caculate_degree(const Axes& average) {
    const Axes tilt = tilt_degrees(average);
    set_axes(acc_degree, tilt);
    log_axes(level_sample, "%s:x_degree %.3f y_degree %.3f z_degree %.3f", "acc_caculate_degree", tilt);
}

}  // namespace ovra

using namespace ovra;

int32_t acc_init_set(void) {
    calibrate();
    // A descriptor that an earlier call has left here is abandoned, not closed: another thread may be
    // reading a sample through it.
    const int descriptor = ::open(device_path, O_RDWR);
    store(sampling_descriptor, descriptor);
    if (descriptor < 0) {
        report_open_failure();
        return -1;
    }
    log_focus_at(level_event, "gsensor work in ioctl mode");
    return 0;
}

void acc_event_read(void) {
    // The request is outside the lock: it waits for the sensor, and two threads may wait side by side.
    const std::optional<Axes> sample = read_sample();
    if (!sample) return;
    const MutexGuard processing(sample_processing);
    process_sample(*sample);
}

void acc_get_degree(float* x, float* y, float* z) {
    const Axes tilt = axes_of(acc_degree);
    *x = tilt.x;
    *y = tilt.y;
    *z = tilt.z;
}

void acc_get_data(float* x, float* y, float* z) {
    const Axes average = axes_of(acc_avg);
    *x = average.x;
    *y = average.y;
    *z = average.z;
}

int32_t acc_get_init_status(void) { return load_acquire(first_blocks_skipped); }

int32_t acc_get_angle(float* v, float* theta) {
    if (v != nullptr) *v = load(vKeystoneVal);
    if (theta != nullptr) *theta = load(thetaKeystoneVal);
    return 0;
}

int32_t acc_file_close(void) {
    // The number is kept although it is stale; callers know a closed sensor by its failing samples.
    return ::close(load(sampling_descriptor));
}

int32_t get_systime_ms(struct timeval start) {
    timeval now{};
    gettimeofday(&now, nullptr);
    return elapsed_ms(start, now);
}
