// What counts as busy, and how requests end, with the library's flags set by the test.
#include "host/host_session.h"

#include <gtest/gtest.h>

#include <string>

#include "host/commands.h"
#include "ovrafocus/ovrafocus.h"
#include "tests/support/scripted_board.h"

namespace {

using host::Outcome;
using host::RequestState;

constexpr std::int64_t second_us = 1000000;

struct HostSessionTest : ::testing::Test {
    testkit::ScriptedBoard board;

    // Lets a flag be cleared after some time, as one of the library's threads would do.
    template <typename Flag>
    void clear_after(Flag& flag, std::int64_t time_us) {
        flag = 1;
        board.on_sleep([this, &flag, time_us](std::int64_t) {
            if (board.now_us() >= time_us) flag = 0;
        });
    }
};

TEST_F(HostSessionTest, BeginsWithoutARequest) {
    EXPECT_EQ(host::last_request(), RequestState::none);
    EXPECT_STREQ(host::last_request_words(), "nothing has been requested");
}

TEST_F(HostSessionTest, ARequestSucceedsUntilItIsSaidToHaveFailed) {
    host::begin_request(true);
    EXPECT_STREQ(host::last_request_words(), "the last request succeeded");
    host::note_request_failed();
    EXPECT_STREQ(host::last_request_words(), "the last request failed");
    host::begin_request(false);
    EXPECT_EQ(host::last_request(), RequestState::succeeded);
}

TEST_F(HostSessionTest, IsIdleWhenNothingIsPendingWhateverTheStateSaysBeforeTheFirstRun) {
    ASSERT_EQ(varnel_get_state_autofocus(), 1);  // so it is from load on
    EXPECT_EQ(host::run_line("wait idle"), Outcome::done);
    EXPECT_EQ(board.log(), "all is quiet after 0.05 seconds; nothing has been requested\n");
}

TEST_F(HostSessionTest, IsBusyWhileARequestIsPending) {
    clear_after(g_run_once_AKAF, second_us);
    EXPECT_EQ(host::run_line("wait idle"), Outcome::done);
    EXPECT_GE(board.now_us(), second_us);
}

TEST_F(HostSessionTest, IsBusyWhileAMovementIsBeingHandled) {
    clear_after(project_acc_angle_changed, second_us);
    EXPECT_EQ(host::run_line("wait idle"), Outcome::done);
    EXPECT_GE(board.now_us(), second_us);
    clear_after(project_tof_dist_changed, 3 * second_us);
    EXPECT_EQ(host::run_line("wait idle"), Outcome::done);
    EXPECT_GE(board.now_us(), 3 * second_us);
}

TEST_F(HostSessionTest, IsBusyWhileARunIsInProgress) {
    host::begin_request(true);
    clear_after(g_osd_state_autofocus, second_us);
    EXPECT_EQ(host::run_line("wait idle"), Outcome::done);
    EXPECT_GE(board.now_us(), second_us);
}

// The library's question whether the factory tests, and its wish for a redraw, come through the table.
TEST_F(HostSessionTest, IsIdleAfterARedrawThatNoRunAskedFor) {
    host::start_library();
    ASSERT_EQ(varnel_get_state_autofocus(), 1);
    ASSERT_EQ(get_app_callback()->is_factory_test(), 0);
    get_app_callback()->refresh_ui();
    EXPECT_FALSE(host::a_focus_step_has_ended());
    const std::int64_t begin_us = board.now_us();
    EXPECT_EQ(host::run_line("wait idle"), Outcome::done);
    EXPECT_LT(board.now_us() - begin_us, second_us);
}

TEST_F(HostSessionTest, IsBusyDuringARunThatNobodyAskedFor) {
    host::start_library();
    get_app_callback()->is_factory_test();
    clear_after(g_osd_state_autofocus, second_us);
    EXPECT_EQ(host::run_line("wait idle"), Outcome::done);
    EXPECT_GE(board.now_us(), second_us);
}

TEST_F(HostSessionTest, LeavesTheStateAloneOnceARunHasBeenAskedFor) {
    host::start_library();
    host::begin_request(true);
    get_app_callback()->is_factory_test();
    EXPECT_EQ(varnel_get_state_autofocus(), 1);
    get_app_callback()->refresh_ui();
    EXPECT_TRUE(host::a_focus_step_has_ended());
}

TEST_F(HostSessionTest, GivesUpAfterAMinute) {
    g_run_once_keystone = 1;
    EXPECT_EQ(host::run_line("wait idle"), Outcome::failed);
    EXPECT_EQ(board.log(), "still busy after 60 seconds\n");
    EXPECT_EQ(host::last_request(), RequestState::failed);
    EXPECT_NEAR(static_cast<double>(board.now_us()), 60e6, 0.2e6);
}

TEST_F(HostSessionTest, TakesNoRequestBeforeTheLibraryIsStarted) {
    EXPECT_FALSE(host::library_is_started());
    EXPECT_EQ(host::run_line("akaf"), Outcome::failed);
    EXPECT_EQ(board.log(), "akaf: start the library first with 'init'\n");
}

}  // namespace
