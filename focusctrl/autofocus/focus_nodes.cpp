#include "ovrafocus/focus_nodes.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "base/descriptor.h"
#include "base/log.h"
#include "base/number_list.h"
#include "base/shared_flag.h"
#include "focusctrl/autofocus/focus_plan.h"
#include "focusctrl/autofocus/lens_units.h"
#include "ovrafocus/lens_state.h"
#include "ovrafocus/motor_drv.h"

namespace {

using ovra::Descriptor;
using ovra::load;
using ovra::log_focus;
using ovra::Side;
using ovra::store;

constexpr const char* ranging_node = "/sys/class/nd_tof/nds01/ranging_data";
constexpr const char* motor_stop_node = "/sys/class/motor/stop";
constexpr const char* led_temperature_node = "/sys/devices/platform/pwm-fan/r_temp";
constexpr const char* motor_pulse_node = "/sys/class/motor/pulse";
constexpr const char* tmr_direction_node = "/sys/class/motor/tmr_dir_flg";
constexpr const char* focus_curve_node = "/sys/class/dlp/elepn_focus_curve_data";

constexpr std::size_t ranging_text_bytes = 36;
constexpr std::size_t temperature_text_bytes = 1023;
constexpr std::size_t focus_curve_text_bytes = 1024;

constexpr int stop_polls = 21;
constexpr useconds_t stop_poll_us = 20000;

constexpr int32_t tmr_negated = 1;

// Line numbers are part of the messages.
constexpr int pulse_open_line = 898;
constexpr int direction_open_line = 1992;

// Reads once, at most `capacity` bytes, and puts a zero byte after them. False when nothing came.
bool read_once(const Descriptor& node, char* text, std::size_t capacity) {
    const ssize_t count = ::read(node.get(), text, capacity);
    if (count < 1) return false;
    text[count] = '\0';
    return true;
}

// A function of its own: its buffer is given back before the log, which needs stack too, is called.
[[gnu::noinline]] bool read_celsius(const Descriptor& node, int32_t& celsius) {
    char text[temperature_text_bytes + 1];
    if (!read_once(node, text, temperature_text_bytes)) return false;
    celsius = std::atoi(text);  // ends at the trailing newline
    return true;
}

// The decimal text alone: these nodes take no newline. A refused write is not noticed.
void write_decimal(const Descriptor& node, const char* decimal) {
    const ssize_t ignored = ::write(node.get(), decimal, std::strlen(decimal));
    static_cast<void>(ignored);
}

struct Decimal {
    explicit Decimal(int32_t value) { std::snprintf(text, sizeof text, "%d", value); }
    char text[12];
};

// 0 steps leave the motor where it is, so they say nothing about its direction.
void remember_direction(int32_t steps, Side went) {
    if (steps == 0) return;
    if (load(lastDirection) == number_of(opposite(went)))
        log_focus("\033[42;1mmotor change move to %s\033[0m", name_of(went));
    store(lastDirection, number_of(went));
}

int32_t read_position(int32_t* out) {
    const int32_t result = motor_tmr_read(out);
    if (result == 0 && load(direction) == tmr_negated) *out = -*out;
    return result;
}

bool read_focus_curve(int32_t* curve) {
    const Descriptor node(focus_curve_node, O_RDONLY);
    if (!node.is_open()) log_focus("elepn_calidata_read fail!");
    char text[focus_curve_text_bytes + 1];
    const bool has_curve = node.is_open() && read_once(node, text, focus_curve_text_bytes);
    store(g_flag_elepn_temp, has_curve ? 1 : 0);
    if (!has_curve) return false;
    log_focus("g_flag_elepn_temp = %d\n", load(g_flag_elepn_temp));

    ovra::CurveNumbers numbers{};
    ovra::parse_numbers(text, ' ', numbers.data(), ovra::curve_numbers);
    // Any polarity but 0 turns the curve, while the position read back is turned by 1 alone.
    const ovra::PlaceTable places = ovra::curve_of_places(numbers, load(direction) != 0);
    for (std::size_t place = 0; place < places.size(); ++place) store(curve[place], places[place]);
    return true;
}

void log_focus_curve(const int32_t* curve) {
    char values[ovra::focus_places * sizeof(Decimal::text)];
    int length = 0;
    for (int place = 0; place < ovra::focus_places; ++place) {
        length += std::snprintf(values + length, sizeof values - static_cast<std::size_t>(length), "%s%d",
                                place == 0 ? "" : " ", load(curve[place]));
    }
    log_focus("elepn_calidata_read : %s\n", values);
}

}  // namespace

int32_t tof_distance_read(int32_t* frame) {
    const Descriptor node(ranging_node, O_RDONLY);
    if (!node.is_open()) {
        log_focus("tof_distance_read %s fail!", ranging_node);
        return -1;
    }
    char text[ranging_text_bytes + 1];
    if (!read_once(node, text, ranging_text_bytes)) return -1;
    std::fill_n(frame, ovra::ranging_frame_values, 0);
    ovra::parse_numbers(text, ',', frame, ovra::ranging_frame_values);
    return 0;
}

int32_t motor_stop_read(void) {
    const Descriptor node(motor_stop_node, O_RDONLY);
    if (!node.is_open()) {
        log_focus("motor_stop_read %s fail!", motor_stop_node);
        return -1;
    }
    char answer = '\0';
    return ::read(node.get(), &answer, 1) == 1 && answer == '1' ? 0 : -1;
}

int32_t r_led_temp_read(void) {
    int32_t celsius = 0;
    {
        const Descriptor node(led_temperature_node, O_RDONLY);
        if (!node.is_open()) {
            log_focus("r_led_temp_read %s fail!", led_temperature_node);
            return -1;
        }
        if (!read_celsius(node, celsius)) return -1;
    }
    log_focus("r_led_temp_read=%d\n", celsius);
    return celsius;
}

int32_t motor_pulse_write(int32_t value) {
    const Descriptor node(motor_pulse_node, O_WRONLY);
    if (!node.is_open()) {
        log_focus("%s(), line:%d. open fail!\n", "motor_pulse_write", pulse_open_line);
        return -1;
    }
    write_decimal(node, Decimal(value).text);
    return 0;
}

int32_t motor_dir_write(int32_t value) {
    const Descriptor node(tmr_direction_node, O_WRONLY);
    if (!node.is_open()) {
        log_focus("%s(), line:%d. open fail!\n", "motor_dir_write", direction_open_line);
        return -1;
    }
    const Decimal decimal(value);
    log_focus("motor_dir_flg_write val:%s \n", decimal.text);
    write_decimal(node, decimal.text);
    return 0;
}

int32_t elepn_calidata_read(int32_t* curve) {
    if (!read_focus_curve(curve)) return -1;
    log_focus_curve(curve);
    return 0;
}

int32_t varnel_motor_left_write(int32_t steps) {
    const int32_t result = motor_left_write(steps);
    remember_direction(steps, Side::left);
    return result;
}

int32_t varnel_motor_right_write(int32_t steps) {
    const int32_t result = motor_right_write(steps);
    remember_direction(steps, Side::right);
    return result;
}

// The answer that comes after the last pause is asked for and not looked at.
int32_t motor_tmr_x_dir_read(int32_t* out) {
    int32_t stopped = motor_stop_read();
    for (int poll = 0; poll < stop_polls; ++poll) {
        if (stopped == 0) return read_position(out);
        ::usleep(stop_poll_us);
        stopped = motor_stop_read();
        log_focus("MOTOR RUNNING");
    }
    log_focus("MOTOR RUNNING TIME OUT");
    return -1;
}
