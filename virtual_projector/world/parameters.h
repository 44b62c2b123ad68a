// The one table of everything that can be set: scenario files, --set NAME=VALUE, --help and the manual all
// come from it.
#ifndef VIRTUAL_PROJECTOR_WORLD_PARAMETERS_H
#define VIRTUAL_PROJECTOR_WORLD_PARAMETERS_H

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "virtual_projector/world/settings.h"

namespace vp {

/// Parameters by name, in their order.
using ParameterValues = std::vector<std::pair<std::string, double>>;

/// One parameter. `whole` parameters take whole numbers only.
struct Parameter {
    std::string_view name;  // area and name with its unit, "pose.distance_mm"
    std::string_view unit;  // as a reader says it, "mm"; empty for plain numbers and switches
    double standard;        // the default
    double min;             // the range, bounds included
    double max;
    bool whole;
    std::string_view meaning;  // one line
    double& (*field)(Settings&);

    double get(const Settings& settings) const;
};

/// All of them, in the order in which they are shown.
const std::vector<Parameter>& parameters();

/// Null when there is none of this name.
const Parameter* find_parameter(std::string_view name);

/// What to say of a name that there is not: the one it has now, or those that come near.
std::string unknown_parameter(std::string_view name);

/// Every parameter at its default.
Settings standard_settings();

/// Sets one parameter. Returns an empty text, or one line that names what is wrong and what would be right.
std::string set_parameter(Settings& settings, std::string_view name, double value);

/// The same from text, as after --set: a decimal number, "true" or "false".
std::string parse_parameter_value(std::string_view name, std::string_view text, double& value);

/// The manual's table: one line for each parameter, "name  default unit  [min .. max]  meaning".
std::string describe_parameters();

}  // namespace vp

#endif
