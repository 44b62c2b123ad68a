// Threads of the program that wait for each other, and say when they have got on.
#ifndef TESTS_VIRTUAL_PROJECTOR_INTERPOSE_WAITING_THREADS_H
#define TESTS_VIRTUAL_PROJECTOR_INTERPOSE_WAITING_THREADS_H

#include <time.h>
#include <unistd.h>

#include <functional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "tests/virtual_projector/interpose/machine_fixture.h"

namespace interpose_test {

using Lines = std::vector<std::string>;

struct WaitingThreads : MachineTest {
    ~WaitingThreads() override { join(); }

    void start(std::function<void()> body) { threads.emplace_back(std::move(body)); }
    void join() {
        for (std::thread& thread : threads) thread.join();
        threads.clear();
    }
    void say(const std::string& what) { said.push_back(std::to_string(clock.now()) + " " + what); }

    /// The time that far from now, as that clock shows it.
    static timespec in(clockid_t id, long microseconds) {
        timespec time{};
        ::clock_gettime(id, &time);
        time.tv_nsec += microseconds * 1000;
        time.tv_sec += time.tv_nsec / 1'000'000'000;
        time.tv_nsec %= 1'000'000'000;
        return time;
    }

    Lines said;
    std::vector<std::thread> threads;
};

}  // namespace interpose_test

#endif
