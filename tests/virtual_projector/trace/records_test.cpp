#include "virtual_projector/trace/records.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <nlohmann/json.hpp>
#include <string>
#include <string_view>
#include <type_traits>

#include "tests/virtual_projector/trace/sample_call.h"

namespace {

using vp::call;
using vp::CallRecord;
using vp::TruthRecord;

TEST(JsonOfACall, HasItsKeysInAFixedOrder) {
    EXPECT_EQ(
        json_of(call("open", "/dev/dis", 2, 0)).dump(),
        R"({"t_us":20,"thread":2,"name":"worker","call":"open","path":"/dev/dis","flags":"O_RDWR","result":0})");
    EXPECT_EQ(json_of(call("read", "/dev/dis", 20, 2, "1\n")).dump(),
              R"({"t_us":20,"thread":2,"name":"worker","call":"read","path":"/dev/dis","count":20,"result":2,)"
              R"("data":"1\n"})");
    EXPECT_EQ(json_of(call("sleep", "", 1000, 0)).dump(),
              R"({"t_us":20,"thread":2,"name":"worker","call":"sleep","us":1000,"result":0})");
    EXPECT_EQ(json_of(call("call", "usb_eth_config", 0, 0)).dump(),
              R"({"t_us":20,"thread":2,"name":"worker","call":"call","path":"usb_eth_config","result":0})");
}

TEST(JsonOfARun, ComesBackAsItWas) {
    vp::RunRecord run;
    run.version = "0.1.0";
    run.commit = "abc";
    run.seed = 7;
    run.unit_seed = 8;
    run.unit = "standard";
    run.world = "laboratory";
    run.scenario_digest = "fnv1a64:0";
    run.scenario_file = "first-light.json";
    run.settings = {{"pose.pitch_deg", 12, "scenario"}};
    const std::string line = run_line(run).dump();
    EXPECT_EQ(
        line,
        R"({"t_us":0,"run":{"format":2,"version":"0.1.0","commit":"abc","seed":7,"unit_seed":8,)"
        R"("unit":"standard","world":"laboratory","scenario":"fnv1a64:0","scenario_file":"first-light.json",)"
        R"("settings":{"pose.pitch_deg":{"value":12.0,"from":"scenario"}}}})");
    const vp::RunRecord back = vp::run_from(nlohmann::json::parse(line).at("run"));
    EXPECT_EQ(run_line(back).dump(), line);
}

TEST(JsonOfARun, LeavesOutASeedOfTheStandardUnitAndAScenarioThatThereIsNot) {
    const std::string line = run_line(vp::RunRecord{}).dump();
    EXPECT_EQ(line.find("unit_seed"), std::string::npos);
    EXPECT_EQ(line.find("scenario"), std::string::npos);
    EXPECT_FALSE(vp::run_from(nlohmann::json::parse(line).at("run")).unit_seed.has_value());
}

TEST(JsonOfACall, NamesTheErrorOfAFailure) {
    EXPECT_EQ(json_of(call("ioctl", "/dev/nds01", 0x4004a203, -EIO)).dump(),
              R"({"t_us":20,"thread":2,"name":"worker","call":"ioctl","path":"/dev/nds01",)"
              R"("request":"0x4004a203","result":-5,"error":"EIO"})");
}

TEST(JsonOfACall, LeavesOutAnUnknownThread) {
    CallRecord record = call("close", "/dev/dis", 0, 0);
    record.thread = 0;
    record.thread_name = {};
    EXPECT_EQ(json_of(record).dump(), R"({"t_us":20,"call":"close","path":"/dev/dis","result":0})");
}

TEST(JsonOfACall, LeavesOutTheAddressInAToFCommand) {
    CallRecord record;
    record.call = "write";
    record.path = "/sys/class/nd_tof/nds01/lib_data";
    const char bytes[12] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 0, 0, 0};
    record.data = {bytes, sizeof bytes};
    EXPECT_EQ(json_of(record).at("hex"), "09000000");
}

TEST(JsonOfACall, ShowsBytesThatAreNoTextAsHexadecimal) {
    const nlohmann::ordered_json line =
        json_of(call("write", "/dev/dis", 3, 3, std::string_view("a\0\xff", 3)));
    EXPECT_EQ(line["hex"], "6100ff");
    EXPECT_FALSE(line.contains("data"));
}

