#include "ovrafocus/tof_control.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "ovrafocus/config.h"
#include "tests/support/log_lines.h"
#include "tests/support/scripted_board.h"

using testing::AllOf;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;
using testkit::Fault;
using testkit::located;
using testkit::pieces_of;
using testkit::ScriptedBoard;
using testkit::tagged;
using testkit::without_pieces;
using Entries = std::vector<std::string>;
using Zones = std::array<int32_t, 18>;

namespace {

const std::string tof = "/sys/class/tof/";
const std::string distance_trace = "tfdbg Tof_Get_Distance \n ";

// What this layer adds to the attribute helpers' report of a missing attribute.
std::string failed(const std::string& attribute) { return "tof node: " + tof + attribute + " open failed\n"; }
std::string twice(const std::string& text) { return tagged(text) + text; }

// The text of one frame, nine words of eight hexadecimal digits.
std::string frame(const std::array<unsigned, 9>& words) {
    std::string text;
    for (const unsigned word : words) {
        char digits[9];
        std::snprintf(digits, sizeof digits, "%08X", word);
        text += digits;
    }
    return text;
}

std::string middle_row(unsigned left, unsigned centre, unsigned right) {
    return frame({1, 2, 3, left, centre, right, 7, 8, 9});
}

std::string shown(const std::string& text) { return distance_trace + "tof distance:" + text + " \n"; }

struct Tof : ::testing::Test {
    ScriptedBoard board;

