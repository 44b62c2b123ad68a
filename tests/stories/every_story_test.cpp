// What holds for every story of the scenarios folder.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <sstream>
#include <string>
#include <vector>

#include "virtual_projector/report/story.h"
#include "virtual_projector/report/trace_reader.h"
#include "virtual_projector/storykit/story_run.h"

namespace {

using storykit::project_file;
using storykit::Story;

constexpr const char* longest_story = "a-day";  // has tests of its own

std::vector<std::string> all_stories() {
    std::vector<std::string> names;
    const std::filesystem::path folder = project_file("scenarios");
    for (const auto& entry : std::filesystem::recursive_directory_iterator(folder)) {
        std::filesystem::path name = std::filesystem::relative(entry.path(), folder);
        if (name.extension() != ".json") continue;
        names.push_back(name.replace_extension().string());
    }
    std::sort(names.begin(), names.end());
    return names;
}

std::vector<std::string> short_stories() {
    std::vector<std::string> names = all_stories();
    names.erase(std::remove(names.begin(), names.end(), longest_story), names.end());
    return names;
}

class EveryStory : public ::testing::TestWithParam<std::string> {};

TEST_P(EveryStory, GivesTheSameTraceByteForByteWhenItRunsAgain) {
    const storykit::StoryResult first = Story(GetParam()).detail("calls").run();
    const storykit::StoryResult second = Story(GetParam()).detail("calls").run();
    EXPECT_GT(first.trace_text.size(), 1000U);
    EXPECT_TRUE(first.trace_text == second.trace_text);
    EXPECT_EQ(first.words, second.words);
    EXPECT_EQ(first.exit_code, second.exit_code);
}

TEST_P(EveryStory, IsShownInWordsWithBeforeAndAfter) {
    const storykit::ScratchFolder folder;
    const std::string log = folder.file("log");
    const storykit::Finished result = storykit::launch_projector(
        {"--story", "--scenario", project_file("scenarios/" + GetParam() + ".json"), "--library-log", log},
        {storykit::host_program, "--script", project_file("scenarios/" + GetParam() + ".host"), "--library-log",
         log});
    EXPECT_NE(result.words.find("\nAt the start: "), std::string::npos);
    EXPECT_NE(result.words.find("         before        after\n"), std::string::npos);
    EXPECT_NE(result.words.find("\nsharpness (0 to 1) "), std::string::npos);
    EXPECT_NE(result.words.find("\nSimulated time "), std::string::npos);
    EXPECT_EQ(result.complaints, "");
}

// In one line, as an event may be told in several.
std::string in_one_line(const std::string& words) {
    std::string line;
    for (const char c : words) {
        const char blank_or_c = c == '\n' ? ' ' : c;
        if (blank_or_c != ' ' || line.empty() || line.back() != ' ') line += blank_or_c;
    }
    return line;
}

TEST_P(EveryStory, TellsEachEventOnAPageOfEightyColumns) {
    const storykit::ScratchFolder folder;
    const storykit::Finished result = storykit::launch_projector(
        {"--story", "--scenario", project_file("scenarios/" + GetParam() + ".json"), "--trace",
         folder.file("trace")},
        {storykit::host_program, "--script", project_file("scenarios/" + GetParam() + ".host")});
    const std::string story = result.words.substr(result.words.find("\nAt the start: ") + 1);
    const std::string words = in_one_line(story);
    const vp::TraceContents trace = vp::read_trace(folder.file("trace"));
    for (const vp::EventAt& event : trace.events)
        EXPECT_NE(words.find(" s " + event.what), std::string::npos) << event.what;
    std::istringstream lines(story);
    std::size_t count = 0;
    for (std::string line; std::getline(lines, line); ++count) EXPECT_LE(line.size(), 80U) << line;
    EXPECT_LE(count, 40U);
}

std::string test_name(const ::testing::TestParamInfo<std::string>& info) {
    std::string name = info.param;
    std::replace_if(
        name.begin(), name.end(), [](char c) { return c == '-' || c == '/'; }, '_');
    return name;
}
INSTANTIATE_TEST_SUITE_P(Scenarios, EveryStory, ::testing::ValuesIn(short_stories()), test_name);

TEST(EveryStoryFile, SaysInOneLineWhatItIsAbout) {
    for (const std::string& name : all_stories()) {
        const std::string text = storykit::contents_of(project_file("scenarios/" + name + ".json"));
        EXPECT_NE(text.find("\n    \"story\": \""), std::string::npos) << name;
        EXPECT_FALSE(storykit::contents_of(project_file("scenarios/" + name + ".host")).empty()) << name;
    }
}

TEST(TheListOfStories, NamesEachOfThem) {
    const storykit::Finished list = storykit::launch_own({project_file("dev"), "demo", "list"});
    EXPECT_EQ(list.exit_code, 0);
    for (const std::string& run : all_stories()) {
        const std::string name = run.substr(0, run.find('/'));
        EXPECT_NE(("\n" + list.words).find("\n" + name + " "), std::string::npos) << name;
    }
}

}  // namespace
