#include "virtual_projector/launcher/data_files.h"

#include <algorithm>
#include <filesystem>
#include <vector>

#include "virtual_projector/launcher/executable.h"
#include "virtual_projector/launcher/located_json.h"
#include "virtual_projector/world/text.h"

namespace vp {
namespace {

namespace fs = std::filesystem;

constexpr const char* installed_data_folder = VP_DATA_FROM_PROGRAM;
constexpr const char* ending = ".json";

// Beside the program in a build tree, and where it is installed.
std::vector<fs::path> folders_of(const std::string& kind) {
    const fs::path own = own_folder();
    return {own / kind, own / installed_data_folder / kind};
}

bool is_file_name(const std::string& text) {
    return text.find('/') != std::string::npos || fs::path(text).extension() == ending;
}

std::string known_names(const std::string& kind) {
    std::vector<std::string> names;
    std::error_code none;
    for (const fs::path& folder : folders_of(kind)) {
        for (const auto& entry : fs::directory_iterator(folder, none)) {
            if (entry.path().extension() == ending) names.push_back(entry.path().stem().string());
        }
    }
    std::sort(names.begin(), names.end());
    std::string text;
    for (const std::string& name : names) text += name + ", ";
    if (!names.empty()) return text + "or a file";
    for (const fs::path& folder : folders_of(kind))
        text += (text.empty() ? "" : " or ") + fs::weakly_canonical(folder, none).string();
    return "a file (there are no " + kind + " in " + text + ")";
}

// A text and where somebody wrote it.
struct Name {
    std::string text;
    std::string place;   // for messages
    std::string folder;  // that a relative file is looked for in; empty: the current one
};

std::string find_file(const std::string& kind, const Name& name) {
    if (is_file_name(name.text)) return (fs::path(name.folder) / name.text).string();
    std::error_code none;
    for (const fs::path& folder : folders_of(kind)) {
        const fs::path file = folder / (name.text + ending);
        if (fs::exists(file, none)) return fs::weakly_canonical(file, none).string();
    }
    throw LocatedError(name.place + ": expected " + known_names(kind) + ", found " + excerpt(name.text));
}

}  // namespace

void find_world_and_unit(RunOptions& run, const Scenario& scenario) {
    const std::string place = run.scenario + ": $.";
    const bool is_drawn = run.unit_seed || scenario.unit_seed;
    if (!run.world.empty())
        run.world = find_file("worlds", {run.world, "--world", {}});
    else if (!scenario.world.empty())
        run.world = find_file("worlds", {scenario.world, place + "world", scenario.folder});
    if (!run.unit.empty())
        run.unit = find_file("units", {run.unit, "--unit", {}});
    else if (!scenario.unit.empty())
        run.unit = find_file("units", {scenario.unit, place + "unit", scenario.folder});
    else if (is_drawn)
        run.unit = find_file("units", {"standard", "--unit-seed", {}});
}

}  // namespace vp
