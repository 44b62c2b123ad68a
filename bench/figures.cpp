#include "bench/figures.h"

#include <algorithm>
#include <cstdio>
#include <stdexcept>

namespace bench {
namespace {

constexpr const char* time_name = "time";
constexpr const char* own_time_name = "own time";

}  // namespace

double largest(const std::vector<double>& values) { return *std::max_element(values.begin(), values.end()); }

double smallest(const std::vector<double>& values) { return *std::min_element(values.begin(), values.end()); }

void Figures::ReportRuns(const std::vector<Run>& runs) {
    for (const Run& run : runs) {
        const std::string name = run.run_name.function_name;
        if (run.error_occurred) throw std::runtime_error(name + ": " + run.error_message);
        if (run.run_type != Run::RT_Aggregate) continue;
        Statistic& statistic = figures_[name][run.aggregate_name];
        const double unit = benchmark::GetTimeUnitMultiplier(run.time_unit);
        statistic[time_name] = run.GetAdjustedRealTime() / unit;
        statistic[own_time_name] = run.GetAdjustedCPUTime() / unit;
        for (const auto& [counter_name, value] : run.counters) statistic[counter_name] = value;
        if (run.aggregate_name == median) std::fprintf(stderr, "bench: %s\n", name.c_str());
    }
}

bool Figures::have(const std::vector<std::string>& benchmarks) const {
    return std::all_of(benchmarks.begin(), benchmarks.end(),
                       [this](const std::string& benchmark) { return figures_.count(benchmark) != 0; });
}

double Figures::time_s(const std::string& benchmark, const std::string& statistic) const {
    return counter(benchmark, time_name, statistic);
}

double Figures::own_time_s(const std::string& benchmark) const {
    return counter(benchmark, own_time_name, fastest);
}

double Figures::counter(const std::string& benchmark, const std::string& name,
                        const std::string& statistic) const {
    return figures_.at(benchmark).at(statistic).at(name);
}

}  // namespace bench
