#include "host/factory_commands.h"

#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <string>

#include "host/console.h"
#include "host/host_session.h"
#include "host/peek.h"
#include "host/record_text.h"
#include "ovrafocus/ovrafocus.h"

namespace host {
namespace {

constexpr int sweep_points = 14;
constexpr int sweep_target_point = 2;
constexpr std::size_t longest_table_text = 149;

// For foreseeing how long the table's text will be. A motor step moves the lens by about 18 TMR units, but how
// far it moves this one is not known before it has been measured: anything from nothing to the steepest.
constexpr std::int64_t steepest_tmr_per_step = 100;
constexpr std::int64_t sweep_tolerance_tmr = 20;  // the lens stops so near to the target, noise included
constexpr std::int64_t left_limit_margin_tmr = 20;
constexpr std::int64_t right_limit_margin_tmr = 40;
constexpr std::size_t comma = 1;
constexpr std::size_t polarity_and_backlash_text = sizeof ",1,10,10" - 1;

// The ToF sensor ranges 30 times a second; some frames pass before its calibration is judged.
constexpr useconds_t settling_us = 100 * 1000;

constexpr int no_distance = -1;   // as getAvgDist() has it
constexpr int check_failed = -1;  // this program's own result of looking at what the library did

constexpr int min_flag = 0;
constexpr int max_flag = 4;

// Says how a step ended; `why` tells what a failure of it means.
Outcome verdict(const char* what, bool good, int result, const char* why) {
    if (good) {
        say("%s: done", what);
        return Outcome::done;
    }
    say("%s: failed (%d): %s", what, result, why);
    note_request_failed();
    return Outcome::failed;
}

constexpr const char* no_record = "the permanent record could not be written";
constexpr const char* no_movement =
    "the reading did not follow the motor: the lens sticks, or its sensor does not work";

// A write is of the whole record. One of zeros alone is none that anybody wrote, nor a blank one: the flash
// could not be read at the start, and the serial numbers in it would be lost.
bool record_may_be_written() {
    ovra_permanent_record record{};
    permanent_data_read(&record);
    const char* const bytes = reinterpret_cast<const char*>(&record);
    if (std::any_of(bytes, bytes + sizeof record, [](char byte) { return byte != 0; })) return true;
    say("the permanent record could not be read, and is not overwritten: start again, or 'clean' it first");
    note_request_failed();
    return false;
}

Outcome calibrate_gravity(const Arguments& arguments) {
    int offset[3];
    if (arguments.size() != 4) return Outcome::misused;
    for (std::size_t axis = 0; axis < 3; ++axis) {
        if (!parse_int(arguments[axis + 1], offset[axis])) return Outcome::misused;
        if (offset[axis] < -20000 || offset[axis] > 20000) {
            say("gravity offsets must lie in -20000 to 20000");
            note_request_failed();
            return Outcome::failed;
        }
    }
    if (!record_may_be_written()) return Outcome::failed;
    ovra_permanent_record record{};
    permanent_data_read(&record);
    std::memset(record.gsensor_offset_text, 0, sizeof record.gsensor_offset_text);
    std::snprintf(record.gsensor_offset_text, sizeof record.gsensor_offset_text, "%d,%d,%d", offset[0],
                  offset[1], offset[2]);
    const int result = permanent_data_write(&record);
    return verdict("gravity offsets", result == 0, result, no_record);
}

// The library only prints how the calibration went; measuring tells.
bool target_is_measured_at(int depth_mm) {
    int frame[8] = {};
    const bool read = tof_distance_read(frame) == 0;
    const int measured_mm = read ? getAvgDist(frame) : no_distance;
    const std::int64_t tolerance_mm = std::max(5, depth_mm / 100);
    const bool near = measured_mm > 0 && std::abs(std::int64_t{measured_mm} - depth_mm) <= tolerance_mm;
    if (!near && measured_mm > 0) say("the target at %d mm is measured at %d mm", depth_mm, measured_mm);
    if (measured_mm <= 0) say("the target at %d mm cannot be measured", depth_mm);
    return near;
}

Outcome calibrate_tof(const Arguments& arguments) {
    int depth_mm = 0;
    int argument = 0;
    if (arguments.size() != 3 || !parse_int(arguments[1], depth_mm) || !parse_int(arguments[2], argument)) {
        return Outcome::misused;
    }
    const int result = nds01_offset_calibration_at_depth_for_isp(depth_mm, argument);
    if (result < 0) {
        return verdict("ToF offset", false, result, "the sensor did not go back to its point mode");
    }
    usleep(settling_us);
    return verdict("ToF offset", target_is_measured_at(depth_mm), check_failed,
                   "the calibration did not succeed: is the target flat, square and at this depth?");
}

Outcome calibrate_direction(const Arguments&) {
    int polarity = 0;
    const int result = get_direction(&polarity);
    if (result == OVRA_RESULT_OK)
        say("TMR sense: %d (%s)", polarity, polarity == 1 ? "readings are negated" : "as read");
    return verdict("lens direction", result == OVRA_RESULT_OK, result, no_movement);
}

Outcome calibrate_backlash(const Arguments& arguments) {
    if (arguments.size() != 2 || (arguments[1] != "left" && arguments[1] != "right")) return Outcome::misused;
    const int result = go_cali_tmr_idle(arguments[1] == "left" ? 1 : 0);
    return verdict("idle travel", result == OVRA_RESULT_OK, result, no_movement);
}

std::size_t length_of(std::int64_t number) { return std::to_string(number).size(); }

// The most characters that a number from a range takes: the longest stands at one of its ends.
std::size_t longest_in(std::int64_t min, std::int64_t max) { return std::max(length_of(min), length_of(max)); }

// The most characters of the place that lies so many half steps to the right of the target.
std::size_t longest_place(std::int64_t target, int half_steps) {
    const std::int64_t farthest = target + half_steps * steepest_tmr_per_step / 2;
    return longest_in(std::min(target, farthest) - sweep_tolerance_tmr,
                      std::max(target, farthest) + sweep_tolerance_tmr);
}

// The library stops the process when the table's text overflows its field, so the text is foreseen here, as
// long as it may become.
bool table_text_will_fit(std::int64_t target) {
    constexpr int places = 2 * (sweep_points - 1) - 1;
    constexpr int first = -2 * sweep_target_point;
    constexpr int last_point = sweep_points - 1 - sweep_target_point;
    std::size_t length = 0;
    for (int place = 0; place < places; ++place) length += longest_place(target, first + place) + comma;
    const std::int64_t leftmost = target - sweep_target_point * steepest_tmr_per_step;
    const std::int64_t rightmost = target + last_point * steepest_tmr_per_step;
    length += longest_in(leftmost - sweep_tolerance_tmr - left_limit_margin_tmr, target) + comma;
    length +=
        longest_in(target - sweep_tolerance_tmr, rightmost + sweep_tolerance_tmr + right_limit_margin_tmr);
    return length + polarity_and_backlash_text <= longest_table_text;
}

bool rises(const int (&measured)[sweep_points]) {
    return std::adjacent_find(measured, measured + sweep_points, std::greater_equal<>()) ==
           measured + sweep_points;
}

bool table_is_stored() {
    std::string text;
    for (const std::int32_t& number : listFlash)
        text += (text.empty() ? "" : ",") + std::to_string(peek(number));
    ovra_permanent_record record{};
    permanent_data_read(&record);
    return printable_text(record.tmr_table_text, sizeof record.tmr_table_text) == text;
}

Outcome calibrate_table(const Arguments& arguments) {
    int target = 0;
    if (arguments.size() != 2 || !parse_int(arguments[1], target)) return Outcome::misused;
    if (!table_text_will_fit(target)) {
        say("a table around TMR %d may need more than its %zu characters: refused", target, longest_table_text);
        note_request_failed();
        return Outcome::failed;
    }
    if (!record_may_be_written()) return Outcome::failed;
    int measured[sweep_points] = {};
    const int result = get_cali_list_tmr(target, measured);
    if (result != 0) return verdict("lens table", false, result, "the lens did not go where it should");
    say("lens table: TMR %d (far) to %d (near), limits %d and %d, idle %d and %d", measured[0],
        measured[sweep_points - 1], peek(g_limitLeft), peek(g_limitRight), peek(leftIdle), peek(rightIdle));
    if (!rises(measured)) {
        return verdict(
            "lens table", false, check_failed,
            "the positions do not rise from step to step: the lens sticks or jumps, or its sensor is "
            "disturbed");
    }
    // The library only prints a failed write; reading back tells.
    return verdict("lens table", table_is_stored(), check_failed, no_record);
}

Outcome calibrate_peak(const Arguments&) {
    const int result = get_cali_peak_tmr();
    if (result == 0) say("sharpness peak at TMR %.1f", getDoublePeekStep());
    return verdict("sharpness peak", result == 0, result, "there is none near the lens's place");
}

struct Step {
    const char* name;
    Outcome (*run)(const Arguments&);
};

constexpr Step steps[] = {
    {"gravity", calibrate_gravity}, {"tof", calibrate_tof},     {"direction", calibrate_direction},
    {"idle", calibrate_backlash},   {"table", calibrate_table}, {"peak", calibrate_peak},
};

Outcome run_calibrate(const Arguments& arguments) {
    for (const Step& step : steps) {
        if (arguments[0] == step.name) return step.run(arguments);
    }
    return Outcome::misused;
}

Outcome run_flags(const Arguments& arguments) {
    int flags[3];
    for (std::size_t i = 0; i < 3; ++i) {
        if (!parse_int(arguments[i], flags[i])) return Outcome::misused;
        if (flags[i] < min_flag || flags[i] > max_flag) {
            say("calibration flags must lie in %d to %d", min_flag, max_flag);
            note_request_failed();
            return Outcome::failed;
        }
    }
    if (!record_may_be_written()) return Outcome::failed;
    write_cali_flag(flags);
    // The library only prints a failed write; reading back tells.
    int stored[3] = {};
    get_cali_flag(stored);
    const bool kept = (stored[0] != 0) == (flags[0] != 0) && (stored[1] != 0) == (flags[1] != 0) &&
                      (stored[2] != 0) == (flags[2] != 0);
    say("calibration flags: gravity %d, ToF %d, lens %d", stored[0], stored[1], stored[2]);
    return verdict("calibration flags", kept, kept ? 0 : check_failed, no_record);
}

Outcome run_clean(const Arguments&) {
    const int result = permanent_data_clean();
    return verdict("erasing the record", result == 0, result, no_record);
}

Outcome run_dump(const Arguments&) {
    const int result = dump_permanent_data_for_debug();
    if (result == 0) say("the record stands in the library's log");
    return verdict("dumping the record", result == 0, result, "the flash could not be read");
}

}  // namespace

const std::vector<Command>& factory_commands() {
    static const std::vector<Command> table = {
        {"calibrate", "gravity X Y Z | tof DEPTH_MM ARGUMENT | direction | idle left|right | table TMR | peak",
         "calibrate one thing", 1, 4, false, run_calibrate},
        {"flags", "GRAVITY TOF LENS", "record what has been calibrated", 3, 3, false, run_flags},
        {"clean", "", "erase the permanent record", 0, 0, false, run_clean},
        {"dump", "", "dump flash and memory into the library's log", 0, 0, false, run_dump},
    };
    return table;
}

}  // namespace host
