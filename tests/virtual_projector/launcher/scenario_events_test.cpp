#include "virtual_projector/launcher/scenario_events.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <map>
#include <string>
#include <vector>

namespace {

using vp::Microseconds;
using vp::microseconds;
using vp::Scenario;
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
}

// A world, a fault plan, and a clock that the test turns.
struct ScenarioEventsTest : ::testing::Test {
    World world{1};
    vp::FaultPlan faults{1};
    std::multimap<Microseconds, std::function<void()>> alarms;
    std::vector<std::string> told;

    void happen(const std::string& text) {
        world.on_action([this](Microseconds at, const std::string& what) { tell(at, what); });
        vp::schedule(vp::parse_scenario(text, "file"),
                     {world, faults,
                      [this](Microseconds at, std::function<void()> action) { alarms.emplace(at, action); },
                      [this](Microseconds at, const std::string& what) { tell(at, what); }});
    }
    void tell(Microseconds at, const std::string& what) { told.push_back(std::to_string(at) + " " + what); }
    void go_on_to(double time_s) {
        const Microseconds now = microseconds(time_s);
        while (!alarms.empty() && alarms.begin()->first <= now) {
            world.advance_to(alarms.begin()->first);
            alarms.begin()->second();
            alarms.erase(alarms.begin());
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
    EXPECT_EQ(told, (std::vector<std::string>{"2000000 wall.lean_deg = 5, pose.pitch_deg = 3"}));
}

TEST_F(ScenarioEventsTest, AnAlarmRingsAtEachEventSoThatWhoWaitsForADeviceLooksAgain) {
    happen(R"({"events": [{"at_s": 2, "key": 28}, {"at_s": 3, "gesture": "shake"}]})");
    ASSERT_EQ(alarms.size(), 2U);
    EXPECT_EQ(alarms.begin()->first, 2000000);
    EXPECT_EQ(alarms.rbegin()->first, 3000000);
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

TEST_F(ScenarioEventsTest, ZonesAreBlockedForTheirTime) {
    happen(R"({"events": [{"at_s": 1, "block": ["tr", "bl"], "distance_mm": 600, "for_s": 3}]})");
    go_on_to(1);
    EXPECT_EQ(world.get("tof.blocked_tr_mm"), 600);
    EXPECT_EQ(world.get("tof.blocked_bl_mm"), 600);
    EXPECT_EQ(world.get("tof.blocked_br_mm"), 0);
    go_on_to(4);
    EXPECT_EQ(world.get("tof.blocked_tr_mm"), 0);
    EXPECT_EQ(world.get("tof.blocked_bl_mm"), 0);
    EXPECT_EQ(told, (std::vector<std::string>{"1000000 something stands at 600 mm before tr bl",
                                              "4000000 the way is free again"}));
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
    EXPECT_EQ(told, (std::vector<std::string>{"1000000 fault: read ", "2000000 faults are gone"}));
}

}  // namespace
