#include "virtual_projector/devices/build_board.h"

#include "virtual_projector/devices/drivers.h"

namespace vp {

void build_board(Board& board, DeviceTable& nodes) {
    add_motor(board, nodes);
    add_nds01(board, nodes);
    add_zone_grid(board, nodes);
    add_gravity_sensor(board, nodes);
    add_display(board, nodes);
    add_keys(board, nodes);
    add_fan(board, nodes);
    add_light_engine(board, nodes);
}

}  // namespace vp
