#include "ovrafocus/tof_control.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>

#include "base/log.h"
#include "base/mutex_guard.h"
#include "ovrafocus/config.h"
#include "ovrafocus/platform_utils.h"

using ovra::log_bare;
using ovra::log_focus;

namespace ovra {
namespace {

constexpr const char* room = "focusctrl/tof_control";

constexpr const char* capture_node = "/sys/class/tof/capture";
constexpr const char* mode_node = "/sys/class/tof/mode";
constexpr const char* channel_node = "/sys/class/tof/channel";
constexpr const char* poll_period_node = "/sys/class/tof/poll_period";
constexpr const char* spad_map_node = "/sys/class/tof/spad_map_id";
constexpr const char* chip_enable_node = "/sys/class/tof/chip_enable";
constexpr const char* distance_node = "/sys/class/tof/distance";
constexpr const char* tof_error_node = "/sys/class/tof/sensor_error";
constexpr const char* gsensor_error_node = "/sys/class/sensors/sensor_error";

constexpr int distance_mode = 3;
constexpr int distance_spad_map = 6;
constexpr int wanted_channel = 0;
constexpr int unreadable = -1;  // read_file's failure

constexpr int zone_count = OVRA_TOF_ZONES;
constexpr int left_zone = 3;
constexpr int centre_zone = 4;
constexpr int right_zone = 5;
constexpr int word_digits = 8;
constexpr int frame_characters = zone_count * word_digits;
constexpr int half_word_bits = 16;
constexpr uint32_t half_word_mask = 0xffff;

constexpr int fast_poll_period_ms = 50;
constexpr int normal_poll_period_ms = 180;
constexpr uint32_t reset_pause_ms = 20;
constexpr uint32_t frame_pause_ms = 70;      // one frame at the fast period, and a margin
constexpr uint32_t polling_change_ms = 200;  // until the first frame at the new period
constexpr uint32_t useless_frame_pause_ms = 200;

constexpr int eye_base_tries = 3;
constexpr int eye_base_min_distance_mm = 1;
constexpr int eye_base_min_second = 51;
constexpr int eye_base_default_mm = 800;

constexpr int average_tries = 5;
constexpr int hook_tries = 3;
constexpr int hook_frames = 3;
constexpr int hook_distance_field = 4;  // the fifth 32-bit field of the hook's record

constexpr float sensor_elevation_degrees = 7.0F;  // how far the sensor looks up from the optical axis

constexpr int left_unstable_line = 580;
constexpr int right_unstable_line = 584;
constexpr int centre_unstable_line = 590;

// Some messages go out twice: tagged for the library's log, and bare for whoever watches the sensor alone.
void trace_twice(const char* text) {
    log_focus("%s", text);
    log_bare("%s", text);
}

void report_failure(const char* node) { log_focus("tof node: %s open failed\n", node); }

void report_failure_twice(const char* node) {
    report_failure(node);
    log_bare("tof node: %s open failed\n", node);
}

int write_or_report_twice(const char* node, int value) {
    const int result = write_file(node, value);
    if (result != 0) report_failure_twice(node);
    return result;
}

// Reads a driver's error code and logs it, or that there is none.
int check_error_code(const char* sensor, const char* node) {
    const int code = read_file(node);
    if (code == unreadable) {
        log_focus("%s node: %s open failed\n", sensor, node);
        log_bare("%s node: %s open failed\n", sensor, node);
    } else {
        log_focus("%s error:%d \n", sensor, code);
        log_bare("%s error:%d \n", sensor, code);
    }
    return code;
}

// The word of one zone. Parsed unsigned, so that the upper half keeps its top bit where `long` has 32 bits.
uint32_t zone_word(const char* frame, int zone) {
    char digits[word_digits + 1] = {};
    std::memcpy(digits, frame + std::ptrdiff_t{zone} * word_digits, word_digits);
    return static_cast<uint32_t>(std::strtoul(digits, nullptr, 16));
}

void decode_frame(const char* frame, int32_t* zones, bool with_second) {
    for (int zone = 0; zone < zone_count; ++zone) {
        const uint32_t word = zone_word(frame, zone);
        zones[zone] = static_cast<int32_t>(word & half_word_mask);
        if (with_second) zones[zone_count + zone] = static_cast<int32_t>(word >> half_word_bits);
    }
}

// Starts measuring and makes sure that it does, on the wanted channel.
int start_measuring(const char* function, bool measuring) {
    int result = 0;
    if (!measuring) {
        result = Tof_Enable_Get_Distance(1);
        if (result != 0) result = tof_check_reset();
        log_focus("%s,tof enable", function);
    }
    if (Tof_Get_Measure_Status() == 0) {
        log_focus("%s,start measure fail", function);
        return -1;
    }
    if (Tof_Get_Channel() != wanted_channel) {
        result += Tof_Set_Channel(wanted_channel);
        log_focus("%s,channel change,ret:%d", function, result);
    }
    return result;
}

// Stops measuring, unless the host polls the sensor itself.
int stop_measuring(const char* function, bool measuring, bool polling) {
    if (polling) {
        log_focus("%s,tof polling, skip disable", function);
        return 0;
    }
    if (!measuring) return 0;
    const int result = Tof_Enable_Get_Distance(0);
    log_focus("%s,disable measure:%d", function, result);
    log_focus("%s,tof disable", function);
    return result;
}

// The smallest distance among the zones that see something well enough, or 0 when there is none.
int min_distance(const int32_t* zones) {
    int nearest = 0;
    for (int zone = 0; zone < zone_count; ++zone) {
        const int distance = zones[zone];
        const bool usable =
            distance >= eye_base_min_distance_mm && zones[zone_count + zone] >= eye_base_min_second;
        if (usable && (nearest == 0 || distance < nearest)) nearest = distance;
    }
    return nearest;
}

// What several frames say about one zone.
struct ZoneSum {
    int64_t distance_mm = 0;
    int zero_frames = 0;

