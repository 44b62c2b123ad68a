#include "ovrafocus/motion.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <thread>
#include <vector>

#include "ovrafocus/acceleration.h"
#include "ovrafocus/config.h"
#include "ovrafocus/focus_nodes.h"
#include "ovrafocus/host_interface.h"
#include "ovrafocus/lifecycle.h"
#include "tests/focusctrl/gsensor/scripted_gravity.h"
#include "tests/support/log_lines.h"
#include "tests/support/scripted_board.h"

namespace {

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
        EXPECT_EQ(board.log(), first_event_line);
        EXPECT_EQ(acc_get_init_status(), 0);
    }
    EXPECT_EQ(flags(), (Flags{0, 0, 0}));
    EXPECT_EQ(board.journal({"rotation", "sleep", "open"}), Entries{});
}

TEST_F(WarmingUp, RemembersTheAnglesOfSkippedBlocks) {
    gravity.block(under_ceiling);
    expect_angles(acc_degree_last, 0, 0, -90);
}

TEST_F(WarmingUp, EndsWithTheSixthBlock) {
    warm_up();
    gravity.block(on_table);
    EXPECT_EQ(board.log(), first_rotation_line + steady_line(1));
    EXPECT_EQ(acc_get_init_status(), 1);
}

TEST_F(WarmingUp, ComparesTheSixthBlockWithTheFifth) {
    gravity.blocks(under_ceiling, 4);
    gravity.block(on_table);
    board.log();
    gravity.block(on_table);
    EXPECT_EQ(board.log(), first_rotation_line + steady_line(1));
}

TEST_F(WarmingUp, IsSilentBelowLevelFour) {
    ovra_log_level = 3;
    gravity.blocks(on_table, 10);
    EXPECT_EQ(board.log(), "");
    EXPECT_EQ(acc_get_init_status(), 1);
}

// --- The first rest position ------------------------------------------------------------------------------

using FirstRest = Motion;

