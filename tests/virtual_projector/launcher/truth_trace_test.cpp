#include "virtual_projector/launcher/truth_trace.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <limits>
#include <string>
#include <vector>

namespace {

using vp::CallRecord;

struct Lines : vp::TraceSink {
    std::vector<std::string> lines;
    void record(const CallRecord& record) override { lines.emplace_back(record.call); }
    void record_truth(std::int64_t t_us, const nlohmann::ordered_json& state) override {
        lines.push_back(std::to_string(t_us) + " truth " + state.at("led_c").dump());
    }
    void record_event(std::int64_t t_us, std::string_view what) override {
        lines.push_back(std::to_string(t_us) + " " + std::string(what));
    }
};

// A trace over a world whose LED temperature the test says.
struct TruthTraceTest : ::testing::Test {
    Lines sink;
    double led_c = 40;
    vp::TruthTrace trace{sink, [this] {
                             vp::Truth truth;
                             truth.led_c = led_c;
                             return truth;
                         }};

    void call(const char* name, const char* path, long result) {
        CallRecord record;
        record.t_us = 7;
        record.call = name;
        record.path = path;
        record.result = result;
        trace.record(record);
    }
};

using Expected = std::vector<std::string>;

TEST_F(TruthTraceTest, FollowsEachMoveOfTheLensAndEachChangeOfThePicture) {
    call("write", "/sys/class/motor/left", 1);
    led_c = 41;
    call("ioctl", "/dev/dis", 0);
    call("ioctl", "/dev/dis", 0);  // which changed nothing
    EXPECT_EQ(sink.lines, (Expected{"write", "7 truth 40.0", "ioctl", "7 truth 41.0", "ioctl"}));
}

TEST_F(TruthTraceTest, DoesNotFollowOtherCallsOrFailures) {
    trace.record_now(0);
    sink.lines.clear();
    led_c = 41;
    call("read", "/sys/class/motor/left", 1);
    call("write", "/sys/class/motor/left", -EBUSY);
    call("ioctl", "/dev/nds01", 0);
    EXPECT_EQ(sink.lines, (Expected{"read", "write", "ioctl"}));
}

TEST_F(TruthTraceTest, IsWrittenEveryTenthOfASecondWhileThingsChange) {
    trace.time_is(0);
    for (const std::int64_t t_us : {50000, 99999, 100000, 150000, 200000}) {
        led_c += 1;
        trace.time_is(t_us);
    }
    EXPECT_EQ(sink.lines, (Expected{"0 truth 40.0", "100000 truth 43.0", "200000 truth 45.0"}));
}

TEST_F(TruthTraceTest, IsWrittenOnceAMinuteWhileNothingChanges) {
    for (std::int64_t t_us = 0; t_us <= 120000000; t_us += 1000000) trace.time_is(t_us);
    EXPECT_EQ(sink.lines, (Expected{"0 truth 40.0", "60000000 truth 40.0", "120000000 truth 40.0"}));
}

// A lens that the motor takes from one bend to the next.
struct TruthOfAMovingLens : TruthTraceTest {
    std::vector<vp::Microseconds> bends;
    std::vector<vp::Microseconds> asked;

