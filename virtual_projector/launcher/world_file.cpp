#include "virtual_projector/launcher/world_file.h"

#include <nlohmann/json.hpp>

#include "virtual_projector/launcher/located_json.h"
#include "virtual_projector/launcher/parameter_files.h"
#include "virtual_projector/launcher/strict_json.h"

namespace vp {

WorldFile parse_world_file(const std::string& text, const std::string& name) {
    const nlohmann::ordered_json document = parse_strictly(text, name);
    const LocatedJson json(document, name + ": $");
    json.allow_members({"about", "set"});
    WorldFile world;
    if (json.has("about")) world.about = json.member("about").text();
    if (json.has("set")) world.parameters = read_parameters(json.member("set"));
    return world;
}

WorldFile read_world_file(const std::string& path) {
    return parse_world_file(read_input_file(path, "world"), path);
}

}  // namespace vp
