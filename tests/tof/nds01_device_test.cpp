#include "ovrafocus/nds01_device.h"
#include "ovrafocus/nds01_start.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cerrno>
#include <string>
#include <vector>

#include "tests/support/scripted_board.h"
#include "tests/support/scripted_nds01.h"
#include "tests/support/scripted_vendor.h"

namespace {

using testing::EndsWith;
using testkit::bytes_of;
using testkit::nds01_attribute;
using testkit::nds01_node;
using testkit::number_at;
using testkit::ScriptedBoard;
using testkit::ScriptedNds01;
using testkit::tof_tagged;
using testkit::vendor;
using Lines = std::vector<std::string>;

struct Nds01 : ::testing::Test {
    ScriptedBoard board;
    ScriptedNds01 driver{board};

    /// A device that is open and in this point mode, with nothing logged yet.
    void start(int32_t point_mode) {
        ASSERT_EQ(nds01_dev_init(point_mode), 0);
        board.log();
        board.clear_journal();
    }

    void TearDown() override { nds01_dev_uninit(); }
};

const std::string frame_request = "ioctl /dev/nds01 0x4004a203";

std::string invalid_frame(int retries_left) {
    return tof_tagged("[ovra_focus]  tof data invalid, remain retry_times " + std::to_string(retries_left) +
                      "\n") +
           "\n";
}

std::string failed_request(int retries_left) {
    return tof_tagged("tof ioctl TOF_IOCTL_GET_DATA fail, remain retry_times " + std::to_string(retries_left) +
                      "\n") +
           "\n";
}

// --- Life -------------------------------------------------------------------------------------------

using DeviceLife = Nds01;

TEST_F(DeviceLife, LogsTheStartFromItsModeToItsSuccess) {
    vendor().isp_lib_init = [](void*, void*) { return 0; };
    EXPECT_EQ(nds01_dev_init(1), 0);

    const std::string log = board.log();
    const std::string first =
        tof_tagged("tof: work in ioctl mode\n") + tof_tagged("nds01 firmware version:1.3.0\n");
    EXPECT_EQ(log.substr(0, first.size()), first);
    const std::string last = tof_tagged("nds01 device init successful.");
    EXPECT_EQ(log.substr(log.size() - last.size()), last);
    EXPECT_EQ(board.writes(nds01_attribute("point_mode")), Lines{"1"});
    EXPECT_EQ(board.open_descriptors(), Lines{nds01_node});
    EXPECT_EQ(board.journal({"open"}).front(), "open /dev/nds01 O_RDWR");
}

TEST_F(DeviceLife, StartsInTheOrderThatTheDriverExpects) {
    EXPECT_EQ(nds01_dev_init(1), 0);
    EXPECT_EQ(driver.story({"open", "write", "driver", "call"}).front(), "open /dev/nds01 O_RDWR");
    EXPECT_EQ(driver.story({"write", "driver", "call"}),
              (Lines{"call isp_platform_init", "write running_state 0", "call ispFixHighTemperature",
                     "write running_state 1", "call nx_isp_lib_uninit",
                     "driver reads lib data 0x9000, 4096 bytes", "call nx_isp_lib_init",
                     "call nx_get_isp_version", "call nx_isp_op_init", "call nx_set_angle_limit",
                     "call nx_set_filter_para", "write running_state 0", "call nx_get_recommended_points_mode",
                     "driver selects SPADs 0000000000000000", "write point_mode 1", "write running_state 1"}));
}

TEST_F(DeviceLife, HandsTheDefaultFilterToTheLibrary) {
    std::intptr_t filter = 0;
    vendor().set_filter_para = [&](void*, std::intptr_t parameter, std::intptr_t, std::intptr_t) {
        filter = parameter;
        return 0;
    };
    EXPECT_EQ(nds01_dev_init(1), 0);
    EXPECT_EQ(filter, 5);
}

TEST_F(DeviceLife, PrintsExactlyThatThereIsNoDevice) {
    board.remove(nds01_node);
    EXPECT_EQ(nds01_dev_init(1), -1);
    EXPECT_EQ(board.log(), tof_tagged("tof: work in ioctl mode\n") +
                               tof_tagged("open nds01 file: /dev/nds01 fail!\n") +
                               tof_tagged("TOF: not have found tof input device path"));
    EXPECT_EQ(board.journal({"call"}), Lines{});
}

TEST_F(DeviceLife, DoesNotTryToOpenAgainAfterAFailedOpen) {
    board.remove(nds01_node);
    EXPECT_EQ(nds01_dev_init(1), -1);
    driver.set_frame(50);
    board.on_ioctl(nds01_node, [](std::uint32_t, void*) { return 0L; });
    EXPECT_EQ(nds01_dev_init(1), 0);
    EXPECT_EQ(board.open_descriptors(), Lines{});
    EXPECT_EQ(nds01_get_ranging_data(driver.frame.data()), -ENOENT);
}

TEST_F(DeviceLife, OpensOnceForTwoStarts) {
    EXPECT_EQ(nds01_dev_init(1), 0);
    board.log();
    EXPECT_EQ(nds01_dev_init(0), 0);
    EXPECT_EQ(board.open_descriptors(), Lines{nds01_node});
    EXPECT_EQ(board.writes(nds01_attribute("point_mode")), (Lines{"1", "0"}));
}

TEST_F(DeviceLife, FailsWhenTheLibraryCannotBePrepared) {
    board.remove(nds01_attribute("firmware_version"));
    EXPECT_EQ(nds01_dev_init(1), -ENOENT);
    EXPECT_THAT(board.log(), EndsWith(tof_tagged("fail to init isp!")));
}

TEST_F(DeviceLife, StartsOnTheFactoryCalibration) {
    int answers = 0;
    vendor().isp_lib_init = [&](void*, void*) { return answers++ == 0 ? -1 : 0; };
    EXPECT_EQ(nds01_dev_init(1), 0);
    EXPECT_EQ(answers, 2);
}

TEST_F(DeviceLife, FailsWhenThePointModeCannotBeSelected) {
    vendor().get_recommended_points_mode = [](void*, std::uint8_t*, int) { return -1; };
    EXPECT_EQ(nds01_dev_init(1), -ESRCH);
    EXPECT_THAT(board.log(), EndsWith(tof_tagged("fail to set point mode!")));
}

TEST_F(DeviceLife, EndsTheLibraryAndClosesTheDevice) {
    start(1);
    EXPECT_EQ(nds01_dev_uninit(), 0);
    EXPECT_EQ(board.open_descriptors(), Lines{});
    EXPECT_EQ(board.journal({"call", "close"}), (Lines{"call nx_isp_lib_uninit", "close /dev/nds01"}));
}

TEST_F(DeviceLife, OpensAgainAfterItWasEnded) {
    start(1);
    nds01_dev_uninit();
    EXPECT_EQ(nds01_dev_init(1), 0);
    EXPECT_EQ(board.open_descriptors(), Lines{nds01_node});
}

TEST_F(DeviceLife, KeepsTheDescriptorsNumberAfterTheEnd) {
    start(0);
    nds01_dev_uninit();
    uint8_t zones[64];
    EXPECT_EQ(nds01_get_ranging_data(zones), -ENOENT);
    EXPECT_EQ(board.journal({"sleep"}).size(), 3u);  // it was asked three times
}

TEST_F(DeviceLife, ClosesNothingWhenNothingWasOpened) {
    EXPECT_EQ(nds01_dev_uninit(), 0);
    EXPECT_EQ(board.journal({"close"}), Lines{});
    EXPECT_EQ(board.log(), tof_tagged("nds01 device uninit successful."));
}

TEST_F(DeviceLife, RangesOnDescriptorZeroButDoesNotCloseIt) {
    const int input = ::dup(STDIN_FILENO);
    ::close(STDIN_FILENO);  // the lowest number is free: the next open gets it
    start(0);
    driver.set_frame(50);
    uint8_t zones[64];
    EXPECT_EQ(nds01_get_ranging_data(zones), 4);
    nds01_dev_uninit();
    EXPECT_EQ(board.open_descriptors(), Lines{nds01_node});
    ::close(STDIN_FILENO);
    if (input >= 0) {
        ::dup2(input, STDIN_FILENO);
        ::close(input);
    }
}

// --- Frames -----------------------------------------------------------------------------------------

struct DeviceFrame : Nds01 {
    uint8_t zones[64];

