#include "ovrafocus/calibration_data.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <string>
#include <vector>

#include "ovrafocus/focus_nodes.h"
#include "ovrafocus/lens_position.h"
#include "ovrafocus/lifecycle.h"
#include "ovrafocus/permanent_data.h"
#include "tests/support/log_lines.h"
#include "tests/support/scripted_board.h"
#include "tests/support/scripted_vendor.h"

namespace {

using testkit::ScriptedBoard;
using testkit::tagged;
using testkit::vendor;
using Flags = std::array<std::int32_t, 3>;

const std::string curve_node = "/sys/class/dlp/elepn_focus_curve_data";
const std::string flat_curve = "0 0 0 0 0 0 0 5 5 5 5 5 5 5 5 5 5 5 5 5";

constexpr std::int32_t untouched = 77;
constexpr std::size_t flags_at = 222;

const std::string no_curve = tagged("elepn_calidata_read fail!");

std::string table_text(int entries) {
    std::string text;
    for (int i = 0; i < entries; ++i) text += (i == 0 ? "" : ",") + std::to_string(10 * i - 100);
    return text;
}

// The library's copy of the record, filled directly; the flash keeps its own.
struct CalibrationData : ::testing::Test {
    CalibrationData() {
        std::memset(&glb_permanent_data, 0, sizeof glb_permanent_data);
        permanent_data_inited = 1;
        std::fill(std::begin(listFlash), std::end(listFlash), untouched);
        g_limitLeft = -500;
        g_limitRight = 500;
        direction = 0;
        leftIdle = 1;
        rightIdle = 1;
        g_flag_high_temp = untouched;
        g_flag_elepn_temp = untouched;
    }

    static char* record() { return reinterpret_cast<char*>(&glb_permanent_data); }
    static void put_table(const std::string& text) { std::memcpy(record(), text.data(), text.size()); }
    static void put_flags(const std::string& digits) { std::memcpy(record() + flags_at, digits.data(), 3); }
    static std::string stored_flags() { return {record() + flags_at, 3}; }

