#include "virtual_projector/launcher/run_options.h"

#include <nlohmann/json.hpp>

namespace nlohmann {

template <typename Value>
struct adl_serializer<std::optional<Value>> {
    static void to_json(json& json, const std::optional<Value>& value) {
        json = value ? nlohmann::json(*value) : nlohmann::json(nullptr);
    }
    static void from_json(const json& json, std::optional<Value>& value) {
        value = json.is_null() ? std::nullopt : std::optional<Value>(json.get<Value>());
    }
};

}  // namespace nlohmann

namespace vp {

NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE(RunOptions, scenario, seed, world, unit, unit_seed, parameters, trace,
                                   trace_detail, summary, flash, exact_stacks, real_time, preempt, schedule,
                                   record_schedule, limit_s, real_limit_s, outside_skip, state, plain_stacks,
                                   under_tool, live, version, commit)

std::string to_text(const RunOptions& options) { return nlohmann::json(options).dump(); }

RunOptions run_options_from(const std::string& text) { return nlohmann::json::parse(text).get<RunOptions>(); }

std::string tof_memory_file(const std::string& flash) { return flash.empty() ? "" : flash + ".tof"; }

std::uint64_t seed_of(const RunOptions& options, const Scenario& scenario) {
    constexpr std::uint64_t standard_seed = 1;
    return options.seed.value_or(scenario.seed.value_or(standard_seed));
}

std::optional<std::uint64_t> unit_seed_of(const RunOptions& options, const Scenario& scenario) {
    if (options.unit_seed) return options.unit_seed;
    if (scenario.unit_seed) return scenario.unit_seed;
    return options.unit.empty() ? std::nullopt : std::optional<std::uint64_t>(1);
}

}  // namespace vp
