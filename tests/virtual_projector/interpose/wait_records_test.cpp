// What a thread waits for stands in the trace: one record for each wait, when it ends or when the run does.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <linux/futex.h>
#include <poll.h>
#include <pthread.h>
#include <semaphore.h>
#include <signal.h>
#include <sys/epoll.h>
#include <sys/select.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "tests/virtual_projector/interpose/machine_fixture.h"
#include "virtual_projector/storykit/scratch_folder.h"

sem_t semaphore_of_the_test;
pthread_cond_t condition_of_the_test = PTHREAD_COND_INITIALIZER;

extern "C" void* sampler_of_the_test(void* us) {
    ::usleep(*static_cast<useconds_t*>(us));
    return nullptr;
}

namespace {

using namespace interpose_test;
using Lines = std::vector<std::string>;

pthread_mutex_t mutex_without_symbol = PTHREAD_MUTEX_INITIALIZER;
pthread_mutex_t other_mutex_without_symbol = PTHREAD_MUTEX_INITIALIZER;
pthread_cond_t condition_without_symbol = PTHREAD_COND_INITIALIZER;
sem_t semaphore_without_symbol;
pthread_rwlock_t read_write_lock = PTHREAD_RWLOCK_INITIALIZER;
pthread_barrier_t barrier;
pthread_spinlock_t spin_lock;

// "t_us thread wait path took_us end"; locks as "t_us thread lock path".
struct WaitSink final : vp::TraceSink {
    void record_wait(const vp::WaitRecord& record) override {
        add(record.t_us, record.thread,
            {record.wait, record.path, std::to_string(record.took_us) + " us", record.end});
    }
    void record(const vp::CallRecord& record) override {
        if (record.call == "lock" || record.call == "unlock")
            add(record.t_us, record.thread, {record.call, record.path});
    }
    void add(std::int64_t t_us, int thread, const std::vector<std::string_view>& words) {
        std::string line = std::to_string(t_us) + " " + std::to_string(thread);
        for (const std::string_view word : words) {
            if (!word.empty()) line += " " + std::string(word);
        }
        lines.push_back(line);
    }
    Lines lines;
};

struct RecordedWaits : ::testing::Test {
    RecordedWaits() {
        devices.add(node_path, node);
        machine.install();
        if (::pipe(ends) != 0) throw std::runtime_error("no pipe");
    }
    ~RecordedWaits() override {
        machine.uninstall();
        for (const int descriptor : {ends[0], ends[1]}) ::close(descriptor);
    }

    /// Thread 2 does it after that time.
    void after(useconds_t us, std::function<void()> action) {
        helper = std::thread([us, action = std::move(action)] {
            ::usleep(us);
            action();
        });
    }
    /// What was recorded until now.
    Lines waits() { return std::exchange(sink.lines, {}); }
    void join() {
        helper.join();
        helper = {};
    }

