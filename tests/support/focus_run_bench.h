// A board for auto-focus runs: a lens that rests where the test says, and everything a run does as one list
// of short events.
#ifndef TESTS_SUPPORT_FOCUS_RUN_BENCH_H
#define TESTS_SUPPORT_FOCUS_RUN_BENCH_H

#include <errno.h>
#include <gtest/gtest.h>
#include <pthread.h>

#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

#include "ovrafocus/acceleration.h"
#include "ovrafocus/calibration_data.h"
#include "ovrafocus/focus_nodes.h"
#include "ovrafocus/focus_run.h"
#include "ovrafocus/host_interface.h"
#include "ovrafocus/keystone_width.h"
#include "ovrafocus/lens_position.h"
#include "ovrafocus/lifecycle.h"
#include "tests/support/scripted_board.h"

namespace focusbench {

using Events = std::vector<std::string>;

inline Events operator+(Events events, const Events& more) {
    events.insert(events.end(), more.begin(), more.end());
    return events;
}

inline std::string number(long value) { return std::to_string(value); }

template <typename... Lines>
Events said(Lines... lines) {
    return {std::string(lines)...};
}

// --- What a run logs, piece by piece --------------------------------------------------------------------

inline Events switches(int keystone, int autofocus, int adjust = 0) {
    return {"auto focus STATE flag : 1", "======= osd : keystone = " + number(keystone) +
                                             ", autofocus = " + number(autofocus) +
                                             ", g_focus_temp_adjust = " + number(adjust) + " ========="};
}

inline Events measured(int mm) {
    const std::string zone = number(mm);
    return {"tof distance ret=0, tr:" + zone + ", br:" + zone + ", tl:" + zone + ", bl:" + zone,
            "\033[36;1mavgDist = " + zone + "\033[0m"};
}

inline Events temperature(int celsius) { return {"r_led_temp_read=" + number(celsius)}; }

inline Events position(int tmr) {
    const std::string text = number(tmr);
    return {"current tmr ret=" + number(static_cast<long>(text.size())) + ", tmr_adc:" + text};
}

inline Events places(int current, int target, int steps) {
    return {"curTMRIndex = " + number(current) + ", targetTMRIndex = " + number(target) +
            ", steps = " + number(steps)};
}

/// A move of the motor.
inline Events motor(const std::string& side, int steps) { return {side + " <- " + number(steps)}; }

/// The same with the line of the driver layer.
inline Events logged_motor(const std::string& side, int steps) {
    return Events{"motor_" + side + "_write val:" + number(steps)} + motor(side, steps);
}

inline Events reversed(const std::string& side) {
    return {"\033[42;1mmotor change move to " + side + "\033[0m"};
}

/// One look of the fine loop at the lens.
inline Events pass(int tmr, int target) {
    return position(tmr) + Events{"currentTMR = " + number(tmr) + ", targetTMR = " + number(target)};
}

inline Events single_step(const std::string& side) { return Events{"pulse <- 1"} + motor(side, 1); }

inline Events toast(int code) { return {"toast " + number(code)}; }

inline Events keystone_time(int ms) { return {"\033[46;1movra: keystone time : " + number(ms) + " ms\033[0m"}; }

inline Events focus_time(int ms = 0) {
    return {"\033[46;1movra: auto focus time : " + number(ms) + " ms\033[0m"};
}

/// The end of a run.
inline Events ended() { return {"refresh"}; }

/// The same with its lines.
inline Events logged_end() {
    return {"auto focus STATE flag : 1", "lv_refresh_callback.call back refresh ui", "refresh"};
}

/// The whole beginning of such a run, at 45 degrees: up to the first look at the lens.
inline Events began(int mm) { return switches(0, 1) + measured(mm) + temperature(45); }

// --- The board -------------------------------------------------------------------------------------------

const std::string ranging_node = "/sys/class/nd_tof/nds01/ranging_data";
const std::string temperature_node = "/sys/devices/platform/pwm-fan/r_temp";
const std::string position_node = "/sys/class/motor/tmr_adc";
const std::string stop_node = "/sys/class/motor/stop";
const std::string pulse_node = "/sys/class/motor/pulse";
const std::string left_node = "/sys/class/motor/left";
const std::string right_node = "/sys/class/motor/right";

/// The lens's tables in the tests: 20 TMR units from one place to the next, or 160 where a place must be wide.
constexpr int narrow_spacing = 20;
constexpr int wide_spacing = 160;

inline std::int32_t position_of(int place, int spacing = narrow_spacing) { return (place - 12) * spacing; }

class FocusRun : public ::testing::Test {
protected:
    FocusRun() {
        current = this;
        reset_library();
        table_.toast = [](std::int32_t code) { current->on_toast(code); };
        table_.refresh_ui = [] { current->on_refresh(); };
        autofocus_app_callback = &table_;
        for (const auto& node : {pulse_node, left_node, right_node}) board.text(node, "");
        board.text(stop_node, "1");
        celsius(45);
    }

