// The words of a story's entries.
#ifndef VIRTUAL_PROJECTOR_REPORT_STORY_WORDS_H
#define VIRTUAL_PROJECTOR_REPORT_STORY_WORDS_H

#include <cstddef>
#include <string>
#include <vector>

#include "virtual_projector/report/requests.h"
#include "virtual_projector/report/story_entries.h"

namespace vp {

/// "keystone and focus, asked by the host"
std::string beginning_words(const Request& request);

/// "done: squared for a tilt of 12 degrees, focused (sharpness 0.004 -> 1.000, ...)"
std::string end_words(const Request& request);

/// Both in one.
std::string whole_words(const Request& request);

/// What a request has changed of what it is there to change.
std::string before_and_after(const Request& request);

/// "picture: top edge 1280 -> 1148, bottom edge 1280 pixels wide, in 8 steps"
std::string width_words(const StoryEntry& widths, std::size_t steps);

/// "lens: 13 full steps to the left, 1 half step to the right, in 4 orders"
std::string order_words(const std::vector<LensMoveAt>& orders);

/// "6, the right limit"
std::string toast_name(const CallbackLine& toast);

/// "planned fault 2: EIO (read /sys/class/motor/tmr_adc)"
std::string fault_words(const CallAt& call);

/// A line of a log as a terminal may show it: without colours, line ends and other control characters.
std::string plain_text(const std::string& line);

/// "1 step", "2 steps"
std::string counted(std::size_t count, const std::string& what);

/// As printf writes it, at most 239 characters.
std::string text(const char* format, ...) __attribute__((format(printf, 1, 2)));

/// "0.004 -> 1.000", or one of them when they are the same.
std::string change(const std::string& before, const std::string& after);

}  // namespace vp

#endif
