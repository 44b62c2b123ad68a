#include "virtual_projector/boardlibs/libraries.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace vp::boardlibs {
namespace {

std::unique_ptr<Libraries>& the_libraries() {
    static std::unique_ptr<Libraries> all;
    return all;
}

}  // namespace

Libraries* libraries() { return the_libraries().get(); }

void replace_libraries(std::unique_ptr<Libraries> all) { the_libraries() = std::move(all); }

FaultEffect begin_call(const Libraries& all, const char* function) {
    return all.installation.fault ? all.installation.fault(function) : FaultEffect{};
}

void spoil(const FaultEffect& effect, const Output& output) {
    if (!effect.garbage || output.data == nullptr) return;
    std::memcpy(output.data, effect.garbage->data(), std::min(output.size, effect.garbage->size()));
}

}  // namespace vp::boardlibs
