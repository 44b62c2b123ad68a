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

timespec timespec_of(Microseconds time) {
    timespec result{};
    result.tv_sec = static_cast<time_t>(time / microseconds_per_second);
    result.tv_nsec = static_cast<long>(time % microseconds_per_second) * nanoseconds_per_microsecond;
    return result;
}

bool is_valid(const timespec& time) {
    return time.tv_sec >= 0 && time.tv_nsec >= 0 && time.tv_nsec < nanoseconds_per_second;
}

bool is_wall_clock(clockid_t clock) {
    return clock == CLOCK_REALTIME || clock == CLOCK_REALTIME_COARSE || clock == CLOCK_TAI ||
           clock == CLOCK_REALTIME_ALARM;
}

}  // namespace

ProgramTime::ProgramTime(Clock& clock, ProgramWaits& waits, Recorder& recorder)
    : clock_(clock), waits_(waits), recorder_(recorder), wall_at_start_(default_wall_at_start) {}

bool ProgramTime::is_boards(clockid_t clock) {
    return clock >= CLOCK_REALTIME && clock <= CLOCK_TAI && clock != CLOCK_PROCESS_CPUTIME_ID &&
           clock != CLOCK_THREAD_CPUTIME_ID;
}

void ProgramTime::on_sleep(SleepHandler handler) { sleep_handler_ = std::move(handler); }

// --- Sleeping --------------------------------------------------------------------------------------------

Microseconds ProgramTime::microseconds_of(const timespec& time) {
    const long rounded_up = (time.tv_nsec + nanoseconds_per_microsecond - 1) / nanoseconds_per_microsecond;
    return static_cast<Microseconds>(time.tv_sec) * microseconds_per_second + rounded_up;
}

long ProgramTime::sleep(Microseconds length, timespec* remaining) {
    recorder_.record_sleep(length);
    if (sleep_handler_) {
        const ProgramCallback callback;
        sleep_handler_(length);
    }
    const Microseconds until = clock_.now() + length;
    if (waits_.sleep_until(until) != WaitEnd::interrupted) return 0;
    if (remaining != nullptr) *remaining = timespec_of(std::max<Microseconds>(0, until - clock_.now()));
    return -EINTR;
}

std::optional<long> ProgramTime::sleep(const timespec* length, timespec* remaining) {
    if (length == nullptr) return -EFAULT;
    if (!is_valid(*length)) return -EINVAL;
    return sleep(microseconds_of(*length), remaining);
}

std::optional<long> ProgramTime::sleep(clockid_t clock, int flags, const timespec* time, timespec* remaining) {
    if (!is_boards(clock)) return std::nullopt;
    if (time == nullptr) return -EFAULT;
    if (!is_valid(*time)) return -EINVAL;
    if ((flags & TIMER_ABSTIME) == 0) return sleep(microseconds_of(*time), remaining);
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
    *time = timespec_of(shown);
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

std::optional<long> ProgramTime::get_ticks(long ticks_per_second) const {
    timespec shown{};
    if (!get_time(CLOCK_MONOTONIC, &shown)) return std::nullopt;
    return static_cast<long>(microseconds_of(shown) / (microseconds_per_second / ticks_per_second));
}

std::optional<long> ProgramTime::set_time(clockid_t clock, const timespec* time) {
    if (!clock_.is_virtual()) return std::nullopt;
    if (time == nullptr) return -EFAULT;
    if (clock != CLOCK_REALTIME || !is_valid(*time)) return -EINVAL;
    clock_.scheduler().touch();
    wall_at_start_ = microseconds_of(*time) - clock_.now();
    return 0;
}

}  // namespace vp
