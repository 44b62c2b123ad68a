#include "bench/observed_run.h"

#include <sys/resource.h>

#include <algorithm>
#include <cstdio>
#include <nlohmann/json.hpp>
#include <sstream>
#include <stdexcept>
#include <string_view>

#include "virtual_projector/storykit/launched_program.h"
#include "virtual_projector/world/parameters.h"

namespace bench {
namespace {

using nlohmann::json;
using storykit::contents_of;

constexpr const char* serving_thread = "keystonefocus_thread";
constexpr const char* gravity_node = "/dev/gsensor_daemon";
constexpr const char* own_host = BENCH_HOST;

// A minute of rest, after all that follows a start is over.
constexpr std::int64_t rest_begin_us = 10'000'000;
constexpr std::int64_t rest_end_us = 70'000'000;

std::string setting(const std::pair<std::string, double>& parameter) {
    char value[32];
    std::snprintf(value, sizeof value, "%.17g", parameter.second);
    return parameter.first + "=" + value;
}

void expect_success(const storykit::Finished& finished) {
    if (finished.exit_code == 0) return;
    throw std::runtime_error("a run of the virtual projector ended with " + std::to_string(finished.exit_code) +
                             ": " + finished.complaints);
}

template <typename Take>
void for_each_call(const std::string& trace, Take&& take) {
    std::istringstream lines(trace);
    for (std::string line; std::getline(lines, line);) {
        const json record = json::parse(line);
        if (record.contains("call")) take(record);
    }
}

std::vector<ThreadCall> calls_of(const std::string& trace, std::string_view thread) {
    std::vector<ThreadCall> calls;
    for_each_call(trace, [&](const json& record) {
        if (record.value("name", "") != thread) return;
        calls.push_back({record.at("t_us"), record.at("call"), record.value("path", ""),
                         record.value("us", std::int64_t{0})});
    });
    return calls;
}

class Observation {
public:
    Observation(const Parameters& parameters, std::int64_t request_us)
        : unit_(unit_with(parameters)), request_(std::to_string(request_us)) {
        for (const auto& parameter : parameters) options_.insert(options_.end(), {"--set", setting(parameter)});
    }

    // Once without a trace, for the processor time, and once with it for everything else.
    ObservedRun observe() {
        const std::int64_t processor_ns = launch().at("processor_ns");
        options_.insert(options_.end(), {"--trace", folder_.file("trace")});
        const json times = launch();
        observed_.run = {times.at("requested_us"), times.at("refreshed_us")};
        observed_.processor_share =
            static_cast<double>(processor_ns) / 1000 / static_cast<double>(observed_.run.length_us());
        take_trace(vp::read_trace(folder_.file("trace")));
        return observed_;
    }

private:
    json launch() {
        expect_success(storykit::launch_projector(options_, {own_host, folder_.file("times"), request_}));
        return json::parse(contents_of(folder_.file("times")));
    }

    void take_trace(const vp::TraceContents& trace) {
        observed_.split = split_run(observed_.run, calls_of(contents_of(folder_.file("trace")), serving_thread),
                                    lens_travels(trace.lens_moves, unit_.lens));
        for (const vp::LensMoveAt& move : trace.lens_moves) {
            if (!is_in_run(move.t_us)) continue;
            ++observed_.moves;
            observed_.steps += move.steps;
        }
        for (std::size_t i = 1; i < trace.truths.size(); ++i) take_widths(trace.truths[i - 1], trace.truths[i]);
        observed_.error_tmr = trace.truths.back().lens_error_tmr;
        observed_.side_before_deg = trace.truths.front().worst_side_deg();
        observed_.side_after_deg = trace.truths.back().worst_side_deg();
    }

    void take_widths(const vp::TruthAt& before, const vp::TruthAt& now) {
        const bool changed = now.top_width != before.top_width || now.bottom_width != before.bottom_width;
        if (changed && is_in_run(now.t_us)) observed_.widths_us = now.t_us - observed_.run.begin_us;
    }

    bool is_in_run(std::int64_t t_us) const {
        return t_us >= observed_.run.begin_us && t_us <= observed_.run.end_us;
    }

    vp::Settings unit_;
    std::string request_;
    std::vector<std::string> options_;
    storykit::ScratchFolder folder_;
    ObservedRun observed_;
};

double seconds_of(const timeval& time) {
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
}

// Of all programs that were started and have ended.
double processor_seconds() {
    rusage used{};
    getrusage(RUSAGE_CHILDREN, &used);
    return seconds_of(used.ru_utime) + seconds_of(used.ru_stime);
}

}  // namespace

vp::Settings unit_with(const Parameters& parameters) {
    vp::Settings unit = vp::standard_settings();
    for (const auto& [name, value] : parameters) {
        const std::string mistake = vp::set_parameter(unit, name, value);
        if (!mistake.empty()) throw std::runtime_error(mistake);
    }
    return unit;
}

ObservedRun observe_run(const Parameters& parameters, std::int64_t request_us) {
    return Observation(parameters, request_us).observe();
}

Cost run_host(const std::vector<std::string>& options, const std::vector<std::string>& host_arguments) {
    const storykit::ScratchFolder folder;
    std::vector<std::string> all_options = {"--summary", folder.file("summary")};
    all_options.insert(all_options.end(), options.begin(), options.end());
    std::vector<std::string> program = {storykit::host_program, "--library-log", folder.file("log")};
    program.insert(program.end(), host_arguments.begin(), host_arguments.end());
    const double before_s = processor_seconds();
    expect_success(storykit::launch_projector(all_options, program));
    const json summary = json::parse(contents_of(folder.file("summary")));
    return {summary.at("simulated_us").get<double>() / 1e6, processor_seconds() - before_s,
            summary.value("switches", std::int64_t{0})};
}

CallsAtRest observe_rest() {
    const storykit::ScratchFolder folder;
    run_host({"--trace", folder.file("trace")}, {"init", "wait 75s"});
    CallsAtRest rest;
    for_each_call(contents_of(folder.file("trace")), [&rest](const json& record) {
        const std::int64_t t_us = record.at("t_us");
        const std::string thread = record.value("name", "");
        if (t_us < rest_begin_us || t_us >= rest_end_us || thread == "main") return;
        rest.all_calls += 1;
        if (thread == "ovra_gsensor_thread" || thread == "gsensor_det_thread") rest.sampling_calls += 1;
        if (record.value("path", "") == gravity_node) rest.samples += 1;
    });
    return rest;
}

}  // namespace bench
