#include "virtual_projector/report/trace_reader.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <string>

#include "virtual_projector/storykit/scratch_folder.h"

namespace {

vp::TraceContents read(const std::string& text) {
    const storykit::ScratchFolder folder;
    std::ofstream(folder.file("trace")) << text;
    return vp::read_trace(folder.file("trace"));
}

std::string motor_write(const std::string& node, const std::string& value, const std::string& result = "1") {
    return R"({"t_us":5,"call":"write","path":"/sys/class/motor/)" + node + R"(","result":)" + result +
           R"(,"data":")" + value + "\"}\n";
}

TEST(ATrace, HoldsTheTruth) {
    const vp::TraceContents trace = read(
        R"({"t_us":7,"truth":{"distance_mm":1500.0,"pitch_deg":12.0,"led_c":45.0,"lens_tmr":-66.0,)"
        R"("lens_error_tmr":1.5,"sharpness":0.99,"top_width":1148,"bottom_width":1280,"left_side_deg":-0.2,)"
        R"("right_side_deg":0.1,"on_wall":false,"hdmi_turn_deg":180,"menu_turn_deg":90}})"
        "\n");
    ASSERT_EQ(trace.truths.size(), 1U);
    const vp::TruthAt& truth = trace.truths[0];
    EXPECT_EQ(truth.t_us, 7);
    EXPECT_EQ(truth.distance_mm, 1500);
    EXPECT_EQ(truth.pitch_deg, 12);
    EXPECT_EQ(truth.led_c, 45);
    EXPECT_EQ(truth.lens_tmr, -66);
    EXPECT_EQ(truth.lens_error_tmr, 1.5);
    EXPECT_EQ(truth.sharpness, 0.99);
    EXPECT_EQ(truth.top_width, 1148);
    EXPECT_EQ(truth.bottom_width, 1280);
    EXPECT_EQ(truth.worst_side_deg(), 0.2);
    EXPECT_FALSE(truth.on_wall);
    EXPECT_EQ(truth.hdmi_turn_deg, 180);
    EXPECT_EQ(truth.menu_turn_deg, 90);
}

TEST(ATrace, HoldsWhatTheRunIsMadeOf) {
    const vp::TraceContents trace =
        read(R"({"t_us":0,"run":{"format":2,"version":"0.1.0","commit":"abc","seed":7,"unit":"standard",)"
             R"("world":"living-room","settings":{"pose.pitch_deg":{"value":12.0,"from":"scenario"}}}})"
             "\n");
    EXPECT_EQ(trace.run.version, "0.1.0");
    EXPECT_EQ(trace.run.seed, 7U);
    EXPECT_EQ(trace.run.world, "living-room");
    ASSERT_EQ(trace.run.settings.size(), 1U);
    EXPECT_EQ(trace.run.settings[0].source, "scenario");
}

TEST(ATrace, HoldsTheWearOfTheRunAndInTotal) {
    const vp::TraceContents trace = read(
        R"({"t_us":9,"wear":{"run":{"full_steps":4,"travel_mm":0.02},"total":{"full_steps":10,"heat_cycles":2}}})"
        "\n");
    ASSERT_TRUE(trace.wear.has_value());
    EXPECT_EQ(trace.wear->run.full_steps, 4);
    EXPECT_EQ(trace.wear->run.travel_mm, 0.02);
    EXPECT_EQ(trace.wear->run.heat_cycles, 0);
    EXPECT_EQ(trace.wear->total.full_steps, 10);
    EXPECT_EQ(trace.wear->total.heat_cycles, 2);
    EXPECT_FALSE(read(R"({"t_us":9,"event":"x"})").wear.has_value());
}

TEST(ATrace, HoldsLensMovesWithTheirSideAndStepSize) {
    const vp::TraceContents trace = read(motor_write("pulse", "2") + motor_write("left", "11") +
                                         motor_write("pulse", "1") + motor_write("right", "1"));
    ASSERT_EQ(trace.lens_moves.size(), 2U);
    EXPECT_EQ(trace.lens_moves[0].side, vp::Side::left);
    EXPECT_EQ(trace.lens_moves[0].steps, 11);
    EXPECT_FALSE(trace.lens_moves[0].half_steps);
    EXPECT_EQ(trace.lens_moves[1].side, vp::Side::right);
    EXPECT_EQ(trace.lens_moves[1].steps, 1);
    EXPECT_TRUE(trace.lens_moves[1].half_steps);
}

TEST(ATrace, DoesNotCountMovesOfNoStepsOrThatFailed) {
    const vp::TraceContents trace = read(motor_write("left", "0") + motor_write("left", "3", "-16"));
    EXPECT_TRUE(trace.lens_moves.empty());
    ASSERT_EQ(trace.failures.size(), 1U);
    EXPECT_EQ(trace.failures[0].what, "write /sys/class/motor/left: ");
}

