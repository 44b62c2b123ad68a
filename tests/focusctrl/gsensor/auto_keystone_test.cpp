#include "ovrafocus/auto_keystone.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <sstream>
#include <string>
#include <vector>

#include "ovrafocus/acceleration.h"
#include "ovrafocus/config.h"
#include "ovrafocus/focus_nodes.h"
#include "ovrafocus/host_interface.h"
#include "ovrafocus/motion.h"
#include "ovrafocus/nds01_device.h"
#include "ovrafocus/nds01_isp.h"
#include "ovrafocus/nds01_start.h"
#include "tests/focusctrl/gsensor/scripted_gravity.h"
#include "tests/support/scripted_board.h"
#include "tests/support/scripted_vendor.h"

namespace {

using testkit::ScriptedBoard;
using testkit::ScriptedGravity;
using testkit::vendor;
using Lines = std::vector<std::string>;

// The keystone computation's own last line: a correction was made.
const std::string corrected = "VKeystone success";

std::string over_range_line(int mm, int times) {
    return "the projection distance = " + std::to_string(mm) + " exceeds 3000mm times " + std::to_string(times);
}

std::string steady_line(int times) { return "match tof steady times " + std::to_string(times); }

const std::string over_range_end_line = "the projection exceeds 3000mm, stop keystone";
const std::string steady_end_line = "tof stable and exit keystone";
const std::string unreadable_line = "Unable to read TOF angle, end auto keystone";

struct AutoKeystone : ::testing::Test {
    ScriptedBoard board;
    ScriptedGravity gravity{board};
    std::uint16_t depth_mm = 0;
    std::int16_t yaw = 0;

    void SetUp() override {
        board.on_ioctl("/dev/nds01", [](std::uint32_t, void* frame) {
            fill_with_valid_zones(frame);
            return 0L;
        });
        vendor().angle_cal = [this](void*, const void*, void* result) {
            const nds01_angle_result angle{yaw, 0, depth_mm};
            std::memcpy(result, &angle, sizeof angle);
            return 0;
        };
        // Opens the sensor; the processing library's start is not needed here and fails.
        nds01_dev_init(0);
        gravity.open();
        // A movement that begins long after the clock's own start.
        board.set_wall_clock_us(1'000'000'000'000);
        project_tof_dist_changed = 1;
        board.log();
    }

    static void fill_with_valid_zones(void* frame) {
        constexpr std::uint16_t distance = 1000;
        constexpr std::uint16_t quality = 50;
        for (int zone = 0; zone < 8; ++zone) {
            auto* at = static_cast<char*>(frame) + zone * 8;
            std::memcpy(at, &distance, sizeof distance);
            std::memcpy(at + 2, &quality, sizeof quality);
        }
    }

    /// One step with this distance: the lines of auto-keystone itself, without the tag, and `corrected`.
    Lines step(int mm) {
        depth_mm = static_cast<std::uint16_t>(mm);
        auto_keystone_deal_with();
        return own_lines();
    }

    Lines own_lines() {
        const std::string tag = "[ovra_focus]  ";
        Lines lines;
        std::istringstream log(board.log());
        for (std::string line; std::getline(log, line);) {
            if (line.rfind(tag, 0) != 0) continue;
            const std::string text = line.substr(tag.size());
            for (const char* own : {"match tof", "tof stable", "the projection", "Unable",
                                    "auto_keystone_deal_with", "VKeystone success"})
                if (text.rfind(own, 0) == 0) lines.push_back(text);
        }
        return lines;
    }

    /// A movement that the host's handler accepts now: it sets the time of the movement and no more.
    void move_now() {
        acc_avg.z = 1;
        do acc_data_handle();
        while (board.log().find("first event") != std::string::npos);
        acc_degree_last.z = 0;
        acc_data_handle();
        board.log();
    }

    void turn_over_at_another_distance() {
        lastDistance = 300;
        board.text("/sys/class/nd_tof/nds01/ranging_data", "900,900,900,900,0,0,0,0");
        gravity.block(testkit::under_ceiling);
        board.log();
    }

