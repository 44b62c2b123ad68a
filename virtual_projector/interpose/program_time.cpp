#include "virtual_projector/interpose/program_time.h"

#include <algorithm>
#include <cerrno>
#include <utility>

#include "virtual_projector/clock/reentrancy_guard.h"

namespace vp {
namespace {

constexpr long nanoseconds_per_microsecond = 1'000;
constexpr long nanoseconds_per_second = 1'000'000'000;

constexpr Microseconds default_wall_at_start = 1'704'110'400 * microseconds_per_second;  // 2024-01-01 12:00 UTC
constexpr Microseconds uptime_at_start = 100 * microseconds_per_second;  // a board that started a while ago

// A sleep lasts at least as long as was asked for: fractions of a microsecond count as whole ones.
Microseconds microseconds_of(const timespec& time) {
    const long rounded_up = (time.tv_nsec + nanoseconds_per_microsecond - 1) / nanoseconds_per_microsecond;
    return static_cast<Microseconds>(time.tv_sec) * microseconds_per_second + rounded_up;
}

bool is_valid(const timespec& time) {
    return time.tv_sec >= 0 && time.tv_nsec >= 0 && time.tv_nsec < nanoseconds_per_second;
}

// Processor time is not the board's business.
bool is_boards(clockid_t clock) {
    return clock != CLOCK_PROCESS_CPUTIME_ID && clock != CLOCK_THREAD_CPUTIME_ID && clock >= 0;
}

bool is_wall_clock(clockid_t clock) {
    return clock == CLOCK_REALTIME || clock == CLOCK_REALTIME_COARSE || clock == CLOCK_TAI ||
           clock == CLOCK_REALTIME_ALARM;
}

}  // namespace

ProgramTime::ProgramTime(Clock& clock, Recorder& recorder)
    : clock_(clock), recorder_(recorder), wall_at_start_(default_wall_at_start) {}

void ProgramTime::on_sleep(SleepHandler handler) { sleep_handler_ = std::move(handler); }

// --- Sleeping --------------------------------------------------------------------------------------------

long ProgramTime::sleep(Microseconds length) {
    recorder_.record_sleep(length);
    if (sleep_handler_) {
        const ProgramCallback callback;
        sleep_handler_(length);
    }
    clock_.sleep_until(clock_.now() + length);
    return 0;
}

std::optional<long> ProgramTime::sleep(const timespec* length) {
    if (length == nullptr) return -EFAULT;
    if (!is_valid(*length)) return -EINVAL;
    return sleep(microseconds_of(*length));
}

std::optional<long> ProgramTime::sleep(clockid_t clock, int flags, const timespec* time) {
    if (!is_boards(clock)) return std::nullopt;
    if (time == nullptr) return -EFAULT;
    if (!is_valid(*time)) return -EINVAL;
    if ((flags & TIMER_ABSTIME) == 0) return sleep(microseconds_of(*time));
    if (!clock_.is_virtual()) return std::nullopt;
    return sleep(std::max<Microseconds>(0, to_virtual(clock, *time) - clock_.now()));
}

// --- Clocks ----------------------------------------------------------------------------------------------

Microseconds ProgramTime::start_of(clockid_t clock) const {
    return is_wall_clock(clock) ? wall_at_start_ : uptime_at_start;
}

Microseconds ProgramTime::to_virtual(clockid_t clock, const timespec& time) const {
    return std::max<Microseconds>(0, microseconds_of(time) - start_of(clock));
}

std::optional<long> ProgramTime::get_time(clockid_t clock, timespec* time) const {
    if (!clock_.is_virtual() || !is_boards(clock)) return std::nullopt;
    clock_.scheduler().touch();
    const Microseconds shown = start_of(clock) + clock_.now();
    time->tv_sec = static_cast<time_t>(shown / microseconds_per_second);
    time->tv_nsec = static_cast<long>(shown % microseconds_per_second) * nanoseconds_per_microsecond;
    return 0;
}

std::optional<long> ProgramTime::get_time_of_day(timeval* time) const {
    timespec shown{};
    const std::optional<long> result = get_time(CLOCK_REALTIME, &shown);
    if (!result || time == nullptr) return result;
    time->tv_sec = shown.tv_sec;
    time->tv_usec = static_cast<suseconds_t>(shown.tv_nsec / nanoseconds_per_microsecond);
    return result;
}

std::optional<long> ProgramTime::get_seconds(time_t* time) const {
    timespec shown{};
    if (!get_time(CLOCK_REALTIME, &shown)) return std::nullopt;
    if (time != nullptr) *time = shown.tv_sec;
    return static_cast<long>(shown.tv_sec);
}

}  // namespace vp
