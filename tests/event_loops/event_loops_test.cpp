// Other people's event loops, with the library's threads beside them: every way in which such a loop waits
// keeps simulated time.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <iterator>
#include <sstream>
#include <string>
#include <vector>

#include "virtual_projector/storykit/launched_program.h"

namespace {

using storykit::Finished;
using storykit::ScratchFolder;

constexpr std::int64_t tick_us = 100000;
// What a loop that counts whole milliseconds may be late, since a tick does not fall on one.
constexpr std::int64_t longest_delay_us = 1000;

std::vector<std::string> words_of(const char* text) {
    std::istringstream words(text);
    return {std::istream_iterator<std::string>(words), {}};
}

std::vector<std::string> command_of(const std::string& loop) {
    if (loop == "asyncio") return {PYTHON, storykit::project_file("tests/event_loops/asyncio_loop.py")};
    return {std::string(LOOP_FOLDER) + "/event_loop." + loop};
}

struct Outcome {
    Finished finished;
    std::string trace;
};

// A loop that hangs is ended after a minute.
Outcome run(const std::string& loop) {
    setenv("LD_LIBRARY_PATH", LIBRARY_FOLDER, 1);
    setenv("PYTHONPATH", storykit::project_file("examples/python").c_str(), 1);
    setenv("PYTHONDONTWRITEBYTECODE", "1", 1);
    const ScratchFolder folder;
    std::vector<std::string> command = {
        "timeout",          "--kill-after=5",     "60",
        storykit::launcher, "--scenario",         storykit::project_file("scenarios/first-light.json"),
        "--trace",          folder.file("trace"), "--"};
    for (const std::string& word : command_of(loop)) command.push_back(word);
    Outcome outcome;
    outcome.finished = storykit::launch_own(command);
    outcome.trace = storykit::contents_of(folder.file("trace"));
    return outcome;
}

// When the program's main thread opened an attribute of the motor.
std::vector<std::int64_t> openings(const Outcome& outcome, const std::string& attribute) {
    const std::string opening =
        R"("thread":1,"name":"main","call":"open","path":"/sys/class/motor/)" + attribute + "\"";
    const std::string time = R"({"t_us":)";
    std::vector<std::int64_t> times;
    std::istringstream lines(outcome.trace);
    for (std::string line; std::getline(lines, line);) {
        if (line.find(opening) != std::string::npos) times.push_back(std::stoll(line.substr(time.size())));
    }
    return times;
}

class AnEventLoop : public ::testing::TestWithParam<std::string> {};

TEST_P(AnEventLoop, DoesThirtySecondsOfWorkInSimulatedTime) {
    const Finished finished = run(GetParam()).finished;
    // A loop that counts whole milliseconds may wait for one more.
    const std::string work = "300 ticks, 300 deferred, 100 bytes, 1 end of the pipe, 30 signals, 1 refresh in ";
    EXPECT_THAT(finished.complaints, ::testing::AnyOf(work + "30050 ms\n", work + "30051 ms\n"));
    EXPECT_EQ(finished.exit_code, 0);
}

TEST_P(AnEventLoop, TicksInTime) {
    const std::vector<std::int64_t> ticks = openings(run(GetParam()), "place");
    ASSERT_EQ(ticks.size(), 300U);
    for (std::size_t i = 1; i < ticks.size(); ++i) {
        const std::int64_t late_us = ticks[i] - ticks[0] - static_cast<std::int64_t>(i) * tick_us;
        EXPECT_LE(std::abs(late_us), longest_delay_us) << "tick " << i;
    }
}

TEST_P(AnEventLoop, TakesUpAtOnceWhatItWasHanded) {
    const Outcome result = run(GetParam());
    const std::vector<std::int64_t> ticks = openings(result, "place");
    EXPECT_EQ(openings(result, "pos"), ticks);
    const std::vector<std::int64_t> signals = openings(result, "zero");
    ASSERT_EQ(signals.size(), 30U);
    ASSERT_EQ(ticks.size(), 300U);
    for (std::size_t i = 0; i < signals.size(); ++i) EXPECT_EQ(signals[i], ticks[10 * i + 9]) << "signal " << i;
    EXPECT_EQ(openings(result, "air_travel").size(), 100U);
    EXPECT_EQ(openings(result, "end").size(), 1U);
}

TEST_P(AnEventLoop, GivesTheSameTraceTwice) {
    const Outcome first = run(GetParam());
    ASSERT_GT(first.trace.size(), 100000U) << first.finished.complaints;
    EXPECT_TRUE(run(GetParam()).trace == first.trace);
}

INSTANTIATE_TEST_SUITE_P(Named, AnEventLoop, ::testing::ValuesIn(words_of(LOOPS)),
                         [](const auto& loop) { return loop.param; });

}  // namespace
