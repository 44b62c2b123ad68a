// The factory's commands: each calibrates one thing and says what it found.
#ifndef OVRA_HOST_FACTORY_COMMANDS_H
#define OVRA_HOST_FACTORY_COMMANDS_H

#include <vector>

#include "host/command.h"

namespace host {

/// The factory's part of the commands, in the order `help` shows them.
const std::vector<Command>& factory_commands();

}  // namespace host

#endif