TEST(ACallThatIsReadBack, HasWhatWasWritten) {
    const vp::CallLine line = vp::call_line_from(json_of(call("write", "/sys/class/motor/left", 2, 2, "4\n")));
    EXPECT_EQ(line.call, "write");
    EXPECT_EQ(line.path, "/sys/class/motor/left");
    EXPECT_EQ(line.result, 2);
    EXPECT_EQ(line.error, "");
    EXPECT_EQ(line.data, "4\n");
    EXPECT_EQ(vp::call_line_from(json_of(call("open", "/dev/fb0", 0, -ENOENT))).error, "ENOENT");
}

TEST(ACallThatIsReadBack, HasDefaultsForWhatIsMissing) {
    const vp::CallLine line = vp::call_line_from({{"call", "sleep"}});
    EXPECT_EQ(line.call, "sleep");
    EXPECT_EQ(line.path, "");
    EXPECT_EQ(line.result, 0);
    EXPECT_EQ(line.error, "");
    EXPECT_EQ(line.data, "");
}

TEST(JsonOfACall, HasWhatARequestGaveAndGotBack) {
    CallRecord record = call("ioctl", "/dev/dis", 0x801c0e10, 0);
    record.request_name = "set_widths";
    record.given = std::string_view("\1\0\xff", 3);
    record.returned = "ab";
    record.took_us = 250;
    EXPECT_EQ(json_of(record).dump(),
              R"({"t_us":20,"thread":2,"name":"worker","call":"ioctl","path":"/dev/dis",)"
              R"("request":"0x801c0e10","request_name":"set_widths","took_us":250,"result":0,)"
              R"("given":"0100ff","returned":"6162"})");
    const vp::CallLine line = vp::call_line_from(json_of(record));
    EXPECT_EQ(line.t_us, 20);
    EXPECT_EQ(line.thread, 2);
    EXPECT_EQ(line.thread_name, "worker");
    EXPECT_EQ(line.request, 0x801c0e10u);
    EXPECT_EQ(line.request_name, "set_widths");
    EXPECT_EQ(line.took_us, 250);
    EXPECT_EQ(line.given, record.given);
    EXPECT_EQ(line.returned, "ab");
}

TEST(JsonOfACall, HasArgumentsAndOutputsByName) {
    CallRecord record = call("call", "hudi_flash_otp_read", 0, 0);
    const nlohmann::ordered_json arguments = {{"area", 1}, {"length", 4}};
    const nlohmann::ordered_json outputs = {{"buffer", "00ff"}};
    record.arguments = &arguments;
    record.outputs = &outputs;
    EXPECT_EQ(json_of(record).dump(),
              R"({"t_us":20,"thread":2,"name":"worker","call":"call","path":"hudi_flash_otp_read",)"
              R"("arguments":{"area":1,"length":4},"result":0,"outputs":{"buffer":"00ff"}})");
}

TEST(JsonOfACall, SaysWhatAPlannedFaultDid) {
    CallRecord record = call("read", "/dev/dis", 4, -EIO);
    record.fault = 2;
    record.fault_did = "failed with EIO";
    EXPECT_EQ(json_of(record).at("fault").dump(), R"({"number":2,"did":"failed with EIO"})");
    const vp::CallLine line = vp::call_line_from(json_of(record));
    EXPECT_EQ(line.fault, 2);
    EXPECT_EQ(line.fault_did, "failed with EIO");
}

TEST(JsonOfALock, HasHowLongItWasWaitedForOrHeld) {
    CallRecord taken = call("lock", "mutex_focus", 0, 0);
    taken.took_us = 40;
    EXPECT_EQ(json_of(taken).dump(),
              R"({"t_us":20,"thread":2,"name":"worker","call":"lock","path":"mutex_focus","took_us":40,)"
              R"("result":0})");
    const nlohmann::ordered_json given_back = json_of(call("unlock", "mutex_focus", 30, 0));
    EXPECT_EQ(given_back.dump(),
              R"({"t_us":20,"thread":2,"name":"worker","call":"unlock","path":"mutex_focus","held_us":30,)"
              R"("result":0})");
    EXPECT_EQ(vp::call_line_from(given_back).us, 30);
}

