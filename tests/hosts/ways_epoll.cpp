// epoll, with what an event loop puts into it.
#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <sys/signalfd.h>
#include <sys/timerfd.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <set>

#include "tests/hosts/ways.h"

namespace {

using namespace ways;

class Epoll {
public:
    void add(int descriptor, std::uint32_t events) { change(EPOLL_CTL_ADD, descriptor, events); }
    void modify(int descriptor, std::uint32_t events) { change(EPOLL_CTL_MOD, descriptor, events); }
    void remove(int descriptor) { change(EPOLL_CTL_DEL, descriptor, 0); }
    int wait(int milliseconds) { return epoll_wait(set_, found, 8, milliseconds); }
    operator int() const { return set_; }

    epoll_event found[8]{};

private:
    void change(int operation, int descriptor, std::uint32_t events) {
        epoll_event event{};
        event.events = events;
        event.data.fd = descriptor;
        worked("epoll_ctl", epoll_ctl(set_, operation, descriptor, &event));
    }

    Descriptor set_{epoll_create1(EPOLL_CLOEXEC)};
};

Descriptor timer_after(std::int64_t ns, std::int64_t period_ns = 0) {
    Descriptor timer(timerfd_create(CLOCK_MONOTONIC, TFD_NONBLOCK));
    const itimerspec times = {to_timespec(period_ns), to_timespec(ns)};
    worked("timerfd_settime", timerfd_settime(timer, 0, &times, nullptr));
    return timer;
}

}  // namespace

WAY(epoll_wait_with_timeout) {
    Epoll epoll;
    const Pipe pipe;
    epoll.add(pipe.in, EPOLLIN);
    takes_the_wait("epoll_wait", [&] { same("epoll_wait", epoll.wait(wait_ms()), 0); });
}

WAY(epoll_wait_of_nothing) {
    Epoll epoll;
    takes_the_wait("epoll_wait", [&] { same("epoll_wait", epoll.wait(wait_ms()), 0); });
}

WAY(epoll_wait_until_written) {
    Epoll epoll;
    const Pipe pipe;
    epoll.add(pipe.in, EPOLLIN);
    const Later writer([&] { put(pipe.out, "x"); });
    takes_the_wait("epoll_wait", [&] { same("epoll_wait", epoll.wait(-1), 1); });
    same("events", epoll.found[0].events, EPOLLIN);
    same("whose", epoll.found[0].data.fd, pipe.in);
}

WAY(epoll_wait_until_room) {
    Epoll epoll;
    const Pipe pipe;
    fill(pipe.out);
    epoll.add(pipe.out, EPOLLOUT);
    const Later reader([&] { drain(pipe.in); });
    takes_the_wait("epoll_wait", [&] { same("epoll_wait", epoll.wait(-1), 1); });
    same("events", epoll.found[0].events, EPOLLOUT);
}

WAY(epoll_wait_until_hung_up) {
    Epoll epoll;
    Pipe pipe;
    epoll.add(pipe.in, EPOLLIN);
    const Later closer([&] { pipe.out.close_now(); });
    takes_the_wait("epoll_wait", [&] { same("epoll_wait", epoll.wait(-1), 1); });
    same("events", epoll.found[0].events, EPOLLHUP);
}

WAY(epoll_wait_that_only_looks) {
    Epoll epoll;
    const Pipe pipe;
    epoll.add(pipe.in, EPOLLIN);
    takes_no_time("epoll_wait", [&] {
        same("epoll_wait", epoll.wait(0), 0);
        put(pipe.out, "x");
        same("epoll_wait", epoll.wait(0), 1);
    });
    sleep_ns(wait_ns());
}

// By level: what is not read is told again, at once.
WAY(epoll_by_level) {
    Epoll epoll;
    const Pipe pipe;
    epoll.add(pipe.in, EPOLLIN);
    const Later writer([&] { put(pipe.out, "x"); });
    takes_the_wait("the first", [&] { same("epoll_wait", epoll.wait(-1), 1); });
    takes_no_time("the second", [&] { same("epoll_wait", epoll.wait(-1), 1); });
}

