// Worlds and units by name: files that come with the virtual projector.
#ifndef VIRTUAL_PROJECTOR_LAUNCHER_DATA_FILES_H
#define VIRTUAL_PROJECTOR_LAUNCHER_DATA_FILES_H

#include "virtual_projector/launcher/run_options.h"

namespace vp {

/// The files of the world and the unit that the run names: by the command line's words, else by the scenario's,
/// else the standard unit's where a unit's seed is given. A text with a slash in it, or .json at its end, is a
/// file, the scenario's in the scenario's own folder; any other is a name. Throws LocatedError with one line
/// when there is none of a name.
void find_world_and_unit(RunOptions& run, const Scenario& scenario);

}  // namespace vp

#endif
