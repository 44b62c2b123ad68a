// Stand-ins for the board's own libraries: flash, display, network and ToF processing.
//
// The C functions of platform/*.h are defined in this room. They reach the simulated board through one
// installation, which the owner of the board makes once it is built. Without one every function fails.
#ifndef VIRTUAL_PROJECTOR_BOARDLIBS_BOARDLIBS_H
#define VIRTUAL_PROJECTOR_BOARDLIBS_BOARDLIBS_H

#include <cstdint>
#include <functional>
#include <string_view>

#include "virtual_projector/devices/board.h"
#include "virtual_projector/devices/fault_plan.h"

namespace vp::boardlibs {

struct Installation {
    Board* board = nullptr;

    /// Asked before each call with the function's name; may be empty. An errno becomes the negative result,
    /// a short count the result itself; garbage lies over what the function hands out. It makes a delay itself.
    std::function<FaultEffect(std::string_view function)> fault;

    /// Told after each call; may be empty.
    std::function<void(std::string_view function, long result)> called;
};

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
