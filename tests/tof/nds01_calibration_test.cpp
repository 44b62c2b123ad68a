#include "ovrafocus/nds01_calibration.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include "ovrafocus/nds01_device.h"
#include "ovrafocus/nds01_isp.h"
#include "ovrafocus/nds01_start.h"
#include "tests/support/refused_memory.h"
#include "tests/support/scripted_board.h"
#include "tests/support/scripted_nds01.h"
#include "tests/support/scripted_vendor.h"

// A calibration that could not be stored keeps its work buffer; that is not for the leak check to report.
extern "C" const char* __lsan_default_suppressions() { return "leak:nds01_isp_offset_calibration"; }

namespace {

using testing::EndsWith;
using testing::HasSubstr;
using testkit::nds01_attribute;
using testkit::number_at;
using testkit::ScriptedBoard;
using testkit::ScriptedNds01;
using testkit::tof_tagged;
using testkit::vendor;
using Lines = std::vector<std::string>;

const std::string attribute = "offset_calibration_at_depth_for_isp";

struct OffsetCalibration : ::testing::Test {
    ScriptedBoard board;
    ScriptedNds01 driver{board};

    void SetUp() override {
        driver.lib_data[0x8000] = std::string(4096, 'd');
        driver.lib_data[0x9000] = std::string(4096, 'h');
    }

    /// A driver that takes every text of an attribute but this one.
    void refuse_text(const std::string& name, const std::string& refused) {
        board.on_write(nds01_attribute(name), [refused](const std::string& text) {
            return text == refused ? -static_cast<long>(EIO) : static_cast<long>(text.size());
        });
    }

    Lines story() { return driver.story({"write", "driver", "call"}); }
    static std::string step(const std::string& text) { return tof_tagged(attribute + " " + text); }

    const Lines until_library = {"write " + attribute + " step_1", "driver reads lib data 0x8000, 1024 bytes",
                                 "write " + attribute + " step_2", "write fps 0", "write running_state 1"};
    const Lines measuring = {"call nx_user_calibration_init", "call nx_calibration_3d",
                             "call nx_calibration_generate_data"};
    const Lines storing = {"driver writes lib data 0x9000, 128 bytes",
                           "driver writes lib data 0x9000, 4096 bytes"};
    const Lines preparing = {
        "call isp_platform_init",  "write running_state 0",   "call ispFixHighTemperature",
        "write running_state 1",   "call nx_isp_lib_uninit",  "driver reads lib data 0x9000, 4096 bytes",
        "call nx_isp_lib_init",    "call nx_get_isp_version", "call nx_isp_op_init",
        "call nx_set_angle_limit", "call nx_set_filter_para"};
    const Lines restoring = {"write fps 15", "write running_state 1"};

