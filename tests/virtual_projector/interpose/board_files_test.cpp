#include "virtual_projector/interpose/board_files.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <string>
#include <vector>

#include "tests/virtual_projector/interpose/machine_fixture.h"
#include "virtual_projector/storykit/scratch_folder.h"

// What programs built with buffer checks call in place of open and read.
extern "C" {
int __open_2(const char* path, int flags);
int __open64_2(const char* path, int flags);
ssize_t __read_chk(int descriptor, void* buffer, size_t count, size_t room);
}

namespace {

using namespace interpose_test;
using Lines = std::vector<std::string>;

struct BoardFiles : MachineTest {
    std::string read_all() {
        const int fd = ::open(node_path, O_RDONLY);
        char buffer[64] = {};
        const ssize_t count = ::read(fd, buffer, sizeof buffer);
        const int read_error = errno;
        ::close(fd);
        errno = read_error;
        return count < 0 ? "failed" : std::string(buffer, static_cast<std::size_t>(count));
    }
    int open_for_both() { return ::open(node_path, O_RDWR); }
};

// --- Open --------------------------------------------------------------------------------------------------

TEST_F(BoardFiles, EveryWayToOpenReachesTheNode) {
    node->content = "x";
    const std::vector<int> descriptors = {
        ::open(node_path, O_RDONLY),
        ::open64(node_path, O_RDONLY),
        ::openat(AT_FDCWD, node_path, O_RDONLY),
        ::openat64(AT_FDCWD, node_path, O_RDONLY),
        __open_2(node_path, O_RDONLY),
        __open64_2(node_path, O_RDONLY),
    };
    for (const int fd : descriptors) {
        char byte = 0;
        EXPECT_EQ(::read(fd, &byte, 1), 1);
        EXPECT_EQ(byte, 'x');
        EXPECT_EQ(::close(fd), 0);
    }
    EXPECT_EQ(node->closes, 6);
}

TEST_F(BoardFiles, TheDriverSeesTheFlagsAndMayRefuse) {
    ::close(::open(node_path, O_WRONLY | O_TRUNC));
    EXPECT_EQ(node->open_flags, O_WRONLY | O_TRUNC);
    node->open_error = EBUSY;
    errno = 0;
    EXPECT_EQ(::open(node_path, O_RDONLY), -1);
    EXPECT_EQ(errno, EBUSY);
}

TEST_F(BoardFiles, ABoardPathWithoutADeviceDoesNotExist) {
    errno = 0;
    EXPECT_EQ(::open("/sys/class/motor/none", O_RDONLY), -1);
    EXPECT_EQ(errno, ENOENT);
    EXPECT_EQ(::open("/dev/fb0", O_RDWR), -1);
    EXPECT_EQ(errno, ENOENT);
}

TEST_F(BoardFiles, ASuccessLeavesErrnoAlone) {
    errno = 77;
    const int fd = open_for_both();
    char byte = 0;
    (void)!::read(fd, &byte, 1);
    (void)!::write(fd, "x", 1);
    ::close(fd);
    EXPECT_EQ(errno, 77);
}

TEST_F(BoardFiles, NumbersNeverMeetThoseOfTheProcess) {
    const int fd = open_for_both();
    const int plain = ::open("/dev/null", O_RDONLY);
    EXPECT_NE(fd, plain);
    const int copy = ::dup(fd);
    EXPECT_GT(copy, plain);
    EXPECT_EQ(::close(copy), 0);  // the process's own copy of the number: the node stays open
    EXPECT_EQ(machine.files().open_paths(), Lines{node_path});
    ::close(plain);
    ::close(fd);
    EXPECT_EQ(machine.files().open_paths(), Lines{});
    errno = 0;
    EXPECT_EQ(::close(fd), -1);
    EXPECT_EQ(errno, EBADF);
}

// --- Read, write, request, close -----------------------------------------------------------------------------

TEST_F(BoardFiles, ReadsAndWritesReachTheDevice) {
    node->content = "12345";
    const int fd = open_for_both();
    char buffer[4] = {};
    EXPECT_EQ(__read_chk(fd, buffer, 3, sizeof buffer), 3);
    EXPECT_STREQ(buffer, "123");
    EXPECT_EQ(::write(fd, "ab", 2), 2);
    EXPECT_EQ(node->written, "ab");
    ::close(fd);
}

TEST_F(BoardFiles, RequestNumbersHave32Bits) {
    const int fd = open_for_both();
    std::uint32_t seen = 0;
    EXPECT_EQ(::ioctl(fd, static_cast<unsigned long>(static_cast<int>(0xC00C0E0CU)), &seen), 0);
    EXPECT_EQ(seen, 0xC00C0E0CU);
    ::close(fd);
}

TEST_F(BoardFiles, AFailureOfTheDeviceIsTheCallsFailure) {
    node->answers = {vp::Answer::error(EIO), vp::Answer::error(EINVAL), vp::Answer::error(EPERM)};
    node->close_error = ENOSPC;
    const int fd = open_for_both();
    char byte = 0;
    EXPECT_EQ(::read(fd, &byte, 1), -1);
    EXPECT_EQ(errno, EIO);
    EXPECT_EQ(::write(fd, "x", 1), -1);
    EXPECT_EQ(errno, EINVAL);
    EXPECT_EQ(::ioctl(fd, 1, nullptr), -1);
    EXPECT_EQ(errno, EPERM);
    EXPECT_EQ(::close(fd), -1);
    EXPECT_EQ(errno, ENOSPC);
    EXPECT_EQ(machine.files().open_paths(), Lines{});
}

TEST_F(BoardFiles, ADeviceMayMakeTheCallerWait) {
    node->content = "late";
    node->answers = {vp::Answer::wait_until(500), vp::Answer::wait_until(1200)};
    const int fd = open_for_both();
    char buffer[4];
    EXPECT_EQ(::read(fd, buffer, 4), 4);
    EXPECT_EQ(clock.now(), 1200);
    ::close(fd);
}

TEST_F(BoardFiles, ADeviceMayWaitForAnEvent) {
    node->content = "key";
    node->answers = {vp::Answer::wait_for_event()};
    clock.at(300, [] {});
    const int fd = open_for_both();
    char buffer[3];
    EXPECT_EQ(::read(fd, buffer, 3), 3);
    EXPECT_EQ(clock.now(), 300);
    ::close(fd);
}

// --- Everything else passes through
// ---------------------------------------------------------------------------

TEST_F(BoardFiles, OrdinaryFilesPassThrough) {
    const storykit::ScratchFolder folder;
    const std::string path = folder.file("plain.txt");
    const int fd = ::open(path.c_str(), O_RDWR | O_CREAT | O_TRUNC, 0600);
    ASSERT_GE(fd, 0);
    EXPECT_EQ(::write(fd, "plain", 5), 5);
    EXPECT_EQ(::lseek(fd, 0, SEEK_SET), 0);
    char buffer[8] = {};
    EXPECT_EQ(::read(fd, buffer, sizeof buffer), 5);
    EXPECT_STREQ(buffer, "plain");
    EXPECT_EQ(::close(fd), 0);
    EXPECT_EQ(sink.lines, Lines{});
}

TEST_F(BoardFiles, TheRestOfTheKernelsTreePassesThrough) {
    EXPECT_FALSE(vp::DeviceTable::is_board_path("/sys/class/motor"));
    EXPECT_FALSE(vp::DeviceTable::is_board_path("/dev/fb01"));
    EXPECT_FALSE(vp::DeviceTable::is_board_path("/dev/input/event60"));
    const int fd = ::open("/proc/self/stat", O_RDONLY);
    EXPECT_GE(fd, 0);
    ::close(fd);
}

TEST_F(BoardFiles, NothingIsTakenWhenTheMachineIsGone) {
    const int fd = open_for_both();
    machine.uninstall();
    EXPECT_EQ(::write(fd, "x", 1), 1);  // the real descriptor, that of /dev/null
    EXPECT_EQ(node->written, "");
    EXPECT_EQ(::close(fd), 0);
}

TEST_F(BoardFiles, CallsUnderTheReentrancyGuardPassThrough) {
    const vp::ReentrancyGuard guard;
    errno = 0;
    EXPECT_EQ(::open(node_path, O_RDONLY), -1);  // the PC has no such node
    EXPECT_EQ(errno, ENOENT);
    EXPECT_EQ(node->open_flags, -1);
}

// --- Faults ------------------------------------------------------------------------------------------------

TEST_F(BoardFiles, AnErrorHitsTheCallWithoutReachingTheDevice) {
    const int fd = open_for_both();
    fail("open", error(EACCES));
    fail("write", error(ENOSPC));
    fail("ioctl", error(ENODEV));
    EXPECT_EQ(::open(node_path, O_RDONLY), -1);
    EXPECT_EQ(errno, EACCES);
    EXPECT_EQ(node->open_flags, O_RDWR);
    EXPECT_EQ(::write(fd, "x", 1), -1);
    EXPECT_EQ(errno, ENOSPC);
    EXPECT_EQ(node->written, "");
    EXPECT_EQ(::ioctl(fd, 1, nullptr), -1);
    EXPECT_EQ(errno, ENODEV);
    ::close(fd);
}

TEST_F(BoardFiles, AFaultMayHitTheNthCallOnly) {
    node->content = "x";
    fail("read", error(EIO), 2);
    EXPECT_EQ(read_all(), "x");
    EXPECT_EQ(read_all(), "failed");
    EXPECT_EQ(errno, EIO);
    EXPECT_EQ(read_all(), "x");
}

TEST_F(BoardFiles, AFailedCloseStillCloses) {
    fail("close", error(EIO));
    const int fd = open_for_both();
    EXPECT_EQ(::close(fd), -1);
    EXPECT_EQ(errno, EIO);
    EXPECT_EQ(node->closes, 1);
    EXPECT_EQ(machine.files().open_paths(), Lines{});
}

TEST_F(BoardFiles, AShortCountMovesAsManyBytes) {
    node->content = "12345";
    vp::FaultEffect two_bytes;
    two_bytes.short_count = 2;
    fail("read", two_bytes);
    fail("write", two_bytes);
    const int fd = open_for_both();
    char buffer[8] = {};
    EXPECT_EQ(::read(fd, buffer, sizeof buffer), 2);
    EXPECT_STREQ(buffer, "12");
    EXPECT_EQ(::write(fd, "abc", 3), 2);
    EXPECT_EQ(node->written, "ab");
    ::close(fd);
}

TEST_F(BoardFiles, GarbageComesInPlaceOfTheContentAndIsCutToTheBuffer) {
    node->content = "12345";
    vp::FaultEffect garbage;
    garbage.garbage = std::string("\0\xff!", 3);
    fail("read", garbage);
    EXPECT_EQ(read_all(), std::string("\0\xff!", 3));
    const int fd = open_for_both();
    char byte = 'x';
    EXPECT_EQ(::read(fd, &byte, 1), 1);
    EXPECT_EQ(byte, '\0');
    ::close(fd);
}

TEST_F(BoardFiles, GarbageDoesNotHideAFailureOfTheDevice) {
    vp::FaultEffect garbage;
    garbage.garbage = "??";
    fail("read", garbage);
    node->answers = {vp::Answer::error(EIO)};
    EXPECT_EQ(read_all(), "failed");
}

TEST_F(BoardFiles, AStaleReadDeliversWhatTheOneBeforeDelivered) {
    vp::FaultEffect stale;
    stale.stale = true;
    fail("read", stale, 2);
    node->content = "old";
    EXPECT_EQ(read_all(), "old");
    node->content = "new";
    EXPECT_EQ(read_all(), "old");
    EXPECT_EQ(read_all(), "new");
}

TEST_F(BoardFiles, TheFirstReadCannotBeStale) {
    vp::FaultEffect stale;
    stale.stale = true;
    fail("read", stale);
    node->content = "new";
    EXPECT_EQ(read_all(), "new");
}

TEST_F(BoardFiles, RequestsMayBeFilledWithGarbageOrLeftAsTheyWere) {
    vp::FaultEffect garbage;
    garbage.garbage = "AAAA";
    vp::FaultEffect stale;
    stale.stale = true;
    fail("ioctl", garbage, 1);
    fail("ioctl", stale, 2);
    const int fd = open_for_both();
    std::uint32_t value = 5;
    EXPECT_EQ(::ioctl(fd, 1, &value), 0);
    EXPECT_EQ(value, 0x41414141U);
    EXPECT_EQ(::ioctl(fd, 1, &value), 0);
    EXPECT_EQ(value, 0x41414141U);
    EXPECT_EQ(::ioctl(fd, 1, &value), 0);
    EXPECT_EQ(value, 1U);
    ::close(fd);
}

TEST_F(BoardFiles, GarbageInARequestIsCutToItsArgument) {
    vp::FaultEffect garbage;
    garbage.garbage = std::string(4000, 'A');
    fail("ioctl", garbage);
    const int fd = open_for_both();
    std::uint32_t values[2] = {5, 6};
    EXPECT_EQ(::ioctl(fd, 1, values), 0);
    EXPECT_EQ(values[0], 0x41414141U);
    EXPECT_EQ(values[1], 6U);
    EXPECT_EQ(::ioctl(fd, 1, nullptr), 0);
    ::close(fd);
}

TEST_F(BoardFiles, ADelayComesBeforeTheCall) {
    vp::FaultEffect slow;
    slow.delay_us = 700;
    fail("read", slow);
    node->content = "x";
    EXPECT_EQ(read_all(), "x");
    EXPECT_EQ(clock.now(), 700);
}

// --- Trace -------------------------------------------------------------------------------------------------

TEST_F(BoardFiles, EachCallIsRecordedWithoutDescriptorsOfTheProcess) {
    node->content = "1";
    (void)read_all();
    ::open("/dev/fb0", O_RDWR);
    const int fd = open_for_both();
    (void)!::write(fd, "22", 2);
    std::uint32_t value = 0;
    ::ioctl(fd, 9, &value);
    ::close(fd);
    EXPECT_EQ(sink.lines, (Lines{"0 1 open /sys/class/motor/stop 0 ", "0 1 read /sys/class/motor/stop 1 1",
                                 "0 1 close /sys/class/motor/stop 0 ", "0 1 open /dev/fb0 -2 ",
                                 "0 1 open /sys/class/motor/stop 0 ", "0 1 write /sys/class/motor/stop 2 22",
                                 "0 1 ioctl /sys/class/motor/stop 0 ", "0 1 close /sys/class/motor/stop 0 "}));
}

}  // namespace
