#include "virtual_projector/boardlibs/installation.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <utility>

namespace vp::boardlibs {
namespace {

std::unique_ptr<Libraries>& the_libraries() {
    static std::unique_ptr<Libraries> all;
    return all;
}

}  // namespace

Libraries* libraries() { return the_libraries().get(); }

void install(Installation installation) {
    the_libraries() = std::make_unique<Libraries>(std::move(installation));
}

void uninstall() { the_libraries().reset(); }

int usb_eth_configurations() {
    Libraries* const all = libraries();
    if (all == nullptr) return 0;
    return all->installation.board->with_world([&](World&) { return all->usb_eth_configurations; });
}

std::size_t open_flash_handles() {
    Libraries* const all = libraries();
    return all == nullptr ? 0 : all->flash.open_handles();
}

FaultEffect begin_call(const Libraries& all, const char* function) {
    return all.installation.fault ? all.installation.fault(function) : FaultEffect{};
}

void spoil(const FaultEffect& effect, const Output& output) {
    if (!effect.garbage || output.data == nullptr) return;
    std::memcpy(output.data, effect.garbage->data(), std::min(output.size, effect.garbage->size()));
}

}  // namespace vp::boardlibs
