#include "virtual_projector/launcher/scenario_events.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace {

using vp::Microseconds;
using vp::microseconds;
using vp::World;

std::string words(const std::string& members) {
    return vp::words_of(
        vp::parse_scenario(R"({"events": [{"at_s": 1, )" + members + "}]}", "file").events.at(0));
}

TEST(AnEventInWords, IsItsOwnWhenItHasSome) {
    EXPECT_EQ(words(R"("what": "the sun comes in", "set": {"wall.reflectivity": 0.1})"), "the sun comes in");
}

TEST(AnEventInWords, IsElseMadeFromWhatItDoes) {
    EXPECT_EQ(words(R"("set": {"led.temperature_c": 60, "wall.lean_deg": -1.5})"),
              "led.temperature_c = 60, wall.lean_deg = -1.5");
    EXPECT_EQ(words(R"("gesture": "shake")"), "hand: shake");
    EXPECT_EQ(words(R"("gesture": "set_down", "to": {"distance_mm": 1200, "pitch_deg": 8})"),
              "hand: set_down to pose.distance_mm = 1200, pose.pitch_deg = 8");
    EXPECT_EQ(words(R"("block": ["tr", "br"], "distance_mm": 600)"), "something stands at 600 mm before tr br");
    EXPECT_EQ(words(R"("key": 28)"), "key 28");
    EXPECT_EQ(words(R"("fault": {"operation": "read", "path": "/dev/dis", "error": "EIO"})"),
              "fault: read /dev/dis");
    EXPECT_EQ(words(R"("clear_faults": true)"), "faults are gone");
    EXPECT_EQ(words(R"("type": "keystone 12")"), "typed: keystone 12");
}

// A world, a fault plan, and a clock that the test turns.
struct ScenarioEventsTest : ::testing::Test {
    World world{1};
    vp::FaultPlan faults{1};
    std::multimap<Microseconds, std::function<void()>> events;
    std::vector<std::string> logged;
    std::string typed;

    void happen(const std::string& text) { vp::schedule(vp::parse_scenario(text, "file"), targets()); }
    std::shared_ptr<const vp::EventTargets> targets() {
        return std::make_shared<const vp::EventTargets>(vp::EventTargets{
            [this](Microseconds at, std::function<void()> event) { events.emplace(at, event); },
            [this](const std::function<void(World&)>& change) { change(world); }, faults,
            [this](Microseconds at, const std::string& what) { log(at, "world: " + what); },
            [this](Microseconds at, const std::string& what) { log(at, "faults: " + what); },
            [this](const std::string& line) { typed += line; }});
    }
    void log(Microseconds at, const std::string& what) { logged.push_back(std::to_string(at) + " " + what); }
    void go_on_to(double time_s) {
        const Microseconds now = microseconds(time_s);
        while (!events.empty() && events.begin()->first <= now) {
            world.advance_to(events.begin()->first);
            events.begin()->second();
            events.erase(events.begin());
        }
        world.advance_to(now);
    }
};

TEST_F(ScenarioEventsTest, ParametersChangeAtTheirTimeAndNotBefore) {
    happen(R"({"events": [{"at_s": 2, "set": {"wall.lean_deg": 5, "pose.pitch_deg": 3}}]})");
    go_on_to(1.999);
    EXPECT_EQ(world.get("wall.lean_deg"), 0);
    go_on_to(2);
    EXPECT_EQ(world.get("wall.lean_deg"), 5);
    EXPECT_EQ(world.get("pose.pitch_deg"), 3);
    EXPECT_EQ(logged, (std::vector<std::string>{"2000000 world: wall.lean_deg = 5, pose.pitch_deg = 3"}));
}

TEST_F(ScenarioEventsTest, EachEventIsScheduledOnceAtItsTime) {
    happen(R"({"events": [{"at_s": 2, "key": 28}, {"at_s": 3, "clear_faults": true}]})");
    ASSERT_EQ(events.size(), 2U);
    EXPECT_EQ(events.begin()->first, 2000000);
    EXPECT_EQ(events.rbegin()->first, 3000000);
}

TEST_F(ScenarioEventsTest, WhatChangesTheWorldAtTheStartHappensAtOnce) {
    happen(R"({"events": [{"at_s": 0, "set": {"wall.lean_deg": 5}},
                {"at_s": 0, "block": ["tr"], "distance_mm": 600, "for_s": 1}]})");
    EXPECT_EQ(world.get("wall.lean_deg"), 5);
    EXPECT_EQ(world.get("tof.blocked_tr_mm"), 600);
    EXPECT_EQ(events.size(), 1U);
}

TEST_F(ScenarioEventsTest, AtTheSameTimeTheWorldChangesBeforeTheFaults) {
    happen(R"({"events": [{"at_s": 1, "clear_faults": true}, {"at_s": 1, "key": 28},
                {"at_s": 1, "set": {"wall.lean_deg": 5}}]})");
    go_on_to(1);
    EXPECT_EQ(logged, (std::vector<std::string>{"1000000 world: key 28", "1000000 world: wall.lean_deg = 5",
                                                "1000000 faults: faults are gone"}));
}