vp::ThreadMoment moment() { return {20, 2, "worker"}; }

TEST(JsonOfAWait, ComesBackAsItWas) {
    const nlohmann::ordered_json line =
        json_of(vp::WaitRecord{moment(), "condition", "key_pressed", 15, "timed out"});
    EXPECT_EQ(line.dump(), R"({"t_us":20,"thread":2,"name":"worker","wait":"condition","path":"key_pressed",)"
                           R"("took_us":15,"end":"timed out"})");
    const vp::WaitLine back = vp::wait_line_from(line);
    EXPECT_EQ(back.t_us, 20);
    EXPECT_EQ(back.thread, 2);
    EXPECT_EQ(back.thread_name, "worker");
    EXPECT_EQ(back.wait, "condition");
    EXPECT_EQ(back.path, "key_pressed");
    EXPECT_EQ(back.took_us, 15);
    EXPECT_EQ(back.end, "timed out");
}

TEST(JsonOfAWait, LeavesOutWhatHasNoNameAndAnEndThatDidNotCome) {
    EXPECT_EQ(json_of(vp::WaitRecord{moment(), "signal", {}, 15, {}}).dump(),
              R"({"t_us":20,"thread":2,"name":"worker","wait":"signal","took_us":15})");
}

TEST(JsonOfACallback, ComesBackAsItWas) {
    const nlohmann::ordered_json line = json_of(vp::CallbackRecord{moment(), "toast", 5, {6}, "right limit"});
    EXPECT_EQ(line.dump(), R"({"t_us":20,"thread":2,"name":"worker","callback":"toast","slot":5,)"
                           R"("arguments":[6],"means":"right limit"})");
    const vp::CallbackLine back = vp::callback_line_from(line);
    EXPECT_EQ(back.t_us, 20);
    EXPECT_EQ(back.thread, 2);
    EXPECT_EQ(back.thread_name, "worker");
    EXPECT_EQ(back.callback, "toast");
    EXPECT_EQ(back.slot, 5);
    EXPECT_EQ(back.arguments, std::vector<std::int32_t>{6});
    EXPECT_EQ(back.means, "right limit");
    EXPECT_EQ(json_of(vp::CallbackRecord{moment(), "refresh_ui", 4, {}, ""}).dump(),
              R"({"t_us":20,"thread":2,"name":"worker","callback":"refresh_ui","slot":4})");
}

TEST(JsonOfACallbacksReturn, ComesBackAsItWas) {
    const std::int32_t in_factory_test = 1;
    const nlohmann::ordered_json line =
        json_of(vp::CallbackReturn{moment(), "is_factory_test", 6, 15, &in_factory_test});
    EXPECT_EQ(line.dump(), R"({"t_us":20,"thread":2,"name":"worker","return":"is_factory_test","slot":6,)"
                           R"("took_us":15,"result":1})");
    const vp::ReturnLine back = vp::return_line_from(line);
    EXPECT_EQ(back.callback, "is_factory_test");
    EXPECT_EQ(back.slot, 6);
    EXPECT_EQ(back.took_us, 15);
    EXPECT_EQ(back.result, 1);
    EXPECT_FALSE(
        vp::return_line_from(json_of(vp::CallbackReturn{moment(), "toast", 5, 1, nullptr})).result.has_value());
}

TEST(JsonOfTheState, ComesBackAsItWas) {
    const nlohmann::ordered_json values = {{"g_run_once_AKAF", 1}, {"acc_degree.x", -0.5}};
    const nlohmann::ordered_json line = json_of(vp::StateRecord{moment(), &values});
    EXPECT_EQ(line.dump(), R"({"t_us":20,"thread":2,"name":"worker",)"
                           R"("state":{"g_run_once_AKAF":1,"acc_degree.x":-0.5}})");
    const vp::StateLine back = vp::state_line_from(line);
    EXPECT_EQ(back.t_us, 20);
    EXPECT_EQ(back.thread, 2);
    ASSERT_EQ(back.values.size(), 2u);
    EXPECT_EQ(nlohmann::json(back.values),
              nlohmann::json::parse(R"([["acc_degree.x",-0.5],["g_run_once_AKAF",1.0]])"));
}

