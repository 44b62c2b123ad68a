// Whole runs that somebody has a hand in.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>

#include "tests/virtual_projector/live/live_program.h"
#include "virtual_projector/storykit/scratch_folder.h"

namespace {

using live_test::Json;
using live_test::LiveProgram;
using storykit::contents_of;
using storykit::project_file;

std::vector<std::string> host(const storykit::ScratchFolder& folder) {
    return {storykit::host_program, "--library-log", folder.file("log"), "--script",
            project_file("host/live.script")};
}

// The first record names the scenario by its digest, which is another one of course.
std::string without_first_line(const std::string& trace) { return trace.substr(trace.find('\n') + 1); }

Json carry(double distance_mm, double yaw_deg) {
    return {{"gesture", "carry"}, {"to", {{"distance_mm", distance_mm}, {"yaw_deg", yaw_deg}}}, {"for_s", 0.1}};
}

class ALiveRun : public testing::Test {
protected:
    std::string trace_of(const std::vector<std::string>& options, const std::string& name) const {
        std::vector<std::string> all = options;
        all.insert(all.end(), {"--trace", folder.file(name)});
        (void)storykit::launch_projector(all, host(folder));
        return contents_of(folder.file(name));
    }

    storykit::ScratchFolder folder;
};

TEST_F(ALiveRun, IsRepeatedToTheByteByItsSavedScenario) {
    std::string saved;
    {
        LiveProgram live({"--trace", folder.file("live"), "--scenario", project_file("scenarios/nudge.json"),
                          "--seed", "5", "--set", "pose.pitch_deg=3"},
                         host(folder));
        EXPECT_EQ(live.post({{"do", "speed"}, {"value", 50}}), 200);
        (void)live.watch_until(2);
        EXPECT_EQ(live.event({{"gesture", "pick_up"}}), 200);
        for (int i = 0; i < 10; ++i) EXPECT_EQ(live.event(carry(1000 + 40 * i, 0.5 * i)), 200);
        EXPECT_EQ(live.event({{"gesture", "set_down"}, {"to", {{"distance_mm", 1400}, {"pitch_deg", 8}}}}),
                  200);
        EXPECT_EQ(live.event({{"block", {"tr", "bl"}}, {"distance_mm", 600}, {"for_s", 1.5}}), 200);
        EXPECT_EQ(live.event({{"key", 115}}), 200);
        EXPECT_EQ(
            live.event(
                {{"fault",
                  {{"operation", "ioctl"}, {"path", "/dev/gsensor"}, {"probability", 0.5}, {"error", "EIO"}}}}),
            200);
        EXPECT_EQ(live.post({{"do", "pause"}}), 200);
        EXPECT_EQ(live.event({{"set", {{"heat.ambient_c", 31.7}}}}), 200);
        EXPECT_EQ(live.post({{"do", "step"}, {"ms", 250}}), 200);
        EXPECT_EQ(live.post({{"do", "resume"}}), 200);
        EXPECT_EQ(live.event({{"type", "status"}}), 200);
        EXPECT_EQ(live.event({{"clear_faults", true}}), 200);
        EXPECT_EQ(live.event({{"type", "akaf"}}), 200);
        EXPECT_EQ(live.event({{"type", "wait idle"}}), 200);
        EXPECT_EQ(live.event({{"type", "quit"}}), 200);
        (void)live.watch_for_end();
        saved = live.scenario();
    }
    storykit::write_file(folder.file("saved.json"), saved);
    const std::string lived = without_first_line(contents_of(folder.file("live")));
    EXPECT_THAT(lived, testing::HasSubstr("typed: quit"));
    EXPECT_EQ(without_first_line(trace_of({"--scenario", folder.file("saved.json")}, "again")), lived);
}

TEST_F(ALiveRun, ThatIsEndedFromThePageIsRepeatedByALimitOfItsTime) {
    std::string saved;
    Json limit;
    {
        LiveProgram live({"--trace", folder.file("live")}, host(folder));
        EXPECT_EQ(live.post({{"do", "speed"}, {"value", 100}}), 200);
        (void)live.watch_until(5);
        EXPECT_EQ(live.event({{"gesture", "shake"}}), 200);
        EXPECT_EQ(live.post({{"do", "end"}}), 200);
        const Json last = live.watch_for_end();
        EXPECT_EQ(last.at("end").at("exit_code"), 121);
        limit = last.at("end").at("limit_s");
        saved = live.scenario();
    }
    storykit::write_file(folder.file("saved.json"), saved);
    EXPECT_EQ(without_first_line(
                  trace_of({"--scenario", folder.file("saved.json"), "--limit", limit.dump()}, "again")),
              without_first_line(contents_of(folder.file("live"))));
}

TEST_F(ALiveRun, FocusesAgainByItselfWhenTheUnitHasBeenCarriedAndSetDown) {
    LiveProgram live({}, host(folder));
    EXPECT_EQ(live.post({{"do", "speed"}, {"value", 100}}), 200);
    (void)live.watch_until(15);
    EXPECT_EQ(live.event({{"gesture", "pick_up"}}), 200);
    EXPECT_EQ(live.event({{"gesture", "carry"}, {"to", {{"distance_mm", 2500}}}, {"for_s", 1}}), 200);
    EXPECT_EQ(live.event({{"gesture", "set_down"}, {"to", {{"distance_mm", 2500}}}}), 200);
    const Json found = live.watch_for([](const Json& news) {
        if (!news.contains("state")) return false;
        const Json& truth = news.at("state").at("truth");
        return truth.at("distance_mm") == 2500 && truth.at("sharpness") > 0.98 && !news.at("state").at("held");
    });
    EXPECT_EQ(found.at("state").at("truth").at("distance_mm"), 2500);
}

TEST_F(ALiveRun, StandsWhileItIsPausedAndGoesSoFarInAStep) {
    LiveProgram live({}, host(folder));
    (void)live.watch_until(1);
    EXPECT_EQ(live.post({{"do", "pause"}}), 200);
    const auto is_paused = [](const Json& news) {
        return news.contains("state") && news.at("state").at("paused");
    };
    const auto paused_at = live.watch_for(is_paused).at("state").at("t_us").get<std::int64_t>();
    EXPECT_EQ(live.watch_for(is_paused).at("state").at("t_us"), paused_at);
    EXPECT_EQ(live.post({{"do", "step"}, {"ms", 500}}), 200);
    const Json stepped = live.watch_for([&](const Json& news) {
        return news.contains("state") && news.at("state").at("t_us") >= paused_at + 500000;
    });
    EXPECT_EQ(stepped.at("state").at("t_us"), paused_at + 500000);
}

TEST_F(ALiveRun, CanBeBegunAgainFromThePageAtAnyTime) {
    LiveProgram live({}, host(folder));
    EXPECT_EQ(live.post({{"do", "speed"}, {"value", 100}}), 200);
    (void)live.watch_until(30);
    EXPECT_EQ(live.event({{"key", 115}}), 200);
    EXPECT_EQ(live.post({{"do", "restart"}}), 200);
    (void)live.watch_for(
        [](const Json& news) { return news.contains("state") && news.at("state").at("t_us") < 10000000; });
    EXPECT_EQ(live.event({{"type", "quit"}}), 200);
    EXPECT_EQ(live.post({{"do", "speed"}, {"value", 100}}), 200);
    EXPECT_EQ(live.watch_for_end().at("end").at("exit_code"), 0);
    EXPECT_THAT(live.scenario(), testing::Not(testing::HasSubstr("\"key\"")));
    EXPECT_EQ(live.post({{"do", "restart"}}), 200);
    (void)live.watch_until(1);
}

TEST_F(ALiveRun, EndsWithItsLauncherAndLeavesTheProgramsExitCode) {
    LiveProgram live({}, host(folder));
    EXPECT_EQ(live.event({{"type", "quit"}}), 200);
    EXPECT_EQ(live.post({{"do", "speed"}, {"value", 100}}), 200);
    EXPECT_EQ(live.watch_for_end().at("end").at("exit_code"), 0);
    EXPECT_EQ(live.end(SIGINT), 0);
}

TEST_F(ALiveRun, IsEndedByASignalToItsLauncherAlsoWhilePaused) {
    LiveProgram live({}, host(folder));
    (void)live.watch_until(1);
    EXPECT_EQ(live.post({{"do", "pause"}}), 200);
    EXPECT_EQ(live.end(SIGTERM), 128 + SIGTERM);
}

}  // namespace
