// What the library's log says of its measurements and decisions, in words.
#ifndef VIRTUAL_PROJECTOR_REPORT_LIBRARY_LOG_H
#define VIRTUAL_PROJECTOR_REPORT_LIBRARY_LOG_H

#include <string>
#include <vector>

namespace vp {

enum class LogKind {
    nothing,  // that a story needs
    seen,     // by a sensor
    chosen,   // by the library
    refused,  // or not possible, or gone wrong
    detail,   // of how it is done
};

struct LogWords {
    LogKind kind = LogKind::nothing;
    std::string words;  // empty: it says nothing that a story needs

    bool operator==(const LogWords& other) const { return kind == other.kind && words == other.words; }
};

/// Turns log lines of one thread into words, one after the other: some say something only together with those
/// before.
class LogFormatter {
public:
    LogWords format(const std::string& line);

private:
    struct Aim {
        int current = 0;
        int target = 0;
    };
    LogWords format_place(const std::string& message);
    LogWords format_aim(const std::string& message);
    LogWords format_arrival(const std::string& message) const;

    bool aims_ = false;  // a target has been shown in this run
    Aim aim_;
};

/// The lines of a log that was written to a file, without the empty ones; none when it cannot be read.
std::vector<std::string> read_library_log(const std::string& path);

/// The distance in millimetres that a focus place (0 to 24) is for; 0 for any other.
int focus_place_mm(int place);

}  // namespace vp

#endif
