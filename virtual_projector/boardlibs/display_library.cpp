// The board's display library. It keeps what it was told where a viewer of the simulated wall can see it.
#include "platform/board_display.h"
#include "virtual_projector/boardlibs/libraries.h"

using vp::boardlibs::given;
using vp::boardlibs::Libraries;
using vp::boardlibs::no_values;
using vp::boardlibs::perform;
using vp::boardlibs::Values;

namespace {

constexpr int quarter_turns = 4;

bool is_on_panel(const fbdev_viewport& viewport) {
    return viewport.x >= 0 && viewport.y >= 0 && viewport.width > 0 && viewport.height > 0 &&
           viewport.x + viewport.width <= vp::panel_width && viewport.y + viewport.height <= vp::panel_height;
}

bool is_turn(int turns) { return turns >= 0 && turns < quarter_turns; }

long show_viewport(vp::Display& display, const fbdev_viewport& viewport) {
    display.viewport_x = viewport.x;
    display.viewport_y = viewport.y;
    display.viewport_width = viewport.width;
    display.viewport_height = viewport.height;
    return 0;
}

}  // namespace

extern "C" int fbdev_set_viewport(fbdev_viewport* viewport) {
    return perform(
        "fbdev_set_viewport", {},
        [&](const Libraries&) {
            return viewport == nullptr ? Values()
                                       : Values{{"x", std::int64_t{viewport->x}},
                                                {"y", std::int64_t{viewport->y}},
                                                {"width", std::int64_t{viewport->width}},
                                                {"height", std::int64_t{viewport->height}}};
        },
        no_values,
        [&](Libraries& all) -> long {
            if (viewport == nullptr || !is_on_panel(*viewport)) return -EINVAL;
            return all.installation.board->with_world(
                [&](vp::World& world) { return show_viewport(world.display(), *viewport); });
        });
}

extern "C" int am_set_rotation(int rotation) {
    return perform("am_set_rotation", {}, given("rotation", rotation), no_values, [&](Libraries& all) -> long {
        if (!is_turn(rotation)) return -EINVAL;
        return all.installation.board->with_world([&](vp::World& world) -> long {
            world.display().rotation = rotation;
            ++world.display().rotations_made;
            return 0;
        });
    });
}

extern "C" int hdmirx_set_rotate(int mode) {
    return perform("hdmirx_set_rotate", {}, given("mode", mode), no_values, [&](Libraries& all) -> long {
        if (!is_turn(mode)) return -EINVAL;
        return all.installation.board->with_world([&](vp::World& world) -> long {
            if (world.settings().board.hdmi_works == 0) return -EIO;
            world.display().hdmi_rotation = mode;
            ++world.display().rotations_made;
            return 0;
        });
    });
}
