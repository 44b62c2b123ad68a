// A line of the library's log, taken apart.
#ifndef VIRTUAL_PROJECTOR_REPORT_LIBRARY_LOG_MESSAGE_H
#define VIRTUAL_PROJECTOR_REPORT_LIBRARY_LOG_MESSAGE_H

#include <array>
#include <string>
#include <string_view>

namespace vp {

/// What the line says: without its tag, such as "[ovra_focus]  ", and without colours.
std::string log_message(const std::string& line);

bool starts_with(std::string_view text, std::string_view beginning);
bool contains(std::string_view text, std::string_view part);

using LogNumbers = std::array<int, 4>;

/// Reads a message's numbers as scanf would. They must all be there, so that a text that only begins alike does
/// not count.
bool read_numbers(const std::string& message, const char* pattern, int count, LogNumbers& numbers);

}  // namespace vp

#endif
