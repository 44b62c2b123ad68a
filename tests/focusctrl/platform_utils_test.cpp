#include "ovrafocus/platform_utils.h"

#include <gtest/gtest.h>

#include <unistd.h>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstring>
#include <string>
#include <vector>

#include "tests/support/log_lines.h"
#include "tests/support/scripted_board.h"

using testkit::Fault;
using testkit::located;
using testkit::ScriptedBoard;
using testkit::tagged;
using Entries = std::vector<std::string>;

namespace {

constexpr const char* node = "/sys/class/motor/delay";
constexpr const char* fan_auto = "/sys/devices/platform/pwm-fan/fan_auto_ctrl";
constexpr const char* fan_speed = "/sys/devices/platform/pwm-fan/target_speed";

const std::string on_node = "file(/sys/class/motor/delay)";

struct PlatformUtils : ::testing::Test {
    ScriptedBoard board;

    void refuse(const std::string& operation, int error_number) {
        Fault fault;
        fault.operation = operation;
        fault.path = node;
        fault.error_number = error_number;
        board.fail(fault);
    }
    void cut_short(const std::string& operation, long count) {
        Fault fault;
        fault.operation = operation;
        fault.path = node;
        fault.short_count = count;
        board.fail(fault);
    }
};

struct Itoa : ::testing::Test {
    char buffer[34] = {};
    std::string text(int value, unsigned base) {
        std::memset(buffer, '#', sizeof buffer - 1);
        EXPECT_EQ(itoa(value, buffer, base), buffer);
        return buffer;
    }
};

struct WriteInt : PlatformUtils {};
struct WriteStr : PlatformUtils {};
struct ReadInt : PlatformUtils {};
struct WriteFile : PlatformUtils {};
struct ReadFile : PlatformUtils {};
struct ReadFileBuf : PlatformUtils {};
struct WriteFileBuf : PlatformUtils {};
struct Waiting : PlatformUtils {};
struct Fan : PlatformUtils {};

// --- itoa --------------------------------------------------------------------------------------------

TEST_F(Itoa, WritesASignInBaseTenOnly) {
    EXPECT_EQ(text(-255, 10), "-255");
    EXPECT_EQ(text(-255, 16), "FFFFFF01");
    EXPECT_EQ(text(-1, 8), "37777777777");
}

TEST_F(Itoa, WritesTheMostNegativeNumber) {
    EXPECT_EQ(text(INT_MIN, 10), "-2147483648");
    EXPECT_EQ(text(INT_MIN, 2), "1" + std::string(31, '0'));
}

TEST_F(Itoa, WritesZeroAsOneDigit) {
    EXPECT_EQ(text(0, 2), "0");
    EXPECT_EQ(text(0, 10), "0");
}

TEST_F(Itoa, WritesUpperCaseDigitsInTheirOrder) {
    EXPECT_EQ(text(0x12abcdef, 16), "12ABCDEF");
    EXPECT_EQ(text(INT_MAX, 10), "2147483647");
    EXPECT_EQ(text(6, 2), "110");
}

// --- write_int, write_str, read_int ------------------------------------------------------------------

TEST_F(WriteInt, WritesTheNumberAndANewlineToANodeOpenedForBothWays) {
    board.text(node, "");
    EXPECT_EQ(write_int(node, -1234567890), 0);
    EXPECT_EQ(board.journal(),
              (Entries{"open /sys/class/motor/delay O_RDWR", "write /sys/class/motor/delay -1234567890\\n",
                       "close /sys/class/motor/delay"}));
}

TEST_F(WriteInt, ReturnsTheOpensErrorForAMissingNode) { EXPECT_EQ(write_int(node, 1), -ENOENT); }

TEST_F(WriteInt, ReturnsTheWritesErrorAndNotThatOfTheClose) {
    board.text(node, "");
    refuse("write", ENOSPC);
    refuse("close", EIO);
    EXPECT_EQ(write_int(node, 1), -ENOSPC);
    EXPECT_TRUE(board.open_descriptors().empty());
}

TEST_F(WriteInt, TakesAShortWriteForSuccess) {
    board.text(node, "");
    cut_short("write", 1);
    EXPECT_EQ(write_int(node, 123), 0);
}

TEST_F(WriteStr, WritesTheTextAsItIsToANodeOpenedForWriting) {
    board.text(node, "");
    EXPECT_EQ(write_str(node, "fast mode"), 0);
    EXPECT_EQ(board.journal(),
              (Entries{"open /sys/class/motor/delay O_WRONLY", "write /sys/class/motor/delay fast mode",
                       "close /sys/class/motor/delay"}));
}

TEST_F(WriteStr, WritesThirtyOneCharacters) {
    board.text(node, "");
    const std::string longest(31, 'x');
    EXPECT_EQ(write_str(node, longest.c_str()), 0);
    EXPECT_EQ(board.writes(node), Entries{longest});
}

TEST_F(WriteStr, StopsTheProcessForThirtyTwoCharactersBeforeAnythingIsWritten) {
    constexpr int exit_code_when_written = 99;
    board.on_write(node, [](const std::string&) -> long { _exit(exit_code_when_written); });
    const std::string too_long(32, 'x');
    EXPECT_EXIT(write_str(node, too_long.c_str()), ::testing::KilledBySignal(SIGABRT), "");
}

TEST_F(WriteStr, ReturnsTheOpensErrorForAMissingNodeEvenWhenTheTextIsTooLong) {
    EXPECT_EQ(write_str(node, std::string(40, 'x').c_str()), -ENOENT);
}

TEST_F(WriteStr, ReturnsTheWritesError) {
    board.text(node, "");
    refuse("write", EINVAL);
    refuse("close", EIO);
    EXPECT_EQ(write_str(node, "x"), -EINVAL);
}

TEST_F(ReadInt, LooksAtTheFirstFourCharactersOnly) {
    board.texts(node, {"12345\n", "-1000\n", "7\n"});
    EXPECT_EQ(read_int(node), 1234);
    EXPECT_EQ(read_int(node), -100);
    EXPECT_EQ(read_int(node), 7);
    EXPECT_TRUE(board.open_descriptors().empty());
}

TEST_F(ReadInt, TakesNothingOverFromAnEarlierText) {
    board.texts(node, {"999", "7"});
    const int32_t first = read_int(node);
    const int32_t second = read_int(node);  // at once: the stack still holds what the first call left on it
    EXPECT_EQ(first, 999);
    EXPECT_EQ(second, 7);
}

TEST_F(ReadInt, IsZeroForATextThatIsNoNumberAndForAnEmptyNode) {
    board.texts(node, {"none\n", ""});
    EXPECT_EQ(read_int(node), 0);
    EXPECT_EQ(read_int(node), 0);
}

TEST_F(ReadInt, IsZeroWhenTheReadIsRefused) {
    board.text(node, "5");
    refuse("read", EIO);
    EXPECT_EQ(read_int(node), 0);
}

TEST_F(ReadInt, ReturnsTheOpensError) {
    EXPECT_EQ(read_int(node), -ENOENT);
    board.text(node, "5");
    refuse("open", EACCES);
    EXPECT_EQ(read_int(node), -EACCES);
}

// --- write_file, read_file ---------------------------------------------------------------------------

TEST_F(WriteFile, WritesTheNumberAndANewline) {
    board.text(node, "");
    EXPECT_EQ(write_file(node, INT_MIN), 0);
    EXPECT_EQ(board.journal(),
              (Entries{"open /sys/class/motor/delay O_RDWR", "write /sys/class/motor/delay -2147483648\\n",
                       "close /sys/class/motor/delay"}));
}

TEST_F(WriteFile, RefusesANullPath) {
    EXPECT_EQ(write_file(nullptr, 1), -1);
    EXPECT_EQ(board.log(), tagged("write_file,invalid\n"));
}

TEST_F(WriteFile, ReportsAMissingNode) {
    EXPECT_EQ(write_file(node, 1), -1);
    EXPECT_EQ(board.log(), tagged("[write] file(/sys/class/motor/delay) open fail:No such file or directory"));
}

TEST_F(WriteFile, ReportsARefusedWriteAndCloses) {
    board.text(node, "");
    refuse("write", EBUSY);
    EXPECT_EQ(write_file(node, 1), -1);
    EXPECT_EQ(board.log(), tagged("[write] " + on_node + " write fail:Device or resource busy"));
    EXPECT_TRUE(board.open_descriptors().empty());
}

TEST_F(WriteFile, TakesAShortWriteForSuccess) {
    board.text(node, "");
    cut_short("write", 0);
    EXPECT_EQ(write_file(node, 1), 0);
}

TEST_F(ReadFile, ReturnsTheNumber) {
    board.texts(node, {"-1234567\n", "  42 more", "none"});
    EXPECT_EQ(read_file(node), -1234567);
    EXPECT_EQ(board.journal(), (Entries{"open /sys/class/motor/delay O_RDONLY", "read /sys/class/motor/delay",
                                        "close /sys/class/motor/delay"}));
    EXPECT_EQ(read_file(node), 42);
    EXPECT_EQ(read_file(node), 0);
}

TEST_F(ReadFile, ReadsASingleDigit) {
    board.text(node, "5");
    EXPECT_EQ(read_file(node), 5);
}

TEST_F(ReadFile, ParsesNothingAfterTwentyCharacters) {
    board.text(node, std::string(18, ' ') + "1234");
    EXPECT_EQ(read_file(node), 12);
}

TEST_F(ReadFile, RefusesANullPath) {
    EXPECT_EQ(read_file(nullptr), -1);
    EXPECT_EQ(board.log(), tagged("read_file,invalid\n"));
}

TEST_F(ReadFile, ReportsAMissingNode) {
    EXPECT_EQ(read_file(node), -1);
    EXPECT_EQ(board.log(), tagged("[read] " + on_node + " open fail:No such file or directory"));
}

TEST_F(ReadFile, ReportsARefusedReadAndCloses) {
    board.text(node, "5");
    refuse("read", EIO);
    EXPECT_EQ(read_file(node), -1);
    EXPECT_EQ(board.log(), tagged("[read] " + on_node + " read fail:Input/output error"));
    EXPECT_TRUE(board.open_descriptors().empty());
}

TEST_F(ReadFile, ReportsAnEmptyNodeWithoutAnOlderError) {
    board.text(node, "");
    errno = EIO;
    EXPECT_EQ(read_file(node), -1);
    EXPECT_EQ(board.log(), tagged("[read] " + on_node + " read fail:Success"));
}

// --- read_file_buf, write_file_buf -------------------------------------------------------------------

TEST_F(ReadFileBuf, CopiesTheRequestedLengthAndReturnsWhatWasRead) {
    board.text(node, "0123456789" + std::string(30, 'x'));
    char buffer[12];
    std::memset(buffer, '#', sizeof buffer);
    EXPECT_EQ(read_file_buf(node, buffer, 9), 40);
    EXPECT_EQ(std::string(buffer, sizeof buffer), "012345678###");
}

TEST_F(ReadFileBuf, FillsUpAShortTextWithZeroBytes) {
    board.text(node, "abc");
    char buffer[8];
    std::memset(buffer, '#', sizeof buffer);
    EXPECT_EQ(read_file_buf(node, buffer, 6), 3);
    EXPECT_EQ(std::string(buffer, sizeof buffer), std::string("abc\0\0\0##", 8));
}

TEST_F(ReadFileBuf, CopiesATextOfOneCharacter) {
    board.text(node, "5");
    char buffer[] = "##";
    EXPECT_EQ(read_file_buf(node, buffer, 1), 1);
    EXPECT_STREQ(buffer, "5#");
}

TEST_F(ReadFileBuf, CopiesNoMoreThanSeventyTwo) {
    board.text(node, std::string(80, 'x'));
    char buffer[100];
    std::memset(buffer, '#', sizeof buffer);
    EXPECT_EQ(read_file_buf(node, buffer, 100), 72);
    EXPECT_EQ(std::string(buffer, sizeof buffer), std::string(72, 'x') + std::string(28, '#'));
}

TEST_F(ReadFileBuf, WarnsFromSeventyThreeOnAndBeforeItOpens) {
    char buffer[73];
    EXPECT_EQ(read_file_buf(node, buffer, 72), -1);
    EXPECT_EQ(board.log(), tagged("[read] " + on_node + " open fail:No such file or directory"));
    EXPECT_EQ(read_file_buf(node, buffer, 73), -1);
    EXPECT_EQ(board.log(), located("read_file_buf", "focusctrl/platform_utils", 214, "buf too long") +
                               tagged("[read] " + on_node + " open fail:No such file or directory"));
}

TEST_F(ReadFileBuf, CopiesNothingForALengthOfZeroOrLess) {
    board.text(node, "abc");
    char buffer[] = "##";
    EXPECT_EQ(read_file_buf(node, buffer, 0), 3);
    EXPECT_EQ(read_file_buf(node, buffer, -5), 3);
    EXPECT_STREQ(buffer, "##");
}

TEST_F(ReadFileBuf, RefusesNullPointers) {
    char buffer[4];
    EXPECT_EQ(read_file_buf(nullptr, buffer, 4), -1);
    EXPECT_EQ(board.log(), tagged("read_file_buf,invalid\n"));
    EXPECT_EQ(read_file_buf(node, nullptr, 100), -1);
    EXPECT_EQ(board.log(), tagged("read_file_buf,invalid\n"));
}

TEST_F(ReadFileBuf, FailsWithARefusedReadAndLeavesTheBuffer) {
    board.text(node, "abc");
    refuse("read", EIO);
    char buffer[] = "##";
    EXPECT_EQ(read_file_buf(node, buffer, 2), -1);
    EXPECT_STREQ(buffer, "##");
    EXPECT_TRUE(board.open_descriptors().empty());
}

TEST_F(ReadFileBuf, ReportsAnEmptyNode) {
    board.text(node, "");
    char buffer[] = "##";
    EXPECT_EQ(read_file_buf(node, buffer, 2), -1);
    EXPECT_STREQ(buffer, "##");
    EXPECT_EQ(board.log(), tagged("[read] " + on_node + " read fail:Success"));
}

TEST_F(WriteFileBuf, WritesTheBytesAsTheyAre) {
    board.text(node, "");
    EXPECT_EQ(write_file_buf(node, "a\0b", 3), 0);
    EXPECT_EQ(board.writes(node), Entries{std::string("a\0b", 3)});
    EXPECT_EQ(board.journal({"open", "close"}),
              (Entries{"open /sys/class/motor/delay O_RDWR", "close /sys/class/motor/delay"}));
}

TEST_F(WriteFileBuf, RefusesANullPath) {
    EXPECT_EQ(write_file_buf(nullptr, "a", 1), -1);
    EXPECT_EQ(board.log(), tagged("write_file_buf,invalid\n"));
}

TEST_F(WriteFileBuf, ReportsAMissingNode) {
    EXPECT_EQ(write_file_buf(node, "a", 1), -1);
    EXPECT_EQ(board.log(), tagged("[write] " + on_node + " open fail:No such file or directory"));
}

TEST_F(WriteFileBuf, FailsWithARefusedWriteAndCloses) {
    board.text(node, "");
    refuse("write", EINVAL);
    EXPECT_EQ(write_file_buf(node, "a", 1), -1);
    EXPECT_TRUE(board.open_descriptors().empty());
}

TEST_F(PlatformUtils, IsSilentOnSuccess) {
    board.text(node, "5");
    char buffer[2];
    write_int(node, 1);
    write_str(node, "x");
    read_int(node);
    write_file(node, 1);
    read_file(node);
    read_file_buf(node, buffer, 1);
    write_file_buf(node, "a", 1);
    cut_short("write", 0);
    write_file(node, 1);
    EXPECT_EQ(board.log(), "");
}

TEST_F(PlatformUtils, IsSilentOnFailuresThatAreReturned) {
    write_int(node, 1);
    write_str(node, "x");
    read_int(node);
    board.text(node, "5");
    refuse("write", EINVAL);
    refuse("read", EIO);
    write_int(node, 1);
    write_str(node, "x");
    read_int(node);
    EXPECT_EQ(board.log(), "");
}

// --- SleepMs, wait_ms --------------------------------------------------------------------------------

TEST_F(Waiting, SleepMsSleepsThatManyMilliseconds) {
    EXPECT_EQ(SleepMs(20), 0);
    EXPECT_EQ(SleepMs(0), 0);
    EXPECT_EQ(board.journal(), (Entries{"sleep 20000", "sleep 0"}));
}

TEST_F(Waiting, WaitMsOfZeroOrLessReturnsAtOnce) {
    wait_ms(timeval{}, 0);
    wait_ms(timeval{}, -1);
    EXPECT_EQ(board.journal({"sleep"}), Entries{});
}

TEST_F(Waiting, WaitMsNapsUntilTheTimeHasPassed) {
    board.set_wall_clock_us(1'700'000'000'999'000);
    const timeval start = {1'700'000'000, 999'000};
    wait_ms(start, 3);
    // Seen: 0, 1, 2 and 3 ms; a nap follows each look at the clock.
    EXPECT_EQ(board.journal({"sleep"}), Entries(4, "sleep 1000"));
}

TEST_F(Waiting, WaitMsLooksAtTheClockBeforeItCountsAnything) {
    board.set_wall_clock_us(1'700'000'000'000'000);
    wait_ms(timeval{1'700'000'000, 0}, 1);
    EXPECT_EQ(board.journal({"sleep"}), Entries(2, "sleep 1000"));
}

// The two parts of the time are converted one by one: 900 microseconds across a second's end count as 1 ms,
// within one second as none.
TEST_F(Waiting, WaitMsCutsTheMicrosecondsTowardsZero) {
    board.set_wall_clock_us(1'700'000'001'000'800);
    wait_ms(timeval{1'700'000'000, 999'900}, 1);
    EXPECT_EQ(board.journal({"sleep"}), Entries{"sleep 1000"});
}

TEST_F(Waiting, WaitMsCountsNothingForAPartOfAMillisecond) {
    board.set_wall_clock_us(1'700'000'000'001'000);
    wait_ms(timeval{1'700'000'000, 100}, 1);
    EXPECT_EQ(board.journal({"sleep"}), Entries(2, "sleep 1000"));
}

TEST_F(Waiting, WaitMsNapsOnceWhenTheTimeHasPassedAlready) {
    board.set_wall_clock_us(1'700'000'000'000'000);
    wait_ms(timeval{1'600'000'000, 0}, 5);
    EXPECT_EQ(board.journal({"sleep"}), Entries{"sleep 1000"});
}

// --- The fan -----------------------------------------------------------------------------------------

TEST_F(Fan, LeavesTheAutomaticControlBeforeTheSpeedIsSet) {
    board.text(fan_auto, "1\n");
    board.text(fan_speed, "0\n");
    EXPECT_EQ(fan_target_speed_write(2400), 0);
    EXPECT_EQ(board.journal({"write"}), (Entries{std::string("write ") + fan_auto + " 0\\n",
                                                 std::string("write ") + fan_speed + " 2400\\n"}));
    EXPECT_EQ(board.log(), tagged("fan_target_speed_write speed:2400"));
}

TEST_F(Fan, LeavesTheSpeedAloneWhenTheAutomaticControlStays) {
    board.text(fan_speed, "0\n");
    EXPECT_EQ(fan_target_speed_write(2400), -1);
    EXPECT_EQ(board.writes(fan_speed), Entries{});
}

TEST_F(Fan, ReportsASpeedThatCannotBeSet) {
    board.text(fan_auto, "1\n");
    EXPECT_EQ(fan_target_speed_write(1), -1);
    EXPECT_EQ(board.writes(fan_auto), Entries{"0\n"});
    EXPECT_EQ(board.log(),
              tagged("fan_target_speed_write speed:1") +
                  tagged(std::string("[write] file(") + fan_speed + ") open fail:No such file or directory") +
                  tagged("fan_target_speed_write  fail."));
}

}  // namespace
