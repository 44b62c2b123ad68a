#include "virtual_projector/live/saved_scenario.h"

#include <algorithm>
#include <filesystem>

#include "virtual_projector/launcher/parameter_files.h"
#include "virtual_projector/launcher/strict_json.h"

namespace vp {
namespace {

namespace fs = std::filesystem;
using Json = nlohmann::ordered_json;

Json base_of(const RunOptions& given) {
    if (given.scenario.empty()) return Json::object();
    return parse_strictly(read_input_file(given.scenario, "scenario"), given.scenario);
}

// A name stays, a file is to be found from anywhere.
std::string found_from_anywhere(const std::string& name, const fs::path& folder) {
    const bool is_file = name.find('/') != std::string::npos || fs::path(name).extension() == ".json";
    return is_file ? fs::absolute(folder / name).lexically_normal().string() : name;
}

void settle_file(Json& document, const char* member, const std::string& given, const fs::path& folder) {
    if (!given.empty()) {
        document[member] = found_from_anywhere(given, fs::current_path());
    } else if (document.contains(member)) {
        document[member] = found_from_anywhere(document[member].get<std::string>(), folder);
    }
}

void append_events(Json& document, const std::vector<Json>& events) {
    std::vector<Json> all;
    if (document.contains("events")) all = document["events"].get<std::vector<Json>>();
    all.insert(all.end(), events.begin(), events.end());
    const auto time_of = [](const Json& event) { return event.at("at_s").get<double>(); };
    std::stable_sort(all.begin(), all.end(),
                     [&](const Json& a, const Json& b) { return time_of(a) < time_of(b); });
    document.erase("events");
    if (!all.empty()) document["events"] = all;
}

// An event a line, as people write them.
std::string text_of(const Json& document) {
    std::string text = "{";
    const char* separator = "\n";
    for (const auto& [member, value] : document.items()) {
        text += separator + std::string("    ") + Json(member).dump() + ": ";
        separator = ",\n";
        if (member != "events" && member != "faults") {
            text += value.dump();
            continue;
        }
        const char* before = "[\n        ";
        for (const Json& each : value) {
            text += before + each.dump();
            before = ",\n        ";
        }
        text += "\n    ]";
    }
    return text + "\n}\n";
}

}  // namespace

std::string saved_scenario(const RunOptions& given, const std::vector<Json>& events) {
    Json document = base_of(given);
    const fs::path folder = fs::path(given.scenario).parent_path();
    if (given.seed) document["seed"] = *given.seed;
    if (given.unit_seed) document["unit_seed"] = *given.unit_seed;
    settle_file(document, "unit", given.unit, folder);
    settle_file(document, "world", given.world, folder);
    for (const auto& [name, value] : given.parameters) document["set"][name] = value;
    // Nobody else types into the repeated run, as nobody did into this one.
    if (!document.contains("standard_input")) document["standard_input"] = "";
    append_events(document, events);
    return text_of(document);
}

}  // namespace vp
