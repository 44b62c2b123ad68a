#include "virtual_projector/files/output_file.h"

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "virtual_projector/storykit/scratch_folder.h"

namespace {

using vp::OutputFile;

std::string contents_of(const std::string& path) {
    std::ifstream file(path);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

bool is_there(const std::string& path) { return access(path.c_str(), F_OK) == 0; }

// Files beyond this size fail, as on a full disk, for as long as it lives.
class FullDisk {
public:
    explicit FullDisk(rlim_t bytes) {
        getrlimit(RLIMIT_FSIZE, &before_);
        const rlimit small{bytes, before_.rlim_max};
        setrlimit(RLIMIT_FSIZE, &small);
    }
    ~FullDisk() { setrlimit(RLIMIT_FSIZE, &before_); }
    FullDisk(const FullDisk&) = delete;
    FullDisk& operator=(const FullDisk&) = delete;

private:
    rlimit before_{};
};

struct AnOutputFile : ::testing::Test {
    AnOutputFile() {
        std::signal(SIGXFSZ, SIG_IGN);
        std::ofstream(path) << "before";
    }
    storykit::ScratchFolder folder;
    std::string path = folder.file("file");
    std::string part = path + ".part";
};

TEST_F(AnOutputFile, TakesItsPlaceWhenItIsComplete) {
    const auto file = OutputFile::open(path);
    ASSERT_NE(file, nullptr);
    std::fputs("after", file->stream());
    EXPECT_EQ(contents_of(path), "before");
    EXPECT_TRUE(file->finish());
    EXPECT_EQ(contents_of(path), "after");
    EXPECT_FALSE(is_there(part));
}

TEST_F(AnOutputFile, StaysBesideItsPlaceWhenTheDiskIsFull) {
    const auto file = OutputFile::open(path);
    const FullDisk full(3);
    std::fputs("after", file->stream());
    EXPECT_FALSE(file->finish());
    EXPECT_FALSE(file->finish());
    EXPECT_EQ(contents_of(path), "before");
    EXPECT_EQ(contents_of(part), "aft");
}

TEST_F(AnOutputFile, StaysBesideItsPlaceWhenNobodyFinishesIt) {
    std::fputs("after", OutputFile::open(path)->stream());
    EXPECT_EQ(contents_of(path), "before");
    EXPECT_EQ(contents_of(part), "after");
    EXPECT_TRUE(vp::complete_output(vp::output_place(path)));
    EXPECT_EQ(contents_of(path), "after");
}

TEST_F(AnOutputFile, IsGoneWhenItIsDiscarded) {
    OutputFile::open(path)->discard();
    EXPECT_FALSE(is_there(part));
    EXPECT_EQ(contents_of(path), "before");
}

TEST_F(AnOutputFile, ReplacesWhatALinkLeadsToAndNotTheLink) {
    const std::string link = folder.file("link");
    const std::string dangling = folder.file("dangling");
    ASSERT_EQ(symlink("file", link.c_str()), 0);
    ASSERT_EQ(symlink("new", dangling.c_str()), 0);
    EXPECT_TRUE(vp::write_output(link, "x", 1));
    EXPECT_TRUE(vp::write_output(dangling, "y", 1));
    EXPECT_EQ(contents_of(path), "x");
    EXPECT_EQ(contents_of(folder.file("new")), "y");
    EXPECT_TRUE(std::filesystem::is_symlink(link));
    EXPECT_TRUE(std::filesystem::is_symlink(dangling));
}

TEST_F(AnOutputFile, IsNotFoundThroughLinksInACircle) {
    const std::string link = folder.file("link");
    ASSERT_EQ(symlink("link", link.c_str()), 0);
    errno = 0;
    EXPECT_EQ(OutputFile::open(link), nullptr);
    EXPECT_EQ(errno, ELOOP);
}

TEST_F(AnOutputFile, IsAsOpenToOthersAsTheOneBefore) {
    ASSERT_EQ(chmod(path.c_str(), 0640), 0);
    EXPECT_TRUE(vp::write_output(path, "x", 1));
    struct stat after {};
    ASSERT_EQ(stat(path.c_str(), &after), 0);
    EXPECT_EQ(after.st_mode & 07777, 0640U);
}

TEST_F(AnOutputFile, IsWrittenStraightWhenItIsADevice) {
    EXPECT_EQ(vp::output_place("/dev/full").written, "/dev/full");
    EXPECT_FALSE(vp::write_output("/dev/full", "x", 1));
    EXPECT_TRUE(vp::write_output("/dev/null", "x", 1));
    EXPECT_TRUE(std::filesystem::is_character_file("/dev/full"));
    EXPECT_TRUE(std::filesystem::is_character_file("/dev/null"));
    EXPECT_FALSE(is_there("/dev/full.part"));
}

TEST_F(AnOutputFile, CanBeStandardOutput) {
    ::testing::internal::CaptureStdout();
    EXPECT_TRUE(vp::write_output("-", "words\n", 6));
    EXPECT_EQ(::testing::internal::GetCapturedStdout(), "words\n");
    EXPECT_FALSE(is_there("-.part"));
}

TEST_F(AnOutputFile, WrittenAtOnceLeavesNothingBesideItsPlaceWhenTheDiskIsFull) {
    const FullDisk full(3);
    EXPECT_FALSE(vp::write_output(path, "after", 5));
    EXPECT_EQ(contents_of(path), "before");
    EXPECT_FALSE(is_there(part));
}

TEST_F(AnOutputFile, IsNotMadeWhereNoFileCanBe) {
    errno = 0;
    EXPECT_EQ(OutputFile::open("/nowhere/file"), nullptr);
    EXPECT_EQ(errno, ENOENT);
}

}  // namespace
