// Every parameter at the start of a run, and where its value comes from.
#ifndef VIRTUAL_PROJECTOR_LAUNCHER_RUN_SETTINGS_H
#define VIRTUAL_PROJECTOR_LAUNCHER_RUN_SETTINGS_H

#include <string>
#include <utility>
#include <vector>

#include "virtual_projector/launcher/run_options.h"
#include "virtual_projector/trace/records.h"
#include "virtual_projector/world/world.h"

namespace vp {

/// What sets parameters, each over those before it.
enum class SettingSource { standard, world, unit, scenario, command_line };

/// "default", "world", "unit", "scenario", "command line".
const char* source_name(SettingSource source);

struct Setting {
    const Parameter* parameter;
    double value;
    SettingSource source;
};

struct RunSettings {
    World world;                    // as it is at the start
    std::vector<Setting> settings;  // in the parameters' order, before the bench has its way with the unit
};

/// Reads the world's and the unit's file. Throws LocatedError with one line when one is wrong.
RunSettings make_world(const RunOptions& options, const Scenario& scenario);

/// What a unit's factory bench hands to its scripts, as names and values of the environment; nothing for a unit
/// that does not stand on it.
std::vector<std::pair<std::string, std::string>> bench_variables(const World& world);

/// The first record of a trace.
RunRecord run_record(const RunOptions& options, const Scenario& scenario, const std::vector<Setting>& settings);

/// The whole list, for people, in lines of at most 80 columns.
std::string format_settings(const RunRecord& run, const std::vector<Setting>& settings);

}  // namespace vp

#endif
