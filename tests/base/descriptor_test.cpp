#include "base/descriptor.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <string>
#include <type_traits>
#include <vector>

#include "tests/support/scripted_board.h"

namespace {

using ovra::Descriptor;
using testkit::ScriptedBoard;
using Entries = std::vector<std::string>;

constexpr const char* node = "/sys/class/motor/stop";

struct DescriptorOwner : ::testing::Test {
    ScriptedBoard board;
};

TEST_F(DescriptorOwner, ClosesWhatItOpened) {
    board.text(node, "1");
    {
        const Descriptor descriptor(node, O_RDONLY);
        EXPECT_TRUE(descriptor.is_open());
        EXPECT_GE(descriptor.get(), 0);
        EXPECT_EQ(board.open_descriptors(), Entries{node});
    }
    EXPECT_EQ(board.open_descriptors(), Entries{});
    EXPECT_EQ(board.log(), "");
}

TEST_F(DescriptorOwner, LeavesTheReasonOfARefusedOpen) {
    errno = 0;
    const Descriptor descriptor(node, O_RDONLY);
    EXPECT_EQ(errno, ENOENT);
    EXPECT_FALSE(descriptor.is_open());
    EXPECT_LT(descriptor.get(), 0);
}

TEST_F(DescriptorOwner, ClosesNothingWhenTheOpenWasRefused) {
    { const Descriptor descriptor(node, O_RDONLY); }
    EXPECT_EQ(board.journal({"close"}), Entries{});
}

TEST_F(DescriptorOwner, AReleasedDescriptorStaysOpen) {
    board.text(node, "1");
    int fd = -1;
    {
        Descriptor descriptor(node, O_RDONLY);
        fd = descriptor.release();
        EXPECT_FALSE(descriptor.is_open());
    }
    EXPECT_GE(fd, 0);
    EXPECT_EQ(board.open_descriptors(), Entries{node});
    close(fd);
    EXPECT_EQ(board.open_descriptors(), Entries{});
}

TEST_F(DescriptorOwner, CountsZeroAsOpen) {
    board.text(node, "1");
    close(STDIN_FILENO);  // the next open gets its number
    {
        const Descriptor descriptor(node, O_RDONLY);
        EXPECT_EQ(descriptor.get(), 0);
        EXPECT_TRUE(descriptor.is_open());
    }
    EXPECT_EQ(board.open_descriptors(), Entries{});
}

TEST_F(DescriptorOwner, HasOneOwner) {
    EXPECT_FALSE(std::is_copy_constructible_v<Descriptor>);
    EXPECT_FALSE(std::is_copy_assignable_v<Descriptor>);
}

}  // namespace