// By edge: what is not read is not told again.
WAY(epoll_by_edge) {
    Epoll epoll;
    const Pipe pipe;
    epoll.add(pipe.in, EPOLLIN | EPOLLET);
    put(pipe.out, "x");
    takes_no_time("the first", [&] { same("epoll_wait", epoll.wait(-1), 1); });
    takes_the_wait("the second", [&] { same("epoll_wait", epoll.wait(wait_ms()), 0); });
    const Later writer(wait_ns() / 2, [&] { put(pipe.out, "y"); });
    const Stopwatch watch;
    same("epoll_wait", epoll.wait(-1), 1);
    watch.expect("the third", wait_ns() / 2);
}

WAY(epoll_once) {
    Epoll epoll;
    const Pipe pipe;
    epoll.add(pipe.in, EPOLLIN | EPOLLONESHOT);
    put(pipe.out, "x");
    takes_no_time("the first", [&] { same("epoll_wait", epoll.wait(-1), 1); });
    takes_the_wait("the second", [&] { same("epoll_wait", epoll.wait(wait_ms()), 0); });
    epoll.modify(pipe.in, EPOLLIN | EPOLLONESHOT);
    takes_no_time("armed again", [&] { same("epoll_wait", epoll.wait(-1), 1); });
}

// Another thread adds to the set that this one waits for.
WAY(epoll_ctl_while_another_waits) {
    Epoll epoll;
    const Pipe pipe;
    put(pipe.out, "x");
    const Later adder([&] { epoll.add(pipe.in, EPOLLIN); });
    takes_the_wait("epoll_wait", [&] { same("epoll_wait", epoll.wait(-1), 1); });
}

WAY(epoll_ctl_takes_out) {
    Epoll epoll;
    const Pipe pipe;
    epoll.add(pipe.in, EPOLLIN);
    put(pipe.out, "x");
    epoll.remove(pipe.in);
    takes_the_wait("epoll_wait", [&] { same("epoll_wait", epoll.wait(wait_ms()), 0); });
}

WAY(epoll_in_epoll) {
    Epoll outer;
    Epoll inner;
    const Pipe pipe;
    inner.add(pipe.in, EPOLLIN);
    outer.add(inner, EPOLLIN);
    const Later writer([&] { put(pipe.out, "x"); });
    takes_the_wait("epoll_wait", [&] { same("epoll_wait", outer.wait(-1), 1); });
    same("whose", outer.found[0].data.fd, inner);
}

WAY(epoll_by_two_threads) {
    Epoll epoll;
    const Pipe pipe;
    epoll.add(pipe.in, EPOLLIN | EPOLLEXCLUSIVE);
    const auto take_one = [&] {
        epoll_event event{};
        same("epoll_wait", epoll_wait(epoll, &event, 1, -1), 1);
        char one = 0;
        same("read", read(pipe.in, &one, 1), 1);
    };
    takes_the_wait("both", [&] {
        const Later first_writer(wait_ns() / 2, [&] { put(pipe.out, "x"); });
        const Later second_writer([&] { put(pipe.out, "x"); });
        const Later second(0, take_one);
        take_one();
    });
}

WAY(epoll_pwait_lets_a_signal_in) {
    Epoll epoll;
    const Blocked blocked(SIGUSR1);
    count_signal(SIGUSR1);
    const pthread_t self = pthread_self();
    const Later sender([=] { pthread_kill(self, SIGUSR1); });
    sigset_t none;
    sigemptyset(&none);
    takes_the_wait("epoll_pwait",
                   [&] { failed_with("epoll_pwait", epoll_pwait(epoll, epoll.found, 8, -1, &none), EINTR); });
    same("signals", signals_seen(SIGUSR1), 1);
}

WAY(epoll_pwait_with_timeout) {
    Epoll epoll;
    takes_the_wait("epoll_pwait",
                   [&] { same("epoll_pwait", epoll_pwait(epoll, epoll.found, 8, wait_ms(), nullptr), 0); });
}

WAY(epoll_pwait2_with_timeout) {
    Epoll epoll;
    const timespec length = to_timespec(wait_ns());
    takes_the_wait("epoll_pwait2",
                   [&] { same("epoll_pwait2", epoll_pwait2(epoll, epoll.found, 8, &length, nullptr), 0); });
}

WAY(epoll_pwait2_until_written) {
    Epoll epoll;
    const Pipe pipe;
    epoll.add(pipe.in, EPOLLIN);
    const Later writer([&] { put(pipe.out, "x"); });
    takes_the_wait("epoll_pwait2",
                   [&] { same("epoll_pwait2", epoll_pwait2(epoll, epoll.found, 8, nullptr, nullptr), 1); });
}