    void add(int distance) {
        distance_mm += distance;
        if (distance == 0) ++zero_frames;
    }
    // Seen in every frame or in none. A zone that comes and goes lies at the limit of the range.
    bool stable(int frames) const { return zero_frames == 0 || zero_frames == frames; }
    int average(int frames) const { return static_cast<int>(distance_mm / frames); }
};

struct MiddleRow {
    ZoneSum left;
    ZoneSum centre;
    ZoneSum right;
};

// Sums up `frames` frames; stops at the first that cannot be read, and returns false.
bool sum_frames(const char* function, int frames, MiddleRow& row) {
    for (int frame = 0; frame < frames; ++frame) {
        int32_t zones[OVRA_TOF_ZONE_ARRAY] = {};
        const int result = tof_get_distance(zones, 0);
        SleepMs(frame_pause_ms);
        if (result != 0) {
            log_focus("%s, get_tof_distance fail", function);
            return false;
        }
        row.left.add(zones[left_zone]);
        row.centre.add(zones[centre_zone]);
        row.right.add(zones[right_zone]);
    }
    return true;
}

// Logs an unstable zone by its name and returns whether it is stable.
bool check_stable(const Location& where, const char* name, const ZoneSum& zone, int frames) {
    if (zone.stable(frames)) return true;
    log_located(where, "%s,%s data is not stable,(%d,%d)", where.function, name, frames, zone.zero_frames);
    return false;
}

// The part of a distance along the raised sensor that lies along the optical axis.
int along_optical_axis(int distance_mm) {
    return static_cast<int>(static_cast<float>(distance_mm) *
                            std::cos(tof_degree2radian(sensor_elevation_degrees)));
}

int try_average(int tries, int32_t* left, int32_t* centre, int32_t* right, int count) {
    int result = -1;
    for (int i = 0; i < tries && result != 0; ++i) result = keystone_get_tof_avg(left, centre, right, count);
    return result;
}

}  // namespace
}  // namespace ovra

pthread_mutex_t tof_mtx = PTHREAD_MUTEX_INITIALIZER;

int32_t Tof_Enable_Get_Distance(int32_t on) {
    ovra::trace_twice("tfdbg Tof_Enable_Get_Distance \n ");
    return ovra::write_or_report_twice(ovra::capture_node, on);
}

