#include "ovrafocus/lifecycle.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <string>
#include <vector>

#include "ovrafocus/config.h"
#include "ovrafocus/display_keystone.h"
#include "ovrafocus/focus_nodes.h"
#include "ovrafocus/host_interface.h"
#include "ovrafocus/motion.h"
#include "tests/support/log_lines.h"
#include "tests/support/scripted_board.h"
#include "tests/support/scripted_vendor.h"

namespace {

using testkit::located;
using testkit::ScriptedBoard;
using testkit::tagged;
using testkit::vendor;
using Entries = std::vector<std::string>;

constexpr const char* tof_device = "/dev/nds01";
constexpr const char* gravity_device = "/dev/gsensor_daemon";
constexpr const char* display_device = "/dev/dis";
constexpr const char* focus_curve = "/sys/class/dlp/elepn_focus_curve_data";

constexpr const char* sample = "ioctl /dev/gsensor_daemon 0x4004a109 = EIO";

constexpr std::size_t lens_flag_byte = 224;
constexpr int ms = 1000;  // in microseconds, as usleep counts

ScriptedBoard* current_board = nullptr;

struct Lifecycle : ::testing::Test {
    ScriptedBoard board;
    app_callback_table table{};

    Lifecycle() { current_board = &board; }

    void connect_tof() {
        const std::string attributes = "/sys/class/nd_tof/nds01/";
        board.text(tof_device, "");
        for (const char* name : {"running_state", "lib_data", "point_mode"}) board.text(attributes + name, "");
        board.text(attributes + "firmware_version", std::string("\x00\x03\x01\x00", 4));
    }

    void connect_display() {
        board.on_ioctl(display_device, [](std::uint32_t, void*) { return 0L; });
    }

    // A sensor whose samples never come: the library opens it, and each request fails.
    void connect_silent_gravity_sensor() {
        board.on_ioctl(gravity_device, [](std::uint32_t, void*) { return -static_cast<long>(EIO); });
    }

    void publish_focus_curve() {
        board.text(focus_curve, "1 2 3 4 5 6 7 8 9 10 11 12 13 14 15 16 17 18 19 20");
    }

    // Those entries of the journal that the test names, in the order in which they happened.
    Entries order_of(const Entries& wanted) {
        Entries found = board.journal();
        found.erase(std::remove_if(found.begin(), found.end(),
                                   [&](const std::string& entry) {
                                       return std::find(wanted.begin(), wanted.end(), entry) == wanted.end();
                                   }),
                    found.end());
        return found;
    }

    // Whether the record's flags have been read, which the start-up does at its end.
    bool start_up_was_completed() { return autofocus_app_callback != nullptr; }

