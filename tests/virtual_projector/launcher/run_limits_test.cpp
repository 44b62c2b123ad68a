// Runs that come to no end by themselves: what ends them, with what words, and with which files.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/prctl.h>
#include <sys/wait.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "virtual_projector/storykit/launched_program.h"

namespace {

using storykit::contents_of;
using storykit::Finished;
using storykit::ScratchFolder;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::StartsWith;

constexpr long long second_us = 1'000'000;
constexpr int alarm_signal = 14;

std::string last_line_of(const std::string& text) {
    if (text.empty()) return text;
    const std::size_t end = text.rfind('\n', text.size() - 2);
    return end == std::string::npos ? text : text.substr(end + 1);
}

int count_of(const std::string& what, const std::string& text) {
    int count = 0;
    for (std::size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + 1)) ++count;
    return count;
}

// The line of a table that begins with this number; without the words before it.
std::string line_of(int thread, const std::string& table) {
    char number[16];
    std::snprintf(number, sizeof number, "\n%4d  ", thread);
    const std::size_t start = table.find(number);
    return start == std::string::npos ? "" : table.substr(start + 1, table.find('\n', start + 1) - start - 1);
}

struct ARun : ::testing::Test {
    ARun() { prctl(PR_SET_CHILD_SUBREAPER, 1); }  // what a run would leave behind comes here

    Finished run(std::vector<std::string> options, std::vector<std::string> program) const {
        options.insert(options.end(), {"--trace", trace, "--summary", summary});
        program.insert(program.begin(), LIMITED_PROGRAM);
        return storykit::launch_projector(options, program);
    }
    long long simulated_us() const {
        const auto figures = nlohmann::json::parse(contents_of(summary), nullptr, false);
        return figures.is_object() ? figures.value("simulated_us", -1LL) : -1;
    }
    // Trace, summary and story are there, and belong to an end at this time; nothing else is left.
    void expect_complete_at(long long time_us, const Finished& finished) const {
        const auto last = nlohmann::json::parse(last_line_of(contents_of(trace)), nullptr, false);
        ASSERT_TRUE(last.is_object()) << last_line_of(contents_of(trace));
        EXPECT_TRUE(last.contains("truth")) << last;
        EXPECT_EQ(last.value("t_us", -1LL), time_us);
        EXPECT_EQ(simulated_us(), time_us);
        char story_end[64];
        std::snprintf(story_end, sizeof story_end, "Simulated time %lld.%03lld s, real time ",
                      time_us / second_us, time_us % second_us / 1000);
        EXPECT_THAT(last_line_of(finished.words), StartsWith(story_end));
        expect_nothing_left();
    }
    void expect_nothing_left() const {
        EXPECT_FALSE(std::filesystem::exists(trace + ".part"));
        EXPECT_FALSE(std::filesystem::exists(summary + ".part"));
        EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1);
        EXPECT_EQ(errno, ECHILD);
    }

    const ScratchFolder folder;
    const std::string trace = folder.file("trace");
    const std::string summary = folder.file("summary");
};

// --- The limit of simulated time -------------------------------------------------------------------------

TEST_F(ARun, EndsAtItsLimitWithATableOfWhatEachThreadWaitsForAndWhere) {
    const Finished finished = run({"--limit", "5", "--story"}, {"many ways"});
    EXPECT_EQ(finished.exit_code, 121);
    const std::string& table = finished.complaints;
    EXPECT_THAT(
        table, StartsWith("The limit of 5 simulated seconds is reached. What each thread does:\n   1  main: "));
    EXPECT_THAT(line_of(1, table),
                HasSubstr("(pipe), since 0.000000 s, no deadline, in read_all (limited_program)"));
    EXPECT_EQ(line_of(2, table),
              "   2  thread 2: sleep, since 4.500000 s, until 6.000000 s, in sleep_in_steps (limited_program)");
    EXPECT_EQ(
        line_of(3, table),
        "   3  thread 3: condition, since 1.000000 s, no deadline, in wait_for_nothing (limited_program)");
    EXPECT_EQ(count_of("\n", table), 4);
    expect_complete_at(5 * second_us, finished);
}

// Where UI_update_thread is found; not optimised, it does not jump into what sleeps for it but calls it.
#ifdef __SANITIZE_ADDRESS__
constexpr const char* in_last_loop = ", in SleepMs (libovrafocus.so)\n";
#else
constexpr const char* in_last_loop = ", in UI_update_thread (libovrafocus.so)\n";
#endif

