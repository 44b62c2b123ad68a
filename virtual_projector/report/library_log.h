// What the library's log tells of its measurements and decisions.
#ifndef VIRTUAL_PROJECTOR_REPORT_LIBRARY_LOG_H
#define VIRTUAL_PROJECTOR_REPORT_LIBRARY_LOG_H

#include <string>
#include <vector>

namespace vp {

/// The log's telling lines in plain words, in their order, those that repeat the one before left out. Colour
/// codes are dropped. A file that cannot be read tells nothing.
std::vector<std::string> read_library_log(const std::string& path);

/// One line of the log in plain words; empty when it tells nothing that a story needs.
std::string tell_log_line(const std::string& line);

}  // namespace vp

#endif
