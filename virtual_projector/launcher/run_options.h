// What the launcher tells the part of the virtual projector that is loaded into the program.
#ifndef VIRTUAL_PROJECTOR_LAUNCHER_RUN_OPTIONS_H
#define VIRTUAL_PROJECTOR_LAUNCHER_RUN_OPTIONS_H

#include <cstdint>
#include <optional>
#include <string>

#include "virtual_projector/launcher/scenario.h"
#include "virtual_projector/trace/json_trace.h"

namespace vp {

/// Environment variable that carries the options, as JSON.
constexpr const char* run_options_variable = "VIRTUAL_PROJECTOR_RUN";

struct RunOptions {
    std::string scenario;  // file; empty: the standard unit 1.5 m before the wall, and nothing happens
    std::optional<std::uint64_t> seed;
    std::string world;                       // file; empty: the laboratory
    std::string unit;                        // file of the spread that units are drawn from; empty: none
    std::optional<std::uint64_t> unit_seed;  // before the scenario's
    ParameterValues parameters;              // set after the scenario's own
    std::string trace;                       // file; empty: none
    TraceDetail trace_detail = TraceDetail::calls;
    std::string summary;        // file for the run's figures; empty: none
    std::string flash;          // file that keeps the permanent record from run to run; empty: memory
    bool exact_stacks = false;  // the summary tells the program's use of its stacks without the projector's own
    bool real_time = false;
    double preempt = 0;               // probability that a thread loses its turn at a call
    std::string schedule = "random";  // who runs next, see run_schedule.h
    std::string record_schedule;      // file; empty: none
    double limit_s = 0;               // simulated time after which the run ends; 0: none
    double real_limit_s = 60;         // real time without progress after which it ends; 0: none
    bool outside_skip = false;        // simulated time goes on while the program waits for something outside
    std::string state;                // see run_state.h; empty: the run is this process's alone
    bool plain_stacks = false;        // the stacks are not measured
    bool under_tool = false;          // a debugger or the like starts the program
    int live = -1;                    // socket to those who watch the run; -1: nobody
    std::string version;              // the launcher's own, for the trace
    std::string commit;
};

std::string to_text(const RunOptions& options);
RunOptions run_options_from(const std::string& text);

/// Where the ToF sensor's own calibration stands beside a permanent record; none: none.
std::string tof_memory_file(const std::string& flash);

/// The seed that counts: the command line's, else the scenario's, else 1.
std::uint64_t seed_of(const RunOptions& options, const Scenario& scenario);

/// The unit's seed that counts: the command line's, else the scenario's, else 1 where a spread is named; none:
/// the standard unit.
std::optional<std::uint64_t> unit_seed_of(const RunOptions& options, const Scenario& scenario);

}  // namespace vp

#endif
