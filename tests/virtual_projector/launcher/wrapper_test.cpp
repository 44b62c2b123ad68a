// Programs that are not the run's program themselves but start it, or become it; and its own children.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <string>
#include <utility>
#include <vector>

#include "tests/stories/odd_program/odd_program.h"
#include "virtual_projector/storykit/launched_program.h"

namespace {

using storykit::contents_of;
using storykit::Finished;
using storykit::host_program;
using storykit::launch_projector;
using storykit::project_file;
using storykit::ScratchFolder;
using storykit::write_file;
using testkit::odd_program;
using testkit::odd_static;
using testkit::odd_static_programs;

constexpr const char* node = "/sys/class/motor/stop";

std::string words(const std::vector<std::string>& command) {
    std::string text;
    for (const std::string& word : command) text += (text.empty() ? "'" : " '") + word + "'";
    return text;
}

struct AWrapper : ::testing::Test {
    // Its trace, of the first light of a unit.
    std::string run(const std::vector<std::string>& wrapper, int exit_code = 0) {
        const Finished finished = launch_projector({"--scenario", project_file("scenarios/first-light.json"),
                                                    "--trace", trace, "--summary", folder.file("summary")},
                                                   wrapper);
        EXPECT_EQ(finished.complaints, "");
        EXPECT_EQ(finished.exit_code, exit_code);
        EXPECT_FALSE(std::filesystem::exists(trace + ".part"));
        EXPECT_EQ(contents_of(folder.file("summary")).rfind("{\"simulated_us\":", 0), 0U);
        return contents_of(trace);
    }
    std::vector<std::string> with(std::vector<std::string> wrapper) {
        wrapper.insert(wrapper.end(), host.begin(), host.end());
        return wrapper;
    }

