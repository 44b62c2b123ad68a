// The examples do what their page says of them.
#include <gtest/gtest.h>

#include <cstdlib>
#include <iterator>
#include <sstream>
#include <string>
#include <vector>

#include "virtual_projector/report/trace_reader.h"
#include "virtual_projector/storykit/launched_program.h"

namespace {

using storykit::Finished;
using storykit::ScratchFolder;

std::vector<std::string> words_of(const char* text) {
    std::istringstream words(text);
    return {std::istream_iterator<std::string>(words), {}};
}

std::vector<std::string> command_of(const std::string& host) {
    if (host == "python") return {PYTHON, storykit::project_file("examples/python/host.py")};
    if (host == "asyncio") return {PYTHON, storykit::project_file("examples/python/asyncio_host.py")};
    return {std::string(HOST_FOLDER) + "/example." + host};
}

struct Outcome {
    Finished finished;
    std::string trace;
    vp::TraceContents contents;
};

Outcome run(const std::string& story, const std::vector<std::string>& command) {
    setenv("LD_LIBRARY_PATH", LIBRARY_FOLDER, 1);
    setenv("PYTHONDONTWRITEBYTECODE", "1", 1);
    const ScratchFolder folder;
    Outcome outcome;
    outcome.finished = storykit::launch_projector(
        {"--scenario", storykit::project_file("scenarios/" + story + ".json"), "--trace", folder.file("trace")},
        command);
    outcome.trace = storykit::contents_of(folder.file("trace"));
    outcome.contents = vp::read_trace(folder.file("trace"));
    return outcome;
}

void expect_focused(const Outcome& outcome) {
    EXPECT_EQ(outcome.finished.exit_code, 0) << outcome.finished.complaints;
    EXPECT_NE(outcome.finished.complaints.find("in focus at 150"), std::string::npos)
        << outcome.finished.complaints;
    ASSERT_FALSE(outcome.contents.truths.empty());
    EXPECT_LT(outcome.contents.truths.front().sharpness, 0.1);
    EXPECT_GT(outcome.contents.truths.back().sharpness, 0.98);
    EXPECT_LT(outcome.contents.truths.back().worst_side_deg(), 0.3);
}

class AnExample : public ::testing::TestWithParam<std::string> {
protected:
    static Outcome run_on(const std::string& story) { return run(story, command_of(GetParam())); }
};

TEST_P(AnExample, SquaresAndFocusesThePicture) { expect_focused(run_on("first-light")); }

TEST_P(AnExample, GivesTheSameTraceTwice) {
    const std::string trace = run_on("first-light").trace;
    ASSERT_GT(trace.size(), 10000U);
    EXPECT_TRUE(run_on("first-light").trace == trace);
}

TEST_P(AnExample, DoesWithoutAGravitySensor) { expect_focused(run_on("no-gravity-sensor")); }

TEST_P(AnExample, SaysThatTheLensIsNotCalibrated) {
    const Finished finished = run_on("flash-fails").finished;
    EXPECT_EQ(finished.exit_code, 1);
    EXPECT_NE(finished.complaints.find("auto-focus is off"), std::string::npos) << finished.complaints;
}

TEST_P(AnExample, SaysThatThereIsNoToFSensor) {
    const Finished finished = run_on("no-tof").finished;
    EXPECT_EQ(finished.exit_code, 1);
    EXPECT_NE(finished.complaints.find("auto-focus"), std::string::npos) << finished.complaints;
}

TEST_P(AnExample, FailsWithTheToastOfAWallThatIsTooFarAway) {
    const Finished finished = run_on("far-wall").finished;
    EXPECT_EQ(finished.exit_code, 1);
    EXPECT_NE(finished.complaints.find("toast"), std::string::npos) << finished.complaints;
    EXPECT_NE(finished.complaints.find('9'), std::string::npos) << finished.complaints;
    EXPECT_EQ(finished.complaints.find("in focus"), std::string::npos) << finished.complaints;
}

INSTANTIATE_TEST_SUITE_P(Named, AnExample, ::testing::ValuesIn(words_of(HOSTS)),
                         [](const auto& host) { return host.param; });

// Those that no compiler has made of their own.
std::vector<std::string> python_hosts() {
    std::vector<std::string> hosts;
    for (const std::string& host : words_of(HOSTS)) {
        if (command_of(host).size() > 1) hosts.push_back(host);
    }
    return hosts;
}

class AHostInPython : public ::testing::TestWithParam<std::string> {};

TEST_P(AHostInPython, RunsFromAShellToo) {
    const std::vector<std::string> command = command_of(GetParam());
    expect_focused(run("first-light", {"sh", "-c", command[0] + " '" + command[1] + "'"}));
}

GTEST_ALLOW_UNINSTANTIATED_PARAMETERIZED_TEST(AHostInPython);
INSTANTIATE_TEST_SUITE_P(Named, AHostInPython, ::testing::ValuesIn(python_hosts()),
                         [](const auto& host) { return host.param; });

}  // namespace
