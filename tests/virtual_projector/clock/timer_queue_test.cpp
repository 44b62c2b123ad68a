#include "virtual_projector/clock/timer_queue.h"

#include <gtest/gtest.h>

#include <string>

#include "virtual_projector/clock/scheduled_thread.h"

namespace {

using vp::ScheduledThread;
using vp::TimerQueue;

struct TimerQueueTest : ::testing::Test {
    TimerQueue queue;
    ScheduledThread sleepers[2] = {{nullptr, 1, "first"}, {nullptr, 2, "second"}};
    std::string order;

    void add_callback(vp::Microseconds time, char name) {
        queue.add_callback(time, [this, name] { order += name; });
    }
    // Lets everything happen that is due; sleepers count as '0' and '1'.
    std::string take_all(vp::Microseconds now) {
        order.clear();
        while (const auto due = queue.take_due(now)) {
            if (due->sleeper == nullptr) {
                due->callback();
            } else {
                order += due->sleeper == &sleepers[0] ? '0' : '1';
            }
        }
        return order;
    }
};

TEST_F(TimerQueueTest, GivesOutByTime) {
    add_callback(30, 'c');
    queue.add_deadline(20, sleepers[1]);
    add_callback(10, 'a');
    EXPECT_EQ(queue.next_time(), 10);
    EXPECT_EQ(take_all(9), "");
    EXPECT_EQ(take_all(20), "a1");
    EXPECT_EQ(queue.next_time(), 30);
    EXPECT_EQ(take_all(100), "c");
    EXPECT_FALSE(queue.next_time().has_value());
}

TEST_F(TimerQueueTest, AtOneTimeCallbacksComeBeforeSleepersAndThoseAddedFirstBeforeLaterOnes) {
    queue.add_deadline(10, sleepers[1]);
    queue.add_deadline(10, sleepers[0]);
    for (const char name : {'a', 'b', 'c', 'd'}) add_callback(10, name);
    EXPECT_EQ(take_all(10), "abcd10");
}

TEST_F(TimerQueueTest, ForgetsTheDeadlineOfAWaitThatIsOver) {
    queue.add_deadline(10, sleepers[0]);
    ++sleepers[0].wait_number;
    EXPECT_FALSE(queue.next_time().has_value());
    queue.add_deadline(30, sleepers[0]);
    EXPECT_EQ(queue.next_time(), 30);
    EXPECT_EQ(take_all(30), "0");
}

TEST_F(TimerQueueTest, ACallbackMayAddAnotherThatIsDueAtOnce) {
    queue.add_callback(10, [this] { add_callback(5, 'b'); });
    queue.add_deadline(10, sleepers[0]);
    EXPECT_EQ(take_all(10), "b0");
}

TEST_F(TimerQueueTest, KnowsWhetherACallbackIsToCome) {
    EXPECT_FALSE(queue.has_callback());
    queue.add_deadline(10, sleepers[0]);
    EXPECT_FALSE(queue.has_callback());  // a thread's own waiting is none
    add_callback(10, 'a');
    add_callback(30, 'b');
    EXPECT_TRUE(queue.has_callback());
    take_all(20);
    EXPECT_TRUE(queue.has_callback());
    queue.add_deadline(40, sleepers[1]);
    take_all(30);
    EXPECT_FALSE(queue.has_callback());
    EXPECT_EQ(queue.next_time(), 40);
}

TEST_F(TimerQueueTest, ACallbackThatRunsIsNoMoreToCome) {
    queue.add_callback(10, [this] { order += queue.has_callback() ? 'y' : 'n'; });
    EXPECT_EQ(take_all(10), "n");
}

}  // namespace
