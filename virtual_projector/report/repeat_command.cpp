#include "virtual_projector/report/repeat_command.h"

#include "virtual_projector/world/text.h"

namespace vp {

namespace {

// As a shell takes it for one word.
std::string quoted(const std::string& word) {
    constexpr const char* plain = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789_-+=./:,@%";
    if (!word.empty() && word.find_first_not_of(plain) == std::string::npos) return word;
    std::string text = "'";
    for (const char c : word) text += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return text + "'";
}

}  // namespace

std::string repeat_command(const RunRecord& run) {
    std::string command = "virtual-projector";
    if (!run.scenario_digest.empty())
        command += " --scenario " + (run.scenario_file.empty() ? "SCENARIO" : quoted(run.scenario_file));
    command += " --seed " + std::to_string(run.seed);
    if (!run.world.empty() && run.world != RunRecord::standard_world)
        command += " --world " + quoted(run.world);
    if (run.unit_seed) {
        command += " --unit-seed " + std::to_string(*run.unit_seed);
        if (!run.unit.empty() && run.unit != RunRecord::standard_unit) command += " --unit " + quoted(run.unit);
    }
    for (const RunRecord::Setting& setting : run.settings) {
        if (setting.source == "command line")
            command += " --set " + quoted(setting.name + "=" + number_text(setting.value));
    }
    return command + " -- PROGRAM";
}

}  // namespace vp
