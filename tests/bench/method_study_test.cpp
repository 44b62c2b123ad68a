#include "bench/method_study.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <set>

namespace {

using bench::MethodOutcome;
using bench::percentile;

constexpr MethodOutcome good{20, 1, 0.5, true};

TEST(MethodOutcome, IsWithinLimitsUpToAndWithEachOfThem) {
    EXPECT_TRUE(good.is_within_limits());
    for (const MethodOutcome& bad :
         {MethodOutcome{20.1, 1, 0.5, true}, {20, 1.01, 0.5, true}, {20, 1, 0.51, true}}) {
        EXPECT_FALSE(bad.is_within_limits());
    }
}

TEST(MethodOutcome, EscapesWhenTheHostWasToldSuccessAlthoughALimitIsMissed) {
    EXPECT_FALSE(good.is_escape());
    EXPECT_TRUE((MethodOutcome{0, 0, 3, true}).is_escape());
    EXPECT_FALSE((MethodOutcome{0, 0, 3, false}).is_escape());
}

// The nearest rank: the k-th smallest of n, where k is the share of n rounded up.
TEST(Percentile, IsTheSmallestValueThatTheShareDoesNotExceed) {
    EXPECT_EQ(percentile({5}, 0.95), 5);
    EXPECT_EQ(percentile({4, 1, 3, 2}, 0.5), 2);
    EXPECT_EQ(percentile({4, 1, 3, 2}, 0.51), 3);
    EXPECT_EQ(percentile({4, 1, 3, 2}, 0.95), 4);
    EXPECT_EQ(percentile({4, 1, 3, 2}, 0), 1);
}

TEST(MethodPoses, AreDistancesByTilts) {
    const auto poses = bench::method_poses();
    EXPECT_EQ(std::set<std::vector<std::string>>(poses.begin(), poses.end()).size(), 42U);
    EXPECT_EQ(poses.front(),
              (std::vector<std::string>{"--set", "pose.distance_mm=500", "--set", "pose.pitch_deg=-20"}));
}

TEST(MethodPoses, AreTiltsAtOneDistanceWhereNearOnesAreWanted) {
    const auto poses = bench::method_poses(true);
    EXPECT_EQ(poses.size(), 7U);
    for (const auto& pose : poses) EXPECT_EQ(pose[1], "pose.distance_mm=450");
}

TEST(MethodEffects, BeginWithTheLaboratoryAndAreAllDifferent) {
    const auto effects = bench::method_effects();
    EXPECT_TRUE(effects.front().options.empty());
    std::set<std::string> seen;
    for (const bench::Effect& effect : effects) EXPECT_TRUE(seen.insert(effect.name + effect.value).second);
}

// What a function prints.
template <typename Print>
std::string printed(Print print) {
    char* text = nullptr;
    std::size_t size = 0;
    std::FILE* const out = open_memstream(&text, &size);
    print(out);
    std::fclose(out);
    const std::string all(text, size);
    std::free(text);
    return all;
}

TEST(StoryTable, HasARowForEachStoryAndOneForAllAndNamesEveryBadEnd) {
    const std::string table = printed([](std::FILE* out) {
        bench::print_story_table(out, {{"one", {good, {30, 1.5, 0.1, true}}, {}},
                                       {"another", {{0, 0, 0.6, true}, {30, 1, 1, false}}, {"another: 120"}}});
    });
    EXPECT_EQ(table.substr(table.find("| one")),
              "| one                        |     2 |  50 % |  100 % |  50 % |       1 |        0 |\n"
              "| another                    |     2 |  50 % |    0 % |   0 % |       1 |        1 |\n"
              "| all                        |     4 |  50 % |   50 % |  25 % |       2 |        1 |\n"
              "bad end: another: 120\n");
}

TEST(BadEnds, AreThoseThatNoHostAsksFor) {
    for (const int code : {2, 120, 121, 122, 123, 127, 139}) EXPECT_TRUE(bench::is_bad_end(code)) << code;
    for (const int code : {0, 1, 3}) EXPECT_FALSE(bench::is_bad_end(code)) << code;
}

TEST(MethodTable, HasARowForEachEffect) {
    const std::string table = printed([](std::FILE* out) {
        bench::print_method_table(out, {{{"an effect", "2 %", {}, {}},
                                         {{30, 1.5, 0.1, true}, {10, 0.5, 0.2, true}, {40, 2, 0.3, false}}}});
    });
    EXPECT_EQ(table.substr(table.find("| an effect")),
              "| an effect                          | 2 %       |  30.0 |   40.0 |  1.50 |  2.00 |  0.20 |  "
              "0.30 |    "
              "33 % |    1 of  3 |\n");
}

}  // namespace
