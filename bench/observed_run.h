// One run of the unchanged library on the virtual projector, and what its trace says of it.
#ifndef BENCH_OBSERVED_RUN_H
#define BENCH_OBSERVED_RUN_H

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "bench/run_split.h"
#include "virtual_projector/world/settings.h"

namespace bench {

using Parameters = std::vector<std::pair<std::string, double>>;  // of the virtual projector: name and value

struct ObservedRun {
    Span run;  // from the request to the refresh
    RunSplit split;
    double processor_share = 0;  // processor time from request to refresh, of the run's simulated time
    int moves = 0;
    int steps = 0;
    double error_tmr = 0;        // of the lens at the end, from the true best place
    std::int64_t widths_us = 0;  // from the request to the last width; 0: none was written
    double side_before_deg = 0;  // the picture's worse side, from upright
    double side_after_deg = 0;
};

/// Starts the library, lets it settle, asks for a run of both at `request_us`, and waits for its refresh.
ObservedRun observe_run(const Parameters& parameters, std::int64_t request_us);

/// The standard unit with these parameters.
vp::Settings unit_with(const Parameters& parameters);

struct Cost {
    double simulated_s = 0;
    double processor_s = 0;  // of the launcher and the program
    std::int64_t switches = 0;
};

/// Runs the reference host program: launcher options, then the program's own.
Cost run_host(const std::vector<std::string>& options, const std::vector<std::string>& host_arguments);

/// How often the two threads that sample gravity, and all the library's threads, call while nothing happens.
struct CallsAtRest {
    double samples = 0;         // gravity samples
    double sampling_calls = 0;  // by the two threads
    double all_calls = 0;
};
CallsAtRest observe_rest();

}  // namespace bench

#endif
