// How a run is looked at in real time. The real times here are the watch's own: nothing must happen within one.
#include "virtual_projector/clock/run_watch.h"

#include <gtest/gtest.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <future>
#include <thread>

#include "tests/virtual_projector/clock/crew.h"

namespace {

using clock_test::Crew;
using clock_test::Lines;
using vp::no_deadline;
using vp::RunWatch;
using vp::ScheduledThread;
using vp::WaitEnd;

constexpr double no_limit = 0;
constexpr double limit_s = 0.2;
constexpr int looks_in_limit = 4;

struct RunWatchTest : ::testing::Test {
    std::atomic<int> lost_turns{0};
    std::atomic<int> reached_limits{0};
    Crew crew;
};

TEST_F(RunWatchTest, TakesTheTurnOfAThreadThatComputes) {
    std::atomic<bool> may_end{false};
    ScheduledThread* const busy = crew.start("busy", [&] {
        while (!may_end) {
        }
        crew.scheduler.enter_call();
        crew.say("back");
        crew.scheduler.leave_call();
    });
    RunWatch::Handlers handlers;
    handlers.turn_lost = [&](const ScheduledThread& thread) {
        EXPECT_EQ(&thread, busy);
        ++lost_turns;
        may_end = true;
    };
    handlers.limit_reached = [&] { ++reached_limits; };
    const RunWatch watch(crew.scheduler, no_limit, handlers);
    EXPECT_EQ(crew.scheduler.wait_for_end(busy, no_deadline), WaitEnd::woken);
    EXPECT_EQ(crew.said, Lines{"0 back"});
    EXPECT_EQ(lost_turns, 1);
    EXPECT_EQ(reached_limits, 0);
}

TEST_F(RunWatchTest, TakesTheTurnOfAThreadThatTheKernelHolds) {
    int ends[2] = {};
    ASSERT_EQ(pipe(ends), 0);
    ScheduledThread* const blocked = crew.start("blocked", [&] {
        char byte = 0;
        EXPECT_EQ(::syscall(SYS_read, ends[0], &byte, 1), 1);
        crew.scheduler.enter_call();
        crew.say("back");
        crew.scheduler.leave_call();
    });
    RunWatch::Handlers handlers;
    handlers.turn_lost = [&](const ScheduledThread& thread) {
        EXPECT_EQ(&thread, blocked);
        ++lost_turns;
        EXPECT_EQ(write(ends[1], "x", 1), 1);
    };
    handlers.limit_reached = [&] { ++reached_limits; };
    const RunWatch watch(crew.scheduler, no_limit, handlers);
    EXPECT_EQ(crew.scheduler.wait_for_end(blocked, no_deadline), WaitEnd::woken);
    EXPECT_EQ(crew.said, Lines{"0 back"});
    EXPECT_EQ(lost_turns, 1);
    EXPECT_EQ(reached_limits, 0);
    close(ends[0]);
    close(ends[1]);
}

TEST_F(RunWatchTest, SaysWhenNothingHasHappenedForTheLimit) {
    std::promise<void> reached;
    crew.scheduler.enter_call();  // from which no turn is taken
    RunWatch::Handlers handlers;
    handlers.turn_lost = [&](const ScheduledThread&) { ++lost_turns; };
    handlers.limit_reached = [&] {
        if (++reached_limits == 1) reached.set_value();
    };
    const RunWatch watch(crew.scheduler, limit_s, handlers);
    reached.get_future().wait();  // for real: nothing happens meanwhile
    EXPECT_EQ(lost_turns, 0);
    crew.scheduler.leave_call();
}

TEST_F(RunWatchTest, CountsNothingOfTheLimitWhileExcused) {
    constexpr int excused_looks = 10;
    std::atomic<int> looks{0};
    int looks_at_limit = 0;
    std::promise<void> reached;
    crew.scheduler.enter_call();  // from which no turn is taken
    RunWatch::Handlers handlers;
    handlers.turn_lost = [&](const ScheduledThread&) { ++lost_turns; };
    handlers.is_excused = [&] { return ++looks <= excused_looks; };
    handlers.limit_reached = [&] {
        if (++reached_limits > 1) return;
        looks_at_limit = looks;
        reached.set_value();
    };
    const RunWatch watch(crew.scheduler, limit_s, handlers);
    reached.get_future().wait();
    EXPECT_EQ(looks_at_limit, excused_looks + looks_in_limit);
    EXPECT_EQ(lost_turns, 0);
    crew.scheduler.leave_call();
}

TEST_F(RunWatchTest, EndsWithoutAWordWhenNothingIsAmiss) {
    RunWatch::Handlers handlers;
    handlers.turn_lost = [&](const ScheduledThread&) { ++lost_turns; };
    handlers.limit_reached = [&] { ++reached_limits; };
    {
        constexpr double long_limit_s = 1000;
        const RunWatch watch(crew.scheduler, long_limit_s, handlers);
        for (int i = 0; i < 1000; ++i) crew.sleep(1000);
    }
    EXPECT_EQ(lost_turns + reached_limits, 0);
}

// --- Stopping --------------------------------------------------------------------------------------------

std::atomic<int> stopped_thread{0};
void note_stopped_thread() { stopped_thread = static_cast<int>(::syscall(SYS_gettid)); }

TEST(Stopping, HoldsAThreadForGoodAfterItHasSaidWhereItStands) {
    static ScheduledThread busy(nullptr, 1, "busy");  // it stays beyond the test
    static std::atomic<std::size_t> rounds{0};
    std::thread([] {
        busy.kernel_id = static_cast<int>(::syscall(SYS_gettid));
        for (;;) ++rounds;
    }).detach();
    while (rounds == 0) std::this_thread::yield();
    ASSERT_TRUE(RunWatch::stop(&busy, note_stopped_thread));
    EXPECT_EQ(stopped_thread, busy.kernel_id);
    const std::size_t at_stop = rounds;
    usleep(1000);
    EXPECT_EQ(rounds, at_stop);
}

TEST(Stopping, FailsWithoutAThread) {
    const ScheduledThread not_begun(nullptr, 1, "");
    EXPECT_FALSE(RunWatch::stop(nullptr, note_stopped_thread));
    EXPECT_FALSE(RunWatch::stop(&not_begun, note_stopped_thread));
}

}  // namespace
