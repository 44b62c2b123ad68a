// Pseudo terminals, both ends of which are the program's.
#include <fcntl.h>
#include <poll.h>
#include <pty.h>
#include <termios.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>

#include "tests/hosts/ways.h"

namespace {

using namespace ways;

struct Terminal {
    Terminal() {
        int ends[2] = {-1, -1};
        worked("openpty", openpty(&ends[0], &ends[1], nullptr, nullptr, nullptr));
        keyboard = Descriptor(ends[0]);
        program = Descriptor(ends[1]);
    }
    void set_raw(unsigned char min, unsigned char deciseconds) {
        termios modes{};
        worked("tcgetattr", tcgetattr(program, &modes));
        cfmakeraw(&modes);
        modes.c_cc[VMIN] = min;
        modes.c_cc[VTIME] = deciseconds;
        worked("tcsetattr", tcsetattr(program, TCSANOW, &modes));
    }
    Descriptor keyboard;
    Descriptor program;
};

}  // namespace

WAY(terminal_read_line) {
    const Terminal terminal;
    // Half a line is not delivered.
    const Later half(wait_ns() / 2, [&] { put(terminal.keyboard, "hel"); });
    const Later rest([&] { put(terminal.keyboard, "lo\n"); });
    char buffer[16];
    takes_the_wait("read", [&] { same("read", read(terminal.program, buffer, sizeof buffer), 6); });
}

WAY(terminal_read_raw) {
    Terminal terminal;
    terminal.set_raw(1, 0);
    const Later key([&] { put(terminal.keyboard, "k"); });
    char buffer[16];
    takes_the_wait("read", [&] { same("read", read(terminal.program, buffer, sizeof buffer), 1); });
}

// The terminal's own time-out, in tenths of a second: at most 25.5 s.
WAY(terminal_read_with_its_own_timeout) {
    Terminal terminal;
    const int deciseconds = std::min(200, std::max(1, wait_ms() / 100));
    terminal.set_raw(0, static_cast<unsigned char>(deciseconds));
    char buffer[16];
    const Stopwatch watch;
    same("read", read(terminal.program, buffer, sizeof buffer), 0);
    watch.expect("read", deciseconds * 100 * ns_per_ms);
}

WAY(terminal_read_keyboard_end) {
    const Terminal terminal;
    const Later printer([&] { put(terminal.program, "hello"); });
    char buffer[16];
    takes_the_wait("read", [&] { same("read", read(terminal.keyboard, buffer, sizeof buffer), 5); });
}

// More than the terminal holds: it goes in as somebody reads.
WAY(terminal_write_more_than_it_holds) {
    Terminal terminal;
    terminal.set_raw(1, 0);
    const std::string all(100'000, 't');
    std::int64_t arrived = 0;
    Later reader([&] {
        char block[4096];
        while (arrived < static_cast<std::int64_t>(all.size())) {
            const ssize_t count = read(terminal.keyboard, block, sizeof block);
            if (count <= 0) break;
            arrived += count;
        }
    });
    takes_the_wait("write", [&] { same("write", write(terminal.program, all.data(), all.size()), 100'000); });
    reader.join();
    same("what has arrived", arrived, 100'000);
}

WAY(terminal_poll) {
    const Terminal terminal;
    const Later typist([&] { put(terminal.keyboard, "hello\n"); });
    pollfd one = {terminal.program, POLLIN, 0};
    takes_the_wait("poll", [&] { same("poll", poll(&one, 1, -1), 1); });
    same("what it found", one.revents, POLLIN);
}

WAY(terminal_hung_up) {
    Terminal terminal;
    const Later closer([&] { terminal.keyboard.close_now(); });
    char buffer[16];
    takes_the_wait("read", [&] {
        const ssize_t count = read(terminal.program, buffer, sizeof buffer);
        check(count == 0 || (count == -1 && errno == EIO), "read something from a terminal that has gone");
    });
}

WAY(terminal_as_a_stream) {
    Terminal terminal;
    FILE* const stream = fdopen(terminal.program.release(), "r");
    const Later typist([&] { put(terminal.keyboard, "hello\n"); });
    char line[16];
    takes_the_wait("fgets", [&] { check(fgets(line, sizeof line, stream) != nullptr, "no line"); });
    fclose(stream);
}
