// Stand-ins for the board's own libraries: flash, display, network and ToF processing.
//
// The C functions of platform/*.h are defined in this room. They reach the simulated board through one
// installation, which the owner of the board makes once it is built. Without one every function fails.
#ifndef VIRTUAL_PROJECTOR_BOARDLIBS_BOARDLIBS_H
#define VIRTUAL_PROJECTOR_BOARDLIBS_BOARDLIBS_H

#include <cstddef>

#include "virtual_projector/boardlibs/installation.h"

namespace vp::boardlibs {

/// Makes or replaces the installation; the libraries begin as after power-up. Not while threads that use the
/// libraries run.
void install(Installation installation);
void uninstall();

/// How often Ethernet over USB was configured since the installation.
int usb_eth_configurations();

/// Flash handles that were opened and not yet closed.
std::size_t open_flash_handles();

}  // namespace vp::boardlibs

#endif
