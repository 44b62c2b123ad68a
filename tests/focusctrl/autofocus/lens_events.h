// What the library does with the lens, as one list of short events.
#ifndef TESTS_FOCUSCTRL_AUTOFOCUS_LENS_EVENTS_H
#define TESTS_FOCUSCTRL_AUTOFOCUS_LENS_EVENTS_H

#include <algorithm>
#include <string>
#include <vector>

#include "tests/support/scripted_board.h"

namespace testkit {

/// In their order: printed lines without their tag, "NODE <- TEXT" for a write to a motor node, "sleep N", and
/// "position" for a reading of the sensor. What the sensor's own reader prints is left out.
inline std::vector<std::string> lens_events(ScriptedBoard& board) {
    const std::string print = "print [ovra_focus]  ";
    const std::string write = "write /sys/class/motor/";
    std::vector<std::string> events;
    for (const std::string& entry : board.journal({"print", "write", "sleep", "read"})) {
        if (entry.rfind("sleep", 0) == 0) events.push_back(entry);
        if (entry == "read /sys/class/motor/tmr_adc") events.emplace_back("position");
        if (entry.rfind(print, 0) == 0 && entry.find("current tmr ret") == std::string::npos)
            events.push_back(entry.substr(print.size()));
        if (entry.rfind(write, 0) == 0) {
            std::string text = entry.substr(write.size());
            text.replace(text.find(' '), 1, " <- ");
            events.push_back(text.substr(0, text.find("\\n")));  // the step nodes take a newline
        }
    }
    return events;
}

/// The `count` events after the first one that reads `event`; none when there is no such event.
inline std::vector<std::string> lens_events_after(ScriptedBoard& board, const std::string& event,
                                                  std::size_t count) {
    const std::vector<std::string> all = lens_events(board);
    auto first = std::find(all.begin(), all.end(), event);
    if (first != all.end()) ++first;
    const auto rest = static_cast<std::size_t>(all.end() - first);
    return {first, first + static_cast<std::ptrdiff_t>(std::min(count, rest))};
}

}  // namespace testkit

#endif
