// What a program's file tells before it is run.
#ifndef VIRTUAL_PROJECTOR_LAUNCHER_EXECUTABLE_H
#define VIRTUAL_PROJECTOR_LAUNCHER_EXECUTABLE_H

#include <string>

namespace vp {

/// The file that execvp() would run for this command: itself where it has a slash, else the first of its name
/// in the folders of PATH. The command where there is none.
std::string file_of_command(const std::string& command);

/// True for a program at a fixed place with nobody to load libraries for it: nothing can be preloaded into it.
/// False for everything else, also for what is no program.
bool is_statically_linked(const std::string& file);

}  // namespace vp

#endif
