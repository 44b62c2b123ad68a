// A scenario that repeats what people did to a run.
#ifndef VIRTUAL_PROJECTOR_LIVE_SAVED_SCENARIO_H
#define VIRTUAL_PROJECTOR_LIVE_SAVED_SCENARIO_H

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "virtual_projector/launcher/run_options.h"

namespace vp {

/// The text of a scenario file: what the run began with, what the command line set over it, and the events with
/// their exact times. `given` are the options as they were written, before names became files; its scenario is
/// read again. It can be used from any folder.
std::string saved_scenario(const RunOptions& given, const std::vector<nlohmann::ordered_json>& events);

}  // namespace vp

#endif
