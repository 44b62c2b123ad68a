#include "virtual_projector/report/page_data.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <map>
#include <nlohmann/json.hpp>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "virtual_projector/report/repeat_command.h"

namespace {

using nlohmann::json;

json data_of(const vp::RunData& run) {
    return json::parse(vp::as_one_object(vp::page_data(run, "A title.", {"a line"})));
}

json signal_of(const json& data, const std::string& name) {
    for (const json& signal : data.at("signals")) {
        if (signal.at("name") == name) return signal;
    }
    return nullptr;
}

TEST(PageData, OfNothingHaveAllTheirMembers) {
    const json data = data_of({});
    for (const char* const member : {"format", "title", "run", "command", "end_us", "signals", "outlines",
                                     "zones", "flags", "requests", "lanes", "log", "story", "parts", "told"})
        EXPECT_TRUE(data.contains(member)) << member;
    EXPECT_EQ(data.at("title"), "A title.");
    EXPECT_EQ(data.at("story"), (std::vector<std::string>{"a line"}));
    EXPECT_EQ(data.at("parts").at("count"), 0);
}

TEST(PageData, TellEveryChangeOfASignalAndNullWhereItIsNotKnown) {
    vp::RunData run;
    run.signals["gravity.x"] = {"gravity.x", "g", "about it", {0, 7}, {0.1, std::nan("")}};
    const json signal = signal_of(data_of(run), "gravity.x");
    EXPECT_EQ(signal.at("t"), (std::vector<int>{0, 7}));
    EXPECT_EQ(signal.at("v").dump(), "[0.1,null]");
    EXPECT_EQ(signal.at("unit"), "g");
    EXPECT_FALSE(signal.contains("step_us"));
}

// Of gravity over hours, with noise, a spike and a time in which it is not known.
vp::Signal long_signal() {
    vp::Signal signal;
    signal.name = "gravity.x";
    for (int i = 0; i < 300000; ++i) {
        signal.t_us.push_back(std::int64_t{20000} * i + i % 3);
        const double value = std::sin(i / 1000.0) + (i % 11 * 7 % 11) * 0.001;
        signal.values.push_back(i == 123456 ? 7 : i == 200000 ? std::nan("") : value);
    }
    return signal;
}

std::vector<double> numbers_of(const json& column) {
    std::vector<double> numbers;
    const auto take = [&numbers](const json& value) {
        numbers.push_back(value.is_null() ? std::nan("") : value.get<double>());
    };
    if (column.is_array()) {
        std::for_each(column.begin(), column.end(), take);
        return numbers;
    }
    const auto letters = column.at("at").get<std::string>();
    for (std::size_t i = 0; i < letters.size(); ++i) {
        unsigned code = static_cast<unsigned char>(letters[i]);
        if (code >= 0x80) code = (code & 0x1FU) << 6U | (static_cast<unsigned char>(letters[++i]) & 0x3FU);
        take(column.at("of").at(code - 93));
    }
    return numbers;
}

std::vector<double> times_of(const json& entry) {
    std::vector<double> times = {entry.at("from").get<double>()};
    for (const double rise : numbers_of(entry.at("rise"))) times.push_back(times.back() + rise);
    return times;
}

TEST(PageData, TellOfALongSignalTheExtremesOfEachStepFirst) {
    vp::RunData run;
    const vp::Signal& signal = run.signals["gravity.x"] = long_signal();
    run.contents.end_us = signal.t_us.back();
    const json told = signal_of(data_of(run), "gravity.x");
    const auto step_us = told.at("step_us").get<std::int64_t>();
    const auto times = told.at("t").get<std::vector<std::int64_t>>();
    EXPECT_LE(times.size(), 10000U);
    std::map<std::int64_t, std::pair<double, double>> whole;
    std::map<std::int64_t, std::pair<double, double>> few;
    const auto take = [step_us](auto& extremes, std::int64_t t_us, double value) {
        if (std::isnan(value)) return;
        auto& [low, high] = extremes.emplace(t_us / step_us, std::pair(value, value)).first->second;
        low = std::min(low, value);
        high = std::max(high, value);
    };
    for (std::size_t i = 0; i < signal.values.size(); ++i) take(whole, signal.t_us[i], signal.values[i]);
    std::size_t unknown = 0;
    for (std::size_t i = 0; i < times.size(); ++i) {
        const json& value = told.at("v").at(i);
        unknown += value.is_null() ? 1 : 0;
        take(few, times[i], value.is_null() ? std::nan("") : value.get<double>());
    }
    EXPECT_EQ(few, whole);
    EXPECT_EQ(unknown, 1U);
    EXPECT_EQ(times.back(), signal.t_us.back());
}

TEST(PageData, HoldEveryValueOfALongSignalInParts) {
    vp::RunData run;
    const vp::Signal& signal = run.signals["gravity.x"] = long_signal();
    run.contents.end_us = signal.t_us.back();
    const json data = data_of(run);
    const auto part_us = data.at("parts").at("us").get<double>();
    ASSERT_GT(data.at("told").size(), 1U);
    ASSERT_EQ(data.at("told").size(), data.at("parts").at("count"));
    std::size_t next = 0;
    for (std::size_t part = 0; part < data.at("told").size(); ++part) {
        const json& entry = data.at("told").at(part).at(0);
        EXPECT_EQ(entry.at("signal"), "gravity.x");
        const std::vector<double> times = times_of(entry);
        const std::vector<double> values = numbers_of(entry.at("v"));
        ASSERT_EQ(times.size(), values.size());
        const double begin = part_us * static_cast<double>(part);
        for (std::size_t i = 0; i < times.size(); ++i) {
            if (part > 0 && i == 0) {  // the one that holds when the part begins
                EXPECT_EQ(times[i], static_cast<double>(signal.t_us.at(next - 1)));
                EXPECT_LT(times[i], begin);
                continue;
            }
            ASSERT_GE(times[i], begin);
            ASSERT_EQ(times[i], static_cast<double>(signal.t_us.at(next)));
            const double value = signal.values.at(next++);
            ASSERT_TRUE(values[i] == value || (std::isnan(values[i]) && std::isnan(value))) << next;
        }
    }
    EXPECT_EQ(next, signal.values.size());
}

TEST(PageData, SayInEachPartWhatALongSignalHoldsThoughItChangesNoMore) {
    vp::RunData run;
    const vp::Signal& signal = run.signals["gravity.x"] = long_signal();
    run.contents.end_us = 3 * signal.t_us.back();
    const json last = data_of(run).at("told").back().at(0);
    EXPECT_EQ(times_of(last), std::vector<double>{static_cast<double>(signal.t_us.back())});
    EXPECT_EQ(numbers_of(last.at("v")), std::vector<double>{signal.values.back()});
}

TEST(PageData, HoldEverySliceOfABusyLaneInEachPartThatItLiesIn) {
    vp::RunData run;
    run.slice_names = {"sleep", "hold mutex_focus", "ioctl /dev/tof"};
    vp::Lane& lane = run.lanes[3];
    lane.thread = 3;
    constexpr int count = 160000;
    for (std::int64_t i = 0; i < count; ++i) {
        const auto what = static_cast<std::uint32_t>(i % 2 == 0 ? 0 : 2);
        lane.slices.push_back(
            {i * 100, i * 100 + 60 + i % 5, what, i % 2 == 0 ? vp::SliceKind::wait : vp::SliceKind::call});
    }
    lane.slices.push_back({50, count * 100, 1, vp::SliceKind::hold});  // for as good as the whole run
    run.contents.end_us = count * 100;
    const json data = data_of(run);
    EXPECT_GT(data.at("lanes")[0].at("merged_us"), 0);
    const auto part_us = data.at("parts").at("us").get<std::int64_t>();
    const json& labels = data.at("parts").at("labels");
    ASSERT_EQ(data.at("told").size(), 2U);
    for (std::int64_t part = 0; part < 2; ++part) {
        std::multiset<std::string> expected;
        for (const vp::Slice& slice : lane.slices) {
            if (slice.begin_us >= (part + 1) * part_us || slice.end_us <= part * part_us) continue;
            expected.insert(std::to_string(slice.begin_us) + "+" +
                            std::to_string(slice.end_us - slice.begin_us) + " " +
                            vp::slice_kind_name(slice.kind) + " " + run.slice_names[slice.what]);
        }
        const json& entry = data.at("told").at(static_cast<std::size_t>(part)).at(0);
        EXPECT_EQ(entry.at("lane"), 3);
        const std::vector<double> times = times_of(entry);
        const std::vector<double> lengths = numbers_of(entry.at("us"));
        const std::vector<double> label = numbers_of(entry.at("label"));
        std::multiset<std::string> told;
        for (std::size_t i = 0; i < times.size(); ++i) {
            const json& words = labels.at(static_cast<std::size_t>(label.at(i)));
            told.insert(std::to_string(static_cast<std::int64_t>(times[i])) + "+" +
                        std::to_string(static_cast<std::int64_t>(lengths.at(i))) + " " +
                        words.at(0).get<std::string>() + " " + words.at(1).get<std::string>());
        }
        EXPECT_TRUE(told == expected) << part;
    }
}

TEST(PageData, WriteAColumnOfManyDifferentNumbersAsTheyAre) {
    vp::RunData run;
    vp::Signal& signal = run.signals["gravity.x"];
    signal.name = "gravity.x";
    for (int i = 0; i < 200001; ++i) {
        signal.t_us.push_back(i);
        signal.values.push_back(i / 1024.0);
    }
    const json told = data_of(run).at("told");
    EXPECT_TRUE(told.at(0).at(0).at("v").is_array());
    EXPECT_EQ(numbers_of(told.at(1).at(0).at("v")).back(), 200000 / 1024.0);
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