    void SetUp() override {
        std::fill(std::begin(zones), std::end(zones), uint8_t{0xEE});
        driver.set_frame(50);
    }

    std::string received(size_t count) const { return {reinterpret_cast<const char*>(zones), count}; }
    std::string sent(size_t count) const { return {reinterpret_cast<const char*>(driver.frame.data()), count}; }
    static std::string untouched(size_t count) { return std::string(count, '\xEE'); }
};

TEST_F(DeviceFrame, IsRefusedBeforeTheDeviceIsOpen) {
    EXPECT_EQ(nds01_get_ranging_data(zones), -ENOENT);
    EXPECT_EQ(board.log(), tof_tagged("nds01 file check error, please check hardware module"));
    EXPECT_EQ(received(64), untouched(64));
}

TEST_F(DeviceFrame, HasEightZonesInPointModeOne) {
    start(1);
    EXPECT_EQ(nds01_get_ranging_data(zones), 8);
    EXPECT_EQ(received(64), sent(64));
    EXPECT_EQ(board.journal({"ioctl", "sleep"}), Lines{frame_request});
}

TEST_F(DeviceFrame, HasFourZonesInEveryOtherPointMode) {
    for (const int32_t mode : {0, 2}) {
        start(mode);
        std::fill(std::begin(zones), std::end(zones), uint8_t{0xEE});
        EXPECT_EQ(nds01_get_ranging_data(zones), 4);
        EXPECT_EQ(received(32), sent(32));
        EXPECT_EQ(received(64).substr(32), untouched(32));
    }
}

TEST_F(DeviceFrame, IsTakenWithTheLowestAndTheHighestQuality) {
    start(1);
    driver.set_frame(11);
    driver.set_zone(7, 900, 100);
    EXPECT_EQ(nds01_get_ranging_data(zones), 8);
    EXPECT_EQ(received(64), sent(64));
}

TEST_F(DeviceFrame, IsRequestedAgainWhenAnyZoneIsBelowTheLowestQuality) {
    start(1);
    for (size_t zone = 0; zone < 8; ++zone) {
        driver.set_frame(50);
        driver.set_zone(zone, 900, 10);
        EXPECT_EQ(nds01_get_ranging_data(zones), -ENOENT) << zone;
        EXPECT_EQ(board.journal({"ioctl"}).size(), 3u) << zone;
        board.clear_journal();
    }
    EXPECT_EQ(received(64), untouched(64));
}

TEST_F(DeviceFrame, IsRequestedAgainWhenAZoneIsAboveTheHighestQuality) {
    start(0);
    driver.set_zone(3, 900, 101);
    EXPECT_EQ(nds01_get_ranging_data(zones), -ENOENT);
    EXPECT_EQ(board.journal({"ioctl", "sleep"}),
              (Lines{frame_request, "sleep 5000", frame_request, "sleep 5000", frame_request, "sleep 5000"}));
}

TEST_F(DeviceFrame, IsNotJudgedByZonesThatThePointModeLacks) {
    start(0);
    driver.set_zone(4, 900, 0);
    EXPECT_EQ(nds01_get_ranging_data(zones), 4);
}

TEST_F(DeviceFrame, IsTakenWhenItIsValidAtTheThirdRequest) {
    start(1);
    driver.set_frame(10);
    int sleeps = 0;
    board.on_sleep([&](std::int64_t) {
        if (++sleeps == 2) driver.set_frame(60);
    });
    EXPECT_EQ(nds01_get_ranging_data(zones), 8);
    EXPECT_EQ(received(64), sent(64));
    EXPECT_EQ(sleeps, 2);
}

TEST_F(DeviceFrame, IsRequestedThreeTimesWhenTheRequestsFail) {
    start(1);
    driver.frame_answers = {-EIO, -EIO, -EIO};
    EXPECT_EQ(nds01_get_ranging_data(zones), -ENOENT);
    EXPECT_EQ(board.journal({"ioctl"}).size(), 3u);
    EXPECT_EQ(board.journal({"sleep"}), (Lines{"sleep 5000", "sleep 5000", "sleep 5000"}));
    EXPECT_EQ(received(64), untouched(64));
}

TEST_F(DeviceFrame, LogsTheRetriesThatFailedRequestsAndInvalidFramesShare) {
    start(1);
    driver.frame_answers = {-EIO};
    driver.set_frame(101);
    EXPECT_EQ(nds01_get_ranging_data(zones), -ENOENT);
    EXPECT_EQ(board.log(), failed_request(2) + invalid_frame(1) + invalid_frame(0));
}

// --- Ranging settings -------------------------------------------------------------------------------

using DeviceSettings = Nds01;

TEST_F(DeviceSettings, WriteAndReadTheRunningState) {
    EXPECT_EQ(nds01_set_running_state(0), 0);
    EXPECT_EQ(nds01_set_running_state(7), 0);
    EXPECT_EQ(board.writes(nds01_attribute("running_state")), (Lines{"0", "7"}));
    int32_t state = -5;
    EXPECT_GE(nds01_get_running_state(&state), 0);
    EXPECT_EQ(state, 1);
}

TEST_F(DeviceSettings, WriteTheRunningStateAsYesOrNo) {
    EXPECT_EQ(nds01_set_runing_state(7), 0);
    EXPECT_EQ(nds01_set_runing_state(-1), 0);
    EXPECT_EQ(nds01_set_runing_state(0), 0);
    EXPECT_EQ(board.writes(nds01_attribute("running_state")), (Lines{"1", "1", "0"}));
}

TEST_F(DeviceSettings, PrintExactlyWhichRunningStateWriterFailed) {
    board.remove(nds01_attribute("running_state"));
    EXPECT_EQ(nds01_set_running_state(0), -ENOENT);
    EXPECT_EQ(nds01_set_runing_state(0), -ENOENT);
    EXPECT_EQ(board.log(), tof_tagged("failed to open /sys/class/nd_tof/nds01/running_state\n") +
                               tof_tagged("Could not open /sys/class/nd_tof/nds01/running_state\n"));
    int32_t state = 3;
    EXPECT_EQ(nds01_get_running_state(&state), -ENOENT);
    EXPECT_EQ(state, 3);
    EXPECT_EQ(board.log(), "");
}

TEST_F(DeviceSettings, WriteAndReadTheFrameRate) {
    EXPECT_EQ(nds01_set_fps(30), 0);
    EXPECT_EQ(board.writes(nds01_attribute("fps")), Lines{"30"});
    int32_t fps = 0;
    EXPECT_GE(nds01_get_fps(&fps), 0);
    EXPECT_EQ(fps, 15);
}

TEST_F(DeviceSettings, TriggerTheDriver) {
    EXPECT_EQ(nds01_set_config(), 0);
    EXPECT_EQ(nds01_xtalk_calibration(), 0);
    EXPECT_EQ(nds01_offset_calibration_at_depth_for_dev(-250), 0);
    EXPECT_EQ(driver.story({"write"}), (Lines{"write config 1", "write xtalk_calibration 1",
                                              "write offset_calibration_at_depth_for_dev -250"}));
}

TEST_F(DeviceSettings, ReturnWhatAnAttributeRefuses) {
    for (const char* name : {"config", "xtalk_calibration", "offset_calibration_at_depth_for_dev"}) {
        board.remove(nds01_attribute(name));
    }
    EXPECT_EQ(nds01_set_config(), -ENOENT);
    EXPECT_EQ(nds01_xtalk_calibration(), -ENOENT);
    EXPECT_EQ(nds01_offset_calibration_at_depth_for_dev(1), -ENOENT);
}

TEST_F(DeviceSettings, HandAShortConfigurationToTheDriver) {
    const uint8_t configuration[4] = {9, 8, 7, 6};
    EXPECT_EQ(nds01_set_isp_config(configuration, 0), 0);
    EXPECT_EQ(board.writes(nds01_attribute("isp_config")), Lines{std::string("\0\x9", 2)});
}

TEST_F(DeviceSettings, HandALongConfigurationToTheDriver) {
    const uint8_t configuration[4] = {9, 8, 7, 6};
    EXPECT_EQ(nds01_set_isp_config(configuration, 1), 0);
    EXPECT_EQ(board.writes(nds01_attribute("isp_config")), Lines{std::string("\x1\x9\x8\x7\x6", 5)});
}

TEST_F(DeviceSettings, RefuseOtherKindsOfConfiguration) {
    const uint8_t configuration[4] = {9, 8, 7, 6};
    EXPECT_EQ(nds01_set_isp_config(configuration, 2), -1);
    EXPECT_EQ(nds01_set_isp_config(configuration, -1), -1);
    EXPECT_EQ(board.writes(nds01_attribute("isp_config")), Lines{});
}

TEST_F(DeviceSettings, PrintExactlyThatAConfigurationWasNotTakenWhole) {
    const uint8_t configuration[4] = {9, 8, 7, 6};
    board.on_write(nds01_attribute("isp_config"), [](const std::string&) { return 1L; });
    EXPECT_EQ(nds01_set_isp_config(configuration, 0), -1);
    EXPECT_EQ(nds01_set_isp_config(configuration, 1), -1);
    const std::string line = tof_tagged("nds01_set_isp_config: fail to write lib_data, ret = 1!\n");
    EXPECT_EQ(board.log(), line + line);
}

// --- Point mode -------------------------------------------------------------------------------------

struct DevicePointMode : Nds01 {
    void SetUp() override {
        vendor().get_recommended_points_mode = [](void*, std::uint8_t* selection, int mode) {
            for (int i = 0; i < 8; ++i) selection[i] = static_cast<std::uint8_t>(16 * (mode + 1) + i);
            return 0;
        };
    }

