// Commands one after the other, from a list, a script or a person.
#ifndef OVRA_HOST_SCRIPT_H
#define OVRA_HOST_SCRIPT_H

#include <istream>
#include <string>
#include <vector>

namespace host {

// What the program ends with: all was carried out and the last request succeeded; a request or a command could
// not be carried out; the program, or a command, was called wrongly; what it printed could not be written.
constexpr int exit_success = 0;
constexpr int exit_failed = 1;
constexpr int exit_usage = 2;
constexpr int exit_output_lost = 3;

/// Carries out each command until one cannot be carried out or quits; at the end waits for the last request, if
/// no command did. Returns the program's exit code: the failed command's, or whether the last request
/// succeeded.
int run_commands(const std::vector<std::string>& lines);

/// The same for a script, line by line. The first failing line is named with its place in `name`. A ${NAME} in
/// a line is the environment's, a ${NAME:-VALUE} too, or VALUE where that is not set.
int run_script(std::istream& script, const std::string& name);

/// The same for a person: a mistake is only told, and the next line is another try.
int run_dialogue(std::istream& lines);

}  // namespace host

#endif
