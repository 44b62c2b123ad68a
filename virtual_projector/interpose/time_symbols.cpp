// Entry points of the C library: sleeping and clocks. Symbols only.
#undef _FORTIFY_SOURCE
#include <sys/time.h>
#include <sys/timeb.h>
#include <sys/times.h>
#include <time.h>
#include <unistd.h>

#include <optional>

#include "virtual_projector/interpose/ask_machine.h"
#include "virtual_projector/interpose/real_calls.h"

namespace real = vp::real;
using vp::answer;
using vp::ask_machine;
using vp::Machine;

extern "C" {

// Asked for by name when a program is linked: the other names may be found elsewhere first.
extern const char vp_interposed_time_calls[];
const char vp_interposed_time_calls[] = "interposed calls of the virtual projector: time";

int usleep(useconds_t length) {
    return answer<int>([&](Machine& m) { return std::optional<long>(m.time().sleep(length)); },
                       [&] { return real::usleep(length); });
}

// What is left of a sleep that was interrupted, in whole seconds.
unsigned sleep(unsigned seconds) {
    timespec remaining{};
    const auto result = ask_machine([&](Machine& m) {
        return std::optional<long>(m.time().sleep(seconds * vp::microseconds_per_second, &remaining));
    });
    if (result && *result == -EINTR) vp::end_if_cancelled();
    return result ? static_cast<unsigned>(remaining.tv_sec) : real::sleep(seconds);
}

int nanosleep(const timespec* length, timespec* remaining) {
    return answer<int>([&](Machine& m) { return m.time().sleep(length, remaining); },
                       [&] { return real::nanosleep(length, remaining); });
}

int clock_nanosleep(clockid_t clock, int flags, const timespec* time, timespec* remaining) {
    const auto result = ask_machine([&](Machine& m) { return m.time().sleep(clock, flags, time, remaining); });
    if (result && *result == -EINTR) vp::end_if_cancelled();
    return result ? static_cast<int>(-*result) : real::clock_nanosleep(clock, flags, time, remaining);
}

int gettimeofday(timeval* time, void* zone) noexcept {
    const auto result = ask_machine([&](Machine& m) { return m.time().get_time_of_day(time); });
    return result ? static_cast<int>(*result) : real::gettimeofday(time, zone);
}

int clock_gettime(clockid_t clock, timespec* time) noexcept {
    const auto result = ask_machine([&](Machine& m) { return m.time().get_time(clock, time); });
    return result ? static_cast<int>(*result) : real::clock_gettime(clock, time);
}

time_t time(time_t* seconds) noexcept {
    const auto result = ask_machine([&](Machine& m) { return m.time().get_seconds(seconds); });
    return result ? static_cast<time_t>(*result) : real::time(seconds);
}

int timespec_get(timespec* time, int base) noexcept {
    const auto result = ask_machine([&](Machine& m) {
        return base == TIME_UTC ? m.time().get_time(CLOCK_REALTIME, time) : std::optional<long>();
    });
    return result ? base : real::timespec_get(time, base);
}

int ftime(timeb* time) {
    timespec now{};
    const auto result = ask_machine([&](Machine& m) { return m.time().get_time(CLOCK_REALTIME, &now); });
    if (!result) return real::ftime(time);
    *time = {now.tv_sec, static_cast<unsigned short>(now.tv_nsec / 1'000'000), 0, 0};
    return 0;
}

// The processor's times are the processor's; what passes is the board's.
clock_t times(tms* used) noexcept {
    const clock_t actual = real::times(used);
    const auto result = ask_machine([&](Machine& m) { return m.time().get_ticks(::sysconf(_SC_CLK_TCK)); });
    return result ? static_cast<clock_t>(*result) : actual;
}

// The PC keeps its own time, whoever sets the program's.
int clock_settime(clockid_t clock, const timespec* time) noexcept {
    return answer<int>([&](Machine& m) { return m.time().set_time(clock, time); },
                       [&] { return real::clock_settime(clock, time); });
}

int settimeofday(const timeval* time, const struct timezone* zone) noexcept {
    return answer<int>(
        [&](Machine& m) -> std::optional<long> {
            if (time == nullptr) return m.is_virtual() ? std::optional<long>(0) : std::nullopt;
            const timespec precise = {time->tv_sec, static_cast<long>(time->tv_usec) * 1000};
            return m.time().set_time(CLOCK_REALTIME, &precise);
        },
        [&] { return real::settimeofday(time, zone); });
}

}  // extern "C"
