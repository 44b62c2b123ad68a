// Runs that somebody else ends.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "tests/stories/odd_program/odd_program.h"
#include "virtual_projector/storykit/launched_program.h"

namespace {

using storykit::contents_of;
using storykit::launcher;
using storykit::ScratchFolder;
using testkit::odd_program;

// The launcher, which can be sent signals while its program runs.
class RunningCommand {
public:
    explicit RunningCommand(const std::vector<std::string>& command, const ScratchFolder& folder)
        : temporary_(folder.file("tmp")) {
        std::filesystem::create_directory(temporary_);
        prctl(PR_SET_CHILD_SUBREAPER, 1);  // what the launcher would leave behind comes here
        if (pipe(input_) != 0 || pipe(output_) != 0) throw std::runtime_error("no pipe");
        process_ = fork();
        if (process_ == 0) become(command);
        close(input_[0]);
        close(output_[1]);
    }
    ~RunningCommand() {
        if (input_[1] >= 0) close(input_[1]);
        close(output_[0]);
    }
    RunningCommand(const RunningCommand&) = delete;
    RunningCommand& operator=(const RunningCommand&) = delete;

    void wait_for_a_word() const {
        char byte = 0;
        ASSERT_EQ(read(output_[0], &byte, 1), 1);
    }
    void end_input() { close(std::exchange(input_[1], -1)); }
    bool is_running() const { return waitpid(process_, nullptr, WNOHANG) == 0; }
    void send(int signal) const { kill(process_, signal); }
    int exit_code() const {
        int status = 0;
        waitpid(process_, &status, 0);
        return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
    }
    /// No process and no file.
    bool has_left_nothing() const {
        return waitpid(-1, nullptr, WNOHANG) < 0 && std::filesystem::is_empty(temporary_);
    }

private:
    [[noreturn]] void become(const std::vector<std::string>& command) const {
        dup2(input_[0], STDIN_FILENO);
        dup2(output_[1], STDOUT_FILENO);
        // With a standard stream closed, an end of the pipes may have its number.
        for (const int each : {input_[0], input_[1], output_[0], output_[1]}) {
            if (each > STDERR_FILENO) close(each);
        }
        setenv("TMPDIR", temporary_.c_str(), 1);
        std::vector<char*> words;
        for (const std::string& word : command) words.push_back(const_cast<char*>(word.c_str()));
        words.push_back(nullptr);
        execvp(words[0], words.data());
        _exit(99);
    }

