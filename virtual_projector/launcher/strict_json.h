// JSON that people write, taken apart strictly: what JSON lets pass in silence is a mistake here.
#ifndef VIRTUAL_PROJECTOR_LAUNCHER_STRICT_JSON_H
#define VIRTUAL_PROJECTOR_LAUNCHER_STRICT_JSON_H

#include <nlohmann/json_fwd.hpp>
#include <string>

namespace vp {

/// The document in `text`; `name` is the file's, for messages. Throws a LocatedError for what is no JSON, for a
/// member that stands twice in its object, for a number that no double holds, and for more than 32 levels.
nlohmann::ordered_json parse_strictly(const std::string& text, const std::string& name);

}  // namespace vp

#endif