    // How often the journal holds this entry.
    long count_of(const std::string& entry) {
        const Entries entries = board.journal();
        return std::count(entries.begin(), entries.end(), entry);
    }
};

TEST_F(Lifecycle, StartsWithItsFlagsAtTheirDefaults) {
    EXPECT_EQ(AKAF_running_flag, 1);
    EXPECT_EQ(g_run_once_AKAF, 0);
    EXPECT_EQ(g_run_once_keystone, 0);
    EXPECT_EQ(m_manuKeystone_value_for_thread, 0);
    EXPECT_EQ(g_flag_high_temp, 0);
    EXPECT_EQ(g_flag_elepn_temp, 0);
    EXPECT_EQ(autofocus_app_callback, nullptr);
    EXPECT_EQ(board.log(), "");
}

TEST_F(Lifecycle, FocusInitDoesNothing) {
    EXPECT_EQ(focus_init(), 0);
    EXPECT_EQ(board.journal(), Entries{});
}

// --- ovrafocus_init -----------------------------------------------------------------------------------------

TEST_F(Lifecycle, StartsRecordDisplayAndTofInThisOrder) {
    connect_tof();
    connect_display();
    vendor().otp[lens_flag_byte] = '1';
    app_callback_init(&table);
    const Entries expected = {"call hudi_flash_open", "open /dev/dis O_RDWR", "open /dev/nds01 O_RDWR"};

    EXPECT_EQ(ovrafocus_init(), 0);

    EXPECT_EQ(order_of(expected), expected);
    EXPECT_EQ(autofocus_app_callback, &table);
    EXPECT_EQ(g_osd_autofocus, 1);
}

TEST_F(Lifecycle, LogsEachStepOfTheStartUp) {
    connect_tof();
    connect_display();
    const Entries expected = {"print ovrafocus_init.",
                              "call hudi_flash_open",
                              "open /dev/dis O_RDWR",
                              "print [ovra_focus]  autofocus: nds01_dev_init",
                              "open /dev/nds01 O_RDWR",
                              "print [ovra_focus]  \033[33;1mnds01_dev_init succeed\033[0m",
                              "print [ovra_focus]  auto focus init: get_cali_data"};
    ovrafocus_init();
    EXPECT_EQ(order_of(expected), expected);
}

TEST_F(Lifecycle, StartsTheTofDeviceWithEightZones) {
    connect_tof();
    ovrafocus_init();
    EXPECT_EQ(board.writes("/sys/class/nd_tof/nds01/point_mode"), Entries{"1"});
}

TEST_F(Lifecycle, ATofDeviceThatDoesNotStartIsNoFailureButEndsTheStartUp) {
    vendor().otp[lens_flag_byte] = '1';
    app_callback_init(&table);

    EXPECT_EQ(ovrafocus_init(), 0);

    EXPECT_FALSE(start_up_was_completed());
    EXPECT_EQ(g_osd_autofocus, 0);
    EXPECT_EQ(board.journal().back(), "print [ovra_focus]  \033[31;1mnds01_dev_init failed\033[0m");
}

TEST_F(Lifecycle, EndsTheStartUpWhenTheTofProcessingDoesNotStart) {
    connect_tof();
    vendor().isp_platform_init = [](void* const*) { return -1; };
    vendor().otp[lens_flag_byte] = '1';
    app_callback_init(&table);
    EXPECT_EQ(ovrafocus_init(), 0);
    EXPECT_FALSE(start_up_was_completed());
    EXPECT_EQ(g_osd_autofocus, 0);
}

TEST_F(Lifecycle, GoesOnWithoutFlashAndDisplay) {
    connect_tof();
    vendor().flash_open = [](std::uint32_t*, int) { return -1; };
    app_callback_init(&table);
    EXPECT_EQ(ovrafocus_init(), 0);
    EXPECT_TRUE(start_up_was_completed());
    EXPECT_EQ(g_osd_autofocus, 0);
}

TEST_F(Lifecycle, ASecondStartUpUsesTheRecordOfTheFirst) {
    connect_tof();
    vendor().otp[lens_flag_byte] = '1';
    EXPECT_EQ(ovrafocus_init(), 0);
    EXPECT_EQ(g_osd_autofocus, 1);
    g_osd_autofocus = 0;
    board.clear_journal();

    EXPECT_EQ(ovrafocus_init(), 0);

    EXPECT_EQ(count_of("call hudi_flash_open"), 0);
    EXPECT_EQ(g_osd_autofocus, 1);
}

// --- What the lens calibration decides ----------------------------------------------------------------------

struct LensFlag {
    char digit;
    const char* name;
    uint8_t autofocus;
    int32_t high_temperature;
    bool keeps_focus_curve;
};

struct LifecycleLensFlag : ::testing::WithParamInterface<LensFlag>, Lifecycle {
    void start_up() {
        connect_tof();
        vendor().otp[lens_flag_byte] = static_cast<std::uint8_t>(GetParam().digit);
        EXPECT_EQ(ovrafocus_init(), 0);
    }
};

TEST_P(LifecycleLensFlag, DecidesAutoFocusAndTemperatureCorrection) {
    publish_focus_curve();
    start_up();
    EXPECT_EQ(g_osd_autofocus, GetParam().autofocus);
    EXPECT_EQ(g_flag_high_temp, GetParam().high_temperature);
    EXPECT_EQ(g_flag_elepn_temp, GetParam().keeps_focus_curve ? 1 : 0);
}

TEST_P(LifecycleLensFlag, WithoutAFocusCurveThereIsNoneToKeep) {
    start_up();
    EXPECT_EQ(g_osd_autofocus, GetParam().autofocus);
    EXPECT_EQ(g_flag_high_temp, GetParam().high_temperature);
    EXPECT_EQ(g_flag_elepn_temp, 0);
}

TEST_P(LifecycleLensFlag, NeverClearsTheHighTemperatureFlagNorTheSwitch) {
    g_flag_high_temp = 1;
    g_osd_autofocus = 1;
    start_up();
    EXPECT_EQ(g_flag_high_temp, 1);
    EXPECT_EQ(g_osd_autofocus, 1);
}

INSTANTIATE_TEST_SUITE_P(EachDigit, LifecycleLensFlag,
                         ::testing::Values(LensFlag{'0', "Zero", 0, 0, true}, LensFlag{'1', "One", 1, 0, false},
                                           LensFlag{'2', "Two", 1, 1, false},
                                           LensFlag{'3', "Three", 1, 0, true},
                                           LensFlag{'4', "Four", 1, 1, true}, LensFlag{'5', "Five", 1, 0, true},
                                           LensFlag{'9', "Nine", 1, 0, true},
                                           LensFlag{'\xff', "Erased", 0, 0, true}),
                         [](const auto& flag) { return std::string(flag.param.name); });

// --- ovrafocus_deinit ---------------------------------------------------------------------------------------

TEST_F(Lifecycle, ShutsDownAndClosesTheTofDevice) {
    connect_tof();
    ovrafocus_init();
    g_run_once_AKAF = 1;
    g_run_once_keystone = 1;
    focus_config.system_state.is_system_on = 1;
    board.log();
    board.clear_journal();

    EXPECT_EQ(ovrafocus_deinit(), 0);

    EXPECT_EQ(AKAF_running_flag, 0);
    EXPECT_EQ(g_run_once_AKAF, 0);
    EXPECT_EQ(g_run_once_keystone, 1);
    EXPECT_EQ(focus_config.system_state.is_system_on, 0U);
    EXPECT_EQ(count_of("close /dev/nds01"), 1);
}

TEST_F(Lifecycle, LogsEachStepOfTheShutDown) {
    connect_tof();
    ovrafocus_init();
    board.log();
    ovrafocus_deinit();
    EXPECT_EQ(board.log().find("ovrafocus_deinit.\n[ovra_focus]  autofocus: nds01_dev_uninit\n"), 0U);
}

TEST_F(Lifecycle, MarksTheSystemAsOffBeforeItClosesTheTofDevice) {
    connect_tof();
    ovrafocus_init();
    focus_config.system_state.is_system_on = 1;
    uint8_t running_then = 9;
    uint32_t on_then = 9;
    vendor().isp_lib_uninit = [&](void*) {
        running_then = AKAF_running_flag;
        on_then = focus_config.system_state.is_system_on;
        return 0;
    };
    ovrafocus_deinit();
    EXPECT_EQ(running_then, 0);
    EXPECT_EQ(on_then, 0U);
}

TEST_F(Lifecycle, ShutsDownWithoutAStartUp) {
    EXPECT_EQ(ovrafocus_deinit(), 0);
    EXPECT_EQ(AKAF_running_flag, 0);
    EXPECT_EQ(board.journal({"close"}), Entries{});
}

// --- ovra_sys_param_init ------------------------------------------------------------------------------------

const std::string record_building = tagged("system_state_init.\n") + tagged("focus_state_init.\n") +
                                    tagged("focus_data_init.\n") + tagged("user_setting_init.\n") +
                                    tagged("get_focus_mode.\n") + tagged("get_cali_mode.\n") +
                                    tagged("get_factory_mode.\n");

TEST_F(Lifecycle, BuildsTheConfigurationRecord) {
    auto* words = reinterpret_cast<uint32_t*>(&focus_config);
    std::fill_n(words, 31, 0xffffffffU);

    EXPECT_EQ(ovra_sys_param_init(), 0);

    std::vector<uint32_t> expected(31, 0);
    expected[0] = 1;
    expected[1] = 2;
    expected[2] = 3;
    expected[4] = 1;
    EXPECT_EQ(std::vector<uint32_t>(words, words + 31), expected);
}

TEST_F(Lifecycle, BuildsTheRecordBeforeItTouchesTheGravitySensor) {
    std::uint32_t built = 0;
    board.on_read(gravity_device, [&built] {
        built = focus_config.system_state.is_system_on;
        return std::string();
    });
    ovra_sys_param_init();
    EXPECT_EQ(built, 1U);
}

TEST_F(Lifecycle, LogsTheBuildingOfTheRecordAfterItsTrace) {
    ovra_sys_param_init();
    EXPECT_EQ(board.log().find(tagged("ovra_sys_param_init") + record_building), 0U);
}

TEST_F(Lifecycle, LogsTheBuildingOfTheRecordWithoutItsTraceBelowLevelFour) {
    ovra_log_level = 3;
    ovra_sys_param_init();
    EXPECT_EQ(board.log().find(record_building), 0U);
}

TEST_F(Lifecycle, StartsNoDetectorWithoutAGravitySensor) {
    EXPECT_EQ(ovra_sys_param_init(), 0);
    usleep(100 * ms);
    EXPECT_EQ(count_of("print [ovra_focus]  gsensor_det_thread,start"), 0);
}

TEST_F(Lifecycle, StartsTheDetectorWhichReadsWithoutAPauseOfItsOwn) {
    // The sensor takes 10 ms for a sample.
    board.on_ioctl(gravity_device, [](std::uint32_t, void*) {
        usleep(10 * ms);
        return -static_cast<long>(EIO);
    });

    EXPECT_EQ(ovra_sys_param_init(), 0);
    usleep(105 * ms);

    EXPECT_EQ(count_of("print [ovra_focus]  gsensor_det_thread,start"), 1);
    EXPECT_EQ(count_of(sample), 10);
    EXPECT_EQ(count_of("sleep 20000"), 0);
}

TEST_F(Lifecycle, ADetectorThatCannotBeStartedIsNoFailure) {
    connect_silent_gravity_sensor();
    board.fail({"pthread_create", "", 1, EAGAIN, -1, {}});
    EXPECT_EQ(ovra_sys_param_init(), 0);
    usleep(100 * ms);
    EXPECT_EQ(count_of(sample), 0);
}

// --- The gravity thread -------------------------------------------------------------------------------------

TEST_F(Lifecycle, PrintsExactlyThatTheGravityThreadCannotBeStarted) {
    board.fail({"pthread_create", "", 1, EAGAIN, -1, {}});
    EXPECT_NE(ovra_gsensor_init(), 0);
    EXPECT_EQ(board.log(), "ovra_gsensor_thread create failed!\n");
}

TEST_F(Lifecycle, TheGravityThreadEndsWithoutASensorAndStartsNoPoller) {
    project_tof_dist_changed = 1;
    EXPECT_EQ(ovra_gsensor_thread(nullptr), nullptr);
    usleep(100 * ms);
    EXPECT_EQ(board.journal({"sleep"}), Entries{"sleep 100000"});
}

TEST_F(Lifecycle, TheGravityThreadLogsItsStartAndItsEnd) {
    ovra_gsensor_thread(nullptr);
    const std::string log = board.log();
    EXPECT_EQ(log.find(tagged("ovra_gsensor_thread start")), 0U) << log;
    const std::string end = tagged("close ovra gsensor thread");
    EXPECT_EQ(log.rfind(end), log.size() - end.size());
}

TEST_F(Lifecycle, TheGravityThreadLogsOnlyItsEndAtLevelOne) {
    ovra_log_level = 1;
    ovra_gsensor_thread(nullptr);
    EXPECT_EQ(count_of("print [ovra_focus]  ovra_gsensor_thread start"), 0);
    EXPECT_EQ(count_of("print [ovra_focus]  close ovra gsensor thread"), 1);
}

TEST_F(Lifecycle, TheGravityThreadDoesNotLogItsEndAtLevelZero) {
    ovra_log_level = 0;
    ovra_gsensor_thread(nullptr);
    EXPECT_EQ(count_of("print [ovra_focus]  close ovra gsensor thread"), 0);
}

TEST_F(Lifecycle, TheGravityThreadStartsThePollerBeforeItsFirstSample) {
    connect_silent_gravity_sensor();
    board.on_ioctl(gravity_device, [this](std::uint32_t, void*) {
        board.note("sample");
        usleep(1000 * ms);
        return -static_cast<long>(EIO);
    });
    EXPECT_EQ(ovra_gsensor_init(), 0);
    usleep(10 * ms);
    EXPECT_EQ(count_of("sample"), 1);
    EXPECT_EQ(count_of("sleep 40000"), 1);
}

TEST_F(Lifecycle, TheGravityThreadSamplesEvery20Milliseconds) {
    connect_silent_gravity_sensor();
    ovra_gsensor_init();
    usleep(10 * ms);
    for (int cycle = 1; cycle <= 5; ++cycle) {
        EXPECT_EQ(count_of(sample), cycle);
        usleep(20 * ms);
    }
}

TEST_F(Lifecycle, TheGravityThreadRunsOnWhenThePollerCannotBeStarted) {
    connect_silent_gravity_sensor();
    board.fail({"pthread_create", "", 2, EAGAIN, -1, {}});
    EXPECT_EQ(ovra_gsensor_init(), 0);
    usleep(50 * ms);
    EXPECT_EQ(count_of("sleep 40000"), 0);
    EXPECT_EQ(count_of(sample), 3);
}

TEST_F(Lifecycle, RefreshesUsbEthernetOnEvery400thCycle) {
    connect_silent_gravity_sensor();
    long samples_at_refresh = -1;
    vendor().usb_eth_config = [&] {
        samples_at_refresh = count_of(sample);
        return 0;
    };
    ovra_gsensor_init();

    usleep(399 * 20 * ms - 10 * ms);
    EXPECT_EQ(count_of("call usb_eth_config"), 0);
    usleep(20 * ms);
    EXPECT_EQ(count_of("call usb_eth_config"), 1);
    EXPECT_EQ(samples_at_refresh, 400);

    usleep(399 * 20 * ms);
    EXPECT_EQ(count_of("call usb_eth_config"), 1);
    usleep(20 * ms);
    EXPECT_EQ(count_of("call usb_eth_config"), 2);
    EXPECT_EQ(samples_at_refresh, 800);
}

// --- The auto-keystone poller -------------------------------------------------------------------------------

TEST_F(Lifecycle, PrintsExactlyThatThePollerCannotBeStarted) {
    board.fail({"pthread_create", "", 1, EAGAIN, -1, {}});
    EXPECT_NE(ovra_ui_update_init(), 0);
    EXPECT_EQ(board.log(), tagged("UI_update_thread create failed!"));
}

TEST_F(Lifecycle, ThePollerPrintsExactlyItsStart) {
    EXPECT_EQ(ovra_ui_update_init(), 0);
    usleep(110 * ms);
    EXPECT_EQ(board.log(), tagged("UI_update_thread start"));
}

TEST_F(Lifecycle, ThePollerLooksEvery40Milliseconds) {
    ovra_ui_update_init();
    usleep(110 * ms);
    EXPECT_EQ(count_of("sleep 40000"), 3);
}

TEST_F(Lifecycle, ThePollerStartsSilentlyBelowLevelFour) {
    ovra_log_level = 3;
    ovra_ui_update_init();
    usleep(10 * ms);
    EXPECT_EQ(board.log(), "");
}

TEST_F(Lifecycle, ThePollerMakesAStepOnlyWhileAutoKeystoneIsActive) {
    g_osd_keystone = 0;  // a step then only ends the activity
    ovra_ui_update_init();
    usleep(10 * ms);
    project_tof_dist_changed = 1;
    usleep(25 * ms);
    EXPECT_EQ(project_tof_dist_changed, 1);
    usleep(10 * ms);
    EXPECT_EQ(project_tof_dist_changed, 0);
}

// --- The worker ---------------------------------------------------------------------------------------------

const std::string worker_start =
    tagged("\033[33;1mHello from the keystonefocus thread!\033[0m") + tagged("auto focus STATE flag : 1\n");

void note_toast(int32_t code) {
    current_board->note("toast " + std::to_string(code) + " state " + std::to_string(g_osd_state_autofocus) +
                        " request " + std::to_string(g_run_once_AKAF));
}

void note_keystone(int32_t, int32_t) {
    current_board->note("keystone request " + std::to_string(g_run_once_keystone) + " value " +
                        std::to_string(m_manuKeystone_value_for_thread));
}

// The host takes the keystone over, and both switches are off: a combined run sends toast 10 and, a second
// later, toast 11.
struct Worker : Lifecycle {
    Worker() {
        table.toast = note_toast;
        table.host_set_keystone = note_keystone;
        app_callback_init(&table);
        autofocus_app_callback = &table;
        connect_display();
        keystone_api_init();
        varnel_set_osd_settings(0, 0);
        board.log();
        board.clear_journal();
    }

