#include "virtual_projector/report/story.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "virtual_projector/storykit/launched_program.h"

namespace {

using Lines = std::vector<std::string>;

constexpr const char* run = R"({"t_us":0,"run":{"format":2,"world":"laboratory","unit":"standard"}})"
                            "\n";
constexpr const char* before =
    R"({"t_us":0,"truth":{"distance_mm":1500.0,"pitch_deg":12.0,"led_c":45.0,"lens_error_tmr":197.9,)"
    R"("sharpness":0.004,"top_width":1280,"bottom_width":1280,"left_side_deg":-5.45,"right_side_deg":5.45,)"
    R"("top_edge_deg":0.5,"bottom_edge_deg":-0.5,"blur_px":9.9,"blur_corner_px":12.1,)"
    R"("hdmi_turn_deg":0}})"
    "\n";
constexpr const char* after =
    R"({"t_us":400000,"truth":{"distance_mm":1500.0,"pitch_deg":12.0,"led_c":45.0,"lens_error_tmr":-0.1,)"
    R"("sharpness":1.0,"top_width":1148,"bottom_width":1280,"left_side_deg":-0.04,"right_side_deg":0.04,)"
    R"("top_edge_deg":0.1,"bottom_edge_deg":-0.1,"blur_corner_px":0.6,"light_used":0.948,)"
    R"("worst_edge_deg":0.1,"side_difference":-0.0213,"axis_mm":1500.4,"zones_mm":[1571.2,1435.1,-1,1436],)"
    R"("outline_mm":[[-653.2,731],[653,731],[652,-63.4],[-652,-63]],)"
    R"("hdmi_turn_deg":180,"menu_turn_deg":180}})"
    "\n";

// Records of a trace, one after the other. Times are in milliseconds.
class Trace {
public:
    Trace& truth(const std::string& members) { return add("\"truth\":{" + members + "}"); }
    Trace& at(int t_ms) {
        t_us_ = 1000L * t_ms;
        return *this;
    }
    Trace& event(const std::string& what) { return add(R"("event":")" + what + "\""); }
    Trace& by_host() { return on(R"("thread":1,"name":"main",)"); }
    Trace& by_worker() { return on(R"("thread":4,"name":"keystonefocus_thread",)"); }
    Trace& by_gravity() { return on(R"("thread":3,"name":"ovra_gsensor_thread",)"); }
    Trace& log(const std::string& message) {
        return add(thread_ + R"("log":"[ovra_focus]  )" + message + "\"");
    }
    Trace& flag(const std::string& name, int value) {
        return add(thread_ + R"("state":{")" + name + "\":" + std::to_string(value) + "}");
    }
    Trace& toast(int code, const std::string& means) {
        return add(thread_ + R"("callback":"toast","slot":5,"arguments":[)" + std::to_string(code) +
                   R"(],"means":")" + means + "\"");
    }
    Trace& refresh() { return add(thread_ + R"("callback":"refresh_ui","slot":1)"); }
    Trace& rotation(int code) {
        return add(thread_ + R"("callback":"rotation_changed","slot":7,"arguments":[)" + std::to_string(code) +
                   "]");
    }
    Trace& write(const std::string& node, int value) {
        return add(thread_ + R"("call":"write","path":"/sys/class/motor/)" + node + R"(","result":1,"data":")" +
                   std::to_string(value) + "\"");
    }
    Trace& fault(int number) {
        return add(thread_ +
                   R"("call":"read","path":"/sys/class/motor/stop","count":20,"result":-5,"error":"EIO",)" +
                   R"("fault":{"number":)" + std::to_string(number) + R"(,"did":"failed with EIO"})");
    }
    // From asking to the end, which leaves the picture at this sharpness and width.
    Trace& focus_run(int asked_ms, int ended_ms, const std::string& sharpness, int top_width) {
        at(asked_ms).by_host().log("received akaf command").at(asked_ms + 10).by_worker().log("run once AKAF");
        log("varnel_thread_setDLPKeystone: keystone upWidth = " + std::to_string(top_width) +
            ", downWidth = 1280");
        at(ended_ms).write("left", 1).truth(
            "\"sharpness\":" + sharpness + ",\"bottom_width\":1280,\"top_width\":" + std::to_string(top_width));
        return log("auto focus completed").log("auto focus STATE flag : 0");
    }
    const std::string& text() const { return text_; }

