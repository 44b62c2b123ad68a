#include "virtual_projector/report/library_log.h"

#include <array>
#include <cstdio>
#include <cstdlib>
#include <fstream>

#include "virtual_projector/report/library_log_message.h"
#include "virtual_projector/world/side.h"

namespace vp {
namespace {

// A message with up to this many numbers, as scanf reads it, and the words for it, as printf writes them.
struct Rule {
    const char* pattern;
    int numbers;
    const char* words;
};

constexpr std::array<Rule, 16> rules = {{
    {"tof distance ret=0, tr:%d, br:%d, tl:%d, bl:%d", 4,
     "the ToF zones say %d, %d, %d and %d mm (right top, bottom; left top, bottom)"},
    {"avgDist = %d", 1, "their mean in range is %d mm"},
    {"tof angle = %d degree", 1, "the ToF sensor says a tilt of %d degrees"},
    {"r_led_temp_read=%d", 1, "the LED has %d degrees Celsius"},
    {"varnel_thread_setDLPKeystone: keystone upWidth = %d, downWidth = %d", 2,
     "chosen to square the picture: edges of %d pixels at the top, %d at the bottom"},
    {"varnel_keystone: keystone upWidth = %d, downWidth = %d", 2,
     "chosen to square the picture: edges of %d pixels at the top, %d at the bottom"},
    {"move left idle %d", 1, "the motor turns to the left: a backlash of %d first"},
    {"move right idle %d", 1, "the motor turns to the right: a backlash of %d first"},
    {"targetTMR after temp adjust full = %d", 1, "chosen: targets %d TMR units lower, for a hot LED"},
    {"targetTMR after temp adjust half = %d", 1, "chosen: targets %d TMR units lower, for a warm LED"},
    {"targetTMR after temp adjust elepn = %d", 1, "chosen: the light engine's own focus curve, as it is (%d)"},
    {"targetTMR after temp adjust elepn half = %d", 1,
     "chosen: the light engine's own focus curve, shifted by %d TMR units"},
    {"manu focus targetTMR = %d", 1, "the lens is to go to TMR %d"},
    {"the projection distance = %d exceeds", 1, "the wall is too far away for auto-keystone: %d mm"},
    {"direction = %d", 1, "found: TMR polarity %d"},
    {"peek step = %d", 1, "found: the sharpness peak at TMR %d"},
}};

struct Phrase {
    const char* message;
    const char* words;
};

constexpr std::array<Phrase, 26> phrases = {{
    {"nds01_dev_init failed", "the ToF sensor did not start: auto-focus stays off"},
    {"open gsensor file", "there is no gravity sensor: movements are not noticed"},
    {"hudi flash open fail", "the flash cannot be opened"},
    {"hudi_flash_otp_read fail", "the permanent record cannot be read"},
    {"hudi_flash_otp_write fail", "the permanent record cannot be written"},
    {"use gsensor vAngle", "that was for the gravity sensor's tilt"},
    {"get_tof_angle fail", "the ToF sensor gives no tilt"},
    {"Unable to read TOF angle", "the ToF sensor gives no tilt: auto-keystone ends"},
    {"auto fucos error: move far away", "no ToF zone is in range: move the projector"},
    {"auto fucos error: get tof distance failed", "the distance could not be read"},
    {"auto focus time out", "the lens did not settle"},
    {"have not benn calibrated", "the lens has not been calibrated: no manual focus"},
    {"out of range: g_limitRight", "the right limit is nearer: the lens goes there"},
    {"out of range: g_limitLeft", "the left limit is nearer: the lens goes there"},
    {"machine is sudden shake", "the projector is being moved"},
    {"machine is slow shake", "the projector is being moved slowly"},
    {"distance not changed", "the distance has not changed: nothing to do"},
    {"match device steady times 5", "five steady blocks: at rest"},
    {"tof stable and exit keystone", "the distance is steady: auto-keystone ends"},
    {"projection exceeds 3000mm, stop keystone", "too far away five times: auto-keystone ends"},
    {"autofocus acc trigger keystone", "at rest in a new place: the library asks itself for a run"},
    {"HDMI stops working", "the HDMI input does not rotate"},
    {"call back toast", "a toast goes to the host"},
    {"call back refresh ui", "the host is asked to refresh its menu"},
    {"MOTOR_IDLE_DIST NG", "the TMR sensor did not follow 15 motor steps"},
    {"peak not found", "no sharpness peak was found"},
}};

constexpr const char* no_mean = "avgDist = -1";
constexpr const char* toast_message = "call back toast";

constexpr std::array<int, 13> calibrated_mm = {3000, 1500, 1000, 750, 600, 500, 430,
                                               375,  333,  300,  275, 255, 240};
constexpr int places = 25;

using Numbers = LogNumbers;

std::string words_with(const char* words, const Numbers& n) {
    char text[200];
    // cppcheck-suppress wrongPrintfScanfArgNum  // as above
    std::snprintf(text, sizeof text, words, n[0], n[1], n[2], n[3]);
    return text;
}

// From one of the rotations' names to another; the first has none of its own.
std::string format_rotation(const std::string& message) {
    constexpr const char* done = ", device rotation success";
    const std::size_t arrow = message.find(" -> ");
    const std::size_t end = message.find(done);
    if (message.rfind("from ", 0) != 0 || arrow == std::string::npos || end == std::string::npos) return "";
    const std::string from = message.substr(5, arrow - 5);
    const std::string to = message.substr(arrow + 4, end - arrow - 4);
    return "chosen: rotation " + to + (from == "startup phase" ? "" : " in place of " + from);
}

std::string format_phrase(const std::string& message) {
    for (const Phrase& phrase : phrases) {
        if (message.find(phrase.message) != std::string::npos) return phrase.words;
    }
    return "";
}

std::string format_rule(const std::string& message) {
    if (message == no_mean) return "";  // the line after it says so in words
    for (const Rule& rule : rules) {
        Numbers numbers{};
        if (read_numbers(message, rule.pattern, rule.numbers, numbers)) return words_with(rule.words, numbers);
    }
    return "";
}

// "11 coarse steps to the left"
std::string coarse_move_text(int steps) {
    if (steps == 0) return "no coarse step";
    return std::to_string(std::abs(steps)) + " coarse step" + (std::abs(steps) == 1 ? "" : "s") + " to the " +
           side_name(steps < 0 ? Side::left : Side::right);
}

}  // namespace

int focus_place_mm(int place) {
    if (place < 0 || place >= places) return 0;
    const auto lower = static_cast<std::size_t>(place) / 2;
    return place % 2 == 0 ? calibrated_mm.at(lower)
                          : (calibrated_mm.at(lower) + calibrated_mm.at(lower + 1)) / 2;
}

// The place that is nearest to the mean, where the lens stands, and the way between them.
std::string LogFormatter::format_place(const std::string& message) {
    Numbers n{};
    if (!read_numbers(message, "curTMRIndex = %d, targetTMRIndex = %d, steps = %d", 3, n)) return "";
    aims_ = false;
    char text[200];
    if (n[0] == n[1]) {
        std::snprintf(text, sizeof text, "chosen: lens place %d, the one for %d mm, nearest; it stands there",
                      n[1], focus_place_mm(n[1]));
    } else {
        std::snprintf(text, sizeof text,
                      "chosen: lens place %d, for %d mm, nearest; it stands at place %d, for %d mm: %s", n[1],
                      focus_place_mm(n[1]), n[0], focus_place_mm(n[0]), coarse_move_text(n[2]).c_str());
    }
    return text;
}

// Said once for each target: where the lens is to go and where it stands then.
std::string LogFormatter::format_aim(const std::string& message) {
    Numbers n{};
    if (!read_numbers(message, "currentTMR = %d, targetTMR = %d", 2, n)) return "";
    const bool known = aims_ && aim_.target == n[1];
    aims_ = true;
    aim_ = {n[0], n[1]};
    if (known) return "";
    return words_with("the target is TMR %d, the lens stands at %d: the rest by feedback", {n[1], n[0], 0, 0});
}

std::string LogFormatter::format_arrival(const std::string& message) const {
    const bool arrived = message == "auto focus completed" || message == "manul focus completed";
    if (!arrived || !aims_) return "";
    return words_with("final check: TMR %d for the target %d, close enough", {aim_.current, aim_.target, 0, 0});
}

std::string LogFormatter::format(const std::string& line) {
    if (line.empty()) return "";
    const std::string message = log_message(line);
    for (const std::string& words : {format_place(message), format_aim(message), format_arrival(message),
                                     format_rotation(message), format_phrase(message)}) {
        if (!words.empty()) return words;
    }
    return format_rule(message);
}

LibraryLog read_library_log(const std::string& path) {
    LibraryLog read;
    LogFormatter formatter;
    std::ifstream log(path);
    for (std::string line; std::getline(log, line);) {
        if (line.find(toast_message) != std::string::npos) ++read.toasts;
        const std::string words = formatter.format(line);
        if (!words.empty() && (read.words.empty() || read.words.back() != words)) read.words.push_back(words);
    }
    return read;
}

}  // namespace vp
