#include "ovrafocus/nds01_calibration.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "base/log.h"
#include "ovrafocus/nds01_start.h"
#include "ovrafocus/nds01_sysfs.h"
#include "platform/nds_isp.h"
#include "tof/nds01_device.h"
#include "tof/nds01_isp.h"
#include "tof/offset_table.h"

namespace ovra {
namespace {

// The driver follows the calibration through this attribute; the messages name it too.
constexpr const char* step_attribute = "offset_calibration_at_depth_for_isp";

// The work buffer, in bytes: the factory data at its start, the output from the middle on, and inside the
// output, after its table of offsets, what the vendor's library generates.
constexpr size_t work_bytes = 8192;
constexpr uint32_t factory_bytes = 1024;
constexpr size_t output_offset = 4096;
constexpr uint32_t output_bytes = 4096;
constexpr uint32_t output_offsets_bytes = 128;  // the part of the output's table that the driver uses
constexpr size_t generated_offset = output_offset + 1024;
constexpr size_t generated_table_offset = generated_offset + 2048;
static_assert(generated_table_offset + sizeof(OffsetTable) <= work_bytes);

constexpr int32_t calibration_point_mode = 0;
constexpr int32_t calibration_fps = 0;

/// What the vendor's library gets to know about this sensor, laid out natively. The two numbers are the
/// vendor's.
struct UserCalibrationConfiguration {
    int32_t first;
    int32_t second;
    int32_t (*get_pixel_data)(void*, uint16_t**);
    int32_t (*set_config)(void*, const void*, int32_t);
};

UserCalibrationConfiguration user_configuration{10, 6, nds01_isp_get_pixel_data, nds01_isp_set_config};

/// How the sensor was ranging before; 0 where that is not known.
struct Ranging {
    int32_t fps = 0;
    int32_t running_state = 0;
};

enum class Outcome { done, failed, not_stored };

using WorkBuffer = std::unique_ptr<uint8_t, decltype(&std::free)>;

// Apart from the clearing, with which a compiler would merge it into a calloc: whoever watches or refuses
// this one large request on a board looks for a malloc of its size.
[[gnu::noinline]] uint8_t* allocate_work_buffer() { return static_cast<uint8_t*>(std::malloc(work_bytes)); }

int32_t announce(const char* step) { return write_sysfs_string(step_attribute, tof_attributes, step); }

Outcome fail(const char* complaint) {
    log_tof("%s %s", step_attribute, complaint);
    return Outcome::failed;
}

/// Remembers how the sensor ranges and lets it range at the calibration's frame rate.
int32_t enter_calibration_ranging(Ranging& before) {
    const int32_t fps_read = nds01_get_fps(&before.fps);
    const int32_t state_read = nds01_get_running_state(&before.running_state);
    const int32_t fps_set = nds01_set_fps(calibration_fps);
    const int32_t state_set = nds01_set_running_state(1);
    return fps_read | state_read | fps_set | state_set;
}

int32_t restore_ranging(const Ranging& before) {
    const int32_t fps_set = nds01_set_fps(before.fps);
    const int32_t state_set = nds01_set_running_state(before.running_state);
    return fps_set | state_set;
}

void write_offsets(uint8_t* work) {
    OffsetTable generated;
    std::memcpy(generated.data(), work + generated_table_offset, sizeof generated);
    const OffsetTable blocks = repack_offsets(generated);
    std::memcpy(work + output_offset, blocks.data(), sizeof blocks);
}

/// The vendor's calibration: its result stands in the work buffer's output afterwards.
Outcome measure(uint8_t* work, int32_t depth, intptr_t argument) {
    if (nx_user_calibration_init(isp_context(), work, &user_configuration, depth, argument) != 0) {
        return fail("step_2: nx_user_calibration_init failed!");
    }
    if (nx_calibration_3d(isp_context()) < 0) return fail("step_2: nx_calibration_3d failed!");
    if (nx_calibration_generate_data(isp_context(), work + generated_offset) != 0) {
        return fail("step_2: nx_calibration_generate_data failed!");
    }
    write_offsets(work);
    return Outcome::done;
}

Outcome store_output(const uint8_t* output) {
    if (nds01_set_lib_data(NDS01_LIB_DATA_OFFSETS, output, output_offsets_bytes) < 0) {
        return fail("step_2: nds01_set_lib_data failed!");
    }
    return nds01_isp_write_calib_data(output, output_bytes) < 0 ? Outcome::not_stored : Outcome::done;
}

Outcome calibrate(uint8_t* work, Ranging& before, int32_t depth, intptr_t argument) {
    if (nds01_get_lib_data(NDS01_LIB_DATA_FACTORY, work, factory_bytes) < 0) {
        return fail("step_2: nds01_get_lib_data failed!");
    }
    if (announce("step_2") < 0) return fail("step_2 fail!");
    if (enter_calibration_ranging(before) < 0) return fail("step_2: set_fps or set_running_state fail!");
    const Outcome measured = measure(work, depth, argument);
    return measured == Outcome::done ? store_output(work + output_offset) : measured;
}

/// Starts the processing library with the new calibration. The driver hears of it in any case.
Outcome take_over() {
    const int32_t initialised = nds01_isp_init(NDS01_FILTER_DEFAULT);
    const int32_t announced = announce("step_3");
    return (initialised | announced) < 0 ? fail("step_3 fail!") : Outcome::done;
}

Outcome run_steps(uint8_t* work, Ranging& before, int32_t depth, intptr_t argument) {
    if (announce("step_1") < 0) return fail("step_1 fail!");
    const Outcome calibrated = calibrate(work, before, depth, argument);
    return calibrated == Outcome::done ? take_over() : calibrated;
}

void calibrate_and_return(int32_t point_mode, int32_t depth, intptr_t argument) {
    const bool calibrated = nds01_isp_offset_calibration(depth, argument) >= 0;
    const bool restored = nds01_set_point_mode(point_mode) >= 0;
    log_tof("Calibration %s and recovery point mode %s!", calibrated ? "successfully" : "failed",
            restored ? "successfully" : "failed");
}

}  // namespace
}  // namespace ovra

