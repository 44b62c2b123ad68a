// Threads on a virtual clock, started straight on it; the test's own thread is number 1, "main".
#ifndef TESTS_VIRTUAL_PROJECTOR_CLOCK_CREW_H
#define TESTS_VIRTUAL_PROJECTOR_CLOCK_CREW_H

#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "virtual_projector/clock/random_schedule.h"
#include "virtual_projector/clock/virtual_clock.h"

namespace clock_test {

using Lines = std::vector<std::string>;

inline std::unique_ptr<vp::SchedulePolicy> seeded(std::uint64_t seed, double preempt = 0.0) {
    return std::make_unique<vp::RandomSchedule>(seed, preempt);
}

class Crew {
public:
    explicit Crew(std::unique_ptr<vp::SchedulePolicy> policy = seeded(1), const vp::CallCost& cost = {})
        : clock(std::move(policy), cost) {
        scheduler.adopt_current(1, "main");
    }
    ~Crew() {
        sleep(end_of_all_work);
        for (std::thread& thread : threads_) thread.join();
    }
    Crew(const Crew&) = delete;
    Crew& operator=(const Crew&) = delete;

    vp::ScheduledThread* start(const std::string& name, std::function<void()> body) {
        vp::ScheduledThread* thread = scheduler.prepare_thread(static_cast<int>(threads_.size()) + 2, name);
        threads_.emplace_back([this, thread, body = std::move(body)] {
            scheduler.begin_current(thread);
            body();
            scheduler.finish_current();
        });
        return thread;
    }

    void say(const std::string& what) { said.push_back(std::to_string(clock.now()) + " " + what); }
    void sleep(vp::Microseconds length) { clock.sleep_until(clock.now() + length); }

    vp::VirtualClock clock;
    vp::TurnScheduler& scheduler = clock.scheduler();
    Lines said;

private:
    static constexpr vp::Microseconds end_of_all_work = 1'000'000'000;
    std::vector<std::thread> threads_;
};

}  // namespace clock_test

#endif