    static Lines join(std::initializer_list<Lines> parts) {
        Lines all;
        for (const Lines& part : parts) all.insert(all.end(), part.begin(), part.end());
        return all;
    }
};

// --- Success ----------------------------------------------------------------------------------------

TEST_F(OffsetCalibration, MeasuresStoresAndTakesOver) {
    EXPECT_EQ(nds01_isp_offset_calibration(300, 0), 0);
    EXPECT_EQ(
        story(),
        join({until_library, measuring, storing, preparing, {"write " + attribute + " step_3"}, restoring}));
}

TEST_F(OffsetCalibration, RestoresAStoppedSensor) {
    board.text(nds01_attribute("running_state"), "0\n");
    board.text(nds01_attribute("fps"), "30\n");
    EXPECT_EQ(nds01_isp_offset_calibration(300, 0), 0);
    const Lines events = story();
    EXPECT_EQ(Lines(events.end() - 2, events.end()), (Lines{"write fps 30", "write running_state 0"}));
}

TEST_F(OffsetCalibration, HandsTheVendorWhatToCalibrate) {
    driver.lib_data[0x8000].replace(1020, 8, "lastmore");
    vendor().user_calibration_init = [](void* context, void* work, void* configuration, int depth,
                                        intptr_t argument) {
        EXPECT_NE(context, nullptr);
        const std::string factory(static_cast<const char*>(work), 8192);
        EXPECT_EQ(factory, std::string(1020, 'd') + "last" + std::string(8192 - 1024, '\0'));
        const std::string record(static_cast<const char*>(configuration), 8 + 2 * sizeof(void*));
        EXPECT_EQ(number_at<int32_t>(record, 0), 10);
        EXPECT_EQ(number_at<int32_t>(record, 4), 6);
        EXPECT_EQ(number_at<void*>(record, 8), reinterpret_cast<void*>(nds01_isp_get_pixel_data));
        EXPECT_EQ(number_at<void*>(record, 8 + sizeof(void*)), reinterpret_cast<void*>(nds01_isp_set_config));
        EXPECT_EQ(depth, -300);
        EXPECT_EQ(argument, INTPTR_MAX);
        return 0;
    };
    EXPECT_EQ(nds01_isp_offset_calibration(-300, INTPTR_MAX), 0);
}

TEST_F(OffsetCalibration, StoresTheRepackedTableBeforeTheGeneratedData) {
    void* work = nullptr;
    vendor().user_calibration_init = [&](void*, void* buffer, void*, int, intptr_t) {
        work = buffer;
        return 0;
    };
    vendor().calibration_generate_data = [&](void*, void* output) {
        EXPECT_EQ(static_cast<char*>(output) - static_cast<char*>(work), 5120);
        std::memset(output, 'g', 3072);
        for (uint16_t row = 0; row < 6; ++row) {
            for (uint16_t column = 0; column < 20; ++column) {
                const auto value = static_cast<uint16_t>(1000 * row + column);
                std::memcpy(static_cast<char*>(output) + 2048 + 2 * (20 * row + column), &value, 2);
            }
        }
        return 0;
    };
    EXPECT_EQ(nds01_isp_offset_calibration(300, 0), 0);

    ASSERT_EQ(driver.stored[0x9000].size(), 2u);
    const std::string& table = driver.stored[0x9000][0];
    const std::string& output = driver.stored[0x9000][1];
    EXPECT_EQ(table, output.substr(0, 128));
    const auto value = [&](size_t index) { return number_at<uint16_t>(output, 2 * index); };
    EXPECT_EQ(value(0), 0);
    EXPECT_EQ(value(9), 9);
    EXPECT_EQ(value(10), 1000);
    EXPECT_EQ(value(29), 2009);
    EXPECT_EQ(value(30), 10);
    EXPECT_EQ(value(59), 2019);
    EXPECT_EQ(value(60), 3000);
    EXPECT_EQ(value(89), 5009);
    EXPECT_EQ(value(90), 3010);
    EXPECT_EQ(value(119), 5019);
    EXPECT_EQ(output.substr(240, 784), std::string(784, '\0'));
    EXPECT_EQ(output.substr(1024, 2048), std::string(2048, 'g'));
    EXPECT_EQ(output.substr(3072 + 240), std::string(784, 'g'));
    EXPECT_EQ(number_at<uint16_t>(output, 3072 + 2 * 21), 1001);
}

TEST_F(OffsetCalibration, TakesPositiveAnswersOfMeasuringAndPreparingAsSuccess) {
    vendor().calibration_3d = [](void*) { return 5; };
    int offers = 0;
    vendor().isp_lib_init = [&](void*, void*) { return offers++ == 0 ? -1 : 0; };
    EXPECT_EQ(nds01_isp_offset_calibration(300, 0), 0);
}

// --- Failures ---------------------------------------------------------------------------------------

TEST_F(OffsetCalibration, TouchesNothingWithoutMemory) {
    if (!testkit::RefusedMemory::possible) GTEST_SKIP() << "a sanitizer hands out the memory";
    const testkit::RefusedMemory refused(8192);
    EXPECT_EQ(nds01_isp_offset_calibration(300, 0), -1);
    EXPECT_EQ(board.log(), step("step_1: malloc fail, len = 8192!\n"));
    EXPECT_EQ(story(), Lines{});
}

TEST_F(OffsetCalibration, FailsWhenTheFirstStepCannotBeAnnounced) {
    refuse_text(attribute, "step_1");
    EXPECT_EQ(nds01_isp_offset_calibration(300, 0), -EINTR);
    EXPECT_EQ(board.log(),
              step("step_1 fail!") + step("step_4: nds01_set_fps or nds01_set_running_state failed!"));
    EXPECT_EQ(story(), (Lines{"write " + attribute + " step_1 = EIO", "write fps 0", "write running_state 0"}));
}

TEST_F(OffsetCalibration, FailsWhenTheFactoryDataCannotBeRead) {
    driver.refuse(1);
    EXPECT_EQ(nds01_isp_offset_calibration(300, 0), -EINTR);
    EXPECT_THAT(board.log(), HasSubstr(step("step_2: nds01_get_lib_data failed!")));
    EXPECT_EQ(story(), (Lines{"write " + attribute + " step_1", "driver refuses 1", "write fps 0",
                              "write running_state 0"}));
}

TEST_F(OffsetCalibration, FailsWhenTheSecondStepCannotBeAnnounced) {
    refuse_text(attribute, "step_2");
    EXPECT_EQ(nds01_isp_offset_calibration(300, 0), -EINTR);
    EXPECT_THAT(board.log(), HasSubstr(step("step_2 fail!")));
    EXPECT_EQ(story(),
              join({{until_library[0], until_library[1]},
                    {"write " + attribute + " step_2 = EIO", "write fps 0", "write running_state 0"}}));
}

TEST_F(OffsetCalibration, FailsWhenTheFrameRateCannotBeSet) {
    refuse_text("fps", "0");
    EXPECT_EQ(nds01_isp_offset_calibration(300, 0), -EINTR);
    EXPECT_THAT(board.log(), HasSubstr(step("step_2: set_fps or set_running_state fail!")));
    const Lines events = story();
    EXPECT_EQ(Lines(events.end() - 2, events.end()), restoring);
}

TEST_F(OffsetCalibration, FailsWhenRangingCannotBeStarted) {
    board.text(nds01_attribute("running_state"), "0\n");
    refuse_text("running_state", "1");
    EXPECT_EQ(nds01_isp_offset_calibration(300, 0), -EINTR);
    const Lines events = story();
    EXPECT_EQ(Lines(events.end() - 2, events.end()), (Lines{"write fps 15", "write running_state 0"}));
}

TEST_F(OffsetCalibration, FailsWhenTheFrameRateCannotBeSaved) {
    board.text(nds01_attribute("fps"), "fast\n");
    EXPECT_EQ(nds01_isp_offset_calibration(300, 0), -EINTR);
    const Lines events = story();
    EXPECT_EQ(Lines(events.end() - 2, events.end()), (Lines{"write fps 0", "write running_state 1"}));
}

TEST_F(OffsetCalibration, FailsWhenTheRunningStateCannotBeSaved) {
    board.text(nds01_attribute("running_state"), "yes\n");
    EXPECT_EQ(nds01_isp_offset_calibration(300, 0), -EINTR);
    const Lines events = story();
    EXPECT_EQ(Lines(events.end() - 2, events.end()), (Lines{"write fps 15", "write running_state 0"}));
}

TEST_F(OffsetCalibration, FailsWhenTheVendorRefusesToBegin) {
    for (const int answer : {-1, 1}) {
        vendor().user_calibration_init = [answer](void*, void*, void*, int, intptr_t) { return answer; };
        board.clear_journal();
        EXPECT_EQ(nds01_isp_offset_calibration(300, 0), -EINTR);
        EXPECT_THAT(board.log(), HasSubstr(step("step_2: nx_user_calibration_init failed!")));
        EXPECT_EQ(story(), join({until_library, {measuring[0]}, restoring}));
    }
}

TEST_F(OffsetCalibration, FailsWhenTheVendorCannotMeasure) {
    vendor().calibration_3d = [](void*) { return -1; };
    EXPECT_EQ(nds01_isp_offset_calibration(300, 0), -EINTR);
    EXPECT_THAT(board.log(), HasSubstr(step("step_2: nx_calibration_3d failed!")));
    EXPECT_EQ(story(), join({until_library, {measuring[0], measuring[1]}, restoring}));
}

TEST_F(OffsetCalibration, FailsWhenTheVendorGeneratesNothing) {
    for (const int answer : {-1, 1}) {
        vendor().calibration_generate_data = [answer](void*, void*) { return answer; };
        board.clear_journal();
        EXPECT_EQ(nds01_isp_offset_calibration(300, 0), -EINTR);
        EXPECT_THAT(board.log(), HasSubstr(step("step_2: nx_calibration_generate_data failed!")));
        EXPECT_EQ(story(), join({until_library, measuring, restoring}));
    }
}

TEST_F(OffsetCalibration, FailsWhenTheTableCannotBeWritten) {
    driver.refuse(2);
    EXPECT_EQ(nds01_isp_offset_calibration(300, 0), -EINTR);
    EXPECT_THAT(board.log(), HasSubstr(step("step_2: nds01_set_lib_data failed!")));
    EXPECT_EQ(story(), join({until_library, measuring, {"driver refuses 2"}, restoring}));
}

TEST_F(OffsetCalibration, LeavesTheSensorAsItIsWhenTheCalibrationCannotBeWritten) {
    driver.refuse(2, 2);
    EXPECT_EQ(nds01_isp_offset_calibration(300, 0), -ENOENT);
    EXPECT_EQ(story(), join({until_library, measuring, {storing[0], "driver refuses 2"}}));
}

TEST_F(OffsetCalibration, AnnouncesTheThirdStepAlsoWhenTheLibraryCannotBePreparedAgain) {
    vendor().isp_platform_init = [](void* const*) { return -1; };
    EXPECT_EQ(nds01_isp_offset_calibration(300, 0), -EINTR);
    EXPECT_THAT(board.log(), HasSubstr(step("step_3 fail!")));
    EXPECT_EQ(story(), join({until_library,
                             measuring,
                             storing,
                             {"call isp_platform_init", "write " + attribute + " step_3"},
                             restoring}));
}

TEST_F(OffsetCalibration, FailsWhenTheThirdStepCannotBeAnnounced) {
    refuse_text(attribute, "step_3");
    EXPECT_EQ(nds01_isp_offset_calibration(300, 0), -EINTR);
    EXPECT_THAT(board.log(), HasSubstr(step("step_3 fail!")));
}

TEST_F(OffsetCalibration, FailsWhenTheFrameRateCannotBeRestoredAndRestoresTheRunningState) {
    refuse_text("fps", "15");
    EXPECT_EQ(nds01_isp_offset_calibration(300, 0), -EINTR);
    EXPECT_EQ(story().back(), "write running_state 1");
}

TEST_F(OffsetCalibration, FailsWhenTheRunningStateCannotBeRestored) {
    board.text(nds01_attribute("running_state"), "3\n");
    refuse_text("running_state", "3");
    EXPECT_EQ(nds01_isp_offset_calibration(300, 0), -EINTR);
}

TEST_F(OffsetCalibration, ForgetsTheSavedRangingOfAnEarlierRun) {
    EXPECT_EQ(nds01_isp_offset_calibration(300, 0), 0);
    refuse_text(attribute, "step_1");
    board.clear_journal();
    EXPECT_EQ(nds01_isp_offset_calibration(300, 0), -EINTR);
    EXPECT_EQ(story(), (Lines{"write " + attribute + " step_1 = EIO", "write fps 0", "write running_state 0"}));
}

// --- The run around it ------------------------------------------------------------------------------

struct CalibrationRun : OffsetCalibration {
    void SetUp() override {
        OffsetCalibration::SetUp();
        ASSERT_EQ(nds01_dev_init(1), 0);
        board.log();
        board.clear_journal();
    }

