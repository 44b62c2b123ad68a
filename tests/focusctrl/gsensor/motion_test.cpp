#include "ovrafocus/motion.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "ovrafocus/acceleration.h"
#include "ovrafocus/config.h"
#include "ovrafocus/focus_nodes.h"
#include "ovrafocus/host_interface.h"
#include "ovrafocus/lifecycle.h"
#include "tests/support/log_lines.h"
#include "tests/support/scripted_board.h"
#include "tests/support/scripted_gravity.h"

namespace {

using testing::AllOf;
using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;
using testkit::Gravity;
using testkit::lifted;
using testkit::on_table;
using testkit::ScriptedBoard;
using testkit::ScriptedGravity;
using testkit::tagged;
using testkit::under_ceiling;
using Entries = std::vector<std::string>;

const std::string ranging_node = "/sys/class/nd_tof/nds01/ranging_data";

// --- The lines, as they are to be printed -----------------------------------------------------------------

const std::string first_event_line = tagged("autofocus first event, do nothing");
const std::string first_event_line_of_handler = tagged("autofocus first event, do nothing ");
const std::string first_rotation_line = tagged("from startup phase -> HSYNC_0, device rotation success");
const std::string sudden_line = tagged("machine is sudden shake");
const std::string slow_line = tagged("machine is slow shake");
const std::string factory_line = tagged("enter factory testing and disable gsensor function");
const std::string unchanged_line = tagged("\033[32;1mdistance not changed\033[0m");
const std::string refresh_line = tagged("lv_refresh_callback.call back refresh ui\n");
const std::string trigger_line = tagged("autofocus acc trigger keystone");
const std::string request_line = tagged("\033[36;1mreceived akaf command\033[0m");
const std::string angle_line = tagged("autofocus acc angle changed");

std::string steady_line(int times) { return tagged("match device steady times " + std::to_string(times)); }

std::string distance_lines(int mm) {
    const std::string d = std::to_string(mm);
    return tagged("tof distance ret=0, tr:" + d + ", br:" + d + ", tl:" + d + ", bl:" + d + "\n") +
           tagged("\033[36;1mavgDist = " + d + ", last keystone Angle = 0\033[0m\n");
}

std::string flags_line(int angle, int distance, int shake) {
    const std::string label = "project_acc_angle_changed = ";
    return tagged(label + std::to_string(angle) + ", " + label + std::to_string(distance) + ", " + label +
                  std::to_string(shake) + "\n");
}

std::string origin_line(const std::string& x, const std::string& y, const std::string& z) {
    return tagged("origin x " + x + ", origin y " + y + ", origin z " + z);
}

std::string last_line(const std::string& x, const std::string& y, const std::string& z) {
    return tagged("last: x_degree " + x + " y_degree " + y + " z_degree " + z);
}

std::string now_line(const std::string& x, const std::string& y, const std::string& z) {
    return tagged("now:  x_degree " + x + " y_degree " + y + " z_degree " + z);
}

std::string stable_line(int type, int unstable, int state) {
    return tagged("sensor_triger_stable,type:" + std::to_string(type) +
                  ",unstable:" + std::to_string(unstable) + ",final:" + std::to_string(state));
}

// --- The bench --------------------------------------------------------------------------------------------

ScriptedBoard* current_board = nullptr;
int32_t factory_answer = 0;

struct Flags {
    int angle, distance, shake;
    bool operator==(const Flags& o) const {
        return angle == o.angle && distance == o.distance && shake == o.shake;
    }
};

void PrintTo(const Flags& flags, std::ostream* out) {
    *out << flags.angle << " " << flags.distance << " " << flags.shake;
}

struct Motion : ::testing::Test {
    ScriptedBoard board;
    ScriptedGravity gravity{board};
    app_callback_table table{};

    void SetUp() override {
        current_board = &board;
        table.refresh_ui = [] { current_board->note("refresh"); };
        table.is_factory_test = [] { return factory_answer; };
        table.rotation_changed = [](int32_t) { current_board->note("rotation"); };
        gravity.open();
        gsensor_app_callback = &table;
        autofocus_app_callback = &table;
        lastDistance = 1000;
        see(1000);
    }

    /// The wall is so far away from now on. Each frame holds the distance of the four corners.
    void see(int mm) {
        const std::string d = std::to_string(mm);
        board.text(ranging_node, d + "," + d + "," + d + "," + d + ",0,0,0,0");
    }

    static Flags flags() {
        return {project_acc_angle_changed, project_tof_dist_changed, project_acc_shake_happened};
    }

    static void set_flags(const Flags& flags) {
        project_acc_angle_changed = flags.angle;
        project_tof_dist_changed = flags.distance;
        project_acc_shake_happened = flags.shake;
    }

    /// Whether a block was taken for a shake since the last look: only then the distance is measured.
    bool shake_was_judged() {
        const bool judged = !board.journal({"read"}).empty();
        board.clear_journal();
        return judged;
    }

    /// Whether a run was requested since the last look.
    static bool run_was_requested() { return std::exchange(g_run_once_AKAF, 0) == 1; }

    /// How many more blocks in this position it takes until it is recorded as the rest position; 99: more
    /// than ten.
    int blocks_until_rest(const Gravity& position) {
        acc_origin_data.x = -1;
        for (int count = 1; count <= 10; ++count) {
            gravity.block(position);
            if (acc_origin_data.x != -1) return count;
        }
        return 99;
    }

    /// Five blocks on the table that are skipped.
    void warm_up() {
        gravity.blocks(on_table, 5);
        board.log();
    }

    /// Ten blocks on the table: the rest position 0, 0, 90 is known.
    void come_to_rest() {
        gravity.blocks(on_table, 10);
        board.log();
        board.clear_journal();
    }

