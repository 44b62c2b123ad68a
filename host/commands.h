// The host's commands by name.
#ifndef OVRA_HOST_COMMANDS_H
#define OVRA_HOST_COMMANDS_H

#include <string>
#include <vector>

#include "host/command.h"

namespace host {

/// Every command, in the order `help` shows them.
const std::vector<Command>& commands();

/// Carries out one line: a command and its arguments. Empty lines and lines that begin with # do nothing.
Outcome run_line(const std::string& line);

}  // namespace host

#endif
