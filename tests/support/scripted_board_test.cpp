#include "tests/support/scripted_board.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <sys/ioctl.h>
#include <sys/time.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "platform/board_network.h"
#include "platform/hudi_flash.h"
#include "tests/support/scripted_vendor.h"

namespace {

using testkit::ScriptedBoard;
using Entries = std::vector<std::string>;

constexpr const char* node = "/sys/class/motor/stop";
constexpr unsigned long request_number = 0x4004a203;

struct Board : ::testing::Test {
    std::string read_all() {
        const int fd = ::open(node, O_RDONLY);
        char buffer[64] = {};
        const ssize_t count = ::read(fd, buffer, sizeof buffer - 1);
        ::close(fd);
        return count < 0 ? "failed" : std::string(buffer, static_cast<std::size_t>(count));
    }

    ScriptedBoard board;
};

TEST_F(Board, HasNoNodeUntilTheTestAddsIt) {
    errno = 0;
    EXPECT_EQ(::open(node, O_RDONLY), -1);
    EXPECT_EQ(errno, ENOENT);
    EXPECT_EQ(board.journal(), Entries{"open /sys/class/motor/stop O_RDONLY = ENOENT"});
}

TEST_F(Board, ANodeDeliversItsContentToEveryOpen) {
    board.text(node, "1\n");
    EXPECT_EQ(read_all(), "1\n");
    EXPECT_EQ(read_all(), "1\n");
}

TEST_F(Board, AReadGoesOnWhereTheLastOneEnded) {
    board.text(node, "12345");
    const int fd = ::open(node, O_RDONLY);
    char buffer[4] = {};
    EXPECT_EQ(::read(fd, buffer, 3), 3);
    EXPECT_STREQ(buffer, "123");
    EXPECT_EQ(::read(fd, buffer, 3), 2);
    EXPECT_EQ(::read(fd, buffer, 3), 0);
    ::close(fd);
}

TEST_F(Board, ContentsFollowEachOtherAndTheLastOneRepeats) {
    board.texts(node, {"1", "2"});
    EXPECT_EQ(read_all(), "1");
    EXPECT_EQ(read_all(), "2");
    EXPECT_EQ(read_all(), "2");
}

TEST_F(Board, OpeningToWriteLeavesTheNextContent) {
    board.texts(node, {"1", "2"});
    ::close(::open(node, O_WRONLY));
    EXPECT_EQ(read_all(), "1");
}

TEST_F(Board, ContentMayBeComputed) {
    int opens = 0;
    board.on_read(node, [&opens] { return std::to_string(++opens); });
    EXPECT_EQ(read_all(), "1");
    EXPECT_EQ(read_all(), "2");
}

TEST_F(Board, WritesAreRecordedNotReadBack) {
    board.text(node, "1");
    const int fd = ::open(node, O_RDWR);
    EXPECT_EQ(::write(fd, "12\n", 3), 3);
    EXPECT_EQ(::write(fd, "\t\1", 2), 2);
    ::close(fd);
    EXPECT_EQ(board.writes(node), (Entries{"12\n", "\t\1"}));
    EXPECT_EQ(read_all(), "1");
    EXPECT_EQ(board.journal({"write"}),
              (Entries{"write /sys/class/motor/stop 12\\n", "write /sys/class/motor/stop \\t\\x01"}));
}

TEST_F(Board, AWriteHandlerDecidesTheResult) {
    board.on_write(node, [](const std::string& bytes) { return bytes == "x" ? -EINVAL : 1L; });
    const int fd = ::open(node, O_WRONLY);
    EXPECT_EQ(::write(fd, "ok", 2), 1);
    errno = 0;
    EXPECT_EQ(::write(fd, "x", 1), -1);
    EXPECT_EQ(errno, EINVAL);
    ::close(fd);
    EXPECT_EQ(board.journal({"write"}),
              (Entries{"write /sys/class/motor/stop ok", "write /sys/class/motor/stop x = EINVAL"}));
}

TEST_F(Board, AnIoctlHandlerSeesNumberAndArgument) {
    board.on_ioctl("/dev/dis", [](std::uint32_t number, void* argument) {
        *static_cast<int*>(argument) = 7;
        return number == request_number ? 3L : -ENOTTY;
    });
    const int fd = ::open("/dev/dis", O_RDWR);
    int value = 0;
    EXPECT_EQ(::ioctl(fd, request_number, &value), 3);
    EXPECT_EQ(value, 7);
    ::close(fd);
    EXPECT_EQ(board.journal(),
              (Entries{"open /dev/dis O_RDWR", "ioctl /dev/dis 0x4004a203", "close /dev/dis"}));
}

TEST_F(Board, ANodeWithoutAnIoctlHandlerRefusesRequests) {
    board.text(node, "");
    const int fd = ::open(node, O_RDWR);
    EXPECT_EQ(::ioctl(fd, request_number, nullptr), -1);
    EXPECT_EQ(errno, ENOTTY);
    ::close(fd);
}

TEST_F(Board, ARemovedNodeIsMissing) {
    board.text(node, "1");
    board.remove(node);
    EXPECT_EQ(::open(node, O_RDONLY), -1);
    EXPECT_EQ(errno, ENOENT);
}

TEST_F(Board, NamesWhatIsOpen) {
    board.text(node, "1");
    board.text("/dev/dis", "");
    const int first = ::open(node, O_RDONLY);
    const int second = ::open("/dev/dis", O_RDWR);
    EXPECT_EQ(board.open_descriptors(), (Entries{node, "/dev/dis"}));
    ::close(first);
    EXPECT_EQ(board.open_descriptors(), Entries{"/dev/dis"});
    ::close(second);
}

TEST_F(Board, FailsTheNthMatchingCallOnly) {
    board.text(node, "1");
    board.fail({"read", node, 2, EIO, -1, ""});
    EXPECT_EQ(read_all(), "1");
    EXPECT_EQ(read_all(), "failed");
    EXPECT_EQ(read_all(), "1");
    EXPECT_EQ(board.journal({"read"}),
              (Entries{"read /sys/class/motor/stop", "read /sys/class/motor/stop = EIO",
                       "read /sys/class/motor/stop"}));
}

TEST_F(Board, FailsEveryMatchingCallUntilTheFaultsAreCleared) {
    board.text(node, "1");
    board.fail({"open", node, 0, EACCES, -1, ""});
    for (int i = 0; i < 3; ++i) {
        errno = 0;
        EXPECT_EQ(::open(node, O_RDONLY), -1);
        EXPECT_EQ(errno, EACCES);
    }
    board.clear_faults();
    EXPECT_EQ(read_all(), "1");
}

TEST_F(Board, ShortensReadsAndWrites) {
    board.text(node, "12345");
    board.fail({"read", node, 0, 0, 2, ""});
    board.fail({"write", node, 0, 0, 1, ""});
    EXPECT_EQ(read_all(), "12");
    const int fd = ::open(node, O_WRONLY);
    EXPECT_EQ(::write(fd, "abc", 3), 1);
    ::close(fd);
    EXPECT_EQ(board.writes(node), Entries{"a"});
}

TEST_F(Board, DeliversGarbageInPlaceOfTheContent) {
    board.text(node, "12345");
    board.fail({"read", node, 0, 0, -1, "xyz"});
    EXPECT_EQ(read_all(), "xyz");
}

TEST_F(Board, AFailedCloseStillCloses) {
    board.text(node, "1");
    board.fail({"close", node, 0, EIO, -1, ""});
    const int fd = ::open(node, O_RDONLY);
    EXPECT_EQ(::close(fd), -1);
    EXPECT_EQ(errno, EIO);
    EXPECT_EQ(board.open_descriptors(), Entries{});
}

TEST_F(Board, JournalKeepsPrintsAndCallsInTheirOrder) {
    board.text(node, "1");
    std::printf("before\n");
    const int fd = ::open(node, O_RDONLY);
    std::printf("one\n\ntwo\n");
    ::close(fd);
    board.note("noted");
    ::usleep(20000);
    usb_eth_config();
    EXPECT_EQ(board.journal(), (Entries{"print before", "open /sys/class/motor/stop O_RDONLY", "print one",
                                        "print ", "print two", "close /sys/class/motor/stop", "noted",
                                        "sleep 20000", "call usb_eth_config"}));
    board.clear_journal();
    EXPECT_EQ(board.journal(), Entries{});
}

TEST_F(Board, LogIsConsumedByReadingIt) {
    std::printf("[tag]  one\n");
    std::puts("two");
    EXPECT_EQ(board.log(), "[tag]  one\ntwo\n");
    EXPECT_EQ(board.log(), "");
    std::putchar('x');
    EXPECT_EQ(board.log(), "x");
}

TEST_F(Board, StandardErrorIsCapturedApart) {
    errno = ENOENT;
    std::perror("open");
    std::fprintf(stderr, "more\n");
    EXPECT_EQ(board.errors(), "open: No such file or directory\nmore\n");
    EXPECT_EQ(board.log(), "");
}

TEST_F(Board, SleepingMovesTimeAndNothingElseDoes) {
    EXPECT_EQ(board.now_us(), 0);
    ::usleep(1500);
    ::sleep(2);
    const timespec half{0, 500'000'000};
    ::nanosleep(&half, nullptr);
    EXPECT_EQ(board.now_us(), 2'501'500);
    EXPECT_EQ(board.journal(), (Entries{"sleep 1500", "sleep 2000000", "sleep 500000"}));
    board.advance_us(10);
    EXPECT_EQ(board.now_us(), 2'501'510);
    EXPECT_EQ(board.journal().size(), 3U);
}

TEST_F(Board, WallClockMovesWithVirtualTime) {
    board.set_wall_clock_us(1'000'000'000'000'000 + 999'999);
    timeval time{};
    ::gettimeofday(&time, nullptr);
    EXPECT_EQ(time.tv_sec, 1'000'000'000);
    EXPECT_EQ(time.tv_usec, 999'999);
    ::usleep(1);
    ::gettimeofday(&time, nullptr);
    EXPECT_EQ(time.tv_sec, 1'000'000'001);
    EXPECT_EQ(time.tv_usec, 0);
}

TEST_F(Board, ASleepHandlerMayChangeTheBoard) {
    board.text(node, "0");
    board.on_sleep([this](std::int64_t length) { board.text(node, std::to_string(length)); });
    ::usleep(42);
    EXPECT_EQ(read_all(), "42");
}

TEST_F(Board, AHandlerMayUseTheBoardItself) {
    board.text("/dev/fb0", "inner");
    board.on_write(node, [this](const std::string&) {
        const int fd = ::open("/dev/fb0", O_RDONLY);
        char buffer[8] = {};
        (void)!::read(fd, buffer, sizeof buffer);
        ::close(fd);
        board.note(std::string("read ") + buffer);
        return 1L;
    });
    const int fd = ::open(node, O_WRONLY);
    EXPECT_EQ(::write(fd, "x", 1), 1);
    ::close(fd);
    EXPECT_EQ(board.journal(), (Entries{"open /sys/class/motor/stop O_WRONLY", "open /dev/fb0 O_RDONLY",
                                        "read /dev/fb0", "close /dev/fb0", "read inner",
                                        "write /sys/class/motor/stop x", "close /sys/class/motor/stop"}));
}

TEST_F(Board, ThreadsRunWhileTheTestSleeps) {
    pthread_t thread;
    const auto body = [](void* argument) -> void* {
        for (int i = 0; i < 3; ++i) {
            std::printf("tick\n");
            ::usleep(10);
        }
        *static_cast<bool*>(argument) = true;
        return nullptr;
    };
    bool done = false;
    pthread_create(&thread, nullptr, body, &done);
    pthread_detach(thread);
    EXPECT_FALSE(done);
    ::usleep(25);
    EXPECT_EQ(board.log(), "tick\ntick\ntick\n");
    EXPECT_FALSE(done);
    ::usleep(25);
    EXPECT_TRUE(done);
}

// Threads that never end are left where they wait; the next board starts again.
TEST_F(Board, AThreadWithoutEndIsLeftBehindQuietly) {
    pthread_t thread;
    const auto body = [](void*) -> void* {
        for (;;) ::usleep(10);
    };
    pthread_create(&thread, nullptr, body, nullptr);
    pthread_detach(thread);
    ::usleep(100);
    EXPECT_EQ(board.now_us(), 100);
}

TEST_F(Board, AnotherBoardStartsAgain) {
    EXPECT_EQ(board.now_us(), 0);
    ::usleep(100);
    EXPECT_EQ(board.journal(), Entries{"sleep 100"});
}

TEST_F(Board, StreamsReadAndWriteNodes) {
    board.text(node, "12 34\n");
    FILE* stream = std::fopen(node, "r");
    ASSERT_NE(stream, nullptr);
    int a = 0;
    int b = 0;
    EXPECT_EQ(std::fscanf(stream, "%d %d", &a, &b), 2);
    EXPECT_EQ(a * 100 + b, 1234);
    EXPECT_EQ(std::fclose(stream), 0);
    stream = std::fopen(node, "w");
    ASSERT_NE(stream, nullptr);
    EXPECT_EQ(std::fputs("56\n", stream), 1);
    EXPECT_EQ(std::fclose(stream), 0);
    EXPECT_EQ(board.writes(node), Entries{"56\n"});
    EXPECT_EQ(board.journal({"open"}), (Entries{"open /sys/class/motor/stop O_RDONLY",
                                                "open /sys/class/motor/stop O_WRONLY|O_CREAT|O_TRUNC"}));
}

TEST_F(Board, VendorFunctionsKeepTheRecordByDefault) {
    std::uint32_t handle = 0;
    EXPECT_EQ(hudi_flash_open(&handle, 0), 0);
    EXPECT_EQ(handle, 0x1234U);
    EXPECT_EQ(hudi_flash_otp_write(handle, 2, 3, "abc", 3), 0);
    char back[3] = {};
    EXPECT_EQ(hudi_flash_otp_read(handle, 2, 3, back, 3), 0);
    EXPECT_EQ(std::string(back, 3), "abc");
    EXPECT_LT(hudi_flash_otp_read(handle, 2, 225, back, 3), 0);
    EXPECT_LT(hudi_flash_otp_read(handle, 1, 0, back, 3), 0);
    std::uint8_t uid[16] = {};
    std::uint32_t length = 16;
    EXPECT_EQ(hudi_flash_uid_read(handle, uid, &length), 0);
    EXPECT_EQ(uid[15], 15);
    EXPECT_EQ(hudi_flash_close(handle), 0);
    EXPECT_EQ(board.journal(),
              (Entries{"call hudi_flash_open", "call hudi_flash_otp_write", "call hudi_flash_otp_read",
                       "call hudi_flash_otp_read", "call hudi_flash_otp_read", "call hudi_flash_uid_read",
                       "call hudi_flash_close"}));
}

TEST_F(Board, AVendorFunctionMayBeReplaced) {
    testkit::vendor().usb_eth_config = [this] {
        board.note("inside");
        return -5;
    };
    EXPECT_EQ(usb_eth_config(), -5);
    EXPECT_EQ(board.journal(), (Entries{"call usb_eth_config", "inside"}));
}

TEST_F(Board, EachBoardFindsTheVendorFunctionsAtTheirDefaults) { EXPECT_EQ(usb_eth_config(), 0); }

// Of a loop that never ends; without an end the machine's memory would be full first.
TEST_F(Board, EndsTheProcessOfATestThatMakesAMillionCalls) {
    EXPECT_EXIT(for (;;)::usleep(1), testing::ExitedWithCode(EXIT_FAILURE),
                "^Board\\.EndsTheProcessOfATestThatMakesAMillionCalls: more than 1000000 calls and lines in "
                "its journal, "
                "the last one: sleep 1\n$");
}

TEST_F(Board, EndsTheProcessOfATestThatPrintsWithoutEnd) {
    EXPECT_EXIT(for (;;) std::puts("and so on, and so on, and so on"), testing::ExitedWithCode(EXIT_FAILURE),
                "^Board\\.EndsTheProcessOfATestThatPrintsWithoutEnd: more than 100 MB printed at once, the "
                "last one: .*and so "
                "on\n\n$");
}

}  // namespace
