// What ends a wait from outside of it, what happens when nobody is ready, and turns that are taken away.
#include "virtual_projector/clock/turn_scheduler.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "tests/virtual_projector/clock/crew.h"

namespace {

using clock_test::Crew;
using clock_test::Lines;
using clock_test::seeded;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using vp::Microseconds;
using vp::no_deadline;
using vp::ScheduledThread;
using vp::Wait;
using vp::WaitEnd;

bool is_stuck_exit(int status) { return WIFEXITED(status) && WEXITSTATUS(status) == vp::stuck_exit_code; }

// --- interrupt -------------------------------------------------------------------------------------------

TEST(Interrupt, EndsAWaitAtOnceAndForgetsItsDeadline) {
    Crew crew;
    int object = 0;
    WaitEnd end = WaitEnd::woken;
    ScheduledThread* const waiter = crew.start("waiter", [&] {
        end = crew.scheduler.wait({Wait::Kind::condition, &object, ""}, 50);
        crew.say("interrupted");
        crew.sleep(100);
        crew.say("slept");
    });
    crew.sleep(10);
    crew.scheduler.interrupt(waiter);
    EXPECT_FALSE(crew.scheduler.wake_one(&object));
    crew.sleep(200);
    EXPECT_EQ(end, WaitEnd::interrupted);
    EXPECT_EQ(crew.said, (Lines{"10 interrupted", "110 slept"}));
}

TEST(Interrupt, EndsASleep) {
    Crew crew;
    WaitEnd end = WaitEnd::woken;
    ScheduledThread* const sleeper = crew.start("sleeper", [&] { end = crew.clock.sleep_until(1000); });
    crew.sleep(10);
    crew.scheduler.interrupt(sleeper);
    EXPECT_EQ(crew.scheduler.wait_for_end(sleeper, no_deadline), WaitEnd::woken);
    EXPECT_EQ(end, WaitEnd::interrupted);
    EXPECT_EQ(crew.clock.now(), 10);
}

TEST(Interrupt, LeavesTheOtherWaitersOfTheObject) {
    Crew crew;
    int object = 0;
    std::vector<ScheduledThread*> waiters;
    for (const char* name : {"first", "second", "third"}) {
        waiters.push_back(crew.start(name, [&, name] {
            crew.sleep(name[0]);  // in the order f, s, t
            crew.scheduler.wait({Wait::Kind::condition, &object, ""}, no_deadline);
            crew.say(name);
        }));
    }
    crew.sleep(200);
    crew.scheduler.interrupt(waiters[1]);
    crew.sleep(1);
    EXPECT_TRUE(crew.scheduler.wake_one(&object));
    crew.sleep(1);
    EXPECT_TRUE(crew.scheduler.wake_one(&object));
    crew.sleep(1);
    EXPECT_FALSE(crew.scheduler.wake_one(&object));
    EXPECT_EQ(crew.said, (Lines{"200 second", "201 first", "202 third"}));
}

TEST(Interrupt, DoesNothingToAThreadThatIsReady) {
    Crew crew;
    int object = 0;
    WaitEnd end = WaitEnd::timed_out;
    int runs = 0;
    ScheduledThread* const waiter = crew.start("waiter", [&] {
        end = crew.scheduler.wait({Wait::Kind::condition, &object, ""}, no_deadline);
        ++runs;
    });
    crew.scheduler.interrupt(waiter);  // it has not even begun
    crew.sleep(10);
    EXPECT_EQ(runs, 0);
    crew.scheduler.wake_one(&object);
    crew.scheduler.interrupt(waiter);
    crew.sleep(10);
    EXPECT_EQ(end, WaitEnd::woken);
    EXPECT_EQ(runs, 1);
}

TEST(Interrupt, DoesNothingToAThreadThatHasFinished) {
    Crew crew;
    ScheduledThread* const worker = crew.start("worker", [] {});
    crew.sleep(1);
    crew.scheduler.interrupt(worker);
    crew.sleep(1);
    EXPECT_EQ(worker->state, ScheduledThread::State::finished);
}

// --- wait_for_end ----------------------------------------------------------------------------------------

TEST(WaitForEnd, IsOverAtItsDeadlineOrWithTheThread) {
    Crew crew;
    ScheduledThread* const worker = crew.start("worker", [&] { crew.sleep(70); });
    EXPECT_EQ(crew.scheduler.wait_for_end(worker, 20), WaitEnd::timed_out);
    EXPECT_EQ(crew.clock.now(), 20);
    EXPECT_EQ(crew.scheduler.wait_for_end(worker, 1000), WaitEnd::woken);
    EXPECT_EQ(crew.clock.now(), 70);
    EXPECT_EQ(crew.scheduler.wait_for_end(worker, 10), WaitEnd::woken);  // it has finished long ago
    EXPECT_EQ(crew.clock.now(), 70);
}

TEST(WaitForEnd, NamesTheThreadInTheTable) {
    Crew crew;
    ScheduledThread* const worker = crew.start("worker", [&] { crew.sleep(70); });
    ScheduledThread* const nameless = crew.start("", [&] { crew.sleep(70); });
    crew.start("a", [&] { crew.scheduler.wait_for_end(worker, no_deadline); });
    crew.start("b", [&] { crew.scheduler.wait_for_end(nameless, 60); });
    crew.sleep(10);
    EXPECT_THAT(crew.scheduler.table(), HasSubstr("   4  a: end of 2 worker, since 0.000000 s, no deadline\n"
                                                  "   5  b: end of 3, since 0.000000 s, until 0.000060 s\n"));
}

// --- The idle handler ------------------------------------------------------------------------------------

struct Asked {
    Microseconds at;
    bool nothing_to_come;
    bool operator==(const Asked& other) const {
        return at == other.at && nothing_to_come == other.nothing_to_come;
    }
};

TEST(IdleHandler, IsAskedBeforeTimeMovesAndNotWhileAThreadIsReady) {
    std::vector<Asked> asked;
    Crew crew;
    crew.scheduler.on_idle([&](bool nothing_to_come, bool /*computes*/) {
        asked.push_back({crew.clock.now(), nothing_to_come});
        return false;
    });
    crew.start("other", [] {});
    crew.sleep(0);
    EXPECT_THAT(asked, ElementsAre());
    crew.sleep(10);
    crew.sleep(5);
    EXPECT_THAT(asked, ElementsAre(Asked{0, false}, Asked{10, false}));
    crew.scheduler.on_idle(nullptr);
}

TEST(IdleHandler, IsAskedAgainAsLongAsItLetsSomethingHappen) {
    int asked = 0;
    Crew crew;
    crew.scheduler.on_idle([&](bool, bool /*computes*/) {
        EXPECT_EQ(crew.clock.now(), 0);
        return ++asked < 4;
    });
    crew.sleep(10);
    EXPECT_EQ(asked, 4);
    EXPECT_EQ(crew.clock.now(), 10);
    crew.scheduler.on_idle(nullptr);
}

TEST(IdleHandler, MayMakeAThreadReadyBeforeTimeMoves) {
    for (const bool says_so : {true, false}) {  // whatever it answers
        int object = 0;
        Crew crew;
        crew.scheduler.on_idle([&](bool, bool /*computes*/) {
            crew.scheduler.wake_one(&object);
            return says_so;
        });
        EXPECT_EQ(crew.scheduler.wait({Wait::Kind::descriptor, &object, ""}, 50), WaitEnd::woken);
        EXPECT_EQ(crew.clock.now(), 0);
        crew.scheduler.on_idle(nullptr);
    }
}

TEST(IdleHandler, HearsWhenNothingIsToCome) {
    int object = 0;
    std::vector<Asked> asked;
    Crew crew;
    crew.scheduler.on_idle([&](bool nothing_to_come, bool /*computes*/) {
        asked.push_back({crew.clock.now(), nothing_to_come});
        if (nothing_to_come) crew.scheduler.wake_one(&object);
        return nothing_to_come;
    });
    crew.clock.at(30, [] {});
    EXPECT_EQ(crew.scheduler.wait({Wait::Kind::descriptor, &object, ""}, no_deadline), WaitEnd::woken);
    EXPECT_THAT(asked, ElementsAre(Asked{0, false}, Asked{30, true}));
    crew.scheduler.on_idle(nullptr);
}

TEST(IdleHandlerDeathTest, IsAskedBeforeARunEndsStuck) {
    const auto run = [] {
        Crew crew;
        crew.scheduler.on_idle([](bool nothing_to_come, bool /*computes*/) {
            std::fprintf(stderr, "asked%s\n", nothing_to_come ? " at the end" : "");
            return false;
        });
        crew.scheduler.wait({Wait::Kind::descriptor, &crew, "pipe"}, no_deadline);
    };
    EXPECT_EXIT(run(), is_stuck_exit, "asked at the end\nNo thread can go on at 0.000000 s");
}

// --- yield -----------------------------------------------------------------------------------------------

TEST(Yield, LetsTheOthersOfThisTimeRun) {
    Crew crew;
    bool ran = false;
    crew.start("other", [&] { ran = true; });
    while (!ran) crew.scheduler.yield();
    EXPECT_EQ(crew.clock.now(), 0);
}

TEST(Yield, CostsTimeOnlyForAThreadThatNeverWaits) {
    vp::CallCost cost;
    cost.free_calls = 100;
    cost.yield_us = 70;
    Crew crew(seeded(1), cost);
    for (int i = 0; i < 100; ++i) crew.scheduler.yield();
    EXPECT_EQ(crew.clock.now(), 0);
    for (int i = 0; i < 3; ++i) crew.scheduler.yield();
    EXPECT_EQ(crew.clock.now(), 210);
    crew.sleep(1);
    for (int i = 0; i < 100; ++i) crew.scheduler.yield();
    EXPECT_EQ(crew.clock.now(), 211);
}

TEST(Yield, CountsAsACallLikeAnyOther) {
    vp::CallCost cost;
    cost.free_calls = 10;
    cost.call_us = 5;
    cost.yield_us = 70;
    Crew crew(seeded(1), cost);
    for (int i = 0; i < 5; ++i) {
        crew.scheduler.touch();
        crew.scheduler.yield();
    }
    EXPECT_EQ(crew.clock.now(), 0);
    crew.scheduler.yield();
    crew.scheduler.touch();
    EXPECT_EQ(crew.clock.now(), 75);
}

TEST(Yield, OfOneWhoOnlyYieldsLetsTimeGoOn) {
    Crew crew;
    bool done = false;
    crew.start("sleeper", [&] {
        crew.sleep(5000);
        done = true;
    });
    while (!done) crew.scheduler.yield();
    EXPECT_EQ(crew.clock.now(), 5000);
}

// --- Places ----------------------------------------------------------------------------------------------

thread_local std::string own_place;

TEST(Places, AreSaidByEachThreadItself) {
    Crew crew;
    crew.scheduler.read_stacks_with([] { return own_place; });
    own_place = "main_loop (host)";
    for (const char* name : {"a", "b"}) {
        crew.start(name, [&, name] {
            own_place = std::string("work_of_") + name;
            crew.scheduler.wait({Wait::Kind::semaphore, &crew, ""}, 500);
        });
    }
    crew.start("ended", [] {});
    crew.start("nowhere", [&] { crew.sleep(500); });
    crew.sleep(10);
    crew.scheduler.ask_for_places();
    EXPECT_EQ(crew.scheduler.table(),
              "   1  main: runs, in main_loop (host)\n"
              "   2  a: semaphore, since 0.000000 s, until 0.000500 s, in work_of_a\n"
              "   3  b: semaphore, since 0.000000 s, until 0.000500 s, in work_of_b\n"
              "   5  nowhere: sleep, since 0.000000 s, until 0.000500 s\n");
}

TEST(Places, AreAskedForWithoutChangingTheRun) {
    Crew crew;
    crew.scheduler.read_stacks_with([] { return own_place; });
    crew.start("waiter", [&] {
        crew.sleep(30);
        crew.say("waiter");
    });
    crew.sleep(10);
    crew.scheduler.ask_for_places();
    EXPECT_EQ(crew.said, Lines{});
    crew.sleep(100);
    EXPECT_EQ(crew.said, Lines{"30 waiter"});
    EXPECT_EQ(crew.clock.now(), 110);
}

TEST(Places, OfAStoppedThreadAreNotedByWhoStoppedIt) {
    Crew crew;
    crew.start("sleeper", [&] { crew.sleep(500); });
    crew.sleep(10);
    ASSERT_EQ(crew.scheduler.all_running().size(), 1U);
    crew.scheduler.note_place(crew.scheduler.running(), "compute (host)");
    EXPECT_THAT(crew.scheduler.table(), HasSubstr("   1  main: runs, in compute (host)\n"));
}

TEST(PlacesDeathTest, StandInTheTableOfAStuckRun) {
    const auto run = [] {
        Crew crew;
        crew.scheduler.read_stacks_with([] { return own_place; });
        own_place = "wait_for_all (host)";
        crew.start("worker", [&] {
            own_place = "work (host)";
            crew.scheduler.wait({Wait::Kind::barrier, &crew, ""}, no_deadline);
        });
        crew.scheduler.wait({Wait::Kind::condition, &crew, ""}, no_deadline);
    };
    EXPECT_EXIT(run(), is_stuck_exit,
                HasSubstr("   1  main: condition, since 0.000000 s, no deadline, in wait_for_all (host)\n"
                          "   2  worker: barrier, since 0.000000 s, no deadline, in work (host)\n"));
}

// --- Turns that are taken away ---------------------------------------------------------------------------

// A thread that computes until it is let go, and then makes a call; and somebody outside who looks at it.
struct TakenTurn : ::testing::Test {
    std::atomic<bool> computes{false};
    std::atomic<bool> may_end{false};
    Crew crew;

