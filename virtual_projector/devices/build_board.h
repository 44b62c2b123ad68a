// Putting the board together: every driver with its nodes.
#ifndef VIRTUAL_PROJECTOR_DEVICES_BUILD_BOARD_H
#define VIRTUAL_PROJECTOR_DEVICES_BUILD_BOARD_H

#include "virtual_projector/devices/board.h"
#include "virtual_projector/devices/device.h"

namespace vp {

/// Puts every node of the board into the table. Nodes whose hardware is switched off in the parameters
/// (board.has_tof and so on) do not exist for as long as it is off.
void build_board(Board& board, DeviceTable& nodes);

}  // namespace vp

#endif
