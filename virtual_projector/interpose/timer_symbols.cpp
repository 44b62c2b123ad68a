// Entry points of the C library: timers. Symbols only.
#undef _FORTIFY_SOURCE
#include <signal.h>
#include <sys/time.h>
#include <sys/timerfd.h>
#include <time.h>
#include <unistd.h>

#include <optional>

#include "virtual_projector/interpose/ask_machine.h"
#include "virtual_projector/interpose/real_calls.h"

namespace real = vp::real;
using vp::answer;
using vp::ask_machine;
using vp::Machine;
using vp::made;

extern "C" {

// Asked for by name when a program is linked: the other names may be found elsewhere first.
extern const char vp_interposed_timer_calls[];
const char vp_interposed_timer_calls[] = "interposed calls of the virtual projector: timer";

int timerfd_create(clockid_t clock, int flags) noexcept {
    return answer<int>([&](Machine& m) { return m.timers().make_descriptor(clock, flags); },
                       [&] { return made(real::timerfd_create(clock, flags)); });
}

int timerfd_settime(int descriptor, int flags, const itimerspec* value, itimerspec* before) noexcept {
    return answer<int>([&](Machine& m) { return m.timers().set_descriptor(descriptor, flags, value, before); },
                       [&] { return real::timerfd_settime(descriptor, flags, value, before); });
}

int timerfd_gettime(int descriptor, itimerspec* value) noexcept {
    return answer<int>([&](Machine& m) { return m.timers().get_descriptor(descriptor, value); },
                       [&] { return real::timerfd_gettime(descriptor, value); });
}

// The seconds that were left before, a part of one counting as a whole.
unsigned alarm(unsigned seconds) noexcept {
    itimerval before{};
    const auto result = ask_machine([&](Machine& m) {
        itimerval value{};
        value.it_value.tv_sec = static_cast<time_t>(seconds);
        return m.timers().set_interval_timer(ITIMER_REAL, &value, &before);
    });
    if (!result) return real::alarm(seconds);
    return static_cast<unsigned>(before.it_value.tv_sec + (before.it_value.tv_usec > 0 ? 1 : 0));
}

useconds_t ualarm(useconds_t value, useconds_t interval) noexcept {
    const auto split = [](useconds_t length) {
        return timeval{static_cast<time_t>(length / 1'000'000), static_cast<suseconds_t>(length % 1'000'000)};
    };
    const itimerval wanted = {split(interval), split(value)};
    itimerval before{};
    if (::setitimer(ITIMER_REAL, &wanted, &before) != 0) return static_cast<useconds_t>(-1);
    return static_cast<useconds_t>(before.it_value.tv_sec * 1'000'000 + before.it_value.tv_usec);
}

int setitimer(__itimer_which_t which, const itimerval* value, itimerval* before) noexcept {
    return answer<int>([&](Machine& m) { return m.timers().set_interval_timer(which, value, before); },
                       [&] { return real::setitimer(which, value, before); });
}

int getitimer(__itimer_which_t which, itimerval* value) noexcept {
    return answer<int>([&](Machine& m) { return m.timers().get_interval_timer(which, value); },
                       [&] { return real::getitimer(which, value); });
}

int timer_create(clockid_t clock, sigevent* event, timer_t* timer) noexcept {
    return answer<int>([&](Machine& m) { return m.timers().create(clock, event, timer); },
                       [&] { return real::timer_create(clock, event, timer); });
}

int timer_settime(timer_t timer, int flags, const itimerspec* value, itimerspec* before) noexcept {
    return answer<int>([&](Machine& m) { return m.timers().set(timer, flags, value, before); },
                       [&] { return real::timer_settime(timer, flags, value, before); });
}

int timer_gettime(timer_t timer, itimerspec* value) noexcept {
    return answer<int>([&](Machine& m) { return m.timers().get(timer, value); },
                       [&] { return real::timer_gettime(timer, value); });
}

int timer_getoverrun(timer_t timer) noexcept {
    return answer<int>([&](Machine& m) { return m.timers().overrun(timer); },
                       [&] { return real::timer_getoverrun(timer); });
}

int timer_delete(timer_t timer) noexcept {
    return answer<int>([&](Machine& m) { return m.timers().remove(timer); },
                       [&] { return real::timer_delete(timer); });
}

}  // extern "C"
