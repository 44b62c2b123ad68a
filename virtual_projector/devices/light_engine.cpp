// The light engine publishes the focus curve of the cold lens, where it has one.

#include "virtual_projector/devices/attribute.h"
#include "virtual_projector/devices/drivers.h"
#include "virtual_projector/world/unit_record.h"

namespace vp {

namespace {

std::string curve_of(World& world) {
    return elepn_curve_text(world.settings(), bench_errors(world.settings().bench, world.unit_seed()));
}

}  // namespace

void add_light_engine(Board& board, DeviceTable& nodes) {
    const Presence present = [](const Settings& s) { return s.board.has_elepn_curve != 0; };
    nodes.add("/sys/class/dlp/elepn_focus_curve_data", make_attribute(board, present, show_text(curve_of), {}));
}

}  // namespace vp