    const ScratchFolder folder;
    const std::string trace = folder.file("trace");
    const std::vector<std::string> host = {host_program, "--script",
                                           project_file("scenarios/first-light.host")};
    const std::string alone = run(host);
};

TEST_F(AWrapper, ThatBecomesTheProgramChangesNothing) {
    EXPECT_GT(alone.size(), 10000U);
    const std::string becomes = folder.file("becomes.py");
    write_file(becomes, "import os, sys\nos.execv(sys.argv[1], sys.argv[1:])\n");
    for (const std::vector<std::string>& wrapper : {std::vector<std::string>{"env", "SOME=thing"},
#ifndef __SANITIZE_ADDRESS__  // which is told by the environment that it may be loaded late
                                                    {"env", "-i"},
#endif
                                                    {"nice"},
                                                    {"stdbuf", "-oL"},
                                                    {"python3", becomes},
                                                    {odd_program, "become"}}) {
        EXPECT_TRUE(run(with(wrapper)) == alone) << wrapper[0];
    }
    EXPECT_TRUE(run({"sh", "-c", "exec " + words(host)}) == alone);
}

TEST_F(AWrapper, ThatReadsTheProgramsWordsChangesNothing) {
    EXPECT_TRUE(run({"sh", "-c", words(host) + " | cat"}) == alone);
    EXPECT_TRUE(run({"sh", "-c", words(host) + " 2>&1 | (sleep 0.3; cat)"}) == alone);
}

TEST_F(AWrapper, ThatStartsTheProgramChangesNothing) {
    const std::string starts = folder.file("starts.py");
    write_file(starts, "import subprocess, sys\nsys.exit(subprocess.run(sys.argv[1:]).returncode)\n");
    EXPECT_TRUE(run(with({"python3", starts})) == alone);
    EXPECT_TRUE(run({"sh", "-c", words(host) + "; true"}) == alone);
    EXPECT_TRUE(run({"sh", "-c", "cat /dev/null; (" + words(host) + "); exit 3"}, 3) == alone);
}

// --- Whose the board is ----------------------------------------------------------------------------------

TEST(TheBoard, IsOneProgramsOnly) {
    const std::string again = std::string(odd_program) + " node " + node + "; ";
    const Finished finished = launch_projector({}, {"sh", "-c", again + again + "exit 4"});
    EXPECT_EQ(finished.words, "1\n/sys/class/motor/stop: No such device\n");
    EXPECT_EQ(finished.complaints.rfind("virtual-projector: the board of this run belongs to process ", 0), 0U);
    EXPECT_NE(finished.complaints.find(" (odd_program); odd_program cannot have it as well\n"),
              std::string::npos)
        << finished.complaints;
    EXPECT_EQ(finished.exit_code, 4);
}

TEST(TheBoard, IsNotForASecondProgramWithTheLibrary) {
    const Finished finished = launch_projector(
        {}, {"sh", "-c", std::string(odd_program) + " node " + node + "; " + host_program + " status"});
    EXPECT_NE(finished.complaints.find(" (odd_program); ovrafocus-host cannot have it as well\n"),
              std::string::npos)
        << finished.complaints;
    EXPECT_EQ(finished.exit_code, 2);
}

TEST(TheBoard, IsNotForAChildThatIsForkedOff) {
    const ScratchFolder folder;
    const std::string trace = folder.file("trace");
    const Finished finished = launch_projector({"--trace", trace}, {odd_program, "node in both", node});
    EXPECT_EQ(finished.words, std::string(node) + ": No such device\nthe child ended with 1\n1\n");
    EXPECT_NE(finished.complaints.find(", forked off by odd_program, cannot use the board: it stays process "),
              std::string::npos)
        << finished.complaints;
    EXPECT_EQ(finished.exit_code, 0);
    const std::string text = contents_of(trace);
    EXPECT_NE(text.find("\"call\":\"read\""), std::string::npos);
    EXPECT_NE(text.find("\"truth\""), text.rfind("\"truth\"")) << "the one at the end is missing";
}

// --- The library, loaded by hand ---------------------------------------------------------------------------

TEST(AProgramThatLoadsTheLibrary, OwnsTheBoardFromThenOn) {
    const std::string unset = "LD_PRELOAD is not set\nVIRTUAL_PROJECTOR_RUN is not set\n";
    const std::string load = std::string(odd_program) + " load " + testkit::library;
    EXPECT_EQ(launch_projector({}, {odd_program, "load", testkit::library}).words, unset);
    EXPECT_EQ(launch_projector({}, {"sh", "-c", load + "; true"}).words, unset);
}

TEST(AProgramThatLoadsTheLibrary, LoadsItBeforeItHasOtherThreads) {
    const std::string load = std::string(odd_program) + " load " + testkit::library + " late";
    const Finished finished = launch_projector({}, {"sh", "-c", load + "; exit $?"});
    EXPECT_EQ(
        finished.complaints,
        "virtual-projector: odd_program needs the board with other threads running already; expected it to "
        "load libovrafocus.so before it starts threads\n");
    EXPECT_EQ(finished.exit_code, 2);
    // The run's own program has had its machine from the start.
    EXPECT_EQ(launch_projector({}, {odd_program, "load", testkit::library, "late"}).exit_code, 0);
}

TEST(ARun, HasCompleteFilesWhenItsProgramBecomesAnother) {
    const ScratchFolder folder;
    const std::string summary = folder.file("summary");
    const Finished finished = launch_projector(
        {"--summary", summary}, {odd_program, "node and become", node, odd_program, "exit", "3"});
    EXPECT_EQ(finished.exit_code, 3);
    EXPECT_EQ(contents_of(summary).rfind("{\"simulated_us\":", 0), 0U);
}

// --- What nothing can be preloaded into --------------------------------------------------------------------

constexpr const char* is_static = "it is statically linked; expected a program that loads its libraries\n";

TEST(AStaticProgram, IsRefusedWhoeverExecutesIt) {
    for (const std::string& program : odd_static_programs) {
        for (const std::vector<std::string>& command : {std::vector<std::string>{program},
                                                        {"env", program},
                                                        {"sh", "-c", "exec " + program},
                                                        {odd_program, "become", program}}) {
            const Finished finished = launch_projector({}, command);
            EXPECT_EQ(finished.complaints, "virtual-projector: cannot run " + program + ": " + is_static);
            EXPECT_EQ(finished.words, "");
            EXPECT_EQ(finished.exit_code, 127);
        }
    }
}

TEST(AStaticProgram, ThatAWrapperUsesBesidesRunsWithALine) {
    const std::string program = odd_static;
    const Finished finished = launch_projector({}, {"sh", "-c", program + "; exit 3"});
    EXPECT_EQ(finished.words, "it ran\n");
    EXPECT_EQ(finished.complaints,
              "virtual-projector: " + program + " runs outside of the virtual projector: " + is_static);
    EXPECT_EQ(finished.exit_code, 3);
}

TEST(AStaticProgram, IsRefusedAsTheInterpreterOfAScript) {
    const ScratchFolder folder;
    const std::string script = folder.file("script");
    write_file(script, "#! " + std::string(odd_static) + " -x\n");
    chmod(script.c_str(), 0700);
    const Finished finished = launch_projector({}, {script});
    EXPECT_EQ(finished.complaints, "virtual-projector: cannot run " + script + ": its interpreter " +
                                       odd_static +
                                       " is statically linked; expected a program that loads its libraries\n");
    EXPECT_EQ(finished.exit_code, 127);
}

TEST(ADynamicScript, Runs) {
    const ScratchFolder folder;
    const std::string script = folder.file("script");
    write_file(script, "#!/bin/sh\nexec " + std::string(odd_program) + " exit 5\n");
    chmod(script.c_str(), 0700);
    EXPECT_EQ(launch_projector({}, {script}).exit_code, 5);
}

TEST(TheLoader, MayBeTheProgram) {
    const std::string loader = "/lib64/ld-linux-x86-64.so.2";
    if (access(loader.c_str(), X_OK) != 0) GTEST_SKIP() << "another loader than " << loader;
    EXPECT_EQ(launch_projector({}, {loader, odd_program, "sleep", "7200"}).words, "7200000000 us went by\n");
}

TEST(AProgramWithOtherRights, IsRefused) {
    if (getuid() != 0) GTEST_SKIP() << "only root can give a file away";
    const ScratchFolder folder;
    const std::string program = folder.file("program");
    for (const auto& [mode, kind] :
         std::vector<std::pair<mode_t, std::string>>{{04755, "set-user-id"}, {02755, "set-group-id"}}) {
        std::filesystem::copy_file(odd_program, program, std::filesystem::copy_options::overwrite_existing);
        ASSERT_EQ(chown(program.c_str(), 1, 1), 0);
        ASSERT_EQ(chmod(program.c_str(), mode), 0);
        for (const std::vector<std::string>& command :
             {std::vector<std::string>{program}, {"sh", "-c", "exec " + program}}) {
            const Finished finished = launch_projector({}, command);
            EXPECT_EQ(finished.complaints, "virtual-projector: cannot run " + program + ": it is " + kind +
                                               "; the loader does not preload a library into it\n");
            EXPECT_EQ(finished.exit_code, 127);
        }
    }
}

}  // namespace