int32_t Tof_Set_Mode(int32_t mode) {
    log_focus("tfdbg Tof_Set_Mode \n ");
    return ovra::write_or_report_twice(ovra::mode_node, mode);
}

int32_t Tof_Set_Channel(int32_t ch) {
    log_focus("tfdbg Tof_Set_Channel \n ");
    const int result = write_file(ovra::channel_node, ch);
    if (result != 0) ovra::report_failure(ovra::channel_node);
    return result;
}

int32_t Tof_Get_Channel(void) { return read_file(ovra::channel_node); }

int32_t Tof_Set_poll_period(int32_t ms) { return write_file(ovra::poll_period_node, ms); }

int32_t Tof_Set_spad_map_id(int32_t id) { return write_file(ovra::spad_map_node, id); }

int32_t Tof_Get_Enable_Status(void) { return read_file(ovra::chip_enable_node); }

int32_t Tof_Get_Measure_Status(void) { return read_file(ovra::capture_node); }

int32_t Tof_Enable(int32_t on) { return ovra::write_or_report_twice(ovra::chip_enable_node, on); }

int32_t Tof_Get_Distance(char* buf, int32_t len) {
    log_bare("tfdbg Tof_Get_Distance \n ");
    const int32_t count = read_file_buf(ovra::distance_node, buf, len);
    if (count < 0) {
        ovra::report_failure_twice(ovra::distance_node);
        return count;
    }
    // A full buffer has no terminator: what is printed ends where the copy did.
    log_bare("tof distance:%.*s \n", std::clamp(len, 0, ovra::frame_characters), buf);
    return count;
}

int32_t Tof_Error_Check(void) { return ovra::check_error_code("tof", ovra::tof_error_node); }

int32_t Gsensor_Error_Check(void) { return ovra::check_error_code("gsensor", ovra::gsensor_error_node); }

int32_t Tof_Get_Distance_Prepare(void) {
    log_focus("tfdbg Tof_Get_Distance_Prepare \n ");
    int result = Tof_Set_Mode(ovra::distance_mode);
    if (result != 0) {
        ovra::report_failure(ovra::mode_node);
        return result;
    }
    result = Tof_Set_spad_map_id(ovra::distance_spad_map);
    if (result != 0) {
        ovra::report_failure(ovra::spad_map_node);
        return result;
    }
    result = Tof_Enable_Get_Distance(1);
    if (result != 0) ovra::report_failure(ovra::capture_node);
    return result;
}

int32_t tof_check_reset(void) {
    log_focus("%s", __func__);
    const int off = Tof_Enable(0);
    if (off != 0) return off;
    SleepMs(ovra::reset_pause_ms);
    const int on = Tof_Enable(1);
    SleepMs(ovra::reset_pause_ms);
    return on + Tof_Enable_Get_Distance(1);
}

int32_t tof_init(int32_t enable) {
    ovra_focus_config config;
    get_focus_configs(&config);
    // An attribute that cannot be read counts as switched on: only a plain 0 says otherwise.
    const int powered = Tof_Get_Enable_Status();
    const int measuring = Tof_Get_Measure_Status();
    log_focus("%s,init:%d,enable:%d", __func__, powered, measuring);

    int result = -1;
    if (powered == 0) {
        log_focus("%s,tof invalid", __func__);
    } else if (enable != 0) {
        result = ovra::start_measuring(__func__, measuring != 0);
    } else {
        result = ovra::stop_measuring(__func__, measuring != 0, config.focus_state.tof_polling != 0);
    }
    log_focus("%s,en:%d,ret:%d", __func__, enable, result);
    return result;
}

int32_t tof_check_enable(int32_t enable, int32_t fast) {
    log_focus("%s,enable:%d,fast:%d", __func__, enable, fast);
    const int result = tof_init(enable);
    if (result != 0) {
        log_focus("%s,fail", __func__);
        return result;
    }
    return Tof_Set_poll_period(enable != 0 && fast != 0 ? ovra::fast_poll_period_ms
                                                        : ovra::normal_poll_period_ms);
}