private:
    Trace& on(const char* thread) {
        thread_ = thread;
        return *this;
    }
    Trace& add(const std::string& members) {
        text_ += "{\"t_us\":" + std::to_string(t_us_) + "," + members + "}\n";
        return *this;
    }

    std::string text_;
    std::string thread_ = R"("thread":1,"name":"main",)";
    long t_us_ = 0;
};

struct StoryTest : ::testing::Test {
    storykit::ScratchFolder folder;
    vp::StorySources sources{"A title.", folder.file("trace"), folder.file("log"), folder.file("summary")};
    vp::StoryOptions options;

    Lines story_of(const std::string& trace, const std::string& log = "") {
        storykit::write_file(sources.trace, run + trace);
        if (!sources.library_log.empty()) storykit::write_file(sources.library_log, log);
        storykit::write_file(sources.summary, R"({"simulated_us":350000,"real_us":9000})");
        return vp::format_story(sources, options);
    }
    Lines story_of(const Trace& trace) { return story_of(before + trace.text()); }
    // What stands between the start and the toasts.
    Lines list_of(const Trace& trace) {
        const Lines story = story_of(trace);
        const auto end = std::find_if(story.begin(), story.end(), [](const std::string& line) {
            return line.rfind("Toasts sent to the host", 0) == 0;
        });
        return story.size() < 2 ? Lines{} : Lines(story.begin() + 2, end);
    }
};

// The words without the breaks of their lines.
std::string joined(const Lines& lines) {
    std::string words;
    for (const std::string& line : lines) {
        const std::size_t first = line.find_first_not_of(' ');
        words += (words.empty() ? "" : " ") + (first == std::string::npos ? "" : line.substr(first));
    }
    return words;
}

bool has(const Lines& story, const std::string& words) {
    return joined(story).find(words) != std::string::npos;
}

std::size_t count_of(const Lines& story, const std::string& words) {
    return static_cast<std::size_t>(
        std::count_if(story.begin(), story.end(),
                      [&words](const std::string& line) { return line.find(words) != std::string::npos; }));
}

std::size_t widest(const Lines& story) {
    std::size_t width = 0;
    for (const std::string& line : story) width = std::max(width, line.size());
    return width;
}

// --- As a whole --------------------------------------------------------------------------------------------

TEST_F(StoryTest, ShowsTheStartWhatHappenedTheOutcomeAndTheTimes) {
    Trace moves;
    moves.at(100).event("somebody shakes it").at(200).write("left", 11);
    moves.at(250).write("pulse", 1).at(300).write("right", 1);
    EXPECT_EQ(story_of(before + moves.text() + after, "[ovra_focus]  avgDist = 1504\n"),
              (Lines{
                  "A title.",
                  "At the start: 1500 mm from the wall, tilted by 12.0 degrees, LED at 45 C.",
                  "         the mean of what is in range is 1504 mm",
                  "0.100 s  somebody shakes it",
                  "0.200 s  lens: 11 full steps to the left, 1 half step to the right, in 2 orders",
                  "           until 0.300 s",
                  "0.400 s  the viewer sees the picture upside down",
                  "0.400 s  picture: top edge 1280 -> 1148, bottom edge 1280 pixels wide",
                  "Toasts sent to the host: none.",
                  "                                         before        after",
                  "sharpness (0 to 1)                        0.004        1.000",
                  "lens error (TMR units)                    197.9         -0.1",
                  "blur, middle/corner (pixels)           9.9/12.1      0.0/0.6",
                  "left/right side from upright (deg)   -5.45/5.45   -0.04/0.04",
                  "top/bottom edge from level (deg)     0.50/-0.50   0.10/-0.10",
                  "worst edge (deg), sides differ (%)     0.00/0.0    0.10/-2.1",
                  "edges top/bottom (pixels)             1280/1280    1148/1280",
                  "picture                                 upright  upside down",
                  "Outline (mm, x,z): -653,731 653,731 652,-63 -652,-63; light used: 94.8 %.",
                  "True distances (mm): axis 1500; zones right 1571, 1435, left none, 1436.",
                  "Not shown, or drawn together: 1 lens order; --full shows all.",
                  "Simulated time 0.350 s, real time 0.009 s.",
              }));
}

