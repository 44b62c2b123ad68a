#include "ovrafocus/config.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <string>
#include <utility>

#include "tests/support/scripted_board.h"

namespace {

using testkit::ScriptedBoard;

struct Config : ::testing::Test {
    ScriptedBoard board;
};

using Words = std::array<uint32_t, 31>;

Words words_of(const ovra_focus_config& record) {
    Words words{};
    std::memcpy(words.data(), &record, sizeof record);
    return words;
}

template <typename Record>
Record filled_with_ones() {
    Record record;
    std::memset(&record, 0xff, sizeof record);
    return record;
}

TEST_F(Config, IsAllZeroBeforeStartUp) { EXPECT_EQ(words_of(focus_config), Words{}); }

TEST_F(Config, LogsAtLevelFourByDefault) { EXPECT_EQ(ovra_log_level, 4); }

TEST_F(Config, IsCopiedWhole) {
    Words numbered{};
    for (uint32_t i = 0; i < numbered.size(); ++i) numbered[i] = 100 + i;
    std::memcpy(&focus_config, numbered.data(), sizeof focus_config);
    ovra_focus_config copy{};

    EXPECT_EQ(get_focus_configs(&copy), &copy);

    EXPECT_EQ(words_of(copy), numbered);
    EXPECT_EQ(board.log(), "");
}

TEST_F(Config, KnowsItsWordsByPlace) {
    Words numbered{};
    for (uint32_t i = 0; i < numbered.size(); ++i) numbered[i] = i;
    ovra_focus_config record;
    std::memcpy(&record, numbered.data(), sizeof record);

    EXPECT_EQ(record.user_setting.focus_mode, 0U);
    EXPECT_EQ(record.user_setting.cali_mode, 1U);
    EXPECT_EQ(record.user_setting.factory_mode, 2U);
    EXPECT_EQ(record.system_state.is_system_on, 4U);
    EXPECT_EQ(record.system_state.skip_boot_action, 5U);
    EXPECT_EQ(record.focus_state.distance_enabled, 10U + 6U);
    EXPECT_EQ(record.focus_state.tof_polling, 10U + 7U);
    EXPECT_EQ(record.focus_state.busy, 10U + 8U);
    EXPECT_EQ(record.focus_data.words[0], 20U);
    EXPECT_EQ(record.focus_data.words[10], 30U);
}

TEST_F(Config, SystemStateStartsAtZero) {
    auto state = filled_with_ones<ovra_system_state>();

    EXPECT_EQ(system_state_init(&state), &state);

    const ovra_system_state zero{};
    EXPECT_EQ(std::memcmp(&state, &zero, sizeof zero), 0);
    EXPECT_EQ(board.log(), "[ovra_focus]  system_state_init.\n\n");
}

TEST_F(Config, FocusStateStartsAtZero) {
    auto state = filled_with_ones<ovra_focus_state>();

    EXPECT_EQ(focus_state_init(&state), &state);

    const ovra_focus_state zero{};
    EXPECT_EQ(std::memcmp(&state, &zero, sizeof zero), 0);
    EXPECT_EQ(board.log(), "[ovra_focus]  focus_state_init.\n\n");
}

TEST_F(Config, FocusDataStartsAtZeroButForItsLastTwoWords) {
    auto data = filled_with_ones<ovra_focus_data>();

    EXPECT_EQ(focus_data_init(&data), &data);

    EXPECT_TRUE(std::all_of(data.words, data.words + 9, [](uint32_t word) { return word == 0; }));
    EXPECT_EQ(data.words[9], 0xffffffffU);
    EXPECT_EQ(data.words[10], 0xffffffffU);
    EXPECT_EQ(board.log(), "[ovra_focus]  focus_data_init.\n\n");
}

TEST_F(Config, UserSettingStartsWithModesOneTwoThree) {
    auto setting = filled_with_ones<ovra_user_setting>();

    EXPECT_EQ(user_setting_init(&setting), &setting);

    EXPECT_EQ(setting.focus_mode, 1U);
    EXPECT_EQ(setting.cali_mode, 2U);
    EXPECT_EQ(setting.factory_mode, 3U);
    EXPECT_EQ(setting.unused, 0U);
    EXPECT_EQ(board.log(),
              "[ovra_focus]  user_setting_init.\n\n"
              "[ovra_focus]  get_focus_mode.\n\n"
              "[ovra_focus]  get_cali_mode.\n\n"
              "[ovra_focus]  get_factory_mode.\n\n");
}

// --- The three modes are checked alike ----------------------------------------------------------------------

struct Mode {
    const char* function;
    const char* word;
    int32_t (*check)(int32_t);
};

struct ConfigMode : ::testing::TestWithParam<Mode> {
    ScriptedBoard board;

    std::string name_line() const { return std::string("[ovra_focus]  ") + GetParam().function + ".\n\n"; }
    std::string refusal_line(const char* number) const {
        return std::string("[ovra_focus]  ") + GetParam().word + " = " + number + " unspport, do nothing\n";
    }
};

TEST_P(ConfigMode, OneTwoAndThreeAreKept) {
    for (const int32_t mode : {1, 2, 3}) {
        EXPECT_EQ(GetParam().check(mode), mode);
        EXPECT_EQ(board.log(), name_line());
    }
}

TEST_P(ConfigMode, AnythingElseIsRefusedAndBecomesOne) {
    const std::pair<int32_t, const char*> refused[] = {
        {0, "0"}, {4, "4"}, {-1, "-1"}, {INT32_MAX, "2147483647"}, {INT32_MIN, "-2147483648"}};
    for (const auto& [mode, number] : refused) {
        EXPECT_EQ(GetParam().check(mode), 1);
        EXPECT_EQ(board.log(), name_line() + refusal_line(number));
    }
}

INSTANTIATE_TEST_SUITE_P(EachMode, ConfigMode,
                         ::testing::Values(Mode{"get_focus_mode", "FOCUS_MODE", get_focus_mode},
                                           Mode{"get_cali_mode", "CALIBRATION_MODE", get_cali_mode},
                                           Mode{"get_factory_mode", "FACTORY_MODE", get_factory_mode}),
                         [](const auto& mode) { return std::string(mode.param.function); });

}  // namespace
