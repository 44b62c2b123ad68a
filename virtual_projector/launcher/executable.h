// What a program's file tells before it is run.
#ifndef VIRTUAL_PROJECTOR_LAUNCHER_EXECUTABLE_H
#define VIRTUAL_PROJECTOR_LAUNCHER_EXECUTABLE_H

#include <string>

namespace vp {

/// The folder that the running program's file stands in.
std::string own_folder();

/// The file that execvp() would run for this command: itself where it has a slash, else the first of its name
/// in the folders of PATH. The command where there is none.
std::string file_of_command(const std::string& command);

/// Why nothing can be preloaded into the program in this file, in words; empty: it can, or it is no program. A
/// script is judged by its interpreter.
std::string reason_not_to_preload(const std::string& file);

}  // namespace vp

#endif
