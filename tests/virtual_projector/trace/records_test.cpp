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
    run.settings = {{"pose.pitch_deg", 12, "scenario"}};
    const std::string line = run_line(run).dump();
    EXPECT_EQ(line, R"({"t_us":0,"run":{"format":1,"version":"0.1.0","commit":"abc","seed":7,"unit_seed":8,)"
                    R"("unit":"standard","world":"laboratory","scenario":"fnv1a64:0",)"
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

// Every member has a value of its own, so that none can be taken for another.
struct Numbering {
    void fill(bool& /*member*/) { ++number; }
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
    truth.on_wall = false;
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
              R"("axis_mm":33.0,"zones_mm":[34.0,35.0,36.0,37.0]})");
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
