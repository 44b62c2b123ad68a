// The host's interface for the library's own rooms.
#ifndef OVRA_FOCUSCTRL_AUTOFOCUS_HOST_INTERFACE_H
#define OVRA_FOCUSCTRL_AUTOFOCUS_HOST_INTERFACE_H

#include "ovrafocus/host_interface.h"

namespace ovra {

/// Logs whether a run is in progress, as varnel_get_state_autofocus() says.
void log_focus_state();

}  // namespace ovra

#endif