    Lines story() { return driver.story({"write", "driver", "call"}); }
};

TEST_F(DevicePointMode, SelectsEightZonesWhileRangingIsStopped) {
    EXPECT_EQ(nds01_set_point_mode(1), 0);
    EXPECT_EQ(story(),
              (Lines{"write running_state 0", "call nx_get_recommended_points_mode",
                     "driver selects SPADs 2021222324252627", "write point_mode 1", "write running_state 1"}));
}

TEST_F(DevicePointMode, SelectsFourZonesAndKeepsTheOtherHalfOfTheSelection) {
    EXPECT_EQ(nds01_set_point_mode(1), 0);
    board.clear_journal();
    EXPECT_EQ(nds01_set_point_mode(2), 0);
    EXPECT_EQ(story(),
              (Lines{"write running_state 0", "call nx_get_recommended_points_mode",
                     "driver enables SPADs 3031323324252627", "write point_mode 2", "write running_state 1"}));
}

TEST_F(DevicePointMode, IsReturnedWithItsSelection) {
    EXPECT_EQ(nds01_set_point_mode(1), 0);
    int32_t mode = 0;
    uint8_t selection[8] = {};
    EXPECT_EQ(nds01_get_point_mode(&mode, selection), 0);
    EXPECT_EQ(mode, 1);
    EXPECT_EQ(testkit::hex({reinterpret_cast<char*>(selection), 8}), "2021222324252627");
}

TEST_F(DevicePointMode, IsMinusOneBeforeTheFirstSelection) {
    int32_t mode = 0;
    uint8_t selection[8] = {};
    EXPECT_EQ(nds01_get_point_mode(&mode, selection), 0);
    EXPECT_EQ(mode, -1);
}

TEST_F(DevicePointMode, IsNotChangedWhenRangingCannotBeStopped) {
    board.on_write(nds01_attribute("running_state"),
                   [](const std::string&) { return -static_cast<long>(EBUSY); });
    EXPECT_EQ(nds01_set_point_mode(1), -1);
    EXPECT_EQ(board.log(), tof_tagged("nds01_set_point_mode: stop ranging failed!\n"));
    EXPECT_EQ(story(), Lines{"write running_state 0 = EBUSY"});
}

TEST_F(DevicePointMode, StaysStoppedWhenTheLibraryRefuses) {
    EXPECT_EQ(nds01_set_point_mode(3), -1);
    EXPECT_EQ(board.log(), tof_tagged("nds01_set_point_mode: fail to set point mode!\n"));
    EXPECT_EQ(story(), (Lines{"write running_state 0", "call nx_get_recommended_points_mode"}));
}

TEST_F(DevicePointMode, StaysStoppedWhenTheSelectionOfEightZonesIsRefused) {
    driver.refuse(5);
    EXPECT_EQ(nds01_set_point_mode(1), -1);
    EXPECT_EQ(board.log(), tof_tagged("nds01_set_point_mode: fail to write lib_data, ret = 8!\n"));
    EXPECT_EQ(board.writes(nds01_attribute("running_state")), Lines{"0"});
    EXPECT_EQ(board.writes(nds01_attribute("point_mode")), Lines{});
}

TEST_F(DevicePointMode, StaysStoppedWhenTheSelectionOfFourZonesIsRefused) {
    driver.refuse(3);
    EXPECT_EQ(nds01_set_point_mode(0), -1);
    EXPECT_EQ(board.log(), "fail to write lib_data, ret = 8!\n");
    EXPECT_EQ(board.writes(nds01_attribute("running_state")), Lines{"0"});
    EXPECT_EQ(board.writes(nds01_attribute("point_mode")), Lines{});
}

TEST_F(DevicePointMode, CountsTheZonesOfAModeThatWasRefusedAfterItsSelection) {
    start(1);
    driver.set_frame(50);
    driver.refuse(3);
    EXPECT_EQ(nds01_set_point_mode(0), -1);
    uint8_t zones[64];
    EXPECT_EQ(nds01_get_ranging_data(zones), 4);
}

TEST_F(DevicePointMode, StaysStoppedWhenTheDriverRefusesTheMode) {
    board.on_write(nds01_attribute("point_mode"),
                   [](const std::string&) { return -static_cast<long>(EINVAL); });
    EXPECT_EQ(nds01_set_point_mode(1), -1);
    EXPECT_EQ(board.log(), tof_tagged("nds01_set_point_mode: fail to write point_mode!\n"));
    EXPECT_EQ(board.writes(nds01_attribute("running_state")), Lines{"0"});
}

TEST_F(DevicePointMode, FailsWhenRangingCannotBeStartedAgain) {
    board.on_write(nds01_attribute("running_state"), [](const std::string& text) {
        return text == "1" ? -static_cast<long>(EBUSY) : static_cast<long>(text.size());
    });
    EXPECT_EQ(nds01_set_point_mode(1), -1);
    EXPECT_EQ(board.log(), tof_tagged("nds01_set_point_mode: start ranging failed!!\n"));
}

// --- Firmware and crosstalk -------------------------------------------------------------------------

using DeviceFirmware = Nds01;

TEST_F(DeviceFirmware, IsReadAndPrintedExactly) {
    driver.set_firmware(0xAB0C11FF);
    uint32_t version = 0;
    EXPECT_EQ(nds01_dev_get_firmware_version(&version), 0);
    EXPECT_EQ(version, 0xAB0C11FFu);
    EXPECT_EQ(board.log(), tof_tagged("nds01 firmware version:12.17.255\n"));
}

TEST_F(DeviceFirmware, IsNotTakenFromAShortRead) {
    board.text(nds01_attribute("firmware_version"), "abc");
    uint32_t version = 77;
    EXPECT_EQ(nds01_dev_get_firmware_version(&version), -1);
    EXPECT_EQ(version, 77u);
    EXPECT_EQ(board.log(), tof_tagged("nds01 get firmware version failed!"));
}

struct DeviceXtalk : Nds01 {
    uint16_t values[4] = {1, 2, 3, 4};
    void measured(std::initializer_list<uint16_t> numbers) {
        board.text(nds01_attribute("xtalk_value"), bytes_of<uint16_t>(numbers));
    }
    Lines kept() const {
        Lines lines;
        for (const uint16_t value : values) lines.push_back(std::to_string(value));
        return lines;
    }
};

TEST_F(DeviceXtalk, IsOneValueBelowFirmware130) {
    driver.set_firmware(0x0102FF);
    measured({700, 701, 702, 703});
    EXPECT_EQ(nds01_get_xtalk_value(values), 0);
    EXPECT_EQ(kept(), (Lines{"700", "2", "3", "4"}));
}

TEST_F(DeviceXtalk, IsFourValuesFromFirmware130On) {
    driver.set_firmware(0x010300);
    measured({700, 701, 65535, 703});
    EXPECT_EQ(nds01_get_xtalk_value(values), 0);
    EXPECT_EQ(kept(), (Lines{"700", "701", "65535", "703"}));
}

TEST_F(DeviceXtalk, JudgesTheFirmwareByAllBitsOfItsVersion) {
    driver.set_firmware(0x01000000);
    measured({700, 701, 702, 703});
    EXPECT_EQ(nds01_get_xtalk_value(values), 0);
    EXPECT_EQ(kept(), (Lines{"700", "701", "702", "703"}));
}

TEST_F(DeviceXtalk, IsPrintedAfterAShortReadToo) {
    measured({700, 701});
    EXPECT_EQ(nds01_get_xtalk_value(values), -1);
    EXPECT_THAT(board.log(), EndsWith(tof_tagged("xtalk_value:700,701,3,4\n")));
}

TEST_F(DeviceXtalk, IsPrintedWithoutTheAttributeToo) {
    driver.set_firmware(0x010000);
    EXPECT_EQ(nds01_get_xtalk_value(values), -1);
    EXPECT_THAT(board.log(), EndsWith(tof_tagged("xtalk_value:1\n")));
}

TEST_F(DeviceXtalk, IsNotReadWithoutTheFirmwareVersion) {
    board.text(nds01_attribute("firmware_version"), "");
    measured({700, 701, 702, 703});
    EXPECT_EQ(nds01_get_xtalk_value(values), -1);
    EXPECT_THAT(board.log(), EndsWith(tof_tagged("Failed to get firmware version!")));
    EXPECT_EQ(kept(), (Lines{"1", "2", "3", "4"}));
}

// --- Commands ---------------------------------------------------------------------------------------

struct DeviceCommand : Nds01 {
    Lines story() { return driver.story({"driver"}); }
};

TEST_F(DeviceCommand, CarriesAnArgumentOf64BitsAndACode) {
    EXPECT_EQ(nds01_set_isp_spad_enable(reinterpret_cast<intptr_t>("SPADSPAD"), 8), 0);
    const std::string record = board.writes(nds01_attribute("lib_data")).at(0);
    EXPECT_EQ(record.size(), 12u);
    EXPECT_EQ(testkit::hex(record.substr(8)), "03000000");
    EXPECT_EQ(story(), Lines{"driver enables SPADs 5350414453504144"});
}

TEST_F(DeviceCommand, SignExtendsAPlainValue) {
    board.on_write(nds01_attribute("lib_data"), [](const std::string&) { return 12L; });
    EXPECT_EQ(nds01_set_isp_spad_enable(-2, 8), 0);
    EXPECT_EQ(testkit::hex(board.writes(nds01_attribute("lib_data")).at(0)), "feffffffffffffff03000000");
}

TEST_F(DeviceCommand, SignExtendsTheAddressesInsideItsRecords) {
    std::string lib_data;
    std::string transfer;
    board.on_write(nds01_attribute("lib_data"), [&](const std::string& bytes) {
        const auto record = number_at<std::uint64_t>(bytes, 0);
        if (bytes[8] == 2) lib_data = testkit::at_address(record, 16);
        if (bytes[8] == 8) transfer = testkit::at_address(record, 22);
        return 12L;
    });
    auto* const highest_bytes = reinterpret_cast<uint8_t*>(intptr_t{-16});  // only its address is handed on
    EXPECT_EQ(nds01_set_lib_data(0x9000, highest_bytes, 128), 128);
    EXPECT_EQ(nds01_i2c_write_nbytes(1, highest_bytes, 3), 0);
    EXPECT_EQ(testkit::hex(lib_data), "f0ffffffffffffff8000000000900000");
    EXPECT_EQ(testkit::hex(transfer.substr(10)), "0100f0ffffffffffffff0300");
}

TEST_F(DeviceCommand, ReadsLibraryData) {
    driver.lib_data[0x8000] = "calibration of the factory";
    char buffer[12] = "untouched!!";
    EXPECT_EQ(nds01_get_lib_data(0x8000, buffer, 11), 11);
    EXPECT_STREQ(buffer, "calibration");
    EXPECT_EQ(story(), Lines{"driver reads lib data 0x8000, 11 bytes"});
}

TEST_F(DeviceCommand, WritesLibraryData) {
    EXPECT_EQ(nds01_set_lib_data(0x9000, "offsets", 7), 7);
    EXPECT_EQ(driver.stored[0x9000], Lines{"offsets"});
    EXPECT_EQ(story(), Lines{"driver writes lib data 0x9000, 7 bytes"});
}

TEST_F(DeviceCommand, ReadsAllPixels) {
    driver.pixels = std::string(480, 'p');
    std::string pixels(481, '?');
    EXPECT_EQ(nds01_get_all_pixel_data(pixels.data()), 60);
    EXPECT_EQ(pixels, std::string(480, 'p') + "?");
}

TEST_F(DeviceCommand, ReadsAnEightBitRegister) {
    driver.register_content = "register";
    char buffer[] = "????????";
    EXPECT_EQ(nds01_i2c_read_nbytes(0xA7, reinterpret_cast<uint8_t*>(buffer), 3), 0);
    EXPECT_STREQ(buffer, "reg?????");
    EXPECT_EQ(story(), Lines{"driver reads register a7 of chip 5c00, 3 bytes"});
}

TEST_F(DeviceCommand, WritesAnEightBitRegister) {
    const uint8_t data[] = {'a', 'b'};
    EXPECT_EQ(nds01_i2c_write_nbytes(0x07, data, 2), 0);
    EXPECT_EQ(driver.written_register_data, "ab");
    EXPECT_EQ(story(), Lines{"driver writes register 07 of chip 5c00, 2 bytes"});
}

TEST_F(DeviceCommand, ReadsASixteenBitRegisterHighByteFirst) {
    driver.register_content = "register";
    char buffer[] = "????????";
    EXPECT_EQ(nds01_addr16_read_nbytes(0x12AB, reinterpret_cast<uint8_t*>(buffer), 8), 0);
    EXPECT_STREQ(buffer, "register");
    EXPECT_EQ(story(), Lines{"driver reads register 12ab of chip 5c00, 8 bytes"});
}

TEST_F(DeviceCommand, WritesASixteenBitRegisterHighByteFirst) {
    const std::string data(300, 'x');
    EXPECT_EQ(nds01_addr16_write_nbytes(0x0001, reinterpret_cast<const uint8_t*>(data.data()), 300), 0);
    EXPECT_EQ(driver.written_register_data, data);
    EXPECT_EQ(story(), Lines{"driver writes register 0001 of chip 5c00, 300 bytes"});
}

TEST_F(DeviceCommand, SetsTheShutDownPin) {
    EXPECT_EQ(nds01_set_xshut_pin_level(1), 0);
    EXPECT_EQ(driver.xshut_level, 1);
    EXPECT_EQ(nds01_set_xshut_pin_level(0), 0);
    EXPECT_EQ(driver.xshut_level, 0);
}

/// Each command in the driver's hands, once with 8 of its 12 bytes taken.
struct RefusedCommand {
    uint32_t code;
    int32_t (*send)();
    const char* message;
};

uint8_t scratch[480];

const RefusedCommand refused_commands[] = {
    {1, [] { return nds01_get_lib_data(0x8000, scratch, 16); }, "fail to write lib_data,ret = 8!\n"},
    {2, [] { return nds01_set_lib_data(0x9000, scratch, 16); }, "fail to write lib_data,ret = 8!\n"},
    {3, [] { return nds01_set_isp_spad_enable(0, 8); }, "fail to write lib_data, ret = 8!\n"},
    {6, [] { return nds01_get_all_pixel_data(scratch); }, "fail to write lib_data,ret = 8!\n"},
    {7, [] { return nds01_i2c_read_nbytes(1, scratch, 1); }, "fail to i2c read nbytes, ret = 8!\n"},
    {8, [] { return nds01_i2c_write_nbytes(1, scratch, 1); }, "fail to i2c write nbytes, ret = 8!\n"},
    {7, [] { return nds01_addr16_read_nbytes(1, scratch, 1); }, "fail to addr16 read nbytes, ret = 8!\n"},
    {8, [] { return nds01_addr16_write_nbytes(1, scratch, 1); }, "fail to addr16 read nbytes, ret = 8!\n"},
    {9, [] { return nds01_set_xshut_pin_level(1); }, "fail to set xshut pin level, ret = 8!\n"},
};

TEST_F(DeviceCommand, PrintsExactlyThatItWasNotTakenWhole) {
    for (const RefusedCommand& command : refused_commands) {
        driver.refuse(command.code);
        EXPECT_EQ(command.send(), -1) << command.message;
        EXPECT_EQ(board.log(), command.message);
    }
}

TEST_F(DeviceCommand, FailsWhenTheAttributeIsMissing) {
    board.remove(nds01_attribute("lib_data"));
    EXPECT_EQ(nds01_get_lib_data(0x8000, scratch, 16), -1);
}

TEST_F(DeviceCommand, FailsWithTheErrorInItsMessageWhenTheDriverRefuses) {
    board.on_write(nds01_attribute("lib_data"), [](const std::string&) { return -static_cast<long>(EIO); });
    EXPECT_EQ(nds01_i2c_read_nbytes(1, scratch, 1), -1);
    EXPECT_EQ(board.log(), "fail to i2c read nbytes, ret = -5!\n");
}

}  // namespace
