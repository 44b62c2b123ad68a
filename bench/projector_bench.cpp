// The speed of the virtual projector, and what the library takes at rest.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <string>
#include <vector>

#include "bench/benchmarks.h"
#include "bench/figures.h"
#include "bench/observed_run.h"
#include "virtual_projector/storykit/launched_program.h"

namespace bench {
namespace {

constexpr int repetitions = 3;
constexpr int busy_rounds = 100;

using Words = std::vector<std::string>;

// Two runs a round: from the place of the picture, and from 90 TMR units beside it.
Words busy_host() {
    Words commands = {"init"};
    for (int round = 0; round < busy_rounds; ++round) {
        const Words more = {"akaf", "wait idle", round % 2 == 0 ? "manual 90" : "manual -90", "akaf",
                            "wait idle"};
        commands.insert(commands.end(), more.begin(), more.end());
    }
    return commands;
}

void count(benchmark::State& state, const Cost& cost) {
    state.counters[simulated_s] = cost.simulated_s;
    state.counters[processor_s] = cost.processor_s;
}

void add(const char* name, int times, const Words& options, const Words& host) {
    const auto run = [=](benchmark::State& state) {
        for (auto _ : state) count(state, run_host(options, host));
    };
    benchmark::RegisterBenchmark(name, run)
        ->Iterations(1)
        ->Repetitions(times)
        ->ReportAggregatesOnly()
        ->UseRealTime();
}

// Eleven seconds less one: what the start takes is left out.
void rest_on_wall_clock(benchmark::State& state) {
    for (auto _ : state) {
        const Cost begin = run_host({"--real-time"}, {"init", "wait 1s"});
        const Cost all = run_host({"--real-time"}, {"init", "wait 11s"});
        count(state, {all.simulated_s - begin.simulated_s, all.processor_s - begin.processor_s});
    }
}

void count_calls(benchmark::State& state) {
    for (auto _ : state) {
        const CallsAtRest rest = observe_rest();
        state.counters[calls_per_sample] = rest.sampling_calls / rest.samples;
        state.counters[all_calls_per_sample] = rest.all_calls / rest.samples;
    }
}

void add_once(const char* name, void (*run)(benchmark::State&)) {
    benchmark::RegisterBenchmark(name, run)
        ->Iterations(1)
        ->Repetitions(2)
        ->ReportAggregatesOnly()
        ->UseRealTime();
}

}  // namespace

void add_projector_benchmarks() {
    add(rest_benchmark, repetitions, {}, {"init", "wait 1h"});
    add(busy_benchmark, repetitions, {}, busy_host());
    add(day_benchmark, repetitions, {"--scenario", storykit::project_file("scenarios/a-day.json")},
        {"--script", storykit::project_file("scenarios/a-day.host")});
    add_once(real_rest_benchmark, rest_on_wall_clock);
    add_once(rest_calls_benchmark, count_calls);
}

}  // namespace bench
