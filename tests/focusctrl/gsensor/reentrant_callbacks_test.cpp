// The host's callbacks run while samples are processed, and may sample and judge themselves.
#include <gtest/gtest.h>

#include <functional>
#include <string>

#include "ovrafocus/acceleration.h"
#include "ovrafocus/direction.h"
#include "ovrafocus/focus_nodes.h"
#include "ovrafocus/host_interface.h"
#include "ovrafocus/lifecycle.h"
#include "ovrafocus/motion.h"
#include "tests/support/scripted_board.h"
#include "tests/support/scripted_gravity.h"

namespace {

using testkit::lifted;
using testkit::on_table;
using testkit::ScriptedBoard;
using testkit::ScriptedGravity;
using testkit::under_ceiling;

// What the callbacks do, and how often they were called.
std::function<void()> in_callback;
int calls = 0;

void call_back() {
    ++calls;
    if (in_callback) in_callback();
}

int testing_query() {
    call_back();
    return 0;
}

void rotation_changed(int) { call_back(); }

struct ReentrantCallbacks : ::testing::Test {
    ReentrantCallbacks() {
        in_callback = nullptr;
        calls = 0;
        gravity.open();
        gsensor_app_callback = &table;
        autofocus_app_callback = &table;
        gravity.blocks(on_table, 10);  // the first blocks skipped, the rest position taken
        board.text("/sys/class/nd_tof/nds01/ranging_data", "1000,1000,1000,1000,9,9,9,9");
        lastDistance = 300;
    }

    ScriptedBoard board;
    ScriptedGravity gravity{board};
    app_callback_table table{};
};

TEST_F(ReentrantCallbacks, TheTestingQueryMaySampleAndJudge) {
    table.is_factory_test = testing_query;
    in_callback = [] {
        acc_event_read();
        acc_data_handle();
    };
    gravity.block(on_table);
    EXPECT_EQ(calls, 1);
}

TEST_F(ReentrantCallbacks, SamplesOfACallbackCountForTheNextBlock) {
    table.is_factory_test = testing_query;
    in_callback = [] { acc_event_read(); };
    gravity.block(on_table);
    gravity.samples(on_table, 8);
    EXPECT_EQ(calls, 1);
    gravity.samples(on_table, 1);
    EXPECT_EQ(calls, 2);
}

TEST_F(ReentrantCallbacks, ABlockThatACallbackCompletesIsNotJudged) {
    table.is_factory_test = testing_query;
    in_callback = [this] { gravity.blocks(on_table, 3); };
    gravity.block(on_table);
    EXPECT_EQ(calls, 1);
    gravity.block(on_table);
    EXPECT_EQ(calls, 2);
}

TEST_F(ReentrantCallbacks, AMovementIsSeenThoughACallbackJudgesIt) {
    table.is_factory_test = testing_query;
    in_callback = acc_data_handle;
    gravity.block(lifted(30));
    EXPECT_EQ(project_tof_dist_changed, 1);
}

TEST_F(ReentrantCallbacks, TheRefreshAfterAnUnchangedDistanceMaySampleAndJudge) {
    table.refresh_ui = call_back;
    lastDistance = 1000;
    in_callback = [this] {
        gravity.block(lifted(30));
        acc_data_handle();
    };
    gravity.block(lifted(30));
    EXPECT_EQ(calls, 1);
    EXPECT_EQ(project_tof_dist_changed, 0);
}

TEST_F(ReentrantCallbacks, ACallbackThatJudgesIsNotifiedOfTheRotationOnce) {
    table.rotation_changed = rotation_changed;
    in_callback = [] {
        acc_event_read();
        acc_data_handle();
    };
    gravity.block(under_ceiling);
    EXPECT_EQ(calls, 1);
    EXPECT_EQ(get_device_direction(), 2);
}

}  // namespace
