// A blank unit at the factory, and units that it has to reject.
#include <gtest/gtest.h>

#include <string>

#include "tests/stories/storykit/story_run.h"

namespace {

using storykit::flaws;
using storykit::ScratchFolder;
using storykit::Story;
using storykit::Told;

constexpr const char* blank_record =
    "lens table       (erased)\n"
    "gravity offsets  (erased)\n"
    "device serial    (erased)\n"
    "board serial     (erased)\n"
    "gravity sensor   not calibrated (erased)\n"
    "ToF sensor       not calibrated (erased)\n"
    "lens             not calibrated (erased)\n";

// One unit: its memories live on between runs.
struct FactoryTest : ::testing::Test {
    ScratchFolder folder;
    Told run(const std::string& story) { return Story(story).with({"--flash", folder.file("flash")}).run(); }
    std::string record() { return storykit::contents_of(folder.file("flash")); }
};

TEST_F(FactoryTest, CalibratesABlankUnitByOneScript) {
    const Told told = run("factory/1-calibrate");
    EXPECT_EQ(told.exit_code, 0) << told.words;
    EXPECT_EQ(told.words.find(blank_record), 0U) << told.words;
    for (const char* step : {"gravity offsets: done\n", "ToF offset: done\n", "lens direction: done\n",
                             "lens table: done\n", "sharpness peak: done\n", "calibration flags: done\n"}) {
        EXPECT_TRUE(told.said(step)) << step;
    }
    EXPECT_EQ(told.times_said("idle travel: done\n"), 2);
    EXPECT_TRUE(told.said("TMR sense: 1 (readings are negated)"));
    EXPECT_TRUE(told.said("gravity offsets  12,-7,30\n"));
    EXPECT_TRUE(told.said("lens             calibrated (1)\n"));
}

TEST_F(FactoryTest, TheToFOffsetCalibrationTakesTheErrorAway) {
    const Told told = run("factory/1-calibrate");
    EXPECT_TRUE(told.said("mean 1035 mm\nToF offset: done\n"));
    EXPECT_TRUE(told.said("mean 1000 mm\nTMR sense"));
}

TEST_F(FactoryTest, AfterAPowerCycleTheUnitSquaresAndFocusesItsPicture) {
    ASSERT_EQ(run("factory/1-calibrate").exit_code, 0);
    const Told told = run("factory/2-first-light");
    EXPECT_EQ(told.exit_code, 0);
    EXPECT_TRUE(told.said("the library is started; auto-keystone is on, auto-focus is on\n"));
    EXPECT_LT(told.at_the_start().sharpness, 0.1);
    EXPECT_EQ(flaws(told.at_the_end()), "");
}

TEST_F(FactoryTest, WithoutItsCalibrationTheSameUnitStaysBlurred) {
    const Told told = run("factory/2-first-light");
    EXPECT_EQ(told.exit_code, 1);
    EXPECT_TRUE(told.trace.lens_moves.empty());
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
    const Told told = run("factory-reject-stuck-lens");
    EXPECT_EQ(told.exit_code, 1);
    EXPECT_TRUE(
        told.said("idle travel: failed (-100): the reading did not follow the motor: the lens sticks, or its "
                  "sensor does not work\n"));
    EXPECT_TRUE(told.said(":16: stopped at 'calibrate idle left'\n"));
    EXPECT_EQ(told.times_logged("MOTOR_IDLE_DIST NG, MOTOR_IDLE_DIST > 14*5um"), 1);
    expect_offsets_only(record());
}

TEST_F(FactoryTest, RejectsALensSensorThatShowsNothing) {
    const Told told = run("factory-reject-no-sense");
    EXPECT_EQ(told.exit_code, 1);
    EXPECT_TRUE(
        told.said("lens direction: failed (-100): the reading did not follow the motor: the lens sticks, or "
                  "its sensor does not work\n"));
    EXPECT_TRUE(told.said(":15: stopped at 'calibrate direction'\n"));
    EXPECT_EQ(told.times_logged("MOTOR_IDLE_DIST NG, rightR > 14"), 1);
    expect_offsets_only(record());
}

TEST_F(FactoryTest, RejectsAFlashThatDoesNotTakeTheTable) {
    const Told told = run("factory-reject-no-record");
    EXPECT_EQ(told.exit_code, 1);
    EXPECT_TRUE(told.said("lens table: failed (-1): the permanent record could not be written\n"));
    EXPECT_TRUE(told.said(":18: stopped at 'calibrate table -48'\n"));
    EXPECT_EQ(told.times_logged("permanent_data_write error"), 1);
    expect_offsets_only(record());
}

TEST_F(FactoryTest, RefusesATableThatWouldNotFitBeforeTheLensIsSwept) {
    const Told told = run("factory-reject-long-table");
    EXPECT_EQ(told.exit_code, 1);
    EXPECT_TRUE(told.said("a table around TMR -1504 needs more than its 149 characters: refused\n"));
    EXPECT_TRUE(told.said(": stopped at 'calibrate table -1504'\n"));
    EXPECT_EQ(told.times_logged("manu focus targetTMR"), 0);
    expect_offsets_only(record());
}

}  // namespace
