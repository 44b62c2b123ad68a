#include "virtual_projector/report/signals.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <string>
#include <vector>

namespace {

using Points = std::vector<std::pair<std::int64_t, double>>;

Points points_of(const vp::SignalCollector& collector, const std::string& name) {
    Points points;
    const auto found = collector.signals().find(name);
    if (found == collector.signals().end()) return points;
    for (std::size_t i = 0; i < found->second.t_us.size(); ++i)
        points.emplace_back(found->second.t_us[i], found->second.values[i]);
    return points;
}

vp::CallAt call(std::int64_t t_us, const std::string& kind, const std::string& path, const std::string& bytes) {
    vp::CallAt call;
    call.t_us = t_us;
    call.call = kind;
    call.path = path;
    call.bytes = bytes;
    call.data = bytes;
    call.result = static_cast<long>(bytes.size());
    return call;
}

vp::CallAt request(std::int64_t t_us, std::uint32_t number, const std::string& given,
                   const std::string& returned) {
    vp::CallAt call;
    call.t_us = t_us;
    call.call = "ioctl";
    call.request = number;
    call.given = given;
    call.returned = returned;
    return call;
}

// Little-endian, as the board has it.
std::string words32(const std::vector<std::int32_t>& values) {
    std::string bytes;
    for (const std::int32_t value : values) {
        for (int byte = 0; byte < 4; ++byte)
            bytes += static_cast<char>(static_cast<std::uint32_t>(value) >> (8 * byte));
    }
    return bytes;
}

std::string zone_records(const std::vector<std::pair<int, int>>& zones) {
    std::string bytes;
    for (const auto& [mm, quality] : zones) bytes += words32({mm | quality << 16, 0});
    return bytes;
}

vp::LogLine log_line(std::int64_t t_us, const std::string& text) {
    vp::LogLine line;
    line.t_us = t_us;
    line.text = text;
    return line;
}

TEST(ASignal, HoldsItsValueUntilTheNextAndDropsRepeats) {
    vp::Signal signal;
    signal.add(0, 1);
    signal.add(10, 1);
    signal.add(20, 2);
    signal.add(30, std::nan(""));
    signal.add(40, std::nan(""));
    EXPECT_EQ(signal.t_us, (std::vector<std::int64_t>{0, 20, 30}));
}

TEST(ASignal, HasOneValueAtATimeTheLastAndNeverGoesBack) {
    vp::Signal signal;
    signal.add(0, 1);
    signal.add(10, 2);
    signal.add(10, 3);
    signal.add(5, 4);
    EXPECT_EQ(signal.t_us, (std::vector<std::int64_t>{0, 10}));
    EXPECT_EQ(signal.values, (std::vector<double>{1, 4}));
    signal.add(10, 1);  // as it was before
    EXPECT_EQ(signal.t_us, (std::vector<std::int64_t>{0}));
}

TEST(Signals, AreTheTruthsMembersUnknownOnesWhereThePictureIsNotOnTheWall) {
    vp::SignalCollector collector;
    vp::TruthAt truth;
    truth.lens_tmr = -66;
    truth.left_side_deg = 2;
    truth.zones_mm = {1500, -1, 1400, 1300};
    collector.take_truth(truth);
    truth.t_us = 100;
    truth.on_wall = false;
    collector.take_truth(truth);
    EXPECT_EQ(points_of(collector, "truth.lens_tmr"), (Points{{0, -66}}));
    EXPECT_EQ(points_of(collector, "truth.on_wall"), (Points{{0, 1}, {100, 0}}));
    const Points sides = points_of(collector, "truth.left_side_deg");
    ASSERT_EQ(sides.size(), 2U);
    EXPECT_EQ(sides[0].second, 2);
    EXPECT_TRUE(std::isnan(sides[1].second));
    EXPECT_EQ(points_of(collector, "truth.zone_tl_mm"), (Points{{0, 1400}}));
    EXPECT_TRUE(std::isnan(points_of(collector, "truth.zone_br_mm").at(0).second));
}

TEST(Signals, AreWhatTheSensorsNodesSaid) {
    vp::SignalCollector collector;
    collector.take_call(call(5, "read", "/sys/class/motor/tmr_adc", "-30\n"));
    collector.take_call(call(6, "read", "/sys/devices/platform/pwm-fan/r_temp", "45\n"));
    collector.take_call(call(7, "read", "/sys/class/nd_tof/nds01/ranging_data", "1,2,3,4,50,60,5,80\n"));
    EXPECT_EQ(points_of(collector, "reading.tmr"), (Points{{5, -30}}));
    EXPECT_EQ(points_of(collector, "reading.led_c"), (Points{{6, 45}}));
    EXPECT_EQ(points_of(collector, "reading.tof_br_mm"), (Points{{7, 2}}));
    EXPECT_TRUE(std::isnan(points_of(collector, "reading.tof_tl_mm").at(0).second));  // of too low a quality
    ASSERT_EQ(collector.zones().size(), 1U);
    EXPECT_EQ(collector.zones()[0].quality, (std::array<int, 4>{50, 60, 5, 80}));
    EXPECT_EQ(collector.zones()[0].valid, (std::array<bool, 4>{true, true, false, true}));
}

TEST(Signals, TakeTheCornersOfTheGenericSensorsNineZones) {
    vp::SignalCollector collector;
    std::string text;
    for (int zone = 0; zone < 9; ++zone) text += "0032000" + std::to_string(zone + 1);
    collector.take_call(call(7, "read", "/sys/class/tof/distance", text));
    ASSERT_EQ(collector.zones().size(), 1U);
    EXPECT_EQ(collector.zones()[0].distance_mm, (std::array<int, 4>{3, 9, 1, 7}));
    EXPECT_EQ(collector.zones()[0].quality, (std::array<int, 4>{50, 50, 50, 50}));
}

TEST(Signals, TakeTheCornersOfAFrameOfFourOrEightZones) {
    vp::SignalCollector collector;
    constexpr std::uint32_t get_frame = 0x4004A203;
    collector.take_call(request(1, get_frame, "", zone_records({{1, 50}, {2, 50}, {3, 50}, {4, 50}})));
    collector.take_call(
        request(2, get_frame, "",
                zone_records({{11, 50}, {12, 50}, {0, 0}, {0, 0}, {0, 0}, {0, 0}, {13, 50}, {14, 50}})));
    collector.take_call(request(3, get_frame, "", "too short"));
    ASSERT_EQ(collector.zones().size(), 2U);
    EXPECT_EQ(collector.zones()[0].distance_mm, (std::array<int, 4>{1, 2, 3, 4}));
    EXPECT_EQ(collector.zones()[1].distance_mm, (std::array<int, 4>{11, 12, 13, 14}));
}

TEST(Signals, GiveGravityInTheGravityOfTheEarth) {
    vp::SignalCollector collector;
    vp::RunRecord run;
    run.settings.push_back({"gravity.units_per_g", 500, "scenario"});
    collector.take_run(run);
    constexpr std::uint32_t get_sample = 0x4004A109;
    collector.take_call(request(1, get_sample, "", words32({0, -250, 500})));
    EXPECT_EQ(points_of(collector, "gravity.y"), (Points{{1, -0.5}}));
    EXPECT_EQ(points_of(collector, "gravity.z"), (Points{{1, 1}}));
    vp::CallAt failed = request(2, get_sample, "", words32({9, 9, 9}));
    failed.result = -5;
    collector.take_call(failed);
    EXPECT_EQ(points_of(collector, "gravity.x").size(), 1U);
}

TEST(Signals, CountOrdersAsAStaircaseThatBeginsAgainAtAnEndStop) {
    vp::SignalCollector collector;
    collector.take_call(call(1, "write", "/sys/class/motor/right", "11"));
    collector.take_call(call(2, "write", "/sys/class/motor/pulse", "1"));
    collector.take_call(call(3, "write", "/sys/class/motor/left", "3"));
    collector.take_call(call(4, "write", "/sys/class/motor/zero", "1"));
    collector.take_call(call(5, "write", "/sys/class/motor/right", "1"));
    EXPECT_EQ(points_of(collector, "order.position_steps"), (Points{{1, 11}, {3, 9.5}, {4, 0}, {5, 0.5}}));
    EXPECT_EQ(points_of(collector, "order.side"), (Points{{1, 1}, {3, -1}, {5, 1}}));
}

TEST(Signals, TellTheWidthsThatWereOrdered) {
    vp::SignalCollector collector;
    collector.take_call(request(1, 0x801C0E10, words32({1, 1, 1280, 1148, 0, 0, 0}), ""));
    EXPECT_EQ(points_of(collector, "order.top_width"), (Points{{1, 1148}}));
    EXPECT_EQ(points_of(collector, "order.bottom_width"), (Points{{1, 1280}}));
}

TEST(Signals, TellTheTiltThatWasSensedAndTheOneThatWasChosen) {
    vp::SignalCollector collector;
    collector.take_log(
        log_line(1, "[ovra_focus]  TOF: yaw = 12.1 degree, pitch = -1.0 degree, Depth = 1500mm"));
    collector.take_log(log_line(2, "[ovra_focus]  tof angle = 12 degree"));
    collector.take_log(log_line(3, "[ovra_focus]  gsensor angle : x = 1.0, y = 2.0, z = 3.0, vAngle = 11"));
    collector.take_log(log_line(4, "halg = 0.000000, valg = 12.000000, theta = 2.000000, Offset = 0.000000"));
    collector.take_log(log_line(5, "halg = 0.000000, valg = 9.000000, theta = 0.000000, Offset = 0.000000"));
    collector.take_log(log_line(6, "[ovra_focus]  use gsensor vAngle"));
    EXPECT_EQ(points_of(collector, "tilt.tof_deg"), (Points{{1, 12.1}}));
    EXPECT_EQ(points_of(collector, "tilt.tof_turn_deg"), (Points{{1, -1}}));
    EXPECT_EQ(points_of(collector, "tilt.gravity_deg"), (Points{{3, 11}}));
    EXPECT_EQ(points_of(collector, "tilt.chosen_deg"), (Points{{4, 12}, {5, 9}}));
    EXPECT_EQ(points_of(collector, "tilt.chosen_roll_deg"), (Points{{4, 2}, {5, 0}}));
    EXPECT_EQ(points_of(collector, "tilt.chosen_by"), (Points{{4, 1}, {5, 2}}));
}

TEST(Signals, TellNoTiltOfAGravitySensorThatHasNotBeenHeard) {
    vp::SignalCollector collector;
    collector.take_log(log_line(1, "[ovra_focus]  gsensor angle : x = 0.0, y = 0.0, z = 0.0, vAngle = 0"));
    EXPECT_EQ(points_of(collector, "tilt.gravity_deg"), Points{});
    collector.take_log(log_line(2, "[ovra_focus]  gsensor angle : x = 0.0, y = 0.0, z = 90.0, vAngle = 0"));
    EXPECT_EQ(points_of(collector, "tilt.gravity_deg"), (Points{{2, 0}}));
}

TEST(Signals, TellTheLibrarysVariables) {
    vp::SignalCollector collector;
    vp::StateLine state;
    state.t_us = 4;
    state.values = {{"leftIdle", 4.0}};
    collector.take_state(state);
    EXPECT_EQ(points_of(collector, "state.leftIdle"), (Points{{4, 4}}));
    EXPECT_EQ(collector.signals().at("state.leftIdle").unit, "steps");
}

TEST(Signals, HaveUnitsByTheListOrByTheirNamesEnd) {
    EXPECT_EQ(vp::signal_info("truth.best_tmr").unit, "TMR");
    EXPECT_EQ(vp::signal_info("truth.top_width").unit, "px");
    EXPECT_EQ(vp::signal_info("truth.pitch_deg").unit, "deg");
    EXPECT_EQ(vp::signal_info("truth.something_mm").unit, "mm");
    EXPECT_EQ(vp::signal_info("state.g_run_once_AKAF").unit, "");
}

}  // namespace
