#include "ovrafocus/nds01_isp.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "ovrafocus/nds01_device.h"
#include "ovrafocus/nds01_start.h"
#include "platform/nds_isp.h"
#include "tests/support/scripted_board.h"
#include "tests/support/scripted_vendor.h"
#include "tests/tof/refused_memory.h"
#include "tests/tof/scripted_nds01.h"

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

struct Nds01Isp : ::testing::Test {
    ScriptedBoard board;
    ScriptedNds01 driver{board};

    void SetUp() override {
        driver.lib_data[0x9000] = std::string(4096, 'h');
        driver.lib_data[0x8000] = std::string(4096, 'd');
    }

    Lines story() { return driver.story({"write", "driver", "call"}); }

    void refuse_running_state(const std::string& refused) {
        board.on_write(nds01_attribute("running_state"), [refused](const std::string& text) {
            return text == refused ? -static_cast<long>(EBUSY) : static_cast<long>(text.size());
        });
    }
};

// --- Platform functions -----------------------------------------------------------------------------

struct PlatformTable : Nds01Isp {
    void* const* table = nullptr;

    void SetUp() override {
        vendor().isp_platform_init = [this](void* const* operations) {
            table = operations;
            return 0;
        };
        ASSERT_EQ(nds01_ispfht_platform_register(), 0);
        board.clear_journal();
    }

    template <typename Function>
    Function* entry(size_t slot) const {
        return reinterpret_cast<Function*>(table[slot]);
    }

    Lines commands() { return driver.story({"driver"}); }
};

TEST_F(PlatformTable, WritesAndReadsEightBitRegisters) {
    uint8_t data[] = {'a', 'b'};
    EXPECT_EQ(entry<nds_register8_transfer>(0)(nullptr, 0x30, data, 2), 0);
    EXPECT_EQ(driver.written_register_data, "ab");
    driver.register_content = "xy";
    EXPECT_EQ(entry<nds_register8_transfer>(1)(nullptr, 0x31, data, 2), 0);
    EXPECT_EQ(std::string(data, data + 2), "xy");
    EXPECT_EQ(commands(), (Lines{"driver writes register 30 of chip 5c00, 2 bytes",
                                 "driver reads register 31 of chip 5c00, 2 bytes"}));
}

TEST_F(PlatformTable, CutsSixteenBitRegistersAndLengths) {
    uint8_t data[] = {'a', 'b'};
    EXPECT_EQ(entry<nds_register16_transfer>(2)(nullptr, 0x71234, data, 0x10002), 0);
    EXPECT_EQ(driver.written_register_data, "ab");
    driver.register_content = "xy";
    EXPECT_EQ(entry<nds_register16_transfer>(3)(nullptr, 0x75678, data, 0x10002), 0);
    EXPECT_EQ(std::string(data, data + 2), "xy");
    EXPECT_EQ(commands(), (Lines{"driver writes register 1234 of chip 5c00, 2 bytes",
                                 "driver reads register 5678 of chip 5c00, 2 bytes"}));
}

TEST_F(PlatformTable, PassesFailuresOfTheChipOn) {
    board.remove(nds01_attribute("lib_data"));
    uint8_t data[] = {'a', 'b'};
    EXPECT_EQ(entry<nds_register8_transfer>(0)(nullptr, 1, data, 2), -1);
    EXPECT_EQ(entry<nds_register8_transfer>(1)(nullptr, 1, data, 2), -1);
    EXPECT_EQ(entry<nds_register16_transfer>(2)(nullptr, 1, data, 2), -1);
    EXPECT_EQ(entry<nds_register16_transfer>(3)(nullptr, 1, data, 2), -1);
    EXPECT_EQ(entry<nds_set_level>(7)(nullptr, 1), -1);
}

TEST_F(PlatformTable, SleepsInTensOfMicrosecondsAndInMilliseconds) {
    EXPECT_EQ(entry<nds_delay>(4)(nullptr, 25), 0);
    EXPECT_EQ(entry<nds_delay>(5)(nullptr, 3), 0);
    EXPECT_EQ(board.journal({"sleep"}), (Lines{"sleep 250", "sleep 3000"}));
}

