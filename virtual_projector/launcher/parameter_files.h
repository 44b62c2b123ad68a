// What the files that people write about parameters have in common: scenarios, worlds, units.
#ifndef VIRTUAL_PROJECTOR_LAUNCHER_PARAMETER_FILES_H
#define VIRTUAL_PROJECTOR_LAUNCHER_PARAMETER_FILES_H

#include <string>

#include "virtual_projector/launcher/located_json.h"
#include "virtual_projector/world/parameters.h"

namespace vp {

/// The text of a file of at most 16 MiB. Throws a LocatedError that calls it a `kind` file.
std::string read_input_file(const std::string& path, const std::string& kind);

/// The parameter of this name; throws a LocatedError when there is none.
const Parameter& parameter_at(const std::string& name, const LocatedJson& json);

/// A value that this parameter can have.
double read_value(const Parameter& parameter, const LocatedJson& json);

/// Adds the parameter's value to `values`.
void read_parameter(const std::string& name, const LocatedJson& json, ParameterValues& values);

/// {NAME: VALUE}
ParameterValues read_parameters(const LocatedJson& json);

}  // namespace vp

#endif
