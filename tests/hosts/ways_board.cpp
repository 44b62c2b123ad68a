// The board's nodes, beside what is real.
#include <fcntl.h>
#include <poll.h>
#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <sys/ioctl.h>
#include <sys/select.h>
#include <sys/stat.h>
#include <sys/timerfd.h>
#include <sys/uio.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fstream>

#include "tests/hosts/ways.h"

namespace {

using namespace ways;

// tests/hosts/ways.json presses a key and lets it go so long after the start.
constexpr std::int64_t key_ns = 40 * ns_per_second;
constexpr int key_code = 28;
constexpr const char* key_path = "/dev/input/event6";
constexpr const char* motor_path = "/sys/class/motor/pos";

// As the board's 32-bit system has it.
struct KeyEvent {
    std::int32_t seconds;
    std::int32_t microseconds;
    std::uint16_t type;
    std::uint16_t code;
    std::int32_t value;
};

Descriptor keys() { return Descriptor(open(key_path, O_RDONLY | O_CLOEXEC)); }

// A wait from the way's start until the key is pressed.
template <typename Calls>
void takes_until_the_key(const char* name, Calls calls) {
    const std::int64_t expected = key_ns - since_start_ns();
    const Stopwatch watch;
    calls();
    watch.expect(name, expected);
}

void expect_key(int from, int value) {
    KeyEvent event{};
    same("read", read(from, &event, sizeof event), sizeof event);
    same("the key", event.code, key_code);
    same("its value", event.value, value);
}

}  // namespace

WAY(board_key_read, Kind::board) {
    const Descriptor key = keys();
    takes_until_the_key("read", [&] { expect_key(key, 1); });
    takes_no_time("the next", [&] { expect_key(key, 0); });
}

WAY(board_key_readv, Kind::board) {
    const Descriptor key = keys();
    KeyEvent events[2] = {};
    const iovec parts[] = {{&events[0], sizeof events[0]}, {&events[1], sizeof events[1]}};
    takes_until_the_key("readv",
                        [&] { check(readv(key, parts, 2) >= ssize_t{sizeof events[0]}, "nothing read"); });
    same("the key", events[0].code, key_code);
}

WAY(board_key_read_without_blocking, Kind::board) {
    const Descriptor key(open(key_path, O_RDONLY | O_NONBLOCK));
    KeyEvent event{};
    takes_no_time("read", [&] { failed_with("read", read(key, &event, sizeof event), EAGAIN); });
    sleep_ns(wait_ns());
}

WAY(board_key_poll, Kind::board) {
    const Descriptor key = keys();
    pollfd one = {key, POLLIN, 0};
    takes_until_the_key("poll", [&] { same("poll", poll(&one, 1, -1), 1); });
    same("what it found", one.revents & POLLIN, POLLIN);
    expect_key(key, 1);
    expect_key(key, 0);
    takes_the_wait("poll", [&] { same("poll", poll(&one, 1, wait_ms()), 0); });
}

WAY(board_key_select, Kind::board) {
    const Descriptor key = keys();
    fd_set readable;
    FD_ZERO(&readable);
    FD_SET(key, &readable);
    takes_until_the_key("select",
                        [&] { same("select", select(key + 1, &readable, nullptr, nullptr, nullptr), 1); });
    check(FD_ISSET(key, &readable), "found nothing");
}

WAY(board_key_epoll, Kind::board) {
    const Descriptor key = keys();
    const Descriptor set(epoll_create1(0));
    epoll_event event{};
    event.events = EPOLLIN;
    event.data.fd = key;
    worked("epoll_ctl", epoll_ctl(set, EPOLL_CTL_ADD, key, &event));
    takes_until_the_key("epoll_wait", [&] { same("epoll_wait", epoll_wait(set, &event, 1, -1), 1); });
    same("whose", event.data.fd, key);
    takes_no_time("by level", [&] { same("epoll_wait", epoll_wait(set, &event, 1, -1), 1); });
    expect_key(key, 1);
    expect_key(key, 0);
    takes_the_wait("read empty", [&] { same("epoll_wait", epoll_wait(set, &event, 1, wait_ms()), 0); });
}

WAY(board_key_epoll_by_edge, Kind::board) {
    const Descriptor key = keys();
    const Descriptor set(epoll_create1(0));
    epoll_event event{};
    event.events = EPOLLIN | EPOLLET;
    worked("epoll_ctl", epoll_ctl(set, EPOLL_CTL_ADD, key, &event));
    takes_until_the_key("epoll_wait", [&] { same("epoll_wait", epoll_wait(set, &event, 1, -1), 1); });
}

