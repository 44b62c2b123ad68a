#include "virtual_projector/interpose/program_streams.h"

#include <fcntl.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <cstdio>
#include <string>

#include "tests/virtual_projector/interpose/machine_fixture.h"
#include "virtual_projector/storykit/scratch_folder.h"

namespace {

using namespace interpose_test;

struct BoardStreams : MachineTest {};

TEST(StreamModes, BecomeTheFlagsOfOpen) {
    EXPECT_EQ(vp::flags_of_mode("r"), O_RDONLY);
    EXPECT_EQ(vp::flags_of_mode("rb"), O_RDONLY);
    EXPECT_EQ(vp::flags_of_mode("r+"), O_RDWR);
    EXPECT_EQ(vp::flags_of_mode("w"), O_WRONLY | O_CREAT | O_TRUNC);
    EXPECT_EQ(vp::flags_of_mode("wb+"), O_RDWR | O_CREAT | O_TRUNC);
    EXPECT_EQ(vp::flags_of_mode("wx"), O_WRONLY | O_CREAT | O_TRUNC | O_EXCL);
    EXPECT_EQ(vp::flags_of_mode("ae"), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC);
    EXPECT_EQ(vp::flags_of_mode("q"), std::nullopt);
}

TEST_F(BoardStreams, ReadNodes) {
    node->content = "12 34\n";
    for (FILE* stream : {std::fopen(node_path, "r"), ::fopen64(node_path, "r")}) {
        ASSERT_NE(stream, nullptr);
        int first = 0;
        int second = 0;
        EXPECT_EQ(std::fscanf(stream, "%d %d", &first, &second), 2);
        EXPECT_EQ(first, 12);
        EXPECT_EQ(second, 34);
        EXPECT_EQ(std::fscanf(stream, "%d", &first), EOF);
        EXPECT_EQ(std::ferror(stream), 0);
        EXPECT_EQ(std::fclose(stream), 0);
    }
    EXPECT_EQ(node->closes, 2);
}

TEST_F(BoardStreams, WriteNodesInOneCallAtTheirEnd) {
    FILE* stream = std::fopen(node_path, "w");
    ASSERT_NE(stream, nullptr);
    std::fprintf(stream, "%d", 12);
    std::fprintf(stream, "%s", "ab");
    EXPECT_EQ(node->written, "");
    EXPECT_EQ(std::fclose(stream), 0);
    EXPECT_EQ(node->written, "12ab");
}

TEST_F(BoardStreams, ARefusedOpenGivesItsErrno) {
    node->open_error = EACCES;
    errno = 0;
    EXPECT_EQ(std::fopen(node_path, "w"), nullptr);
    EXPECT_EQ(errno, EACCES);
    EXPECT_EQ(std::fopen("/sys/class/motor/none", "r"), nullptr);
    EXPECT_EQ(errno, ENOENT);
}

TEST_F(BoardStreams, AFailedReadShowsInTheStreamWithItsErrno) {
    fail("read", error(EIO));
    FILE* stream = std::fopen(node_path, "r");
    char byte = 0;
    errno = 0;
    EXPECT_EQ(std::fread(&byte, 1, 1, stream), 0U);
    EXPECT_EQ(errno, EIO);
    EXPECT_NE(std::ferror(stream), 0);
    EXPECT_EQ(std::fclose(stream), 0);
}

TEST_F(BoardStreams, AFailedWriteShowsWhenItIsMadeWithItsErrno) {
    fail("write", error(EINVAL));
    FILE* stream = std::fopen(node_path, "w");
    std::setvbuf(stream, nullptr, _IONBF, 0);
    errno = 0;
    EXPECT_EQ(std::fputs("x", stream), EOF);
    EXPECT_EQ(errno, EINVAL);
    std::fclose(stream);
    stream = std::fopen(node_path, "w");
    EXPECT_GE(std::fputs("x", stream), 0);  // still in the stream's buffer
    errno = 0;
    EXPECT_EQ(std::fclose(stream), EOF);
    EXPECT_EQ(errno, EINVAL);
}

TEST_F(BoardStreams, AFailedCloseShowsWithItsErrno) {
    fail("close", error(EIO));
    FILE* stream = std::fopen(node_path, "w");
    errno = 0;
    EXPECT_EQ(std::fclose(stream), EOF);
    EXPECT_EQ(errno, EIO);
    EXPECT_TRUE(machine.files().open_paths().empty());
}

TEST_F(BoardStreams, AShortWriteIsSeen) {
    vp::FaultEffect one_byte;
    one_byte.short_count = 1;
    fail("write", one_byte);
    FILE* stream = std::fopen(node_path, "w");
    std::setvbuf(stream, nullptr, _IONBF, 0);
    EXPECT_EQ(std::fwrite("abc", 1, 3, stream), 1U);
    std::fclose(stream);
}

TEST_F(BoardStreams, OrdinaryFilesPassThrough) {
    const storykit::ScratchFolder folder;
    const std::string path = folder.file("plain.txt");
    FILE* stream = std::fopen(path.c_str(), "w");
    ASSERT_NE(stream, nullptr);
    std::fputs("plain", stream);
    std::fclose(stream);
    stream = std::fopen(path.c_str(), "r");
    char text[16] = {};
    EXPECT_NE(std::fgets(text, sizeof text, stream), nullptr);
    EXPECT_STREQ(text, "plain");
    std::fclose(stream);
    std::remove(path.c_str());
    EXPECT_EQ(std::fopen(path.c_str(), "r"), nullptr);
    EXPECT_EQ(errno, ENOENT);
    EXPECT_TRUE(sink.lines.empty());
}

TEST_F(BoardStreams, AnUnknownModeIsTheCLibrarysToRefuse) {
    errno = 0;
    EXPECT_EQ(std::fopen(node_path, "q"), nullptr);
    EXPECT_EQ(errno, EINVAL);
    EXPECT_EQ(node->open_flags, -1);
}

}  // namespace
