// A blank unit at the factory, and units that it has to reject.
#include <gtest/gtest.h>

#include <string>

#include "virtual_projector/storykit/story_run.h"

namespace {

using storykit::flaws;
using storykit::ScratchFolder;
using storykit::Story;
using storykit::StoryResult;

constexpr const char* blank_record =
    "lens table       (erased)\n"
    "gravity offsets  (erased)\n"
    "device serial    (erased)\n"
    "board serial     (erased)\n"
    "gravity sensor   not calibrated (erased)\n"
    "ToF sensor       not calibrated (erased)\n"
    "lens             not calibrated (erased)\n";

// The lens table's text is all of the record up to its first zero byte.
std::string table_text_of(const std::string& record) { return record.substr(0, record.find('\0')); }

// One unit: its memories live on between runs.
struct FactoryTest : ::testing::Test {
    ScratchFolder folder;
    StoryResult run(const std::string& story) {
        return Story(story).with({"--flash", folder.file("flash")}).run();
    }
    std::string record() { return storykit::contents_of(folder.file("flash")); }
};

TEST_F(FactoryTest, CalibratesABlankUnitByOneScript) {
    const StoryResult result = run("factory/1-calibrate");
    EXPECT_EQ(result.exit_code, 0) << result.words;
    EXPECT_EQ(result.words.find(blank_record), 0U) << result.words;
    for (const char* step : {"gravity offsets: done\n", "ToF offset: done\n", "lens direction: done\n",
                             "lens table: done\n", "sharpness peak: done\n", "calibration flags: done\n"}) {
        EXPECT_TRUE(result.printed(step)) << step;
    }
    EXPECT_EQ(result.times_printed("idle travel: done\n"), 2);
    EXPECT_TRUE(result.printed("TMR sense: 1 (readings are negated)"));
    // The record is shown once more at the end.
    const std::string::size_type shown = result.words.rfind("lens table       ");
    ASSERT_NE(shown, 0U);
    EXPECT_EQ(result.words.substr(shown), "lens table       " + table_text_of(record()) +
                                              "\n"
                                              "gravity offsets  12,-7,30\n"
                                              "device serial    (erased)\n"
                                              "board serial     (erased)\n"
                                              "gravity sensor   calibrated (1)\n"
                                              "ToF sensor       calibrated (1)\n"
                                              "lens             calibrated (1)\n");
}

TEST_F(FactoryTest, TheToFOffsetCalibrationTakesTheErrorAway) {
    const StoryResult result = run("factory/1-calibrate");
    EXPECT_TRUE(result.printed("mean 1035 mm\nToF offset: done\n"));
    EXPECT_TRUE(result.printed("mean 1000 mm\nTMR sense"));
}

TEST_F(FactoryTest, AfterAPowerCycleTheUnitSquaresAndFocusesItsPicture) {
    ASSERT_EQ(run("factory/1-calibrate").exit_code, 0);
    const StoryResult result = run("factory/2-first-light");
    EXPECT_EQ(result.exit_code, 0);
    EXPECT_TRUE(result.printed("the library is started; auto-keystone is on, auto-focus is on\n"));
    EXPECT_LT(result.at_the_start().sharpness, 0.1);
    EXPECT_EQ(flaws(result.at_the_end()), "");
}

TEST_F(FactoryTest, TwoUnitsAreCalibratedAndWorkAlikeToTheByte) {
    const ScratchFolder other;
    for (const char* story : {"factory/1-calibrate", "factory/2-first-light"}) {
        const StoryResult one = run(story);
        const StoryResult two = Story(story).with({"--flash", other.file("flash")}).run();
        EXPECT_FALSE(one.trace.lens_moves.empty()) << story;
        EXPECT_TRUE(one.trace_text == two.trace_text) << story;
        EXPECT_EQ(one.words, two.words) << story;
    }
    EXPECT_EQ(record(), storykit::contents_of(other.file("flash")));
}

TEST_F(FactoryTest, WithoutItsCalibrationTheSameUnitStaysBlurred) {
    const StoryResult result = run("factory/2-first-light");
    EXPECT_EQ(result.exit_code, 1);
    EXPECT_TRUE(result.trace.lens_moves.empty());
}

// --- Units that are rejected: which step, why, and what stands in their record --------------------------

constexpr const char* offsets_only = "12,-7,30";

// The record as it is with the gravity offsets written and nothing else.
void expect_offsets_only(const std::string& record) {
    ASSERT_EQ(record.size(), 227U);
    EXPECT_EQ(record.substr(0, 150), std::string(150, '\xff'));
    EXPECT_STREQ(record.substr(150, 24).c_str(), offsets_only);
    EXPECT_EQ(record.substr(174), std::string(53, '\xff'));
}

TEST_F(FactoryTest, RejectsALensThatSticks) {
    const StoryResult result = run("factory-reject-stuck-lens");
    EXPECT_EQ(result.exit_code, 1);
    EXPECT_TRUE(result.printed(
        "idle travel: failed (-100): the reading did not follow the motor: the lens sticks, or its "
        "sensor does not work\n"));
    EXPECT_TRUE(result.printed(":16: stopped at 'calibrate idle left'\n"));
    EXPECT_EQ(result.times_logged("MOTOR_IDLE_DIST NG, MOTOR_IDLE_DIST > 14*5um"), 1);
    expect_offsets_only(record());
}

TEST_F(FactoryTest, RejectsALensSensorThatShowsNothing) {
    const StoryResult result = run("factory-reject-no-polarity");
    EXPECT_EQ(result.exit_code, 1);
    EXPECT_TRUE(result.printed(
        "lens direction: failed (-100): the reading did not follow the motor: the lens sticks, or "
        "its sensor does not work\n"));
    EXPECT_TRUE(result.printed(":15: stopped at 'calibrate direction'\n"));
    EXPECT_EQ(result.times_logged("MOTOR_IDLE_DIST NG, rightR > 14"), 1);
    expect_offsets_only(record());
}

TEST_F(FactoryTest, RejectsAFlashThatDoesNotTakeTheTable) {
    const StoryResult result = run("factory-reject-no-record");
    EXPECT_EQ(result.exit_code, 1);
    EXPECT_TRUE(result.printed("lens table: failed (-1): the permanent record could not be written\n"));
    EXPECT_TRUE(result.printed(":18: stopped at 'calibrate table -48'\n"));
    EXPECT_EQ(result.times_logged("permanent_data_write error"), 1);
    expect_offsets_only(record());
}

TEST_F(FactoryTest, RefusesATableThatWouldNotFitBeforeTheLensIsSwept) {
    const StoryResult result = run("factory-reject-long-table");
    EXPECT_EQ(result.exit_code, 1);
    EXPECT_TRUE(result.printed("a table around TMR -1504 may need more than its 149 characters: refused\n"));
    EXPECT_TRUE(result.printed(": stopped at 'calibrate table -1504'\n"));
    EXPECT_EQ(result.times_logged("manu focus targetTMR"), 0);
    expect_offsets_only(record());
}

TEST_F(FactoryTest, RejectsAToFSensorWhoseCalibrationDoesNotSucceed) {
    const std::string scenario = folder.file("scenario.json");
    storykit::write_file(scenario, R"({"set": {"unit.calibrated": 0, "unit.tof_host_calibration": 0,
        "pose.distance_mm": 1000, "lens.position_steps": 20},
        "faults": [{"operation": "call", "path": "nx_calibration_3d", "error": "EIO"}]})");
    const StoryResult result =
        Story("factory/1-calibrate").scenario(scenario).with({"--flash", folder.file("flash")}).run();
    EXPECT_EQ(result.exit_code, 1);
    EXPECT_TRUE(result.printed(
        "the target at 1000 mm is measured at 1035 mm\n"
        "ToF offset: failed (-1): the calibration did not succeed: is the target flat, square and at this "
        "depth?\n"));
    EXPECT_TRUE(result.printed(":11: stopped at 'calibrate tof 1000 0'\n"));
    EXPECT_EQ(result.times_logged("step_2: nx_calibration_3d failed!"), 1);
    expect_offsets_only(record());
}

