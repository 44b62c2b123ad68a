#include "virtual_projector/report/requests.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

namespace {

using vp::Request;
using vp::RequestKind;

constexpr int host = 1;
constexpr int gravity = 3;
constexpr int worker = 4;
constexpr int follower = 5;

const char* name_of(int thread) {
    switch (thread) {
        case gravity:
            return "ovra_gsensor_thread";
        case worker:
            return "keystonefocus_thread";
        case follower:
            return "UI_update_thread";
        default:
            return "main";
    }
}

// A trace, told record by record. Times are in milliseconds.
class Trace {
public:
    Trace& at(int t_ms) {
        t_us_ = std::int64_t{1000} * t_ms;
        return *this;
    }
    Trace& log(int thread, const std::string& message) {
        finder_.take_log({t_us_, thread, name_of(thread), "[ovra_focus]  " + message});
        return *this;
    }
    Trace& flag(int thread, const std::string& name, double value) {
        finder_.take_state({t_us_, thread, name_of(thread), {{name, value}}});
        return *this;
    }
    Trace& toast(int thread, int code, const std::string& means) {
        finder_.take_callback({t_us_, thread, name_of(thread), "toast", 5, {code}, means});
        return *this;
    }
    Trace& sharpness(double value) {
        vp::TruthAt truth;
        truth.t_us = t_us_;
        truth.sharpness = value;
        finder_.take_truth(truth);
        return *this;
    }
    Trace& event(const std::string& what) {
        finder_.take_event({t_us_, what});
        return *this;
    }
    Trace& waited_for_lens(int thread, int ms) {
        vp::CallAt call;
        call.t_us = t_us_;
        call.thread = thread;
        call.thread_name = name_of(thread);
        call.call = "lock";
        call.path = "mutex_focus";
        call.took_us = std::int64_t{1000} * ms;
        finder_.take_call(call);
        return *this;
    }
    // A combined run that another one asks for and the worker serves.
    Trace& run(int asked_ms, int asker, int begun_ms, int ended_ms) {
        at(asked_ms).log(asker, "received akaf command").flag(asker, "g_run_once_AKAF", 1);
        at(begun_ms).flag(worker, "g_run_once_AKAF", 0).log(worker, "run once AKAF");
        return at(ended_ms).log(worker, "auto focus completed").flag(worker, "g_osd_state_autofocus", 0);
    }
    int current_on(int thread) const { return finder_.current_on(thread); }
    std::vector<Request> requests() { return finder_.finish(); }
    Request only_request() {
        const std::vector<Request> found = requests();
        EXPECT_EQ(found.size(), 1U);
        return found.empty() ? Request{} : found.front();
    }

private:
    vp::RequestFinder finder_;
    std::int64_t t_us_ = 0;
};

TEST(ARun, IsAskedBegunAndEnded) {
    const Request run = Trace().run(100, host, 250, 900).only_request();
    EXPECT_EQ(run.number, 1);
    EXPECT_EQ(run.kind, RequestKind::run);
    EXPECT_EQ(run.what, "keystone and focus");
    EXPECT_EQ(run.by, "the host");
    EXPECT_EQ(run.thread, worker);
    EXPECT_EQ(run.asked_us, 100000);
    EXPECT_EQ(run.begun_us, 250000);
    EXPECT_EQ(run.ended_us, 900000);
    EXPECT_FALSE(run.failed);
    EXPECT_EQ(run.outcome, "focused");
}

TEST(ARun, IsFoundInTheLogAlone) {
    const Request run = Trace()
                            .at(100)
                            .log(host, "\033[36;1mreceived akaf command\033[0m")
                            .at(250)
                            .log(worker, "run once AKAF")
                            .log(worker, "auto focus STATE flag : 1")
                            .at(900)
                            .log(worker, "auto focus STATE flag : 0")
                            .only_request();
    EXPECT_EQ(run.asked_us, 100000);
    EXPECT_EQ(run.begun_us, 250000);
    EXPECT_EQ(run.ended_us, 900000);
}

TEST(ARun, IsFoundInTheFlagsAlone) {
    const Request run = Trace()
                            .at(100)
                            .flag(host, "g_run_once_AKAF", 1)
                            .at(250)
                            .flag(worker, "g_run_once_AKAF", 0)
                            .at(900)
                            .flag(worker, "g_osd_state_autofocus", 0)
                            .only_request();
    EXPECT_EQ(run.asked_us, 100000);
    EXPECT_EQ(run.begun_us, 250000);
    EXPECT_EQ(run.ended_us, 900000);
    EXPECT_EQ(run.outcome, "nothing to do");
}

TEST(ARun, AfterAMovementIsAskedForByIt) {
    EXPECT_EQ(Trace().run(100, gravity, 250, 900).only_request().by, "a movement");
}

TEST(ARun, ThatIsAskedForTwiceBeforeItIsServedIsOne) {
    const std::vector<Request> runs =
        Trace().at(50).log(host, "received akaf command").run(100, gravity, 250, 900).requests();
    ASSERT_EQ(runs.size(), 1U);
    EXPECT_EQ(runs[0].by, "the host");
}

TEST(ARun, ThatIsAskedForDuringAnotherIsServedAfterIt) {
    Trace trace;
    trace.at(0).log(host, "received akaf command").at(100).log(worker, "run once AKAF");
    trace.at(200).log(host, "received akaf command").at(300).log(worker, "auto focus STATE flag : 0");
    trace.at(500).log(worker, "run once AKAF").at(600).log(worker, "auto focus STATE flag : 0");
    const std::vector<Request> runs = trace.requests();
    ASSERT_EQ(runs.size(), 2U);
    EXPECT_EQ(runs[0].ended_us, 300000);
    EXPECT_EQ(runs[1].asked_us, 200000);
    EXPECT_EQ(runs[1].begun_us, 500000);
}

TEST(ARun, IsWithdrawnWhenTheHostStopsTheLibraryFirst) {
    const Request run = Trace()
                            .at(100)
                            .flag(host, "g_run_once_AKAF", 1)
                            .at(150)
                            .flag(host, "g_run_once_AKAF", 0)
                            .only_request();
    EXPECT_FALSE(run.begun_us);
    EXPECT_EQ(run.outcome, "withdrawn before it was served");
}

TEST(ARun, ThatNobodyServedOrThatDidNotEndSaysSo) {
    const Request never = Trace().at(100).log(host, "received akaf command").only_request();
    EXPECT_TRUE(never.failed);
    EXPECT_EQ(never.outcome, "was never served");
    const Request open =
        Trace().at(100).log(host, "received akaf command").at(200).log(worker, "run once AKAF").only_request();
    EXPECT_TRUE(open.failed);
    EXPECT_EQ(open.outcome, "was not over at the end");
}

TEST(ARun, TellsHowThePictureWasSquaredAndTheLensFocused) {
    Trace trace;
    trace.at(0).log(host, "received akaf command").log(worker, "run once AKAF");
    trace.log(worker, "tof angle = 12 degree").log(worker, "halg = 0.000000, valg = 12.000000, theta = 0");
    trace.log(worker, "VKeystone success").log(worker, "curTMRIndex = 2, targetTMRIndex = 2, steps = 0");
    const Request run = trace.at(9).log(worker, "auto focus STATE flag : 0").only_request();
    EXPECT_EQ(run.outcome, "squared for a tilt of 12 degrees, in focus already");
}

TEST(ARun, ThatWasRefusedSaysWhy) {
    Trace trace;
    trace.at(0).log(host, "received akaf command").log(worker, "run once AKAF");
    trace.log(worker, "auto fucos error: move far away").toast(worker, 9, "no distance");
    const Request run = trace.at(9).log(worker, "auto focus STATE flag : 0").only_request();
    EXPECT_TRUE(run.failed);
    EXPECT_EQ(run.outcome, "not focused: nothing is in the ToF sensor's range");
    ASSERT_EQ(run.toasts.size(), 1U);
    EXPECT_EQ(run.toasts[0].means, "no distance");
}

TEST(ARun, WithoutALineOfItsOwnForTheReasonTakesTheToastsWords) {
    Trace trace;
    trace.at(0).log(host, "received akaf command").log(worker, "run once AKAF");
    trace.toast(worker, 11, "auto-focus is off");
    EXPECT_EQ(trace.at(9).log(worker, "auto focus STATE flag : 0").only_request().outcome,
              "not focused: auto-focus is off");
}

TEST(ARun, KnowsTheTruthBeforeAndAfterItAlone) {
    Trace trace;
    trace.at(0).sharpness(0.1).run(100, host, 200, 300);
    trace.at(350).sharpness(0.9);  // the lens has come to rest
    trace.at(1000).event("somebody shakes it").sharpness(0.2).run(2000, host, 2100, 2200);
    trace.at(2210).event("and again").sharpness(0.3);
    const std::vector<Request> runs = trace.requests();
    ASSERT_EQ(runs.size(), 2U);
    EXPECT_EQ(runs[0].before.sharpness, 0.1);
    EXPECT_EQ(runs[0].after.sharpness, 0.9);
    EXPECT_EQ(runs[1].before.sharpness, 0.2);
    EXPECT_EQ(runs[1].after.sharpness, 0.2);
}

TEST(ARun, IsWhatItsThreadCarriesOutUntilItEnds) {
    Trace trace;
    trace.at(100).log(host, "received akaf command");
    EXPECT_EQ(trace.current_on(worker), 0);
    trace.at(200).log(worker, "run once AKAF");
    EXPECT_EQ(trace.current_on(worker), 1);
    EXPECT_EQ(trace.current_on(host), 0);
    trace.at(300).log(worker, "auto focus STATE flag : 0");
    trace.at(301).sharpness(1);
    EXPECT_EQ(trace.current_on(worker), 0);
}

TEST(AManualKeystone, IsForTheTiltThatTheHostGave) {
    Trace trace;
    trace.at(100).flag(host, "m_manuKeystone_value_for_thread", -7).flag(host, "g_run_once_keystone", 1);
    trace.log(host, "received manu keystone command").at(200).log(worker, "run once keystone");
    const Request keystone = trace.at(210).flag(worker, "g_run_once_keystone", 0).only_request();
    EXPECT_EQ(keystone.kind, RequestKind::keystone);
    EXPECT_EQ(keystone.what, "keystone for a tilt of -7 degrees");
    EXPECT_EQ(keystone.begun_us, 200000);
    EXPECT_EQ(keystone.ended_us, 210000);
    EXPECT_EQ(keystone.outcome, "done");
}

TEST(AMovement, IsFollowedByKeystoneUntilTheDistanceIsSteady) {
    Trace trace;
    trace.at(100)
        .flag(gravity, "project_tof_dist_changed", 1)
        .at(140)
        .log(follower, "match tof steady times 5");
    trace.at(300).flag(follower, "project_tof_dist_changed", 0).log(follower, "tof stable and exit keystone");
    const Request following = trace.only_request();
    EXPECT_EQ(following.kind, RequestKind::following);
    EXPECT_EQ(following.by, "a movement");
    EXPECT_EQ(following.begun_us, 100000);
    EXPECT_EQ(following.ended_us, 300000);
    EXPECT_EQ(following.outcome, "the distance is steady");
}

TEST(AMovement, ThatCannotBeFollowedSaysWhy) {
    Trace trace;
    trace.at(100).flag(gravity, "project_tof_dist_changed", 1);
    trace.at(300).flag(follower, "project_tof_dist_changed", 0);
    trace.log(follower, "Unable to read TOF angle, end auto keystone");
    const Request following = trace.only_request();
    EXPECT_TRUE(following.failed);
    EXPECT_EQ(following.outcome, "the ToF sensor gives no tilt");
}

TEST(AMoveByHand, EndsWhenTheLensIsThere) {
    Trace trace;
    trace.at(100).log(host, "manu focus targetTMR = -56--------------------------");
    trace.at(140).log(host, "currentTMR = -57, targetTMR = -56").log(host, "manul focus completed");
    const Request move = trace.only_request();
    EXPECT_EQ(move.kind, RequestKind::manual_focus);
    EXPECT_EQ(move.what, "lens by hand to TMR -56");
    EXPECT_EQ(move.ended_us, 140000);
    EXPECT_EQ(move.outcome, "done");
}

TEST(AMoveByHand, BeyondALimitStopsThereAndHasItsToast) {
    Trace trace;
    trace.at(100)
        .log(host, "manu focus targetTMR = 600----")
        .log(host, "manu focus out of range: g_limitRight");
    trace.at(140).log(host, "manul focus completed").toast(host, 6, "the right limit");
    trace.log(host, "manu focus targetTMR = -600----").log(host, "manu focus out of range: g_limitLeft");
    trace.at(180).log(host, "manul focus completed").toast(host, 7, "the left limit");
    const std::vector<Request> moves = trace.requests();
    ASSERT_EQ(moves.size(), 2U);
    EXPECT_EQ(moves[0].outcome, "done, stopped at the right limit");
    EXPECT_FALSE(moves[0].failed);
    ASSERT_EQ(moves[0].toasts.size(), 1U);
    EXPECT_EQ(moves[0].toasts[0].means, "the right limit");
    ASSERT_EQ(moves[1].toasts.size(), 1U);
    EXPECT_EQ(moves[1].toasts[0].means, "the left limit");
}

TEST(AMoveByHand, ThatIsRefusedHasNoDuration) {
    Trace trace;
    trace.at(100).log(host, "manu focus error: have not benn calibrated!").toast(host, 11, "auto-focus is off");
    const Request move = trace.only_request();
    EXPECT_TRUE(move.failed);
    EXPECT_EQ(move.outcome, "refused: auto-focus is off");
    EXPECT_EQ(move.ended_us, 100000);
    EXPECT_EQ(move.toasts.size(), 1U);
}

TEST(AMoveByHand, WasAskedForBeforeItWaitedForTheLens) {
    Trace trace;
    trace.at(900).waited_for_lens(host, 700).log(host, "manu focus targetTMR = 3----");
    const Request move = trace.at(940).log(host, "manul focus completed").only_request();
    EXPECT_EQ(move.asked_us, 200000);
    EXPECT_EQ(move.begun_us, 900000);
}

TEST(AMoveByHand, ThatDoesNotSettleSaysSo) {
    Trace trace;
    trace.at(100).log(host, "manu focus targetTMR = 3----").at(900).log(host, "auto focus time out");
    const Request move = trace.only_request();
    EXPECT_TRUE(move.failed);
    EXPECT_EQ(move.outcome, "the lens did not settle");
    EXPECT_EQ(move.ended_us, 900000);
}

TEST(AMoveToALimit, IsNamedByTheLimit) {
    Trace trace;
    trace.at(100).log(host, "g_limitRight = 190").log(host, "manu focus targetTMR = 190----");
    trace.log(host, "currentTMR = 0, targetTMR = 190, direct = 0").at(300).log(host, "manul focus completed");
    const Request move = trace.only_request();
    EXPECT_EQ(move.kind, RequestKind::lens_limit);
    EXPECT_EQ(move.what, "lens to its right limit");
    EXPECT_EQ(move.outcome, "done");
}

TEST(TheFactorysSteps, AreEachNamedAndTellWhatTheyFound) {
    Trace trace;
    trace.at(100).log(host, "Calibration data write: dev");
    trace.at(200).log(host, "Calibration successfully and recovery point mode successfully!");
    trace.at(300)
        .log(host, "beforeTMR = -42")
        .log(host, "move 1 right step--10um ")
        .at(500)
        .log(host, "direction = 1");
    trace.at(600).log(host, "beforeTMR = 79").log(host, "move 1 left step--5um ");
    trace.at(700).log(host, "count = 4, afterTMR = 59");
    trace.at(800).log(host, "beforeTMR = 48").log(host, "move 1 right step--10um ").log(host, "direction = 1");
    trace.log(host, "get_direction val = 1").at(900).log(host, "move 1 left step--5um");
    trace.at(950).log(host, "peek step = -47").at(960).log(host, "auto focus: write_cali_flag");
    const std::vector<Request> steps = trace.requests();
    ASSERT_EQ(steps.size(), 5U);
    EXPECT_EQ(steps[0].what + ": " + steps[0].outcome, "the ToF sensor's offsets: done");
    EXPECT_EQ(steps[1].what + ": " + steps[1].outcome,
              "the sense of the lens's sensor: its readings are to be negated");
    EXPECT_EQ(steps[2].what + ": " + steps[2].outcome,
              "the lens's backlash to the left: the lens followed at step 4");
    EXPECT_EQ(steps[2].ended_us, 700000);
    EXPECT_EQ(steps[3].what + ": " + steps[3].outcome, "the sharpness peak: it is at TMR -47");
    EXPECT_EQ(steps[3].begun_us, 800000);
    EXPECT_EQ(steps[4].what + ": " + steps[4].outcome, "what has been calibrated, into the record: done");
    for (const Request& step : steps) EXPECT_EQ(step.kind, RequestKind::calibration);
}

TEST(TheLensTable, IsOneStepHoweverManySweepsItTakes) {
    Trace trace;
    for (const int start : {0, 1000}) {
        trace.at(start).log(host, "manu focus targetTMR = -78----");
        trace.log(host, "currentTMR = 60, targetTMR = -78, direct = 1").at(start + 500);
        trace.log(host, "manul focus completed").log(host, "count = 12, microCount = 0");
        trace.log(host, "manu focus targetTMR = -46----")
            .log(host, "currentTMR = 1, targetTMR = -46, direct = 0");
        trace.at(start + 600).log(host, "manul focus completed").log(host, "count = 4, microCount = 0");
        trace.log(host, "steps = 4, microSteps = 0").at(start + 900).log(host, "move 1 right step--5um ");
    }
    trace.log(host, "leftLimit -104, rightLimit 190, direct 1, leftR 4, rightR 2");
    trace.at(2000).log(host, "tmr_cali_interpolation success");
    const Request table = trace.only_request();
    EXPECT_EQ(table.what, "the lens's table");
    EXPECT_EQ(table.outcome, "25 places between the limits -104 and 190");
    EXPECT_EQ(table.begun_us, 0);
    EXPECT_EQ(table.ended_us, 2000000);
}

TEST(TheFactorysSteps, ThatFailSayWhy) {
    Trace trace;
    trace.at(0).log(host, "beforeTMR = 79").log(host, "move 1 left step--5um ");
    trace.at(900).log(host, "direction: 1, MOTOR_IDLE_DIST NG, MOTOR_IDLE_DIST > 14*5um");
    const Request step = trace.only_request();
    EXPECT_TRUE(step.failed);
    EXPECT_EQ(step.outcome, "the lens sensor did not follow 15 motor steps");
    EXPECT_EQ(step.ended_us, 900000);
}

TEST(ATurnOfThePicture, IsAskedForByGravity) {
    Trace trace;
    trace.at(100).log(gravity, "from startup phase -> HSYNC_0, device rotation success");
    trace.at(900).log(gravity, "from HSYNC_0 -> HSYNC_180, device rotation success");
    const Request turn = trace.only_request();
    EXPECT_EQ(turn.kind, RequestKind::rotation);
    EXPECT_EQ(turn.by, "gravity");
    EXPECT_EQ(turn.asked_us, 900000);
}

}  // namespace
