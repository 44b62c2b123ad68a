#include "virtual_projector/interpose/program_threads.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <sched.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <iterator>
#include <string>
#include <thread>
#include <vector>

#include "tests/virtual_projector/interpose/machine_fixture.h"
#include "virtual_projector/clock/real_clock.h"
#include "virtual_projector/files/output_file.h"
#include "virtual_projector/trace/json_trace.h"

// Entry functions with names that a trace and a table of threads can show.
extern "C" {
void* program_threads_test_sleeper(void* microseconds);
void* program_threads_test_locker(void*);
pthread_mutex_t program_threads_test_mutex = PTHREAD_MUTEX_INITIALIZER;
pthread_cond_t program_threads_test_never = PTHREAD_COND_INITIALIZER;
}

namespace {

using namespace interpose_test;
using Lines = std::vector<std::string>;

void* number(std::intptr_t value) { return reinterpret_cast<void*>(value); }

struct ProgramThreads : MachineTest {
    static pthread_t start_sleeper(std::intptr_t microseconds) {
        pthread_t thread;
        EXPECT_EQ(pthread_create(&thread, nullptr, program_threads_test_sleeper, number(microseconds)), 0);
        return thread;
    }
};

TEST_F(ProgramThreads, RunWhenTheirStarterWaitsAndReturnTheirValue) {
    const pthread_t thread = start_sleeper(500);
    EXPECT_EQ(clock.now(), 0);
    void* value = nullptr;
    EXPECT_EQ(pthread_join(thread, &value), 0);
    EXPECT_EQ(value, number(500));
    EXPECT_EQ(clock.now(), 500);
}

TEST_F(ProgramThreads, AreNumberedAndNamedInTheTrace) {
    const pthread_t first = start_sleeper(10);
    const pthread_t second = start_sleeper(20);
    pthread_join(second, nullptr);
    pthread_join(first, nullptr);
    EXPECT_THAT(sink.lines,
                ::testing::UnorderedElementsAre("0 1 pthread_create program_threads_test_sleeper 2 ",
                                                "0 1 pthread_create program_threads_test_sleeper 3 ",
                                                "0 2 sleep  0 ", "0 3 sleep  0 "));
}

TEST_F(ProgramThreads, JoiningAnEndedThreadDoesNotWait) {
    const pthread_t thread = start_sleeper(10);
    ::usleep(100);
    EXPECT_EQ(pthread_join(thread, nullptr), 0);
    EXPECT_EQ(clock.now(), 100);
}

TEST_F(ProgramThreads, JoiningMayBeTried) {
    const pthread_t thread = start_sleeper(50);
    void* value = nullptr;
    EXPECT_EQ(pthread_tryjoin_np(thread, &value), EBUSY);
    ::usleep(49);
    EXPECT_EQ(pthread_tryjoin_np(thread, &value), EBUSY);
    ::usleep(2);
    EXPECT_EQ(pthread_tryjoin_np(thread, &value), 0);
    EXPECT_EQ(value, number(50));
    EXPECT_EQ(clock.now(), 51);
}

timespec in(clockid_t id, long microseconds) {
    timespec time{};
    ::clock_gettime(id, &time);
    time.tv_nsec += microseconds * 1000;
    return time;
}

TEST_F(ProgramThreads, JoiningMayBeGivenUpAtATime) {
    const pthread_t thread = start_sleeper(100);
    void* value = nullptr;
    timespec until = in(CLOCK_REALTIME, 30);
    EXPECT_EQ(pthread_timedjoin_np(thread, &value, &until), ETIMEDOUT);
    EXPECT_EQ(clock.now(), 30);
    until = in(CLOCK_MONOTONIC, 30);
    EXPECT_EQ(pthread_clockjoin_np(thread, &value, CLOCK_MONOTONIC, &until), ETIMEDOUT);
    EXPECT_EQ(clock.now(), 60);
    EXPECT_EQ(pthread_clockjoin_np(thread, &value, CLOCK_BOOTTIME, &until), EINVAL);
    until.tv_nsec = -1;
    EXPECT_EQ(pthread_timedjoin_np(thread, &value, &until), EINVAL);
    until = in(CLOCK_REALTIME, 1000);
    EXPECT_EQ(pthread_timedjoin_np(thread, &value, &until), 0);
    EXPECT_EQ(value, number(100));
    EXPECT_EQ(clock.now(), 100);
    EXPECT_EQ(pthread_timedjoin_np(pthread_self(), &value, &until), EDEADLK);
    EXPECT_EQ(pthread_timedjoin_np(start_sleeper(7), nullptr, nullptr), 0);
    EXPECT_EQ(clock.now(), 107);
}

TEST_F(ProgramThreads, AThreadThatYieldsLetsTheOthersHaveTheirTurn) {
    bool seen = false;
    std::thread second([&] { seen = true; });
    int yields = 0;
    while (!seen && yields < 100) {
        EXPECT_EQ(sched_yield(), 0);
        ++yields;
    }
    EXPECT_TRUE(seen);
    EXPECT_EQ(clock.now(), 0);
    second.join();
}

// The first thousand calls cost nothing, each further one that only lets others run 100 us.
TEST_F(ProgramThreads, YieldsInAnEndlessRowLetTimeGoOn) {
    for (int i = 0; i < 1000; ++i) sched_yield();
    EXPECT_EQ(clock.now(), 0);
    for (int i = 0; i < 10; ++i) sched_yield();
    EXPECT_EQ(clock.now(), 1000);
}

TEST_F(ProgramThreads, AThreadCannotJoinItself) { EXPECT_EQ(pthread_join(pthread_self(), nullptr), EDEADLK); }

TEST_F(ProgramThreads, DetachedOnesEndByThemselves) {
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    pthread_attr_setdetachstate(&attributes, PTHREAD_CREATE_DETACHED);
    for (int i = 0; i < 200; ++i) {
        pthread_t thread;
        ASSERT_EQ(pthread_create(&thread, &attributes, program_threads_test_sleeper, number(10)), 0);
        ASSERT_EQ(pthread_detach(start_sleeper(5)), 0);
        ::usleep(20);
    }
    pthread_attr_destroy(&attributes);
    EXPECT_EQ(clock.now(), 4000);
    EXPECT_EQ(machine.threads().stack_uses().size(), 400U);
}

TEST_F(ProgramThreads, EndAlsoByExitFromWithin) {
    pthread_t thread;
    const auto body = [](void*) -> void* {
        ::usleep(10);
        pthread_exit(number(7));
    };
    pthread_create(&thread, nullptr, body, nullptr);
    void* value = nullptr;
    EXPECT_EQ(pthread_join(thread, &value), 0);
    EXPECT_EQ(value, number(7));
}

TEST_F(ProgramThreads, AStartMayBeMadeToFail) {
    vp::FaultRule rule;
    rule.operation = "pthread_create";
    rule.path = "program_threads_test_sleeper";
    rule.nth = 1;
    rule.effect.error_number = EAGAIN;
    faults.add(rule);
    pthread_t thread;
    EXPECT_EQ(pthread_create(&thread, nullptr, program_threads_test_sleeper, number(1)), EAGAIN);
    EXPECT_EQ(sink.lines, Lines{"0 1 pthread_create program_threads_test_sleeper -11 "});
    pthread_join(start_sleeper(1), nullptr);
    EXPECT_EQ(machine.threads().stack_uses().at(0).thread, 2);  // the failed one took no number
}

TEST_F(ProgramThreads, OfTheStandardLibraryAreTheProgramsToo) {
    int value = 0;
    std::thread thread([&] {
        std::this_thread::sleep_for(std::chrono::seconds(3600));
        value = 1;
    });
    thread.join();
    EXPECT_EQ(value, 1);
    EXPECT_EQ(clock.now(), 3'600'000'000);
}

TEST_F(ProgramThreads, WithoutAMachineAreOrdinaryOnes) {
    machine.uninstall();
    const pthread_t thread = start_sleeper(1);
    void* value = nullptr;
    EXPECT_EQ(pthread_join(thread, &value), 0);
    EXPECT_EQ(value, number(1));
    EXPECT_TRUE(machine.threads().stack_uses().empty());
}

// --- The same run, the same trace ---------------------------------------------------------------------------

// Five threads that fight for one mutex around reads and writes of a node. They start all at once.
struct Fight {
    static void* fighter(void* self) {
        auto& fight = *static_cast<Fight*>(self);
        for (int round = 0; round < 30; ++round) {
            pthread_mutex_lock(&fight.mutex);
            const int fd = ::open(node_path, O_RDWR);
            char buffer[8];
            (void)!::read(fd, buffer, sizeof buffer);
            ::usleep(static_cast<useconds_t>(round % 3) * 100);
            (void)!::write(fd, "x", 1);
            ::close(fd);
            if (round % 4 == 0) pthread_cond_broadcast(&fight.condition);
            pthread_mutex_unlock(&fight.mutex);
            ::usleep(200);
        }
        return nullptr;
    }
    static void* waiter(void* self) {
        auto& fight = *static_cast<Fight*>(self);
        for (int round = 0; round < 8; ++round) {
            pthread_mutex_lock(&fight.mutex);
            pthread_cond_wait(&fight.condition, &fight.mutex);
            ::usleep(50);
            pthread_mutex_unlock(&fight.mutex);
        }
        return nullptr;
    }

    void run() {
        pthread_t threads[6];
        for (int i = 0; i < 5; ++i) pthread_create(&threads[i], nullptr, fighter, this);
        pthread_create(&threads[5], nullptr, waiter, this);
        for (const pthread_t thread : threads) pthread_join(thread, nullptr);
    }

    pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;
    pthread_cond_t condition = PTHREAD_COND_INITIALIZER;
};

std::string trace_of_a_fight(std::uint64_t seed, double preempt) {
    const std::string file = ::testing::TempDir() + "trace_of_a_fight." + std::to_string(::getpid());
    {
        vp::VirtualClock clock(std::make_unique<vp::RandomSchedule>(seed, preempt));
        vp::DeviceTable devices;
        const auto node = std::make_shared<TestNode>();
        node->content = "1\n";
        devices.add(node_path, node);
        vp::FaultPlan faults(seed);
        vp::FaultRule rule;
        rule.operation = "read";
        rule.probability = 0.2;
        rule.effect.delay_us = 70;
        faults.add(rule);
        vp::JsonTrace trace(vp::OutputFile::open(file), vp::TraceDetail::calls);
        vp::Machine machine(clock, devices, faults, &trace);
        machine.install();
        Fight().run();
        machine.uninstall();
        EXPECT_TRUE(trace.finish());
    }
    std::ifstream stream(file);
    const std::string all{std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
    std::remove(file.c_str());
    return all;
}

TEST(Determinism, TheSameSeedGivesTheSameTraceByteForByte) {
    const std::string first = trace_of_a_fight(11, 0.0);
    EXPECT_GT(first.size(), 50'000U);
    for (int repeat = 0; repeat < 19; ++repeat) ASSERT_EQ(trace_of_a_fight(11, 0.0), first);
}

TEST(Determinism, AlsoWithPreemption) {
    const std::string first = trace_of_a_fight(11, 0.2);
    EXPECT_NE(first, trace_of_a_fight(11, 0.0));
    for (int repeat = 0; repeat < 19; ++repeat) ASSERT_EQ(trace_of_a_fight(11, 0.2), first);
}

TEST(Determinism, AnotherSeedGivesAnotherCourse) {
    EXPECT_NE(trace_of_a_fight(1, 0.0), trace_of_a_fight(2, 0.0));
}

// --- The end of the process ---------------------------------------------------------------------------------

bool ended_stuck(int status) { return WIFEXITED(status) && WEXITSTATUS(status) == vp::stuck_exit_code; }

// A machine of its own in the child process.
template <typename Body>
void run_on_machine(Body body) {
    vp::VirtualClock clock;
    vp::DeviceTable devices;
    const auto node = std::make_shared<TestNode>();
    node->answers.assign(9, vp::Answer::wait_for_event());
    devices.add("/dev/input/event6", node);
    vp::FaultPlan faults;
    vp::Machine machine(clock, devices, faults, nullptr);
    machine.install();
    body();
    std::exit(5);
}

void get_stuck() {
    pthread_t locker;
    pthread_create(&locker, nullptr, program_threads_test_locker, nullptr);
    pthread_t reader;
    pthread_create(
        &reader, nullptr,
        [](void*) -> void* {
            const int fd = ::open("/dev/input/event6", O_RDONLY);
            char byte;
            (void)!::read(fd, &byte, 1);
            return nullptr;
        },
        nullptr);
    ::usleep(20);
    pthread_mutex_lock(&program_threads_test_mutex);
}

TEST(ProcessEndDeathTest, PrintsWhatEachThreadWaitsForWhenNoneCanGoOn) {
    EXPECT_EXIT(
        run_on_machine(get_stuck), ended_stuck,
        ::testing::HasSubstr("No thread can go on at 0.000020 s. What each waits for:\n"
                             "   1  main: mutex program_threads_test_mutex, held by 2 "
                             "program_threads_test_locker, since 0.000020 s, no deadline\n"
                             "   2  program_threads_test_locker: condition program_threads_test_never, "
                             "since 0.000000 s, no deadline\n"
                             "   3  thread 3: device /dev/input/event6, since 0.000000 s, no deadline\n"));
}

TEST(ProcessEndDeathTest, IsCleanWhileOtherThreadsWait) {
    const auto leave_threads_behind = [] {
        for (int i = 0; i < 3; ++i) {
            pthread_t thread;
            pthread_create(
                &thread, nullptr,
                [](void*) -> void* {
                    for (;;) ::usleep(10);
                },
                nullptr);
        }
        ::usleep(100);
    };
    EXPECT_EXIT(run_on_machine(leave_threads_behind), ::testing::ExitedWithCode(5), "");
}

// The program's first thread is here one that nobody else needs.
void leave_by_the_first_thread() {
    static vp::VirtualClock clock;
    static vp::DeviceTable devices;
    static vp::FaultPlan faults;
    static vp::Machine machine(clock, devices, faults, nullptr);
    std::thread first([] {
        machine.install();
        pthread_t last;
        const auto body = [](void*) -> void* {
            ::usleep(1000);
            std::fputs("last\n", stderr);
            std::_Exit(6);
        };
        pthread_create(&last, nullptr, body, nullptr);
        pthread_exit(nullptr);
    });
    first.join();
    ::pause();
}

TEST(ProcessEndDeathTest, ComesWithTheLastThreadWhenTheFirstOneLeaves) {
    EXPECT_EXIT(leave_by_the_first_thread(), ::testing::ExitedWithCode(6), "last");
}

// --- On the PC's own time -----------------------------------------------------------------------------------

struct RealTimeMachine : ::testing::Test {
    RealTimeMachine() {
        devices.add(node_path, node);
        machine.install();
    }
    ~RealTimeMachine() override { machine.uninstall(); }

    std::shared_ptr<TestNode> node = std::make_shared<TestNode>();
    vp::RealClock clock;
    vp::DeviceTable devices;
    vp::FaultPlan faults;
    LineSink sink;
    vp::Machine machine{clock, devices, faults, &sink};
};

TEST_F(RealTimeMachine, ThreadsFightForRealLocksAndDevicesAnswerOneAtATime) {
    node->content = "1\n";
    Fight fight;
    pthread_t threads[4];
    for (pthread_t& thread : threads) pthread_create(&thread, nullptr, Fight::fighter, &fight);
    for (const pthread_t thread : threads) pthread_join(thread, nullptr);
    EXPECT_EQ(node->written, std::string(120, 'x'));
    EXPECT_EQ(machine.threads().stack_uses().size(), 4U);
    EXPECT_EQ(sink.lines.size(), 4U * (1 + 30 * 6));
}

TEST_F(RealTimeMachine, ADeviceMayMakeTheCallerWait) {
    node->content = "x";
    node->answers = {vp::Answer::wait_for_event(), vp::Answer::wait_until(clock.now() + 2000)};
    // Events until the wait is over: a single one might come before it has begun.
    std::function<void()> event = [&] {
        if (!node->answers.empty()) clock.at(clock.now() + 1000, event);
    };
    clock.at(clock.now() + 1000, event);
    const int fd = ::open(node_path, O_RDONLY);
    const vp::Microseconds before = clock.now();
    char byte;
    EXPECT_EQ(::read(fd, &byte, 1), 1);
    EXPECT_GE(clock.now(), before);
    EXPECT_TRUE(node->answers.empty());
    ::close(fd);
}

TEST_F(RealTimeMachine, SleepsAreRealAndRecorded) {
    const vp::Microseconds before = clock.now();
    ::usleep(1500);
    EXPECT_GE(clock.now(), before + 1500);
    EXPECT_EQ(sink.lines.size(), 1U);
}

}  // namespace

void* program_threads_test_sleeper(void* microseconds) {
    ::usleep(static_cast<useconds_t>(reinterpret_cast<std::intptr_t>(microseconds)));
    return microseconds;
}

void* program_threads_test_locker(void*) {
    pthread_mutex_lock(&program_threads_test_mutex);
    static pthread_mutex_t other = PTHREAD_MUTEX_INITIALIZER;
    pthread_mutex_lock(&other);
    pthread_cond_wait(&program_threads_test_never, &other);
    return nullptr;
}
