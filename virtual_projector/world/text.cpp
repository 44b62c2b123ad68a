#include "virtual_projector/world/text.h"

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <sstream>

namespace vp {
namespace {

constexpr std::size_t longest_excerpt = 40;

// Of UTF-8: the bytes after a character's first one.
bool continues_character(char byte) { return (static_cast<unsigned char>(byte) & 0xC0U) == 0x80U; }

bool is_control(char byte) { return static_cast<unsigned char>(byte) < ' ' || byte == '\x7F'; }

// Where the continuation of a line stands: below its last column, which two blanks set off, if that leaves
// room.
std::size_t indent_of(const std::string& line, std::size_t width) {
    const std::size_t first = line.find_first_not_of(' ');
    const std::size_t gap = line.rfind("  ", width / 2);
    const bool has_column = gap != std::string::npos && gap > first;
    return has_column ? line.find_first_not_of(' ', gap) : first;
}

std::string wrap_line(std::string line, std::size_t width) {
    std::string wrapped;
    const std::size_t indent = std::min(indent_of(line, width), line.size());
    while (line.size() > width) {
        std::size_t cut = line.rfind(' ', width);
        if (cut == std::string::npos || cut <= indent) cut = line.find(' ', width);
        if (cut == std::string::npos) break;
        wrapped += line.substr(0, cut) + "\n";
        line = std::string(indent, ' ') + line.substr(cut + 1);
    }
    return wrapped + line;
}

}  // namespace

std::string number_text(double value) {
    char text[40];
    std::snprintf(text, sizeof text, "%.10g", value);
    return text;
}

std::string excerpt(std::string_view text) {
    std::size_t end = std::min(text.size(), longest_excerpt);
    while (end > 0 && end < text.size() && continues_character(text[end])) --end;
    std::string line(text.substr(0, end));
    std::replace_if(line.begin(), line.end(), is_control, '?');
    return end < text.size() ? line + "..." : line;
}

std::string join(const std::vector<std::string_view>& names) {
    std::string text;
    for (const std::string_view& name : names) {
        if (&name != &names.front()) text += ", ";
        text += name;
    }
    return text;
}

std::string wrap_lines(const std::string& text, std::size_t width) {
    std::string wrapped;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) wrapped += wrap_line(line, width) + "\n";
    return wrapped;
}

}  // namespace vp
