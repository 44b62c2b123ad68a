#include "ovrafocus/motor_drv.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "base/descriptor.h"
#include "base/log.h"
#include "base/shared_flag.h"
#include "ovrafocus/platform_utils.h"

using ovra::load;
using ovra::log_focus;
using ovra::store;

namespace ovra {
namespace {

constexpr const char* room = "focusctrl/motor_drv";

constexpr const char* left_node = "/sys/class/motor/left";
constexpr const char* right_node = "/sys/class/motor/right";
constexpr const char* zero_node = "/sys/class/motor/zero";
constexpr const char* end_node = "/sys/class/motor/end";
constexpr const char* place_node = "/sys/class/motor/place";
constexpr const char* pos_node = "/sys/class/motor/pos";
constexpr const char* total_steps_node = "/sys/class/motor/total_steps";
constexpr const char* air_travel_node = "/sys/class/motor/air_travel";
constexpr const char* start_dir_node = "/sys/class/motor/start_dir";
constexpr const char* delay_node = "/sys/class/motor/delay";
constexpr const char* excitation_node = "/sys/class/motor/excitation";
constexpr const char* tmr_adc_node = "/sys/class/motor/tmr_adc";

constexpr int direction_unknown = -1;
constexpr int direction_left = 0;
constexpr int direction_right = 1;
constexpr int start_swapped = 1;  // the start direction that exchanges the two step nodes
constexpr int go = 1;             // what starts a run to an end or a measurement

constexpr int reversal_offset_steps = 10;  // takes up the gear's slack
constexpr int zero_offset_steps = 10;      // how far the lens leaves the zero end before it returns
constexpr uint32_t reversal_pause_ms = 10;

constexpr int air_travel_limit = 16;        // bytes of text: two step counts
constexpr std::size_t tmr_limit = 6;        // bytes of text
constexpr int tmr_largest_credible = 2000;  // TMR units to either side; beyond it the sensor's bus failed

constexpr int steps_invalid_line = 78;

// The node that moves the lens in a logical direction.
const char* step_node(int dir, int start_dir) {
    const bool leftwards = dir == direction_left;
    const bool swapped = start_dir == start_swapped;
    return leftwards != swapped ? left_node : right_node;
}

// The steps to write, with the slack of a reversal added. While the last direction is unknown there is
// nothing to compare with.
int with_reversal_offset(int steps, int dir, int last_dir) {
    if (last_dir == direction_unknown) {
        log_focus("cur dir invalid");
        return steps;
    }
    if (dir == last_dir) return steps;
    log_focus("dir change,auto add offset:%d", reversal_offset_steps);
    // A count at the very end of its range turns negative, and is then refused as invalid.
    return static_cast<int>(static_cast<unsigned>(steps) + unsigned{reversal_offset_steps});
}

// Writes a value and logs a failure with the function's name.
int write_or_report(const char* function, const char* node, int value) {
    const int result = write_file(node, value);
    if (result != 0) log_focus("%s  fail.", function);
    return result;
}

// Runs to one end of the travel, after which the direction is known. The message is the caller's.
int drive_to_end(const char* node, int direction) {
    const int result = write_file(node, go);
    if (result == 0) store(motor_cur_dir, direction);
    return result;
}

// Reads the position sensor's text. Returns the count of characters, below 1 when there are none.
int read_tmr_text(char (&text)[tmr_limit + 1]) {
    Descriptor node(tmr_adc_node, O_RDONLY);
    if (!node.is_open()) {
        log_focus("motor_tmr_read %s fail!", tmr_adc_node);
        return -1;
    }
    const int count = static_cast<int>(::read(node.get(), text, tmr_limit));
    // Only a read that delivered something is finished with a close. One that did not keeps its descriptor
    // open, on purpose: it is part of what this reader promises, see the header.
    if (count < 1) node.release();
    return count;
}

bool credible(int tmr) { return tmr >= -tmr_largest_credible && tmr <= tmr_largest_credible; }

}  // namespace
}  // namespace ovra

int32_t motor_cur_dir = ovra::direction_unknown;
int32_t motor_start_dir = 0;

int32_t motor_get_dir(void) {
    const int32_t dir = load(motor_cur_dir);
    log_focus("%s ,cur_dir:%d 0:left", __func__, dir);
    return dir;
}

int32_t motor_get_place(void) {
    const int32_t place = read_file(ovra::place_node);
    if (place != 0) log_focus("%s ,ret:%d, 1:left 2:right", __func__, place);
    return place;
}

int32_t motor_get_pos(void) {
    const int32_t pos = read_file(ovra::pos_node);
    log_focus("%s ,ret:%d", __func__, pos);
    return pos;
}

