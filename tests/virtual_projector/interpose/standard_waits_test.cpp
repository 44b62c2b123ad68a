// What the language's own library waits with: all of it ends in calls that the machine answers.
#include <gtest/gtest.h>

#include <atomic>
#include <barrier>
#include <chrono>
#include <condition_variable>
#include <future>
#include <latch>
#include <mutex>
#include <semaphore>
#include <shared_mutex>
#include <stop_token>
#include <string>
#include <thread>
#include <vector>

#include "tests/virtual_projector/interpose/waiting_threads.h"

namespace {

using namespace interpose_test;
using namespace std::chrono_literals;

struct StandardWaits : WaitingThreads {
    static void sleep(std::chrono::microseconds length) { std::this_thread::sleep_for(length); }
};

TEST_F(StandardWaits, AtomicVariablesOfEverySizeAreWaitedFor) {
    std::atomic<int> word{0};
    std::atomic<char> small{0};
    std::atomic<long> large{0};
    std::atomic_flag flag = ATOMIC_FLAG_INIT;
    start([&] {
        sleep(10us);
        word = 1;
        word.notify_one();
        sleep(10us);
        small = 1;
        small.notify_all();
        sleep(10us);
        large = 1;
        large.notify_one();
        sleep(10us);
        flag.test_and_set();
        flag.notify_one();
    });
    word.wait(0);
    EXPECT_EQ(clock.now(), 10);
    small.wait(0);
    EXPECT_EQ(clock.now(), 20);
    large.wait(0);
    EXPECT_EQ(clock.now(), 30);
    flag.wait(false);
    EXPECT_EQ(clock.now(), 40);
}

TEST_F(StandardWaits, SemaphoresAreAcquiredOrGivenUp) {
    std::counting_semaphore<4> semaphore(1);
    semaphore.acquire();
    EXPECT_FALSE(semaphore.try_acquire());
    EXPECT_FALSE(semaphore.try_acquire_for(20us));
    EXPECT_EQ(clock.now(), 20);
    EXPECT_FALSE(semaphore.try_acquire_until(std::chrono::system_clock::now() + 20us));
    EXPECT_EQ(clock.now(), 40);
    start([&] {
        sleep(10us);
        semaphore.release(2);
    });
    semaphore.acquire();
    EXPECT_TRUE(semaphore.try_acquire_for(1s));
    EXPECT_EQ(clock.now(), 50);
}

TEST_F(StandardWaits, LatchesAndBarriersLetAllGoTogether) {
    std::latch latch(3);
    int completions = 0;
    std::barrier barrier(3, [&]() noexcept { ++completions; });
    for (int i = 0; i < 3; ++i) {
        start([&, i] {
            sleep(i * 10us);
            latch.arrive_and_wait();
            say("latch");
            sleep(i * 10us);
            barrier.arrive_and_wait();
            say("barrier");
            barrier.arrive_and_wait();
        });
    }
    join();
    EXPECT_EQ(said, (Lines{"20 latch", "20 latch", "20 latch", "40 barrier", "40 barrier", "40 barrier"}));
    EXPECT_EQ(completions, 2);
}

TEST_F(StandardWaits, FuturesAreWaitedForOrGivenUp) {
    std::promise<int> promise;
    std::future<int> future = promise.get_future();
    EXPECT_EQ(future.wait_for(30us), std::future_status::timeout);
    EXPECT_EQ(clock.now(), 30);
    EXPECT_EQ(future.wait_until(std::chrono::system_clock::now() + 30us), std::future_status::timeout);
    EXPECT_EQ(clock.now(), 60);
    start([&] {
        sleep(15us);
        promise.set_value(7);
    });
    EXPECT_EQ(future.wait_for(1h), std::future_status::ready);
    EXPECT_EQ(clock.now(), 75);
    EXPECT_EQ(future.get(), 7);
}

TEST_F(StandardWaits, TasksRunBesideTheirCaller) {
    std::future<int> task = std::async(std::launch::async, [] {
        sleep(2s);
        return 5;
    });
    EXPECT_EQ(task.get(), 5);
    EXPECT_EQ(clock.now(), 2'000'000);
}

struct SlowToMake {
    SlowToMake() {
        ++made;
        sleep();
    }
    static void sleep() { std::this_thread::sleep_for(80us); }
    static int made;
};
int SlowToMake::made = 0;

SlowToMake& the_slow_one() {
    static SlowToMake one;
    return one;
}

TEST_F(StandardWaits, AFunctionsStaticIsMadeOnceWhileOthersWait) {
    for (int i = 0; i < 3; ++i) {
        start([&] {
            (void)the_slow_one();
            say("has it");
        });
    }
    join();
    EXPECT_EQ(said, Lines(3, "80 has it"));
    EXPECT_EQ(SlowToMake::made, 1);
}

TEST_F(StandardWaits, TimedMutexesGiveUpAtTheirTime) {
    std::timed_mutex plain;
    std::recursive_timed_mutex recursive;
    std::shared_timed_mutex shared;
    const std::lock_guard<std::timed_mutex> has_plain(plain);
    const std::lock_guard<std::recursive_timed_mutex> has_recursive(recursive);
    const std::lock_guard<std::shared_timed_mutex> has_shared(shared);
    start([&] {
        EXPECT_FALSE(plain.try_lock_for(10us));
        EXPECT_FALSE(plain.try_lock_until(std::chrono::system_clock::now() + 10us));
        EXPECT_FALSE(recursive.try_lock_for(10us));
        EXPECT_FALSE(shared.try_lock_for(10us));
        EXPECT_FALSE(shared.try_lock_shared_for(10us));
        EXPECT_FALSE(shared.try_lock_shared_until(std::chrono::system_clock::now() + 10us));
    });
    join();
    EXPECT_EQ(clock.now(), 60);
}

TEST_F(StandardWaits, AConditionOfAnyLockEndsWithItsSignalItsTimeOrAStop) {
    std::shared_mutex mutex;
    std::condition_variable_any condition;
    bool set = false;
    std::jthread waiter([&](const std::stop_token& stop) {
        std::shared_lock<std::shared_mutex> lock(mutex);
        EXPECT_FALSE(condition.wait_for(lock, 20us, [&] { return set; }));
        say("gave up");
        condition.wait(lock, [&] { return set; });
        say("signalled");
        EXPECT_FALSE(condition.wait(lock, stop, [] { return false; }));
        say("stopped");
    });
    sleep(50us);
    {
        const std::unique_lock<std::shared_mutex> lock(mutex);
        set = true;
    }
    condition.notify_one();
    sleep(50us);
    waiter.request_stop();
    waiter.join();
    EXPECT_EQ(said, (Lines{"20 gave up", "50 signalled", "100 stopped"}));
}

TEST_F(StandardWaits, AThreadThatYieldsUntilAnotherActsGetsOn) {
    std::atomic<bool> set{false};
    start([&] {
        sleep(1ms);
        set = true;
    });
    while (!set) std::this_thread::yield();
    EXPECT_GE(clock.now(), 1000);
    EXPECT_LT(clock.now(), 1010);  // each yield after the first thousand takes a few microseconds
}

// The same course twice, whatever the addresses.
Lines course_of_a_crowd() {
    vp::VirtualClock clock(std::make_unique<vp::RandomSchedule>(5));
    vp::DeviceTable devices;
    vp::FaultPlan faults;
    vp::Machine machine(clock, devices, faults, nullptr);
    machine.install();
    Lines course;
    {
        const auto one = std::make_unique<std::counting_semaphore<8>>(0);
        const auto gate = std::make_unique<std::barrier<>>(6);
        std::vector<std::jthread> crowd;
        for (int i = 0; i < 6; ++i) {
            crowd.emplace_back([&, i] {
                for (int round = 0; round < 20; ++round) {
                    if ((i + round) % 2 == 0) one->release();
                    if (!one->try_acquire_for(30us)) course.push_back(std::to_string(i) + " late");
                    course.push_back(std::to_string(clock.now()) + " " + std::to_string(i));
                    gate->arrive_and_wait();
                }
            });
        }
    }
    machine.uninstall();
    return course;
}

TEST(StandardWaitsOfACrowd, TakeTheSameCourseEveryTime) {
    const Lines first = course_of_a_crowd();
    EXPECT_GE(first.size(), 120U);
    for (int repeat = 0; repeat < 10; ++repeat) {
        const std::vector<char> other_addresses(static_cast<std::size_t>(repeat) * 4096 + 16);
        ASSERT_EQ(course_of_a_crowd(), first);
    }
}

}  // namespace
