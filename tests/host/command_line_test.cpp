// The ovrafocus-host command as its user meets it, on a standard unit.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <sstream>
#include <string>
#include <vector>

#include "virtual_projector/storykit/launched_program.h"

namespace {

using storykit::Finished;

Finished host(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), storykit::host_program);
    return storykit::launch_projector({"--set", "tmr.noise_sigma=0"}, arguments);
}

TEST(OvrafocusHost, TakesCommandsFromItsArguments) {
    const Finished finished = host({"wait 1s", "fan 3", "--library-log", "/dev/null"});
    EXPECT_EQ(finished.words, "the fan turns at 3, out of automatic control\n");
    EXPECT_EQ(finished.exit_code, 0);
}

TEST(OvrafocusHost, TakesCommandsFromStandardInputAndLetsAPersonTryAgain) {
    const Finished finished = storykit::launch_projector(
        {}, {storykit::host_program, "--library-log", "/dev/null"}, "fann 3\nfan 3\nquit\nfan 4\n");
    EXPECT_EQ(finished.words,
              "unknown command 'fann'; 'help' lists them\nthe fan turns at 3, out of automatic control\n");
    EXPECT_EQ(finished.exit_code, 0);
}

TEST(OvrafocusHost, NamesAWrongOption) {
    EXPECT_NE(host({"--bogus"}).complaints.find("--bogus"), std::string::npos);
}

TEST(OvrafocusHost, EndsWithOneCodeForEachKindOfEnd) {
    struct Row {
        const char* what;
        std::vector<std::string> arguments;
        int exit_code;
    };
    const std::string quiet = "--library-log=/dev/null";
    const Row rows[] = {
        {"nothing was asked for", {quiet, "help"}, 0},
        {"the last request succeeded", {quiet, "init", "akaf"}, 0},
        {"the last request failed", {quiet, "init", "switches 0 0", "akaf"}, 1},
        {"a later request succeeded",
         {quiet, "init", "switches 0 0", "akaf", "wait idle", "switches 1 1", "akaf"},
         0},
        {"a command could not be carried out", {quiet, "akaf"}, 1},
        {"a command failed that is tried", {quiet, "try akaf"}, 0},
        {"a wrong option", {"--bogus"}, 2},
        {"a wrong command", {quiet, "fann 3"}, 2},
        {"a wrong argument", {quiet, "fan fast"}, 2},
        {"a script that cannot be read", {"--script", "/nowhere/script"}, 2},
        {"a log that cannot be made", {"--library-log", "/nowhere/log", "help"}, 3},
        {"a log on a full disk", {"--library-log", "/dev/full", "init"}, 3},
    };
    for (const Row& row : rows) EXPECT_EQ(host(row.arguments).exit_code, row.exit_code) << row.what;
}

TEST(OvrafocusHost, NamesAFileThatItCannotReadOrWrite) {
    EXPECT_EQ(host({"--script", "/nowhere/script"}).complaints,
              "ovrafocus-host: cannot read /nowhere/script: No such file or directory\n");
    EXPECT_EQ(host({"--library-log", "/nowhere/log", "help"}).complaints,
              "ovrafocus-host: cannot write /nowhere/log: No such file or directory\n");
}

TEST(OvrafocusHost, TakesAFolderForNoScript) {
    const Finished finished = host({"--script", "/"});
    EXPECT_EQ(finished.complaints, "ovrafocus-host: cannot read /: Is a directory\n");
    EXPECT_EQ(finished.exit_code, 2);
    EXPECT_EQ(host({"--script", ""}).complaints, "ovrafocus-host: cannot read : No such file or directory\n");
}

TEST(OvrafocusHost, TakesCommandsFromOnePlaceOnly) {
    const Finished finished = host({"--script", "/dev/null", "fan 3"});
    EXPECT_EQ(finished.exit_code, 2);
    EXPECT_NE(finished.complaints.find("COMMAND excludes --script"), std::string::npos) << finished.complaints;
    EXPECT_EQ(finished.words, "");
    EXPECT_EQ(host({"--script", "/dev/null"}).exit_code, 0);
}

