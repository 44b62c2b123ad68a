// Changing the configuration record. Only the life cycle does.
#ifndef OVRA_FOCUSCTRL_AUTOFOCUS_CONFIG_H
#define OVRA_FOCUSCTRL_AUTOFOCUS_CONFIG_H

#include <cstdint>

#include "ovrafocus/config.h"

namespace ovra {

/// Gives the record its start-up values, with the system switched on.
void build_focus_config();

/// 1: the system is on; 0: it is off.
void set_system_on(std::uint32_t on);

}  // namespace ovra

#endif
