// What the trace of a story says of the library and its host, against what they say themselves.
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <nlohmann/json.hpp>
#include <sstream>
#include <string>
#include <vector>

#include "virtual_projector/storykit/launched_program.h"
#include "virtual_projector/storykit/story_run.h"
#include "virtual_projector/trace/records.h"

namespace {

using nlohmann::json;
using storykit::project_file;
using storykit::Story;
using storykit::StoryResult;

std::vector<json> records_with(const StoryResult& story, const char* member) {
    std::vector<json> records;
    std::istringstream lines(story.trace_text);
    for (std::string line; std::getline(lines, line);) {
        json record = json::parse(line);
        if (record.contains(member)) records.push_back(std::move(record));
    }
    return records;
}

std::vector<std::string> lines_of(const std::string& text) {
    std::vector<std::string> all;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
        if (!line.empty()) all.push_back(line);
    }
    return all;
}

const StoryResult& manual_focus() {
    static const StoryResult story = Story("manual-focus").detail("calls").run();
    return story;
}

TEST(TheTraceOfAStory, HasEveryLineThatTheLibraryPrinted) {
    std::vector<std::string> logged;
    for (const json& record : records_with(manual_focus(), "log"))
        logged.push_back(record.at("log").get<std::string>());
    EXPECT_GT(logged.size(), 100U);
    EXPECT_EQ(logged, lines_of(manual_focus().library_log));
}

TEST(TheTraceOfAStory, HasEveryToastWithItsWords) {
    std::vector<int> codes;
    for (const json& record : records_with(manual_focus(), "callback")) {
        if (record.at("callback") != "toast") continue;
        codes.push_back(vp::callback_line_from(record).arguments.at(0));
        EXPECT_NE(record.at("means"), "");
    }
    EXPECT_EQ(static_cast<int>(codes.size()), manual_focus().times_logged("call back toast"));
    EXPECT_EQ(codes, (std::vector<int>{6, 7, 11}));
}

// The flag that a host sets, and the worker clears before it starts the run.
TEST(TheTraceOfAStory, HasTheStateWithTheThreadThatChangedIt) {
    std::map<std::string, std::vector<std::pair<std::string, double>>> changes;
    const std::vector<json> records = records_with(manual_focus(), "state");
    ASSERT_FALSE(records.empty());
    EXPECT_GT(records.front().at("state").size(), 20U);  // all of it, at first
    for (std::size_t i = 1; i < records.size(); ++i) {
        for (const auto& [name, value] : vp::state_line_from(records[i]).values)
            changes[name].emplace_back(records[i].value("name", ""), value);
    }
    const auto& direction = changes["lastDirection"];
    ASSERT_FALSE(direction.empty());
    EXPECT_EQ(direction.front(), (std::pair<std::string, double>{"main", 0}));
    EXPECT_EQ(direction.back().first, "keystonefocus_thread");
}

TEST(TheTraceOfAStory, HasTheLockThatIsHeldDuringAManualMove) {
    std::int64_t longest = 0;
    for (const json& record : records_with(manual_focus(), "call")) {
        const vp::CallLine line = vp::call_line_from(record);
        if (line.call == "unlock" && line.path == "mutex_focus") longest = std::max(longest, line.us);
    }
    EXPECT_GE(longest, 100'000);
}

TEST(TheTraceOfAStory, HasASampleOfGravityAsTheDriverGaveIt) {
    for (const json& record : records_with(manual_focus(), "call")) {
        const vp::CallLine line = vp::call_line_from(record);
        if (line.request_name != "get_sample") continue;
        EXPECT_EQ(line.returned.size(), 12U);
        EXPECT_EQ(line.path, "/dev/gsensor_daemon");
        return;
    }
    FAIL() << "no sample";
}

TEST(TheTraceOfAStory, HasTheRequestsOfADisplayWithWhatTheyGave) {
    const StoryResult story = Story("nudge").detail("changes").run();
    int widths = 0;
    for (const json& record : records_with(story, "call")) {
        const vp::CallLine line = vp::call_line_from(record);
        if (line.request_name != "set_widths") continue;
        ++widths;
        EXPECT_EQ(line.given.size(), 28U);
        EXPECT_EQ(line.returned, "");
    }
    EXPECT_GT(widths, 0);
}

TEST(TheTraceOfAStory, SaysWhatEachPlannedFaultDid) {
    const StoryResult story = Story("factory-reject-no-record").detail("changes").run();
    int told = 0;
    for (const json& record : records_with(story, "fault")) {
        ++told;
        EXPECT_EQ(record.at("fault").at("number"), 1);
        EXPECT_EQ(record.at("fault").at("did"), "failed with " + record.at("error").get<std::string>());
    }
    EXPECT_GT(told, 0);
}

struct Printed {
    int exit_code;
    std::string words;
};

// The host and the library print into one stream.
Printed printed(const std::vector<std::string>& options) {
    std::vector<std::string> all = {"--scenario", project_file("scenarios/manual-focus.json")};
    all.insert(all.end(), options.begin(), options.end());
    const storykit::Finished result = storykit::launch_projector(
        all, {storykit::host_program, "--script", project_file("scenarios/manual-focus.host")});
    return {result.exit_code, result.words};
}

TEST(ATracedProgram, PrintsTheSameToTheByteAsOneThatIsNot) {
    const storykit::ScratchFolder folder;
    const Printed without = printed({});
    EXPECT_GT(without.words.size(), 1000U);
    for (const char* const level : {"events", "calls"}) {
        const Printed with = printed({"--trace", folder.file("trace"), "--trace-detail", level});
        EXPECT_EQ(with.words, without.words) << level;
        EXPECT_EQ(with.exit_code, without.exit_code);
    }
}

}  // namespace
