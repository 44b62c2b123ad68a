// The light engine publishes the focus curve of the cold lens, where it has one.

#include "virtual_projector/devices/attribute.h"
#include "virtual_projector/devices/drivers.h"
#include "virtual_projector/world/unit_record.h"

namespace vp {

void add_light_engine(Board& board, DeviceTable& nodes) {
    const Presence present = [](const Settings& s) { return s.board.has_elepn_curve != 0; };
    nodes.add("/sys/class/dlp/elepn_focus_curve_data",
              make_attribute(board, present,
                             show_text([](World& world) { return elepn_curve_text(world.settings()); }), {}));
}

}  // namespace vp
