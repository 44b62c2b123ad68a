// Debuggers and profilers on a run, as they are: the run is the same as without them.
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <nlohmann/json.hpp>
#include <regex>
#include <string>
#include <vector>

#include "virtual_projector/storykit/launched_program.h"

namespace {

using storykit::contents_of;
using storykit::Finished;
using storykit::host_program;
using storykit::launch_projector;
using storykit::project_file;
using storykit::ScratchFolder;
using storykit::write_file;

struct FirstLight : ::testing::Test {
    Finished run(const std::vector<std::string>& options) const {
        std::vector<std::string> all = {"--scenario", project_file("scenarios/first-light.json"), "--trace",
                                        trace};
        all.insert(all.end(), options.begin(), options.end());
        return launch_projector(all, {host_program, "--script", project_file("scenarios/first-light.host")});
    }
    std::string take_trace() const {
        std::string text = contents_of(trace);
        unlink(trace.c_str());
        return text;
    }
    const ScratchFolder folder;
    const std::string trace = folder.file("trace");
};

TEST_F(FirstLight, StopsAtABreakpointInTheLibraryAndGoesOnAsIfItHadNot) {
    EXPECT_EQ(run({}).exit_code, 0);
    const std::string alone = take_trace();
    write_file(folder.file("commands"),
               "break varnel_thread_autofocus\nrun\nbacktrace\ninfo threads\n"
               "delete\ncontinue\n");
    const Finished finished = run({"--debug", "--tool-options", "-batch -x " + folder.file("commands")});
    EXPECT_TRUE(std::regex_search(finished.words, std::regex("#0 +(0x[0-9a-f]+ in )?varnel_thread_autofocus")))
        << finished.words;
    EXPECT_NE(finished.words.find(" keystonefocus_thread ()"), std::string::npos);
    for (const char* thread : {"\"gsensor_det_thr\"", "\"ovra_gsensor_th\"", "\"keystonefocus_t\""})
        EXPECT_NE(finished.words.find(thread), std::string::npos) << thread;
    EXPECT_EQ(finished.exit_code, 0);
    EXPECT_GT(alone.size(), 10000U);
    EXPECT_TRUE(take_trace() == alone);
}

// The launch configuration of docs/hosts.md, whose paths are those of another build.
nlohmann::json launch_configuration() {
    const std::string page = contents_of(project_file("docs/hosts.md"));
    const std::string fence = "```json\n";
    const std::size_t begin = page.find(fence) + fence.size();
    return nlohmann::json::parse(page.substr(begin, page.find("```", begin) - begin))
        .at("configurations")
        .at(0);
}

std::string of_this_build(const std::string& word) {
    const std::string folder = "${workspaceFolder}/";
    if (word.rfind(folder, 0) != 0) return word;
    if (std::filesystem::path(word).filename() == "ovrafocus-host") return host_program;
    return project_file(word.substr(folder.size()));
}

TEST_F(FirstLight, IsDebuggedFromTheLauncherOnAsAnIdeDoes) {
    const nlohmann::json configuration = launch_configuration();
    std::vector<std::string> words = {storykit::launcher, "--trace", trace};
    for (const std::string word : configuration.at("args")) words.push_back(of_this_build(word));
    EXPECT_EQ(storykit::launch_own(words).exit_code, 0);
    const std::string alone = take_trace();
    std::vector<std::string> command = {"gdb", "-batch"};
    for (const nlohmann::json& setup : configuration.at("setupCommands"))
        command.insert(command.end(), {"-ex", setup.at("text")});
    for (const char* const step : {"break varnel_thread_autofocus", "run", "backtrace", "delete", "continue"})
        command.insert(command.end(), {"-ex", step});
    command.emplace_back("--args");
    command.insert(command.end(), words.begin(), words.end());
    const Finished finished = storykit::launch_own(command);
    EXPECT_TRUE(std::regex_search(finished.words, std::regex("#0 +(0x[0-9a-f]+ in )?varnel_thread_autofocus")))
        << finished.words << finished.complaints;
    EXPECT_GT(alone.size(), 1000U);
    EXPECT_TRUE(take_trace() == alone);
}

TEST_F(FirstLight, HasNoMistakeWithItsMemoryAndLosesNone) {
    EXPECT_EQ(run({}).exit_code, 0);
    const std::string alone = take_trace();
    const Finished finished = run({"--valgrind", "--tool-options",
                                   "--leak-check=full --errors-for-leak-kinds=definite --error-exitcode=9 "
                                   "--log-file=" +
                                       folder.file("log")});
    const std::string log = contents_of(folder.file("log"));
    EXPECT_EQ(finished.exit_code, 0) << log;
    EXPECT_NE(log.find("definitely lost: 0 bytes in 0 blocks"), std::string::npos) << log;
    EXPECT_NE(log.find("ERROR SUMMARY: 0 errors from 0 contexts (suppressed: 0 from 0)"), std::string::npos);
    EXPECT_TRUE(take_trace() == alone);
}

TEST_F(FirstLight, IsRecordedByPerf) {
    EXPECT_EQ(run({}).exit_code, 0);
    const std::string alone = take_trace();
    const Finished finished =
        run({"--perf", "--tool-options", "--output '" + folder.file("perf data") + "' --event task-clock"});
    EXPECT_EQ(finished.exit_code, 0) << finished.complaints;
    EXPECT_EQ(contents_of(folder.file("perf data")).rfind("PERFILE2", 0), 0U);
    EXPECT_TRUE(take_trace() == alone);
}

TEST_F(FirstLight, ShowsItsSystemCallsByStrace) {
    EXPECT_EQ(run({}).exit_code, 0);
    const std::string alone = take_trace();
    const Finished finished = run({"--strace", "--tool-options", "-o " + folder.file("calls")});
    EXPECT_EQ(finished.exit_code, 0) << finished.complaints;
    const std::string calls = contents_of(folder.file("calls"));
    EXPECT_EQ(calls.find("execve(\"" + std::string(host_program)), calls.find("execve("))
        << calls.substr(0, 200);
    EXPECT_NE(calls.find("+++ exited with 0 +++"), std::string::npos);
    EXPECT_TRUE(take_trace() == alone);
}

TEST_F(FirstLight, IsNotStartedByAToolThatIsNotThere) {
    ASSERT_EQ(setenv("PATH", folder.file("").c_str(), 1), 0);
    const Finished finished = run({"--debug"});
    EXPECT_EQ(finished.complaints, "virtual-projector: cannot run gdb: No such file or directory\n");
    EXPECT_EQ(finished.exit_code, 127);
}

}  // namespace