    void compute() {
        computes = true;
        while (!may_end) {
        }
    }
    void await_computing() const {
        while (!computes) std::this_thread::yield();
    }
    void await_nobody_runs() const {
        while (crew.scheduler.running() != nullptr) std::this_thread::yield();
    }
    // On a thread of its own; what computes may end when nobody runs any more.
    std::thread take_turn_until_nobody_runs(ScheduledThread& busy) {
        return std::thread([this, &busy] {
            await_computing();
            EXPECT_TRUE(crew.scheduler.take_turn_away(busy));
            await_nobody_runs();
            may_end = true;
        });
    }
    void make_call() {
        crew.scheduler.enter_call();
        crew.say("call");
        crew.scheduler.leave_call();
    }
};

TEST_F(TakenTurn, GoesToTheOthersWhileTheThreadComputes) {
    ScheduledThread* const busy = crew.start("busy", [&] {
        crew.sleep(20);
        compute();
        make_call();
    });
    bool taken = false;
    std::thread watcher([&] {
        await_computing();
        taken = crew.scheduler.take_turn_away(*busy);
    });
    crew.sleep(100);
    watcher.join();
    EXPECT_TRUE(taken);
    EXPECT_EQ(crew.clock.now(), 100);
    EXPECT_EQ(crew.scheduler.table(),
              "   1  main: runs\n"
              "   2  busy: computes without a call since 0.000020 s\n");
    const auto running = crew.scheduler.all_running();
    EXPECT_EQ(running.size(), 2U);
    EXPECT_NE(crew.scheduler.running(), busy);
    crew.scheduler.enter_call();  // by one that has its turn this changes nothing
    crew.scheduler.leave_call();
    EXPECT_EQ(crew.scheduler.running()->number, 1);
    may_end = true;
    while (busy->state != ScheduledThread::State::finished) crew.sleep(1);
}

TEST_F(TakenTurn, CannotBeTakenInACallNorFromAThreadThatWaits) {
    ScheduledThread* const busy = crew.start("busy", [&] {
        crew.scheduler.enter_call();
        compute();
        crew.scheduler.leave_call();
    });
    ScheduledThread* const waiter = crew.start("waiter", [&] { crew.sleep(50); });
    std::thread watcher([&] {
        await_computing();
        EXPECT_FALSE(crew.scheduler.take_turn_away(*busy));
        EXPECT_FALSE(crew.scheduler.take_turn_away(*waiter));
        EXPECT_EQ(crew.scheduler.running(), busy);
        may_end = true;
    });
    crew.sleep(100);
    watcher.join();
    EXPECT_EQ(busy->state, ScheduledThread::State::finished);
}

TEST_F(TakenTurn, CannotBeTakenInsideACallWithinACall) {
    ScheduledThread* const busy = crew.start("busy", [&] {
        crew.scheduler.enter_call();
        crew.scheduler.enter_call();
        crew.scheduler.leave_call();
        compute();
        crew.scheduler.leave_call();
    });
    std::thread watcher([&] {
        await_computing();
        EXPECT_FALSE(crew.scheduler.take_turn_away(*busy));
        may_end = true;
    });
    crew.sleep(100);
    watcher.join();
}

TEST_F(TakenTurn, CanBeTakenInAHandlerThatRunsInsideACall) {
    ScheduledThread* const busy = crew.start("busy", [&] {
        crew.scheduler.enter_call();
        const int depth = crew.scheduler.suspend_call();
        compute();
        crew.scheduler.resume_call(depth);
        crew.say("resumed");
        crew.scheduler.leave_call();
    });
    std::thread watcher = take_turn_until_nobody_runs(*busy);
    EXPECT_EQ(crew.scheduler.wait_for_end(busy, no_deadline), WaitEnd::woken);
    watcher.join();
    EXPECT_EQ(crew.said, Lines{"0 resumed"});
}

TEST_F(TakenTurn, ComesBackAtTheNextCallAmongOthersThatRun) {
    bool is_back = false;
    ScheduledThread* const busy = crew.start("busy", [&] {
        compute();
        make_call();
        is_back = true;
    });
    std::thread watcher([&] {
        await_computing();
        EXPECT_TRUE(crew.scheduler.take_turn_away(*busy));
    });
    crew.sleep(100);
    watcher.join();
    may_end = true;
    while (!is_back) crew.sleep(1);
    ASSERT_EQ(crew.said.size(), 1U);
    EXPECT_THAT(crew.said[0], HasSubstr(" call"));
    EXPECT_GE(crew.clock.now(), 100);
    EXPECT_EQ(crew.scheduler.table(), "   1  main: runs\n");
}

TEST_F(TakenTurn, ComesBackWhenNobodyElseCanRun) {
    ScheduledThread* const busy = crew.start("busy", [&] {
        crew.sleep(30);
        compute();
        make_call();
    });
    std::thread watcher = take_turn_until_nobody_runs(*busy);
    EXPECT_EQ(crew.scheduler.wait_for_end(busy, no_deadline), WaitEnd::woken);
    watcher.join();
    EXPECT_EQ(crew.said, Lines{"30 call"});
    EXPECT_EQ(crew.clock.now(), 30);
}

TEST_F(TakenTurn, ComesBackAfterTheLastOfTheOthersHasEnded) {
    int object = 0;
    ScheduledThread* const busy = crew.start("busy", [&] {
        compute();
        crew.scheduler.enter_call();
        crew.scheduler.wake_all(&object);
        crew.scheduler.leave_call();
    });
    crew.start("last", [&] { crew.sleep(40); });
    std::thread watcher = take_turn_until_nobody_runs(*busy);
    EXPECT_EQ(crew.scheduler.wait({Wait::Kind::condition, &object, ""}, no_deadline), WaitEnd::woken);
    watcher.join();
    EXPECT_EQ(crew.clock.now(), 40);
}

TEST_F(TakenTurn, OnceBackIsGivenAndTakenAsBefore) {
    std::atomic<int> running{0};
    const auto work = [&](const char* name, int rounds) {
        for (int i = 0; i < rounds; ++i) {
            EXPECT_EQ(++running, 1);
            crew.say(name);
            --running;
            crew.scheduler.touch();
            crew.sleep(10);
        }
    };
    ScheduledThread* const busy = crew.start("busy", [&] {
        compute();
        make_call();
        work("busy", 3);
    });
    std::thread watcher = take_turn_until_nobody_runs(*busy);
    crew.start("other", [&] {
        int object = 0;
        crew.scheduler.wait({Wait::Kind::join, busy, ""}, 1);
        crew.scheduler.wait({Wait::Kind::condition, &object, ""}, 6);
        work("other", 3);
    });
    crew.scheduler.wait_for_end(busy, no_deadline);
    watcher.join();
    crew.sleep(100);
    // The other thread has ended before the busy one comes back: then nobody runs.
    EXPECT_EQ(crew.said,
              (Lines{"6 other", "16 other", "26 other", "36 call", "36 busy", "46 busy", "56 busy"}));
}

TEST_F(TakenTurn, MayBeTakenAgain) {
    int calls = 0;
    ScheduledThread* const busy = crew.start("busy", [&] {
        for (int i = 0; i < 3; ++i) {
            may_end = false;
            compute();
            make_call();
            ++calls;
        }
    });
    std::thread watcher([&] {
        for (int i = 0; i < 3; ++i) {
            await_computing();
            EXPECT_TRUE(crew.scheduler.take_turn_away(*busy));
            await_nobody_runs();
            computes = false;
            may_end = true;
        }
    });
    crew.scheduler.wait_for_end(busy, no_deadline);
    watcher.join();
    EXPECT_EQ(calls, 3);
}

TEST_F(TakenTurn, LeavesWhatServantsDoMeanwhileUncountedAsWork) {
    bool is_over = false;
    ScheduledThread* const servant = crew.start("servant", [&] {
        while (!is_over) crew.sleep(10);
    });
    crew.scheduler.note_servant(servant);
    ScheduledThread* const busy = crew.start("busy", [&] {
        compute();
        make_call();
        is_over = true;
    });
    std::thread watcher([&] {
        const auto await_progress = [&] {
            constexpr std::uint64_t many = 20;
            const std::size_t before = crew.scheduler.progress();
            while (crew.scheduler.progress() < before + many) std::this_thread::yield();
        };
        await_computing();
        EXPECT_TRUE(crew.scheduler.take_turn_away(*busy));
        await_progress();
        const std::size_t work = crew.scheduler.work();
        await_progress();
        EXPECT_EQ(crew.scheduler.work(), work);
        may_end = true;
    });
    const std::size_t work_before = crew.scheduler.work();
    crew.scheduler.wait_for_end(busy, no_deadline);
    watcher.join();
    crew.scheduler.wait_for_end(servant, no_deadline);
    EXPECT_GT(crew.scheduler.work(), work_before);
    EXPECT_LT(crew.scheduler.work(), crew.scheduler.progress());
}

TEST_F(TakenTurn, CountsWhatServantsDoAsWorkWhileAnotherWaitsUntilADeadline) {
    ScheduledThread* const servant = crew.start("servant", [&] {
        while (!may_end) crew.sleep(10);
    });
    crew.scheduler.note_servant(servant);
    ScheduledThread* const busy = crew.start("busy", [&] {
        compute();
        make_call();
    });
    std::thread watcher([&] {
        await_computing();
        EXPECT_TRUE(crew.scheduler.take_turn_away(*busy));
    });
    crew.sleep(1000);
    watcher.join();
    EXPECT_EQ(crew.scheduler.work(), crew.scheduler.progress());
    may_end = true;
    crew.scheduler.wait_for_end(busy, no_deadline);
}

TEST(EndAtNextTurnDeathTest, CallsTheHandlerWhereTheTurnPassesNext) {
    const auto run = [] {
        Crew crew;
        crew.scheduler.on_end([&] {
            std::fputs(crew.scheduler.table().c_str(), stderr);
            std::_Exit(3);
        });
        crew.sleep(10);
        crew.scheduler.end_at_next_turn();
        for (int i = 0; i < 100; ++i) crew.scheduler.touch();  // nobody else is there to take it
        crew.sleep(20);
    };
    EXPECT_EXIT(run(), ::testing::ExitedWithCode(3), "1  main: sleep, since 0.000010 s, until 0.000030 s");
}

// --- Servants --------------------------------------------------------------------------------------------

constexpr Microseconds longest_idle = 1'000'000;

// One servant that never ends, beside a first thread that does `work`.
void run_with_servant(const std::function<void(Crew&)>& work) {
    Crew crew;
    crew.scheduler.set_longest_idle(longest_idle);
    crew.scheduler.note_servant(crew.start("servant", [&] {
        for (;;) crew.sleep(100'000);
    }));
    work(crew);
    std::_Exit(0);
}

TEST(ServantsDeathTest, AloneEndTheRunWhenAllOthersWaitForEver) {
    EXPECT_EXIT(
        run_with_servant([](Crew& crew) {
            crew.sleep(250'000);
            crew.scheduler.wait({Wait::Kind::condition, &crew, ""}, no_deadline);
        }),
        is_stuck_exit,
        HasSubstr("Only the library's own loops have run since 0.250000 s, and nothing else can happen. "
                  "It is 1.300000 s. What each thread waits for:\n"
                  "   1  main: condition, since 0.250000 s, no deadline\n"
                  "   2  servant: sleep, since 1.300000 s, until 1.400000 s\n"));
}

TEST(ServantsDeathTest, MayRunAsLongAsAnotherWaitsUntilADeadline) {
    EXPECT_EXIT(run_with_servant([](Crew& crew) { crew.sleep(10 * longest_idle); }),
                ::testing::ExitedWithCode(0), "");
}

TEST(ServantsDeathTest, MayRunAsLongAsAnEventIsToCome) {
    EXPECT_EXIT(run_with_servant([](Crew& crew) {
                    crew.clock.at(10 * longest_idle, [&] { crew.scheduler.wake_all(&crew); });
                    crew.scheduler.wait({Wait::Kind::condition, &crew, ""}, no_deadline);
                }),
                ::testing::ExitedWithCode(0), "");
}

TEST(ServantsDeathTest, MayRunForAnotherWhileAfterTheLastEvent) {
    EXPECT_EXIT(run_with_servant([](Crew& crew) {
                    crew.clock.at(10 * longest_idle, [] {});
                    crew.scheduler.wait({Wait::Kind::condition, &crew, ""}, no_deadline);
                }),
                is_stuck_exit, "nothing else can happen. It is 1[01]\\.[0-9]+ s");
}

}  // namespace
