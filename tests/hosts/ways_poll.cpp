// poll, ppoll, select and pselect.
#include <fcntl.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/select.h>
#include <sys/timerfd.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>

#include "tests/hosts/ways.h"

namespace {

using namespace ways;

fd_set only(int descriptor) {
    fd_set set;
    FD_ZERO(&set);
    FD_SET(descriptor, &set);
    return set;
}

}  // namespace

WAY(poll_of_nothing) {
    takes_the_wait("poll", [] { same("poll", poll(nullptr, 0, wait_ms()), 0); });
}

WAY(poll_with_timeout) {
    const Pipe pipe;
    pollfd one = {pipe.in, POLLIN, POLLERR};
    takes_the_wait("poll", [&] { same("poll", poll(&one, 1, wait_ms()), 0); });
    same("what it found", one.revents, 0);
}

WAY(poll_until_written) {
    const Pipe pipe;
    const Later writer([&] { put(pipe.out, "x"); });
    pollfd one = {pipe.in, POLLIN, 0};
    takes_the_wait("poll", [&] { same("poll", poll(&one, 1, -1), 1); });
    same("what it found", one.revents, POLLIN);
}

WAY(poll_until_written_before_its_timeout) {
    const Pipe pipe;
    const Later writer([&] { put(pipe.out, "x"); });
    pollfd one = {pipe.in, POLLIN, 0};
    takes_the_wait("poll", [&] { same("poll", poll(&one, 1, 10 * wait_ms()), 1); });
    same("what it found", one.revents, POLLIN);
}

WAY(poll_until_room) {
    const Pipe pipe;
    fill(pipe.out);
    const Later reader([&] { drain(pipe.in); });
    pollfd one = {pipe.out, POLLOUT, 0};
    takes_the_wait("poll", [&] { same("poll", poll(&one, 1, -1), 1); });
    same("what it found", one.revents, POLLOUT);
}

WAY(poll_until_hung_up) {
    Pipe pipe;
    const Later closer([&] { pipe.out.close_now(); });
    pollfd one = {pipe.in, POLLIN, 0};
    takes_the_wait("poll", [&] { same("poll", poll(&one, 1, -1), 1); });
    same("what it found", one.revents, POLLHUP);
}

WAY(poll_skips_negative_ones) {
    pollfd none[] = {{-1, POLLIN, POLLIN}, {-7, POLLIN, POLLIN}};
    takes_the_wait("poll", [&] { same("poll", poll(none, 2, wait_ms()), 0); });
    same("what it found", none[0].revents, 0);
}

WAY(poll_of_a_closed_descriptor) {
    Pipe pipe;
    const int number = pipe.in;
    pipe.in.close_now();
    pollfd one = {number, POLLIN, 0};
    takes_no_time("poll", [&] { same("poll", poll(&one, 1, -1), 1); });
    same("what it found", one.revents, POLLNVAL);
    sleep_ns(wait_ns());
}

WAY(poll_that_only_looks) {
    const Pipe pipe;
    pollfd two[] = {{pipe.in, POLLIN, 0}, {pipe.out, POLLOUT, 0}};
    takes_no_time("poll", [&] { same("poll", poll(two, 2, 0), 1); });
    same("what it found", two[1].revents, POLLOUT);
    sleep_ns(wait_ns());
}

WAY(poll_of_many_kinds) {
    const Pipe pipe;
    const Descriptor event(eventfd(0, 0));
    const Descriptor timer(timerfd_create(CLOCK_MONOTONIC, 0));
    const itimerspec once = {{0, 0}, to_timespec(wait_ns())};
    worked("timerfd_settime", timerfd_settime(timer, 0, &once, nullptr));
    pollfd all[] = {{pipe.in, POLLIN, 0}, {event, POLLIN, 0}, {timer, POLLIN, 0}};
    takes_the_wait("poll", [&] { same("poll", poll(all, 3, -1), 1); });
    same("the timer", all[2].revents, POLLIN);
    same("the pipe", all[0].revents, 0);
}

WAY(poll_by_two_threads) {
    const Pipe pipe;
    const auto look = [&] {
        pollfd one = {pipe.in, POLLIN, 0};
        same("poll", poll(&one, 1, -1), 1);
    };
    takes_the_wait("both", [&] {
        const Later writer([&] { put(pipe.out, "x"); });
        const Later second(0, look);
        look();
    });
}

WAY(poll_loop_of_ticks) {
    const Pipe pipe;
    const Later writer([&] { put(pipe.out, "x"); });
    int ticks = 0;
    takes_the_wait("the loop", [&] {
        pollfd one = {pipe.in, POLLIN, 0};
        while (poll(&one, 1, wait_ms() / 7) == 0) ++ticks;
    });
    check(ticks == 7 || ticks == 6, "ticked " + std::to_string(ticks) + " times");
}

WAY(ppoll_with_timeout) {
    const Pipe pipe;
    pollfd one = {pipe.in, POLLIN, 0};
    const timespec length = to_timespec(wait_ns());
    takes_the_wait("ppoll", [&] { same("ppoll", ppoll(&one, 1, &length, nullptr), 0); });
    expect_time("the length, which stays", to_ns(length), wait_ns());
}