    void reset_library() {
        g_osd_keystone = 0;
        g_osd_autofocus = 1;
        g_osd_state_autofocus = 1;
        g_focus_temp_adjust = 0;
        g_flag_high_temp = 0;
        g_flag_elepn_temp = 0;
        g_run_once_keystone = 0;
        direction = 0;
        lastDirection = 1;
        lastDistance = 300;
        leftIdle = 5;
        rightIdle = 8;
        currentKeystoneAngle = 0;
        preUpW = 1280;
        preDownW = 1280;
        tilt(0.0F, 0.0F);
        calibrate(narrow_spacing);
    }

    static void calibrate(int spacing) {
        for (int place = 0; place < 25; ++place) listFlash[place] = position_of(place, spacing);
    }
    static void tilt(float x_degrees, float y_degrees) {
        acc_degree.x = x_degrees;
        acc_degree.y = y_degrees;
        acc_degree.z = -1.0F;
    }

    void distance(int mm) {
        const std::string zone = number(mm);
        board.text(ranging_node, zone + "," + zone + "," + zone + "," + zone + ",9,9,9,9\n");
    }
    void celsius(int degrees) { board.text(temperature_node, number(degrees) + "\n"); }

    /// The position at each read of the sensor; the last one repeats. "" is a read that fails.
    void lens_at(const std::vector<std::string>& positions) { board.texts(position_node, positions); }
    void lens_at(int tmr) { board.text(position_node, number(tmr)); }

    /// Runs, and makes sure that the lens is free afterwards.
    std::int32_t run() {
        const std::int32_t result = varnel_thread_autofocus();
        EXPECT_EQ(pthread_mutex_trylock(&mutex_focus), 0) << "the run kept the lens";
        pthread_mutex_unlock(&mutex_focus);
        return result;
    }

    /// Everything written, slept and called back, in order; writes are "node <- text".
    Events events() { return acts_of(all_events()); }

    /// The same after the first line that reads `line`.
    Events events_after(const std::string& line) { return acts_of(all_events_after(line)); }

    /// The same with everything printed. Lines stand without their tag, and the empty lines that many of them
    /// leave are left out.
    Events all_events() {
        Events list;
        for (const std::string& entry : board.journal({"print", "write", "sleep", "toast", "refresh"})) {
            const std::string event = shortened(entry);
            if (!event.empty()) list.push_back(event);
        }
        return list;
    }

    /// All events after the first one that reads `event`.
    Events all_events_after(const std::string& event) {
        const Events all = all_events();
        const auto found = std::find(all.begin(), all.end(), event);
        EXPECT_NE(found, all.end()) << "there is no event: " << event;
        return found == all.end() ? Events{} : Events(found + 1, all.end());
    }

    /// Whether the lens was held when the host was called.
    Events held_calls;

    testkit::ScriptedBoard board;

private:
    static Events acts_of(const Events& all) {
        Events acts;
        for (const std::string& event : all) {
            const bool called = event == "refresh" || event.rfind("toast ", 0) == 0;
            const bool acted = event.rfind("sleep ", 0) == 0 || event.find(" <- ") != std::string::npos;
            if (called || acted) acts.push_back(event);
        }
        return acts;
    }

    static std::string shortened(const std::string& entry) {
        const std::string tag = "[ovra_focus]  ";
        const std::string print = "print ";
        const std::string write = "write /sys/class/motor/";
        if (entry.rfind(print + tag, 0) == 0) return entry.substr(print.size() + tag.size());
        if (entry.rfind("print", 0) == 0) return entry.substr(std::min(entry.size(), print.size()));
        if (entry.rfind(write, 0) != 0) return entry;
        std::string text = entry.substr(write.size());
        text.replace(text.find(' '), 1, " <- ");
        const std::string newline = "\\n";
        if (text.size() > 2 && text.substr(text.size() - 2) == newline) text.resize(text.size() - 2);
        return text;
    }

    static std::string lens_state() {
        if (pthread_mutex_trylock(&mutex_focus) != 0) return "held";
        pthread_mutex_unlock(&mutex_focus);
        return "free";
    }
    void on_toast(std::int32_t code) {
        board.note("toast " + number(code));
        held_calls.push_back("toast " + number(code) + " " + lens_state());
    }
    void on_refresh() {
        board.note("refresh");
        held_calls.push_back("refresh " + lens_state());
    }

    static inline FocusRun* current = nullptr;
    app_callback_table table_{};
};

}  // namespace focusbench

#endif
