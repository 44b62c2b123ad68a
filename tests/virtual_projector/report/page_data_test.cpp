#include "virtual_projector/report/page_data.h"

#include <gtest/gtest.h>

#include <cmath>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "virtual_projector/report/repeat_command.h"

namespace {

using nlohmann::json;

json data_of(const vp::RunData& run) { return json::parse(vp::page_data(run, "A title.", {"a line"})); }

json signal_of(const json& data, const std::string& name) {
    for (const json& signal : data.at("signals")) {
        if (signal.at("name") == name) return signal;
    }
    return nullptr;
}

TEST(PageData, OfNothingHaveAllTheirMembers) {
    const json data = data_of({});
    for (const char* const member : {"format", "title", "run", "command", "end_us", "signals", "outlines",
                                     "zones", "flags", "requests", "lanes", "log", "story"})
        EXPECT_TRUE(data.contains(member)) << member;
    EXPECT_EQ(data.at("title"), "A title.");
    EXPECT_EQ(data.at("story"), (std::vector<std::string>{"a line"}));
}

TEST(PageData, TellEveryChangeOfASignalAndNullWhereItIsNotKnown) {
    vp::RunData run;
    run.signals["gravity.x"] = {"gravity.x", "g", "about it", {0, 7}, {0.1, std::nan("")}};
    const json signal = signal_of(data_of(run), "gravity.x");
    EXPECT_EQ(signal.at("t"), (std::vector<int>{0, 7}));
    EXPECT_EQ(signal.at("v").dump(), "[0.1,null]");
    EXPECT_EQ(signal.at("unit"), "g");
    EXPECT_FALSE(signal.contains("within"));
}

TEST(PageData, ThinASignalOfManyHoursByABandAboutTheLastToldValue) {
    vp::RunData run;
    vp::Signal& signal = run.signals["gravity.x"];
    signal.name = "gravity.x";
    for (int i = 0; i < 300000; ++i) {
        signal.t_us.push_back(i);
        signal.values.push_back(std::sin(i / 1000.0) + (i % 2) * 0.001);
    }
    const json thinned = signal_of(data_of(run), "gravity.x");
    const auto times = thinned.at("t").get<std::vector<std::size_t>>();
    const auto values = thinned.at("v").get<std::vector<double>>();
    const auto within = thinned.at("within").get<double>();
    EXPECT_LE(times.size(), 200000U);
    EXPECT_GT(times.size(), 100U);
    std::size_t told = 0;
    for (std::size_t i = 0; i < signal.values.size(); ++i) {
        if (told + 1 < times.size() && times[told + 1] == i) ++told;
        ASSERT_LE(std::abs(values[told] - signal.values[i]), within) << i;
    }
}

TEST(PageData, PutTheTruthBesideEachFrameOfZones) {
    vp::RunData run;
    for (const int t_us : {0, 100}) {
        vp::TruthAt truth;
        truth.t_us = t_us;
        truth.zones_mm = {1500.0 + t_us, -1, 3, 4};
        run.contents.truths.push_back(truth);
    }
    vp::ZonesAt frame;
    frame.distance_mm = {1501, 8190, 3, 4};
    frame.valid = {true, false, true, true};
    for (const int t_us : {50, 100}) {
        frame.t_us = t_us;
        run.zones.push_back(frame);
    }
    const json zones = data_of(run).at("zones");
    EXPECT_EQ(zones.at("t"), (std::vector<int>{50, 100}));
    EXPECT_EQ(zones.at("true_mm").dump(), "[[1500,null,3,4],[1600,null,3,4]]");
    EXPECT_EQ(zones.at("sensed_mm")[0].dump(), "[1501,8190,3,4]");
    EXPECT_EQ(zones.at("valid")[0].dump(), "[true,false,true,true]");
}

TEST(PageData, HaveAnEmptyOutlineWhereThePictureIsNotOnTheWall) {
    vp::RunData run;
    vp::TruthAt truth;
    truth.outline_mm = {{{-1, 2}, {1, 2}, {1, 0}, {-1, 0}}};
    run.contents.truths.push_back(truth);
    truth.t_us = 5;  // the same
    run.contents.truths.push_back(truth);
    truth.t_us = 9;
    truth.on_wall = false;
    run.contents.truths.push_back(truth);
    EXPECT_EQ(data_of(run).at("outlines").dump(), R"({"t":[0,9],"xz":[[[-1,2],[1,2],[1,0],[-1,0]],[]]})");
}

TEST(PageData, HoldFlagsRequestsLanesAndLog) {
    vp::RunData run;
    run.flags = {{1, "event", "</script>"}};
    vp::Request request;
    request.number = 1;
    request.asked_us = 3;
    request.after.lens_tmr = -66;
    run.requests = {request};
    run.slice_names = {"sleep"};
    run.lanes[2] = {2, "worker", {{0, 10, 0, vp::SliceKind::wait}, {10, 10, 0, vp::SliceKind::call}}};
    vp::LogLine line;
    line.text = "a line";
    run.contents.log = {line};
    EXPECT_EQ(data_of(run).at("requests")[0].at("after"), nullptr) << "of a trace without a truth";
    run.contents.truths = {request.after};
    const json data = data_of(run);
    EXPECT_EQ(data.at("flags")[0].dump(), R"({"kind":"event","t":1,"text":"</script>"})");
    EXPECT_EQ(data.at("requests")[0].at("begin"), nullptr);
    EXPECT_EQ(data.at("requests")[0].at("after").at("lens_tmr"), -66);
    EXPECT_EQ(data.at("lanes")[0].dump(),
              R"({"merged_us":0,"name":"worker","slices":[[0,10,"wait","sleep"]],"thread":2})");
    EXPECT_EQ(data.at("log")[0].at("text"), "a line");
}

TEST(TheCommandThatRepeatsARun, NamesWhatTheRunWasMadeOf) {
    vp::RunRecord run;
    EXPECT_EQ(vp::repeat_command(run), "virtual-projector --seed 1 -- PROGRAM");
    run.seed = 7;
    run.scenario_digest = "fnv1a64:1";
    run.scenario_file = "it's mine.json";
    run.world = "living-room";
    run.unit = "exact";
    run.unit_seed = 3;
    run.settings = {{"pose.pitch_deg", 12, "scenario"}, {"tmr.noise_sigma", 0.5, "command line"}};
    EXPECT_EQ(vp::repeat_command(run),
              "virtual-projector --scenario 'it'\\''s mine.json' --seed 7 --world living-room --unit-seed 3 "
              "--unit exact --set "
              "tmr.noise_sigma=0.5 -- PROGRAM");
}

}  // namespace