TEST_F(FactoryTest, RejectsABenchWithoutATarget) {
    const StoryResult result = Story("factory/1-calibrate").set("pose.distance_mm=5000").run();
    EXPECT_EQ(result.exit_code, 1);
    EXPECT_TRUE(result.printed("the target at 1000 mm cannot be measured\n"));
    EXPECT_TRUE(result.printed(": stopped at 'calibrate tof 1000 0'\n"));
}

// Places of four digits and a sign are too long for the record when there are many, and how many there are
// rests on how far a step moves the lens.
TEST_F(FactoryTest, NoLensMakesATableThatStopsTheProcess) {
    struct Lens {
        int tmr_per_step;
        int offset;
        bool is_refused;
    };
    for (const Lens lens : {Lens{14, -958, true}, Lens{22, -934, true}, Lens{25, -925, true},
                            Lens{30, -912, true}, Lens{40, -880, true}, Lens{18, -900, false}}) {
        const std::string target = std::to_string(lens.offset - 3 * lens.tmr_per_step);
        const StoryResult result = Story("factory/1-calibrate")
                                       .set("tmr.polarity=1")
                                       .set("tmr.slope_per_step=" + std::to_string(lens.tmr_per_step))
                                       .set("tmr.offset=" + std::to_string(lens.offset))
                                       .commands({"init", "calibrate direction", "calibrate table " + target})
                                       .run();
        EXPECT_EQ(result.printed("characters: refused\n"), lens.is_refused) << lens.tmr_per_step;
        EXPECT_EQ(result.exit_code, lens.is_refused ? 1 : 0) << result.words << result.complaints;
    }
}

