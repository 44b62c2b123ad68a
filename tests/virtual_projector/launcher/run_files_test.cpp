// What a run does with its files when something is in the way.
#include <gtest/gtest.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "tests/stories/odd_program/odd_program.h"
#include "virtual_projector/storykit/launched_program.h"

namespace {

using storykit::contents_of;
using storykit::Finished;
using storykit::host_program;
using storykit::launch;
using storykit::launch_projector;
using storykit::launcher;
using storykit::project_file;
using storykit::ScratchFolder;
using storykit::write_file;
using testkit::odd_program;

bool is_there(const std::string& path) { return access(path.c_str(), F_OK) == 0; }

// A disk with room for one page and no more, where this process may mount one; else a limit on the size of
// files.
class SmallDisk {
public:
    SmallDisk() : mounted_(mount("small", folder_.file("").c_str(), "tmpfs", 0, "size=4k") == 0) {
        std::signal(SIGXFSZ, SIG_IGN);
        getrlimit(RLIMIT_FSIZE, &before_);
    }
    ~SmallDisk() {
        setrlimit(RLIMIT_FSIZE, &before_);
        if (mounted_) umount2(folder_.file("").c_str(), MNT_DETACH);
    }
    SmallDisk(const SmallDisk&) = delete;
    SmallDisk& operator=(const SmallDisk&) = delete;
    std::string file(const std::string& name) const { return folder_.file(name); }

