// A world: what the room and everything in it is like, for all scenarios that happen there.
#ifndef VIRTUAL_PROJECTOR_LAUNCHER_WORLD_FILE_H
#define VIRTUAL_PROJECTOR_LAUNCHER_WORLD_FILE_H

#include <string>

#include "virtual_projector/world/parameters.h"

namespace vp {

struct WorldFile {
    std::string about;  // one line
    ParameterValues parameters;
};

/// Throws a LocatedError with one line that names the file, the place in it and what was expected there.
WorldFile read_world_file(const std::string& path);

/// The same from text; `name` stands for the file in messages.
WorldFile parse_world_file(const std::string& text, const std::string& name);

}  // namespace vp

#endif
