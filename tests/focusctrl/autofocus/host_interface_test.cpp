#include "ovrafocus/host_interface.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstring>
#include <string>
#include <vector>

#include "ovrafocus/lifecycle.h"
#include "ovrafocus/motor_drv.h"
#include "ovrafocus/tof_control.h"
#include "tests/support/scripted_board.h"

namespace {

using testkit::ScriptedBoard;
using Entries = std::vector<std::string>;

ScriptedBoard* current_board = nullptr;

void note_refresh() { current_board->note("refresh"); }
void note_toast(int32_t code) { current_board->note("toast " + std::to_string(code)); }

struct HostInterface : ::testing::Test {
    ScriptedBoard board;
    app_callback_table table{};

    HostInterface() {
        current_board = &board;
        table.refresh_ui = note_refresh;
        table.toast = note_toast;
    }
};

// --- The table of callbacks ---------------------------------------------------------------------------------

TEST_F(HostInterface, HasElevenSlotsInTheirPlaces) {
    EXPECT_EQ(sizeof(app_callback_table), 11 * sizeof(void*));
    EXPECT_EQ(offsetof(app_callback_table, refresh_ui), 4 * sizeof(void*));
    EXPECT_EQ(offsetof(app_callback_table, toast), 5 * sizeof(void*));
    EXPECT_EQ(offsetof(app_callback_table, is_factory_test), 6 * sizeof(void*));
    EXPECT_EQ(offsetof(app_callback_table, rotation_changed), 7 * sizeof(void*));
    EXPECT_EQ(offsetof(app_callback_table, keystone_updated), 9 * sizeof(void*));
    EXPECT_EQ(offsetof(app_callback_table, host_set_keystone), 10 * sizeof(void*));
}

TEST_F(HostInterface, RegistersATableAndPrintsExactlyThat) {
    EXPECT_EQ(app_callback_init(&table), 1);
    EXPECT_EQ(g_app_callback, &table);
    EXPECT_EQ(board.log(), "ovra: app_callback_init.\n");
}

TEST_F(HostInterface, RefusesANullTableKeepsTheEarlierOneAndPrintsExactlyThat) {
    app_callback_init(&table);
    board.log();

    EXPECT_EQ(app_callback_init(nullptr), -1);

    EXPECT_EQ(g_app_callback, &table);
    EXPECT_EQ(board.log(), "ovra: app_callback_init fail.\n");
}

TEST_F(HostInterface, ReplacesTheTableByALaterOne) {
    app_callback_table later{};
    app_callback_init(&table);
    EXPECT_EQ(app_callback_init(&later), 1);
    EXPECT_EQ(g_app_callback, &later);
}

TEST_F(HostInterface, HandsOutTheRegisteredTableAndPrintsExactlyThat) {
    app_callback_init(&table);
    board.log();

    EXPECT_EQ(get_app_callback(), &table);

    EXPECT_EQ(board.log(), "ovra: get_app_callback.\n");
}

TEST_F(HostInterface, HandsOutNullWhenNoTableIsRegistered) { EXPECT_EQ(get_app_callback(), nullptr); }

TEST_F(HostInterface, RegisteringDoesNotReachTheStartedLibrary) {
    app_callback_init(&table);
    EXPECT_EQ(autofocus_app_callback, nullptr);
}

// --- Toasts and refreshes -----------------------------------------------------------------------------------

TEST_F(HostInterface, ShowsAToastAfterExactlyItsLine) {
    autofocus_app_callback = &table;
    show_korbet_toast_akaf(9);
    EXPECT_EQ(board.journal(),
              (Entries{"print [ovra_focus]  show_korbet_toast_akaf.call back toast", "print ", "toast 9"}));
}

TEST_F(HostInterface, AToastWithoutATableIsLoggedOnly) {
    show_korbet_toast_akaf(9);
    EXPECT_EQ(board.journal({"print"}).size(), 2U);
}

TEST_F(HostInterface, AToastWithoutItsSlotIsLoggedOnly) {
    table.toast = nullptr;
    autofocus_app_callback = &table;
    show_korbet_toast_akaf(-1);
    EXPECT_EQ(board.journal({"print"}).size(), 2U);
    EXPECT_EQ(board.journal({"refresh"}), Entries{});
}

TEST_F(HostInterface, AToastLooksAtTheStartedTableNotAtTheRegisteredOne) {
    app_callback_init(&table);
    show_korbet_toast_akaf(2);
    EXPECT_EQ(board.journal({"toast"}), Entries{});
}

TEST_F(HostInterface, AsksForARedrawAfterExactlyItsLine) {
    autofocus_app_callback = &table;
    lv_refresh_callback();
    EXPECT_EQ(board.journal(),
              (Entries{"print [ovra_focus]  lv_refresh_callback.call back refresh ui", "print ", "refresh"}));
}

TEST_F(HostInterface, ARedrawWithoutATableIsLoggedOnly) {
    lv_refresh_callback();
    EXPECT_EQ(board.journal({"print"}).size(), 2U);
}

TEST_F(HostInterface, ARedrawWithoutItsSlotIsLoggedOnly) {
    table.refresh_ui = nullptr;
    autofocus_app_callback = &table;
    lv_refresh_callback();
    EXPECT_EQ(board.journal({"print"}).size(), 2U);
    EXPECT_EQ(board.journal({"toast"}), Entries{});
}

// --- Requests -----------------------------------------------------------------------------------------------

TEST_F(HostInterface, RequestsACombinedRunAndPrintsExactlyThat) {
    EXPECT_EQ(varnel_autofocus(), 0);
    EXPECT_EQ(g_run_once_AKAF, 1);
    EXPECT_EQ(g_run_once_keystone, 0);
    EXPECT_EQ(board.log(), "[ovra_focus]  \033[36;1mreceived akaf command\033[0m\n");
}

TEST_F(HostInterface, RequestsAManualKeystoneRunAndPrintsExactlyThat) {
    EXPECT_EQ(varnel_setDLPkeystone(-17), 0);
    EXPECT_EQ(g_run_once_keystone, 1);
    EXPECT_EQ(m_manuKeystone_value_for_thread, -17);
    EXPECT_EQ(g_run_once_AKAF, 0);
    EXPECT_EQ(board.log(), "[ovra_focus]  \033[36;1mreceived manu keystone command\033[0m\n");
}

TEST_F(HostInterface, TheLastKeystoneValueCounts) {
    varnel_setDLPkeystone(5);
    varnel_setDLPkeystone(8);
    EXPECT_EQ(g_run_once_keystone, 1);
    EXPECT_EQ(m_manuKeystone_value_for_thread, 8);
}

// --- On-screen switches -------------------------------------------------------------------------------------

TEST_F(HostInterface, StartsWithKeystoneOnFocusOffAndARunInProgress) {
    EXPECT_EQ(g_osd_keystone, 1);
    EXPECT_EQ(g_osd_autofocus, 0);
    EXPECT_EQ(g_osd_state_autofocus, 1);
    EXPECT_EQ(varnel_get_state_autofocus(), 1);
}

TEST_F(HostInterface, SwitchesOnForExactlyOneOnly) {
    for (const int32_t value : {0, 2, -1, 257, 256, INT32_MIN, INT32_MAX}) {
        varnel_set_osd_settings(1, 1);
        EXPECT_EQ(varnel_set_osd_settings(value, 1), 0);
        EXPECT_EQ(g_osd_keystone, 0) << value;
        EXPECT_EQ(g_osd_autofocus, 1);
        EXPECT_EQ(varnel_set_osd_settings(1, value), 0);
        EXPECT_EQ(g_osd_keystone, 1);
        EXPECT_EQ(g_osd_autofocus, 0) << value;
    }
}

TEST_F(HostInterface, SwitchesKeystoneAlone) {
    g_osd_autofocus = 1;
    for (const int32_t value : {0, 2, 257, -1}) {
        EXPECT_EQ(varnel_set_osd_settings_keystone(1), 0);
        EXPECT_EQ(g_osd_keystone, 1);
        EXPECT_EQ(varnel_set_osd_settings_keystone(value), 0);
        EXPECT_EQ(g_osd_keystone, 0) << value;
    }
    EXPECT_EQ(g_osd_autofocus, 1);
}

TEST_F(HostInterface, SwitchesFocusAlone) {
    g_osd_keystone = 0;
    for (const int32_t value : {0, 2, 257, -1}) {
        EXPECT_EQ(varnel_set_osd_settings_autofocus(1), 0);
        EXPECT_EQ(g_osd_autofocus, 1);
        EXPECT_EQ(varnel_set_osd_settings_autofocus(value), 0);
        EXPECT_EQ(g_osd_autofocus, 0) << value;
    }
    EXPECT_EQ(g_osd_keystone, 0);
}

TEST_F(HostInterface, ReturnsBothSwitchesAsOneOrZero) {
    int32_t keystone = -5;
    int32_t autofocus = -5;
    g_osd_keystone = 0;
    g_osd_autofocus = 200;

    EXPECT_EQ(varnel_get_osd_settings(&keystone, &autofocus), 0);
    EXPECT_EQ(keystone, 0);
    EXPECT_EQ(autofocus, 1);

    g_osd_keystone = 3;
    g_osd_autofocus = 0;
    EXPECT_EQ(varnel_get_osd_settings(&keystone, &autofocus), 0);
    EXPECT_EQ(keystone, 1);
    EXPECT_EQ(autofocus, 0);
}

TEST_F(HostInterface, ReturnsASingleSwitchAndTheStateAsTheirBytes) {
    g_osd_keystone = 200;
    g_osd_autofocus = 7;
    g_osd_state_autofocus = 3;
    EXPECT_EQ(varnel_get_osd_settings_keystone(), 200);
    EXPECT_EQ(varnel_get_osd_settings_autofocus(), 7);
    EXPECT_EQ(varnel_get_state_autofocus(), 3);
}

TEST_F(HostInterface, IsSilentAboutSwitchesAndConfigurations) {
    int32_t keystone = 0;
    int32_t autofocus = 0;
    std::array<uint32_t, 14> words{};
    varnel_set_osd_settings(1, 0);
    varnel_set_osd_settings_keystone(0);
    varnel_set_osd_settings_autofocus(1);
    varnel_get_osd_settings(&keystone, &autofocus);
    varnel_get_osd_settings_keystone();
    varnel_get_osd_settings_autofocus();
    varnel_get_state_autofocus();
    get_action_config(words.data());
    get_cali_config(words.data());
    EXPECT_EQ(board.log(), "");
}

// --- The algorithm module's record --------------------------------------------------------------------------

std::array<uint32_t, 14> action_words(uint32_t action, uint32_t enabled) {
    std::array<uint32_t, 14> words{};
    words[0] = action;
    words[2] = enabled;
    return words;
}

TEST_F(HostInterface, LaysTheAlgorithmRecordOutNatively) {
    EXPECT_EQ(offsetof(ovra_algutils, first_word), 0U);
    EXPECT_EQ(offsetof(ovra_algutils, motor_move_to_tmr), sizeof(void*));
    EXPECT_EQ(offsetof(ovra_algutils, keystone_get_tof_rawdata), 2 * sizeof(void*));
    EXPECT_EQ(offsetof(ovra_algutils, cali_config), 3 * sizeof(void*));
    EXPECT_EQ(offsetof(ovra_algutils, action_config), 3 * sizeof(void*) + 48);
    EXPECT_EQ(sizeof(ovra_algutils), 3 * sizeof(void*) + 48 + 56);
}

TEST_F(HostInterface, StartsTheAlgorithmRecordClean) {
    std::memset(&algutils, 0xff, sizeof algutils);
    algutils.first_word = 77;

    EXPECT_EQ(alg_init(), 0);

    EXPECT_EQ(algutils.first_word, 77U);
    EXPECT_EQ(algutils.motor_move_to_tmr, motor_move_to_tmr);
    EXPECT_EQ(algutils.keystone_get_tof_rawdata, keystone_get_tof_rawdata);
    EXPECT_TRUE(
        std::all_of(algutils.cali_config, algutils.cali_config + 12, [](uint32_t w) { return w == 0; }));
    EXPECT_TRUE(std::equal(algutils.action_config, algutils.action_config + 14, action_words(0, 1).begin()));
    EXPECT_EQ(board.log(), "[ovra_focus]  alg_init\n");
}

TEST_F(HostInterface, TheAlgorithmRecordIsZeroBeforeItsStart) {
    EXPECT_EQ(algutils.first_word, 0U);
    EXPECT_EQ(algutils.motor_move_to_tmr, nullptr);
    EXPECT_EQ(algutils.keystone_get_tof_rawdata, nullptr);
}

TEST_F(HostInterface, CopiesTheActionConfiguration) {
    for (uint32_t i = 0; i < 14; ++i) algutils.action_config[i] = 10 + i;
    std::array<uint32_t, 15> out{};
    out[14] = 0xaaaaaaaa;

    EXPECT_EQ(get_action_config(out.data()), out.data());

    EXPECT_TRUE(std::equal(out.begin(), out.begin() + 14, algutils.action_config));
    EXPECT_EQ(out[14], 0xaaaaaaaaU);
}

TEST_F(HostInterface, CopiesTheCalibrationConfiguration) {
    for (uint32_t i = 0; i < 12; ++i) algutils.cali_config[i] = 30 + i;
    std::array<uint32_t, 13> out{};
    out[12] = 0xaaaaaaaa;

    EXPECT_EQ(get_cali_config(out.data()), out.data());

    EXPECT_TRUE(std::equal(out.begin(), out.begin() + 12, algutils.cali_config));
    EXPECT_EQ(out[12], 0xaaaaaaaaU);
}

TEST_F(HostInterface, RecordsActionCodes) {
    struct Action {
        const char* name;
        int32_t (*request)();
        uint32_t code;
    };
    const Action actions[] = {{"do_zoom", do_zoom, 7},
                              {"do_move", do_move, 8},
                              {"do_rotation", do_rotation, 9},
                              {"do_alg_test", do_alg_test, 20},
                              {"do_screen_fit", do_screen_fit, 2}};
    alg_init();
    board.log();
    for (const Action& action : actions) {
        EXPECT_EQ(action.request(), 0);
        EXPECT_EQ(board.log(), std::string("[ovra_focus]  ") + action.name + "\n");
        EXPECT_TRUE(std::equal(algutils.action_config, algutils.action_config + 14,
                               action_words(action.code, 1).begin()));
    }
}

TEST_F(HostInterface, LogsTheCommandsThatDoNothingElse) {
    struct Command {
        const char* name;
        int32_t (*call)();
    };
    const Command commands[] = {{"do_auto_focus", do_auto_focus},
                                {"do_auto_keystone_mix", do_auto_keystone_mix},
                                {"factory_focus_tof_cali", factory_focus_tof_cali}};
    algutils.action_config[0] = 5;
    for (const Command& command : commands) {
        EXPECT_EQ(command.call(), 0);
        EXPECT_EQ(board.log(), std::string("[ovra_focus]  ") + command.name + "\n");
    }
    EXPECT_EQ(algutils.action_config[0], 5U);
    EXPECT_EQ(g_run_once_AKAF, 0);
}

TEST_F(HostInterface, KeepsSilentCommandsThatDoNothing) {
    for (int32_t (*call)() : {send_focus_cmd, camera_auto_focus_fast, setzoom, setmove, set_rotation}) {
        EXPECT_EQ(call(), 0);
    }
    EXPECT_EQ(board.journal(), Entries{});
}

}  // namespace
