// Entry points of the C library: sleeping and clocks. Symbols only.
#undef _FORTIFY_SOURCE
#include <sys/time.h>
#include <time.h>
#include <unistd.h>

#include <optional>

#include "virtual_projector/interpose/ask_machine.h"
#include "virtual_projector/interpose/real_calls.h"

namespace real = vp::real;
using vp::ask_machine;
using vp::Machine;
using vp::with_errno;

extern "C" {

// Asked for by name when a program is linked: the other names may be found elsewhere first.
extern const char vp_interposed_time_calls[];
const char vp_interposed_time_calls[] = "interposed calls of the virtual projector: time";

int usleep(useconds_t length) {
    const auto result = ask_machine([&](Machine& m) { return std::optional<long>(m.time().sleep(length)); });
    return result ? static_cast<int>(with_errno(*result)) : real::usleep(length);
}

unsigned sleep(unsigned seconds) {
    const auto result = ask_machine(
        [&](Machine& m) { return std::optional<long>(m.time().sleep(seconds * vp::microseconds_per_second)); });
    return result ? 0 : real::sleep(seconds);
}

int nanosleep(const timespec* length, timespec* remaining) {
    const auto result = ask_machine([&](Machine& m) { return m.time().sleep(length); });
    return result ? static_cast<int>(with_errno(*result)) : real::nanosleep(length, remaining);
}

int clock_nanosleep(clockid_t clock, int flags, const timespec* time, timespec* remaining) {
    const auto result = ask_machine([&](Machine& m) { return m.time().sleep(clock, flags, time); });
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

}  // extern "C"
