// A board whose every node says what the test sets, for tests of the library.
//
// The test program links the interposed C library calls (virtual_projector/interpose), so the unchanged
// libovrafocus.so reaches these nodes in place of the kernel's. Time is virtual: nothing sleeps. Everything
// that happens is written into one journal, in its true order: the library's log lines, calls on nodes,
// sleeps, calls of the board's libraries and the test's own notes.
//
//     using testkit::ScriptedBoard;
//     struct MotorStopRead : ::testing::Test { ScriptedBoard board; };
//     TEST_F(MotorStopRead, IsStoppedWhenTheNodeSaysOne) {
//         board.text("/sys/class/motor/stop", "1\n");
//         EXPECT_EQ(motor_stop_read(), 0);
//         EXPECT_EQ(board.log(), "");
//     }
#ifndef TESTS_SUPPORT_SCRIPTED_BOARD_H
#define TESTS_SUPPORT_SCRIPTED_BOARD_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace testkit {

/// A node operation that fails. The n-th matching call is hit (1 is the first); nth 0 hits every one.
struct Fault {
    std::string operation;  // "open", "read", "write", "ioctl", "close"; "pthread_create"
    std::string path;       // the node, or the thread's entry function; empty: any
    int nth = 0;
    int error_number = 0;   // what errno is set to; 0: no error, see below
    long short_count = -1;  // with error_number 0: the count that the read or write reports (and moves)
    std::string garbage;    // with error_number 0 and short_count -1: what a read delivers instead
};

class ScriptedBoard {
public:
    ScriptedBoard();  // installs itself; no node exists until the test adds it; captures standard output

    /// Threads that have not ended are left where they wait, for the rest of the process: harmless to a
    /// next board, but the library's globals stay as they left them.
    ~ScriptedBoard();
    ScriptedBoard(const ScriptedBoard&) = delete;
    ScriptedBoard& operator=(const ScriptedBoard&) = delete;

    // --- Nodes -------------------------------------------------------------------------------------
    /// A readable and writable node with this content for every open. Writes are recorded, not read back.
    void text(const std::string& path, const std::string& content);
    /// The same, each open delivering the next content; the last one repeats.
    void texts(const std::string& path, std::vector<std::string> contents);
    /// Content computed at each open.
    void on_read(const std::string& path, std::function<std::string()> content);
    /// Called with each write's bytes; returns the count to report, or a negated errno.
    void on_write(const std::string& path, std::function<long(const std::string&)> handler);
    /// Called with each ioctl; returns 0 or more, or a negated errno.
    void on_ioctl(const std::string& path, std::function<long(std::uint32_t, void*)> handler);
    void remove(const std::string& path);  // the node is missing again (open gives ENOENT)

    /// Everything written to the node, one entry for each write call.
    std::vector<std::string> writes(const std::string& path) const;

    void fail(const Fault& fault);
    void clear_faults();

    // --- What happened -----------------------------------------------------------------------------
    /// The journal: one entry per event since the start or the last clear_journal(). Entries look like
    ///   "open /sys/class/motor/stop O_RDONLY", "open ... = ENOENT", "read PATH", "write PATH 12\n" (bytes as
    ///   they are, control characters escaped as \n \t \xNN), "ioctl PATH 0x4004a203", "close PATH",
    ///   "sleep 20000" (microseconds, from usleep, sleep and nanosleep alike), "print TEXT" (one log line as it
    ///   is, without its newline; an empty line is "print "), "call NAME" (a function of the board's
    ///   libraries), and the test's notes as given.
    std::vector<std::string> journal();
    /// The entries that begin with one of these words, e.g. journal({"write", "sleep"}).
    std::vector<std::string> journal(const std::vector<std::string>& first_words);
    void clear_journal();
    void note(const std::string& entry);

    /// Everything printed to standard output since the start or the last call of log().
    std::string log();
    /// Everything printed to standard error since the start or the last call of errors().
    std::string errors();

    /// Descriptors of board nodes that are open now, by path.
    std::vector<std::string> open_descriptors() const;

    std::int64_t now_us() const;             // virtual time since the board was made
    void advance_us(std::int64_t duration);  // lets time pass without a sleeper
    /// The wall clock that gettimeofday shows at time 0, in microseconds since 1970.
    void set_wall_clock_us(std::int64_t microseconds);

    /// Called before each usleep with its length; lets a test change the board while the library sleeps.
    void on_sleep(std::function<void(std::int64_t microseconds)> handler);

private:
    struct Parts;
    std::unique_ptr<Parts> parts_;
};

}  // namespace testkit

#endif
