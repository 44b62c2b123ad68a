#include "virtual_projector/launcher/run_options.h"

#include <gtest/gtest.h>

namespace {

using vp::RunOptions;
using vp::Scenario;

TEST(RunOptions, SurviveTheirWayIntoTheProgram) {
    RunOptions given;
    given.scenario = "a \"scenario\"\n";
    given.seed = 18446744073709551615U;
    given.world = "world";
    given.unit = "unit";
    given.unit_seed = 9;
    given.version = "1.2.3";
    given.commit = "abc";
    given.parameters = {{"pose.pitch_deg", 12.1}, {"pose.pitch_deg", -0.1}};
    given.trace = "trace";
    given.trace_detail = vp::TraceDetail::changes;
    given.summary = "summary";
    given.flash = "flash";
    given.exact_stacks = true;
    given.real_time = true;
    given.preempt = 0.25;
    given.schedule = "pct:3";
    given.record_schedule = "kept";
    given.limit_s = 2.5;
    given.real_limit_s = 0;
    given.outside_skip = true;
    given.state = "state";
    given.plain_stacks = true;
    given.under_tool = true;
    const RunOptions taken = vp::run_options_from(vp::to_text(given));
    EXPECT_EQ(taken.scenario, given.scenario);
    EXPECT_EQ(taken.seed, given.seed);
    EXPECT_EQ(taken.world, given.world);
    EXPECT_EQ(taken.unit, given.unit);
    EXPECT_EQ(taken.unit_seed, given.unit_seed);
    EXPECT_EQ(taken.version, given.version);
    EXPECT_EQ(taken.commit, given.commit);
    EXPECT_EQ(taken.parameters, given.parameters);
    EXPECT_EQ(taken.trace, given.trace);
    EXPECT_EQ(taken.trace_detail, given.trace_detail);
    EXPECT_EQ(taken.summary, given.summary);
    EXPECT_EQ(taken.flash, given.flash);
    EXPECT_EQ(taken.exact_stacks, given.exact_stacks);
    EXPECT_EQ(taken.real_time, given.real_time);
    EXPECT_EQ(taken.preempt, given.preempt);
    EXPECT_EQ(taken.schedule, given.schedule);
    EXPECT_EQ(taken.record_schedule, given.record_schedule);
    EXPECT_EQ(taken.limit_s, given.limit_s);
    EXPECT_EQ(taken.real_limit_s, given.real_limit_s);
    EXPECT_EQ(taken.outside_skip, given.outside_skip);
    EXPECT_EQ(taken.state, given.state);
    EXPECT_EQ(taken.plain_stacks, given.plain_stacks);
    EXPECT_EQ(taken.under_tool, given.under_tool);
}

TEST(RunOptions, MayHaveNoSeedOfTheirOwn) {
    EXPECT_FALSE(vp::run_options_from(vp::to_text(RunOptions{})).seed.has_value());
}

TEST(TheSeedThatCounts, IsTheCommandLinesThenTheScenariosThenOne) {
    RunOptions options;
    Scenario scenario;
    EXPECT_EQ(vp::seed_of(options, scenario), 1U);
    scenario.seed = 5;
    EXPECT_EQ(vp::seed_of(options, scenario), 5U);
    options.seed = 0;
    EXPECT_EQ(vp::seed_of(options, scenario), 0U);
}

TEST(TheUnitsSeedThatCounts, IsTheCommandLinesThenTheScenariosThenOneWhereASpreadIsNamed) {
    RunOptions options;
    Scenario scenario;
    EXPECT_FALSE(vp::unit_seed_of(options, scenario).has_value());
    options.unit = "file";
    EXPECT_EQ(vp::unit_seed_of(options, scenario), 1U);
    scenario.unit_seed = 5;
    EXPECT_EQ(vp::unit_seed_of(options, scenario), 5U);
    options.unit_seed = 0;
    EXPECT_EQ(vp::unit_seed_of(options, scenario), 0U);
}

TEST(TheToFSensorsMemory, StandsBesideThePermanentRecord) {
    EXPECT_EQ(vp::tof_memory_file("unit.flash"), "unit.flash.tof");
    EXPECT_EQ(vp::tof_memory_file(""), "");
}

}  // namespace