TEST_F(ARun, NamesTheFunctionsOfTheLibrarysLoopsAtItsLimit) {
    const Finished finished = run({"--limit", "10", "--story"}, {"library"});
    EXPECT_EQ(finished.exit_code, 121);
    EXPECT_THAT(finished.complaints, HasSubstr("  main: sleep, since 0.000000 s, until 20.000000 s, "
                                               "in run_library (limited_program)\n"));
    for (const char* const loop : {"keystonefocus_thread", "UI_update_thread"}) {
        EXPECT_THAT(finished.complaints, HasSubstr(std::string("  ") + loop + ": sleep, since 9.9"));
    }
    EXPECT_THAT(finished.complaints, HasSubstr(" s, in keystonefocus_thread (libovrafocus.so)\n"));
    EXPECT_THAT(finished.complaints, HasSubstr(in_last_loop));
    expect_complete_at(10 * second_us, finished);
}

TEST_F(ARun, TellsInItsTraceWhatEachThreadStillWaitsForAtItsEnd) {
    run({"--limit", "5"}, {"many ways"});
    EXPECT_THAT(
        contents_of(trace),
        HasSubstr(
            "\n"
            R"({"t_us":5000000,"thread":1,"name":"main","wait":"descriptor","path":"pipe","took_us":5000000})"
            "\n"
            R"({"t_us":5000000,"thread":3,"wait":"condition","path":"condition 1","took_us":4000000})"
            "\n"
            R"({"t_us":5000000,"wear":)"));
}

TEST_F(ARun, TellsInItsTraceThatTheProgramWaitedAllTheTime) {
    run({"--limit", "10"}, {"library, pause"});
    EXPECT_THAT(contents_of(trace),
                HasSubstr(R"({"t_us":10000000,"thread":1,"name":"main","wait":"signal","took_us":10000000})"));
}

TEST_F(ARun, MayHaveALimitOfAFractionOfASecond) {
    const Finished finished = run({"--limit", "0.25", "--story"}, {"many ways"});
    EXPECT_EQ(finished.exit_code, 121);
    EXPECT_THAT(finished.complaints, StartsWith("The limit of 0.25 simulated seconds is reached."));
    expect_complete_at(second_us / 4, finished);
}

TEST_F(ARun, IsTheSameWithALimitThatItDoesNotReach) {
    const Finished without = run({}, {"library"});
    const std::string trace_without = contents_of(trace);
    const Finished with = run({"--limit", "100", "--real-limit", "1000"}, {"library"});
    EXPECT_EQ(without.exit_code, 0);
    EXPECT_THAT(without.words, EndsWith("done\n"));
    EXPECT_EQ(with.exit_code, 0);
    EXPECT_EQ(with.words, without.words);
    EXPECT_EQ(with.complaints, without.complaints);
    EXPECT_FALSE(trace_without.empty());
    EXPECT_TRUE(contents_of(trace) == trace_without);
    EXPECT_EQ(simulated_us(), 20 * second_us);
}

// --- The limit of real time ------------------------------------------------------------------------------

constexpr const char* nothing_happened =
    "Nothing has happened for 2 real seconds (--real-limit); it is 3.000000 s in the run. What each thread "
    "does:\n";

TEST_F(ARun, EndsAtItsRealLimitWhereTheKernelHoldsAThread) {
    const Finished finished = run({"--real-limit", "2", "--story"}, {"kernel"});
    EXPECT_EQ(finished.exit_code, 122);
    EXPECT_THAT(finished.complaints, HasSubstr(std::string(nothing_happened) + "   1  main: "));
    EXPECT_THAT(line_of(1, finished.complaints), EndsWith(", in block_in_kernel (limited_program)"));
    expect_complete_at(3 * second_us, finished);
}

TEST_F(ARun, EndsAtItsRealLimitWhereAThreadComputesForEver) {
    const Finished finished = run({"--real-limit", "2", "--story"}, {"compute"});
    EXPECT_EQ(finished.exit_code, 122);
    EXPECT_THAT(finished.complaints, HasSubstr(std::string(nothing_happened) + "   1  main: "));
    EXPECT_THAT(line_of(1, finished.complaints), EndsWith(", in compute (limited_program)"));
    expect_complete_at(3 * second_us, finished);
}

// Its loops go on, and nothing comes of it.
TEST_F(ARun, EndsAtItsRealLimitWhereTheKernelHoldsAThreadBesideTheLibrary) {
    const Finished finished = run({"--real-limit", "3", "--story"}, {"library, kernel"});
    EXPECT_EQ(finished.exit_code, 122);
    const std::string& words = finished.complaints;
    EXPECT_EQ(count_of("no longer deterministic", words), 1);
    EXPECT_THAT(words, HasSubstr("\nNothing has happened for 3 real seconds (--real-limit); it is "));
    EXPECT_EQ(line_of(1, words),
              "   1  main: computes without a call since 3.000000 s, in block_in_kernel (limited_program)");
    EXPECT_THAT(words, HasSubstr(" (libovrafocus.so)\n"));
    expect_complete_at(simulated_us(), finished);
}

