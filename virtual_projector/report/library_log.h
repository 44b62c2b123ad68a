// What the library's log says of its measurements and decisions.
#ifndef VIRTUAL_PROJECTOR_REPORT_LIBRARY_LOG_H
#define VIRTUAL_PROJECTOR_REPORT_LIBRARY_LOG_H

#include <string>
#include <vector>

namespace vp {

struct LibraryLog {
    std::vector<std::string> words;  // of the lines that a story needs, in their order
    int toasts = 0;                  // how many were sent to the host
};

/// Turns log lines into words, one after the other: some say something only together with those before.
class LogFormatter {
public:
    /// A line in plain words; empty when it says nothing that a story needs. Colour codes are dropped.
    std::string format(const std::string& line);

private:
    struct Aim {
        int current = 0;
        int target = 0;
    };
    std::string format_place(const std::string& message);
    std::string format_aim(const std::string& message);
    std::string format_arrival(const std::string& message) const;

    bool aims_ = false;  // a target has been shown in this run
    Aim aim_;
};

/// A file that cannot be read has no words. Words that repeat those before them are left out.
LibraryLog read_library_log(const std::string& path);

/// The distance in millimetres that a focus place (0 to 24) is for; 0 for any other.
int focus_place_mm(int place);

}  // namespace vp

#endif