TEST_F(StoryTest, NamesTheWorldAndTheUnitThatAreNotTheStandardOnes) {
    const auto second_line = [this](const std::string& members) {
        storykit::write_file(sources.trace, "{\"t_us\":0,\"run\":{\"format\":2," + members + "}}\n" + before);
        return vp::format_story(sources).at(1);
    };
    const std::string start = "At the start: 1500 mm from the wall, tilted by 12.0 degrees, LED at 45 C.";
    EXPECT_EQ(second_line(R"("world":"laboratory","unit":"standard")"), start);
    EXPECT_EQ(second_line(R"("world":"living-room","unit":"standard")"), "World: living-room.");
    EXPECT_EQ(second_line(R"("world":"living-room","unit":"standard","unit_seed":3)"),
              "World: living-room; unit: 3 of standard.");
    EXPECT_EQ(second_line(R"("world":"laboratory","unit":"exact","unit_seed":7)"),
              "World: laboratory; unit: 7 of exact.");
}

TEST_F(StoryTest, LeavesOutWhatThereIsNot) {
    sources.title.clear();
    sources.library_log.clear();
    const Lines story = story_of(Trace());
    ASSERT_EQ(story.size(), 13U);
    EXPECT_EQ(story[0], "At the start: 1500 mm from the wall, tilted by 12.0 degrees, LED at 45 C.");
    EXPECT_EQ(story[1], "Toasts sent to the host: none.");
    EXPECT_EQ(story[9], "edges top/bottom (pixels)             1280/1280    1280/1280");
}

TEST_F(StoryTest, SaysNothingOfAPictureThatIsNotOnTheWall) {
    const Lines story = story_of(R"({"t_us":0,"truth":{"on_wall":false,"blur_px":3.6,"axis_mm":-1}})"
                                 "\n");
    EXPECT_EQ(count_of(story, "blur, middle/corner (pixels)              3.6/-        3.6/-"), 1U);
    EXPECT_EQ(count_of(story, "worst edge (deg), sides differ (%)  not on wall  not on wall"), 1U);
    EXPECT_EQ(count_of(story, "Outline (mm, x,z): not on wall; light used: 100.0 %."), 1U);
    EXPECT_EQ(count_of(story, "True distances (mm): axis none; zones right 0, 0, left 0, 0."), 1U);
}

TEST_F(StoryTest, SaysThatATraceWithoutRecordsIsEmpty) {
    EXPECT_EQ(story_of("").front(), "There is nothing to tell: the trace " + sources.trace + " is empty.");
}

TEST_F(StoryTest, TellsWhatHappenedInATraceWithoutTruths) {
    const Lines story = story_of("{\"t_us\":10,\"event\":\"somebody shakes it\"}\n");
    EXPECT_EQ(story[1], "What was really so the trace does not say.");
    EXPECT_TRUE(has(story, "somebody shakes it"));
    EXPECT_FALSE(has(story, "before"));
    EXPECT_FALSE(has(story, "True distances"));
}

TEST_F(StoryTest, SaysWhenTheRunLeftNoFigures) {
    storykit::write_file(sources.trace, std::string(run) + before);
    EXPECT_EQ(vp::format_story(sources).back(), "The run left no figures behind.");
}

TEST_F(StoryTest, OfATraceThatBreaksOffTellsWhatIsThereAndThatItBreaksOff) {
    const Lines story = story_of(before + Trace().at(100).event("somebody shakes it").text() + "{\"t_us\":2");
    EXPECT_TRUE(has(story, "0.100 s  somebody shakes it"));
    EXPECT_TRUE(has(story, "The trace cannot be read to its end: "));
}

TEST_F(StoryTest, SumsUpTheWearOfTheRunWithinTheWidthOfAPage) {
    constexpr const char* wear =
        R"({"t_us":500000,"wear":{"run":{"full_steps":12345,"half_steps":2345,"orders":1234,"reversals":321,)"
        R"("travel_mm":123.456,"end_stop_steps":12,"lost_steps":3,"heat_cycles":2,"record_writes":1,)"
        R"("width_writes":345,"motor_on_s":98.76},"total":{"full_steps":99999}}})"
        "\n";
    const Lines story = story_of(std::string(before) + after + wear);
    EXPECT_TRUE(
        has(story,
            "Wear: 12345 full steps, 2345 half steps, 1234 orders, 321 reversals, 123.46 mm, motor on "
            "98.8 s, 12 end stop steps, 3 lost steps, 2 heat cycles, 1 record write, 345 width writes."));
    EXPECT_LE(widest(story), 80U);
}

