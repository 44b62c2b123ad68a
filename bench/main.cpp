// ovrafocus-bench: all benchmarks in one run, with their ratios.
//
// Takes Google Benchmark's options; with --benchmark_filter only those tables are printed whose benchmarks ran.
#include <benchmark/benchmark.h>
#include <unistd.h>

#include <cstdio>
#include <exception>
#include <stdexcept>
#include <vector>

#include "bench/benchmarks.h"
#include "bench/figures.h"
#include "bench/tables.h"

namespace bench {

void set_standard_output(Output output) {
    const char* const mode = output == Output::taken ? "w" : "r";
    if (std::freopen("/dev/null", mode, stdout) == nullptr) throw std::runtime_error("cannot open /dev/null");
}

}  // namespace bench

namespace {

// The repetitions of all benchmarks are mixed, so that a machine that is slow for a while is slow for all.
char mixed[] = "--benchmark_enable_random_interleaving=true";

bool take_options(int argc, char** argv) {
    std::vector<char*> options(argv, argv + argc);
    options.insert(options.begin() + 1, mixed);
    int count = static_cast<int>(options.size());
    benchmark::Initialize(&count, options.data());
    return !benchmark::ReportUnrecognizedArguments(count, options.data());
}

int run(int argc, char** argv) {
    if (!take_options(argc, argv)) return 2;
    // Standard output is the library's while it is measured.
    std::FILE* const out = fdopen(dup(STDOUT_FILENO), "w");
    if (out == nullptr) throw std::runtime_error("no standard output");
    bench::set_standard_output(bench::Output::refused);
    bench::add_geometry_benchmarks();
    bench::add_run_benchmarks();
    bench::add_projector_benchmarks();
    bench::Figures figures;
    benchmark::RunSpecifiedBenchmarks(&figures);
    bench::print_tables(out, figures);
    return std::fclose(out) == 0 ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
    try {
        return run(argc, argv);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "ovrafocus-bench: %s\n", error.what());
        return 1;
    }
}
