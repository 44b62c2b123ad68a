#include "bench/run_split.h"

#include <gtest/gtest.h>

#include "virtual_projector/world/parameters.h"

namespace {

using bench::RunSplit;
using bench::ThreadCall;
using vp::Side;

ThreadCall sleeps(std::int64_t t_us, std::int64_t length_us) { return {t_us, "sleep", "", length_us}; }
ThreadCall reads(std::int64_t t_us) { return {t_us, "read", "/sys/class/motor/stop", 0}; }

vp::LensSettings lens_of_250_steps_a_second() {
    vp::LensSettings lens = vp::standard_settings().lens;
    lens.speed_steps_per_s = 250;
    return lens;
}

TEST(RunSplit, CountsASleepAsAPause) {
    const RunSplit split = bench::split_run({1000, 9000}, {sleeps(1000, 8000)}, {});
    EXPECT_EQ(split.pauses_us, 8000);
    EXPECT_EQ(split.total_us(), 8000);
}

TEST(RunSplit, CountsOnlyTheSleepsPartInTheRun) {
    const RunSplit split = bench::split_run({1000, 9000}, {sleeps(0, 3000), sleeps(8500, 3000)}, {});
    EXPECT_EQ(split.pauses_us, 2000 + 500);
}

TEST(RunSplit, CountsACallThatReturnsLaterAsAWaitForTheDevice) {
    const RunSplit split =
        bench::split_run({0, 60000}, {reads(0), reads(33334), reads(33334), reads(60000)}, {});
    EXPECT_EQ(split.frames_us, 60000);
    EXPECT_EQ(split.pauses_us, 0);
}

TEST(RunSplit, MeasuresTheWaitForADeviceFromTheEndOfTheSleepBeforeIt) {
    const RunSplit split = bench::split_run({0, 50000}, {sleeps(0, 20000), reads(50000)}, {});
    EXPECT_EQ(split.pauses_us, 20000);
    EXPECT_EQ(split.frames_us, 30000);
}

TEST(RunSplit, TakesTheLensTravelOutOfThePauseThatWaitsForIt) {
    const RunSplit split = bench::split_run({0, 20000}, {sleeps(0, 20000)}, {{0, 12000}});
    EXPECT_EQ(split.lens_us, 12000);
    EXPECT_EQ(split.pauses_us, 8000);
    EXPECT_EQ(split.rest_us, 0);
}

TEST(RunSplit, TakesTheLensTravelOutOfTheWaitForADevice) {
    const RunSplit split =
        bench::split_run({0, 30000}, {reads(0), reads(30000)}, {{10000, 15000}, {20000, 21000}});
    EXPECT_EQ(split.lens_us, 6000);
    EXPECT_EQ(split.frames_us, 24000);
}

TEST(RunSplit, LeavesWhatNobodyWaitsForAsTheRest) {
    const RunSplit split = bench::split_run({0, 10000}, {sleeps(0, 4000)}, {{0, 1000}});
    EXPECT_EQ(split.rest_us, 6000);
    EXPECT_EQ(split.total_us(), 10000);
}

TEST(RunSplit, OfAThreadWithoutCallsIsAllRest) {
    const RunSplit split = bench::split_run({5, 25}, {}, {});
    EXPECT_EQ(split.rest_us, 20);
    EXPECT_EQ(split.total_us(), 20);
}

TEST(RunSplit, LeavesOutALensThatTravelledBeforeTheRun) {
    EXPECT_EQ(bench::split_run({5000, 6000}, {}, {{0, 5000}}).lens_us, 0);
}

TEST(LensTravels, LastAsLongAsTheirSteps) {
    const auto travels = bench::lens_travels({{1000, Side::left, 11, false}}, lens_of_250_steps_a_second());
    ASSERT_EQ(travels.size(), 1U);
    EXPECT_EQ(travels[0].begin_us, 1000);
    EXPECT_EQ(travels[0].end_us, 1000 + 11 * 4000);
}

TEST(LensTravels, TakeAsLongForHalfSteps) {
    const auto travels = bench::lens_travels({{0, Side::right, 3, true}}, lens_of_250_steps_a_second());
    ASSERT_EQ(travels.size(), 1U);
    EXPECT_EQ(travels[0].end_us, 3 * 4000);
}

TEST(LensTravels, AreOneWhereAnOrderCameWhileTheMotorTurned) {
    const auto travels = bench::lens_travels({{0, Side::right, 5, false}, {2000, Side::right, 5, false}},
                                             lens_of_250_steps_a_second());
    ASSERT_EQ(travels.size(), 1U);
    EXPECT_EQ(travels[0].end_us, 10 * 4000);
}

TEST(LensTravels, AreTwoWithARestBetweenThem) {
    const auto travels = bench::lens_travels({{0, Side::right, 1, false}, {20000, Side::left, 2, false}},
                                             lens_of_250_steps_a_second());
    ASSERT_EQ(travels.size(), 2U);
    EXPECT_EQ(travels[1].begin_us, 20000);
    EXPECT_EQ(travels[1].end_us, 28000);
}

}  // namespace