    void TearDown() override { nds01_dev_uninit(); }

    /// The vendor refuses these selections of a point mode (1 is the first from now on).
    void refuse_mode(int mode, const std::vector<int>& visits) {
        visit = 0;
        vendor().get_recommended_points_mode = [this, mode, visits](void*, uint8_t*, int asked) {
            if (asked != mode) return 0;
            return std::count(visits.begin(), visits.end(), ++visit) == 0 ? 0 : -1;
        };
    }

    int visit = 0;
};

TEST_F(CalibrationRun, CalibratesInPointModeZeroAndReturnsTwice) {
    EXPECT_EQ(nds01_offset_calibration_at_depth_for_isp(300, 0), 0);
    EXPECT_THAT(board.log(),
                EndsWith(tof_tagged("Calibration successfully and recovery point mode successfully!")));
    EXPECT_EQ(board.writes(nds01_attribute("point_mode")), (Lines{"1", "0", "1", "1"}));
}

TEST_F(CalibrationRun, HandsBothArgumentsOn) {
    std::vector<intptr_t> given;
    vendor().user_calibration_init = [&](void*, void*, void*, int depth, intptr_t argument) {
        given = {depth, argument};
        return 0;
    };
    EXPECT_EQ(nds01_offset_calibration_at_depth_for_isp(300, -7), 0);
    EXPECT_EQ(given, (std::vector<intptr_t>{300, -7}));
}

TEST_F(CalibrationRun, ReturnsToThePointModeItFound) {
    ASSERT_EQ(nds01_set_point_mode(2), 0);
    EXPECT_EQ(nds01_offset_calibration_at_depth_for_isp(300, 0), 0);
    EXPECT_EQ(board.writes(nds01_attribute("point_mode")), (Lines{"1", "2", "0", "2", "2"}));
}

TEST_F(CalibrationRun, LogsThatTheCalibrationFailed) {
    vendor().calibration_3d = [](void*) { return -1; };
    EXPECT_EQ(nds01_offset_calibration_at_depth_for_isp(300, 0), 0);
    EXPECT_THAT(board.log(), EndsWith(tof_tagged("Calibration failed and recovery point mode successfully!")));
    EXPECT_EQ(board.writes(nds01_attribute("point_mode")), (Lines{"1", "0", "1", "1"}));
}

TEST_F(CalibrationRun, LogsThatTheFirstReturnFailedAndReturnsTheResultOfTheSecond) {
    refuse_mode(1, {1});
    EXPECT_EQ(nds01_offset_calibration_at_depth_for_isp(300, 0), 0);
    EXPECT_THAT(board.log(), EndsWith(tof_tagged("Calibration successfully and recovery point mode failed!")));
    EXPECT_EQ(board.writes(nds01_attribute("point_mode")), (Lines{"1", "0", "1"}));
}

TEST_F(CalibrationRun, ReturnsTheFailureOfTheSecondReturn) {
    refuse_mode(1, {2});
    EXPECT_EQ(nds01_offset_calibration_at_depth_for_isp(300, 0), -1);
}

TEST_F(CalibrationRun, LogsThatCalibrationAndReturnFailed) {
    vendor().calibration_3d = [](void*) { return -1; };
    refuse_mode(1, {1, 2});
    EXPECT_EQ(nds01_offset_calibration_at_depth_for_isp(300, 0), -1);
    EXPECT_THAT(board.log(), HasSubstr(tof_tagged("Calibration failed and recovery point mode failed!")));
}

TEST_F(CalibrationRun, DoesNotCalibrateWhenPointModeZeroIsRefused) {
    refuse_mode(0, {1});
    EXPECT_EQ(nds01_offset_calibration_at_depth_for_isp(300, 0), 0);
    EXPECT_THAT(board.log(), EndsWith(tof_tagged("Fail to set point mode!")));
    EXPECT_EQ(board.writes(nds01_attribute("point_mode")), (Lines{"1", "1"}));
    EXPECT_EQ(board.writes(nds01_attribute(attribute)), Lines{});
}

TEST_F(CalibrationRun, TakesFramesAsTheyAreWhileItRunsAndOnlyThen) {
    driver.set_frame(0);
    int32_t zones_while_running = 0;
    vendor().calibration_3d = [&](void*) {
        uint8_t zones[64];
        zones_while_running = nds01_get_ranging_data(zones);
        EXPECT_EQ(std::memcmp(zones, driver.frame.data(), 32), 0);
        return 0;
    };
    EXPECT_EQ(nds01_offset_calibration_at_depth_for_isp(300, 0), 0);
    EXPECT_EQ(zones_while_running, 4);
    uint8_t zones[64];
    EXPECT_EQ(nds01_get_ranging_data(zones), -ENOENT);
}

TEST_F(CalibrationRun, JudgesFramesAgainAfterAFailedRun) {
    driver.set_frame(0);
    refuse_mode(0, {1});
    EXPECT_EQ(nds01_offset_calibration_at_depth_for_isp(300, 0), 0);
    uint8_t zones[64];
    EXPECT_EQ(nds01_get_ranging_data(zones), -ENOENT);
}

}  // namespace
