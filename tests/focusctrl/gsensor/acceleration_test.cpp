#include "ovrafocus/acceleration.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <climits>
#include <cstddef>
#include <limits>
#include <string>
#include <thread>
#include <vector>

#include "ovrafocus/config.h"
#include "ovrafocus/host_interface.h"
#include "ovrafocus/motion.h"
#include "tests/support/log_lines.h"
#include "tests/support/scripted_board.h"
#include "tests/support/scripted_gravity.h"

namespace {

using testkit::Gravity;
using testkit::gravity_node;
using testkit::on_table;
using testkit::pieces_of;
using testkit::ScriptedBoard;
using testkit::ScriptedGravity;
using testkit::tagged;
using Entries = std::vector<std::string>;

const std::string callback_line = "ovra: get_app_callback.\n";
const std::string flag_line = tagged("gsensor flag:1 (1)");
const std::string working_line = tagged("gsensor work in ioctl mode");
const std::string open_failure_line = tagged("open gsensor file: /dev/gsensor_daemon fail!");
const std::string successful_line = tagged("gsensor initialization calibration successful");

std::string data_line(const std::string& text) {
    return "[ovra_focus]  get gsensor data " + text + " from otp area\n";
}

std::string offset_line(const std::string& values) {
    return "[ovra_focus]  get gsensor offset value " + values + "\n";
}

std::string retry_line(int times) {
    return tagged("try to perform gsensor calibration times " + std::to_string(times) + "\n");
}

const std::string open_entry = "open /dev/gsensor_daemon O_RDWR";
const std::string calibrate_entry = "ioctl /dev/gsensor_daemon 0x8004a106";
const std::string refused_entry = calibrate_entry + " = EIO";
const std::string close_entry = "close /dev/gsensor_daemon";
const std::string pause_entry = "sleep 50000";

struct Acceleration : ::testing::Test {
    ScriptedBoard board;
    ScriptedGravity gravity{board};

