#include "virtual_projector/report/library_log.h"

#include <array>
#include <cstdio>
#include <fstream>

namespace vp {
namespace {

// A message with up to this many numbers, as scanf reads it, and the words for it, as printf writes them.
struct Rule {
    const char* pattern;
    int numbers;
    const char* words;
};

constexpr std::array<Rule, 14> rules = {{
    {"tof distance ret=0, tr:%d, br:%d, tl:%d, bl:%d", 4,
     "the ToF zones say %d, %d, %d and %d mm (right top, bottom; left top, bottom)"},
    {"avgDist = %d", 1, "their mean in range is %d mm"},
    {"tof angle = %d degree", 1, "the ToF sensor says a tilt of %d degrees"},
    {"r_led_temp_read=%d", 1, "the LED has %d degrees Celsius"},
    {"varnel_thread_setDLPKeystone: keystone upWidth = %d, downWidth = %d", 2,
     "chosen: widths of %d at the top and %d at the bottom"},
    {"curTMRIndex = %d, targetTMRIndex = %d, steps = %d", 3,
     "chosen: from lens place %d to place %d of 24, %d coarse steps (negative: left)"},
    {"move left idle %d", 1, "the motor turns to the left: %d steps of idle travel first"},
    {"move right idle %d", 1, "the motor turns to the right: %d steps of idle travel first"},
    {"targetTMR after temp adjust full = %d", 1, "chosen: %d TMR units off, for a hot LED"},
    {"targetTMR after temp adjust half = %d", 1, "chosen: %d TMR units off, for a warm LED"},
    {"targetTMR after temp adjust elepn = %d", 1, "chosen: the light engine's own curve, offset %d"},
    {"targetTMR after temp adjust elepn half = %d", 1, "chosen: the light engine's own curve, offset %d"},
    {"manu focus targetTMR = %d", 1, "the lens is to go to TMR %d"},
    {"the projection distance = %d exceeds", 1, "the wall is too far away: %d mm"},
}};

struct Phrase {
    const char* message;
    const char* words;
};

constexpr std::array<Phrase, 11> phrases = {{
    {"nds01_dev_init failed", "the ToF sensor did not start: auto-focus stays off"},
    {"use gsensor vAngle", "chosen: the gravity sensor's tilt"},
    {"get_tof_angle fail", "the ToF sensor gives no tilt"},
    {"auto fucos error: move far away", "no ToF zone is in range: move the projector"},
    {"auto fucos error: get tof distance failed", "the distance could not be read"},
    {"auto focus completed", "the lens has arrived"},
    {"auto focus time out", "the lens did not settle"},
    {"machine is sudden shake", "the projector is being moved"},
    {"machine is slow shake", "the projector is being moved slowly"},
    {"distance not changed", "the distance has not changed: nothing to do"},
    {"autofocus acc trigger keystone", "at rest in a new place: a run is asked for"},
}};

constexpr int most_numbers = 4;

// Reads a rule's numbers. They must all be there, so that a text that only begins alike does not count.
bool matches(const Rule& rule, const char* text, std::array<int, most_numbers>& numbers) {
    return std::sscanf(text, rule.pattern, &numbers[0], &numbers[1], &numbers[2], &numbers[3]) == rule.numbers;
}

std::string say(const Rule& rule, const std::array<int, most_numbers>& n) {
    char words[200];
    std::snprintf(words, sizeof words, rule.words, n[0], n[1], n[2], n[3]);
    return words;
}

std::string without_colour(const std::string& line) {
    std::string plain;
    for (std::size_t i = 0; i < line.size(); ++i) {
        if (line[i] == '\033') {
            while (i < line.size() && line[i] != 'm') ++i;
        } else {
            plain += line[i];
        }
    }
    return plain;
}

std::string message_of(const std::string& line) {
    const std::string plain = without_colour(line);
    const std::size_t tag_end = plain.find("]  ");
    return plain[0] == '[' && tag_end != std::string::npos ? plain.substr(tag_end + 3) : plain;
}

}  // namespace

std::string tell_log_line(const std::string& line) {
    if (line.empty()) return "";
    const std::string message = message_of(line);
    for (const Phrase& phrase : phrases) {
        if (message.find(phrase.message) != std::string::npos) return phrase.words;
    }
    for (const Rule& rule : rules) {
        std::array<int, most_numbers> numbers{};
        if (matches(rule, message.c_str(), numbers)) return say(rule, numbers);
    }
    return "";
}

std::vector<std::string> read_library_log(const std::string& path) {
    std::vector<std::string> told;
    std::ifstream log(path);
    for (std::string line; std::getline(log, line);) {
        const std::string words = tell_log_line(line);
        if (!words.empty() && (told.empty() || told.back() != words)) told.push_back(words);
    }
    return told;
}

}  // namespace vp
