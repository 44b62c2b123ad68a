// Runs of the library over many places, and the contrast search over the same ones.
#include <benchmark/benchmark.h>

#include <cmath>
#include <memory>
#include <vector>

#include "bench/benchmarks.h"
#include "bench/contrast_search.h"
#include "bench/figures.h"
#include "bench/min_travel.h"
#include "bench/observed_run.h"
#include "virtual_projector/world/optics.h"

namespace bench {
namespace {

constexpr double distances_mm[] = {250, 300, 375, 450, 550, 700, 900, 1150, 1500, 2000, 2500, 3000};

// The lens starts where it was sharp for one of these.
constexpr double starting_places_mm[] = {3000, 1500, 1000, 750, 600, 500, 430, 375, 333, 300, 275, 255, 240};

constexpr int largest_tilt_deg = 30;

// The fine loop's dead band.
constexpr double band_tmr = 4;

// A request comes at any time of the worker's cycle of 200 ms: the runs' requests are spread over it by a
// number that has no factor in common with it.
constexpr std::int64_t first_request_us = 2'000'000;
constexpr std::int64_t request_spread_us = 37'000;
constexpr std::int64_t worker_cycle_us = 200'000;

struct Case {
    Parameters parameters;
    std::int64_t request_us = 0;
};
using Cases = std::vector<Case>;

void add_case(Cases& cases, const Parameters& parameters) {
    const auto number = static_cast<std::int64_t>(cases.size());
    cases.push_back({parameters, first_request_us + number * request_spread_us % worker_cycle_us});
}

Cases focus_cases() {
    Cases cases;
    for (const double distance_mm : distances_mm) {
        for (const double start_mm : starting_places_mm) {
            const vp::Settings unit = unit_with({});
            const double start = vp::best_focus_steps(unit.lens, unit.tmr, start_mm, unit.heat.led_c);
            add_case(cases, {{"pose.distance_mm", distance_mm}, {"lens.position_steps", start}});
        }
    }
    return cases;
}

Cases keystone_cases(int from_deg, int to_deg) {
    Cases cases;
    for (int tilt_deg = from_deg; tilt_deg <= to_deg; ++tilt_deg)
        add_case(cases, {{"pose.pitch_deg", static_cast<double>(tilt_deg)}});
    return cases;
}

double milliseconds(std::int64_t time_us) { return static_cast<double>(time_us) / 1000; }

// Every case is one repetition of one iteration, so the statistics over the repetitions are those over the
// cases.
template <typename Run>
void add(const char* name, const Cases& cases, Run run) {
    const auto next = std::make_shared<std::size_t>(0);
    const auto run_next = [=](benchmark::State& state) {
        const Case& one = cases[(*next)++ % cases.size()];
        for (auto _ : state) run(state, one);
    };
    benchmark::RegisterBenchmark(name, run_next)
        ->Iterations(1)
        ->Repetitions(static_cast<int>(cases.size()))
        ->ComputeStatistics(worst, largest)
        ->ReportAggregatesOnly()
        ->UseManualTime();
}

void count_split(benchmark::State& state, const ObservedRun& run) {
    state.SetIterationTime(static_cast<double>(run.run.length_us()) / 1e6);
    state.counters[pauses_ms] = milliseconds(run.split.pauses_us);
    state.counters[frames_ms] = milliseconds(run.split.frames_us);
    state.counters[lens_ms] = milliseconds(run.split.lens_us);
    state.counters[rest_ms] = milliseconds(run.split.rest_us);
    state.counters[processor_percent] = 100 * run.processor_share;
}

// Whoever knows nothing needs one frame, and then the lens must still get there.
double floor_of(const vp::Settings& unit, const Travel& shortest) {
    return 1000 / unit.tof.frames_per_s + 1000 * shortest.steps / unit.lens.speed_steps_per_s;
}

void run_focus(benchmark::State& state, const Case& one) {
    const ObservedRun run = observe_run(one.parameters, one.request_us);
    const vp::Settings unit = unit_with(one.parameters);
    const double target = vp::best_focus_steps(unit.lens, unit.tmr, unit.pose.distance_mm, unit.heat.led_c);
    const Travel shortest = min_travel(unit.lens, unit.tmr, target, band_tmr);
    count_split(state, run);
    state.counters[moves] = run.moves;
    state.counters[steps] = run.steps;
    state.counters[min_moves] = shortest.moves;
    state.counters[min_steps] = shortest.steps;
    state.counters[floor_ms] = floor_of(unit, shortest);
    state.counters[extra_steps] = run.steps - shortest.steps;
    state.counters[error_tmr] = std::abs(run.error_tmr);
}

using SearchByContrast = ContrastSearch (*)(const vp::Settings& unit, std::uint64_t seed);

void run_contrast_search(benchmark::State& state, const Case& one, SearchByContrast search_by_contrast) {
    const ContrastSearch search =
        search_by_contrast(unit_with(one.parameters), static_cast<std::uint64_t>(one.request_us));
    state.SetIterationTime(search.time_s);
    state.counters[moves] = search.moves;
    state.counters[steps] = search.steps;
    state.counters[error_tmr] = std::abs(search.error_tmr);
}

void run_keystone(benchmark::State& state, const Case& one) {
    const ObservedRun run = observe_run(one.parameters, one.request_us);
    count_split(state, run);
    state.counters[widths_ms] = milliseconds(run.widths_us);
    state.counters[side_deg] = run.side_after_deg;
}

}  // namespace

void add_run_benchmarks() {
    add(focus_benchmark, focus_cases(), run_focus);
    add(contrast_scan_benchmark, focus_cases(),
        [](benchmark::State& state, const Case& one) { run_contrast_search(state, one, scan_from_end); });
    add(contrast_climb_benchmark, focus_cases(),
        [](benchmark::State& state, const Case& one) { run_contrast_search(state, one, climb_from_here); });
    add(keystone_20_benchmark, keystone_cases(-20, 20), run_keystone);
    add(keystone_30_benchmark, keystone_cases(-largest_tilt_deg, largest_tilt_deg), run_keystone);
}

}  // namespace bench
