#include "virtual_projector/world/text.h"

#include <algorithm>
#include <cstddef>
#include <cstdio>

namespace vp {
namespace {

constexpr std::size_t longest_excerpt = 40;

// Of UTF-8: the bytes after a character's first one.
bool continues_character(char byte) { return (static_cast<unsigned char>(byte) & 0xC0U) == 0x80U; }

bool is_control(char byte) { return static_cast<unsigned char>(byte) < ' ' || byte == '\x7F'; }

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

}  // namespace vp