    void start() {
        ASSERT_EQ(ovra_akaf_init(), 0);
        usleep(10 * ms);
    }
};

TEST_F(Worker, PrintsExactlyThatItCannotBeStarted) {
    AKAF_running_flag = 0;
    board.fail({"pthread_create", "", 1, EAGAIN, -1, {}});
    EXPECT_NE(ovra_akaf_init(), 0);
    EXPECT_EQ(board.log(), tagged("pthread_create failed!"));
    EXPECT_EQ(AKAF_running_flag, 1);
}

TEST_F(Worker, PrintsExactlyItsGreetingAndSetsItsRunningFlag) {
    AKAF_running_flag = 0;
    start();
    EXPECT_EQ(AKAF_running_flag, 1);
    EXPECT_EQ(board.log(), worker_start);
}

TEST_F(Worker, GreetsAtEveryLevel) {
    ovra_log_level = 0;
    start();
    EXPECT_EQ(board.log(), worker_start);
}

TEST_F(Worker, LooksForRequestsEvery200Milliseconds) {
    start();
    usleep(1000 * ms);
    EXPECT_EQ(count_of("sleep 200000"), 6);
}

TEST_F(Worker, TakesARequestWithinOnePeriod) {
    start();
    varnel_setDLPkeystone(5);
    usleep(180 * ms);
    EXPECT_EQ(board.journal({"keystone"}), Entries{});
    usleep(20 * ms);
    EXPECT_EQ(board.journal({"keystone"}), Entries{"keystone request 1 value 5"});
}

TEST_F(Worker, ServesKeystoneBeforeFocusAndClearsTheFlagsAroundThem) {
    start();
    board.clear_journal();
    varnel_autofocus();
    varnel_setDLPkeystone(5);
    usleep(2000 * ms);
    EXPECT_EQ(
        board.journal({"keystone", "toast"}),
        (Entries{"keystone request 1 value 5", "toast 10 state 1 request 0", "toast 11 state 1 request 0"}));
    EXPECT_EQ(g_run_once_keystone, 0);
    EXPECT_EQ(m_manuKeystone_value_for_thread, 0);
    EXPECT_EQ(g_run_once_AKAF, 0);
    EXPECT_EQ(g_osd_state_autofocus, 0);
}

TEST_F(Worker, LogsEachRequestThatItServesAndTheStateAfterARun) {
    start();
    varnel_autofocus();
    varnel_setDLPkeystone(5);
    usleep(2000 * ms);
    const Entries expected = {"print [ovra_focus]  run once keystone", "keystone request 1 value 5",
                              "print [ovra_focus]  run once AKAF", "toast 11 state 1 request 0",
                              "print [ovra_focus]  auto focus STATE flag : 0"};
    EXPECT_EQ(order_of(expected), expected);
}

TEST_F(Worker, RunsOneKeystoneForTwoRequestsWithTheLastValue) {
    start();
    varnel_setDLPkeystone(5);
    varnel_setDLPkeystone(8);
    usleep(1000 * ms);
    EXPECT_EQ(board.journal({"keystone"}), Entries{"keystone request 1 value 8"});
}

TEST_F(Worker, LosesAKeystoneRequestThatArrivesWhileOneIsServed) {
    table.host_set_keystone = [](int32_t, int32_t) {
        current_board->note("keystone");
        varnel_setDLPkeystone(8);
    };
    start();
    varnel_setDLPkeystone(5);
    usleep(1000 * ms);
    EXPECT_EQ(board.journal({"keystone"}), Entries{"keystone"});
    EXPECT_EQ(g_run_once_keystone, 0);
    EXPECT_EQ(m_manuKeystone_value_for_thread, 0);
}

TEST_F(Worker, RunsOneFocusForTwoRequests) {
    start();
    varnel_autofocus();
    varnel_autofocus();
    usleep(5000 * ms);
    EXPECT_EQ(count_of("toast 11 state 1 request 0"), 1);
}

TEST_F(Worker, KeepsAFocusRequestThatArrivesDuringARun) {
    start();
    varnel_autofocus();
    usleep(500 * ms);  // toast 10 is sent, the run waits a second
    varnel_autofocus();
    usleep(5000 * ms);
    EXPECT_EQ(count_of("toast 11 state 1 request 0") + count_of("toast 11 state 1 request 1"), 2);
}

TEST_F(Worker, EndsWithinOnePeriodOfTheShutDown) {
    start();
    ovrafocus_deinit();
    usleep(200 * ms);
    board.clear_journal();
    usleep(1000 * ms);
    EXPECT_EQ(count_of("sleep 200000"), 0);
}

TEST_F(Worker, ReturnsNullOnceItsFlagIsCleared) {
    AKAF_running_flag = 0;
    EXPECT_EQ(keystonefocus_thread(nullptr), nullptr);
    EXPECT_EQ(board.journal({"sleep"}), Entries{});
}

TEST_F(Worker, FinishesARunThatTheShutDownMeets) {
    start();
    varnel_autofocus();
    usleep(500 * ms);
    ovrafocus_deinit();
    usleep(5000 * ms);
    EXPECT_EQ(count_of("toast 11 state 1 request 0"), 1);
    EXPECT_EQ(g_osd_state_autofocus, 0);
}

TEST_F(Worker, ARequestAfterTheShutDownIsNotServed) {
    start();
    ovrafocus_deinit();
    varnel_autofocus();
    usleep(1000 * ms);
    EXPECT_EQ(board.journal({"toast"}), Entries{});
}

// --- The boot-focus placeholder -----------------------------------------------------------------------------

TEST_F(Lifecycle, TheBootPlaceholderPrintsExactlyItsStartAndEndsOnASystemThatIsOff) {
    focus_config.system_state.skip_boot_action = 1;
    EXPECT_EQ(UI_prop_thread(nullptr), nullptr);
    EXPECT_EQ(board.log(), tagged("UI_prop_thread,start\n"));
}

// On a system that is on it never ends, whatever becomes of the system: a process of its own, whose standard
// output ends it once it has heard enough.
std::string expected_output;

ssize_t end_process_when_heard_enough(void*, const char* bytes, std::size_t count) {
    static std::string heard;
    heard.append(bytes, count);
    focus_config.system_state.is_system_on = 0;
    if (heard.size() >= expected_output.size()) {
        _exit(heard.compare(0, expected_output.size(), expected_output) == 0 ? EXIT_SUCCESS : EXIT_FAILURE);
    }
    return static_cast<ssize_t>(count);
}

void run_boot_placeholder() {
    cookie_io_functions_t listener{};
    listener.write = end_process_when_heard_enough;
    stdout = fopencookie(nullptr, "w", listener);
    UI_prop_thread(nullptr);
    _exit(EXIT_FAILURE);
}

void expect_endless_boot_report(const std::string& line) {
    expected_output = tagged("UI_prop_thread,start\n");
    for (int i = 0; i < 1000; ++i) expected_output += line;
    EXPECT_EXIT(run_boot_placeholder(), ::testing::ExitedWithCode(EXIT_SUCCESS), "");
}

TEST_F(Lifecycle, TheBootPlaceholderReportsTheFocusAtBootWithoutEnd) {
    focus_config.system_state.is_system_on = 1;
    expect_endless_boot_report(
        located("UI_prop_thread", "focusctrl/autofocus", 273, "UI_prop_thread,focus.auto_boot_focus"));
}

TEST_F(Lifecycle, TheBootPlaceholderReportsASkippedFocusAtBootWithoutEnd) {
    focus_config.system_state.is_system_on = 1;
    focus_config.system_state.skip_boot_action = 7;
    expect_endless_boot_report(
        located("UI_prop_thread", "focusctrl/autofocus", 271, "UI_prop_thread,skip boot action"));
}

}  // namespace
