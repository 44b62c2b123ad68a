#include "virtual_projector/report/differences.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "virtual_projector/report/trace_reader.h"
#include "virtual_projector/storykit/launched_program.h"

namespace {

const std::string run_line = R"({"t_us":0,"run":{"format":)" + std::to_string(vp::RunRecord::current_format) +
                             R"(,"version":"0.1.0","commit":"abc","seed":1}})"
                             "\n";
const std::string truth_line = "{\"t_us\":5000000,\"truth\":{\"lens_error_tmr\":1.5,\"sharpness\":0.9}}\n";
const std::string other_truth = "{\"t_us\":6000000,\"truth\":{\"lens_error_tmr\":3.0,\"sharpness\":0.9}}\n";

std::string move_line(const std::string& steps) {
    return R"({"t_us":1000,"thread":4,"name":"worker","call":"write","path":"/sys/class/motor/left","count":2,)"
           R"("result":2,"data":")" +
           steps + "\"}\n";
}

struct TwoTraces : ::testing::Test {
    storykit::ScratchFolder folder;
    std::string one = folder.file("one");
    std::string other = folder.file("other");

    vp::Differences compare(const std::string& first, const std::string& second,
                            const std::vector<std::string>& ignored = {}) {
        storykit::write_file(one, first);
        storykit::write_file(other, second);
        return vp::compare_traces(one, other, ignored);
    }
};

bool has_line(const vp::Differences& differences, const std::string& line) {
    return std::find(differences.words.begin(), differences.words.end(), line) != differences.words.end();
}

TEST_F(TwoTraces, AreTheSameWhenAllTheirRecordsAre) {
    const vp::Differences same =
        compare(run_line + move_line("11") + truth_line, run_line + move_line("11") + truth_line);
    EXPECT_TRUE(same.is_same);
    EXPECT_EQ(same.words, (std::vector<std::string>{"The runs are the same: 3 records."}));
}

TEST_F(TwoTraces, DivergeAtTheFirstRecordsThatDiffer) {
    const vp::Differences differences =
        compare(run_line + move_line("11") + truth_line, run_line + move_line("12") + other_truth);
    EXPECT_FALSE(differences.is_same);
    ASSERT_GE(differences.words.size(), 5U);
    EXPECT_EQ(differences.words[0], "The first records that differ:");
    EXPECT_EQ(differences.words[1], "  " + one + ", line 2, at 0.001000 s, thread 4 worker:");
    EXPECT_EQ(differences.words[3], "  " + other + ", line 2, at 0.001000 s, thread 4 worker:");
    EXPECT_NE(differences.words[4].find("\"data\":\"12\""), std::string::npos);
}

const std::string set_run_line = R"({"t_us":0,"run":{"format":)" +
                                 std::to_string(vp::RunRecord::current_format) +
                                 R"(,"version":"0.1.0","commit":"def","seed":1,"scenario_file":"a.json",)"
                                 R"("settings":{"pose.pitch_deg":{"value":5.0,"from":"scenario"}}}})"
                                 "\n";

TEST_F(TwoTraces, OfRunsThatAreMadeOfOtherThingsTellThemAndWhereTheyPart) {
    const vp::Differences differences =
        compare(run_line + move_line("11") + truth_line, set_run_line + move_line("12") + truth_line);
    EXPECT_FALSE(differences.is_same);
    EXPECT_EQ(
        std::vector<std::string>(differences.words.begin(), differences.words.begin() + 6),
        (std::vector<std::string>{
            "What the runs are made of differs:", "  commit: one abc, other def",
            "  scenario_file: one none, other a.json", "  pose.pitch_deg: one none, other 5.0 from scenario",
            "The first records that differ:", "  " + one + ", line 2, at 0.001000 s, thread 4 worker:"}));
}

TEST_F(TwoTraces, OfRunsThatAreMadeOfOtherThingsMayTellOfTheSame) {
    const vp::Differences differences =
        compare(run_line + move_line("11") + truth_line, set_run_line + move_line("11") + truth_line);
    EXPECT_FALSE(differences.is_same);
    EXPECT_EQ(differences.words.front(), "What the runs are made of differs:");
    EXPECT_EQ(differences.words.back(), "What happened is the same: 3 records.");
    EXPECT_TRUE(compare(run_line + truth_line, set_run_line + truth_line, {"run"}).is_same);
}

TEST_F(TwoTraces, AreComparedInTheirOutcome) {
    const vp::Differences differences = compare(run_line + move_line("11") + truth_line,
                                                run_line + move_line("12") + move_line("1") + other_truth);
    EXPECT_TRUE(has_line(differences, "The outcome differs:"));
    EXPECT_TRUE(has_line(
        differences, "  end (s)                                           5              6              1"));
    EXPECT_TRUE(has_line(
        differences, "  orders to the lens                                1              2              1"));
    EXPECT_TRUE(has_line(
        differences, "  ordered steps, all together                      11             13              2"));
    EXPECT_TRUE(has_line(
        differences, "  at the end: lens_error_tmr                      1.5              3            1.5"));
    for (const std::string& line : differences.words)
        EXPECT_EQ(line.find("sharpness"), std::string::npos) << line;
}

TEST_F(TwoTraces, MayHaveTheSameOutcomeByAnotherWay) {
    const vp::Differences differences =
        compare(run_line + "{\"t_us\":1,\"event\":\"a\"}\n", run_line + "{\"t_us\":1,\"event\":\"b\"}\n");
    EXPECT_FALSE(differences.is_same);
    EXPECT_TRUE(has_line(differences, "The outcome is the same."));
}

TEST_F(TwoTraces, OfWhichOneEndsEarlierDiffer) {
    const vp::Differences differences = compare(run_line + move_line("11"), run_line);
    EXPECT_FALSE(differences.is_same);
    EXPECT_TRUE(has_line(differences, "  " + other + " ends here, after line 1"));
}

TEST_F(TwoTraces, DifferInNothingThatIsToBeIgnored) {
    const std::string event = "{\"t_us\":1,\"event\":\"one\"}\n";
    std::string newer = run_line;
    newer.replace(newer.find("abc"), 3, "def");
    EXPECT_FALSE(compare(run_line, newer).is_same);
    EXPECT_TRUE(compare(run_line, newer, {"version"}).is_same);
    EXPECT_TRUE(compare(run_line, newer, {"run"}).is_same);
    EXPECT_TRUE(compare(run_line + event + move_line("1"), run_line + move_line("1"), {"event"}).is_same);
    EXPECT_FALSE(compare(run_line + event + move_line("2"), run_line + move_line("1"), {"event"}).is_same);
}

TEST_F(TwoTraces, ThatAreNoTracesAreRefused) { EXPECT_THROW(compare(run_line, "nonsense\n"), vp::TraceError); }

}  // namespace