TEST_F(FactoryTest, DoesNotOverwriteARecordThatCouldNotBeRead) {
    ASSERT_EQ(run("factory/1-calibrate").exit_code, 0);
    const std::string before = record();
    const std::string scenario = folder.file("scenario.json");
    storykit::write_file(
        scenario,
        R"({"faults": [{"operation": "call", "path": "hudi_flash_otp_read", "nth": 1, "error": "EIO"}]})");
    for (const char* command : {"calibrate gravity 1 2 3", "calibrate table -48", "flags 1 1 1"}) {
        const StoryResult result = Story("factory/1-calibrate")
                                       .scenario(scenario)
                                       .with({"--flash", folder.file("flash")})
                                       .commands({command})
                                       .run();
        EXPECT_EQ(result.exit_code, 1) << command;
        EXPECT_EQ(result.words,
                  "the permanent record could not be read, and is not overwritten: start again, or 'clean' it "
                  "first\n");
        EXPECT_EQ(record(), before) << command;
    }
}

TEST_F(FactoryTest, RejectsATableThatDoesNotRise) {
    const StoryResult result = Story("factory/1-calibrate")
                                   .set("tmr.polarity=1")
                                   .set("tmr.noise_sigma=60")
                                   .commands({"calibrate table -48", "flags 1 1 1"})
                                   .run();
    EXPECT_EQ(result.exit_code, 1);
    EXPECT_TRUE(result.printed(
        "lens table: failed (-1): the positions do not rise from step to step: the lens sticks or "
        "jumps, or its sensor is disturbed\n"))
        << result.words;
    EXPECT_FALSE(result.printed("calibration flags"));
}

TEST_F(FactoryTest, RefusesFlagsThatTheRecordCannotHold) {
    for (const char* flags : {"flags 1 1 5", "flags -1 1 1", "flags 1 12 1"}) {
        const StoryResult result =
            Story("factory/1-calibrate").with({"--flash", folder.file("flash")}).commands({flags}).run();
        EXPECT_EQ(result.words, "calibration flags must lie in 0 to 4\n") << flags;
        EXPECT_EQ(result.exit_code, 1) << flags;
        EXPECT_EQ(record(), "") << flags;  // never written
    }
}

}  // namespace