int32_t motor_run(int32_t dir, int32_t steps, int32_t auto_offset) {
    log_focus("%s,dir:%d,steps:%d,auto:%d", __func__, dir, steps, auto_offset);
    const int last_dir = load(motor_cur_dir);
    if (auto_offset != 0) steps = ovra::with_reversal_offset(steps, dir, last_dir);
    if (steps <= 0) {
        // Nothing to move is not an error: callers compute differences, and those may be 0.
        ovra::log_located({__func__, ovra::room, ovra::steps_invalid_line}, "%s,steps invalid", __func__);
        return 0;
    }
    if (dir != last_dir) {
        SleepMs(ovra::reversal_pause_ms);  // the lens comes to rest before it is driven the other way
        log_focus("%s,dir change", __func__);
    }
    const int result = write_file(ovra::step_node(dir, load(motor_start_dir)), steps);
    if (result != 0) {
        log_focus("%s,dir:%d,steps:%d fail.", __func__, dir, steps);
        return result;
    }
    store(motor_cur_dir, dir);
    return 0;
}

// Always 0: the manual keys have nowhere to show a failure.
int32_t motor_manual(int32_t dir, int32_t steps) {
    log_focus("%s,dir:%d,steps:%d", __func__, dir, steps);
    motor_run(dir, steps, 1);
    return 0;
}

int32_t motor_goto_zero(int32_t add_offset) {
    log_focus("%s ", __func__);
    const int first = ovra::drive_to_end(ovra::zero_node, ovra::direction_left);
    if (first != 0) {
        log_focus("%s  fail.", __func__);
        return first;
    }
    if (add_offset == 0) return first;

    log_focus("%s,add offset", __func__);
    const int offset = motor_run(ovra::direction_right, ovra::zero_offset_steps, 0);
    if (offset != 0) log_focus("%s  goto offset fail.", __func__);
    const int second = ovra::drive_to_end(ovra::zero_node, ovra::direction_left);
    if (second != 0) log_focus("%s  re goto zero fail.", __func__);
    return first + offset + second;
}

int32_t motor_goto_end(void) {
    log_focus("%s ", __func__);
    const int result = ovra::drive_to_end(ovra::end_node, ovra::direction_right);
    if (result != 0) log_focus("%s  fail.", __func__);
    return result;
}

int32_t motor_get_air_travel(int32_t* left, int32_t* right) {
    log_focus("%s", __func__);
    char text[ovra::air_travel_limit + 1] = {};  // the last byte stays the terminator
    const int32_t result = read_file_buf(ovra::air_travel_node, text, ovra::air_travel_limit);
    if (result < 0) {
        log_focus("%s  fail.", __func__);
        return result;
    }
    char* const blank = std::strchr(text, ' ');
    const int right_steps = blank == nullptr ? 0 : std::atoi(blank + 1);
    if (blank != nullptr) *blank = '\0';
    const int left_steps = std::atoi(text);
    if (left != nullptr) *left = left_steps;
    if (right != nullptr) *right = right_steps;
    log_focus("%s,l:%d,r:%d", __func__, left_steps, right_steps);
    return 0;
}

int32_t motor_get_total_steps(void) {
    // Unsigned, so that the sum is defined for a failed write and any number that the driver answers.
    const auto written = static_cast<uint32_t>(write_file(ovra::total_steps_node, ovra::go));
    const auto result =
        static_cast<int32_t>(written + static_cast<uint32_t>(read_file(ovra::total_steps_node)));
    log_focus("%s ret:%d", __func__, result);
    return result;
}

int32_t motor_set_start_dir(int32_t dir) {
    log_focus("%s dir:%d", __func__, dir);
    const int result = ovra::write_or_report(__func__, ovra::start_dir_node, dir);
    if (result == 0) store(motor_start_dir, dir);
    return result;
}

int32_t motor_set_delay(int32_t delay) {
    log_focus("%s delay:%d", __func__, delay);
    return ovra::write_or_report(__func__, ovra::delay_node, delay);
}

int32_t motor_set_excitation(int32_t mode) {
    log_focus("%s excitation:%d", __func__, mode);
    return ovra::write_or_report(__func__, ovra::excitation_node, mode);
}

int32_t motor_left_write(int32_t n) {
    log_focus("%s val:%d", __func__, n);
    return ovra::write_or_report(__func__, ovra::left_node, n);
}

int32_t motor_right_write(int32_t n) {
    log_focus("%s val:%d", __func__, n);
    return ovra::write_or_report(__func__, ovra::right_node, n);
}

int32_t motor_tmr_read(int32_t* tmr) {
    char text[ovra::tmr_limit + 1] = {};  // the last byte stays the terminator
    const int count = ovra::read_tmr_text(text);
    if (count < 1) return -1;
    std::sscanf(text, "%d", tmr);
    log_focus("current tmr ret=%d, tmr_adc:%d\n", count, *tmr);
    if (ovra::credible(*tmr)) return 0;
    log_focus("motor iic error:%d\n", *tmr);
    return -1;
}

int32_t update_tmr_adc(void) { return 0; }

int32_t motor_move_to_tmr(int32_t) { return 0; }