// --- Requests ----------------------------------------------------------------------------------------------

TEST_F(StoryTest, TellsEachRequestWithWhatItWasLikeBeforeAndAfterIt) {
    const Lines list = list_of(Trace().focus_run(1000, 1300, "0.9", 1200).focus_run(2000, 2400, "0.99", 1100));
    EXPECT_TRUE(has(list,
                    "1.000 s  1  keystone and focus, asked for by the host; done by 1.300 s: focused "
                    "(sharpness 0.004 -> 0.900"));
    EXPECT_TRUE(has(list,
                    "2.000 s  2  keystone and focus, asked for by the host; done by 2.400 s: focused "
                    "(sharpness 0.900 -> 0.990"));
}

TEST_F(StoryTest, GivesWhatBelongsToARequestItsNumber) {
    Trace trace;
    trace.at(500).event("somebody shakes it").focus_run(1000, 1300, "0.9", 1200);
    const Lines list = list_of(trace.focus_run(2000, 2400, "0.99", 1100));
    EXPECT_EQ(count_of(list, "0.500 s     somebody shakes it"), 1U);
    EXPECT_EQ(count_of(list, "1.010 s  1   chosen to square it: top edge 1200 pixels"), 1U);
    EXPECT_EQ(count_of(list, "1.300 s  1   lens: 1 full step to the left"), 1U);
    EXPECT_EQ(count_of(list, "2.010 s  2   chosen to square it: top edge 1100 pixels"), 1U);
    EXPECT_EQ(count_of(list, "2.400 s  2   lens: 1 full step to the left"), 1U);
}

TEST_F(StoryTest, SaysWhoAskedForARequest) {
    Trace trace;
    trace.at(100).by_gravity().log("received akaf command").at(200).by_worker().log("run once AKAF");
    EXPECT_TRUE(has(list_of(trace.log("auto focus completed").log("auto focus STATE flag : 0")),
                    "keystone and focus, asked for after a movement; done by 0.200 s: focused"));
}

TEST_F(StoryTest, TellsAManualKeystoneByItsTilt) {
    Trace trace;
    trace.at(100).by_host().flag("m_manuKeystone_value_for_thread", 12).flag("g_run_once_keystone", 1);
    trace.at(200).by_worker().log("run once keystone").at(300).flag("g_run_once_keystone", 0);
    EXPECT_TRUE(has(list_of(trace),
                    "0.100 s  1  keystone for a tilt of 12 degrees, asked for by the host; done by "
                    "0.300 s (sides 5.45 deg off)"));
}

TEST_F(StoryTest, NamesTheRefusalOfARequestAndItsToast) {
    Trace trace;
    trace.at(100).by_host().log("manu focus error: have not benn calibrated");
    trace.toast(11, "auto-focus is off");
    const Lines story = story_of(trace);
    EXPECT_TRUE(has(story, "0.100 s  1  lens by hand, asked for by the host; refused: auto-focus is off"));
    EXPECT_TRUE(has(story, "0.100 s  1   auto-focus is off: no manual focus"));
    EXPECT_TRUE(has(story, "0.100 s  1   toast to the host: 11 (auto-focus is off)"));
}

TEST_F(StoryTest, SaysOfARequestThatItWasNotOverOrNeverServed) {
    Trace trace;
    trace.at(100).by_host().log("received akaf command").at(200).by_worker().log("run once AKAF");
    trace.at(300).by_host().log("received akaf command");
    const Lines list = list_of(trace);
    EXPECT_TRUE(has(list, "0.100 s  1  keystone and focus, asked for by the host; was not over at the end"));
    EXPECT_TRUE(has(list, "0.300 s  2  keystone and focus, asked for by the host; was never served"));
}

Trace& followed(Trace& trace, int from_ms, int to_ms) {
    trace.at(from_ms).by_gravity().flag("project_tof_dist_changed", 1);
    return trace.at(to_ms).by_gravity().flag("project_tof_dist_changed", 0);
}