    Entries device_entries() { return board.journal({"open", "ioctl", "close", "sleep"}); }
};

// --- Start-up calibration: success ------------------------------------------------------------------------

using AccInitSet = Acceleration;

TEST_F(AccInitSet, HandsTheFactoryOffsetsToTheDriverAndOpensTheDeviceForSampling) {
    gravity.set_record("12,-7,30", '1');

    EXPECT_EQ(acc_init_set(), 0);

    EXPECT_EQ(gravity.calibrations, (std::vector<Gravity>{{12, -7, 30}}));
    EXPECT_EQ(device_entries(), (Entries{open_entry, calibrate_entry, close_entry, open_entry}));
    EXPECT_EQ(board.open_descriptors(), (Entries{gravity_node}));
}

TEST_F(AccInitSet, LogsEachStepAndTheSuccessAfterTheDescriptorIsClosed) {
    gravity.set_record("1,2,3", '1');
    acc_init_set();

    EXPECT_EQ(board.journal({"close", "print"}),
              (Entries{"print ovra: get_app_callback.", "print [ovra_focus]  gsensor flag:1 (1)",
                       "print [ovra_focus]  get gsensor data 1,2,3 from otp area",
                       "print [ovra_focus]  get gsensor offset value 1 2 3", close_entry,
                       "print [ovra_focus]  gsensor initialization calibration successful",
                       "print [ovra_focus]  gsensor work in ioctl mode"}));
}

TEST_F(AccInitSet, SkipsBlanksAndTabsBeforeTheNumbers) {
    gravity.set_record("12, -7,\t30", '1');
    acc_init_set();
    EXPECT_EQ(gravity.calibrations, (std::vector<Gravity>{{12, -7, 30}}));
}

TEST_F(AccInitSet, ReadsNoMoreThanTheTwentyFourBytesOfTheText) {
    gravity.set_record("1,2,                    3", '1');
    glb_permanent_data.gsensor_offset_text[23] = '4';
    glb_permanent_data.device_sn[0] = '5';

    acc_init_set();

    EXPECT_EQ(gravity.calibrations, (std::vector<Gravity>{{1, 2, 4}}));
    EXPECT_NE(board.log().find(data_line("1,2,                   4")), std::string::npos);
}

TEST_F(AccInitSet, TakesZeroForMissingNumbers) {
    gravity.set_record("9", '1');
    acc_init_set();
    EXPECT_EQ(gravity.calibrations, (std::vector<Gravity>{{9, 0, 0}}));
}

TEST_F(AccInitSet, AcceptsOffsetsUpTo20000) {
    gravity.set_record("20000,-20000,0", '1');
    acc_init_set();
    EXPECT_EQ(gravity.calibrations, (std::vector<Gravity>{{20000, -20000, 0}}));
}

TEST_F(AccInitSet, CountsAPositiveAnswerOfTheDriverAsSuccess) {
    gravity.set_record("1,2,3", '1');
    gravity.calibration_answers = {1};
    acc_init_set();
    EXPECT_EQ(gravity.calibrations.size(), 1U);
}

// --- Start-up calibration: not calibrated -----------------------------------------------------------------

struct FlagText {
    const char* name;
    char flag;
    std::string shown;
};

void PrintTo(const FlagText& flag, std::ostream* out) { *out << flag.name; }

struct Uncalibrated : Acceleration, testing::WithParamInterface<FlagText> {};

TEST_P(Uncalibrated, IsOpenedWithoutOffsetsAndWithoutRetry) {
    gravity.set_record("1,2,3", GetParam().flag);
    EXPECT_EQ(acc_init_set(), 0);
    EXPECT_EQ(device_entries(), (Entries{open_entry}));
}

TEST_P(Uncalibrated, PrintsExactlyItsFlag) {
    gravity.set_record("1,2,3", GetParam().flag);
    acc_init_set();
    EXPECT_EQ(board.log(), callback_line + tagged("gsensor flag:" + GetParam().shown) +
                               tagged("gsensor has not been calibrated yet") + working_line);
}

INSTANTIATE_TEST_SUITE_P(Flags, Uncalibrated,
                         testing::Values(FlagText{"Zero", '0', "0 (0)"}, FlagText{"OtherDigit", '2', "2 (2)"},
                                         FlagText{"Blank", '\0', "0 ()"},
                                         FlagText{"Erased", '\xff', "0 (\xff)"}),
                         [](const auto& row) { return row.param.name; });

// --- Start-up calibration: failures -----------------------------------------------------------------------

TEST_F(AccInitSet, TriesOffsetsOutOfRangeThreeTimesAndOpensTheDeviceAllTheSame) {
    gravity.set_record("20001,0,0", '1');

    EXPECT_EQ(acc_init_set(), 0);

    EXPECT_EQ(device_entries(), (Entries{pause_entry, pause_entry, open_entry}));
}

TEST_F(AccInitSet, ChecksTheRangeOfEveryAxis) {
    gravity.set_record("0,-20001,0", '1');
    acc_init_set();
    gravity.set_record("0,0,20001", '1');
    acc_init_set();
    EXPECT_EQ(gravity.calibrations.size(), 0U);
}

TEST_F(AccInitSet, LogsEachAttemptAfterItsPause) {
    gravity.set_record("20001,0,0", '1');
    acc_init_set();
    const std::string attempt =
        callback_line + flag_line + data_line("20001,0,0") + tagged("gsensor cali data over range");
    EXPECT_EQ(board.log(),
              attempt + retry_line(1) + attempt + retry_line(2) + attempt + retry_line(3) + working_line);
    const Entries entries = board.journal({"sleep", "print"});
    ASSERT_GT(entries.size(), 6U);
    EXPECT_EQ(entries[4], pause_entry);
    EXPECT_EQ(entries[5], "print [ovra_focus]  try to perform gsensor calibration times 1");
}

TEST_F(AccInitSet, TriesAgainWhenTheDriverRefusesTheOffsets) {
    gravity.set_record("1,2,3", '1');
    gravity.calibration_answers = {-EIO};

    EXPECT_EQ(acc_init_set(), 0);

    EXPECT_EQ(device_entries(), (Entries{open_entry, refused_entry, close_entry, pause_entry, open_entry,
                                         calibrate_entry, close_entry, open_entry}));
}

TEST_F(AccInitSet, GivesUpAfterTheThirdRefusalWithoutAPause) {
    gravity.set_record("1,2,3", '1');
    gravity.calibration_answers = {-EIO, -EIO, -EIO};

    EXPECT_EQ(acc_init_set(), 0);

    EXPECT_EQ(gravity.calibrations.size(), 3U);
    EXPECT_EQ(device_entries(),
              (Entries{open_entry, refused_entry, close_entry, pause_entry, open_entry, refused_entry,
                       close_entry, pause_entry, open_entry, refused_entry, close_entry, open_entry}));
}

TEST_F(AccInitSet, ReadsALongTextToItsEndOnARetryAndUsesItsFirstThreeNumbers) {
    gravity.set_record("1,2,3,4,5", '1');
    gravity.calibration_answers = {-EIO};
    acc_init_set();
    EXPECT_EQ(gravity.calibrations, (std::vector<Gravity>{{1, 2, 3}, {1, 2, 3}}));
}

TEST_F(AccInitSet, CountsNumbersOverAllAttempts) {
    gravity.set_record("1,2", '1');
    gravity.calibration_answers = {-EIO};
    // The record changes while the library waits: of the new text only the first number is reached.
    board.on_sleep([this](std::int64_t) { gravity.set_record("7,8,9", '1'); });

    acc_init_set();

    EXPECT_EQ(gravity.calibrations, (std::vector<Gravity>{{1, 2, 0}, {7, 2, 0}}));
}

TEST_F(AccInitSet, TriesAgainWhenTheDeviceCannotBeOpened) {
    gravity.set_record("1,2,3", '1');
    board.fail({"open", gravity_node, 1, ENOENT, -1, ""});

    EXPECT_EQ(acc_init_set(), 0);

    EXPECT_EQ(device_entries(), (Entries{open_entry + " = ENOENT", pause_entry, open_entry, calibrate_entry,
                                         close_entry, open_entry}));
}

TEST_F(AccInitSet, FailsWhenTheDeviceIsMissing) {
    gravity.set_record("1,2,3", '1');
    board.remove(gravity_node);
    EXPECT_EQ(acc_init_set(), -1);
    const std::string missing = open_entry + " = ENOENT";
    EXPECT_EQ(device_entries(), (Entries{missing, pause_entry, missing, pause_entry, missing, missing}));
}

TEST_F(AccInitSet, LogsEachAttemptToOpenTheDevice) {
    gravity.set_record("1,2,3", '1');
    board.remove(gravity_node);
    acc_init_set();
    const std::string attempt =
        callback_line + flag_line + data_line("1,2,3") + offset_line("1 2 3") + open_failure_line;
    EXPECT_EQ(board.log(),
              attempt + retry_line(1) + attempt + retry_line(2) + attempt + retry_line(3) + open_failure_line);
}

TEST_F(AccInitSet, TakesTheDescriptorZero) {
    gravity.set_record("1,2,3", '1');
    close(STDIN_FILENO);  // the next open gets its number
    EXPECT_EQ(acc_init_set(), 0);
    EXPECT_EQ(gravity.calibrations, (std::vector<Gravity>{{1, 2, 3}}));
    EXPECT_EQ(board.open_descriptors(), (Entries{gravity_node}));
    gravity.samples({1500, 0, 0}, 1);
    EXPECT_EQ(acc_read_data.x, 1.5F);
    EXPECT_EQ(acc_file_close(), 0);
}

TEST_F(AccInitSet, FailsWhenOnlyTheLastOpenFails) {
    gravity.set_record("1,2,3", '1');
    board.fail({"open", gravity_node, 2, EBUSY, -1, ""});
    EXPECT_EQ(acc_init_set(), -1);
    EXPECT_EQ(gravity.calibrations.size(), 1U);
}

TEST_F(AccInitSet, TakesTheHostsTableAgainOnEveryAttempt) {
    static app_callback_table first{};
    static app_callback_table second{};
    app_callback_init(&first);
    gravity.set_record("20001,0,0", '1');
    board.on_sleep([](std::int64_t) { app_callback_init(&second); });

    acc_init_set();

    EXPECT_EQ(gsensor_app_callback, &second);
}

TEST_F(AccInitSet, DoesNotSeeATableThatIsRegisteredLater) {
    static app_callback_table table{};
    gravity.open();
    app_callback_init(&table);
    EXPECT_EQ(gsensor_app_callback, nullptr);
}

TEST_F(AccInitSet, AbandonsTheDescriptorOfAnEarlierCall) {
    gravity.open();
    gravity.open();
    EXPECT_EQ(board.open_descriptors(), (Entries{gravity_node, gravity_node}));
}

TEST_F(AccInitSet, LogsErrorsFromLevelOne) {
    gravity.set_record("20001,0,0", '1');
    board.remove(gravity_node);
    const std::string attempt = callback_line + data_line("20001,0,0") + tagged("gsensor cali data over range");
    for (const int level : {1, 3}) {
        ovra_log_level = level;
        acc_init_set();
        EXPECT_EQ(board.log(), attempt + attempt + attempt + open_failure_line);
    }
}

TEST_F(AccInitSet, LogsWhatItReadAtEveryLevel) {
    ovra_log_level = 0;
    gravity.set_record("1,2,3", '1');
    board.remove(gravity_node);

    acc_init_set();

    const std::string attempt = callback_line + data_line("1,2,3") + offset_line("1 2 3");
    EXPECT_EQ(board.log(), attempt + attempt + attempt);
}

TEST_F(AccInitSet, IsSilentAboutOffsetsOutOfRangeAtLevelZero) {
    ovra_log_level = 0;
    gravity.set_record("20001,0,0", '1');

    acc_init_set();

    const std::string attempt = callback_line + data_line("20001,0,0");
    EXPECT_EQ(board.log(), attempt + attempt + attempt);
}

TEST_F(AccInitSet, IsSilentAboutItsSuccessBelowLevelFour) {
    ovra_log_level = 3;
    gravity.set_record("1,2,3", '1');
    acc_init_set();
    EXPECT_EQ(board.log(), callback_line + data_line("1,2,3") + offset_line("1 2 3"));

    gravity.set_record("1,2,3", '0');
    acc_init_set();
    EXPECT_EQ(board.log(), callback_line);
}

// --- Sampling ---------------------------------------------------------------------------------------------

struct Sampling : Acceleration {
    void SetUp() override {
        gravity.open();
        ovra_log_level = 5;
    }
};

TEST_F(Sampling, AsksTheDriverWithAClearedRecord) {
    gravity.samples({1, 2, 3}, 2);
    EXPECT_EQ(gravity.found_in_argument, (Gravity{0, 0, 0}));
    EXPECT_EQ(device_entries(), (Entries(2, "ioctl /dev/gsensor_daemon 0x4004a109")));
}

TEST_F(Sampling, KeepsThousandthsOfTheDriversUnit) {
    gravity.samples({1500, -2, 16384}, 1);
    EXPECT_EQ(acc_read_data.x, 1.5F);
    EXPECT_EQ(acc_read_data.y, -0.002F);
    EXPECT_EQ(acc_read_data.z, 16.384F);
}

TEST_F(Sampling, ChangesNothingButTheSampleUpToTheNinth) {
    gravity.samples({1000, 0, 0}, 9);
    EXPECT_EQ(acc_read_data.x, 1.0F);
    EXPECT_EQ(acc_avg.x, 0.0F);
    EXPECT_EQ(acc_degree.x, 0.0F);
}

TEST_F(Sampling, CompletesABlockWithTheTenth) {
    gravity.samples({2000, 0, 0}, 9);
    gravity.samples({1000, 0, 0}, 1);

    EXPECT_FLOAT_EQ(acc_avg.x, 1.9F);
    EXPECT_EQ(acc_avg.y, 0.0F);
    EXPECT_EQ(acc_degree.x, 90.0F);
    EXPECT_EQ(acc_degree.y, 0.0F);
    EXPECT_EQ(acc_degree.z, 0.0F);
}

TEST_F(Sampling, PrintsExactlyTheSampleAndTheBlockAtLevelFive) {
    gravity.samples({2000, 0, 0}, 9);
    board.log();
    gravity.samples({1500, -2, 16384}, 1);
    EXPECT_EQ(pieces_of(board.log(), tagged("acc ").substr(0, 18)),
              tagged("acc read 1.500 -0.002 16.384") + tagged("acc avg 1.950 -0.000 1.638"));
}

TEST_F(Sampling, BeginsANewBlockAfterTheTenth) {
    gravity.block({2000, 0, 0});
    gravity.samples({0, 0, 1000}, 9);
    EXPECT_FLOAT_EQ(acc_avg.x, 2.0F);
    gravity.samples({0, 0, 1000}, 1);
    EXPECT_EQ(acc_avg.x, 0.0F);
    EXPECT_FLOAT_EQ(acc_avg.z, 1.0F);
}

TEST_F(Sampling, LeavesTheBlockAsItIsWhenASampleFails) {
    gravity.samples(on_table, 9);
    gravity.sample_answer = -EIO;
    gravity.samples({5000, 5000, 5000}, 3);
    EXPECT_EQ(acc_read_data.x, 0.0F);

    gravity.sample_answer = 0;
    gravity.samples(on_table, 1);

    EXPECT_FLOAT_EQ(acc_avg.z, 1.0F);
    EXPECT_EQ(acc_avg.x, 0.0F);
}

TEST_F(Sampling, CountsAPositiveAnswerAsASample) {
    gravity.sample_answer = 12;
    gravity.samples(on_table, 10);
    EXPECT_FLOAT_EQ(acc_avg.z, 1.0F);
}

TEST_F(Sampling, IsSilentBelowLevelFive) {
    ovra_log_level = 4;
    gravity.samples(on_table, 10);
    gravity.sample_answer = -EIO;
    gravity.samples(on_table, 1);
    EXPECT_EQ(board.log(), tagged("autofocus first event, do nothing"));
}

TEST_F(Sampling, LeavesTheReservedWordsAndTheUnusedRecordsAlone) {
    for (std::uint32_t& word : acc_read_data.reserved) word = 0xA5;
    for (std::uint32_t& word : acc_avg.reserved) word = 0xA5;
    for (std::uint32_t& word : acc_degree.reserved) word = 0xA5;
    for (std::uint32_t& word : acc_degree_last.reserved) word = 0xA5;

    gravity.blocks({100, 200, 300}, 7);

    for (const std::uint32_t word : acc_read_data.reserved) EXPECT_EQ(word, 0xA5U);
    for (const std::uint32_t word : acc_avg.reserved) EXPECT_EQ(word, 0xA5U);
    for (const std::uint32_t word : acc_degree.reserved) EXPECT_EQ(word, 0xA5U);
    for (const std::uint32_t word : acc_degree_last.reserved) EXPECT_EQ(word, 0xA5U);
    EXPECT_EQ(acc_sum.x, 0.0F);
    EXPECT_EQ(acc_sum_last.z, 0.0F);
    for (const std::int32_t word : acc_input_arry) EXPECT_EQ(word, 0);
    for (const std::int32_t word : acc_correction_val) EXPECT_EQ(word, 0);
}

TEST_F(Sampling, OfTwoThreadsGoesIntoOneSeriesOfBlocks) {
    const auto sample_fifty = [] {
        for (int i = 0; i < 50; ++i) acc_event_read();
    };
    gravity.now = on_table;
    std::thread one(sample_fifty);
    std::thread other(sample_fifty);
    one.join();
    other.join();

    // Ten blocks: five that are skipped and the five of the first rest position.
    EXPECT_EQ(acc_origin_data.z, 90.0F);
    EXPECT_FLOAT_EQ(acc_avg.z, 1.0F);
}

TEST(SamplingWithoutDevice, PrintsExactlyItsFailure) {
    ScriptedBoard board;
    ovra_log_level = 5;
    acc_event_read();
    EXPECT_EQ(board.log(), tagged("GSENSOR IOCTL GET SENSORDATA fali"));
}

// --- The records and getters ------------------------------------------------------------------------------

TEST(GravityRecords, HaveTheLayoutThatHostsExpect) {
    EXPECT_EQ(sizeof(ovra_acc_sample), 32U);
    EXPECT_EQ(offsetof(ovra_acc_sample, x), 20U);
    EXPECT_EQ(offsetof(ovra_acc_sample, y), 24U);
    EXPECT_EQ(offsetof(ovra_acc_sample, z), 28U);
    EXPECT_EQ(sizeof(ovra_acc_angles), 20U);
    EXPECT_EQ(offsetof(ovra_acc_angles, x), 8U);
    EXPECT_EQ(offsetof(ovra_acc_angles, y), 12U);
    EXPECT_EQ(offsetof(ovra_acc_angles, z), 16U);
    EXPECT_EQ(sizeof acc_input_arry, 64U);
    EXPECT_EQ(sizeof acc_correction_val, 12U);
}

TEST(AccGetDegree, CopiesTheAnglesOfTheLatestBlock) {
    acc_degree.x = 1;
    acc_degree.y = 2;
    acc_degree.z = 3;
    float x = 0;
    float y = 0;
    float z = 0;
    acc_get_degree(&x, &y, &z);
    EXPECT_EQ(x, 1);
    EXPECT_EQ(y, 2);
    EXPECT_EQ(z, 3);
}

TEST(AccGetData, CopiesTheAverageOfTheLatestBlock) {
    acc_avg.x = 4;
    acc_avg.y = 5;
    acc_avg.z = 6;
    float x = 0;
    float y = 0;
    float z = 0;
    acc_get_data(&x, &y, &z);
    EXPECT_EQ(x, 4);
    EXPECT_EQ(y, 5);
    EXPECT_EQ(z, 6);
}

TEST(AccGetAngle, CopiesTheKeystoneAngles) {
    vKeystoneVal = 7;
    thetaKeystoneVal = -8;
    float v = 0;
    float theta = 0;
    EXPECT_EQ(acc_get_angle(&v, &theta), 0);
    EXPECT_EQ(v, 7);
    EXPECT_EQ(theta, -8);
}

TEST(AccGetAngle, SkipsNullPointers) {
    vKeystoneVal = 7;
    thetaKeystoneVal = -8;
    float v = 0;
    float theta = 0;
    EXPECT_EQ(acc_get_angle(nullptr, &theta), 0);
    EXPECT_EQ(theta, -8);
    EXPECT_EQ(acc_get_angle(&v, nullptr), 0);
    EXPECT_EQ(v, 7);
    EXPECT_EQ(acc_get_angle(nullptr, nullptr), 0);
}

TEST_F(Sampling, IsReadyWithTheSixthBlock) {
    gravity.blocks(on_table, 5);
    EXPECT_EQ(acc_get_init_status(), 0);
    gravity.block(on_table);
    EXPECT_EQ(acc_get_init_status(), 1);
}

// --- Closing ----------------------------------------------------------------------------------------------

TEST_F(Sampling, FailsAfterTheDeviceIsClosed) {
    EXPECT_EQ(acc_file_close(), 0);
    EXPECT_EQ(board.open_descriptors(), Entries{});
    gravity.samples({1500, 0, 0}, 1);
    EXPECT_EQ(acc_read_data.x, 0.0F);
}

TEST_F(Sampling, DoesNotForgetTheDescriptorSoThatASecondCloseFails) {
    acc_file_close();
    EXPECT_EQ(acc_file_close(), -1);
}

TEST(AccFileClose, FailsBeforeTheDeviceWasOpened) {
    ScriptedBoard board;
    EXPECT_EQ(acc_file_close(), -1);
}

// --- Time -------------------------------------------------------------------------------------------------

struct SystimeMs : ::testing::Test {
    ScriptedBoard board;
    void SetUp() override { board.set_wall_clock_us(1'000'000'500'000); }  // 1,000,000.5 s
};

TEST_F(SystimeMs, IsTheTimeSinceTheStart) {
    EXPECT_EQ(get_systime_ms({1'000'000, 500'000}), 0);
    EXPECT_EQ(get_systime_ms({999'998, 500'000}), 2000);
    EXPECT_EQ(get_systime_ms({999'999, 900'000}), 600);
}

TEST_F(SystimeMs, CutsTheMicrosecondsTowardsZero) {
    EXPECT_EQ(get_systime_ms({1'000'000, 498'001}), 1);
    EXPECT_EQ(get_systime_ms({1'000'000, 501'999}), -1);
    // 1 s less 0.4005 s: the second term is cut on its own.
    EXPECT_EQ(get_systime_ms({999'999, 900'500}), 600);
}

TEST_F(SystimeMs, IsNegativeForAStartInTheFuture) { EXPECT_EQ(get_systime_ms({1'000'001, 500'000}), -1000); }

TEST_F(SystimeMs, AdvancesWithTheClock) {
    const timeval start{1'000'000, 500'000};
    board.advance_us(1'999);
    EXPECT_EQ(get_systime_ms(start), 1);
    board.advance_us(1);
    EXPECT_EQ(get_systime_ms(start), 2);
}

TEST_F(SystimeMs, SaturatesWhereTheTimeDoesNotFit) {
    using Seconds = std::numeric_limits<decltype(timeval::tv_sec)>;
    board.set_wall_clock_us(1'700'000'000'000'000);
    EXPECT_EQ(get_systime_ms({0, 0}), INT_MAX);
    EXPECT_EQ(get_systime_ms({Seconds::max(), 0}), INT_MIN);
    EXPECT_EQ(get_systime_ms({Seconds::min(), 0}), INT_MAX);
}

}  // namespace