    ScriptedBoard board;
};

TEST(CalibrationDataAtLoad, IsAllZero) {
    EXPECT_TRUE(std::all_of(std::begin(listFlash), std::end(listFlash), [](std::int32_t v) { return v == 0; }));
    EXPECT_EQ(g_limitLeft, -500);
    EXPECT_EQ(g_limitRight, 500);
    EXPECT_EQ(leftIdle, 1);
    EXPECT_EQ(rightIdle, 1);
}

// --- Reading the flags -----------------------------------------------------------------------------------

struct GetCaliFlag : CalibrationData {
    Flags flags{untouched, untouched, untouched};
};

TEST_F(GetCaliFlag, GivesTheThreeDigitsAndPrintsExactlyThem) {
    put_flags("124");
    EXPECT_EQ(get_cali_flag(flags.data()), 0);
    EXPECT_EQ(flags, (Flags{1, 2, 4}));
    EXPECT_EQ(board.log(), tagged("auto focus: get_cali_flag\n") + tagged("gsensor flag:1(1)\n") +
                               tagged("tof flag:2(2)\n") + tagged("tmr flag:4(4)\n") +
                               tagged("int: gsensor = 1, tof = 2, tmr = 4\n"));
}

TEST_F(GetCaliFlag, TakesAnErasedRecordForUncalibrated) {
    std::memset(record(), 0xFF, sizeof glb_permanent_data);
    EXPECT_EQ(get_cali_flag(flags.data()), 0);
    EXPECT_EQ(flags, (Flags{0, 0, 0}));
}

TEST_F(GetCaliFlag, TakesAnAllZeroRecordForUncalibrated) {
    EXPECT_EQ(get_cali_flag(flags.data()), 0);
    EXPECT_EQ(flags, (Flags{0, 0, 0}));
}

TEST_F(GetCaliFlag, ReadsEachByteAlone) {
    put_flags("9-a");
    std::memcpy(record() + 225, "12", 2);
    get_cali_flag(flags.data());
    EXPECT_EQ(flags, (Flags{9, 0, 0}));
}

TEST_F(GetCaliFlag, ReadsTheFlashWhenNobodyHasYet) {
    permanent_data_inited = 0;
    std::memcpy(vendor().otp.data() + flags_at, "113", 3);
    EXPECT_EQ(get_cali_flag(flags.data()), 0);
    EXPECT_EQ(flags, (Flags{1, 1, 3}));
}

// --- Loading ---------------------------------------------------------------------------------------------

struct GetCaliData : CalibrationData {
    static std::vector<std::int32_t> table() { return {std::begin(listFlash), std::end(listFlash)}; }
    static std::vector<std::int32_t> expected_table(int parsed) {
        std::vector<std::int32_t> values(30, untouched);
        for (int i = 0; i < parsed; ++i) values[static_cast<std::size_t>(i)] = 10 * i - 100;
        return values;
    }
};

TEST_F(GetCaliData, LoadsTheTableAndTheSettingsOfACalibratedLens) {
    put_table(table_text(30));
    put_flags("111");
    EXPECT_EQ(get_cali_data(listFlash), 0);
    EXPECT_EQ(table(), expected_table(30));
    EXPECT_EQ(g_limitLeft, 150);
    EXPECT_EQ(g_limitRight, 160);
    EXPECT_EQ(direction, 170);
    EXPECT_EQ(leftIdle, 180);
    EXPECT_EQ(rightIdle, 190);
}

TEST_F(GetCaliData, PrintsExactlyTheTextOfTheTable) {
    put_table("1,2,3");
    put_flags("012");
    get_cali_data(listFlash);
    EXPECT_EQ(board.log().find(tagged("auto focus init: get_cali_data\n") + tagged("char:1,2,3\n")), 0U);
}

TEST_F(GetCaliData, AlwaysFillsTheGlobalTable) {
    put_table("5");
    std::int32_t other[30] = {untouched};
    get_cali_data(other);
    EXPECT_EQ(listFlash[0], 5);
    EXPECT_EQ(other[0], untouched);
    put_table("6");
    EXPECT_EQ(get_cali_data(nullptr), 0);
    EXPECT_EQ(listFlash[0], 6);
}

TEST_F(GetCaliData, KeepsTheSettingsOfAnUncalibratedLens) {
    put_table(table_text(30));
    put_flags("110");
    get_cali_data(listFlash);
    EXPECT_EQ(table(), expected_table(30));
    EXPECT_EQ(g_limitLeft, -500);
    EXPECT_EQ(g_limitRight, 500);
    EXPECT_EQ(direction, 0);
    EXPECT_EQ(leftIdle, 1);
    EXPECT_EQ(rightIdle, 1);
}

TEST_F(GetCaliData, CountsAnyDigitButZeroAsCalibrated) {
    put_table(table_text(30));
    put_flags("009");
    get_cali_data(listFlash);
    EXPECT_EQ(g_limitLeft, 150);
}

TEST_F(GetCaliData, LeavesEverythingForAnErasedRecord) {
    std::memset(record(), 0xFF, sizeof glb_permanent_data);
    EXPECT_EQ(get_cali_data(listFlash), 0);
    EXPECT_EQ(table(), expected_table(0));
    EXPECT_EQ(g_limitLeft, -500);
    EXPECT_EQ(g_limitRight, 500);
    EXPECT_NE(board.log().find("char:" + std::string(150, '\xFF') + "\n"), std::string::npos);
}

TEST_F(GetCaliData, LeavesEverythingForAnAllZeroRecord) {
    EXPECT_EQ(get_cali_data(listFlash), 0);
    EXPECT_EQ(table(), expected_table(0));
}

TEST_F(GetCaliData, KeepsTheEntriesAfterAShortTable) {
    put_table(table_text(26));
    get_cali_data(listFlash);
    EXPECT_EQ(table(), expected_table(26));
}

TEST_F(GetCaliData, TakesNoMoreThanThirtyEntries) {
    std::string text = "0";
    for (int i = 1; i < 40; ++i) text += "," + std::to_string(i);
    put_table(text);
    const std::int32_t after = g_flag_high_temp;
    get_cali_data(listFlash);
    EXPECT_EQ(listFlash[29], 29);
    EXPECT_EQ(g_flag_high_temp, after);
}

TEST_F(GetCaliData, StopsWhereTheTextIsNoTable) {
    const std::pair<const char*, int> texts[] = {
        {",-90,-80", 0},   {"-100,,-80", 1}, {"-100,-90,x,-70", 2}, {"-100;-90", 1},
        {" -100, -90", 2}, {"-100 ,-90", 1}, {"-100,-90,- 8", 2},   {"-100,-90.5,-80", 2}};
    for (const auto& [text, parsed] : texts) {
        std::fill(std::begin(listFlash), std::end(listFlash), untouched);
        std::memset(record(), 0, sizeof glb_permanent_data);
        put_table(text);
        get_cali_data(listFlash);
        EXPECT_EQ(table(), expected_table(parsed)) << text;
    }
}

TEST_F(GetCaliData, EndsWithTheTextsFieldWhenItHasNoTerminator) {
    // 25 numbers fill the field but for two characters; the field after it begins with digits.
    std::string text;
    for (int i = 0; i < 24; ++i) text += "10000,";
    text += "123456";
    ASSERT_EQ(text.size(), 150U);
    put_table(text);
    std::memcpy(record() + 150, "789,5", 5);
    get_cali_data(listFlash);
    EXPECT_EQ(listFlash[24], 123456);
    EXPECT_EQ(listFlash[25], untouched);
    EXPECT_EQ(board.log().find(tagged("auto focus init: get_cali_data\n") + tagged("char:" + text + "\n")), 0U);
}

TEST_F(GetCaliData, ReadsTheFocusCurveLast) {
    put_table(table_text(30));
    put_flags("001");
    board.text(curve_node, flat_curve);
    get_cali_data(listFlash);
    EXPECT_EQ(g_flag_elepn_temp, 1);
    // The polarity of 170 was loaded before, and turns the curve.
    EXPECT_EQ(elepnCalidata[0], -5);
    EXPECT_EQ(elepnCalidata[24], -5);
}

TEST_F(GetCaliData, ClearsTheCurveFlagWithoutACurve) {
    get_cali_data(listFlash);
    EXPECT_EQ(g_flag_elepn_temp, 0);
}

// --- Writing the flags -----------------------------------------------------------------------------------

struct WriteCaliFlag : CalibrationData {
    // What is logged before the flags.
    static std::string opening() {
        return tagged("auto focus: write_cali_flag\n") + no_curve + tagged("g_flag_elepn_temp = 0\n");
    }
    static void write(const Flags& flags) { EXPECT_EQ(write_cali_flag(flags.data()), 0); }
    void add_curve() { board.text(curve_node, flat_curve); }
};

TEST_F(WriteCaliFlag, StoresTheDigitsInFlashAndCopy) {
    put_flags("000");
    write({1, 2, 1});
    EXPECT_EQ(stored_flags(), "121");
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(vendor().otp.data()) + flags_at, 3), "121");
}

