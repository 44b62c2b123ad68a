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
    LogKind kind;
    const char* words;
};

constexpr std::array<Rule, 15> rules = {{
    {"tof distance ret=0, tr:%d, br:%d, tl:%d, bl:%d", 4, LogKind::seen,
     "ToF, top and bottom: right %d, %d mm, left %d, %d mm"},
    {"avgDist = %d", 1, LogKind::seen, "the mean of what is in range is %d mm"},
    {"tof angle = %d degree", 1, LogKind::seen, "the ToF sensor says a tilt of %d degrees"},
    {"r_led_temp_read=%d", 1, LogKind::seen, "the LED has %d degrees Celsius"},
    {"varnel_thread_setDLPKeystone: keystone upWidth = %d, downWidth = %d", 2, LogKind::chosen,
     "chosen to square it: top edge %d pixels, bottom edge %d"},
    {"varnel_keystone: keystone upWidth = %d, downWidth = %d", 2, LogKind::chosen,
     "chosen to square it: top edge %d pixels, bottom edge %d"},
    {"move left idle %d", 1, LogKind::detail, "the motor turns round to the left: backlash %d first"},
    {"move right idle %d", 1, LogKind::detail, "the motor turns round to the right: backlash %d first"},
    {"targetTMR after temp adjust full = %d", 1, LogKind::chosen,
     "chosen: targets %d TMR units lower, for a hot LED"},
    {"targetTMR after temp adjust half = %d", 1, LogKind::chosen,
     "chosen: targets %d TMR units lower, for a warm LED"},
    {"targetTMR after temp adjust elepn = %d", 1, LogKind::chosen,
     "chosen: the light engine's own focus curve, as it is (%d)"},
    {"targetTMR after temp adjust elepn half = %d", 1, LogKind::chosen,
     "chosen: the light engine's own focus curve, %d TMR units off"},
    {"the projection distance = %d exceeds", 1, LogKind::refused,
     "the wall is too far away for auto-keystone: %d mm"},
    {"direction = %d", 1, LogKind::detail, "found: TMR polarity %d"},
    {"peek step = %d", 1, LogKind::detail, "found: the sharpness peak at TMR %d"},
}};

struct Phrase {
    const char* message;
    LogKind kind;
    const char* words;
};

constexpr std::array<Phrase, 31> phrases = {{
    {"nds01_dev_init failed", LogKind::refused, "the ToF sensor did not start: auto-focus stays off"},
    {"open gsensor file", LogKind::refused, "there is no gravity sensor: movements are not noticed"},
    {"gsensor has not been calibrated yet", LogKind::detail, "the gravity sensor has not been calibrated"},
    {"hudi flash open fail", LogKind::refused, "the flash cannot be opened"},
    {"hudi_flash_otp_read fail", LogKind::refused, "the permanent record cannot be read"},
    {"hudi_flash_otp_write fail", LogKind::refused, "the permanent record cannot be written"},
    {"open /dev/dis error", LogKind::refused, "the display cannot be opened"},
    {"use gsensor vAngle", LogKind::chosen, "that was for the gravity sensor's tilt"},
    {"get_tof_angle fail", LogKind::seen, "the ToF sensor gives no tilt"},
    {"Unable to read TOF angle", LogKind::refused, "the ToF sensor gives no tilt: auto-keystone ends"},
    {"auto fucos error: move far away", LogKind::refused, "no ToF zone is in range: move the projector"},
    {"auto fucos error: get tof distance failed", LogKind::refused, "the distance could not be read"},
    {"auto focus time out", LogKind::refused, "the lens did not settle"},
    {"have not benn calibrated", LogKind::refused, "auto-focus is off: no manual focus"},
    {"out of range: g_limitRight", LogKind::chosen, "the right limit is nearer: the lens goes there"},
    {"out of range: g_limitLeft", LogKind::chosen, "the left limit is nearer: the lens goes there"},
    {"machine is sudden shake", LogKind::seen, "the projector is being moved"},
    {"machine is slow shake", LogKind::seen, "the projector is being moved slowly"},
    {"distance not changed", LogKind::chosen, "the distance has not changed: nothing to do"},
    {"match device steady times 5", LogKind::seen, "five steady looks at gravity: it is at rest"},
    {"tof stable and exit keystone", LogKind::detail, "the distance is steady: auto-keystone ends"},
    {"projection exceeds 3000mm, stop keystone", LogKind::refused,
     "too far away five times: auto-keystone ends"},
    {"autofocus acc trigger keystone", LogKind::chosen,
     "at rest in a new place: the library asks itself for a run"},
    {"HDMI stops working", LogKind::refused, "the HDMI input does not turn its picture"},
    {"call back refresh ui", LogKind::detail, "the host is asked to refresh its menu"},
    {"enter factory testing", LogKind::chosen, "the host is in factory testing: movements are not followed"},
    {"MOTOR_IDLE_DIST NG", LogKind::refused, "the TMR sensor did not follow 15 motor steps"},
    {"permanent_data_write error", LogKind::refused, "the lens table could not be recorded"},
    {"write_cali_flag error", LogKind::refused, "the calibration flags could not be recorded"},
    {"Calibration failed", LogKind::refused, "the ToF sensor could not be calibrated"},
    {"peak not found", LogKind::refused, "no sharpness peak was found"},
}};