// A board's node, a real descriptor and a timer in one set: whatever comes first.
WAY(board_key_pipe_and_timer_in_one_set, Kind::board) {
    const Descriptor key = keys();
    const Pipe pipe;
    const Descriptor timer(timerfd_create(CLOCK_MONOTONIC, 0));
    const itimerspec once = {{0, 0}, to_timespec(2 * wait_ns())};
    worked("timerfd_settime", timerfd_settime(timer, 0, &once, nullptr));
    const Later writer(wait_ns() / 2, [&] { put(pipe.out, "x"); });
    const Descriptor set(epoll_create1(0));
    for (const int one : {int{key}, int{pipe.in}, int{timer}}) {
        epoll_event event{};
        event.events = EPOLLIN;
        event.data.fd = one;
        worked("epoll_ctl", epoll_ctl(set, EPOLL_CTL_ADD, one, &event));
    }
    const Stopwatch watch;
    const std::int64_t key_after = key_ns - since_start_ns();
    epoll_event event{};
    same("epoll_wait", epoll_wait(set, &event, 1, -1), 1);
    same("the first is the pipe", event.data.fd, pipe.in);
    watch.expect("the pipe", wait_ns() / 2);
    drain(pipe.in);
    same("epoll_wait", epoll_wait(set, &event, 1, -1), 1);
    same("the second is the key", event.data.fd, key);
    watch.expect("the key", key_after);
    expect_key(key, 1);
    expect_key(key, 0);
    same("epoll_wait", epoll_wait(set, &event, 1, -1), 1);
    same("the third is the timer", event.data.fd, timer);
    watch.expect("the timer", 2 * wait_ns());
}

WAY(board_key_and_pipe_in_one_poll, Kind::board) {
    const Descriptor key = keys();
    const Pipe pipe;
    const Later writer([&] { put(pipe.out, "x"); });
    pollfd both[] = {{key, POLLIN, 0}, {pipe.in, POLLIN, 0}};
    takes_the_wait("poll", [&] { same("poll", poll(both, 2, -1), 1); });
    same("the pipe", both[1].revents, POLLIN);
    drain(pipe.in);
    takes_until_the_key("poll", [&] { same("poll", poll(both, 2, -1), 1); });
    same("the key", both[0].revents & POLLIN, POLLIN);
}

WAY(board_key_duplicated, Kind::board) {
    Descriptor key = keys();
    const Descriptor twin(dup(key));
    key.close_now();
    takes_until_the_key("read", [&] { expect_key(twin, 1); });
    // Both have one place in what is read.
    const Descriptor third(fcntl(twin, F_DUPFD_CLOEXEC, 100));
    check(third >= 100, "F_DUPFD gives a lower number");
    takes_no_time("the twin's twin", [&] { expect_key(third, 0); });
}

WAY(board_key_duplicated_to_a_number, Kind::board) {
    const Descriptor key = keys();
    const Pipe pipe;
    // The pipe's end goes away for it.
    same("dup2", dup2(key, pipe.in), pipe.in);
    takes_until_the_key("read", [&] { expect_key(pipe.in, 1); });
    same("dup3", dup3(key, pipe.out, O_CLOEXEC), pipe.out);
    takes_no_time("the next", [&] { expect_key(pipe.out, 0); });
}

// And a real one takes the place of the board's.
WAY(board_key_replaced_by_a_pipe, Kind::board) {
    const Descriptor key = keys();
    const Pipe pipe;
    same("dup2", dup2(pipe.in, key), key);
    const Later writer([&] { put(pipe.out, "hello"); });
    char buffer[16];
    takes_the_wait("read", [&] { same("read", read(key, buffer, sizeof buffer), 5); });
}

WAY(board_key_as_a_stream, Kind::board) {
    FILE* const stream = fdopen(keys().release(), "r");
    if (stream == nullptr) return fail("fdopen failed");
    setvbuf(stream, nullptr, _IONBF, 0);
    check(fileno(stream) >= 0, "the stream has no descriptor");
    KeyEvent event{};
    takes_until_the_key(
        "fread", [&] { same("fread", static_cast<std::int64_t>(fread(&event, sizeof event, 1, stream)), 1); });
    same("the key", event.code, key_code);
    same("fclose", fclose(stream), 0);
}

WAY(board_attribute_as_streams, Kind::board) {
    takes_no_time("an attribute", [] {
        FILE* const stream = fopen(motor_path, "r");
        if (stream == nullptr) return fail("fopen failed");
        const int descriptor = fileno(stream);
        check(descriptor >= 0, "the stream has no descriptor");
        check(fgetc(stream) != EOF, "nothing to read");
        fclose(stream);
        char byte = 0;
        failed_with("read after the stream is closed", read(descriptor, &byte, 1), EBADF);
    });
    sleep_ns(wait_ns());
}

WAY(board_attribute_is_always_readable, Kind::board) {
    const Descriptor motor(open(motor_path, O_RDONLY));
    pollfd one = {motor, POLLIN, 0};
    takes_no_time("poll", [&] { same("poll", poll(&one, 1, -1), 1); });
    check((one.revents & POLLIN) != 0, "not readable");
    sleep_ns(wait_ns());
}

