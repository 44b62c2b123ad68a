#include "virtual_projector/report/library_log_message.h"

#include <cstdio>

namespace vp {
namespace {

std::string without_colour(const std::string& line) {
    std::string plain;
    for (std::size_t i = 0; i < line.size(); ++i) {
        if (line[i] == '\033') {
            while (i < line.size() && line[i] != 'm') ++i;
        } else {
            plain += line[i];
        }
    }
    return plain;
}

}  // namespace

std::string log_message(const std::string& line) {
    const std::string plain = without_colour(line);
    const std::size_t tag_end = plain.find("]  ");
    return starts_with(plain, "[") && tag_end != std::string::npos ? plain.substr(tag_end + 3) : plain;
}

bool starts_with(std::string_view text, std::string_view beginning) {
    return text.substr(0, beginning.size()) == beginning;
}

bool contains(std::string_view text, std::string_view part) {
    return text.find(part) != std::string_view::npos;
}

bool read_numbers(const std::string& message, const char* pattern, int count, LogNumbers& n) {
    // cppcheck-suppress wrongPrintfScanfArgNum  // a pattern takes as many as it has
    return std::sscanf(message.c_str(), pattern, &n[0], &n[1], &n[2], &n[3]) == count;
}

}  // namespace vp
