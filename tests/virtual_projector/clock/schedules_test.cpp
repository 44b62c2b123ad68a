// The policies that choose who runs next.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <memory>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

#include "tests/virtual_projector/clock/crew.h"
#include "virtual_projector/clock/pct_schedule.h"
#include "virtual_projector/clock/played_schedule.h"
#include "virtual_projector/clock/recording_schedule.h"
#include "virtual_projector/files/output_file.h"
#include "virtual_projector/storykit/scratch_folder.h"

namespace {

using clock_test::Crew;
using clock_test::Lines;
using clock_test::seeded;
using storykit::ScratchFolder;
using vp::PctSchedule;
using vp::PlayedSchedule;
using vp::RecordingSchedule;
using vp::ScheduledThread;
using vp::SchedulePolicy;
using vp::SchedulingPoint;
using Kind = vp::SchedulingPoint::Kind;

std::string contents_of(const std::string& path) {
    std::ifstream file(path);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

void write_file(const std::string& path, const std::string& text) { std::ofstream(path) << text; }

// Three threads, of which any may be runnable.
struct Threads {
    ScheduledThread one{nullptr, 1, "main"};
    ScheduledThread two{nullptr, 2, "worker"};
    ScheduledThread three{nullptr, 3, ""};

    // The number of the one that is chosen.
    int choose(SchedulePolicy& policy, Kind kind, ScheduledThread& running,
               const std::vector<ScheduledThread*>& runnable) const {
        return runnable.at(policy.choose({kind, &running, runnable}))->number;
    }
};

// --- Priorities --------------------------------------------------------------------------------------------

PctSchedule pct(std::uint64_t seed, int depth, std::uint64_t steps) {
    PctSchedule::Options options;
    options.depth = depth;
    options.steps = steps;
    return PctSchedule(seed, options);
}

TEST(PctSchedule, LetsTheSameThreadGoFirstUntilItWaits) {
    Threads t;
    PctSchedule policy = pct(1, 1, 100);
    const int first = t.choose(policy, Kind::wait, t.three, {&t.one, &t.two});
    ScheduledThread& high = first == 1 ? t.one : t.two;
    ScheduledThread& low = first == 1 ? t.two : t.one;
    for (int i = 0; i < 200; ++i) EXPECT_EQ(t.choose(policy, Kind::call, high, {&low, &high}), first);
    EXPECT_EQ(t.choose(policy, Kind::wait, high, {&low}), low.number);
    EXPECT_EQ(t.choose(policy, Kind::call, low, {&high, &low}), first);
}

TEST(PctSchedule, DrawsEveryOrderOfThreads) {
    std::set<int> firsts;
    for (std::uint64_t seed = 1; seed <= 30; ++seed) {
        Threads t;
        PctSchedule policy = pct(seed, 1, 100);
        firsts.insert(t.choose(policy, Kind::wait, t.one, {&t.one, &t.two, &t.three}));
    }
    EXPECT_EQ(firsts, (std::set<int>{1, 2, 3}));
}

// Whoever runs at a change point stays behind the others from then on.
TEST(PctSchedule, ChangesThePriorityOfTheRunningThreadAsOftenAsItsDepthSaysLessOne) {
    for (int depth = 1; depth <= 3; ++depth) {
        for (std::uint64_t seed = 1; seed <= 20; ++seed) {
            Threads t;
            PctSchedule policy = pct(seed, depth, 50);
            ScheduledThread* running = &t.one;
            int changes = -1;  // the first choice is none
            for (int step = 0; step < 100; ++step) {
                ScheduledThread& other = running == &t.one ? t.two : t.one;
                const int chosen = t.choose(policy, Kind::call, *running, {&other, running});
                if (chosen != running->number) running = &other;
                changes += step == 0 || running == &other ? 1 : 0;
            }
            EXPECT_LE(changes, depth - 1);
        }
    }
}

TEST(PctSchedule, LowersAThreadThatYieldsSoThatTheOthersGoOn) {
    for (std::uint64_t seed = 1; seed <= 20; ++seed) {
        Threads t;
        PctSchedule policy = pct(seed, 1, 100);
        EXPECT_NE(t.choose(policy, Kind::yield, t.one, {&t.two, &t.three, &t.one}), 1);
        EXPECT_EQ(t.choose(policy, Kind::yield, t.two, {&t.one, &t.two}), 1);
    }
}

TEST(PctSchedule, TakesTheSameCourseForTheSameSeed) {
    const auto course = [](std::uint64_t seed) {
        Crew crew(std::make_unique<PctSchedule>(seed, PctSchedule::Options{3, 60}));
        for (const char* name : {"a", "b", "c"}) {
            crew.start(name, [&crew, name] {
                for (int i = 0; i < 10; ++i) {
                    crew.scheduler.touch();
                    crew.say(name);
                    crew.sleep(i % 2);
                }
            });
        }
        crew.sleep(100);
        return crew.said;
    };
    EXPECT_EQ(course(4), course(4));
    EXPECT_NE(course(4), course(5));
}

// --- Recorded schedules ------------------------------------------------------------------------------------

Lines crowd(std::unique_ptr<SchedulePolicy> policy) {
    Crew crew(std::move(policy));
    for (const char* name : {"a", "b", "c", ""}) {
        crew.start(name, [&crew, name] {
            for (int i = 0; i < 20; ++i) {
                crew.scheduler.touch();
                crew.say(name);
                crew.sleep(i % 3);
            }
        });
    }
    crew.sleep(1000);
    EXPECT_EQ(crew.scheduler.end_schedule(), "");
    return crew.said;
}

TEST(ARecordedSchedule, GivesTheSameCourseAgain) {
    const ScratchFolder folder;
    const std::string file = folder.file("schedule");
    for (std::uint64_t seed = 1; seed <= 5; ++seed) {
        const Lines recorded = crowd(std::make_unique<RecordingSchedule>(seeded(seed, 0.3), file));
        EXPECT_EQ(crowd(std::make_unique<PlayedSchedule>(file)), recorded);
    }
}

TEST(ARecordedSchedule, CanBeRecordedFromAnotherOne) {
    const ScratchFolder folder;
    (void)crowd(std::make_unique<RecordingSchedule>(seeded(1, 0.3), folder.file("first")));
    (void)crowd(std::make_unique<RecordingSchedule>(std::make_unique<PlayedSchedule>(folder.file("first")),
                                                    folder.file("second")));
    EXPECT_EQ(contents_of(folder.file("second")), contents_of(folder.file("first")));
}

// Keeps to a list of choices.
class Listed final : public SchedulePolicy {
public:
    explicit Listed(std::vector<std::size_t> choices) : choices_(std::move(choices)) {}
    std::size_t choose(const SchedulingPoint& /*point*/) override { return choices_.at(next_++); }

private:
    std::vector<std::size_t> choices_;
    std::size_t next_ = 0;
};

TEST(ARecordedSchedule, HasALineForEachStepAtWhichTheTurnPassedOrHadTo) {
    const ScratchFolder folder;
    const std::string file = folder.file("schedule");
    Threads t;
    RecordingSchedule policy(std::make_unique<Listed>(std::vector<std::size_t>{0, 1, 1, 0, 0}), file);
    t.choose(policy, Kind::wait, t.two, {&t.one});             // no choice: no step
    t.choose(policy, Kind::wait, t.one, {&t.one, &t.two});     // 1
    t.choose(policy, Kind::call, t.two, {&t.one, &t.two});     // 2: goes on
    t.choose(policy, Kind::call, t.two, {&t.one, &t.two});     // 3: passes
    t.choose(policy, Kind::yield, t.one, {&t.three, &t.one});  // 4
    EXPECT_FALSE(std::ifstream(file));
    EXPECT_EQ(policy.finish(), "");
    EXPECT_EQ(contents_of(file), "virtual-projector schedule 1\n1 2 worker\n3 1 main\n4 3\n");
    EXPECT_FALSE(std::ifstream(vp::output_place(file).written));
}

struct PlayedScheduleTest : ::testing::Test {
    ScratchFolder folder;
    std::string file = folder.file("schedule");
    Threads t;

    PlayedSchedule play(const std::string& steps) const {
        write_file(file, "virtual-projector schedule 1\n" + steps);
        return PlayedSchedule(file);
    }
    std::string refusal(const std::string& text) const {
        write_file(file, text);
        try {
            const PlayedSchedule played(file);
        } catch (const std::runtime_error& error) {
            return error.what();
        }
        return "";
    }
};

TEST_F(PlayedScheduleTest, ChoosesWhatWasRecorded) {
    PlayedSchedule policy = play("1 2 worker\n3 1 main\n4 3\n");
    EXPECT_EQ(t.choose(policy, Kind::wait, t.two, {&t.one}), 1);
    EXPECT_EQ(t.choose(policy, Kind::wait, t.one, {&t.one, &t.two}), 2);
    EXPECT_EQ(t.choose(policy, Kind::call, t.two, {&t.one, &t.two}), 2);
    EXPECT_EQ(t.choose(policy, Kind::call, t.two, {&t.one, &t.two}), 1);
    EXPECT_EQ(t.choose(policy, Kind::yield, t.one, {&t.three, &t.one}), 3);
    EXPECT_EQ(policy.finish(), "");
}

using PlayedScheduleDeathTest = PlayedScheduleTest;

TEST_F(PlayedScheduleDeathTest, EndsTheRunWhereTheRecordedThreadCannotRun) {
    PlayedSchedule policy = play("1 2 worker\n");
    EXPECT_EXIT(t.choose(policy, Kind::wait, t.two, {&t.one, &t.three}),
                ::testing::ExitedWithCode(vp::schedule_exit_code),
                "^virtual-projector: .*/schedule: does not fit this run at step 1: recorded is 2 worker, "
                "runnable are 1 main, 3\n$");
}

TEST_F(PlayedScheduleDeathTest, EndsTheRunWhereItsThreadHasAnotherName) {
    PlayedSchedule policy = play("1 2 helper\n");
    EXPECT_EXIT(t.choose(policy, Kind::wait, t.two, {&t.one, &t.two}),
                ::testing::ExitedWithCode(vp::schedule_exit_code),
                "recorded is 2 helper, runnable are 1 main, 2 worker\n$");
}

TEST_F(PlayedScheduleDeathTest, EndsTheRunWhereNothingWasRecordedThoughAThreadWaits) {
    PlayedSchedule policy = play("2 1 main\n");
    EXPECT_EXIT(t.choose(policy, Kind::wait, t.three, {&t.one, &t.two}),
                ::testing::ExitedWithCode(vp::schedule_exit_code),
                "at step 1: recorded is 1 main at step 2, runnable are 1 main, 2 worker\n$");
    PlayedSchedule empty = play("");
    EXPECT_EXIT(t.choose(empty, Kind::wait, t.three, {&t.one, &t.two}),
                ::testing::ExitedWithCode(vp::schedule_exit_code),
                "at step 1: nothing more is recorded, runnable are 1 main, 2 worker\n$");
}

TEST_F(PlayedScheduleTest, SaysWhenTheRunEndedBeforeTheSchedule) {
    PlayedSchedule policy = play("1 2 worker\n7 1 main\n");
    t.choose(policy, Kind::wait, t.one, {&t.one, &t.two});
    EXPECT_EQ(policy.finish(),
              file + ": does not fit this run, which ended at step 1: recorded is 1 main at step 7");
}

TEST_F(PlayedScheduleTest, RefusesAFileThatIsNone) {
    EXPECT_EQ(refusal(""), file + ": expected a schedule, which begins with 'virtual-projector schedule 1'");
    for (const std::string line :
         {"then 3", "2", "0 2 worker", "-2 2 worker", "1 2 worker", "2 2 worker 3", ""}) {
        EXPECT_EQ(refusal("virtual-projector schedule 1\n1 2 worker\n" + line + "\n"),
                  file + ": line 3: expected a later step, a thread's number and its name")
            << line;
    }
    EXPECT_THROW(PlayedSchedule(folder.file("missing")), std::runtime_error);
    EXPECT_THROW(RecordingSchedule(seeded(1), folder.file("no/folder")), std::runtime_error);
}

}  // namespace
