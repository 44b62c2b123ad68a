#include "base/elapsed_time.h"

#include <algorithm>
#include <limits>

namespace ovra {
namespace {

constexpr std::int64_t ms_per_second = 1000;
constexpr std::int64_t us_per_ms = 1000;
constexpr std::int64_t max_seconds = std::int64_t{1} << 32;

std::int64_t saturated_difference(std::int64_t a, std::int64_t b) {
    using Limits = std::numeric_limits<std::int64_t>;
    std::int64_t result = 0;
    if (__builtin_sub_overflow(a, b, &result)) return a > b ? Limits::max() : Limits::min();
    return result;
}

}  // namespace

timeval wall_clock() {
    timeval now{};
    gettimeofday(&now, nullptr);
    return now;
}

std::int64_t elapsed_ms(const timeval& start, const timeval& end) {
    const std::int64_t seconds =
        std::clamp(saturated_difference(end.tv_sec, start.tv_sec), -max_seconds, max_seconds);
    return seconds * ms_per_second + saturated_difference(end.tv_usec, start.tv_usec) / us_per_ms;
}

}  // namespace ovra