TEST_F(ScenarioEventsTest, TwoHundredThousandEventsAllHappenInTheirOrder) {
    constexpr int count = 200'000;
    std::string text = R"({"events": [)";
    for (int i = 0; i < count; ++i) {
        text += (i == 0 ? R"({"at_s": )" : R"(, {"at_s": )") + std::to_string(1 + i / 1000) + R"(, "key": )" +
                std::to_string(i % 1000) + "}";
    }
    happen(text + "]}");
    ASSERT_EQ(events.size(), static_cast<std::size_t>(count));
    go_on_to(count);
    ASSERT_EQ(world.keys().size(), static_cast<std::size_t>(count));
    int i = 0;
    for (const vp::KeyEvent& key : world.keys()) {
        ASSERT_EQ(key.code, i % 1000);
        ASSERT_EQ(key.time, (1 + i / 1000) * vp::microseconds_per_second);
        ++i;
    }
}

TEST_F(ScenarioEventsTest, AGestureEndsAtItsPoseAndKeepsTheRestOfTheOldOne) {
    happen(R"({"set": {}, "events": [{"at_s": 1, "set": {"pose.yaw_deg": 4}},
                {"at_s": 2, "gesture": "set_down", "to": {"distance_mm": 1200, "pitch_deg": 8}, "for_s": 1}]})");
    go_on_to(2.5);
    EXPECT_TRUE(world.hand_is_moving());
    go_on_to(3.5);
    EXPECT_FALSE(world.hand_is_moving());
    EXPECT_EQ(world.truth().pose.distance_mm, 1200);
    EXPECT_EQ(world.truth().pose.pitch_deg, 8);
    EXPECT_EQ(world.truth().pose.yaw_deg, 4);
}

TEST_F(ScenarioEventsTest, ABumpIsAsHardAsItSays) {
    happen(R"({"events": [{"at_s": 0, "set": {"gravity.noise_sigma": 0}},
                          {"at_s": 1, "gesture": "bump", "strength_g": 0.2, "for_s": 0.4}]})");
    go_on_to(1.1);
    EXPECT_NEAR(world.gravity_now()[0], world.get("gravity.offset_x") - 200, 1e-6);
}

TEST_F(ScenarioEventsTest, ZonesAreBlockedForTheirTime) {
    happen(R"({"events": [{"at_s": 1, "block": ["tr", "bl"], "distance_mm": 600, "for_s": 3}]})");
    go_on_to(1);
    EXPECT_EQ(world.get("tof.blocked_tr_mm"), 600);
    EXPECT_EQ(world.get("tof.blocked_bl_mm"), 600);
    EXPECT_EQ(world.get("tof.blocked_br_mm"), 0);
    go_on_to(4);
    EXPECT_EQ(world.get("tof.blocked_tr_mm"), 0);
    EXPECT_EQ(world.get("tof.blocked_bl_mm"), 0);
    EXPECT_EQ(logged, (std::vector<std::string>{"1000000 world: something stands at 600 mm before tr bl",
                                                "4000000 world: the way is free again"}));
}

TEST_F(ScenarioEventsTest, ZonesStayBlockedWhenNoTimeIsSaid) {
    happen(R"({"events": [{"at_s": 1, "block": ["tl"], "distance_mm": 600}]})");
    go_on_to(1000);
    EXPECT_EQ(world.get("tof.blocked_tl_mm"), 600);
}

TEST_F(ScenarioEventsTest, KeysArePressedAtTheirTime) {
    happen(R"({"events": [{"at_s": 1, "key": 28, "value": 2}]})");
    go_on_to(5);
    ASSERT_EQ(world.keys().size(), 1U);
    EXPECT_EQ(world.keys()[0].time, 1000000);
    EXPECT_EQ(world.keys()[0].code, 28);
    EXPECT_EQ(world.keys()[0].value, 2);
}

TEST_F(ScenarioEventsTest, ALineIsTypedAtItsTime) {
    happen(R"({"events": [{"at_s": 1, "type": "status"}]})");
    go_on_to(0.999);
    EXPECT_EQ(typed, "");
    go_on_to(1);
    EXPECT_EQ(typed, "status\n");
    EXPECT_EQ(logged, (std::vector<std::string>{"1000000 world: typed: status"}));
}

TEST_F(ScenarioEventsTest, OneMoreEventCanBeScheduledWhileTheRunGoesOn) {
    happen("{}");
    go_on_to(3);
    vp::schedule_event(
        vp::parse_scenario(R"({"events": [{"at_s": 4, "set": {"wall.lean_deg": 5}}]})", "file").events.at(0),
        targets());
    EXPECT_EQ(world.get("wall.lean_deg"), 0);
    go_on_to(4);
    EXPECT_EQ(world.get("wall.lean_deg"), 5);
}

TEST_F(ScenarioEventsTest, FaultsBeginAtOnceOrAtTheirTimeAndEndWhenTheyAreCleared) {
    happen(R"({"faults": [{"operation": "open", "error": "EACCES"}],
               "events": [{"at_s": 1, "fault": {"operation": "read", "error": "EIO"}},
                          {"at_s": 2, "clear_faults": true}]})");
    EXPECT_EQ(faults.effect_on("open", "/dev/dis").error_number, EACCES);
    EXPECT_TRUE(faults.effect_on("read", "/dev/dis").is_harmless());
    go_on_to(1);
    EXPECT_EQ(faults.effect_on("read", "/dev/dis").error_number, EIO);
    go_on_to(2);
    EXPECT_TRUE(faults.effect_on("read", "/dev/dis").is_harmless());
    EXPECT_TRUE(faults.effect_on("open", "/dev/dis").is_harmless());
    EXPECT_EQ(logged,
              (std::vector<std::string>{"1000000 faults: fault: read ", "2000000 faults: faults are gone"}));
}

}  // namespace