TEST_F(WriteCaliFlag, PrintsExactlyEachFlagAndTheDigitsAfterIt) {
    put_flags("567");
    write({1, 4, 0});
    EXPECT_EQ(board.log(), opening() + tagged("flag:1, buffer:1\n") + tagged("flag:167\n") +
                               tagged("flag:4, buffer:4\n") + tagged("flag:47\n") +
                               tagged("flag:0, buffer:0\n") + tagged("flag:0\n"));
}

TEST_F(WriteCaliFlag, LogsTheReservedBytesAfterTheFlagsAndNoMore) {
    std::memset(record(), 0, sizeof glb_permanent_data);
    std::memcpy(record() + flags_at, "00089", 5);
    write({1, 1, 1});
    const std::string log = board.log();
    EXPECT_NE(log.find(tagged("flag:10089\n")), std::string::npos);
    EXPECT_NE(log.find(tagged("flag:189\n")), std::string::npos);
}

TEST_F(WriteCaliFlag, StoresZeroForEveryOtherValue) {
    write({7, -1, 0});
    EXPECT_EQ(stored_flags(), "000");
    EXPECT_EQ(g_flag_high_temp, untouched);
    write({5, 5, 5});
    EXPECT_EQ(stored_flags(), "000");
    EXPECT_EQ(g_flag_high_temp, untouched);
}

