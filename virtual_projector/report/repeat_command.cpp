#include "virtual_projector/report/repeat_command.h"

#include "virtual_projector/world/text.h"

namespace vp {

std::string repeat_command(const RunRecord& run) {
    std::string command = "virtual-projector";
    if (!run.scenario_digest.empty()) command += " --scenario SCENARIO";
    command += " --seed " + std::to_string(run.seed);
    if (!run.world.empty() && run.world != RunRecord::standard_world) command += " --world " + run.world;
    if (run.unit_seed) {
        command += " --unit-seed " + std::to_string(*run.unit_seed);
        if (!run.unit.empty() && run.unit != RunRecord::standard_unit) command += " --unit " + run.unit;
    }
    for (const RunRecord::Setting& setting : run.settings) {
        if (setting.source == "command line")
            command += " --set " + setting.name + "=" + number_text(setting.value);
    }
    return command + " -- PROGRAM";
}

}  // namespace vp
