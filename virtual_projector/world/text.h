// Numbers, names and lists as they stand in messages.
#ifndef VIRTUAL_PROJECTOR_WORLD_TEXT_H
#define VIRTUAL_PROJECTOR_WORLD_TEXT_H

#include <string>
#include <string_view>
#include <vector>

namespace vp {

/// With up to ten digits: every bound of a parameter is shown in full.
std::string number_text(double value);

/// The beginning of what somebody wrote, about 40 bytes in whole characters of UTF-8, on one line.
std::string excerpt(std::string_view text);

/// "a, b, c"
std::string join(const std::vector<std::string_view>& names);

/// Each line cut at blanks into lines of at most `width` columns. What goes on stands below the place where the
/// line's last column of words began.
std::string wrap_lines(const std::string& text, std::size_t width);

}  // namespace vp

#endif
