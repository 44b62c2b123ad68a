// What the stand-ins share: the installation and the way every call is made.
#ifndef VIRTUAL_PROJECTOR_BOARDLIBS_LIBRARIES_H
#define VIRTUAL_PROJECTOR_BOARDLIBS_LIBRARIES_H

#include <cerrno>
#include <cstddef>
#include <memory>
#include <utility>

#include "virtual_projector/boardlibs/installation.h"
#include "virtual_projector/boardlibs/isp_library.h"
#include "virtual_projector/devices/flash.h"

namespace vp::boardlibs {

struct Libraries {
    explicit Libraries(Installation made) : installation(std::move(made)), flash(*installation.board) {}

    Installation installation;
    Flash flash;
    IspLibrary isp;
    int usb_eth_configurations = 0;  // under the board's lock
};

/// Null without an installation.
Libraries* libraries();

/// Puts these in place of those before.
void replace_libraries(std::unique_ptr<Libraries> all);

/// What a call hands out, for faults that spoil it.
struct Output {
    void* data = nullptr;
    std::size_t size = 0;
};

FaultEffect begin_call(const Libraries& all, const char* function);
void spoil(const FaultEffect& effect, const Output& output);

/// A call that is given nothing, or hands out nothing, that a record could hold.
inline Values no_values(const Libraries&) { return {}; }

/// Makes one call of the board's libraries: asks the fault plan, does the work, tells the observer. `arguments`
/// and `outputs` say what it is given and hands out; the latter only of a call that has done its work.
template <typename Arguments, typename Outputs, typename Work>
int perform(const char* function, const Output& output, Arguments&& arguments, Outputs&& outputs, Work&& work) {
    Libraries* const all = libraries();
    if (all == nullptr) return -ENODEV;
    const Installation& installation = all->installation;
    const Microseconds began_us = installation.now ? installation.now() : 0;
    const FaultEffect effect = begin_call(*all, function);
    CallValues values;
    if (installation.wants_values) values.arguments = arguments(*all);
    long result = 0;
    if (effect.error_number != 0) {
        result = -effect.error_number;
    } else if (effect.short_count >= 0) {
        result = effect.short_count;
    } else if (!effect.stale) {
        result = work(*all);
        spoil(effect, output);
        if (installation.wants_values && result >= 0) values.outputs = outputs(*all);
    }
    if (installation.called) installation.called({function, result, began_us, effect, values});
    return static_cast<int>(result);
}

}  // namespace vp::boardlibs

#endif