WAY(ppoll_until_written) {
    const Pipe pipe;
    const Later writer([&] { put(pipe.out, "x"); });
    pollfd one = {pipe.in, POLLIN, 0};
    takes_the_wait("ppoll", [&] { same("ppoll", ppoll(&one, 1, nullptr, nullptr), 1); });
}

// A signal that is blocked but for the wait: the idiom of an event loop that must not miss one.
WAY(ppoll_lets_a_signal_in) {
    const Blocked blocked(SIGUSR1);
    count_signal(SIGUSR1);
    const pthread_t self = pthread_self();
    const Later sender([=] { pthread_kill(self, SIGUSR1); });
    sigset_t none;
    sigemptyset(&none);
    takes_the_wait("ppoll", [&] { failed_with("ppoll", ppoll(nullptr, 0, nullptr, &none), EINTR); });
    same("signals", signals_seen(SIGUSR1), 1);
}

WAY(ppoll_lets_a_pending_signal_in_at_once) {
    const Blocked blocked(SIGUSR1);
    count_signal(SIGUSR1);
    raise(SIGUSR1);
    same("signals before", signals_seen(SIGUSR1), 0);
    sigset_t none;
    sigemptyset(&none);
    takes_no_time("ppoll", [&] { failed_with("ppoll", ppoll(nullptr, 0, nullptr, &none), EINTR); });
    same("signals", signals_seen(SIGUSR1), 1);
    sleep_ns(wait_ns());
}

WAY(ppoll_keeps_a_signal_out) {
    count_signal(SIGUSR1);
    const pthread_t self = pthread_self();
    const Later sender(wait_ns() / 2, [=] { pthread_kill(self, SIGUSR1); });
    const sigset_t set = set_of(SIGUSR1);
    const timespec length = to_timespec(wait_ns());
    takes_the_wait("ppoll", [&] { same("ppoll", ppoll(nullptr, 0, &length, &set), 0); });
    same("signals", signals_seen(SIGUSR1), 1);
}

WAY(select_of_nothing) {
    timeval length = to_timeval(wait_ns());
    takes_the_wait("select", [&] { same("select", select(0, nullptr, nullptr, nullptr, &length), 0); });
}

WAY(select_with_timeout) {
    const Pipe pipe;
    fd_set readable = only(pipe.in);
    timeval length = to_timeval(wait_ns());
    takes_the_wait("select",
                   [&] { same("select", select(pipe.in + 1, &readable, nullptr, nullptr, &length), 0); });
    check(!FD_ISSET(pipe.in, &readable), "found something");
    same("what is left of the time", to_ns(length), 0);
}

WAY(select_until_written) {
    const Pipe pipe;
    const Later writer([&] { put(pipe.out, "x"); });
    fd_set readable = only(pipe.in);
    takes_the_wait("select",
                   [&] { same("select", select(pipe.in + 1, &readable, nullptr, nullptr, nullptr), 1); });
    check(FD_ISSET(pipe.in, &readable), "found nothing");
}

// Linux tells what is left of the time.
WAY(select_tells_the_time_left) {
    const Pipe pipe;
    const Later writer([&] { put(pipe.out, "x"); });
    fd_set readable = only(pipe.in);
    timeval length = to_timeval(3 * wait_ns());
    takes_the_wait("select",
                   [&] { same("select", select(pipe.in + 1, &readable, nullptr, nullptr, &length), 1); });
    expect_time("the rest", 3 * wait_ns() - to_ns(length), wait_ns());
}

WAY(select_until_room) {
    const Pipe pipe;
    fill(pipe.out);
    const Later reader([&] { drain(pipe.in); });
    fd_set writable = only(pipe.out);
    takes_the_wait("select",
                   [&] { same("select", select(pipe.out + 1, nullptr, &writable, nullptr, nullptr), 1); });
    check(FD_ISSET(pipe.out, &writable), "found nothing");
}

WAY(select_of_a_closed_descriptor) {
    Pipe pipe;
    const int number = pipe.in;
    pipe.in.close_now();
    fd_set readable = only(number);
    takes_no_time("select", [&] {
        failed_with("select", select(number + 1, &readable, nullptr, nullptr, nullptr), EBADF);
    });
    sleep_ns(wait_ns());
}

WAY(pselect_with_timeout) {
    const Pipe pipe;
    fd_set readable = only(pipe.in);
    const timespec length = to_timespec(wait_ns());
    takes_the_wait("pselect", [&] {
        same("pselect", pselect(pipe.in + 1, &readable, nullptr, nullptr, &length, nullptr), 0);
    });
    expect_time("the length, which stays", to_ns(length), wait_ns());
}

WAY(pselect_until_written) {
    const Pipe pipe;
    const Later writer([&] { put(pipe.out, "x"); });
    fd_set readable = only(pipe.in);
    takes_the_wait("pselect", [&] {
        same("pselect", pselect(pipe.in + 1, &readable, nullptr, nullptr, nullptr, nullptr), 1);
    });
}

WAY(pselect_lets_a_signal_in) {
    const Blocked blocked(SIGUSR1);
    count_signal(SIGUSR1);
    const pthread_t self = pthread_self();
    const Later sender([=] { pthread_kill(self, SIGUSR1); });
    sigset_t none;
    sigemptyset(&none);
    takes_the_wait("pselect", [&] {
        failed_with("pselect", pselect(0, nullptr, nullptr, nullptr, nullptr, &none), EINTR);
    });
    same("signals", signals_seen(SIGUSR1), 1);
}
