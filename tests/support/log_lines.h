// The library's log lines as the tests expect them.
#ifndef TESTS_SUPPORT_LOG_LINES_H
#define TESTS_SUPPORT_LOG_LINES_H

#include <string>

namespace testkit {

/// A line with the library's tag. A text that ends in a newline leaves an empty line behind it.
inline std::string tagged(const std::string& text) { return "[ovra_focus]  " + text + "\n"; }

/// A tagged line that tells where it comes from.
inline std::string located(const std::string& function, const std::string& room, int line,
                           const std::string& text) {
    return tagged(function + " | " + room + " [line=" + std::to_string(line) + "] " + text);
}

}  // namespace testkit

#endif