int32_t nds01_offset_calibration_at_depth_for_isp(int32_t depth, intptr_t argument) {
    const int32_t point_mode = ovra::current_point_mode();
    ovra::set_calibration_in_progress(true);
    if (nds01_set_point_mode(ovra::calibration_point_mode) < 0) {
        ovra::log_tof("Fail to set point mode!");
    } else {
        ovra::calibrate_and_return(point_mode, depth, argument);
    }
    // Once more, also after a return that succeeded: this one's result is the caller's.
    const int32_t restored = nds01_set_point_mode(point_mode);
    ovra::set_calibration_in_progress(false);
    return restored;
}

int32_t nds01_isp_offset_calibration(int32_t depth, intptr_t argument) {
    ovra::WorkBuffer work(ovra::allocate_work_buffer(), std::free);
    if (!work) {
        ovra::log_tof("%s step_1: malloc fail, len = %d!\n", ovra::step_attribute,
                      static_cast<int>(ovra::work_bytes));
        return -1;
    }
    std::memset(work.get(), 0, ovra::work_bytes);
    ovra::Ranging before;
    const ovra::Outcome outcome = ovra::run_steps(work.get(), before, depth, argument);
    if (outcome == ovra::Outcome::not_stored) {
        // The driver holds the short table but not the whole calibration. Such a unit is left exactly as it
        // is, frame rate and work buffer included, and is started again before its next attempt.
        static_cast<void>(work.release());
        return -ENOENT;
    }
    work.reset();
    const bool restored = ovra::restore_ranging(before) >= 0;
    if (restored && outcome == ovra::Outcome::done) return 0;
    ovra::log_tof("%s step_4: nds01_set_fps or nds01_set_running_state failed!", ovra::step_attribute);
    return -EINTR;
}