    /// At rest, then turned over by hand with the distance to the wall changed.
    void move_to_ceiling() {
        come_to_rest();
        see(1500);
        gravity.block(under_ceiling);
        board.log();
        board.clear_journal();
    }

    /// A block on the table, as if the block before had had these angles.
    void block_after(float x, float y, float z) {
        acc_degree_last.x = x;
        acc_degree_last.y = y;
        acc_degree_last.z = z;
        gravity.block(on_table);
    }
};

void expect_angles(const ovra_acc_angles& angles, float x, float y, float z) {
    EXPECT_NEAR(angles.x, x, 1e-4F);
    EXPECT_NEAR(angles.y, y, 1e-4F);
    EXPECT_NEAR(angles.z, z, 1e-4F);
}

// --- Warming up -------------------------------------------------------------------------------------------

using WarmingUp = Motion;

TEST_F(WarmingUp, SkipsFiveBlocksWhateverTheMovement) {
    see(2000);
    for (int i = 0; i < 5; ++i) {
        gravity.block(i % 2 == 0 ? under_ceiling : on_table);
        EXPECT_EQ(acc_get_init_status(), 0);
    }
    EXPECT_EQ(flags(), (Flags{0, 0, 0}));
    EXPECT_EQ(board.journal({"rotation", "sleep", "open"}), Entries{});
}

TEST_F(WarmingUp, PrintsExactlyOneLineForEachSkippedBlock) {
    gravity.blocks(on_table, 2);
    EXPECT_EQ(board.log(), first_event_line + first_event_line);
}

TEST_F(WarmingUp, RemembersTheAnglesOfSkippedBlocks) {
    gravity.block(under_ceiling);
    expect_angles(acc_degree_last, 0, 0, -90);
}

TEST_F(WarmingUp, EndsWithTheSixthBlock) {
    warm_up();
    gravity.block(on_table);
    EXPECT_EQ(acc_get_init_status(), 1);
    EXPECT_EQ(board.journal({"rotation"}), Entries{"rotation"});
    EXPECT_EQ(blocks_until_rest(on_table), 4);
}

TEST_F(WarmingUp, ComparesTheSixthBlockWithTheFifth) {
    gravity.blocks(under_ceiling, 4);
    gravity.block(on_table);
    gravity.block(on_table);
    EXPECT_FALSE(shake_was_judged());
    EXPECT_EQ(blocks_until_rest(on_table), 4);
}

TEST_F(WarmingUp, IsSilentBelowLevelFour) {
    ovra_log_level = 3;
    gravity.blocks(on_table, 10);
    EXPECT_EQ(board.log(), "");
    EXPECT_EQ(acc_get_init_status(), 1);
}

// --- The first rest position ------------------------------------------------------------------------------

using FirstRest = Motion;

TEST_F(FirstRest, LogsEachSteadyBlockAndThePosition) {
    warm_up();
    gravity.blocks(on_table, 5);
    EXPECT_EQ(board.log(), first_rotation_line + steady_line(1) + steady_line(2) + steady_line(3) +
                               steady_line(4) + steady_line(5) + origin_line("0.000", "0.000", "90.000"));
}

TEST_F(FirstRest, IsTakenFromFiveSteadyBlocksAndRequestsNothing) {
    warm_up();
    g_osd_autofocus = 1;
    EXPECT_EQ(blocks_until_rest(on_table), 5);
    expect_angles(acc_origin_data, 0, 0, 90);
    EXPECT_FALSE(run_was_requested());
}

TEST_F(FirstRest, IsTheMeanOfTheFiveBlocks) {
    gravity.blocks(lifted(10), 5);
    for (const double degrees : {10.5, 11.0, 11.5, 12.0, 12.5}) gravity.block(lifted(degrees));
    expect_angles(acc_origin_data, 0, 11.5F, 78.5F);
}

TEST_F(FirstRest, IsTheMeanOnEveryAxis) {
    gravity.blocks({100, 200, 1000}, 10);
    EXPECT_GT(acc_degree.x, 5.0F);
    expect_angles(acc_origin_data, acc_degree.x, acc_degree.y, acc_degree.z);
}

TEST_F(FirstRest, DoesNotCountUnsteadyBlocksAndKeepsTheCountAfterThem) {
    warm_up();
    gravity.blocks(on_table, 2);
    gravity.block(lifted(5));  // a step of 5 degrees: neither shake nor steady
    gravity.block(on_table);   // and back
    EXPECT_EQ(blocks_until_rest(on_table), 3);
    expect_angles(acc_origin_data, 0, 0, 90);
}

TEST_F(FirstRest, IsFollowedBySilenceWhileNothingMoves) {
    come_to_rest();
    gravity.blocks(on_table, 3);
    gravity.block(lifted(2));
    EXPECT_EQ(board.log(), "");
    EXPECT_EQ(board.journal({"write", "sleep", "rotation", "refresh"}), Entries{});
}

TEST_F(FirstRest, RequestsTheRunOfAMovementThatTheHostHasSet) {
    warm_up();
    g_osd_autofocus = 1;
    gravity.blocks(on_table, 4);
    project_acc_angle_changed = 1;
    gravity.block(on_table);
    expect_angles(acc_origin_data, 0, 0, 90);
    EXPECT_TRUE(run_was_requested());
}

// A block, and the angles of the block before it.
struct Step {
    const char* name;
    float x, y, z;  // of the block before; the block itself is upright: 0, 0, 90
    bool reaches;   // the threshold
};

void PrintTo(const Step& step, std::ostream* out) { *out << step.name; }

std::string name_of_step(const testing::TestParamInfo<Step>& row) { return row.param.name; }

struct FirstRestThreshold : Motion, testing::WithParamInterface<Step> {};

TEST_P(FirstRestThreshold, NeedsStepsBelow1Point76Degrees) {
    const Step& step = GetParam();
    warm_up();
    gravity.block(on_table);
    block_after(step.x, step.y, step.z);
    EXPECT_EQ(blocks_until_rest(on_table), step.reaches ? 4 : 3);
}

INSTANTIATE_TEST_SUITE_P(Steps, FirstRestThreshold,
                         testing::Values(Step{"RightAt", 1.76F, 0, 90, true},
                                         Step{"LeftAt", -1.76F, 0, 90, true}, Step{"UpAt", 0, 1.76F, 90, true},
                                         Step{"DownAt", 0, -1.76F, 90, true},
                                         Step{"TiltedAt", 0, 0, 88.24F, true},
                                         Step{"AllBelow", 1.75F, -1.75F, 88.25F, false}),
                         name_of_step);

// --- A shake ----------------------------------------------------------------------------------------------

using Shake = Motion;

TEST_F(Shake, LogsEachStepOfAMovement) {
    come_to_rest();
    see(1020);
    gravity.block(under_ceiling);
    EXPECT_EQ(board.log(), tagged("from HSYNC_0 -> HSYNC_180, device rotation success") + sudden_line +
                               distance_lines(1020) + origin_line("0.000", "0.000", "90.000") +
                               last_line("0.000", "0.000", "90.000") + now_line("0.000", "0.000", "-90.000"));
}

TEST_F(Shake, WithAChangedDistanceIsAMovement) {
    come_to_rest();
    see(1020);
    gravity.block(under_ceiling);
    EXPECT_EQ(flags(), (Flags{1, 1, 1}));
    EXPECT_EQ(board.journal({"rotation", "sleep", "refresh"}), Entries{"rotation"});
    expect_angles(acc_degree_last, 0, 0, -90);
}

struct SuddenShake : Motion, testing::WithParamInterface<Step> {};

TEST_P(SuddenShake, BeginsAt13Degrees) {
    const Step& step = GetParam();
    come_to_rest();
    see(1500);
    block_after(step.x, step.y, step.z);
    EXPECT_EQ(flags(), (step.reaches ? Flags{1, 1, 1} : Flags{0, 0, 0}));
    EXPECT_EQ(shake_was_judged(), step.reaches);
}

INSTANTIATE_TEST_SUITE_P(Steps, SuddenShake,
                         testing::Values(Step{"RightAt", 13, 0, 90, true}, Step{"LeftAt", -13, 0, 90, true},
                                         Step{"UpAt", 0, 13, 90, true}, Step{"DownAt", 0, -13, 90, true},
                                         Step{"TiltedAt", 0, 0, 77, true},
                                         Step{"TiltedBelow", 0, 0, 77.01F, false}),
                         name_of_step);

TEST_F(Shake, IsJudgedBeforeARestPositionIsKnown) {
    warm_up();
    see(1500);
    gravity.block(under_ceiling);
    EXPECT_EQ(flags(), (Flags{1, 1, 1}));
    expect_angles(acc_origin_data, 0, 0, 0);
}

TEST_F(Shake, IsSlowWhenTwoBlocksAreAwayFromRest) {
    come_to_rest();
    see(1500);
    gravity.block(lifted(11));  // away, but the block before was at rest
    EXPECT_EQ(flags(), (Flags{0, 0, 0}));
    gravity.block(lifted(15));
    EXPECT_EQ(flags(), (Flags{1, 1, 1}));
}

TEST_F(Shake, LogsASlowOneWithTheAnglesOfBothBlocks) {
    come_to_rest();
    see(1500);
    gravity.block(lifted(11));
    gravity.block(lifted(15));
    EXPECT_THAT(board.log(), AllOf(StartsWith(slow_line), EndsWith(last_line("0.000", "11.000", "79.000") +
                                                                   now_line("0.000", "15.000", "75.000"))));
}

struct SlowMovement {
    const char* name;
    double first, second;  // degrees by which two blocks are lifted
    bool is_shake;
};

void PrintTo(const SlowMovement& movement, std::ostream* out) { *out << movement.name; }

struct SlowShake : Motion, testing::WithParamInterface<SlowMovement> {};

TEST_P(SlowShake, NeedsBothBlocks10DegreesFromRestAndAStepOf3) {
    const SlowMovement& movement = GetParam();
    come_to_rest();
    see(1500);
    gravity.block(lifted(movement.first));
    gravity.block(lifted(movement.second));
    EXPECT_EQ(flags(), (movement.is_shake ? Flags{1, 1, 1} : Flags{0, 0, 0}));
    EXPECT_EQ(shake_was_judged(), movement.is_shake);
}

INSTANTIATE_TEST_SUITE_P(Movements, SlowShake,
                         testing::Values(SlowMovement{"OnTheWayOutOfRest", 9.9, 14.9, false},
                                         SlowMovement{"SmallStep", 11, 13.9, false},
                                         SlowMovement{"StepAndDistanceReached", 10.1, 13.2, true}),
                         [](const auto& row) { return row.param.name; });

TEST_F(Shake, IsNotSlowBeforeARestPositionIsKnown) {
    warm_up();
    see(1500);
    gravity.block(lifted(12));
    gravity.block(lifted(20));
    EXPECT_EQ(flags(), (Flags{0, 0, 0}));
    EXPECT_FALSE(shake_was_judged());
}

TEST_F(Shake, LogsEachStepOfARejection) {
    come_to_rest();
    see(1019);
    set_flags({1, 0, 1});
    gravity.block(under_ceiling);
    EXPECT_EQ(board.log(), tagged("from HSYNC_0 -> HSYNC_180, device rotation success") + sudden_line +
                               distance_lines(1019) + unchanged_line + flags_line(1, 0, 1) + refresh_line);
}

TEST_F(Shake, WithTheSameDistanceClearsTheFlagsAndPausesForASecond) {
    come_to_rest();
    see(1019);
    set_flags({1, 0, 1});
    const std::int64_t before = board.now_us();

    gravity.block(under_ceiling);

    EXPECT_EQ(flags(), (Flags{0, 0, 0}));
    EXPECT_EQ(board.journal({"sleep", "refresh"}), (Entries{"sleep 1000000", "refresh"}));
    EXPECT_EQ(board.now_us() - before, 1'000'000);
    expect_angles(acc_degree_last, 0, 0, -90);
}

TEST_F(Shake, ShowsTheThreeFlagsInTheirOrder) {
    come_to_rest();
    set_flags({0, 1, 0});
    gravity.block(under_ceiling);
    EXPECT_THAT(board.log(), HasSubstr(flags_line(0, 1, 0)));
}

TEST_F(Shake, HasClearedTheFlagsWhenThePauseBegins) {
    come_to_rest();
    set_flags({1, 1, 1});
    Flags during{-1, -1, -1};
    board.on_sleep([&](std::int64_t) { during = flags(); });
    gravity.block(under_ceiling);
    EXPECT_EQ(during, (Flags{0, 0, 0}));
}

TEST_F(Shake, WithAnUnmeasurableDistanceCountsAsUnchanged) {
    come_to_rest();
    set_flags({1, 0, 1});
    board.remove(ranging_node);
    gravity.block(under_ceiling);
    EXPECT_EQ(flags(), (Flags{0, 0, 0}));
    EXPECT_EQ(board.journal({"sleep", "refresh"}), (Entries{"sleep 1000000", "refresh"}));
}

TEST_F(Shake, WithTheSameDistanceKeepsTheCountAndTheSums) {
    warm_up();
    gravity.blocks(on_table, 3);
    block_after(0, 0, 70);  // a knock
    EXPECT_EQ(blocks_until_rest(on_table), 2);
    expect_angles(acc_origin_data, 0, 0, 90);
}

TEST_F(Shake, WithAChangedDistanceBeginsTheCountAndTheSumsAgain) {
    warm_up();
    gravity.blocks(on_table, 3);
    see(1500);
    gravity.block(under_ceiling);
    EXPECT_EQ(blocks_until_rest(under_ceiling), 5);
    expect_angles(acc_origin_data, 0, 0, -90);
}

TEST_F(Shake, WithAChangedDistanceIsTheMovementThatTheHandlerWaitsFor) {
    board.set_wall_clock_us(1'000'000'000'000);
    come_to_rest();
    see(1500);
    gravity.block(under_ceiling);

    for (int i = 0; i < 10; ++i) acc_data_handle();
    EXPECT_FALSE(run_was_requested());

    board.advance_us(500'000);
    for (int i = 0; i < 6; ++i) acc_data_handle();
    EXPECT_TRUE(run_was_requested());
}

TEST_F(Shake, IsSilentBelowLevelFourButForDistanceRefreshAndRequest) {
    come_to_rest();
    ovra_log_level = 3;
    g_osd_autofocus = 1;
    see(1500);
    gravity.block(under_ceiling);
    project_tof_dist_changed = 0;
    gravity.blocks(under_ceiling, 5);
    lastDistance = 1500;
    gravity.block(on_table);
    EXPECT_EQ(board.log(), distance_lines(1500) + request_line + distance_lines(1500) + refresh_line);
}

// A thread that does something when the first one pauses for the first time, and when it was done.
class OtherThread {
public:
    OtherThread(ScriptedBoard& board, std::function<void()> work) {
        board.on_sleep([this, &board, work = std::move(work)](std::int64_t) {
            if (thread_.joinable()) return;
            thread_ = std::thread([this, &board, work] {
                work();
                done_us_ = board.now_us();
            });
        });
    }

    std::int64_t join() {
        thread_.join();
        return done_us_;
    }

private:
    std::thread thread_;
    std::int64_t done_us_ = -1;
};

TEST_F(Shake, HoldsBackTheBlocksOfAnotherThreadDuringItsPause) {
    come_to_rest();
    OtherThread other(board, [this] { gravity.block(under_ceiling); });
    const std::int64_t start_us = board.now_us();

    gravity.block(under_ceiling);

    // Judged after the pause, against the block that paused: it is no shake, and nothing pauses again.
    EXPECT_EQ(other.join() - start_us, 1'000'000);
    EXPECT_EQ(board.journal({"sleep"}), (Entries{"sleep 1000000"}));
}

TEST_F(Shake, HoldsBackTheHandlerOfAnotherThreadDuringItsPause) {
    come_to_rest();
    OtherThread other(board, [] { acc_data_handle(); });
    const std::int64_t start_us = board.now_us();
    gravity.block(under_ceiling);
    EXPECT_EQ(other.join() - start_us, 1'000'000);
}

// --- Settling after a movement ----------------------------------------------------------------------------

struct Settling : Motion {
    void SetUp() override {
        Motion::SetUp();
        g_osd_autofocus = 1;
        move_to_ceiling();
    }
};

TEST_F(Settling, LogsEachStepUpToTheRequest) {
    gravity.blocks(under_ceiling, 8);
    EXPECT_EQ(board.log(), steady_line(1) + steady_line(2) + steady_line(3) + steady_line(4) + steady_line(5) +
                               origin_line("0.000", "0.000", "-90.000"));
    project_tof_dist_changed = 0;
    gravity.block(under_ceiling);
    EXPECT_EQ(board.log(), trigger_line + request_line);
}

TEST_F(Settling, RecordsTheNewRestPositionAfterFiveSteadyBlocks) {
    EXPECT_EQ(blocks_until_rest(under_ceiling), 5);
    EXPECT_EQ(flags(), (Flags{1, 1, 0}));
    expect_angles(acc_origin_data, 0, 0, -90);
}

TEST_F(Settling, WaitsForTheEndOfAutoKeystone) {
    gravity.blocks(under_ceiling, 8);
    EXPECT_FALSE(run_was_requested());

    project_tof_dist_changed = 0;
    gravity.block(under_ceiling);

    EXPECT_TRUE(run_was_requested());
    EXPECT_EQ(flags(), (Flags{0, 0, 0}));
}

TEST_F(Settling, RequestsTheRunWithTheFifthBlockWhenAutoKeystoneHasEnded) {
    project_tof_dist_changed = 0;
    gravity.blocks(under_ceiling, 4);
    EXPECT_FALSE(run_was_requested());
    gravity.block(under_ceiling);
    EXPECT_TRUE(run_was_requested());
}

TEST_F(Settling, RequestsTheRunOnASteadyBlockOnly) {
    gravity.blocks(under_ceiling, 5);
    project_tof_dist_changed = 0;
    gravity.block({0, 35, -1000});  // 2 degrees: not steady
    EXPECT_FALSE(run_was_requested());
    gravity.block({0, 35, -1000});
    EXPECT_TRUE(run_was_requested());
}

TEST_F(Settling, RequestsOneRunForAMovement) {
    project_tof_dist_changed = 0;
    gravity.blocks(under_ceiling, 5);
    EXPECT_TRUE(run_was_requested());
    gravity.blocks(under_ceiling, 5);
    EXPECT_FALSE(run_was_requested());
}

TEST_F(Settling, RecordsTheRestPositionOnce) {
    gravity.blocks(under_ceiling, 5);
    EXPECT_EQ(blocks_until_rest(under_ceiling), 99);
}

struct SettlingWithTheSwitch : Settling, testing::WithParamInterface<std::uint8_t> {};

TEST_P(SettlingWithTheSwitch, RequestsNothingUnlessItIsOne) {
    project_tof_dist_changed = 0;
    g_osd_autofocus = GetParam();
    gravity.blocks(under_ceiling, 5);
    expect_angles(acc_origin_data, 0, 0, -90);
    EXPECT_EQ(flags(), (Flags{0, 0, 0}));
    EXPECT_FALSE(run_was_requested());
}

INSTANTIATE_TEST_SUITE_P(Values, SettlingWithTheSwitch, testing::Values(std::uint8_t{0}, std::uint8_t{2}),
                         [](const auto& row) { return row.param == 0 ? "Off" : "Two"; });

TEST_F(Settling, BeginsAgainWithAnotherShake) {
    gravity.blocks(under_ceiling, 4);
    gravity.block(on_table);
    EXPECT_EQ(flags(), (Flags{1, 1, 1}));
    EXPECT_EQ(blocks_until_rest(on_table), 5);
    expect_angles(acc_origin_data, 0, 0, 90);
}

TEST_F(Settling, EndsWithAShakeBackAtTheOldDistance) {
    see(1000);
    gravity.block(on_table);
    EXPECT_EQ(flags(), (Flags{0, 0, 0}));
    EXPECT_EQ(blocks_until_rest(on_table), 99);
    EXPECT_FALSE(run_was_requested());
}

TEST_F(Settling, MeasuresSlowShakesFromTheNewRestPosition) {
    project_tof_dist_changed = 0;
    gravity.blocks(under_ceiling, 5);
    lastDistance = 1000;
    gravity.block({0, 200, -1000});  // 11.3 degrees
    EXPECT_EQ(flags(), (Flags{0, 0, 0}));
    gravity.block({0, 300, -1000});  // 16.7 degrees
    EXPECT_EQ(flags(), (Flags{1, 1, 1}));
}

// --- Factory test -----------------------------------------------------------------------------------------

struct FactoryTest : Motion {
    void SetUp() override {
        Motion::SetUp();
        factory_answer = 1;
    }
};

TEST_F(FactoryTest, ClearsTwoFlags) {
    warm_up();
    set_flags({1, 1, 1});
    gravity.block(under_ceiling);
    EXPECT_EQ(flags(), (Flags{0, 0, 1}));

    set_flags({1, 1, 0});
    gravity.blocks(on_table, 3);
    EXPECT_EQ(flags(), (Flags{0, 0, 0}));
}

TEST_F(FactoryTest, StopsDirectionAndSteadinessButRemembersTheAngles) {
    warm_up();
    gravity.blocks(under_ceiling, 7);
    EXPECT_EQ(board.journal({"rotation", "sleep", "open"}), Entries{});
    expect_angles(acc_degree_last, 0, 0, -90);
    EXPECT_EQ(acc_origin_data.z, 0.0F);
    EXPECT_EQ(acc_get_init_status(), 1);
}

TEST_F(FactoryTest, PrintsExactlyOneLineInEachPeriod) {
    warm_up();
    gravity.blocks(on_table, 2);
    factory_answer = 0;
    gravity.block(on_table);
    factory_answer = 1;
    gravity.blocks(on_table, 2);
    EXPECT_EQ(board.log(), factory_line + first_rotation_line + steady_line(1) + factory_line);
}

TEST_F(FactoryTest, IsNotLoggedBelowLevelFour) {
    warm_up();
    ovra_log_level = 3;
    gravity.block(under_ceiling);
    EXPECT_EQ(board.log(), "");
}

TEST_F(FactoryTest, IsMeantByTheAnswerOneOnly) {
    warm_up();
    factory_answer = 2;
    EXPECT_EQ(blocks_until_rest(on_table), 5);
}

TEST_F(FactoryTest, EndsWhenTheHostTakesItsQueryAway) {
    warm_up();
    gravity.block(on_table);
    table.is_factory_test = nullptr;
    gravity.block(on_table);  // counted
    table.is_factory_test = [] { return factory_answer; };
    gravity.block(on_table);
    gsensor_app_callback = nullptr;
    EXPECT_EQ(blocks_until_rest(on_table), 4);
}

TEST_F(FactoryTest, IsNotAskedForWhileWarmingUp) {
    static int questions;
    questions = 0;
    table.is_factory_test = [] { return ++questions; };
    warm_up();
    EXPECT_EQ(questions, 0);
}

// --- Forgetting a movement --------------------------------------------------------------------------------

using ClearAccGyroStatus = Motion;

TEST_F(ClearAccGyroStatus, ClearsTwoFlagsInSilence) {
    set_flags({1, 1, 1});
    clear_acc_gyro_status();
    EXPECT_EQ(flags(), (Flags{0, 1, 0}));
    EXPECT_EQ(board.log(), "");
}

TEST_F(ClearAccGyroStatus, BeginsTheCountAgainAndKeepsTheSums) {
    warm_up();
    gravity.blocks(on_table, 3);
    clear_acc_gyro_status();
    EXPECT_EQ(blocks_until_rest(on_table), 5);
    expect_angles(acc_origin_data, 0, 0, 144);  // eight blocks of 90 degrees, divided by five
}

// --- The handler for hosts --------------------------------------------------------------------------------

struct AccDataHandle : Motion {
    void SetUp() override {
        Motion::SetUp();
        average(0, 0, 1);
    }

    static void average(float x, float y, float z) {
        acc_avg.x = x;
        acc_avg.y = y;
        acc_avg.z = z;
    }

    static void handle(int times) {
        for (int i = 0; i < times; ++i) acc_data_handle();
    }

    /// Handles an upright average, as if the angles before had been these.
    static void handle_after(float x, float y, float z) {
        acc_degree_last.x = x;
        acc_degree_last.y = y;
        acc_degree_last.z = z;
        acc_data_handle();
    }

    void warm_up_handler() {
        handle(5);
        board.log();
    }

    /// A movement of 30 degrees, half a second ago.
    void move() {
        warm_up_handler();
        handle_after(0, 0, 60);
        board.advance_us(500'000);
        board.log();
    }

    /// How many more times an upright average is handled until a run is requested; 99: more than twenty.
    static int times_until_request() {
        for (int count = 1; count <= 20; ++count) {
            acc_data_handle();
            if (run_was_requested()) return count;
        }
        return 99;
    }
};

TEST_F(AccDataHandle, PrintsExactlyOneLineForEachSkippedBlock) {
    handle(6);
    EXPECT_EQ(board.log(), first_rotation_line + first_event_line_of_handler + first_event_line_of_handler +
                               first_event_line_of_handler + first_event_line_of_handler +
                               first_event_line_of_handler);
}

TEST_F(AccDataHandle, SkipsFiveBlocksWhateverTheMovement) {
    for (int i = 0; i < 5; ++i) handle_after(0, 0, 0);
    EXPECT_EQ(flags(), (Flags{0, 0, 0}));
    handle_after(0, 0, 0);
    EXPECT_EQ(flags(), (Flags{1, 0, 0}));
}

TEST_F(AccDataHandle, SharesTheSkippedBlocksWithTheSensorThread) {
    handle(2);
    gravity.blocks(on_table, 3);
    handle_after(0, 0, 0);
    EXPECT_EQ(flags(), (Flags{1, 0, 0}));
    EXPECT_EQ(acc_get_init_status(), 0);  // only the sensor thread's own judge declares itself ready
}

TEST_F(AccDataHandle, TakesTheAnglesOfTheAverageAndTheKeystoneAnglesAlsoWhileSkipping) {
    average(1, 0, 0);
    acc_data_handle();
    expect_angles(acc_degree, 90, 0, 0);
    expect_angles(acc_degree_last, 90, 0, 0);
    EXPECT_EQ(thetaKeystoneVal, 40.01F);
    EXPECT_EQ(vKeystoneVal, 0.0F);
    EXPECT_EQ(board.journal({"rotation"}), Entries{"rotation"});
}

TEST_F(AccDataHandle, OffersTheKeystoneAnglesToTheGetter) {
    average(0.1F, 0.2F, 1);
    acc_data_handle();
    float v = 0;
    float theta = 0;
    acc_get_angle(&v, &theta);
    EXPECT_FLOAT_EQ(v, acc_degree.y);
    EXPECT_FLOAT_EQ(theta, acc_degree.x);
}

TEST_F(AccDataHandle, HasNoKeystoneAnglesBeforeItsFirstBlock) {
    EXPECT_EQ(vKeystoneVal, 0.0F);
    EXPECT_EQ(thetaKeystoneVal, 0.0F);
}

TEST_F(AccDataHandle, LogsTheAnglesAtLevelFive) {
    ovra_log_level = 5;
    acc_data_handle();
    EXPECT_THAT(board.log(),
                StartsWith(tagged("acc_caculate_degree:x_degree 0.000 y_degree 0.000 z_degree 90.000")));
}

TEST_F(AccDataHandle, AsksForNoFactoryTest) {
    factory_answer = 1;
    warm_up_handler();
    handle_after(0, 0, 0);
    EXPECT_EQ(flags(), (Flags{1, 0, 0}));
}

TEST_F(AccDataHandle, LogsEachStepOfAMovement) {
    warm_up_handler();
    handle_after(0, 0, 60);
    EXPECT_EQ(board.log(), angle_line + stable_line(0, 1, 1));
    board.advance_us(500'000);
    handle(6);
    EXPECT_EQ(board.log(), trigger_line + stable_line(0, 0, 30) + request_line);
}

TEST_F(AccDataHandle, IsSilentWithoutAMovement) {
    warm_up_handler();
    handle(20);
    EXPECT_EQ(board.log(), "");
}

TEST_F(AccDataHandle, RemembersTheAngles) {
    warm_up_handler();
    handle_after(0, 0, 0);
    expect_angles(acc_degree_last, 0, 0, 90);
}

// What a step is measured against, and whether it counts.
struct HandledStep {
    const char* name;
    float threshold;
    float x, y, z;  // the angles before; those of the block are 0, 0, 90
    bool counts;
};

void PrintTo(const HandledStep& step, std::ostream* out) { *out << step.name; }

std::string name_of_handled_step(const testing::TestParamInfo<HandledStep>& row) { return row.param.name; }

struct ShakeThreshold : AccDataHandle, testing::WithParamInterface<HandledStep> {};

TEST_P(ShakeThreshold, IsReachedOnAnyAxis) {
    const HandledStep& step = GetParam();
    warm_up_handler();
    threshold_acc_to_shake = step.threshold;
    handle_after(step.x, step.y, step.z);
    EXPECT_EQ(flags(), (Flags{step.counts ? 1 : 0, 0, 0}));
}

INSTANTIATE_TEST_SUITE_P(Steps, ShakeThreshold,
                         testing::Values(HandledStep{"JustBelowTheUsualOne", 25.01F, 0, 0, 65, false},
                                         HandledStep{"JustAboveTheUsualOne", 25.01F, 0, 0, 64, true},
                                         HandledStep{"RightAt", 4, 4, 0, 90, true},
                                         HandledStep{"DownAt", 4, 0, -4, 90, true},
                                         HandledStep{"TiltedAt", 4, 0, 0, 86, true},
                                         HandledStep{"AllBelow", 4, 3.9F, -3.9F, 86.1F, false}),
                         name_of_handled_step);

TEST_F(AccDataHandle, RequestsARunWithTheSixthSteadyBlock) {
    move();
    handle(5);
    EXPECT_EQ(flags(), (Flags{1, 0, 0}));
    EXPECT_FALSE(run_was_requested());

    handle(1);

    EXPECT_EQ(flags(), (Flags{0, 0, 0}));
    EXPECT_TRUE(run_was_requested());
}

TEST_F(AccDataHandle, RequestsTheRunEvenWhileAutoFocusIsOff) {
    g_osd_autofocus = 0;
    move();
    handle(6);
    EXPECT_EQ(g_run_once_AKAF, 1);
}

TEST_F(AccDataHandle, ForgetsAShakeOfTheSensorThreadWhenItRequestsARun) {
    move();
    project_acc_shake_happened = 1;
    project_tof_dist_changed = 1;
    handle(6);
    EXPECT_EQ(flags(), (Flags{0, 1, 0}));
}

TEST_F(AccDataHandle, RequestsOneRunForAMovement) {
    move();
    EXPECT_EQ(times_until_request(), 6);
    EXPECT_EQ(times_until_request(), 99);
}

TEST_F(AccDataHandle, CountsFromHalfASecondAfterTheMovement) {
    warm_up_handler();
    handle_after(0, 0, 60);
    board.advance_us(499'999);
    handle(10);
    EXPECT_FALSE(run_was_requested());
    board.advance_us(1);
    EXPECT_EQ(times_until_request(), 6);
}

TEST_F(AccDataHandle, BeginsTheCountAgainWithAnotherMovement) {
    move();
    handle(5);
    handle_after(0, 0, 60);
    board.advance_us(500'000);
    EXPECT_EQ(times_until_request(), 6);
}

TEST_F(AccDataHandle, ShowsTheLargestMovementInWholeDegreesWithBitZeroCleared) {
    warm_up_handler();
    handle_after(0, 0, 60);
    handle_after(0, 0, 46.5F);  // 43.5
    handle_after(0, 0, 50);
    board.advance_us(500'000);
    handle(6);
    EXPECT_THAT(board.log(), HasSubstr(stable_line(0, 0, 42)));
}

TEST_F(AccDataHandle, ForgetsTheLargestMovementWithTheRequest) {
    warm_up_handler();
    handle_after(0, 0, 20);
    board.advance_us(500'000);
    handle(6);
    handle_after(0, 0, 60);
    board.advance_us(500'000);
    handle(6);
    EXPECT_THAT(board.log(), HasSubstr(stable_line(0, 0, 30)));
}

struct SteadyThreshold : AccDataHandle, testing::WithParamInterface<HandledStep> {};

TEST_P(SteadyThreshold, IsKeptByOneCalmAxis) {
    const HandledStep& step = GetParam();
    move();
    threshold_acc_to_steady = step.threshold;
    handle_after(step.x, step.y, step.z);
    EXPECT_EQ(times_until_request(), step.counts ? 5 : 6);
}

INSTANTIATE_TEST_SUITE_P(Steps, SteadyThreshold,
                         testing::Values(HandledStep{"UnsteadyOnAllAxes", 1.76F, 1.76F, 1.76F, 88, false},
                                         HandledStep{"CalmX", 1.76F, 1.75F, 5, 85, true},
                                         HandledStep{"CalmY", 1.76F, 5, 1.75F, 85, true},
                                         HandledStep{"CalmZ", 1.76F, 5, 5, 89, true},
                                         HandledStep{"BelowAnotherThreshold", 6, 5.9F, 5.9F, 84.1F, true},
                                         HandledStep{"AtAnotherThreshold", 6, 6, 6, 84, false}),
                         name_of_handled_step);

TEST_F(AccDataHandle, CountsNothingWithoutAMovement) {
    warm_up_handler();
    EXPECT_EQ(times_until_request(), 99);
}

TEST_F(AccDataHandle, SharesTheCountOfSteadyBlocksWithTheSensorThread) {
    warm_up();
    gravity.blocks(on_table, 3);
    handle_after(0, 0, 60);  // the count begins again
    board.advance_us(500'000);
    handle(4);
    EXPECT_EQ(blocks_until_rest(on_table), 1);
}

TEST_F(AccDataHandle, HasDefaultThresholds) {
    EXPECT_EQ(threshold_acc_to_shake, 25.01F);
    EXPECT_EQ(threshold_acc_to_steady, 1.76F);
    EXPECT_EQ(threshold_to_trigger_keystone, 4.01F);
}

TEST_F(AccDataHandle, LogsStabilityBelowLevelFourToo) {
    ovra_log_level = 0;
    warm_up_handler();
    handle_after(0, 0, 60);
    EXPECT_EQ(board.log(), stable_line(0, 1, 1));
}

// --- The trigger functions --------------------------------------------------------------------------------

using Trigger = Motion;

TEST_F(Trigger, ClearsTheMovementAndRequestsARun) {
    set_flags({1, 1, 1});
    trigger_auto_keystone_or_autofocus(12, 34);
    EXPECT_EQ(flags(), (Flags{0, 1, 0}));
    EXPECT_EQ(g_run_once_AKAF, 1);
}

TEST_F(Trigger, OfFocusRequestsARunWhateverItsArgument) {
    sensor_triger_focus(0);
    EXPECT_EQ(g_run_once_AKAF, 1);
    EXPECT_EQ(board.log(), request_line);
}

TEST_F(Trigger, OfFocusReportsABusyFocusAndRequestsTheRunAllTheSame) {
    focus_config.focus_state.busy = 1;
    sensor_triger_focus(1);
    EXPECT_EQ(g_run_once_AKAF, 1);
    EXPECT_THAT(board.log(), StartsWith(tagged("sensor_triger_focus,statue error")));
}

TEST_F(Trigger, OfStabilityPrintsExactlyTheResultingState) {
    sensor_triger_stable(0, 1, 4);
    sensor_triger_stable(0, 0, 5);
    sensor_triger_stable(0, -3, -2);
    sensor_triger_stable(0, 0, -1);
    sensor_triger_stable(1, 1, 4);
    sensor_triger_stable(2, 0, 5);
    EXPECT_EQ(board.log(), stable_line(0, 1, 5) + stable_line(0, 0, 4) + stable_line(0, -3, -1) +
                               stable_line(0, 0, -2) + stable_line(1, 1, 4) + stable_line(2, 0, 5));
}

struct SystemState {
    const char* name;
    std::uint32_t is_system_on;
    std::uint8_t skip_boot_action;
    bool serves;
};

void PrintTo(const SystemState& state, std::ostream* out) { *out << state.name; }

struct KeystoneTrigger : Motion, testing::WithParamInterface<SystemState> {};

TEST_P(KeystoneTrigger, PrintsExactlyWhatItIsAskedForAndWhetherItIsDisabled) {
    const SystemState& state = GetParam();
    focus_config.system_state.is_system_on = state.is_system_on;
    focus_config.system_state.skip_boot_action = state.skip_boot_action;
    for (const int enable : {1, 0}) {
        sensor_triger_trapz(enable);
        EXPECT_EQ(board.log(),
                  tagged("sensor_triger_trapz,enable:" + std::to_string(enable)) +
                      (state.serves ? "" : tagged("sensor_triger_trapz,auto_move_focus is disable")));
    }
}

INSTANTIATE_TEST_SUITE_P(States, KeystoneTrigger,
                         testing::Values(SystemState{"AsTheLibraryStarts", 0, 0, false},
                                         SystemState{"RunningSystem", 1, 0, false},
                                         SystemState{"ServingState", 8, 0, true},
                                         SystemState{"ServingStateWithItsFlagSet", 8, 1, false}),
                         [](const auto& row) { return row.param.name; });

TEST_F(Trigger, PrintsExactlyTheNameOfEachReset) {
    auto_move_focus_reset();
    auto_move_trapz_reset();
    EXPECT_EQ(board.log(), tagged("auto_move_focus_reset") + tagged("auto_move_trapz_reset"));
}

TEST_F(Trigger, OfStabilityIsNotSerialised) {
    pthread_mutex_lock(&det_mtx);
    sensor_triger_stable(0, 0, 0);
    pthread_mutex_unlock(&det_mtx);
}

struct SerialisedFunction {
    const char* name;
    void (*call)();
};

void PrintTo(const SerialisedFunction& function, std::ostream* out) { *out << function.name; }

struct SerialisedTrigger : Motion, testing::WithParamInterface<SerialisedFunction> {};

TEST_P(SerialisedTrigger, WaitsForItsMutex) {
    pthread_mutex_lock(&det_mtx);
    bool done = false;
    std::thread other([&done] {
        GetParam().call();
        done = true;
    });
    board.advance_us(1'000'000);
    EXPECT_FALSE(done);
    EXPECT_EQ(board.log(), "");
    pthread_mutex_unlock(&det_mtx);
    other.join();
    EXPECT_TRUE(done);
}

TEST_P(SerialisedTrigger, LeavesItsMutexFree) {
    GetParam().call();
    ASSERT_EQ(pthread_mutex_trylock(&det_mtx), 0);
    pthread_mutex_unlock(&det_mtx);
}

INSTANTIATE_TEST_SUITE_P(
    Functions, SerialisedTrigger,
    testing::Values(SerialisedFunction{"sensor_triger_focus", [] { sensor_triger_focus(1); }},
                    SerialisedFunction{"sensor_triger_trapz", [] { sensor_triger_trapz(1); }},
                    SerialisedFunction{"auto_move_focus_reset", [] { auto_move_focus_reset(); }},
                    SerialisedFunction{"auto_move_trapz_reset", [] { auto_move_trapz_reset(); }}),
    [](const auto& row) { return row.param.name; });

}  // namespace
