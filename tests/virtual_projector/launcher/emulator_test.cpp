// A program for another processor, run by a user-mode emulator. A shell script stands in for the emulator and
// shows how it was asked to run the program.
#include <gtest/gtest.h>

#include <string>

#include "tests/stories/odd_program/odd_program.h"
#include "virtual_projector/storykit/launched_program.h"

namespace {

using storykit::Finished;
using storykit::launch;
using storykit::launcher;
using storykit::ScratchFolder;
using testkit::odd_program;

struct AnEmulator : ::testing::Test {
    AnEmulator() {
        storykit::write_file(script,
                             "echo \"preload ${LD_PRELOAD-is not set}\"\nprintf '[%s]\\n' \"$@\"\nexit 7\n");
    }
    Finished run(const std::string& program) {
        return launch({launcher, "--emulator", "/bin/sh " + script + " -L /board", "--", program, "a b", "-c"});
    }
    ScratchFolder folder;
    std::string script = folder.file("emulator");
};

TEST_F(AnEmulator, GetsItsOwnWordsThenTheProgramsEnvironmentThenTheProgram) {
    const std::string words = run(odd_program).words;
    const std::size_t preload = words.find("[-E]\n[LD_PRELOAD=/");
    const std::size_t library =
        words.find("/libvirtual-projector.so]\n[" + std::string(odd_program) + "]\n[a b]\n[-c]\n");
    EXPECT_EQ(words.rfind("preload is not set\n[-L]\n[/board]\n[-E]\n", 0), 0U) << words;
    EXPECT_NE(preload, std::string::npos) << words;
    EXPECT_NE(library, std::string::npos) << words;
    EXPECT_LT(preload, library);
}

TEST_F(AnEmulator, GivesTheProgramsExitCode) { EXPECT_EQ(run(odd_program).exit_code, 7); }

TEST_F(AnEmulator, IsNotStartedForAProgramThatIsNotThere) {
    const Finished finished = run("/nowhere/program");
    EXPECT_EQ(finished.complaints,
              "virtual-projector: cannot run /nowhere/program: No such file or directory\n");
    EXPECT_EQ(finished.words, "");
    EXPECT_EQ(finished.exit_code, 127);
}

TEST_F(AnEmulator, ThatIsNotThereIsNamed) {
    const Finished finished =
        launch({launcher, "--emulator", "/nowhere/emulator", "--", odd_program, "exit", "0"});
    EXPECT_EQ(finished.complaints,
              "virtual-projector: cannot run /nowhere/emulator: No such file or directory\n");
    EXPECT_EQ(finished.exit_code, 127);
}

}  // namespace
