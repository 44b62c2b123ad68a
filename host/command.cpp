#include "host/command.h"

#include <cerrno>
#include <climits>
#include <cstdlib>

namespace host {

bool parse_int(const std::string& text, int& value) {
    char* end = nullptr;
    errno = 0;
    const long number = std::strtol(text.c_str(), &end, 10);
    if (end == text.c_str() || *end != '\0' || errno != 0 || number < INT_MIN || number > INT_MAX) return false;
    value = static_cast<int>(number);
    return true;
}

bool parse_duration_ms(const std::string& text, long& milliseconds) {
    char* unit = nullptr;
    const double number = std::strtod(text.c_str(), &unit);
    if (unit == text.c_str() || !(number >= 0)) return false;
    const std::string name = unit;
    double scale = 0;
    if (name == "ms") scale = 1;
    if (name == "s" || name.empty()) scale = 1000;
    if (name == "min") scale = 60 * 1000;
    if (name == "h") scale = 60 * 60 * 1000;
    if (scale == 0 || number * scale > 1e9) return false;
    milliseconds = static_cast<long>(number * scale);
    return true;
}

}  // namespace host
