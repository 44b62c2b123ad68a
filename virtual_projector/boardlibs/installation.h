// What the stand-ins for the board's libraries are connected to.
#ifndef VIRTUAL_PROJECTOR_BOARDLIBS_INSTALLATION_H
#define VIRTUAL_PROJECTOR_BOARDLIBS_INSTALLATION_H

#include <functional>
#include <string_view>

#include "virtual_projector/boardlibs/call_values.h"
#include "virtual_projector/devices/board.h"
#include "virtual_projector/devices/fault_plan.h"

namespace vp::boardlibs {

/// One call that has been made.
struct CallDone {
    std::string_view function;
    long result = 0;
    Microseconds began_us = 0;  // by Installation::now
    const FaultEffect& effect;
    const CallValues& values;
};

struct Installation {
    Board* board = nullptr;

    /// Asked before each call with the function's name; may be empty. An errno becomes the negative result,
    /// a short count the result itself; garbage lies over what the function hands out. It makes a delay itself.
    std::function<FaultEffect(std::string_view function)> fault;

    /// Called after each call; may be empty.
    std::function<void(const CallDone& call)> called;

    /// The time at which a call begins; may be empty.
    std::function<Microseconds()> now;

    /// Somebody wants to know what calls are given and hand out.
    bool wants_values = false;
};

}  // namespace vp::boardlibs

#endif
