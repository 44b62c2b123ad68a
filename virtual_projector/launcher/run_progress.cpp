#include "virtual_projector/launcher/run_progress.h"

#include <unistd.h>

namespace vp {
namespace {

constexpr Microseconds interval = 900 * microseconds_per_second;
constexpr const char* erase_line = "\r\033[K";

}  // namespace

RunProgress::RunProgress(std::FILE* stream, std::chrono::milliseconds quiet_start)
    : stream_(::isatty(::fileno(stream)) != 0 ? stream : nullptr),
      shown_from_(std::chrono::steady_clock::now() + quiet_start),
      next_(interval) {}

void RunProgress::time_is(Microseconds now) {
    if (stream_ == nullptr || now < next_) return;
    next_ = now + interval;
    if (std::chrono::steady_clock::now() < shown_from_) return;
    const auto minutes = static_cast<long long>(now / microseconds_per_second / 60);
    std::fprintf(stream_, "%svirtual-projector: %lld:%02lld h simulated", erase_line, minutes / 60,
                 minutes % 60);
    std::fflush(stream_);
    is_shown_ = true;
}

void RunProgress::finish() {
    if (!is_shown_) return;
    std::fprintf(stream_, "%s", erase_line);
    std::fflush(stream_);
    is_shown_ = false;
}

}  // namespace vp
