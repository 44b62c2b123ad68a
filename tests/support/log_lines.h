// The library's log lines as the tests expect them.
#ifndef TESTS_SUPPORT_LOG_LINES_H
#define TESTS_SUPPORT_LOG_LINES_H

#include <cstddef>
#include <string>

namespace testkit {

/// A line with the library's tag. A text that ends in a newline leaves an empty line after it.
inline std::string tagged(const std::string& text) { return "[ovra_focus]  " + text + "\n"; }

/// A tagged line that says where it comes from.
inline std::string located(const std::string& function, const std::string& room, int line,
                           const std::string& text) {
    return tagged(function + " | " + room + " [line=" + std::to_string(line) + "] " + text);
}

/// The pieces of a log that begin with `start`, each up to its newline. They need not begin a line: what is
/// printed bare may leave its own line open.
inline std::string pieces_of(const std::string& log, const std::string& start) {
    std::string pieces;
    for (std::size_t at = log.find(start); at != std::string::npos; at = log.find(start, at + 1))
        pieces += log.substr(at, log.find('\n', at) + 1 - at);
    return pieces;
}

/// The log without them.
inline std::string without_pieces(std::string log, const std::string& start) {
    for (std::size_t at = log.find(start); at != std::string::npos; at = log.find(start, at))
        log.erase(at, log.find('\n', at) + 1 - at);
    return log;
}

}  // namespace testkit

#endif
