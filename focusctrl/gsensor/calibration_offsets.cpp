#include "focusctrl/gsensor/calibration_offsets.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <limits>

namespace ovra {
namespace {

constexpr std::int32_t largest_offset = 20000;

}  // namespace

bool offsets_in_range(const CalibrationOffsets& offsets) {
    for (const std::int32_t offset : offsets) {
        if (offset < -largest_offset || offset > largest_offset) return false;
    }
    return true;
}

std::int32_t leading_number(const char* text) {
    using Limits = std::numeric_limits<std::int32_t>;
    const long long number = std::strtoll(text, nullptr, 10);
    return static_cast<std::int32_t>(std::clamp<long long>(number, Limits::min(), Limits::max()));
}

void OffsetParser::parse(char* text, CalibrationOffsets& offsets) {
    std::size_t slot = 0;
    char* rest = nullptr;
    for (char* piece = strtok_r(text, ",", &rest); piece != nullptr; piece = strtok_r(nullptr, ",", &rest)) {
        if (slot < offsets.size()) offsets[slot++] = leading_number(piece);
        if (++numbers_parsed_ == offsets.size()) break;
    }
}

}  // namespace ovra