    std::string temporary_;
    int input_[2] = {};
    int output_[2] = {};
    pid_t process_ = 0;
};

struct ARunThatIsEnded : ::testing::Test {
    std::vector<std::string> command(const std::vector<std::string>& program,
                                     const std::vector<std::string>& options = {}) const {
        std::vector<std::string> all = {launcher, "--trace", trace, "--outside", "wait"};
        all.insert(all.end(), options.begin(), options.end());
        all.insert(all.end(), program.begin(), program.end());
        return all;
    }
    // Until the program has begun: its trace says what is so.
    void wait_for_trace() const {
        const std::string beginning = trace + ".part";
        for (int i = 0; i < 1000 && contents_of(beginning).find("\"truth\"") == std::string::npos; ++i)
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    const ScratchFolder folder;
    const std::string trace = folder.file("trace");
};

TEST_F(ARunThatIsEnded, ByASignalPassesItOnAndKeepsTheTrace) {
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        std::filesystem::remove(trace);
        const RunningCommand run(command({odd_program, "stdin"}), folder);
        wait_for_trace();
        run.send(signal);
        EXPECT_EQ(run.exit_code(), 128 + signal);
        EXPECT_NE(contents_of(trace).find("\"truth\""), std::string::npos);
        EXPECT_FALSE(std::filesystem::exists(trace + ".part"));
        EXPECT_TRUE(run.has_left_nothing());
        std::filesystem::remove_all(folder.file("tmp"));
    }
}

TEST_F(ARunThatIsEnded, TellsItsStoryAndRemovesItsScratchFolder) {
    const RunningCommand run(command({odd_program, "stdin"}, {"--story"}), folder);
    wait_for_trace();
    run.send(SIGTERM);
    EXPECT_NO_FATAL_FAILURE(run.wait_for_a_word());
    EXPECT_EQ(run.exit_code(), 128 + SIGTERM);
    EXPECT_TRUE(run.has_left_nothing());
}

TEST_F(ARunThatIsEnded, ThroughAWrapperEndsTheProgramToo) {
    const RunningCommand run(command({"sh", "-c", std::string(odd_program) + " stdin; true"}), folder);
    wait_for_trace();
    run.send(SIGTERM);
    EXPECT_EQ(run.exit_code(), 128 + SIGTERM);
    EXPECT_TRUE(run.has_left_nothing());
}

TEST_F(ARunThatIsEnded, IsKilledWhenItStaysForFiveSeconds) {
    const RunningCommand run(command({odd_program, "stay"}), folder);
    run.wait_for_a_word();
    const auto before = std::chrono::steady_clock::now();
    run.send(SIGTERM);
    EXPECT_EQ(run.exit_code(), 128 + SIGKILL);
    EXPECT_GE(std::chrono::steady_clock::now() - before, std::chrono::seconds(5));
    EXPECT_NE(contents_of(trace).find("\"truth\""), std::string::npos);
    EXPECT_TRUE(run.has_left_nothing());
}

TEST_F(ARunThatIsEnded, ByTheTimeoutCommandLeavesNothingBehind) {
    std::vector<std::string> all = {"timeout", "1"};
    const std::vector<std::string> projector = command({odd_program, "stdin"}, {"--story"});
    all.insert(all.end(), projector.begin(), projector.end());
    const RunningCommand run(all, folder);
    EXPECT_EQ(run.exit_code(), 124);
    EXPECT_TRUE(run.has_left_nothing());
    EXPECT_NE(contents_of(trace).find("\"truth\""), std::string::npos);
}

TEST_F(ARunThatIsEnded, ByACrashLeavesNoChildOfTheProgram) {
    const RunningCommand run(command({odd_program, "leave a child"}), folder);
    EXPECT_EQ(run.exit_code(), 128 + SIGABRT);
    EXPECT_TRUE(run.has_left_nothing());
}

TEST_F(ARunThatIsEnded, TogetherWithItsLauncherLeavesNoProgram) {
    const RunningCommand run(command({odd_program, "stay"}), folder);
    run.wait_for_a_word();
    run.send(SIGKILL);
    EXPECT_EQ(run.exit_code(), -SIGKILL);
    int status = 0;
    EXPECT_GT(waitpid(-1, &status, 0), 0);  // the program, which has become this process's child
    EXPECT_EQ(WTERMSIG(status), SIGKILL);
}

TEST_F(ARunThatIsEnded, ByItsWrapperGoesOnAsLongAsTheProgram) {
    const std::string program = std::string(odd_program) + " 'node and stdin' /sys/class/motor/stop";
    RunningCommand run(command({"sh", "-c",
                                "exec 3<&0; " + program + " <&3 & until grep -q class/motor " + trace +
                                    ".part; do :; done; kill -9 $$"}),
                       folder);
    run.wait_for_a_word();
    std::this_thread::sleep_for(std::chrono::milliseconds(300));  // the wrapper has ended
    EXPECT_TRUE(run.is_running());
    run.end_input();
    EXPECT_EQ(run.exit_code(), 128 + SIGKILL);
    const std::string text = contents_of(trace);
    EXPECT_NE(text.find("\"truth\""), text.rfind("\"truth\"")) << "the one at the end is missing";
    EXPECT_FALSE(std::filesystem::exists(trace + ".part"));
    EXPECT_TRUE(run.has_left_nothing());
}

// As nohup does: what the launcher was started to ignore, it ignores.
TEST_F(ARunThatIsEnded, IsNotEndedByASignalThatIsIgnored) {
    ::signal(SIGHUP, SIG_IGN);
    const RunningCommand run(command({odd_program, "stdin"}), folder);
    ::signal(SIGHUP, SIG_DFL);
    wait_for_trace();
    run.send(SIGHUP);
    run.send(SIGTERM);
    EXPECT_EQ(run.exit_code(), 128 + SIGTERM);
}

}  // namespace
