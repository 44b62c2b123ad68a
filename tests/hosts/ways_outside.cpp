// What comes from outside: here on standard input, from whoever runs the program, after a while of real time.
#include <poll.h>
#include <sys/epoll.h>
#include <sys/select.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <iostream>
#include <thread>

#include "tests/hosts/ways.h"

namespace {

using namespace ways;

// How long whoever runs the program lets it wait.
constexpr std::int64_t feeding_ns = 300 * ns_per_ms;

// Simulated time stands until it has come, and goes on afterwards.
template <typename Calls>
void time_stands(const char* name, Calls calls) {
    const Stopwatch watch;
    calls();
    watch.expect(name, outside_ns(feeding_ns));
    takes_the_wait("the sleep after it", [] { sleep_ns(wait_ns()); });
}

bool hello(const char* line) { return std::strncmp(line, "hello\n", 6) == 0; }

}  // namespace

WAY(outside_read, Kind::fed) {
    time_stands("read", [] {
        char line[16] = {};
        same("read", read(STDIN_FILENO, line, sizeof line), 6);
        check(hello(line), "another line has come");
    });
}

WAY(outside_fgets, Kind::fed) {
    time_stands("fgets", [] {
        char line[16] = {};
        check(fgets(line, sizeof line, stdin) != nullptr && hello(line), "another line has come");
    });
}

WAY(outside_cin, Kind::fed) {
    time_stands("cin", [] {
        std::string line;
        std::getline(std::cin, line);
        check(line == "hello", "another line has come");
    });
}

WAY(outside_poll, Kind::fed) {
    time_stands("poll", [] {
        pollfd one = {STDIN_FILENO, POLLIN, 0};
        same("poll", poll(&one, 1, -1), 1);
    });
}

WAY(outside_select, Kind::fed) {
    time_stands("select", [] {
        fd_set readable;
        FD_ZERO(&readable);
        FD_SET(STDIN_FILENO, &readable);
        same("select", select(1, &readable, nullptr, nullptr, nullptr), 1);
    });
}

WAY(outside_epoll, Kind::fed) {
    time_stands("epoll_wait", [] {
        const Descriptor set(epoll_create1(0));
        epoll_event event{};
        event.events = EPOLLIN;
        worked("epoll_ctl", epoll_ctl(set, EPOLL_CTL_ADD, STDIN_FILENO, &event));
        same("epoll_wait", epoll_wait(set, &event, 1, -1), 1);
    });
}

// Another thread reads the keyboard; the first one goes on when it has come.
WAY(outside_read_by_a_thread, Kind::fed) {
    time_stands("both", [] {
        std::thread reader([] {
            char line[16] = {};
            same("read", read(STDIN_FILENO, line, sizeof line), 6);
        });
        reader.join();
    });
}

// Nobody waits for the outside: simulated time goes on as ever.
WAY(outside_not_asked) {
    takes_the_wait("a sleep", [] { sleep_ns(wait_ns()); });
}

WAY(outside_with_a_deadline_that_is_not_reached, Kind::fed) {
    time_stands("poll", [] {
        pollfd one = {STDIN_FILENO, POLLIN, 0};
        same("poll", poll(&one, 1, on_plain_pc() ? -1 : wait_ms()), 1);
    });
}

WAY(outside_skipped, Kind::skip) {
    const Stopwatch watch;
    char line[16] = {};
    same("read", read(STDIN_FILENO, line, sizeof line), 6);
    check(watch.elapsed() > 0, "simulated time stood still");
}

WAY(outside_skipped_past_a_deadline, Kind::skip_for_good) {
    pollfd one = {STDIN_FILENO, POLLIN, 0};
    takes_the_wait("poll", [&] { same("poll", poll(&one, 1, wait_ms()), 0); });
}
