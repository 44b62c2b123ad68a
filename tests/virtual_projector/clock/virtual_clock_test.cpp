#include "virtual_projector/clock/virtual_clock.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdio>
#include <cstdlib>
#include <functional>
#include <memory>
#include <string>
#include <utility>

#include "tests/virtual_projector/clock/crew.h"

namespace {

using clock_test::Crew;
using clock_test::Lines;
using clock_test::seeded;
using vp::Microseconds;
using vp::no_deadline;
using vp::ScheduledThread;
using vp::Wait;

TEST(VirtualTime, StartsAtZeroAndPassesOnlyWhileThreadsWait) {
    Crew crew;
    EXPECT_EQ(crew.clock.now(), 0);
    crew.clock.sleep_until(1500);
    EXPECT_EQ(crew.clock.now(), 1500);
    crew.clock.sleep_until(1000);  // has passed already
    EXPECT_EQ(crew.clock.now(), 1500);
}

TEST(VirtualTime, JumpsToTheEarliestDeadlineOfAllThreads) {
    Crew crew;
    crew.start("slow", [&] {
        crew.sleep(30);
        crew.say("slow");
    });
    crew.start("fast", [&] {
        for (int i = 0; i < 2; ++i) {
            crew.sleep(10);
            crew.say("fast");
        }
    });
    crew.sleep(100);
    EXPECT_EQ(crew.said, (Lines{"10 fast", "20 fast", "30 slow"}));
}

TEST(VirtualTime, AStartedThreadWaitsForItsTurn) {
    Crew crew;
    bool ran = false;
    crew.start("other", [&] { ran = true; });
    EXPECT_FALSE(ran);
    crew.sleep(0);  // even a sleep of no length lets the others of this time run
    EXPECT_TRUE(ran);
    EXPECT_EQ(crew.clock.now(), 0);
}

TEST(VirtualTime, CallbacksRunBeforeAnyThreadOfThatTimeInTheOrderGiven) {
    Crew crew;
    crew.clock.at(10, [&] { crew.say("second"); });
    crew.clock.at(5, [&] { crew.say("first"); });
    crew.clock.at(10, [&] { crew.say("third"); });
    crew.clock.on_advance([&](Microseconds now) { crew.said.push_back("time " + std::to_string(now)); });
    crew.sleep(10);
    crew.say("thread");
    EXPECT_EQ(crew.said, (Lines{"5 first", "time 5", "10 second", "10 third", "time 10", "10 thread"}));
}

TEST(VirtualTime, CallbacksRunBeforeSleepersOfThatTimeEvenWhenGivenLater) {
    Crew crew;
    crew.start("sleeper", [&] {
        crew.sleep(10);
        crew.say("sleeper");
    });
    crew.sleep(5);
    crew.clock.at(10, [&] { crew.say("callback"); });
    crew.sleep(20);
    EXPECT_EQ(crew.said, (Lines{"10 callback", "10 sleeper"}));
}

TEST(VirtualTime, CallbacksComeInTheOrderOfTheirTimesHoweverManyThereAre) {
    constexpr int count = 200'000;
    Crew crew;
    Microseconds last = 0;
    int ran = 0;
    for (int i = 0; i < count; ++i) {
        const Microseconds time = 1 + (i * Microseconds{7919}) % count;
        crew.clock.at(time, [&, time] {
            EXPECT_EQ(crew.clock.now(), time);
            EXPECT_GE(time, last);
            last = time;
            ++ran;
        });
    }
    crew.sleep(count);
    EXPECT_EQ(ran, count);
}

TEST(VirtualTime, ACallbackMaySetTheNextOne) {
    Crew crew;
    std::function<void()> tick = [&] {
        crew.say("tick");
        if (crew.clock.now() < 30) crew.clock.at(crew.clock.now() + 10, tick);
    };
    crew.clock.at(10, tick);
    crew.sleep(35);
    EXPECT_EQ(crew.said, (Lines{"10 tick", "20 tick", "30 tick"}));
}

TEST(VirtualTime, ADueCallbackRunsAtTheNextWait) {
    Crew crew;
    crew.sleep(10);
    crew.clock.at(3, [&] { crew.say("late"); });
    crew.sleep(1);
    EXPECT_EQ(crew.said, (Lines{"10 late"}));
}

TEST(Waiting, EndsWhenWokenOrAtTheDeadline) {
    Crew crew;
    int object = 0;
    crew.start("waker", [&] {
        crew.sleep(10);
        EXPECT_TRUE(crew.scheduler.wake_one(&object));
        EXPECT_FALSE(crew.scheduler.wake_one(&object));
    });
    EXPECT_EQ(vp::WaitEnd::woken, crew.scheduler.wait({Wait::Kind::condition, &object, ""}, 50));
    EXPECT_EQ(crew.clock.now(), 10);
    EXPECT_EQ(vp::WaitEnd::timed_out, crew.scheduler.wait({Wait::Kind::condition, &object, ""}, 30));
    EXPECT_EQ(crew.clock.now(), 30);
    crew.sleep(100);  // the deadline of the first wait is long forgotten
    EXPECT_EQ(crew.clock.now(), 130);
}

TEST(Waiting, TheLongestWaiterIsWokenFirst) {
    Crew crew;
    int object = 0;
    for (const char* name : {"a", "b", "c"}) {
        crew.start(name, [&, name] {
            crew.sleep(name[0]);
            crew.scheduler.wait({Wait::Kind::condition, &object, ""}, no_deadline);
            crew.say(name);
        });
    }
    crew.sleep(200);
    crew.scheduler.wake_one(&object);
    crew.sleep(10);
    EXPECT_EQ(crew.said, Lines{"200 a"});
    crew.scheduler.wake_all(&object);
    crew.sleep(10);
    EXPECT_EQ(crew.said.size(), 3U);
}

TEST(Waiting, DeviceWaitsEndWithAnEventOrACallback) {
    Crew crew;
    crew.start("reader", [&] {
        crew.clock.wait_for_device("/dev/fb0", no_deadline);
        crew.say("event");
        crew.clock.wait_for_device("/dev/fb0", no_deadline);
        crew.say("callback");
        crew.clock.wait_for_device("/dev/fb0", 60);
        crew.say("deadline");
    });
    crew.clock.at(50, [] {});
    crew.sleep(20);
    crew.clock.event_happened();
    crew.sleep(80);
    EXPECT_EQ(crew.said, (Lines{"20 event", "50 callback", "60 deadline"}));
}

TEST(Waiting, TheEndOfAThreadWakesThoseWhoWaitForIt) {
    Crew crew;
    ScheduledThread* worker = crew.start("worker", [&] { crew.sleep(70); });
    EXPECT_FALSE(worker->state == ScheduledThread::State::finished);
    crew.scheduler.wait({Wait::Kind::join, worker, "2"}, no_deadline);
    EXPECT_TRUE(worker->state == ScheduledThread::State::finished);
    EXPECT_EQ(crew.clock.now(), 70);
}

// Six threads that meet at the same times, with an object of which one at a time may be the holder.
Lines crowded_run(std::unique_ptr<vp::SchedulePolicy> policy) {
    Crew crew(std::move(policy));
    int object = 0;
    bool taken = false;
    for (int i = 0; i < 6; ++i) {
        crew.start("t" + std::to_string(i), [&, i] {
            for (int round = 0; round < 20; ++round) {
                while (taken) crew.scheduler.wait({Wait::Kind::mutex, &object, ""}, no_deadline);
                taken = true;
                crew.say(std::to_string(i));
                crew.scheduler.touch();
                crew.sleep(round % 3);
                taken = false;
                crew.scheduler.wake_all(&object);
                crew.scheduler.touch();
                crew.sleep(5);
            }
        });
    }
    crew.sleep(100'000);
    return crew.said;
}

TEST(Order, IsTheSameForTheSameSeedAlways) {
    const Lines first = crowded_run(seeded(7));
    EXPECT_EQ(first.size(), 120U);
    for (int repeat = 0; repeat < 19; ++repeat) ASSERT_EQ(crowded_run(seeded(7)), first);
}

TEST(Order, IsTheSameForTheSameSeedWithPreemption) {
    const Lines first = crowded_run(seeded(7, 0.3));
    for (int repeat = 0; repeat < 19; ++repeat) ASSERT_EQ(crowded_run(seeded(7, 0.3)), first);
}

TEST(Order, DiffersWithTheSeedAndWithPreemption) {
    EXPECT_NE(crowded_run(seeded(1)), crowded_run(seeded(2)));
    EXPECT_NE(crowded_run(seeded(1)), crowded_run(seeded(1, 0.3)));
}

TEST(Order, WithoutPreemptionATurnIsKeptUntilTheThreadWaits) {
    Crew crew;
    crew.start("other", [&] { crew.say("other"); });
    for (int i = 0; i < 900; ++i) crew.scheduler.touch();
    EXPECT_EQ(crew.said, Lines{});
}

TEST(Order, WithCertainPreemptionEveryCallMayPassTheTurn) {
    Crew crew(seeded(1, 1.0));
    crew.start("other", [&] { crew.say("other"); });
    for (int i = 0; i < 50; ++i) crew.scheduler.touch();
    EXPECT_EQ(crew.said, Lines{"0 other"});
}

TEST(Calls, CostTimeOnlyForAThreadThatNeverWaits) {
    vp::CallCost cost;
    cost.free_calls = 100;
    cost.call_us = 5;
    Crew crew(seeded(1), cost);
    for (int i = 0; i < 100; ++i) crew.scheduler.touch();
    EXPECT_EQ(crew.clock.now(), 0);
    for (int i = 0; i < 3; ++i) crew.scheduler.touch();
    EXPECT_EQ(crew.clock.now(), 15);
    crew.sleep(1);
    for (int i = 0; i < 100; ++i) crew.scheduler.touch();
    EXPECT_EQ(crew.clock.now(), 16);
}

TEST(Calls, APollingThreadLetsTheOthersGoOn) {
    Crew crew;
    bool done = false;
    crew.start("sleeper", [&] {
        crew.sleep(1000);
        done = true;
    });
    while (!done) crew.scheduler.touch();
    EXPECT_EQ(crew.clock.now(), 1000);
}

TEST(Holding, NamesTheHolderUntilTheLastRelease) {
    Crew crew;
    int object = 0;
    EXPECT_FALSE(crew.scheduler.is_held_by_current(&object));
    crew.scheduler.hold(&object);
    crew.scheduler.hold(&object);
    crew.scheduler.release(&object);
    EXPECT_TRUE(crew.scheduler.is_held_by_current(&object));
    crew.scheduler.release(&object);
    EXPECT_FALSE(crew.scheduler.is_held_by_current(&object));
}

TEST(Holding, OnlyTheLastReleaseWakesTheWaiters) {
    Crew crew;
    int object = 0;
    crew.start("waiter", [&] {
        crew.scheduler.wait({Wait::Kind::mutex, &object, ""}, no_deadline);
        crew.say("woken");
    });
    crew.scheduler.hold(&object);
    crew.scheduler.hold(&object);
    crew.sleep(10);
    crew.scheduler.release(&object);
    crew.sleep(10);
    crew.scheduler.release(&object);
    crew.sleep(10);
    EXPECT_EQ(crew.said, Lines{"20 woken"});
}

// The run in which all waits are for ever; ends the process with the table.
void run_stuck() {
    static int mutex = 0;
    static int condition = 0;
    Crew crew;
    ScheduledThread* worker = crew.start("worker", [&] {
        crew.scheduler.hold(&mutex);
        crew.sleep(1'500'000);
        crew.scheduler.wait({Wait::Kind::condition, &condition, "ready"}, no_deadline);
    });
    crew.start("", [&] {
        crew.sleep(10);
        crew.scheduler.wait({Wait::Kind::mutex, &mutex, "mutex_focus"}, no_deadline);
    });
    crew.start("done", [&] {});
    crew.start("reader", [&] { crew.clock.wait_for_device("/dev/input/event6", no_deadline); });
    crew.scheduler.wait({Wait::Kind::join, worker, "2 worker"}, no_deadline);
}

constexpr const char* stuck_table =
    "No thread can go on at 1.500000 s. What each waits for:\n"
    "   1  main: end of 2 worker, since 0.000000 s, no deadline\n"
    "   2  worker: condition ready, since 1.500000 s, no deadline\n"
    "   3  thread 3: mutex mutex_focus, held by 2 worker, since 0.000010 s, no deadline\n"
    "   5  reader: device /dev/input/event6, since 0.000000 s, no deadline\n";

bool is_stuck_exit(int status) { return WIFEXITED(status) && WEXITSTATUS(status) == vp::stuck_exit_code; }

TEST(StuckDeathTest, EndsTheProcessWithATableOfWhatEachThreadWaitsFor) {
    EXPECT_EXIT(run_stuck(), is_stuck_exit, ::testing::HasSubstr(stuck_table));
}

TEST(StuckDeathTest, TheHandlerComesInPlaceOfTheDefault) {
    const auto run = [] {
        Crew crew;
        crew.scheduler.on_stuck([](const std::string& table) {
            std::fputs(table.c_str(), stderr);
            std::_Exit(3);
        });
        crew.scheduler.wait({Wait::Kind::condition, &crew, ""}, no_deadline);
    };
    EXPECT_EXIT(run(), ::testing::ExitedWithCode(3), "1  main: condition, since 0.000000 s, no deadline");
}

TEST(StuckDeathTest, TheEndOfAThreadMayLeaveTheOthersStuck) {
    const auto run = [] {
        Crew crew;
        crew.start("short", [] {});
        crew.scheduler.wait({Wait::Kind::condition, &crew, ""}, no_deadline);
    };
    EXPECT_EXIT(run(), is_stuck_exit, "No thread can go on at 0.000000 s");
}

TEST(Table, ShowsWhoRunsAndWhoWaitsUntilWhen) {
    Crew crew;
    crew.start("sleeper", [&] { crew.sleep(2'000'000); });
    crew.start("ready", [] {});
    EXPECT_EQ(crew.scheduler.table(),
              "   1  main: runs\n"
              "   2  sleeper: its turn\n"
              "   3  ready: its turn\n");
    crew.sleep(10);
    EXPECT_EQ(crew.scheduler.table(),
              "   1  main: runs\n"
              "   2  sleeper: sleep, since 0.000000 s, until 2.000000 s\n");
}

}  // namespace
