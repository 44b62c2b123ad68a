// keystoneDeviation() against OpenCV and Eigen.
#include <benchmark/benchmark.h>

#include <cmath>
#include <cstddef>
#include <stdexcept>
#include <string>
#include <vector>

#include "bench/allocations.h"
#include "bench/benchmarks.h"
#include "bench/figures.h"
#include "bench/projection.h"
#include "ovrafocus/projection_geometry.h"

namespace bench {
namespace {

// Single precision at about 1000 pixels.
constexpr double tolerance_px = 0.01;

constexpr int repetitions = 15;
constexpr double repetition_s = 0.1;

std::vector<float> deviation_by_library(const KeystoneCase& c) {
    return keystoneDeviation(c.h_deg, c.v_deg, c.offset, c.ratio, c.width_px, c.height_px, c.roll_deg);
}

// What the library asks for: every whole degree of tilt.
std::vector<KeystoneCase> tilts() {
    std::vector<KeystoneCase> cases;
    for (int v = -30; v <= 30; ++v) {
        KeystoneCase tilted;
        tilted.v_deg = static_cast<float>(v);
        cases.push_back(tilted);
    }
    return cases;
}

// What it can be asked for: turned, tilted and rolled, the picture beside the lens's axis.
std::vector<KeystoneCase> poses() {
    std::vector<KeystoneCase> cases;
    for (const float h : {-20.0F, 7.0F, 20.0F}) {
        for (const float v : {-30.0F, -11.0F, 12.0F, 30.0F}) {
            for (const float roll : {-15.0F, 4.0F, 15.0F}) cases.push_back({h, v, 0.5F, 1.2F, 1280, 720, roll});
        }
    }
    return cases;
}

template <typename Other>
double farthest_from_library(const std::vector<KeystoneCase>& cases, Other other) {
    double farthest = 0;
    for (const KeystoneCase& c : cases) {
        const std::vector<float> ours = deviation_by_library(c);
        const Offsets theirs = other(c);
        for (std::size_t i = 0; i < theirs.size(); ++i)
            farthest = std::fmax(farthest, std::abs(double{ours[i]} - theirs[i]));
    }
    return farthest;
}

void expect_agreement(const std::vector<KeystoneCase>& cases) {
    double farthest = 0;
    for (const auto other : {deviation_by_opencv, deviation_by_opencv_matrices, deviation_by_eigen})
        farthest = std::fmax(farthest, farthest_from_library(cases, other));
    if (farthest > tolerance_px)
        throw std::runtime_error("the answers differ by " + std::to_string(farthest) + " pixels");
}

// The cases one after the other, so that no answer is learnt by heart.
template <typename Ask>
void ask_all(benchmark::State& state, const std::vector<KeystoneCase>& cases, Ask ask) {
    std::size_t next = 0;
    const long before = allocations();
    for (auto _ : state) {
        auto answer = ask(cases[next]);
        benchmark::DoNotOptimize(answer);
        next = next + 1 == cases.size() ? 0 : next + 1;
    }
    state.counters[allocations_counter] =
        benchmark::Counter(static_cast<double>(allocations() - before), benchmark::Counter::kAvgIterations);
}

template <typename Ask>
void add(const std::string& name, const std::vector<KeystoneCase>& cases, Output output, Ask ask) {
    const auto run = [=](benchmark::State& state) {
        set_standard_output(output);
        ask_all(state, cases, ask);
    };
    benchmark::RegisterBenchmark(name.c_str(), run)
        ->MinTime(repetition_s)
        ->Repetitions(repetitions)
        ->ComputeStatistics(fastest, smallest)
        ->ReportAggregatesOnly();
}

void add_question(const std::string& question, const std::vector<KeystoneCase>& cases) {
    expect_agreement(cases);
    add(geometry_benchmark(question, "library"), cases, Output::refused, deviation_by_library);
    add(geometry_benchmark(question, "OpenCV"), cases, Output::refused, deviation_by_opencv);
    add(geometry_benchmark(question, "OpenCV matrices"), cases, Output::refused, deviation_by_opencv_matrices);
    add(geometry_benchmark(question, "Eigen"), cases, Output::refused, deviation_by_eigen);
    add(geometry_benchmark(question, "library and line"), cases, Output::taken, deviation_by_library);
}

}  // namespace

std::string geometry_benchmark(const std::string& question, const std::string& who) {
    return "geometry of a " + question + ", " + who;
}

void add_geometry_benchmarks() {
    add_question("tilt", tilts());
    add_question("pose", poses());
}

}  // namespace bench