    TruthOfAMovingLens() {
        trace.record_now(0);
        sink.lines.clear();
        trace.follow_lens({[this] { return bends; },
                           [this](vp::Microseconds at) {
                               asked.push_back(at);
                               vp::Truth truth;
                               truth.led_c = static_cast<double>(at);
                               return truth;
                           }});
    }
};

TEST_F(TruthOfAMovingLens, IsWrittenAtEachBendWhenTimeHasPassedIt) {
    bends = {12, 20, 90};
    call("write", "/sys/class/motor/left", 1);
    trace.time_is(11);
    EXPECT_EQ(sink.lines, Expected{"write"});
    trace.time_is(50);
    EXPECT_EQ(sink.lines, (Expected{"write", "12 truth 12.0", "20 truth 20.0"}));
    trace.before_change(90);
    EXPECT_EQ(sink.lines.back(), "90 truth 90.0");
    EXPECT_EQ(asked, (std::vector<vp::Microseconds>{12, 20, 90}));
}

TEST_F(TruthOfAMovingLens, FollowsTheLatestOrder) {
    bends = {12};
    call("write", "/sys/class/motor/left", 1);
    bends = {45};
    call("write", "/sys/class/motor/right", 1);
    trace.time_is(50);
    EXPECT_EQ(sink.lines, (Expected{"write", "write", "45 truth 45.0"}));
}

TEST_F(TruthOfAMovingLens, LooksAgainAfterAnEvent) {
    bends = {12};
    call("write", "/sys/class/motor/left", 1);
    bends = {};
    trace.record_event(8, "the lens is stuck");
    trace.time_is(50);
    EXPECT_EQ(sink.lines, (Expected{"write", "8 the lens is stuck"}));
}

// The same instant: the end of the move goes before what is written then.
TEST_F(TruthOfAMovingLens, StandsBeforeACallOfItsTime) {
    bends = {7};
    call("write", "/sys/class/motor/left", 1);
    bends = {};
    call("read", "/sys/class/motor/stop", 1);
    EXPECT_EQ(sink.lines, (Expected{"write", "7 truth 7.0", "read"}));
}

TEST_F(TruthTraceTest, PassesOnWhatLibraryAndHostSay) {
    struct Said : vp::TraceSink {
        std::vector<std::string> said;
        void record(const CallRecord& /*record*/) override {}
        void record_callback(const vp::CallbackRecord& record) override { said.emplace_back(record.callback); }
        void record_return(const vp::CallbackReturn& record) override {
            said.push_back("back from " + std::string(record.callback));
        }
        void record_state(const vp::StateRecord& record) override { said.push_back(record.values->dump()); }
        void record_log(const vp::LogRecord& record) override { said.emplace_back(record.text); }
    } said;
    vp::TruthTrace through(said, [] { return vp::Truth{}; });
    const nlohmann::ordered_json values = {{"direction", 1}};
    through.record_callback({{}, "toast", 5, {6}, ""});
    through.record_return({{}, "toast", 5, 1, nullptr});
    through.record_state({{}, &values});
    through.record_log({{}, "line"});
    EXPECT_EQ(said.said, (Expected{"toast", "back from toast", R"({"direction":1})", "line"}));
}

TEST_F(TruthTraceTest, PassesEventsOn) {
    trace.record_event(5, "something");
    EXPECT_EQ(sink.lines, (Expected{"5 something"}));
}

TEST_F(TruthTraceTest, FollowsWhoWalksPastTheSensor) {
    vp::Truth truth;
    truth.zones_mm = {1500, 1500, 1500, 1500};
    vp::TruthTrace seen(sink, [&] { return truth; });
    seen.record_now(0);
    sink.lines.clear();
    truth.zones_mm = {1500, 1540, 1500, 1500};  // a bent wall's
    seen.time_is(100000);
    truth.zones_mm = {1500, 700, 1500, 1500};
    seen.time_is(200000);
    seen.time_is(300000);
    truth.zones_mm = {1500, 1500, 1500, 1500};
    seen.time_is(400000);
    EXPECT_EQ(sink.lines, (Expected{"200000 truth 0.0", "400000 truth 0.0"}));
}

TEST_F(TruthTraceTest, FollowsWhoStepsBeforeTheSensorAtAnEvent) {
    vp::Truth truth;
    vp::TruthTrace seen(sink, [&] { return truth; });
    seen.record_now(0);
    sink.lines.clear();
    truth.zones_mm = {600, 1500, 1500, 1500};
    seen.record_event(5, "somebody stands there");
    seen.record_event(6, "a key is pressed");
    EXPECT_EQ(sink.lines, (Expected{"5 somebody stands there", "5 truth 0.0", "6 a key is pressed"}));
}

TEST(TheTruthAsJson, IsRoundedSoThatTheLastBitsMakeNoDifference) {
    vp::Truth truth;
    truth.sharpness = 0.98765432;
    truth.lens_error_tmr = -0.0001;
    truth.lens_tmr = 1.0 / 3;
    const nlohmann::ordered_json json = json_of(vp::record_of(truth));
    EXPECT_EQ(json["sharpness"].dump(), "0.988");
    EXPECT_EQ(json["lens_error_tmr"].dump(), "0.0");
    EXPECT_EQ(json["lens_tmr"].dump(), "0.333");
}

TEST(TheTruthAsJson, SaysMinusOneWhereNothingIsThere) {
    vp::Truth truth;
    truth.axis_mm = std::numeric_limits<double>::infinity();
    truth.zones_mm = {1500, truth.axis_mm, 1499.9996, truth.axis_mm};
    const nlohmann::ordered_json json = json_of(vp::record_of(truth));
    EXPECT_EQ(json["axis_mm"].dump(), "-1.0");
    EXPECT_EQ(json["zones_mm"].dump(), "[1500.0,-1.0,1500.0,-1.0]");
}

}  // namespace