TEST(ATrace, HoldsEventsFailuresAndLibraryCalls) {
    const vp::TraceContents trace = read(
        "{\"t_us\":1,\"event\":\"somebody shakes it\"}\n"
        "{\"t_us\":2,\"call\":\"open\",\"path\":\"/dev/dis\",\"result\":-2,\"error\":\"ENOENT\"}\n"
        "{\"t_us\":3,\"call\":\"call\",\"path\":\"hudi_flash_open\",\"result\":0}\n"
        "{\"t_us\":4,\"call\":\"call\",\"path\":\"hdmirx_set_rotate\",\"result\":-5,\"error\":\"EIO\"}\n");
    ASSERT_EQ(trace.events.size(), 1U);
    EXPECT_EQ(trace.events[0].t_us, 1);
    EXPECT_EQ(trace.events[0].what, "somebody shakes it");
    ASSERT_EQ(trace.failures.size(), 2U);
    EXPECT_EQ(trace.failures[0].what, "open /dev/dis: ENOENT");
    EXPECT_EQ(trace.failures[1].what, "call hdmirx_set_rotate: EIO");
    ASSERT_EQ(trace.library_calls.size(), 2U);
    EXPECT_EQ(trace.library_calls[0].function, "hudi_flash_open");
    EXPECT_EQ(trace.library_calls[1].result, -5);
}

TEST(ATrace, IsReadThroughLinesThatAreNoRecords) {
    const vp::TraceContents trace = read("\nnonsense\n[1]\n{\"t_us\":1,\"event\":\"x\"}\n{\"t_us\":2,\"eve");
    EXPECT_EQ(trace.events.size(), 1U);
}

TEST(ATrace, ThatIsNotThereIsEmpty) { EXPECT_TRUE(vp::read_trace("/nowhere/trace").truths.empty()); }

TEST(ATrace, HoldsWhatTheLibraryToldItsHostItsVariablesAndItsLog) {
    const vp::TraceContents trace = read(
        R"({"t_us":5,"thread":2,"name":"worker","callback":"toast","slot":5,"arguments":[6],"means":"done"})"
        "\n"
        R"({"t_us":6,"thread":3,"name":"other","state":{"g_run_once_AKAF":1,"leftIdle":4}})"
        "\n"
        R"({"t_us":7,"thread":2,"name":"worker","log":"[ovra_focus]  here"})"
        "\n");
    ASSERT_EQ(trace.callbacks.size(), 1U);
    EXPECT_EQ(trace.callbacks[0].callback, "toast");
    EXPECT_EQ(trace.callbacks[0].arguments, (std::vector<std::int32_t>{6}));
    EXPECT_EQ(trace.callbacks[0].means, "done");
    ASSERT_EQ(trace.states.size(), 1U);
    EXPECT_EQ(trace.states[0].thread, 3);
    ASSERT_EQ(trace.states[0].values.size(), 2U);
    EXPECT_EQ(trace.states[0].values[0].first, "g_run_once_AKAF");
    EXPECT_EQ(trace.states[0].values[0].second, 1);
    ASSERT_EQ(trace.log.size(), 1U);
    EXPECT_EQ(trace.log[0].text, "[ovra_focus]  here");
    EXPECT_EQ(trace.end_us, 7);
}

TEST(ATrace, HoldsWhatFaultsDid) {
    const vp::TraceContents trace =
        read(R"({"t_us":5,"thread":2,"call":"read","path":"/n","result":1,"data":"1",)"
             R"("fault":{"number":3,"did":"gave stale data"}})"
             "\n");
    ASSERT_EQ(trace.faults.size(), 1U);
    EXPECT_EQ(trace.faults[0].number, 3);
    EXPECT_EQ(trace.faults[0].what, "read /n");
    EXPECT_EQ(trace.faults[0].did, "gave stale data");
}

TEST(ATrace, HoldsItsThreadsInTheOrderOfTheirFirstRecords) {
    const vp::TraceContents trace = read(
        "{\"t_us\":1,\"thread\":1,\"name\":\"main\",\"call\":\"sleep\",\"us\":1,\"result\":0}\n"
        "{\"t_us\":2,\"thread\":4,\"name\":\"worker\",\"call\":\"sleep\",\"us\":1,\"result\":0}\n"
        "{\"t_us\":3,\"thread\":1,\"name\":\"main\",\"call\":\"sleep\",\"us\":1,\"result\":0}\n");
    ASSERT_EQ(trace.threads.size(), 2U);
    EXPECT_EQ(trace.threads[1].number, 4);
    EXPECT_EQ(trace.threads[1].name, "worker");
    EXPECT_EQ(trace.threads[1].first_us, 2);
}

}  // namespace
