#include "virtual_projector/report/story.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "virtual_projector/storykit/launched_program.h"

namespace {

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
    R"("hdmi_turn_deg":180}})"
    "\n";

struct StoryTest : ::testing::Test {
    storykit::ScratchFolder folder;
    vp::StorySources sources{"A title.", folder.file("trace"), folder.file("log"), folder.file("summary")};

    std::vector<std::string> story_of(const std::string& trace, const std::string& log = "") {
        storykit::write_file(sources.trace, trace);
        if (!sources.library_log.empty()) storykit::write_file(sources.library_log, log);
        storykit::write_file(sources.summary, R"({"simulated_us":350000,"real_us":9000})");
        return vp::format_story(sources);
    }
};

TEST_F(StoryTest, ShowsTheStartTheDecisionsTheMovesTheOutcomeAndTheTimes) {
    const std::string moves =
        "{\"t_us\":100000,\"event\":\"somebody shakes it\"}\n"
        "{\"t_us\":200000,\"call\":\"write\",\"path\":\"/sys/class/motor/left\",\"result\":1,\"data\":\"11\"}\n"
        "{\"t_us\":250000,\"call\":\"write\",\"path\":\"/sys/class/motor/pulse\",\"result\":1,\"data\":\"1\"}\n"
        "{\"t_us\":300000,\"call\":\"write\",\"path\":\"/sys/class/motor/"
        "right\",\"result\":1,\"data\":\"1\"}\n";
    EXPECT_EQ(story_of(before + moves + after, "[ovra_focus]  avgDist = 1504\n"),
              (std::vector<std::string>{
                  "A title.",
                  "At the start: 1500 mm from the wall, tilted by 12.0 degrees, LED at 45 C.",
                  "What the library saw and chose:",
                  "  their mean in range is 1504 mm",
                  "What happened:",
                  "     0.100 s  somebody shakes it",
                  "     0.200 s  lens: 11 full steps to the left",
                  "     0.300 s  lens: 1 half step to the right",
                  "     0.400 s  picture: top 1148, bottom 1280 pixels wide",
                  "The viewer sees the picture upright, from 0.400 s upside down.",
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
                  "Simulated time 0.350 s, real time 0.009 s.",
              }));
}

TEST_F(StoryTest, NamesTheWorldAndTheUnitThatAreNotTheStandardOnes) {
    const auto second_line = [this](const std::string& run) {
        return story_of("{\"t_us\":0,\"run\":{\"format\":2," + run + "}}\n" + before)[1];
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
    const std::vector<std::string> story = story_of(before);
    ASSERT_EQ(story.size(), 12U);
    EXPECT_EQ(story[0], "At the start: 1500 mm from the wall, tilted by 12.0 degrees, LED at 45 C.");
    EXPECT_EQ(story[1], "                                         before        after");
    EXPECT_EQ(story[8], "edges top/bottom (pixels)             1280/1280    1280/1280");
}

TEST_F(StoryTest, SaysNothingOfAPictureThatIsNotOnTheWall) {
    const std::vector<std::string> story =
        story_of(R"({"t_us":0,"truth":{"on_wall":false,"blur_px":3.6,"axis_mm":-1}})"
                 "\n");
    const auto has = [&story](const char* line) {
        return std::find(story.begin(), story.end(), line) != story.end();
    };
    EXPECT_TRUE(has("blur, middle/corner (pixels)              3.6/-        3.6/-"));
    EXPECT_TRUE(has("worst edge (deg), sides differ (%)  not on wall  not on wall"));
    EXPECT_TRUE(has("Outline (mm, x,z): not on wall; light used: 100.0 %."));
    EXPECT_TRUE(has("True distances (mm): axis none; zones right 0, 0, left 0, 0."));
}

TEST_F(StoryTest, ShowsTheFirstTurnsOfThePictureAndCountsTheRest) {
    std::string trace = before;
    for (int i = 1; i <= 6; ++i) {
        trace += "{\"t_us\":" + std::to_string(i * 1000000) +
                 ",\"truth\":{\"hdmi_turn_deg\":" + std::to_string(90 * (i % 4)) + "}}\n";
    }
    const std::vector<std::string> story = story_of(trace);
    EXPECT_NE(std::find(story.begin(), story.end(),
                        "The viewer sees the picture upright, from 1.000 s turned left, from 2.000 s upside "
                        "down, from 3.000 s turned right, from 4.000 s upright, ... and 2 more turns."),
              story.end());
}

TEST_F(StoryTest, CountsTheToasts) {
    const std::vector<std::string> story =
        story_of(before, "[ovra_focus]  show_korbet_toast_akaf.call back toast\n\n");
    EXPECT_EQ(story[3], "  a toast goes to the host");
    EXPECT_EQ(story[4], "Toasts sent to the host: 1.");
}

TEST_F(StoryTest, IsNeverLongerThan38LinesAndKeepsBeginningAndEndOfLongLists) {
    std::string trace = before;
    std::string log;
    for (int i = 0; i < 100; ++i) {
        trace += "{\"t_us\":" + std::to_string(i) + ",\"event\":\"event " + std::to_string(i) + "\"}\n";
        log += "[ovra_focus]  avgDist = " + std::to_string(i) + "\n";
    }
    const std::vector<std::string> story = story_of(trace + after, log);
    EXPECT_LE(story.size(), 38U);
    EXPECT_EQ(story[3], "  their mean in range is 0 mm");
    EXPECT_EQ(story[8], "  ... and 91 more ...");
    EXPECT_EQ(story[12], "  their mean in range is 99 mm");
    EXPECT_EQ(story[14], "     0.000 s  event 0");
    EXPECT_EQ(story[17], "  ... and 96 more ...");
    EXPECT_EQ(story[19], "     0.400 s  picture: top 1148, bottom 1280 pixels wide");
}

TEST_F(StoryTest, SumsUpTheWearOfTheRunWithinTheWidthOfAPage) {
    constexpr const char* wear =
        R"({"t_us":500000,"wear":{"run":{"full_steps":12345,"half_steps":2345,"orders":1234,"reversals":321,)"
        R"("travel_mm":123.456,"end_stop_steps":12,"lost_steps":3,"heat_cycles":2,"record_writes":1,)"
        R"("width_writes":345,"motor_on_s":98.76},"total":{"full_steps":99999}}})"
        "\n";
    std::vector<std::string> story = story_of(std::string(before) + after + wear);
    story.pop_back();
    const std::string second = story.back();
    story.pop_back();
    const std::string first = story.back();
    story.pop_back();
    EXPECT_EQ(story.back(), "Wear: 12345 full steps, 2345 half steps, 1234 orders, 321 reversals, 123.46 mm,");
    EXPECT_EQ(first, "  motor on 98.8 s, 12 end stop steps, 3 lost steps, 2 heat cycles,");
    EXPECT_EQ(second, "  1 record write, 345 width writes.");
    for (const std::string& line : {story.back(), first, second}) EXPECT_LE(line.size(), 80U) << line;
}

TEST_F(StoryTest, SaysThatATraceWithoutRecordsIsEmpty) {
    EXPECT_EQ(story_of(""), (std::vector<std::string>{"There is nothing to tell: the trace " + sources.trace +
                                                      " is empty."}));
}

TEST_F(StoryTest, SaysWhenTheRunLeftNoFigures) {
    storykit::write_file(sources.trace, before);
    EXPECT_EQ(vp::format_story(sources).back(), "The run left no figures behind.");
}

}  // namespace