TEST_F(StoryTest, TellsAMovementThatIsFollowedAgainAndAgainAsOne) {
    Trace trace;
    followed(followed(followed(trace, 1000, 1300), 2000, 2400), 3000, 3400);
    trace.truth(R"("top_width":1280,"bottom_width":1280,"left_side_deg":1,"right_side_deg":1)");
    EXPECT_TRUE(has(list_of(trace),
                    "1.000 s  1  keystone while it is being moved, 3 times; done by 3.400 s: nothing "
                    "to do (sides 5.45 -> 1.00 deg off)"));
    EXPECT_TRUE(has(story_of(trace), "Not shown, or drawn together: 2 repeated requests; --full shows all."));
}

TEST_F(StoryTest, KeepsMovementsApartBetweenWhichSomethingHappened) {
    Trace trace;
    followed(trace, 1000, 1300).at(1500).event("somebody shakes it");
    const Lines list = list_of(followed(trace, 2000, 2400));
    EXPECT_EQ(count_of(list, " 1  keystone while it is being moved;"), 1U);
    EXPECT_EQ(count_of(list, " 2  keystone while it is being moved;"), 1U);
}

TEST_F(StoryTest, TellsWhereThePictureLeavesTheWall) {
    Trace trace;
    trace.at(1000).by_gravity().flag("project_tof_dist_changed", 1).at(1200);
    trace.truth(R"("top_width":1280,"bottom_width":1280,"on_wall":false)").flag("project_tof_dist_changed", 0);
    EXPECT_TRUE(has(list_of(trace), "(picture 5.45 deg off -> not on the wall)"));
}

// --- What is seen and sent ---------------------------------------------------------------------------------

TEST_F(StoryTest, TellsATurnByWhatTheViewerSees) {
    Trace trace;
    trace.at(1000).by_gravity().rotation(2).log("from HSYNC_0 -> HSYNC_180, device rotation success");
    trace.at(1020).truth(R"("hdmi_turn_deg":180,"menu_turn_deg":180)").at(2000);
    const Lines list = list_of(trace.truth(R"("hdmi_turn_deg":0,"menu_turn_deg":180)"));
    EXPECT_TRUE(has(list, "1.000 s     the host is told that the picture is turned by 180 degrees"));
    EXPECT_TRUE(has(list, "1.000 s  1  the picture turned, as gravity says"));
    EXPECT_TRUE(has(list, "1.020 s     the viewer sees the picture upside down"));
    EXPECT_TRUE(
        has(list,
            "2.000 s     the viewer sees the HDMI picture upright, the menu upside down unless the host "
            "turns it"));
    EXPECT_FALSE(has(list, "HSYNC"));
}

TEST_F(StoryTest, TellsToastsThatWereSentAndNotLinesOfTheLog) {
    Trace trace;
    trace.at(100).log("show_korbet_toast_akaf.call back toast");
    const Lines none = story_of(trace);
    EXPECT_EQ(count_of(none, "Toasts sent to the host: none."), 1U);
    EXPECT_TRUE(has(none, "a toast reaches nobody: auto-focus has no slot of the host's for it"));
    trace.log("show_korbet_toast_akaf.call back toast").toast(6, "the lens is at its right limit");
    trace.toast(7, "the left limit").at(200).toast(6, "the lens is at its right limit");
    const Lines story = story_of(trace);
    EXPECT_TRUE(has(
        story, "Toasts sent to the host: 6 (the lens is at its right limit), 2 times, 7 (the left limit)."));
    EXPECT_EQ(count_of(story, "0.100 s  toast to the host: 6 (the lens is at its right limit)"), 1U);
    EXPECT_EQ(count_of(story, "a toast reaches nobody"), 1U);
}

TEST_F(StoryTest, SaysWhatAFailedCallMeansWhereItIsKnown) {
    const auto failure = [](const std::string& path) {
        return R"({"t_us":5,"thread":1,"name":"main","call":"open","path":")" + path +
               R"(","result":-1,"error":"ENOENT"})" + "\n";
    };
    const Lines story = story_of(failure("/sys/class/dlp/elepn_focus_curve_data") + failure("/dev/something"));
    EXPECT_TRUE(has(story, "the light engine has no focus curve (open"));
    EXPECT_EQ(count_of(story, "0.000 s  open /dev/something fails: ENOENT"), 1U);
}

TEST_F(StoryTest, TellsWhatEachFaultDid) {
    EXPECT_TRUE(has(list_of(Trace().at(100).fault(2)),
                    "0.100 s  planned fault 2: failed with EIO (read /sys/class/motor/stop)"));
}

