// A race that shows only when two threads lose their turns at the right calls, and how many runs each schedule
// needs to find it.
//
// The reader looks twice at a flag that is down at first, and goes wrong when it finds it raised the second
// time. The writer has much to ask a server first, and raises the flag for a short while only:
//
//     reader:                    5 calls | looks: down | 10 calls | looks: up?! | 5 calls
//     writer: 20 questions to the server | raises      | 10 calls | lowers      | 5 calls
//
// Three orderings make it go wrong: first look < raise < second look < lower. The reader must lose its turn
// among its 10 calls and not get it again at any of the writer's waits; then the writer must lose it among its
// own 10.
#include <gtest/gtest.h>

#include <functional>
#include <iostream>
#include <memory>
#include <string>

#include "tests/virtual_projector/clock/crew.h"
#include "virtual_projector/clock/pct_schedule.h"
#include "virtual_projector/clock/played_schedule.h"
#include "virtual_projector/clock/recording_schedule.h"
#include "virtual_projector/files/output_file.h"
#include "virtual_projector/storykit/scratch_folder.h"

namespace {

using clock_test::Crew;
using clock_test::seeded;
using storykit::ScratchFolder;
using Policy = std::unique_ptr<vp::SchedulePolicy>;

void calls(Crew& crew, int count) {
    for (int i = 0; i < count; ++i) crew.scheduler.touch();
}

// Answers so many questions, and waits for each.
class Server {
public:
    explicit Server(Crew& crew) : crew_(crew) {}

    void answer(int questions) {
        for (int i = 0; i < questions; ++i) {
            wait_for(asked_);
            asked_ = false;
            answered_ = true;
            crew_.scheduler.wake_all(&answered_);
        }
    }
    void ask() {
        asked_ = true;
        crew_.scheduler.wake_all(&asked_);
        wait_for(answered_);
        answered_ = false;
    }

private:
    void wait_for(const bool& flag) {
        while (!flag) (void)crew_.scheduler.wait({vp::Wait::Kind::condition, &flag, ""}, vp::no_deadline);
    }

    Crew& crew_;
    bool asked_ = false;
    bool answered_ = false;
};

bool goes_wrong(Policy policy) {
    constexpr int questions = 20;
    bool raised = false;
    bool wrong = false;
    {
        Crew crew(std::move(policy));
        Server server(crew);
        crew.start("server", [&] { server.answer(questions); });
        crew.start("reader", [&] {
            calls(crew, 5);
            const bool first = raised;
            calls(crew, 10);
            wrong = raised && !first;
            calls(crew, 5);
        });
        crew.start("writer", [&] {
            for (int i = 0; i < questions; ++i) server.ask();
            raised = true;
            calls(crew, 10);
            raised = false;
            calls(crew, 5);
        });
        crew.sleep(1);
    }
    return wrong;
}

using Policies = std::function<Policy(std::uint64_t seed)>;

Policy pct(std::uint64_t seed, int depth) {
    vp::PctSchedule::Options options;
    options.depth = depth;
    options.steps = 80;  // their calls and waits
    return std::make_unique<vp::PctSchedule>(seed, options);
}

// How often the race shows in the runs of seeds 1, 2, ... and in which first; 0: in none.
struct Search {
    int first = 0;
    int found = 0;
};

Search search(const std::string& name, int runs, const Policies& policies) {
    Search result;
    for (int seed = 1; seed <= runs; ++seed) {
        if (!goes_wrong(policies(static_cast<std::uint64_t>(seed)))) continue;
        if (result.found++ == 0) result.first = seed;
    }
    std::cout << name << ": " << result.found << " of " << runs << " runs, the first is "
              << (result.found == 0 ? "none" : std::to_string(result.first)) << "\n";
    return result;
}

constexpr int runs = 500;

TEST(ARaceOfTwoPreemptions, IsFoundByPrioritiesThatChangeTwice) {
    const Search found = search("pct:3", runs, [](std::uint64_t seed) { return pct(seed, 3); });
    EXPECT_GT(found.first, 0);
    EXPECT_LE(found.first, 200);
    EXPECT_GE(found.found, 3);
}

TEST(ARaceOfTwoPreemptions, NeedsBothOfThem) {
    EXPECT_EQ(search("pct:1", runs, [](std::uint64_t seed) { return pct(seed, 1); }).found, 0);
    EXPECT_EQ(search("pct:2", runs, [](std::uint64_t seed) { return pct(seed, 2); }).found, 0);
}

// Without preemption nothing comes between two looks; with it, the reader gets its turn back at one of the
// writer's forty waits.
TEST(ARaceOfTwoPreemptions, IsNotFoundByADieInAsManyRuns) {
    for (const double preempt : {0.0, 0.05, 0.2, 0.5}) {
        const Search found = search("random, preempt " + std::to_string(preempt), runs,
                                    [&](std::uint64_t seed) { return seeded(seed, preempt); });
        EXPECT_EQ(found.found, 0) << preempt;
    }
}

TEST(ARaceOfTwoPreemptions, ShowsAgainWhenItsScheduleIsPlayed) {
    const ScratchFolder folder;
    const std::string file = folder.file("schedule");
    int seed = 1;
    const auto recorded = [&] {
        return std::make_unique<vp::RecordingSchedule>(pct(static_cast<std::uint64_t>(seed), 3), file);
    };
    while (seed <= runs && !goes_wrong(recorded())) ++seed;
    ASSERT_LE(seed, runs);
    for (int again = 0; again < 3; ++again) {
        EXPECT_TRUE(goes_wrong(std::make_unique<vp::PlayedSchedule>(vp::output_place(file).written)));
    }
}

}  // namespace
