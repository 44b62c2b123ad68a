// The board's network set-up.
#include "platform/board_network.h"
#include "virtual_projector/boardlibs/libraries.h"

using vp::boardlibs::Libraries;
using vp::boardlibs::no_values;
using vp::boardlibs::perform;

extern "C" int usb_eth_config(void) {
    return perform("usb_eth_config", {}, no_values, no_values, [](Libraries& all) {
        return all.installation.board->with_world([&](vp::World&) -> long {
            ++all.usb_eth_configurations;
            return 0;
        });
    });
}
