#include "virtual_projector/report/perfetto.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <map>
#include <nlohmann/json.hpp>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "virtual_projector/storykit/launched_program.h"

namespace {

using nlohmann::json;
using Track = std::pair<int, int>;  // process and thread

struct Checked {
    std::vector<std::string> mistakes;
    std::map<std::string, int> count;  // of records, by kind
};

// What a viewer takes for granted.
class Checker {
public:
    explicit Checker(const std::string& text) {
        const json trace = json::parse(text, nullptr, false);
        if (!trace.is_object()) {
            checked.mistakes.emplace_back("no JSON");
            return;
        }
        for (const json& record : trace.at("traceEvents")) take(record);
        check_names();
    }
    Checked checked;

private:
    void say(const std::string& what, const json& record) {
        checked.mistakes.push_back(what + ": " + record.dump());
    }
    void take(const json& record) {
        const auto kind = record.at("ph").get<std::string>();
        ++checked.count[kind];
        if (kind == "M") return take_name(record);
        const Track track = {record.at("pid").get<int>(), record.at("tid").get<int>()};
        used_.insert(track);
        if (record.at("ts").get<std::int64_t>() < 0) say("a negative time", record);
        if (kind == "X") take_slice(record, track);
        if (kind == "C") take_later(record, record.at("name").get<std::string>());
        if (kind == "i") take_later(record, "instants of " + std::to_string(track.second));
    }
    void take_name(const json& record) {
        const Track track = {record.at("pid").get<int>(), record.at("tid").get<int>()};
        if (record.at("name") == "process_name") processes_.insert(track.first);
        if (record.at("name") == "thread_name" && !tracks_.insert(track).second) say("named twice", record);
        if (record.at("args").at("name").get<std::string>().empty()) say("an empty name", record);
    }
    void take_slice(const json& record, const Track& track) {
        const auto begin = record.at("ts").get<std::int64_t>();
        const auto length = record.at("dur").get<std::int64_t>();
        if (length < 0) say("a negative length", record);
        std::vector<std::int64_t>& open = open_[track];
        take_later(record, "slices of " + std::to_string(track.first) + "/" + std::to_string(track.second));
        while (!open.empty() && open.back() <= begin) open.pop_back();
        if (!open.empty() && begin + length > open.back()) say("not within the one that it begins in", record);
        open.push_back(begin + length);
    }
    void take_later(const json& record, const std::string& row) {
        const auto time = record.at("ts").get<std::int64_t>();
        const auto last = last_.find(row);
        if (last != last_.end() && time < last->second) say("earlier than the one before", record);
        last_[row] = time;
    }
    void check_names() {
        for (const Track& track : used_) {
            if (processes_.count(track.first) == 0) checked.mistakes.emplace_back("a process without a name");
            if (tracks_.count(track) == 0)
                checked.mistakes.push_back("a track without a name: " + std::to_string(track.second));
        }
    }

    std::set<int> processes_;
    std::set<Track> tracks_;
    std::set<Track> used_;
    std::map<Track, std::vector<std::int64_t>> open_;
    std::map<std::string, std::int64_t> last_;
};

std::string perfetto_of(const vp::RunData& run) {
    std::string text;
    vp::write_perfetto(run, [&text](std::string_view piece) { text += piece; });
    return text;
}

vp::RunData run_of_one_thread(std::vector<vp::Slice> slices) {
    vp::RunData run;
    run.slice_names = {"a \"call\""};
    run.lanes[2] = {2, "worker", std::move(slices)};
    return run;
}

TEST(APerfettoTrace, OfNothingIsStillOne) {
    EXPECT_THAT(Checker(perfetto_of({})).checked.mistakes, ::testing::IsEmpty());
}

TEST(APerfettoTrace, PutsSlicesThatWouldOverlapOnFurtherTracks) {
    const Checked checked = Checker(perfetto_of(run_of_one_thread({{0, 10, 0, vp::SliceKind::hold},
                                                                   {5, 20, 0, vp::SliceKind::hold},
                                                                   {6, 7, 0, vp::SliceKind::call},
                                                                   {8, 15, 0, vp::SliceKind::call}})))
                                .checked;
    EXPECT_THAT(checked.mistakes, ::testing::IsEmpty());
    EXPECT_EQ(checked.count.at("X"), 4);
}

TEST(APerfettoTrace, HasCountersInstantsAndRequests) {
    vp::RunData run = run_of_one_thread({});
    run.contents.end_us = 50;
    run.signals["truth.lens_tmr"] = {"truth.lens_tmr", "TMR", "", {0, 10, 20}, {1, std::nan(""), 3}};
    run.flags = {{5, "event", "somebody shakes it"}};
    vp::Request request;
    request.number = 1;
    request.what = "keystone and focus";
    request.asked_us = 3;
    request.begun_us = 4;  // and never ended
    run.requests = {request};
    const std::string text = perfetto_of(run);
    const Checked checked = Checker(text).checked;
    EXPECT_THAT(checked.mistakes, ::testing::IsEmpty());
    EXPECT_EQ(checked.count.at("C"), 2);
    EXPECT_EQ(checked.count.at("i"), 1);
    EXPECT_EQ(checked.count.at("X"), 1);
    EXPECT_THAT(text, ::testing::HasSubstr("truth.lens_tmr (TMR)"));
}

TEST(APerfettoTrace, OfAWholeStoryIsStrictlyNestedSortedAndNamed) {
    const storykit::ScratchFolder folder;
    const std::string trace = folder.file("trace");
    storykit::launch_projector(
        {"--scenario", storykit::project_file("scenarios/someone-walks-past.json"), "--trace", trace},
        {storykit::host_program, "--script", storykit::project_file("scenarios/someone-walks-past.host")});
    vp::RunCollector collector(true);
    vp::read_trace(trace, collector);
    const vp::RunData run = collector.finish();
    const Checked checked = Checker(perfetto_of(run)).checked;
    EXPECT_THAT(checked.mistakes, ::testing::IsEmpty());
    EXPECT_GT(checked.count.at("X"), 1000);
    EXPECT_GT(checked.count.at("C"), 100);
    EXPECT_EQ(checked.count.at("i"), static_cast<int>(run.flags.size()));
    // What the run is known to hold, by way of the trace.
    EXPECT_EQ(run.signals.at("state.g_run_once_AKAF").values.size(), 5U);  // the first asking is over at once
    EXPECT_EQ(run.signals.at("state.lastDistance").values.back(), 1500);
}

}  // namespace