WAY(epoll_of_a_timerfd) {
    Epoll epoll;
    const Descriptor timer = timer_after(wait_ns());
    epoll.add(timer, EPOLLIN);
    takes_the_wait("epoll_wait", [&] { same("epoll_wait", epoll.wait(-1), 1); });
    std::uint64_t count = 0;
    same("read", read(timer, &count, sizeof count), sizeof count);
    same("expirations", static_cast<std::int64_t>(count), 1);
}

// The kernel arms a periodic one again when it is read.
WAY(epoll_of_a_periodic_timerfd_by_edge) {
    Epoll epoll;
    const Descriptor timer = timer_after(wait_ns() / 5, wait_ns() / 5);
    epoll.add(timer, EPOLLIN | EPOLLET);
    takes_the_wait("five ticks", [&] {
        for (int tick = 0; tick < 5; ++tick) {
            same("epoll_wait", epoll.wait(-1), 1);
            std::uint64_t count = 0;
            same("read", read(timer, &count, sizeof count), sizeof count);
            same("expirations", static_cast<std::int64_t>(count), 1);
        }
    });
}

WAY(epoll_of_a_signalfd) {
    Epoll epoll;
    const Blocked blocked(SIGUSR1);
    const sigset_t set = set_of(SIGUSR1);
    const Descriptor signals(signalfd(-1, &set, SFD_NONBLOCK));
    epoll.add(signals, EPOLLIN);
    const Later sender([] { kill(getpid(), SIGUSR1); });
    takes_the_wait("epoll_wait", [&] { same("epoll_wait", epoll.wait(-1), 1); });
    signalfd_siginfo info{};
    same("read", read(signals, &info, sizeof info), sizeof info);
    same("the signal", info.ssi_signo, SIGUSR1);
}

// What a user interface's loop does: ticks, a pipe from a worker, an eventfd that wakes it, a signal that ends
// it.
WAY(epoll_event_loop) {
    Epoll epoll;
    const Pipe pipe;
    const Descriptor wake(eventfd(0, EFD_NONBLOCK));
    const Descriptor timer = timer_after(wait_ns() / 10, wait_ns() / 10);
    const Blocked blocked(SIGUSR1);
    const sigset_t set = set_of(SIGUSR1);
    const Descriptor signals(signalfd(-1, &set, SFD_NONBLOCK));
    for (const int descriptor : {int{pipe.in}, int{wake}, int{timer}, int{signals}})
        epoll.add(descriptor, EPOLLIN);
    const Later worker(wait_ns() / 3, [&] { put(pipe.out, "x"); });
    const Later waker(wait_ns() / 4, [&] { worked("eventfd_write", eventfd_write(wake, 1)); });
    const Later ender([&] { kill(getpid(), SIGUSR1); });
    std::uint64_t ticks = 0;
    std::multiset<int> seen;
    takes_the_wait("the loop", [&] {
        while (seen.count(signals) == 0) {
            const int count = epoll.wait(-1);
            if (count < 0) return worked("epoll_wait", count);
            for (int i = 0; i < count; ++i) {
                const int whose = epoll.found[i].data.fd;
                std::uint64_t value = 0;
                char buffer[sizeof(signalfd_siginfo)];
                const bool is_timer = whose == timer;
                const ssize_t got =
                    is_timer ? read(whose, &value, sizeof value) : read(whose, buffer, sizeof buffer);
                check(got > 0, "nothing to read");
                ticks += value;
                seen.insert(whose);
            }
        }
    });
    check(ticks == 10 || ticks == 9, "ticked " + std::to_string(ticks) + " times");
    same("from the worker", static_cast<std::int64_t>(seen.count(pipe.in)), 1);
    same("from the waker", static_cast<std::int64_t>(seen.count(wake)), 1);
}

WAY(epoll_create_with_a_size) {
    const Descriptor set(epoll_create(7));
    const Pipe pipe;
    epoll_event event{};
    event.events = EPOLLIN;
    worked("epoll_ctl", epoll_ctl(set, EPOLL_CTL_ADD, pipe.in, &event));
    const Later writer([&] { put(pipe.out, "x"); });
    takes_the_wait("epoll_wait", [&] { same("epoll_wait", epoll_wait(set, &event, 1, -1), 1); });
}
