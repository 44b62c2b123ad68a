#include "virtual_projector/launcher/run_options.h"

#include <nlohmann/json.hpp>

namespace vp {

std::string to_text(const RunOptions& options) {
    nlohmann::ordered_json json;
    json["scenario"] = options.scenario;
    if (options.seed) json["seed"] = *options.seed;
    json["parameters"] = nlohmann::ordered_json::array();
    for (const auto& [name, value] : options.parameters) json["parameters"].push_back({name, value});
    json["trace"] = options.trace;
    json["trace_detail"] = static_cast<int>(options.trace_detail);
    json["summary"] = options.summary;
    json["flash"] = options.flash;
    json["exact_stacks"] = options.exact_stacks;
    json["real_time"] = options.real_time;
    json["preempt"] = options.preempt;
    json["schedule"] = options.schedule;
    json["record_schedule"] = options.record_schedule;
    return json.dump();
}

RunOptions run_options_from(const std::string& text) {
    const nlohmann::ordered_json json = nlohmann::ordered_json::parse(text);
    RunOptions options;
    options.scenario = json.at("scenario");
    if (json.contains("seed")) options.seed = json.at("seed").get<std::uint64_t>();
    for (const auto& parameter : json.at("parameters"))
        options.parameters.emplace_back(parameter.at(0), parameter.at(1));
    options.trace = json.at("trace");
    options.trace_detail = static_cast<TraceDetail>(json.at("trace_detail").get<int>());
    options.summary = json.at("summary");
    options.flash = json.at("flash");
    options.exact_stacks = json.at("exact_stacks");
    options.real_time = json.at("real_time");
    options.preempt = json.at("preempt");
    options.schedule = json.at("schedule");
    options.record_schedule = json.at("record_schedule");
    return options;
}

std::string tof_memory_file(const std::string& flash) { return flash.empty() ? "" : flash + ".tof"; }

std::uint64_t seed_of(const RunOptions& options, const Scenario& scenario) {
    constexpr std::uint64_t standard_seed = 1;
    return options.seed.value_or(scenario.seed.value_or(standard_seed));
}

}  // namespace vp