// Each of the three ways to its end, and a request of which the exit code has to tell.
TEST(OvrafocusHost, EndsWhenTheLastRequestHasEnded) {
    const std::string started = "the library is started; auto-keystone is on, auto-focus is on\n";
    const std::string requested = "auto-focus and auto-keystone requested\n";
    const Finished good = host({"--library-log", "/dev/null", "init", "akaf"});
    EXPECT_EQ(good.words,
              started + requested + "all is quiet after 0.20 seconds; the last request succeeded\n");
    EXPECT_EQ(good.exit_code, 0);

    const std::vector<std::string> far = {"--set", "pose.distance_mm=5000"};
    const std::string toast = "toast 9: the wall cannot be measured or is out of range: move the projector\n";
    const std::string far_words =
        started + requested + toast + "all is quiet after 0.15 seconds; the last request failed\n";
    const std::vector<std::string> program = {storykit::host_program, "--library-log", "/dev/null"};
    const Finished by_person = storykit::launch_projector(far, program, "init\nakaf\nquit\n");
    EXPECT_EQ(by_person.words, far_words);
    EXPECT_EQ(by_person.exit_code, 1);
    const storykit::ScratchFolder folder;
    storykit::write_file(folder.file("script"), "init\nakaf\n");
    std::vector<std::string> by_script = program;
    by_script.insert(by_script.end(), {"--script", folder.file("script")});
    EXPECT_EQ(storykit::launch_projector(far, by_script).words, far_words);
}

TEST(OvrafocusHost, IsQuietAfterAShakeThatTheLibraryDropped) {
    const storykit::ScratchFolder folder;
    // Before the first run a wall at 300 mm counts as one at the distance of the last run.
    storykit::write_file(folder.file("shake.json"), R"({"set": {"pose.distance_mm": 300},
                         "events": [{"at_s": 3, "gesture": "shake", "for_s": 2.5}]})");
    const Finished finished = storykit::launch_projector(
        {"--scenario", folder.file("shake.json")}, {storykit::host_program, "--library-log", folder.file("log"),
                                                    "init", "wait 10s", "wait idle", "status"});
    EXPECT_NE(storykit::contents_of(folder.file("log")).find("distance not changed"), std::string::npos);
    EXPECT_NE(finished.words.find("\nall is quiet after 0.05 seconds; nothing has been requested\n"),
              std::string::npos)
        << finished.words;
    EXPECT_EQ(finished.words.find("distance of the last run"), std::string::npos) << finished.words;
    EXPECT_EQ(finished.exit_code, 0);
}

TEST(OvrafocusHost, WaitsForTheEndOfARunThatTheLibraryMadeByItself) {
    const std::vector<std::string> commands = {
        storykit::host_program, "--library-log", "/dev/null", "init", "wait 10s", "wait idle", "status"};
    const Finished finished = storykit::launch_projector(
        {"--scenario", storykit::project_file("scenarios/pick-up-and-set-down.json")}, commands);
    EXPECT_NE(finished.words.find("\ndistance of the last run: 1200 mm\nlens: at TMR -57, "), std::string::npos)
        << finished.words;
}

TEST(OvrafocusHost, SaysThatNothingIsSquaredWithoutADisplay) {
    const std::vector<std::string> commands = {
        storykit::host_program, "--library-log", "/dev/null",    "init", "akaf",      "wait idle",
        "try offset 0 2",       "status",        "switches 0 1", "akaf", "wait idle", "keystone 10"};
    const Finished finished =
        storykit::launch_projector({"--set", "tmr.noise_sigma=0", "--set", "tof.noise_mm=0", "--set",
                                    "tof.noise_per_mm=0", "--set", "board.has_display=0"},
                                   commands);
    EXPECT_EQ(finished.words,
              "the library is started; auto-keystone is on, auto-focus is on\n"
              "auto-focus and auto-keystone requested\n"
              "there is no display: no picture will be squared\n"
              "all is quiet after 0.20 seconds; the last request failed\n"
              "there is no display: no keystone can be moved\n"
              "auto-keystone is on, auto-focus is on; the last request failed\n"
              "picture: there is no display\n"
              "distance of the last run: 1500 mm\n"
              "lens: at TMR -66, limits -104 and 190\n"
              "auto-keystone off, auto-focus on\n"
              "auto-focus and auto-keystone requested\n"
              "all is quiet after 0.20 seconds; the last request succeeded\n"
              "keystone for a tilt of 10 degrees requested\n"
              "there is no display: no picture will be squared\n"
              "all is quiet after 0.20 seconds; the last request failed\n");
    EXPECT_EQ(finished.exit_code, 1);
}

