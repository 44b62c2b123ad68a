#include "virtual_projector/launcher/run_settings.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <utility>

#include "virtual_projector/launcher/located_json.h"
#include "virtual_projector/launcher/unit_file.h"
#include "virtual_projector/launcher/world_file.h"
#include "virtual_projector/world/bench.h"
#include "virtual_projector/world/text.h"
#include "virtual_projector/world/unit_record.h"

namespace vp {
namespace {

std::string name_of(const std::string& file, const char* otherwise) {
    return file.empty() ? otherwise : std::filesystem::path(file).stem().string();
}

ParameterValues drawn_unit(const RunOptions& options, const Scenario& scenario) {
    const std::optional<std::uint64_t> seed = unit_seed_of(options, scenario);
    if (!seed) return {};
    if (options.unit.empty()) throw LocatedError("a unit's seed is given, and no spread to draw it from");
    return draw_unit(read_unit_file(options.unit), *seed);
}

// A setting may change others: the LED's temperature sets its rise, the end stop holds the lens.
void set_from(SettingSource source, const ParameterValues& values, RunSettings& run) {
    if (values.empty()) return;
    for (const auto& [name, value] : values) run.world.set(name, value);
    for (Setting& setting : run.settings) {
        const double now = setting.parameter->get(run.world.settings());
        if (now != std::exchange(setting.value, now)) setting.source = source;
        for (const auto& [name, value] : values) {
            if (name == setting.parameter->name) setting.source = source;
        }
    }
}

void set_within_range(World& world, const char* name, double value) {
    const Parameter& parameter = *find_parameter(name);
    world.set(name, std::clamp(value, parameter.min, parameter.max));
}

// The pose that was set is the one that the bench believes in.
void put_on_bench(World& world) {
    const Settings& settings = world.settings();
    const BenchErrors errors = bench_errors(settings.bench, world.unit_seed());
    const Pose pose = pose_on_bench(settings.pose, errors);
    set_within_range(world, "pose.distance_mm", pose.distance_mm);
    set_within_range(world, "pose.pitch_deg", pose.pitch_deg);
    set_within_range(world, "pose.roll_deg", pose.roll_deg);
}

std::vector<Setting> standard_list(const World& world) {
    std::vector<Setting> settings;
    for (const Parameter& parameter : parameters())
        settings.push_back({&parameter, parameter.get(world.settings()), SettingSource::standard});
    return settings;
}

std::string line_of(const char* what, const std::string& text) {
    return std::string(what) + ": " + text + "\n";
}

}  // namespace

const char* source_name(SettingSource source) {
    switch (source) {
        case SettingSource::standard:
            return "default";
        case SettingSource::world:
            return "world";
        case SettingSource::unit:
            return "unit";
        case SettingSource::scenario:
            return "scenario";
        case SettingSource::command_line:
            return "command line";
    }
    return "";
}

RunSettings make_world(const RunOptions& options, const Scenario& scenario) {
    World world(seed_of(options, scenario));
    if (const auto unit_seed = unit_seed_of(options, scenario)) world.set_unit_seed(*unit_seed);
    RunSettings run{std::move(world), {}};
    run.settings = standard_list(run.world);
    if (!options.world.empty()) set_from(SettingSource::world, read_world_file(options.world).parameters, run);
    set_from(SettingSource::unit, drawn_unit(options, scenario), run);
    set_from(SettingSource::scenario, scenario.parameters, run);
    set_from(SettingSource::command_line, options.parameters, run);
    if (run.world.settings().bench.holds_unit != 0) put_on_bench(run.world);
    return run;
}

std::vector<std::pair<std::string, std::string>> bench_variables(const World& world) {
    const Settings& settings = world.settings();
    if (settings.bench.holds_unit == 0) return {};
    const BenchErrors errors = bench_errors(settings.bench, world.unit_seed());
    std::string offsets = gravity_offsets_text(settings, errors);
    std::replace(offsets.begin(), offsets.end(), ',', ' ');
    return {{"BENCH_GRAVITY_OFFSETS", offsets},
            {"BENCH_SHARPEST_TMR", std::to_string(sharpest_tmr(settings, errors))}};
}

RunRecord run_record(const RunOptions& options, const Scenario& scenario,
                     const std::vector<Setting>& settings) {
    RunRecord run;
    run.version = options.version;
    run.commit = options.commit;
    run.seed = seed_of(options, scenario);
    run.unit_seed = unit_seed_of(options, scenario);
    run.unit = name_of(run.unit_seed ? options.unit : "", RunRecord::standard_unit);
    run.world = name_of(options.world, RunRecord::standard_world);
    run.scenario_digest = scenario.digest;
    run.scenario_file = std::filesystem::path(options.scenario).filename().string();
    for (const auto& [parameter, value, source] : settings)
        run.settings.push_back({std::string(parameter->name), value, source_name(source)});
    return run;
}

std::string format_settings(const RunRecord& run, const std::vector<Setting>& settings) {
    std::string text = line_of("program", "virtual-projector " + run.version + " (commit " + run.commit + ")");
    text += line_of("seed", std::to_string(run.seed));
    text += line_of("world", run.world);
    text += line_of("unit", run.unit + (run.unit_seed ? ", seed " + std::to_string(*run.unit_seed) : ""));
    text += line_of("scenario", run.scenario_digest.empty() ? "none" : run.scenario_digest);
    for (const auto& [parameter, value, source] : settings) {
        char line[160];
        std::snprintf(line, sizeof line, "  %-34.*s %14s %-9.*s %s\n", static_cast<int>(parameter->name.size()),
                      parameter->name.data(), number_text(value).c_str(),
                      static_cast<int>(parameter->unit.size()), parameter->unit.data(), source_name(source));
        text += line;
    }
    return text;
}

}  // namespace vp
