#include "virtual_projector/interpose/log_lines.h"

#include <cstdio>
#include <utility>

namespace vp {
namespace {

// A text without an end is cut, as is one that nobody ends.
constexpr std::size_t longest_line = 4096;

thread_local LogLines* current = nullptr;

}  // namespace

LogLines* current_log_lines() { return current; }

void set_current_log_lines(LogLines* lines) { current = lines; }

void LogLines::add(std::string_view text) {
    while (!text.empty()) {
        const std::size_t end = text.find('\n');
        add_piece(text.substr(0, end));
        if (end == std::string_view::npos) return;
        if (!begun_.empty()) lines_.push_back(std::exchange(begun_, {}));
        text.remove_prefix(end + 1);
    }
}

void LogLines::add_piece(std::string_view piece) { begun_ += piece.substr(0, longest_line - begun_.size()); }

// Into memory of its own: the stacks of the program's threads are small.
void LogLines::add_formatted(const char* format, va_list arguments) {
    va_list again;
    va_copy(again, arguments);
    const int length = std::vsnprintf(nullptr, 0, format, arguments);
    if (length > 0) {
        std::string text(static_cast<std::size_t>(length) + 1, '\0');
        (void)std::vsnprintf(text.data(), text.size(), format, again);
        text.pop_back();
        add(text);
    }
    va_end(again);
}

std::vector<std::string> LogLines::take() { return std::exchange(lines_, {}); }

}  // namespace vp