TEST(OvrafocusHost, FindsADisplayThatOpensTheSecondTime) {
    const storykit::ScratchFolder folder;
    storykit::write_file(folder.file("late.json"), R"({"set": {"pose.pitch_deg": 12},
                         "faults": [{"operation": "open", "path": "/dev/dis", "nth": 1, "error": "ENODEV"}]})");
    const Finished finished = storykit::launch_projector(
        {"--scenario", folder.file("late.json")},
        {storykit::host_program, "--library-log", "/dev/null", "init", "akaf", "wait idle", "status"});
    EXPECT_NE(finished.words.find("\npicture: 1148 pixels at the top, 1280 at the bottom, "), std::string::npos)
        << finished.words;
    EXPECT_EQ(finished.exit_code, 0);
}

TEST(OvrafocusHost, SaysThatARequestIsUnderWay) {
    const std::string words = host({"--library-log", "/dev/null", "init", "akaf", "status"}).words;
    EXPECT_NE(words.find("auto-focus is on; the last request is being carried out\n"), std::string::npos)
        << words;
}

TEST(OvrafocusHost, KeepsTheLibrarysWordsApartFromItsOwn) {
    const storykit::ScratchFolder folder;
    const Finished apart = host({"--library-log", folder.file("log"), "distance", "init", "distance"});
    EXPECT_EQ(apart.words, "distance: start the library first with 'init'\n");
    EXPECT_EQ(apart.exit_code, 1);
    const Finished together = host({"init"});
    EXPECT_NE(together.words.find("\novrafocus_init.\n"), std::string::npos);
    EXPECT_NE(together.words.find("\nthe library is started; "), std::string::npos);
}

TEST(OvrafocusHost, AnswersQuestionsInWords) {
    const Finished finished = host(
        {"--library-log", "/dev/null", "init", "wait 3s", "angles", "direction", "keys", "keys", "status"});
    EXPECT_EQ(finished.words,
              "the library is started; auto-keystone is on, auto-focus is on\n"
              "the picture is turned by 0 degrees from now on (rotation code 0)\n"
              "angles of the axes above the horizontal: x 0.0, y 0.0, z 90.0 degrees\n"
              "the picture is turned by 0 degrees\n"
              "listening to the keys\n"
              "no key has been pressed\n"
              "auto-keystone is on, auto-focus is on; nothing has been requested\n"
              "picture: 1280 pixels at the top, 1280 at the bottom, for a tilt of 0 degrees\n"
              "lens: at TMR 6, limits -104 and 190\n");
    EXPECT_EQ(finished.exit_code, 0);
}

std::size_t longest_line(const std::string& text) {
    std::size_t longest = 0;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) longest = std::max(longest, line.size());
    return longest;
}

TEST(OvrafocusHost, HelpFitsATerminalOf80Columns) {
    EXPECT_LE(longest_line(host({"help"}).words), 80U);
    // Its first line names the program by the path that it was called by.
    std::string help = host({"--help"}).words;
    const std::size_t path = help.find(storykit::host_program);
    ASSERT_NE(path, std::string::npos) << help;
    help.replace(path, std::strlen(storykit::host_program), "ovrafocus-host");
    EXPECT_LE(longest_line(help), 80U) << help;
}

TEST(OvrafocusHost, NamesItsVersionAndItsCommit) {
    const Finished finished = host({"--version"});
    EXPECT_THAT(finished.words,
                testing::MatchesRegex("ovrafocus-host [0-9]+\\.[0-9]+\\.[0-9]+ \\(commit [0-9a-z-]+\\)\n"));
    EXPECT_EQ(finished.exit_code, 0);
}

TEST(OvrafocusHost, HelpListsItsCommandsAndItsOptions) {
    const Finished options = host({"--help"});
    EXPECT_EQ(options.exit_code, 0);
    EXPECT_NE(options.words.find("--script FILE"), std::string::npos);
    EXPECT_NE(options.words.find("--library-log FILE"), std::string::npos);
    EXPECT_NE(host({"help"}).words.find("  akaf "), std::string::npos);
}

}  // namespace