TEST_F(WriteCaliFlag, ChangesNoOtherByte) {
    for (std::size_t i = 0; i < sizeof glb_permanent_data; ++i) record()[i] = static_cast<char>('A' + i % 26);
    const std::string before(record(), sizeof glb_permanent_data);
    write({1, 1, 1});
    EXPECT_EQ(std::string(record(), flags_at), before.substr(0, flags_at));
    EXPECT_EQ(std::string(record() + 225, 2), before.substr(225));
}

struct LensFlag {
    std::int32_t requested;
    bool curve;
    char stored;
    std::int32_t high_temp;
    std::int32_t elepn_temp;
};

TEST_F(WriteCaliFlag, OfTheLensSwitchesTheTemperatureFlags) {
    const LensFlag cases[] = {
        {1, false, '1', 0, 0},        {1, true, '1', 0, 0},         {2, false, '2', 1, 0},
        {2, true, '2', 1, 0},         {3, false, '1', 0, 0},        {3, true, '3', 0, 1},
        {4, false, '2', 1, 0},        {4, true, '4', 1, 1},         {0, false, '0', untouched, 0},
        {0, true, '0', untouched, 1}, {5, true, '0', untouched, 1},
    };
    for (const LensFlag& expected : cases) {
        g_flag_high_temp = untouched;
        board.remove(curve_node);
        if (expected.curve) add_curve();
        write({0, 0, expected.requested});
        EXPECT_EQ(stored_flags()[2], expected.stored) << expected.requested << expected.curve;
        EXPECT_EQ(g_flag_high_temp, expected.high_temp) << expected.requested << expected.curve;
        EXPECT_EQ(g_flag_elepn_temp, expected.elepn_temp) << expected.requested << expected.curve;
    }
}

TEST_F(WriteCaliFlag, OfTheOtherSensorsSwitchesNothing) {
    for (const std::int32_t value : {1, 2, 3, 4}) {
        add_curve();
        write({value, value, 0});
        EXPECT_EQ(stored_flags(), std::string(2, static_cast<char>('0' + value)) + "0");
        EXPECT_EQ(g_flag_high_temp, untouched);
        EXPECT_EQ(g_flag_elepn_temp, 1);
    }
}

TEST_F(WriteCaliFlag, LogsTheDowngradedLensFlag) {
    write({0, 0, 4});
    EXPECT_NE(board.log().find(tagged("flag:4, buffer:2\n")), std::string::npos);
}

TEST_F(WriteCaliFlag, LogsTheFlagOfTheCurveItFinds) {
    add_curve();
    write({0, 0, 3});
    EXPECT_NE(board.log().find(tagged("g_flag_elepn_temp = 1\n") + tagged("flag:0, buffer:0\n")),
              std::string::npos);
    EXPECT_EQ(elepnCalidata[12], 5);
}

TEST_F(WriteCaliFlag, LogsAFailedWriteAndKeepsTheCopy) {
    put_flags("000");
    vendor().flash_otp_write = [](std::uint32_t, std::uint32_t, std::uint32_t, const void*, std::uint32_t) {
        return -1;
    };
    write({1, 1, 1});
    EXPECT_EQ(stored_flags(), "000");
    EXPECT_NE(board.log().find(tagged("write_cali_flag error\n")), std::string::npos);
}

}  // namespace