// --- Only the library's loops ----------------------------------------------------------------------------

struct Idle {
    const char* program;
    const char* wait;
};

TEST_F(ARun, IsStuckWhenOnlyTheLibrarysLoopsHaveRunForAnHour) {
#ifdef __SANITIZE_ADDRESS__
    GTEST_SKIP() << "simulated hours take minutes under the sanitizer";
#endif
    const Idle cases[] = {
        {"library, pause",
         "main: signal, since 0.000000 s, no deadline, in pause_beside_library (limited_program)"},
        {"library, wait",
         "main: condition, since 1.000000 s, no deadline, in wait_for_nothing (limited_program)"}};
    for (const Idle& idle : cases) {
        const Finished finished = run({"--story"}, {idle.program});
        EXPECT_EQ(finished.exit_code, 120);
        EXPECT_THAT(finished.complaints, HasSubstr("Only the library's own loops have run since "));
        EXPECT_THAT(finished.complaints, HasSubstr(", and nothing else can happen. It is 36"));
        EXPECT_THAT(finished.complaints, HasSubstr(idle.wait));
        EXPECT_THAT(finished.complaints, HasSubstr(in_last_loop));
        const long long end_us = simulated_us();
        EXPECT_GE(end_us, 3600 * second_us);
        EXPECT_LT(end_us, 3610 * second_us);
        expect_complete_at(end_us, finished);
    }
}

TEST_F(ARun, IsNotStuckBeforeTheLastEventOfItsScenario) {
    const std::string scenario = folder.file("scenario.json");
    storykit::write_file(scenario, R"({"events": [{"at_s": 7200, "key": 28}]})");
    const Finished finished = run({"--scenario", scenario}, {"library, key", "/dev/input/event6"});
    EXPECT_EQ(finished.exit_code, 0) << finished.complaints;
    EXPECT_THAT(finished.words, HasSubstr("a key after 7200 s\n"));
    EXPECT_EQ(simulated_us(), 7200 * second_us);
}

// --- Turns that are lost ---------------------------------------------------------------------------------

TEST_F(ARun, GoesOnWhileAThreadComputesUntilAnotherSetsAVariable) {
    const Finished finished = run({}, {"compute until set"});
    EXPECT_EQ(finished.exit_code, 0);
    EXPECT_EQ(finished.complaints,
              "virtual-projector: thread 1 main has made no call for 2 real seconds and has lost its turn; "
              "this run is no longer deterministic\n");
    long long went_by_us = 0;
    ASSERT_EQ(std::sscanf(finished.words.c_str(), "%lld us went by", &went_by_us), 1) << finished.words;
    EXPECT_GE(went_by_us, 30 * second_us);
    EXPECT_LT(went_by_us, 31 * second_us);
    expect_nothing_left();
}

TEST_F(ARun, GivesTurnsAsBeforeToAThreadThatHasComeBack) {
    const Finished finished = run({}, {"compute and take turns"});
    EXPECT_EQ(finished.exit_code, 0);
    EXPECT_EQ(finished.words, "met 0 times in 1000000 us\n");
    EXPECT_EQ(count_of("no longer deterministic", finished.complaints), 1);
    EXPECT_EQ(simulated_us(), 31 * second_us);
}

// Whatever it does next: end, call the board, end the program.
TEST_F(ARun, LetsNoThreadActAgainBeforeItHasItsTurnBack) {
    for (const char* const next : {"compute, thread ends", "compute, board call", "compute, exit"}) {
        const Finished finished = run({}, {next});
        EXPECT_EQ(finished.exit_code, 0) << next;
        EXPECT_EQ(finished.words, "in its turn\n") << next;
        EXPECT_EQ(count_of("no longer deterministic", finished.complaints), 1) << next;
        EXPECT_GE(simulated_us(), 30 * second_us) << next;
        expect_nothing_left();
    }
}

// --- Signals ---------------------------------------------------------------------------------------------

TEST_F(ARun, EndedByItsOwnAlarmHasCompleteFiles) {
    const Finished finished = run({"--story"}, {"alarm"});
    EXPECT_EQ(finished.exit_code, 128 + alarm_signal);
    EXPECT_THAT(finished.complaints, HasSubstr("ended by signal 14"));
    expect_complete_at(3 * second_us, finished);
}

}  // namespace