TEST(JsonOfALogLine, ComesBackAsItWas) {
    const nlohmann::ordered_json line = json_of(vp::LogRecord{moment(), "[ovra_focus]  auto focus"});
    EXPECT_EQ(line.dump(), R"({"t_us":20,"thread":2,"name":"worker","log":"[ovra_focus]  auto focus"})");
    const vp::LogLine back = vp::log_line_from(line);
    EXPECT_EQ(back.t_us, 20);
    EXPECT_EQ(back.thread, 2);
    EXPECT_EQ(back.thread_name, "worker");
    EXPECT_EQ(back.text, "[ovra_focus]  auto focus");
}

// Every member has a value of its own, so that none can be taken for another.
struct Numbering {
    void fill(bool& member) {
        member = false;
        ++number;
    }
    void fill(int& member) { member = number++; }
    void fill(double& member) { member = number++; }
    template <typename Element, std::size_t size>
    void fill(std::array<Element, size>& member) {
        for (Element& element : member) fill(element);
    }
    int number = 1;
};

TruthRecord distinct_truth() {
    TruthRecord truth;
    Numbering numbering;
    TruthRecord::for_each_member([&](const char*, auto member, bool) { numbering.fill(truth.*member); });
    return truth;
}

TEST(JsonOfTheTruth, HasItsKeysInAFixedOrder) {
    EXPECT_EQ(json_of(distinct_truth()).dump(),
              R"({"distance_mm":1.0,"pitch_deg":2.0,"yaw_deg":3.0,"roll_deg":4.0,"mounting":5.0,"led_c":6.0,)"
              R"("lens_tmr":7.0,"lens_error_tmr":8.0,"sharpness":9.0,"top_width":10,"bottom_width":11,)"
              R"("left_side_deg":12.0,"right_side_deg":13.0,"edge_difference":14.0,"on_wall":false,)"
              R"("hdmi_turn_deg":16,"menu_turn_deg":17,"top_edge_deg":18.0,"bottom_edge_deg":19.0,)"
              R"("worst_edge_deg":20.0,"side_difference":21.0,"blur_px":22.0,"blur_corner_px":23.0,)"
              R"("light_used":24.0,"outline_mm":[[25.0,26.0],[27.0,28.0],[29.0,30.0],[31.0,32.0]],)"
              R"("axis_mm":33.0,"zones_mm":[34.0,35.0,36.0,37.0],"best_tmr":38.0,"lens_moving":false,)"
              R"("backlash_state":40.0,"barrel_c":41.0,"drift_tmr":42.0,"wall_tilt_deg":43.0,)"
              R"("wall_turn_deg":44.0,"blur_corners_px":[45.0,46.0,47.0,48.0]})");
}

// Only with a cause is a record written.
TEST(TwoTruths, TellTheSameWhenOnlyAConsequenceDiffers) {
    const TruthRecord truth = distinct_truth();
    TruthRecord other = truth;
    other.blur_px += 0.001;
    other.zones_mm[0] += 1;
    EXPECT_TRUE(tell_the_same(truth, other));
    other.sharpness += 0.001;
    EXPECT_FALSE(tell_the_same(truth, other));
    other = truth;
    other.axis_mm -= 800;  // somebody steps into the beam
    EXPECT_FALSE(tell_the_same(truth, other));
}

TEST(ATruthThatIsReadBack, IsTheOneThatWasWritten) {
    const nlohmann::ordered_json written = json_of(distinct_truth());
    EXPECT_EQ(json_of(vp::truth_from(written)), written);
}

TEST(ATruthThatIsReadBack, HasDefaultsForWhatIsMissing) {
    EXPECT_EQ(json_of(vp::truth_from(nlohmann::json::object())), json_of(TruthRecord{}));
}

TEST(LinesOfATrace, BeginWithTheirTime) {
    EXPECT_EQ(vp::event_line(30, "tilted").dump(), R"({"t_us":30,"event":"tilted"})");
    EXPECT_EQ(vp::truth_line(40, {{"sharpness", 0.5}}).dump(), R"({"t_us":40,"truth":{"sharpness":0.5}})");
}

}  // namespace