TEST_F(StoryTest, SaysUntilWhenOnlyOfWhatTookSomeTime) {
    Trace trace;
    trace.at(100).refresh().refresh();
    EXPECT_EQ(list_of(trace).back(), "0.100 s  the host is asked to refresh its menu, 2 times");
    trace.at(300).refresh();
    EXPECT_EQ(list_of(trace).back(), "0.100 s  the host is asked to refresh its menu, 3 times until 0.300 s");
}

TEST_F(StoryTest, DrawsLooksTogetherWithTheFirstAndTheLastNumber) {
    Trace trace;
    trace.at(100).log("avgDist = 1504").at(200).log("avgDist = 1300").at(300).log("avgDist = 1200");
    EXPECT_EQ(joined(list_of(trace)),
              "0.100 s  the mean of what is in range is 1504 mm, 3 times until 0.300 s, at last 1200 mm");
}

TEST_F(StoryTest, StandsInOrderOfTime) {
    Trace trace;
    trace.at(100).log("avgDist = 1504").focus_run(150, 400, "0.9", 1200).at(450).event("somebody shakes it");
    trace.at(500).log("avgDist = 1300").focus_run(600, 900, "0.9", 1100).at(950).fault(1);
    for (const bool full : {false, true}) {
        options.full = full;
        std::vector<double> times;
        for (const std::string& line : list_of(trace)) {
            if (line[0] != ' ') times.push_back(std::stod(line));
        }
        EXPECT_GE(times.size(), 8U);
        EXPECT_TRUE(std::is_sorted(times.begin(), times.end()));
    }
}

// --- Cutting -----------------------------------------------------------------------------------------------