    std::shared_ptr<TestNode> node = std::make_shared<TestNode>();
    vp::VirtualClock clock{std::make_unique<vp::RandomSchedule>(1)};
    vp::DeviceTable devices;
    vp::FaultPlan faults;
    WaitSink sink;
    vp::Machine machine{clock, devices, faults, &sink};
    std::thread helper;
    int ends[2] = {-1, -1};
};

TEST_F(RecordedWaits, ASemaphoreIsToldWithItsNameWhenItWasHad) {
    sem_init(&semaphore_of_the_test, 0, 0);
    after(100, [] { sem_post(&semaphore_of_the_test); });
    sem_wait(&semaphore_of_the_test);
    EXPECT_EQ(waits(), Lines{"100 1 semaphore semaphore_of_the_test 100 us woken"});
    join();
}

TEST_F(RecordedWaits, ASemaphoreThatIsFreeIsNotTold) {
    sem_init(&semaphore_of_the_test, 0, 1);
    sem_wait(&semaphore_of_the_test);
    EXPECT_EQ(waits(), Lines{});
}

TEST_F(RecordedWaits, AWaitThatTakesNoTimeIsNotTold) {
    sem_init(&semaphore_of_the_test, 0, 0);
    after(0, [] { sem_post(&semaphore_of_the_test); });
    sem_wait(&semaphore_of_the_test);
    EXPECT_EQ(waits(), Lines{});
    join();
}

TEST_F(RecordedWaits, AConditionIsToldAndItsMutexApart) {
    after(70, [] {
        pthread_mutex_lock(&mutex_without_symbol);
        pthread_cond_signal(&condition_of_the_test);
        ::usleep(30);
        pthread_mutex_unlock(&mutex_without_symbol);
    });
    pthread_mutex_lock(&mutex_without_symbol);
    pthread_cond_wait(&condition_of_the_test, &mutex_without_symbol);
    pthread_mutex_unlock(&mutex_without_symbol);
    EXPECT_EQ(waits(), (Lines{"70 1 condition condition_of_the_test 70 us woken", "100 2 unlock mutex 1",
                              "100 1 lock mutex 1"}));
    join();
}

TEST_F(RecordedWaits, AWaitSaysThatItsTimeWasUp) {
    timespec until{};
    clock_gettime(CLOCK_REALTIME, &until);
    until.tv_sec += 2;
    pthread_mutex_lock(&mutex_without_symbol);
    EXPECT_EQ(pthread_cond_timedwait(&condition_of_the_test, &mutex_without_symbol, &until), ETIMEDOUT);
    pthread_mutex_unlock(&mutex_without_symbol);
    EXPECT_EQ(waits(), Lines{"2000000 1 condition condition_of_the_test 2000000 us timed out"});
}

TEST_F(RecordedWaits, VariablesWithoutASymbolAreNumberedInTheOrderOfTheirRecords) {
    sem_init(&semaphore_without_symbol, 0, 0);
    after(10, [] {
        for (pthread_mutex_t* const mutex :
             {&other_mutex_without_symbol, &mutex_without_symbol, &other_mutex_without_symbol}) {
            pthread_mutex_lock(mutex);
            ::usleep(10);
            pthread_mutex_unlock(mutex);
        }
        pthread_cond_signal(&condition_without_symbol);
        ::usleep(10);
        sem_post(&semaphore_without_symbol);
    });
    pthread_mutex_t on_the_stack = PTHREAD_MUTEX_INITIALIZER;
    pthread_mutex_lock(&on_the_stack);
    pthread_cond_wait(&condition_without_symbol, &on_the_stack);
    sem_wait(&semaphore_without_symbol);
    pthread_mutex_unlock(&on_the_stack);
    EXPECT_EQ(waits(), (Lines{"20 2 unlock mutex 1", "30 2 unlock mutex 2", "40 2 unlock mutex 1",
                              "40 1 condition condition 1 40 us woken",
                              "50 1 semaphore semaphore 1 10 us woken", "50 1 unlock"}));
    join();
}

TEST_F(RecordedWaits, ReadWriteLocksSpinLocksAndBarriersAreToldByTheirKind) {
    pthread_barrier_init(&barrier, nullptr, 2);
    pthread_spin_init(&spin_lock, PTHREAD_PROCESS_PRIVATE);
    pthread_rwlock_rdlock(&read_write_lock);
    pthread_spin_lock(&spin_lock);
    after(10, [] {
        pthread_rwlock_wrlock(&read_write_lock);
        pthread_rwlock_unlock(&read_write_lock);
        pthread_spin_lock(&spin_lock);
        pthread_spin_unlock(&spin_lock);
        pthread_barrier_wait(&barrier);
    });
    ::usleep(20);
    pthread_rwlock_unlock(&read_write_lock);
    ::usleep(30);
    pthread_spin_unlock(&spin_lock);
    ::usleep(40);
    pthread_barrier_wait(&barrier);
    ::usleep(1);
    EXPECT_EQ(waits(), (Lines{"20 2 read-write lock read-write lock 1 10 us woken",
                              "50 2 spin lock spin lock 1 30 us woken", "90 2 barrier barrier 1 40 us woken"}));
    join();
    pthread_barrier_destroy(&barrier);
}

TEST_F(RecordedWaits, AJoinNamesTheThreadByItsNumber) {
    useconds_t us = 300;
    pthread_t thread{};
    pthread_create(&thread, nullptr, sampler_of_the_test, &us);
    pthread_join(thread, nullptr);
    EXPECT_EQ(waits(), Lines{"300 1 end of 2 sampler_of_the_test 300 us woken"});
}

TEST_F(RecordedWaits, ReadsPollsSelectsAndEventPollsSayWhatTheirDescriptorsLeadTo) {
    const auto writes = [this] { EXPECT_EQ(::write(ends[1], "x", 1), 1); };
    char byte = 0;
    const auto take = [&] { EXPECT_EQ(::read(ends[0], &byte, 1), 1); };

    after(10, writes);
    take();
    join();
    EXPECT_EQ(waits(), Lines{"10 1 descriptor pipe 10 us woken"});

    after(10, writes);
    pollfd polled[] = {{ends[0], POLLIN, 0}, {-1, POLLIN, 0}};
    EXPECT_EQ(::poll(polled, 2, -1), 1);
    take();
    join();
    EXPECT_EQ(waits(), Lines{"20 1 descriptor pipe 10 us woken"});

    fd_set readable;
    FD_ZERO(&readable);
    FD_SET(ends[0], &readable);
    timeval two_ms{0, 2000};
    EXPECT_EQ(::select(ends[0] + 1, &readable, nullptr, nullptr, &two_ms), 0);
    EXPECT_EQ(waits(), Lines{"2020 1 descriptor pipe 2000 us timed out"});

    const int epoll = ::epoll_create1(0);
    epoll_event event{};
    event.events = EPOLLIN;
    EXPECT_EQ(::epoll_ctl(epoll, EPOLL_CTL_ADD, ends[0], &event), 0);
    after(10, writes);
    EXPECT_EQ(::epoll_wait(epoll, &event, 1, -1), 1);
    take();
    join();
    EXPECT_EQ(waits(), Lines{"2030 1 descriptor pipe 10 us woken"});
    ::close(epoll);
}

// Nobody says when a FIFO's other end is opened: it is looked for again and again.
TEST_F(RecordedWaits, WhatIsLookedForManyTimesIsOneWait) {
    const storykit::ScratchFolder folder;
    const std::string path = folder.file("fifo");
    ASSERT_EQ(::mkfifo(path.c_str(), 0600), 0);
    int other = -1;
    after(50'000, [&] { other = ::open(path.c_str(), O_RDONLY); });
    const int end = ::open(path.c_str(), O_WRONLY);
    const Lines told = waits();
    ASSERT_FALSE(told.empty());
    EXPECT_EQ(told[0], "50000 1 descriptor FIFO's reader 50000 us woken");
    join();
    for (const int each : {end, other}) ::close(each);
}

TEST_F(RecordedWaits, APollOfSeveralNamesEachKindOnceAndTheBoardsNodes) {
    const int opened = ::open(node_path, O_RDONLY);
    int further[2];
    ASSERT_EQ(::pipe(further), 0);
    pollfd polled[] = {{ends[0], POLLIN, 0}, {further[0], POLLIN, 0}, {opened, POLLPRI, 0}};
    EXPECT_EQ(::poll(polled, 3, 5), 0);
    EXPECT_EQ(waits(), Lines{"5000 1 descriptor /sys/class/motor/stop, pipe 5000 us timed out"});
    for (const int descriptor : {opened, further[0], further[1]}) ::close(descriptor);
}

TEST_F(RecordedWaits, ASleepAndACallOnTheBoardAreToldByTheirOwnRecords) {
    node->answers = {vp::Answer::wait_until(50), vp::Answer::done(0)};
    const int opened = ::open(node_path, O_RDONLY);
    char byte = 0;
    EXPECT_EQ(::read(opened, &byte, 1), 0);
    EXPECT_EQ(clock.now(), 50);
    ::usleep(100);
    EXPECT_EQ(::poll(nullptr, 0, 1), 0);
    EXPECT_EQ(waits(), Lines{});
    ::close(opened);
}

TEST_F(RecordedWaits, ASignalIsToldAndWhatItInterrupts) {
    struct sigaction action {};
    action.sa_handler = [](int) {};
    sigaction(SIGUSR1, &action, nullptr);
    const pthread_t self = pthread_self();
    after(10, [self] { pthread_kill(self, SIGUSR1); });
    ::pause();
    join();
    EXPECT_EQ(waits(), Lines{"10 1 signal 10 us interrupted"});

    after(10, [self] { pthread_kill(self, SIGUSR1); });
    pollfd polled{ends[0], POLLIN, 0};
    EXPECT_EQ(::poll(&polled, 1, -1), -1);
    join();
    EXPECT_EQ(waits(), Lines{"20 1 descriptor pipe 10 us interrupted"});
}

TEST_F(RecordedWaits, AFutexIsTold) {
    int word = 0;
    after(10, [&word] {
        word = 1;
        ::syscall(SYS_futex, &word, FUTEX_WAKE_PRIVATE, 1, nullptr, nullptr, 0);
    });
    EXPECT_EQ(::syscall(SYS_futex, &word, FUTEX_WAIT_PRIVATE, 0, nullptr, nullptr, 0), 0);
    EXPECT_EQ(waits(), Lines{"10 1 futex 10 us woken"});
    join();
}

TEST_F(RecordedWaits, AFirstCallThatAnotherMakesIsTold) {
    static pthread_once_t once = PTHREAD_ONCE_INIT;
    after(0, [] { pthread_once(&once, [] { ::usleep(100); }); });
    ::usleep(10);
    pthread_once(&once, [] { FAIL() << "a second first call"; });
    EXPECT_EQ(waits(), Lines{"100 1 first call 90 us woken"});
    join();
}

TEST_F(RecordedWaits, WhatHasNotEndedIsToldAtTheRunsEndInTheOrderOfTheThreads) {
    node->answers = {vp::Answer::wait_until(1000), vp::Answer::done(0)};
    sem_init(&semaphore_of_the_test, 0, 0);
    std::vector<std::thread> threads;
    threads.emplace_back([] { sem_wait(&semaphore_of_the_test); });
    threads.emplace_back([] { pthread_mutex_lock(&mutex_without_symbol); });
    threads.emplace_back([] {
        char byte = 0;
        (void)!::read(::open(node_path, O_RDONLY), &byte, 1);
    });
    threads.emplace_back([] { ::usleep(1000); });
    threads.emplace_back([] {});
    pthread_mutex_lock(&mutex_without_symbol);
    ::usleep(200);
    EXPECT_EQ(waits(), Lines{});
    machine.record_unended_waits();
    EXPECT_EQ(waits(), (Lines{"200 2 semaphore semaphore_of_the_test 200 us", "200 3 mutex mutex 1 200 us",
                              "200 4 device /sys/class/motor/stop 200 us"}));
    sem_post(&semaphore_of_the_test);
    pthread_mutex_unlock(&mutex_without_symbol);
    for (std::thread& thread : threads) thread.join();
}

}  // namespace