TEST_F(FirstRest, IsTakenFromFiveSteadyBlocksAndRequestsNothing) {
    warm_up();
    gravity.blocks(on_table, 5);
    EXPECT_EQ(board.log(), first_rotation_line + steady_line(1) + steady_line(2) + steady_line(3) +
                               steady_line(4) + steady_line(5) + origin_line("0.000", "0.000", "90.000"));
    expect_angles(acc_origin_data, 0, 0, 90);
    EXPECT_EQ(g_run_once_AKAF, 0);
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

TEST_F(FirstRest, DoesNotCountUnsteadyBlocksAndDoesNotBeginAnewAfterThem) {
    warm_up();
    gravity.blocks(on_table, 2);
    gravity.block(lifted(5));  // a step of 5 degrees: neither shake nor steady
    gravity.block(on_table);   // and back
    gravity.blocks(on_table, 2);
    EXPECT_EQ(board.log(),
              first_rotation_line + steady_line(1) + steady_line(2) + steady_line(3) + steady_line(4));
    EXPECT_EQ(acc_origin_data.z, 0.0F);
    gravity.block(on_table);
    EXPECT_EQ(board.log(), steady_line(5) + origin_line("0.000", "0.000", "90.000"));
}

TEST_F(FirstRest, NeedsStepsBelow1Point76Degrees) {
    warm_up();
    gravity.block(on_table);
    board.log();
    block_after(1.76F, 0, 90);
    block_after(0, -1.76F, 90);
    block_after(0, 0, 88.24F);
    EXPECT_EQ(board.log(), "");
    block_after(1.75F, -1.75F, 88.25F);
    EXPECT_EQ(board.log(), steady_line(2));
}

TEST_F(FirstRest, IsFollowedBySilenceWhileNothingMoves) {
    come_to_rest();
    gravity.blocks(on_table, 3);
    gravity.block(lifted(2));
    EXPECT_EQ(board.log(), "");
}

TEST_F(FirstRest, RequestsTheRunOfAMovementThatTheHostHasSet) {
    warm_up();
    g_osd_autofocus = 1;
    gravity.blocks(on_table, 4);
    project_acc_angle_changed = 1;
    board.log();
    gravity.block(on_table);
    EXPECT_EQ(board.log(),
              steady_line(5) + origin_line("0.000", "0.000", "90.000") + trigger_line + request_line);
}

// --- A shake ----------------------------------------------------------------------------------------------

using Shake = Motion;

TEST_F(Shake, WithAChangedDistanceIsAMovement) {
    come_to_rest();
    see(1020);
    gravity.block(under_ceiling);
    EXPECT_EQ(board.log(), tagged("from HSYNC_0 -> HSYNC_180, device rotation success") + sudden_line +
                               distance_lines(1020) + origin_line("0.000", "0.000", "90.000") +
                               last_line("0.000", "0.000", "90.000") + now_line("0.000", "0.000", "-90.000"));
    EXPECT_EQ(flags(), (Flags{1, 1, 1}));
    EXPECT_EQ(board.journal({"sleep", "refresh"}), Entries{});
    expect_angles(acc_degree_last, 0, 0, -90);
}

TEST_F(Shake, IsSuddenFrom13Degrees) {
    come_to_rest();
    see(1500);
    block_after(0, 0, 77.01F);
    EXPECT_EQ(board.log(), "");
    block_after(0, 0, 77);
    EXPECT_EQ(board.log(), sudden_line + distance_lines(1500) + origin_line("0.000", "0.000", "90.000") +
                               last_line("0.000", "0.000", "77.000") + now_line("0.000", "0.000", "90.000"));
}

TEST_F(Shake, IsSuddenOnEveryAxis) {
    come_to_rest();
    block_after(13, 0, 90);
    EXPECT_EQ(board.log().find(sudden_line), 0U);
    block_after(0, -13, 90);
    EXPECT_EQ(board.log().find(sudden_line), 0U);
}

TEST_F(Shake, IsJudgedBeforeARestPositionIsKnown) {
    warm_up();
    see(1500);
    gravity.block(under_ceiling);
    EXPECT_EQ(board.log(), tagged("from startup phase -> HSYNC_180, device rotation success") + sudden_line +
                               distance_lines(1500) + origin_line("0.000", "0.000", "0.000") +
                               last_line("0.000", "0.000", "90.000") + now_line("0.000", "0.000", "-90.000"));
}

TEST_F(Shake, IsSlowWhenTwoBlocksAreAwayFromRest) {
    come_to_rest();
    see(1500);
    gravity.block(lifted(11));  // away, but the block before was at rest
    EXPECT_EQ(board.log(), "");
    gravity.block(lifted(15));
    EXPECT_EQ(board.log(), slow_line + distance_lines(1500) + origin_line("0.000", "0.000", "90.000") +
                               last_line("0.000", "11.000", "79.000") + now_line("0.000", "15.000", "75.000"));
    EXPECT_EQ(flags(), (Flags{1, 1, 1}));
}

TEST_F(Shake, IsNotSlowOnTheWayOutOfTheRestPosition) {
    come_to_rest();
    see(1500);
    gravity.block(lifted(9.9));
    gravity.block(lifted(14.9));
    EXPECT_EQ(board.log(), "");
    EXPECT_EQ(flags(), (Flags{0, 0, 0}));
}

TEST_F(Shake, IsNotSlowBelowAStepOf3Degrees) {
    come_to_rest();
    see(1500);
    gravity.block(lifted(11));
    gravity.block(lifted(13.9));
    EXPECT_EQ(board.log(), "");
}

TEST_F(Shake, IsNotSlowBeforeARestPositionIsKnown) {
    warm_up();
    gravity.block(lifted(12));
    board.log();
    gravity.block(lifted(20));
    EXPECT_EQ(board.log(), "");
}

TEST_F(Shake, WithTheSameDistanceClearsTheFlagsAndPausesForASecond) {
    come_to_rest();
    see(1019);
    set_flags({1, 0, 1});
    const std::int64_t before = board.now_us();

    gravity.block(under_ceiling);

    EXPECT_EQ(board.log(), tagged("from HSYNC_0 -> HSYNC_180, device rotation success") + sudden_line +
                               distance_lines(1019) + unchanged_line + flags_line(1, 0, 1) + refresh_line);
    EXPECT_EQ(flags(), (Flags{0, 0, 0}));
    EXPECT_EQ(board.journal({"sleep", "refresh"}), (Entries{"sleep 1000000", "refresh"}));
    EXPECT_EQ(board.now_us() - before, 1'000'000);
    expect_angles(acc_degree_last, 0, 0, -90);
}

TEST_F(Shake, ShowsTheThreeFlagsInTheirOrder) {
    come_to_rest();
    set_flags({0, 1, 0});
    gravity.block(under_ceiling);
    EXPECT_NE(board.log().find(flags_line(0, 1, 0)), std::string::npos);
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
    board.remove(ranging_node);
    gravity.block(under_ceiling);
    EXPECT_EQ(board.log(), tagged("from HSYNC_0 -> HSYNC_180, device rotation success") + sudden_line +
                               tagged("tof_distance_read /sys/class/nd_tof/nds01/ranging_data fail!") +
                               unchanged_line + flags_line(0, 0, 0) + refresh_line);
    EXPECT_EQ(flags(), (Flags{0, 0, 0}));
}

TEST_F(Shake, WithTheSameDistanceKeepsTheCountAndTheSums) {
    warm_up();
    gravity.blocks(on_table, 3);
    block_after(0, 0, 70);  // a knock
    board.log();
    gravity.blocks(on_table, 2);
    EXPECT_EQ(board.log(), steady_line(4) + steady_line(5) + origin_line("0.000", "0.000", "90.000"));
}

TEST_F(Shake, WithAChangedDistanceBeginsTheCountAndTheSumsAnew) {
    warm_up();
    gravity.blocks(on_table, 3);
    see(1500);
    gravity.block(under_ceiling);
    board.log();
    gravity.blocks(under_ceiling, 5);
    EXPECT_EQ(board.log(), steady_line(1) + steady_line(2) + steady_line(3) + steady_line(4) + steady_line(5) +
                               origin_line("0.000", "0.000", "-90.000"));
}

TEST_F(Shake, WithAChangedDistanceIsTheMovementThatTheHandlerWaitsFor) {
    board.set_wall_clock_us(1'000'000'000'000);
    come_to_rest();
    see(1500);
    gravity.block(under_ceiling);
    board.log();

    for (int i = 0; i < 10; ++i) acc_data_handle();
    EXPECT_EQ(board.log(), "");

    board.advance_us(500'000);
    for (int i = 0; i < 6; ++i) acc_data_handle();
    EXPECT_EQ(board.log(), trigger_line + stable_line(0, 0, 0) + request_line);
}

TEST_F(Shake, IsSilentBelowLevelFourButForDistanceRefreshAndRequest) {
    come_to_rest();
    ovra_log_level = 3;
    g_osd_autofocus = 1;
    see(1500);
    gravity.block(under_ceiling);
    project_tof_dist_changed = 0;
    gravity.blocks(under_ceiling, 5);
    EXPECT_EQ(board.log(), distance_lines(1500) + request_line);

    lastDistance = 1500;
    gravity.block(on_table);
    EXPECT_EQ(board.log(), distance_lines(1500) + refresh_line);
}

TEST_F(Shake, HoldsBackTheBlocksOfAnotherThreadDuringItsPause) {
    come_to_rest();
    std::thread other;
    std::int64_t block_done_us = 0;
    board.on_sleep([&](std::int64_t) {
        if (other.joinable()) return;
        other = std::thread([&] {
            gravity.block(under_ceiling);
            block_done_us = board.now_us();
        });
    });
    const std::int64_t start_us = board.now_us();

    gravity.block(under_ceiling);
    other.join();

    // Judged after the pause, against the block that paused: it is no shake, and nothing pauses again.
    EXPECT_EQ(block_done_us - start_us, 1'000'000);
    EXPECT_EQ(board.journal({"sleep"}), (Entries{"sleep 1000000"}));
}

// --- Settling after a movement ----------------------------------------------------------------------------

struct Settling : Motion {
    void SetUp() override {
        Motion::SetUp();
        g_osd_autofocus = 1;
        move_to_ceiling();
    }

    const std::string five_steady_blocks = steady_line(1) + steady_line(2) + steady_line(3) + steady_line(4) +
                                           steady_line(5) + origin_line("0.000", "0.000", "-90.000");
};

TEST_F(Settling, RecordsTheNewRestPositionAfterFiveSteadyBlocks) {
    gravity.blocks(under_ceiling, 5);
    EXPECT_EQ(board.log(), five_steady_blocks);
    EXPECT_EQ(flags(), (Flags{1, 1, 0}));
    expect_angles(acc_origin_data, 0, 0, -90);
}

TEST_F(Settling, WaitsForTheEndOfAutoKeystone) {
    gravity.blocks(under_ceiling, 8);
    EXPECT_EQ(board.log(), five_steady_blocks);
    EXPECT_EQ(g_run_once_AKAF, 0);

    project_tof_dist_changed = 0;
    gravity.block(under_ceiling);

    EXPECT_EQ(board.log(), trigger_line + request_line);
    EXPECT_EQ(g_run_once_AKAF, 1);
    EXPECT_EQ(flags(), (Flags{0, 0, 0}));
}

TEST_F(Settling, RequestsTheRunWithTheFifthBlockWhenAutoKeystoneHasEnded) {
    project_tof_dist_changed = 0;
    gravity.blocks(under_ceiling, 5);
    EXPECT_EQ(board.log(), five_steady_blocks + trigger_line + request_line);
}

TEST_F(Settling, RequestsTheRunOnASteadyBlockOnly) {
    gravity.blocks(under_ceiling, 5);
    board.log();
    project_tof_dist_changed = 0;
    gravity.block({0, 35, -1000});  // 2 degrees: not steady
    EXPECT_EQ(board.log(), "");
    gravity.block({0, 35, -1000});
    EXPECT_EQ(board.log(), trigger_line + request_line);
}

TEST_F(Settling, RequestsOneRunForAMovement) {
    project_tof_dist_changed = 0;
    gravity.blocks(under_ceiling, 5);
    board.log();
    g_run_once_AKAF = 0;
    gravity.blocks(under_ceiling, 5);
    EXPECT_EQ(board.log(), "");
    EXPECT_EQ(g_run_once_AKAF, 0);
}

TEST_F(Settling, RequestsNothingWhileAutoFocusIsOff) {
    project_tof_dist_changed = 0;
    g_osd_autofocus = 0;
    gravity.blocks(under_ceiling, 5);
    EXPECT_EQ(board.log(), five_steady_blocks);
    EXPECT_EQ(flags(), (Flags{0, 0, 0}));
    EXPECT_EQ(g_run_once_AKAF, 0);
}

TEST_F(Settling, RequestsTheRunForASwitchOfExactlyOne) {
    project_tof_dist_changed = 0;
    g_osd_autofocus = 2;
    gravity.blocks(under_ceiling, 5);
    EXPECT_EQ(board.log(), five_steady_blocks);
    EXPECT_EQ(flags(), (Flags{0, 0, 0}));
}

TEST_F(Settling, BeginsAnewWithAnotherShake) {
    gravity.blocks(under_ceiling, 4);
    board.log();
    gravity.block(on_table);
    EXPECT_EQ(board.log(), tagged("from HSYNC_180 -> HSYNC_0, device rotation success") + sudden_line +
                               distance_lines(1500) + origin_line("0.000", "0.000", "90.000") +
                               last_line("0.000", "0.000", "-90.000") + now_line("0.000", "0.000", "90.000"));
    gravity.block(on_table);
    EXPECT_EQ(board.log(), steady_line(1));
}

TEST_F(Settling, EndsWithAShakeBackAtTheOldDistance) {
    see(1000);
    gravity.block(on_table);
    board.log();
    EXPECT_EQ(flags(), (Flags{0, 0, 0}));
    gravity.blocks(on_table, 6);
    EXPECT_EQ(board.log(), "");
}

TEST_F(Settling, MeasuresSlowShakesFromTheNewRestPosition) {
    project_tof_dist_changed = 0;
    gravity.blocks(under_ceiling, 5);
    board.log();
    gravity.block({0, 200, -1000});  // 11.3 degrees
    EXPECT_EQ(board.log(), "");
    gravity.block({0, 300, -1000});  // 16.7 degrees
    EXPECT_EQ(board.log().find(slow_line), 0U);
}

// --- Factory test -----------------------------------------------------------------------------------------

struct FactoryTest : Motion {
    void SetUp() override {
        Motion::SetUp();
        factory_answer = 1;
    }
};

TEST_F(FactoryTest, ClearsTwoFlagsAndSaysSoOnce) {
    warm_up();
    set_flags({1, 1, 1});
    gravity.block(under_ceiling);
    EXPECT_EQ(board.log(), factory_line);
    EXPECT_EQ(flags(), (Flags{0, 0, 1}));

    set_flags({1, 1, 0});
    gravity.blocks(on_table, 3);
    EXPECT_EQ(board.log(), "");
    EXPECT_EQ(flags(), (Flags{0, 0, 0}));
}

TEST_F(FactoryTest, StopsDirectionAndSteadinessButRemembersTheAngles) {
    warm_up();
    gravity.blocks(under_ceiling, 7);
    EXPECT_EQ(board.log(), factory_line);
    EXPECT_EQ(board.journal({"rotation"}), Entries{});
    expect_angles(acc_degree_last, 0, 0, -90);
    EXPECT_EQ(acc_origin_data.z, 0.0F);
    EXPECT_EQ(acc_get_init_status(), 1);
}

TEST_F(FactoryTest, IsNotToldBelowLevelFour) {
    warm_up();
    ovra_log_level = 3;
    gravity.block(under_ceiling);
    EXPECT_EQ(board.log(), "");
}

TEST_F(FactoryTest, IsToldAgainInTheNextPeriod) {
    warm_up();
    gravity.block(on_table);
    factory_answer = 0;
    gravity.block(on_table);
    factory_answer = 1;
    gravity.block(on_table);
    EXPECT_EQ(board.log(), factory_line + first_rotation_line + steady_line(1) + factory_line);
}

TEST_F(FactoryTest, IsMeantByTheAnswerOneOnly) {
    warm_up();
    factory_answer = 2;
    gravity.block(on_table);
    EXPECT_EQ(board.log(), first_rotation_line + steady_line(1));
}

TEST_F(FactoryTest, EndsWhenTheHostTakesItsQueryAway) {
    warm_up();
    gravity.block(on_table);
    table.is_factory_test = nullptr;
    gravity.block(on_table);
    EXPECT_EQ(board.log(), factory_line + first_rotation_line + steady_line(1));
    table.is_factory_test = [] { return factory_answer; };
    gravity.block(on_table);
    EXPECT_EQ(board.log(), factory_line);
    gsensor_app_callback = nullptr;
    gravity.block(on_table);
    EXPECT_EQ(board.log(), steady_line(2));
}

TEST_F(FactoryTest, IsNotAskedForWhileWarmingUp) {
    gravity.blocks(on_table, 5);
    EXPECT_EQ(board.log(),
              first_event_line + first_event_line + first_event_line + first_event_line + first_event_line);
}

// --- Forgetting a movement --------------------------------------------------------------------------------

using ClearAccGyroStatus = Motion;

TEST_F(ClearAccGyroStatus, ClearsTwoFlags) {
    set_flags({1, 1, 1});
    clear_acc_gyro_status();
    EXPECT_EQ(flags(), (Flags{0, 1, 0}));
    EXPECT_EQ(board.log(), "");
}

TEST_F(ClearAccGyroStatus, BeginsTheCountAnewAndKeepsTheSums) {
    warm_up();
    gravity.blocks(on_table, 3);
    board.log();
    clear_acc_gyro_status();
    gravity.blocks(on_table, 5);
    // Eight blocks of 90 degrees divided by five.
    EXPECT_EQ(board.log(), steady_line(1) + steady_line(2) + steady_line(3) + steady_line(4) + steady_line(5) +
                               origin_line("0.000", "0.000", "144.000"));
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
};

TEST_F(AccDataHandle, SkipsFiveBlocksWithAMessageOfItsOwn) {
    handle(6);
    EXPECT_EQ(board.log(), first_rotation_line + first_event_line_of_handler + first_event_line_of_handler +
                               first_event_line_of_handler + first_event_line_of_handler +
                               first_event_line_of_handler);
}

TEST_F(AccDataHandle, SharesTheSkippedBlocksWithTheSensorThread) {
    handle(2);
    gravity.blocks(on_table, 3);
    EXPECT_EQ(board.log(), first_rotation_line + first_event_line_of_handler + first_event_line_of_handler +
                               first_event_line + first_event_line + first_event_line);
    handle(1);
    EXPECT_EQ(board.log(), "");
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

TEST_F(AccDataHandle, PrintsTheAnglesAtLevelFive) {
    ovra_log_level = 5;
    acc_data_handle();
    EXPECT_EQ(board.log(), tagged("acc_caculate_degree:x_degree 0.000 y_degree 0.000 z_degree 90.000") +
                               first_rotation_line + first_event_line_of_handler);
}

TEST_F(AccDataHandle, AsksForNoFactoryTest) {
    factory_answer = 1;
    warm_up_handler();
    handle(1);
    EXPECT_EQ(board.log(), "");
}

TEST_F(AccDataHandle, TakesAStepOfTheShakeThresholdAsAMovement) {
    warm_up_handler();
    handle_after(0, 0, 65);  // 25 degrees, just below 25.01
    EXPECT_EQ(board.log(), "");
    EXPECT_EQ(flags(), (Flags{0, 0, 0}));

    handle_after(0, 0, 64);

    EXPECT_EQ(board.log(), angle_line + stable_line(0, 1, 1));
    EXPECT_EQ(flags(), (Flags{1, 0, 0}));
}

TEST_F(AccDataHandle, TakesTheShakeThresholdFromItsGlobalAndOnAnyAxis) {
    warm_up_handler();
    threshold_acc_to_shake = 4;
    handle_after(4, 0, 90);
    EXPECT_EQ(board.log(), angle_line + stable_line(0, 1, 1));
    handle_after(0, -4, 90);
    EXPECT_EQ(board.log(), angle_line + stable_line(0, 1, 1));
}

TEST_F(AccDataHandle, RemembersTheAngles) {
    warm_up_handler();
    handle_after(0, 0, 0);
    expect_angles(acc_degree_last, 0, 0, 90);
}

TEST_F(AccDataHandle, RequestsARunWithTheSixthSteadyBlock) {
    move();
    handle(5);
    EXPECT_EQ(board.log(), "");
    EXPECT_EQ(flags(), (Flags{1, 0, 0}));

    handle(1);

    EXPECT_EQ(board.log(), trigger_line + stable_line(0, 0, 30) + request_line);
    EXPECT_EQ(flags(), (Flags{0, 0, 0}));
    EXPECT_EQ(g_run_once_AKAF, 1);
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
    handle(6);
    board.log();
    handle(20);
    EXPECT_EQ(board.log(), "");
}

TEST_F(AccDataHandle, CountsFromHalfASecondAfterTheMovement) {
    warm_up_handler();
    handle_after(0, 0, 60);
    board.advance_us(499'999);
    handle(10);
    board.log();
    board.advance_us(1);
    handle(5);
    EXPECT_EQ(board.log(), "");
    handle(1);
    EXPECT_EQ(board.log(), trigger_line + stable_line(0, 0, 30) + request_line);
}

TEST_F(AccDataHandle, BeginsTheCountAnewWithAnotherMovement) {
    move();
    handle(5);
    handle_after(0, 0, 60);
    board.advance_us(500'000);
    board.log();
    handle(5);
    EXPECT_EQ(board.log(), "");
    handle(1);
    EXPECT_EQ(board.log(), trigger_line + stable_line(0, 0, 30) + request_line);
}

TEST_F(AccDataHandle, ShowsTheLargestMovementInWholeDegreesWithBitZeroCleared) {
    warm_up_handler();
    handle_after(0, 0, 60);
    handle_after(0, 0, 46.5F);  // 43.5
    handle_after(0, 0, 50);
    board.advance_us(500'000);
    board.log();
    handle(6);
    EXPECT_EQ(board.log(), trigger_line + stable_line(0, 0, 42) + request_line);
}

TEST_F(AccDataHandle, ForgetsTheLargestMovementWithTheRequest) {
    warm_up_handler();
    handle_after(0, 0, 20);
    board.advance_us(500'000);
    handle(6);
    handle_after(0, 0, 60);
    board.advance_us(500'000);
    board.log();
    handle(6);
    EXPECT_EQ(board.log(), trigger_line + stable_line(0, 0, 30) + request_line);
}

TEST_F(AccDataHandle, DoesNotCountABlockThatIsUnsteadyOnAllAxes) {
    move();
    for (int i = 0; i < 10; ++i) handle_after(1.76F, 1.76F, 88);
    EXPECT_EQ(board.log(), "");
    // One calm axis makes it steady.
    for (int i = 0; i < 2; ++i) {
        handle_after(1.75F, 5, 85);
        handle_after(5, 1.75F, 85);
        handle_after(5, 5, 89);
    }
    EXPECT_EQ(board.log(), trigger_line + stable_line(0, 0, 30) + request_line);
}

TEST_F(AccDataHandle, TakesTheSteadyThresholdFromItsGlobal) {
    move();
    threshold_acc_to_steady = 6;
    for (int i = 0; i < 5; ++i) handle_after(5.9F, 5.9F, 84.1F);
    handle_after(6, 6, 84);
    EXPECT_EQ(board.log(), "");
    handle_after(5.9F, 5.9F, 84.1F);
    EXPECT_EQ(board.log(), trigger_line + stable_line(0, 0, 30) + request_line);
}

TEST_F(AccDataHandle, CountsNothingWithoutAMovement) {
    warm_up_handler();
    handle(20);
    EXPECT_EQ(board.log(), "");
}

TEST_F(AccDataHandle, SharesTheCountOfSteadyBlocksWithTheSensorThread) {
    warm_up();
    gravity.blocks(on_table, 3);
    handle_after(0, 0, 60);
    board.advance_us(500'000);
    handle(4);
    board.log();
    gravity.block(on_table);
    EXPECT_EQ(board.log().find(steady_line(5)), 0U);
}

TEST_F(AccDataHandle, HasDefaultThresholds) {
    EXPECT_EQ(threshold_acc_to_shake, 25.01F);
    EXPECT_EQ(threshold_acc_to_steady, 1.76F);
    EXPECT_EQ(threshold_to_trigger_keystone, 4.01F);
}

TEST_F(AccDataHandle, PrintsStableLinesBelowLevelFour) {
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
    EXPECT_EQ(board.log(), request_line);
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
    EXPECT_EQ(board.log(), tagged("sensor_triger_focus,statue error") + request_line);
}

TEST_F(Trigger, OfStabilityPrintsTheResultingState) {
    sensor_triger_stable(0, 1, 4);
    sensor_triger_stable(0, 0, 5);
    sensor_triger_stable(0, -3, -2);
    sensor_triger_stable(0, 0, -1);
    sensor_triger_stable(1, 1, 4);
    sensor_triger_stable(2, 0, 5);
    EXPECT_EQ(board.log(), stable_line(0, 1, 5) + stable_line(0, 0, 4) + stable_line(0, -3, -1) +
                               stable_line(0, 0, -2) + stable_line(1, 1, 4) + stable_line(2, 0, 5));
}

TEST_F(Trigger, OfKeystoneIsAlwaysDisabled) {
    sensor_triger_trapz(1);
    sensor_triger_trapz(0);
    EXPECT_EQ(board.log(), tagged("sensor_triger_trapz,enable:1") +
                               tagged("sensor_triger_trapz,auto_move_focus is disable") +
                               tagged("sensor_triger_trapz,enable:0") +
                               tagged("sensor_triger_trapz,auto_move_focus is disable"));
}

TEST_F(Trigger, OfKeystoneIsDisabledInARunningSystem) {
    focus_config.system_state.is_system_on = 1;
    sensor_triger_trapz(1);
    EXPECT_EQ(board.log(), tagged("sensor_triger_trapz,enable:1") +
                               tagged("sensor_triger_trapz,auto_move_focus is disable"));
}

TEST_F(Trigger, OfKeystoneIsEnabledInTheServingStateWithItsFlagClear) {
    focus_config.system_state.is_system_on = 8;
    sensor_triger_trapz(1);
    EXPECT_EQ(board.log(), tagged("sensor_triger_trapz,enable:1"));
    focus_config.system_state.skip_boot_action = 1;
    sensor_triger_trapz(1);
    EXPECT_EQ(board.log(), tagged("sensor_triger_trapz,enable:1") +
                               tagged("sensor_triger_trapz,auto_move_focus is disable"));
}

TEST_F(Trigger, ResetsPrintTheirNames) {
    auto_move_focus_reset();
    auto_move_trapz_reset();
    EXPECT_EQ(board.log(), tagged("auto_move_focus_reset") + tagged("auto_move_trapz_reset"));
}

TEST_F(Trigger, LeavesItsMutexFree) {
    sensor_triger_focus(1);
    sensor_triger_trapz(1);
    auto_move_focus_reset();
    auto_move_trapz_reset();
    ASSERT_EQ(pthread_mutex_trylock(&det_mtx), 0);
    // The report of stability is not serialised.
    sensor_triger_stable(0, 0, 0);
    pthread_mutex_unlock(&det_mtx);
}

TEST_F(Trigger, WaitsForItsMutex) {
    pthread_mutex_lock(&det_mtx);
    std::thread other([] { auto_move_focus_reset(); });
    board.advance_us(1'000'000);
    EXPECT_EQ(board.log(), "");
    pthread_mutex_unlock(&det_mtx);
    other.join();
    EXPECT_EQ(board.log(), tagged("auto_move_focus_reset"));
}

}  // namespace