// More of everything than a page holds, and the events of `events` moments.
Trace long_story(int events) {
    Trace trace;
    for (int i = 0; i < events; ++i) trace.at(100 * i).event("event number " + std::to_string(i) + ".");
    for (int i = 0; i < 30; ++i) {
        trace.focus_run(100'000 + 1000 * i, 100'300 + 1000 * i, "0.9" + std::to_string(i), 1000 + i);
        trace.at(100'400 + 1000 * i).by_host().toast(6, "the right limit").event("event between");
    }
    return trace;
}

TEST_F(StoryTest, IsAtMostFortyLinesOfAtMostEightyColumnsAndSaysWhatItLeavesOut) {
    Trace trace;
    for (int i = 0; i < 30; ++i) {
        trace.focus_run(1000 * i, 1000 * i + 300, "0.9" + std::to_string(i), 1000 + i);
        trace.at(1000 * i + 400).by_host().toast(6, "the right limit");
    }
    const Lines story = story_of(trace);
    EXPECT_LE(story.size(), 40U);
    EXPECT_GE(story.size(), 35U);
    EXPECT_LE(widest(story), 80U);
    EXPECT_TRUE(has(story, "Not shown, or drawn together: "));
    EXPECT_TRUE(has(story, "30 lens orders"));
    EXPECT_TRUE(has(story, "where the picture is, wear; --full shows all."));
}

TEST_F(StoryTest, NeverCutsAnEvent) {
    const Lines story = story_of(long_story(60));
    for (int i = 0; i < 60; ++i)
        EXPECT_EQ(count_of(story, " event number " + std::to_string(i) + "."), 1U) << i;
    EXPECT_EQ(count_of(story, "event between"), 30U);
    EXPECT_TRUE(has(story, "29 requests"));
}

TEST_F(StoryTest, TellsTheLastRequestHoweverManyThereAreAndHoweverManyEvents) {
    const Lines story = story_of(long_story(60));
    EXPECT_EQ(count_of(story, "29  keystone and focus, asked for"), 0U);
    EXPECT_EQ(count_of(story, "30  keystone and focus, asked for"), 1U);
}

TEST_F(StoryTest, SaysHowManyOfTheRequestsThatItLeavesOutFailed) {
    Trace trace = long_story(60);
    EXPECT_TRUE(has(story_of(trace), "29 requests, "));
    for (int i = 0; i < 20; ++i) {
        trace.at(200'000 + 1000 * i).by_host().log("manu focus error: have not benn calibrated!");
        trace.at(200'500 + 1000 * i).event("event between");
    }
    EXPECT_TRUE(has(story_of(trace), " requests (15 failed), "));
}

TEST_F(StoryTest, CountsRequestsThatWentAlikeOnceAmongThoseThatItLeavesOut) {
    Trace trace = long_story(60);
    for (int i = 0; i < 20; ++i) {
        trace.at(200'000 + 1000 * i).by_gravity().flag("project_tof_dist_changed", 1);
        trace.at(200'500 + 1000 * i).by_gravity().flag("project_tof_dist_changed", 0);
    }
    const Lines story = story_of(trace);
    EXPECT_TRUE(has(story, "30 requests, "));
    EXPECT_TRUE(has(story, "19 repeated requests, "));
}

TEST_F(StoryTest, CutsReadingsBeforeDecisionsAndThoseBeforeRequests) {
    Trace trace;
    for (int i = 0; i < 5; ++i) {
        trace.focus_run(1000 * i, 1000 * i + 300, "0." + std::to_string(i), 1000 + i).at(1000 * i + 400);
        trace.event("event between").by_host().log("tof angle = " + std::to_string(i) + " degree");
    }
    const Lines story = story_of(trace);
    EXPECT_EQ(count_of(story, "keystone and focus, asked for"), 5U);
    EXPECT_EQ(count_of(story, "chosen to square it"), 5U);
    EXPECT_EQ(count_of(story, "the ToF sensor says a tilt"), 0U);
    EXPECT_TRUE(has(story, "5 readings"));
    EXPECT_FALSE(has(story, "requests"));
}

TEST_F(StoryTest, ThatIsFullShowsEverythingAndLeavesNothingOut) {
    options.full = true;
    const Lines story = story_of(long_story(50));
    EXPECT_EQ(count_of(story, "event number "), 50U);
    EXPECT_EQ(count_of(story, "keystone and focus, asked for by the host"), 30U);
    EXPECT_EQ(count_of(story, "   lens: 1 full step to the left"), 30U);
    EXPECT_EQ(count_of(story, "   chosen to square it"), 30U);
    EXPECT_EQ(count_of(story, "   done: focused (sharpness "), 30U);
    EXPECT_EQ(count_of(story, "toast to the host: 6"), 30U);
    EXPECT_EQ(count_of(story, "Outline (mm, x,z)"), 1U);
    EXPECT_FALSE(has(story, "--full"));
    EXPECT_LE(widest(story), 80U);
}

// --- The library's own lines -------------------------------------------------------------------------------

TEST_F(StoryTest, ShowsTheLibrarysOwnLinesInTheirPlacesWhenAsked) {
    Trace trace;
    trace.at(100).event("before").at(200).log("\\u001b[36;1mavgDist = 1504\\u001b[0m").at(300).event("after");
    EXPECT_FALSE(has(story_of(trace), "avgDist"));
    options.log = true;
    EXPECT_EQ(list_of(trace), (Lines{
                                  "0.100 s  before",
                                  "0.200 s  [ovra_focus]  avgDist = 1504",
                                  "0.200 s  the mean of what is in range is 1504 mm",
                                  "0.300 s  after",
                              }));
}

TEST_F(StoryTest, NeverCutsTheLibrarysOwnLinesThatWereAskedFor) {
    Trace trace;
    for (int i = 0; i < 100; ++i) trace.at(i).log("nothing in particular");
    options.log = true;
    EXPECT_EQ(count_of(story_of(trace), "[ovra_focus]  nothing in particular"), 100U);
}

TEST_F(StoryTest, ReadsTheLogsFileWhereTheTraceHasNoLog) {
    const std::string line = "[ovra_focus]  avgDist = 1504\n";
    EXPECT_TRUE(has(story_of(before, line), "the mean of what is in range is 1504 mm"));
    const std::string trace = before + Trace().at(100).log("avgDist = 1300").text();
    EXPECT_TRUE(has(story_of(trace, line), "the mean of what is in range is 1300 mm"));
    EXPECT_EQ(count_of(story_of(trace, line), "is 1504 mm"), 0U);
}

// --- Lines -------------------------------------------------------------------------------------------------

TEST_F(StoryTest, BreaksNoLineBetweenANumberAndItsUnit) {
    for (int blanks = 0; blanks < 12; ++blanks) {
        const std::string what = "somebody carries the projector" +
                                 std::string(static_cast<std::size_t>(blanks), 'y') +
                                 " from the left to the right end, by 1234 mm and on";
        for (const std::string& line : story_of(Trace().at(100).event(what)))
            EXPECT_NE(line.substr(line.size() < 4 ? 0 : line.size() - 4), "1234");
    }
}

}  // namespace
