// A whole board on a time that the test sets, and calls on its nodes as a program would make them.
#ifndef TESTS_VIRTUAL_PROJECTOR_DEVICES_BOARD_FIXTURE_H
#define TESTS_VIRTUAL_PROJECTOR_DEVICES_BOARD_FIXTURE_H

#include <fcntl.h>
#include <gtest/gtest.h>

#include <array>
#include <cerrno>
#include <memory>
#include <string>

#include "virtual_projector/clock/clock.h"
#include "virtual_projector/clock/kernel_threads.h"
#include "virtual_projector/devices/board.h"
#include "virtual_projector/devices/build_board.h"

namespace vp {

/// A clock of which the test turns the hands.
class HandClock final : public Clock {
public:
    explicit HandClock(const Microseconds& now) : now_(now) {}

    Microseconds now() const override { return now_; }
    bool is_virtual() const override { return true; }
    WaitEnd sleep_until(Microseconds /*time*/) override { return WaitEnd::timed_out; }
    WaitEnd wait_for_device(const std::string& /*what*/, Microseconds /*deadline*/) override {
        return WaitEnd::woken;
    }
    void event_happened() override {}
    void at(Microseconds /*time*/, Callback /*callback*/) override {}
    void on_advance(AdvanceHandler /*handler*/) override {}
    void lock_world() override {}
    void unlock_world() override {}
    ThreadScheduler& scheduler() override { return threads_; }

private:
    const Microseconds& now_;
    KernelThreads threads_;
};

struct BoardTest : ::testing::Test {
    Microseconds now = 0;
    HandClock clock{now};
    World world{1};
    std::unique_ptr<Board> board;
    DeviceTable nodes;

    BoardTest() { build(); }

    // Once more, after parameters that count at the factory were set.
    void build(const MemoryFiles& files = {}) {
        nodes = DeviceTable();
        board = std::make_unique<Board>(world, clock, files);
        build_board(*board, nodes);
    }
    void set(std::string_view name, double value) { ASSERT_EQ(world.set(name, value), ""); }

    /// A file, or null and the errno.
    std::unique_ptr<OpenFile> open(const std::string& path, int flags, int& error_number) {
        Device* device = nodes.find(path);
        if (device == nullptr) ADD_FAILURE() << "no node " << path;
        return device == nullptr ? nullptr : device->open(flags, error_number);
    }
    std::unique_ptr<OpenFile> open(const std::string& path, int flags = O_RDWR) {
        int error_number = 0;
        std::unique_ptr<OpenFile> file = open(path, flags, error_number);
        EXPECT_EQ(error_number, 0) << path;
        return file;
    }
    int open_error(const std::string& path, int flags) {
        int error_number = 0;
        EXPECT_EQ(open(path, flags, error_number), nullptr) << path;
        return error_number;
    }

    /// What the node shows, waiting as long as it wants; an error as "errno N".
    std::string read(const std::string& path) {
        const std::unique_ptr<OpenFile> file = open(path, O_RDONLY);
        std::array<char, 256> buffer{};
        const Answer answer = wait_for([&] { return file->read(buffer.data(), buffer.size()); });
        if (answer.result < 0) return "errno " + std::to_string(-answer.result);
        return {buffer.data(), static_cast<std::size_t>(answer.result)};
    }

    /// The result of one write call: its length, or a negated errno.
    long write(const std::string& path, const std::string& text, int flags = O_WRONLY) {
        return open(path, flags)->write(text.data(), text.size()).result;
    }

    /// Asks again whenever the device says so, letting the time pass.
    template <typename Question>
    Answer wait_for(Question question) {
        Answer answer = question();
        while (answer.wait && answer.until > now) {
            now = answer.until;
            answer = question();
        }
        EXPECT_FALSE(answer.wait);
        return answer;
    }
};

}  // namespace vp

#endif
