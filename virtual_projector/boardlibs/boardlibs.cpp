#include "virtual_projector/boardlibs/boardlibs.h"

#include <memory>
#include <utility>

#include "virtual_projector/boardlibs/libraries.h"

namespace vp::boardlibs {

void install(Installation installation) {
    replace_libraries(std::make_unique<Libraries>(std::move(installation)));
}

void uninstall() { replace_libraries(nullptr); }

int usb_eth_configurations() {
    Libraries* const all = libraries();
    if (all == nullptr) return 0;
    return all->installation.board->with_world([&](World&) { return all->usb_eth_configurations; });
}

std::size_t open_flash_handles() {
    Libraries* const all = libraries();
    return all == nullptr ? 0 : all->flash.open_handles();
}

}  // namespace vp::boardlibs