WAY(board_descriptors_closed_by_range, Kind::board) {
    Descriptor key = keys();
    Descriptor motor(open(motor_path, O_RDONLY));
    const unsigned first = static_cast<unsigned>(std::min<int>(key, motor));
    const unsigned last = static_cast<unsigned>(std::max<int>(key, motor));
    const int number = motor.release();
    const int other = key.release();
    takes_no_time("close_range", [&] {
        worked("close_range", close_range(first, last, 0));
        char byte = 0;
        failed_with("read", read(number, &byte, 1), EBADF);
        failed_with("read", read(other, &byte, 1), EBADF);
    });
    // The numbers are free for something else.
    const Pipe pipe;
    const Later writer([&] { put(pipe.out, "hello"); });
    char buffer[16];
    takes_the_wait("read", [&] { same("read", read(pipe.in, buffer, sizeof buffer), 5); });
}

WAY(board_descriptors_closed_from_one_on, Kind::board) {
    const int twin = fcntl(keys(), F_DUPFD, 200);
    check(twin >= 200, "F_DUPFD gives a lower number");
    closefrom(200);
    char byte = 0;
    failed_with("read", read(twin, &byte, 1), EBADF);
    sleep_ns(wait_ns());
}

WAY(board_descriptor_of_gone_number, Kind::board) {
    const int number = keys().release();
    worked("close", close(number));
    failed_with("close again", close(number), EBADF);
    pollfd one = {number, POLLIN, 0};
    takes_no_time("poll", [&] { same("poll", poll(&one, 1, -1), 1); });
    same("what it found", one.revents, POLLNVAL);
    sleep_ns(wait_ns());
}

WAY(board_path_that_is_not_there, Kind::board) {
    failed_with("open", open("/sys/class/motor/no_such_attribute", O_RDONLY), ENOENT);
    failed_with("access", access("/sys/class/motor/no_such_attribute", R_OK), ENOENT);
    worked("access", access(motor_path, R_OK));
    struct stat about {};
    worked("stat", stat(key_path, &about));
    check(S_ISCHR(about.st_mode), "the keys are no device");
    worked("lstat", lstat(key_path, &about));
    check(S_ISCHR(about.st_mode), "the keys are a link");
    worked("fstatat", fstatat(AT_FDCWD, key_path, &about, 0));
    check(S_ISCHR(about.st_mode), "the keys are no device below a folder");
    worked("faccessat", faccessat(AT_FDCWD, motor_path, R_OK, 0));
    failed_with("stat", stat("/sys/class/motor/no_such_attribute", &about), ENOENT);
    sleep_ns(wait_ns());
}

WAY(board_attribute_as_a_cpp_stream, Kind::board) {
    std::ifstream stream(motor_path);
    std::string text;
    check(static_cast<bool>(std::getline(stream, text)), "nothing to read");
    sleep_ns(wait_ns());
}

WAY(board_node_below_a_folder, Kind::board) {
    const Descriptor root(open("/", O_RDONLY | O_DIRECTORY));
    const Descriptor key(openat(root, key_path, O_RDONLY));
    takes_until_the_key("read", [&] { expect_key(key, 1); });
}

WAY(board_request_that_the_driver_does_not_know, Kind::board) {
    const Descriptor key = keys();
    int count = 0;
    takes_no_time("requests", [&] {
        failed_with("ioctl", ioctl(key, FIONREAD, &count), ENOTTY);
        const Pipe pipe;
        put(pipe.out, "hello");
        worked("ioctl of a pipe", ioctl(pipe.in, FIONREAD, &count));
        same("what is in it", count, 5);
    });
    sleep_ns(wait_ns());
}

// Only the program's calendar is set; on a plain PC it would be the PC's.
WAY(board_calendar_is_set, Kind::board) {
    constexpr std::int64_t hour_ns = 3600 * ns_per_second;
    const std::int64_t before = now_ns(CLOCK_REALTIME);
    takes_no_time("setting the calendar", [&] {
        const timespec later = to_timespec(before + hour_ns);
        worked("clock_settime", clock_settime(CLOCK_REALTIME, &later));
        failed_with("clock_settime", clock_settime(CLOCK_MONOTONIC, &later), EINVAL);
    });
    expect_time("the calendar", now_ns(CLOCK_REALTIME) - before, hour_ns);
    sleep_ns(wait_ns());
    expect_time("the calendar", now_ns(CLOCK_REALTIME) - before, hour_ns + wait_ns());
    const timeval back = to_timeval(before);
    worked("settimeofday", settimeofday(&back, nullptr));
    expect_time("the calendar", now_ns(CLOCK_REALTIME) + ns_per_us - before, ns_per_us);
}
