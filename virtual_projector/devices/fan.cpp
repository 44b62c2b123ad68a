// The fan's driver, which knows the LED's temperature as well. A target speed is taken only while the fan is
// not under automatic control.

#include <cerrno>

#include "virtual_projector/devices/attribute.h"
#include "virtual_projector/devices/drivers.h"

namespace vp {
namespace {

constexpr char directory[] = "/sys/devices/platform/pwm-fan/";
constexpr long max_speed = 10000;  // revolutions per minute

struct Fan {
    long automatic = 1;
    long target_speed = 0;
};

}  // namespace

void add_fan(Board& board, DeviceTable& nodes) {
    const auto fan = std::make_shared<Fan>();
    AttributeFolder folder(board, nodes, directory, [](const Settings& s) { return s.board.has_fan != 0; });
    folder.add("r_temp", show_number([](World& world) { return world.led_reading_c(); }));
    folder.add_setting("fan_auto_ctrl", 0, 1, {fan, &fan->automatic});
    folder.add("target_speed", show_number([fan](World&) { return fan->target_speed; }),
               store_number(0, max_speed, [fan](World&, long speed) -> long {
                   if (fan->automatic != 0) return -EBUSY;
                   fan->target_speed = speed;
                   return 0;
               }));
}

}  // namespace vp