constexpr const char* no_mean = "avgDist = -1";

constexpr std::array<int, 13> calibrated_mm = {3000, 1500, 1000, 750, 600, 500, 430,
                                               375,  333,  300,  275, 255, 240};
constexpr int places = 25;

std::string words_with(const char* words, const LogNumbers& n) {
    char text[200];
    // cppcheck-suppress wrongPrintfScanfArgNum  // a pattern takes as many as it has
    std::snprintf(text, sizeof text, words, n[0], n[1], n[2], n[3]);
    return text;
}

LogWords format_phrase(const std::string& message) {
    for (const Phrase& phrase : phrases) {
        if (contains(message, phrase.message)) return {phrase.kind, phrase.words};
    }
    return {};
}

LogWords format_rule(const std::string& message) {
    if (message == no_mean) return {};  // the line after it says so in words
    for (const Rule& rule : rules) {
        LogNumbers numbers{};
        if (read_numbers(message, rule.pattern, rule.numbers, numbers))
            return {rule.kind, words_with(rule.words, numbers)};
    }
    return {};
}

// What is asked of a lens that has not been calibrated fails later, and this is why.
LogWords format_calibration(const std::string& message) {
    LogNumbers n{};
    if (!read_numbers(message, "int: gsensor = %d, tof = %d, tmr = %d", 3, n) || n[2] != 0) return {};
    return {LogKind::refused, "the lens has not been calibrated"};
}

LogWords format_key(const std::string& message) {
    unsigned type = 0;
    unsigned code = 0;
    unsigned value = 0;
    if (std::sscanf(message.c_str(), "headset %x %x %x", &type, &code, &value) != 3) return {};
    const char* const how = value == 0 ? "let go" : "pressed";
    return {LogKind::seen, "the key of code " + std::to_string(code) + " is " + how};
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
LogWords LogFormatter::format_place(const std::string& message) {
    LogNumbers n{};
    if (!read_numbers(message, "curTMRIndex = %d, targetTMRIndex = %d, steps = %d", 3, n)) return {};
    aims_ = false;
    std::string words = "chosen: focus for " + std::to_string(focus_place_mm(n[1])) + " mm";
    if (n[0] == n[1]) return {LogKind::chosen, words + ", where the lens stands"};
    words += "; it is for " + std::to_string(focus_place_mm(n[0])) + " mm: " + coarse_move_text(n[2]);
    return {LogKind::chosen, words};
}

// Said once for each target: where the lens is to go and where it stands then.
LogWords LogFormatter::format_aim(const std::string& message) {
    LogNumbers n{};
    if (!read_numbers(message, "currentTMR = %d, targetTMR = %d", 2, n)) return {};
    const bool known = aims_ && aim_.target == n[1];
    aims_ = true;
    aim_ = {n[0], n[1]};
    if (known) return {};
    return {LogKind::detail, words_with("the target is TMR %d, the lens stands at %d: the rest by feedback",
                                        {n[1], n[0], 0, 0})};
}

LogWords LogFormatter::format_arrival(const std::string& message) const {
    const bool arrived = message == "auto focus completed" || message == "manul focus completed";
    if (!arrived || !aims_) return {};
    return {LogKind::detail, words_with("final check: TMR %d for the target %d, close enough",
                                        {aim_.current, aim_.target, 0, 0})};
}

LogWords LogFormatter::format(const std::string& line) {
    const std::string message = log_message(line);
    if (message.empty()) return {};
    for (const LogWords& words : {format_place(message), format_aim(message), format_arrival(message),
                                  format_calibration(message), format_key(message), format_phrase(message)}) {
        if (words.kind != LogKind::nothing) return words;
    }
    return format_rule(message);
}

std::vector<std::string> read_library_log(const std::string& path) {
    std::vector<std::string> lines;
    std::ifstream log(path);
    for (std::string line; std::getline(log, line);) {
        if (!log_message(line).empty()) lines.push_back(line);
    }
    return lines;
}

}  // namespace vp
