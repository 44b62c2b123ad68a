// What a thread of the program has printed and nobody has recorded yet.
//
// A line is recorded at the thread's next call. Between its calls a thread keeps its turn, so that the line
// stands where it was printed, and nothing is waited for while somebody holds a stream.
#ifndef VIRTUAL_PROJECTOR_INTERPOSE_LOG_LINES_H
#define VIRTUAL_PROJECTOR_INTERPOSE_LOG_LINES_H

#include <cstdarg>
#include <string>
#include <string_view>
#include <vector>

namespace vp {

class LogLines {
public:
    void add(std::string_view text);
    void add_formatted(const char* format, va_list arguments);

    bool has_lines() const { return !lines_.empty(); }
    /// The whole lines since the last time, without their newlines; empty ones left out.
    std::vector<std::string> take();

private:
    void add_piece(std::string_view piece);

    std::vector<std::string> lines_;
    std::string begun_;
};

/// The calling thread's own; null when it is none of the program's.
LogLines* current_log_lines();
void set_current_log_lines(LogLines* lines);

}  // namespace vp

#endif
