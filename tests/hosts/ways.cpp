// The table of ways, its command line, and what the ways have in common.
//   ways [--without-library] [--plain-pc] [--seconds S] list
//   ways [--without-library] [--plain-pc] [--seconds S] run NAME
#include "tests/hosts/ways.h"

#include <fcntl.h>
#include <pthread.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <map>
#include <mutex>
#include <string_view>
#include <vector>

namespace ways {
namespace {

struct Way {
    const char* name;
    void (*run)();
    Kind kind;
};

std::vector<Way>& table() {
    static std::vector<Way> all;
    return all;
}

const char* word_of(Kind kind) {
    switch (kind) {
        case Kind::plain:
            return "plain";
        case Kind::busy:
            return "busy";
        case Kind::chance:
            return "chance";
        case Kind::fed:
            return "fed";
        case Kind::skip:
            return "skip";
        case Kind::skip_for_good:
            return "skip_for_good";
        case Kind::board:
            return "board";
    }
    return "";
}

std::int64_t length_ns = 30 * ns_per_second;
// Calls of the library's threads may be charged for; on a plain PC the kernel has other things to do, too.
std::int64_t slack_ns = 5 * ns_per_ms;
constexpr std::int64_t plain_pc_slack_ns = 200 * ns_per_ms;
// Deadlines are kept in whole microseconds. A thread that acts after the waiting time starts a little before
// the watch, which takes time on a plain PC alone.
std::int64_t early_ns = 1 * ns_per_us;
constexpr std::int64_t plain_pc_early_ns = 50 * ns_per_ms;
bool plain_pc = false;
std::int64_t start_ns = 0;

std::mutex failures_lock;
std::vector<std::string> failures;

std::string in_seconds(std::int64_t ns) {
    char text[64];
    std::snprintf(text, sizeof text, "%.6f s", static_cast<double>(ns) / static_cast<double>(ns_per_second));
    return text;
}

constexpr int signal_count = 128;
std::atomic<int> seen[signal_count];
std::atomic<pthread_t> taker;

void on_signal(int number) {
    seen[number] = seen[number] + 1;
    taker = pthread_self();
}

// The signals of the ways go to the thread that asks for them: no thread of the library's takes one.
void block_signals_of_ways(sigset_t* before) {
    sigset_t all;
    sigfillset(&all);
    for (const int fault : {SIGSEGV, SIGBUS, SIGILL, SIGFPE, SIGABRT, SIGINT, SIGTERM}) sigdelset(&all, fault);
    pthread_sigmask(SIG_BLOCK, &all, before);
}

}  // namespace

Registered::Registered(const char* name, void (*run)(), Kind kind) { table().push_back({name, run, kind}); }

std::int64_t wait_ns() { return length_ns; }
std::int64_t wait_whole_ns() { return wait_whole_seconds() * ns_per_second; }
int wait_ms() { return static_cast<int>(length_ns / ns_per_ms); }
unsigned wait_whole_seconds() {
    return static_cast<unsigned>(std::max<std::int64_t>(1, length_ns / ns_per_second));
}

timespec to_timespec(std::int64_t ns) {
    timespec time{};
    time.tv_sec = static_cast<time_t>(ns / ns_per_second);
    time.tv_nsec = static_cast<long>(ns % ns_per_second);
    return time;
}

timeval to_timeval(std::int64_t ns) {
    timeval time{};
    time.tv_sec = static_cast<time_t>(ns / ns_per_second);
    time.tv_usec = static_cast<suseconds_t>(ns % ns_per_second / ns_per_us);
    return time;
}

std::int64_t to_ns(const timespec& time) {
    return static_cast<std::int64_t>(time.tv_sec) * ns_per_second + time.tv_nsec;
}

std::int64_t to_ns(const timeval& time) {
    return static_cast<std::int64_t>(time.tv_sec) * ns_per_second + time.tv_usec * ns_per_us;
}

std::int64_t now_ns(clockid_t clock) {
    timespec time{};
    worked("clock_gettime", clock_gettime(clock, &time));
    return to_ns(time);
}

std::int64_t since_start_ns() { return now_ns() - start_ns; }

timespec moment_ahead(clockid_t clock, std::int64_t ns) { return to_timespec(now_ns(clock) + ns); }

std::int64_t outside_ns(std::int64_t ns) { return plain_pc ? ns : 0; }
bool on_plain_pc() { return plain_pc; }

void fail(const std::string& what) {
    const std::lock_guard<std::mutex> lock(failures_lock);
    failures.push_back(what);
}

void check(bool good, const std::string& what) {
    if (!good) fail(what);
}

void same(const std::string& what, std::int64_t found, std::int64_t expected) {
    if (found != expected) {
        fail(what + ": " + std::to_string(found) + " in place of " + std::to_string(expected));
    }
}

void failed_with(const std::string& call, std::int64_t result, int error) {
    const int found = errno;
    if (result != -1) {
        fail(call + " returned " + std::to_string(result) + " in place of -1, " + strerror(error));
    } else if (found != error) {
        fail(call + " failed with " + strerror(found) + " in place of " + strerror(error));
    }
}

void worked(const std::string& call, std::int64_t result) {
    const int found = errno;
    if (result == -1) fail(call + " failed: " + strerror(found));
}

void note(const std::string& text) { std::printf("%s\n", text.c_str()); }

void Stopwatch::expect(const std::string& what, std::int64_t ns) const { expect_time(what, elapsed(), ns); }

void expect_time(const std::string& what, std::int64_t found, std::int64_t expected) {
    if (found < expected - early_ns || found > expected + slack_ns) {
        fail(what + " took " + in_seconds(found) + " in place of " + in_seconds(expected));
    }
}

void expect_at_least(const std::string& what, std::int64_t found, std::int64_t expected) {
    if (found < expected - early_ns) {
        fail(what + " took " + in_seconds(found) + " in place of at least " + in_seconds(expected));
    }
}

void sleep_ns(std::int64_t ns) {
    timespec left = to_timespec(ns);
    while (nanosleep(&left, &left) != 0 && errno == EINTR) {
    }
}

Later::Later(std::int64_t ns, std::function<void()> action) {
    sigset_t before;
    block_signals_of_ways(&before);
    thread_ = std::thread([ns, action = std::move(action)] {
        sleep_ns(ns);
        action();
    });
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

void Later::join() {
    if (thread_.joinable()) thread_.join();
}

Descriptor::Descriptor(int number) : number_(number) { worked("opening a descriptor", number); }

Descriptor& Descriptor::operator=(Descriptor&& other) noexcept {
    if (this != &other) {
        close_now();
        number_ = std::exchange(other.number_, -1);
    }
    return *this;
}

void Descriptor::close_now() {
    if (number_ >= 0) close(std::exchange(number_, -1));
}

Pipe::Pipe(int flags) {
    int ends[2] = {-1, -1};
    worked("pipe2", pipe2(ends, flags));
    in = Descriptor(ends[0]);
    out = Descriptor(ends[1]);
}

void set_non_blocking(int descriptor, bool on) {
    const int flags = fcntl(descriptor, F_GETFL);
    worked("fcntl", fcntl(descriptor, F_SETFL, on ? flags | O_NONBLOCK : flags & ~O_NONBLOCK));
}

std::int64_t fill(int descriptor) {
    set_non_blocking(descriptor, true);
    const std::string block(4096, 'f');
    std::int64_t sum = 0;
    for (;;) {
        const ssize_t count = write(descriptor, block.data(), block.size());
        if (count <= 0) break;
        sum += count;
    }
    failed_with("writing to what is full", write(descriptor, block.data(), 1), EAGAIN);
    set_non_blocking(descriptor, false);
    return sum;
}

std::int64_t drain(int descriptor) {
    set_non_blocking(descriptor, true);
    std::int64_t sum = 0;
    char block[4096];
    for (;;) {
        const ssize_t count = read(descriptor, block, sizeof block);
        if (count <= 0) break;
        sum += count;
    }
    set_non_blocking(descriptor, false);
    return sum;
}

void put(int descriptor, const std::string& text) {
    same("bytes written", write(descriptor, text.data(), text.size()), static_cast<std::int64_t>(text.size()));
}

Folder::Folder() : path_((std::filesystem::temp_directory_path() / "way-XXXXXX").string()) {
    check(mkdtemp(path_.data()) != nullptr, "no folder for the way's files");
}

Folder::~Folder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
}

void count_signal(int number, int flags) {
    seen[number] = 0;
    struct sigaction action {};
    action.sa_handler = on_signal;
    action.sa_flags = flags;
    worked("sigaction", sigaction(number, &action, nullptr));
}

int signals_seen(int number) { return seen[number]; }
pthread_t signal_taken_by() { return taker; }

sigset_t set_of(int number) {
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, number);
    return set;
}