TEST_F(PlatformTable, GivesTheTimeOfDayInMicroseconds) {
    board.set_wall_clock_us(1'700'000'000'123'456);
    const int64_t expected = 1'700'000'000'123'456 + board.now_us();
    int64_t time_us = 0;
    EXPECT_EQ(entry<nds_get_time_us>(6)(&time_us), 0);
    EXPECT_EQ(time_us, expected);
}

TEST_F(PlatformTable, SetsTheShutDownPin) {
    EXPECT_EQ(entry<nds_set_level>(7)(nullptr, 1), 0);
    EXPECT_EQ(driver.xshut_level, 1);
}

TEST_F(PlatformTable, OffersADeviceContextOf1024Bytes) {
    void* context = entry<nds_get_device>(8)();
    ASSERT_NE(context, nullptr);
    EXPECT_EQ(entry<nds_get_device>(8)(), context);
    std::memset(context, 0xFF, 1024);
    EXPECT_EQ(nds01_isp_uninit(), 0);
}

TEST_F(PlatformTable, HoldsTheVendorsOwnFunctionsAndTheConfigurationCallback) {
    EXPECT_EQ(table[9], nullptr);
    EXPECT_EQ(entry<nds_get_id>(10)(), 0);
    EXPECT_EQ(table[11], reinterpret_cast<void*>(nx_user_calibration_init));
    EXPECT_EQ(table[12], reinterpret_cast<void*>(nds01_isp_set_config));
    EXPECT_EQ(table[13], reinterpret_cast<void*>(nx_calibration_generate_data));
}

TEST_F(PlatformTable, ReturnsARefusalAndIgnoresAPositiveAnswer) {
    vendor().isp_platform_init = [](void* const*) { return -3; };
    EXPECT_LT(nds01_ispfht_platform_register(), 0);
    vendor().isp_platform_init = [](void* const*) { return 3; };
    EXPECT_EQ(nds01_ispfht_platform_register(), 0);
}

// --- Initialisation ---------------------------------------------------------------------------------

struct IspInit : Nds01Isp {
    /// The library refuses the first calibration it is offered and answers this to the second.
    void refuse_host_calibration(int second_answer) {
        offers = 0;
        vendor().isp_lib_init = [this, second_answer](void*, void*) {
            return offers++ == 0 ? -1 : second_answer;
        };
    }

    int offers = 0;

    void calibrated_start_bin(uint16_t bin) {
        driver.set_firmware(0x0102FF);
        std::string& calibration = driver.lib_data[0x9000];
        calibration[240] = static_cast<char>(bin & 0xFF);
        calibration[241] = static_cast<char>(bin >> 8);
    }

    int applied_start_bin() {
        int applied = -1;
        vendor().isp_set_start_bin = [&](int id, int bin) {
            EXPECT_EQ(id, 0);
            applied = bin;
            return 0;
        };
        EXPECT_EQ(nds01_isp_init(5), 0);
        return applied;
    }
};

TEST_F(IspInit, LoadsTheLibrarysOwnCalibration) {
    EXPECT_EQ(nds01_isp_init(5), 0);
    EXPECT_EQ(story(), (Lines{"call isp_platform_init", "write running_state 0", "call ispFixHighTemperature",
                              "write running_state 1", "call nx_isp_lib_uninit",
                              "driver reads lib data 0x9000, 4096 bytes", "call nx_isp_lib_init",
                              "call nx_get_isp_version", "call nx_isp_op_init", "call nx_set_angle_limit",
                              "call nx_set_filter_para"}));
}

TEST_F(IspInit, LogsEachStep) {
    EXPECT_EQ(nds01_isp_init(5), 0);
    EXPECT_EQ(board.log(), tof_tagged("nds01 firmware version:1.3.0\n") +
                               tof_tagged("isp_fix_high_temperature success!!\r") +
                               tof_tagged("Calibration data read: dev") +
                               tof_tagged("The calibration data in the host is loaded successfully.") +
                               "[ovra_tof]  nds01_isp_init get libnds-isp.so version = 1\n");
}

TEST_F(IspInit, GivesTheVendorTheCalibrationFromByte1024On) {
    std::string& calibration = driver.lib_data[0x9000];
    calibration.replace(1024, 6, "vendor");
    calibration.replace(4090, 6, "end of");
    vendor().isp_lib_init = [](void* context, void* data) {
        EXPECT_NE(context, nullptr);
        const std::string given(static_cast<const char*>(data), 3072);
        EXPECT_EQ(given.substr(0, 6), "vendor");
        EXPECT_EQ(given.substr(3066), "end of");
        return 0;
    };
    EXPECT_EQ(nds01_isp_init(5), 0);
}

TEST_F(IspInit, GivesTheVendorZerosWhenNothingIsStored) {
    EXPECT_EQ(nds01_isp_init(5), 0);
    driver.refuse(1);
    vendor().isp_lib_init = [](void*, void* data) {
        EXPECT_EQ(std::string(static_cast<const char*>(data), 3072), std::string(3072, '\0'));
        return 0;
    };
    EXPECT_EQ(nds01_isp_init(5), 0);
}

TEST_F(IspInit, GivesEachCallTheSameContextAndItsArguments) {
    void* context = nullptr;
    Lines calls;
    const auto same = [&](const char* call, void* given) {
        if (context == nullptr) context = given;
        EXPECT_EQ(given, context) << call;
        calls.push_back(call);
        return 0;
    };
    vendor().isp_fix_high_temperature = [](int id, uint32_t given) {
        EXPECT_EQ(id, 0);
        EXPECT_EQ(given, 0x010300u);
        return 0;
    };
    vendor().isp_lib_uninit = [&](void* given) { return same("uninit", given); };
    vendor().isp_lib_init = [&](void* given, void*) { return same("init", given); };
    vendor().isp_op_init = [&](void* given, void* operations) {
        EXPECT_EQ(static_cast<void**>(operations)[0], nullptr);
        EXPECT_EQ(static_cast<void**>(operations)[1], reinterpret_cast<void*>(nds01_isp_set_config));
        return same("op", given);
    };
    vendor().set_angle_limit = [&](void* given, const int16_t* limits) {
        EXPECT_EQ(std::vector<int16_t>(limits, limits + 6),
                  (std::vector<int16_t>{1700, -1700, 3300, -3300, 4500, 470}));
        return same("limit", given);
    };
    vendor().set_filter_para = [&](void* given, intptr_t first, intptr_t second, intptr_t third) {
        EXPECT_EQ(first, 9);
        EXPECT_EQ(second, 0);
        EXPECT_EQ(third, 0);
        return same("filter", given);
    };
    EXPECT_EQ(nds01_isp_init(9), 0);
    EXPECT_EQ(calls, (Lines{"uninit", "init", "op", "limit", "filter"}));
}

TEST_F(IspInit, EndsWhenThePlatformCannotBeRegistered) {
    vendor().isp_platform_init = [](void* const*) { return -1; };
    EXPECT_EQ(nds01_isp_init(5), -1);
    EXPECT_THAT(board.log(), EndsWith(tof_tagged("Failed to register the isp platform!")));
    EXPECT_EQ(story(), Lines{"call isp_platform_init"});
}

TEST_F(IspInit, EndsWithoutAFirmwareVersion) {
    board.text(nds01_attribute("firmware_version"), "");
    EXPECT_EQ(nds01_isp_init(5), -1);
    EXPECT_THAT(board.log(), EndsWith(tof_tagged("Failed to get firmware version!")));
    EXPECT_EQ(story(), Lines{"call isp_platform_init"});
}

TEST_F(IspInit, EndsWhenTheHighTemperatureFixIsRefusedAndStartsRangingAgain) {
    vendor().isp_fix_high_temperature = [](int, uint32_t) { return -7; };
    EXPECT_EQ(nds01_isp_init(5), -1);
    EXPECT_THAT(board.log(), EndsWith(tof_tagged("isp_fix_high_temperature error!!\r")));
    EXPECT_EQ(story(), (Lines{"call isp_platform_init", "write running_state 0", "call ispFixHighTemperature",
                              "write running_state 1"}));
}

TEST_F(IspInit, MakesTheWholeHighTemperatureFixWhenRangingCannotBeStopped) {
    refuse_running_state("0");
    EXPECT_EQ(nds01_isp_init(5), -1);
    EXPECT_EQ(story(), (Lines{"call isp_platform_init", "write running_state 0 = EBUSY",
                              "call ispFixHighTemperature", "write running_state 1"}));
}

TEST_F(IspInit, EndsWhenRangingCannotBeStartedAfterTheHighTemperatureFix) {
    refuse_running_state("1");
    EXPECT_EQ(nds01_isp_init(5), -1);
    EXPECT_EQ(story().back(), "write running_state 1 = EBUSY");
}

TEST_F(IspInit, SetsTheStartBinOfOlderFirmwareWhileRangingIsStopped) {
    calibrated_start_bin(77);
    EXPECT_EQ(nds01_isp_init(5), 0);
    EXPECT_EQ(story(), (Lines{"call isp_platform_init", "write running_state 0", "call ispFixHighTemperature",
                              "write running_state 1", "call nx_isp_lib_uninit",
                              "driver reads lib data 0x9000, 4096 bytes", "call nx_isp_lib_init",
                              "write running_state 0", "call isp_set_start_bin", "write running_state 1",
                              "call nx_get_isp_version", "call nx_isp_op_init", "call nx_set_angle_limit",
                              "call nx_set_filter_para"}));
}

TEST_F(IspInit, UsesStartBinsOf1To119AsTheyAre) {
    for (const int bin : {1, 77, 119}) {
        calibrated_start_bin(static_cast<uint16_t>(bin));
        EXPECT_EQ(applied_start_bin(), bin);
    }
}

TEST_F(IspInit, UsesTheDefaultForEveryOtherStartBin) {
    for (const int bin : {0, 120, 256, 0x0101, 65535}) {
        calibrated_start_bin(static_cast<uint16_t>(bin));
        EXPECT_EQ(applied_start_bin(), 40) << bin;
    }
}

TEST_F(IspInit, SetsNoStartBinFromFirmware130On) {
    calibrated_start_bin(77);
    for (const uint32_t version_number : {0x010300u, 0x010301u, 0x020000u}) {
        driver.set_firmware(version_number);
        EXPECT_EQ(applied_start_bin(), -1);
    }
}

TEST_F(IspInit, EndsWhenTheStartBinIsRefused) {
    calibrated_start_bin(77);
    vendor().isp_set_start_bin = [](int, int) { return -1; };
    EXPECT_EQ(nds01_isp_init(5), -1);
    EXPECT_THAT(board.log(), EndsWith(tof_tagged("Failed to set start bin!")));
    EXPECT_EQ(board.writes(nds01_attribute("running_state")), (Lines{"0", "1", "0", "1"}));
}

TEST_F(IspInit, EndsWhenRangingCannotBeStoppedForTheStartBin) {
    calibrated_start_bin(77);
    int stops = 0;
    board.on_write(nds01_attribute("running_state"), [&](const std::string& text) {
        return text == "0" && ++stops == 2 ? -static_cast<long>(EBUSY) : static_cast<long>(text.size());
    });
    EXPECT_EQ(nds01_isp_init(5), -1);
    EXPECT_EQ(story().back(), "write running_state 1");
}

TEST_F(IspInit, FallsBackOnTheFactoryCalibration) {
    driver.set_firmware(0x010000);
    refuse_host_calibration(0);
    EXPECT_EQ(nds01_isp_init(5), 0x1000);
    EXPECT_THAT(board.log(),
                HasSubstr(tof_tagged("Failed to load the calibration data in the host.\n"
                                     "Try to load the calibration data in the device.") +
                          tof_tagged("The calibration data in the device was loaded successfully.")));
    EXPECT_EQ(story(), (Lines{"call isp_platform_init", "write running_state 0", "call ispFixHighTemperature",
                              "write running_state 1", "call nx_isp_lib_uninit",
                              "driver reads lib data 0x9000, 4096 bytes", "call nx_isp_lib_init",
                              "driver reads lib data 0x8000, 4096 bytes", "call nx_isp_lib_init",
                              "call nx_get_isp_version", "call nx_isp_op_init", "call nx_set_angle_limit",
                              "call nx_set_filter_para"}));
}

TEST_F(IspInit, OffersTheFactoryCalibrationFromByte1024On) {
    driver.lib_data[0x8000].replace(1024, 7, "factory");
    Lines offered;
    vendor().isp_lib_init = [&](void*, void* data) {
        offered.push_back(std::string(static_cast<const char*>(data), 7));
        return offered.size() == 1 ? 1 : 0;
    };
    EXPECT_EQ(nds01_isp_init(5), 0x1000);
    EXPECT_EQ(offered, (Lines{"hhhhhhh", "factory"}));
}

TEST_F(IspInit, EndsWhenTheFactoryCalibrationCannotBeRead) {
    refuse_host_calibration(0);
    driver.refuse(1, 2);
    EXPECT_EQ(nds01_isp_init(5), -1);
    EXPECT_THAT(board.log(), EndsWith(tof_tagged("Fail to read dev calibration data, ret = -1!\n")));
    EXPECT_EQ(story().back(), "driver refuses 1");
}

TEST_F(IspInit, EndsWhenTheFactoryCalibrationIsRefused) {
    refuse_host_calibration(-1);
    EXPECT_EQ(nds01_isp_init(5), -1);
    EXPECT_THAT(board.log(), EndsWith(tof_tagged("Failed to load the calibration data from the device!")));
    EXPECT_EQ(story().back(), "call nx_isp_lib_init");
}

TEST_F(IspInit, JoinsThePositiveAnswersOfTheVendor) {
    vendor().isp_fix_high_temperature = [](int, uint32_t) { return 1; };
    refuse_host_calibration(2);
    vendor().isp_op_init = [](void*, void*) { return 4; };
    vendor().set_angle_limit = [](void*, const int16_t*) { return 8; };
    vendor().set_filter_para = [](void*, intptr_t, intptr_t, intptr_t) { return 16; };
    EXPECT_EQ(nds01_isp_init(5), 0x1000 | 31);
}

TEST_F(IspInit, JoinsThePositiveAnswerToTheStartBin) {
    calibrated_start_bin(5);
    vendor().isp_set_start_bin = [](int, int) { return 32; };
    EXPECT_EQ(nds01_isp_init(5), 32);
}

TEST_F(IspInit, ShowsFailuresOfTheLastCallsInItsResultOnly) {
    vendor().isp_op_init = [](void*, void*) { return -1; };
    EXPECT_LT(nds01_isp_init(5), 0);
    EXPECT_EQ(story().back(), "call nx_set_filter_para");
    EXPECT_THAT(board.log(), EndsWith("version = 1\n"));
    vendor().isp_op_init = [](void*, void*) { return 0; };
    vendor().set_angle_limit = [](void*, const int16_t*) { return -1; };
    EXPECT_LT(nds01_isp_init(5), 0);
    vendor().set_angle_limit = [](void*, const int16_t*) { return 0; };
    vendor().set_filter_para = [](void*, intptr_t, intptr_t, intptr_t) { return -1; };
    EXPECT_LT(nds01_isp_init(5), 0);
}

TEST_F(IspInit, ReleasesTheLibraryAtTheEnd) {
    vendor().isp_lib_uninit = [](void*) { return -1; };
    EXPECT_EQ(nds01_isp_uninit(), 0);
    EXPECT_EQ(story(), Lines{"call nx_isp_lib_uninit"});
}

TEST_F(IspInit, DoesNotMindThatThereWasNothingToRelease) {
    vendor().isp_lib_uninit = [](void*) { return -1; };
    EXPECT_EQ(nds01_isp_init(5), 0);
}

// --- Stored calibration -----------------------------------------------------------------------------

using IspStoredCalibration = Nds01Isp;

TEST_F(IspStoredCalibration, IsReadFromTheDeviceAndPrintsExactlyThat) {
    char buffer[5] = "????";
    EXPECT_EQ(nds01_isp_read_calib_data(buffer, 3), 0);
    EXPECT_STREQ(buffer, "hhh?");
    EXPECT_EQ(board.log(), tof_tagged("Calibration data read: dev"));
    EXPECT_EQ(story(), Lines{"driver reads lib data 0x9000, 3 bytes"});
}

TEST_F(IspStoredCalibration, IsWrittenToTheDeviceAndPrintsExactlyThat) {
    EXPECT_EQ(nds01_isp_write_calib_data("data", 4), 0);
    EXPECT_EQ(driver.stored[0x9000], Lines{"data"});
    EXPECT_EQ(board.log(), tof_tagged("Calibration data write: dev"));
}

TEST_F(IspStoredCalibration, FailsUnlessAllOfItIsMoved) {
    char buffer[4];
    driver.refuse(1);
    EXPECT_EQ(nds01_isp_read_calib_data(buffer, 4), -1);
    driver.refuse(2);
    EXPECT_EQ(nds01_isp_write_calib_data("data", 4), -1);
}

// --- Settings ---------------------------------------------------------------------------------------

using IspSettings = Nds01Isp;

TEST_F(IspSettings, HandConfigurationsToTheDriver) {
    const uint8_t configuration[4] = {9, 8, 7, 6};
    EXPECT_EQ(nds01_isp_set_config(nullptr, configuration, 0), 0);
    EXPECT_EQ(nds01_isp_set_config(nullptr, configuration, 1), 0);
    EXPECT_EQ(board.writes(nds01_attribute("isp_config")),
              (Lines{std::string("\0\x9", 2), std::string("\x1\x9\x8\x7\x6", 5)}));
    board.remove(nds01_attribute("isp_config"));
    EXPECT_EQ(nds01_isp_set_config(nullptr, configuration, 0), -1);
}

TEST_F(IspSettings, ChangeTheFrequencyWhileRangingIsStoppedAndLeaveItStopped) {
    vendor().isp_freq_config = [](int id, uint32_t frequency) {
        EXPECT_EQ(id, 0);
        EXPECT_EQ(frequency, 0xFEDCBA98u);
        return 6;
    };
    const uint32_t words[2] = {0xFEDCBA98u, 1};
    EXPECT_EQ(nds01_isp_set_config(nullptr, words, 2), 6);
    EXPECT_EQ(story(), (Lines{"write running_state 0", "call ispFreqConfig"}));
}

TEST_F(IspSettings, ChangeTheFrequencyAlsoWhenRangingCannotBeStopped) {
    refuse_running_state("0");
    const uint32_t word = 1;
    EXPECT_LT(nds01_isp_set_config(nullptr, &word, 2), 0);
    EXPECT_EQ(story(), (Lines{"write running_state 0 = EBUSY", "call ispFreqConfig"}));
}

TEST_F(IspSettings, FailWhenAFrequencyIsRefused) {
    vendor().isp_freq_config = [](int, uint32_t) { return -1; };
    const uint32_t word = 1;
    EXPECT_LT(nds01_isp_set_config(nullptr, &word, 2), 0);
}

TEST_F(IspSettings, RefuseOtherKindsOfConfiguration) {
    const uint32_t word = 1;
    EXPECT_EQ(nds01_isp_set_config(nullptr, &word, 3), -1);
    EXPECT_EQ(nds01_isp_set_config(nullptr, &word, -1), -1);
    EXPECT_EQ(story(), Lines{});
}

TEST_F(IspSettings, ForwardAllFilterParameters) {
    void* context = nullptr;
    std::vector<std::vector<intptr_t>> given;
    vendor().set_filter_para = [&](void* the_context, intptr_t first, intptr_t second, intptr_t third) {
        EXPECT_TRUE(context == nullptr || context == the_context);
        context = the_context;
        given.push_back({first, second, third});
        return -4;
    };
    EXPECT_EQ(nds01_isp_set_filter_para(1, INTPTR_MIN, 3), -4);
    EXPECT_EQ(nds01_set_isp_filter_para(5, 6, INTPTR_MAX), -4);
    EXPECT_EQ(given, (std::vector<std::vector<intptr_t>>{{1, INTPTR_MIN, 3}, {5, 6, INTPTR_MAX}}));
    EXPECT_NE(context, nullptr);
}

// --- Point mode -------------------------------------------------------------------------------------

struct IspPointMode : Nds01Isp {
    void SetUp() override {
        vendor().get_recommended_points_mode = [](void*, uint8_t* selection, int mode) {
            EXPECT_EQ(std::string(reinterpret_cast<char*>(selection), 8), std::string(8, '\0'));
            std::memset(selection, 'A' + mode, 8);
            return 0;
        };
    }

    std::string stored() {
        int32_t mode = 99;
        char selection[9] = "";
        EXPECT_EQ(nds01_isp_get_point_mode(&mode, reinterpret_cast<uint8_t*>(selection)), 0);
        return std::to_string(mode) + " " + selection;
    }
};

TEST_F(IspPointMode, IsMinusOneAtFirst) { EXPECT_EQ(stored(), "-1 "); }

TEST_F(IspPointMode, KeepsTheWholeSelectionOfModeOne) {
    EXPECT_EQ(nds01_isp_set_point_mode(1), 0);
    EXPECT_EQ(stored(), "1 BBBBBBBB");
}

TEST_F(IspPointMode, KeepsTheFirstHalfOfTheSelectionOfModesZeroAndTwo) {
    EXPECT_EQ(nds01_isp_set_point_mode(1), 0);
    EXPECT_EQ(nds01_isp_set_point_mode(0), 0);
    EXPECT_EQ(stored(), "0 AAAABBBB");
    EXPECT_EQ(nds01_isp_set_point_mode(2), 0);
    EXPECT_EQ(stored(), "2 CCCCBBBB");
}

TEST_F(IspPointMode, IsUnchangedByAnyOtherModeAfterTheVendorWasAsked) {
    EXPECT_EQ(nds01_isp_set_point_mode(1), 0);
    board.clear_journal();
    EXPECT_EQ(nds01_isp_set_point_mode(3), -1);
    EXPECT_EQ(nds01_isp_set_point_mode(-1), -1);
    EXPECT_EQ(stored(), "1 BBBBBBBB");
    EXPECT_EQ(story(), (Lines{"call nx_get_recommended_points_mode", "call nx_get_recommended_points_mode"}));
}

TEST_F(IspPointMode, IsUnchangedWhenTheVendorRefuses) {
    EXPECT_EQ(nds01_isp_set_point_mode(1), 0);
    vendor().get_recommended_points_mode = [](void*, uint8_t*, int) { return -1; };
    EXPECT_EQ(nds01_isp_set_point_mode(0), -1);
    EXPECT_EQ(stored(), "1 BBBBBBBB");
}

TEST_F(IspPointMode, TakesAPositiveAnswerAsSuccess) {
    vendor().get_recommended_points_mode = [](void*, uint8_t*, int) { return 4; };
    EXPECT_EQ(nds01_isp_set_point_mode(2), 0);
}

// --- Queries ----------------------------------------------------------------------------------------

struct IspQuery : Nds01Isp {
    std::vector<uint16_t> distances;

    /// A device in this point mode that measures 1000, 1001, ... millimetres.
    void start(int32_t point_mode) {
        driver.set_frame(50);
        vendor().cal_pc = [this](void* context, const uint16_t* given, void* point_cloud) {
            EXPECT_NE(context, nullptr);
            distances.assign(given, given + 8);
            std::memset(point_cloud, 'P', 96);
            return 0;
        };
        ASSERT_EQ(nds01_dev_init(point_mode), 0);
        board.log();
    }

    void TearDown() override { nds01_dev_uninit(); }
};

TEST_F(IspQuery, PointCloudHasEightPointsInPointModeOne) {
    start(1);
    std::string cloud(96, '?');
    EXPECT_EQ(nds01_get_point_cloud(cloud.data()), 8);
    EXPECT_EQ(cloud, std::string(96, 'P'));
    EXPECT_EQ(distances, (std::vector<uint16_t>{1000, 1001, 1002, 1003, 1004, 1005, 1006, 1007}));
}

TEST_F(IspQuery, PointCloudHasFourPointsInEveryOtherPointMode) {
    for (const int32_t mode : {0, 2}) {
        start(mode);
        std::string cloud(96, '?');
        EXPECT_EQ(nds01_get_point_cloud(cloud.data()), 4);
        EXPECT_EQ(distances, (std::vector<uint16_t>{1000, 1001, 1002, 1003, 0, 0, 0, 0}));
    }
}

TEST_F(IspQuery, PointCloudFailsWithoutAFrame) {
    start(1);
    driver.set_frame(0);
    std::string cloud(96, '?');
    board.clear_journal();
    EXPECT_EQ(nds01_get_point_cloud(cloud.data()), -1);
    EXPECT_EQ(cloud, std::string(96, '?'));
    EXPECT_EQ(board.journal({"call"}), Lines{});
}

TEST_F(IspQuery, PointCloudPrintsExactlyThatTheVendorFailed) {
    start(1);
    vendor().cal_pc = [](void*, const uint16_t*, void*) { return -1; };
    std::string cloud(96, '?');
    EXPECT_EQ(nds01_get_point_cloud(cloud.data()), -1);
    EXPECT_EQ(board.log(), tof_tagged("Fail to calculate point cloud!"));
}

TEST_F(IspQuery, PointCloudReturnsTheNumberOfPointsWhateverThePositiveAnswer) {
    start(0);
    vendor().cal_pc = [](void*, const uint16_t*, void*) { return 77; };
    std::string cloud(96, '?');
    EXPECT_EQ(nds01_get_point_cloud(cloud.data()), 4);
}

TEST_F(IspQuery, CalculationsAreTheVendors) {
    const uint16_t given[8] = {1, 2, 3, 4, 5, 6, 7, 8};
    vendor().cal_pc = [&](void*, const uint16_t* zones, void* output) {
        EXPECT_EQ(zones, given);
        static_cast<char*>(output)[0] = 'c';
        return -9;
    };
    std::string cloud(96, '?');
    EXPECT_EQ(nds01_isp_calculate_point_cloud(given, cloud.data()), -9);
    EXPECT_EQ(cloud[0], 'c');
    nds01_angle_result angle{1, 2, 3};
    vendor().angle_cal = [&](void*, const void* points, void* result) {
        EXPECT_EQ(points, cloud.data());
        EXPECT_EQ(result, &angle);
        return -9;
    };
    EXPECT_EQ(nds01_isp_calculate_angle(cloud.data(), &angle), 0);
}

TEST_F(IspQuery, AngleIsComputedFromTheFramesPointCloud) {
    start(1);
    vendor().angle_cal = [](void* context, const void* points, void* result) {
        EXPECT_NE(context, nullptr);
        EXPECT_EQ(std::string(static_cast<const char*>(points), 96), std::string(96, 'P'));
        const int16_t numbers[3] = {-1234, 567, static_cast<int16_t>(40000)};
        std::memcpy(result, numbers, sizeof numbers);
        return 0;
    };
    nds01_angle_result angle{};
    EXPECT_EQ(nds01_get_angle(&angle), 1);
    EXPECT_EQ(angle.yaw, -1234);
    EXPECT_EQ(angle.pitch, 567);
    EXPECT_EQ(angle.depth_mm, 40000);
}

TEST_F(IspQuery, IsSilentOnSuccess) {
    start(1);
    std::string cloud(96, '?');
    nds01_angle_result angle{};
    nds01_get_point_cloud(cloud.data());
    nds01_get_angle(&angle);
    EXPECT_EQ(board.log(), "");
}

TEST_F(IspQuery, AngleIgnoresTheVendorsAnswer) {
    start(1);
    vendor().angle_cal = [](void*, const void*, void* result) {
        static_cast<nds01_angle_result*>(result)->yaw = 32766;
        return -1;
    };
    nds01_angle_result angle{};
    EXPECT_EQ(nds01_get_angle(&angle), 1);
    EXPECT_EQ(angle.yaw, 32766);
}

TEST_F(IspQuery, AnglePrintsExactlyThatThereIsNone) {
    start(1);
    vendor().angle_cal = [](void*, const void*, void* result) {
        *static_cast<nds01_angle_result*>(result) = {32767, 5, 6};
        return 0;
    };
    nds01_angle_result angle{};
    EXPECT_EQ(nds01_get_angle(&angle), -1);
    EXPECT_EQ(board.log(), tof_tagged("Fail to calculate angle!"));
    EXPECT_EQ(angle.pitch, 5);
}

TEST_F(IspQuery, AngleFailsWithoutAPointCloud) {
    start(1);
    vendor().cal_pc = [](void*, const uint16_t*, void*) { return -1; };
    board.clear_journal();
    nds01_angle_result angle{1, 2, 3};
    EXPECT_EQ(nds01_get_angle(&angle), -1);
    EXPECT_THAT(board.log(), EndsWith(tof_tagged("Fail to get point cloud!")));
    EXPECT_EQ(board.journal({"call"}), Lines{"call nx_cal_pc"});
    EXPECT_EQ(angle.yaw, 1);
}

TEST_F(IspQuery, PixelsAreHandedOverAsTwoLists) {
    for (size_t pixel = 0; pixel < 60; ++pixel) {
        const auto number = static_cast<uint16_t>(pixel);
        const uint16_t record[4] = {static_cast<uint16_t>(1000 + number), 0xEEEE,
                                    static_cast<uint16_t>(60000 + number), 0xEEEE};
        std::memcpy(driver.pixels.data() + 8 * pixel, record, sizeof record);
    }
    uint16_t* values = nullptr;
    EXPECT_EQ(nds01_isp_get_pixel_data(nullptr, &values), 240);
    const std::unique_ptr<uint16_t, decltype(&std::free)> owner(values, std::free);
    for (uint16_t pixel = 0; pixel < 60; ++pixel) {
        EXPECT_EQ(values[pixel], 1000 + pixel);
        EXPECT_EQ(values[60 + pixel], 60000 + pixel);
    }
}

TEST_F(IspQuery, PixelsThatCannotBeReadLeaveTheResultAlone) {
    driver.refuse(6);
    uint16_t* values = nullptr;
    EXPECT_EQ(nds01_isp_get_pixel_data(nullptr, &values), -1);
    EXPECT_EQ(values, nullptr);
}

TEST_F(IspQuery, PixelsWithoutMemoryLeaveTheResultAlone) {
    if (!testkit::RefusedMemory::possible) GTEST_SKIP() << "a sanitizer hands out the memory";
    const testkit::RefusedMemory refused(240);
    uint16_t* values = nullptr;
    EXPECT_EQ(nds01_isp_get_pixel_data(nullptr, &values), -1);
    EXPECT_EQ(values, nullptr);
}

// On the board an int32_t of -1 has the bits of this size.
TEST_F(IspStoredCalibration, AFailedTransferFailsWhateverItsSize) {
    char buffer[4] = {};
    driver.refuse(1);
    EXPECT_EQ(nds01_isp_read_calib_data(buffer, 0xFFFFFFFF), -1);
    driver.refuse(2);
    EXPECT_EQ(nds01_isp_write_calib_data("data", 0xFFFFFFFF), -1);
}

}  // namespace