    static bool running() { return get_auto_keystone_status() == 1; }
};

// --- The status -------------------------------------------------------------------------------------------

TEST(AutoKeystoneStatus, IsOneWhileTheDistanceFlagIsPositive) {
    project_tof_dist_changed = 0;
    EXPECT_EQ(get_auto_keystone_status(), 0);
    project_tof_dist_changed = 1;
    EXPECT_EQ(get_auto_keystone_status(), 1);
    project_tof_dist_changed = 7;
    EXPECT_EQ(get_auto_keystone_status(), 1);
    project_tof_dist_changed = -1;
    EXPECT_EQ(get_auto_keystone_status(), 0);
}

// --- Steady readings --------------------------------------------------------------------------------------

TEST_F(AutoKeystone, CorrectsWithTheFirstReadingAndEndsAfterFiveSteadyOnes) {
    EXPECT_EQ(step(1500), Lines{corrected});
    for (int times = 1; times <= 4; ++times) {
        EXPECT_EQ(step(1500), Lines{steady_line(times)});
        EXPECT_TRUE(running());
    }
    EXPECT_EQ(step(1500), (Lines{steady_line(5), steady_end_line}));
    EXPECT_FALSE(running());
}

TEST_F(AutoKeystone, PrintsWholeTaggedLines) {
    step(1500);
    depth_mm = 1500;
    auto_keystone_deal_with();
    EXPECT_EQ(board.log(), "[ovra_focus]  match tof steady times 1\n");
}

TEST_F(AutoKeystone, AllowsTheToleranceOfTheDistance) {
    const struct { int mm, tolerance; } cases[] = {{1000, 5}, {1001, 8}, {2000, 8}, {2001, 10}, {3059, 10}};
    for (const auto& c : cases) {
        step(c.mm - c.tolerance);
        EXPECT_EQ(step(c.mm), Lines{steady_line(1)}) << c.mm;
        step(0);
        step(c.mm - c.tolerance - 1);
        EXPECT_EQ(step(c.mm), Lines{corrected}) << c.mm;
        step(0);
    }
}

TEST_F(AutoKeystone, ComparesWithTheReadingBeforeAndNotWithTheFirst) {
    step(1500);
    EXPECT_EQ(step(1508), Lines{steady_line(1)});
    EXPECT_EQ(step(1516), Lines{steady_line(2)});
    EXPECT_EQ(step(1508), Lines{steady_line(3)});
}

TEST_F(AutoKeystone, BeginsTheCountAgainWhenTheDistanceChanges) {
    step(1500);
    for (int i = 0; i < 4; ++i) step(1500);
    EXPECT_EQ(step(1509), Lines{corrected});
    EXPECT_EQ(step(1509), Lines{steady_line(1)});
    EXPECT_TRUE(running());
}

TEST_F(AutoKeystone, ComparesTheNextReadingWithTheOneThatWasCorrected) {
    step(1500);
    step(1600);
    EXPECT_EQ(step(1600), Lines{steady_line(1)});
    EXPECT_EQ(step(1500), Lines{corrected});
}

TEST_F(AutoKeystone, EndsTheRunOnlyWhenTheCountEqualsFive) {
    for (int i = 0; i < 6; ++i) step(1500);
    EXPECT_FALSE(running());
    // Started by hand, without a movement that would begin the count again.
    project_tof_dist_changed = 1;
    EXPECT_EQ(step(1500), Lines{steady_line(6)});
    EXPECT_TRUE(running());
}

// --- The first second -------------------------------------------------------------------------------------

TEST_F(AutoKeystone, CorrectsAtEveryStepInTheFirstSecondAfterTheMovement) {
    move_now();
    step(1500);
    EXPECT_EQ(step(1500), Lines{corrected});
    board.advance_us(999'999);
    EXPECT_EQ(step(1500), Lines{corrected});
    board.advance_us(1);
    EXPECT_EQ(step(1500), Lines{steady_line(1)});
}

TEST_F(AutoKeystone, CountsFromZeroAfterAMovementThatTheSensorThreadAccepts) {
    gravity.blocks(testkit::on_table, 10);
    step(1500);
    for (int i = 0; i < 4; ++i) step(1500);

    turn_over_at_another_distance();
    board.advance_us(1'000'000);

    EXPECT_EQ(step(1500), Lines{steady_line(1)});
}

TEST_F(AutoKeystone, CorrectsInTheFirstSecondAfterAMovementThatTheSensorThreadAccepts) {
    gravity.blocks(testkit::on_table, 10);
    step(1500);

    turn_over_at_another_distance();
    board.advance_us(999'999);

    EXPECT_EQ(step(1500), Lines{corrected});
}

// --- Out of range -----------------------------------------------------------------------------------------

TEST_F(AutoKeystone, EndsAfterFiveReadingsOutOfRangeWithoutACorrection) {
    for (int times = 1; times <= 4; ++times) {
        EXPECT_EQ(step(3060), Lines{over_range_line(3060, times)});
        EXPECT_TRUE(running());
    }
    EXPECT_EQ(step(65535), (Lines{over_range_line(65535, 5), over_range_end_line}));
    EXPECT_FALSE(running());
}

TEST_F(AutoKeystone, CountsReadingsOutOfRangeFromZeroInTheNextRun) {
    for (int i = 0; i < 5; ++i) step(3060);
    project_tof_dist_changed = 1;
    EXPECT_EQ(step(3060), Lines{over_range_line(3060, 1)});
}

TEST_F(AutoKeystone, CountsReadingsOutOfRangeInARowOnly) {
    for (int i = 0; i < 4; ++i) step(3060);
    EXPECT_EQ(step(3059), Lines{corrected});
    EXPECT_EQ(step(3060), Lines{over_range_line(3060, 1)});
}

TEST_F(AutoKeystone, LeavesTheLastDistanceAndTheSteadyCountWhenOutOfRange) {
    step(1500);
    step(1500);
    step(4000);
    EXPECT_EQ(step(1500), Lines{steady_line(2)});
}

// --- No reading -------------------------------------------------------------------------------------------

TEST_F(AutoKeystone, EndsWhenTheAngleCannotBeRead) {
    yaw = NDS01_NO_ANGLE;
    EXPECT_EQ(step(1500), Lines{unreadable_line});
    EXPECT_FALSE(running());
}

TEST_F(AutoKeystone, LeavesItsCountersWhenTheAngleCannotBeRead) {
    step(3060);
    step(1500);
    step(1500);
    step(3060);
    yaw = NDS01_NO_ANGLE;
    step(1500);
    yaw = 0;
    project_tof_dist_changed = 1;
    EXPECT_EQ(step(3060), Lines{over_range_line(3060, 2)});
    EXPECT_EQ(step(1500), Lines{steady_line(2)});
}

// --- Switched off -----------------------------------------------------------------------------------------

TEST_F(AutoKeystone, EndsSilentlyWhenTheUserSwitchesItOff) {
    g_osd_keystone = 0;
    EXPECT_EQ(step(1500), Lines{});
    EXPECT_FALSE(running());
}

TEST_F(AutoKeystone, ReadsNoSensorWhenItIsSwitchedOff) {
    g_osd_keystone = 0;
    board.clear_journal();
    auto_keystone_deal_with();
    EXPECT_EQ(board.journal(), Lines{});
}

TEST_F(AutoKeystone, ForgetsReadingsOutOfRangeWhenItIsSwitchedOff) {
    for (int i = 0; i < 4; ++i) step(3060);
    g_osd_keystone = 0;
    step(3060);
    g_osd_keystone = 1;
    EXPECT_EQ(step(3060), Lines{over_range_line(3060, 1)});
}

TEST_F(AutoKeystone, RunsForEverySwitchValueButZero) {
    g_osd_keystone = 2;
    EXPECT_EQ(step(1500), Lines{corrected});
}

// --- A failed correction ----------------------------------------------------------------------------------

TEST_F(AutoKeystone, LogsAFailedCorrectionAndMakesUpForItInTheNextStep) {
    acc_degree.x = 45;  // on its side only the ToF angle counts,
    yaw = 8100;         // and 81 degrees are too many
    EXPECT_EQ(step(1500), Lines{"auto_keystone_deal_with keystone fali, ret = -101"});
    EXPECT_TRUE(running());
    yaw = 0;
    EXPECT_EQ(step(1600), Lines{corrected});
}

TEST_F(AutoKeystone, TakesADistanceAsLastAlsoAfterAFailedCorrection) {
    acc_degree.x = 45;
    yaw = 8100;
    step(1500);
    EXPECT_EQ(step(1500), Lines{steady_line(1)});
}

// --- Levels -----------------------------------------------------------------------------------------------

TEST_F(AutoKeystone, IsSilentAboutStepsBelowLevelFour) {
    ovra_log_level = 3;
    acc_degree.x = 45;
    yaw = 8100;
    EXPECT_EQ(step(1500), Lines{});
    for (int i = 0; i < 5; ++i) EXPECT_EQ(step(1500), Lines{});
    EXPECT_FALSE(running());
}

TEST_F(AutoKeystone, LogsFromLevelOneOnWhyItEnds) {
    ovra_log_level = 1;
    for (int times = 1; times <= 4; ++times) EXPECT_EQ(step(3060), Lines{over_range_line(3060, times)});
    EXPECT_EQ(step(3060), (Lines{over_range_line(3060, 5), over_range_end_line}));
    yaw = NDS01_NO_ANGLE;
    EXPECT_EQ(step(1500), Lines{unreadable_line});
}

TEST_F(AutoKeystone, IsSilentAtLevelZero) {
    ovra_log_level = 0;
    for (int i = 0; i < 5; ++i) EXPECT_EQ(step(3060), Lines{});
    EXPECT_FALSE(running());
    yaw = NDS01_NO_ANGLE;
    EXPECT_EQ(step(1500), Lines{});
}

}  // namespace