int32_t tof_get_distance(int32_t zones[OVRA_TOF_ZONE_ARRAY], int32_t with_second) {
    ovra_focus_config config;
    get_focus_configs(&config);
    if (zones == nullptr) {
        log_focus("%s,invalid", __func__);
        return -1;
    }
    if (config.focus_state.distance_enabled == 0) return -1;

    const ovra::MutexGuard lock(tof_mtx);
    char frame[ovra::frame_characters + 1] = {};
    if (Tof_Get_Distance(frame, ovra::frame_characters) != ovra::frame_characters) return -1;
    ovra::decode_frame(frame, zones, with_second != 0);
    return 0;
}

void tof_check_eye_base(void) {
    int32_t zones[OVRA_TOF_ZONE_ARRAY] = {};
    for (int i = 0; i < ovra::eye_base_tries; ++i) {
        if (tof_get_distance(zones, 1) == 0 && zones[ovra::centre_zone] != 0) break;
        SleepMs(ovra::useless_frame_pause_ms);
    }
    log_focus("%s tof data:", __func__);
    int nearest = ovra::min_distance(zones);
    if (nearest == 0) {
        log_focus("%s,can not find min val", __func__);
        nearest = ovra::eye_base_default_mm;
    }
    log_focus("%s,min val:%d", __func__, nearest);
}

void tof_notify_status(int32_t is_near) { log_focus("%s,is_near:%d", __func__, is_near); }

void tof_dump_arr(const int32_t zones[OVRA_TOF_ZONE_ARRAY], int32_t with_second) {
    constexpr const char* rule = "###########################";
    constexpr int row_zones = 3;
    log_focus("%s", rule);
    for (int i = 0; i < ovra::zone_count; i += row_zones) {
        log_focus("%4dmm, %4dmm, %4dmm", zones[i], zones[i + 1], zones[i + 2]);
    }
    const int32_t* const seconds = zones + ovra::zone_count;
    for (int i = 0; with_second != 0 && i < ovra::zone_count; i += row_zones) {
        log_focus("%2d, %2d, %2d", seconds[i], seconds[i + 1], seconds[i + 2]);
    }
    log_focus("%s", rule);
}

float tof_degree2radian(float deg) { return deg * 3.1415927F / 180.0F; }

int32_t keystone_get_tof_avg(int32_t* left, int32_t* centre, int32_t* right, int32_t count) {
    const int frames = std::max(count, 1);
    ovra::MiddleRow row;
    bool good = sum_frames(__func__, frames, row);
    // All unstable zones are logged before the one failure line, so that the log shows which side is at fault.
    if (left != nullptr && right != nullptr) {
        good &= check_stable({__func__, ovra::room, ovra::left_unstable_line}, "dl", row.left, frames);
        good &= check_stable({__func__, ovra::room, ovra::right_unstable_line}, "dr", row.right, frames);
    }
    if (centre != nullptr && frames != 1) {
        good &= check_stable({__func__, ovra::room, ovra::centre_unstable_line}, "dc", row.centre, frames);
    }
    if (!good) {
        log_focus("%s,fail", __func__);
        return -1;
    }
    if (left != nullptr) *left = row.left.average(frames);
    if (right != nullptr) *right = row.right.average(frames);
    if (centre != nullptr) *centre = ovra::along_optical_axis(row.centre.average(frames));
    return 0;
}

int32_t keystone_get_tof_avg2(int32_t* left, int32_t* centre, int32_t* right, int32_t count) {
    // Whether the sensor could be switched over does not matter: the frames themselves show it.
    tof_check_enable(1, 1);
    const int result = ovra::try_average(ovra::average_tries, left, centre, right, count);
    tof_check_enable(1, 0);
    if (result == 0) return 0;
    log_focus("%s,fail", __func__);
    return -1;
}

int32_t keystone_get_tof_rawdata(void* record) {
    tof_check_enable(1, 1);
    SleepMs(ovra::polling_change_ms);
    int32_t distance_mm = 0;
    const int result = ovra::try_average(ovra::hook_tries, nullptr, &distance_mm, nullptr, ovra::hook_frames);
    if (result == 0 && record != nullptr)
        static_cast<int32_t*>(record)[ovra::hook_distance_field] = distance_mm;
    tof_check_enable(1, 0);
    if (result == 0) return 0;
    log_focus("%s,fail", __func__);
    return -1;
}
