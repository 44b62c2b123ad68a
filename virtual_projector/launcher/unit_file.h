// How units of one make differ from each other, as a file.
#ifndef VIRTUAL_PROJECTOR_LAUNCHER_UNIT_FILE_H
#define VIRTUAL_PROJECTOR_LAUNCHER_UNIT_FILE_H

#include <string>

#include "virtual_projector/world/unit_spread.h"

namespace vp {

/// Throws a LocatedError with one line that names the file, the place in it and what was expected there.
UnitSpread read_unit_file(const std::string& path);

/// The same from text; `name` stands for the file in messages.
UnitSpread parse_unit_file(const std::string& text, const std::string& name);

}  // namespace vp

#endif