    /// Nothing more has room.
    void fill() {
        if (mounted_) {
            write_file(file("filling"), std::string(8192, 'x'));
        } else {
            const rlimit none{0, before_.rlim_max};
            setrlimit(RLIMIT_FSIZE, &none);
        }
    }

private:
    ScratchFolder folder_;
    bool mounted_;
    rlimit before_{};
};

std::vector<std::string> factory(const std::string& flash) {
    return {"--scenario", project_file("scenarios/factory/1-calibrate.json"), "--flash", flash};
}

TEST(ARunsFiles, AreOutOfTheWayWhileTheyAreWritten) {
    const ScratchFolder folder;
    launch_projector({"--trace", folder.file("trace"), "--summary", folder.file("summary")},
                     {odd_program, "exit", "0"});
    for (const std::string name : {"trace", "summary"}) {
        EXPECT_TRUE(is_there(folder.file(name)));
        EXPECT_FALSE(is_there(folder.file(name) + ".part"));
    }
}

TEST(ARunsFiles, AreCompleteWhenTheProgramEndsAtOnce) {
    const ScratchFolder folder;
    const std::string summary = folder.file("summary");
    EXPECT_EQ(launch_projector({"--summary", summary}, {odd_program, "exit at once", "3"}).exit_code, 3);
    EXPECT_EQ(contents_of(summary).rfind("{\"simulated_us\":", 0), 0U);
}

TEST(AFullDisk, LeavesTheTraceAndTheSummaryFromBefore) {
    for (const std::string option : {"--trace", "--summary"}) {
        SmallDisk disk;
        const std::string file = disk.file("file");
        write_file(file, "before");
        disk.fill();
        const Finished finished = launch_projector({option, file}, {odd_program, "exit", "0"});
        EXPECT_EQ(finished.complaints, "virtual-projector: " + file + ": not all of it could be written\n");
        EXPECT_EQ(finished.exit_code, 123);
        EXPECT_EQ(contents_of(file), "before");
    }
}

TEST(AFullDisk, LeavesTheProgramsOwnExitCode) {
    SmallDisk disk;
    disk.fill();
    EXPECT_EQ(launch_projector({"--summary", disk.file("file")}, {odd_program, "exit", "5"}).exit_code, 5);
}

TEST(AFullDisk, LeavesTheRecordFromBefore) {
    SmallDisk disk;
    const std::string flash = disk.file("unit");
    const std::string before(227, 'r');
    write_file(flash, before);
    disk.fill();
    const Finished finished =
        launch_projector(factory(flash), {host_program, "--library-log", "/dev/null", "--script",
                                          project_file("scenarios/factory/1-calibrate.host")});
    EXPECT_NE(finished.complaints.find("virtual-projector: " + flash + ": not all of it could be written\n"),
              std::string::npos)
        << finished.complaints;
    EXPECT_NE(finished.exit_code, 0);
    EXPECT_EQ(contents_of(flash), before);
    EXPECT_FALSE(is_there(flash + ".part"));
}

TEST(ARunsFiles, MayBeDevices) {
    EXPECT_EQ(launch_projector({"--trace", "/dev/null", "--summary", "/dev/null"}, {odd_program, "exit", "0"})
                  .exit_code,
              0);
    EXPECT_TRUE(std::filesystem::is_character_file("/dev/null"));
}

TEST(ARunsFiles, MayBeStandardOutput) {
    const Finished finished = launch_projector({"--trace", "-", "--trace-detail", "events", "--summary", "-"},
                                               {odd_program, "arguments", "the program"});
    EXPECT_EQ(finished.words.rfind(R"({"t_us":0,"run")", 0), 0U) << finished.words;
    EXPECT_NE(finished.words.find("[the program]\n"), std::string::npos);
    EXPECT_NE(finished.words.find("\n{\"simulated_us\":0,"), std::string::npos);
    EXPECT_FALSE(is_there("-"));
}

TEST(ARunsFiles, CannotBeToldAsAStoryFromStandardOutput) {
    const Finished finished = launch_projector({"--story", "--trace", "-"}, {odd_program, "exit", "0"});
    EXPECT_EQ(finished.complaints,
              "virtual-projector: --story: expected files for --trace and --summary, found standard output\n");
    EXPECT_EQ(finished.exit_code, 2);
}

// --- One file for two purposes -----------------------------------------------------------------------------

struct TwoPurposes : ::testing::Test {
    TwoPurposes() { write_file(scenario, text); }
    void expect_refused(const std::vector<std::string>& options, const std::string& complaint) {
        const Finished finished = launch_projector(options, {odd_program, "arguments", "it ran"});
        EXPECT_EQ(finished.complaints, "virtual-projector: " + complaint + " as well\n");
        EXPECT_EQ(finished.words, "");
        EXPECT_EQ(finished.exit_code, 2);
        EXPECT_EQ(contents_of(scenario), text);
        EXPECT_FALSE(is_there(scenario + ".part"));
    }
    const ScratchFolder folder;
    const std::string scenario = folder.file("scenario");
    const std::string text = "{\"seed\": 3}";
};

TEST_F(TwoPurposes, OfTheScenarioAndAnOutputAreRefused) {
    const std::string link = folder.file("link");
    const std::string hard_link = folder.file("hard link");
    ASSERT_EQ(symlink(scenario.c_str(), link.c_str()), 0);
    ASSERT_EQ(::link(scenario.c_str(), hard_link.c_str()), 0);
    for (const std::string option : {"--trace", "--summary", "--record-schedule", "--flash"}) {
        expect_refused(
            {option, scenario, "--scenario", scenario},
            option + " " + scenario + ": would write over " + scenario + ", which is --scenario " + scenario);
        expect_refused(
            {option, link, "--scenario", scenario},
            option + " " + link + ": would write over " + scenario + ", which is --scenario " + scenario);
        expect_refused(
            {option, hard_link, "--scenario", scenario},
            option + " " + hard_link + ": would write over " + hard_link + ", which is --scenario " + scenario);
    }
}

TEST_F(TwoPurposes, OfTwoOutputsAreRefused) {
    const std::string file = folder.file("file");
    expect_refused({"--trace", file, "--summary", folder.file("./file")},
                   "--summary " + folder.file("./file") + ": would write over " + folder.file("./file") +
                       ", which is --trace " + file);
    expect_refused(
        {"--trace", file + ".tof", "--flash", file},
        "--flash " + file + ".tof: would write over " + file + ".tof, which is --trace " + file + ".tof");
    EXPECT_FALSE(is_there(file));
    EXPECT_FALSE(is_there(file + ".part"));
}

TEST_F(TwoPurposes, OfAFileThatIsBeingWrittenAreRefused) {
    const std::string file = folder.file("file");
    expect_refused({"--trace", file, "--summary", file + ".part"},
                   "--summary " + file + ".part: would write over " + file + ".part, which is --trace " + file);
}

TEST_F(TwoPurposes, OfTheProgramAreRefused) {
    const Finished finished = launch({launcher, "--trace", scenario, scenario});
    EXPECT_EQ(finished.complaints, "virtual-projector: --trace " + scenario + ": would write over " + scenario +
                                       ", which is PROGRAM " + scenario + " as well\n");
}

TEST_F(TwoPurposes, OfANameThatIsNoFileAreNone) {
    const std::string before = std::filesystem::current_path();
    std::filesystem::current_path(folder.file(""));
    const Finished finished = launch_projector({"--trace", "random"}, {odd_program, "exit", "0"});
    std::filesystem::current_path(before);
    EXPECT_EQ(finished.complaints, "");
    EXPECT_TRUE(is_there(folder.file("random")));
}

// --- Before and after ----------------------------------------------------------------------------------------

TEST(ARunsFiles, AreNotMadeWhenTheProgramCannotStart) {
    const ScratchFolder folder;
    const std::string file = folder.file("file");
    for (const std::string option : {"--trace", "--summary", "--record-schedule"}) {
        EXPECT_EQ(launch_projector({option, file}, {"/nowhere/program"}).exit_code, 127);
        EXPECT_EQ(launch_projector({option, file, "--flash", "/nowhere/flash"}, {odd_program}).exit_code, 2);
        EXPECT_TRUE(std::filesystem::is_empty(folder.file(""))) << option;
    }
}

TEST(ARunsFiles, AreFoundByAProgramThatGoesElsewhere) {
    const ScratchFolder folder;
    const std::string before = std::filesystem::current_path();
    std::filesystem::current_path(folder.file(""));
    mkdir("elsewhere", 0700);
    const Finished finished =
        launch_projector({"--trace", "trace", "--summary", "summary"}, {odd_program, "elsewhere", "elsewhere"});
    std::filesystem::current_path(before);
    EXPECT_EQ(finished.complaints, "");
    EXPECT_TRUE(is_there(folder.file("trace")));
    EXPECT_TRUE(is_there(folder.file("summary")));
    EXPECT_TRUE(std::filesystem::is_empty(folder.file("elsewhere")));
}

TEST(AnEndlessScenario, IsRefusedByItsSize) {
    const ScratchFolder folder;
    const std::string pipe = folder.file("pipe");
    const std::string huge = folder.file("huge");
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    write_file(huge, "");
    ASSERT_EQ(truncate(huge.c_str(), 16777217), 0);
    const std::string expected = ": $: expected a scenario file of at most 16777216 bytes, found ";
    for (const auto& [file, found] :
         std::vector<std::pair<std::string, std::string>>{{"/dev/zero", "something without a size"},
                                                          {pipe, "something without a size"},
                                                          {huge, "16777217"}}) {
        const Finished finished = launch_projector({"--scenario", file}, {odd_program, "exit", "0"});
        EXPECT_EQ(finished.complaints, "virtual-projector: " + file + expected + found + "\n");
        EXPECT_EQ(finished.exit_code, 2);
    }
}

}  // namespace
