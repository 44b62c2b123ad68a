// What Google Benchmark measured, kept for the tables.
#ifndef BENCH_FIGURES_H
#define BENCH_FIGURES_H

#include <benchmark/benchmark.h>

#include <map>
#include <string>
#include <vector>

namespace bench {

// Statistics over a benchmark's repetitions. Google Benchmark knows the median; of runs the worst is added, of
// what is timed over and over the fastest, the one that the machine's other work disturbed least.
constexpr const char* median = "median";
constexpr const char* worst = "worst";
constexpr const char* fastest = "fastest";
double largest(const std::vector<double>& values);
double smallest(const std::vector<double>& values);

class Figures : public benchmark::BenchmarkReporter {
public:
    bool ReportContext(const Context&) override { return true; }
    void ReportRuns(const std::vector<Run>& runs) override;

    bool have(const std::vector<std::string>& benchmarks) const;

    /// Seconds, simulated ones where the benchmark says so.
    double time_s(const std::string& benchmark, const std::string& statistic = median) const;
    /// Seconds of the thread that measured, in the fastest repetition.
    double own_time_s(const std::string& benchmark) const;
    double counter(const std::string& benchmark, const std::string& name,
                   const std::string& statistic = median) const;

private:
    using Statistic = std::map<std::string, double>;  // counters, and the two times
    std::map<std::string, std::map<std::string, Statistic>> figures_;
};

}  // namespace bench

#endif
