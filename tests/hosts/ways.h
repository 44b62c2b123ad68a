// Ways of waiting: small pieces of a host program, each of which waits in one way and looks at how long it took
// and what came of it. All of them wait for the same time, 30 seconds unless the command line says another.
#ifndef TESTS_HOSTS_WAYS_H
#define TESTS_HOSTS_WAYS_H

#include <signal.h>
#include <sys/time.h>
#include <time.h>

#include <cstdint>
#include <functional>
#include <string>
#include <thread>
#include <utility>

namespace ways {

constexpr std::int64_t ns_per_second = 1'000'000'000;
constexpr std::int64_t ns_per_ms = 1'000'000;
constexpr std::int64_t ns_per_us = 1'000;

/// What the test that runs a way has to know of it.
enum class Kind {
    plain,          // twice the same trace
    busy,           // makes no call for so long that the run is no longer deterministic, and one line says so
    chance,         // prints what it drew: the same with one seed, something else with another
    fed,            // something comes from outside, on standard input, after a while
    skip,           // the same, and simulated time goes on meanwhile
    skip_for_good,  // the same, and nothing ever comes
    board,          // reaches the board's nodes: has no meaning on a plain PC
};

class Registered {
public:
    Registered(const char* name, void (*run)(), Kind kind = Kind::plain);
};

/// One way: WAY(name) { ... } or WAY(name, Kind::busy) { ... }.
#define WAY(name, ...)                                                                                         \
    static void way_##name();                                                                                  \
    [[maybe_unused]] static const ::ways::Registered registered_##name(#name,                                  \
                                                                       way_##name __VA_OPT__(, ) __VA_ARGS__); \
    static void way_##name()

// --- How long ----------------------------------------------------------------------------------------------

std::int64_t wait_ns();        // what each way waits
std::int64_t wait_whole_ns();  // the same in whole seconds, one at least, for calls that take no others
int wait_ms();
unsigned wait_whole_seconds();

timespec to_timespec(std::int64_t ns);
timeval to_timeval(std::int64_t ns);
std::int64_t to_ns(const timespec& time);
std::int64_t to_ns(const timeval& time);
std::int64_t now_ns(clockid_t clock = CLOCK_MONOTONIC);
/// How long ago the program began.
std::int64_t since_start_ns();
/// The moment that is so far ahead, by this clock.
timespec moment_ahead(clockid_t clock, std::int64_t ns);

/// How long something from outside takes that stands still for the simulated machine; on a plain PC it takes
/// `ns`.
std::int64_t outside_ns(std::int64_t ns);
bool on_plain_pc();

// --- What came of it ---------------------------------------------------------------------------------------

void fail(const std::string& what);
void check(bool good, const std::string& what);
/// A number that must be this one.
void same(const std::string& what, std::int64_t found, std::int64_t expected);
/// A call that has returned -1 and left this in errno.
void failed_with(const std::string& call, std::int64_t result, int error);
/// A call that has not returned -1.
void worked(const std::string& call, std::int64_t result);
/// A line of the way's own on standard output, which is the same in each run.
void note(const std::string& text);

/// Measures by CLOCK_MONOTONIC.
class Stopwatch {
public:
    Stopwatch() : start_(now_ns()) {}
    std::int64_t elapsed() const { return now_ns() - start_; }
    /// So long ago, no less, and no more than what the library's threads may add beside it.
    void expect(const std::string& what, std::int64_t ns) const;

private:
    std::int64_t start_;
};

/// No less than `expected`, hardly more.
void expect_time(const std::string& what, std::int64_t found, std::int64_t expected);
/// The same for a run that is no longer deterministic: at least so long.
void expect_at_least(const std::string& what, std::int64_t found, std::int64_t expected);

// --- Others that act ---------------------------------------------------------------------------------------

void sleep_ns(std::int64_t ns);  // goes on when a signal interrupts it

/// Does something after a while, in a thread that takes no signals.
class Later {
public:
    explicit Later(std::function<void()> action) : Later(wait_ns(), std::move(action)) {}
    Later(std::int64_t ns, std::function<void()> action);
    ~Later() { join(); }
    Later(const Later&) = delete;
    Later& operator=(const Later&) = delete;
    void join();
    pthread_t handle() { return thread_.native_handle(); }

private:
    std::thread thread_;
};

/// Runs `calls` at once and expects that they took the whole waiting time.
template <typename Calls>
void takes_the_wait(const std::string& what, Calls calls) {
    const Stopwatch watch;
    calls();
    watch.expect(what, wait_ns());
}

/// Expects that no time has passed.
template <typename Calls>
void takes_no_time(const std::string& what, Calls calls) {
    const Stopwatch watch;
    calls();
    watch.expect(what, 0);
}

// --- Descriptors -------------------------------------------------------------------------------------------

/// A descriptor that is closed at the end.
class Descriptor {
public:
    Descriptor() = default;
    explicit Descriptor(int number);  // fails the way when it is -1
    Descriptor(Descriptor&& other) noexcept : number_(std::exchange(other.number_, -1)) {}
    Descriptor& operator=(Descriptor&& other) noexcept;
    ~Descriptor() { close_now(); }
    operator int() const { return number_; }
    void close_now();
    int release() { return std::exchange(number_, -1); }

private:
    int number_ = -1;
};

struct Pipe {
    explicit Pipe(int flags = 0);
    Descriptor in;   // to read from
    Descriptor out;  // to write to
};

void set_non_blocking(int descriptor, bool on);
/// Writes until nothing more goes in; how many bytes.
std::int64_t fill(int descriptor);
/// Reads until nothing more is there; how many bytes.
std::int64_t drain(int descriptor);
void put(int descriptor, const std::string& text);

/// A folder of its own, removed at the end.
class Folder {
public:
    Folder();
    ~Folder();
    Folder(const Folder&) = delete;
    Folder& operator=(const Folder&) = delete;
    std::string file(const std::string& name) const { return path_ + "/" + name; }

private:
    std::string path_;
};

// --- Signals -----------------------------------------------------------------------------------------------

/// Counts signals: how often each has come, who it came to last.
void count_signal(int number, int flags = 0);
int signals_seen(int number);
pthread_t signal_taken_by();
void reset_signals();
sigset_t set_of(int number);
/// Blocks a signal in this thread while it lives.
class Blocked {
public:
    explicit Blocked(int number);
    ~Blocked();
    Blocked(const Blocked&) = delete;
    Blocked& operator=(const Blocked&) = delete;

private:
    sigset_t before_;
};

// --- The library beside it ---------------------------------------------------------------------------------

/// Starts it as a host does, and asks for one run. False: it does not start.
bool start_library();

}  // namespace ways

#endif