    Tof() {
        focus_config = {};
        focus_config.focus_state.distance_enabled = 1;
    }
    void attribute(const std::string& name, const std::string& content) { board.text(tof + name, content); }
    void distances(const std::vector<std::string>& frames) { board.texts(tof + "distance", frames); }
    void refuse_write(const std::string& name, int nth) {
        Fault fault;
        fault.operation = "write";
        fault.path = tof + name;
        fault.nth = nth;
        fault.error_number = EIO;
        board.fail(fault);
    }
    // A chip that has power, measures and is on the wanted channel.
    void measuring_chip() {
        attribute("chip_enable", "1\n");
        attribute("capture", "1\n");
        attribute("channel", "0\n");
        attribute("poll_period", "180\n");
    }
    Entries writes(const std::string& name) const { return board.writes(tof + name); }
    Entries acts() { return board.journal({"write", "sleep"}); }
    /// What was printed, without the lines in which the attribute helpers report a missing attribute.
    std::string log_of_this_layer() {
        const std::string without_reads = without_pieces(board.log(), "[ovra_focus]  [read] file(");
        return without_pieces(without_reads, "[ovra_focus]  [write] file(");
    }
    /// The lines that begin with the name of this function.
    std::string log_of(const std::string& function) {
        return pieces_of(board.log(), "[ovra_focus]  " + function + ",");
    }
};

std::string wrote(const std::string& name, const std::string& value) {
    return "write " + tof + name + " " + value + "\\n";
}
struct TofAttribute : Tof {};
struct TofPrepare : Tof {};
struct TofReset : Tof {};
struct TofInit : Tof {};
struct TofCheckEnable : Tof {};
struct TofFrame : Tof {};
struct TofEyeBase : Tof {};
struct TofDump : Tof {};
struct TofAverage : Tof {};
struct TofAverage2 : Tof {};
struct TofHook : Tof {};

// --- Attributes --------------------------------------------------------------------------------------

struct Attribute {
    std::string name;
    int32_t (*write)(int32_t);
    std::string trace;    // what every call prints
    std::string failure;  // and after it, when the attribute is missing
};

void PrintTo(const Attribute& attribute, std::ostream* out) { *out << attribute.name; }

struct WrittenAttribute : Tof, testing::WithParamInterface<Attribute> {};

TEST_P(WrittenAttribute, IsWritten) {
    attribute(GetParam().name, "");
    EXPECT_EQ(GetParam().write(3), 0);
    EXPECT_EQ(GetParam().write(0), 0);
    EXPECT_EQ(writes(GetParam().name), (Entries{"3\n", "0\n"}));
}

TEST_P(WrittenAttribute, FailsWhenItIsMissing) {
    EXPECT_EQ(GetParam().write(3), -1);
    EXPECT_EQ(board.journal({"open"}), Entries{"open " + tof + GetParam().name + " O_RDWR = ENOENT"});
}

TEST_P(WrittenAttribute, PrintsExactlyItsTraceAndItsFailure) {
    attribute(GetParam().name, "");
    GetParam().write(1);
    EXPECT_EQ(board.log(), GetParam().trace);
    board.remove(tof + GetParam().name);
    GetParam().write(1);
    EXPECT_EQ(log_of_this_layer(), GetParam().trace + GetParam().failure);
}

INSTANTIATE_TEST_SUITE_P(
    Tof, WrittenAttribute,
    testing::Values(Attribute{"capture", Tof_Enable_Get_Distance, twice("tfdbg Tof_Enable_Get_Distance \n "),
                              twice(failed("capture"))},
                    Attribute{"mode", Tof_Set_Mode, tagged("tfdbg Tof_Set_Mode \n "), twice(failed("mode"))},
                    Attribute{"channel", Tof_Set_Channel, tagged("tfdbg Tof_Set_Channel \n "),
                              tagged(failed("channel"))},
                    Attribute{"chip_enable", Tof_Enable, "", twice(failed("chip_enable"))},
                    Attribute{"poll_period", Tof_Set_poll_period, "", ""},
                    Attribute{"spad_map_id", Tof_Set_spad_map_id, "", ""}),
    [](const auto& row) { return row.param.name; });

TEST_F(TofAttribute, StatesAreReadInSilence) {
    attribute("channel", "2\n");
    attribute("chip_enable", "1\n");
    attribute("capture", "0\n");
    EXPECT_EQ(Tof_Get_Channel(), 2);
    EXPECT_EQ(Tof_Get_Enable_Status(), 1);
    EXPECT_EQ(Tof_Get_Measure_Status(), 0);
    EXPECT_EQ(board.log(), "");
}

TEST_F(TofAttribute, StatesAreMinusOneWhenTheyCannotBeRead) {
    EXPECT_EQ(Tof_Get_Channel(), -1);
    EXPECT_EQ(Tof_Get_Enable_Status(), -1);
    EXPECT_EQ(Tof_Get_Measure_Status(), -1);
    EXPECT_EQ(board.journal({"open"}), (Entries{"open " + tof + "channel O_RDONLY = ENOENT",
                                                "open " + tof + "chip_enable O_RDONLY = ENOENT",
                                                "open " + tof + "capture O_RDONLY = ENOENT"}));
}

TEST_F(TofAttribute, ErrorCodesAreReturned) {
    attribute("sensor_error", "17\n");
    board.text("/sys/class/sensors/sensor_error", "3\n");
    EXPECT_EQ(Tof_Error_Check(), 17);
    EXPECT_EQ(Gsensor_Error_Check(), 3);
    board.remove(tof + "sensor_error");
    board.remove("/sys/class/sensors/sensor_error");
    EXPECT_EQ(Tof_Error_Check(), -1);
    EXPECT_EQ(Gsensor_Error_Check(), -1);
}

TEST_F(TofAttribute, ErrorCodesArePrintedTwice) {
    attribute("sensor_error", "17\n");
    board.text("/sys/class/sensors/sensor_error", "0\n");
    Tof_Error_Check();
    EXPECT_EQ(board.log(), twice("tof error:17 \n"));
    Gsensor_Error_Check();
    EXPECT_EQ(board.log(), twice("gsensor error:0 \n"));
}

TEST_F(TofAttribute, MissingErrorCodesArePrintedTwice) {
    Tof_Error_Check();
    EXPECT_EQ(log_of_this_layer(), twice(failed("sensor_error")));
    Gsensor_Error_Check();
    EXPECT_EQ(log_of_this_layer(), twice("gsensor node: /sys/class/sensors/sensor_error open failed\n"));
}

TEST_F(TofAttribute, DistanceTextIsReadUpToItsLength) {
    attribute("distance", "0123456789");
    char buffer[8] = "#######";
    EXPECT_EQ(Tof_Get_Distance(buffer, 4), 10);
    EXPECT_EQ(std::string(buffer), "0123###");
}

TEST_F(TofAttribute, DistanceTextOfNoLengthIsReadAndNotCopied) {
    attribute("distance", "0");
    char buffer[] = "##";
    EXPECT_EQ(Tof_Get_Distance(buffer, 0), 1);
    EXPECT_EQ(Tof_Get_Distance(buffer, -1), 1);
    EXPECT_EQ(std::string(buffer), "##");
}

TEST_F(TofAttribute, DistanceTextIsPrintedBareAsFarAsItWasCopied) {
    char buffer[100];
    attribute("distance", "0123456789");
    Tof_Get_Distance(buffer, 4);
    EXPECT_EQ(board.log(), "tfdbg Tof_Get_Distance \n tof distance:0123 \n");
    for (const int length : {0, -1}) {
        Tof_Get_Distance(buffer, length);
        EXPECT_EQ(board.log(), shown("")) << length;
    }
    attribute("distance", std::string(80, 'a'));
    EXPECT_EQ(Tof_Get_Distance(buffer, 100), 72);
    EXPECT_THAT(board.log(), EndsWith("tof distance:" + std::string(72, 'a') + " \n"));
}

TEST_F(TofAttribute, MissingDistanceTextIsPrintedTwice) {
    char buffer[4];
    EXPECT_EQ(Tof_Get_Distance(buffer, 4), -1);
    EXPECT_EQ(log_of_this_layer(), distance_trace + twice(failed("distance")));
}

// --- Preparing, resetting ----------------------------------------------------------------------------

TEST_F(TofPrepare, SetsModeAndMapAndStarts) {
    attribute("mode", "");
    attribute("spad_map_id", "");
    attribute("capture", "");
    EXPECT_EQ(Tof_Get_Distance_Prepare(), 0);
    EXPECT_EQ(acts(), (Entries{wrote("mode", "3"), wrote("spad_map_id", "6"), wrote("capture", "1")}));
    EXPECT_THAT(board.log(),
                AllOf(StartsWith(tagged("tfdbg Tof_Get_Distance_Prepare \n ")), Not(HasSubstr("failed"))));
}

struct MissingAttribute {
    std::string name;
    Entries acts;  // what is done before it
};

void PrintTo(const MissingAttribute& missing, std::ostream* out) { *out << missing.name; }

struct TofPrepareWithout : Tof, testing::WithParamInterface<MissingAttribute> {};

TEST_P(TofPrepareWithout, StopsThereAndNamesIt) {
    for (const char* name : {"mode", "spad_map_id", "capture"})
        if (GetParam().name != name) attribute(name, "");
    EXPECT_EQ(Tof_Get_Distance_Prepare(), -1);
    EXPECT_EQ(acts(), GetParam().acts);
    EXPECT_THAT(board.log(), EndsWith("\n" + tagged(failed(GetParam().name))));
}

INSTANTIATE_TEST_SUITE_P(
    An, TofPrepareWithout,
    testing::Values(MissingAttribute{"mode", {}}, MissingAttribute{"spad_map_id", {wrote("mode", "3")}},
                    MissingAttribute{"capture", {wrote("mode", "3"), wrote("spad_map_id", "6")}}),
    [](const auto& row) { return row.param.name; });

TEST_F(TofReset, SwitchesOffAndOnAndStarts) {
    attribute("chip_enable", "");
    attribute("capture", "");
    EXPECT_EQ(tof_check_reset(), 0);
    EXPECT_EQ(acts(), (Entries{wrote("chip_enable", "0"), "sleep 20000", wrote("chip_enable", "1"),
                               "sleep 20000", wrote("capture", "1")}));
    EXPECT_THAT(board.log(), StartsWith(tagged("tof_check_reset")));
}

TEST_F(TofReset, EndsWhenTheChipCannotBeSwitchedOff) {
    attribute("capture", "");
    EXPECT_EQ(tof_check_reset(), -1);
    EXPECT_EQ(acts(), Entries{});
}

TEST_F(TofReset, SumsTheFailuresOfSwitchingOnAndStarting) {
    attribute("chip_enable", "");
    refuse_write("chip_enable", 2);
    EXPECT_EQ(tof_check_reset(), -2);
    EXPECT_EQ(board.journal({"sleep"}), (Entries{"sleep 20000", "sleep 20000"}));
}

// --- Bringing up and down ----------------------------------------------------------------------------

TEST_F(TofInit, LeavesAMeasuringChipAlone) {
    measuring_chip();
    EXPECT_EQ(tof_init(1), 0);
    EXPECT_EQ(acts(), Entries{});
}

TEST_F(TofInit, RefusesAChipWithoutPower) {
    measuring_chip();
    attribute("chip_enable", "0\n");
    EXPECT_EQ(tof_init(1), -1);
    EXPECT_EQ(tof_init(0), -1);
    EXPECT_EQ(acts(), Entries{});
}

TEST_F(TofInit, StartsAChipThatDoesNotMeasure) {
    measuring_chip();
    board.texts(tof + "capture", {"0\n", "", "1\n"});  // read, written, read
    EXPECT_EQ(tof_init(1), 0);
    EXPECT_EQ(acts(), Entries{wrote("capture", "1")});
}

TEST_F(TofInit, ResetsAChipThatDoesNotStart) {
    measuring_chip();
    board.texts(tof + "capture", {"0\n", "", "", "1\n"});  // read, written, written, read
    refuse_write("capture", 1);
    EXPECT_EQ(tof_init(1), 0);
    EXPECT_EQ(writes("chip_enable"), (Entries{"0\n", "1\n"}));
}

TEST_F(TofInit, FailsWhenTheChipDoesNotMeasureAfterAll) {
    measuring_chip();
    attribute("capture", "0\n");
    attribute("channel", "1\n");
    EXPECT_EQ(tof_init(1), -1);
    EXPECT_EQ(acts(), Entries{wrote("capture", "1")});
}

TEST_F(TofInit, SumsTheFailuresOfTheResetAndOfTheChannelAlthoughTheChipMeasures) {
    measuring_chip();
    board.texts(tof + "capture", {"0\n", "", "1\n"});  // read, written, read
    attribute("channel", "1\n");
    refuse_write("capture", 1);
    refuse_write("chip_enable", 1);
    refuse_write("channel", 1);
    EXPECT_EQ(tof_init(1), -2);
}

TEST_F(TofInit, SelectsTheWantedChannel) {
    measuring_chip();
    attribute("channel", "1\n");
    EXPECT_EQ(tof_init(5), 0);
    EXPECT_EQ(acts(), Entries{wrote("channel", "0")});
}

TEST_F(TofInit, TakesUnreadableAttributesForSwitchedOn) {
    attribute("channel", "1\n");
    EXPECT_EQ(tof_init(1), 0);
    EXPECT_EQ(acts(), Entries{wrote("channel", "0")});
}

TEST_F(TofInit, SelectsTheChannelThatCannotBeRead) {
    measuring_chip();
    board.remove(tof + "channel");
    EXPECT_EQ(tof_init(1), -1);
    EXPECT_EQ(board.journal({"open"}).back(), "open " + tof + "channel O_RDWR = ENOENT");
}

TEST_F(TofInit, StopsAMeasuringChip) {
    measuring_chip();
    EXPECT_EQ(tof_init(0), 0);
    EXPECT_EQ(acts(), Entries{wrote("capture", "0")});
}

TEST_F(TofInit, FailsWhenTheChipDoesNotStop) {
    measuring_chip();
    refuse_write("capture", 1);
    EXPECT_EQ(tof_init(0), -1);
}

TEST_F(TofInit, HasNothingToStopOnAChipThatDoesNotMeasure) {
    measuring_chip();
    attribute("capture", "0\n");
    EXPECT_EQ(tof_init(0), 0);
    EXPECT_EQ(acts(), Entries{});
}

TEST_F(TofInit, DoesNotStopTheSensorUnderAPollingHost) {
    measuring_chip();
    focus_config.focus_state.tof_polling = 1;
    EXPECT_EQ(tof_init(0), 0);
    EXPECT_EQ(acts(), Entries{});
}

struct ChipState {
    const char* name;
    std::string chip_enable, channel;
    std::vector<std::string> capture;  // what each opening of the attribute reads
    uint8_t polling;
    bool capture_refused;
    int enable;
    std::vector<std::string> lines;
};

void PrintTo(const ChipState& chip, std::ostream* out) { *out << chip.name; }

struct TofInitOn : Tof, testing::WithParamInterface<ChipState> {};

TEST_P(TofInitOn, LogsEachStep) {
    const ChipState& chip = GetParam();
    attribute("chip_enable", chip.chip_enable);
    attribute("channel", chip.channel);
    board.texts(tof + "capture", chip.capture);
    focus_config.focus_state.tof_polling = chip.polling;
    if (chip.capture_refused) refuse_write("capture", 1);
    tof_init(chip.enable);
    std::string expected;
    for (const std::string& line : chip.lines) expected += tagged("tof_init," + line);
    EXPECT_EQ(log_of("tof_init"), expected);
}

INSTANTIATE_TEST_SUITE_P(
    A, TofInitOn,
    testing::Values(ChipState{"MeasuringChip", "1", "0", {"1"}, 0, false, 1, {"init:1,enable:1", "en:1,ret:0"}},
                    ChipState{"ChipWithoutPower",
                              "0",
                              "0",
                              {"1"},
                              0,
                              false,
                              1,
                              {"init:0,enable:1", "tof invalid", "en:1,ret:-1"}},
                    ChipState{"ChipThatStarts",
                              "1",
                              "0",
                              {"0", "", "1"},
                              0,
                              false,
                              1,
                              {"init:1,enable:0", "tof enable", "en:1,ret:0"}},
                    ChipState{"ChipThatDoesNotStart",
                              "1",
                              "0",
                              {"0"},
                              0,
                              false,
                              1,
                              {"init:1,enable:0", "tof enable", "start measure fail", "en:1,ret:-1"}},
                    ChipState{"ChipOnAnotherChannel",
                              "1",
                              "1",
                              {"1"},
                              0,
                              false,
                              5,
                              {"init:1,enable:1", "channel change,ret:0", "en:5,ret:0"}},
                    ChipState{"ChipThatStops",
                              "1",
                              "0",
                              {"1"},
                              0,
                              false,
                              0,
                              {"init:1,enable:1", "disable measure:0", "tof disable", "en:0,ret:0"}},
                    ChipState{"ChipThatDoesNotStop",
                              "1",
                              "0",
                              {"1"},
                              0,
                              true,
                              0,
                              {"init:1,enable:1", "disable measure:-1", "tof disable", "en:0,ret:-1"}},
                    ChipState{"ChipAtRest", "1", "0", {"0"}, 0, false, 0, {"init:1,enable:0", "en:0,ret:0"}},
                    ChipState{"ChipUnderAPollingHost",
                              "1",
                              "0",
                              {"1"},
                              1,
                              false,
                              0,
                              {"init:1,enable:1", "tof polling, skip disable", "en:0,ret:0"}}),
    [](const auto& row) { return row.param.name; });

TEST_F(TofCheckEnable, PollsFastOnlyWhileEnablingFast) {
    measuring_chip();
    EXPECT_EQ(tof_check_enable(1, 1), 0);
    EXPECT_EQ(tof_check_enable(1, 7), 0);
    EXPECT_EQ(tof_check_enable(1, 0), 0);
    EXPECT_EQ(tof_check_enable(0, 1), 0);
    EXPECT_EQ(tof_check_enable(0, 0), 0);
    EXPECT_EQ(writes("poll_period"), (Entries{"50\n", "50\n", "180\n", "180\n", "180\n"}));
}

TEST_F(TofCheckEnable, PrintsExactlyWhatItIsAskedForAndItsFailure) {
    measuring_chip();
    tof_check_enable(1, 7);
    EXPECT_EQ(log_of("tof_check_enable"), tagged("tof_check_enable,enable:1,fast:7"));
    attribute("chip_enable", "0\n");
    tof_check_enable(1, 1);
    EXPECT_EQ(log_of("tof_check_enable"),
              tagged("tof_check_enable,enable:1,fast:1") + tagged("tof_check_enable,fail"));
}

TEST_F(TofCheckEnable, LeavesThePeriodWhenTheChipDoesNotCome) {
    measuring_chip();
    attribute("chip_enable", "0\n");
    EXPECT_EQ(tof_check_enable(1, 1), -1);
    EXPECT_EQ(writes("poll_period"), Entries{});
}

TEST_F(TofCheckEnable, LeavesThePeriodWhenTheChipDoesNotStop) {
    measuring_chip();
    refuse_write("capture", 1);
    EXPECT_EQ(tof_check_enable(0, 1), -1);
    EXPECT_EQ(writes("poll_period"), Entries{});
}

TEST_F(TofCheckEnable, ReturnsTheResultOfThePeriod) {
    measuring_chip();
    board.remove(tof + "poll_period");
    EXPECT_EQ(tof_check_enable(1, 1), -1);
}

// --- Frames ------------------------------------------------------------------------------------------

TEST_F(TofFrame, IsDecodedIntoDistancesAndSecondValues) {
    const std::string text = frame({0x00330190, 0x00010001, 2, 3, 4, 5, 6, 7, 0x7fff1000});
    attribute("distance", text);
    Zones zones{};
    EXPECT_EQ(tof_get_distance(zones.data(), 1), 0);
    EXPECT_EQ(zones, (Zones{400, 1, 2, 3, 4, 5, 6, 7, 4096, 51, 1, 0, 0, 0, 0, 0, 0, 0x7fff}));
}

TEST_F(TofFrame, KeepsAllBitsOfAWord) {
    attribute("distance", frame({0xffffffff, 0x80000000, 0x80008000, 0, 0, 0, 0, 0, 0xfffe8001}));
    Zones zones{};
    EXPECT_EQ(tof_get_distance(zones.data(), 1), 0);
    EXPECT_EQ(zones, (Zones{65535, 0, 32768, 0, 0, 0, 0, 0, 32769, 65535, 32768, 32768, 0, 0, 0, 0, 0, 65534}));
}

TEST_F(TofFrame, LeavesTheSecondValuesUnlessAskedFor) {
    attribute("distance", frame({0x00330190, 1, 2, 3, 4, 5, 6, 7, 8}));
    Zones zones;
    zones.fill(-7);
    EXPECT_EQ(tof_get_distance(zones.data(), 0), 0);
    EXPECT_EQ(zones, (Zones{400, 1, 2, 3, 4, 5, 6, 7, 8, -7, -7, -7, -7, -7, -7, -7, -7, -7}));
}

TEST_F(TofFrame, TakesSmallLettersToo) {
    attribute("distance", "00330abc" + std::string(64, '0'));
    Zones zones{};
    EXPECT_EQ(tof_get_distance(zones.data(), 1), 0);
    EXPECT_EQ(zones[0], 0xabc);
}

TEST_F(TofFrame, IgnoresWhatStandsAfterSeventyTwoCharacters) {
    attribute("distance", frame({9, 9, 9, 9, 9, 9, 9, 9, 9}) + "\n");
    Zones zones{};
    EXPECT_EQ(tof_get_distance(zones.data(), 0), 0);
    EXPECT_EQ(zones[8], 9);
}

TEST_F(TofFrame, IsRefusedWhenOneCharacterIsMissing) {
    const std::string text = frame({9, 9, 9, 9, 9, 9, 9, 9, 9}).substr(0, 71);
    attribute("distance", text);
    Zones zones;
    zones.fill(-7);
    EXPECT_EQ(tof_get_distance(zones.data(), 1), -1);
    EXPECT_EQ(zones[0], -7);
}

TEST_F(TofFrame, NeedsAnArray) {
    attribute("distance", frame({}));
    EXPECT_EQ(tof_get_distance(nullptr, 0), -1);
    EXPECT_EQ(board.log(), tagged("tof_get_distance,invalid"));
    EXPECT_EQ(board.journal({"open"}), Entries{});
}

TEST_F(TofFrame, IsRefusedSilentlyUntilTheHostEnablesIt) {
    focus_config.focus_state.distance_enabled = 0;
    attribute("distance", frame({}));
    Zones zones{};
    EXPECT_EQ(tof_get_distance(zones.data(), 0), -1);
    EXPECT_EQ(board.log(), "");
    EXPECT_EQ(board.journal({"open"}), Entries{});
}

TEST_F(TofFrame, IsReadUnderTheLockAndGivesItBack) {
    int lock_result = 0;
    board.on_read(tof + "distance", [&lock_result] {
        lock_result = pthread_mutex_trylock(&tof_mtx);
        return frame({}).substr(lock_result == EBUSY ? 0 : 1);
    });
    Zones zones{};
    EXPECT_EQ(tof_get_distance(zones.data(), 0), 0);
    EXPECT_EQ(lock_result, EBUSY);
    EXPECT_EQ(pthread_mutex_trylock(&tof_mtx), 0);
    pthread_mutex_unlock(&tof_mtx);
}

TEST_F(TofFrame, GivesTheLockBackWhenTheReadFails) {
    Zones zones{};
    EXPECT_EQ(tof_get_distance(zones.data(), 0), -1);
    EXPECT_EQ(pthread_mutex_trylock(&tof_mtx), 0);
    pthread_mutex_unlock(&tof_mtx);
}

// --- The least distance ------------------------------------------------------------------------------

TEST_F(TofEyeBase, PrintsExactlyTheLeastDistance) {
    const std::string text = frame({0, 0, 0, 0, 0x00330190, 0, 0, 0, 0});
    attribute("distance", text);
    tof_check_eye_base();
    EXPECT_EQ(board.log(),
              shown(text) + tagged("tof_check_eye_base tof data:") + tagged("tof_check_eye_base,min val:400"));
}

TEST_F(TofEyeBase, PrintsExactlyTheDefaultWhenNoFrameCanBeRead) {
    focus_config.focus_state.distance_enabled = 0;
    tof_check_eye_base();
    EXPECT_EQ(board.log(), tagged("tof_check_eye_base tof data:") +
                               tagged("tof_check_eye_base,can not find min val") +
                               tagged("tof_check_eye_base,min val:800"));
}

struct Frames {
    const char* name;
    std::vector<std::string> texts;  // the last one repeats
    int min_mm;
    std::size_t pauses;
};

void PrintTo(const Frames& frames, std::ostream* out) { *out << frames.name; }

struct TofEyeBaseOf : Tof, testing::WithParamInterface<Frames> {};

TEST_P(TofEyeBaseOf, FindsTheLeastDistanceOfTheZonesThatSeeWellEnough) {
    distances(GetParam().texts);
    tof_check_eye_base();
    const std::string log = board.log();
    EXPECT_EQ(log.substr(log.rfind(':') + 1), std::to_string(GetParam().min_mm) + "\n");
    EXPECT_EQ(board.journal({"sleep"}), Entries(GetParam().pauses, "sleep 200000"));
}

const std::string blind_centre = frame({0x00330100, 0, 0, 0, 0, 0, 0, 0, 0});

INSTANTIATE_TEST_SUITE_P(
    Frames, TofEyeBaseOf,
    testing::Values(
        Frames{"WeakAndEmptyZonesLeftOut",
               {frame({0x00320010, 0x00330000, 0x00330190, 0x00330200, 0x00330300, 0x00330400, 0x00330500,
                       0x00330600, 0x00330191})},
               400,
               0},
        Frames{"EachZoneByItsOwnSecondValue",
               {frame({0, 0x00320010, 0x00330500, 0, 0x00330300, 0, 0, 0x00320020, 0x00330400})},
               768,
               0},
        Frames{"OneMillimetre", {frame({0x00330001, 0, 0, 0, 0x00330300, 0, 0, 0, 0})}, 1, 0},
        Frames{"NoZoneThatSeesWellEnough", {frame({5, 5, 5, 5, 5, 5, 5, 5, 5})}, 800, 0},
        Frames{"AgainWhileTheCentreIsZero",
               {blind_centre, frame({0x00330200, 0, 0, 0, 0x00330300, 0, 0, 0, 0})},
               512,
               1},
        Frames{"TheLastFrameEvenWhenItsCentreIsZero",
               {blind_centre, blind_centre, frame({0, 0x00330190, 0, 0, 0, 0, 0, 0, 0})},
               400,
               3},
        Frames{"TheLastFrameThatCouldBeRead", {frame({0x00330190, 0, 0, 0, 0, 0, 0, 0, 0}), "short"}, 400, 3},
        Frames{"ThreeTries", {"a", "b", "c", frame({1, 1, 1, 1, 0x00330190, 1, 1, 1, 1})}, 800, 3}),
    [](const auto& row) { return row.param.name; });

// --- Small things ------------------------------------------------------------------------------------

TEST_F(TofDump, PrintsExactlyWhetherSomethingStandsNear) {
    tof_notify_status(1);
    EXPECT_EQ(board.log(), tagged("tof_notify_status,is_near:1"));
}

TEST_F(TofDump, PrintsExactlyTheDistancesInThreeRows) {
    const Zones zones = {1, 22, 333, 4444, 55555, 6, 7, 8, 9, 51, 0, 100, 1, 2, 3, 4, 5, 6};
    tof_dump_arr(zones.data(), 0);
    EXPECT_EQ(board.log(), tagged("###########################") + tagged("   1mm,   22mm,  333mm") +
                               tagged("4444mm, 55555mm,    6mm") + tagged("   7mm,    8mm,    9mm") +
                               tagged("###########################"));
}

TEST_F(TofDump, PrintsExactlyTheSecondValuesBelow) {
    const Zones zones = {1, 2, 3, 4, 5, 6, 7, 8, 9, 51, 0, 100, 1, 2, 3, 44, 55, 66};
    tof_dump_arr(zones.data(), 1);
    EXPECT_EQ(board.log(), tagged("###########################") + tagged("   1mm,    2mm,    3mm") +
                               tagged("   4mm,    5mm,    6mm") + tagged("   7mm,    8mm,    9mm") +
                               tagged("51,  0, 100") + tagged(" 1,  2,  3") + tagged("44, 55, 66") +
                               tagged("###########################"));
}

TEST_F(TofDump, ConvertsDegreesInSinglePrecision) {
    EXPECT_EQ(tof_degree2radian(180.0F), 3.1415927F);
    EXPECT_EQ(tof_degree2radian(7.0F), 7.0F * 3.1415927F / 180.0F);
    EXPECT_EQ(tof_degree2radian(-90.0F), -1.57079637F);
    EXPECT_EQ(tof_degree2radian(0.0F), 0.0F);
}

// --- Averages ----------------------------------------------------------------------------------------

const std::string average_failed = tagged("keystone_get_tof_avg,fail");

std::string unstable(int line, const std::string& zone, const std::string& counts) {
    return located("keystone_get_tof_avg", "focusctrl/tof_control", line,
                   "keystone_get_tof_avg," + zone + " data is not stable," + counts);
}

TEST_F(TofAverage, AveragesTheMiddleRow) {
    distances({middle_row(100, 1000, 200), middle_row(101, 1001, 203)});
    int32_t left = 0;
    int32_t centre = 0;
    int32_t right = 0;
    EXPECT_EQ(keystone_get_tof_avg(&left, &centre, &right, 2), 0);
    EXPECT_EQ(left, 100);
    EXPECT_EQ(centre, 992);  // 1000 * cos(7 degrees) = 992.5
    EXPECT_EQ(right, 201);
    EXPECT_EQ(board.journal({"read", "sleep"}),
              (Entries{"read " + tof + "distance", "sleep 70000", "read " + tof + "distance", "sleep 70000"}));
}

TEST_F(TofAverage, ReadsOneFrameForACountOfZeroOrLess) {
    distances({middle_row(100, 200, 300)});
    int32_t left = 0;
    EXPECT_EQ(keystone_get_tof_avg(&left, nullptr, nullptr, 0), 0);
    EXPECT_EQ(keystone_get_tof_avg(&left, nullptr, nullptr, -3), 0);
    EXPECT_EQ(left, 100);
    EXPECT_EQ(board.journal({"sleep"}), (Entries{"sleep 70000", "sleep 70000"}));
}

TEST_F(TofAverage, RefusesACentreThatComesAndGoes) {
    distances({middle_row(1, 0, 1), middle_row(1, 400, 1), middle_row(1, 0, 1), middle_row(1, 400, 1)});
    int32_t centre = -7;
    EXPECT_EQ(keystone_get_tof_avg(nullptr, &centre, nullptr, 4), -1);
    EXPECT_EQ(centre, -7);
}

TEST_F(TofAverage, ChecksTheCentreFromTwoFramesOn) {
    distances({middle_row(1, 0, 1), middle_row(1, 400, 1)});
    int32_t centre = -7;
    EXPECT_EQ(keystone_get_tof_avg(nullptr, &centre, nullptr, 2), -1);
    EXPECT_EQ(centre, -7);
}

TEST_F(TofAverage, AcceptsACentreThatIsNeverSeen) {
    distances({middle_row(1, 0, 1)});
    int32_t centre = -7;
    EXPECT_EQ(keystone_get_tof_avg(nullptr, &centre, nullptr, 4), 0);
    EXPECT_EQ(centre, 0);
}

TEST_F(TofAverage, LogsAllUnstableZonesAndThenFailsOnce) {
    distances({middle_row(0, 0, 0), middle_row(1, 1, 1), middle_row(1, 1, 0)});
    int32_t left = -7;
    int32_t centre = -7;
    int32_t right = -7;
    EXPECT_EQ(keystone_get_tof_avg(&left, &centre, &right, 3), -1);
    EXPECT_EQ(left, -7);
    EXPECT_EQ(centre, -7);
    EXPECT_EQ(right, -7);
    EXPECT_EQ(board.log(), shown(middle_row(0, 0, 0)) + shown(middle_row(1, 1, 1)) +
                               shown(middle_row(1, 1, 0)) + unstable(580, "dl", "(3,1)") +
                               unstable(584, "dr", "(3,2)") + unstable(590, "dc", "(3,1)") + average_failed);
}

TEST_F(TofAverage, ChecksTheSidesOnlyWhenBothAreAskedFor) {
    distances({middle_row(0, 5, 9), middle_row(6, 5, 0)});
    int32_t left = 0;
    EXPECT_EQ(keystone_get_tof_avg(&left, nullptr, nullptr, 2), 0);
    EXPECT_EQ(left, 3);
    int32_t right = 0;
    distances({middle_row(0, 5, 9), middle_row(6, 5, 0)});
    EXPECT_EQ(keystone_get_tof_avg(nullptr, nullptr, &right, 2), 0);
    EXPECT_EQ(right, 4);
}

TEST_F(TofAverage, ChecksTheCentreOnlyWhenItIsAskedFor) {
    distances({middle_row(2, 0, 2), middle_row(2, 5, 2)});
    int32_t left = 0;
    int32_t right = 0;
    EXPECT_EQ(keystone_get_tof_avg(&left, nullptr, &right, 2), 0);
}

TEST_F(TofAverage, ReducesTheCentreTowardsZeroByTheCosineOfSevenDegrees) {
    int32_t centre = 0;
    distances({middle_row(1, 65535, 1)});
    EXPECT_EQ(keystone_get_tof_avg(nullptr, &centre, nullptr, 1), 0);
    EXPECT_EQ(centre, 65046);  // 65046.5
    distances({middle_row(1, 1, 1)});
    EXPECT_EQ(keystone_get_tof_avg(nullptr, &centre, nullptr, 1), 0);
    EXPECT_EQ(centre, 0);
}

TEST_F(TofAverage, EndsAtAFrameThatCannotBeRead) {
    distances({middle_row(1, 2, 3), "short"});
    int32_t left = -7;
    EXPECT_EQ(keystone_get_tof_avg(&left, nullptr, nullptr, 5), -1);
    EXPECT_EQ(left, -7);
    EXPECT_EQ(board.journal({"sleep"}), (Entries{"sleep 70000", "sleep 70000"}));
}

TEST_F(TofAverage, FailsForAnUnreadableFrameHoweverStableTheZonesWere) {
    distances({middle_row(1, 2, 3), "short"});
    int32_t left = -7;
    int32_t centre = -7;
    int32_t right = -7;
    EXPECT_EQ(keystone_get_tof_avg(&left, &centre, &right, 3), -1);
    EXPECT_EQ(left, -7);
    EXPECT_EQ(centre, -7);
    EXPECT_EQ(right, -7);
}

TEST_F(TofAverage, LogsAFrameThatCannotBeReadAndTheZonesThatWereUnstableUntilThen) {
    distances({middle_row(0, 2, 3), "short"});
    int32_t left = -7;
    int32_t right = -7;
    EXPECT_EQ(keystone_get_tof_avg(&left, nullptr, &right, 3), -1);
    EXPECT_EQ(board.log(), shown(middle_row(0, 2, 3)) + shown("short") +
                               tagged("keystone_get_tof_avg, get_tof_distance fail") +
                               unstable(580, "dl", "(3,1)") + average_failed);
}

const std::string fast_and_slow_again =
    tagged("tof_check_enable,enable:1,fast:1") + tagged("tof_check_enable,enable:1,fast:0");

TEST_F(TofAverage2, PollsFastMeanwhile) {
    measuring_chip();
    distances({middle_row(10, 20, 30)});
    int32_t left = 0;
    int32_t centre = 0;
    int32_t right = 0;
    EXPECT_EQ(keystone_get_tof_avg2(&left, &centre, &right, 1), 0);
    EXPECT_EQ(left, 10);
    EXPECT_EQ(centre, 19);
    EXPECT_EQ(right, 30);
    EXPECT_EQ(acts(), (Entries{wrote("poll_period", "50"), "sleep 70000", wrote("poll_period", "180")}));
    EXPECT_EQ(log_of("tof_check_enable"), fast_and_slow_again);
}

TEST_F(TofAverage2, TriesAgainUpToFiveTimes) {
    measuring_chip();
    distances({"a", "b", "c", "d", middle_row(10, 20, 30)});
    int32_t left = 0;
    EXPECT_EQ(keystone_get_tof_avg2(&left, nullptr, nullptr, 1), 0);
    EXPECT_EQ(left, 10);
}

TEST_F(TofAverage2, FailsAfterFiveTriesAndPollsSlowlyAgain) {
    measuring_chip();
    distances({"a", "b", "c", "d", "e", middle_row(10, 20, 30)});
    int32_t left = -7;
    EXPECT_EQ(keystone_get_tof_avg2(&left, nullptr, nullptr, 1), -1);
    EXPECT_EQ(left, -7);
    EXPECT_EQ(writes("poll_period"), (Entries{"50\n", "180\n"}));
    EXPECT_THAT(board.log(), EndsWith(tagged("keystone_get_tof_avg2,fail")));
}

TEST_F(TofAverage2, MeasuresEvenWhenTheSensorCouldNotBeSwitchedOver) {
    distances({middle_row(10, 20, 30)});
    int32_t left = 0;
    EXPECT_EQ(keystone_get_tof_avg2(&left, nullptr, nullptr, 1), 0);
    EXPECT_EQ(left, 10);
}

TEST_F(TofHook, StoresTheCentreInTheFifthField) {
    measuring_chip();
    distances({middle_row(0, 1000, 0)});
    std::array<int32_t, 6> record = {1, 2, 3, 4, 5, 6};
    EXPECT_EQ(keystone_get_tof_rawdata(record.data()), 0);
    EXPECT_EQ(record, (std::array<int32_t, 6>{1, 2, 3, 4, 992, 6}));
    EXPECT_EQ(acts(), (Entries{wrote("poll_period", "50"), "sleep 200000", "sleep 70000", "sleep 70000",
                               "sleep 70000", wrote("poll_period", "180")}));
    EXPECT_EQ(log_of("tof_check_enable"), fast_and_slow_again);
}

TEST_F(TofHook, TriesThreeTimesAndStoresNothingWhenAllFail) {
    measuring_chip();
    distances({"a", "b", "c", middle_row(0, 500, 0)});
    std::array<int32_t, 6> record = {1, 2, 3, 4, 5, 6};
    EXPECT_EQ(keystone_get_tof_rawdata(record.data()), -1);
    EXPECT_EQ(record, (std::array<int32_t, 6>{1, 2, 3, 4, 5, 6}));
    EXPECT_EQ(writes("poll_period"), (Entries{"50\n", "180\n"}));
    EXPECT_THAT(board.log(), EndsWith(tagged("keystone_get_tof_rawdata,fail")));
}

TEST_F(TofHook, TakesTheThirdTry) {
    measuring_chip();
    distances({"a", "b", middle_row(0, 500, 0)});
    std::array<int32_t, 5> record = {};
    EXPECT_EQ(keystone_get_tof_rawdata(record.data()), 0);
    EXPECT_EQ(record[4], 496);
}

}  // namespace