Blocked::Blocked(int number) {
    const sigset_t set = set_of(number);
    pthread_sigmask(SIG_BLOCK, &set, &before_);
}

Blocked::~Blocked() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }

}  // namespace ways

namespace {

using namespace ways;

constexpr int exit_usage = 2;

struct CommandLine {
    bool with_library = true;
    std::vector<std::string> words;
};

CommandLine command_line_of(int count, char** words) {
    CommandLine line;
    for (int i = 1; i < count; ++i) {
        const std::string_view word = words[i];
        if (word == "--without-library") {
            line.with_library = false;
        } else if (word == "--plain-pc") {
            plain_pc = true;
            slack_ns = plain_pc_slack_ns;
            early_ns = plain_pc_early_ns;
        } else if (word == "--seconds" && i + 1 < count) {
            length_ns = std::llround(std::strtod(words[++i], nullptr) * static_cast<double>(ns_per_second));
        } else {
            line.words.emplace_back(word);
        }
    }
    return line;
}

int list() {
    std::vector<Way> all = table();
    std::sort(all.begin(), all.end(),
              [](const Way& left, const Way& right) { return std::strcmp(left.name, right.name) < 0; });
    for (const Way& way : all) std::printf("%s %s\n", way.name, word_of(way.kind));
    return 0;
}

bool start_beside() {
    sigset_t before;
    block_signals_of_ways(&before);
    const bool started = start_library();
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    return started;
}

int run(const Way& way, bool with_library) {
    std::setvbuf(stdout, nullptr, _IOLBF, 0);
    if (with_library) check(start_beside(), "the library does not start");
    // Whoever speaks from outside does so a while after this.
    if (way.kind == Kind::fed || way.kind == Kind::skip) note("now the outside may speak");
    const Stopwatch watch;
    way.run();
    const std::int64_t took = watch.elapsed();
    const std::lock_guard<std::mutex> lock(failures_lock);
    // On a plain PC no two runs take the same time.
    std::printf("way %s: %s%s", way.name, failures.empty() ? "right" : "wrong",
                plain_pc ? "" : (", " + in_seconds(took)).c_str());
    for (const std::string& failure : failures) std::printf("; %s", failure.c_str());
    std::printf("\n");
    return failures.empty() ? 0 : 1;
}

}  // namespace

int main(int count, char** words) {
    start_ns = now_ns();
    const CommandLine line = command_line_of(count, words);
    if (line.words.size() == 1 && line.words[0] == "list") return list();
    if (line.words.size() == 2 && line.words[0] == "run") {
        for (const Way& way : table()) {
            if (line.words[1] == way.name) return run(way, line.with_library);
        }
    }
    std::fprintf(stderr, "usage: ways [--without-library] [--plain-pc] [--seconds S] list|run NAME\n");
    return exit_usage;
}
